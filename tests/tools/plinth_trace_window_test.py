"""plinth-trace window as its users run it, on a display that the test starts (Xvfb).

Runs under the launcher. The environment: PLINTH_TRACE, the program; PLINTH_ROOT.
"""
import os
import struct
import unittest

from display import environment, start_display
from programs import ROOT, run

TRACE = os.environ["PLINTH_TRACE"]

class Window(unittest.TestCase):
    def run_to_end(self, *arguments, **more):
        return run(TRACE, "window", *arguments, env=environment(**more))

    def log(self):
        path = os.path.join(ROOT, "qvapp_2024-03-05.log")
        with open(path, "w", encoding="latin-1") as file:
            file.write("2024-03-05 14:07:33.006 *vtq* |wndid:1| one\n")
        return path

    def test_without_a_display_it_says_so_with_a_code_of_its_own(self):
        for more, text in (({}, "no display"), ({"DISPLAY": ":98765"}, ":98765")):
            result = self.run_to_end(**more)
            self.assertEqual((result.returncode, result.stdout), (5, ""), more)
            self.assertIn(text, result.stderr)

    def test_shows_itself_takes_a_picture_and_ends(self):
        picture = os.path.join(ROOT, "window.png")
        result = self.run_to_end("--input", self.log(), "--screenshot", picture, "--exit-after",
                                 "0.5", DISPLAY=start_display(self))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        with open(picture, "rb") as file:
            head = file.read(24)
        self.assertEqual(head[:8], b"\x89PNG\r\n\x1a\n")
        width, height = struct.unpack(">II", head[16:])
        self.assertTrue(width >= 800 and height >= 400, (width, height))
