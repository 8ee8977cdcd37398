"""Tests tools/test_repeat with stand-ins for the build and for ctest: `test_repeat_test.py`."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "tools/test_repeat"
# Fails in its second run. The children of the script are this program and those that occupy the CPUs.
CTEST = """#!/bin/sh
echo "$@" >>"$RUNS"
cp "/proc/$PPID/task/$PPID/children" "$CHILDREN"
[ "$(wc -l <"$RUNS")" -ne 2 ]
"""


class TestRepeat(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = pathlib.Path(scratch.name)
        (self.folder / "build/dev").mkdir(parents=True)
        for name, text in (("tools/test", "#!/bin/sh\n"), ("bin/ctest", CTEST)):
            (self.folder / name).parent.mkdir()
            (self.folder / name).write_text(text)
            (self.folder / name).chmod(0o755)
        shutil.copy2(SCRIPT, self.folder / "tools")

    def run_script(self, *arguments):
        return subprocess.run([self.folder / "tools/test_repeat", *arguments], text=True, capture_output=True, check=False,
                              env=os.environ | {"PATH": f"{self.folder}/bin:{os.environ['PATH']}",
                                                "RUNS": str(self.folder / "runs"),
                                                "CHILDREN": str(self.folder / "children")})

    def test_one_failure_in_three_runs_is_reported_after_the_third(self):
        done = self.run_script("3", "-R", "words")
        self.assertEqual((done.returncode, done.stdout.splitlines()[-1]), (1, "1 of 3 runs failed"), done.stderr)
        self.assertIn("run 2 of 3: FAILED, see build/dev/repeat-2.log", done.stdout)
        runs = (self.folder / "runs").read_text().splitlines()
        self.assertEqual(len(runs), 3)
        self.assertTrue(runs[0].endswith(" -R words"))

    def test_every_cpu_is_occupied_until_the_end(self):
        self.assertEqual(self.run_script("1").returncode, 0)
        children = (self.folder / "children").read_text().split()
        self.assertEqual(len(children), len(os.sched_getaffinity(0)) + 1)
        self.assertEqual([child for child in children if pathlib.Path(f"/proc/{child}").exists()], [])
        self.assertIn("slow", (self.folder / "runs").read_text())


if __name__ == "__main__":
    unittest.main()
