"""What takes too long for every run: `release_test.py BUILD CMAKE CLASS [unittest option...]`.

The upgrade from the first package. BUILD is a build of this source. Exit status 77 means that it could not be tried here.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
PROJECT = HERE.parents[1]
sys.path.insert(0, str(HERE.parent / "cups"))

import artwork  # noqa: E402  (found by the line above)
import ipp  # noqa: E402
import package_test  # noqa: E402
import private_cups  # noqa: E402
from simulated_printer import SimulatedPrinter  # noqa: E402

SKIPPED = 77
BUILD = pathlib.Path()
CMAKE = "cmake"
FIRST_PACKAGE = "1ae9ba2"  # the commit whose package was handed out first


def call(*command, **more):
    run = subprocess.run([str(word) for word in command], text=True, capture_output=True, check=False, **more)
    if run.returncode == SKIPPED:
        raise unittest.SkipTest(run.stderr)
    assert run.returncode == 0, f"{command}: status {run.returncode}\n{run.stdout[-3000:]}\n{run.stderr[-3000:]}"
    return run.stdout


def scratch_folder(test):
    scratch = tempfile.TemporaryDirectory()
    test.addCleanup(scratch.cleanup)
    folder = pathlib.Path(scratch.name)
    folder.chmod(0o755)
    return folder


class FirstPackage(private_cups.PrivateCups):
    """A print system with the first package."""

    package = None

    def install_product(self):
        package_test.dpkg(self.root, "-i", self.package)


class Upgrade(unittest.TestCase):
    def first_package(self, folder):
        """Built from the commit with the tools of its time."""
        known = subprocess.run(["git", "-C", PROJECT, "cat-file", "-e", FIRST_PACKAGE + "^{commit}"],
                               capture_output=True, check=False)
        if known.returncode != 0:
            self.skipTest(f"this clone does not have the commit {FIRST_PACKAGE}")
        if shutil.which("cpack") is None:
            self.skipTest("cpack is not installed")
        source = folder / "first"
        source.mkdir()
        call("sh", "-c", f'git -C "{PROJECT}" archive {FIRST_PACKAGE} | tar -x -C "{source}"')
        call(CMAKE, "-S", source, "-B", source / "build", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
             "-DK905_BUILD_TESTS=OFF", "-DK905_BUILD_BENCH=OFF", "-DK905_BUILD_APPS=ON")
        call(CMAKE, "--build", source / "build", "--target", "package")
        (package,) = (source / "build/package").glob("rastertok905_1.0.0-1_*.deb")
        return package

    def test_from_the_first_package_keeps_queue_defaults_and_waiting_job(self):
        missing = private_cups.what_is_missing()
        if missing:
            self.skipTest(missing)
        root = scratch_folder(self)
        package_test.BUILD, package_test.FOLDER = BUILD, root / "packages"
        package_test.make_packages(root / "packages")
        FirstPackage.package = self.first_package(root)
        system = root / "system"
        system.mkdir()
        with FirstPackage(system, BUILD, CMAKE, has_photo_filter=False) as cups:
            printer = SimulatedPrinter(BUILD / "k905-sim", root / "sheets")
            self.addCleanup(printer.stop)
            cups.run(cups.prefix / "bin/k905-setup", "booth", "--paper", "6x4", "--device", printer.uri)
            cups.run("lpadmin", "-p", "booth", "-o", "StpLaminate=Matte", "-o", "StpBrightness=100",
                     "-D", "The booth", "-L", "hall 3", "-o", "printer-error-policy=abort-job")
            ppd = cups.etc / "ppd/booth.ppd"
            self.assertIn('*FileVersion: "1.0.0"', ppd.read_text())
            cups.run("cupsdisable", "booth")
            job = cups.submit("booth", artwork.png(root / "photo.png", 1800, 1200))

            package_test.dpkg(cups.root, "-i", *package_test.files(), cups=cups)

            project = re.search(r"project\(rastertok905 VERSION (\S+)", (PROJECT / "CMakeLists.txt").read_text())[1]
            self.assertIn(f'*FileVersion: "{project}"', ppd.read_text())
            chosen = cups.run("lpoptions", "-p", "booth", "-l").stdout
            self.assertRegex(chosen, r"StpLaminate/.*\*Matte")
            self.assertRegex(chosen, r"StpBrightness/.*\*100")
            self.assertRegex(chosen, r"PageSize/.*\*w288h432")
            options = cups.run("lpoptions", "-p", "booth").stdout
            self.assertIn("printer-info='The booth'", options)
            self.assertIn("printer-location='hall 3'", options)
            cups.wait_for(lambda: "ErrorPolicy abort-job" in (cups.etc / "printers.conf").read_text(), "the error policy")
            self.assertEqual(cups.run("lpstat", "-e").stdout, "booth\n")
            self.assertIn(f"booth-{job} ", cups.run("lpstat", "-o").stdout)
            self.assertIn(f"k905://127.0.0.1:{printer.port}", cups.run("lpstat", "-v", "booth").stdout)

            cups.run("cupsenable", "booth")
            self.assertEqual(cups.finished(job)["job-state"], ipp.COMPLETED)
            self.assertEqual(len(printer.printed(cups, 1)), 1)


def main():
    global BUILD, CMAKE
    if len(sys.argv) < 4:
        print(__doc__)
        return 2
    BUILD, CMAKE = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2]
    for needed in ("dh", "dpkg-buildpackage", "git"):
        if shutil.which(needed) is None:
            print("SKIPPED:", needed, "is not installed")
            return SKIPPED
    result = unittest.main(argv=[sys.argv[0], "-v"] + sys.argv[3:], exit=False).result
    if not result.wasSuccessful():
        return 1
    return SKIPPED if result.skipped else 0


if __name__ == "__main__":
    sys.exit(main())
