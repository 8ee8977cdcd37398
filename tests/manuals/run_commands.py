"""Runs the commands a chapter of the manual shows: `run_commands.py BUILD CHAPTER`.

Blocks marked as `sh` and `console` run one after the other in one shell and one scratch folder, with the
programs of this build on the PATH; the first command that fails fails the chapter. In a `console` block
commands stand behind "$ " and what they say is compared with what is shown; a simulated printer runs
on in the background, and the device it is shown to open stands for the one it opens here. A comment on
the line before a block says why one cannot be run:

    <!-- not run: needs a print system -->

Links from chapter to chapter are looked at as well: file and heading must exist.
"""

import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

BLOCK = re.compile(r"(?:^<!-- not run: (?P<reason>[^\n]+?) -->\n\n?)?^```(?P<kind>sh|console)\n"
                   r"(?P<text>.*?)^```$",
                   re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\]\((?!\w+:)([^)#\s]*)(?:#([^)\s]+))?\)")

# What the chapters take for granted: a picture, a page, a printer's stream, a queue's file.
PREPARED = """
k905-raster --paper 6x4 --page-png photo.png --output page.ras test:landscape
cp photo.png photo.jpg
PPD= rastertok905 1 me title 1 "" <page.ras >job.prn 2>job.log
cp "$K905_BUILD"/ppd/*.ppd .
"""


def blocks(text):
    """(reason for not running or None, commands) of every block."""
    found = []
    device = None  # known from block to block
    for match in BLOCK.finditer(text):
        commands = match["text"]
        if match["kind"] == "console":
            commands, device = session(commands, device)
        found.append((match["reason"], commands))
    return found


def session(text, device):
    """The commands of a console block, each followed by a comparison of what it says, and the name
    that stands for the simulated printer's device."""
    commands = []
    for step in re.split(r"^\$ ", text, flags=re.MULTILINE)[1:]:
        command, _, shown = step.partition("\n")
        if device:
            command = command.replace(device, '"$device"')
        if command.startswith("k905-sim "):
            device = shown.splitlines()[0]
            commands.append(f"{command} >session.log &\nuntil [ -s session.log ]; do sleep 0.1; done\n"
                            "device=$(head -n 1 session.log)\n")
        else:
            commands.append(f"said=$({command})\n"
                            f"diff <(echo {shlex.quote(shown.strip())}) <(echo \"$said\" | tr -d '\\r')\n")
    return "".join(commands), device


def anchors(text):
    """The names that headings can be linked by."""
    found = set()
    for heading in re.findall(r"^#+ (.+)$", re.sub(r"^```.*?^```$", "", text, flags=re.M | re.S), re.M):
        plain = re.sub(r"[^\w\- ]", "", heading.lower())
        found.add(plain.replace(" ", "-"))
    return found


def broken_links(chapter):
    text = re.sub(r"`[^`\n]*`", "", chapter.read_text())
    found = []
    for place, anchor in LINK.findall(text):
        target = chapter.parent / place if place else chapter
        if not target.exists():
            found.append(f"{chapter.name}: {place} does not exist")
        elif anchor and target.suffix == ".md" and anchor not in anchors(target.read_text()):
            found.append(f"{chapter.name}: {target.name} has no heading #{anchor}")
    return found


def run(commands, build, folder, prepared=PREPARED):
    environment = {
        "PATH": f"{build}:{build}/tests:{os.environ.get('PATH', '')}:/usr/sbin:/sbin", "HOME": folder,
        "LC_ALL": "C", "K905_BUILD": str(build)}
    # Left behind by a block: jobs in the background.
    script = "set -eu\ntrap 'kill $(jobs -p) 2>/dev/null || :' EXIT\n" + prepared + "set -x\n" + commands
    return subprocess.run(["bash", "-c", script], cwd=folder, env=environment, text=True,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=100, check=False)


def main():
    build, chapter = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
    found = broken_links(chapter)
    shown = blocks(chapter.read_text())
    for reason, text in shown:
        if reason:
            print(f"not run, {reason}: {text.splitlines()[0]}")
    commands = "".join(text for reason, text in shown if not reason)
    if commands:
        with tempfile.TemporaryDirectory() as folder:
            result = run(commands, build, folder)
        print(result.stdout)
        if result.returncode != 0:
            found.append(f"{chapter.name}: a command failed with status {result.returncode}")
    print("\n".join(found))
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
