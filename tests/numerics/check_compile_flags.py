#!/usr/bin/env python3
"""Checks that every source of the filter is compiled with the required floating-point flags.

The pixels depend on the floating-point flags of the compiler: products may not be fused with sums, and
operations may not be reordered. Reads the compile commands of a build; of a repeated flag the last one
counts, as for the compiler. Prints a line for each finding; the exit status is 1 if there is one.

usage: check_compile_flags.py compile_commands.json source-root
"""

import json
import pathlib
import re
import shlex
import sys

FILTER_FOLDERS = ["filter", "settings", "geometry", "pipeline", "protocol", "diag"]

# Each of these flags lets the compiler change results.
LOOSENING = re.compile(
    r"-Ofast|-f(fast-math|unsafe-math-optimizations|associative-math|reciprocal-math"
    r"|finite-math-only|no-signed-zeros|no-honor-nans|no-honor-infinities|cx-limited-range"
    r"|excess-precision=(fast|16)|fp-model=(?!precise|strict)\w+)"
)


def objections(flags):
    """Yields the errors in one compiler call."""
    contraction = [flag for flag in flags if flag.startswith("-ffp-contract=")]
    if not contraction:
        yield "-ffp-contract=off is missing"
    elif contraction[-1] != "-ffp-contract=off":
        yield f"{contraction[-1]} overrides -ffp-contract=off"
    for flag in flags:
        if LOOSENING.fullmatch(flag):
            yield f"{flag} changes results"


def flags_of(entry):
    return entry.get("arguments") or shlex.split(entry["command"])


def filter_files(entry, root):
    """Yields the paths of the entry's sources of the filter, relative to the root."""
    file = pathlib.Path(entry["directory"], entry["file"])
    sources = [file]
    if file.parent.name == "Unity":  # made by CMake, includes sources
        sources += map(pathlib.Path, re.findall(r'#include "(.*)"', file.read_text(encoding="utf-8")))
    for source in sources:
        source = source.resolve()
        if source.is_relative_to(root) and source.relative_to(root).parts[0] in FILTER_FOLDERS:
            yield source.relative_to(root).as_posix()


def variant(path):
    """The processor of a kernel: "neon" for tone_neon.cpp. None for sources for all processors."""
    found = re.fullmatch(r"pipeline/kernels/\w+_(avx2|avx512|neon)\.cpp", path)
    return found and found[1]


def findings(entries, root):
    compiled = set()
    for entry in entries:
        for path in filter_files(entry, root):
            compiled.add(path)
            for objection in objections(flags_of(entry)):
                yield f"{path}: {objection}"
    # Kernels for other processors are not built, so they are not expected.
    variants = {variant(path) for path in compiled} | {None}
    for folder in FILTER_FOLDERS:
        for source in sorted((root / folder).rglob("*.cpp")):
            path = source.relative_to(root).as_posix()
            if path not in compiled and variant(path) in variants:
                yield f"{path}: is not among the compile commands"


def main(arguments):
    entries = json.loads(pathlib.Path(arguments[1]).read_text(encoding="utf-8"))
    lines = list(findings(entries, pathlib.Path(arguments[2]).resolve()))
    for line in lines:
        print(line)
    return 1 if lines else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
