"""k905-setup as installed, against a real scheduler: `setup_through_cups.py BUILD CMAKE [TEST...]`.

A private print system (tests/cups/private_cups.py) gets what the build made; the queues that k905-setup makes
are read back, used for printing, and broken in the ways that its check must find. Exit status 77 means
that it could not be tried here.
"""

import pathlib
import re
import shutil
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "cups"))

import artwork  # noqa: E402  (found by the line above)
import end_to_end  # noqa: E402
import ipp  # noqa: E402
import private_cups  # noqa: E402
from end_to_end import SIX_BY_EIGHT, ThroughCups  # noqa: E402

SKIPPED = 77


class Setup(ThroughCups):
    """k905-setup, as installed."""

    def setup(self, *arguments):
        program = self.cups.prefix / "bin" / "k905-setup"
        return self.cups.run(program, *arguments, check=False)

    def device(self):
        return f"capture:{self.cups.captured}"

    def test_a_queue_in_one_command(self):
        made = self.setup(self.queue, "--device", self.device(), "--paper", "6x8", "--finish", "Matte")
        self.assertEqual(made.returncode, 0, made.stdout + made.stderr)
        self.assertIn(f"{self.queue}: ready to print", made.stdout)
        wide = artwork.png(self.art / "square.png", 900, 900)
        (sheet,) = self.sheets(self.print(wide), SIX_BY_EIGHT)
        self.assert_sheet(sheet, SIX_BY_EIGHT, tolerance=1, matte=True)
        text = (self.cups.etc / "printers.conf").read_text()
        self.assertIn("ErrorPolicy retry-current-job", text.split(f"Printer {self.queue}>")[1])

    def test_papers_are_known_by_both_names(self):
        for paper, name in (("6x2*2", "w288h432-div2"), ("w432h432", "w432h432"), ("5x7", "w360h504")):
            made = self.setup(self.queue, "--device", self.device(), "--paper", paper, "--replace")
            self.assertEqual(made.returncode, 0, made.stdout + made.stderr)
            self.assertIn(f"paper {name},", made.stdout)

    def test_more_defaults_can_be_given(self):
        made = self.setup(self.queue, "--device", self.device(), "--model", "RV-40", "--ribbon", "6x8",
                          "-o", "StpBrightness=100", "-o", "Resolution=300x600dpi")
        self.assertEqual(made.returncode, 0, made.stdout + made.stderr)
        choices = self.cups.run("lpoptions", "-p", self.queue, "-l").stdout
        for line in ("*100", "*300x600dpi", "*6x8", "pm-rv-wd-251202-5.icm"):
            self.assertIn(line, choices)

    def test_a_queue_is_not_replaced_unasked(self):
        self.add_queue(StpLaminate="Matte")
        refused = self.setup(self.queue, "--device", self.device())
        self.assertEqual(refused.returncode, 1)
        self.assertIn("--replace", refused.stderr)
        self.assertIn("*Matte", self.cups.run("lpoptions", "-p", self.queue, "-l").stdout)
        replaced = self.setup(self.queue, "--device", self.device(), "--replace")
        self.assertEqual(replaced.returncode, 0, replaced.stdout + replaced.stderr)
        self.assertIn("*Glossy", self.cups.run("lpoptions", "-p", self.queue, "-l").stdout)

    def test_wrong_usage_is_told(self):
        for arguments in ((), ("--check",), ("q", "--paper"), ("q", "--no-such"), ("q", "r"),
                          ("q", "--device", self.device(), "--paper", "A4"),
                          ("q", "--device", self.device(), "--model", "X"),
                          ("q", "--device", self.device(), "--finish", "matte"),
                          ("q", "--device", self.device(), "--ribbon", "8x6"), ("q",)):
            with self.subTest(arguments=arguments):
                said = self.setup(*arguments)
                self.assertEqual(said.returncode, 2, said.stdout)
                self.assertIn("Usage:", said.stderr)

    def test_models_and_papers_are_listed(self):
        said = self.setup("--list").stdout
        for word in ("K905", "RV-40W", "RS-30", "w432h576-div4", "6x2*4", "6 x 8 in (15 x 20 cm)"):
            self.assertIn(word, said)

    def devices_listed(self, lpinfo, user):
        """What --list says when lpinfo and id answer so."""
        stubs = self.art / self.queue
        stubs.mkdir(exist_ok=True)
        for name, words in (("lpinfo", lpinfo), ("id", f"echo {user}")):
            (stubs / name).write_text(f"#!/bin/sh\n{words}\n")
            (stubs / name).chmod(0o755)
        path = f"{stubs}:{self.cups.environment()['PATH']}"
        said = self.cups.run(self.cups.prefix / "bin" / "k905-setup", "--list", PATH=path).stdout
        return said.partition("Connected devices:\n")[2]

    def test_connected_devices_are_listed_and_none_is_said_to_be_none(self):
        printer = "echo direct usb://K905/1; echo network socket"
        self.assertEqual(self.devices_listed(printer, 0), "  usb://K905/1\n")
        self.assertEqual(self.devices_listed("echo network socket", 0), "  none\n")
        self.assertEqual(self.devices_listed("exit 1", 1000),
                         "  none that CUPS tells you of; it tells root of all\n")

    def check_finds(self, words):
        checked = self.setup("--check", self.queue)
        self.assertEqual(checked.returncode, 1, checked.stdout)
        self.assertIn("PROBLEM", checked.stdout)
        self.assertIn(words, checked.stdout)
        self.assertIn("->", checked.stdout)

    def change_ppd(self, old, new):
        path = self.cups.etc / "ppd" / f"{self.queue}.ppd"
        text, count = re.subn(old, new, path.read_text())
        self.assertGreater(count, 0)
        path.write_text(text)

    def test_check_of_a_sound_queue_finds_nothing(self):
        self.add_queue(printer_error_policy="retry-current-job")
        checked = self.setup("--check", self.queue)
        self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
        self.assertNotIn("PROBLEM", checked.stdout)

    def test_check_changes_nothing(self):
        self.add_queue(StpLaminate="Matte", print_scaling_default="fit")
        before = self.cups.run("lpoptions", "-p", self.queue).stdout
        self.setup("--check", self.queue)
        self.assertEqual(self.cups.run("lpoptions", "-p", self.queue).stdout, before)

    def test_check_finds_a_queue_that_is_not_there(self):
        self.check_finds("there is no queue")

    def test_check_finds_a_filter_others_can_write_to(self):
        self.add_queue()
        filter_file = self.cups.serverbin / "filter" / "rastertok905"
        filter_file.chmod(0o775)
        self.addCleanup(filter_file.chmod, 0o755)
        self.check_finds("can be written to by others than root")

    def test_check_finds_a_filter_of_another_user(self):
        self.add_queue()
        filter_file = self.cups.serverbin / "filter" / "rastertok905job"
        shutil.chown(filter_file, "lp")
        self.addCleanup(shutil.chown, filter_file, "root")
        self.check_finds("does not belong to root")

    def test_check_finds_a_folder_others_can_write_to(self):
        self.add_queue()
        folder = self.cups.serverbin / "filter"
        folder.chmod(0o777)
        self.addCleanup(folder.chmod, 0o755)
        self.check_finds("can be written to by others than root")

    def test_what_check_says_of_permissions_is_true(self):
        # The job must really hang: neither printed nor failed.
        self.add_queue()
        front = self.cups.serverbin / "filter" / "rastertok905job"
        front.chmod(0o775)
        self.addCleanup(front.chmod, 0o755)
        job = self.cups.submit(self.queue, self.jpeg())
        self.cups.wait_for(lambda: "cups-insecure-filter" in
                           self.cups.run("lpoptions", "-p", self.queue).stdout, "CUPS to refuse")
        self.assertNotIn(self.cups.job_state(job)["job-state"], ipp.ENDED)
        self.check_finds("CUPS refuses to run the queue's filter")
        self.cups.run("cancel", job)

    def test_check_finds_a_missing_filter(self):
        self.add_queue()
        for name in ("rastertok905", "imagetoraster", "pdftopdf"):
            with self.subTest(name=name):
                path = self.cups.serverbin / "filter" / name
                away = path.with_name(name + ".away")
                path.rename(away)
                try:
                    self.check_finds(name)
                finally:
                    away.rename(path)

    def test_check_finds_a_missing_backend(self):
        self.add_queue()
        path = self.cups.serverbin / "backend" / "capture"
        away = path.with_name("capture.away")
        path.rename(away)
        self.addCleanup(away.rename, path)
        self.check_finds("the backend capture is missing")

    def test_check_finds_a_default_that_is_read_as_zero(self):
        self.add_queue()
        for keyword in ("StpGamma", "StpYellowBalance", "BleedTop"):
            with self.subTest(keyword=keyword):
                self.change_ppd(rf"\*Default{keyword}: .*", f"*Default{keyword}: Normal")
                self.check_finds(f"default {keyword}")

    def test_check_finds_a_profile_that_is_not_there(self):
        self.add_queue(ICCProfile="pm-905-wd-251126-5.icm")
        self.check_finds("the profile pm-905-wd-251126-5.icm is not found")

    def test_check_finds_photos_that_would_not_fill(self):
        self.add_queue(print_scaling_default="auto")
        self.check_finds("print-scaling-default=fill")

    def test_check_finds_an_error_policy_that_loses_the_job(self):
        self.add_queue(printer_error_policy="abort-job")
        self.check_finds('CUPS will do "abort-job"')

    def test_check_finds_a_stopped_queue(self):
        self.add_queue()
        self.cups.run("cupsdisable", self.queue)
        self.check_finds("has been stopped")

    def test_check_finds_a_queue_that_takes_no_jobs(self):
        self.add_queue()
        self.cups.run("cupsreject", self.queue)
        self.check_finds("does not take jobs")

    def test_check_finds_a_queue_without_the_front(self):
        self.add_queue()
        self.change_ppd("rastertok905job", "rastertok905")
        self.check_finds("does not use rastertok905job")

    def test_check_finds_a_ppd_file_of_another_version(self):
        self.add_queue()
        self.change_ppd(r'FileVersion: ".*"', 'FileVersion: "0.1"')
        self.check_finds("is not the one that was installed")

    def test_check_finds_a_queue_of_another_printer(self):
        self.add_queue()
        self.change_ppd("StpLaminate", "Unheard")
        self.check_finds("is no queue of this printer")


def main():
    if len(sys.argv) < 3:
        print(__doc__)
        return 2
    end_to_end.BUILD, end_to_end.CMAKE = pathlib.Path(sys.argv[1]), sys.argv[2]
    missing = private_cups.what_is_missing()
    if missing:
        print(f"SKIPPED: no print system can be started here: {missing}")
        return SKIPPED
    return 0 if unittest.main(argv=[sys.argv[0], "-v"] + sys.argv[3:], exit=False).result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
