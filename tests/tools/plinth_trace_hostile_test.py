"""Input by which strangers may attack the user of plinth-trace: texts and names that a terminal
would obey or that deceive the user, misleading names of logs, pipes in the place of files. And the
user can end it wherever it waits.

Run like plinth_trace_test.py, whose helpers it uses.
"""
import json
import os
import pty
import shutil
import signal
import subprocess
import sys
import time
import unicodedata
import unittest

from plinth_trace_test import (LOGS, TALKER, TRACE, Running, objects_of, trace, watch,
                               write_log)
from programs import PATIENCE, ROOT, fifo_outside, run

# One of each kind, and how it is shown: controls, directions, invisible characters, separators,
# tags.
KINDS = {"\x1b": r"\x1b", "\x08": r"\x08", "\x7f": r"\x7f", "\x9b": r"\x9b", "\xad": r"\xad",
         "\u202e": r"\u{202e}", "\u2066": r"\u{2066}", "\u200b": r"\u{200b}",
         "\ufeff": r"\u{feff}", "\u2028": r"\u{2028}", "\U000e0041": r"\u{e0041}"}
LINES = {"\n": r"\x0a", "\r": r"\x0d", "\t": r"\x09"}
GOOD = "\u263a\ufe0f caf\u00e9 e\u0301 \u65e5\u672c \u0645\u0631\u062d\u0628\u0627 \u05e9\u05dc"
TEXT = "".join(f"{kind}." for kind in KINDS) + GOOD
SHOWN_TEXT = "".join(f"{shown}." for shown in KINDS.values()) + GOOD
NAME = "".join(f"{kind}_" for kind in LINES) + TEXT
SHOWN_NAME = "".join(f"{shown}_" for shown in LINES.values()) + SHOWN_TEXT

def treacherous(text):
    return [c for c in text if unicodedata.category(c) in ("Cc", "Cf", "Zl", "Zp") and c != "\n"]

def folder_with_log(name):
    folder = os.path.join(ROOT, name)
    os.mkdir(folder)
    with open(os.path.join(folder, "qvapp_2024-03-05.log"), "w", encoding="utf-8") as file:
        file.write("one\n")
    return folder

def on_a_terminal(*arguments):
    """The output of the program on a terminal."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.execv(TRACE, [TRACE, *arguments])
    shown = b""
    try:
        while piece := os.read(terminal, 65536):
            shown += piece
    except OSError:  # the system reports so that the other end is closed
        pass
    os.waitpid(pid, 0)
    os.close(terminal)
    return shown.decode()

class Harmless(unittest.TestCase):
    maxDiff = None

    def test_the_text_of_a_record(self):
        controls = [chr(c) for c in (*range(1, 9), 11, 12, *range(14, 32), *range(127, 160))]
        out = watch("--count", "2", spoken=[TEXT, "".join(controls)])[0]
        self.assertEqual([line.split(maxsplit=2)[2] for line in out.split("\n")[:-1]],
                         [SHOWN_TEXT, "".join(f"\\x{ord(c):02x}" for c in controls)])
        out = watch("--json", "--count", "1", spoken=[NAME])[0]
        self.assertEqual((treacherous(out), json.loads(out)["text"]), ([], NAME))

    def test_every_character_that_unicode_lists_as_such(self):
        listed = [*treacherous(map(chr, range(sys.maxunicode + 1))),
                  *map(chr, range(0x13430, 0x13440))]  # this Python may know an older Unicode
        write_log("qvapp_2024-03-05.log", "\ufeff".encode("utf-16-le") +
                  "".join(c for c in listed if c not in "\r\t").encode("utf-16-le"))
        out = trace("log").stdout
        self.assertEqual([c for c in listed if c in out], [])

    def test_the_name_of_a_process_forges_no_line(self):
        program = shutil.copy(TALKER, os.path.join(ROOT, NAME))
        path = os.path.join(ROOT, "output.txt")
        for form in ("--time=none", "--json"):
            with Running("watch", form, "--process", NAME, "--match", "said", "--count", "1",
                         "--output", path) as running, \
                 subprocess.Popen([program, "trace:said", "wait"], stdin=subprocess.PIPE,
                                  text=True) as talker:
                out = running.end()[1]
                talker.communicate("\n")
            self.assertEqual((treacherous(out), out.count("\n")), ([], 1), form)
            with open(path, encoding="utf-8") as file:
                self.assertEqual(file.read(), out)
            if form == "--json":
                self.assertEqual(objects_of(out)[0]["process"], NAME)
            else:
                self.assertIn(f" {SHOWN_NAME} ", out)

    def test_arguments_and_names_in_messages(self):
        missing = "/missing/" + NAME
        for words in ([NAME], ["watch", NAME], ["watch", "--match", "(" + NAME],
                      ["watch", "--time", NAME], ["watch", "--keep", NAME],
                      ["watch", "--input", missing], ["watch", "--input", "-", "--output", missing],
                      ["log", "--lines", NAME], ["log", "--folder", missing],
                      ["settings", "--days", NAME], ["settings", "--per-session", NAME],
                      ["module", missing], ["module", missing, "--add", "x", "--data", missing]):
            result = trace(*words)
            self.assertEqual((treacherous(result.stderr), result.stderr.count("\n")), ([], 1), words)
            self.assertIn(SHOWN_NAME, result.stderr)

    def test_the_folder_of_the_log(self):
        folder = folder_with_log(NAME)
        self.assertEqual(trace("log", "--folder", folder, "--all").stdout,
                         f"==> {ROOT}/{SHOWN_NAME}/qvapp_2024-03-05.log <==\none\n")
        settings = trace("settings", env={**os.environ, "PLINTH_ROOT": folder}).stdout
        self.assertEqual((treacherous(settings), settings.count("\n")), ([], 4))
        with Running("log", "--follow", "--folder", folder) as follow:
            follow.line()
            with open(os.path.join(folder, "qvapp_2024-03-05.log"), "w", encoding="utf-8"):
                pass
            note = follow.stderr.readline()
            self.assertEqual((treacherous(note), "become shorter" in note), ([], True))
        result = run(TRACE, "watch", "--input", folder, "--timeout", "0")
        self.assertEqual((treacherous(result.stderr), result.stderr.count("\n")), ([], 1))

    def test_a_path_is_exact_for_a_program_and_harmless_on_a_terminal(self):
        folder = folder_with_log(TEXT)
        self.assertEqual(trace("log", "--path", "--folder", folder).stdout,
                         folder + "/qvapp_2024-03-05.log\n")
        self.assertEqual(on_a_terminal("log", "--path", "--folder", folder),
                         f"{ROOT}/{SHOWN_TEXT}/qvapp_2024-03-05.log\r\n")
        result = trace("log", "--path", "--folder", folder_with_log(NAME))
        self.assertEqual((result.returncode, result.stdout), (1, ""), "it would look like two")
        self.assertIn("line end", result.stderr)

class LogNames(unittest.TestCase):
    def test_the_newest_is_the_one_that_was_written_last_whatever_its_name_says(self):
        day = 86400
        older, newer = "qvapp_2024-03-05.log", "qvapp_2999-01-01.log"
        for ages, newest in (({newer: 2 * day, older: day}, older),
                             ({newer: -1000 * day, older: day}, older),
                             ({newer: -1000 * day, older: -2000 * day}, newer),  # both in the future
                             ({older: -60, newer: day}, older),  # the clock of another machine
                             ({older: day, newer: day}, newer),
                             # After 9999 the numbers of a day begin again.
                             ({"qvapp_2024-03-05_(9999).log": 9, older: 0}, older)):
            shutil.rmtree(LOGS, ignore_errors=True)
            for name, age in ages.items():
                write_log(name, f"in {name}\n".encode(), age)
            self.assertEqual(trace("log", "--path").stdout, f"{LOGS}/{newest}\n", ages)
            self.assertEqual(trace("log", "--path", "--all").stdout.splitlines()[-1],
                             f"{LOGS}/{newest}")

    def test_only_a_regular_file_is_a_log(self):
        write_log("qvapp_2024-03-05.log", b"one\n")
        fifo = os.path.join(LOGS, "qvapp_2999-01-01.log")
        os.mkfifo(fifo)
        os.mkdir(os.path.join(LOGS, "qvapp_2999-01-02.log"))
        os.symlink("/", os.path.join(LOGS, "qvapp_2999-01-03.log"))
        os.symlink("/dev/zero", os.path.join(LOGS, "qvapp_2999-01-04.log"))
        self.assertEqual(trace("log").stdout, "one\n")
        self.assertEqual(len(trace("log", "--all", "--path").stdout.splitlines()), 1)
        for path in (fifo, "/dev/zero"):
            result = trace("watch", "--input", path, "--timeout", "0.1")
            self.assertEqual((result.returncode, result.stdout), (1, ""), path)
            self.assertIn("no regular file", result.stderr)

class Ended(unittest.TestCase):
    """By each signal that asks it to end, wherever it waits."""

    def start(self, *arguments, stdout=subprocess.PIPE):
        process = subprocess.Popen([TRACE, *arguments], stdin=subprocess.PIPE, stdout=stdout,
                                   stderr=subprocess.PIPE)
        self.addCleanup(self.clean_up, process)
        return process

    def start_and_wait(self, *arguments, **more):
        process = self.start(*arguments, **more)
        sleeps = 0
        while sleeps < 30:
            with open(f"/proc/{process.pid}/stat", encoding="utf-8", errors="replace") as file:
                sleeps = sleeps + 1 if file.read().rsplit(")", 1)[1].split()[0] == "S" else 0
            self.assertIsNone(process.poll(), arguments)
            time.sleep(0.01)
        return process

    @staticmethod
    def clean_up(process):
        process.kill()
        process.communicate()

    def test_it_ends_while_it_waits(self):
        write_log("qvapp_2024-03-05.log", b"a line of the log\n" * 100_000)  # more than a pipe holds
        log = os.path.join(LOGS, "qvapp_2024-03-05.log")
        fifo = fifo_outside()
        module = shutil.copy(TRACE, os.path.join(ROOT, "module"))
        for words in ("watch", "watch --input -", "log --follow", "log --all",
                      f"watch --input {log}", f"module {module} --add x --data {fifo}"):
            for number in (signal.SIGINT, signal.SIGTERM):
                process = self.start_and_wait(*words.split())
                process.send_signal(number)
                self.assertEqual(process.wait(PATIENCE), 0, f"{words} {number}")

    def test_it_ends_while_it_waits_for_the_reader_of_an_output_file(self):
        write_log("qvapp_2024-03-05.log", b"a line of the log\n" * 100_000)
        full, unread = os.path.join(ROOT, "full"), os.path.join(ROOT, "unread")
        os.mkfifo(full)
        os.mkfifo(unread)
        reader = os.open(full, os.O_RDONLY | os.O_NONBLOCK)
        self.addCleanup(os.close, reader)
        watching = ("watch", "--input", LOGS, "--output")
        for words, number in ((("export", "--output", full), signal.SIGINT),
                              (("export", "--output", unread), signal.SIGTERM),
                              ((*watching, full), signal.SIGTERM),
                              ((*watching, unread), signal.SIGINT)):
            process = self.start_and_wait(*words, stdout=subprocess.DEVNULL)
            process.send_signal(number)
            self.assertEqual(process.wait(PATIENCE), 0, words)
        for words, code, stdout in (((*watching, full), 0, subprocess.DEVNULL),
                                    ((*watching, unread), 0, subprocess.DEVNULL),
                                    ((*watching[:3], "--count", "99999"), 4, subprocess.PIPE)):
            process = self.start(*words, "--timeout", "0.5", stdout=stdout)
            self.assertEqual(process.wait(PATIENCE), code, words)

    def test_a_reader_of_an_output_file_gets_all(self):
        write_log("qvapp_2024-03-05.log", b"a line of the log\n" * 10_000)
        fifo = os.path.join(ROOT, "fifo")
        os.mkfifo(fifo)
        whole = trace("export", "--input", LOGS).stdout
        self.assertEqual(trace("export", "--input", LOGS, "--output", "/dev/stdout").stdout, whole)
        for command, *more in (("export",), ("watch", "--count", "10000")):
            process = self.start(command, *more, "--input", LOGS, "--output", fifo,
                                 stdout=subprocess.DEVNULL)
            with open(fifo, encoding="utf-8") as file:
                out = file.read()
            self.assertEqual((process.wait(PATIENCE), out.count("\n")), (0, 10_000))
            self.assertTrue(command == "watch" or out == whole)
        refused = trace("export", "--output", fifo, "--rotate", "64K")
        self.assertEqual((refused.returncode, refused.stderr.count("\n")), (1, 1))
        self.assertIn("needs a regular file", refused.stderr)
