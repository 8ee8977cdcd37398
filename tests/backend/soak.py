"""Many jobs through a private scheduler while paper runs out, other media is loaded, the connection is lost,
the printer and the scheduler are restarted and jobs are canceled, with and without the printer, all drawn from a
seed.
usage: soak.py BUILD CMAKE [SHEETS [SEED]]

Every sheet that was not canceled must be printed exactly once, in order; the numbers in the pixels of the
printed sheets are checked. Exit status 77: the test cannot run on this machine.
"""

import os
import pathlib
import random
import shutil
import signal
import sys
import tempfile
import time
import typing

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "cups")]

import ipp  # noqa: E402
import numbered_sheets  # noqa: E402
import private_cups  # noqa: E402
from simulated_printer import SimulatedPrinter, number_in_picture  # noqa: E402

# Larger than the buffers of the two sockets between backend and printer, so that the backend waits
# when the printer stops reading.
SIZE = {"width": 500, "height": 400}
# A sheet of a paper, so that the loaded media is compared. They are large, so only some jobs have them.
PAPER_SIZE = {"width": 1920, "height": 1088}
MEDIA, OTHER_MEDIA = "5x7", "6x8"  # only the first fits PAPER_SIZE
PART_WITH_PAPER_SIZE = 0.25
MAX_JOB_SHEETS = 40
NUMBERS = 251  # sheets are numbered from 0 over all jobs, modulo this
PLENTY = 9000
# How often each happens among 1,000 sheets.
EVENTS = {"paper_out": 50, "connection_lost": 50, "power_cycle": 20, "scheduler_restart": 20, "other_media": 20}
CANCELS = {"canceled": 20, "canceled_while_unplugged": 10}
# The events that can also happen after a sheet: the command of the simulated printer, and the word that it prints.
LOST_AFTER_SHEET = {"connection_lost": ("disconnect", "disconnected"),
                    "canceled_while_unplugged": ("unplug", "unplugged")}


class Job:
    def __init__(self, first, sheets, size):
        self.first = first    # number of its first sheet
        self.sheets = sheets
        self.size = size
        self.canceled_at = None  # the sheet, counted from 1
        self.events = {}      # by sheet, counted from 1

    def places(self, event):
        """The sheets in which it can happen."""
        last = self.canceled_at or self.sheets
        if event == "other_media":  # the sheet after it waits
            return range(1, last) if self.size is PAPER_SIZE else []
        return range(1, last + 1)


def draw_jobs(rng, sheets):
    """Jobs with their events, at most one per sheet."""
    jobs = None
    while jobs is None:
        jobs = try_to_draw_jobs(rng, sheets)
    return jobs


def try_to_draw_jobs(rng, sheets):
    """None if an event has no place: too many jobs are canceled early."""
    jobs, done = [], 0
    while done < sheets:
        has_paper_size = not jobs or rng.random() < PART_WITH_PAPER_SIZE
        jobs.append(Job(done, min(rng.randint(1, MAX_JOB_SHEETS), sheets - done),
                        PAPER_SIZE if has_paper_size else SIZE))
        done += jobs[-1].sheets

    def drawn(counts):
        return [name for name, often in counts.items() for _ in range(max(1, often * sheets // 1000))]

    cancels = drawn(CANCELS)
    for event, job in zip(cancels, rng.sample(jobs, min(len(cancels), len(jobs)))):
        job.canceled_at = rng.randint(1, job.sheets)
        job.events[job.canceled_at] = event
    # The event with the fewest places first.
    for event in sorted(drawn(EVENTS), key=lambda name: name != "other_media"):
        free = [(job, sheet) for job in jobs for sheet in job.places(event) if sheet not in job.events]
        if not free:
            return None
        job, sheet = rng.choice(free)
        job.events[sheet] = event
    return jobs


class Event(typing.NamedTuple):
    job: int
    is_last: bool  # in the last sheet of its job
    is_held: bool  # the printer stopped reading in the middle of the sheet


class Soak:
    def __init__(self, build, cmake, rng):
        self.rng = rng
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="k905_soak_"))
        os.chmod(self.scratch, 0o755)
        (self.scratch / "cups").mkdir()
        buffers = ["--keep-buffers"] if rng.random() < 0.5 else []
        self.sim = SimulatedPrinter(build / "k905-sim", self.scratch / "sheets", "--trace",
                                    "--media", MEDIA, "--remaining", str(PLENTY), "--print-time", "20",
                                    *buffers)
        self.cups = private_cups.PrivateCups(self.scratch / "cups", build, cmake)
        self.count = dict.fromkeys([*EVENTS, *CANCELS], 0)
        self.printed = 0  # by the jobs that are over

    def start(self):
        self.cups.__enter__()
        self.cups.run("lpadmin", "-p", "booth", "-v", self.sim.device_uri + "/?settle=1", "-E",
                      "-o", "printer-error-policy=retry-current-job")

    def close(self):
        self.cups.stop()
        self.sim.stop()
        shutil.rmtree(self.scratch)

    # Events while the printer stops reading in the middle of a sheet ----------------------------

    def wait_for_reason(self, keyword):
        self.cups.wait_for(lambda: keyword in self.cups.run("lpstat", "-l", "-p", "booth").stdout, keyword)

    def paper_out(self, event):
        # This sheet is the last one, or there is no paper for it either.
        left = 0 if event.is_last else self.rng.randint(0, 1)
        self.sim.command(f"set remaining {left}")
        self.sim.command("continue")
        self.wait_for_reason("media-empty")
        self.sim.command(f"load {MEDIA} {PLENTY}")

    def other_media(self, _):
        self.sim.command(f"load {OTHER_MEDIA} {PLENTY}")
        self.sim.command("continue")
        self.wait_for_reason("media-needed")
        self.sim.command(f"load {MEDIA} {PLENTY}")

    def connection_lost(self, _):
        self.sim.command("disconnect")

    def power_cycle(self, _):
        self.sim.command("power off")
        time.sleep(self.rng.random())
        self.sim.command("power on")

    def scheduler_restart(self, _):
        self.cups.process.send_signal(self.rng.choice([signal.SIGTERM, signal.SIGKILL]))
        self.cups.process.wait(60)
        continues_first = self.rng.random() < 0.5
        if continues_first:
            self.sim.command("continue")
        self.cups.start()
        if not continues_first:
            self.sim.command("continue")

    def canceled(self, event):
        self.cups.run("cancel", f"booth-{event.job}")
        self.sim.command("continue")

    def canceled_while_unplugged(self, event):
        if event.is_held:
            self.sim.command("unplug")
            self.sim.command("continue")
        self.wait_for_reason("offline-report")
        self.cups.run("cancel", f"booth-{event.job}")

    # One job -----------------------------------------------------------------------------------

    def plan(self, job, sheet):
        """Schedules the event of this sheet. Returns the line that the printer prints when it is due."""
        number = self.printed + sheet
        command, past = LOST_AFTER_SHEET.get(job.events[sheet], ("", ""))
        if command and self.rng.random() < 0.2:  # the sheet was received
            self.sim.command(f"{command} after {number}")
            return f"{past} after sheet {number}"
        byte = self.rng.randrange(1, len(numbered_sheets.sheet(1, **job.size)))
        self.sim.command(f"hold at {byte} of {number}")
        return f"holding at byte {byte} of sheet {number}"

    def run_job(self, job):
        numbers = [number % NUMBERS for number in range(job.first, job.first + job.sheets)]
        file = self.scratch / "job.prn"
        file.write_bytes(b"".join(numbered_sheets.sheet(number, **job.size) for number in numbers))
        planned = [(sheet, self.plan(job, sheet)) for sheet in sorted(job.events)]
        id_ = self.cups.submit("booth", file, options=["raw"])
        is_held = False
        for sheet, line in planned:
            self.sim.wait_for_line(line, 120)
            name = job.events[sheet]
            is_held = line.startswith("holding")
            if is_held or name == "canceled_while_unplugged":
                getattr(self, name)(Event(id_, sheet == job.sheets, is_held))
            self.count[name] += 1
        state = self.cups.finished(id_, 300)["job-state"]
        # A canceled job still ends with the current sheet.
        self.cups.wait_for(lambda: "is idle" in self.cups.run("lpstat", "-p", "booth").stdout, "idle")
        is_lost = job.events.get(job.canceled_at) == "canceled_while_unplugged" and is_held
        if job.events.get(job.canceled_at) == "canceled_while_unplugged":
            self.sim.command("plug")
        if job.canceled_at and not is_lost:
            self.sim.wait_for_line(f"sheet {self.printed + job.canceled_at}: ")
        self.check(job, id_, state, numbers, is_lost)

    def check(self, job, id_, state, numbers, is_lost):
        """is_lost: the sheet in which the job was canceled was incomplete."""
        files = self.sim.printed_files()[self.printed:]
        printed = [number_in_picture(file) for file in files]
        self.printed += len(printed)
        wanted = numbers
        if is_lost:
            wanted = numbers[:job.canceled_at - 1]
        elif job.canceled_at:
            # The current sheet is finished. One more may have begun before the request arrived.
            wanted = numbers[:max(job.canceled_at, min(len(printed), job.canceled_at + 1))]
        expected = ipp.CANCELED if job.canceled_at else ipp.COMPLETED
        if printed != wanted or state not in (expected, ipp.COMPLETED):
            raise AssertionError(f"job {id_}, state {state}, events {job.events}:\nwanted {wanted}\n"
                                 f"printed {printed}\n" + "\n".join(self.cups.log_of(id_)))

    def run(self, sheets):
        for job in draw_jobs(self.rng, sheets):
            self.run_job(job)
        asked_inside = [line for line in self.sim.lines if " inside a sheet" in line]
        if asked_inside:
            raise AssertionError(f"asked in the middle of a sheet: {asked_inside}")
        print(f"{sheets} sheets in the jobs, {self.printed} printed, {self.count}")


def main():
    build, cmake = private_cups.programs()
    private_cups.skip_unless_cups_can_run()
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(1 << 32)
    print(f"seed {seed}", flush=True)
    start = time.monotonic()
    soak = Soak(build, cmake, random.Random(seed))
    try:
        soak.start()
        soak.run(int(sys.argv[3]) if len(sys.argv) > 3 else 60)
    finally:
        soak.close()
    print(f"{time.monotonic() - start:.0f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
