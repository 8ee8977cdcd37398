"""k905-setup as installed, against a real scheduler: `setup_through_cups.py BUILD CMAKE [TEST...]`.

The build is installed into a private scheduler (tests/cups/private_cups.py); the queues that k905-setup makes
are read back, used for printing, and broken in the ways that its check must find. Exit status 77: the tests
cannot run on this machine.
"""

import json
import os
import pathlib
import re
import shutil
import socket
import subprocess
import sys
import tempfile

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "cups"))

import artwork  # noqa: E402  (found by the line above)
import end_to_end  # noqa: E402
import ipp  # noqa: E402
import private_cups  # noqa: E402
from changed_answers import INTERNAL_ERROR, answer_without_attributes, changed_answers  # noqa: E402
from end_to_end import SIX_BY_EIGHT, ThroughCups  # noqa: E402
from simulated_printer import SimulatedPrinter  # noqa: E402

STOPPED = 6  # the job state of a job that CUPS will not start by itself


class ThroughSetup(ThroughCups):
    """Runs the program and reads the queues it made."""

    def program(self):
        return self.cups.prefix / "bin" / "k905-setup"

    def setup(self, *arguments, **environment):
        return self.cups.run(self.program(), *arguments, check=False, **environment)

    def setup_succeeds(self, *arguments, **environment):
        done = self.setup(*arguments, **environment)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done

    def check_finds(self, words, **environment):
        checked = self.setup("--check", self.queue, **environment)
        self.assertEqual(checked.returncode, 1, checked.stdout)
        self.assertIn("PROBLEM", checked.stdout)
        self.assertIn(words, checked.stdout)
        self.assertIn("->", checked.stdout)
        self.assertNotIn("see above", checked.stdout)
        return checked.stdout

    def device(self):
        return f"capture:{self.cups.captured}"

    def add_valid_queue(self, name=None, **options):
        self.add_queue(name, **({"printer_error_policy": "retry-current-job"} | options))

    def choices(self):
        return self.cups.run("lpoptions", "-p", self.queue, "-l").stdout

    def attributes(self):
        return self.cups.run("lpoptions", "-p", self.queue).stdout

    def device_of_queue(self):
        return self.cups.run("lpstat", "-v", self.queue).stdout.strip().partition(": ")[2]

    def change_ppd(self, old, new):
        path = self.cups.etc / "ppd" / f"{self.queue}.ppd"
        text, count = re.subn(old, new, path.read_text())
        self.assertGreater(count, 0)
        path.write_text(text)

    def make_default_unavailable(self, queue):
        """An update of the queue then prints a note with "StpGamma=1250"."""
        path = self.cups.etc / "ppd" / f"{queue}.ppd"
        path.write_text(re.sub(r"\*DefaultStpGamma: .*", "*DefaultStpGamma: 1250", path.read_text()))

    def refuse_ppd_of(self, queue):
        """The scheduler cannot write the PPD file of the queue: it refuses the change."""
        in_the_way = self.cups.etc / "ppd" / f"{queue}.ppd.N"  # the name of the new file until it is complete
        in_the_way.mkdir()
        self.addCleanup(in_the_way.rmdir)

    def waiting_job(self, **more):
        """Submits a job to a stopped queue."""
        self.cups.run("cupsdisable", self.queue)
        return self.cups.submit(self.queue, self.jpeg(), **more)

    def reports(self, *arguments, status, **environment):
        """The objects that the program prints, by queue."""
        done = self.setup(*arguments, "--json", **environment)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        reports = {report["queue"]: report for report in map(json.loads, done.stdout.splitlines())}
        self.assertEqual(len(reports), len(done.stdout.splitlines()))
        return reports, done.stderr

    def state_of(self, job):
        return self.cups.job_state(job).get("job-state")

    def add_backend(self, scheme, script):
        """Installs a backend for this test, in place of the one that the machine may have."""
        path = self.cups.serverbin / "backend" / scheme
        if os.path.lexists(path):
            away = path.with_name(scheme + ".away")
            path.rename(away)
            self.addCleanup(away.rename, path)
        path.write_text(f"#!/bin/sh\n{script}\n")
        path.chmod(0o700)
        self.addCleanup(path.unlink)

    def slow_device(self):
        """The URI of a device that records the start of each job and ends it when `started.go` exists."""
        self.started = self.art / f"{self.queue}.started"
        self.add_backend("slow", f'[ $# = 0 ] && exit 0\necho started >>{self.started}\n'
                                 f'cat >/dev/null\nwhile [ ! -e {self.started}.go ]; do sleep 0.05; done')
        return "slow:/printer"

    def printing_job(self):
        """A job that has started on the slow device."""
        job = self.cups.submit(self.queue, self.jpeg())
        self.cups.wait_for(self.started.exists, "the job to start")
        return job

    def finish_job(self, job):
        pathlib.Path(f"{self.started}.go").touch()
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        return self.started.read_text().split()


class Setup(ThroughSetup):
    """Making queues, and the check of valid and broken ones."""

    def test_a_queue_in_one_command(self):
        made = self.setup(self.queue, "--device", self.device(), "--paper", "6x8", "--finish", "Matte")
        self.assertEqual(made.returncode, 0, made.stdout + made.stderr)
        self.assertIn(f"{self.queue}: ready to print", made.stdout)
        square = artwork.png(self.art / "square.png", 900, 900)
        (sheet,) = self.sheets(self.print(square), SIX_BY_EIGHT)
        self.assert_sheet(sheet, SIX_BY_EIGHT, tolerance=1, matte=True)
        text = (self.cups.etc / "printers.conf").read_text()
        self.assertIn("ErrorPolicy retry-current-job", text.split(f"Printer {self.queue}>")[1])

    def test_papers_are_accepted_by_label_and_page_size_name(self):
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

    def test_the_finish_that_is_reported_is_that_of_jobs_without_one(self):
        made = self.setup_succeeds(self.queue, "--device", self.device(), "-o", "MediaType=Matte")
        self.assertIn("paper w288h432, Matte,", made.stdout)
        self.assertTrue(self.sheets(self.print(self.jpeg()))[0]["matte"])
        self.setup_succeeds("--replace", self.queue, "--finish", "Matte")
        self.assertRegex(self.choices(), r"MediaType/.*\*Auto")

    def test_an_option_sets_whether_a_queue_is_shared(self):
        for value, attribute in (("true", "\x01"), ("false", "\x00")):
            with self.subTest(value=value):
                self.setup_succeeds(self.queue, "--device", self.device(), "--replace",
                                "-o", f"printer-is-shared={value}")
                self.assertEqual(ipp.values_of(self.cups.socket, self.queue, "printer-is-shared"),
                                 [attribute])
                self.assertIn("na_index-4x6_4x6in",
                              ipp.values_of(self.cups.socket, self.queue, "media-supported"))

    def test_an_existing_queue_is_replaced_only_with_an_option(self):
        self.add_queue(StpLaminate="Matte")
        refused = self.setup(self.queue, "--device", self.device())
        self.assertEqual(refused.returncode, 1)
        self.assertIn("--replace", refused.stderr)
        self.assertIn("*Matte", self.cups.run("lpoptions", "-p", self.queue, "-l").stdout)
        replaced = self.setup(self.queue, "--device", self.device(), "--replace")
        self.assertEqual(replaced.returncode, 0, replaced.stdout + replaced.stderr)
        self.assertIn("*Glossy", self.cups.run("lpoptions", "-p", self.queue, "-l").stdout)

    def test_wrong_usage_is_reported(self):
        for arguments in ((), ("--check",), ("q", "--paper"), ("q", "--no-such"), ("q", "r"),
                          ("--update",), ("--update", "--all", "q"), ("--all", "q"), ("--list", "q"),
                          ("--check", "--update", "q"), ("--check", "q", "--paper", "6x8"),
                          ("--list", "--json"), ("--class", "q"), ("--class", "", "--update"), ("q", "--member", "r"),
                          ("--class", "q", "--member", "r", "--paper", "6x8"),
                          ("--class", "q", "--member", "r", "s"), ("--check", "--class", "q", "--member", "r"),
                          ("q", "--device", self.device(), "--paper", "A4"),
                          ("q", "--device", self.device(), "--paper", "6x6", "-o", "K905Cut=6x2"),
                          ("q", "--device", self.device(), "--model", "X"),
                          ("q", "--device", self.device(), "--finish", "mat"),
                          ("q", "--device", self.device(), "--ribbon", "8x6"), ("q", "--keep-device"),
                          ("--check", "q", "--keep-device"), ("--check", "q", "--share"),
                          ("--list", "--no-share"), ("q", "--share", "--no-share"),
                          ("q", "--share", "-o", "printer-is-shared=false"),
                          ("--class", "q", "--update", "--all")):
            with self.subTest(arguments=arguments):
                result = self.setup(*arguments)
                self.assertEqual(result.returncode, 2, result.stdout)
                self.assertEqual(len(result.stderr.splitlines()), 2, result.stderr)
                self.assertIn("--help", result.stderr)
        self.assertIn("--device", self.setup("q", "--no-such").stderr)
        self.assertIn("--class takes no QUEUE", self.setup("--class", "q", "--member", "r", "s").stderr)

    def test_models_and_papers_are_listed(self):
        output = self.setup("--list").stdout
        for word in ("K905", "RV-40W", "RS-30", "w432h576-div4", "6x2*4", "6 x 8 in (15 x 20 cm)"):
            self.assertIn(word, output)

    def test_connected_devices_are_listed(self):
        self.cups.connect_devices("direct usb://K905/1\ndirect k905://usb/1\nnetwork socket\ndirect k905\n")
        output = self.setup_succeeds("--list").stdout.partition("Connected devices:\n")[2]
        self.assertEqual(output, "  k905://usb/1\n  usb://K905/1\n")
        self.cups.connect_devices("network socket\n")
        self.assertIn("Connected devices:\n  none\n", self.setup_succeeds("--list").stdout)

    def test_check_of_a_valid_queue_finds_nothing(self):
        self.add_queue(printer_error_policy="retry-current-job")
        checked = self.setup("--check", self.queue)
        self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
        self.assertNotIn("PROBLEM", checked.stdout)

    def test_check_changes_nothing(self):
        self.add_queue(StpLaminate="Matte", print_scaling_default="fit")
        before = self.cups.run("lpoptions", "-p", self.queue).stdout
        self.setup("--check", self.queue)
        self.assertEqual(self.cups.run("lpoptions", "-p", self.queue).stdout, before)

    def test_check_finds_a_missing_queue(self):
        self.check_finds("there is no queue")

    def test_check_finds_a_filter_others_can_write_to(self):
        self.add_queue()
        filter_file = self.cups.serverbin / "filter" / "rastertok905"
        filter_file.chmod(0o775)
        self.addCleanup(filter_file.chmod, 0o755)
        self.check_finds("can be written to by users other than root")

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
        self.check_finds("can be written to by users other than root")

    def test_check_finds_the_reason_of_a_job_that_waits_indefinitely(self):
        # CUPS must neither print nor abort the job.
        self.add_queue()
        job_program = self.cups.serverbin / "filter" / "rastertok905job"
        job_program.chmod(0o775)
        self.addCleanup(job_program.chmod, 0o755)
        job = self.cups.submit(self.queue, self.jpeg())
        self.cups.wait_for(lambda: "cups-insecure-filter" in
                           self.cups.run("lpoptions", "-p", self.queue).stdout, "CUPS to refuse")
        self.assertNotIn(self.cups.job_state(job)["job-state"], ipp.ENDED)
        self.check_finds(f"job {job} ")
        self.check_finds("CUPS refuses to run")
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

    def test_check_notes_a_photo_filter_that_is_missing_or_incomplete(self):
        self.add_valid_queue()
        self.assertIn("photos are printed directly", self.setup_succeeds("--check", self.queue).stdout)
        program = self.cups.serverbin / "filter" / "phototok905"
        convs = self.cups.prefix / "share/cups/mime/k905-photo.convs"
        for path, words in ((convs, "incomplete (" + str(convs) + " is missing)"),
                            (program, "phototok905 is not installed")):
            away = self.art / path.name
            shutil.move(path, away)
            self.addCleanup(shutil.move, away, path)
            with self.subTest(path=path.name):
                report = json.loads(self.setup_succeeds("--check", self.queue, "--json").stdout)
                (note,) = [finding for finding in report["findings"] if finding["level"] == "note"]
                self.assertIn(words, note["text"])
                self.assertIn("cmake --install", note["advice"])

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

    def test_check_finds_a_missing_profile(self):
        self.add_queue(ICCProfile="pm-905-wd-251126-5.icm")
        self.check_finds("the profile pm-905-wd-251126-5.icm is not found")
        self.change_ppd(r"\*DefaultICCProfile: .*", "*DefaultICCProfile: own.icc")
        self.check_finds("the profile own.icc is not found")

    def test_check_finds_a_missing_table_of_profiles(self):
        self.add_queue(ICCProfile="ByPaper")
        self.check_finds("the table k905-profiles.txt is not found")

    def test_check_finds_a_paper_that_cannot_be_cut_like_this(self):
        self.add_queue(PageSize="w432h432", K905Cut="6x2")
        self.check_finds("w432h432 cannot be cut into 6x2")

    def test_check_finds_scaling_that_leaves_white_edges(self):
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

    def test_check_finds_a_queue_without_rastertok905job(self):
        self.add_queue()
        self.change_ppd("rastertok905job", "rastertok905")
        self.check_finds("does not use rastertok905job")

    def test_check_finds_a_ppd_file_of_another_version(self):
        self.add_queue()
        self.change_ppd(r'FileVersion: ".*"', 'FileVersion: "0.1"')
        self.check_finds("is not the one that is installed")

    def test_check_finds_a_queue_of_another_printer(self):
        self.add_queue()
        self.change_ppd("StpLaminate", "OtherOption")
        self.check_finds("is not a queue for this printer")


class Replacing(ThroughSetup):
    """A queue that already exists."""

    def test_a_usage_error_leaves_queue_and_jobs_unchanged(self):
        self.add_queue(StpLaminate="Matte")
        job = self.waiting_job()
        for status, arguments in ((1, ("--device", "usv://K905/1")), (1, ("--device", "nowhere")),
                                  (2, ("--device", self.device(), "--paper", "A4")),
                                  (2, ("--device", self.device(), "-o", "StpLaminate=Mate")),
                                  (2, ("--device", self.device(), "--model", "K906"))):
            with self.subTest(arguments=arguments):
                refused = self.setup("--replace", self.queue, *arguments)
                self.assertEqual(refused.returncode, status, refused.stdout + refused.stderr)
                self.assertEqual(self.device_of_queue(), self.device())
                self.assertIn("*Matte", self.choices())
                self.assertEqual(self.state_of(job), ipp.PENDING)
        self.cups.run("cancel", job)

    def test_an_unknown_scheme_is_named_with_the_known_ones(self):
        refused = self.setup(self.queue, "--device", "usv://K905/1")
        self.assertEqual(refused.returncode, 1)
        self.assertIn("usv", refused.stderr)
        self.assertIn("capture", refused.stderr)
        self.assertNotIn(self.queue, self.cups.run("lpstat", "-e", check=False).stdout)

    def test_jobs_stay_and_print_with_the_new_defaults(self):
        self.add_queue(StpLaminate="Matte", BleedTop="1.0", number_up_default="2",
                       printer_info="left", printer_error_policy="abort-job")
        job = self.waiting_job()
        self.setup_succeeds("--replace", self.queue, "--device", self.device(), "--paper", "6x8")
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        (sheet,) = self.sheets(job, SIX_BY_EIGHT)
        self.assertFalse(sheet["matte"])
        for line in ("StpLaminate/Finish: *Glossy Matte", "*0.0"):
            self.assertIn(line, self.choices())
        for word in ("number-up=1 ", "print-scaling=fill ", "printer-info=left "):
            self.assertIn(word, self.attributes())

    def test_a_job_that_is_printing_is_not_started_again(self):
        self.add_queue(device=self.slow_device())
        job = self.printing_job()
        refused = self.setup("--replace", self.queue, "--device", self.device())
        self.assertEqual(refused.returncode, 1)
        self.assertIn(f"job {job} is printing", refused.stderr)
        self.assertEqual(self.device_of_queue(), "slow:/printer")
        self.assertEqual(self.finish_job(job), ["started"])


    def test_a_job_of_a_class_is_not_started_again(self):
        self.add_queue(device=self.slow_device())
        self.cups.run("lpadmin", "-p", self.queue, "-c", "both")
        self.addCleanup(self.cups.run, "lpadmin", "-x", "both")
        self.cups.run("cupsaccept", "both")
        self.cups.run("cupsenable", "both")
        job = self.cups.submit("both", self.jpeg())
        self.cups.wait_for(self.started.exists, "the job to start")
        refused = self.setup("--replace", self.queue, "--device", self.device())
        self.assertEqual(refused.returncode, 1)
        self.assertIn("is printing on " + self.queue, refused.stderr)
        self.assertEqual(self.finish_job(job), ["started"])


class OptionsOfTheQueue(ThroughSetup):
    """-o OPTION=CHOICE."""

    def refused(self, option):
        refused = self.setup(self.queue, "--device", self.device(), "-o", option)
        self.assertEqual(refused.returncode, 2, refused.stdout + refused.stderr)
        self.assertNotIn(self.queue, self.cups.run("lpstat", "-e", check=False).stdout)
        return refused.stderr

    def test_a_choice_that_does_not_exist_is_refused_with_those_that_do(self):
        for option, known in (("StpLaminate=Mate", "Glossy, Matte"), ("StpGamma=9999", "2000, 2200"),
                              ("StpGamma=", "2000, 2200"), ("PageSize=nope", "6x4"),
                              ("ICCProfile=nope.icc", "pm-905-wd-251126-5.icm"),
                              ("printer-error-policy=abort", "abort-job, retry-current-job"),
                              ("printer-is-shared=maybe", "true, false"),
                              ("print-scaling-default=filled", "fill, fit")):
            with self.subTest(option=option):
                self.assertIn(known, self.refused(option))

    def test_an_option_that_does_not_exist_is_refused_with_those_that_do(self):
        for option in ("StpGama=1200", "Nonsense=5", "nonsense-default=5", "StpGamma"):
            with self.subTest(option=option):
                output = self.refused(option)
                if "=" in option:
                    self.assertIn("StpGamma", output)
                    self.assertIn("printer-error-policy", output)

    def test_attributes_of_the_print_system_are_accepted(self):
        made = self.setup(self.queue, "--device", self.device(), "-o", "printer-error-policy=abort-job",
                          "-o", "printer-is-shared=false", "-o", "printer-info=The booth, left",
                          "-o", "job-priority-default=70", "-o", "print-scaling-default=fit")
        self.assertEqual(made.returncode, 1, made.stdout)
        self.assertIn("abort-job", made.stdout)
        for word in ("printer-is-shared=false", "printer-info='The booth, left'", "job-priority=70",
                     "print-scaling=fit"):
            self.assertIn(word, self.attributes())

    def test_names_are_accepted_in_any_case_and_papers_under_any_common_name(self):
        self.setup_succeeds(self.queue, "--device", self.device(), "--model", "rv-40", "--paper", "15x20",
                        "--finish", "matte", "--ribbon", "AUTO")
        for line in ("*w432h576", "*Matte", "pm-rv-wd-251202-5.icm"):
            self.assertIn(line, self.choices())
        self.setup_succeeds("--replace", self.queue, "--device", self.device(), "-o", "PageSize=4x6")
        self.assertIn("*w288h432 ", self.choices())


class CheckOfTheDevice(ThroughSetup):
    """Check of the device of a queue."""

    def test_a_port_without_a_listener_is_a_problem(self):
        self.add_valid_queue(device=f"socket://127.0.0.1:{private_cups.free_port()}")
        self.assertNotIn("ready", self.check_finds("does not answer"))

    def test_a_port_with_a_listener_is_ok(self):
        with socket.create_server(("127.0.0.1", 0)) as listener:
            self.add_valid_queue(device=f"socket://127.0.0.1:{listener.getsockname()[1]}")
            self.assertIn("ready to print", self.setup_succeeds("--check", self.queue).stdout)

    def test_a_missing_device_file_is_a_problem(self):
        for device in ("serial:/dev/k905-none?baud=9600", "file:///dev/k905-none"):
            with self.subTest(device=device):
                self.add_valid_queue(device=device)
                self.check_finds("/dev/k905-none")

    def test_an_existing_device_file_is_ok(self):
        printer, device = os.openpty()
        self.addCleanup(os.close, printer)
        self.addCleanup(os.close, device)
        self.add_valid_queue(device=f"serial:{os.ttyname(device)}?baud=9600")
        self.setup_succeeds("--check", self.queue)

    def test_a_device_that_discards_everything_is_a_problem(self):
        self.add_valid_queue(device="file:///dev/null")
        self.check_finds("/dev/null")

    def test_a_queue_that_prints_into_a_file_is_noted(self):
        self.add_valid_queue(device=f"file://{self.art}/queue.prn")
        self.assertRegex(self.setup_succeeds("--check", self.queue).stdout, r"note .*queue\.prn")

    def test_a_usb_printer_that_is_not_connected_is_a_problem(self):
        self.add_backend("usb", "exit 0")
        self.add_backend("k905", "exit 0")
        self.cups.connect_devices("direct usb://K905/1?serial=7\ndirect k905://usb/7\n")
        for device in ("usb://K905/1?serial=", "k905://usb/"):
            with self.subTest(device=device):
                self.add_valid_queue(device=device + "7")
                self.assertIn("is connected", self.setup("--check", self.queue).stdout)
                self.cups.run("lpadmin", "-p", self.queue, "-v", device + "8")
                self.check_finds("not connected")

    def test_a_malformed_address_of_the_backend_is_a_problem(self):
        for device in ("k905://usb", "k905://host/path"):
            with self.subTest(device=device):
                self.add_valid_queue(device=device)
                self.check_finds("k905://usb/SERIAL")

    def test_no_question_is_written_into_a_file(self):
        file = self.art / "file.prn"
        file.write_text("a job")
        self.add_valid_queue(device=f"k905:{file}")
        self.check_finds(str(file))
        self.assertEqual(file.read_text(), "a job")

    def test_a_terminal_is_queried_like_a_device_file(self):
        printer = SimulatedPrinter(end_to_end.BUILD / "k905-sim", self.art / "sheets")
        self.addCleanup(printer.stop)
        self.setup_succeeds(self.queue, "--device", printer.device)
        self.assertEqual(self.device_of_queue(), "k905:" + printer.device)
        self.assertIn("the printer answers: Idling", self.setup_succeeds("--check", self.queue).stdout)

    def test_a_device_that_is_printing_is_not_opened(self):
        self.add_valid_queue(device=self.slow_device())
        job = self.printing_job()
        output = self.setup_succeeds("--check", self.queue).stdout
        self.assertRegex(output,rf"note +job {job} .*is printing\n")
        self.assertEqual(self.finish_job(job), ["started"])


class AddressOfTheDevice(ThroughSetup):
    """The backend k905 is used for every printer that it can reach."""

    def device_of_new_queue(self, *arguments):
        made = self.setup(self.queue, *arguments)
        self.assertIn(self.device_of_queue(), made.stdout)
        return self.device_of_queue()

    def test_the_printer_that_is_connected_is_found(self):
        self.cups.connect_devices("direct k905://usb/7\nnetwork k905\n")
        self.assertEqual(self.device_of_new_queue(), "k905://usb/7")
        policy = ipp.printer_attributes(self.cups.socket, self.queue)["printer-error-policy"]
        self.assertEqual(policy, "retry-current-job")

    def test_no_printer_and_several_printers_are_errors_with_advice(self):
        for devices, words in (("network socket\n", ("no printer is connected", "k905://ADDRESS:9100")),
                               ("direct k905://usb/7\ndirect k905://usb/8\n",
                                ("--device", "k905://usb/7, k905://usb/8"))):
            with self.subTest(devices=devices):
                self.cups.connect_devices(devices)
                refused = self.setup(self.queue)
                self.assertEqual(refused.returncode, 1, refused.stdout)
                for word in words:
                    self.assertIn(word, refused.stderr)
                self.assertNotIn(self.queue, self.cups.run("lpstat", "-e", check=False).stdout)

    def test_usual_addresses_become_those_of_the_backend(self):
        self.cups.connect_devices("direct k905://usb/U9 MFG:K;MDL:K905;SN:7;\n")
        # CUPS takes the serial number from the device ID of the printer, the kernel from its USB descriptor.
        for given, used in (("usb://K905/K905?serial=7", "k905://usb/U9"),
                            ("/dev/usb/lp9", "k905:/dev/usb/lp9")):
            with self.subTest(device=given):
                self.assertEqual(self.device_of_new_queue("--replace", "--device", given), used)

    def test_an_address_without_an_equivalent_is_not_changed(self):
        self.add_backend("usb", "exit 0")
        self.cups.connect_devices("direct usb://K905/K905\n")
        for device in ("usb://K905/K905", self.device()):
            with self.subTest(device=device):
                self.setup("--replace", self.queue, "--device", device)
                self.assertEqual(self.device_of_queue(), device)

    def test_an_update_keeps_the_uri_of_a_usb_printer_that_the_kernel_does_not_list(self):
        self.add_backend("usb", "exit 0")
        self.cups.connect_devices("direct usb://K905/K905?serial=7\n")
        self.add_valid_queue(device="usb://K905/K905?serial=7")
        self.assertRegex(self.setup("--update", self.queue).stdout, "note .*/dev/usb/lp")
        self.assertEqual(self.device_of_queue(), "usb://K905/K905?serial=7")
        self.cups.connect_devices("direct usb://K905/K905?serial=7\ndirect k905://usb/7\n")
        self.setup("--update", self.queue)
        self.assertEqual(self.device_of_queue(), "k905://usb/7")


class CheckOfThePrintSystem(ThroughSetup):
    def test_a_scheduler_that_does_not_run_is_reported(self):
        no_socket = str(self.art / "nobody.sock")
        checked = self.setup("--check", self.queue, CUPS_SERVER=no_socket)
        self.assertEqual(checked.returncode, 1)
        self.assertIn("the scheduler is not running", checked.stdout)
        self.assertNotIn("there is no queue", checked.stdout)
        made = self.setup(self.queue, "--device", self.device(), CUPS_SERVER=no_socket)
        self.assertEqual(made.returncode, 1)
        self.assertIn("the scheduler is not running", made.stderr)

    def test_the_error_policy_is_read_from_the_scheduler(self):
        self.add_valid_queue()
        self.cups.run("lpadmin", "-p", self.queue, "-o", "printer-error-policy=abort-job")
        self.check_finds("abort-job", CUPS_SERVERROOT="/nowhere")

    def test_a_stuck_job_is_named_with_the_command_that_restarts_it(self):
        job_program = self.cups.serverbin / "filter" / "rastertok905job"
        self.add_valid_queue()
        for reason, break_it, repair in (
                ("insecure", lambda: job_program.chmod(0o775), lambda: job_program.chmod(0o755)),
                ("missing", lambda: job_program.rename(self.art / "away"),
                 lambda: (self.art / "away").rename(job_program))):
            with self.subTest(reason):
                break_it()
                try:
                    jobs = [self.cups.submit(self.queue, self.jpeg()) for _ in range(2)]
                    self.cups.wait_for(lambda: self.state_of(jobs[1]) == STOPPED, "CUPS to refuse")
                    self.check_finds(f"job {jobs[0]} ")
                finally:
                    repair()
                found = self.check_finds(f"job {jobs[1]} ")
                for job in jobs:
                    (command,) = re.findall(rf"-> (lp .*{self.queue}-{job}\b.*)$", found, re.MULTILINE)
                    self.assertEqual(self.state_of(job), STOPPED)
                    self.cups.run(*command.split())
                    self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
                self.setup_succeeds("--check", self.queue)

    def test_a_held_job_and_waiting_jobs_are_noted(self):
        self.add_valid_queue()
        held = self.cups.submit(self.queue, self.jpeg(), options=["job-hold-until=indefinite"])
        output = self.setup_succeeds("--check", self.queue).stdout
        (command,) = re.findall(r"note +job \d+ .*held.*\n +-> (lp .*)$", output, re.MULTILINE)
        self.cups.run(*command.split())
        self.assertEqual(self.cups.finished(held)["job-state"], ipp.COMPLETED)
        waiting = self.waiting_job()
        self.assertIn(f"job {waiting} ", self.check_finds("has been stopped"))
        self.cups.run("cancel", waiting)

    def test_a_title_is_named_unless_it_is_hidden_from_the_user(self):
        self.add_valid_queue()
        # The second is the text that libcups has for a hidden title.
        jobs = {self.waiting_job(title=title): title for title in ("a photo", "untitled")}
        named = self.check_finds("has been stopped")
        hidden = self.cups.run("setpriv", "--reuid=lp", "--regid=lp", "--clear-groups", self.program(),
                               "--check", self.queue, check=False).stdout
        for job, title in jobs.items():
            self.assertIn(f"note     job {job} ({title}) is waiting\n", named)
            self.assertIn(f"note     job {job} is waiting\n", hidden)
            self.cups.run("cancel", job)

    def test_a_queue_that_is_deleted_during_the_check_has_no_jobs(self):
        self.add_valid_queue()
        delete = {ipp.GET_JOBS: lambda _: self.cups.run("lpadmin", "-x", self.queue) and None}
        with changed_answers(self.cups.socket, delete) as server:
            checked = self.setup("--check", self.queue, CUPS_SERVER=server)
        self.assertIn(f"{self.queue}: ready to print", checked.stdout)
        self.assertEqual(checked.stderr, "")

    def test_ghostscript_is_found_without_a_search_path(self):
        self.add_valid_queue()
        self.cups.run("env", "--unset=PATH", self.program(), "--check", self.queue)

    def test_the_advice_for_a_missing_program_fits_the_installation(self):
        self.add_valid_queue()
        job_program = self.cups.serverbin / "filter" / "rastertok905job"
        job_program.rename(self.art / "gone")
        self.addCleanup((self.art / "gone").rename, job_program)
        self.assertIn("cmake --install", self.check_finds("is missing"))


class Invocation(ThroughSetup):
    """How and by which user the program is started."""

    def run_here(self, *command, folder=None, **environment):
        return subprocess.run([str(word) for word in command], capture_output=True, text=True, timeout=60,
                              check=False, cwd=folder, env=self.cups.environment() | environment)

    def test_a_link_and_a_search_path_for_cd_change_nothing(self):
        link = self.art / "setup-link"
        link.symlink_to(self.program())
        linked = self.run_here(link, "--list")
        searched = self.run_here("bin/k905-setup", "--list", folder=self.cups.prefix,
                                 CDPATH=f".:{self.cups.prefix}")
        for listed in (linked, searched):
            for word in ("K905\n", "RS-30\n", "w432h576-div4"):
                self.assertIn(word, listed.stdout)
        self.add_valid_queue()
        self.assertEqual(self.run_here(link, "--check", self.queue).returncode, 0)

    def test_the_version_is_printed(self):
        self.assertRegex(self.setup_succeeds("--version").stdout, r"^k905-setup \d+\.\d+\.\d+$")

    def test_without_permission_the_error_advises_to_run_as_root(self):
        with RestrictedCups(tempfile.mkdtemp(prefix="k905_cups_"), end_to_end.BUILD,
                            end_to_end.CMAKE) as cups:
            self.addCleanup(shutil.rmtree, cups.root)
            program = cups.prefix / "bin/k905-setup"
            device = ("--device", f"capture:{cups.captured}")
            as_lp = ("setpriv", "--reuid=lp", "--regid=lp", "--clear-groups", program)
            refused = cups.run(*as_lp, "photo", *device, check=False)
            self.assertEqual(refused.returncode, 1, refused.stdout + refused.stderr)
            self.assertIn("must be run as root", refused.stderr)
            self.assertIn("sudo", refused.stderr)
            made = cups.run(program, "photo", *device, check=False)
            self.assertEqual(made.returncode, 0, made.stdout + made.stderr)
            checked = cups.run(*as_lp, "--check", "photo", check=False)
            self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
            self.assertIn("run as root to list all devices", cups.run(*as_lp, "--list").stdout)


class RestrictedCups(private_cups.PrivateCups):
    """Lets only the system's group change queues, as a usual installation does."""

    def configure(self):
        super().configure()
        path = self.etc / "cupsd.conf"
        rule = ("<Limit CUPS-Add-Modify-Printer CUPS-Get-Devices>\nAuthType Default\n"
                "Require user @SYSTEM\n</Limit>\n")
        path.write_text(path.read_text().replace("<Policy default>\n", "<Policy default>\n" + rule))


class Updating(ThroughSetup):
    """--update: the queue's PPD file becomes the installed one."""

    def make_old(self):
        self.change_ppd(r'FileVersion: ".*"', 'FileVersion: "0.1"')

    def test_defaults_jobs_device_and_state_stay(self):
        self.add_valid_queue(StpLaminate="Matte", MediaType="Glossy", PageSize="w432h576", BleedTop="1.0",
                            ICCProfile="sRGB.icc", number_up_default="2", printer_info="left")
        job = self.waiting_job()
        before = self.choices(), self.device_of_queue()
        self.make_old()
        self.check_finds("k905-setup --update " + self.queue)
        self.setup("--update", self.queue)
        self.assertEqual((self.choices(), self.device_of_queue()), before)
        self.assertEqual(self.state_of(job), ipp.PENDING)
        for word in ("number-up=2", "printer-info=left", "printer-state=5", "print-scaling=fill"):
            self.assertIn(word, self.attributes())
        self.cups.run("cupsenable", self.queue)
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        self.assertNotIn("PPD", self.setup("--check", self.queue).stdout)

    def test_a_default_that_is_no_longer_offered_is_replaced_and_named(self):
        self.add_valid_queue()
        self.make_old()
        self.change_ppd(r"\*DefaultStpGamma: .*", "*DefaultStpGamma: 1250")
        output = self.setup_succeeds("--update", self.queue).stdout
        self.assertRegex(output, r"note .*StpGamma=1250")
        self.assertRegex(self.choices(), r"StpGamma/.*\*None")

    def test_the_model_of_the_queue_is_kept(self):
        self.setup_succeeds(self.queue, "--device", self.device(), "--model", "RS-30")
        self.make_old()
        self.setup_succeeds("--update", self.queue)
        self.assertIn("pm-rs-wd-251125-2.icm", self.choices())

    def test_all_queues_of_the_printer_and_no_others_are_updated(self):
        queue = self.queue
        for self.queue in ("first", "second", "other"):
            self.add_valid_queue()
            self.make_old()
        self.change_ppd("StpLaminate", "OtherOption")
        other = (self.cups.etc / "ppd/other.ppd").read_text()
        self.setup("--update", "--all")
        for name in ("first", "second"):
            self.assertNotIn('FileVersion: "0.1"', (self.cups.etc / f"ppd/{name}.ppd").read_text())
        self.assertEqual((self.cups.etc / "ppd/other.ppd").read_text(), other)
        self.queue = queue

    def test_a_job_that_is_printing_is_not_started_again(self):
        self.add_valid_queue(device=self.slow_device())
        self.make_old()
        job = self.printing_job()
        refused = self.setup("--update", self.queue)
        self.assertEqual(refused.returncode, 1)
        self.assertIn(f"job {job} is printing", refused.stderr)
        self.assertEqual(self.finish_job(job), ["started"])

    def test_a_queue_of_another_printer_is_not_changed(self):
        self.add_valid_queue()
        self.change_ppd("StpLaminate", "OtherOption")
        refused = self.setup("--update", self.queue)
        self.assertEqual(refused.returncode, 1)
        self.assertIn("a queue for this printer", refused.stderr)
        self.assertEqual(self.setup("--update", "nowhere").returncode, 1)


class Classes(ThroughSetup):
    """A class of two queues that print the same sheets."""

    def make_members(self, **defaults_of_second):
        self.first, self.second = f"{self.queue}A", f"{self.queue}B"
        for name, defaults in ((self.first, {}), (self.second, defaults_of_second)):
            self.cups.add_queue(name, printer_error_policy="retry-current-job",
                                print_scaling_default="fill", **defaults)

    def make_class(self, *more):
        return self.setup("--class", self.queue, "--member", self.first, "--member", self.second, *more)

    def make_valid_class(self, *more):
        made = self.make_class(*more)
        self.assertEqual(made.returncode, 0, made.stdout + made.stderr)
        return made.stdout

    def attribute(self, name):
        return ipp.values_of(self.cups.socket, self.queue, name)

    def is_shared(self):
        return self.attribute("printer-is-shared") == ["\x01"]

    def refused(self, words):
        made = self.make_class()
        self.assertEqual(made.returncode, 1, made.stdout)
        self.assertIn(words, made.stderr)
        self.assertNotIn(self.queue + "\n", self.cups.run("lpstat", "-e", check=False).stdout)

    def test_a_class_in_one_command_prints_what_its_members_print(self):
        self.make_members()
        self.assertIn(f"{self.queue}: ready to print", self.make_valid_class())
        portrait = artwork.png(self.art / "portrait.png", 900, 1600)
        of_member = self.cups.stream_of(self.print(portrait, queue=self.second)).read_bytes()
        job = self.print(portrait)
        self.assertEqual(len(self.sheets(job)), 1)
        self.assertEqual(self.cups.stream_of(job).read_bytes(), of_member)

    def test_a_class_has_the_default_settings_for_photos(self):
        self.make_members()
        self.make_valid_class()
        self.assertEqual(self.attribute("member-names"), [self.first, self.second])
        self.assertEqual(self.attribute("printer-error-policy"), ["retry-current-job"])
        self.assertEqual(self.attribute("print-scaling-default"), ["fill"])

    def test_a_class_is_shared_when_all_members_are(self):
        self.make_members(printer_is_shared="false")
        self.assertIn("not shared", self.make_valid_class())
        self.assertFalse(self.is_shared())
        self.cups.run("lpadmin", "-p", self.second, "-o", "printer-is-shared=true")
        self.make_valid_class("--replace")
        self.assertTrue(self.is_shared())

    def test_members_that_would_print_other_sheets_are_refused(self):
        for number, (option, value) in enumerate((("PageSize", "w432h576"), ("StpLaminate", "Matte"),
                                                  ("MediaType", "Matte"), ("K905Ribbon", "6x8"))):
            with self.subTest(option=option):
                self.queue = f"different{number}"
                self.make_members(**{option: value})
                self.refused(f"{option} differs")
                self.refused(f"{value} on {self.second}")
        self.queue = "other_model"
        self.make_members(model="RS-30")
        self.refused(f"the model differs: K905 on {self.first}, RS-30 on {self.second}")

    def test_only_queues_of_this_printer_can_be_members(self):
        self.make_members()
        self.make_valid_class()
        of_class = self.setup("--class", "outer", "--member", self.queue)
        self.assertEqual(of_class.returncode, 1)
        self.assertIn("is a class", of_class.stderr)
        self.assertIn("there is no queue nowhere",
                      self.setup("--class", "outer", "--member", "nowhere").stderr)
        path = self.cups.etc / "ppd" / f"{self.second}.ppd"
        path.write_text(path.read_text().replace("StpLaminate", "OtherOption"))
        other = self.setup("--class", "outer", "--member", self.second)
        self.assertIn("is not a queue for this printer", other.stderr)
        self.assertNotIn("outer", self.cups.run("lpstat", "-e", check=False).stdout)

    def test_existing_queues_and_classes_are_not_changed(self):
        self.make_members()
        self.make_valid_class()
        self.assertIn("--replace", self.make_class().stderr)
        self.assertIn("is a queue", self.setup("--class", self.first, "--member", self.second).stderr)
        self.assertIn("is a class", self.setup("--replace", self.queue, "--device", self.device()).stderr)
        self.assertIn(f"is a class; update it with --class {self.queue} --update",
                      self.setup("--update", self.queue).stderr)

    def test_replacing_changes_the_members_and_keeps_the_jobs(self):
        self.make_members()
        self.make_valid_class()
        job = self.waiting_job()
        self.setup_succeeds("--class", self.queue, "--member", self.second, "--replace")
        self.assertEqual(self.attribute("member-names"), [self.second])
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)

    def test_an_update_refreshes_the_class_and_its_members(self):
        self.make_members()
        self.make_valid_class()
        for name, value in (("print-scaling-default", "none"),
                            ("printer-is-shared", "false"), ("number-up-default", "2")):
            self.cups.run("lpadmin", "-p", self.queue, "-o", f"{name}={value}")
        path = self.cups.etc / "ppd" / f"{self.second}.ppd"
        path.write_text(re.sub('FileVersion: ".*"', 'FileVersion: "0.1"', path.read_text()))
        job = self.waiting_job()
        updated = self.setup("--class", self.queue, "--update")
        self.assertIn("the queue has been stopped", updated.stdout)
        self.assertEqual(self.attribute("member-names"), [self.first, self.second])
        self.assertEqual(self.attribute("printer-error-policy"), ["retry-current-job"])
        self.assertEqual(self.attribute("print-scaling-default"), ["fill"])
        self.assertEqual(self.attribute("number-up-default"), [2])
        self.assertFalse(self.is_shared())
        self.assertNotIn('FileVersion: "0.1"', path.read_text())
        self.cups.run("cupsenable", self.queue)
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        self.setup_succeeds("--class", self.queue, "--update", "--member", self.second)
        self.assertEqual(self.attribute("member-names"), [self.second])

    def test_a_member_that_is_printing_leaves_class_and_members_unchanged(self):
        self.make_members(device=self.slow_device())
        self.make_valid_class()
        path = self.cups.etc / "ppd" / f"{self.first}.ppd"
        path.write_text(re.sub('FileVersion: ".*"', 'FileVersion: "0.1"', path.read_text()))
        job = self.cups.submit(self.second, self.jpeg())
        self.cups.wait_for(self.started.exists, "the job to start")
        refused = self.setup("--class", self.queue, "--update")
        self.assertEqual(refused.returncode, 1)
        self.assertIn(f"job {job} is printing on {self.second}", refused.stderr)
        self.assertIn('FileVersion: "0.1"', path.read_text())
        self.assertEqual(self.finish_job(job), ["started"])

    def test_a_refused_change_names_the_members_that_are_changed_already(self):
        self.make_members()
        self.make_valid_class()
        self.make_default_unavailable(self.first)
        self.refuse_ppd_of(self.second)
        reports, errors = self.reports("--class", self.queue, "--update", status=1)
        texts = [finding["text"] for finding in reports[self.queue]["findings"]]
        self.assertRegex(texts[0], f"^{self.first}: the default StpGamma=1250 ")
        self.assertRegex(texts[-1], f"^CUPS refused the queue {self.second}: .*; changed already: {self.first}$")
        self.assertIn(texts[-1], errors)

    def test_a_refused_change_of_the_class_says_that_its_members_are_updated(self):
        self.make_members()
        self.make_valid_class()
        self.make_default_unavailable(self.first)
        refuse = {ipp.ADD_MODIFY_CLASS: answer_without_attributes(INTERNAL_ERROR)}
        with changed_answers(self.cups.socket, refuse) as server:
            refused = self.setup("--class", self.queue, "--update", CUPS_SERVER=server)
        self.assertEqual(refused.returncode, 1)
        self.assertRegex(refused.stderr, f"CUPS refused the class {self.queue}: .*; its members are updated already\n")
        self.assertIn(f"note     {self.first}: the default StpGamma=1250 ", refused.stdout)

    def test_only_a_class_that_exists_is_updated(self):
        self.make_members()
        self.assertIn("there is no class", self.setup("--class", self.queue, "--update").stderr)
        self.assertIn("is a queue", self.setup("--class", self.first, "--update").stderr)

    def test_check_names_the_problems_of_class_and_members(self):
        self.make_members()
        self.make_valid_class()
        self.cups.run("cupsdisable", self.second)
        found = self.check_finds(f"{self.second}: the queue has been stopped")
        self.assertIn(f"cupsenable {self.second}", found)
        self.assertIn(f"member {self.first} is ready", found)
        self.cups.run("cupsenable", self.second)
        self.cups.run("cupsreject", self.queue)
        self.check_finds("PROBLEM  the queue does not take jobs")
        self.cups.run("cupsaccept", self.queue)
        self.cups.run("lpadmin", "-p", self.second, "-o", "StpLaminate=Matte")
        report = json.loads(self.setup("--check", self.queue, "--json").stdout)
        self.assertEqual((report["queue"], report["problems"]), (self.queue, 1))
        self.assertIn("StpLaminate differs", str(report))


class Sharing(ThroughSetup):
    """--share and --no-share."""

    SYSTEM = private_cups.CupsOnPort

    def setUp(self):
        super().setUp()
        file = self.cups.etc / "cupsd.conf"
        before = file.read_text()
        self.addCleanup(self.cups.start)
        self.addCleanup(file.write_text, before)
        self.addCleanup(self.cups.stop)

    def shares(self):
        return "_share_printers=1" in self.cups.run("cupsctl").stdout

    def is_shared(self, queue=None):
        return ipp.values_of(self.cups.socket, queue or self.queue, "printer-is-shared") == ["\x01"]

    def test_a_queue_can_be_shared_and_unshared(self):
        made = self.setup_succeeds(self.queue, "--device", self.device(), "--share").stdout
        self.assertTrue(self.is_shared())
        self.assertTrue(self.shares())
        self.assertRegex(made, rf"offers .*\b{self.queue}\b")
        # From another computer, by the URI that is printed.
        uri = re.search(r"ipp://\S+", made).group(0)
        self.assertRegex(uri, rf"^ipp://[^/]+:{self.cups.port}/printers/{self.queue}$")
        offered = self.cups.run("ipptool", "-tv", f"ipp://127.0.0.1:{self.cups.port}/printers/{self.queue}",
                                "get-printer-attributes.test").stdout
        self.assertIn("na_index-4x6_4x6in", offered)
        has_avahi = os.path.exists("/run/avahi-daemon/socket")
        for word in ("AirPrint", "Mopria"):
            self.assertIn(word, made)
        self.assertEqual("Avahi is not running" in made, not has_avahi)
        report = json.loads(self.setup_succeeds("--check", self.queue, "--json").stdout)
        self.assertIn(uri, str(report))
        self.assertEqual((report["ready"], "Avahi is not running" in str(report)), (True, not has_avahi))
        ended = self.setup_succeeds("--update", self.queue, "--no-share").stdout
        self.assertFalse(self.is_shared())
        self.assertIn("not shared", ended)
        self.assertNotIn("ipp://", ended)

    def test_an_update_offers_a_queue_and_its_jobs_stay(self):
        self.add_valid_queue(StpLaminate="Matte", printer_is_shared="false")
        self.assertIn("is not shared", self.setup_succeeds("--check", self.queue).stdout)
        job = self.waiting_job()
        self.setup("--update", self.queue, "--share")
        self.assertTrue(self.is_shared() and self.shares())
        self.assertIn("*Matte", self.choices())
        self.assertEqual(self.state_of(job), ipp.PENDING)
        self.cups.run("cancel", job)

    def test_a_shared_class_has_its_own_address(self):
        self.add_valid_queue("member", printer_is_shared="false")
        made = self.setup_succeeds("--class", self.queue, "--member", "member", "--share").stdout
        self.assertTrue(self.is_shared())
        self.assertFalse(self.is_shared("member"))
        self.assertIn(f"/classes/{self.queue}", made)
        self.setup_succeeds("--class", self.queue, "--update", "--no-share")
        self.assertFalse(self.is_shared())

    def test_a_job_that_is_printing_is_not_started_again(self):
        self.add_queue("busy", device=self.slow_device())
        queue, self.queue = self.queue, "busy"
        job = self.printing_job()
        self.queue = queue
        refused = self.setup(self.queue, "--device", self.device(), "--share")
        self.assertEqual(refused.returncode, 1)
        self.assertIn("a job is printing on busy", refused.stderr)
        self.assertNotIn(self.queue, self.cups.run("lpstat", "-e").stdout)
        self.assertFalse(self.shares())
        self.assertEqual(self.finish_job(job), ["started"])

    def test_a_scheduler_that_cannot_be_made_to_share_leaves_queues_unchanged(self):
        self.add_valid_queue(StpLaminate="Matte", printer_is_shared="false")
        self.setup_succeeds("--class", "both", "--member", self.queue, "--no-share")
        self.addCleanup(self.cups.run, "lpadmin", "-x", "both")
        in_the_way = self.cups.etc / "cupsd.conf.N"  # the name of the new file until it is complete
        in_the_way.mkdir()
        self.addCleanup(in_the_way.rmdir)
        for arguments in (("--update", self.queue), ("--replace", self.queue), ("new", "--device", self.device()),
                          ("--class", "both", "--update")):
            with self.subTest(arguments=arguments):
                self.assertEqual(self.setup(*arguments, "--share").returncode, 1)
                self.assertFalse(self.is_shared() or self.is_shared("both"))
                self.assertIn("*Matte", self.choices())
                self.assertNotIn("new", self.cups.run("lpstat", "-e").stdout.split())

    def test_a_shared_queue_of_a_scheduler_that_does_not_share_is_no_problem(self):
        self.add_valid_queue(printer_is_shared="true")
        self.assertIn("the scheduler shares no queue", self.setup_succeeds("--check", self.queue).stdout)


class AsJson(ThroughSetup):
    def test_findings_have_level_text_and_advice(self):
        self.add_valid_queue()
        report = json.loads(self.setup_succeeds("--check", self.queue, "--json").stdout)
        self.assertEqual((report["queue"], report["ready"], report["problems"]), (self.queue, True, 0))
        self.assertEqual({finding["level"] for finding in report["findings"]}, {"ok"})
        self.cups.run("cupsreject", self.queue)
        broken = self.setup("--json", "--check", self.queue)
        self.assertEqual(broken.returncode, 1)
        report = json.loads(broken.stdout)
        self.assertEqual((report["ready"], report["problems"]), (False, 1))
        (problem,) = [finding for finding in report["findings"] if finding["level"] == "problem"]
        self.assertIn("does not take jobs", problem["text"])
        self.assertEqual(problem["advice"], "cupsaccept " + self.queue)

    def problem_of(self, *arguments, **environment):
        failed = self.setup(*arguments, "--json", **environment)
        self.assertEqual(failed.returncode, 1, failed.stdout)
        report = json.loads(failed.stdout)
        self.assertFalse(report["ready"])
        (problem,) = [finding for finding in report["findings"] if finding["level"] == "problem"]
        self.assertIn(problem["text"], failed.stderr)
        return report["queue"], problem["text"]

    def test_an_error_is_a_problem(self):
        self.add_valid_queue(device=self.slow_device())
        job = self.printing_job()
        for arguments in (("--update", self.queue), ("--replace", self.queue)):
            name, problem = self.problem_of(*arguments)
            self.assertEqual(name, self.queue)
            self.assertIn(f"job {job} is printing", problem)
        self.finish_job(job)
        self.assertEqual(self.problem_of("--class", "none", "--update")[0], "none")
        name, problem = self.problem_of("--update", self.queue, CUPS_SERVER=str(self.art / "nobody.sock"))
        self.assertEqual(name, self.queue)
        self.assertIn("the scheduler is not running", problem)

    def test_an_error_during_the_check_ends_an_object_with_the_findings_so_far(self):
        self.add_valid_queue()
        for operation, status, words in ((ipp.GET_PRINTER_ATTRIBUTES, INTERNAL_ERROR, "CUPS refused a request"),
                                         (ipp.GET_JOBS, INTERNAL_ERROR, "CUPS refused a request"),
                                         (ipp.GET_PRINTER_ATTRIBUTES, 0, f"no attributes of {self.queue}")):
            with self.subTest(operation=operation, status=status), changed_answers(
                    self.cups.socket, {operation: answer_without_attributes(status)}) as server:
                reports, errors = self.reports("--check", self.queue, status=1, CUPS_SERVER=server)
                findings = reports[self.queue]["findings"]
                self.assertEqual([finding["level"] for finding in findings][-2:], ["ok", "problem"])
                self.assertIn(words, findings[-1]["text"])
                self.assertIn(findings[-1]["text"], errors)

    def test_an_error_of_one_queue_does_not_end_the_update_of_the_others(self):
        queues = [f"{name}_{self.queue}"[:60] for name in "abc"]
        for name in queues:
            self.add_valid_queue(name)
            self.make_default_unavailable(name)
        self.refuse_ppd_of(queues[0])
        # The queue is changed, and then cannot be checked.
        fail = answer_without_attributes(INTERNAL_ERROR)
        jobs = {ipp.GET_JOBS: lambda body: fail(body) if f"/{queues[1]}".encode() in body else None}
        with changed_answers(self.cups.socket, jobs) as server:
            reports, _ = self.reports("--update", "--all", status=1, CUPS_SERVER=server)
        texts = [str(reports[name]["findings"]) for name in queues]
        self.assertIn(f"CUPS refused the queue {queues[0]}", texts[0])
        self.assertNotIn("StpGamma=1250", texts[0])
        self.assertIn("CUPS refused a request", texts[1])
        self.assertIn("StpGamma=1250", texts[1])
        self.assertIn("StpGamma=1250", texts[2])
        self.assertTrue(reports[queues[2]]["ready"])

    def test_an_error_before_the_queues_are_known_is_an_object_without_a_queue(self):
        with changed_answers(self.cups.socket,
                             {ipp.GET_PRINTERS: answer_without_attributes(INTERNAL_ERROR)}) as server:
            for address, words in ((server, "CUPS refused a request"),
                                   (str(self.art / "nobody.sock"), "the scheduler is not running")):
                with self.subTest(words):
                    reports, _ = self.reports("--update", "--all", status=1, CUPS_SERVER=address)
                    self.assertIn(words, str(reports[""]["findings"]))


if __name__ == "__main__":
    private_cups.main()
