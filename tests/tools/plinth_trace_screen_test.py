"""The full screen of plinth-trace watch and log, on a terminal of its own (screen.py)."""
import os
import re
import signal
import subprocess
import time
import unittest

from plinth_trace_test import SPEAKER, let_an_open_wait, speak
from programs import PATIENCE, ROOT, folder_outside, run
from screen import (DOWN, END, ERASE, ESCAPE, HOME, LEFT, PAGE_DOWN, PAGE_UP, RIGHT, TRACE, UP,
                    Terminal)

IS_SOAK = "PLINTH_SOAK_SECONDS" in os.environ
STAMP = "2024-03-05 14:{:02}:{:02}.000 *vtq* "


def log_of(*texts, name="qvapp_2024-03-05.log"):
    """Makes a log with a record a second; returns its path."""
    path = os.path.join(ROOT, name)
    with open(path, "w", encoding="utf-8") as file:
        for number, text in enumerate(texts):
            file.write(STAMP.format(number // 60, number % 60) + text + "\n")
    return path


def numbered(count):
    return log_of(*(f"|wndid:{number % 3}| number {number}\tof {count}" for number in range(count)))


class Screen(unittest.TestCase):
    maxDiff = None

    @staticmethod
    def selected(viewer):
        """The number in the text of the selected row, and the row's line on the screen; the heading
        has line 0."""
        for line, text in enumerate(viewer.screen.display[:-2]):
            found = re.search(r"number (\d+)", text)
            if found and viewer.style(line, 1).reverse:
                return int(found[1]), line
        return None

    def at(self, viewer, number, line=None):
        def holds():
            found = self.selected(viewer)
            return found is not None and found[0] == number and line in (None, found[1])
        return holds

    def watching(self, *arguments, count=300, **more):
        viewer = Terminal(self, "watch", "--input", numbered(count), *arguments, **more)
        viewer.until(f"number {count - 1}")
        return viewer

    def test_it_scrolls_and_follows_pauses_and_clears(self):
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
        viewer.press(LEFT * 8, self.at(viewer, 25, 21))
        viewer.press("f", "follow,", "more of it")
        viewer.press(UP + END, "follow,", "more of it")
        viewer.press("p", "paused, 0 wait")
        speak("in the pause")
        viewer.until("paused, 1 wait", never=["in the pause"])
        viewer.press("p", "in the pause")
        viewer.press("S", "saved 102 records, all that are kept, to plinth-trace-all-0001.txt")
        viewer.press("c", "row 0 of 0", never=["number"])
        viewer.press("q")
        self.assertEqual(viewer.wait(), 0)
        viewer.check_is_as_found()

    def test_a_search_marks_and_counts_as_one_types(self):
        viewer = self.watching()
        viewer.press(HOME, self.at(viewer, 0))
        viewer.press("/NUMBER", " 0 hits")  # capitals make it case-sensitive
        viewer.press(ERASE + "number 1", " 111 hits", never=["NUMBER"])
        for typed, count in (("9", 11), ("\x7f", 111), ("9", 11)):
            viewer.press(typed, f" {count} hits")
        line = viewer.lines_with("number 19")[0]
        column = viewer.screen.display[line].index("number 19")
        self.assertEqual({viewer.style(line, column + i).bg for i in (0, 8)}, {"blue"})
        self.assertEqual(viewer.style(line, column - 1).bg, "default")
        self.assertTrue(any("=" in text[-1] for text in viewer.screen.display[1:-2]))
        for keys, number in (("\r", 19), ("n", 190), ("n", 191), ("N", 190), ("NN", 199)):
            viewer.press(keys, self.at(viewer, number), "11 hits")
        viewer.press("/\x12" + "[12]7[37]", "expression: [12]7[37]", " 4 hits")
        viewer.press("[", "missing terminating ]", " 4 hits")
        viewer.press(ESCAPE, " 11 hits")
        # Stamp, marker and tag of the window are searched where they are shown.
        viewer.press("/^number 19$|^number 19\\t|wndid", "expression: ^number", " 1 hits")
        viewer.press("\rr", " 300 hits")
        viewer.press("r", " 1 hits")

    def test_a_filter_that_changes_keeps_the_place(self):
        viewer = self.watching()
        viewer.press(UP * 5 + PAGE_UP * 3 + DOWN * 2, never=["follow,"])
        number, line = 0, 0
        viewer.until(lambda: self.selected(viewer) is not None)
        viewer.press("/number 200\r" + UP * 4 + DOWN * 4, self.at(viewer, 200))
        number, line = self.selected(viewer)
        viewer.press("i", "include:")
        viewer.press(r"(0|4)\t", self.at(viewer, 200, line), "of 60;", never=["number 199"])
        viewer.press("\r" + r"x00\t;;nothing", "of 58;", self.at(viewer, 204, line))
        viewer.press(ERASE, "of 60;", self.at(viewer, 200, line))
        viewer.press("(", "missing", "of 60;")
        viewer.press(ESCAPE + "i" + ERASE + "\r", "of 300;", "number 199",
                     self.at(viewer, 200, line))
        viewer.press("w2\r", "of 100;", self.at(viewer, 200, line))
        viewer.press("w" + ERASE + "two\r", "no window id", "of 300;")
        viewer.press("w" + ERASE + "\r" + r"m0\t" + "\r", "of 300;",
                     lambda: any(viewer.style(other, viewer.column_of("number 210", other) + 9).fg
                                 == "black" for other in viewer.lines_with("number 210")))
        # filters taken from the record
        viewer.press("e", "no texts like this")
        viewer.press("x", "row 0 of 0")
        viewer.press("x" + ERASE + "\r" + "ew", "of 100;", self.at(viewer, 200, line))

    def test_an_expression_with_the_divider_in_it_stays_whole(self):
        viewer = self.watching("--include", r"number 1\d;;z|number 29\d")
        viewer.press("i\r" + "x295\r", "of 9;")

    def test_the_output_file_has_the_records_of_the_wanted_windows(self):
        path = os.path.join(ROOT, "windows.txt")
        viewer = self.watching("--window", "1", "--output", path, count=8)
        viewer.press("q")
        viewer.wait()
        with open(path, encoding="utf-8") as file:
            self.assertEqual(re.findall(r"number (\d)", file.read()), ["1", "4", "7"])

    def test_what_is_full_keeps_the_place_too(self):
        viewer = Terminal(self, "watch", "--keep", "64K")
        viewer.until("watching")
        speak("numbers:900")
        viewer.until("number 899")
        viewer.press(PAGE_UP * 2 + UP * 3, never=["follow,"])
        place = self.selected(viewer)
        speak(*("and another one that needs some room " * 5 for _ in range(150)))
        viewer.until("dropped ", "all 1,050", self.at(viewer, *place))

    def test_views_are_saved_loaded_and_gone_through(self):
        viewer = self.watching()
        viewer.press(r"i[05]\t" + "\rV", "save as view:")
        viewer.press("fives\r", "saved as view", "view fives")
        viewer.press("i" + ERASE + "number 7\r" + "Cw" + ESCAPE, "of 11;", never=["Window"])
        viewer.press("V" + ERASE + "sevens\r", "view sevens")
        viewer.press("\t", "of 300;", "Window", never=["; view"])
        viewer.press("q")
        viewer.wait()
        again = self.watching()
        again.press("\t", "view fives", "of 60;", "Window")
        again.press("2", "view sevens", "of 11;", never=["Window"])
        again.press("vfives\r", "view fives", "of 60;")
        again.press("vnone\r", "no view", "of 60;")
        path = os.path.join(ROOT, "mine.views")
        again.press("O" + ERASE + path + "\r", "0 views in")
        again.press("V" + ERASE + "own\r", "saved as view")
        with open(path, encoding="utf-8") as file:
            self.assertIn("[05]", file.read())
        again.press("O" + ERASE + "terminal\r", "2 views in")

    def test_bookmarks_times_and_columns(self):
        viewer = self.watching(columns=130)
        viewer.press(HOME + "b", "bookmarked: record 1")
        viewer.press("t14:02\r", self.at(viewer, 120), "14:02:00.000")
        viewer.press("b", "bookmarked: record 121")
        for keys, number in (("]", 0), ("n", 120), ("[", 0), ("N", 120)):
            viewer.press(keys, self.at(viewer, number), "bookmark: record")
        viewer.press("t1m\r", self.at(viewer, 60))
        viewer.press("twhen\r", "is no time")
        viewer.press("d" + DOWN, "1.000000", "Delta")
        viewer.press("d", never=["Delta"])
        viewer.press("T", "2024-03-05 14:01:01.000")
        viewer.press("r", "*vtq* |wndid:1| number 61")
        viewer.press("r\r", "record 62, 2024-03-05 14:01:01.000, window 1")
        viewer.press("?", "the record above", never=["number 61"])
        viewer.press("?", "number 61")

    def test_it_has_any_size_and_a_mouse(self):
        viewer = self.watching()
        viewer.press("\x1b[<64;5;5M", never=["follow,", "number 299"])  # the wheel
        viewer.press("\x1b[<0;5;9M", lambda: (self.selected(viewer) or (0, 0))[1] == 8)
        number = self.selected(viewer)[0]
        for lines, columns in ((12, 100), (5, 40), (4, 20), (2, 12), (1, 1), (50, 200)):
            viewer.set_size(lines, columns)
            viewer.until(lambda: len(viewer.screen.display[0].rstrip()) <= columns)
            viewer.press("?q")  # help, and back
            if columns >= 80:
                viewer.until(self.at(viewer, number))
        narrow = Terminal(self, "watch", "--input", numbered(300), lines=6, columns=20)
        narrow.until("row 300")
        narrow.press(HOME + RIGHT * 4, "number 0", "row 1 of 300")
        narrow.press("/is not there at all", "not there at all")  # the text scrolls with the cursor
        narrow.press(ESCAPE + "O", "other views, by name", "or path:", "row 1 of 300")
        narrow.press(ESCAPE + "?", "Up, k", "  the record above")
        narrow.press(PAGE_DOWN * 30, "?, h, F1", "  this page")
        tiny = Terminal(self, "watch", "--input", numbered(3), lines=1, columns=1)
        tiny.until(lambda: b"\x1b[H" in tiny.raw)
        tiny.press("q")
        self.assertEqual(tiny.wait(), 0)

    def test_no_choice_of_a_menu_is_cut_off(self):
        choices = ("p only its process", "P not its process", "x no texts like this",
                   "i only such texts", "m mark such texts")
        for columns in (80, 20, 16):
            viewer = Terminal(self, "watch", columns=columns)
            viewer.until("watching")
            speak("of the channel")
            viewer.until("row 1")
            seen = lambda: " ".join(" ".join(viewer.screen.display).split())
            viewer.press("e", lambda: all(choice in seen() for choice in choices))
            if columns == 80:
                viewer.press(ESCAPE, "q quit")
                viewer.press("?" + PAGE_DOWN, lambda: "the row before, none" in seen())

    def test_texts_of_strangers_stay_in_their_columns(self):
        hostile = "\x1b]0;title\x07\x1b[2J\u202eabc"
        wide = "日本語\u0301e\u0301\u263a\ufe0f"
        path = log_of("x" * 1_000_000 + "\tfar", "\t" * 2000 + "tabs", "three\nlines\nof it")
        viewer = Terminal(self, "watch", "--input", path)
        viewer.until("three\u21b5lines\u21b5of it", "row 3 of 3")
        for keys in ("mx", "/x", "/y*"):  # hits without end: only the visible ones may cost time
            viewer.press(keys + "\r?", "the record above")
            viewer.press("q", "xxxx")
        viewer = Terminal(self, "watch", columns=110)
        plain = Terminal(self, "watch", columns=110, LC_ALL="C")
        for each in (viewer, plain):
            each.until("watching")
        speak(hostile + "\tnext", wide + "\tnext", "\u0301first")
        viewer.until("first", r"\x1b]0;title\x07\x1b[2J\u{202e}abc")
        start = viewer.raw.index(b"\x1b[?1049h")
        self.assertNotIn(b"\x1b]", viewer.raw[start:])
        self.assertNotIn("\u202e".encode(), viewer.raw)
        columns = {viewer.column_of("next", viewer.lines_with(text)[0]) for text in ("title", "日")}
        self.assertEqual(len(columns), 1, viewer.text())
        plain.until(r"\u{65e5}\u{672c}")
        self.assertTrue(plain.raw.isascii())

    def test_two_viewers_of_one_channel(self):
        first = Terminal(self, "watch")
        first.until("watching")
        second = Terminal(self, "watch")
        second.until("watching")
        speak("for both")
        for viewer in (first, second):
            viewer.until("for both", "follow, row 1 of 1")
        first.press("q")
        first.wait()
        second.until("has the channel now", "an unknown number of records")
        speak("for the other")
        second.until("for the other")


    def test_its_memory_is_what_keep_says(self):
        keep, count = 32 << 20, 5_000_000 if IS_SOAK else 300_000
        viewer = Terminal(self, "watch", "--keep", str(keep), columns=160)
        viewer.until("watching", "row 0 of 0")

        def resident(name="VmRSS"):
            with open(f"/proc/{viewer.process.pid}/status", encoding="ascii") as file:
                return int(re.search(name + r":\s+(\d+) kB", file.read())[1]) << 10

        empty = resident()
        viewer.press("/7\r")
        with subprocess.Popen([SPEAKER, f"numbers:{count}/90"]) as speaker:
            while speaker.poll() is None:
                viewer.read(0.1)
        while "the end" not in viewer.text():  # one that comes while others wait may be lost
            speak("the end")
            viewer.read(0.1)
        viewer.until("dropped ", " hits", never=["searching"])
        full = resident("VmHWM") - empty  # the most that it ever was
        if IS_SOAK:
            self.assertNotIn("; lost", viewer.text())
            print(f"soak: full screen: {full >> 10} KiB resident for {keep >> 10} KiB kept")
        viewer.press("c", "row 0 of 0")
        cleared = resident() - empty
        with open(f"/proc/{viewer.process.pid}/maps", encoding="ascii") as file:
            if re.search("lib[at]san", file.read()):
                return  # a sanitizer keeps memory resident
        self.assertGreater(full, keep / 2)
        self.assertLess(full, keep * 1.1)
        self.assertLess(cleared, 16 << 20)


class Left(unittest.TestCase):
    """The terminal is left as it was before."""

    STAGES = {"list": "", "prompt": "/abc", "help": "?", "menu": "C", "details": "\r"}

    def test_by_signals_at_each_stage(self):
        path = numbered(50)
        kept = {signal.SIGKILL, signal.SIGSTOP, signal.SIGTSTP, signal.SIGTTIN, signal.SIGTTOU,
                signal.SIGCHLD, signal.SIGCONT, signal.SIGURG, signal.SIGWINCH, signal.SIGPIPE,
                signal.SIGXFSZ, signal.SIGALRM, *range(signal.SIGRTMIN + 1, signal.SIGRTMAX)}
        for number in signal.valid_signals() - kept:
            for stage, keys in self.STAGES.items():
                if number not in (signal.SIGTERM, signal.SIGQUIT) and stage != "list":
                    continue
                viewer = Terminal(self, "watch", "--input", path)
                viewer.until("number 49")
                if keys:
                    before = viewer.text()
                    viewer.press(keys, lambda: viewer.text() != before)
                viewer.process.send_signal(number)
                viewer.wait()
                viewer.check_is_as_found((number, stage))
        ignoring = ["sh", "-c", 'trap "" USR1; exec "$@"', "sh"]
        viewer = Terminal(self, "watch", "--input", path, shell=ignoring)
        viewer.until("number 49")
        viewer.process.send_signal(signal.SIGUSR1)
        viewer.press("q")
        self.assertEqual(viewer.wait(), 0)

    def test_by_a_signal_at_any_moment_of_the_start(self):
        path = numbered(5)
        for delay in range(0, 60, 3):
            viewer = Terminal(self, "watch", "--input", path)
            time.sleep(delay / 1000)
            viewer.process.send_signal(signal.SIGTERM)
            viewer.wait()
            viewer.check_is_as_found(delay)

    def test_by_a_stop_and_after_it(self):
        # A shell with job control: without one the system doesn't stop the program.
        jobs = ["bash", "-m", "-c", '"$@"; echo STOPPED; read line; fg; echo ENDED', "jobs"]
        viewer = Terminal(self, "watch", "--input", numbered(50), shell=jobs)
        viewer.until("number 49")
        viewer.press("\x1a", lambda: b"STOPPED" in viewer.raw)
        viewer.check_is_as_found("stopped")
        viewer.screen.reset()
        viewer.press("\r", "number 49", "follow, row 50")
        viewer.press("q", lambda: b"ENDED" in viewer.raw)
        viewer.wait()
        viewer.check_is_as_found("ended")

    def test_by_force_while_it_is_stuck(self):
        folder = folder_outside()
        viewer = Terminal(self, "watch", "--input", folder)
        viewer.until("outside")
        let_an_open_wait(self, os.path.join(folder, "qvapp_2024-03-05.log"))
        viewer.process.send_signal(signal.SIGINT)
        self.assertEqual(viewer.wait(), -signal.SIGTERM)
        viewer.check_is_as_found()

    def test_by_a_terminal_that_goes(self):
        viewer = Terminal(self, "watch")
        viewer.until("watching")
        os.close(viewer.master)
        viewer.master = os.open("/dev/null", os.O_RDONLY)
        self.assertEqual(viewer.process.wait(PATIENCE), 0)

    def test_by_a_terminal_that_cannot_do_it(self):
        for term, why in (("dumb", "no cursor"), (None, "not set"), ("", "not set"),
                          ("no-such-kind", "not known")):
            viewer = Terminal(self, "watch", "--input", numbered(3), "--tail", "3", TERM=term,
                              columns=200)
            viewer.until(why, "number 2")
            self.assertNotIn(b"\x1b[?1049h", viewer.raw)
            viewer.press("q")
            self.assertEqual(viewer.wait(), 0)
            viewer.check_is_as_found(term)


class Log(unittest.TestCase):
    def test_it_has_the_screen_too_where_it_shows_records(self):
        path = numbered(40)
        for arguments in (["--input", path], ["--folder", ROOT, "--full-screen"],
                          ["--folder", ROOT, "--follow"]):
            viewer = Terminal(self, "log", *arguments)
            viewer.until("number 39", "row 40 of 40")
            viewer.press(HOME, "number 0")
            viewer.press("q")
            self.assertEqual(viewer.wait(), 0)
        plain = Terminal(self, "log", "--input", path, "--plain")
        plain.until("number 39")
        self.assertEqual(plain.wait(), 0)
        self.assertNotIn(b"\x1b[?1049h", plain.raw)


if __name__ == "__main__":
    unittest.main()
