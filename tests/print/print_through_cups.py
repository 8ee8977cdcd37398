"""k905-print and k905-status with a real print system: `print_through_cups.py BUILD CMAKE`.

A private scheduler, as for the end-to-end tests, with the programs installed as a user has them. Exit
status 77: the tests cannot run on this machine.
"""

import contextlib
import json
import os
import pathlib
import re
import signal
import sqlite3
import struct
import subprocess
import sys
import threading
import time
import tty

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "cups"))

import artwork  # noqa: E402
import end_to_end  # noqa: E402
import ipp  # noqa: E402
import private_cups  # noqa: E402
from artwork import CYAN, MAGENTA  # noqa: E402
from simulated_printer import SimulatedPrinter  # noqa: E402


class WithCups(end_to_end.ThroughCups):
    def program(self, name):
        return self.cups.prefix / "bin" / name

    def k905_print(self, *arguments, status=0):
        result = self.cups.run(self.program("k905-print"), *arguments, check=False)
        self.assertEqual(result.returncode, status, result.stdout + result.stderr)
        return result

    @staticmethod
    def jobs_in(text):
        """The numbers of the jobs, each once, in order."""
        return list(dict.fromkeys(map(int, re.findall(r" -> job (\d+) on ", text))))

    def printed(self, *arguments, status=0):
        """The stream files of the jobs that a run of k905-print reported; each job must be completed."""
        result = self.k905_print("--queue", self.queue, *arguments, status=status)
        streams = []
        for job in self.jobs_in(result.stdout):
            self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
            streams.append(self.cups.stream_of(job))
        return streams

    def picture(self, name="photo.png", center=artwork.GRAY):
        return artwork.png(self.art / name, 900, 600, center)


class Print(WithCups):
    """Photos through a queue."""

    def test_the_sheet_is_the_same_as_without_a_queue(self):
        self.add_queue()
        photo = self.jpeg()
        (stream,) = self.printed(photo)
        without = self.art / "without.prn"
        self.k905_print("--to", without, photo)
        self.assertEqual(stream.read_bytes(), without.read_bytes())

    def test_defaults_of_the_queue_apply(self):
        self.add_queue(PageSize="w432h576", StpLaminate="Matte", StpBrightness="-500")
        (stream,) = self.printed(self.picture())
        (sheet,) = self.stream(stream, ["0.5,0.5"])
        self.assertEqual((sheet["height"], sheet["matte"]), (2436, True))
        self.assert_color(sheet["colors"][0], (64, 64, 64), 1, "center")

    def test_choices_override_the_defaults_of_the_queue(self):
        self.add_queue(PageSize="w432h576", StpLaminate="Matte", StpBrightness="-500",
                       Resolution="300x600dpi")
        (stream,) = self.printed("--paper", "6x4", "--finish", "glossy", "--brightness", "0",
                                 "-o", "Resolution=300dpi", self.picture())
        (sheet,) = self.stream(stream, ["0.5,0.5"])
        self.assertEqual((sheet["height"], sheet["matte"]), (1240, False))
        self.assert_color(sheet["colors"][0], (128, 128, 128), 1, "center")

    def test_a_finish_overrides_the_media_type_of_the_queue(self):
        def is_matte(*arguments):
            (stream,) = self.printed(*arguments, photo)
            return self.stream(stream)[0]["matte"]

        photo = self.picture()
        self.add_queue(MediaType="Matte", StpLaminate="Glossy")
        self.assertTrue(is_matte())
        for glossy in ("--finish=Glossy", "-oMediaType=Glossy", "-oMediaType=Auto"):
            self.assertFalse(is_matte(glossy), glossy)
        self.cups.run("lpoptions", "-p", self.queue, "-o", "MediaType=Glossy")
        self.assertFalse(is_matte())
        file = self.art / "media_type.prn"
        self.k905_print("--to", file, "-o", "MediaType=Matte", photo)
        self.assertTrue(self.stream(file)[0]["matte"])

    def test_bleeds_of_the_queue_leave_every_pixel_in_its_place(self):
        self.add_queue(BleedTop="2.0", BleedLeft="-1.0")
        photo = self.jpeg()
        (stream,) = self.printed(photo)
        without = self.art / "bleed.prn"
        self.k905_print("--to", without, "-o", "BleedTop=2.0", "-o", "BleedLeft=-1.0", photo)
        self.assertEqual(stream.read_bytes(), without.read_bytes())

    def test_a_gray_queue_prints_gray(self):
        self.add_queue(ColorModel="Gray")
        (stream,) = self.printed(self.picture())
        (sheet,) = self.stream(stream, ["0.3,0.3"])
        self.assertEqual(len(set(sheet["colors"][0])), 1)

    def test_options_that_the_user_set_for_the_queue_apply(self):
        self.add_queue()
        self.cups.run("lpoptions", "-p", f"{self.queue}/matte", "-o", "StpLaminate=Matte")
        result = self.k905_print("--queue", f"{self.queue}/matte", self.picture())
        (job,) = self.jobs_in(result.stdout)
        self.cups.finished(job)
        (sheet,) = self.stream(self.cups.stream_of(job))
        self.assertTrue(sheet["matte"])

    def test_every_photo_is_a_job_and_a_broken_one_affects_no_other(self):
        self.add_queue()
        broken = self.art / "broken.jpg"
        broken.write_bytes(b"\xff\xd8\xff broken")
        streams = self.printed(self.picture("a.png", CYAN), broken, self.picture("b.png", MAGENTA),
                               status=1)
        self.assertEqual(len(streams), 2)
        for stream, center in zip(streams, (CYAN, MAGENTA)):
            (sheet,) = self.stream(stream, ["0.5,0.5"])
            self.assert_color(sheet["colors"][0], center, 1, "center")

    def test_copies_and_two_on_a_sheet(self):
        self.add_queue()
        (stream,) = self.printed("-n", "3", self.picture())
        self.assertEqual(len(self.stream(stream)), 3)
        (stream,) = self.printed("--two-up", self.picture(), self.picture(), self.picture())
        self.assertEqual([sheet["height"] for sheet in self.stream(stream)], [2498, 1240])

    def test_the_copies_of_the_queue_do_not_multiply_the_sheets(self):
        self.add_queue(copies_default="2")
        (stream,) = self.printed(self.picture())
        self.assertEqual(len(self.stream(stream)), 1)
        (stream,) = self.printed("-n", "3", self.picture())
        self.assertEqual(len(self.stream(stream)), 3)

    def outcomes(self, *arguments, status=0):
        result = self.k905_print("--queue", self.queue, "--json", "--wait", *arguments, status=status)
        return [json.loads(line) for line in result.stdout.splitlines()], result.stderr

    def test_waits_until_every_job_is_completed(self):
        self.add_queue()
        photos, _ = self.outcomes(self.picture("a.png"), self.picture("b.png"))
        self.assertEqual([photo["outcome"] for photo in photos], ["printed", "printed"])
        for photo in photos:
            self.assertEqual(photo["queue"], self.queue)
            self.assertEqual(self.cups.job_state(photo["job"])["job-state"], ipp.COMPLETED)

    def test_a_job_that_is_not_printed_in_time_is_reported_as_sent(self):
        self.add_queue()
        self.cups.run("cupsdisable", self.queue)
        (photo,), messages = self.outcomes("--timeout", "1", self.picture(), status=1)
        self.assertEqual(photo["outcome"], "sent")
        self.assertIn("the queue is stopped", photo["reason"])
        self.assertIn("the queue is stopped", messages)
        self.cups.run("cancel", "-a", self.queue)

    def test_a_job_that_is_canceled_is_reported_as_failed(self):
        self.add_queue()
        self.cups.run("cupsdisable", self.queue)
        photo = self.picture()

        def cancel():
            self.cups.wait_for(lambda: self.cups.run("lpstat", "-o").stdout, "the job")
            self.cups.run("cancel", "-a", self.queue)

        canceler = threading.Thread(target=cancel)
        canceler.start()
        (outcome,), _ = self.outcomes(photo, status=1)
        canceler.join()
        self.assertEqual((outcome["outcome"], outcome["reason"]), ("failed", "the job was canceled"))

    def test_a_preview_shows_what_the_queue_would_print(self):
        self.add_queue(PageSize="w432h576")
        sheet = self.art / "sheet.png"
        result = self.k905_print("--queue", self.queue, "--preview", sheet, self.picture())
        self.assertEqual(result.stdout, f"{sheet}\n")
        self.assertEqual(int.from_bytes(sheet.read_bytes()[20:24], "big"), 2401)

    def test_the_default_queue_is_used_when_none_is_named(self):
        self.add_queue()
        self.assertIn("there is no default queue",
                      self.k905_print(self.picture(), status=1).stderr)
        self.cups.run("lpadmin", "-d", self.queue)
        (job,) = self.jobs_in(self.k905_print(self.picture()).stdout)
        self.cups.finished(job)
        self.assertEqual(len(self.stream(self.cups.stream_of(job))), 1)

    def test_a_class_of_queues_prints(self):
        self.add_queue()
        self.cups.run("lpadmin", "-p", self.queue, "-c", "booths")
        self.cups.run("cupsaccept", "booths")
        self.cups.run("cupsenable", "booths")
        (job,) = self.jobs_in(self.k905_print("--queue", "booths", self.picture()).stdout)
        self.cups.finished(job)
        self.assertEqual(len(self.stream(self.cups.stream_of(job))), 1)

    def test_files_that_cannot_be_printed_are_reported(self):
        self.add_queue()
        photo = self.picture()
        self.assertIn("there is no queue nowhere",
                      self.k905_print("--queue", "nowhere", photo, status=1).stderr)
        self.cups.run("lpadmin", "-p", "raw", "-v", f"capture:{self.cups.captured}", "-E")
        self.assertIn("raw is not a queue for this printer",
                      self.k905_print("--queue", "raw", photo, status=1).stderr)
        self.cups.run("cupsreject", self.queue)
        self.assertIn("not accepting jobs",
                      self.k905_print("--queue", self.queue, photo, status=1).stderr)
        self.assertIn("does not offer ICCProfile=elsewhere.icc",
                      self.k905_print("--queue", self.queue, "-o", "ICCProfile=elsewhere.icc", photo,
                                      status=1).stderr)

    def test_a_file_name_that_is_not_utf8_prints(self):
        self.add_queue()
        path = os.fsencode(self.art) + b"/\xff\xfe\n.png"
        with open(path, "wb") as photo:
            photo.write(self.picture().read_bytes())
        streams = self.printed(os.fsdecode(path))
        self.assertEqual(len(self.stream(streams[0])), 1)


class Network(WithCups):
    """Photos through a queue to a printer on a socket, which is the simulated one."""

    def test_the_sheets_are_those_of_the_preview(self):
        printer = SimulatedPrinter(self.program("k905-sim"), self.art / "sheets")
        self.addCleanup(printer.stop)
        self.add_queue(device=printer.uri)
        photo, other = self.jpeg(), self.picture("other.png", CYAN)
        broken = self.art / "broken.png"
        broken.write_bytes(b"\x89PNG broken")
        result = self.k905_print("--queue", self.queue, "-n", "2", photo, broken, other, status=1)
        self.assertIn(f"k905-print: {broken}: ", result.stderr)
        jobs = self.jobs_in(result.stdout)
        self.assertEqual(len(jobs), 2)
        for job in jobs:
            self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        sheets = printer.printed(self.cups, 4)
        self.assertEqual(len(sheets), 4)
        for file, first in ((photo, 0), (other, 2)):
            preview = self.art / "preview.png"
            self.k905_print("--preview", preview, file)
            for sheet in sheets[first:first + 2]:
                self.assertEqual(self.pixels(sheet), self.pixels(preview), file)
        self.assertNotEqual(self.pixels(sheets[0]), self.pixels(sheets[2]))

    def pixels(self, picture):
        """The photo as raster, so that other content of the file does not matter."""
        return subprocess.run([self.program("k905-raster"), "--size", "picture", picture], check=True,
                              capture_output=True).stdout


class Watched(WithCups):
    """A folder through a queue: a photo counts as printed when its job was accepted."""

    def setUp(self):
        super().setUp()
        self.add_queue()
        self.folder = self.art / self.queue
        self.folder.mkdir()
        self.ledger = self.art / f"{self.queue}.ledger"

    def put(self, name, center=artwork.GRAY):
        artwork.png(self.folder / name, 90, 60, center)

    def watch(self):
        return Watch(self, [self.program("k905-print"), "--queue", self.queue, "--watch", self.folder,
                            "--leave", "--ledger", self.ledger])

    def test_a_photo_is_printed_once_over_a_restart(self):
        self.put("a.png")
        with self.watch() as watch:
            watch.expect("a.png -> job ")
        self.put("b.png")
        with self.watch() as watch:
            watch.expect("b.png -> job ")
        self.assertNotIn("a.png", watch.output)

    def test_a_sheet_is_printed_again_with_its_settings(self):
        self.cups.run("lpadmin", "-p", self.queue, "-o", "StpLaminate=Matte")
        self.put("a.png")
        with self.watch() as watch:
            watch.expect("a.png -> job ")
        self.cups.run("lpadmin", "-p", self.queue, "-o", "StpLaminate=Glossy")
        (job,) = self.jobs_in(self.k905_print("--reprint", "1", "--ledger", self.ledger).stdout)
        self.cups.finished(job)
        (sheet,) = self.stream(self.cups.stream_of(job))
        self.assertTrue(sheet["matte"])

    def test_the_copies_of_the_queue_do_not_multiply_the_sheets(self):
        self.cups.run("lpadmin", "-p", self.queue, "-o", "copies-default=2")
        self.assertEqual(len(self.stream(self.cups.stream_of(self.printed_once()))), 1)

    def test_a_refused_photo_is_printed_when_the_queue_accepts_it(self):
        self.cups.run("cupsreject", self.queue)
        self.put("a.png")
        with self.watch() as watch:
            watch.expect("not accepting jobs")
            self.cups.run("cupsaccept", self.queue)
            watch.expect("a.png -> job ")

    def set_unfinished(self, outcome, job, ticket=None):
        """Puts the ledger into the state in which the program ended between two steps."""
        with contextlib.closing(sqlite3.connect(self.ledger)) as ledger, ledger:
            ledger.execute("UPDATE sheet SET outcome = ?, job = ?, ticket = coalesce(?, ticket)",
                           (outcome, job, ticket))

    def outcomes(self):
        with contextlib.closing(sqlite3.connect(self.ledger)) as ledger:
            return [outcome for (outcome,) in ledger.execute("SELECT outcome FROM sheet ORDER BY id")]

    def printed_once(self):
        self.put("a.png")
        with self.watch() as watch:
            watch.expect("a.png -> job ")
        (job,) = self.jobs_in(watch.output)
        self.cups.finished(job)
        return job

    def expect_no_second_print(self):
        self.put("b.png")
        with self.watch() as watch:
            watch.expect("b.png -> job ")
        self.assertNotIn("a.png", watch.output)
        self.assertEqual(self.outcomes(), ["printed", "printed"])

    def expect_a_second_print(self):
        with self.watch() as watch:
            watch.expect("a.png -> job ")
        self.assertEqual(self.outcomes(), ["printed"])

    def test_a_job_that_was_released_is_found_again(self):
        self.set_unfinished("complete", self.printed_once())
        self.expect_no_second_print()

    def test_a_complete_job_that_is_missing_counts_as_printed(self):
        self.printed_once()
        self.set_unfinished("complete", 99999)
        self.expect_no_second_print()

    def test_an_incomplete_job_that_is_missing_is_printed(self):
        self.printed_once()
        self.set_unfinished("sending", 99999)
        self.expect_a_second_print()

    def test_a_job_of_another_user_with_that_number_is_not_changed(self):
        self.printed_once()
        self.cups.run("cupsdisable", self.queue)
        other = self.cups.submit(self.queue, self.picture(), title="other")
        self.set_unfinished("sending", other)
        self.expect_a_second_print()
        self.assertNotIn(self.cups.job_state(other)["job-state"], ipp.ENDED)
        self.cups.run("cancel", "-a", self.queue)

    def test_a_complete_job_that_is_held_is_released(self):
        self.printed_once()
        job = self.cups.submit(self.queue, self.picture(), options=(
            "job-hold-until=indefinite", "job-message-to-operator=mark"))
        self.set_unfinished("complete", job, "mark")
        self.expect_no_second_print()
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)

    def test_a_queue_that_holds_its_jobs_holds_these_jobs(self):
        self.cups.run("lpadmin", "-p", self.queue, "-o", "job-hold-until-default=indefinite")
        self.put("a.png")
        with self.watch() as watch:
            watch.expect("a.png -> job ")
        (job,) = self.jobs_in(watch.output)
        self.assertEqual(self.cups.job_state(job)["job-state"], ipp.HELD)
        self.expect_no_second_print()
        self.cups.run("lp", "-i", job, "-H", "resume")
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        self.cups.run("cancel", "-a", self.queue)

    def create_job(self, ticket):
        """A job that was created as by k905-print, without pages."""
        attributes = b"".join(ipp.attribute(tag, name, value) for tag, name, value in (
            (0x47, "attributes-charset", "utf-8"), (0x48, "attributes-natural-language", "en"),
            (0x45, "printer-uri", f"ipp://localhost/printers/{self.queue}"),
            (0x42, "requesting-user-name", "root"), (0x42, "job-name", "a.png")))
        attributes += b"\x02" + b"".join(ipp.attribute(tag, name, value) for tag, name, value in (
            (0x44, "job-hold-until", "indefinite"), (0x41, "job-message-to-operator", ticket)))
        create_job = 0x0005
        request = struct.pack(">BBHI", 1, 1, create_job, 1) + b"\x01" + attributes
        connection = ipp.SocketConnection(self.cups.socket)
        try:
            connection.request("POST", f"/printers/{self.queue}", request + bytes([ipp.END_TAG]),
                               {"Content-Type": "application/ipp"})
            return ipp.first_values(ipp.values(connection.getresponse().read()))["job-id"]
        finally:
            connection.close()

    def test_a_job_without_pages_is_canceled_and_printed(self):
        self.printed_once()
        job = self.create_job("mark")
        self.set_unfinished("sending", job, "mark")
        self.expect_a_second_print()
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.CANCELED)

    def test_a_job_whose_number_was_not_recorded_is_canceled_and_printed(self):
        self.printed_once()
        job = self.create_job("mark")
        self.set_unfinished("begun", 0, "mark")
        self.expect_a_second_print()
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.CANCELED)


class Watch:
    """k905-print --watch, until the end of a `with`."""

    def __init__(self, test, command):
        self.test = test
        self.command = [str(word) for word in command]
        self.output = ""

    def __enter__(self):
        self.process = subprocess.Popen(self.command, env=self.test.cups.environment(), text=True,
                                        stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.reader = threading.Thread(target=self.read)
        self.reader.start()
        return self

    def read(self):
        for line in self.process.stdout:
            self.output += line

    def expect(self, words):
        self.test.cups.wait_for(lambda: words in self.output, f"{words!r} in {self.output!r}")

    def __exit__(self, *_):
        self.process.send_signal(signal.SIGTERM)
        self.test.assertEqual(self.process.wait(60), 0, self.output)
        self.reader.join()
        self.process.stdout.close()


class Status(WithCups):
    """A device that the print system is printing on."""

    def test_a_device_in_use_is_reported_and_not_queried(self):
        printer, device = os.openpty()
        try:
            tty.setraw(device)
            path = os.ttyname(device)
            self.add_queue(device=f"file://{path}")
            job = self.cups.submit(self.queue, self.picture())
            # No program reads the terminal: the job waits because it is full.
            self.cups.wait_for(lambda: self.cups.job_state(job)["job-state"] == ipp.PROCESSING,
                               "the job to begin")
            result = self.cups.run(self.program("k905-status"), path, check=False)
            self.assertEqual(result.returncode, 3)
            self.assertEqual(result.stdout, f"{path}: in use, the print system is printing on it "
                                          f"(queue {self.queue})\n")
            state = json.loads(self.cups.run(self.program("k905-status"), "--json", path,
                                            check=False).stdout)
            self.assertEqual((state["state"], state["status_code"]), ("held", None))
            self.assertEqual(state["message"],
                             f"the print system is printing on it (queue {self.queue})")
            waited = self.cups.run(self.program("k905-status"), "--wait-ready", "--watch", "0.2",
                                   "--timeout", "0.5", path, check=False)
            self.assertEqual((waited.returncode, waited.stderr),
                             (3, f"k905-status: waiting: {state['message']}\n"))
            stream = bytearray()
            os.set_blocking(printer, False)

            def read_terminal():
                try:
                    while piece := os.read(printer, 65536):
                        stream.extend(piece)
                except BlockingIOError:
                    pass
                return self.cups.job_state(job)["job-state"] in ipp.ENDED
            self.cups.wait_for(read_terminal, "the job to end")
            time.sleep(0.1)
            read_terminal()
            self.assertNotIn(b"\x1bPSTATUS", bytes(stream))
            capture = self.art / "terminal.prn"
            capture.write_bytes(stream)
            self.assertEqual(len(self.stream(capture)), 1)
        finally:
            os.close(device)
            os.close(printer)


if __name__ == "__main__":
    private_cups.main()
