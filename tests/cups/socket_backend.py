"""Replaces the CUPS backend of this name where that is not installed: socket://HOST:PORT.

Sends the stream and waits until the printer has received it.
"""

import os
import socket
import sys
import urllib.parse

if len(sys.argv) == 1:
    print('network socket "Unknown" "Stand-in for a raw network printer"')
    sys.exit(0)

uri = urllib.parse.urlsplit(os.environ["DEVICE_URI"])
with socket.create_connection((uri.hostname, uri.port or 9100), timeout=60) as printer:
    while piece := os.read(0, 65536):
        printer.sendall(piece)
    printer.shutdown(socket.SHUT_WR)
    while printer.recv(4096):
        pass
