#!/usr/bin/env python3
"""Checks that no layer of the filter and of the device library includes a layer above it.

                       filter/        device/
              +-----------+-----------+  |
              v           |           v  v
          pipeline/       |       protocol/
          |       |       |           |
          v       v       v           |
     kernels/    geometry/            |
                     |                |
                     v                |
                 settings/ <----------+
                     |
                     v
                 paper/                         diag/ beside all of them

An arrow means "may include", directly or over several arrows. The kernels include
only standard headers and each other; all layers but the kernels and the papers may log; each outside
library is included in one place only; a folder can have private headers. Prints a line per finding; the
exit status is 1 if there is one.

usage: check_layers.py [root of the source tree]
"""

import pathlib
import re
import sys

ARROWS = {
    "filter": ["pipeline", "geometry", "protocol"],
    "pipeline": ["kernels", "geometry"],
    "device": ["protocol"],
    "protocol": ["settings"],
    "geometry": ["settings"],
    "settings": ["paper"],
    "paper": [],
    "kernels": [],
    "diag": [],
}
SILENT = {"kernels", "paper", "diag"}  # every other layer may use diag/

# Folder -> the headers that files outside it may include. Folders that are not named here have no
# private headers.
PUBLIC_HEADERS = {"pipeline": {"pipeline/page_pipeline.h", "pipeline/planes.h"}}

# Outside header -> the files that may include it.
DOORS = {
    "lcms2.h": re.compile(r"pipeline/icc_transform\.cpp"),
    "lcms2_plugin.h": re.compile(r"pipeline/icc_transform\.cpp"),
    "cups/ppd.h": re.compile(r"settings/ppd_defaults\.\w+"),
}

# The language: standard headers carry no ending; the vector types of the processors come with the
# compiler.
LANGUAGE = re.compile(r"[a-z_0-9]+|(x86|imm|arm_(neon|sve))[a-z]*\.h|cpuid\.h")

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')

PRODUCT = ["filter", "settings", "paper", "geometry", "pipeline", "protocol", "device", "diag"]
FOLDERS_WITH_HEADERS = PRODUCT + ["apps", "devtools", "ppd", "tests", "fuzz", "bench"]


def layer_of(path):
    """The layer a product file belongs to, or None."""
    if path.startswith("pipeline/kernels/"):
        return "kernels"
    folder = path.split("/")[0]
    return folder if folder in PRODUCT else None


def reachable(layer):
    """The layers that `layer` may include: itself and all layers below."""
    below = {layer}.union(*(reachable(next_layer) for next_layer in ARROWS[layer]))
    return below if layer in SILENT else below | {"diag"}


def includes_of(file):
    """(line number, "<" or '"', included path) for every include of a file."""
    for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), start=1):
        if match := INCLUDE.match(line):
            yield number, match[1], match[2]


def is_private(included, path):
    """Whether `included` is no header for the folder of `path`."""
    folder = included.split("/")[0]
    public = PUBLIC_HEADERS.get(folder)
    return public is not None and path.split("/")[0] != folder and included not in public


def objection(path, form, included):
    """What is wrong with this include, or None."""
    layer = layer_of(path)
    if form == '"':
        target = layer_of(included)
        if target is None:
            return "is no path from the root of the product"
        if target not in reachable(layer):
            return f"points upward: {layer} may not know {target}"
        if is_private(included, path):
            return "is private to its folder"
        return None
    if layer_of(included) is not None:
        return "is our own and belongs in double quotes"
    if layer == "kernels" and not LANGUAGE.fullmatch(included):
        return "is more than the language: kernels know nothing else"
    if included in DOORS and not DOORS[included].fullmatch(path):
        return "has its door elsewhere"
    return None


def check_includes(root):
    for file in files_in(root, PRODUCT, {".h", ".cpp"}):
        path = file.relative_to(root).as_posix()
        for number, form, included in includes_of(file):
            if reason := objection(path, form, included):
                yield f"{path}:{number}: {included} {reason}"


def check_headers(root):
    for file in files_in(root, FOLDERS_WITH_HEADERS, {".h"}):
        path = file.relative_to(root).as_posix()
        lines = file.read_text(encoding="utf-8").splitlines()
        if not lines or not lines[0].startswith(("//", "/*")):
            yield f"{path}:1: a header begins with a comment that describes its purpose"
        if "#pragma once" not in lines:
            yield f"{path}:1: #pragma once is missing"


def files_in(root, folders, endings):
    return sorted(
        file
        for folder in folders
        for file in (root / folder).rglob("*")
        if file.suffix in endings and file.is_file()
    )


def main(arguments):
    here = pathlib.Path(__file__).resolve().parent
    root = pathlib.Path(arguments[1]) if len(arguments) > 1 else here.parent
    if not files_in(root, PRODUCT, {".cpp"}):
        print(f"{root}: no sources here")
        return 1
    findings = [*check_includes(root), *check_headers(root)]
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
