"""plinth-trace window as its users run it, on a display that the test starts (Xvfb).

Runs under the launcher. The environment: PLINTH_TRACE, the program; PLINTH_ROOT.
"""
import os
import struct
import subprocess
import unittest

from display import environment, start_display, start_server
from programs import PATIENCE, ROOT, run

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

    def test_when_the_display_goes_away_it_ends_and_says_so(self):
        server, name = start_server(self)
        output = os.path.join(ROOT, "shown.txt")
        window = subprocess.Popen([TRACE, "window", "--input", self.log(), "--output", output],
                                  env=environment(DISPLAY=name), stderr=subprocess.PIPE,
                                  encoding="utf-8")
        self.addCleanup(window.kill)
        while not (os.path.exists(output) and os.path.getsize(output)):
            self.assertIsNone(window.poll())  # it runs at least until it has written the record
        server.kill()
        errors = window.communicate(timeout=PATIENCE)[1]
        self.assertEqual(window.returncode, 5, errors)
        self.assertIn("display", errors)

    def test_views_saved_under_a_name_are_there_at_the_next_start(self):
        display = start_display(self)
        run_once = ["--input", self.log(), "--views", "mine", "--exit-after", "0.5"]
        path = os.path.join(ROOT, "plinth", "mine.views")
        self.run_to_end(*run_once, DISPLAY=display)
        with open(path, encoding="utf-8") as file:
            kept = file.read().replace("name = All", "name = All\nexclude = none such")
        with open(path, "w", encoding="utf-8") as file:
            file.write(kept)
        self.assertEqual(self.run_to_end(*run_once, DISPLAY=display).returncode, 0)
        with open(path, encoding="utf-8") as file:
            self.assertIn("exclude = none such", file.read())
