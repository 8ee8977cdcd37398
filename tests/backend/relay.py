"""A network line to a simulated printer that can be slow and can be cut."""

import select
import socket
import threading
import time

from numbered_sheets import Listener

PIECE = 16384
RECEIVE_BUFFER = 65536  # so that little is on the way when the line is cut


class Relay:
    """Listens on a port of its own and passes bytes on to `target`, listening to what the printer is
    sent. `pause` seconds before every piece of PIECE bytes; `cut_at`: (sheet begun, byte inside it)
    at which the line is cut once; `cut_after`: the line is cut once when so many sheets have been sent
    whole, before the printer's next reply; `cut_soon`: it is cut once wherever it is; `refuse`: a line that is down; `stay_down`: so it is after a
    cut."""

    def __init__(self, target_port, pixel=0):
        self.target_port = target_port
        self.pause = 0.0
        self.cut_at = None
        self.cut_after = None
        self.cut_soon = False
        self.refuse = False
        self.stay_down = False
        self.heard = Listener(pixel)
        self.changed = threading.Condition()
        self.problem = None
        self.ended = False
        self.server = socket.socket()
        self.server.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, RECEIVE_BUFFER)
        self.server.bind(("127.0.0.1", 0))
        self.server.listen()
        self.port = self.server.getsockname()[1]
        self.uri = f"k905://127.0.0.1:{self.port}"
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()

    def close(self):
        self.ended = True
        self.thread.join(10)
        self.server.close()

    def wait_for(self, condition, what, seconds=60):
        """Until condition(Listener) is true."""
        with self.changed:
            if not self.changed.wait_for(lambda: self.problem or condition(self.heard), seconds):
                raise AssertionError(f"waited {seconds} s for {what}; sheets {self.heard.sheets}")
        if self.problem:
            raise self.problem

    def wait_inside(self, sheet, at_least):
        self.wait_for(lambda heard: heard.begun > sheet or
                      heard.begun == sheet and heard.inside >= at_least,
                      f"byte {at_least} of sheet {sheet}")

    def _serve(self):
        while not self.ended:
            readable, _, _ = select.select([self.server], [], [], 0.1)
            if not readable:
                continue
            client, _ = self.server.accept()
            with client:
                if self.refuse:
                    continue
                try:
                    with socket.create_connection(("127.0.0.1", self.target_port)) as printer:
                        self._carry(client, printer)
                except (ConnectionError, BrokenPipeError):
                    pass
                except AssertionError as problem:
                    self.problem = problem
                with self.changed:
                    self.heard.hang_up()
                    self.changed.notify_all()

    def _carry(self, client, printer):
        while not self.ended and not self.refuse:
            readable, _, _ = select.select([client, printer], [], [], 0.1)
            if self.cut_soon:
                self.cut_soon = False
                return
            if printer in readable:
                reply = printer.recv(PIECE)
                if not reply:
                    return
                client.sendall(reply)
            if client in readable:
                data = client.recv(PIECE)
                if not data:
                    return
                if self.pause and len(data) > 64:
                    time.sleep(self.pause)
                data = self._until_cut(data)
                with self.changed:
                    self.heard.hear(data)
                    self.changed.notify_all()
                printer.sendall(data)
                if self._cut_now():
                    self.refuse = self.stay_down
                    return

    def _until_cut(self, data):
        if self.cut_at is None or not self.heard.inside or self.heard.begun != self.cut_at[0]:
            return data
        return data[:max(0, self.cut_at[1] - self.heard.inside)]

    def _cut_now(self):
        if self.cut_after is not None and len(self.heard.sheets) >= self.cut_after:
            self.cut_after = None
            return True
        if (self.cut_at is not None and self.heard.inside and self.heard.begun == self.cut_at[0]
                and self.heard.inside >= self.cut_at[1]):
            self.cut_at = None
            return True
        return False
