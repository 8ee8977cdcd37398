"""k905-print --to a printer that is not always ready: `to_printer.py BUILD [TEST...]`.

The printer is the simulated one. Photos of different grays can be
distinguished on their sheets.
"""

import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE.parent / "cups")]

import artwork  # noqa: E402
from simulated_printer import SimulatedPrinter, undisturbed  # noqa: E402

BUILD = pathlib.Path()
SHEET_BYTES = 3 * 1920 * 1240
EMPTY, COVER_OPEN = "Paper End", "Cover is open"


class ToPrinter(unittest.TestCase):
    def setUp(self):
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="k905_to_printer_"))
        self.sim = SimulatedPrinter(BUILD / "k905-sim", self.scratch / "sheets", "--trace")
        self.photos = [self.photo(self.scratch / f"{name}.png", 40 + 50 * number)
                       for number, name in enumerate("abc")]
        self.messages = open(self.scratch / "messages", "w+")
        self.process = None

    def tearDown(self):
        if self.process and self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self.messages.close()
        self.sim.stop()
        shutil.rmtree(self.scratch)

    @staticmethod
    def photo(path, gray):
        return artwork.write_png(path, 60, 40, [b"\0" + bytes([gray] * 180)] * 40)

    def environment(self):
        return {"PATH": os.environ["PATH"], "XDG_STATE_HOME": str(self.scratch / "state_home"),
                "K905_FILTER": str(BUILD / "rastertok905")}

    def start(self, *arguments, uri_options="?settle=1"):
        self.process = subprocess.Popen(
            [BUILD / "k905-print", "--to", self.sim.device_uri + "/" + uri_options, *arguments],
            env=self.environment(), stdin=subprocess.DEVNULL, stdout=self.messages,
            stderr=self.messages)

    def output(self):
        return (self.scratch / "messages").read_text()

    def wait_for_output(self, text, seconds=60):
        until = time.monotonic() + seconds
        while text not in self.output():
            self.assertLess(time.monotonic(), until, f"{text!r} is not in:\n{self.output()}")
            time.sleep(0.02)

    def assert_exit_status(self, status):
        self.assertEqual(self.process.wait(60), status, self.output())

    def number_of(self, photo):
        """The number that identifies the sheet of the photo."""
        file = self.scratch / "single.prn"
        subprocess.run([BUILD / "k905-print", "--to", file, photo], env=self.environment(),
                       check=True, stdout=subprocess.DEVNULL)
        return undisturbed(BUILD / "k905-sim", file.read_bytes(), SimulatedPrinter.numbers)[0]

    def assert_printed(self, photos, incomplete=0):
        """Exactly these photos were printed, in this order."""
        self.assertEqual(self.sim.numbers(), [self.number_of(photo) for photo in photos])
        self.assertEqual(self.sim.incomplete_sheets(), incomplete)
        self.assertEqual(self.sim.count(" inside a sheet"), 0)

    def assert_nothing_was_sent(self):
        self.assertEqual(self.sim.count(" begins$"), 0)


class NotReady(ToPrinter):
    def test_an_empty_printer_gets_the_rest_after_new_media(self):
        self.sim.set(remaining=2)
        self.start(*self.photos)
        self.wait_for_output(EMPTY)
        self.assert_printed(self.photos[:2])
        self.assertNotIn("c.png -> ", self.output())
        self.sim.set(remaining=400)
        self.assert_exit_status(0)
        self.assert_printed(self.photos)
        name = f"127.0.0.1:{self.sim.port}"
        self.assertEqual([line for line in self.output().splitlines() if " -> " in line],
                         [f"{self.photos[0]} -> {name}, 1 print left",
                          f"{self.photos[1]} -> {name}, 0 prints left",
                          f"{self.photos[2]} -> {name}, 399 prints left"])
        self.assertEqual(self.output().count(EMPTY), 1)

    def test_after_the_timeout_the_photo_is_named_as_not_printed(self):
        self.sim.set(remaining=1)
        self.start("--timeout", "1", "-n", "3", self.photos[0])
        self.assert_exit_status(1)
        self.assert_printed(self.photos[:1])
        self.assertIn(EMPTY, self.output())
        self.assertIn("sheets printed before: 1\n", self.output())
        self.assertNotIn(" -> ", self.output())

    def test_nothing_is_sent_while_the_cover_is_open(self):
        self.sim.set(status=1000)
        self.start(self.photos[0])
        self.wait_for_output(COVER_OPEN)
        self.assert_nothing_was_sent()
        self.sim.set(status=0)
        self.assert_exit_status(0)
        self.assert_printed(self.photos[:1])

    def test_a_photo_waits_for_the_media_it_needs(self):
        self.sim.set(media="6x4")
        self.start("--paper", "6x8", self.photos[0])
        self.wait_for_output("the sheet needs 6x8 media, 6x4 is loaded; waiting\n")
        self.assert_nothing_was_sent()
        self.sim.set(media="6x8")
        self.assert_exit_status(0)
        self.assertEqual(len(self.sim.numbers()), 1)

    def test_the_check_of_the_media_can_be_turned_off(self):
        self.sim.set(media="6x4")
        self.start("--timeout", "0", "--paper", "6x8", self.photos[0],
                   uri_options="?settle=1&check-media=no")
        self.assert_exit_status(0)
        self.assertEqual(len(self.sim.numbers()), 1)

    def test_sigterm_ends_the_wait(self):
        self.sim.set(status=1000)
        self.start(*self.photos)
        self.wait_for_output(COVER_OPEN)
        self.process.send_signal(signal.SIGTERM)
        self.assert_exit_status(1)
        self.assert_nothing_was_sent()
        self.assertIn(f"not printed: {self.photos[1]} and the following photos", self.output())

    def test_a_disconnected_printer_is_waited_for_only_with_a_timeout(self):
        self.sim.command("unplug")
        self.start(self.photos[0])
        self.assert_exit_status(1)
        self.start("--timeout", "60", self.photos[0])
        self.wait_for_output("; waiting\n")
        self.sim.command("plug")
        self.assert_exit_status(0)
        self.assert_printed(self.photos[:1])

    def test_a_printer_that_does_not_answer_gets_nothing(self):
        self.sim.stop()
        self.sim = SimulatedPrinter(BUILD / "k905-sim", self.scratch / "sheets", "--trace",
                                    "--fault", "silent")
        self.start("--timeout", "1", self.photos[0])
        self.assert_exit_status(1)
        self.assertIn("the printer does not answer", self.output())
        self.assert_nothing_was_sent()

    def test_a_watched_folder_waits_before_it_reads_a_photo(self):
        inbox = self.scratch / "in"
        inbox.mkdir()
        for photo in self.photos[:2]:
            shutil.copy(photo, inbox)
        self.sim.set(status=1000)
        self.start("--watch", inbox)
        self.wait_for_output(COVER_OPEN)
        (inbox / "a.png").unlink()
        self.sim.set(status=0)
        self.wait_for_output("b.png -> ")
        self.process.send_signal(signal.SIGTERM)
        self.assert_exit_status(0)
        self.assert_printed(self.photos[1:2])
        self.assertEqual(self.output().count(COVER_OPEN), 1)

    def test_the_printer_is_not_queried_for_known_photos(self):
        inbox = self.scratch / "in"
        inbox.mkdir()
        known = 20
        for number in range(known):
            shutil.copy(self.photos[0], inbox / f"known-{number:02}.png")
        (inbox / "old.doc").touch()
        self.start("--watch", inbox, "--new-only", "--leave")
        # This is reported when the program starts to watch the folder.
        self.wait_for_output("old.doc: files of this type are not read")
        shutil.copy(self.photos[1], inbox / "new.png")
        shutil.copy(self.photos[2], inbox / "newer.png")
        self.wait_for_output("newer.png -> ")
        self.process.send_signal(signal.SIGTERM)
        self.assert_exit_status(0)
        self.assert_printed(self.photos[1:])
        self.assertLess(self.sim.count("^question MEDIA"), known)


class Lost(ToPrinter):
    def test_a_sheet_that_was_cut_off_is_sent_again(self):
        self.sim.command(f"disconnect at {SHEET_BYTES // 2} of 2")
        self.start(*self.photos)
        self.assert_exit_status(0)
        self.assert_printed(self.photos, incomplete=1)
        self.assertIn("the printer did not print the sheet; it is sent again\n", self.output())

    def test_a_sheet_that_came_out_is_not_sent_again(self):
        self.sim.command("disconnect after 2")
        self.start(*self.photos)
        self.assert_exit_status(0)
        self.assert_printed(self.photos)

    def test_without_the_printer_the_outcome_is_reported_as_unknown(self):
        self.sim.command(f"unplug at {SHEET_BYTES // 2}")
        self.start("--json", "--timeout", "1", self.photos[0])
        self.assert_exit_status(1)
        self.assertIn("it is not known whether the sheet came out", self.output())
        self.assertIn('"outcome":"in doubt"', self.output())
        self.assertIn('"serial_number":"SIM00000001","life_counter":1234,', self.output())

    def test_two_programs_never_mix_their_sheets(self):
        programs = [subprocess.Popen([BUILD / "k905-print", "--to", self.sim.device, photo],
                                     env=self.environment(), stdout=self.messages,
                                     stderr=self.messages) for photo in self.photos]
        self.assertEqual([program.wait(60) for program in programs], [0, 0, 0], self.output())
        self.assertEqual(len(list(self.sim.sheets.glob("*.png"))), 3)


if __name__ == "__main__":
    BUILD = pathlib.Path(sys.argv.pop(1)).resolve()
    unittest.main()
