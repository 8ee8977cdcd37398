"""Compares the --help text of a program with its manual page and its bash completion.

`check_options.py BUILD SOURCE`: for every program with options, `--help` must list exactly the options that
the manual page describes and the completion offers; and the completion must offer exactly the values that
the program accepts after an option.
"""

import os
import pathlib
import pty
import re
import shlex
import subprocess
import sys
import tempfile
import unittest

BUILD, SOURCE = (pathlib.Path(argument).resolve() for argument in sys.argv[1:3])
PROGRAMS = ("k905-preview", "k905-print", "k905-raster", "k905-setup", "k905-sim", "k905-status")
OPTION = re.compile(r"(?<![\w-])--?[a-zA-Z][\w-]*")


def output_of(program, *arguments):
    """Both streams: an error is written to one of them, a list to the other."""
    result = subprocess.run([BUILD / program, *arguments], text=True, stdin=subprocess.DEVNULL, timeout=60,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
    return result.stdout


def options_of_help(program):
    return set(OPTION.findall(output_of(program, "--help")))


def options_of_page(program):
    (page,) = SOURCE.glob(f"docs/man/{program}.[1-9]")
    found = set()
    for line in re.findall(r"^\.It (.*(?:Fl|Cm) .*)$", page.read_text(), re.MULTILINE):
        for name in re.findall(r"Fl (\S+)", line):
            name = name.replace("\\-", "-")
            found.add("-" + name)
        if line.startswith("Cm "):  # the simulator's fields, each of them an option
            found.update("--" + name for name in re.split(r" , ", line[len("Cm "):]))
    return found


def completed(*words, before=""):
    """The completions that bash offers for the last of these words."""
    program = words[0]
    script = (f"{before}\nsource {shlex.quote(str(SOURCE / 'apps/completion/k905.bash'))}\n"
              f"COMP_WORDS=({shlex.join(words)})\nCOMP_CWORD={len(words) - 1}\n"
              f"_k905 {program} {shlex.quote(words[-1])} {shlex.quote(words[-2])}\n"
              'printf "%s\\n" "${COMPREPLY[@]}"\n')
    with tempfile.TemporaryDirectory() as folder:
        # File names that match the papers, if a careless expansion treats them as patterns.
        for name in ("6x2-2", "6x2x4"):
            (pathlib.Path(folder) / name).touch()
        result = subprocess.run(["bash", "-u", "-c", script], text=True, cwd=folder, check=True,
                                capture_output=True, env=os.environ | {"PATH": path_with(BUILD)})
    assert not result.stderr, result.stderr
    # As the shell parses them when the command runs.
    return set(shlex.split(result.stdout))


def path_with(folder):
    return f"{folder}:{os.environ['PATH']}"


def type_into_bash(folder, text):
    """Types this text into an interactive bash in `folder`, which is on the PATH, and returns its output."""
    process, terminal = pty.fork()
    if process == 0:
        os.chdir(folder)
        os.execvpe("bash", ["bash", "--noprofile", "--norc", "-i"],
                   os.environ | {"PATH": path_with(folder), "PS1": "$ ", "TERM": "dumb", "HISTFILE": ""})
    shown = b""
    commands = f"source {shlex.quote(str(SOURCE / 'apps/completion/k905.bash'))}\n{text}exit\n"
    os.write(terminal, commands.encode())
    try:
        while piece := os.read(terminal, 4096):
            shown += piece
    except OSError:  # the end of a terminal
        pass
    os.close(terminal)
    os.waitpid(process, 0)
    return shown.decode(errors="replace")


def listed(text, pattern):
    """The words of an enumeration such as "a, b or c"."""
    return set(re.split(r"\s*,\s*|\s+or\s+", re.search(pattern, text)[1].strip()))


def all_papers():
    listing = output_of("k905-raster", "--list").partition("Formats:")[0]
    names = set()
    for line in re.findall(r"^  (\S+) +(\S+) +\d", listing, re.MULTILINE):
        names.update(line)
    return names - {"default"}  # the fallback for unknown papers


def keywords():
    error = output_of("k905-print", "--to", "/dev/null", "-o", "Nothing=1", "x.png")
    return {name + "=" for name in listed(error, r'unknown option "Nothing"; known options: (.+)')}


def questions():
    manual = (SOURCE / "docs/status.md").read_text()
    return set(re.findall(r"`(\w+)`", re.search(r"the\s+fault\s+to\s+one\s+question\s+\((.*?)\)", manual, re.DOTALL)[1]))


def from_help(program, pattern):
    return listed(output_of(program, "--help"), pattern)


MODELS = r"--model (?:TEXT|MODEL) +(K905[^\n]+)"
VALUES = {
    ("k905-print", "-p"): all_papers,
    ("k905-print", "--paper"): all_papers,
    ("k905-print", "-f"): lambda: from_help("k905-print", r"--finish TEXT:\{(.+)\}"),
    ("k905-print", "--finish"): lambda: from_help("k905-print", r"--finish TEXT:\{(.+)\}"),
    ("k905-print", "--layout"): lambda: from_help("k905-print", r"--layout TEXT:\{(.+)\}"),
    ("k905-print", "-o"): keywords,
    ("k905-print", "--option"): keywords,
    ("k905-raster", "-p"): all_papers,
    ("k905-raster", "--paper"): all_papers,
    ("k905-raster", "-f"): lambda: from_help("k905-raster", r"colors and bits: (.+)"),
    ("k905-raster", "--format"): lambda: from_help("k905-raster", r"colors and bits: (.+)"),
    ("k905-raster", "-r"): lambda: from_help("k905-raster", r"--resolution TEXT:\{(.+)\}"),
    ("k905-raster", "--resolution"): lambda: from_help("k905-raster", r"--resolution TEXT:\{(.+)\}"),
    ("k905-raster", "--orientation"): lambda: from_help("k905-raster", r"--orientation TEXT:\{(.+)\}"),
    ("k905-raster", "--fit"): lambda: from_help("k905-raster", r"--fit TEXT:\{(.+)\}"),
    ("k905-raster", "--color-space"): lambda: from_help("k905-raster", r"number or name \((.+?)\)"),
    ("k905-raster", "-s"): lambda: {"page", "picture"},
    ("k905-raster", "--size"): lambda: {"page", "picture"},
    ("k905-setup", "--paper"): all_papers,
    ("k905-setup", "--model"): lambda: {path.stem for path in (BUILD / "ppd").glob("*.ppd")},
    ("k905-setup", "--finish"): lambda: {"Glossy", "Matte"},
    ("k905-setup", "--ribbon"): lambda: {"6x4", "6x8", "Auto"},
    ("k905-sim", "--model"): lambda: from_help("k905-sim", MODELS),
    ("k905-sim", "--resolution"): lambda: from_help("k905-sim", r"--resolution TEXT +(.+)"),
    ("k905-sim", "--fault"): lambda: from_help("k905-sim", r"fault to simulate: (.+)"),
    ("k905-sim", "--fault-on"): questions,
}


class Options(unittest.TestCase):
    def test_the_manual_page_describes_every_option_and_no_other(self):
        for program in PROGRAMS:
            with self.subTest(program):
                self.assertGreater(len(options_of_help(program)), 4)
                self.assertEqual(options_of_page(program), options_of_help(program))

    def test_the_manual_page_of_the_simulator_describes_its_commands(self):
        listed = output_of("k905-sim", "--help").partition("\nCommands")[2]
        page = (SOURCE / "docs/man/k905-sim.1").read_text()
        described = [name for line in re.findall(r"^\.It Ic (.*)$", page, re.MULTILINE)
                     for name in re.split(r" , ", line)]
        self.assertEqual({re.match(r"\S+", name)[0] for name in described},
                         set(re.findall(r"^  (\w+)", listed, re.MULTILINE)))

    def test_the_completion_offers_every_long_option_and_no_other(self):
        for program in PROGRAMS:
            with self.subTest(program):
                self.assertEqual(completed(program, "-"),
                                 {name for name in options_of_help(program) if name.startswith("--")})


class Completion(unittest.TestCase):
    def test_the_values_of_an_option_are_those_that_the_program_accepts(self):
        for (program, option), wanted in VALUES.items():
            with self.subTest(f"{program} {option}"):
                self.assertEqual(completed(program, option, ""), wanted())

    def test_every_option_with_completed_values_is_in_the_table(self):
        for program in PROGRAMS:
            for option in options_of_help(program):
                offered = completed(program, option, "")
                if (program, option) not in VALUES:
                    self.assertEqual(offered, set(), f"{program} {option}")

    def test_queues_are_those_of_the_print_system(self):
        lpstat = 'lpstat() { [ "$*" = -e ] && echo booth && echo photo; }'
        for program, option in (("k905-print", "--queue"), ("k905-print", "-q"), ("k905-setup", "--check")):
            self.assertEqual(completed(program, option, "", before=lpstat), {"booth", "photo"})

    # Names that CUPS accepts for queues and that the shell would execute or expand.
    UNUSUAL_QUEUES = ("$(touch${IFS}PWNED)", "`touch${IFS}PWNED`", "a;touch${IFS}PWNED", "$HOME", "*", "it's",
                      "b\\c", 'd"e', "~", "{x,y}")

    def test_queue_names_are_offered_as_they_are_and_nothing_in_them_runs(self):
        with tempfile.TemporaryDirectory() as folder:
            lpstat = f"lpstat() {{ printf '%s\\n' {shlex.join(self.UNUSUAL_QUEUES)}; }}"
            before = f"cd {folder}; {lpstat}"
            for program, option in (("k905-print", "-q"), ("k905-setup", "--check")):
                self.assertEqual(completed(program, option, "", before=before), set(self.UNUSUAL_QUEUES))
            self.assertEqual(completed("k905-print", "-q", "$(t", before=before), {self.UNUSUAL_QUEUES[0]})
            self.assertEqual(completed("k905-print", "-q", "\\$\\(t", before=before), {self.UNUSUAL_QUEUES[0]})
            self.assertEqual(os.listdir(folder), [])

    def test_a_completed_queue_name_reaches_the_program_and_does_not_run(self):
        for name in self.UNUSUAL_QUEUES:
            with self.subTest(name), tempfile.TemporaryDirectory() as folder:
                for program, script in (("lpstat", f"printf '%s\\n' {shlex.quote(name)}"),
                                        ("k905-print", 'printf "%s\\n" "$@" >arguments')):
                    file = pathlib.Path(folder) / program
                    file.write_text(f"#!/bin/sh\n{script}\n")
                    file.chmod(0o755)
                shown = type_into_bash(folder, "k905-print -q \t\n")
                self.assertEqual(sorted(os.listdir(folder)), ["arguments", "k905-print", "lpstat"], shown)
                self.assertEqual((pathlib.Path(folder) / "arguments").read_text(), f"-q\n{name}\n", shown)

    def test_only_the_installed_program_is_run_for_its_options(self):
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder) / "k905-print"
            file.write_text("#!/bin/sh\ntouch PWNED\n")
            file.chmod(0o755)
            self.assertIn("--paper", completed("./k905-print", "--", before=f"cd {folder}"))
            self.assertEqual(os.listdir(folder), ["k905-print"])

    def test_only_completions_of_the_word_are_offered(self):
        self.assertEqual(completed("k905-print", "--pr"), {"--preview"})
        self.assertEqual(completed("k905-print", "--paper", "6x6"), {"6x6"})

    def test_a_value_after_an_equals_sign_is_completed(self):
        self.assertEqual(completed("k905-print", "--finish", "=", "M"), {"Matte"})
        self.assertEqual(completed("k905-print", "--finish", "="), {"Glossy", "Matte"})

    def test_file_names_are_left_to_bash(self):
        self.assertEqual(completed("k905-print", ""), set())
        self.assertEqual(completed("k905-preview", "--proof", ""), set())

    def test_every_program_is_completed(self):
        result = subprocess.run(["bash", "-c", "source apps/completion/k905.bash; complete -p"],
                                cwd=SOURCE, text=True, capture_output=True, check=True)
        self.assertEqual(set(re.findall(r"-F _k905 (\S+)", result.stdout)), set(PROGRAMS))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
