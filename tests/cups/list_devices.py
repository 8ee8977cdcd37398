# Replaces the CUPS program that asks all backends for their devices, because it is not installed on
# every system: returns the lines "CLASS URI [DEVICE ID]" of the file DEVICES. Called with the
# number of the request.
import pathlib
import struct
import sys

IPP = "@IPP@"
DEVICES = "@DEVICES@"
PRINTER_TAG, END_TAG = b"\x04", b"\x03"
TEXT, KEYWORD, URI = 0x41, 0x44, 0x45

sys.path.insert(0, IPP)
from ipp import attribute  # noqa: E402

answer = struct.pack(">BBHI", 1, 1, 0, int(sys.argv[1]))
answer += b"\x01" + attribute(0x47, "attributes-charset", "utf-8")
answer += attribute(0x48, "attributes-natural-language", "en")
for line in pathlib.Path(DEVICES).read_text().splitlines():
    device_class, uri, *device_id = line.split(maxsplit=2)
    answer += PRINTER_TAG + attribute(KEYWORD, "device-class", device_class)
    answer += attribute(TEXT, "device-id", "".join(device_id))
    for name in ("device-info", "device-make-and-model", "device-location"):
        answer += attribute(TEXT, name, "K905")
    answer += attribute(URI, "device-uri", uri)
sys.stdout.buffer.write(b"Content-Type: application/ipp\n\n" + answer + END_TAG)
