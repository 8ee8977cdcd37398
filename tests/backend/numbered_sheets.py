"""Sheets of the printer's stream that carry a number in their pixels.

Written from the wire alone: command blocks, image headers, controls. The number fills the planes, so
that a sheet can be told apart wherever a part of it is seen.
"""

import struct
import zlib

BLOCK = 32


def block(group, name="", length=None):
    digits = " " * 8 if length is None else f"{length:08d}"
    return f"\x1bP{group:<6}{name:<16}{digits}".encode()


def plane_image(width, height, pixel):
    size = width * height + 1088
    header = b"BM" + struct.pack("<IIIIIIHH", size, 0, 1088, 40, width, height, 1, 8) + bytes(24)
    palette = b"".join(bytes([gray, gray, gray, 0]) for gray in range(256))
    return header + palette + bytes(10) + bytes([pixel]) * (width * height)


def sheet(number, width=1200, height=800):
    """Glossy, not cut. `number` is 0 to 255."""
    image = plane_image(width, height, number)
    planes = b"".join(block("IMAGE", letter + "PLANE", len(image)) + image for letter in "YMC")
    return planes + block("CNTRL", "CUTTER", 8) + b"00000000" + block("CNTRL", "START")


def job(count, **size):
    return b"".join(sheet(number, **size) for number in range(1, count + 1))


def number_in_picture(file):
    """The number of a sheet that the simulated printer kept as a PNG: its first byte, which no filter of
    the format changes."""
    data = file.read_bytes()
    compressed = bytearray()
    at = 8
    while at < len(data):
        (length,) = struct.unpack_from(">I", data, at)
        if data[at + 4:at + 8] == b"IDAT":
            compressed += data[at + 8:at + 8 + length]
        at += 12 + length
    return zlib.decompressobj().decompress(bytes(compressed), 2)[1]


class Listener:
    """Follows the bytes that go to a printer: questions, and sheets with their numbers. `pixel` is the
    place of the number in a plane."""

    def __init__(self, pixel=0):
        self._number_place = 1088 + pixel
        self.questions = []       # the names, in order
        self.sheets = []          # numbers of the sheets that were sent whole
        self.torn = []            # numbers of those that were not, None where no pixel came
        self.begun = 0            # sheets so far, with the one that is being sent
        self._inside = 0          # bytes of complete blocks and of payload
        self._bytes = bytearray() # of the block that is coming
        self._payload = 0         # bytes of its payload still to come
        self._skipped = 0         # bytes of the image already passed
        self._number = None

    @property
    def inside(self):
        """Bytes so far of the sheet that is being sent; 0 until its first block is known to be one."""
        return self._inside + len(self._bytes) if self._inside else 0

    def hear(self, data):
        view = memoryview(data)
        while view:
            if self._payload:
                taken = min(self._payload, len(view))
                self._look_for_number(view[:taken])
                self._payload -= taken
                self._inside += taken
            else:
                taken = min(BLOCK - len(self._bytes), len(view))
                self._bytes += view[:taken]
                if len(self._bytes) == BLOCK:
                    self._take_block(bytes(self._bytes))
                    self._bytes.clear()
            view = view[taken:]

    def hang_up(self):
        if self._inside or self._bytes:
            self.torn.append(self._number)
        self._start_again()

    def _start_again(self):
        self._inside = 0
        self._bytes.clear()
        self._payload = 0
        self._number = None

    def _look_for_number(self, piece):
        start = self._number_place - self._skipped
        if self._number is None and 0 <= start < len(piece):
            self._number = piece[start]
        self._skipped += len(piece)

    def _take_block(self, command):
        group = command[2:8].decode().strip()
        name = command[8:24].decode().strip()
        if group not in ("IMAGE", "CNTRL"):
            self.questions.append(name or group)
            if self._inside:
                raise AssertionError(f"{name or group} was asked inside a sheet")
            return
        if not self._inside:
            self.begun += 1
        self._inside += BLOCK
        self._skipped = 0 if group == "IMAGE" else 1 << 30
        self._payload = int(command[24:32].decode().strip() or 0)
        if (group, name) == ("CNTRL", "START"):
            self.sheets.append(self._number)
            self._start_again()
