"""A scheduler on a port of 127.0.0.1 that passes every request on to the real one at a socket, but answers chosen
operations itself, in a way that the real one answers only by a fault or in a rare moment."""

import contextlib
import http.server
import struct
import threading

import ipp

INTERNAL_ERROR = 0x0500


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *_):
        pass

    def forward(self, body=b""):
        connection = ipp.SocketConnection(self.server.path)
        with contextlib.closing(connection):
            # The scheduler writes the host into the addresses of its queues, where clients look for the PPD files.
            kept = {name: self.headers[name] for name in ("Content-Type", "Host") if name in self.headers}
            connection.request(self.command, self.path, body, kept)
            answer = connection.getresponse()
            return answer.status, answer.read()

    def answer(self, status, body):
        self.send_response(status)
        self.send_header("Content-Type", "application/ipp")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def do_GET(self):
        self.answer(*self.forward())

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        (operation,) = struct.unpack_from(">H", body, 2)
        change = self.server.changes.get(operation)
        changed = change(body) if change else None
        self.answer(*((200, changed) if changed else self.forward(body)))


def answer_without_attributes(status=0):
    """An answer to any request: only the status, without a printer or job."""
    return lambda request: (request[:2] + struct.pack(">H", status) + request[4:8] + b"\x01" +
                            ipp.attribute(0x47, "attributes-charset", "utf-8") +
                            ipp.attribute(0x48, "attributes-natural-language", "en") + bytes([ipp.END_TAG]))


@contextlib.contextmanager
def changed_answers(path, changes):
    """The address for CUPS_SERVER. `changes` maps an operation to a function of the request, which returns the
    answer, or None to pass the request on."""
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.path, server.changes = path, changes
    server.daemon_threads = True
    thread = threading.Thread(target=server.serve_forever)
    thread.start()
    try:
        yield f"127.0.0.1:{server.server_port}"
    finally:
        server.shutdown()
        thread.join()
        server.server_close()
