"""Runs k905-sim for a test."""

import pathlib
import re
import shutil
import socket
import subprocess
import tempfile
import threading
import zlib


def number_in_picture(file):
    """The number of a sheet whose pixels all have its value: the first byte of the PNG's pixels, which no PNG
    filter changes."""
    data = file.read_bytes()
    compressed = bytearray()
    at = 8
    while at < len(data):
        length = int.from_bytes(data[at:at + 4], "big")
        if data[at + 4:at + 8] == b"IDAT":
            compressed += data[at + 8:at + 8 + length]
        at += 12 + length
    return zlib.decompressobj().decompress(bytes(compressed), 2)[1]


def undisturbed(program, stream, result_of):
    """result_of(printer), after a printer received the complete stream."""
    folder = pathlib.Path(tempfile.mkdtemp(prefix="k905_numbers_"))
    printer = SimulatedPrinter(program, folder)
    try:
        with socket.create_connection(("127.0.0.1", printer.port)) as line:
            line.sendall(stream)
            line.shutdown(socket.SHUT_WR)
            line.recv(1)  # the printer closes the connection after the last byte was processed
        return result_of(printer)
    finally:
        printer.stop()
        shutil.rmtree(folder)


class SimulatedPrinter:
    """Started by the constructor, ended by `stop`. Every sheet is stored as an image in the folder `sheets`. With the
    option --printers there are several: `devices` and `ports` list them in order, and each line of printer N begins
    with "printer N: "."""

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
        self.process.wait(60)
        self.reader.join(60)
        self.process.stdin.close()
        self.process.stdout.close()

    def wait_for(self, condition, what, seconds=60):
        """Waits until condition(lines) is true."""
        with self.changed:
            if not self.changed.wait_for(lambda: condition(self.lines), seconds):
                raise AssertionError(f"waited {seconds} s for {what}; the printer's last lines:\n" +
                                     "\n".join(self.lines[-20:]))

    def wait_for_line(self, start, seconds=60):
        """Waits until a line starts with `start`."""
        self.wait_for(lambda lines: any(line.startswith(start) for line in lines), start, seconds)

    def command(self, text):
        """Sends a command and waits until it was executed."""
        before = len(self.lines)
        answer = re.compile(r"(printer \d+: )?(ok|error: .*)")
        self.process.stdin.write(text + "\n")
        self.wait_for(lambda lines: any(answer.fullmatch(line) for line in lines[before:]), text)
        wrong = [line for line in self.lines[before:] if "error: " in line and answer.fullmatch(line)]
        if wrong:
            raise AssertionError(f"{text}: {wrong[0]}")

    def _catch_up(self):
        """Waits until all output of the printer was read."""
        self.command("show")

    def printed_files(self):
        """The images of all sheets so far, in order."""
        with self.changed:
            found = (re.match(r"(?:printer \d+: )?sheet \d+: .*, (/.*\.png), \d+ left$", line)
                     for line in self.lines)
            return [pathlib.Path(match[1]) for match in found if match]

    def numbers(self):
        """The numbers of the printed sheets, in order."""
        self._catch_up()
        return [number_in_picture(file) for file in self.printed_files()]

    def printed_sheets(self):
        """Size, finish, cut and all pixels of the printed sheets."""
        self._catch_up()
        with self.changed:
            reports = [re.search(r"sheet \d+: (\d+x\d+, \w+, cutter \d+), /", line) for line in self.lines]
        return list(zip([found[1] for found in reports if found],
                        [file.read_bytes() for file in self.printed_files()]))

    def hold(self, byte, sheet):
        self.command(f"hold at {byte} of {sheet}")

    def wait_until_holding(self, byte, sheet):
        self.wait_for_line(f"holding at byte {byte} of sheet {sheet}")

    def set(self, **fields):
        for name, value in fields.items():
            self.command(f"set {name.replace('_', '-')} {value}")

    def wait_for_questions(self, name, count):
        """Waits until this question was asked `count` times. Needs --trace."""
        self.wait_for(lambda lines: sum(line.startswith(f"question {name}:") for line in lines) >= count,
                      f"{count} times {name}")

    def count(self, pattern):
        """The number of lines that match. With --trace there are also lines for questions and for sheets that begin."""
        self._catch_up()
        with self.changed:
            return sum(re.search(pattern, line) is not None for line in self.lines)

    def incomplete_sheets(self):
        """The number of incomplete sheets."""
        return self.count("^data error: ")

    def printed(self, cups, count):
        """Waits until there are this many images and returns them."""
        def look():
            found = sorted(self.sheets.glob("*.png"))
            return found if len(found) >= count else None
        return cups.wait_for(look, f"{count} sheets at the simulated printer")
