"""Many jobs through a private scheduler while paper runs out, the line is cut, the printer and the
scheduler are restarted and jobs are canceled, all drawn from a seed.
usage: soak.py BUILD CMAKE [SHEETS [SEED]]

Every sheet that was not canceled came out exactly once, in order: the numbers in the pixels of what the
simulated printer printed tell. Exit status 77 means that it could not be tried here.
"""

import os
import pathlib
import random
import shutil
import signal
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "cups")]

import ipp  # noqa: E402
import numbered_sheets  # noqa: E402
import private_cups  # noqa: E402
from relay import Relay  # noqa: E402
from simulated_printer import SimulatedPrinter  # noqa: E402

SKIPPED = 77
SIZE = {"width": 500, "height": 400}
SHEET_BYTES = len(numbered_sheets.sheet(1, **SIZE))
MOST_IN_A_JOB = 40
# How often each happens among 1,000 sheets.
EVENTS = {"paper_out": 50, "line_cut": 50, "power_cycle": 20, "scheduler_stopped": 10,
          "scheduler_killed": 10, "canceled": 20}


class Soak:
    def __init__(self, build, cmake, seed):
        self.random = random.Random(seed)
        self.build = build
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="k905_soak_"))
        os.chmod(self.scratch, 0o755)
        (self.scratch / "cups").mkdir()
        self.state = self.scratch / "state"
        self.start_printer()
        self.relay = Relay(self.sim.port)
        self.relay.pause = 0.0005
        self.cups = private_cups.PrivateCups(self.scratch / "cups", build, cmake)
        self.cups.__enter__()
        self.cups.run("lpadmin", "-p", "booth", "-v", self.relay.uri + "/?settle=1", "-E",
                      "-o", "printer-error-policy=retry-current-job")
        self.count = dict.fromkeys(EVENTS, 0)

    def close(self):
        self.cups.stop()
        self.relay.close()
        self.sim.stop()
        shutil.rmtree(self.scratch)

    def start_printer(self):
        self.sim = SimulatedPrinter(self.build / "k905-sim", self.scratch / "sheets",
                                    "--state", str(self.state))

    def set_printer(self, **fields):
        lines = dict(line.split(" = ") for line in self.state.read_text().splitlines())
        lines |= {key: str(value) for key, value in fields.items()}
        fresh = self.scratch / "fresh"
        fresh.write_text("".join(f"{key} = {value}\n" for key, value in lines.items()))
        os.replace(fresh, self.state)

    # What can happen inside a sheet ------------------------------------------------------------

    def paper_out(self, job):
        self.set_printer(remaining=0)
        self.cups.wait_for(lambda: "media-empty" in self.cups.run(
            "lpstat", "-l", "-p", "booth").stdout or self.ended(job), "paper out")
        self.set_printer(remaining=9000)

    def line_cut(self, _):
        self.relay.cut_soon = True

    def power_cycle(self, _):
        self.sim.process.kill()
        self.sim.stop()
        self.start_printer()
        self.relay.target_port = self.sim.port

    def scheduler_stopped(self, _, how=signal.SIGTERM):
        self.cups.process.send_signal(how)
        self.cups.process.wait(60)
        self.cups.start()

    def scheduler_killed(self, job):
        self.scheduler_stopped(job, signal.SIGKILL)

    def canceled(self, job):
        self.cups.run("cancel", f"booth-{job}", check=False)

    def ended(self, job):
        return self.cups.job_state(job).get("job-state") in ipp.ENDED

    def pictures(self):
        return sorted(self.sim.sheets.glob("*.png"))

    # One job -----------------------------------------------------------------------------------

    def run_job(self, sheets, rate):
        file = self.scratch / "job.prn"
        file.write_bytes(b"".join(numbered_sheets.sheet(n, **SIZE) for n in range(1, sheets + 1)))
        before = len(self.relay.heard.sheets)
        pictures = len(self.pictures())
        self.set_printer(remaining=9000)
        job = self.cups.submit("booth", file, options=["raw"])
        for sheet in range(1, sheets + 1):
            for event, often in EVENTS.items():
                if self.random.random() < often / 1000 * rate and not self.ended(job):
                    self.happen(event, job, before + sheet)
        state = self.cups.finished(job, 300)["job-state"]
        # A canceled job still ends with the sheet in hand.
        self.cups.wait_for(lambda: "is idle" in self.cups.run("lpstat", "-p", "booth").stdout, "idle")
        self.relay.wait_for(lambda heard: not heard.inside, "the sheet in hand")
        printed = [numbered_sheets.number_in_picture(file) for file in self.pictures()[pictures:]]
        wanted = list(range(1, sheets + 1))
        if state == ipp.CANCELED:
            wanted = wanted[:len(printed)]
        elif state != ipp.COMPLETED:
            raise AssertionError(f"job {job} ended with state {state}")
        if printed != wanted:
            raise AssertionError(f"job {job}: wanted {wanted}, printed {printed}\n" +
                                 "\n".join(self.cups.log_of(job)))

    def happen(self, event, job, sheet):
        byte = self.random.randrange(1, SHEET_BYTES)
        self.relay.wait_for(lambda heard: len(heard.sheets) >= sheet or
                            len(heard.sheets) == sheet - 1 and heard.inside >= byte,
                            f"byte {byte} of sheet {sheet}")
        self.count[event] += 1
        getattr(self, event)(job)

    def run(self, sheets):
        done = 0
        while done < sheets:
            size = min(self.random.randint(1, MOST_IN_A_JOB), sheets - done)
            self.run_job(size, 1.0 if sheets >= 500 else 2.0)
            done += size
        print(f"{done} sheets in the jobs, {len(self.pictures())} printed, {len(self.relay.heard.sheets)} "
              f"sent whole, {len(self.relay.heard.torn)} cut on the way, {self.count}")


def main():
    if len(sys.argv) < 3:
        print(__doc__)
        return 2
    missing = private_cups.what_is_missing()
    if missing:
        print(f"SKIPPED: no print system can be started here: {missing}")
        return SKIPPED
    seed = int(sys.argv[4]) if len(sys.argv) > 4 else random.randrange(1 << 32)
    print(f"seed {seed}", flush=True)
    soak = Soak(pathlib.Path(sys.argv[1]).resolve(), sys.argv[2], seed)
    try:
        soak.run(int(sys.argv[3]) if len(sys.argv) > 3 else 60)
    finally:
        soak.close()
    return 0


if __name__ == "__main__":
    sys.exit(main())
