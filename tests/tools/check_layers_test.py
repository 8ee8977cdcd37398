#!/usr/bin/env python3
"""Runs tools/check_layers.py on small source trees, valid and invalid, and compares its findings."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECKER = pathlib.Path(__file__).resolve().parents[2] / "tools" / "check_layers.py"

# The essential includes of each layer, in one or two files.
VALID_TREE = {
    "filter/main.cpp": '#include <cups/raster.h>\n#include "pipeline/page_pipeline.h"\n'
    '#include "protocol/print_page.h"\n#include "geometry/page_header.h"\n'
    '#include "settings/summary.h"\n#include "paper/paper_table.h"\n#include "diag/log.h"\n',
    "pipeline/page_pipeline.cpp": '#include "pipeline/kernels/kernels.h"\n'
    '#include "pipeline/stages.h"\n'
    '#include "geometry/page_layout.h"\n#include "settings/print_options.h"\n#include "diag/log.h"\n',
    "pipeline/icc_transform.cpp": "#include <lcms2.h>\n",
    "pipeline/kernels/kernels.h": "// Kernels.\n#pragma once\n#include <cstdint>\n",
    "pipeline/kernels/tone_avx2.cpp": '#include "pipeline/kernels/kernels.h"\n'
    "#include <immintrin.h>\n#include <arm_neon.h>\n#include <bit>\n",
    "protocol/print_page.cpp": '#include "settings/print_options.h"\n#include <unistd.h>\n',
    "geometry/page_header.cpp": '#include "paper/paper_table.h"\n'
    '#include "settings/print_options.h"\n#include "diag/log.h"\n',
    "paper/paper_table.cpp": '#include "paper/paper_table.h"\n#include <cstring>\n',
    "settings/ppd_defaults.cpp": '#include <cups/ppd.h>\n#include "paper/paper_table.h"\n'
    '#include "diag/log.h"\n',
    "device/printer.cpp": '#include "device/printer.h"\n#include "protocol/command_block.h"\n',
    "device/printer.h": "// A printer.\n#pragma once\n",
    "diag/log.h": "// The log.\n#pragma once\n",
    "tests/any_test.cpp": '#include "no/such/thing.h"\n',
}


def findings_of(tree):
    """Exit status and lines of the checker over a tree of {path: text}."""
    with tempfile.TemporaryDirectory() as folder:
        for path, text in tree.items():
            file = pathlib.Path(folder, path)
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(text, encoding="utf-8")
        run = subprocess.run(
            [sys.executable, CHECKER, folder], capture_output=True, text=True, check=False
        )
        return run.returncode, run.stdout.splitlines()


class CheckLayers(unittest.TestCase):
    def expect(self, path, text, *findings):
        """A valid tree in which `path` has this text gives exactly these findings."""
        status, lines = findings_of({**VALID_TREE, path: text})
        self.assertEqual(lines, [f"{path}:{finding}" for finding in findings])
        self.assertEqual(status, 1 if findings else 0)

    def test_a_valid_tree_passes(self):
        self.assertEqual(findings_of(VALID_TREE), (0, []))

    def test_nothing_points_upward(self):
        for path, included, layer, target in [
            ("pipeline/a.cpp", "filter/startup.h", "pipeline", "filter"),
            ("geometry/a.cpp", "pipeline/planes.h", "geometry", "pipeline"),
            ("settings/a.cpp", "geometry/page_header.h", "settings", "geometry"),
            ("protocol/a.cpp", "geometry/page_layout.h", "protocol", "geometry"),
            ("paper/paper_table.cpp", "settings/summary.h", "paper", "settings"),
            ("paper/a.cpp", "geometry/page_layout.h", "paper", "geometry"),
            ("protocol/a.cpp", "device/printer.h", "protocol", "device"),
            ("device/a.cpp", "pipeline/planes.h", "device", "pipeline"),
            ("diag/a.cpp", "settings/print_options.h", "diag", "settings"),
        ]:
            self.expect(
                path,
                f'// Text.\n#include "{included}"\n',
                f"2: {included} breaks the layers: {layer} may not include {target}",
            )

    def test_headers_of_the_pipeline_are_private_but_for_two(self):
        self.expect(
            "filter/a.cpp",
            '#include "pipeline/planes.h"\n#include "pipeline/stages.h"\n',
            "2: pipeline/stages.h is private to its folder",
        )
        self.expect(
            "filter/a.cpp",
            '#include "pipeline/kernels/kernels.h"\n',
            "1: pipeline/kernels/kernels.h is private to its folder",
        )

    def test_pipeline_and_protocol_do_not_include_each_other(self):
        self.expect(
            "pipeline/a.cpp",
            '#include "protocol/print_page.h"\n',
            "1: protocol/print_page.h breaks the layers: pipeline may not include protocol",
        )
        self.expect(
            "protocol/a.cpp",
            '#include "pipeline/planes.h"\n',
            "1: pipeline/planes.h breaks the layers: protocol may not include pipeline",
        )

    def test_kernels_and_papers_do_not_log(self):
        self.expect(
            "pipeline/kernels/a.cpp",
            '#include "diag/log.h"\n',
            "1: diag/log.h breaks the layers: kernels may not include diag",
        )
        self.expect(
            "paper/paper_table.h",
            '// Papers.\n#pragma once\n#  include "diag/log.h"\n',
            "3: diag/log.h breaks the layers: paper may not include diag",
        )

    def test_kernels_include_only_the_standard_library(self):
        for included in ["unistd.h", "cups/raster.h", "lcms2.h", "stdlib.h"]:
            self.expect(
                "pipeline/kernels/a.cpp",
                f"#include <{included}>\n",
                f"1: {included} is not a standard header: kernels may include no others",
            )
        self.expect(
            "pipeline/kernels/a.cpp",
            '#include "pipeline/planes.h"\n',
            "1: pipeline/planes.h breaks the layers: kernels may not include pipeline",
        )

    def test_each_outside_library_is_included_in_one_place(self):
        self.expect("pipeline/a.cpp", "#include <lcms2.h>\n", "1: lcms2.h may be included only in other files (see ALLOWED_FILES)")
        self.expect(
            "settings/a.cpp", "#include <cups/ppd.h>\n", "1: cups/ppd.h may be included only in other files (see ALLOWED_FILES)"
        )

    def test_own_files_are_included_by_their_path_from_the_root(self):
        self.expect(
            "protocol/a.cpp", '#include "bmp.h"\n', "1: bmp.h is not a path from the root of the source tree"
        )
        self.expect(
            "protocol/a.cpp",
            '#include "tests/support/x.h"\n',
            "1: tests/support/x.h is not a path from the root of the source tree",
        )
        self.expect(
            "protocol/a.cpp",
            "#include <diag/log.h>\n",
            "1: diag/log.h is a header of this project: use double quotes",
        )

    def test_headers_open_with_a_comment_and_guard_themselves(self):
        for folder in ["diag", "apps/wire", "tests/support"]:
            self.expect(
                f"{folder}/a.h",
                "#pragma once\n",
                "1: a header begins with a comment that describes its purpose",
            )
            self.expect(f"{folder}/a.h", "// Purpose.\n", "1: #pragma once is missing")

    def test_a_folder_without_sources_is_an_error(self):
        status, lines = findings_of({"README.md": "nothing\n"})
        self.assertEqual(status, 1)
        self.assertEqual(len(lines), 1)


if __name__ == "__main__":
    unittest.main()
