"""Tests tools/check_words on a temporary source tree: `check_words_test.py`."""

import pathlib
import subprocess
import tempfile
import unittest

CHECK = pathlib.Path(__file__).resolve().parents[2] / "tools/check_words"


def findings_of(files):
    """Exit status and lines of the check for a tree with these files."""
    with tempfile.TemporaryDirectory() as folder:
        for name, text in files.items():
            (pathlib.Path(folder) / name).write_text(text)
        for command in (["init", "--quiet"], ["add", "."]):
            subprocess.run(["git", *command], cwd=folder, check=True)
        done = subprocess.run([CHECK, folder], text=True, capture_output=True, check=False)
        return done.returncode, done.stdout.splitlines()


class CheckWords(unittest.TestCase):
    def test_a_folder_outside_a_git_repository_is_an_error(self):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "a.md").write_text("The queue reports an error.\n")
            done = subprocess.run([CHECK, folder], text=True, capture_output=True, check=False)
            self.assertNotEqual(done.returncode, 0)
            self.assertIn("not a git repository", done.stderr)

    def test_plain_text_has_no_findings(self):
        self.assertEqual(findings_of({"a.md": "The queue reports an error.\n"}), (0, []))

    def test_a_listed_word_is_reported_with_its_line_and_its_replacement(self):
        status, lines = findings_of({"a.md": "one\nThe caller comp" "lains.\n"})
        self.assertEqual(status, 1)
        self.assertEqual(lines, ["a.md:2:The caller comp" "lains.",
                                 "  -> write instead of these: report an error, log"])

    def test_british_spelling_is_reported_with_its_line(self):
        status, lines = findings_of({"a.cpp": "// the col" "our\n"})
        self.assertEqual((status, len(lines)), (1, 1))
        self.assertIn("a.cpp:1:", lines[0])

    def test_a_test_name_above_80_characters_is_reported(self):
        allowed = f"TEST(Suite, {'N' * 74}) {{\n"
        self.assertEqual(findings_of({"a.cpp": allowed}), (0, []))
        status, lines = findings_of({"a.cpp": allowed.replace("N)", "NN)")})
        self.assertEqual((status, lines[-1]), (1, "  -> a test name has at most 80 characters"))


if __name__ == "__main__":
    unittest.main()
