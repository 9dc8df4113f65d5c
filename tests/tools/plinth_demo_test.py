"""plinth-demo, run as its users run it: under the launcher, in a machine of its own (PLINTH_ROOT)."""
import os
import pty
import random
import subprocess
import unittest
import zlib

DEMO = os.environ["PLINTH_DEMO"]
TRACE = os.environ["PLINTH_TRACE"]
ROOT = os.environ["PLINTH_ROOT"]


def demo(*arguments):
    return subprocess.run([DEMO, *arguments], capture_output=True, text=True, timeout=60,
                          stdin=subprocess.DEVNULL)


def summary_of(*arguments):
    result = demo(*arguments)
    assert result.returncode == 0, result.stderr
    return dict(line.split(":", 1) for line in result.stdout.splitlines())


class Demo(unittest.TestCase):
    def setUp(self):
        self.path = os.path.join(ROOT, "input")

    def write(self, data):
        with open(self.path, "wb") as file:
            file.write(data)

    def test_counts_what_is_in_the_file_whatever_the_blocks_and_threads(self):
        generator = random.Random(1)
        for size in (1, 65536, 65537, 3_000_001):
            data = bytes(generator.choices(b"ab \n\t\r\x00\xff", k=size))
            self.write(data)
            for threads in ("1", "7"):
                shown = summary_of(self.path, threads)
                self.assertEqual(
                    (int(shown["lines"]), int(shown["words"]), int(shown["CRC-32"], 16)),
                    (data.count(b"\n"), len(data.split()), zlib.crc32(data)), (size, threads))

    def test_an_empty_file_has_nothing_in_it(self):
        self.write(b"")
        shown = summary_of(self.path)
        self.assertEqual([shown[name].split()[0] for name in ("bytes", "lines", "words", "CRC-32")],
                         ["0", "0", "0", "00000000"])

    def test_the_log_that_it_names_has_a_record_of_each_block_with_its_tags_replaced(self):
        self.write(b"line\n" * 100_000)
        shown = summary_of(self.path, "3")
        blocks = int(shown["bytes"].split()[2])
        with open(shown["log"].strip(), encoding="utf-16") as file:
            records = file.read().splitlines()
        workers = [record for record in records if "*vtq* |wndid:" in record and "worker" in record]
        self.assertEqual(len(workers), blocks)
        for record in workers:
            self.assertRegex(record, r"\|wndid:([1-3])\| worker \1, thread \d+: block \d+ of "
                                     rf"{blocks}, \d+ lines, CRC [0-9A-F]{{8}}, \d+\.\d\d ms; "
                                     r"-?\d+\.\d\d ms since its last$")
        self.assertTrue(any("plinth-demo begins at" in record for record in records))
        self.assertTrue(any("all done, CRC" in record for record in records))
        for phase in ("counting", "copying"):
            self.assertTrue(any(record.endswith(" ms") and f"{phase} took" in record
                                for record in records), phase)

    def test_the_log_lies_where_its_resources_say_in_utf_16(self):
        self.write(b"x")
        path = summary_of(self.path)["log"].strip()
        self.assertEqual(os.path.dirname(path), os.path.join(ROOT, "ProgramData/Quorvane/Demo/Logfiles"))
        with open(path, "rb") as file:
            self.assertEqual(file.read(2), b"\xff\xfe")
        shown = subprocess.run([TRACE, "log", "--folder", os.path.dirname(path), "--lines", "1000"],
                               capture_output=True, text=True, timeout=60)
        self.assertIn("plinth-demo begins at", shown.stdout, shown.stderr)

    def test_the_copy_shows_how_far_it_is_and_is_removed(self):
        self.write(b"x" * 3_000_001)
        folder = os.path.join(ROOT, "tmp")
        os.makedirs(folder)
        result = subprocess.run([DEMO, self.path], capture_output=True, text=True, timeout=60,
                                stdin=subprocess.DEVNULL, env={**os.environ, "TMPDIR": folder})
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertRegex(result.stderr.splitlines()[-1],
                         r"^copied 3000001 of 3000001 bytes, \d+\.\d MiB/s, \d+\.\d\d s$")
        self.assertNotIn("\r", result.stderr)
        self.assertEqual(os.listdir(folder), [])

    def test_on_a_terminal_the_progress_is_one_line_written_over(self):
        self.write(b"x" * 3_000_001)
        ours, theirs = pty.openpty()
        result = subprocess.run([DEMO, self.path], stdout=subprocess.PIPE, stderr=theirs,
                                timeout=60, stdin=subprocess.DEVNULL)
        os.close(theirs)
        shown = os.read(ours, 65536).decode()
        os.close(ours)
        self.assertEqual(result.returncode, 0)
        self.assertTrue(shown.startswith("\rcopied "), shown)
        self.assertEqual(shown.count("\n"), 1, shown)

    def test_a_copy_that_finds_no_room_is_an_error(self):
        self.write(b"x")
        result = subprocess.run([DEMO, self.path], capture_output=True, text=True, timeout=60,
                                stdin=subprocess.DEVNULL,
                                env={**os.environ, "TMPDIR": os.path.join(ROOT, "missing")})
        self.assertEqual(result.returncode, 1)
        self.assertIn("can't be copied", result.stderr)

    def test_a_file_that_is_not_there_is_an_error(self):
        result = demo(self.path)
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn(self.path, result.stderr)
        self.assertEqual(demo().returncode, 2)
