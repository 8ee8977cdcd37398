"""Test images and documents with corners and colors that can be distinguished on a sheet."""

import struct
import subprocess
import zlib

RED, GREEN, BLUE, YELLOW = (255, 0, 0), (0, 255, 0), (0, 0, 255), (255, 255, 0)
GRAY, CYAN, MAGENTA, BLACK = (128, 128, 128), (0, 255, 255), (255, 0, 255), (0, 0, 0)
WHITE = (255, 255, 255)

# Clockwise from the top left corner.
CORNERS = (RED, GREEN, YELLOW, BLUE)


PALE = ((255, 200, 200), (200, 255, 200), (255, 255, 200), (200, 200, 255))
MARK = 100


def write_png(path, width, height, rows, dpi=None):
    """`rows` with their filter bytes."""
    def chunk(name, data):
        return (struct.pack(">I", len(data)) + name + data +
                struct.pack(">I", zlib.crc32(name + data)))
    path.write_bytes(b"\x89PNG\r\n\x1a\n" +
                     chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
                     (chunk(b"pHYs", struct.pack(">IIB", *2 * [round(dpi / 0.0254)], 1)) if dpi else b"") +
                     chunk(b"IDAT", zlib.compress(b"".join(rows), 1)) + chunk(b"IEND", b""))
    return path


def circle_png(path, width, height, diameter):
    """An image of a black circle in the center of a white background."""
    rows = []
    for y in range(height):
        rest = (diameter / 2) ** 2 - (y + 0.5 - height / 2) ** 2
        half = round(rest ** 0.5) if rest > 0 else 0
        left = width // 2 - half
        rows.append(b"\0" + b"\xff" * (3 * left) + b"\0" * (6 * half) +
                    b"\xff" * (3 * (width - left - 2 * half)))
    return write_png(path, width, height, rows)


def ruler_png(path, width, height, half_width, middle=0.5):
    """At 300 dpi, with pale marks in the corners and a black shape at the center, or at another fraction of
    the height: `half_width` returns half its width in a row at a given distance from its center."""
    rows = []
    for y in range(height):
        left, right = (PALE[0], PALE[1]) if y < MARK else (PALE[3], PALE[2]) if y >= height - MARK else (
            WHITE, WHITE)
        half = half_width(abs(y + 0.5 - height * middle))
        white = width // 2 - MARK - half
        rows.append(b"\0" + bytes(left) * MARK + b"\xff" * (3 * white) + b"\0" * (6 * half) +
                    b"\xff" * (3 * (width - 2 * (MARK + half) - white)) + bytes(right) * MARK)
    return write_png(path, width, height, rows, dpi=300)


def ruler_pdf(path, width, height, contents):
    """A document with the same marks and one page for each content; sizes in points."""
    mark = MARK * 0.24
    marks = "".join(
        f"{red / 255:.4f} {green / 255:.4f} {blue / 255:.4f} rg {x} {y} {mark} {mark} re f\n"
        for (red, green, blue), (x, y) in zip(PALE, (
            (0, height - mark), (width - mark, height - mark), (width - mark, 0), (0, 0))))
    return write_pdf(path, width, height, [f"{marks}0 g 0 G {content}" for content in contents])


def png(path, width, height, center=GRAY):
    """Each quarter of the image in the color of its corner, a square of another color in the center."""
    def row(left, right, inner):
        from_x, to_x = width * 2 // 5, width * 3 // 5
        line = [left] * (width // 2) + [right] * (width - width // 2)
        if inner:
            line[from_x:to_x] = [center] * (to_x - from_x)
        return b"\0" + b"".join(bytes(color) for color in line)

    rows = []
    plain = {half: row(*half, False) for half in ((RED, GREEN), (BLUE, YELLOW))}
    inner = {half: row(*half, True) for half in plain}
    for y in range(height):
        half = (RED, GREEN) if y < height // 2 else (BLUE, YELLOW)
        rows.append((inner if height * 2 // 5 <= y < height * 3 // 5 else plain)[half])

    return write_png(path, width, height, rows)


def jpeg(path, probe, width, height, center=GRAY):
    source = png(path.with_suffix(".source.png"), width, height, center)
    subprocess.run([probe, "photo", source, path], check=True)
    return path


def exif_jpeg(path, plain, orientation):
    """The JPEG file with an EXIF orientation, as cameras write it."""
    bytes_ = plain.read_bytes()
    entry = struct.pack(">HHIHH", 0x0112, 3, 1, orientation, 0)
    note = b"Exif\0\0MM\0*" + struct.pack(">IH", 8, 1) + entry + struct.pack(">I", 0)
    path.write_bytes(bytes_[:2] + b"\xff\xe1" + struct.pack(">H", len(note) + 2) + note + bytes_[2:])
    return path


def pdf(path, width, height, centers=(GRAY,)):
    """The same image as a document with a page of this size in points for each center color."""
    def rectangle(color, x, y, w, h):
        red, green, blue = (value / 255 for value in color)
        return f"{red:.4f} {green:.4f} {blue:.4f} rg {x:.3f} {y:.3f} {w:.3f} {h:.3f} re f\n"

    w, h = width / 2, height / 2
    return write_pdf(path, width, height, [
        rectangle(RED, 0, h, w, h) + rectangle(GREEN, w, h, w, h) +
        rectangle(BLUE, 0, 0, w, h) + rectangle(YELLOW, w, 0, w, h) +
        rectangle(center, width * 0.4, height * 0.4, width * 0.2, height * 0.2)
        for center in centers])


def circle_pdf(path, width, height, diameter):
    """A black circle in the center: a line of length 0 with round ends."""
    x, y = width / 2, height / 2
    return write_pdf(path, width, height, [f"1 J {diameter} w {x} {y} m {x} {y} l S\n"])


def box_pdf(path, width, height, box_width, box_height):
    x, y = (width - box_width) / 2, (height - box_height) / 2
    return write_pdf(path, width, height, [f"{x:.4f} {y:.4f} {box_width:.4f} {box_height:.4f} re f\n"])


def write_pdf(path, width, height, contents):
    """A document with a page of this size in points for each content."""
    objects = [b"<</Type/Catalog/Pages 2 0 R>>"]
    kids = " ".join(f"{3 + 2 * i} 0 R" for i in range(len(contents)))
    objects.append(f"<</Type/Pages/Kids[{kids}]/Count {len(contents)}>>".encode())
    for i, content in enumerate(content.encode() for content in contents):
        objects.append(f"<</Type/Page/Parent 2 0 R/MediaBox[0 0 {width} {height}]"
                       f"/Resources<<>>/Contents {4 + 2 * i} 0 R>>".encode())
        objects.append(b"<</Length %d>>stream\n%s\nendstream" % (len(content), content))

    out = bytearray(b"%PDF-1.4\n")
    offsets = []
    for number, body in enumerate(objects, 1):
        offsets.append(len(out))
        out += b"%d 0 obj\n%s\nendobj\n" % (number, body)
    table = len(out)
    out += b"xref\n0 %d\n0000000000 65535 f \n" % (len(objects) + 1)
    for offset in offsets:
        out += b"%010d 00000 n \n" % offset
    out += (b"trailer\n<</Size %d/Root 1 0 R>>\nstartxref\n%d\n%%%%EOF\n" % (len(objects) + 1, table))
    path.write_bytes(out)
    return path
