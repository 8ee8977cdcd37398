"""The Debian packages: `package_test.py BUILD CMAKE [TEST...]`.

Packs the build, as `tools/package` does, installs the packages with dpkg into a scratch folder, never into the
system, prints from there to the simulated printer through a private scheduler, and removes them again.
Exit status 77: the tests cannot run on this machine.
"""

import collections
import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "cups"))

import artwork  # noqa: E402  (found by the line above)
import ipp  # noqa: E402
import private_cups  # noqa: E402
from simulated_printer import SimulatedPrinter  # noqa: E402

BUILD, CMAKE = private_cups.programs()
NAMES = ("rastertok905", "k905-print", "k905-devtools")
FOLDER = pathlib.Path()  # where the packages are made, once
MODELS = ("K905", "RV-40", "RV-40W", "RS-30")


def call(*command, **more):
    more.setdefault("env", environment())
    return subprocess.run([str(word) for word in command], check=True, text=True,
                          capture_output=True, **more).stdout


def environment():
    return os.environ | {"PATH": os.environ.get("PATH", "") + ":/usr/sbin:/sbin", "LC_ALL": "C"}


def make_packages(folder, umask=0o077, **variables):
    # The installation list in the build folder belongs to an earlier installation by the user.
    with private_cups.preserved_install_manifest(BUILD):
        made = subprocess.run([HERE.parents[1] / "tools/package"], text=True, capture_output=True, check=False,
                              umask=umask, env=environment() | variables |
                              {"K905_BUILT": str(BUILD), "K905_PACKAGES": str(folder)})
    assert made.returncode == 0, made.stdout + made.stderr
    for file in filter(pathlib.Path.is_file, folder.iterdir()):
        file.chmod(0o644)  # lintian reads as another user


def files(pattern="*.deb"):
    return sorted(path for path in FOLDER.glob(pattern) if path.is_file())


def file_of(name):
    (file,) = files(f"{name}_*.deb")
    return file


def dpkg(root, *arguments, cups=None):
    database = root / "var/lib/dpkg"
    for place in ("updates", "info", "triggers"):
        (database / place).mkdir(parents=True, exist_ok=True)
    (database / "status").touch()
    # The required packages are installed on the machine, not in this folder. The scripts of the packages run
    # outside the folder and must not find the print system of the machine.
    print_system = cups.environment() if cups else {"CUPS_SERVER": f"{root}/no-scheduler"}
    return call("dpkg", f"--root={root}", f"--log={database}/log", "--force-depends",
                "--auto-deconfigure",  # as apt does: a program that moved to another package
                "--force-script-chrootless", *arguments,
                env=environment() | print_system | {"CUPS_CACHEDIR": f"{root}/cache"})


def files_of_packages(root):
    return [root / path.lstrip("/") for path in dpkg(root, "-L", *NAMES).split("\n")
            if path.startswith("/") and path != "/."]


class Contents(unittest.TestCase):
    """The contents of the packages."""

    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.root = pathlib.Path(scratch.name)
        cls.data = cls.root / "data"
        (cls.root / "control").mkdir()
        for name in NAMES:
            call("dpkg-deb", "-x", file_of(name), cls.data)
            call("dpkg-deb", "-e", file_of(name), cls.root / "control" / name)

    def field(self, package, name):
        return call("dpkg-deb", "-f", file_of(package), name).strip()

    def needs(self, package):
        """The packages that it depends on, by name."""
        return {re.split(r"[ (|]", entry.strip())[0] for entry in self.field(package, "Depends").split(",")}

    def programs(self):
        return [program for folder in ("bin", "lib/cups/filter", "lib/cups/backend")
                for program in (self.data / "usr" / folder).iterdir()]

    def test_the_files_of_all_programs_and_queues_are_there(self):
        wanted = ["usr/lib/cups/backend/k905",
                  "usr/lib/cups/filter/rastertok905", "usr/lib/cups/filter/rastertok905job",
                  "usr/lib/cups/filter/phototok905", "usr/share/cups/mime/k905-photo.types",
                  "usr/share/cups/mime/k905-photo.convs",
                  "usr/share/man/man8/rastertok905.8.gz", "etc/apparmor.d/phototok905",
                  "etc/apparmor.d/k905-print"]
        wanted += [f"usr/share/doc/{name}/{file}" for name in NAMES for file in ("copyright", "changelog.gz")]
        wanted += [f"usr/share/cups/model/k905/{model}.ppd" for model in MODELS]
        wanted += [f"usr/bin/{name}" for name in ("k905-preview", "k905-print", "k905-raster", "k905-setup",
                                                   "k905-sim", "k905-status")]
        for path in wanted:
            self.assertTrue((self.data / path).is_file(), path)

    def test_each_package_has_its_programs(self):
        for name, wanted in (("rastertok905", {"k905-setup", "k905-status"}), ("k905-print", {"k905-print"}),
                             ("k905-devtools", {"k905-preview", "k905-raster", "k905-sim"})):
            listed = call("dpkg-deb", "-c", file_of(name))
            self.assertEqual(set(re.findall(r" \./usr/bin/(\S+)$", listed, re.MULTILINE)), wanted)

    def test_a_print_server_needs_no_library_for_photos(self):
        self.assertFalse([need for need in self.needs("rastertok905") if "vips" in need])
        self.assertTrue([need for need in self.needs("k905-print") if "vips" in need])
        listed = call("dpkg-deb", "-c", file_of("k905-print"))
        for path in ("lib/cups/filter/phototok905", "share/cups/mime/k905-photo.types",
                     "share/cups/mime/k905-photo.convs"):
            self.assertIn(f" ./usr/{path}\n", listed)

    def test_the_manual_is_complete_and_its_links_work(self):
        manual = self.data / "usr/share/doc/rastertok905/manual"
        chapters = {path.name for path in (HERE.parents[1] / "docs").glob("*.md")}
        self.assertEqual(chapters - {path.name for path in manual.iterdir()}, set())
        for chapter in manual.glob("*.md"):
            for link in re.findall(r"\]\(([\w./-]+?)(?:#[\w-]*)?\)", chapter.read_text()):
                # SECURITY.md and the like refer to the source, which is not installed.
                if "/" not in link or link.startswith("images/"):
                    self.assertTrue((manual / link).exists(), f"{chapter.name}: {link}")

    def test_every_program_has_its_manual_page_and_every_tool_its_completion(self):
        pages = {path.name.split(".")[0] for path in self.data.glob("usr/share/man/man?/*.gz")}
        self.assertEqual(pages, {program.name for program in self.programs()})
        completions = {path.name for path in self.data.glob("usr/share/bash-completion/completions/*")}
        self.assertEqual(completions, {path.name for path in (self.data / "usr/bin").iterdir()})

    def test_nothing_is_installed_elsewhere(self):
        places = re.compile(r"usr/(bin|lib/cups/(filter|backend)|share/cups/(model/k905|mime)|share/man/man\d|"
                            r"share/doc/(rastertok905(/manual(/images)?)?|k905-print|k905-devtools)|"
                            r"share/bash-completion/completions|share/lintian/overrides|lib/systemd/system|"
                            r"lib/sysusers\.d)/[^/]+$|etc/apparmor\.d/(phototok905|k905-print)$")
        for path in self.data.rglob("*"):
            if not path.is_dir():
                self.assertRegex(str(path.relative_to(self.data)), places)

    def test_permissions_are_those_that_cups_requires(self):
        # The package may have been built under a umask that denies access to others.
        for line in "".join(call("dpkg-deb", "-c", file) for file in files()).splitlines():
            mode, owner, *_, name = line.split()
            self.assertEqual(owner, "root/root", name)
            program = re.match(r"\./usr/(bin|lib/cups/filter)/.", name)
            # CUPS starts a backend as root only if no other user may execute it.
            backend = name == "./usr/lib/cups/backend/k905"
            wanted = ("drwxr-xr-x" if name.endswith("/") else "-rwx------" if backend else
                      "-rwxr-xr-x" if program else "-rw-r--r--")
            self.assertEqual(mode, wanted, name)

    def test_the_tools_find_the_filter_where_the_package_puts_it(self):
        photo = artwork.png(self.root / "photo.png", 1800, 1200)
        call(self.data / "usr/bin/k905-print", "--to", self.root / "job.prn", photo)
        checked = call(self.data / "usr/bin/k905-preview", "--check", self.root / "job.prn")
        self.assertIn("1920 x 1240", checked)

    def test_programs_contain_no_symbols(self):
        for program in self.programs():
            if program.read_bytes()[:4] == b"\x7fELF":
                sections = call("readelf", "--wide", "-S", program)
                self.assertNotIn(".symtab", sections, program.name)
                self.assertNotIn(".debug_info", sections, program.name)

    def test_every_file_has_its_checksum(self):
        # dpkg keeps the checksums of configuration files itself.
        for name in NAMES:
            sums = (self.root / "control" / name / "md5sums").read_text().splitlines()
            listed = re.findall(r"^-.* \./(usr/\S+)$", call("dpkg-deb", "-c", file_of(name)), re.MULTILINE)
            self.assertEqual(sorted(line.split("  ", 1)[1] for line in sums), sorted(listed))
            call("md5sum", "--check", "--quiet", self.root / "control" / name / "md5sums", cwd=self.data)

    def test_it_depends_on_its_libraries_and_on_the_programs_that_make_raster(self):
        # In Debian 13 the names of libraries with 64-bit times end in t64.
        named = {name.removesuffix("t64") for name in self.needs("rastertok905")}
        for package in ("libc6", "libcups2", "liblcms2-2", "cups", "cups-filters", "ghostscript"):
            self.assertIn(package, named)

    def test_every_library_of_every_program_comes_with_a_dependency(self):
        users = collections.defaultdict(set)  # of a library: the packages with programs that need it
        for name in NAMES:
            listed = call("dpkg-deb", "-c", file_of(name))
            for program in re.findall(r" \./(usr/(?:bin|lib/cups)/\S*[^/\s])$", listed, re.MULTILINE):
                for library in re.findall(r"NEEDED.*\[(.+)\]", call("readelf", "--wide", "-d", self.data / program)):
                    users[library].add(name)
        owners = collections.defaultdict(set)
        for line in call("dpkg-query", "-S", *(f"*/{library}" for library in users)).splitlines():
            owner, path = line.split(": ")
            owners[path.rsplit("/", 1)[1]].add(owner.split(":")[0])
        for library, names in users.items():
            for name in names if not library.startswith("ld-linux") else ():
                self.assertTrue(owners[library] & self.needs(name), f"{name} needs {library} of {owners[library]}")

    def test_name_and_version_are_the_project_s(self):
        project = re.search(r"project\(rastertok905 VERSION (\S+)",
                            (HERE.parents[1] / "CMakeLists.txt").read_text())[1]
        for name in NAMES:
            self.assertEqual(self.field(name, "Package"), name)
            self.assertEqual(self.field(name, "Version"), project)
            changelog = call("gzip", "-dc", self.data / f"usr/share/doc/{name}/changelog.gz")
            self.assertTrue(changelog.startswith(f"rastertok905 ({project}) "), changelog[:60])

    def test_the_bill_of_materials_lists_the_packages_and_what_they_are_made_of(self):
        (file,) = files("rastertok905_*.spdx.json")
        bill = json.loads(file.read_text())
        by_id = {package["SPDXID"]: package for package in bill["packages"]}
        self.assertEqual(len(by_id), len(bill["packages"]))
        described = [by_id[relation["relatedSpdxElement"]] for relation in bill["relationships"]
                     if relation["relationshipType"] == "DESCRIBES"]
        self.assertEqual(sorted(package["name"] for package in described), sorted(NAMES))
        for package in described:
            self.assertEqual(package["checksums"][0]["checksumValue"],
                             hashlib.sha256(file_of(package["name"]).read_bytes()).hexdigest())
            needed = {by_id[relation["relatedSpdxElement"]]["name"] for relation in bill["relationships"]
                      if relation["spdxElementId"] == package["SPDXID"]}
            self.assertEqual(self.needs(package["name"]) - needed, set())
            # Linked into the programs.
            self.assertIn("nlohmann-json3-dev", needed)
            if package["name"] == "k905-print":
                self.assertIn("libsqlitecpp-dev", needed)
        (library,) = (package for package in bill["packages"] if package["name"] == "liblcms2-2")
        self.assertEqual(library["versionInfo"], call("dpkg-query", "-W", "-f", "${Version}", "liblcms2-2"))
        (changes,) = files("*.changes")
        self.assertIn(file.name, changes.read_text())

    def test_the_libraries_needed_for_building_are_those_that_setup_installs(self):
        needed = (HERE.parents[1] / "packaging/debian/control").read_text().partition("\n\n")[0]
        installed = re.search('^packages="(.*?)"', (HERE.parents[1] / "tools/setup").read_text(), re.M | re.S)[1]
        libraries = re.compile(r"\S+-dev(?=[\s,])")
        self.assertEqual(sorted(libraries.findall(needed)), sorted(set(libraries.findall(installed)) - {"dpkg-dev"}))

    def test_the_copyright_file_says_that_there_is_no_license_yet(self):
        text = (self.data / "usr/share/doc/rastertok905/copyright").read_text()
        self.assertIn("has not chosen a license", text)

    def test_packed_again_in_another_folder_at_another_time_they_are_the_same(self):
        again = self.root / "a_longer_name" / "packages"
        make_packages(again, umask=0o022, TZ="Pacific/Auckland", HOME="/nonexistent")
        for file in files() + files("*.spdx.json"):
            self.assertEqual(file.read_bytes(), (again / file.name).read_bytes(), file.name)

    def test_lintian_finds_nothing(self):
        if not shutil.which("lintian"):
            self.skipTest("lintian is not installed")
        # The packages are made from the build of the tests, which lacks the compiler flags for checked library calls.
        found = subprocess.run(["lintian", "--allow-root", "--fail-on", "warning", "--suppress-tags",
                                "hardening-no-fortify-functions", *files("*.changes")],
                               text=True, capture_output=True, check=False, env=environment())
        self.assertEqual((found.returncode, found.stdout), (0, ""), found.stderr)

    def test_the_access_rules_of_programs_that_read_photos_are_valid(self):
        parser = shutil.which("apparmor_parser", path=environment()["PATH"])
        if parser is None:
            self.skipTest("apparmor_parser is not installed")
        for name in ("phototok905", "k905-print"):
            checked = subprocess.run([parser, "--skip-kernel-load", "--skip-cache",
                                      self.data / "etc/apparmor.d" / name],
                                     text=True, capture_output=True, check=False)
            self.assertEqual(checked.returncode, 0, checked.stderr)


    def test_the_service_is_valid_and_confined(self):
        if not shutil.which("systemd-analyze"):
            self.skipTest("systemd-analyze is not installed")
        (unit,) = self.data.glob("usr/lib/systemd/system/*")
        copy = self.root / unit.name
        copy.write_text(unit.read_text().replace("/usr/bin/k905-print", f"{self.data}/usr/bin/k905-print"))
        for command in (["verify", "--man=no"],
                        # The worst score of a service is 100; this one may only read photos, write
                        # its folders and use CUPS.
                        ["security", "--offline=yes", "--threshold=10"]):
            checked = subprocess.run(["systemd-analyze", *command, copy], text=True, capture_output=True, check=False,
                                     env=environment())
            self.assertEqual(checked.returncode, 0, checked.stdout + checked.stderr)
            # A line that systemd does not know is ignored, and protects nothing.
            self.assertNotIn("gnoring", checked.stdout + checked.stderr)
        for line in ("NoNewPrivileges=yes", "ProtectSystem=strict", "PrivateDevices=yes", "DevicePolicy=closed",
                     "SystemCallFilter=@system-service"):
            self.assertIn(f"\n{line}\n", unit.read_text())


def with_their_dependencies(packages):
    """The packages and all that they depend on, by name."""
    found = set()
    wanted = list(packages)
    while wanted:
        name = wanted.pop()
        if name in found:
            continue
        # Of alternative packages this machine has one installed; dpkg may know the others by name.
        known = subprocess.run(["dpkg-query", "-W", "-f", "${db:Status-Status},${Pre-Depends}, ${Depends}", name],
                               text=True, capture_output=True, check=False, env=environment())
        status, _, depends = known.stdout.partition(",")
        if status == "installed":
            found.add(name)
            wanted += re.findall(r"(?:^|[,|] *)([a-z0-9][a-z0-9.+-]*)", depends)
    return found


def skip_unless_mounting_is_allowed():
    possible = subprocess.run(["unshare", "--mount", "true"], text=True, capture_output=True, check=False)
    if possible.returncode != 0:
        raise unittest.SkipTest(possible.stderr)


class Alone(unittest.TestCase):
    """On a machine that has the package and the libraries it depends on, and nothing else."""

    NO_LIBRARIES = {"cups", "cups-filters", "ghostscript"}

    @classmethod
    def setUpClass(cls):
        skip_unless_mounting_is_allowed()
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.root = pathlib.Path(scratch.name)
        for folder in ("bin", "lib", "lib64", "sbin"):
            (cls.root / "usr" / folder).mkdir(parents=True)
            (cls.root / folder).symlink_to(f"usr/{folder}")
        for folder in ("dev", "proc"):
            (cls.root / folder).mkdir()
        named = set()
        for file in files():
            call("dpkg-deb", "-x", file, cls.root)
            depends = call("dpkg-deb", "-f", file, "Depends")
            named |= {re.split(r"[ (|]", entry.strip())[0] for entry in depends.split(",")}
        for package in with_their_dependencies(named - cls.NO_LIBRARIES - set(NAMES)):
            for path in map(pathlib.Path, call("dpkg-query", "-L", package).splitlines()):
                if ".so" in path.name and (path.is_symlink() or path.is_file()):
                    place = cls.root / path.relative_to("/")
                    place.parent.mkdir(parents=True, exist_ok=True)
                    shutil.copy2(path, place, follow_symlinks=False)

    # Folders that every machine has are mounted for this command only.
    MOUNT = ('root=$1 && shift && mount --rbind /dev "$root/dev" && mount --rbind /proc "$root/proc" && '
             'exec env -i PATH=/usr/bin:/usr/lib/cups/filter "$(command -v chroot)" "$root" "$@"')

    def run_alone(self, *command):
        return subprocess.run(["unshare", "--mount", "sh", "-c", self.MOUNT, "sh", self.root, *command],
                              text=True, capture_output=True, check=False, env=environment(),
                              stdin=subprocess.DEVNULL)

    def test_every_program_finds_its_libraries(self):
        for program in [*self.root.glob("usr/bin/k905-*"), *self.root.glob("usr/lib/cups/filter/*")]:
            if program.read_bytes()[:4] == b"\x7fELF":
                result = self.run_alone("/" + str(program.relative_to(self.root)), "--version")
                self.assertNotIn("shared librar", result.stderr, program.name)
                self.assertIn(result.returncode, (0, 1), f"{program.name}: {result.stderr}")

    def test_a_photo_becomes_a_sheet(self):
        artwork.png(self.root / "photo.png", 1800, 1200)
        for command in (("k905-print", "--to", "job.prn", "photo.png"),
                        ("k905-preview", "--contact", "sheets.png", "job.prn"),
                        ("k905-raster", "-o", "page.ras", "photo.png")):
            result = self.run_alone(*command)
            self.assertEqual(result.returncode, 0, result.stderr)
        result = self.run_alone("k905-status", "/nowhere")
        self.assertEqual((result.returncode, result.stdout),
                         (2, "/nowhere: not reachable, No such file or directory\n"))

    def test_the_advice_for_a_missing_program_fits_its_installation(self):
        filter_program = self.root / "usr/lib/cups/filter/rastertok905"
        filter_program.rename(filter_program.with_name("elsewhere"))
        self.addCleanup(filter_program.with_name("elsewhere").rename, filter_program)
        self.assertIn("-> cmake --install", self.run_alone("k905-setup", "--check", "photo").stdout)
        listed = self.root / "var/lib/dpkg/info/rastertok905.list"
        listed.parent.mkdir(parents=True)
        listed.touch()
        self.assertIn("-> apt-get install --reinstall rastertok905",
                      self.run_alone("k905-setup", "--check", "photo").stdout)


class Removal(unittest.TestCase):
    def test_uninstalling_removes_everything(self):
        with tempfile.TemporaryDirectory() as scratch:
            root = pathlib.Path(scratch)
            dpkg(root, "-i", *files())
            self.assertTrue((root / "usr/lib/cups/filter/rastertok905").is_file())
            (root / "var/lib/k905-watch").mkdir()  # as the service makes it
            output = dpkg(root, "--purge", *NAMES)
            self.assertIn("/var/lib/k905-watch stays", output)
            left = [path for path in root.rglob("*")
                    if not path.is_relative_to(root / "var") and path != root / "var"]
            self.assertEqual(left, [])


class Installed(unittest.TestCase):
    """On a temporary copy of this machine: an overlay over its file system, in memory."""

    MOUNT = """
        mount -t tmpfs -o mode=755 tmpfs "$1" || exit 77
        mkdir "$1/changes" "$1/work" "$1/root"
        mount -t overlay overlay -o "lowerdir=/,upperdir=$1/changes,workdir=$1/work" "$1/root" || exit 77
        root=$1/root
        mount --rbind /dev "$root/dev" && mount --rbind /proc "$root/proc" && mount -t tmpfs tmpfs "$root/tmp"
        mkdir "$root/tmp/packages" && cp "$2"/*.deb "$3" "$root/tmp/packages"
        chroot "$root" sh -euc 'cd /tmp/packages
            if pidof cupsd >/dev/null; then export CUPS_SERVER=/none; fi
            dpkg -i --force-depends *.deb
            exec ./prints-a-sheet'
    """

    def test_the_packages_install_and_their_own_test_prints_a_sheet(self):
        missing = private_cups.what_is_missing()
        if missing:
            self.skipTest(missing)
        skip_unless_mounting_is_allowed()
        with tempfile.TemporaryDirectory() as scratch:
            script = HERE.parents[1] / "packaging/debian/tests/prints-a-sheet"
            run = subprocess.run(["unshare", "--mount", "sh", "-euc", self.MOUNT, "sh", scratch, FOLDER, script],
                                 text=True, capture_output=True, check=False, env=environment(),
                                 stdin=subprocess.DEVNULL)
        if run.returncode == 77:
            self.skipTest("no layer over the file system can be mounted: " + run.stderr)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        self.assertIn("one sheet, as k905-print makes it", run.stdout)


class PackagedCups(private_cups.PrivateCups):
    """A private CUPS with the filter, PPD files and tools of the package."""

    def install_product(self):
        dpkg(self.root, "-i", *files())


class Upgrade(unittest.TestCase):
    def test_queues_are_updated_with_their_jobs_and_a_purge_lists_what_stays(self):
        missing = private_cups.what_is_missing()
        if missing:
            self.skipTest(missing)
        with tempfile.TemporaryDirectory() as scratch:
            root = pathlib.Path(scratch)
            root.chmod(0o755)  # for the user that runs the filters
            system = root / "system"
            system.mkdir()
            with PackagedCups(system, BUILD, CMAKE) as cups:
                printer = SimulatedPrinter(cups.prefix / "bin/k905-sim", root / "sheets")
                self.addCleanup(printer.stop)
                cups.add_queue("photo", device=printer.uri, StpLaminate="Matte",
                               print_scaling_default="fill", printer_error_policy="retry-current-job")
                ppd = cups.etc / "ppd/photo.ppd"
                ppd.write_text(re.sub(r'FileVersion: ".*"', 'FileVersion: "0.1"', ppd.read_text()))
                cups.run("cupsdisable", "photo")
                job = cups.submit("photo", artwork.png(root / "photo.png", 1800, 1200))
                dpkg(cups.root, "-i", *files(), cups=cups)
                self.assertNotIn('FileVersion: "0.1"', ppd.read_text())
                self.assertIn("*Matte", cups.run("lpoptions", "-p", "photo", "-l").stdout)
                self.assertIn(printer.uri.replace("socket:", "k905:"), cups.run("lpstat", "-v", "photo").stdout)
                cups.run("cupsenable", "photo")
                self.assertEqual(cups.finished(job)["job-state"], ipp.COMPLETED)
                self.assertEqual(len(printer.printed(cups, 1)), 1)
                self.assertTrue((cups.root / "cache/k905").is_dir())
                output = dpkg(cups.root, "--purge", *NAMES, cups=cups)
                self.assertIn("the queue photo stays", output)
                self.assertIn("photo", cups.run("lpstat", "-e").stdout)
                self.assertFalse((cups.root / "cache/k905").exists())


class Printing(unittest.TestCase):
    def test_a_photo_and_a_document_print_and_purge_removes_everything(self):
        missing = private_cups.what_is_missing()
        if missing:
            self.skipTest(missing)
        with tempfile.TemporaryDirectory() as scratch:
            root = pathlib.Path(scratch)
            root.chmod(0o755)  # for the user that runs the filters
            system = root / "system"
            system.mkdir()
            with PackagedCups(system, BUILD, CMAKE) as cups:
                printer = SimulatedPrinter(cups.prefix / "bin/k905-sim", root / "sheets", "--media", "6x4")
                self.addCleanup(printer.stop)
                made = cups.run(cups.prefix / "bin/k905-setup", "photo", "--paper", "6x4",
                                "--device", printer.uri, check=False)
                self.assertEqual(made.returncode, 0, made.stdout + made.stderr)
                photo = artwork.png(root / "photo.png", 1800, 1200)
                artwork.pdf(root / "album.pdf", 460.8, 297.6, (artwork.CYAN, artwork.MAGENTA))
                for file in (photo, root / "album.pdf"):
                    job = cups.submit("photo", file)
                    self.assertEqual(cups.finished(job)["job-state"], ipp.COMPLETED)
                self.assertEqual(len(printer.printed(cups, 3)), 3)
                installed = files_of_packages(cups.root)
                self.assertTrue(all(os.path.lexists(path) for path in installed))
                cups.run("lpadmin", "-x", "photo")
                dpkg(cups.root, "--purge", *NAMES, cups=cups)
                self.assertEqual([path for path in installed if not path.is_dir() and
                                  os.path.lexists(path)], [])
                own = [path for place in (cups.prefix, cups.etc, cups.root / "spool")
                       for path in place.rglob("*") if re.search("k905|photo", path.name, re.I)]
                self.assertEqual(own, [])


def main():
    global FOLDER
    missing = [name for name in ("dh", "dpkg", "dpkg-buildpackage", "git", "readelf", "gzip")
               if not shutil.which(name)]
    if missing or os.geteuid() != 0:
        print("SKIPPED: no package can be tried here:", " ".join(missing) or "dpkg installs for root only")
        return private_cups.SKIPPED
    with tempfile.TemporaryDirectory() as folder:
        FOLDER = pathlib.Path(folder) / "packages"
        make_packages(FOLDER)
        for path in (pathlib.Path(folder), FOLDER):
            path.chmod(0o755)
        return 0 if private_cups.run_tests().wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
