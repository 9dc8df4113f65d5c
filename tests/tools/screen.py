"""A terminal for a test: the program is at one end, a model of the screen at the other."""
import fcntl
import os
import pty
import select
import struct
import subprocess
import termios
import time

from needs import needs_import
from programs import PATIENCE, ROOT

TRACE = os.environ["PLINTH_TRACE"]
pyte = needs_import("pyte", "python3-pyte")

UP, DOWN, RIGHT, LEFT = ("\x1bO" + letter for letter in "ABCD")
HOME, END, PAGE_UP, PAGE_DOWN = "\x1bOH", "\x1bOF", "\x1b[5~", "\x1b[6~"
ESCAPE, ERASE = "\x1b", "\x15"
# Pairs of sequences that change a terminal and change it back; the last one sent must be the
# second.
PAIRS = [(b"\x1b[?1049h", b"\x1b[?1049l"), (b"\x1b[?25l", b"\x1b[?25h"), (b"\x1b[?1h", b"\x1b[?1l"),
         (b"\x1b[?1006;1000h", b"\x1b[?1006;1000l")]


class Stream(pyte.ByteStream):
    """Adds the scrolling of a part of the screen, which pyte lacks."""
    csi = {**pyte.ByteStream.csi, "S": "scroll_up", "T": "scroll_down"}
    events = pyte.ByteStream.events | {"scroll_up", "scroll_down"}


class Model(pyte.Screen):
    def scroll(self, count, down):
        line, (top, bottom) = self.cursor.y, self.margins or (0, self.lines - 1)
        self.cursor.y = top if down else bottom
        for _ in range(count or 1):
            self.reverse_index() if down else self.index()
        self.cursor.y = line

    def scroll_up(self, count=1):
        self.scroll(count, False)

    def scroll_down(self, count=1):
        self.scroll(count, True)


class Terminal:
    """A plinth-trace on a terminal of its own, which ends with the test."""

    def __init__(self, test, *arguments, lines=24, columns=80, shell=(), **environment):
        self.test = test
        self.master, self.slave = pty.openpty()
        self.raw = b""
        self.screen = Model(columns, lines)
        self.stream = Stream(self.screen)
        self.set_size(lines, columns)
        self.modes = termios.tcgetattr(self.slave)
        wanted = {**os.environ, "TERM": "xterm-256color", "LC_ALL": "C.UTF-8",
                  "XDG_CONFIG_HOME": os.path.join(ROOT, "config"), **environment}
        self.process = subprocess.Popen(
            [*shell, TRACE, *arguments], stdin=self.slave, stdout=self.slave, stderr=self.slave, cwd=ROOT,
            env={name: value for name, value in wanted.items() if value is not None},
            start_new_session=True, preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        test.addCleanup(self.clean_up)

    def clean_up(self):
        self.process.kill()
        self.process.wait()
        os.close(self.master)
        os.close(self.slave)

    def set_size(self, lines, columns):
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("HHHH", lines, columns, 0, 0))
        self.screen.resize(lines, columns)

    def text(self):
        return "\n".join(self.screen.display)

    def lines_with(self, text):
        return [line for line, shown in enumerate(self.screen.display) if text in shown]

    def read(self, seconds):
        if not select.select([self.master], [], [], seconds)[0]:
            return False
        piece = os.read(self.master, 65536)
        self.raw += piece
        self.stream.feed(piece)
        return True

    def until(self, *shown, never=()):
        """Reads until each text is on the screen, and each function returns true."""
        end = time.monotonic() + PATIENCE
        holds = lambda what: what() if callable(what) else what in self.text()
        while not all(holds(what) for what in shown) or any(map(holds, never)):
            self.test.assertLess(time.monotonic(), end, f"not {shown!r} in\n{self.text()}")
            self.read(1)

    def press(self, keys, *shown, never=()):
        os.write(self.master, keys.encode())
        self.until(*shown, never=never)

    def column_of(self, text, line):
        """The column in cells; wide characters have two."""
        cells = [self.style(line, column).data for column in range(self.screen.columns)]
        return next(column for column in range(len(cells))
                    if "".join(cells[column:column + len(text)]) == text)

    def style(self, line, column):
        return self.screen.buffer[line][column]

    def wait(self):
        """Reads the rest of the output, and returns the exit code."""
        end = time.monotonic() + PATIENCE
        while self.process.poll() is None:
            self.test.assertLess(time.monotonic(), end, "it goes on")
            self.read(0.05)
        while self.read(0):
            pass
        return self.process.returncode

    def check_is_as_found(self, message=None):
        self.test.assertEqual(termios.tcgetattr(self.slave), self.modes, message)
        for _, off in [pair for pair in PAIRS if pair[0] in self.raw]:
            on = next(pair[0] for pair in PAIRS if pair[1] == off)
            self.test.assertGreater(self.raw.rfind(off), self.raw.rfind(on), (message, off))
