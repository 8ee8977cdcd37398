"""Requests to the scheduler for attributes that no client program prints completely: of jobs and of
printers."""

import http.client
import socket
import struct

CANCELED, ABORTED, COMPLETED = 7, 8, 9
PENDING, HELD, PROCESSING, STOPPED = 3, 4, 5, 6
ENDED = (CANCELED, ABORTED, COMPLETED)
GET_JOB_ATTRIBUTES = 0x0009
GET_JOBS = 0x000A
GET_PRINTER_ATTRIBUTES = 0x000B
GET_PRINTERS = 0x4002
ADD_MODIFY_CLASS = 0x4006
INTEGER_TAGS = (0x21, 0x23)
GROUP_TAG_LIMIT = 0x10
END_TAG = 0x03


class SocketConnection(http.client.HTTPConnection):
    def __init__(self, path):
        super().__init__("localhost")
        self.path = path

    def connect(self):
        self.sock = socket.socket(socket.AF_UNIX)
        self.sock.settimeout(60)
        self.sock.connect(str(self.path))


def attribute(tag, name, value):
    name, value = name.encode(), value.encode()
    return struct.pack(">BH", tag, len(name)) + name + struct.pack(">H", len(value)) + value


def values(body):
    """(name, value) of all groups, with the name repeated for each value; integers and enums as int, others as text."""
    name = ""
    at = 8
    while at < len(body) and body[at] != END_TAG:
        if body[at] < GROUP_TAG_LIMIT:
            at += 1
            continue
        tag, length = struct.unpack_from(">BH", body, at)
        name = body[at + 3:at + 3 + length].decode() or name
        at += 3 + length
        (length,) = struct.unpack_from(">H", body, at)
        value = body[at + 2:at + 2 + length]
        at += 2 + length
        yield name, (struct.unpack(">i", value)[0] if tag in INTEGER_TAGS
                     else value.decode(errors="replace"))


def job_attributes(path, job):
    return first_values(ask(path, GET_JOB_ATTRIBUTES, "job-uri", f"ipp://localhost/jobs/{job}"))


def printer_attributes(path, queue):
    return first_values(ask_printer(path, queue))


def values_of(path, queue, name):
    return [value for found, value in ask_printer(path, queue) if found == name]


def first_values(answer):
    found = {}
    for name, value in answer:
        found.setdefault(name, value)
    return found


def ask_printer(path, queue):
    return ask(path, GET_PRINTER_ATTRIBUTES, "printer-uri", f"ipp://localhost/printers/{queue}")


def ask(path, operation, target, uri):
    request = (struct.pack(">BBHI", 1, 1, operation, 1) + b"\x01" +
               attribute(0x47, "attributes-charset", "utf-8") +
               attribute(0x48, "attributes-natural-language", "en") +
               attribute(0x45, target, uri) + bytes([END_TAG]))
    connection = SocketConnection(path)
    try:
        connection.request("POST", "/", request, {"Content-Type": "application/ipp"})
        return list(values(connection.getresponse().read()))
    finally:
        connection.close()
