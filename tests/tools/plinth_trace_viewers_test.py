"""Many viewers of the channel, some of which are stopped and killed while programs write.

Run like plinth_trace_test.py, whose helpers it uses.
"""
import contextlib
import os
import re
import signal
import subprocess
import time
import unittest

from plinth_trace_test import SPEAKER, Running, objects_of, speak
from programs import PATIENCE, ROOT

WRITERS = 4
TEXTS = 30_000  # of each writer; together they exceed the viewers' shared memory

class Viewer(Running):
    """A watch that writes JSON to a file."""

    def __init__(self, name):
        self.path = os.path.join(ROOT, name)
        with open(self.path, "w") as file:
            super().__init__("watch", "--json", "--rate", stdout=file)

    def wait_for(self, reached):
        end = time.monotonic() + PATIENCE
        while not reached():
            assert time.monotonic() < end
            time.sleep(0.01)

    def stop(self):
        self.send_signal(signal.SIGSTOP)
        os.waitpid(self.pid, os.WUNTRACED)

    def has_shown_the_end(self):
        with open(self.path, "rb") as file:
            file.seek(max(0, os.path.getsize(self.path) - 300))
            return b'"the end"' in file.read()

    def account(self):
        """The records shown, the number reported as lost, the gaps, and the number that the holders
        of the channel took."""
        _, _, err = self.interrupt()
        with open(self.path, encoding="utf-8") as file:
            records = objects_of(file.read())
        losses = [record for record in records if "lost" in record]
        gaps = [record for record in losses if "since" in record]
        lost = sum(record["lost"] for record in losses
                   if record not in gaps and "writers went on" not in record["text"])
        taken = int(re.findall(r"taken (\d+)", err)[-1])
        return [record for record in records if "lost" not in record], lost, gaps, taken

class Viewers(unittest.TestCase):
    def write(self):
        return [subprocess.Popen([SPEAKER, f"numbers:{TEXTS}"]) for _ in range(WRITERS)]

    def check_order(self, shown):
        last = {}
        for record in shown[:-1]:
            number = int(record["text"].split()[1])
            self.assertGreater(number, last.get(record["pid"], -1))
            last[record["pid"]] = number

    def test_each_shows_or_counts_all_that_the_holders_took(self):
        with contextlib.ExitStack() as stack:
            holder, stopped, killed, lasting = [stack.enter_context(Viewer(f"viewer-{i}"))
                                                for i in range(4)]
            stopped.stop()
            writers = self.write()
            lasting.wait_for(lambda: os.path.getsize(lasting.path) > 100_000)
            killed.kill()
            killed.wait()
            holder.kill()
            while "this viewer has the channel now" not in lasting.stderr.readline():
                pass
            for writer in [*writers, *self.write()]:
                self.assertEqual(writer.wait(PATIENCE), 0)
            stopped.send_signal(signal.SIGCONT)
            speak("the end")
            for viewer in (stopped, lasting):
                viewer.wait_for(viewer.has_shown_the_end)
            accounts = [viewer.account() for viewer in (stopped, lasting)]
        self.assertEqual(accounts[0][3], accounts[1][3])
        self.assertGreater(accounts[0][1], 0)
        for shown, lost, gaps, taken in accounts:
            self.assertEqual(len(shown) + lost, taken)
            self.assertEqual(shown[-1]["text"], "the end")
            self.check_order(shown)
            self.assertEqual(len(gaps), 1)
            self.assertIn("an unknown number of records lost", gaps[0]["text"])
            self.assertLessEqual(gaps[0]["since"], gaps[0]["time"])
