"""A device that stores the data it receives: capture:/FOLDER[?pause=SECONDS][&fail=FILE].

The stream of a job is stored as FOLDER/<job>.prn when it is complete. `pause` waits after every 256 kB,
like a busy printer; while FILE exists the device fails, also in the middle of a job. Like the USB backend
of CUPS it continues to read when the job is canceled.
"""

import os
import pathlib
import signal
import sys
import time
import urllib.parse

CUPS_BACKEND_FAILED = 1
PIECE = 256 * 1024

if len(sys.argv) == 1:
    print('direct capture "Unknown" "Capture"')
    sys.exit(0)

signal.signal(signal.SIGTERM, signal.SIG_IGN)
uri = urllib.parse.urlsplit(os.environ["DEVICE_URI"])
settings = urllib.parse.parse_qs(uri.query)


def fail_if_requested():
    if any(pathlib.Path(path).exists() for path in settings.get("fail", [])):
        sys.exit(CUPS_BACKEND_FAILED)


fail_if_requested()
pause = float(settings.get("pause", ["0"])[0])
folder = pathlib.Path(uri.path)
unfinished = folder / f"{sys.argv[1]}.part"
with open(unfinished, "wb") as out, open(0, "rb", buffering=0, closefd=False) as stream:
    since_pause = 0
    while piece := stream.read(PIECE):
        fail_if_requested()
        out.write(piece)
        since_pause += len(piece)
        if pause and since_pause >= PIECE:
            time.sleep(pause)
            since_pause = 0
unfinished.rename(folder / f"{sys.argv[1]}.prn")
