"""Runs the commands a chapter of the manual shows: `run_commands.py BUILD CHAPTER`.

Blocks marked as `sh` and `console` run in order in one shell and one scratch folder, with the
programs of this build on the PATH; a command that fails ends the run, and the chapter fails. In a `console` block
commands follow "$ " and their output is compared with what is shown; a simulated printer continues to
run in the background, and the device in its shown output is replaced by the one that it opens here. A comment on
the line before a block says that run_in_print_system.py runs it, or why it cannot be run:

    <!-- run in a private print system -->
    <!-- not run: builds the whole project -->

Where the machine allows it the scratch folder is /tmp as well, so that runs of the filter by hand are not disturbed.
Links between chapters are checked too: file and heading must exist.
"""

import os
import pathlib
import re
import struct
import subprocess
import sys
import tempfile

PRIVATE = "run in a private print system"
PRIVATE_TMP = pathlib.Path(__file__).resolve().parent.parent / "support/private_tmp"
BLOCK = re.compile(rf"(?:^<!-- (?:not run: (?P<reason>[^\n]+?)|(?P<private>{PRIVATE})) -->\n\n?)?"
                   r"^```(?P<kind>sh|console)\n"
                   r"(?P<text>.*?)^```$",
                   re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\]\((?!\w+:)([^)#\s]*)(?:#([^)\s]+))?\)")

# Files that the chapters use: images, a page, a printer stream, a queue's PPD file.
PREPARED = """
k905-raster --paper 6x4 --page-png photo.png --output page.ras test:landscape
cp photo.png photo.jpg
cp photo.png another.png
PPD= rastertok905 1 me title 1 "" <page.ras >job.prn 2>job.log
cp "$K905_BUILD"/ppd/*.ppd .
"""


def blocks(text):
    """(reason for not running or None, commands) of every block; PRIVATE is such a reason here."""
    found = []
    device = None  # kept from block to block
    for match in BLOCK.finditer(text):
        commands = match["text"]
        if match["kind"] == "console":
            commands, device = session(commands, device)
        found.append((match["private"] or match["reason"], commands))
    return found


def session(text, device):
    """The commands of a console block, each followed by a comparison of its output, and the name that the
    chapter uses for the simulated printer's device."""
    commands = []
    for step in re.split(r"^\$ ", text, flags=re.MULTILINE)[1:]:
        command, _, shown = step.partition("\n")
        wanted = "'" + shown.strip("\n").replace("'", "'\\''") + "'"
        if device:
            command = command.replace(device, '"$device"')
            wanted = wanted.replace(device, "'\"$device\"'")
        if command.startswith("k905-sim "):
            device = shown.splitlines()[0]
            commands.append(f"{command} >session.log &\nuntil [ -s session.log ]; do sleep 0.1; done\n"
                            "device=$(head -n 1 session.log)\n")
        else:
            commands.append(f"output=$({command})\n"
                            f"diff <(echo {wanted}) <(echo \"$output\" | tr -d '\\r')\n")
    return "".join(commands), device


def anchors(text):
    """The anchors of the headings."""
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


def printer_profile():
    """An RGB printer profile with a gamma of 1.8, so that the commands do not depend on the profiles that are
    installed on the machine."""
    def fixed(*numbers):
        return struct.pack(f">{len(numbers)}i", *(round(number * 65536) for number in numbers))

    white = (0.9642, 1.0, 0.8249)  # D50, under which profiles are written
    curve = b"curv" + bytes(4) + struct.pack(">IHxx", 1, round(1.8 * 256))
    tags = [(b"wtpt", b"XYZ " + bytes(4) + fixed(*white))]
    tags += [(name, b"XYZ " + bytes(4) + fixed(*primary)) for name, primary in (
        (b"rXYZ", (0.4361, 0.2225, 0.0139)), (b"gXYZ", (0.3851, 0.7169, 0.0971)),
        (b"bXYZ", (0.1431, 0.0606, 0.7139)))]
    tags += [(name, curve) for name in (b"rTRC", b"gTRC", b"bTRC")]
    header, entry = 128, 12
    at = header + 4 + entry * len(tags)
    table, bodies = struct.pack(">I", len(tags)), b""
    for name, body in tags:
        table += struct.pack(">4sII", name, at + len(bodies), len(body))
        bodies += body
    head = struct.pack(">I4sI4s4s4s12x4s", at + len(bodies), b"", 0x02400000, b"mntr", b"RGB ", b"XYZ ",
                       b"acsp") + bytes(28) + fixed(*white)
    return head.ljust(header, b"\0") + table + bodies


def run(commands, build, folder, prepared=PREPARED):
    environment = {
        "PATH": f"{build}:{build}/tests:{os.environ.get('PATH', '')}:/usr/sbin:/sbin",
        "LC_ALL": "C", "K905_BUILD": str(build)}
    if "LSAN_OPTIONS" in os.environ:  # what the leak checker of a build with sanitizers must not report
        environment["LSAN_OPTIONS"] = os.environ["LSAN_OPTIONS"]
    (pathlib.Path(folder) / "printer.icc").write_bytes(printer_profile())
    # Ends background jobs that a block started.
    script = ("set -eu\nexport HOME=$PWD\ntrap 'kill $(jobs -p) 2>/dev/null || :' EXIT\n" + prepared +
              "set -x\n" + commands)
    return subprocess.run([PRIVATE_TMP, build, "bash", "-c", script], cwd=folder, env=environment, text=True,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          check=False)


def main():
    build, chapter = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
    found = broken_links(chapter)
    shown = blocks(chapter.read_text())
    for reason, text in shown:
        if reason:
            print(f"not run here, {reason}: {text.splitlines()[0]}")
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
