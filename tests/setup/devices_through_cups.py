"""Prints through queues that k905-setup makes and migrates: a private scheduler and a simulated printer.
usage: devices_through_cups.py BUILD CMAKE [TEST...]

The device address is the one a user knows (socket://); the data that the printer receives is compared with a
run of the filter alone. Exit status 77: the tests cannot run on this machine.
"""

import pathlib
import signal
import socket
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "backend"))

from through_cups import ThroughCups, ipp, private_cups  # noqa: E402


class SetupTest(ThroughCups):
    """Queues on the simulated printer."""

    def setUp(self):
        super().setUp()
        self.cups.run("lpadmin", "-x", "booth")
        self.socket_uri = self.sim.uri

    def setup(self, *arguments, check=True, **environment):
        return self.cups.run(self.cups.prefix / "bin" / "k905-setup", *arguments, check=check,
                             CUPS_CACHEDIR=str(self.cups.root / "cache"), **environment)

    def device(self, queue="booth"):
        return self.cups.run("lpstat", "-v", queue).stdout.strip().partition(": ")[2]

    def make_old_queue(self):
        self.cups.add_queue("booth", device=self.socket_uri, StpLaminate="Matte", BleedBottom="0.5",
                            print_scaling_default="fill", printer_error_policy="retry-current-job",
                            printer_info="left", number_up_default="1", job_priority_default="70")


class NewQueue(SetupTest):
    def test_a_queue_made_with_a_socket_address_survives_a_stop_in_a_sheet(self):
        made = self.setup("booth", "--device", self.socket_uri)
        self.assertIn(self.socket_uri, made.stdout)
        self.assertEqual(self.device(), self.sim.device_uri)
        job = self.submit_and_hold(2)
        self.cups.process.send_signal(signal.SIGTERM)
        self.cups.process.wait(30)
        self.cups.start()
        self.sim.command("continue")
        self.assert_completed(job)
        self.assert_printed(self.numbers)

    def test_an_address_is_kept_on_request_and_by_an_update(self):
        made = self.setup("booth", "--device", self.socket_uri, "--keep-device")
        self.assertEqual(self.device(), self.socket_uri)
        self.assertRegex(made.stdout, "note .*a part of a sheet")
        for arguments in (("--check", "booth"), ("--update", "booth"), ("--update", "--all")):
            self.setup(*arguments)
            self.assertEqual(self.device(), self.socket_uri)
        self.setup("booth", "--replace")
        self.assertEqual(self.device(), self.sim.device_uri)


class MigratedQueue(SetupTest):
    def test_jobs_and_defaults_stay_and_every_sheet_is_printed_once(self):
        self.make_old_queue()
        self.cups.run("cupsdisable", "booth")
        jobs = [self.submit() for _ in range(2)]
        before = self.cups.run("lpoptions", "-p", "booth", "-l").stdout
        found = self.setup("--check", "booth", check=False).stdout
        self.assertRegex(found, r"PROBLEM .*a part of a sheet.*\n +-> k905-setup --update booth\n")
        output = self.setup("--update", "booth", check=False).stdout  # the queue is stopped
        self.assertIn(f"{self.socket_uri}", output)
        self.assertEqual(self.device(), self.sim.device_uri)
        self.assertEqual(self.cups.run("lpoptions", "-p", "booth", "-l").stdout, before)
        attributes = self.cups.run("lpoptions", "-p", "booth").stdout
        for word in ("printer-info=left", "job-priority=70", "print-scaling=fill"):
            self.assertIn(word, attributes)
        self.assertEqual([self.cups.job_state(job)["job-state"] for job in jobs], [ipp.PENDING] * 2)
        self.cups.run("cupsenable", "booth")
        for job in jobs:
            self.assert_completed(job)
        self.assert_printed(self.numbers * 2)
        self.assertIn("ready to print", self.setup("--check", "booth").stdout)

    def test_a_queue_that_is_printing_is_not_changed(self):
        self.make_old_queue()
        job = self.submit_and_hold(1, 1000)
        refused = self.setup("--update", "--all", check=False)
        self.assertEqual(refused.returncode, 1)
        self.assertIn(f"job {job} is printing", refused.stderr)
        self.sim.command("continue")
        self.assert_completed(job)
        self.assert_printed(self.numbers)
        self.assertEqual(self.sim.count("^question"), 0)

    def test_a_printer_that_only_receives_keeps_its_address(self):
        # Some print servers do not pass on replies; a queue that uses the backend would wait indefinitely.
        with socket.create_server(("127.0.0.1", 0)) as server:
            uri = f"socket://127.0.0.1:{server.getsockname()[1]}"
            self.cups.add_queue("booth", device=uri, print_scaling_default="fill",
                                printer_error_policy="retry-current-job")
            output = self.setup("--update", "booth").stdout
            self.assertRegex(output, "note .*does not answer status queries")
            self.assertEqual(self.device(), uri)


class Check(SetupTest):
    """--check queries the printer itself."""

    def test_the_state_of_the_printer_is_shown(self):
        self.setup("booth", "--device", self.socket_uri)
        self.assertRegex(self.setup("--check", "booth").stdout, r"ok .*Idling, 400 prints left")
        self.sim.set(remaining=0)
        found = self.setup("--check", "booth", check=False)
        self.assertEqual(found.returncode, 1)
        self.assertRegex(found.stdout,
                         r"PROBLEM .*Paper End.*\n +-> load new paper and a new ribbon\n")

    def test_no_question_is_sent_while_another_queue_prints_on_the_printer(self):
        for queue in ("booth", "matte"):
            self.setup(queue, "--device", self.socket_uri)
        job = self.submit_and_hold(2, 1000)
        self.assertIn("in use", self.setup("--check", "matte").stdout)
        self.sim.command("continue")
        self.assert_completed(job)
        self.assert_printed(self.numbers)

    def test_no_question_is_sent_while_a_stopped_queue_finishes_its_sheet(self):
        self.setup("booth", "--device", self.socket_uri)
        self.submit_and_hold(1, 1000)
        self.cups.run("cupsdisable", "booth")
        self.assertIn("in use", self.setup("--check", "booth", check=False).stdout)
        self.assert_printed([])
        self.sim.command("continue")
        self.sim.wait_for_line("sheet 1: ")
        self.assert_printed(self.numbers[:1])

    def test_a_job_that_waits_for_the_printer_is_shown_with_the_reason(self):
        self.setup("booth", "--device", self.socket_uri)
        self.sim.set(remaining=1)
        self.submit()
        self.cups.wait_for(lambda: "media-empty-error" in self.reasons(), "the reason in lpstat")
        found = self.setup("--check", "booth", check=False)
        self.assertRegex(found.stdout, r"PROBLEM .*job is waiting: Paper End: load new paper")


if __name__ == "__main__":
    private_cups.main()
