"""Tests of the helpers in private_cups.py: `private_cups_test.py`."""

import socket
import unittest

import private_cups


class FreePort(unittest.TestCase):
    def test_no_other_program_gets_the_port_until_its_server_listens(self):
        port = private_cups.free_port()
        for address in ("127.0.0.1", ""):
            with socket.socket() as other, self.assertRaises(OSError):
                other.bind((address, port))
        with self.assertRaises(ConnectionRefusedError):
            socket.create_connection(("127.0.0.1", port))
        for _ in ("start", "restart"):
            with socket.create_server(("127.0.0.1", port)), socket.create_connection(("127.0.0.1", port)):
                pass


if __name__ == "__main__":
    unittest.main()
