"""Tests tools/test_on with replacements for the programs that make and enter the root folder: `test_on_test.py`."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "tools/test_on"
# Refuses a folder that has files, like the real program. The first run fails, as if it were interrupted.
MMDEBSTRAP = """#!/bin/sh
for root; do :; done
[ -z "$(ls -A "$root" 2>/dev/null)" ] || { echo "$root is not empty" >&2; exit 1; }
mkdir -p "$root/root"
echo "$@" >>"$STARTED"
[ "$(wc -l <"$STARTED")" -gt 1 ]
"""
UNSHARE = """#!/bin/sh
echo "in $root: $*"
"""


class TestOn(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name).resolve()
        (self.folder / "project/tools").mkdir(parents=True)
        shutil.copy2(SCRIPT, self.folder / "project/tools")
        (self.folder / "bin").mkdir()
        for name, text in (("mmdebstrap", MMDEBSTRAP), ("unshare", UNSHARE)):
            (self.folder / "bin" / name).write_text(text)
            (self.folder / "bin" / name).chmod(0o755)
        for command in (["init", "--quiet"], ["add", "."],
                        ["-c", "user.name=me", "-c", "user.email=me@localhost", "commit", "--quiet", "-m", "all"]):
            subprocess.run(["git", *command], cwd=self.folder / "project", check=True)

    def run_script(self, *arguments):
        path = f"{self.folder}/bin:{os.environ['PATH']}:/usr/sbin:/sbin"
        return subprocess.run([self.folder / "project/tools/test_on", *arguments], text=True, capture_output=True,
                              check=False, env=os.environ | {"PATH": path, "STARTED": str(self.folder / "started")})

    def test_an_interrupted_first_run_does_not_disturb_the_next(self):
        self.assertEqual(self.run_script("trixie", "-R", "words").returncode, 1)
        again = self.run_script("trixie", "-R", "words")
        self.assertEqual(again.returncode, 0, again.stderr)
        self.assertIn(f"in {self.folder}/project/build/on/trixie: ", again.stdout)
        self.assertTrue(again.stdout.endswith(" sh -R words\n"), again.stdout)

    def test_an_architecture_has_its_own_root_folder(self):
        self.run_script("bookworm", "arm64", "-R", "words")
        again = self.run_script("bookworm", "arm64", "-R", "words")
        self.assertIn("--architectures=arm64 ", (self.folder / "started").read_text())
        self.assertIn(f"in {self.folder}/project/build/on/bookworm-arm64: ", again.stdout)
        self.assertTrue(again.stdout.endswith(" sh -R words\n"), again.stdout)


if __name__ == "__main__":
    unittest.main()
