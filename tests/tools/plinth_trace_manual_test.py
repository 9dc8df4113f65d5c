"""The manual page of plinth-trace says what its --help says: the same commands, options and exit
codes, none missing and none that is gone.

The environment names the program: PLINTH_TRACE. The page is docs/man/plinth-trace.1 of the tree.
"""
import os
import re
import subprocess
import unittest

from needs import needs_program

TRACE = os.environ["PLINTH_TRACE"]
PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../docs/man/plinth-trace.1")


def help_of(*command):
    return subprocess.run([TRACE, *command, "--help"], capture_output=True, text=True, check=True,
                          stdin=subprocess.DEVNULL, timeout=60).stdout


def commands_of_help():
    listed = help_of().split("\n\n")[1]
    return re.findall(r"^  ([a-z]\S*)", listed, re.M)


def options_of_help(*command):
    """The options that a help text describes: those at the start of a line."""
    return set(re.findall(r"^  (--[a-z][a-z-]*)", help_of(*command), re.M))


def sections():
    """The page's text by heading, of both levels, hyphens as people read them."""
    with open(PAGE, encoding="utf-8") as file:
        text = file.read().replace("\\-", "-")
    parts = re.split(r'^\.S[HS] "?([^"\n]+)"?\n', text, flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))


def entries(section):
    """What a section describes: the first word of each tagged paragraph."""
    return set(re.findall(r"^\.TP\n\.BI? (\S+)", section, re.M))


class Manual(unittest.TestCase):
    maxDiff = None

    def same(self, what, page, program):
        missing, gone = sorted(program - page), sorted(page - program)
        faults = [f"lacks {name}" for name in missing] + [f"has {name}, which is gone"
                                                          for name in gone]
        if faults:
            self.fail(f"docs/man/plinth-trace.1, {what}: {'; '.join(faults)}")

    def test_each_command_has_its_part(self):
        commands = commands_of_help()
        self.assertIn("watch", commands)
        # Parts of the second level are commands; other headings are in capitals.
        described = {name.split()[0] for name in sections() if not name.isupper()}
        self.same("commands", described, set(commands))

    def test_each_option_is_described_with_its_command(self):
        parts = {name.split()[0]: text for name, text in sections().items()}
        for command in commands_of_help():
            with self.subTest(command=command):
                self.same(f"behind {command}", entries(parts.get(command, "")),
                          options_of_help(command))
        self.same("without a command", entries(parts["OPTIONS"]), options_of_help())

    def test_the_exit_codes_are_those_of_the_help(self):
        codes = set(re.findall(r"^  (\d+)  ", help_of(), re.M))
        self.assertIn("0", codes)
        self.same("exit codes", entries(sections()["EXIT STATUS"]), codes)

    def test_the_page_has_no_faults_of_form(self):
        needs_program("man", "man-db")
        result = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l", PAGE], text=True,
                                capture_output=True, stdin=subprocess.DEVNULL, timeout=60,
                                env=dict(os.environ, MANPAGER="cat", MANWIDTH="80"))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("plinth", result.stdout)
