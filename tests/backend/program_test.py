"""The backend as the print system starts it, with a simulated printer. usage: program_test.py BUILD [TEST...]

Every test checks the sheets that the printer received: their pixels contain their numbers.
"""

import contextlib
import os
import pathlib
import re
import resource
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE.parent / "cups")]

import numbered_sheets  # noqa: E402
from simulated_printer import SimulatedPrinter, undisturbed  # noqa: E402

BUILD = pathlib.Path()
DONE, HOLD, STOP_QUEUE, TRY_AGAIN = 0, 3, 4, 7
SHEET_BYTES = len(numbered_sheets.sheet(1))
MESSAGE_BYTES = 8000  # enough for the messages of a job, too little for its record


class Run:
    """One start of the backend for one job."""

    def __init__(self, uri, stream, cache, job=7, uuid="urn:uuid:1", max_file_bytes=-1):
        self.messages = tempfile.TemporaryFile("w+")
        self.process = subprocess.Popen(
            [BUILD / "k905", str(job), "me", "photos", "1", f"finishings=3 job-uuid={uuid}"],
            stdin=stream, stderr=self.messages,
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (max_file_bytes, max_file_bytes)),
            restore_signals=False,  # with SIGXFSZ ignored, a file that is too large is an error
            env={"DEVICE_URI": uri, "CUPS_CACHEDIR": str(cache)})

    def log_lines(self):
        self.messages.seek(0)
        return self.messages.read().splitlines()

    def wait(self, seconds=60):
        return self.process.wait(seconds)

    def worker(self):
        """The process that prints."""
        children = pathlib.Path(f"/proc/{self.process.pid}/task/{self.process.pid}/children")
        until = time.monotonic() + 60
        while time.monotonic() < until:
            if found := children.read_text().split():
                return int(found[0])
            time.sleep(0.01)
        raise AssertionError("the backend started no other process")

    def wait_until_the_signal_is_forwarded(self):
        """Waits until its end of the pipe to the process that prints is closed."""
        until = time.monotonic() + 60
        while self.has_pipes():
            if time.monotonic() > until:
                raise AssertionError("the signal was not forwarded")
            time.sleep(0.01)

    def has_pipes(self):
        """Whether it has pipes other than its standard descriptors."""
        for entry in pathlib.Path(f"/proc/{self.process.pid}/fd").iterdir():
            try:
                if int(entry.name) > 2 and os.readlink(entry).startswith("pipe:"):
                    return True
            except FileNotFoundError:  # closed in between
                pass
        return False


class UnreliableConnection:
    """Forwards a connection to a printer. While `drops_life_counter`, it loses the questions for the life counter that
    follow the first sheet."""

    QUESTION = re.compile(rb"\x1bPMNT_RDCOUNTER_LIFE.{12}", re.DOTALL)

    def __init__(self, port):
        self.drops_life_counter = True
        self.listener = socket.create_server(("127.0.0.1", 0))
        self.uri = f"k905://127.0.0.1:{self.listener.getsockname()[1]}"
        threading.Thread(target=self._serve, args=(port,), daemon=True).start()

    def _serve(self, port):
        client, _ = self.listener.accept()
        printer = socket.create_connection(("127.0.0.1", port))
        threading.Thread(target=self._forward_replies, args=(printer, client), daemon=True).start()
        forwarded = 0
        while data := client.recv(65536):
            if self.drops_life_counter and forwarded + len(data) > SHEET_BYTES:
                data = self.QUESTION.sub(b"", data)
            printer.sendall(data)
            forwarded += len(data)
        printer.shutdown(socket.SHUT_RDWR)  # close() alone would wait for the other thread's recv()
        printer.close()
        client.close()

    @staticmethod
    def _forward_replies(printer, client):
        try:
            while data := printer.recv(65536):
                client.sendall(data)
        except OSError:  # closed by the other thread
            pass


class Backend(unittest.TestCase):
    def setUp(self):
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="k905_backend_"))
        os.chmod(self.scratch, 0o755)
        self.cache = self.scratch / "cache"
        self.cache.mkdir()
        self.sim = SimulatedPrinter(BUILD / "k905-sim", self.scratch / "sheets", "--trace")
        self.runs = []

    def tearDown(self):
        for run in self.runs:
            if run.process.poll() is None:
                run.process.kill()
                run.process.wait()
            run.messages.close()
        self.sim.stop()
        shutil.rmtree(self.scratch)

    @property
    def uri(self):
        return self.sim.device_uri + "/?settle=1"

    def stream(self, data):
        file = self.scratch / "stream"
        file.unlink(missing_ok=True)  # another run may not have read it yet
        file.write_bytes(data)
        return open(file, "rb")

    def start(self, data, options="", uri="", **more):
        with self.stream(data) as stream:
            run = Run((uri or self.uri) + options, stream, self.cache, **more)
        self.runs.append(run)
        return run

    def wait_until(self, condition, what, seconds=60):
        until = time.monotonic() + seconds
        while not condition():
            if time.monotonic() > until:
                raise AssertionError(f"waited {seconds} s for {what}\n" +
                                     "\n".join(self.runs[-1].log_lines()))
            time.sleep(0.02)

    def stop_while_it_waits(self, run, reason):
        """SIGTERM to a run, when it shows this reason."""
        self.wait_until(lambda: f"STATE: +{reason}" in run.log_lines(), "the reason")
        run.process.send_signal(signal.SIGTERM)
        self.assertEqual(run.wait(), TRY_AGAIN)

    @contextlib.contextmanager
    def unreadable_record(self):
        """The record of job 7 cannot be read, also not by root."""
        record = self.cache / "k905/job-7"
        record.rename(self.scratch / "kept")
        record.mkdir()
        yield
        record.rmdir()
        (self.scratch / "kept").rename(record)

    def assert_printed(self, numbers, incomplete=0):
        self.assertEqual(self.sim.numbers(), list(numbers))
        self.assertEqual(self.sim.incomplete_sheets(), incomplete)
        self.assertEqual(self.sim.count(" inside a sheet"), 0)


class WholeJobs(Backend):
    def test_every_sheet_is_sent_once_in_order(self):
        run = self.start(numbered_sheets.job(5))
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 2, 3, 4, 5])
        records = list((self.cache / "k905").glob("job-*"))
        self.assertEqual(len(records), 1)
        os.utime(records[0], (0, 0))
        self.assertEqual(self.start(numbered_sheets.sheet(6), job=8).wait(), DONE)
        self.assertEqual([file.name for file in (self.cache / "k905").glob("job-*")], ["job-8"])

    def test_a_device_file_takes_questions_and_sheets_on_one_descriptor(self):
        with self.stream(numbered_sheets.job(3)) as stream:
            run = Run(f"k905:{self.sim.device}?settle=1", stream, self.cache)
        self.runs.append(run)
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 2, 3])

    def test_sheets_of_every_kind_arrive_as_they_were_read(self):
        matte = numbered_sheets.sheet(9).replace(
            numbered_sheets.block("CNTRL", "CUTTER", 8) + b"00000000",
            numbered_sheets.block("CNTRL", "OVERCOAT", 8) + b"00000001" +
            numbered_sheets.block("CNTRL", "CUTTER", 8) + b"00000120")
        job = numbered_sheets.sheet(1, 1, 1) + matte + numbered_sheets.sheet(2, 1920, 1240)
        run = self.start(job)
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assertEqual(self.sim.printed_sheets(), undisturbed(BUILD / "k905-sim", job, SimulatedPrinter.printed_sheets))

    def test_a_file_is_printed_as_often_as_there_are_copies(self):
        file = self.scratch / "file.prn"
        file.write_bytes(numbered_sheets.job(2))
        done = subprocess.run([BUILD / "k905", "7", "me", "photos", "3", "", file],
                              env={"DEVICE_URI": self.uri, "CUPS_CACHEDIR": str(self.cache)},
                              stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=60)
        self.assertEqual(done.returncode, DONE, done.stderr)
        self.assert_printed([1, 2, 1, 2, 1, 2])

    def test_copies_of_a_file_that_can_be_read_only_once_are_reported(self):
        pipe = self.scratch / "pipe"
        os.mkfifo(pipe)
        with tempfile.TemporaryFile("w+") as messages:
            backend = subprocess.Popen([BUILD / "k905", "7", "me", "photos", "2", "", pipe], stderr=messages,
                                       env={"DEVICE_URI": self.uri, "CUPS_CACHEDIR": str(self.cache)})
            pipe.write_bytes(numbered_sheets.job(2))
            self.assertEqual(backend.wait(60), HOLD)
            messages.seek(0)
            self.assertIn("ERROR: Print data cannot be read: Illegal seek", messages.read().splitlines())
        self.assert_printed([1, 2])

    def test_an_invalid_sheet_and_what_follows_it_are_not_sent(self):
        good = numbered_sheets.sheet(1)
        bad = bytearray(numbered_sheets.sheet(2))
        bad[-8] = ord("x")  # the last field of the sheet
        run = self.start(good + bytes(bad) + numbered_sheets.sheet(3))
        self.assertEqual(run.wait(), HOLD)
        self.assert_printed([1])
        self.assertTrue(any(line.startswith("ERROR: Invalid print data, sheet 2 and what follows")
                            for line in run.log_lines()), run.log_lines())

    def test_nothing_of_a_sheet_is_sent_when_the_stream_ends_inside_it(self):
        run = self.start(numbered_sheets.job(3)[:-1])
        self.assertEqual(run.wait(), HOLD)
        self.assert_printed([1, 2])

    def test_supplies_are_reported_after_each_sheet(self):
        self.sim.set(remaining=41, initial=400)
        run = self.start(numbered_sheets.job(3))
        self.assertEqual(run.wait(), DONE, run.log_lines())
        events = [re.search(r"marker-message='([^']*)'|(STATE: .media-low-warning)$|INFO: (Printing sheet .*)", line)
                  for line in run.log_lines()]
        self.assertEqual([next(filter(None, event.groups())) for event in events if event], [
            "41 of 400 prints left",
            "Printing sheet 1", "40 of 400 prints left",
            "Printing sheet 2", "39 of 400 prints left", "STATE: +media-low-warning",
            "Printing sheet 3", "38 of 400 prints left"])

    def test_the_state_of_the_printer_is_known_before_the_first_sheet_is_made(self):
        self.sim.set(remaining=41)
        reader, writer = os.pipe()
        try:
            self.runs.append(Run(self.uri, reader, self.cache))
            self.wait_until(lambda: any(re.search("printer-alert='status_code=0;.*prints_left=41;.*life_counter=1234", line)
                                        for line in self.runs[-1].log_lines()), "the state")
        finally:
            os.close(reader)
            os.close(writer)
        self.assertEqual(self.runs[-1].wait(), DONE, self.runs[-1].log_lines())

    def test_without_arguments_it_lists_devices_in_the_format_of_cups(self):
        listed = subprocess.run([BUILD / "k905"], capture_output=True, text=True, check=True).stdout
        line = re.compile(r'(direct k905:\S+|network k905) "[^"]*" "[^"]*" "[^"]*" "[^"]*"')
        for found in listed.splitlines():
            self.assertRegex(found, line)
        self.assertIn("network k905 ", listed)

    def test_a_uri_of_another_kind_stops_the_queue_with_a_message(self):
        done = subprocess.run([BUILD / "k905", "7", "me", "photos", "1", ""],
                              env={"DEVICE_URI": "k905:lp0"}, stdin=subprocess.DEVNULL,
                              capture_output=True, text=True, timeout=60)
        self.assertEqual(done.returncode, STOP_QUEUE)
        self.assertIn("k905://usb/SERIAL", done.stderr)


class Waiting(Backend):
    def test_a_printer_out_of_paper_gets_the_rest_after_new_media(self):
        self.sim.set(remaining=2)
        run = self.start(numbered_sheets.job(5))
        self.wait_until(lambda: "STATE: +media-empty-error" in run.log_lines(), "the reason")
        self.assert_printed([1, 2])
        self.sim.set(remaining=400)
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 2, 3, 4, 5])
        lines = run.log_lines()
        self.assertLess(lines.index("STATE: +media-empty-error"),
                        lines.index("STATE: -media-empty-error"))

    def test_nothing_is_sent_while_no_buffer_is_free(self):
        self.sim.set(free_buffers=0)
        run = self.start(numbered_sheets.job(1))
        self.sim.wait_for_questions("FREE_PBUFFER", 4)
        self.assert_printed([])
        self.sim.set(free_buffers=1)
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1])

    def test_every_condition_is_shown_and_cleared(self):
        for code, keyword in [(1000, "cover-open-error"), (1200, "marker-supply-empty-error"),
                              (1300, "media-jam-error"), (1500, "media-needed-error"),
                              (2300, "other-error"), (4711, "other-error")]:
            with self.subTest(code=code):
                self.sim.set(status=code)
                run = self.start(numbered_sheets.sheet(1), uuid=f"urn:uuid:{code}")
                self.wait_until(lambda: f"STATE: +{keyword}" in run.log_lines(), keyword)
                before = len(self.sim.numbers())
                self.sim.set(status=0)
                self.assertEqual(run.wait(), DONE, run.log_lines())
                self.assertEqual(len(self.sim.numbers()), before + 1)
                self.assertIn(f"STATE: -{keyword}", run.log_lines())

    def test_a_job_waits_for_a_printer_that_is_not_there(self):
        self.sim.command("unplug")
        run = self.start(numbered_sheets.job(2))
        self.wait_until(lambda: "STATE: +offline-report" in run.log_lines(), "the reason")
        self.sim.command("plug")
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 2])

    def test_a_sheet_waits_for_the_media_it_needs(self):
        self.sim.set(media="6x4")
        run = self.start(numbered_sheets.sheet(1, 1920, 1240) + numbered_sheets.sheet(2, 1920, 2436))
        self.wait_until(lambda: "STATE: +media-needed-error" in run.log_lines(), "the reason")
        self.assertIn("WARNING: The sheet needs 6x8 media, 6x4 is loaded", run.log_lines())
        self.assert_printed([1])
        self.sim.set(media="6x8")
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 2])
        self.assertEqual(run.log_lines().count("STATE: +media-needed-error"), 1)

    def test_the_check_of_the_media_can_be_turned_off(self):
        self.sim.set(media="6x4")
        run = self.start(numbered_sheets.sheet(1, 1920, 2436), options="&check-media=no")
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1])

    def test_nothing_is_sent_while_a_sheet_of_another_computer_is_printed(self):
        self.sim.set(status=1)
        run = self.start(numbered_sheets.sheet(1))
        self.sim.wait_for_questions("STATUS", 5)
        self.assert_printed([])
        self.sim.set(status=0)
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1])

    def test_sigterm_ends_a_job_that_waits(self):
        self.sim.set(status=1000)
        run = self.start(numbered_sheets.job(2))
        self.stop_while_it_waits(run, "cover-open-error")
        self.assertIn("STATE: -cover-open-error", run.log_lines())
        self.assert_printed([])


class Interruptions(Backend):
    def stop_in_a_sheet_and_continue_after_it(self, stop):
        """For several bytes: calls stop(run, done) while the printer has stopped reading at that byte of the second
        sheet, after `done` sheets of earlier jobs; the next run prints the rest."""
        for byte in (1, 40, SHEET_BYTES // 2, SHEET_BYTES - 40):
            with self.subTest(byte=byte):
                done = len(self.sim.numbers())
                uuid = f"urn:uuid:{byte}"
                self.sim.hold(byte, done + 2)
                run = self.start(numbered_sheets.job(3), uuid=uuid)
                self.sim.wait_until_holding(byte, done + 2)
                stop(run, done)
                run = self.start(numbered_sheets.job(3), uuid=uuid)
                self.sim.command("continue")
                self.assertEqual(run.wait(), DONE, run.log_lines())
                self.assertEqual(self.sim.numbers()[done:], [1, 2, 3])
        self.assert_printed([1, 2, 3] * 4)

    def test_sigterm_in_a_sheet_finishes_it_and_the_job_continues_after_it(self):
        def stop(run, done):
            run.process.send_signal(signal.SIGTERM)
            run.wait_until_the_signal_is_forwarded()
            self.sim.command("continue")
            self.assertEqual(run.wait(), TRY_AGAIN)
            self.assertEqual(self.sim.numbers()[done:], [1, 2])
        self.stop_in_a_sheet_and_continue_after_it(stop)

    def test_killing_the_started_process_in_a_sheet_leaves_it_complete(self):
        def stop(run, _):
            run.process.kill()
            run.wait()
            # The next run starts at once, as after a restart of the scheduler.
        self.stop_in_a_sheet_and_continue_after_it(stop)

    def test_a_sheet_cut_when_the_backend_is_killed_is_sent_again(self):
        self.interrupt_in_sheet_2(numbered_sheets.job(3))
        run = self.start(numbered_sheets.job(3))
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 2, 3], incomplete=1)

    def test_a_sheet_printed_before_the_backend_is_killed_is_not_sent_again(self):
        self.interrupt_after_sheet_2()
        self.sim.command("plug")
        run = self.start(numbered_sheets.job(3))
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 2, 3])

    def test_a_stopped_job_waits_for_the_life_counter_of_a_printer_that_answers_other_questions(self):
        connection = UnreliableConnection(self.sim.port)
        self.addCleanup(connection.listener.close)
        run = self.start(numbered_sheets.job(2), uri=connection.uri)
        self.wait_until(lambda: "STATE: +offline-report" in run.log_lines(), "the reason")
        run.process.send_signal(signal.SIGTERM)
        run.wait_until_the_signal_is_forwarded()
        time.sleep(2)
        self.assertIsNone(run.process.poll())
        connection.drops_life_counter = False
        self.assertEqual(run.wait(), TRY_AGAIN, run.log_lines())
        self.assertIn("PAGE: 1 1", run.log_lines())
        self.assertEqual(self.start(numbered_sheets.job(2)).wait(), DONE)
        self.assert_printed([1, 2])

    def another_printer(self):
        (self.scratch / "other").mkdir()
        other = SimulatedPrinter(BUILD / "k905-sim", self.scratch / "other" / "sheets",
                                 "--serial", "OTHER")
        self.addCleanup(other.stop)
        return other

    def start_on(self, printer, data):
        with self.stream(data) as stream:
            run = Run(printer.device_uri + "/?settle=1", stream, self.cache)
        self.runs.append(run)
        return run

    def interrupt_in_sheet_2(self, data):
        """The process that prints is killed; the sheet is incomplete."""
        self.sim.hold(SHEET_BYTES // 2, 2)
        run = self.start(data)
        self.sim.wait_until_holding(SHEET_BYTES // 2, 2)
        os.kill(run.worker(), signal.SIGKILL)
        self.sim.command("continue")
        self.assertEqual(run.wait(), TRY_AGAIN)

    def interrupt_after_sheet_2(self):
        """The process that prints is killed when the printer has the complete sheet and is unplugged."""
        self.sim.command("unplug after 2")
        run = self.start(numbered_sheets.job(3))
        self.wait_until(lambda: "STATE: +offline-report" in run.log_lines(), "the lost connection")
        os.kill(run.worker(), signal.SIGKILL)
        self.assertEqual(run.wait(), TRY_AGAIN)

    def assert_held_as_undecided(self, run):
        """The job is held, with a message that names the sheet and the printer."""
        self.assertEqual(run.wait(), HOLD, run.log_lines())
        self.assertTrue(any(line.startswith("ERROR: It is not known whether sheet 2 came out of printer "
                                            "SIM00000001. Look at that printer") for line in run.log_lines()),
                        run.log_lines())

    def test_a_job_with_a_sheet_in_doubt_is_held_and_then_prints_it_on_another_printer(self):
        other = self.another_printer()
        self.interrupt_in_sheet_2(numbered_sheets.job(3))
        self.assert_held_as_undecided(self.start_on(other, numbered_sheets.job(3)))
        self.assertEqual(other.numbers(), [])
        run = self.start_on(other, numbered_sheets.job(3))  # when it was released
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assertEqual(other.numbers(), [2, 3])
        self.assert_printed([1], incomplete=1)

    def test_a_held_job_is_decided_by_the_counter_of_the_printer_that_has_the_sheet(self):
        other = self.another_printer()
        self.interrupt_after_sheet_2()
        self.assert_held_as_undecided(self.start_on(other, numbered_sheets.job(3)))
        self.sim.command("plug")
        run = self.start(numbered_sheets.job(3))
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 2, 3])
        self.assertEqual(other.numbers(), [])

    def test_a_printer_replaced_while_a_sheet_is_undecided_holds_the_job(self):
        self.interrupt_in_sheet_2(numbered_sheets.job(3))
        self.sim.set(status=1)
        questions = self.sim.count("^question STATUS:")
        run = self.start(numbered_sheets.job(3))
        self.sim.wait_for_questions("STATUS", questions + 4)
        self.sim.set(serial="OTHER", status=0)
        self.sim.command("disconnect")
        self.assert_held_as_undecided(run)
        self.assert_printed([1], incomplete=1)

    def test_a_job_continues_on_another_printer_while_a_job_on_the_first_waits(self):
        other = self.another_printer()
        other.set(remaining=2)
        self.interrupt_in_sheet_2(numbered_sheets.job(6))
        self.sim.set(status=1)
        questions = self.sim.count("^question STATUS:")
        waiting = self.start(numbered_sheets.sheet(99), job=8, uuid="urn:uuid:8")
        self.sim.wait_for_questions("STATUS", questions + 4)
        run = self.start_on(other, numbered_sheets.job(6))
        self.wait_until(lambda: any(f"STATE: +{keyword}" in run.log_lines() for keyword in (
            "connecting-to-device", "media-empty-error")), "the lock or the end of the paper")
        self.sim.set(status=0)
        self.assertEqual(waiting.wait(), DONE, waiting.log_lines())
        self.wait_until(lambda: "STATE: +media-empty-error" in run.log_lines(), "the end of the paper")
        os.kill(run.worker(), signal.SIGKILL)
        self.assertEqual(run.wait(), TRY_AGAIN)
        other.set(remaining=400)
        run = self.start_on(other, numbered_sheets.job(6))
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assertEqual(other.numbers(), [2, 3, 4, 5, 6])
        self.assert_printed([1, 99], incomplete=1)

    def test_another_printer_gets_the_rest_of_a_job_and_not_the_current_sheet(self):
        other = self.another_printer()
        self.sim.hold(SHEET_BYTES // 4, 2)
        run = self.start(numbered_sheets.job(3))
        self.sim.wait_until_holding(SHEET_BYTES // 4, 2)
        run.process.kill()
        run = self.start_on(other, numbered_sheets.job(3))
        self.sim.command("continue")
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assertEqual(other.numbers(), [3])
        self.assert_printed([1, 2])

    def test_a_process_that_is_killed_between_two_sheets_has_recorded_those_before(self):
        self.sim.set(remaining=2)
        run = self.start(numbered_sheets.job(4))
        self.wait_until(lambda: "STATE: +media-empty-error" in run.log_lines(), "the reason")
        os.kill(run.worker(), signal.SIGKILL)
        self.assertEqual(run.wait(), TRY_AGAIN)
        # A printer whose life counter does not show whether the sheet was printed.
        self.sim.set(remaining=400, serial="OTHER")
        run = self.start(numbered_sheets.job(4))
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 2, 3, 4])

    def test_another_job_after_the_interruption_does_not_decide_for_the_first(self):
        self.interrupt_in_sheet_2(numbered_sheets.job(3))
        other = self.start(numbered_sheets.sheet(99), job=8, uuid="urn:uuid:8")
        self.assertEqual(other.wait(), DONE, other.log_lines())
        run = self.start(numbered_sheets.job(3))
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 99, 2, 3], incomplete=1)

    def test_no_other_job_prints_while_the_record_of_an_undecided_sheet_cannot_be_read(self):
        self.interrupt_in_sheet_2(numbered_sheets.job(3))
        with self.unreadable_record():
            other = self.start(numbered_sheets.sheet(99), job=8, uuid="urn:uuid:8")
            self.assertEqual(other.wait(), STOP_QUEUE, other.log_lines())
            self.assertIn("ERROR: The record of printed sheets cannot be read, so nothing is sent: job-7: Is a directory",
                          other.log_lines())
        self.assertEqual(self.start(numbered_sheets.job(3)).wait(), DONE)
        self.assert_printed([1, 2, 3], incomplete=1)

    def test_a_new_job_with_an_old_number_starts_at_its_first_sheet(self):
        self.sim.hold(40, 2)
        run = self.start(numbered_sheets.job(3))
        self.sim.wait_until_holding(40, 2)
        run.process.send_signal(signal.SIGTERM)
        run.wait_until_the_signal_is_forwarded()
        self.sim.command("continue")
        self.assertEqual(run.wait(), TRY_AGAIN)
        run = self.start(numbered_sheets.job(2), uuid="urn:uuid:2")
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 2, 1, 2])


class Records(Backend):

    def assert_stopped(self, run, action="saved"):
        self.assertEqual(run.wait(), STOP_QUEUE, run.log_lines())
        self.assertTrue(any(line.startswith(f"ERROR: The record of printed sheets cannot be {action}, so nothing is sent: ")
                            for line in run.log_lines()), run.log_lines())

    def test_a_record_that_cannot_be_read_stops_the_queue_and_the_job_continues_later(self):
        self.sim.set(remaining=2)
        run = self.start(numbered_sheets.job(4))
        self.stop_while_it_waits(run, "media-empty-error")
        self.sim.set(remaining=400)
        with self.unreadable_record():
            self.assert_stopped(self.start(numbered_sheets.job(4)), "read")
            self.assert_printed([1, 2])
        self.assertEqual(self.start(numbered_sheets.job(4)).wait(), DONE)
        self.assert_printed([1, 2, 3, 4])

    def test_a_full_disk_stops_the_queue_and_the_job_continues_when_there_is_space(self):
        self.assert_stopped(self.start(numbered_sheets.job(4), max_file_bytes=MESSAGE_BYTES))
        self.assert_printed([])
        self.sim.set(remaining=2)
        run = self.start(numbered_sheets.job(4))
        self.stop_while_it_waits(run, "media-empty-error")
        self.sim.set(remaining=400)
        self.assert_stopped(self.start(numbered_sheets.job(4), max_file_bytes=MESSAGE_BYTES))
        self.assert_printed([1, 2])
        self.assertEqual(self.start(numbered_sheets.job(4)).wait(), DONE)
        self.assert_printed([1, 2, 3, 4])


class LostConnections(Backend):
    def test_a_connection_lost_inside_a_sheet_sends_that_sheet_again(self):
        for byte in (1, 33, 1200, SHEET_BYTES // 2, SHEET_BYTES - 1):
            with self.subTest(byte=byte):
                before = len(self.sim.numbers())
                self.sim.command(f"disconnect at {byte} of {before + 2}")
                run = self.start(numbered_sheets.job(3), uuid=f"urn:uuid:{byte}")
                self.assertEqual(run.wait(), DONE, run.log_lines())
                self.assertEqual(self.sim.numbers()[before:], [1, 2, 3])
        self.assert_printed([1, 2, 3] * 5, incomplete=5)

    def test_a_connection_lost_after_a_sheet_does_not_send_it_again(self):
        self.sim.command("disconnect after 2")
        run = self.start(numbered_sheets.job(3))
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assert_printed([1, 2, 3])


@unittest.skipUnless(os.geteuid() == 0, "only root has rights to give up")
class Rights(Backend):
    def test_both_processes_drop_root_privileges(self):
        self.sim.set(status=1000)
        run = self.start(numbered_sheets.sheet(1))
        self.wait_until(lambda: "STATE: +cover-open-error" in run.log_lines(), "the reason")
        for process in (run.process.pid, run.worker()):
            status = pathlib.Path(f"/proc/{process}/status").read_text()
            for name in ("Uid", "Gid"):
                ids = re.search(rf"^{name}:\t(.*)$", status, re.MULTILINE)[1].split()
                self.assertEqual(ids, ["7"] * 4, name)
            self.assertEqual(re.search(r"^Groups:\t(.*)$", status, re.MULTILINE)[1].split(), ["7"])
            self.assertEqual(re.search(r"^CapEff:\t(.*)$", status, re.MULTILINE)[1], "0" * 16)

    def test_a_link_in_the_place_of_the_records_is_not_followed(self):
        victim = self.scratch / "victim"
        victim.mkdir()
        (self.cache / "k905").symlink_to(victim)
        run = self.start(numbered_sheets.sheet(1))
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assertEqual(list(victim.iterdir()), [])
        self.assertEqual(victim.stat().st_uid, 0)

    def test_a_file_of_root_that_is_linked_in_the_place_of_a_lock_stays_with_root(self):
        victim = self.scratch / "victim"
        victim.write_text("untouched")
        (self.cache / "k905").mkdir()
        (self.cache / "k905" / f"lock-127.0.0.1:{self.sim.port}").hardlink_to(victim)
        run = self.start(numbered_sheets.sheet(1))
        self.assertEqual(run.wait(), DONE, run.log_lines())
        self.assertEqual((victim.stat().st_uid, victim.read_text()), (0, "untouched"))

    def test_a_system_without_the_account_is_reported(self):
        accounts = self.scratch / "passwd"
        accounts.write_text("root:x:0:0:root:/root:/bin/sh\n")
        in_namespace = ["unshare", "--mount", "sh", "-c", 'mount --bind "$0" /etc/passwd && exec "$@"', accounts]
        if subprocess.run([*in_namespace, "true"], capture_output=True).returncode != 0:
            self.skipTest("this process may not mount")
        with self.stream(numbered_sheets.sheet(1)) as stream:
            run = subprocess.run([*in_namespace, BUILD / "k905", "7", "me", "photos", "1", ""], stdin=stream,
                                 env={"DEVICE_URI": self.uri, "CUPS_CACHEDIR": str(self.cache),
                                      "PATH": os.environ["PATH"]},
                                 capture_output=True, text=True, timeout=60)
        self.assertEqual(run.returncode, DONE, run.stderr)
        self.assertIn("WARNING: There is no user lp: the backend keeps root rights\n", run.stderr)


if __name__ == "__main__":
    BUILD = pathlib.Path(sys.argv[1]).resolve()
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
