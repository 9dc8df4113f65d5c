"""plinth-trace export: its output in each format, and that nothing is lost however it ends.

Run like plinth_trace_test.py, whose helpers it uses.
"""
import fcntl
import os
import re
import resource
import signal
import socket
import struct
import subprocess
import termios
import time
import unittest

from plinth_trace_test import (LOGS, TALKER, TRACE, log_path, objects_of, talk, trace, write_log)
from programs import PATIENCE, ROOT

CURSOR = os.path.join(ROOT, "cursor")
OUTPUT = os.path.join(ROOT, "output")
KEY = ("host", "file", "id", "offset")
STAMP = "2024-03-05 14:07:33.%03d *vtq* "

def key_of(record):
    return tuple(record[name] for name in KEY)

def export(*arguments, **more):
    result = trace("export", *arguments, **more)
    assert result.returncode == 0, result.stderr
    return result.stdout

def unescaped(text):
    known = {"\\": "\\", "n": "\n", "r": "\r", "t": "\t"}
    return re.sub(r"\\(?:x(..)|u\{(\w+)\}|(.))",
                  lambda m: known.get(m[3]) or chr(int(m[1] or m[2], 16)), text)

def from_rfc5424(lines):
    """Syslog messages as records, with the field names of the JSON format."""
    records = []
    for line in lines.splitlines():
        head, pairs, text = re.fullmatch(
            r'(<14>1 \S+ \S+ plinth - -) \[plinth@32473((?: \w+="(?:[^"\\\]]|\\.)*")*)\] (.*)',
            line).groups()
        record = {"time": head.split()[1], "host": head.split()[2], "text": unescaped(text)}
        for name, value in re.findall(r'(\w+)="((?:[^"\\\]]|\\.)*)"', pairs):
            record[name] = re.sub(r"\\(.)", r"\1", value)
        records.append(record)
    return records

def from_journal(entries):
    """The same for entries in the journal's export format."""
    records, record = [], {}
    while entries:
        line, entries = entries.split(b"\n", 1)
        if not line:
            records.append(record)
            record = {}
        elif b"=" in line:
            name, value = line.split(b"=", 1)
            record[name.decode()] = value.decode()
        else:
            length, = struct.unpack("<Q", entries[:8])
            record[line.decode()] = entries[8:8 + length].decode()
            assert entries[8 + length:9 + length] == b"\n"
            entries = entries[9 + length:]
    return records

class Running(subprocess.Popen):
    """An export that runs until the end of its scope, with the cursor."""

    def __init__(self, *arguments, **more):
        super().__init__([TRACE, "export", "--follow", "--cursor", CURSOR, *arguments],
                         stdin=subprocess.DEVNULL, **more)

    def __exit__(self, *_):
        self.kill()
        self.wait()
        for stream in (self.stdout, self.stderr):
            if stream:
                stream.close()

def until(condition):
    end = time.monotonic() + PATIENCE
    while not condition():
        assert time.monotonic() < end
        time.sleep(0.02)

class Formats(unittest.TestCase):
    maxDiff = None

    def test_each_has_each_record_of_both_forms_with_its_place_and_text(self):
        texts = [[STAMP % 1 + "Log session started.", STAMP % 3 + "cut by the log's limit",
                  STAMP % 5 + 'two\r\nlines "]\\ \x1b\x85\t\xe9', STAMP % 7],
                 [STAMP % 2 + "Log session started.", STAMP % 4 + "\u20ac \U0001f600\u202e",
                  STAMP % 6 + "Log session started.", STAMP % 8 + "x" * 100_000]]
        wanted = []
        for file, (name, encoding, mark, unit) in enumerate(
                (("qvapp_2024-03-05.log", "latin-1", b"", 1),
                 ("qvapp_2024-03-05_(0001).log", "utf-16-le", b"\xff\xfe", 2))):
            ends = ["" if "cut by" in text else "\r\n" for text in texts[file]]
            write_log(name, mark + "".join(
                text + end for text, end in zip(texts[file], ends)).encode(encoding))
            offset = len(mark)
            for i, text in enumerate(texts[file]):
                wanted.append({
                    "time": f"2024-03-05T13:07:33.{int(text[20:23]):03}000Z", "text": text,
                    "host": socket.gethostname(), "file": log_path(name), "offset": offset,
                    "number": i + 1, "session": 2 if file == 1 and i > 1 else 1})
                offset += len((text + ends[i]).encode(encoding))
        wanted.sort(key=lambda record: record["time"])
        zone = ("--zone", "Europe/Berlin")
        records = objects_of(export(*zone))
        self.assertEqual([{name: record[name] for name in wanted[0]} for record in records], wanted)
        self.assertEqual(len({(record["file"], record["id"]) for record in records}), 2)
        names = [*wanted[0], "id"]
        as_text = [{name: str(record[name]) for name in names} for record in records]
        self.assertEqual(from_rfc5424(export(*zone, "--format", "rfc5424")), as_text)
        fields = {"PLINTH_" + name.upper(): name for name in
                  ("file", "id", "offset", "number", "session")}
        fields |= {"MESSAGE": "text", "_HOSTNAME": "host"}
        entries = from_journal(export(*zone, "--format", "journal", encoding=None))
        self.assertEqual([{fields[name]: entry[name] for name in fields} for entry in entries],
                         [{name: record[name] for name in fields.values()} for record in as_text])
        self.assertEqual(entries[0]["__REALTIME_TIMESTAMP"], "1709644053001000")

    def test_bounds_don_t_change_a_number_and_news_of_a_loss_is_a_record(self):
        write_log("qvapp_2024-03-05.log", "".join(
            STAMP % i + f"{i}\n" for i in range(9)).encode())
        inner = objects_of(export("--since", "2024-03-05 14:07:33.003",
                                  "--until", "2024-03-05 14:07:33.005"))
        self.assertEqual([record["number"] for record in inner], [4, 5, 6])
        export("--cursor", CURSOR)
        write_log("qvapp_2024-03-05.log", (STAMP % 0 + "0\n").encode())
        with open(CURSOR, "rb") as file:
            cursor = file.read()
        first, second = objects_of(export("--cursor", CURSOR))
        self.assertEqual((first["lost"], first["uncounted"], "shorter" in first["text"]),
                         (1, True, True))
        self.assertEqual((second["number"], second["offset"]), (1, 0))
        for form, wanted in (
                ("rfc5424", r'^<12>1 .* lost="1" uncounted="true"\] records may be lost'),
                ("journal", r"\nPLINTH_LOST=1\nPLINTH_UNCOUNTED=true\n")):
            with open(CURSOR, "wb") as file:
                file.write(cursor)
            self.assertRegex(export("--cursor", CURSOR, "--format", form), wanted)

class Resuming(unittest.TestCase):
    def check(self, records, writers, items):
        """Each item is there whole; repeated ones have the same key, and different ones don't."""
        texts = {}
        for record in records:
            self.assertEqual(texts.setdefault(key_of(record), record["text"]), record["text"])
        found = sorted(text[30:] for text in texts.values() if " item " in text)
        wanted = sorted(f"w{w} item {i} xx." for w in range(writers) for i in range(items))
        self.assertEqual(found, wanted)
        return len(records) - len(texts)

    def test_an_export_that_is_killed_goes_on_without_loss(self):
        writers, items = 3, 4000
        talkers = [subprocess.Popen([TALKER, f"items:w{i}/{items}/2"]) for i in range(writers)]
        for round_ in range(4):
            with Running("--output", OUTPUT):
                size = os.path.getsize(OUTPUT) if round_ else 0
                until(lambda: os.path.exists(OUTPUT) and os.path.getsize(OUTPUT) > size)
        for talker in talkers:
            self.assertEqual(talker.wait(), 0)
        export("--cursor", CURSOR, "--output", OUTPUT)
        with open(OUTPUT, encoding="utf-8") as file:
            # A line that was cut is the beginning of another line.
            whole = [line for line in file.read().splitlines() if line.endswith("}")]
        self.check(objects_of("\n".join(whole)), writers, items)
        self.assertEqual(export("--cursor", CURSOR), "")

    def test_what_a_killed_reader_had_not_kept_comes_again(self):
        talk("items:w0/4000/2")
        kept = []
        with Running(stdout=subprocess.PIPE, stderr=subprocess.PIPE) as running:
            while len(kept) < 50:
                kept.append(running.stdout.readline())
            # More is written than the export writes at once, so the cursor was saved in between.
            until(lambda: struct.unpack("i", fcntl.ioctl(
                running.stdout, termios.FIONREAD, bytes(4)))[0] > 52 << 10)
            running.stdout.close()
            self.assertEqual(running.wait(PATIENCE), 0)
            self.assertEqual(running.stderr.read(), b"")
        rest = export("--cursor", CURSOR)
        kept = objects_of(b"".join(kept).decode())
        self.check(kept + objects_of(rest), 1, 4000)
        self.assertEqual(export("--cursor", CURSOR), "", "the input was read to its end")

    def test_an_output_that_was_removed_ends_it_and_what_was_in_it_comes_again(self):
        with Running("--output", OUTPUT, stderr=subprocess.PIPE) as running:
            until(lambda: os.path.exists(OUTPUT))
            os.remove(OUTPUT)
            talk("items:w0/10/2")
            self.assertEqual(running.wait(PATIENCE), 1)
            self.assertIn(b"removed or replaced", running.stderr.read())
        self.check(objects_of(export("--cursor", CURSOR)), 1, 10)

    def test_ending_it_by_a_signal_loses_nothing(self):
        with Running(stdout=subprocess.PIPE) as running:
            talk("items:w0/10/2")
            out = running.stdout.readline()
            running.send_signal(signal.SIGTERM)
            out += running.stdout.read()
            self.assertEqual(running.wait(PATIENCE), 0)
        self.check(objects_of(out.decode() + export("--cursor", CURSOR)), 1, 10)

    def test_a_single_file_may_come_later_and_goes_on_in_those_that_came_while_nobody_looked(self):
        write_log("qvapp_2024-03-04.log", (STAMP % 1 + "of before\n").encode())
        path = log_path("qvapp_2024-03-05.log")
        self.assertEqual(trace("export", "--input", path).returncode, 1)
        self.assertEqual(trace("log", "--input", path).returncode, 1)
        def shown():
            with open(OUTPUT, "rb") as file:
                return file.read()
        with Running("--output", OUTPUT, "--input", path):
            until(lambda: os.path.exists(OUTPUT))
            write_log("qvapp_2024-03-05.log", (STAMP % 2 + "first\n").encode())
            until(lambda: b"first" in shown())
        write_log("qvapp_2024-03-05_(0001).log", (STAMP % 3 + "second\n").encode())
        with Running("--output", OUTPUT, "--input", path):
            until(lambda: b"second" in shown())
        self.assertNotIn(b"of before", shown())

    def test_files_that_were_removed_or_replaced_meanwhile_are_told_of_unless_they_were_old(self):
        write_log("qvapp_2024-03-03.log", b"2024-03-03 14:07:33.000 *vtq* complete\n")
        write_log("qvapp_2024-03-04.log", b"2024-03-04 14:07:34.000 *vtq* in use\n")
        write_log("qvapp_2024-03-05.log", (STAMP % 1 + "one\n").encode())
        *_, one = objects_of(export("--cursor", CURSOR))
        for day in (3, 4):
            os.remove(log_path(f"qvapp_2024-03-0{day}.log"))
        write_log("qvapp_2024-03-05.log", (STAMP % 2 + "longer\n").encode())
        replaced, removed, record = objects_of(export("--cursor", CURSOR))
        self.assertRegex(replaced["text"], "-05.log was replaced while no export ran")
        self.assertRegex(removed["text"], "-04.log was removed while no export ran")
        self.assertNotEqual(key_of(one), key_of(record), "it is another file")
        self.assertEqual(export("--cursor", CURSOR), "")
        write_log("qvapp_2024-03-05.log", b"")
        replaced, = objects_of(export("--cursor", CURSOR))
        self.assertIn("was replaced", replaced["text"])
        self.assertEqual(export("--cursor", CURSOR), "", "told once, also without a new record")

    def test_files_that_went_when_an_export_had_read_them_are_not_told_of_by_the_next_one(self):
        def has(path, text):
            with open(path, "rb") as file:
                return text in file.read()
        for i, end in enumerate((signal.SIGKILL, signal.SIGTERM)):
            removed, replaced, later = (f"qvapp_2024-03-0{i}_(000{j}).log" for j in range(3))
            with Running("--output", OUTPUT) as running:
                until(lambda: os.path.exists(OUTPUT))
                for name in (removed, replaced):
                    write_log(name, (STAMP % i + f"read of {name}\n").encode())
                    until(lambda: has(OUTPUT, b"read of " + name.encode()))
                os.remove(log_path(removed))
                write_log("new", b"")
                os.replace(log_path("new"), log_path(replaced))
                write_log(later, (STAMP % 2 + "of a later look\n").encode())
                until(lambda: has(CURSOR, later.encode()))
                running.send_signal(end)
                running.wait(PATIENCE)
            self.assertEqual(export("--cursor", CURSOR), "", end)

    def test_a_folder_that_is_away_for_a_moment_does_not_make_its_logs_come_again(self):
        kept, away, other = (os.path.join(ROOT, name) for name in ("kept", "away", "other"))
        def write(folder, day, text):
            with open(os.path.join(folder, f"qvapp_2024-03-0{day}.log"), "ab") as file:
                file.write((STAMP % day + text + "\n").encode())
            until(lambda: os.path.exists(OUTPUT) and text.encode() in shown())
        def shown():
            with open(OUTPUT, "rb") as file:
                return file.read()
        os.mkdir(kept)
        os.mkdir(other)
        with Running("--output", OUTPUT, "--input", kept, "--input", other):
            write(kept, 1, "once")
            os.rename(kept, away)
            for day in range(2, 5):
                write(other, day, f"after look {day}")  # a new file is found by a new look
            os.rename(away, kept)
            write(kept, 1, "later")
            self.assertEqual(shown().count(b"once"), 1)

    def test_a_record_that_is_still_written_has_the_key_that_it_has_later(self):
        for mark, encoding in ((b"", "latin-1"), (b"\xff\xfe", "utf-16-le")):
            keys = []
            for text in ("", "behind it\r\n" + STAMP % 2 + "next\r\n"):
                write_log("qvapp_2024-03-05.log", mark + (STAMP % 1 + text).encode(encoding))
                keys.append(key_of(objects_of(export())[0]))
            self.assertEqual(*keys)

    def test_a_record_without_a_line_end_is_gone_on_with(self):
        write_log("qvapp_2024-03-05.log", b"\n" + (STAMP % 1 + "one").encode())
        self.assertEqual(len(objects_of(export("--cursor", CURSOR))), 2)
        with open(log_path("qvapp_2024-03-05.log"), "ab") as file:
            file.write(("\r\n" + STAMP % 2 + "two").encode())
        record, = objects_of(export("--cursor", CURSOR))
        self.assertEqual((record["text"], record["number"]), (STAMP % 2 + "two", 3))

class Cursors(unittest.TestCase):
    def test_one_that_can_t_be_believed_ends_the_export_and_is_left_alone(self):
        write_log("qvapp_2024-03-05.log", (STAMP % 1 + "one\n").encode())
        export("--cursor", CURSOR)
        with open(CURSOR, "rb") as file:
            good = file.read()
        changed = [good[:i] + bytes([good[i] ^ 1]) + good[i + 1:] for i in range(0, len(good), 29)]
        cases = [(content, "damaged") for content in (b"", good[:-1], good + b"\n", *changed)]
        cases.append((good.replace(b"cursor 1", b"cursor 2"), "later version"))
        for content, why in cases:
            with open(CURSOR, "wb") as file:
                file.write(content)
            result = trace("export", "--cursor", CURSOR)
            self.assertEqual((result.returncode, result.stdout), (1, ""), content)
            self.assertRegex(result.stderr, "damaged|later version" if content in changed else why)
            with open(CURSOR, "rb") as file:
                self.assertEqual(file.read(), content)
        with open(CURSOR, "wb") as file:
            file.write(good)
        for cursor, given, why in ((ROOT, LOGS, "no regular file"),
                                   (CURSOR, "missing", "missing can't"),
                                   ("missing/cursor", LOGS, "can't be locked")):
            result = trace("export", "--cursor", cursor, "--input", given)
            self.assertEqual((result.returncode, result.stdout), (1, ""), why)
            self.assertIn(why, result.stderr)
        other = trace("export", "--cursor", CURSOR, "--input", ROOT)
        self.assertEqual((other.returncode, other.stdout), (1, ""))
        self.assertIn(f"belongs to an export of {LOGS}", other.stderr)

    def test_two_exports_don_t_share_one(self):
        with Running("--output", OUTPUT):
            until(lambda: os.path.exists(CURSOR))
            second = trace("export", "--cursor", CURSOR)
        self.assertEqual((second.returncode, second.stdout), (1, ""))
        self.assertIn("in use by another export", second.stderr)

    def test_on_a_full_disk_the_export_goes_on_and_says_so(self):
        for i in range(9):
            write_log(f"qvapp_2024-03-0{i + 1}.log", (STAMP % i + "one\n").encode())
        export("--cursor", CURSOR, "--until", "2024-01-01")
        full = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (400, 400))
        for kept in ((), ("--output", OUTPUT)):
            result = trace("export", "--cursor", CURSOR, *kept, preexec_fn=full)
            self.assertEqual(result.returncode, 1, result.stderr)
            self.assertIn("can't be written", result.stderr)
            if not kept:
                self.assertEqual(len(objects_of(result.stdout)), 9)
        export("--cursor", CURSOR, "--output", OUTPUT)
        with open(OUTPUT, encoding="utf-8") as file:
            *cut, _, _, _, _, _, _, _, _, _ = file.read().splitlines()
        self.assertEqual([line.endswith("}") for line in cut], [True, False])

    def test_the_output_is_bounded_by_rotation(self):
        talk("items:w0/3000/200")
        export("--cursor", CURSOR, "--output", OUTPUT, "--rotate", "64K")
        sizes = [os.path.getsize(path) for path in (OUTPUT, OUTPUT + ".1")]
        self.assertTrue(all(size <= 128 << 10 for size in sizes), sizes)
        with open(OUTPUT + ".1", encoding="utf-8") as old, open(OUTPUT, encoding="utf-8") as new:
            numbers = [record["number"] for record in objects_of(old.read() + new.read())]
        self.assertEqual(numbers, list(range(numbers[0], 3003)))
