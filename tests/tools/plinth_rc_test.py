"""plinth-rc: what it refuses, with a message and without leaving an object. The tests of
LoadStringW and, through plinth_add_resources, of the program's resources read what it makes.

The environment names the program: PLINTH_RC.
"""
import os
import re
import unittest

from programs import ROOT, run

RC = os.environ["PLINTH_RC"]
OBJECT = os.path.join(ROOT, "resources.o")
PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../docs/man/plinth-rc.1")


class PlinthRc(unittest.TestCase):
    def test_words_that_it_does_not_understand_are_refused_and_make_no_object(self):
        for words, reason in (
                ([], "no resources"),
                (["TEXT", "A"], "a kind, a type, a name and a content"),
                (["TEXT", "A", "B", "x", "STRING", "1"], "a kind, a type, a name and a content"),
                (["text", "A", "B", "x"], "no kind of resource"),
                (["TEXT", "A b", "B", "x"], "no type or name"),
                (["TEXT", "A", "", "x"], "no type or name"),
                (["TEXT", "A", "65536", "x"], "below 65,536"),
                (["TEXT", "a", "b", "x", "BYTES", "A", "B", "00"], "A B is there twice"),
                (["BYTES", "A", "B", "012"], "half a byte"),
                (["BYTES", "A", "B", "0x"], "not understood"),
                (["STRING", "one", "x"], "no number"),
                (["STRING", "3", "x", "STRING", "03", "y"], "string 3 is there twice"),
                (["STRING", "3", "x", "BYTES", "6", "1", "00"], "6 1 is there twice"),
                (["TEXT", "A", "B", b"\xff"], "no UTF-8"),
                (["TEXT", "A", "B", b"\xed\xa0\x80"], "no UTF-8"),
                (["FILE", "A", "B", "/no/such/file"], "/no/such/file")):
            with self.subTest(words=words):
                result = run(RC, "-o", OBJECT, *words)
                self.assertNotEqual(result.returncode, 0)
                self.assertIn(reason, result.stderr)
                self.assertFalse(os.path.exists(OBJECT))

    def test_what_a_terminal_would_obey_in_its_arguments_is_shown_instead(self):
        wild, shown = b"x\x1b]0;title\x07\xc2\x9b2J", r"x\x1b]0;title\x07\xc2\x9b2J"
        more = wild + b"\n\xe2\x80\xae"
        for words in ([b"-" + more], [more], [more, "A", "B", "x"], ["TEXT", more, "B", "x"],
                      ["TEXT", "A", b"7" + more, "x"], ["BYTES", "A", "B", more],
                      ["STRING", more, "x"], ["-S", "-o", b"/no/" + more, "TEXT", "A", "B", "x"],
                      ["FILE", "A", "B", b"/no/" + wild],  # the compiler reports these
                      ["-o", b"/no/" + wild, "TEXT", "A", "B", "x"]):
            with self.subTest(words=words):
                result = run(RC, "-o", OBJECT, *words)
                self.assertNotEqual(result.returncode, 0)
                self.assertRegex(result.stderr, r"\A[ -~\n]+\Z")
                is_its_own = any(more in word for word in words if isinstance(word, bytes))
                self.assertIn(shown + r"\x0a\xe2\x80\xae" * is_its_own, result.stderr)

    def test_its_manual_page_names_each_option_and_kind_of_its_help(self):
        text = run(RC, "--help").stdout
        with open(PAGE, encoding="utf-8") as file:
            page = file.read().replace("\\-", "-")
        for word in re.findall(r"^  (-\S+|[A-Z]+) ", text, re.M):
            self.assertRegex(page, rf"(?m)^\.BI? \"?{word}")
