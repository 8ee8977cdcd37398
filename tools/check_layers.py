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
                 paper/                         diag/ is included by all but kernels/ and paper/

An arrow means "may include", and so does a chain of arrows. The kernels include only standard headers and each other;
all folders except kernels/ and paper/ may include diag/; Little CMS and the PPD functions of libcups are each included
in one place only; a folder can have private headers. Prints a line for each finding; the exit status is 1 if there is
one.

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
WITHOUT_LOG = {"kernels", "paper", "diag"}  # all others may include diag/

# Folder -> the headers that files outside it may include. Folders that are not named here have no
# private headers.
PUBLIC_HEADERS = {"pipeline": {"pipeline/page_pipeline.h", "pipeline/planes.h"}}

# Outside header -> the files that may include it.
ALLOWED_FILES = {
    "lcms2.h": re.compile(r"pipeline/icc_transform\.cpp"),
    "lcms2_plugin.h": re.compile(r"pipeline/icc_transform\.cpp"),
    "cups/ppd.h": re.compile(r"settings/ppd_defaults\.\w+"),
}

# Standard headers have no ending. The headers for the vector instructions of a processor belong to the compiler.
STANDARD_HEADER = re.compile(r"[a-z_0-9]+|(x86|imm|arm_(neon|sve))[a-z]*\.h|cpuid\.h")

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
    return below if layer in WITHOUT_LOG else below | {"diag"}


def includes_of(file):
    """(line number, "<" or '"', included path) for every include of a file."""
    for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), start=1):
        if match := INCLUDE.match(line):
            yield number, match[1], match[2]


def is_private(included, path):
    """Whether `included` is a private header of a folder other than that of `path`."""
    folder = included.split("/")[0]
    public = PUBLIC_HEADERS.get(folder)
    return public is not None and path.split("/")[0] != folder and included not in public


def fault_of(path, form, included):
    """What is wrong with this include, or None."""
    layer = layer_of(path)
    if form == '"':
        target = layer_of(included)
        if target is None:
            return "is not a path from the root of the source tree"
        if target not in reachable(layer):
            return f"breaks the layers: {layer} may not include {target}"
        if is_private(included, path):
            return "is private to its folder"
        return None
    if layer_of(included) is not None:
        return "is a header of this project: use double quotes"
    if layer == "kernels" and not STANDARD_HEADER.fullmatch(included):
        return "is not a standard header: kernels may include no others"
    if included in ALLOWED_FILES and not ALLOWED_FILES[included].fullmatch(path):
        return "may be included only in other files (see ALLOWED_FILES)"
    return None


def check_includes(root):
    for file in files_in(root, PRODUCT, {".h", ".cpp"}):
        path = file.relative_to(root).as_posix()
        for number, form, included in includes_of(file):
            if reason := fault_of(path, form, included):
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
        print(f"{root}: found no source files")
        return 1
    findings = [*check_includes(root), *check_headers(root)]
    for finding in findings:
        print(finding)
    return 1 if findings else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
