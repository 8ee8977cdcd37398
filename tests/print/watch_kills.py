"""k905-print --watch killed with SIGKILL again and again: `watch_kills.py BUILD CMAKE KIND KILLS`.

KIND is file, device, queue or queue_without_history. Photos of different colors wait in a folder; the
program is killed just before one of its calls that change something (kill_at_call.cpp), a different one
each time, and started again. In the end every photo must have been printed once; with a device, a photo may
be missing when the program named it as in doubt. Exit status 77: the test cannot run on this
machine.
"""

import collections
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "cups"))

import artwork  # noqa: E402
import private_cups  # noqa: E402
from simulated_printer import SimulatedPrinter  # noqa: E402

STEP = 12  # between the colors of two photos
FIRST = 20
LEVELS = 16
QUEUE = "photos"
RASTER_HEADER = 4 + 1796


def color_of(number):
    return (FIRST + STEP * (number % LEVELS), FIRST + STEP * (number // LEVELS % LEVELS),
            FIRST + STEP * (number // LEVELS // LEVELS))


def number_of(color):
    parts = [round((value - FIRST) / STEP) for value in color]
    return parts[0] + LEVELS * (parts[1] + LEVELS * parts[2])


def name_of(number):
    return f"photo-{number:04}.png"


class Target:
    """A destination of the sheets, and how they are read back."""

    history = True

    def __init__(self, scratch, build, cmake):
        self.scratch, self.build, self.cmake = scratch, build, cmake

    def environment(self):
        return {"PATH": os.environ["PATH"], "XDG_STATE_HOME": str(self.scratch / "state"),
                "K905_FILTER": str(self.build / "rastertok905")}

    def stop(self):
        pass

    def colors_in(self, stream):
        output = subprocess.run([self.build / "tests/cups_probe", "sheets", stream, "0.5,0.5"],
                                check=True, capture_output=True, text=True).stdout
        found = json.loads(output)
        assert found["error"] is None, f"{stream}: {found['error']}"
        assert sum(sheet["size"] for sheet in found["sheets"]) == found["bytes"], "incomplete sheets"
        return [tuple(sheet["colors"][0]) for sheet in found["sheets"]]


class File(Target):
    def options(self):
        return ["--to", self.scratch / "job.prn"]

    def printed(self, _):
        return [number_of(color) for color in self.colors_in(self.scratch / "job.prn")]


class Device(Target):
    """A simulated printer on a terminal; it discards an incomplete sheet when the program ends."""

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.printer = SimulatedPrinter(self.build / "k905-sim", self.scratch / "sheets")

    def options(self):
        return ["--to", self.printer.device]

    def stop(self):
        self.printer.stop()

    def printed(self, count):
        numbers = []

        def is_complete(_):
            numbers.extend(map(self.number_on, self.printer.printed_files()[len(numbers):]))
            return numbers and numbers[-1] == count - 1
        self.printer.wait_for(is_complete, f"the sheet of photo {count - 1}")
        return numbers

    def number_on(self, sheet):
        raster = subprocess.run([self.build / "k905-raster", "--size", "picture", sheet], check=True,
                                capture_output=True).stdout
        width, height = (int.from_bytes(raster[at:at + 4], sys.byteorder)
                         for at in (4 + 372, 4 + 376))
        at = RASTER_HEADER + (height // 2 * width + width // 2) * 3
        return number_of(raster[at:at + 3])


class Queue(Target):
    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.cups = private_cups.PrivateCups(self.scratch / "cups", self.build, self.cmake)
        self.cups.root.mkdir()
        self.cups.install()
        self.cups.configure()
        if not self.history:
            conf = self.cups.etc / "cupsd.conf"
            conf.write_text(conf.read_text().replace("PreserveJobHistory Yes", "PreserveJobHistory No"))
        self.cups.start()
        self.cups.add_queue(QUEUE)

    def environment(self):
        return super().environment() | self.cups.environment()

    def stop(self):
        self.cups.stop()

    def options(self):
        return ["--queue", QUEUE]

    def printed(self, count):
        self.cups.wait_for(lambda: self.cups.run("lpstat", "-o").stdout == "", "an empty queue", 600)
        return [number_of(color) for stream in self.cups.captured.glob("*.prn")
                for color in self.colors_in(stream)]


class QueueWithoutHistory(Queue):
    history = False


KINDS = {"file": File, "device": Device, "queue": Queue, "queue_without_history": QueueWithoutHistory}


class Killer:
    def __init__(self, target, folder):
        self.target = target
        self.folder = folder
        self.program = target.build / "k905-print"
        self.output = ""
        self.total = 0  # photos

    def start(self, **more):
        environment = self.target.environment() | {
            "LD_PRELOAD": str(self.target.build / "tests/libkill_at_call.so"),
            "ASAN_OPTIONS": "verify_asan_link_order=0"} | more
        return subprocess.Popen([self.program, *self.target.options(), "--watch", self.folder],
                                env=environment, stdin=subprocess.DEVNULL, text=True,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT)

    def put(self):
        """Adds a photo; returns its name."""
        fresh = self.folder / ".fresh"
        artwork.png(fresh, 90, 60, color_of(self.total))
        name = name_of(self.total)
        fresh.rename(self.folder / name)
        self.total += 1
        return name

    def calls(self, until):
        """How many calls a run makes that is stopped after it has printed that text."""
        count = self.target.scratch / "calls"
        process = self.start(K905_CALLS_FILE=str(count))
        self.read_until(process, until)
        process.send_signal(signal.SIGTERM)
        self.output += process.communicate(timeout=60)[0]
        assert process.returncode == 0, self.output
        return int(count.read_text())

    def read_until(self, process, words):
        for line in process.stdout:
            self.output += line
            if words in line:
                return
        raise AssertionError(f"ended without {words!r}:\n{self.output[-3000:]}")

    def kill(self, call):
        process = self.start(K905_KILL_AT=str(call))
        for _ in range(60):
            try:
                self.output += process.communicate(timeout=5)[0]
                break
            except subprocess.TimeoutExpired:
                # A run that waits less for the printer makes fewer calls: another photo causes more.
                self.put()
        assert process.returncode == -signal.SIGKILL, f"{process.returncode}\n{self.output[-3000:]}"


def in_doubt(output):
    return {int(number): int(sheet) for number, sheet in re.findall(
        r"photo-(\d+)\.png: stopped while .* k905-print --reprint (\d+)", output)}


def run(target, kills):
    folder = target.scratch / "in"
    folder.mkdir()
    killer = Killer(target, folder)
    first = killer.calls(f"{killer.put()} -> ")
    # The second run also checks what the first one printed; the kills are at its calls.
    calls = killer.calls(f"{killer.put()} -> ")
    print(f"calls of a run with one photo: {first}, {calls}", flush=True)
    for turn in range(kills):
        # There is always something to print, so that a run reaches its call.
        while killer.total < turn + 6:
            killer.put()
        killer.kill(1 + (turn * calls) // kills)
    killer.calls(f"{killer.put()} -> ")
    check(target, killer.output, killer.total, kills)
    left = sorted(file.name for file in folder.glob("*.png"))
    assert not left, f"done and not moved: {left}"


def check(target, output, total, kills):
    printed = collections.Counter(target.printed(total))
    twice = sorted(number for number, times in printed.items() if times > 1)
    assert not twice, f"printed twice: {twice}"
    doubts = in_doubt(output)
    missing = set(range(total)) - set(printed)
    unknown = set(printed) - set(range(total))
    assert not unknown, f"colors of no photo: {unknown}"
    if isinstance(target, Device):
        assert missing <= set(doubts), f"lost and not reported: {sorted(missing - set(doubts))}"
        assert len(doubts) <= kills
    else:
        assert not missing, f"lost: {sorted(missing)}"
        assert not doubts, f"in doubt: {doubts}"
    print(f"{kills} kills, {total} photos: {len(printed)} printed once, 0 twice, "
          f"{len(missing)} missing, {len(doubts)} in doubt")


def main():
    if len(sys.argv) != 5:
        print(__doc__)
        return 2
    build, kind, kills = pathlib.Path(sys.argv[1]), KINDS[sys.argv[3]], int(sys.argv[4])
    if issubclass(kind, Queue):
        private_cups.skip_unless_cups_can_run()
    scratch = pathlib.Path(tempfile.mkdtemp(prefix="k905_kills_"))
    scratch.chmod(0o755)
    target = None
    try:
        target = kind(scratch, build, sys.argv[2])
        run(target, kills)
    finally:
        if target:
            target.stop()
        shutil.rmtree(scratch, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
