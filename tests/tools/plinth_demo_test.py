"""plinth-demo, run as its users run it: under the launcher, in a machine of its own (PLINTH_ROOT)."""
import collections
import os
import random
import re
import unittest

from programs import ROOT, run

DEMO = os.environ["PLINTH_DEMO"]
SOURCE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../..")

class Demo(unittest.TestCase):
    def setUp(self):
        self.path = os.path.join(ROOT, "input")

    def demo(self, data, *arguments, code=0, **more):
        with open(self.path, "wb") as file:
            file.write(data)
        result = run(DEMO, self.path, *arguments, **more)
        self.assertEqual(result.returncode, code, result.stderr)
        return result

    def summary_of(self, data, *arguments):
        result = self.demo(data, *arguments)
        self.assertNotIn("\r", result.stderr, "that is for a terminal")
        return dict(line.split(":", 1) for line in result.stdout.splitlines())

    def test_counts_what_is_in_the_file_whatever_the_blocks_and_threads(self):
        generator = random.Random(1)
        pieces = [b"hello", b"Hello", b"worlds", b"a", b" ", b"\n", b"\t\r", b"\x00", b"\xff"]
        for count in (0, 1, 20_000, 20_001, 900_000):
            data = b"".join(generator.choices(pieces, k=count))
            words = collections.Counter(word for word in re.findall(rb"[a-z]+", data.lower())
                                        if 5 <= len(word) <= 40)
            often = sorted(words.items(), key=lambda item: (-item[1], item[0]))[:6]
            for threads in ("1", "7"):
                shown = self.summary_of(data, threads)
                self.assertEqual(
                    (int(shown["bytes"].split()[0]), int(shown["lines"]), int(shown["words"]),
                     shown["often"].strip()),
                    (len(data), data.count(b"\n"), len(data.split()),
                     ", ".join(f"{word.decode()} {times}" for word, times in often)),
                    (count, threads))

    def test_the_log_that_it_names_has_a_record_of_each_block_with_its_tags_replaced(self):
        shown = self.summary_of(b"line\n" * 100_000, "3")
        blocks = int(shown["bytes"].split()[2])
        folder = os.path.join(ROOT, "ProgramData/Quorvane/Demo/Logfiles")  # set by its resources
        self.assertEqual(os.path.dirname(shown["log"].strip()), folder)
        with open(shown["log"].strip(), encoding="utf-16") as file:
            records = file.read().splitlines()
        workers = [record for record in records if "*vtq* |wndid:" in record and "worker" in record]
        self.assertEqual(len(workers), blocks)
        for record in workers:
            self.assertRegex(record, r"\|wndid:([1-3])\| worker \1, thread \d+: block \d+ of "
                                     rf"{blocks}, \d+ lines, \d+ words, \d+\.\d\d ms; "
                                     r"-?\d+\.\d\d ms since its last$")

    def test_a_file_that_is_not_there_and_a_copy_that_finds_no_room_are_errors(self):
        result = run(DEMO, self.path)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn(self.path, result.stderr)
        self.assertEqual(run(DEMO, "--unknown").returncode, 2)
        missing = {**os.environ, "TMPDIR": os.path.join(ROOT, "missing")}
        self.assertIn("can't be copied", self.demo(b"x", code=1, env=missing).stderr)

    def test_without_a_file_it_explains_itself_and_counts_a_text_of_its_own(self):
        folder = os.path.join(ROOT, "temporary")
        os.mkdir(folder)
        result = run(DEMO, env={**os.environ, "TMPDIR": folder})
        self.assertEqual(result.returncode, 0, result.stderr)
        shown = dict(line.split(":", 1) for line in result.stdout.splitlines())
        with open(os.path.join(SOURCE, "docs/guide.md"), "rb") as file:
            self.assertEqual(int(shown["words"]), len(file.read().split()))
        self.assertEqual(os.listdir(folder), [], "its temporary files are removed")
        self.assertIn("plinth-trace watch", result.stderr)
