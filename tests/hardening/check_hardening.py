"""Checks that programs were linked as cmake/hardening.cmake requires: `check_hardening.py PROGRAM...`"""

import re
import shutil
import subprocess
import sys

SKIPPED = 77


def readelf(program, *what):
    return subprocess.run(["readelf", "--wide", *what, program], check=True, text=True,
                          capture_output=True).stdout


def lacking(program):
    """The protections that a program lacks."""
    found = []
    if not re.search(r"Type:\s+DYN .*Position-Independent Executable", readelf(program, "-h")):
        found.append("is not a position-independent executable (PIE)")
    if "GNU_RELRO" not in readelf(program, "-l"):
        found.append("has no RELRO segment: its relocation tables stay writable")
    if not re.search(r"\((FLAGS|FLAGS_1|BIND_NOW)\).*\b(BIND_)?NOW\b", readelf(program, "-d")):
        found.append("is linked without BIND_NOW")
    # Only code that the compiler inserts calls it.
    if "__stack_chk_fail" not in readelf(program, "--dyn-syms"):
        found.append("is compiled without a stack protector")
    return found


def main():
    if not shutil.which("readelf"):
        print("SKIPPED: readelf is not installed (binutils)")
        return SKIPPED
    found = [f"{program} {words}" for program in sys.argv[1:] for words in lacking(program)]
    print("\n".join(found) or f"{len(sys.argv) - 1} programs have all protections")
    return 1 if found or len(sys.argv) == 1 else 0


if __name__ == "__main__":
    sys.exit(main())
