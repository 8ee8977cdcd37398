"""A private CUPS in a scratch folder: scheduler, spool, socket, filters, queues.

Uses only the programs, the standard filters and the MIME tables of the installed CUPS, and changes nothing of
it. The scheduler must be started by root, because it runs the filters as another user.
"""

import contextlib
import fcntl
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import time
import unittest
import urllib.parse

import ipp

STOCK_SERVERBIN = pathlib.Path("/usr/lib/cups")
STOCK_DATADIR = pathlib.Path("/usr/share/cups")
NEEDED_PROGRAMS = ["cupsd", "lp", "lpadmin", "lpstat", "lpoptions", "cancel", "cupsdisable",
                   "cupsenable", "cupsaccept", "ipptool", "gs"]
NEEDED_FILTERS = ["imagetoraster", "pdftopdf", "gstoraster"]
SKIPPED = 77  # exit status of a test that cannot run on this machine


def what_is_missing():
    """The reason why no private CUPS can run here; "" if it can."""
    if os.geteuid() != 0:
        return "the scheduler must be started by root"
    path = os.environ.get("PATH", "") + ":/usr/sbin:/sbin"
    missing = [name for name in NEEDED_PROGRAMS if shutil.which(name, path=path) is None]
    missing += [name for name in NEEDED_FILTERS if not (STOCK_SERVERBIN / "filter" / name).exists()]
    return "not installed: " + ", ".join(missing) if missing else ""


def programs(count=2):
    """BUILD (a build folder) and CMAKE (the program), the first two of at least `count` arguments. If there are
    fewer, the usage is printed and the program exits."""
    if len(sys.argv) <= count:
        print(sys.modules["__main__"].__doc__, file=sys.stderr)
        sys.exit(2)
    return pathlib.Path(sys.argv[1]).resolve(), sys.argv[2]


def skip_unless_cups_can_run():
    if missing := what_is_missing():
        print(f"SKIPPED: no print system can be started here: {missing}")
        sys.exit(SKIPPED)


def run_tests():
    """Runs the tests of the program, or those that its third and later arguments name; their result."""
    return unittest.main(argv=[sys.argv[0], "-v"] + sys.argv[3:], exit=False).result


def main():
    skip_unless_cups_can_run()
    sys.exit(0 if run_tests().wasSuccessful() else 1)


RESERVED = []  # bound sockets


def free_port():
    """A port that no other program gets as long as this one runs. Connections are refused until a server that sets
    SO_REUSEADDR, as cupsd and k905-sim do, listens on it."""
    both = socket.has_dualstack_ipv6()
    taken = socket.socket(socket.AF_INET6 if both else socket.AF_INET)
    if both:
        taken.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 0)
    taken.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    taken.bind(("", 0))
    RESERVED.append(taken)
    return taken.getsockname()[1]


@contextlib.contextmanager
def preserved_install_manifest(build):
    """`cmake --install` writes the list of its files into the build folder, where the uninstall target
    may need the list of an earlier installation; and two tests may install at the same time."""
    manifest = build / "install_manifest.txt"
    with open(build / "install.lock", "w", encoding="ascii") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        kept = manifest.read_bytes() if manifest.exists() else None
        try:
            yield
        finally:
            manifest.unlink(missing_ok=True)
            if kept is not None:
                manifest.write_bytes(kept)


class PrivateCups:
    """Started on entry, stopped and removed on exit of a `with`."""

    def __init__(self, scratch, build, cmake="cmake", has_photo_filter=True, on_network=False):
        self.root = pathlib.Path(scratch)
        self.build = pathlib.Path(build)
        self.cmake = cmake  # the program
        self.has_photo_filter = has_photo_filter
        self.prefix = self.root / "usr"
        self.serverbin = self.prefix / "lib" / "cups"
        self.etc = self.root / "etc"
        self.captured = self.root / "captured"
        self.socket = self.root / "cups.sock"
        self.scheduler = self.root / "cupsd"
        self.port = free_port() if on_network else None  # of 127.0.0.1, for other schedulers
        self.process = None

    def __enter__(self):
        self.install()
        self.configure()
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()

    # Setup -----------------------------------------------------------------------------

    def install_product(self):
        with preserved_install_manifest(self.build):
            subprocess.run([self.cmake, "--install", str(self.build), "--prefix", str(self.prefix)],
                           check=True, stdout=subprocess.DEVNULL)

    def install(self):
        os.chmod(self.root, 0o755)  # for the user that runs the filters
        # A copy: Debian's AppArmor profile is for /usr/sbin/cupsd and forbids it to run programs in scratch folders.
        shutil.copy2(shutil.which("cupsd", path=self.environment()["PATH"]), self.scheduler)
        self.install_product()
        for folder in ["daemon", "cgi-bin", "monitor", "notifier", "filter", "backend"]:
            (self.serverbin / folder).mkdir(parents=True, exist_ok=True)
        for folder in ["daemon", "filter", "backend"]:
            for stock in (STOCK_SERVERBIN / folder).iterdir():
                link = self.serverbin / folder / stock.name
                if not link.exists():
                    link.symlink_to(stock)
        self.add_backend("capture", "capture_backend.py")
        if not (self.serverbin / "backend" / "socket").exists():
            self.add_backend("socket", "socket_backend.py")

    def add_backend(self, scheme, script):
        """Only root may execute it, so CUPS runs it as root: Python may be in a folder that only root can read."""
        backend = self.serverbin / "backend" / scheme
        text = (pathlib.Path(__file__).parent / script).read_text()
        backend.write_text(f"#!{sys.executable}\n{text}")
        backend.chmod(0o700)

    def configure(self):
        for folder in ["etc", "spool", "spool/tmp", "cache", "state", "log", "captured", "data"]:
            (self.root / folder).mkdir(exist_ok=True)
        shutil.chown(self.captured, "lp", "lp")
        for entry in STOCK_DATADIR.iterdir():
            if entry.name not in ("model", "drv", "mime"):
                (self.root / "data" / entry.name).symlink_to(entry)
        self.install_types()
        (self.root / "data" / "model").symlink_to(self.prefix / "share" / "cups" / "model")
        (self.etc / "cups-files.conf").write_text(
            f"User lp\nGroup lp\nSystemGroup root\nServerRoot {self.etc}\n"
            f"ServerBin {self.serverbin}\nDataDir {self.root}/data\nDocumentRoot {self.root}/data\n"
            f"RequestRoot {self.root}/spool\nTempDir {self.root}/spool/tmp\n"
            f"CacheDir {self.root}/cache\nStateDir {self.root}/state\n"
            f"ErrorLog {self.root}/log/error_log\nAccessLog {self.root}/log/access_log\n"
            f"PageLog {self.root}/log/page_log\nServerKeychain {self.etc}/ssl\nPrintcap\n"
            "FileDevice Yes\n"
            # For builds with a leak checker. A copy, because the filters' user must be able to read it.
            f"SetEnv LSAN_OPTIONS suppressions={self.root}/known_leaks.supp:print_suppressions=0\n")
        shutil.copy(pathlib.Path(__file__).parent / "known_leaks.supp", self.root)
        (self.etc / "cupsd.conf").write_text(
            f"LogLevel debug\nMaxLogSize 0\nListen {self.socket}\nBrowsing No\nWebInterface No\n" +
            (f"Listen 127.0.0.1:{self.port}\n" if self.port else "") +
            "ErrorPolicy abort-job\nPreserveJobHistory Yes\nPreserveJobFiles No\nMaxJobs 0\n"
            "JobRetryInterval 1\nDirtyCleanInterval 0\nPageLogFormat %p %j %P %C\n"
            "<Policy default>\n<Limit All>\nOrder allow,deny\nAllow all\n</Limit>\n</Policy>\n"
            "<Location />\nOrder allow,deny\nAllow all\n</Location>\n")

    def install_types(self):
        types = self.root / "data" / "mime"
        types.mkdir()
        own = self.prefix / "share/cups/mime" if self.has_photo_filter else None
        for folder in filter(None, [STOCK_DATADIR / "mime", own]):
            for file in folder.iterdir():
                (types / file.name).symlink_to(file)

    # Scheduler --------------------------------------------------------------------------------

    def environment(self):
        path = os.environ.get("PATH", "") + ":/usr/sbin:/sbin"
        return {"PATH": path, "LC_ALL": "C", "HOME": str(self.root),
                "CUPS_SERVER": str(self.socket), "CUPS_SERVERROOT": str(self.etc)}

    def start(self):
        self.process = subprocess.Popen(
            [self.scheduler, "-f", "-c", self.etc / "cupsd.conf", "-s", self.etc / "cups-files.conf"],
            env=self.environment(), stdin=subprocess.DEVNULL)
        self.wait_for(lambda: self.run("lpstat", "-r", check=False).stdout.startswith(
            "scheduler is running"), "the scheduler to answer")

    def stop(self):
        if self.process is not None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(60)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
            self.process = None

    def run(self, *command, check=True, **more):
        result = subprocess.run([str(word) for word in command], env=self.environment() | more,
                                capture_output=True, text=True, timeout=120)
        if check and result.returncode != 0:
            raise AssertionError(f"{command}: status {result.returncode}\n{result.stdout}{result.stderr}")
        return result

    def wait_for(self, condition, what, seconds=60):
        until = time.monotonic() + seconds
        while time.monotonic() < until:
            value = condition()
            if value:
                return value
            time.sleep(0.05)
        raise AssertionError(f"waited {seconds} s for {what}\n{self.tail_of_log()}")

    def connect_devices(self, lines):
        """Sets the devices that the scheduler lists from now on, one "CLASS URI [DEVICE ID]" per line."""
        devices = self.root / "devices"
        devices.write_text(lines)
        here = pathlib.Path(__file__).parent
        text = (here / "list_devices.py").read_text()
        text = text.replace("@IPP@", str(here)).replace("@DEVICES@", str(devices))
        program = self.serverbin / "daemon" / "cups-deviced"
        program.unlink(missing_ok=True)  # a link to the system's
        program.write_text(f"#!{sys.executable} -B\n{text}")
        program.chmod(0o700)

    # Queues and jobs ---------------------------------------------------------------------------

    def add_queue(self, name, model="K905", device=None, **options):
        """A queue whose defaults are set by lpadmin only. `_` is replaced by `-` in option names."""
        command = ["lpadmin", "-p", name, "-P", self.prefix / "share/cups/model/k905" / f"{model}.ppd",
                   "-v", device or f"capture:{self.captured}", "-E"]
        for option, value in options.items():
            command += ["-o", f"{option.replace('_', '-')}={value}"]
        self.run(*command)

    def submit(self, queue, *files, title="a photo", copies=1, options=()):
        command = ["lp", "-d", queue, "-t", title, "-n", copies]
        for option in options:
            command += ["-o", option]
        output = self.run(*command, "--", *files).stdout
        return int(re.search(r"request id is .*-(\d+) ", output).group(1))

    def submit_ipp(self, queue, file, document_format, *attributes, kind="printers"):
        """Prints as a client that does not use PPD files. `attributes` in the syntax of ipptool."""
        test = self.root / "print-job.test"
        test.write_text(
            "{\nOPERATION Print-Job\nGROUP operation-attributes-tag\n"
            "ATTR charset attributes-charset utf-8\nATTR language attributes-natural-language en\n"
            "ATTR uri printer-uri $uri\nATTR name requesting-user-name guest\n"
            f"ATTR mimeMediaType document-format {document_format}\nGROUP job-attributes-tag\n" +
            "".join(f"ATTR {attribute}\n" for attribute in attributes) +
            "FILE $filename\nSTATUS successful-ok\nDISPLAY job-id\n}\n")
        host = urllib.parse.quote(str(self.socket), safe="")
        output = self.run("ipptool", "-tv", "-f", file, f"ipp://{host}/{kind}/{queue}", test).stdout
        return int(re.search(r"job-id \(integer\) = (\d+)", output).group(1))

    def job_state(self, job):
        """The attributes of the job as the scheduler reports them."""
        return ipp.job_attributes(self.socket, job)

    def finished(self, job, seconds=60):
        def look():
            state = self.job_state(job)
            return state if state.get("job-state") in ipp.ENDED else None
        return self.wait_for(look, f"job {job} to end", seconds)

    def stream_of(self, job):
        return self.captured / f"{job}.prn"

    def log_of(self, job):
        mark = f"[Job {job}] "
        text = (self.root / "log/error_log").read_text(errors="replace")
        return [line.split(mark, 1)[1] for line in text.splitlines() if mark in line]

    def pages_logged(self, job):
        text = (self.root / "log/page_log").read_text(errors="replace")
        return [line for line in text.splitlines() if line.split()[1:2] == [str(job)]]

    def tail_of_log(self, count=80):
        path = self.root / "log/error_log"
        if not path.exists():
            return ""
        return "\n".join(path.read_text(errors="replace").splitlines()[-count:])


class CupsOnPort(PrivateCups):
    """Listens on a port too, at first for this machine only: sharing opens it to the network."""

    def configure(self):
        super().configure()
        self.port = free_port()
        path = self.etc / "cupsd.conf"
        path.write_text(path.read_text().replace("Listen ", f"Listen localhost:{self.port}\nListen ", 1))

    def environment(self):
        return super().environment() | {"IPP_PORT": str(self.port)}
