"""plinth-trace, run as its users run it.

CTest runs each test method by itself, under the launcher: in a machine of its own (PLINTH_ROOT).
The environment names the programs: PLINTH_TRACE, PLINTH_TALKER (talker.cpp), PLINTH_SPEAKER
(speaker.cpp).
"""
import fcntl
import json
import os
import pty
import select
import signal
import subprocess
import sys
import termios
import time
import unittest

TRACE = os.environ["PLINTH_TRACE"]
TALKER = os.environ["PLINTH_TALKER"]
SPEAKER = os.environ["PLINTH_SPEAKER"]
ROOT = os.environ["PLINTH_ROOT"]
LOGS = os.path.join(ROOT, "ProgramData/Quorvane/Platform/Logfiles")
PATIENCE = 60  # seconds until a program that should have ended counts as stuck


def trace(*arguments, **more):
    """Runs plinth-trace to its end."""
    return subprocess.run([TRACE, *arguments], capture_output=True, text=True, encoding="utf-8",
                          timeout=PATIENCE, stdin=subprocess.DEVNULL, **more)


def run(program, *arguments):
    """Runs a program under observation to its end; gives what it printed, and its process id."""
    process = subprocess.Popen([program, *arguments], stdout=subprocess.PIPE, text=True,
                               encoding="utf-8", stdin=subprocess.DEVNULL)
    out, _ = process.communicate(timeout=PATIENCE)
    assert process.returncode == 0, f"{program} ended with {process.returncode}"
    return out, process.pid


def talk(*arguments):
    return run(TALKER, *arguments)


def speak(*texts):
    return run(SPEAKER, *texts)


def write_log(name, content):
    os.makedirs(LOGS, exist_ok=True)
    with open(os.path.join(LOGS, name), "wb") as file:
        file.write(content)


class Running:
    """A plinth-trace that goes on running: with the channel, if it is a watch."""

    def __init__(self, *arguments, stdout=subprocess.PIPE):
        self.process = subprocess.Popen([TRACE, *arguments], stdin=subprocess.DEVNULL,
                                        stdout=stdout, stderr=subprocess.PIPE, text=True,
                                        encoding="utf-8")
        if arguments[0] == "watch":
            line = self.process.stderr.readline()
            assert "watching" in line, line

    def line(self):
        return self.process.stdout.readline().rstrip("\n")

    def interrupt(self):
        self.process.send_signal(signal.SIGINT)
        return self.end()

    def end(self):
        out, err = self.process.communicate(timeout=PATIENCE)
        return self.process.returncode, out, err

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.communicate()


class Watch(unittest.TestCase):
    def test_shows_the_texts_of_another_process_in_order_with_its_id(self):
        with Running("watch", "--count", "3") as watch:
            _, pid = speak("one", "two\nlines", "three")
            code, out, err = watch.end()
        lines = [line.split(maxsplit=2) for line in out.splitlines()]
        self.assertEqual([[line[0], line[2]] for line in lines],
                         [[str(pid), text] for text in ("one", "two", "lines", "three")])
        self.assertEqual((code, err), (0, ""))

    def test_json_has_one_object_a_line_with_every_text_as_it_was(self):
        texts = ['a "quoted" \\ path', "tab\there", "two\nlines", "bell\a", "h\u00e9 \u20ac \U0001f600",
                 ""]
        with Running("watch", "--json", "--count", str(len(texts))) as watch:
            _, pid = speak(*texts)
            _, out, _ = watch.end()
        records = [json.loads(line) for line in out.splitlines()]
        self.assertEqual([record["text"] for record in records], texts)
        self.assertEqual({record["pid"] for record in records}, {pid})
        for record in records:
            self.assertRegex(record["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
            self.assertIsNone(record["window"])

    def test_a_long_text_is_shown_as_far_as_the_channel_carries_it(self):
        with Running("watch", "--json", "--count", "3") as watch:
            speak("long:1024", "long:4091", "long:100000")
            _, out, _ = watch.end()
        lengths = [len(json.loads(line)["text"]) for line in out.splitlines()]
        self.assertEqual(lengths[:2], [1024, 4091])
        self.assertIn(lengths[2], (4091, 4092))

    def test_match_and_window_choose_records(self):
        with Running("watch", "--json", "--match", "wanted [0-9]+", "--window", "-7",
                     "--count", "2") as watch:
            talk("trace:|wndid:-7| wanted 1", "trace:|wndid:5| wanted 2",
                 "trace:|wndid:-7| other")
            speak("wanted 3", "|wndid:-7| wanted 4")
            _, out, _ = watch.end()
        records = [json.loads(line) for line in out.splitlines()]
        self.assertEqual([record["window"] for record in records], [-7, -7])
        self.assertIn("wanted 1", records[0]["text"])
        self.assertIn("*vtq*", records[0]["text"])
        self.assertEqual(records[1]["text"], "|wndid:-7| wanted 4")

    def test_the_window_is_the_one_that_the_library_reads(self):
        windows = {"|wndid:12| x": 12, "|wndid:+3": 3, "|wndid:-2147483649": -2147483648,
                   "|wndid:2147483647|": None, "|wndid:x": 0, "x |wndid:5|": None, "": None}
        with Running("watch", "--json", "--match", "^(?!.*RDTSC)",
                     "--count", str(2 * len(windows))) as watch:
            speak(*windows)
            talk(*("trace:" + text for text in windows))
            _, out, _ = watch.end()
        seen = [json.loads(line)["window"] for line in out.splitlines()]
        windows_of_records = dict(windows, **{"x |wndid:5|": 5})  # anywhere behind the stamp
        self.assertEqual(seen, [*windows.values(), *windows_of_records.values()])

    def test_timeout_ends_it_and_tells_whether_the_count_was_reached(self):
        self.assertEqual(trace("watch", "--timeout", "0.1").returncode, 0)
        self.assertEqual(trace("watch", "--timeout", "0", "--count", "1").returncode, 4)

    def test_a_second_listener_says_that_the_channel_is_taken(self):
        with Running("watch", "--count", "1") as first:
            second = trace("watch")
            self.assertEqual((second.returncode, second.stdout), (3, ""))
            self.assertIn("another listener", second.stderr)
            speak("still for the first")
            self.assertIn("still for the first", first.end()[1])

    def test_the_channel_is_free_again_after_a_listener_was_killed(self):
        with Running("watch") as first:
            first.process.kill()
            first.process.wait()
        with Running("watch", "--count", "1") as second:
            speak("for the second")
            self.assertIn("for the second", second.end()[1])

    def test_ctrl_c_ends_it_after_what_was_written_before(self):
        with Running("watch") as watch:
            speak("numbers:50")
            code, out, err = watch.interrupt()
        self.assertEqual((code, err), (0, ""))
        self.assertEqual([line.split(maxsplit=2)[2] for line in out.splitlines()],
                         [f"number {i}" for i in range(50)])

    def test_output_that_nobody_reads_yet_loses_no_record_and_holds_nobody_up(self):
        count = 5000  # more than a pipe holds
        with Running("watch", "--count", str(count)) as watch:
            speak(f"numbers:{count}")
            code, out, err = watch.end()
        self.assertEqual((code, err), (0, ""))
        self.assertEqual([line.split(maxsplit=2)[2] for line in out.splitlines()],
                         [f"number {i}" for i in range(count)])

    def test_texts_that_a_stopped_watch_did_not_take_are_counted_and_shown(self):
        count = 1000
        with Running("watch") as watch:
            watch.process.send_signal(signal.SIGSTOP)
            os.waitpid(watch.process.pid, os.WUNTRACED)
            speak(f"numbers:{count}")
            watch.process.send_signal(signal.SIGCONT)
            lines = [watch.line()]  # until it goes on, no writer waits for it: the end could be lost
            speak("end")
            while not lines[-1].endswith("end"):
                lines.append(watch.line())
            watch.interrupt()
        lost = [int(line.split()[1]) for line in lines if " records lost: " in line]
        taken = [line for line in lines if " number " in line]
        self.assertEqual(sum(lost) + len(taken), count)
        self.assertGreater(sum(lost), count // 2)

    def test_a_reader_that_goes_away_ends_it_quietly(self):
        with Running("watch") as watch:
            watch.process.stdout.close()
            speak("for nobody")
            watch.process.wait(PATIENCE)
            self.assertEqual((watch.process.returncode, watch.process.stderr.read()), (0, ""))
            watch.process.stdout = None

    def test_output_that_fails_is_an_error(self):
        with open("/dev/full", "w") as full, Running("watch", stdout=full) as watch:
            speak("for a full disk")
            code, _, err = watch.end()
        self.assertEqual(code, 1)
        self.assertIn("No space left", err)

    def test_each_record_has_the_name_of_the_process_that_wrote_it(self):
        with Running("watch", "--json", "--match", "mine", "--process", "plinth_talker",
                     "--count", "1") as watch, \
                subprocess.Popen([TALKER, "trace:mine", "wait"], stdin=subprocess.PIPE) as talker:
            speak("mine")
            _, out, _ = watch.end()
            talker.communicate(b"\n")
        record = json.loads(out)
        self.assertEqual((record["process"], record["pid"]), ("plinth_talker", talker.pid))

    def test_include_and_exclude_choose_records_and_may_be_given_several_times(self):
        with Running("watch", "--include", "^one", "--include=^two", "--exclude", "x",
                     "--exclude", "y", "--count", "2") as watch:
            speak("three", "one x", "one", "two y", "two")
            _, out, _ = watch.end()
        self.assertEqual([line.split(maxsplit=2)[2] for line in out.splitlines()], ["one", "two"])

    def test_a_pattern_that_would_never_end_is_given_up_and_its_record_shown(self):
        text = "a" * 200 + "!"
        with Running("watch", "--match", "^(a+)+$", "--count", "1") as watch:
            speak(text)
            code, out, err = watch.end()
        self.assertEqual(code, 0)
        self.assertIn(text, out)

    def test_what_is_shown_is_also_written_to_the_output_file(self):
        path = os.path.join(ROOT, "shown.txt")
        with Running("watch", "--include", "o", "--time", "start", "--output", path,
                     "--count", "2") as watch:
            speak("one", "three", "two")
            _, out, _ = watch.end()
        with open(path, encoding="utf-8") as file:
            self.assertEqual(file.read(), out)
        self.assertRegex(out, r"^ +0\.000000 .*one\n +\d+\.\d{6} .*two\n$")
        self.assertEqual(trace("watch", "--input", "-", "--output", "/missing/file").returncode, 1)

    def test_standard_input_is_watched_to_its_end(self):
        text = "2024-03-05 14:07:33.006 *vtq* |wndid:4| one\n\ntwo\nlast"
        result = subprocess.run([TRACE, "watch", "--input", "-", "--json"], input=text,
                                capture_output=True, text=True, timeout=PATIENCE)
        records = [json.loads(line) for line in result.stdout.splitlines()]
        self.assertEqual([record["text"] for record in records], text.split("\n"))
        self.assertEqual(records[0]["window"], 4)
        self.assertEqual((records[0]["pid"], result.returncode), (None, 0))
        too_few = subprocess.run([TRACE, "watch", "--input", "-", "--count", "9"], input=text,
                                 capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual((too_few.returncode, too_few.stdout), (4, text + "\n"))

    def test_a_log_folder_is_watched_across_a_split(self):
        talk("log:before")
        with Running("watch", "--input", LOGS, "--match", "before|behind") as watch, \
                subprocess.Popen([TALKER, "log:before the split", "split", "log:behind the split",
                                  "wait"], stdin=subprocess.PIPE, text=True) as talker:
            lines = {watch.line() for _ in range(3)}
            talker.communicate("\n")
            code, _, err = watch.interrupt()
        self.assertEqual(lines, {"before", "before the split", "behind the split"})
        self.assertEqual((code, err), (0, ""))

    def test_rate_tells_the_counts_on_standard_error(self):
        result = subprocess.run([TRACE, "watch", "--input", "-", "--rate", "--exclude", "b"],
                                input="a\nb\nc\n", capture_output=True, text=True,
                                timeout=PATIENCE)
        self.assertIn("shown 2, all 3, lost 0", result.stderr.splitlines()[-1])

    def test_it_writes_no_log(self):
        trace("watch", "--timeout", "0")
        self.assertFalse(os.path.exists(LOGS))


SHELL = """
import os, signal, sys
signal.signal(signal.SIGTTOU, signal.SIG_IGN)
child = os.fork()
if child == 0:
    os.setpgid(0, 0)
    os.tcsetpgrp(0, os.getpid())
    signal.signal(signal.SIGTTOU, signal.SIG_DFL)
    os.execv(sys.argv[1], [sys.argv[1], "watch"])
while not os.WIFSTOPPED(os.waitpid(child, os.WUNTRACED)[1]):
    pass
os.tcsetpgrp(0, os.getpgrp())
print("stopped", flush=True)
sys.stdin.readline()
os.tcsetpgrp(0, child)
os.kill(child, signal.SIGCONT)
os.waitpid(child, 0)
os.tcsetpgrp(0, os.getpgrp())
print("ended", flush=True)
"""


class Keys(unittest.TestCase):
    """watch on a terminal: a pseudo-terminal of its own, whose other end the test has."""

    def setUp(self):
        self.folder = os.path.join(ROOT, "current")
        os.makedirs(self.folder)
        self.shown = ""

    def start(self, *arguments):
        self.terminal, self.theirs = pty.openpty()
        self.process = subprocess.Popen(
            [TRACE, "watch", *arguments], stdin=self.theirs, stdout=self.theirs,
            stderr=self.theirs, cwd=self.folder, start_new_session=True,
            env={**os.environ, "TERM": "xterm"},  # one with colours, whatever runs the tests
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        self.addCleanup(self.clean_up, self.process, self.terminal, self.theirs)
        self.until("shows keys")
        self.wait_for_mode(raw=True)

    @staticmethod
    def clean_up(process, *ends):
        process.kill()
        process.wait()
        for end in ends:
            os.close(end)

    def is_raw(self):
        return not termios.tcgetattr(self.theirs)[3] & (termios.ICANON | termios.ECHO)

    def wait_for_mode(self, raw):
        end = time.monotonic() + PATIENCE
        while self.is_raw() != raw:
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)

    def until(self, text):
        """Reads on until the text has come behind what was read before."""
        start = len(self.shown)
        while text not in self.shown[start:]:
            self.assertTrue(select.select([self.terminal], [], [], PATIENCE)[0],
                            f"{text!r} not in {self.shown[start:]!r}")
            self.shown += os.read(self.terminal, 65536).decode()
        return self.shown[start:]

    def press(self, keys):
        os.write(self.terminal, keys.encode())

    def test_a_paused_view_stands_still_until_it_goes_on(self):
        self.start()
        speak("before")
        self.until("before")
        self.press("p")
        self.until("paused, 0 wait")
        speak("meanwhile")
        self.assertNotIn("meanwhile", self.until("paused, 1 wait"))
        self.press("p")
        self.until("meanwhile")
        self.press("q")
        self.assertEqual(self.process.wait(PATIENCE), 0)

    def test_both_kinds_of_saving_and_clear(self):
        self.start("--exclude", "hidden")
        speak("one", "hidden", "two")
        self.until("two")
        self.press("s")
        self.until("saved 2 shown records to plinth-trace-shown-0001.txt")
        self.press("S")
        self.until("saved 3 records, all that are kept, to plinth-trace-all-0001.txt")
        self.press("c")
        self.until("\x1b[2J")
        self.press("S")
        self.until("saved 0 records, all that are kept, to plinth-trace-all-0002.txt")

        def lines(name):
            with open(os.path.join(self.folder, name), encoding="utf-8") as file:
                return [line.split()[-1] for line in file]

        self.assertEqual(lines("plinth-trace-shown-0001.txt"), ["one", "two"])
        self.assertEqual(lines("plinth-trace-all-0001.txt"), ["one", "hidden", "two"])

    def test_bookmarks_are_gone_to_and_fro(self):
        self.start()
        for text in ("first", "second", "third"):
            speak(text)
            self.until(text)
            if text != "second":
                self.press("b")
                self.until("bookmarked")
        self.press("n")
        self.until("record 1 --")
        self.press("n")
        self.until("record 3 --")
        self.press("N")
        self.until("record 1 --")
        self.press("?")
        self.until("save shown")

    def test_highlights_are_coloured(self):
        self.start("--highlight", "red", "--highlight", "gr..n")
        speak("red green")
        self.until("\x1b[30;103mred\x1b[0m \x1b[30;102mgreen\x1b[0m")

    def test_the_terminal_is_left_as_it_was_however_it_ends(self):
        for end in (lambda: self.press("q"), lambda: self.press("\x03"),
                    lambda: self.press("\x1c"),
                    lambda: self.process.send_signal(signal.SIGTERM),
                    lambda: self.process.send_signal(signal.SIGHUP),
                    lambda: self.process.send_signal(signal.SIGABRT)):
            self.start()
            end()
            self.process.wait(PATIENCE)
            self.assertFalse(self.is_raw())

    def test_ctrl_z_gives_the_terminal_back_and_going_on_takes_it_again(self):
        # The system stops only what somebody in the session could continue: here stands the shell.
        self.terminal, self.theirs = pty.openpty()
        self.process = subprocess.Popen(
            [sys.executable, "-c", SHELL, TRACE], stdin=self.theirs, stdout=self.theirs,
            stderr=self.theirs, start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        self.addCleanup(self.clean_up, self.process, self.terminal, self.theirs)
        self.until("shows keys")
        self.wait_for_mode(raw=True)
        self.press("\x1a")
        self.until("stopped")
        self.assertFalse(self.is_raw())
        self.press("\n")
        self.wait_for_mode(raw=True)
        speak("still here")
        self.until("still here")
        self.press("q")
        self.until("ended")
        self.assertFalse(self.is_raw())


class Log(unittest.TestCase):
    def test_shows_the_last_lines_of_the_newest_file(self):
        write_log("qvapp_2024-03-04_(0009).log", b"older day\r\n")
        write_log("qvapp_2024-03-05_(0010).log", b"".join(b"line %d\r\n" % i for i in range(40)))
        write_log("qvapp_2024-03-05_(0009).log", b"older number\r\n")
        write_log("qvapp_2024-03-06_x.log", b"no log\r\n")
        write_log("qvapp_latest.log", b"no log\r\n")
        self.assertEqual(trace("log").stdout, "".join(f"line {i}\n" for i in range(20, 40)))
        self.assertEqual(trace("log", "--lines", "1").stdout, "line 39\n")
        self.assertEqual(trace("log", "--lines", "0").stdout, "")
        self.assertEqual(trace("log", "--lines", "1000").stdout.count("\n"), 40)
        self.assertEqual(trace("log", "--path").stdout,
                         os.path.join(LOGS, "qvapp_2024-03-05_(0010).log") + "\n")

    def test_all_shows_every_file_oldest_first(self):
        names = ["qvapp_2023-12-31.log", "qvapp_2024-03-05.log", "qvapp_2024-03-05_(0002).log",
                 "qvapp_2024-03-05_(10000).log"]
        for name in reversed(names):
            write_log(name, f"first of {name}\nlast of {name}\n".encode())
        paths = [os.path.join(LOGS, name) for name in names]
        self.assertEqual(trace("log", "--all", "--path").stdout.splitlines(), paths)
        expected = "".join(f"==> {path} <==\nfirst of {name}\nlast of {name}\n"
                           for path, name in zip(paths, names))
        self.assertEqual(trace("log", "--all").stdout, expected)
        self.assertEqual(trace("log", "--all", "--lines", "1").stdout,
                         "".join(line + "\n" for line in expected.splitlines()
                                 if not line.startswith("first")))

    def test_reads_both_forms_of_a_file(self):
        write_log("qvapp_2024-03-05.log", b"caf\xe9\r\nno line end")
        self.assertEqual(trace("log", "--lines", "2").stdout, "caf\u00e9\nno line end")
        text = "first\r\n\u20ac \U0001f600 \u010a\r\n"  # U+010A has the byte of a line end
        write_log("qvapp_2024-03-06.log", b"\xff\xfe" + text.encode("utf-16-le"))
        self.assertEqual(trace("log").stdout, text.replace("\r\n", "\n"))
        self.assertEqual(trace("log", "--lines", "1").stdout, "\u20ac \U0001f600 \u010a\n")

    def test_lines_are_found_across_the_blocks_in_which_a_file_is_read(self):
        for encoding, mark in (("latin-1", b""), ("utf-16-le", b"\xff\xfe")):
            lines = [f"{i} " + "x" * (i % 97) for i in range(20000)]
            write_log("qvapp_2024-03-05.log", mark + "".join(
                line + "\r\n" for line in lines).encode(encoding))
            for count in (1, 700, 19999, 20000, 20001):
                out = trace("log", "--lines", str(count)).stdout
                self.assertEqual(out.split("\n")[:-1], lines[-count:], f"{count}, {encoding}")

    def test_what_a_terminal_would_obey_is_shown_instead(self):
        write_log("qvapp_2024-03-05.log", b"\x1b]0;title\x07 \x9b2J \x00\n")
        self.assertEqual(trace("log").stdout, "\\x1b]0;title\\x07 \\x9b2J \\x00\n")

    def test_looking_makes_and_removes_no_file(self):
        write_log("qvapp_2001-01-01.log", b"much older than the age limit\n")
        self.assertIn("much older", trace("log").stdout)
        trace("settings")
        self.assertEqual(os.listdir(LOGS), ["qvapp_2001-01-01.log"])

    def test_no_log_is_an_error_that_names_the_folder(self):
        result = trace("log")
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn(LOGS, result.stderr)

    def test_another_folder_can_be_named(self):
        other = os.path.join(ROOT, "other")
        os.makedirs(other)
        with open(os.path.join(other, "qvapp_2024-03-05.log"), "w") as file:
            file.write("elsewhere\n")
        self.assertEqual(trace("log", "--folder", other + "/").stdout, "elsewhere\n")

    def test_follow_goes_on_across_a_split_and_with_other_programs(self):
        with Running("log", "--follow", "--lines", "100") as follow, \
                subprocess.Popen([TALKER, "log:before", "wait", "split", "log:behind the split",
                                  "wait"], stdin=subprocess.PIPE, text=True) as talker:
            def until(text):
                line = follow.line()
                while text not in line:
                    self.assertIsNone(follow.process.poll())
                    line = follow.line()

            # With its last lines: the talker may have written before the tool looks.
            until("before")
            talker.stdin.write("\n")
            talker.stdin.flush()
            until("==> ")
            until("behind the split")
            talk("log:of another program")
            until("==> ")
            until("of another program")
            talker.stdin.write("\n")
            talker.stdin.flush()
            code, _, err = follow.interrupt()
        self.assertEqual((code, err), (0, ""))

    def test_follow_shows_a_file_that_was_removed_and_made_anew(self):
        write_log("qvapp_2024-03-05.log", b"first\n")
        with Running("log", "--follow") as follow:
            self.assertEqual(follow.line(), "first")
            os.remove(os.path.join(LOGS, "qvapp_2024-03-05.log"))
            # When the tool shows this one, it has looked at the folder without the first.
            write_log("qvapp_2024-03-06.log", b"second\n")
            self.assertIn("==> ", follow.line())
            self.assertEqual(follow.line(), "second")
            write_log("qvapp_2024-03-05.log", b"first again\n")
            self.assertIn("==> ", follow.line())
            self.assertEqual(follow.line(), "first again")
            code, _, err = follow.interrupt()
        self.assertEqual((code, err), (0, ""))

    def test_path_is_that_of_the_program_that_started_last(self):
        talk("log:one")
        path, _ = talk("path")
        self.assertEqual("C:" + trace("log", "--path").stdout.replace("/", "\\"), path)


class Settings(unittest.TestCase):
    @staticmethod
    def shown(*arguments):
        out = trace("settings", *arguments).stdout
        return {line.split()[0]: " ".join(line.split()[1:]) for line in out.splitlines()}

    def test_shows_the_defaults_and_that_they_are(self):
        self.assertEqual(self.shown(), {"days": "10 (default)", "megabytes": "no limit (default)",
                                        "per-session": "yes (default)", "folder": LOGS})

    def test_each_is_set_alone_and_kept_until_the_reset(self):
        self.assertEqual(self.shown("--days", "3")["days"], "3 (registry)")
        self.assertEqual(self.shown()["megabytes"], "no limit (default)")
        self.shown("--megabytes=5", "--per-session=no")
        self.assertEqual(self.shown(), {"days": "3 (registry)", "megabytes": "5 (registry)",
                                        "per-session": "no (registry)", "folder": LOGS})
        self.assertEqual(self.shown("--megabytes", "none")["megabytes"], "no limit (registry)")
        self.assertEqual(self.shown("--reset")["days"], "10 (default)")

    def test_programs_take_them_up(self):
        self.assertEqual(talk("per-session")[0], "yes\n")
        trace("settings", "--per-session", "no")
        self.assertEqual(talk("per-session")[0], "no\n")

    def test_a_value_that_makes_no_sense_is_refused_and_changes_nothing(self):
        for arguments in (["--days", "-1"], ["--days", "24856"], ["--days", "many"], ["--days"],
                          ["--megabytes", "0"], ["--per-session", "maybe"], ["days"]):
            result = trace("settings", *arguments)
            self.assertEqual((result.returncode, result.stdout), (2, ""), arguments)
            self.assertIn(arguments[0], result.stderr)
        self.assertEqual(self.shown()["days"], "10 (default)")


class CommandLine(unittest.TestCase):
    def test_each_command_has_a_help_text(self):
        for arguments in (["--help"], ["watch", "--help"], ["log", "--help"],
                          ["settings", "--help"]):
            result = trace(*arguments)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertTrue(result.stdout.startswith("usage: plinth-trace"))

    def test_version(self):
        self.assertRegex(trace("--version").stdout, r"^plinth-trace \d+\.\d+\.\d+\n$")

    def test_what_is_not_understood_is_refused_with_a_hint(self):
        for arguments in ([], ["wotch"], ["watch", "--cuont", "1"], ["watch", "--count", "0"],
                          ["watch", "--match", "(open"], ["watch", "--highlight", "*"],
                          ["watch", "--time", "later"], ["watch", "--keep", "1"], ["watch", "--timeout", "soon"],
                          ["log", "--lines", "-1"], ["log", "--follow", "--path"]):
            result = trace(*arguments)
            self.assertEqual((result.returncode, result.stdout), (2, ""), arguments)
            self.assertIn("--help", result.stderr)

    def test_no_colour_where_there_is_no_terminal(self):
        write_log("qvapp_2024-03-05.log", b"text\n")
        self.assertNotIn("\x1b", trace("log", "--all").stdout)
