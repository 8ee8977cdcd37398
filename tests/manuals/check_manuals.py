"""Checks the manual pages: `check_manuals.py FOLDER`.

mandoc must report no errors, and the pages of this project that they refer to must exist.

Exit status 77 means that mandoc is not installed.
"""

import pathlib
import re
import shutil
import subprocess
import sys

SKIPPED = 77
# Manual pages of other packages may be missing on this machine.
IGNORED = re.compile(r"referenced manual not found|outdated mandoc\.db|cannot open .*mandoc\.db")


def lint_messages(page):
    result = subprocess.run(["mandoc", "-T", "lint", "-W", "style", str(page)], text=True,
                            capture_output=True, check=False)
    return [line for line in (result.stdout + result.stderr).splitlines()
            if not IGNORED.search(line)]


def dangling(page, known):
    ours = re.findall(r"^\.Xr ((?:k905-|rastertok905)\S*) (\d)", page.read_text(), re.MULTILINE)
    return [f"{page.name}: there is no page {name}({section})" for name, section in ours
            if f"{name}.{section}" not in known]


def misnamed(page):
    text = page.read_text()
    name, section = page.stem, page.suffix[1:]
    wanted = (f".Dt {name.upper()} {section}\n", f".Nm {name}\n")
    return [f"{page.name}: lacks the line {line.strip()}" for line in wanted if line not in text]


def main():
    pages = {page.name: page for page in pathlib.Path(sys.argv[1]).glob("*.[1-9]")}
    found = [line for page in pages.values() for line in dangling(page, pages) + misnamed(page)]
    linted = shutil.which("mandoc") is not None
    if linted:
        found += [line for page in pages.values() for line in lint_messages(page)]
    print("\n".join(found) or f"{len(pages)} pages are valid")
    if found or not pages:
        return 1
    if not linted:
        print("SKIPPED: mandoc is not installed, so only names were checked")
        return SKIPPED
    return 0


if __name__ == "__main__":
    sys.exit(main())
