"""Printers on several hosts: a class on one scheduler whose members are IPP queues of two others, each
with a simulated printer. usage: several_hosts.py BUILD CMAKE [TEST...]

The commands are those of docs/lab.md. Exit status 77: the test cannot run on this machine.
"""

import os
import pathlib
import shutil
import signal
import tempfile
import unittest

import artwork
import ipp
import private_cups
from simulated_printer import SimulatedPrinter, number_in_picture

BUILD, CMAKE = private_cups.programs()
HOSTS = ("hostA", "hostB")


class SeveralHosts(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = pathlib.Path(tempfile.mkdtemp(prefix="k905_hosts_"))
        os.chmod(cls.scratch, 0o755)
        cls.addClassCleanup(shutil.rmtree, cls.scratch)
        cls.sim = SimulatedPrinter(BUILD / "k905-sim", cls.scratch / "sheets",
                                   "--printers", "2", "--print-time", "100")
        cls.addClassCleanup(cls.sim.stop)
        cls.hosts = [cls.start_cups(name, on_network=True) for name in HOSTS]
        cls.front = cls.start_cups("front")
        for host, port in zip(cls.hosts, cls.sim.ports):
            host.add_queue("booth", device=f"k905://127.0.0.1:{port}/?settle=1",
                           printer_error_policy="retry-current-job", printer_is_shared="true")
        for name, host in zip(HOSTS, cls.hosts):
            cls.front.run("lpadmin", "-p", name, "-v", f"ipp://127.0.0.1:{host.port}/printers/booth",
                          "-E", "-o", "printer-error-policy=retry-current-job")
            cls.front.run("lpadmin", "-p", name, "-c", "lab")
        cls.front.run("cupsaccept", "lab")
        cls.front.run("cupsenable", "lab")
        cls.gray = 0

    @classmethod
    def start_cups(cls, name, **more):
        folder = cls.scratch / name
        folder.mkdir()
        cups = private_cups.PrivateCups(folder, BUILD, CMAKE, **more)
        cls.addClassCleanup(cups.stop)
        cups.__enter__()
        return cups

    def setUp(self):
        self.before = len(self.sim.printed_files())

    def photo(self):
        """A photo with its own gray value, so that sheets can be distinguished."""
        type(self).gray += 7
        return artwork.write_png(self.scratch / f"{self.gray}.png", 60, 40,
                                 [b"\0" + bytes([self.gray] * 180)] * 40)

    def submit(self, count, options=()):
        return [self.front.submit("lab", self.photo(), options=options) for _ in range(count)]

    def assert_completed(self, jobs):
        for job in jobs:
            self.assertEqual(self.front.finished(job, 120)["job-state"], ipp.COMPLETED)

    def new_sheets(self):
        return self.sim.printed_files()[self.before:]

    def assert_each_printed_once(self, count):
        numbers = [number_in_picture(file) for file in self.new_sheets()]
        self.assertEqual((len(numbers), len(set(numbers))), (count, count), numbers)

    def printed_by(self, number):
        return len([file for file in self.new_sheets() if file.parent.name == str(number)])

    def shown(self, queue):
        return self.front.run("lpstat", "-l", "-p", queue).stdout

    def submit_and_hold_both_at(self, byte, count):
        """Returns the jobs when each printer has received a part of a sheet and is held there."""
        for number in (1, 2):
            self.sim.command(f"{number} hold at {byte}")
        jobs = self.submit(count)
        for number in (1, 2):
            self.sim.wait_for_line(f"printer {number}: holding at byte {byte}")
        return jobs

    def let_both_continue(self):
        for number in (1, 2):
            self.sim.command(f"{number} continue")

    def test_jobs_are_shared_and_each_is_printed_once(self):
        jobs = self.submit_and_hold_both_at(1000000, 6)
        self.let_both_continue()
        self.assert_completed(jobs)
        self.assert_each_printed_once(6)

    def test_a_job_for_the_class_prints_the_sheet_that_the_host_prints_itself(self):
        photo = self.photo()
        direct = self.hosts[0].submit("booth", photo, options=["StpLaminate=Matte"])
        self.hosts[0].finished(direct)
        shared = self.front.submit("lab", photo, options=["StpLaminate=Matte"])
        self.assert_completed([shared])
        self.assertEqual(*(file.read_bytes() for file in self.new_sheets()))
        reports = [line for line in self.sim.lines if " sheet " in line and ", matte," in line]
        self.assertEqual(len(reports), 2)

    def test_each_printer_shows_its_reason_while_the_other_prints(self):
        self.sim.command("1 cover open")
        first = self.front.submit("hostA", self.photo())
        self.front.wait_for(lambda: "cover-open-error" in self.shown("hostA"), "the reason")
        self.assertIn("\tCover is open: close the cover\n", self.shown("hostA"))
        self.assert_completed(self.submit(2))
        self.assertEqual((self.printed_by(1), self.printed_by(2)), (0, 2))
        self.assertNotIn("cover", self.shown("hostB"))
        self.sim.command("1 cover close")
        self.assert_completed([first])
        self.front.wait_for(lambda: "\tAlerts: none\n" in self.shown("hostA"), "no reason afterwards")
        self.assertNotIn("Cover", self.shown("hostA"))
        self.assert_each_printed_once(3)

    def test_jobs_of_a_host_that_is_stopped_go_to_the_other(self):
        self.hosts[0].stop()
        self.assert_completed(self.submit(3))
        self.assertEqual((self.printed_by(1), self.printed_by(2)), (0, 3))
        self.hosts[0].start()
        # The member needs no command when its host is back.
        self.assert_completed([self.front.submit("hostA", self.photo())])
        self.assertEqual(self.printed_by(1), 1)
        self.assert_each_printed_once(4)

    def test_a_job_of_a_host_that_fails_in_a_sheet_is_printed_once(self):
        jobs = self.submit_and_hold_both_at(1000001, 2)
        self.hosts[0].process.send_signal(signal.SIGKILL)
        self.hosts[0].process.wait()
        self.let_both_continue()
        self.front.wait_for(lambda: self.printed_by(2) == 1, "the sheet of the other host")
        self.hosts[0].start()
        self.assert_completed(jobs)
        self.assert_each_printed_once(2)


if __name__ == "__main__":
    private_cups.main()
