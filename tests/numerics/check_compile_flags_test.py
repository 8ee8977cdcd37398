#!/usr/bin/env python3
"""Runs check_compile_flags.py on invented compile commands and compares its findings."""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECKER = pathlib.Path(__file__).resolve().with_name("check_compile_flags.py")


class CheckCompileFlags(unittest.TestCase):
    def expect(self, flags, *findings, form="command"):
        """One source of the filter compiled with these flags gives exactly these findings."""
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            (root / "pipeline").mkdir()
            (root / "pipeline" / "a.cpp").write_text("")
            call = f"c++ {flags} -c {root}/pipeline/a.cpp"
            entries = [
                {
                    "directory": folder,
                    "file": f"{root}/pipeline/a.cpp",
                    form: call if form == "command" else call.split(),
                },
                {"directory": folder, "file": "tests/t.cpp", "command": "c++ -Ofast tests/t.cpp"},
            ]
            self.expect_of(root, entries, *findings)

    def expect_of(self, root, entries, *findings):
        commands = root / "compile_commands.json"
        commands.write_text(json.dumps(entries))
        run = subprocess.run(
            [sys.executable, CHECKER, commands, root], capture_output=True, text=True, check=False
        )
        self.assertEqual(run.stdout.splitlines(), list(findings))
        self.assertEqual(run.returncode, 1 if findings else 0)

    def test_the_required_flags_pass(self):
        self.expect("-O2 -fno-fast-math -ffp-contract=off")
        self.expect("-O2 -ffp-contract=off", form="arguments")

    def test_a_missing_flag_is_found(self):
        self.expect("-O2", "pipeline/a.cpp: -ffp-contract=off is missing")

    def test_a_flag_that_a_later_one_cancels_is_found(self):
        self.expect(
            "-ffp-contract=off -ffp-contract=fast",
            "pipeline/a.cpp: -ffp-contract=fast overrides -ffp-contract=off",
        )
        self.expect("-ffp-contract=fast -ffp-contract=off")

    def test_everything_that_loosens_arithmetic_is_found(self):
        for flag in [
            "-Ofast",
            "-ffast-math",
            "-funsafe-math-optimizations",
            "-fassociative-math",
            "-freciprocal-math",
            "-ffinite-math-only",
            "-fno-signed-zeros",
        ]:
            self.expect(f"-ffp-contract=off {flag}", f"pipeline/a.cpp: {flag} changes results")

    def test_a_merged_source_is_checked_with_the_flags_of_the_file_that_includes_it(self):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for made in ["diag", "build/Unity"]:
                (root / made).mkdir(parents=True)
            (root / "diag" / "log.cpp").write_text("")
            merged = root / "build" / "Unity" / "unity_0_cxx.cxx"
            merged.write_text(f'/* by CMake */\n#include "{root}/diag/log.cpp"\n')
            entry = {"directory": folder, "file": str(merged), "command": f"c++ -c {merged}"}
            self.expect_of(root, [entry], "diag/log.cpp: -ffp-contract=off is missing")

    def test_a_source_that_is_not_built_is_found(self):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            (root / "diag").mkdir()
            (root / "diag" / "log.cpp").write_text("")
            self.expect_of(root, [], "diag/log.cpp: is not among the compile commands")

    def test_kernels_for_another_processor_need_not_be_built(self):
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            kernels = root / "pipeline" / "kernels"
            kernels.mkdir(parents=True)
            for name in ["tone_avx2", "resize_avx2", "tone_neon"]:
                (kernels / f"{name}.cpp").write_text("")
            built = {
                "directory": str(root),
                "file": "pipeline/kernels/tone_avx2.cpp",
                "command": "c++ -ffp-contract=off -c pipeline/kernels/tone_avx2.cpp",
            }
            missing = "pipeline/kernels/resize_avx2.cpp: is not among the compile commands"
            self.expect_of(root, [built], missing)


if __name__ == "__main__":
    unittest.main()
