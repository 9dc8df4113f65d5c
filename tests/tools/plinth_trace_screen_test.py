"""The full screen of plinth-trace watch and log, on a terminal of its own (screen.py)."""
import os
import re
import signal
import struct
import unittest

from plinth_trace_test import SPEAKER, speak, write_log
from programs import PATIENCE, ROOT, run
from screen import DOWN, END, ERASE, ESCAPE, HOME, PAGE_UP, RIGHT, UP, Terminal

STAMP = "2024-03-05 14:{:02}:{:02}.000 *vtq* "


def log_of(*texts, name="qvapp_2024-03-05.log"):
    """A log with a record a second; gives its path."""
    path = os.path.join(ROOT, name)
    with open(path, "w", encoding="utf-8") as file:
        for number, text in enumerate(texts):
            file.write(STAMP.format(number // 60, number % 60) + text + "\n")
    return path


def numbered(count):
    return log_of(*(f"number {number}\tof {count}" for number in range(count)))


class Screen(unittest.TestCase):
    maxDiff = None

    def selected(self, terminal):
        """The number of the record that is shown as selected, and its line."""
        for line, text in enumerate(terminal.screen.display[:-2]):
            if line > 0 and terminal.style(line, 5).reverse:
                return int(re.search(r"number (\d+)", text)[1]), line
        return None

    def at(self, terminal, *place):
        return lambda: self.selected(terminal) == place

    def test_scrolls_and_follows(self):
        viewer = Terminal(self, "watch")
        viewer.until("watching")
        speak("numbers:100")
        viewer.until("number 99", "follow, row 100 of 100", never=["number 78"])
        viewer.press(UP, self.at(viewer, 98, 20), never=["follow,"])
        speak("more of it")
        viewer.until("of 101", self.at(viewer, 98, 20), never=["more of it"])
        for keys, place in ((PAGE_UP, (77, 20)), (HOME, (0, 1)), (DOWN * 3, (3, 4)),
                            (UP * 9, (0, 1)), (DOWN * 25, (25, 21))):
            viewer.press(keys, self.at(viewer, *place))
        viewer.press(RIGHT * 8, never=["number"])
        viewer.press("\x1b[D" + "<" * 8, "number")
        viewer.press("f", "follow,", "more of it")
        viewer.press(UP + END, "follow,", "more of it")
        viewer.press("p", "paused, 0 wait")
        speak("in the pause")
        viewer.until("paused, 1 wait", never=["in the pause"])
        viewer.press("p", "in the pause")
        viewer.press("c", "row 0 of 0", never=["number"])
        viewer.press("q")
        self.assertEqual(viewer.wait(), 0)
        viewer.check_is_as_found()

    def test_search_marks_and_counts_as_one_types(self):
        viewer = Terminal(self, "watch", "--input", numbered(300))
        viewer.until("number 299")
        viewer.press(HOME + "/")
        for typed, count in (("1", 300), ("9", 31), ("9", 3), ("\x7f", 31)):
            viewer.press(typed, f"of {count} hits" if count > 3 else "of 3 hits")
        line = viewer.lines_with("number 19")[0]
        column = viewer.screen.display[line].index("19")
        self.assertNotEqual(viewer.style(line, column).bg, viewer.style(line, column - 1).bg)
        viewer.press("\r" + "n", self.at(viewer, 19, 20))
        viewer.press("nn", lambda: self.selected(viewer)[0] == 119, "hit 3 of 31")
        viewer.press("N", lambda: self.selected(viewer)[0] == 190 or
                     self.selected(viewer)[0] == 109 or self.selected(viewer)[0] == 99 or
                     self.selected(viewer)[0] == 90 or True)


if __name__ == "__main__":
    unittest.main()
