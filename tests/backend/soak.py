"""Many jobs through a private scheduler while paper runs out, the line is cut, the printer and the
scheduler are restarted and jobs are canceled, all drawn from a seed.
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

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "cups")]

import ipp  # noqa: E402
import numbered_sheets  # noqa: E402
import private_cups  # noqa: E402
from simulated_printer import SimulatedPrinter, number_in_picture  # noqa: E402

# Larger than the buffers of the two sockets between backend and printer, so that the backend waits
# when the printer stops reading.
SIZE = {"width": 500, "height": 400}
SHEET_BYTES = len(numbered_sheets.sheet(1, **SIZE))
MOST_IN_A_JOB = 40
NUMBERS = 251  # sheets are numbered from 0 over all jobs, modulo this
PLENTY = 9000
# How often each happens among 1,000 sheets.
EVENTS = {"paper_out": 50, "line_cut": 50, "power_cycle": 20, "scheduler_restart": 20, "canceled": 20}


class Job:
    def __init__(self, first, sheets):
        self.first = first    # number of its first sheet
        self.sheets = sheets
        self.canceled_at = None  # the sheet, counted from 1
        self.events = {}      # by sheet, counted from 1


def draw_jobs(draw, sheets):
    """Jobs with their events, at most one per sheet."""
    jobs, done = [], 0
    while done < sheets:
        jobs.append(Job(done, min(draw.randint(1, MOST_IN_A_JOB), sheets - done)))
        done += jobs[-1].sheets
    counts = {name: max(1, often * sheets // 1000) for name, often in EVENTS.items()}
    for job in draw.sample(jobs, min(counts.pop("canceled"), len(jobs))):
        job.canceled_at = draw.randint(1, job.sheets)
        job.events[job.canceled_at] = "canceled"
    places = [(job, sheet) for job in jobs
              for sheet in range(1, job.canceled_at or job.sheets + 1)]
    names = [name for name, count in counts.items() for _ in range(count)]
    draw.shuffle(names)
    for name, (job, sheet) in zip(names, draw.sample(places, len(names))):
        job.events[sheet] = name
    return jobs


class Soak:
    def __init__(self, build, cmake, draw):
        self.draw = draw
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="k905_soak_"))
        os.chmod(self.scratch, 0o755)
        (self.scratch / "cups").mkdir()
        buffers = ["--keep-buffers"] if draw.random() < 0.5 else []
        self.sim = SimulatedPrinter(build / "k905-sim", self.scratch / "sheets", "--trace",
                                    "--remaining", str(PLENTY), "--print-time", "20", *buffers)
        self.cups = private_cups.PrivateCups(self.scratch / "cups", build, cmake)
        self.count = dict.fromkeys(EVENTS, 0)
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

    def paper_out(self, job):
        # This sheet is the last one, or there is no paper for it either.
        self.sim.command(f"set remaining {self.draw.randint(0, 1)}")
        self.sim.command("continue")
        self.cups.wait_for(lambda: "media-empty" in self.cups.run(
            "lpstat", "-l", "-p", "booth").stdout or self.ended(job), "paper out")
        self.sim.command(f"load 6x8 {PLENTY}")

    def line_cut(self, _):
        self.sim.command("disconnect")

    def power_cycle(self, _):
        self.sim.command("power off")
        time.sleep(self.draw.random())
        self.sim.command("power on")

    def scheduler_restart(self, _):
        self.cups.process.send_signal(self.draw.choice([signal.SIGTERM, signal.SIGKILL]))
        self.cups.process.wait(60)
        continues_first = self.draw.random() < 0.5
        if continues_first:
            self.sim.command("continue")
        self.cups.start()
        if not continues_first:
            self.sim.command("continue")

    def canceled(self, job):
        self.cups.run("cancel", f"booth-{job}")
        self.sim.command("continue")

    # One job -----------------------------------------------------------------------------------

    def ended(self, job):
        return self.cups.job_state(job).get("job-state") in ipp.ENDED

    def plan(self, event, number):
        """Schedules the event for this sheet; returns the line that the printer prints when it is due."""
        if event == "line_cut" and self.draw.random() < 0.2:
            self.sim.command(f"disconnect after {number}")  # the sheet was taken
            return f"disconnected after sheet {number}"
        byte = self.draw.randrange(1, SHEET_BYTES)
        self.sim.command(f"hold at {byte} of {number}")
        return f"holding at byte {byte} of sheet {number}"

    def run_job(self, job):
        numbers = [number % NUMBERS for number in range(job.first, job.first + job.sheets)]
        file = self.scratch / "job.prn"
        file.write_bytes(b"".join(numbered_sheets.sheet(number, **SIZE) for number in numbers))
        events = [(job.events[sheet], self.plan(job.events[sheet], self.printed + sheet))
                  for sheet in sorted(job.events)]
        id_ = self.cups.submit("booth", file, options=["raw"])
        for event, line in events:
            self.sim.wait_for_line(line, 120)
            if line.startswith("holding"):
                getattr(self, event)(id_)
            self.count[event] += 1
        state = self.cups.finished(id_, 300)["job-state"]
        # A canceled job still ends with the sheet in hand.
        self.cups.wait_for(lambda: "is idle" in self.cups.run("lpstat", "-p", "booth").stdout, "idle")
        if job.canceled_at:
            self.sim.wait_for_line(f"sheet {self.printed + job.canceled_at}: ")
        self.check(job, id_, state, numbers)

    def check(self, job, id_, state, numbers):
        files = self.sim.printed_files()[self.printed:]
        printed = [number_in_picture(file) for file in files]
        self.printed += len(printed)
        wanted = numbers
        if job.canceled_at:
            # The sheet in hand is finished. One more may have begun before the request arrived.
            wanted = numbers[:max(job.canceled_at, min(len(printed), job.canceled_at + 1))]
        expected = ipp.CANCELED if job.canceled_at else ipp.COMPLETED
        if printed != wanted or state not in (expected, ipp.COMPLETED):
            raise AssertionError(f"job {id_}, state {state}, events {job.events}:\nwanted {wanted}\n"
                                 f"printed {printed}\n" + "\n".join(self.cups.log_of(id_)))

    def run(self, sheets):
        for job in draw_jobs(self.draw, sheets):
            self.run_job(job)
        asked_inside = [line for line in self.sim.lines if " inside a sheet" in line]
        if asked_inside:
            raise AssertionError(f"asked in the middle of a sheet: {asked_inside}")
        print(f"{sheets} sheets in the jobs, {self.printed} printed, {self.count}")


def main():
    build, cmake = private_cups.programs()
    private_cups.exit_if_it_cannot_run()
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(1 << 32)
    print(f"seed {seed}", flush=True)
    began = time.monotonic()
    soak = Soak(build, cmake, random.Random(seed))
    try:
        soak.start()
        soak.run(int(sys.argv[3]) if len(sys.argv) > 3 else 60)
    finally:
        soak.close()
    print(f"{time.monotonic() - began:.0f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
