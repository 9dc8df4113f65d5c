"""plinth-demo with windows, on a display that the test starts (Xvfb)."""
import os
import unittest

from display import environment, start_display
from programs import ROOT, run


class DemoWindow(unittest.TestCase):
    def test_closes_each_of_its_windows_by_itself_and_ends(self):
        path = os.path.join(ROOT, "input")
        with open(path, "wb") as file:
            file.write(b"line\n" * 100_000)
        display = start_display(self)
        # Several windows close while the test looks for the others: one run may succeed by chance.
        for _ in range(3):
            result = run(os.environ["PLINTH_DEMO"], "--window", "--auto-close", path, "3",
                         env=environment(DISPLAY=display))
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertNotIn("no display", result.stderr)
