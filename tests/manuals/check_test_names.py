"""Checks the names of tests in chapters: `check_test_names.py BUILD CHAPTER...`.

Each alternative of a regular expression after `ctest -R` (`FullDisk|ByHandLog` has two), in the text and in the columns
with that title, must match a registered test, from the beginning of one of the parts of its name: `EveryCut` does not
match `PpdFile.OffersEveryCut`. ctest itself leaves out a test that was renamed, without a message.

Exit status 77 means that an alternative may belong to a test program that is not built.
"""

import pathlib
import re
import subprocess
import sys

SKIPPED = 77
COLUMN = "Command (`ctest -R`)"
CODE = re.compile(r"`([^`]+)`")
EXPRESSION = re.compile(r"-R ('[^']*'|\S+)")


def registered_tests(build):
    listed = subprocess.run(["ctest", "-N"], cwd=build, text=True, capture_output=True, check=True).stdout
    return re.findall(r"^ *Test +#\d+: (\S.*)$", listed, re.MULTILINE)


def cells_of(line):
    return re.split(r"(?<!\\)\|", line.strip().strip("|"))


def expressions_of(text):
    """The expressions with the numbers of their lines."""
    column = None
    for number, line in enumerate(text.splitlines(), 1):
        if not line.startswith("|"):
            column = None
        elif column is not None:
            for expression in CODE.findall(cells_of(line)[column]):
                yield number, expression.replace("\\|", "|")
        elif COLUMN in line:
            column = [cell.strip() for cell in cells_of(line)].index(COLUMN)
        if "ctest -R " in line and column is None:
            for code in CODE.findall(line):
                for expression in EXPRESSION.findall(code):
                    yield number, expression.replace("\\|", "|").strip("'")


def main():
    tests = registered_tests(sys.argv[1])
    not_built = [test for test in tests if test.endswith("_NOT_BUILT")]
    checked, unknown = 0, []
    for chapter in map(pathlib.Path, sys.argv[2:]):
        for number, expression in expressions_of(chapter.read_text()):
            for alternative in expression.split("|"):
                checked += 1
                if not any(re.search(f"(?:^|[/._])(?:{alternative})", test) for test in tests):
                    unknown.append(f"{chapter.name}:{number}: no test matches {alternative}")
    print("\n".join(unknown) or f"{checked} expressions match a test")
    if unknown and not_built:
        print(f"SKIPPED: not built: {', '.join(not_built)}")
        return SKIPPED
    return 1 if unknown or not checked else 0


if __name__ == "__main__":
    sys.exit(main())
