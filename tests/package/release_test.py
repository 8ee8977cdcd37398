"""Tests that take too long for every run: `release_test.py BUILD CMAKE CLASS [unittest option...]`.

Reproducible builds, the upgrade from the first package, packages for ARM boards, and the enforced AppArmor profiles.
BUILD is a build of this source. Exit status 77: the test cannot run on this machine.
"""

import hashlib
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

BUILD, CMAKE = private_cups.programs(3)
FIRST_PACKAGE = "1ae9ba2"  # the commit of the first published package


def call(*command, **more):
    run = subprocess.run([str(word) for word in command], text=True, capture_output=True, check=False, **more)
    if run.returncode == private_cups.SKIPPED:
        raise unittest.SkipTest(run.stderr)
    assert run.returncode == 0, f"{command}: status {run.returncode}\n{run.stdout[-3000:]}\n{run.stderr[-3000:]}"
    return run.stdout


def scratch_folder(test):
    scratch = tempfile.TemporaryDirectory()
    test.addCleanup(scratch.cleanup)
    folder = pathlib.Path(scratch.name)
    folder.chmod(0o755)
    return folder


class Reproducible(unittest.TestCase):
    def build(self, folder, **more):
        # Objects of an earlier build would hide differences.
        call(PROJECT / "tools/package", env=os.environ | more | {"K905_PACKAGES": str(folder), "CCACHE_DISABLE": "1"},
             umask=int(more.get("UMASK", "022"), 8))
        return {path.name: hashlib.sha256(path.read_bytes()).hexdigest() for path in folder.iterdir()
                if path.name.endswith((".deb", ".spdx.json"))}

    def test_two_builds_in_other_folders_at_other_times_are_identical(self):
        root = scratch_folder(self)
        one = self.build(root / "one", TZ="UTC", LC_ALL="C.UTF-8")
        other = self.build(root / "a_longer_name/other", TZ="Pacific/Auckland", LC_ALL="C", UMASK="077",
                           HOME="/nonexistent", USER="someone")
        self.assertEqual(len(one), 4, one)
        self.assertEqual(one, other)


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


class Arm(unittest.TestCase):
    """The packages for another processor, installed over the root folder they were built in and run by the emulator."""

    # In a layer over that folder, in memory: the next build starts from the same root.
    RUN = """
        mount -t tmpfs -o mode=755 tmpfs "$1" && mkdir "$1/changes" "$1/work" "$1/root"
        mount -t overlay overlay -o "lowerdir=$2,upperdir=$1/changes,workdir=$1/work" "$1/root" || exit 77
        mount -t proc proc "$1/root/proc" && mount --rbind /dev "$1/root/dev"
        mkdir "$1/root/packages" && cp "$3"/*.deb "$1/root/packages"
        chroot "$1/root" /usr/bin/env -i PATH=/usr/bin:/usr/lib/cups/filter:/usr/sbin:/bin:/sbin HOME=/root LC_ALL=C.UTF-8 \
          sh -euc 'cd /packages
            # That all dependencies exist for this processor; they need not be installed to make a sheet.
            apt-get install --simulate --no-install-recommends ./*.deb
            dpkg -i --force-depends ./*.deb
            k905-raster --paper 6x4 -o page.ras test:landscape
            PPD=/usr/share/cups/model/k905/K905.ppd rastertok905 1 me everyday 1 "" <page.ras >page.prn'
        cp "$1/root/packages/page.prn" "$3"
    """

    def try_packages(self, arch):
        if os.geteuid() != 0 or shutil.which("unshare") is None:
            self.skipTest("needs root and unshare")
        call(PROJECT / "tools/package", arch)
        place = PROJECT / "build/package" / arch
        packages = sorted(place.glob(f"*_{arch}.deb"))
        self.assertEqual(sorted(path.name.split("_")[0] for path in packages), sorted(package_test.NAMES))
        self.assertEqual(call("lintian", "--allow-root", "--fail-on", "warning", *packages), "")
        call("unshare", "--mount", "sh", "-euc", self.RUN, "sh", scratch_folder(self),
             PROJECT / f"build/on/cross-{arch}", place)
        dump = call(BUILD / "k905-preview", "--check", "--dump", place / "page.prn")
        self.assertEqual(dump, (PROJECT / "tests/golden/everyday/dump").read_text())

    def test_the_packages_for_arm64_install_and_print_a_golden_job(self):
        self.try_packages("arm64")

    def test_the_packages_for_armhf_install_and_print_a_golden_job(self):
        self.try_packages("armhf")


class AccessRules(unittest.TestCase):
    """The AppArmor profiles, enforced: on a kernel of Debian in an emulator, with the packages as its whole system."""

    INIT = """#!/bin/busybox sh
        busybox mount -t proc proc /proc; busybox mount -t sysfs sysfs /sys; busybox mount -t devtmpfs dev /dev
        busybox mount -t securityfs securityfs /sys/kernel/security; busybox mount -t tmpfs tmpfs /tmp
        export PATH=/usr/bin:/usr/lib/cups/filter:/bin TMPDIR=/var/spool/cups/tmp
        for profile in phototok905 k905-print; do apparmor_parser --add --skip-cache /etc/apparmor.d/$profile; done
        busybox grep -E 'k905' /sys/kernel/security/apparmor/profiles
        k905-print --paper 6x4 --to /srv/job.prn /srv/photo.png
        busybox cmp /srv/job.prn /srv/wanted.prn && echo RESULT k905-print prints
        export PPD=/etc/cups/ppd/photo.ppd CONTENT_TYPE=image/png
        phototok905 1 me photo 1 '' /var/spool/cups/d00001-001 >/tmp/page.ras
        busybox cmp /tmp/page.ras /srv/wanted.ras && echo RESULT phototok905 prints
        busybox dmesg | busybox grep 'apparmor="DENIED"'
        echo RESULT end of valid jobs
        phototok905 1 me photo 1 '' /srv/photo.png >/tmp/page.ras || echo RESULT phototok905 reads no other files
        (echo 'exec k905-print' >/proc/self/attr/exec; exec busybox sh -c '/usr/bin/k905-setup --version') ||
          echo RESULT k905-print starts no other programs
        (echo 'exec k905-print//decoder' >/proc/self/attr/exec; exec busybox sh -c 'echo text >/srv/file') ||
          echo RESULT its decoder writes no files
        busybox poweroff -f
    """

    def test_enforced_they_let_photos_print_and_forbid_the_rest(self):
        kernels = sorted(pathlib.Path(os.environ.get("K905_KERNELS", "/boot")).glob("vmlinuz-*"))
        for needed in ("qemu-system-x86_64", "busybox", "apparmor_parser"):
            if shutil.which(needed, path=package_test.environment()["PATH"]) is None:
                self.skipTest(f"{needed} is not installed")
        if not kernels:
            self.skipTest("there is no kernel in /boot; K905_KERNELS names another folder")
        folder = scratch_folder(self)
        package_test.BUILD, package_test.FOLDER = BUILD, folder / "packages"
        package_test.make_packages(folder / "packages")
        package_test.Alone.setUpClass()
        self.addCleanup(package_test.Alone.doClassCleanups)
        root = package_test.Alone.root
        self.prepare_root(root)
        image = folder / "image"
        call("sh", "-euc", 'cd "$1" && find . | busybox cpio -o -H newc >"$2"', "sh", root, image)
        output = call("qemu-system-x86_64", "-m", "2048", "-nographic", "-no-reboot", "-kernel", kernels[-1], "-initrd", image,
                      "-append", "console=ttyS0 quiet no_timer_check security=apparmor panic=-1 rdinit=/init", timeout=3000,
                      stdin=subprocess.DEVNULL)
        before, _, after = output.partition("RESULT end of valid jobs")
        self.assertEqual(re.findall(r".*DENIED.*", before), [])
        for wanted in ("k905-print prints", "phototok905 prints"):
            self.assertIn(f"RESULT {wanted}", before, output)
        for wanted in ("phototok905 reads no other files", "k905-print starts no other programs",
                       "its decoder writes no files"):
            self.assertIn(f"RESULT {wanted}", after, output)

    def prepare_root(self, root):
        for place in ("sys", "tmp", "srv", "etc/cups/ppd", "var/spool/cups/tmp", "usr/sbin"):
            (root / place).mkdir(parents=True, exist_ok=True)
        (root / "init").write_text("\n".join(line.strip() for line in self.INIT.splitlines()) + "\n")
        (root / "init").chmod(0o755)
        shutil.copy2(shutil.which("busybox"), root / "bin/busybox")
        parser = shutil.which("apparmor_parser", path=package_test.environment()["PATH"])
        shutil.copy2(parser, root / "bin/apparmor_parser")
        for folder in ("abi", "abstractions", "tunables"):
            shutil.copytree(f"/etc/apparmor.d/{folder}", root / "etc/apparmor.d" / folder)
        photo = artwork.png(root / "srv/photo.png", 1800, 1200)
        shutil.copy2(photo, root / "var/spool/cups/d00001-001")
        shutil.copy2(root / "usr/share/cups/model/k905/K905.ppd", root / "etc/cups/ppd/photo.ppd")
        call(BUILD / "k905-print", "--paper", "6x4", "--to", root / "srv/wanted.prn", photo)
        with open(root / "srv/wanted.ras", "wb") as page:
            subprocess.run([BUILD / "phototok905", "1", "me", "photo", "1", "", photo], stdout=page, check=True,
                           env=os.environ | {"PPD": str(root / "etc/cups/ppd/photo.ppd"), "CONTENT_TYPE": "image/png"})


def main():
    for needed in ("dh", "dpkg-buildpackage", "git"):
        if shutil.which(needed) is None:
            print("SKIPPED:", needed, "is not installed")
            return private_cups.SKIPPED
    result = private_cups.run_tests()
    if not result.wasSuccessful():
        return 1
    return private_cups.SKIPPED if result.skipped else 0


if __name__ == "__main__":
    sys.exit(main())
