"""Runs the commands of the manual that need CUPS: `run_in_print_system.py BUILD CMAKE CHAPTER...`.

For each chapter a private scheduler is started with everything installed as a user installs it. sudo is
replaced by a script that only runs the command, printers by a simulated one, and paths, addresses and serial
numbers of the manual by those of the test. A failed command or job fails the chapter. Exit status 77: the
commands cannot run on this machine.
"""

import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

import run_commands

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "cups"))

import artwork  # noqa: E402
import ipp  # noqa: E402
import private_cups  # noqa: E402
from simulated_printer import SimulatedPrinter  # noqa: E402

ALL_PRINTED = ('{ set +x; } 2>/dev/null\n'
               'until waiting=$(lpstat -o) && [ -z "$waiting" ]; do sleep 0.1; done\nset -x\n')


def with_paths_of_the_test(commands, cups, printer, device):
    """The commands with the paths and addresses of this private scheduler."""
    on_backend = printer.uri.replace("socket:", "k905:")
    for shown, here in (
            ("k905://usb/A", on_backend), ("k905://usb/B", on_backend), ("9100", str(private_cups.free_port())),
            ("ipp://SERVER/", f"ipp://127.0.0.1:{cups.port}/"),
            ("/dev/usb/lp?", device), ("/dev/usb/lp0", device),
            ("/var/log/cups/", f"{cups.root}/log/"), ("[Job 42", "[Job 1")):
        commands = commands.replace(shown, here)
    # The following commands expect that it listens.
    commands = re.sub("^(k905-sim .*--listen .*) &$", r"\1 >sim.log &" "\n"
                      "until grep -s '^listening' sim.log; do sleep 0.1; done", commands, flags=re.MULTILINE)
    # The scheduler makes the PPD file of such a queue after lpadmin has ended, and aborts earlier jobs.
    commands = re.sub("^sudo lpadmin -p (\\w+) .*-m everywhere$", r"\g<0>" "\n"
                      r"until lpoptions -p \1 | grep -q 'IPP Everywhere'; do sleep 0.1; done", commands,
                      flags=re.MULTILINE)
    # k905-setup refuses --share while a job is printing, and k905-status has no state to show (exit status 3)
    # until the backend is connected.
    commands = re.sub(r"^(sudo k905-setup .*--share\b|k905-status photo\b)", lambda found: ALL_PRINTED + found[0], commands,
                      flags=re.MULTILINE)
    # The next sheet produces the log lines that the manual describes.
    return re.sub(r"^sudo tail -F (\S+).*$", r"lp -d booth photo.jpg\n{ set +x; } 2>/dev/null\n"
                  r"until grep '^booth .* photo.jpg$' \1; do sleep 0.1; done 2>/dev/null\nset -x", commands,
                  flags=re.MULTILINE)


def create_files(folder):
    """Creates the files that the chapters use."""
    for name in ("photo.jpg", "another.png", "picture.jpg"):
        artwork.png(folder / name, 900, 600)
    artwork.pdf(folder / "album.pdf", 460.8, 297.6, (artwork.CYAN, artwork.MAGENTA))


class UnchangedCups(private_cups.CupsOnPort):
    """Writes no page log, as on Debian; the private schedulers of the other tests write one."""

    def configure(self):
        super().configure()
        file = self.etc / "cupsd.conf"
        changed, count = re.subn("^PageLogFormat .*$", "PageLogFormat", file.read_text(), flags=re.M)
        assert count == 1
        file.write_text(changed)


# The scheduler answers cupsctl first and restarts afterwards: it removes its socket, creates it
# again and refuses commands in between.
CUPSCTL = """#!/bin/sh
before=$(stat -c '%i %z' {socket})
{cupsctl} "$@" || exit
until after=$(stat -c '%i %z' {socket} 2>/dev/null) && [ "$after" != "$before" ] &&
    lpstat -r 2>/dev/null | grep -q 'is running'; do
  sleep 0.05
done
"""


def add_stub(folder, name, text):
    (folder / name).write_text(text)
    (folder / name).chmod(0o755)


def run_blocks(blocks, cups, folder):
    """The output of the first command that failed, or ""."""
    stubs = cups.root / "stubs"
    stubs.mkdir()
    add_stub(stubs, "sudo", '#!/bin/sh\nexec "$@"\n')
    cupsctl = shutil.which("cupsctl", path=cups.environment()["PATH"])
    add_stub(stubs, "cupsctl", CUPSCTL.format(socket=cups.socket, cupsctl=cupsctl))
    environment = cups.environment() | {"HOME": str(folder)}
    environment["PATH"] = f"{stubs}:{cups.prefix}/bin:{environment['PATH']}:{cups.serverbin}/filter"
    printer = SimulatedPrinter(cups.prefix / "bin/k905-sim", cups.root / "sheets")
    queried = SimulatedPrinter(cups.prefix / "bin/k905-sim", cups.root / "queried")
    try:
        cups.connect_devices(f"direct {printer.uri.replace('socket:', 'k905:')}\n")
        commands = with_paths_of_the_test("".join(blocks), cups, printer, queried.device)
        if "k905-setup photo" not in commands and "photo" in commands:
            commands = (f"k905-setup photo\nlp -d photo photo.jpg\n{ALL_PRINTED}" +
                        commands)
        # Background processes of a block are ended after the jobs that they handle.
        script = ("set -eu\ntrap 'kill $(jobs -p) 2>/dev/null || :' EXIT\nset -x\n" + commands +
                  ALL_PRINTED)
        try:
            subprocess.run(["bash", "-c", script], cwd=folder, env=environment, check=True, timeout=600,
                           stdin=subprocess.DEVNULL, stderr=subprocess.STDOUT)
        except subprocess.CalledProcessError as failed:
            return f"a command failed with status {failed.returncode}"
        except subprocess.TimeoutExpired:
            return "the commands did not end within ten minutes:\n" + cups.tail_of_log()
        return failed_jobs(cups)
    finally:
        printer.stop()
        queried.stop()


def failed_jobs(cups):
    job = 0
    while state := cups.job_state(job + 1).get("job-state"):
        job += 1
        if state != ipp.COMPLETED:
            return f"job {job} did not complete:\n" + "\n".join(cups.log_of(job)[-40:])
    return "" if job else "nothing was printed"


def main():
    build, cmake = private_cups.programs(3)
    private_cups.skip_unless_cups_can_run()
    wrong = []
    for chapter in map(pathlib.Path, sys.argv[3:]):
        blocks = [text for reason, text in run_commands.blocks(chapter.read_text())
                  if reason == run_commands.PRIVATE]
        if not blocks:
            continue
        with tempfile.TemporaryDirectory() as scratch:
            system, folder = pathlib.Path(scratch) / "system", pathlib.Path(scratch) / "here"
            system.mkdir()
            folder.mkdir()
            pathlib.Path(scratch).chmod(0o755)  # for the user that runs the filters
            create_files(folder)
            subprocess.run(["sh", "-c", f'cp "{build}"/ppd/*.ppd .'], cwd=folder, check=True)
            with UnchangedCups(system, build, cmake) as cups:
                if found := run_blocks(blocks, cups, folder):
                    wrong.append(f"{chapter.name}: {found}")
    print("\n".join(wrong))
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
