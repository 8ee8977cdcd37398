"""Jobs of several sheets through a private scheduler, the backend and a simulated printer.
usage: through_cups.py BUILD CMAKE [TEST...]

The pages go in as raster, so the real filters stand before the backend. Page n is gray n, and what
the printer was sent for it is known from a run of the filter alone. Exit status 77 means that it could
not be tried here.
"""

import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "cups")]

import artwork  # noqa: E402
import ipp  # noqa: E402
import private_cups  # noqa: E402
from numbered_sheets import Listener  # noqa: E402
from relay import Relay  # noqa: E402
from simulated_printer import SimulatedPrinter  # noqa: E402

SKIPPED = 77
STATUS_TABLE = HERE.parent / "support" / "status_reasons.tsv"
BUILD = pathlib.Path()
CMAKE = "cmake"
PAGES = 4
SHEET_BYTES = 3 * (32 + 1088 + 1920 * 1240) + 40 + 32
SLOW = 0.001  # a sheet then takes half a second
NUMBER_PLACE = 600 * 1920 + 960  # inside the picture
# From the first byte to the last: in the first block, in an image header, in pixels, at the controls.
MOMENTS = [1, 500, SHEET_BYTES // 7, SHEET_BYTES // 2, SHEET_BYTES * 6 // 7, SHEET_BYTES - 30]


class Cups(private_cups.PrivateCups):
    """Keeps the files of jobs, so that they can be printed again."""

    def configure(self):
        super().configure()
        file = self.etc / "cupsd.conf"
        file.write_text(file.read_text().replace("PreserveJobFiles No", "PreserveJobFiles Yes"))


class ThroughCups(unittest.TestCase):
    def setUp(self):
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="k905_backend_cups_"))
        self.cups = Cups(self.scratch / "cups", BUILD, CMAKE)
        (self.scratch / "cups").mkdir()
        os.chmod(self.scratch, 0o755)
        self.state = self.scratch / "state"
        self.sim = SimulatedPrinter(BUILD / "k905-sim", self.scratch / "sheets",
                                    "--state", str(self.state))
        self.relay = Relay(self.sim.port, NUMBER_PLACE)
        self.addCleanup(self.clean_up)
        self.cups.__enter__()
        self.cups.add_queue("booth", device=self.relay.uri + "/?settle=1")
        self.pages = self.raster_of(PAGES)
        self.numbers = self.numbers_of(self.pages)

    def clean_up(self):
        self.log = self.cups.tail_of_log(200)
        self.cups.stop()
        self.relay.close()
        self.sim.stop()
        shutil.rmtree(self.scratch)

    def run(self, result=None):
        before = len(result.failures) + len(result.errors)
        super().run(result)
        if len(result.failures) + len(result.errors) > before:
            print(self.log, file=sys.stderr)
        return result

    def raster_of(self, count):
        """A raster file of as many pages, each of one gray."""
        pictures = []
        for number in range(1, count + 1):
            picture = self.scratch / f"{number}.ppm"
            picture.write_bytes(b"P6\n1844 1240\n255\n" + bytes([number * 10]) * (3 * 1844 * 1240))
            pictures.append(picture)
        raster = self.scratch / "pages.ras"
        subprocess.run([BUILD / "k905-raster", "-o", raster, *pictures], check=True)
        return raster

    def numbers_of(self, raster):
        """What identifies each sheet, from the filter alone."""
        ppd = self.cups.prefix / "share/cups/model/k905/K905.ppd"
        with open(raster, "rb") as pages:
            stream = subprocess.run([BUILD / "rastertok905", "1", "me", "t", "1", ""], stdin=pages,
                                    env={"PPD": str(ppd)}, capture_output=True, check=True).stdout
        listener = Listener(NUMBER_PLACE)
        listener.hear(stream)
        self.assertEqual(len(set(listener.sheets)), PAGES)
        return listener.sheets

    def submit(self):
        return self.cups.submit("booth", self.pages, options=["document-format=application/vnd.cups-raster"])

    def set_printer(self, **fields):
        lines = dict(line.split(" = ") for line in self.state.read_text().splitlines())
        lines |= {key: str(value) for key, value in fields.items()}
        fresh = self.scratch / "fresh"
        fresh.write_text("".join(f"{key} = {value}\n" for key, value in lines.items()))
        os.replace(fresh, self.state)

    def reasons(self):
        return self.cups.run("lpstat", "-l", "-p", "booth").stdout

    def assert_completed(self, job):
        self.assertEqual(self.cups.finished(job, 120)["job-state"], ipp.COMPLETED)


class Stopped(ThroughCups):
    """The scheduler is stopped in the middle of a sheet and started again."""

    def stop_at_every_moment(self, end):
        self.relay.pause = SLOW
        for moment in MOMENTS:
            with self.subTest(byte=moment):
                done = len(self.relay.heard.sheets)
                job = self.submit()
                self.relay.wait_inside(self.relay.heard.begun + 2, moment)
                self.cups.process.send_signal(end)
                self.cups.process.wait(30)
                self.cups.start()
                self.assert_completed(job)
                self.assertEqual(self.relay.heard.sheets[done:], self.numbers)
                self.assertEqual(self.relay.heard.torn, [])
        self.assertEqual(len(list(self.sim.sheets.glob("*.png"))), PAGES * len(MOMENTS))

    def test_stopping_the_scheduler_in_a_sheet_prints_every_sheet_once(self):
        self.stop_at_every_moment(signal.SIGTERM)

    def test_killing_the_scheduler_in_a_sheet_prints_every_sheet_once(self):
        self.stop_at_every_moment(signal.SIGKILL)


    def test_a_completed_job_that_the_scheduler_lost_is_not_printed_again(self):
        # It writes the states of jobs some seconds later.
        config = self.cups.etc / "cupsd.conf"
        config.write_text(config.read_text().replace("DirtyCleanInterval 0", "DirtyCleanInterval 4"))
        self.cups.process.terminate()
        self.cups.process.wait(30)
        self.cups.start()
        self.set_printer(remaining=2)
        job = self.submit()
        self.relay.wait_for(lambda heard: len(heard.sheets) == 2, "two sheets")
        self.cups.wait_for((self.cups.root / f"spool/c{job:05}").exists, "the job's file")
        self.set_printer(remaining=400)
        self.assert_completed(job)
        self.cups.process.kill()
        self.cups.process.wait(30)
        self.cups.start()
        self.assert_completed(job)
        self.assertEqual(self.relay.heard.sheets, self.numbers)


class Jobs(ThroughCups):
    def test_only_root_may_execute_the_backend(self):
        program = self.cups.serverbin / "backend" / "k905"
        self.assertEqual(program.stat().st_mode & 0o7777, 0o700)

    def test_a_printer_out_of_paper_holds_the_job_and_goes_on_after_new_media(self):
        self.set_printer(remaining=2)
        job = self.submit()
        self.cups.wait_for(lambda: "media-empty-error" in self.reasons(), "the reason in lpstat")
        self.assertIn("Paper End: load new paper and a new ribbon", self.reasons())
        self.assertEqual(self.cups.job_state(job)["job-state"], ipp.PROCESSING)
        self.assertEqual(self.relay.heard.sheets, self.numbers[:2])
        self.set_printer(remaining=400)
        self.assert_completed(job)
        self.assertEqual(self.relay.heard.sheets, self.numbers)
        self.assertNotIn("media-empty", self.reasons())

    def test_with_two_prints_left_a_document_of_five_pages_waits_for_the_last_three(self):
        pages = artwork.write_pdf(self.scratch / "pages.pdf", 432, 288,
                                  [f"0.{level} g 0 0 432 288 re f\n" for level in range(2, 7)])
        self.assert_completed(self.cups.submit("booth", pages))
        undisturbed = self.relay.heard.sheets[:]
        self.assertEqual(len(set(undisturbed)), 5)
        self.set_printer(remaining=2)
        job = self.cups.submit("booth", pages)
        self.cups.wait_for(lambda: "media-empty-error" in self.reasons(), "the reason in lpstat")
        self.assertEqual(self.relay.heard.sheets[5:], undisturbed[:2])
        self.set_printer(remaining=400)
        self.assert_completed(job)
        self.assertEqual(self.relay.heard.sheets[5:], undisturbed)
        self.assertEqual(self.cups.pages_logged(job), [f"booth {job} total 5"])
        self.assertNotIn("media-empty", self.reasons())

    def test_a_canceled_job_ends_with_the_sheet_in_hand(self):
        self.relay.pause = SLOW
        job = self.submit()
        self.relay.wait_inside(2, SHEET_BYTES // 2)
        self.cups.run("cancel", f"booth-{job}")
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.CANCELED)
        self.relay.pause = 0
        after = self.submit()
        self.assert_completed(after)
        self.assertEqual(self.relay.heard.sheets, self.numbers[:2] + self.numbers)
        self.assertEqual(self.relay.heard.torn, [])
        self.assertIn("idle", self.reasons())

    def test_a_canceled_job_that_is_printed_again_starts_at_its_first_sheet(self):
        self.relay.pause = SLOW
        job = self.submit()
        self.relay.wait_inside(2, SHEET_BYTES // 2)
        self.cups.run("cancel", f"booth-{job}")
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.CANCELED)
        self.relay.wait_for(lambda heard: len(heard.sheets) == 2, "the sheet in hand")
        self.cups.wait_for(lambda: "idle" in self.reasons(), "an idle queue")
        self.cups.run("lp", "-i", f"booth-{job}", "-H", "restart")
        self.relay.wait_for(lambda heard: len(heard.sheets) == 2 + PAGES, "all sheets again")
        self.assertEqual(self.relay.heard.sheets, self.numbers[:2] + self.numbers)

    def test_a_completed_job_that_is_printed_again_starts_at_its_first_sheet(self):
        job = self.submit()
        self.assert_completed(job)
        for times in (2, 3):
            self.cups.run("lp", "-i", f"booth-{job}", "-H", "restart")
            self.relay.wait_for(lambda heard: len(heard.sheets) == times * PAGES, "all sheets again")
            self.assert_completed(job)
        self.assertEqual(self.relay.heard.sheets, self.numbers * 3)

    def test_a_held_job_continues_after_its_last_sheet(self):
        self.relay.pause = SLOW
        job = self.submit()
        self.relay.wait_inside(2, SHEET_BYTES // 2)
        self.cups.run("lp", "-i", f"booth-{job}", "-H", "hold")
        self.cups.wait_for(lambda: self.cups.job_state(job)["job-state"] == ipp.HELD, "a held job")
        self.relay.wait_for(lambda heard: len(heard.sheets) == 2, "the sheet in hand")
        self.cups.run("lp", "-i", f"booth-{job}", "-H", "resume")
        self.assert_completed(job)
        self.assertEqual(self.relay.heard.sheets, self.numbers)
        self.assertEqual(self.relay.heard.torn, [])
        # The scheduler writes a line for each attempt, with the sum so far.
        self.assertEqual(self.cups.pages_logged(job),
                         [f"booth {job} total 2", f"booth {job} total {PAGES}"])

    def test_a_disabled_queue_finishes_the_sheet_and_continues_the_job_later(self):
        self.relay.pause = SLOW
        job = self.submit()
        self.relay.wait_inside(2, SHEET_BYTES // 2)
        self.cups.run("cupsdisable", "booth")
        self.relay.wait_for(lambda heard: len(heard.sheets) == 2, "the sheet in hand")
        self.cups.run("cupsenable", "booth")
        self.assert_completed(job)
        self.assertEqual(self.relay.heard.sheets, self.numbers)


class Shown(ThroughCups):
    """What the print system and k905-status show meanwhile."""

    def shown(self):
        """The queue's own reasons and its sentence, as the scheduler reports them."""
        attributes = ipp.ask_printer(self.cups.socket, "booth")
        reasons = {value for name, value in attributes if name == "printer-state-reasons"}
        return (reasons - {"none", "media-low-warning"},
                dict(attributes).get("printer-state-message", ""))

    def test_every_status_code_shows_its_reason_and_sentence_until_it_is_over(self):
        table = [line.split("\t") for line in STATUS_TABLE.read_text().splitlines()
                 if not line.startswith("#")]
        self.assertEqual(len(table), 37)
        self.set_printer(status=table[0][0])
        job = self.submit()
        for code, keyword, sentence in table:
            self.set_printer(status=code)
            self.cups.wait_for(lambda: self.shown() == ({keyword}, sentence), f"{code}: {sentence}")
            said = self.reasons()
            self.assertIn(f"\t{sentence}\n", said)
            self.assertRegex(said, rf"\n\tAlerts:.*\b{keyword}\b")
        self.assertEqual(self.relay.heard.sheets, [])
        self.set_printer(status=1)
        self.cups.wait_for(lambda: not self.shown()[0], "no reason while it prints")
        self.set_printer(status=0)
        self.assert_completed(job)
        self.assertEqual(self.relay.heard.sheets, self.numbers)
        reasons, sentence = self.shown()
        self.assertEqual(reasons, set())
        self.assertNotIn(sentence, [row[2] for row in table])

    def status(self, *arguments):
        return self.cups.run(BUILD / "k905-status", *arguments, check=False)

    def test_k905_status_shows_what_the_backend_last_saw(self):
        self.assertRegex(self.status("booth").stdout, r"^booth: ready, Idling\n(.*\n)*  serial ")
        self.set_printer(status=1100, remaining=0, serial="S 1")
        job = self.submit()
        self.cups.wait_for(lambda: "Paper End" in self.reasons(), "the reason")
        questions = len(self.relay.heard.questions)
        said = self.status("booth")
        self.assertEqual(said.returncode, 1)
        self.assertTrue(said.stdout.startswith(
            "booth: needs attention, Paper End, as queue booth last saw it while printing\n"), said.stdout)
        address = f"127.0.0.1:{self.relay.port}"
        seen = json.loads(self.status("--json", address).stdout)
        self.assertEqual((seen["state"], seen["status_code"], seen["serial_number"],
                          seen["prints_left"], seen["model"]), ("attention", 1100, "S 1", 0, "K905"))
        self.cups.run("lpadmin", "-p", "booth", "-c", "lab")
        table = self.status("lab", "/nowhere").stdout
        self.assertRegex(table, r"\nbooth +needs attention +0 .* S 1 +Paper End, as queue booth")
        self.relay.refuse = True
        self.cups.wait_for(lambda: self.status("booth").returncode == 2, "an unreachable printer")
        self.assertRegex(self.status("booth").stdout, "booth: not reachable, The printer "
                         "(is not connected|does not answer), as queue booth last saw it\n")
        self.relay.refuse = False
        # Which only k905-status asks.
        self.assertNotIn("Version", self.relay.heard.questions[questions:])
        self.set_printer(status=0, remaining=400)
        self.assert_completed(job)
        self.assertEqual(self.relay.heard.sheets, self.numbers)

    def test_supplies_are_shown(self):
        self.set_printer(remaining=30, initial=400)
        self.assert_completed(self.submit())
        attributes = ipp.printer_attributes(self.cups.socket, "booth")
        self.assertEqual(attributes["marker-levels"], 6)
        self.assertEqual(attributes["marker-message"], "26 of 400 prints left")
        self.assertIn("media-low", self.reasons())


def main():
    global BUILD, CMAKE
    if len(sys.argv) < 3:
        print(__doc__)
        return 2
    BUILD, CMAKE = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2]
    missing = private_cups.what_is_missing()
    if missing:
        print(f"SKIPPED: no print system can be started here: {missing}")
        return SKIPPED
    ran = unittest.main(argv=[sys.argv[0], "-v"] + sys.argv[3:], exit=False)
    return 0 if ran.result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
