"""k905-sim, running beside a test."""

import pathlib
import re
import shutil
import socket
import subprocess
import tempfile
import threading
import zlib


def number_in_picture(file):
    """The number of a sheet whose pixels all have its value, from its PNG: the first byte, which no filter of
    the format changes."""
    data = file.read_bytes()
    compressed = bytearray()
    at = 8
    while at < len(data):
        length = int.from_bytes(data[at:at + 4], "big")
        if data[at + 4:at + 8] == b"IDAT":
            compressed += data[at + 8:at + 8 + length]
        at += 12 + length
    return zlib.decompressobj().decompress(bytes(compressed), 2)[1]


def undisturbed(program, stream, look):
    """look(printer) after a printer took the whole stream."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="k905_numbers_"))
    printer = SimulatedPrinter(program, folder)
    try:
        with socket.create_connection(("127.0.0.1", printer.port)) as line:
            line.sendall(stream)
            line.shutdown(socket.SHUT_WR)
            line.recv(1)  # the printer has taken everything when it closes the connection
        return look(printer)
    finally:
        printer.stop()
        shutil.rmtree(folder)


class SimulatedPrinter:
    """Started at once; `stop` ends it. Every sheet becomes a picture in the folder `sheets`. With `printers`
    there are several: `ports`, `devices` and the lines of each, by number from 1."""

    def __init__(self, program, sheets, *options):
        self.sheets = pathlib.Path(sheets)
        self.sheets.mkdir(exist_ok=True)
        self.process = subprocess.Popen([program, "--listen", "0", "--sheets", self.sheets,
                                         "--commands", *options],
                                        stdout=subprocess.PIPE, stdin=subprocess.PIPE, text=True,
                                        bufsize=1)
        printers = int(options[options.index("--printers") + 1]) if "--printers" in options else 1
        self.devices, self.ports = [], []
        for _ in range(printers):
            self.devices.append(self._first_line(r"(/dev/\S+)"))
            self.ports.append(int(self._first_line(r"listening on 127\.0\.0\.1:(\d+)")))
        self.device, self.port = self.devices[0], self.ports[0]
        self.uri = f"socket://127.0.0.1:{self.port}"
        self.device_uri = f"k905://127.0.0.1:{self.port}"
        self.lines = []  # of its output, from then on
        self.changed = threading.Condition()
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _first_line(self, pattern):
        return re.fullmatch(rf"(?:printer \d+: )?{pattern}\n", self.process.stdout.readline())[1]

    def _read(self):
        for line in self.process.stdout:
            with self.changed:
                self.lines.append(line.rstrip("\n"))
                self.changed.notify_all()

    def stop(self):
        self.process.terminate()
        self.process.wait(10)
        self.reader.join(10)
        self.process.stdin.close()
        self.process.stdout.close()

    def wait_for(self, condition, what, seconds=60):
        """Until condition(lines) is true."""
        with self.changed:
            if not self.changed.wait_for(lambda: condition(self.lines), seconds):
                raise AssertionError(f"waited {seconds} s for {what}; the printer's last lines:\n" +
                                     "\n".join(self.lines[-20:]))

    def wait_for_line(self, start, seconds=60):
        """Until a line begins so."""
        self.wait_for(lambda lines: any(line.startswith(start) for line in lines), start, seconds)

    def command(self, text):
        """Returns when it was obeyed."""
        before = len(self.lines)
        answer = re.compile(r"(printer \d+: )?(ok|error: .*)")
        self.process.stdin.write(text + "\n")
        self.wait_for(lambda lines: any(answer.fullmatch(line) for line in lines[before:]), text)
        wrong = [line for line in self.lines[before:] if "error: " in line and answer.fullmatch(line)]
        if wrong:
            raise AssertionError(f"{text}: {wrong[0]}")

    def _catch_up(self):
        """Until everything that the printer has written was read."""
        self.command("show")

    def printed_files(self):
        """The picture of every sheet so far, in order."""
        with self.changed:
            found = (re.match(r"(?:printer \d+: )?sheet \d+: .*, (/.*\.png), \d+ left$", line)
                     for line in self.lines)
            return [pathlib.Path(match[1]) for match in found if match]

    def numbers(self):
        """Of the sheets that came out, in order."""
        self._catch_up()
        return [number_in_picture(file) for file in self.printed_files()]

    def looks(self):
        """Size, finish, cut and all pixels of the sheets that came out."""
        self._catch_up()
        with self.changed:
            told = [re.search(r"sheet \d+: (\d+x\d+, \w+, cutter \d+), /", line) for line in self.lines]
        return list(zip([found[1] for found in told if found],
                        [file.read_bytes() for file in self.printed_files()]))

    def hold(self, byte, sheet):
        self.command(f"hold at {byte} of {sheet}")

    def wait_until_holding(self, byte, sheet):
        self.wait_for_line(f"holding at byte {byte} of sheet {sheet}")

    def set(self, **fields):
        for name, value in fields.items():
            self.command(f"set {name.replace('_', '-')} {value}")

    def wait_for_questions(self, name, count):
        """Until it was asked so often. Needs --trace."""
        self.wait_for(lambda lines: sum(line.startswith(f"question {name}:") for line in lines) >= count,
                      f"{count} times {name}")

    def count(self, pattern):
        """Lines so far in which it is found. With --trace these are questions and sheets that begin as well."""
        self._catch_up()
        with self.changed:
            return sum(re.search(pattern, line) is not None for line in self.lines)

    def torn(self):
        """Sheets that did not arrive whole."""
        return self.count("^data error: ")

    def printed(self, cups, count):
        """The pictures, when there are so many."""
        def look():
            found = sorted(self.sheets.glob("*.png"))
            return found if len(found) >= count else None
        return cups.wait_for(look, f"{count} sheets at the simulated printer")
