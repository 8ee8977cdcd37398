"""k905-sim, running beside a test."""

import pathlib
import re
import subprocess


class SimulatedPrinter:
    """Started at once; `stop` ends it. Every sheet becomes a picture in the folder `sheets`."""

    def __init__(self, program, sheets, *options):
        self.sheets = pathlib.Path(sheets)
        self.sheets.mkdir(exist_ok=True)
        self.process = subprocess.Popen([program, "--listen", "0", "--sheets", self.sheets,
                                         *options],
                                        stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, text=True)
        self.device = self.process.stdout.readline().strip()
        self.port = int(re.fullmatch(r"listening on 127\.0\.0\.1:(\d+)\n",
                                     self.process.stdout.readline())[1])
        self.uri = f"socket://127.0.0.1:{self.port}"

    def stop(self):
        self.process.terminate()
        self.process.wait(10)
        self.process.stdout.close()

    def printed(self, cups, count):
        """The pictures, when there are so many."""
        def look():
            found = sorted(self.sheets.glob("*.png"))
            return found if len(found) >= count else None
        return cups.wait_for(look, f"{count} sheets at the simulated printer")
