"""Prints through a real CUPS: `end_to_end.py BUILD CMAKE [TEST...]`.

The build is installed into a private scheduler (private_cups.py) as a user would install it. Images and
documents are printed with `lp`; the data sent to the device is parsed sheet by sheet and compared with the
expected print. Exit status 77: the tests cannot run on this machine.
"""

import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

import artwork
import ipp
import private_cups
from artwork import BLACK, CORNERS, CYAN, GRAY, MAGENTA, RED, WHITE
from simulated_printer import SimulatedPrinter

BUILD, CMAKE = private_cups.programs()


class Paper:
    """The size of the printer's image and the position of the picture in it, in pixels at 300 dpi. The points
    are the width and height of the paper as it leaves the printer."""

    def __init__(self, name, points, canvas, bleed, cutter=0, center=GRAY, slack=0):
        self.name = name
        self.points = points
        self.width, self.height = canvas
        self.top, self.bottom, self.left, self.right = bleed
        self.cutter = cutter
        self.center = center
        self.slack = slack

    def picture_box(self, row_factor=1):
        """Left, top, right and bottom of the picture in the image that the printer receives. The printer prints
        the back of the image, so left and right are exchanged. At 300 x 600 dpi the image has twice as many rows
        (row_factor=2), but the borders keep their number of rows."""
        return (self.right, self.top, self.width - self.left,
                self.height * row_factor - self.bottom)


def visible_paper(paper):
    """The paper without the margins that the printer cuts off, as the simulated printer shows it."""
    left, top, right, bottom = paper.picture_box()
    return Paper(paper.name, paper.points, (right - left, bottom - top), (0, 0, 0, 0))


SIX_BY_FOUR = Paper("w288h432", (432, 288), (1920, 1240), (25, 18, 50, 70))
SIX_BY_EIGHT = Paper("w432h576", (432, 576), (1920, 2436), (23, 12, 50, 70))
PAPERS = [
    Paper("B7", (360, 252), (1920, 1088), (20, 15, 50, 70)),
    Paper("w360h360", (360, 360), (1920, 1540), (23, 15, 50, 70)),
    Paper("w360h504", (360, 504), (1920, 2138), (20, 20, 50, 70)),
    SIX_BY_FOUR,
    # Cut into strips: the CUTTER parameter is 120.
    Paper("w288h432-div2", (432, 288), (1920, 1240), (25, 18, 9, 37), cutter=120),
    # The visible parts of the two 6x4 sheets, with a white band between them at the cut.
    Paper("w432h576-div2", (432, 576), (1920, 2498), (20, 23, 50, 70), cutter=120, center=WHITE,
          slack=1),
    Paper("w432h576-div4", (432, 576), (1920, 2436), (22, 17, 50, 70), cutter=120),
    Paper("w432h432", (432, 432), (1920, 1836), (20, 15, 50, 70)),
    SIX_BY_EIGHT,
]
MERGED_SHEET = (1920, 2498)


def places_on(box, width, height):
    """The four corners clockwise from the top left, a tenth of the picture from the edges, and the center."""
    left, top, right, bottom = box
    places = []
    for across, down in ((.1, .1), (.9, .1), (.9, .9), (.1, .9), (.5, .5)):
        x = (left + across * (right - left)) / width
        y = (top + down * (bottom - top)) / height
        places.append(f"{x:.5f},{y:.5f}")
    return places


def rotated(colors, quarters):
    """The corners after `quarters` counterclockwise rotations by 90 degrees."""
    return tuple(colors[quarters % 4:]) + tuple(colors[:quarters % 4])


class ThroughCups(unittest.TestCase):
    """One scheduler for all tests of a class; each test has its own queue and device folder."""

    SYSTEM = private_cups.PrivateCups
    has_photo_filter = True

    @classmethod
    def setUpClass(cls):
        cls.scratch = tempfile.mkdtemp(prefix="k905_cups_")
        cls.cups = cls.SYSTEM(cls.scratch, BUILD, CMAKE, cls.has_photo_filter)
        try:
            cls.cups.__enter__()
        except BaseException:
            cls.tearDownClass()
            raise
        cls.probe = BUILD / "tests" / "cups_probe"
        cls.art = pathlib.Path(cls.scratch) / "art"
        cls.art.mkdir()

    @classmethod
    def tearDownClass(cls):
        cls.cups.stop()
        shutil.rmtree(cls.scratch, ignore_errors=True)

    def setUp(self):
        self.queue = re.sub(r"\W", "_", self._testMethodName.removeprefix("test_"))[:60]

    def run(self, result=None):
        before = len(result.failures) + len(result.errors)
        super().run(result)
        if len(result.failures) + len(result.errors) > before:
            print(self.cups.tail_of_log(400), file=sys.stderr)
        return result

    # Printing and reading results ------------------------------------------------------------

    def print(self, *files, queue=None, **more):
        """Prints the files and returns the job, which must be completed."""
        job = self.cups.submit(queue or self.queue, *files, **more)
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        return job

    def stream(self, path, places=()):
        output = subprocess.run([self.probe, "sheets", path, *places], check=True,
                                capture_output=True, text=True).stdout
        found = json.loads(output)
        self.assertIsNone(found["error"], "the stream is invalid")
        self.assertEqual(sum(sheet["size"] for sheet in found["sheets"]), found["bytes"],
                         "there are bytes between the sheets or after them")
        return found["sheets"]

    def sheets(self, job, paper=SIX_BY_FOUR, row_factor=1):
        box = paper.picture_box(row_factor)
        height = paper.height * row_factor
        return self.stream(self.cups.stream_of(job), places_on(box, paper.width, height))

    def assert_color(self, seen, expected, tolerance, what):
        self.assertTrue(all(abs(a - b) <= tolerance for a, b in zip(seen, expected)),
                        f"{what}: {seen} instead of {expected}")

    def assert_sheet(self, sheet, paper=SIX_BY_FOUR, corners=CORNERS, center=GRAY, tolerance=4,
                     slack=0, row_factor=1, matte=False):
        """`slack`: pixels by which the picture may miss its box."""
        self.assertEqual((sheet["width"], sheet["height"]),
                         (paper.width, paper.height * row_factor))
        self.assertEqual(sheet["cutter"], paper.cutter)
        self.assertEqual(sheet["matte"], matte)
        self.assert_picture(sheet, paper, corners, center, tolerance, slack, row_factor)

    def assert_picture(self, sheet, paper=SIX_BY_FOUR, corners=CORNERS, center=GRAY, tolerance=4,
                       slack=0, row_factor=1):
        for seen, expected in zip(sheet["printed"], paper.picture_box(row_factor)):
            self.assertLessEqual(abs(seen - expected), slack, f"picture at {sheet['printed']}")
        for seen, expected, where in zip(sheet["colors"], tuple(corners) + (center,), (
                "top left", "top right", "bottom right", "bottom left", "center")):
            self.assert_color(seen, expected, tolerance, where)

    # Images with the paper's aspect ratio, and documents of its size ----------------------------

    @staticmethod
    def shape(paper):
        return tuple(round(2 * side) for side in paper.points)

    def png(self, paper=SIX_BY_FOUR, **more):
        return artwork.png(self.art / f"{paper.name}.png", *self.shape(paper), **more)

    def jpeg(self, paper=SIX_BY_FOUR, **more):
        return artwork.jpeg(self.art / f"{paper.name}.jpg", self.probe, *self.shape(paper), **more)

    def pdf(self, paper=SIX_BY_FOUR, centers=(GRAY,)):
        return artwork.pdf(self.art / f"{paper.name}-{len(centers)}.pdf", *paper.points, centers)

    def converted(self, png, kind):
        """The picture as a file of another kind."""
        file = png.with_suffix(f".{kind}")
        if kind in ("pwg", "urf"):
            return self.raster(file, png)
        subprocess.run([self.probe, "photo", png, file], check=True)
        return file

    def raster(self, file, *pages, copies=1):
        """PWG or Apple raster of the pictures, with `copies` in every header."""
        subprocess.run([self.probe, file.suffix.removeprefix("."), file, str(copies), *pages], check=True)
        return file

    def filters_of(self, job):
        return [pathlib.Path(line.split()[2]).name for line in self.cups.log_of(job)
                if line.startswith("Started filter ")]

    def add_queue(self, name=None, **options):
        self.cups.add_queue(name or self.queue, **({"print_scaling_default": "fill"} | options))


# CUPS rounds a page to whole points, so a document's page is placed up to half a point (two pixels
# and a fraction) off.
DOCUMENT_SLACK = 3


class Pictures(ThroughCups):
    """Every type of file, paper and mode, set as defaults of the queue."""

    def test_a_jpeg_picture_is_printed_unchanged(self):
        self.add_queue()
        (sheet,) = self.sheets(self.print(self.jpeg()))
        self.assert_sheet(sheet)

    def test_a_png_picture_is_printed_unchanged(self):
        self.add_queue()
        (sheet,) = self.sheets(self.print(self.png()))
        self.assert_sheet(sheet, tolerance=1)

    def test_a_pdf_document_is_printed_unchanged(self):
        self.add_queue()
        (sheet,) = self.sheets(self.print(self.pdf()))
        self.assert_sheet(sheet, slack=DOCUMENT_SLACK)

    def test_the_pages_of_a_document_are_printed_in_order(self):
        self.add_queue()
        centers = (CYAN, MAGENTA, BLACK)
        sheets = self.sheets(self.print(self.pdf(centers=centers)))
        self.assertEqual(len(sheets), 3)
        for sheet, center in zip(sheets, centers):
            self.assert_sheet(sheet, center=center, slack=DOCUMENT_SLACK)

    def test_several_files_of_a_job_are_printed_in_order(self):
        self.add_queue()
        first = artwork.png(self.art / "first.png", 900, 600, CYAN)
        second = artwork.png(self.art / "second.png", 900, 600, MAGENTA)
        job = self.cups.submit(self.queue, first, second)
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        # CUPS runs the filters once for each file, but the device once for both.
        sheets = self.sheets(job)
        self.assertEqual(len(sheets), 2)
        self.assert_sheet(sheets[0], center=CYAN)
        self.assert_sheet(sheets[1], center=MAGENTA)

    def test_every_paper_takes_a_picture(self):
        # A photo continues across the cut.
        for paper in PAPERS:
            with self.subTest(paper=paper.name):
                queue = f"picture_{paper.name}"
                self.add_queue(queue, PageSize=paper.name)
                (sheet,) = self.sheets(self.print(self.png(paper), queue=queue), paper)
                self.assert_sheet(sheet, paper, tolerance=1, slack=paper.slack)

    def test_every_paper_takes_a_document(self):
        for paper in PAPERS:
            with self.subTest(paper=paper.name):
                queue = f"document_{paper.name}"
                self.add_queue(queue, PageSize=paper.name)
                (sheet,) = self.sheets(self.print(self.pdf(paper), queue=queue), paper)
                self.assert_sheet(sheet, paper, center=paper.center, slack=DOCUMENT_SLACK)

    def test_every_model_prints(self):
        for model in ("RV-40", "RV-40W", "RS-30"):
            with self.subTest(model=model):
                self.add_queue(model, model=model)
                (sheet,) = self.sheets(self.print(self.png(), queue=model))
                self.assert_sheet(sheet, tolerance=1)

    def test_the_fine_resolution_has_twice_the_lines(self):
        self.add_queue(Resolution="300x600dpi")
        for file, slack in ((self.jpeg(), 0), (self.pdf(), 2 * DOCUMENT_SLACK)):
            with self.subTest(file=file.name):
                (sheet,) = self.sheets(self.print(file), row_factor=2)
                self.assert_sheet(sheet, row_factor=2, slack=slack)

    def test_a_gray_queue_prints_gray_that_is_not_inverted(self):
        self.add_queue(ColorModel="Gray")
        for file in (self.jpeg(), self.pdf()):
            with self.subTest(file=file.name):
                (sheet,) = self.sheets(self.print(file))
                red, green, yellow, blue, center = sheet["colors"]
                for color in sheet["colors"]:
                    self.assertEqual(len(set(color)), 1, f"{color} is not gray")
                # Whatever weights a filter uses: blue is dark, yellow light, gray unchanged.
                self.assertLess(blue[0], red[0])
                self.assertLess(red[0], green[0])
                self.assertLess(green[0], yellow[0])
                self.assertGreater(yellow[0], 200)
                self.assertAlmostEqual(center[0], GRAY[0], delta=4)

    def test_a_matte_queue_sends_the_matte_overcoat(self):
        self.add_queue(StpLaminate="Matte")
        (sheet,) = self.sheets(self.print(self.jpeg()))
        self.assert_sheet(sheet, matte=True)

    def test_copies_of_a_picture(self):
        self.add_queue()
        sheets = self.sheets(self.print(self.jpeg(), copies=3))
        self.assertEqual(len(sheets), 3)
        for sheet in sheets:
            self.assert_sheet(sheet)

    def test_copies_of_a_document_keep_its_pages_together(self):
        self.add_queue()
        job = self.print(self.pdf(centers=(CYAN, MAGENTA)), copies=2, options=["collate=true"])
        sheets = self.sheets(job)
        self.assertEqual(len(sheets), 4)
        for sheet, center in zip(sheets, (CYAN, MAGENTA, CYAN, MAGENTA)):
            self.assert_sheet(sheet, center=center, slack=DOCUMENT_SLACK)

    def test_a_portrait_photo_is_rotated_to_fill_the_paper(self):
        self.add_queue()
        portrait = artwork.png(self.art / "portrait.png", 600, 900)
        (sheet,) = self.sheets(self.print(portrait))
        self.assert_sheet(sheet, corners=rotated(CORNERS, 1), tolerance=1)

    def test_a_landscape_photo_is_rotated_to_fill_a_portrait_paper(self):
        self.add_queue(PageSize="w432h576")
        wide = artwork.png(self.art / "wide.png", 1200, 900)
        (sheet,) = self.sheets(self.print(wide), SIX_BY_EIGHT)
        self.assert_sheet(sheet, SIX_BY_EIGHT, corners=rotated(CORNERS, 1), tolerance=1)

    def test_the_landscape_option_does_not_change_a_landscape_photo(self):
        self.add_queue()
        (sheet,) = self.sheets(self.print(self.jpeg(), options=["landscape"]))
        self.assert_sheet(sheet)

    def test_a_landscape_document_is_rotated_and_never_mirrored(self):
        self.add_queue()
        (sheet,) = self.sheets(self.print(self.pdf(), options=["landscape", "fit-to-page"]))
        # The exact values depend on the PDF filters.
        seen = [tuple(255 if value > 127 else 0 for value in color) for color in sheet["colors"][:4]]
        self.assertIn(tuple(seen), [rotated(CORNERS, quarters) for quarters in range(4)])
        self.assert_sheet(sheet, corners=seen, slack=DOCUMENT_SLACK)

    def test_a_square_photo_is_cropped_to_fill_the_paper(self):
        self.add_queue()
        square = artwork.png(self.art / "square.png", 900, 900)
        (sheet,) = self.sheets(self.print(square))
        self.assert_sheet(sheet, tolerance=1)


class Photos(ThroughCups):
    """Photos through the photo filter: a queue prints the same bytes as k905-print."""

    def photos(self):
        wide = artwork.png(self.art / "wide.png", 1600, 1200)
        portrait = artwork.png(self.art / "portrait.png", 900, 1500)
        jpeg = self.converted(wide, "jpeg")
        stock = pathlib.Path(__file__).resolve().parent.parent / "apps" / "photos"
        return [wide, portrait, jpeg, artwork.exif_jpeg(self.art / "camera.jpg", jpeg, 6),
                self.converted(wide, "tiff"), self.converted(wide, "webp"),
                stock / "stripes.heic", stock / "stripes.avif"]

    def stream_of_k905_print(self, *arguments):
        stream = self.art / "straight.prn"
        self.cups.run(self.cups.prefix / "bin" / "k905-print", "--to", stream, *arguments)
        return stream.read_bytes()

    def assert_same(self, photo, options, arguments, queue=None, copies=1):
        job = self.print(photo, queue=queue, options=options, copies=copies)
        self.assertEqual(self.filters_of(job), ["phototok905", "rastertok905job"])
        expected = self.stream_of_k905_print("--copies", str(copies), *arguments, photo)
        self.assertEqual(self.cups.stream_of(job).read_bytes(), expected, "the bytes differ")

    def test_every_kind_of_photo_is_printed_as_k905_print_prints_it(self):
        self.cups.add_queue(self.queue)
        for photo in self.photos():
            with self.subTest(photo=photo.name):
                self.assert_same(photo, [], [])

    def test_every_choice_of_a_job_is_printed_as_k905_print_prints_it(self):
        self.cups.add_queue(self.queue)
        portrait = self.photos()[1]
        for options, arguments in (
                (["print-scaling=fit"], ["--fit"]),
                (["print-scaling=auto-fit"], ["--fit"]),
                (["fit-to-page"], ["--fit"]),
                (["print-scaling=fill", "landscape"], []),
                (["print-scaling=auto"], []),
                (["media=6x8", "Resolution=300x600dpi", "StpLaminate=Matte"],
                 ["--paper", "6x8", "--option", "Resolution=300x600dpi", "--finish", "Matte"]),
                (["media=5x7", "ColorModel=Gray", "StpBrightness=100", "BleedTop=1.0"],
                 ["--paper", "5x7", "--option", "ColorModel=Gray", "--brightness", "100",
                  "--option", "BleedTop=1.0"]),
                # A photo from another program covers the complete sheet: it may already contain
                # the image of one strip in each part.
                (["K905Cut=6x2"], ["--option", "K905Cut=6x2", "--layout", "sheet"])):
            with self.subTest(options=options):
                self.assert_same(portrait, options, arguments)
        self.assert_same(portrait, ["K905Ribbon=6x8"], ["--two-up"], copies=3)

    def test_a_class_prints_like_its_member(self):
        self.add_queue("classMember")
        self.cups.run("lpadmin", "-p", "classMember", "-c", self.queue)
        self.cups.run("cupsaccept", self.queue)
        self.cups.run("cupsenable", self.queue)
        for photo in self.photos()[:2]:
            with self.subTest(photo=photo.name):
                self.assert_same(photo, [], [])

    def test_a_job_with_scaling_options_is_left_to_the_filter_of_cups(self):
        self.cups.add_queue(self.queue)
        page = artwork.circle_png(self.art / "small.png", 450, 300, 200)
        for option, diameter in (("ppi=100", 600), ("ppi=150", 400), ("print-scaling=none", 300)):
            with self.subTest(option=option):
                (sheet,) = self.stream(self.cups.stream_of(self.print(page, options=[option])))
                left, top, right, bottom = sheet["dark"]
                self.assertAlmostEqual(right - left, diameter, delta=3)
                self.assertAlmostEqual(bottom - top, diameter, delta=3)

    def test_a_malformed_photo_is_reported_and_not_printed(self):
        self.cups.add_queue(self.queue)
        whole = self.photos()[2].read_bytes()
        bomb = bytearray(artwork.png(self.art / "bomb.png", 9, 9).read_bytes())
        bomb[16:24] = struct.pack(">II", 2000000000, 2000000000)
        bomb[29:33] = struct.pack(">I", zlib.crc32(bomb[12:29]))
        for name, content in (("cut.jpg", whole[:len(whole) // 2]), ("bomb.png", bomb),
                              ("noise.jpg", whole[:40] + os.urandom(5000))):
            with self.subTest(name=name):
                photo = self.art / name
                photo.write_bytes(content)
                job = self.cups.submit(self.queue, photo)
                self.cups.wait_for(lambda: self.cups.job_state(job)["job-state"] == ipp.STOPPED,
                                   "the job to be stopped")
                self.assertIn("The photo cannot be printed: ",
                              self.cups.job_state(job)["job-printer-state-message"])
                self.cups.run("cancel", job)
                stream = self.cups.stream_of(job)
                self.assertEqual(stream.read_bytes() if stream.exists() else b"", b"")


class PhotosWithoutFilter(ThroughCups):
    """Without the photo filter's types and conversions CUPS' own filter makes the pages."""

    has_photo_filter = False

    def test_a_portrait_and_a_square_photo_fill_the_paper(self):
        self.add_queue()
        for width, height in ((600, 900), (900, 900)):
            photo = artwork.png(self.art / f"{width}x{height}.png", width, height)
            job = self.print(photo)
            self.assertEqual(self.filters_of(job), ["imagetoraster", "rastertok905job"])
            (sheet,) = self.sheets(job)
            # CUPS' own filter makes a portrait page, also for a square photo; the adapter rotates the page.
            self.assert_sheet(sheet, corners=rotated(CORNERS, 3), tolerance=1)

    def test_a_circle_is_round_however_it_is_scaled(self):
        page = artwork.circle_png(self.art / "odd.png", 1600, 1200, 800)
        self.cups.add_queue(self.queue)
        for scaling, diameter in (("fill", 900), ("fit", 800), ("none", 1200), ("auto", 900)):
            with self.subTest(scaling=scaling):
                (sheet,) = self.stream(self.cups.stream_of(
                    self.print(page, options=[f"print-scaling={scaling}"])))
                left, top, right, bottom = sheet["dark"]
                self.assertAlmostEqual(right - left, diameter, delta=4)
                # 1197 rows of the sheet are visible.
                self.assertAlmostEqual(bottom - top, min(diameter, 1197), delta=4)


class TruePages(ThroughCups):
    """Nothing is distorted, and images and documents with a physical size keep it."""

    def dark_box(self, job):
        (sheet,) = self.stream(self.cups.stream_of(job))
        left, top, right, bottom = sheet["dark"]
        return right - left, bottom - top

    def assert_circle(self, job, paper, row_factor=1, is_photo=False):
        """800 pixels of 1/300 inch; on the five inch papers the printer has 360 dots per inch across. A
        photo covers the visible area of the sheet, which is slightly larger than the paper."""
        width, height = self.dark_box(job)
        width /= 1.2 if paper.points[0] == 360 else 1
        height /= row_factor
        self.assertAlmostEqual(width / height, 1, delta=0.005, msg=paper.name)
        self.assertGreater(width, 796, paper.name)
        self.assertLess(width, 840 if is_photo else 804, paper.name)

    def pages(self, paper):
        """The paper's page with a circle, as PNG, JPEG, PWG and Apple raster at 300 dpi, and as PDF."""
        points = sorted(paper.points)
        width, height = (round(side * 300 / 72) for side in points)
        png = artwork.circle_png(self.art / f"circle-{paper.name}.png", width, height, 800)
        others = [self.converted(png, kind) for kind in ("jpeg", "pwg", "urf")]
        return png, *others, artwork.circle_pdf(png.with_suffix(".pdf"), *points, 192)

    def test_a_circle_is_round_in_the_fine_resolution(self):
        self.add_queue(Resolution="300x600dpi")
        for page in self.pages(SIX_BY_FOUR):
            with self.subTest(page=page.name):
                self.assert_circle(self.print(page), SIX_BY_FOUR, row_factor=2,
                                   is_photo=page.suffix in (".png", ".jpeg"))

    def test_a_circle_is_round_however_it_is_scaled(self):
        page = artwork.circle_png(self.art / "odd.png", 1600, 1200, 800)
        self.cups.add_queue(self.queue)
        for scaling in ("fill", "fit", "none", "auto"):
            with self.subTest(scaling=scaling):
                width, height = self.dark_box(
                    self.print(page, options=[f"print-scaling={scaling}"]))
                self.assertAlmostEqual(width / height, 1, delta=0.005)

    def test_a_passport_box_of_a_document_has_its_size(self):
        self.add_queue()
        page = artwork.box_pdf(self.art / "passport.pdf", 432, 288, 35 / 25.4 * 72, 45 / 25.4 * 72)
        width, height = self.dark_box(self.print(page))
        self.assertAlmostEqual(width, 35 / 25.4 * 300, delta=1)
        self.assertAlmostEqual(height, 45 / 25.4 * 300, delta=1)


class Rulers(ThroughCups):
    """Pages of the paper's size at 300 dpi, with a circle of 800 pixels, a passport photo's box of
    35 x 45 mm and marks in the corners: every paper, kind of file and scaling."""

    KINDS = ("jpeg", "png", "pdf", "pwg", "urf")
    CIRCLE, BOX = (800, 800), (414, 532)  # a whole number of pixels on both sides of the middle

    @staticmethod
    def middle(paper):
        """The position of the shapes, as a fraction of the page height: never where the sheet is cut into halves."""
        return 0.25 if paper.name == "w432h576-div2" else 0.5

    def files(self, paper, kind):
        """The files of this kind, each with the shapes on its pages in order."""
        name = self.art / paper.name
        middle = self.middle(paper)
        if kind == "pdf":
            across, down = (size * 0.24 for size in self.BOX)
            x, y = paper.points[0] / 2, paper.points[1] * (1 - middle)
            return [(artwork.ruler_pdf(name.with_suffix(".pdf"), *paper.points, [
                f"1 J 192 w {x} {y} m {x} {y} l S\n",
                f"{x - across / 2:.4f} {y - down / 2:.4f} {across:.4f} {down:.4f} re f\n"]),
                (self.CIRCLE, self.BOX))]
        size = [round(side * 300 / 72) for side in paper.points]
        box = [side // 2 for side in self.BOX]
        circle = artwork.ruler_png(name.with_suffix(".png"), *size, lambda distance: round(
            (400 ** 2 - distance ** 2) ** 0.5) if distance < 400 else 0, middle)
        passport = artwork.ruler_png(self.art / f"{paper.name}-box.png", *size,
                                     lambda distance: box[0] if distance < box[1] else 0, middle)
        if kind in ("pwg", "urf"):
            return [(self.raster(name.with_suffix(f".{kind}"), circle, passport),
                     (self.CIRCLE, self.BOX))]
        pictures = [photo if kind == "png" else self.converted(photo, kind)
                    for photo in (circle, passport)]
        return list(zip(pictures, ((self.CIRCLE,), (self.BOX,))))

    def marks(self, paper):
        """A position in each corner mark, also when the photo has a small margin."""
        left, top, right, bottom = paper.picture_box()
        inside = 60
        return [f"{x / paper.width:.5f},{y / paper.height:.5f}"
                for x, y in ((left + inside, top + inside), (right - inside, top + inside),
                             (right - inside, bottom - inside), (left + inside, bottom - inside))]

    def assert_sheet_of(self, sheet, paper, shape, is_photo, scaling):
        """A photo that fills or fits the sheet has the size of its visible area, which differs slightly from
        that of the paper."""
        self.assertEqual((sheet["width"], sheet["height"], sheet["cutter"]),
                         (paper.width, paper.height, paper.cutter))
        left, top, right, bottom = sheet["dark"]
        across = (right - left) / (1.2 if paper.points[0] == 360 else 1)
        down = bottom - top
        # Half a percent of a circle; a pixel of a box, two where CUPS' own photo filter rounds as well.
        tolerance = 4 if shape is self.CIRCLE else 2.2 if is_photo else 1.2
        is_scaled = is_photo and scaling != "none"
        scale = (across / shape[0] + down / shape[1]) / 2 if is_scaled else 1
        self.assertAlmostEqual(scale, 1, delta=0.045)
        self.assertAlmostEqual(across, shape[0] * scale, delta=tolerance)
        self.assertAlmostEqual(down, shape[1] * scale, delta=tolerance)
        for seen, expected, where in zip(sheet["colors"], artwork.PALE, (
                "top left", "top right", "bottom right", "bottom left")):
            self.assert_color(seen, expected, 6, where)

    def assert_ruler(self, paper, kind, scaling):
        queue = f"ruler_{paper.name}"
        if queue not in self.queues:
            self.cups.add_queue(queue, PageSize=paper.name)
            self.queues.add(queue)
        for file, shapes in self.files(paper, kind):
            with self.subTest(paper=paper.name, kind=kind, scaling=scaling):
                job = self.print(file, queue=queue, copies=2, options=[f"print-scaling={scaling}"])
                sheets = self.stream(self.cups.stream_of(job), self.marks(paper))
                self.assertEqual(len(sheets), 2 * len(shapes))
                for sheet, shape in zip(sheets, [shape for shape in shapes for _ in range(2)]):
                    self.assert_sheet_of(sheet, paper, shape, kind in ("jpeg", "png"), scaling)

    def setUp(self):
        super().setUp()
        self.queues = set()

    def test_one_of_each(self):
        five_by_seven, two_halves = (next(paper for paper in PAPERS if paper.name == name)
                                     for name in ("w360h504", "w432h576-div2"))
        for paper, kind, scaling in ((two_halves, "pdf", "fill"), (two_halves, "jpeg", "fill"),
                                     (SIX_BY_FOUR, "pdf", "fit"), (five_by_seven, "pdf", "none"),
                                     (SIX_BY_EIGHT, "pwg", "fill"), (five_by_seven, "urf", "none"),
                                     (five_by_seven, "jpeg", "fill"), (SIX_BY_FOUR, "png", "none")):
            self.assert_ruler(paper, kind, scaling)


class AllRulers(Rulers):
    """The same in every combination; takes several minutes."""

    test_one_of_each = None

    def test_all(self):
        for paper in PAPERS:
            for kind in self.KINDS:
                for scaling in ("fill", "fit", "none"):
                    self.assert_ruler(paper, kind, scaling)


class Driverless(ThroughCups):
    """Raster pages of phones and tablets, which use only the IPP attributes of the queue."""

    FORMATS = {"pwg": "image/pwg-raster", "urf": "image/urf"}

    def page(self, kind):
        return self.converted(artwork.png(self.art / "page.png", 1800, 1200), kind)

    def submit(self, file, *attributes, queue=None):
        job = self.cups.submit_ipp(queue or self.queue, file,
                                   self.FORMATS[file.suffix.removeprefix(".")], *attributes)
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        return job

    def test_copies_of_several_pages_are_all_printed_once(self):
        self.cups.add_queue(self.queue)
        first = artwork.png(self.art / "first.png", 1800, 1200, CYAN)
        second = artwork.png(self.art / "second.png", 1800, 1200, MAGENTA)
        for kind in self.FORMATS:
            for repeated in (1, 3):
                with self.subTest(kind=kind, copies_in_header=repeated):
                    pages = self.raster(self.art / f"pages.{kind}", first, second, copies=repeated)
                    sheets = self.sheets(self.submit(pages, "integer copies 3"))
                    self.assertEqual([tuple(sheet["colors"][4]) for sheet in sheets],
                                     3 * [CYAN] + 3 * [MAGENTA])

    def test_pages_go_directly_to_the_page_adapter_and_documents_to_the_pdf_filters(self):
        self.cups.add_queue(self.queue)
        for kind in self.FORMATS:
            job = self.submit(self.page(kind))
            self.assertEqual(self.filters_of(job), ["rastertok905job"])
        self.assertEqual(self.filters_of(self.print(self.pdf())),
                         ["pdftopdf", "gstoraster", "rastertok905job"])

    def test_choices_of_a_client_are_printed(self):
        self.cups.add_queue(self.queue)
        page = self.page("urf")
        media = ("collection media-col {{ MEMBER collection media-size {{ MEMBER integer x-dimension {} "
                 "MEMBER integer y-dimension {} }} MEMBER keyword media-type {} }}")
        for attributes, size, matte, is_gray in (
                ([], (1920, 1240), False, False),
                (["enum print-quality 5"], (1920, 2480), False, False),
                (["enum print-quality 4"], (1920, 1240), False, False),
                (["keyword print-color-mode monochrome"], (1920, 1240), False, True),
                (["keyword media na_5x7_5x7in"], (1920, 2138), False, False),
                (["keyword media-type photographic-matte"], (1920, 1240), True, False),
                ([media.format(15240, 20320, "photographic-matte"), "enum print-quality 5",
                  "keyword print-color-mode monochrome"], (1920, 4872), True, True),
                ([media.format(10160, 15240, "photographic-glossy")], (1920, 1240), False, False)):
            with self.subTest(attributes=attributes):
                (sheet,) = self.sheets(self.submit(page, *attributes))
                self.assertEqual((sheet["width"], sheet["height"]), size)
                self.assertEqual(sheet["matte"], matte)
                red = sheet["colors"][0]
                self.assertEqual(len(set(red)) == 1, is_gray, red)

    def test_a_client_may_turn_off_defaults_of_the_queue(self):
        self.cups.add_queue(self.queue, ColorModel="Gray", Resolution="300x600dpi", StpLaminate="Matte")
        page = self.page("pwg")
        (sheet,) = self.sheets(self.submit(page))
        self.assertEqual((sheet["height"], sheet["matte"]), (2480, True))
        self.assertEqual(len(set(sheet["colors"][0])), 1)
        (sheet,) = self.sheets(self.submit(page, "keyword print-color-mode color",
                                           "keyword media-type photographic-glossy"))
        self.assertEqual((sheet["height"], sheet["matte"]), (2480, False))
        self.assertEqual(sheet["colors"][0], list(RED))

    def test_a_queue_lists_the_choices_for_clients(self):
        self.cups.add_queue(self.queue)
        for name, expected in (("document-format-supported", {"image/urf", "image/pwg-raster"}),
                               ("print-quality-supported", {4, 5}),
                               ("print-color-mode-supported", {"color", "monochrome"}),
                               ("print-scaling-supported", {"auto", "fill", "fit", "none"}),
                               ("media-type-supported", {"photographic-glossy", "photographic-matte"})):
            offered = set(ipp.values_of(self.cups.socket, self.queue, name))
            self.assertLessEqual(expected, offered, name)


class Media(ThroughCups):
    """The paper of a job by the names that people and other systems use."""

    def paper_of(self, *options):
        (sheet,) = self.stream(self.cups.stream_of(self.print(self.jpeg(), options=options)))
        return sheet["width"], sheet["height"], sheet["cutter"]

    def test_usual_names_choose_the_paper(self):
        self.add_queue(PageSize="w432h576")
        for name in ("6x4", "4x6", "10x15", "na_index-4x6_4x6in", "w288h432"):
            with self.subTest(name=name):
                self.assertEqual(self.paper_of(f"media={name}"), (1920, 1240, 0))
        for name in ("5x7", "13x18", "na_5x7_5x7in"):
            with self.subTest(name=name):
                self.assertEqual(self.paper_of(f"media={name}"), (1920, 2138, 0))

    def test_a_document_keeps_its_size_on_a_paper_other_than_the_queues(self):
        self.add_queue(PageSize="w432h576", print_scaling_default="auto")
        page = artwork.box_pdf(self.art / "box.pdf", 432, 288, 120, 144)
        for name in ("4x6", "na_index-4x6_4x6in", "w288h432"):
            with self.subTest(name=name):
                (sheet,) = self.stream(self.cups.stream_of(self.print(page, options=[f"media={name}"])))
                left, top, right, bottom = sheet["dark"]
                self.assertAlmostEqual(right - left, 500, delta=1)
                self.assertAlmostEqual(bottom - top, 600, delta=1)

    def test_a_cut_can_be_combined_with_any_name_of_the_paper(self):
        self.add_queue()
        self.assertEqual(self.paper_of("media=6x8", "K905Cut=6x2"), (1920, 2436, 120))
        self.assertEqual(self.paper_of("media=6x8", "K905Cut=6x4"), (1920, 2498, 120))
        self.assertEqual(self.paper_of("K905Cut=6x2"), (1920, 1240, 120))
        self.assertEqual(self.paper_of("PageSize=w432h576-div4"), (1920, 2436, 120))

    def test_a_cut_is_a_default_of_a_queue(self):
        self.add_queue(PageSize="w432h576", K905Cut="6x2")
        self.assertEqual(self.paper_of(), (1920, 2436, 120))

    def test_an_unknown_size_stops_the_job_and_names_the_sizes(self):
        self.add_queue()
        for name in ("6x9", "A4"):
            with self.subTest(name=name):
                job = self.cups.submit(self.queue, self.jpeg(), options=[f"media={name}"])
                self.cups.wait_for(lambda: self.cups.job_state(job)["job-state"] == ipp.STOPPED,
                                   "the job to be stopped")
                message = f'This printer has no paper "{name}". It has 5x3.5 (13x9), 5x5 (13x13)'
                self.assertIn(message, "\n".join(self.cups.log_of(job)).replace("\\", ""))
                self.assertIn(message, self.cups.job_state(job)["job-printer-state-message"])
                self.cups.run("cancel", job)

    def test_the_queue_offers_the_standard_sizes(self):
        self.add_queue()
        offered = ipp.values_of(self.cups.socket, self.queue, "media-supported")
        self.assertIn("na_index-4x6_4x6in", offered)
        self.assertIn("na_5x7_5x7in", offered)
        self.assertEqual(len(offered), 6, offered)


class Choices(ThroughCups):
    """What is chosen in a print dialog for one job, on a queue with other defaults."""

    def test_6x8_and_matte_reach_the_printer(self):
        self.add_queue()
        options = ["PageSize=w432h576", "StpLaminate=Matte"]
        for file, slack in ((self.png(SIX_BY_EIGHT), 0), (self.pdf(SIX_BY_EIGHT), DOCUMENT_SLACK)):
            with self.subTest(file=file.name):
                (sheet,) = self.sheets(self.print(file, options=options), SIX_BY_EIGHT)
                self.assert_sheet(sheet, SIX_BY_EIGHT, slack=slack, matte=True)

    def test_the_next_job_has_the_queues_defaults_again(self):
        self.add_queue()
        self.print(self.png(SIX_BY_EIGHT), options=["PageSize=w432h576", "StpLaminate=Matte"])
        (sheet,) = self.sheets(self.print(self.jpeg()))
        self.assert_sheet(sheet)

    def test_brightness_of_one_job(self):
        self.add_queue()
        (sheet,) = self.sheets(self.print(self.png(), options=["StpBrightness=500"]))
        # 128 x 1.5
        self.assert_sheet(sheet, center=(192, 192, 192), tolerance=1)

    def test_a_negative_tone_of_one_job(self):
        self.add_queue()
        (sheet,) = self.sheets(self.print(self.png(), options=["StpBrightness=-500"]))
        # Half of everything: 255 becomes 127, 128 becomes 64.
        self.assert_sheet(sheet, corners=[tuple(value // 2 for value in c) for c in CORNERS],
                          center=(64, 64, 64), tolerance=1)

    def test_none_turns_off_a_tone_of_the_queue(self):
        self.add_queue(StpBrightness="500")
        (sheet,) = self.sheets(self.print(self.png(), options=["StpBrightness=None"]))
        self.assert_sheet(sheet, tolerance=1)

    def test_a_switch_of_one_job(self):
        self.add_queue()
        gray = artwork.png(self.art / "light.png", 900, 600, (200, 200, 200))
        (sheet,) = self.sheets(self.print(gray, options=["StpLinearContrast=True"]))
        # (200 - 128) x 1.2 + 128 = 214.4
        self.assert_sheet(sheet, center=(214, 214, 214), tolerance=1)

    def test_a_job_turns_off_a_switch_of_the_queue(self):
        self.add_queue(StpLinearContrast="True")
        gray = artwork.png(self.art / "light.png", 900, 600, (200, 200, 200))
        (sheet,) = self.sheets(self.print(gray, options=["StpLinearContrast=False"]))
        self.assert_sheet(sheet, center=(200, 200, 200), tolerance=1)

    def test_gray_for_one_job(self):
        self.add_queue()
        for option in ("ColorModel=Gray", "print-color-mode=monochrome"):
            with self.subTest(option=option):
                (sheet,) = self.sheets(self.print(self.png(), options=[option]))
                for color in sheet["colors"]:
                    self.assertEqual(len(set(color)), 1, f"{color} is not gray")

    def test_a_border_of_one_job(self):
        self.add_queue()
        (sheet,) = self.sheets(self.print(self.png(), options=["BleedTop=1.0", "BleedLeft=-0.5"]))
        # 1 mm is 12 pixels more at the top, half a millimeter 5 less at the printer's left.
        left, top, right, bottom = SIX_BY_FOUR.picture_box()
        self.assertEqual(sheet["printed"], [left, top + 12, right + 5, bottom])

    def test_two_pages_share_a_sheet_of_the_larger_ribbon(self):
        self.add_queue()
        centers = (CYAN, MAGENTA, BLACK)
        job = self.print(self.pdf(centers=centers), options=["K905Ribbon=6x8"])
        width, height = MERGED_SHEET
        left, _, right, _ = SIX_BY_FOUR.picture_box()
        # The upper page begins five lines higher than on a separate sheet, the lower one 1253 down.
        upper = (left, 20, right, 1217)
        lower = (left, 1253 + 25, right, 1253 + 1222)
        places = places_on(upper, width, height) + places_on(lower, width, height)
        merged, single = self.stream(self.cups.stream_of(job), places)
        self.assertEqual((merged["width"], merged["height"]), MERGED_SHEET)
        self.assertEqual((merged["cutter"], merged["matte"]), (0, False))
        expected = CORNERS + (CYAN,) + CORNERS + (MAGENTA,)
        for seen, color in zip(merged["colors"], expected):
            self.assert_color(seen, color, 4, "merged sheet")
        self.assertEqual((single["width"], single["height"]), (1920, 1240))
        self.assertEqual(self.cups.pages_logged(job), [f"{self.queue} {job} total 2"])

    def test_a_profile_of_one_job_is_looked_up_and_logged(self):
        self.add_queue()
        job = self.print(self.png(), options=["ICCProfile=pm-905-wd-251126-5.icm"])
        self.assertIn("K905-1: ICC Profile specified: pm-905-wd-251126-5.icm", self.cups.log_of(job))

    def test_without_a_profile_nothing_is_converted(self):
        self.add_queue()
        job = self.print(self.png())
        self.assertIn("K905-1: ICC conversion not enabled or no profile specified",
                      self.cups.log_of(job))

    def test_a_job_whose_choices_cannot_be_applied_prints_with_a_warning(self):
        # No space for the job's PPD file, as on a full disk.
        self.add_queue()
        adapter = self.cups.serverbin / "filter" / "rastertok905job"
        kept = adapter.with_name("kept")
        adapter.rename(kept)
        try:
            adapter.write_text(f"#!/bin/sh\nulimit -f 0\nexec {kept} \"$@\"\n")
            adapter.chmod(0o755)
            job = self.print(self.jpeg(), options=["StpLaminate=Matte"])
        finally:
            kept.rename(adapter)
        (sheet,) = self.sheets(job)
        self.assert_sheet(sheet)
        self.assertIn("The choices made for this job could not be applied; it prints with the "
                      "defaults of the queue.", "\n".join(self.cups.log_of(job)))


class Jobs(ThroughCups):
    """Page counts, cancel, classes, and malicious jobs."""

    def test_every_sheet_is_counted_once(self):
        self.add_queue()
        job = self.print(self.pdf(centers=(CYAN, MAGENTA)), copies=2)
        state = self.cups.job_state(job)
        self.assertEqual(state["job-media-sheets-completed"], 4)
        self.assertEqual(state["job-media-progress"], 100)
        self.assertEqual(self.cups.pages_logged(job), [f"{self.queue} {job} total 4"])

    def test_a_canceled_job_ends_with_a_complete_sheet(self):
        self.add_queue(device=f"capture:{self.cups.captured}?pause=0.02")
        job = self.cups.submit(self.queue, self.pdf(centers=(CYAN, MAGENTA, BLACK)), copies=20,
                               options=["collate=true"])
        self.cups.wait_for(lambda: self.cups.job_state(job).get("job-media-sheets-completed", 0) >= 1,
                           "the first sheet")
        self.cups.run("cancel", job)
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.CANCELED)
        stream = self.cups.stream_of(job)
        self.cups.wait_for(stream.exists, "the device to receive all data")
        sheets = self.sheets(job)
        self.assertGreaterEqual(len(sheets), 1)
        self.assertLess(len(sheets), 60)
        for sheet, center in zip(sheets, (CYAN, MAGENTA, BLACK) * 20):
            self.assert_sheet(sheet, center=center, slack=DOCUMENT_SLACK)

    def test_the_job_after_a_canceled_one_prints(self):
        self.add_queue(device=f"capture:{self.cups.captured}?pause=0.02")
        job = self.cups.submit(self.queue, self.pdf(centers=(CYAN, MAGENTA, BLACK)), copies=20)
        self.cups.wait_for(lambda: self.cups.job_state(job)["job-state"] == ipp.PROCESSING, "a start")
        self.cups.run("cancel", job)
        (sheet,) = self.sheets(self.print(self.jpeg()))
        self.assert_sheet(sheet)

    def printed_by(self, members, jobs):
        return [sum((self.cups.root / name / f"{job}.prn").exists() for job in jobs)
                for name in members]

    def add_class(self, name, members, **options):
        for member in members:
            (self.cups.root / member).mkdir()
            device = f"capture:{self.cups.root / member}?pause=0.01&fail={self.cups.root / member}.fail"
            self.add_queue(member, device=device, **options)
            self.cups.run("lpadmin", "-p", member, "-c", name)
        self.cups.run("cupsaccept", name)
        self.cups.run("cupsenable", name)

    def test_a_class_shares_its_jobs_among_its_printers(self):
        members = ("shareA", "shareB")
        self.add_class("share", members)
        jobs = [self.cups.submit("share", self.jpeg()) for _ in range(8)]
        for job in jobs:
            self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        counts = self.printed_by(members, jobs)
        self.assertEqual(sum(counts), 8)
        self.assertGreaterEqual(min(counts), 2, f"jobs went {counts}")

    def test_a_stopped_printer_leaves_its_jobs_to_the_other(self):
        members = ("stopA", "stopB")
        self.add_class("stop", members)
        self.cups.run("cupsdisable", "stopA")
        jobs = [self.cups.submit("stop", self.jpeg()) for _ in range(4)]
        for job in jobs:
            self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        self.assertEqual(self.printed_by(members, jobs), [0, 4])

    def test_a_failing_printer_leaves_its_jobs_to_the_other(self):
        members = ("failA", "failB")
        self.add_class("fail", members, printer_error_policy="retry-current-job")
        (self.cups.root / "failA.fail").touch()
        jobs = [self.cups.submit("fail", self.jpeg()) for _ in range(4)]
        for job in jobs:
            self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        self.assertEqual(self.printed_by(members, jobs), [0, 4])

    def begin_album(self, name, members):
        """Prints ten sheets on the class; returns the job and the member that prints it."""
        job = self.cups.submit(name, self.pdf(centers=(CYAN, MAGENTA) * 5))
        self.cups.wait_for(lambda: self.cups.job_state(job).get("job-media-sheets-completed", 0) >= 2,
                           "the second sheet")
        (busy,) = [member for member in members if (self.cups.root / member / f"{job}.part").exists()]
        return job, busy

    def assert_album(self, path):
        sheets = self.stream(path, places_on(SIX_BY_FOUR.picture_box(), 1920, 1240))
        self.assertEqual(len(sheets), 10)
        for sheet, center in zip(sheets, (CYAN, MAGENTA) * 5):
            self.assert_sheet(sheet, center=center, slack=DOCUMENT_SLACK)

    def test_a_printer_that_fails_in_the_middle_leaves_the_whole_job_to_the_other(self):
        members = ("breakA", "breakB")
        self.add_class("break", members, printer_error_policy="retry-current-job")
        job, busy = self.begin_album("break", members)
        (self.cups.root / f"{busy}.fail").touch()
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        (other,) = set(members) - {busy}
        self.assert_album(self.cups.root / other / f"{job}.prn")

    def test_a_printer_disabled_in_the_middle_leaves_the_whole_job_to_the_other(self):
        members = ("pauseA", "pauseB")
        self.add_class("pause", members, printer_error_policy="retry-current-job")
        job, busy = self.begin_album("pause", members)
        self.cups.run("cupsdisable", busy)
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        (other,) = set(members) - {busy}
        self.assert_album(self.cups.root / other / f"{job}.prn")
        # The data that the first printer received ends with a complete sheet.
        first_part = self.cups.root / busy / f"{job}.prn"
        self.cups.wait_for(first_part.exists, "the first printer's device to end")
        self.assertLess(len(self.stream(first_part)), 10)

    def test_a_printer_taken_out_of_the_class_finishes_its_job(self):
        members = ("leaveA", "leaveB")
        self.add_class("leave", members)
        job, busy = self.begin_album("leave", members)
        self.cups.run("lpadmin", "-p", busy, "-r", "leave")
        later = [self.cups.submit("leave", self.jpeg()) for _ in range(2)]
        for each in [job] + later:
            self.assertEqual(self.cups.finished(each)["job-state"], ipp.COMPLETED)
        self.assert_album(self.cups.root / busy / f"{job}.prn")
        (other,) = set(members) - {busy}
        self.assertEqual(self.printed_by((busy, other), later), [0, 2])

    def test_a_job_waits_for_a_printer_that_fails(self):
        off = self.cups.root / "printer-is-off"
        off.touch()
        self.add_queue(device=f"capture:{self.cups.captured}?fail={off}",
                       printer_error_policy="retry-current-job")
        job = self.cups.submit(self.queue, self.jpeg())
        self.cups.wait_for(lambda: any("stopped with status 1" in line for line in self.cups.log_of(job)),
                           "the device to fail")
        self.assertNotIn(self.cups.job_state(job)["job-state"], ipp.ENDED)
        off.unlink()
        self.assertEqual(self.cups.finished(job)["job-state"], ipp.COMPLETED)
        (sheet,) = self.sheets(job)
        self.assert_sheet(sheet)

    def assert_only_one_sheet_was_counted(self, job):
        """Also checks that no other message of the job changed a state or an option of the queue."""
        state = self.cups.job_state(job)
        self.assertEqual(state["job-media-sheets-completed"], 1)
        self.assertEqual(state["job-media-progress"], 100)
        self.assertEqual(self.cups.pages_logged(job), [f"{self.queue} {job} total 1"])
        options = self.cups.run("lpoptions", "-p", self.queue).stdout
        self.assertIn("printer-state-reasons=none", options)
        self.assertNotIn("marker-levels=3", options)
        self.assertIn("*Glossy", self.cups.run("lpoptions", "-p", self.queue, "-l").stdout)

    def test_no_text_of_a_job_is_a_command_to_cups(self):
        self.add_queue()
        harm = ("\nPAGE: 40 40\nATTR: job-media-progress=7 marker-levels=3\nSTATE: +harm-done\n"
                "ERROR: harm\nPPD: StpLaminate=Matte\n")
        for title, options in (
                # CUPS refuses line breaks in a title; the text alone must have no effect either.
                (f"a{harm}", []),
                ("PAGE: 40 40", []),
                (f"K905-1: Single page printed successfully (print call #1){harm}", []),
                ("plain", [f"nonsense='b{harm}'"]),
                ("plain", [f"StpBrightness='c{harm}'"]),
                ("plain", [f"ICCProfile='ICCPROFILE (d{harm})'"]),
                ("plain", ["nonsense='e\nPAGE: 40 40\r'"])):
            with self.subTest(title=title, options=options):
                job = self.print(self.jpeg(), title=title, options=options)
                (sheet,) = self.sheets(job)
                self.assert_sheet(sheet)
                if options:
                    self.assertTrue([line for line in self.cups.log_of(job)
                                     if line.startswith("[5]: ") and "PAGE:" in line],
                                    "the text never reached the filter")
                self.assert_only_one_sheet_was_counted(job)

    def test_no_text_of_a_page_header_is_a_command_to_cups(self):
        """Any user who may print can send a raster stream; the filter logs every text of its headers."""
        self.add_queue()
        raster = self.art / "page.ras"
        subprocess.run([BUILD / "k905-raster", "--paper", "6x4", "-o", raster, "test:landscape"],
                       check=True)
        page = bytearray(raster.read_bytes())
        sync_word, texts, header, text = 4, 4, 1796, 64
        harms = (b"PAGE: 40 40", b"ATTR: marker-levels=3 job-media-progress=7", b"STATE: +harm-done",
                 b"PPD: StpLaminate=Matte", b"ERROR: harm", b"JOBSTATE: harm", b"INFO: harm")
        places = ([sync_word + text * i for i in range(texts)] +
                  [sync_word + header - text * i for i in range(1, texts)])
        for place, harm in zip(places, harms):
            page[place:place + text] = (b"x\n" + harm + b"\r\n").ljust(text, b"\0")
        raster.write_bytes(page)
        job = self.print(raster)
        self.assertEqual(len(self.stream(self.cups.stream_of(job))), 1)
        self.assertTrue([line for line in self.cups.log_of(job) if "x PAGE: 40 40" in line],
                        "the text never reached the log")
        self.assert_only_one_sheet_was_counted(job)
        self.assertNotIn("harm", str(self.cups.job_state(job)))


class Simulator(ThroughCups):
    """A printer on the network that answers like the real one: k905-sim."""

    def setUp(self):
        super().setUp()
        program = BUILD / "k905-sim"
        if not program.exists():
            self.skipTest("k905-sim was not built")
        self.printer = SimulatedPrinter(program, pathlib.Path(self.scratch) / f"sheets_{self.queue}")
        self.addCleanup(self.printer.stop)

    def stored_picture(self, path):
        places = places_on((0, 0, 1, 1), 1, 1)
        return json.loads(subprocess.run([self.probe, "picture", path, *places], check=True,
                                         capture_output=True, text=True).stdout)

    def test_the_scheduler_is_not_the_program_that_apparmor_confines(self):
        program = os.readlink(f"/proc/{self.cups.process.pid}/exe")
        self.assertEqual(program, str(self.cups.root.resolve() / "cupsd"))

    def test_pictures_and_documents_reach_a_network_printer(self):
        self.add_queue(device=self.printer.uri)
        self.print(self.jpeg())
        self.print(self.pdf(centers=(CYAN, MAGENTA)))
        self.print(self.png(SIX_BY_EIGHT), options=["PageSize=w432h576", "StpLaminate=Matte"])
        photo, cyan, magenta, large = self.printer.printed(self.cups, 4)
        self.assert_picture(self.stored_picture(photo), visible_paper(SIX_BY_FOUR))
        self.assert_picture(self.stored_picture(cyan), visible_paper(SIX_BY_FOUR), center=CYAN, slack=DOCUMENT_SLACK)
        self.assert_picture(self.stored_picture(magenta), visible_paper(SIX_BY_FOUR), center=MAGENTA,
                            slack=DOCUMENT_SLACK)
        self.assert_picture(self.stored_picture(large), visible_paper(SIX_BY_EIGHT), tolerance=1)


class Installation(unittest.TestCase):
    """What `cmake --install` and the uninstall target do, without a scheduler."""

    def test_files_are_installed_where_cups_searches_and_uninstalled(self):
        with tempfile.TemporaryDirectory() as scratch, private_cups.preserved_install_manifest(BUILD):
            stage = pathlib.Path(scratch)
            subprocess.run([CMAKE, "--install", BUILD, "--prefix", "/usr"], check=True,
                           env=os.environ | {"DESTDIR": scratch}, stdout=subprocess.DEVNULL)
            serverbin, datadir = (
                subprocess.run(["cups-config", place], check=True, text=True,
                               capture_output=True).stdout.strip().lstrip("/")
                for place in ("--serverbin", "--datadir"))
            for program in (f"{serverbin}/filter/rastertok905", f"{serverbin}/filter/rastertok905job",
                            f"{serverbin}/filter/phototok905", "usr/bin/k905-setup"):
                self.assertEqual((stage / program).stat().st_mode & 0o7777, 0o755, program)
            for model in ("K905", "RV-40", "RV-40W", "RS-30"):
                ppd = stage / datadir / "model/k905" / f"{model}.ppd"
                self.assertEqual(ppd.stat().st_mode & 0o7777, 0o644, model)
            for kind in ("types", "convs"):
                self.assertTrue((stage / datadir / "mime" / f"k905-photo.{kind}").is_file(), kind)
            subprocess.run([CMAKE, "-P", BUILD / "uninstall.cmake"], check=True,
                           env=os.environ | {"DESTDIR": scratch}, stdout=subprocess.DEVNULL)
            self.assertEqual([path for path in stage.rglob("*") if not path.is_dir()], [])
            self.assertFalse((stage / datadir / "model/k905").exists())


if __name__ == "__main__":
    private_cups.main()
