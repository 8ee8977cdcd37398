"""Tests that run_commands.py reports errors in the commands and links of a chapter."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

import run_commands

BUILD = pathlib.Path(sys.argv.pop()).resolve()


class Blocks(unittest.TestCase):
    def test_the_commands_of_a_block_are_returned(self):
        self.assertEqual(run_commands.blocks("a\n```sh\none\ntwo\n```\nb\n"), [(None, "one\ntwo\n")])

    def test_unmarked_blocks_are_ignored(self):
        self.assertEqual(run_commands.blocks("```\none\n```\n"), [])

    def test_a_reason_applies_to_the_next_block_only(self):
        text = "<!-- not run: no printer -->\n```sh\none\n```\n\n```sh\ntwo\n```\n"
        self.assertEqual(run_commands.blocks(text), [("no printer", "one\n"), (None, "two\n")])

    def test_a_block_for_a_print_system_is_marked_as_such(self):
        text = "<!-- run in a private print system -->\n```sh\none\n```\n"
        self.assertEqual(run_commands.blocks(text), [(run_commands.PRIVATE, "one\n")])

    def test_a_mark_without_a_reason_has_no_effect(self):
        self.assertEqual(run_commands.blocks("<!-- not run:  -->\n```sh\none\n```\n"), [(None, "one\n")])


class Commands(unittest.TestCase):
    def run_in_scratch(self, commands, prepared=""):
        with tempfile.TemporaryDirectory() as folder:
            return run_commands.run(commands, BUILD, folder, prepared)

    def test_files_that_the_chapters_use_exist(self):
        result = self.run_in_scratch(
            "test -s photo.jpg\ntest -s another.png\ntest -s page.ras\ntest -s job.prn\ntest -s K905.ppd\n",
            run_commands.PREPARED)
        self.assertEqual(result.returncode, 0, result.stdout)

    def test_commands_do_not_see_the_tmp_of_other_tests(self):
        with tempfile.NamedTemporaryFile(dir="/tmp") as other:
            possible = subprocess.run(["unshare", "--mount", "mount", "--bind", ".", "/tmp"], capture_output=True,
                                      check=False).returncode == 0
            if not possible or BUILD.is_relative_to("/tmp"):
                self.skipTest("no private /tmp can be mounted here")
            self.assertEqual(self.run_in_scratch(f"test ! -e {other.name}\n").returncode, 0)

    def test_a_failing_command_in_the_middle_fails_the_chapter(self):
        self.assertNotEqual(self.run_in_scratch("false\ntrue\n").returncode, 0)

    def test_a_program_that_is_not_there_fails_the_chapter(self):
        self.assertNotEqual(self.run_in_scratch("k905-nonsense\n").returncode, 0)

    def test_a_session_is_compared_with_what_is_shown(self):
        (_, correct), = run_commands.blocks("```console\n$ echo a; echo b\na\nb\n\n$ true\n```\n")
        self.assertEqual(self.run_in_scratch(correct).returncode, 0)
        (_, outdated), = run_commands.blocks("```console\n$ echo a\nb\n\n$ true\n```\n")
        self.assertNotEqual(self.run_in_scratch(outdated).returncode, 0)


    def test_the_device_of_the_session_is_replaced_by_the_one_of_the_run(self):
        (_, correct), (_, outdated) = run_commands.blocks(
            "```console\n$ k905-sim --remaining 3\n/dev/pts/5\n\n$ echo \" it's /dev/pts/5\"\n"
            " it's /dev/pts/5\n```\n```console\n$ echo /dev/pts/5\n/dev/pts/6\n```\n")
        result = self.run_in_scratch(correct)
        self.assertEqual(result.returncode, 0, result.stdout)
        self.assertNotEqual(self.run_in_scratch(correct + outdated).returncode, 0)

    def test_the_printer_profile_changes_the_proof(self):
        result = self.run_in_scratch("k905-preview --proof printer.icc --output proof job.prn\n"
                                     "k905-preview --output sheet job.prn\n"
                                     "! cmp -s proof-1.png sheet-1.png\n", run_commands.PREPARED)
        self.assertEqual(result.returncode, 0, result.stdout)


class Links(unittest.TestCase):
    def found_in(self, text):
        with tempfile.TemporaryDirectory() as folder:
            (pathlib.Path(folder) / "other.md").write_text("# The one\n")
            chapter = pathlib.Path(folder) / "chapter.md"
            chapter.write_text(text)
            return run_commands.broken_links(chapter)

    def test_valid_links_pass(self):
        self.assertEqual(self.found_in("# A (b)\n[x](other.md) [y](other.md#the-one) [z](#a-b)\n"), [])

    def test_a_missing_file_is_found(self):
        self.assertEqual(len(self.found_in("[x](gone.md)\n")), 1)

    def test_a_missing_heading_is_found(self):
        self.assertEqual(len(self.found_in("[x](other.md#gone) [y](#gone)\n")), 2)


if __name__ == "__main__":
    unittest.main()
