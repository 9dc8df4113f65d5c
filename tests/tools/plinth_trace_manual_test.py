"""The manual page of plinth-trace has the same commands and options as its --help.

The environment names the program: PLINTH_TRACE. The page is docs/man/plinth-trace.1 of the tree.
"""
import os
import re
import unittest

from needs import needs_program
from programs import run

TRACE = os.environ["PLINTH_TRACE"]
PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../docs/man/plinth-trace.1")


def listed(pattern, *command):
    """The commands or options that a help text describes, at the start of its lines."""
    return set(re.findall(rf"^  ({pattern})", run(TRACE, *command, "--help").stdout, re.M))


def commands():
    return re.findall(r"^  ([a-z]\S*)", run(TRACE, "--help").stdout.split("\n\n")[1], re.M)


def sections():
    """The page's text by heading, of both levels, with plain hyphens."""
    with open(PAGE, encoding="utf-8") as file:
        text = file.read().replace("\\-", "-")
    parts = re.split(r'^\.S[HS] "?([^"\s]+)[^"\n]*"?\n', text, flags=re.M)
    return dict(zip(parts[1::2], parts[2::2]))


def entries(section):
    """The commands or options of a section: the first word of each tagged paragraph."""
    return set(re.findall(r"^\.TP\n\.BI? (\S+)", section, re.M))


class Manual(unittest.TestCase):
    maxDiff = None

    def test_each_command_has_its_part(self):
        self.assertIn("watch", commands())
        # Headings of the second level are commands; other headings are in capitals.
        self.assertEqual({name for name in sections() if not name.isupper()}, set(commands()))

    def test_each_option_is_described_with_its_command(self):
        for command in commands():
            self.assertEqual(entries(sections().get(command, "")),
                             listed("--[a-z][a-z-]*", command), command)
        self.assertEqual(entries(sections()["OPTIONS"]), listed("--[a-z][a-z-]*"))

    def test_the_page_has_no_faults_of_form(self):
        needs_program("man", "man-db")
        result = run("man", "--warnings", "-E", "UTF-8", "-l", PAGE,
                     env=dict(os.environ, MANPAGER="cat", MANWIDTH="80"))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("plinth", result.stdout)
