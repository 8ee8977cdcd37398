"""Jobs of several sheets through a private scheduler, the backend and a simulated printer.
usage: through_cups.py BUILD CMAKE [TEST...]

The pages are submitted as raster, so the real filters run before the backend. Page n has the gray value 10 n,
and its printer data is known from a run of the filter alone. Exit status 77: the tests cannot run on this
machine.
"""

import json
import os
import pathlib
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
from simulated_printer import SimulatedPrinter, undisturbed  # noqa: E402

STATUS_TABLE = HERE.parent / "support" / "status_reasons.tsv"
BUILD, CMAKE = private_cups.programs()
PAGES = 4
SHEET_BYTES = 3 * (32 + 1088 + 1920 * 1240) + 40 + 32
# From the first byte to the last: in the first block, in an image header, in pixels, in the
# controls.
MOMENTS = [1, 500, SHEET_BYTES // 7, SHEET_BYTES // 2, SHEET_BYTES * 6 // 7, SHEET_BYTES - 30]


class Cups(private_cups.PrivateCups):
    """A scheduler that keeps the files of jobs, so that they can be printed again."""

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
        self.sim = SimulatedPrinter(BUILD / "k905-sim", self.scratch / "sheets", "--trace",
                                    "--media", "6x4")
        self.addCleanup(self.clean_up)
        self.cups.__enter__()
        self.cups.add_queue("booth", device=self.sim.device_uri + "/?settle=1")
        self.pages = self.raster_of(PAGES)
        self.numbers = self.numbers_of(self.pages)

    def clean_up(self):
        self.log = self.cups.tail_of_log(200)
        self.cups.stop()
        self.sim.stop()
        shutil.rmtree(self.scratch)

    def run(self, result=None):
        before = len(result.failures) + len(result.errors)
        super().run(result)
        if len(result.failures) + len(result.errors) > before:
            print(self.log, file=sys.stderr)
        return result

    def raster_of(self, count):
        """A raster file of `count` pages, each filled with a different gray."""
        pictures = []
        for number in range(1, count + 1):
            picture = self.scratch / f"{number}.ppm"
            picture.write_bytes(b"P6\n1844 1240\n255\n" + bytes([number * 10]) * (3 * 1844 * 1240))
            pictures.append(picture)
        raster = self.scratch / "pages.ras"
        subprocess.run([BUILD / "k905-raster", "-o", raster, *pictures], check=True)
        return raster

    def numbers_of(self, raster):
        """The number that identifies each sheet, from a run of the filter alone."""
        ppd = self.cups.prefix / "share/cups/model/k905/K905.ppd"
        with open(raster, "rb") as pages:
            stream = subprocess.run([BUILD / "rastertok905", "1", "me", "t", "1", ""], stdin=pages,
                                    env={"PPD": str(ppd)}, capture_output=True, check=True).stdout
        numbers = undisturbed(BUILD / "k905-sim", stream, SimulatedPrinter.numbers)
        self.assertEqual(len(set(numbers)), PAGES)
        return numbers

    def submit(self, *options):
        return self.cups.submit("booth", self.pages,
                                options=["document-format=application/vnd.cups-raster", *options])

    def submit_and_hold(self, sheet, byte=SHEET_BYTES // 2):
        """A job during which the printer stops reading in the middle of the sheet with this number."""
        self.sim.hold(byte, sheet)
        job = self.submit()
        self.sim.wait_until_holding(byte, sheet)
        return job

    def backend_pipes(self):
        """The pipes of the process that the scheduler started: one leads to the process that prints."""
        pipes = set()
        for process in pathlib.Path(f"/proc/{self.cups.process.pid}/task/{self.cups.process.pid}/"
                                    "children").read_text().split():
            try:
                if pathlib.Path(f"/proc/{process}/comm").read_text() == "k905\n":
                    pipes |= {file for file in pathlib.Path(f"/proc/{process}/fd").iterdir()
                              if os.readlink(file).startswith("pipe:")}
            except FileNotFoundError:  # it has ended
                pass
        return pipes

    def run_while_holding(self, *command):
        """Runs a command that stops the job; the printer reads on when the printing process has been notified."""
        before = self.backend_pipes()
        self.cups.run(*command)
        self.cups.wait_for(lambda: self.backend_pipes() < before, "the backend to handle the request")
        self.sim.command("continue")

    def reasons(self):
        return self.cups.run("lpstat", "-l", "-p", "booth").stdout

    def assert_printed(self, numbers):
        """Each sheet was printed once, in this order, and the printer received no other data."""
        self.assertEqual(self.sim.numbers(), numbers)
        self.assertEqual(self.sim.incomplete_sheets(), 0)
        self.assertEqual(self.sim.count(" inside a sheet"), 0)

    def assert_completed(self, job):
        self.assertEqual(self.cups.finished(job, 120)["job-state"], ipp.COMPLETED)


class Stopped(ThroughCups):
    """The scheduler is stopped in the middle of a sheet and started again."""

    def stop_at_every_moment(self, end):
        for place, moment in enumerate(MOMENTS):
            with self.subTest(byte=moment):
                job = self.submit_and_hold(place * PAGES + 2, moment)
                self.cups.process.send_signal(end)
                self.cups.process.wait(30)
                self.cups.start()
                self.sim.command("continue")
                self.assert_completed(job)
        self.assert_printed(self.numbers * len(MOMENTS))

    def test_stopping_the_scheduler_in_a_sheet_prints_every_sheet_once(self):
        self.stop_at_every_moment(signal.SIGTERM)

    def test_killing_the_scheduler_in_a_sheet_prints_every_sheet_once(self):
        self.stop_at_every_moment(signal.SIGKILL)

    def test_a_completed_job_that_the_scheduler_lost_is_not_printed_again(self):
        # The scheduler saves the states of jobs some seconds later.
        config = self.cups.etc / "cupsd.conf"
        config.write_text(config.read_text().replace("DirtyCleanInterval 0", "DirtyCleanInterval 4"))
        self.cups.process.terminate()
        self.cups.process.wait(30)
        self.cups.start()
        self.sim.set(remaining=2)
        job = self.submit()
        self.sim.wait_for_line("sheet 2: ")
        self.cups.wait_for((self.cups.root / f"spool/c{job:05}").exists, "the job's file")
        self.sim.set(remaining=400)
        self.assert_completed(job)
        self.cups.process.kill()
        self.cups.process.wait(30)
        self.cups.start()
        self.assert_completed(job)
        self.assert_printed(self.numbers)


class Jobs(ThroughCups):
    def test_only_root_may_execute_the_backend(self):
        program = self.cups.serverbin / "backend" / "k905"
        self.assertEqual(program.stat().st_mode & 0o7777, 0o700)

    def test_a_job_waits_while_the_printer_is_out_of_paper_and_then_continues(self):
        self.sim.set(remaining=2)
        job = self.submit()
        self.cups.wait_for(lambda: "media-empty-error" in self.reasons(), "the reason in lpstat")
        self.assertIn("Paper End: load new paper and a new ribbon", self.reasons())
        self.assertEqual(self.cups.job_state(job)["job-state"], ipp.PROCESSING)
        self.assert_printed(self.numbers[:2])
        self.sim.set(remaining=400)
        self.assert_completed(job)
        self.assert_printed(self.numbers)
        self.assertNotIn("media-empty", self.reasons())

    def test_with_two_prints_left_a_document_of_five_pages_waits_for_the_last_three(self):
        pages = artwork.write_pdf(self.scratch / "pages.pdf", 432, 288,
                                  [f"0.{level} g 0 0 432 288 re f\n" for level in range(2, 7)])
        self.assert_completed(self.cups.submit("booth", pages))
        all_pages = self.sim.numbers()
        self.assertEqual(len(set(all_pages)), 5)
        self.sim.set(remaining=2)
        job = self.cups.submit("booth", pages)
        self.cups.wait_for(lambda: "media-empty-error" in self.reasons(), "the reason in lpstat")
        self.assert_printed(all_pages + all_pages[:2])
        self.sim.set(remaining=400)
        self.assert_completed(job)
        self.assert_printed(all_pages * 2)
        self.assertEqual(self.cups.pages_logged(job), [f"booth {job} total 5"])
        self.assertNotIn("media-empty", self.reasons())

    def test_a_canceled_job_ends_with_the_current_sheet(self):
        job = self.submit_and_hold(2)
        self.run_while_holding("cancel", f"booth-{job}")
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.CANCELED)
        after = self.submit()
        self.assert_completed(after)
        self.assert_printed(self.numbers[:2] + self.numbers)
        self.assertIn("idle", self.reasons())

    def test_a_canceled_job_that_is_printed_again_starts_at_its_first_sheet(self):
        job = self.submit_and_hold(2)
        self.run_while_holding("cancel", f"booth-{job}")
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.CANCELED)
        self.sim.wait_for_line("sheet 2: ")
        self.cups.wait_for(lambda: "idle" in self.reasons(), "an idle queue")
        self.cups.run("lp", "-i", f"booth-{job}", "-H", "restart")
        self.sim.wait_for_line(f"sheet {2 + PAGES}: ")
        self.assert_printed(self.numbers[:2] + self.numbers)

    def test_a_job_canceled_while_its_printer_is_away_starts_again_at_its_first_sheet(self):
        self.sim.command(f"unplug at {SHEET_BYTES // 2} of 3")
        job = self.submit()
        self.cups.wait_for(lambda: "offline-report" in self.reasons(), "the reason in lpstat")
        self.cups.run("cancel", f"booth-{job}")
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.CANCELED)
        self.cups.wait_for(lambda: "idle" in self.reasons(), "an idle queue")
        self.sim.command("plug")
        self.cups.run("lp", "-i", f"booth-{job}", "-H", "restart")
        self.assert_completed(job)
        self.assertEqual(self.sim.numbers(), self.numbers[:2] + self.numbers)

    def test_a_completed_job_that_is_printed_again_starts_at_its_first_sheet(self):
        job = self.submit()
        self.assert_completed(job)
        for times in (2, 3):
            self.cups.run("lp", "-i", f"booth-{job}", "-H", "restart")
            self.sim.wait_for_line(f"sheet {times * PAGES}: ")
            self.assert_completed(job)
        self.assert_printed(self.numbers * 3)

    def test_a_held_job_continues_after_the_last_sheet_that_was_printed(self):
        job = self.submit_and_hold(2)
        self.run_while_holding("lp", "-i", f"booth-{job}", "-H", "hold")
        self.cups.wait_for(lambda: self.cups.job_state(job)["job-state"] == ipp.HELD, "a held job")
        self.sim.wait_for_line("sheet 2: ")
        self.cups.run("lp", "-i", f"booth-{job}", "-H", "resume")
        self.assert_completed(job)
        self.assert_printed(self.numbers)
        # The scheduler writes a line for each attempt, with the sum so far.
        self.assertEqual(self.cups.pages_logged(job),
                         [f"booth {job} total 2", f"booth {job} total {PAGES}"])

    def test_a_disabled_queue_finishes_the_sheet_and_continues_the_job_later(self):
        job = self.submit_and_hold(2)
        self.run_while_holding("cupsdisable", "booth")
        self.sim.wait_for_line("sheet 2: ")
        self.cups.run("cupsenable", "booth")
        self.assert_completed(job)
        self.assert_printed(self.numbers)


class Ribbon(ThroughCups):
    """With K905Ribbon=Auto, the default, the loaded ribbon decides whether pages share sheets."""

    def assert_sheets(self, job, count, is_shared):
        self.assert_completed(job)
        sheets = self.sim.numbers()[self.seen:]
        self.seen += len(sheets)
        self.assertEqual(len(sheets), count)
        self.assertEqual(sheets == self.numbers, not is_shared)

    def setUp(self):
        super().setUp()
        self.seen = 0

    def test_the_loaded_ribbon_decides(self):
        self.sim.set(media="6x8")
        self.assert_sheets(self.submit(), PAGES // 2, is_shared=True)
        self.assert_sheets(self.submit("K905Ribbon=6x4"), PAGES, is_shared=False)
        for media in ("6x4", "6x9"):
            self.sim.set(media=media)
            self.assert_sheets(self.submit(), PAGES, is_shared=False)

    def test_a_job_for_a_printer_that_is_not_there_waits_for_its_ribbon(self):
        self.sim.command("unplug")
        job = self.submit()
        self.cups.wait_for(lambda: "offline-report" in self.reasons(), "the reason in lpstat")
        self.sim.command("plug")
        self.sim.set(media="6x8")
        self.assert_sheets(job, PAGES // 2, is_shared=True)

    def test_a_job_that_waits_for_its_ribbon_can_be_canceled(self):
        self.sim.command("unplug")
        job = self.submit()
        self.cups.wait_for(lambda: "offline-report" in self.reasons(), "the reason in lpstat")
        self.cups.run("cancel", f"booth-{job}")
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.CANCELED)
        self.sim.command("plug")
        self.assert_sheets(self.submit(), PAGES, is_shared=False)


class Shown(ThroughCups):
    """The state that CUPS and k905-status show during a job."""

    def shown(self):
        """The state reasons and the message of the queue, as the scheduler reports them."""
        attributes = ipp.ask_printer(self.cups.socket, "booth")
        reasons = {value for name, value in attributes if name == "printer-state-reasons"}
        return (reasons - {"none", "media-low-warning"},
                dict(attributes).get("printer-state-message", ""))

    def test_every_status_code_shows_its_reason_and_sentence_until_it_is_over(self):
        table = [line.split("\t") for line in STATUS_TABLE.read_text().splitlines()
                 if not line.startswith("#")]
        self.assertEqual(len(table), 37)
        self.sim.set(status=table[0][0])
        job = self.submit()
        for code, keyword, sentence in table:
            self.sim.set(status=code)
            self.cups.wait_for(lambda: self.shown() == ({keyword}, sentence), f"{code}: {sentence}")
            reasons = self.reasons()
            self.assertIn(f"\t{sentence}\n", reasons)
            self.assertRegex(reasons, rf"\n\tAlerts:.*\b{keyword}\b")
        self.assert_printed([])
        self.sim.set(status=1)
        self.cups.wait_for(lambda: not self.shown()[0], "no reason while it prints")
        self.sim.set(status=0)
        self.assert_completed(job)
        self.assert_printed(self.numbers)
        reasons, sentence = self.shown()
        self.assertEqual(reasons, set())
        self.assertNotIn(sentence, [row[2] for row in table])

    def status(self, *arguments):
        return self.cups.run(BUILD / "k905-status", *arguments, check=False)

    def test_k905_status_shows_what_the_backend_last_saw(self):
        self.assertRegex(self.status("booth").stdout, r"^booth: ready, Idling\n(.*\n)*  serial ")
        self.sim.set(status=1100, remaining=0, serial="S 1")
        job = self.submit()
        self.cups.wait_for(lambda: "Paper End" in self.reasons(), "the reason")
        asked = self.sim.count("^question Version")  # which only k905-status asks
        result = self.status("booth")
        self.assertEqual(result.returncode, 1)
        self.assertTrue(result.stdout.startswith(
            "booth: needs attention, Paper End, as queue booth last saw it while printing\n"), result.stdout)
        address = f"127.0.0.1:{self.sim.port}"
        seen = json.loads(self.status("--json", address).stdout)
        self.assertEqual((seen["state"], seen["status_code"], seen["serial_number"],
                          seen["prints_left"], seen["model"]), ("attention", 1100, "S 1", 0, "K905"))
        self.cups.run("lpadmin", "-p", "booth", "-c", "lab")
        table = self.status("lab", "/nowhere").stdout
        self.assertRegex(table, r"\nbooth +needs attention +0 .* S 1 +Paper End, as queue booth")
        self.sim.command("unplug")
        self.cups.wait_for(lambda: self.status("booth").returncode == 2, "an unreachable printer")
        self.assertRegex(self.status("booth").stdout, "booth: not reachable, The printer .*, as queue booth last saw it\n")
        self.sim.command("plug")
        self.assertEqual(self.sim.count("^question Version"), asked)
        self.sim.set(status=0, remaining=400)
        self.assert_completed(job)
        self.assert_printed(self.numbers)

    def test_k905_status_shows_a_busy_printer_while_the_first_sheet_is_sent(self):
        job = self.submit_and_hold(1)
        result = self.status("booth")
        self.sim.command("continue")
        self.assert_completed(job)
        self.assertTrue(result.stdout.startswith("booth: busy, Idling, as queue booth last saw it"), result.stdout)
        self.assertEqual(result.returncode, 0)

    def test_k905_status_shows_a_printer_that_is_unplugged_between_two_jobs(self):
        self.assert_completed(self.submit())
        self.sim.command("unplug")
        job = self.submit()
        self.cups.wait_for(lambda: "offline-report" in self.reasons(), "the reason in lpstat")
        self.cups.wait_for(lambda: self.status("booth").returncode != 0, "a printer that was not seen", 10)
        self.assertRegex(self.status("--metrics", "booth").stdout, "\nk905_up{.*} 0\n")
        self.sim.command("plug")
        self.assert_completed(job)
        self.assert_printed(self.numbers * 2)

    def test_supplies_are_shown(self):
        self.sim.set(remaining=30, initial=400)
        self.assert_completed(self.submit())
        attributes = ipp.printer_attributes(self.cups.socket, "booth")
        self.assertEqual(attributes["marker-levels"], 6)
        self.assertEqual(attributes["marker-message"], "26 of 400 prints left")
        self.assertIn("media-low", self.reasons())


if __name__ == "__main__":
    private_cups.main()
