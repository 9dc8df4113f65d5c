"""Many programs write logs at the same time, with splits, and two viewers follow them.

Run like plinth_trace_test.py, whose helpers it uses. scripts/soak asks for more records.
"""
import heapq
import os
import subprocess
import unittest
from datetime import datetime

from plinth_trace_test import LOGS, TALKER, TRACE, Running, objects_of, trace
from programs import PATIENCE, ROOT

WRITERS = 8
IS_SOAK = "PLINTH_SOAK_SECONDS" in os.environ
ITEMS = (1_000_000 if IS_SOAK else 20_000) // WRITERS
LENGTH = 50 if IS_SOAK else 1000  # more than 2 MiB a writer: a split
STAMP = 23  # characters of a date with its time
END = "x."  # of each item, to show that it is whole

def key_of(text):
    """The writer and the number of an item."""
    words = text.split(" ")
    return words[3], int(words[5])

def merged(folder):
    """The items of all files, merged: each time the earliest of the files' next items."""
    files = []
    for name in os.listdir(folder):
        with open(os.path.join(folder, name), encoding="latin-1") as file:
            files.append((name[6:16], int(name[18:-5]) if "(" in name else 0, file.read().splitlines()))
    heads = [(lines[0][:STAMP], date, number, 0, lines) for date, number, lines in files if lines]
    heapq.heapify(heads)
    texts = []
    while heads:
        _, date, number, at, lines = heapq.heappop(heads)
        if lines[at].endswith(END):
            texts.append(lines[at])
        if at + 1 < len(lines):
            heapq.heappush(heads, (lines[at + 1][:STAMP], date, number, at + 1, lines))
    return texts

def lateness(texts):
    """The greatest delay in ms of a record after one with a later stamp: it was written too late
    for the viewer to wait for it."""
    late, newest = 0, 0
    for text in texts:
        time = datetime.fromisoformat(text[:STAMP]).timestamp()
        newest = max(newest, time)
        late = max(late, newest - time)
    return round(late * 1000)

class Writers(unittest.TestCase):
    def check(self, texts):
        """Each record once, whole, and in order within its writer."""
        writers = {}
        for text in texts:
            self.assertTrue(text.endswith(END), text[-80:])
            writer, number = key_of(text)
            self.assertEqual(number, writers.get(writer, 0), text[:80])
            writers[writer] = number + 1
        self.assertEqual(writers, {f"w{i}": ITEMS for i in range(WRITERS)})

    def follow(self, per_session):
        os.makedirs(LOGS)
        trace("settings", "--megabytes", "1", "--per-session", per_session)
        shown = os.path.join(ROOT, "shown.json")
        with open(shown, "w") as file, \
             Running("watch", "--input", LOGS, "--json", "--match", " item ",
                     "--count", str(WRITERS * ITEMS), stdout=file) as watch, \
             Running("log", "--follow", "--since", "1d") as log:  # also earlier records
            talkers = [subprocess.Popen([TALKER, f"items:w{i}/{ITEMS}/{LENGTH}"])
                       for i in range(WRITERS)]
            texts = []
            while len(texts) < WRITERS * ITEMS:
                line = log.line()
                self.assertTrue(line.startswith("20"), line[:80])
                if " item " in line:
                    texts.append(line)
            self.check(texts)
            print(f"soak: followed, per session {per_session}: {len(texts)} records, each "
                  f"{lateness(texts)} ms after the newest stamp at most")
            code, _, err = log.interrupt()
            # It may have started before there was a file, or after.
            news = [line for line in err.splitlines() if "waits for the first" not in line]
            self.assertEqual((code, news), (0, []))
            self.assertEqual([talker.wait() for talker in talkers], [0] * WRITERS)
            self.assertEqual(watch.wait(10 * PATIENCE), 0)
        with open(shown, encoding="utf-8") as file:
            self.check([record["text"] for record in objects_of(file.read())])
        out = subprocess.run([TRACE, "log", "--input", LOGS, "--since", "1d"], check=True,
                             stdout=subprocess.PIPE, encoding="utf-8").stdout
        self.assertEqual([line for line in out.splitlines() if " item " in line], merged(LOGS))
        # Writers that share a log split it later than at 2 MiB, but before 4 MiB.
        size = sum(entry.stat().st_size for entry in os.scandir(LOGS))
        self.assertGreater(len(os.listdir(LOGS)), WRITERS if per_session == "yes" else size >> 22)

    def test_with_a_log_for_each_session(self):
        self.follow("yes")

    def test_with_one_log_for_all(self):
        self.follow("no")
