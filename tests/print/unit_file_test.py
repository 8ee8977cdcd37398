"""Checks the service of a watched folder with systemd-analyze: `unit_file_test.py UNIT`.

Exit status 77: systemd-analyze is not installed, or too old to check a file.
"""

import pathlib
import shutil
import subprocess
import sys
import tempfile

HIGHEST_EXPOSURE = 20  # in tenths of the score


def main():
    if not shutil.which("systemd-analyze"):
        print("SKIPPED: systemd-analyze is not installed")
        return 77
    with tempfile.TemporaryDirectory() as folder:
        unit = pathlib.Path(folder) / "k905-watch@booth.service"
        shutil.copy(sys.argv[1], unit)
        rated = subprocess.run(["systemd-analyze", "security", "--no-pager", "--offline=true",
                                f"--threshold={HIGHEST_EXPOSURE}", unit],
                               text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    print(rated.stdout)
    if "unrecognized option" in rated.stdout:
        print("SKIPPED: this systemd-analyze cannot look at a file")
        return 77
    # systemd ignores a line with an unknown setting, which then protects nothing.
    ignored = [line for line in rated.stdout.splitlines() if "gnoring" in line]
    return 1 if rated.returncode or ignored or "exposure level" not in rated.stdout else 0


if __name__ == "__main__":
    sys.exit(main())
