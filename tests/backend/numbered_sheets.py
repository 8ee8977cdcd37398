"""Sheets of the printer's stream that contain a number in their pixels.

Written from the wire format alone: command blocks, image headers, controls. The number fills the planes, so
that any part of a sheet identifies it.
"""

import struct

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
