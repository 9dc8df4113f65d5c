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
import termios
import time
import unittest

from programs import PATIENCE, ROOT, folder_outside, run

TRACE = os.environ["PLINTH_TRACE"]
TALKER = os.environ["PLINTH_TALKER"]
SPEAKER = os.environ["PLINTH_SPEAKER"]
LOGS = os.path.join(ROOT, "ProgramData/Quorvane/Platform/Logfiles")

def trace(*arguments, **more):
    return run(TRACE, *arguments, **more)

def observed(program, *arguments):
    """Runs a traced program to its end; returns its output and its process id."""
    process = subprocess.Popen([program, *arguments], stdout=subprocess.PIPE, encoding="utf-8",
                               stdin=subprocess.DEVNULL)
    out, _ = process.communicate(timeout=PATIENCE)
    assert process.returncode == 0, f"{program} ended with {process.returncode}"
    return out, process.pid

def talk(*arguments):
    return observed(TALKER, *arguments)

def speak(*texts):
    return observed(SPEAKER, *texts)

def talking(*arguments):
    return subprocess.Popen([TALKER, *arguments], stdin=subprocess.PIPE, text=True)

def log_path(name):
    os.makedirs(LOGS, exist_ok=True)
    return os.path.join(LOGS, name)

def write_log(name, content, age=0):
    """age: seconds since it was last written."""
    with open(log_path(name), "wb") as file:
        file.write(content)
    os.utime(log_path(name), (time.time() - age,) * 2)

def let_an_open_wait(test, path):
    """Makes a file whose opening no signal ends: this process has a lease of it and does not give
    it back before /proc/sys/fs/lease-break-time. Returns when another process opens the file."""
    signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGIO})  # the request for the lease
    with open(path + ".new", "w+b") as file:
        file.write(b"a record\n")
        file.flush()
        lease = os.dup(file.fileno())
    test.addCleanup(os.close, lease)
    fcntl.fcntl(lease, fcntl.F_SETLEASE, fcntl.F_WRLCK)
    os.rename(path + ".new", path)
    test.assertIsNotNone(signal.sigtimedwait({signal.SIGIO}, PATIENCE))

class Running(subprocess.Popen):
    """A plinth-trace that runs until it is ended. A watch has the channel then."""

    def __init__(self, *arguments, stdout=subprocess.PIPE):
        super().__init__([TRACE, *arguments], stdin=subprocess.DEVNULL, stdout=stdout,
                         stderr=subprocess.PIPE, encoding="utf-8")
        if arguments[0] == "watch":
            self.first_note = self.stderr.readline()
            assert "watching" in self.first_note, self.first_note

    def line(self):
        return self.stdout.readline().rstrip("\n")

    def interrupt(self):
        self.send_signal(signal.SIGINT)
        return self.end()

    def end(self):
        out, err = self.communicate(timeout=PATIENCE)
        return self.returncode, out, err

    def __exit__(self, *_):
        self.kill()
        self.communicate()

def watch(*arguments, spoken=(), told=()):
    """The output of a watch. One process writes the spoken texts to the channel, then another traces
    those in told through the library."""
    with Running("watch", *arguments) as running:
        _, pid = speak(*spoken)
        if told:
            talk(*(f"trace:{text}" for text in told))
        code, out, err = running.end()
    assert (code, err) == (0, ""), (code, err)
    return out, pid

def texts_of(lines):
    return [line.split(maxsplit=2)[2] for line in lines.splitlines()]

def objects_of(lines):
    return [json.loads(line) for line in lines.splitlines()]

class Watch(unittest.TestCase):
    def test_json_has_one_object_a_line_with_every_text_as_far_as_the_channel_carries_it(self):
        texts = ['a "quoted" \\ path', "tab\there", "two\nlines", "bell\a",
                 "h\u00e9 \u20ac \U0001f600", ""]
        out, pid = watch("--json", "--count", str(len(texts) + 3),
                         spoken=[*texts, "long:1024", "long:4091", "long:100000"])
        *records, last = objects_of(out)
        self.assertEqual([(record["text"], record["pid"], record["window"]) for record in records],
                         [(text, pid, None) for text in [*texts, "x" * 1024, "x" * 4091]])
        self.assertIn(len(last["text"]), (4091, 4092))
        for record in records:
            self.assertRegex(record["time"], r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")

    def test_match_and_window_choose_records(self):
        out, _ = watch("--json", "--match", "wanted [0-9]+", "--window", "-7", "--count", "2",
                       spoken=("wanted 3", "|wndid:-7| wanted 4"),
                       told=("|wndid:-7| wanted 1", "|wndid:5| wanted 2", "|wndid:-7| other"))
        records = objects_of(out)
        self.assertEqual([record["window"] for record in records], [-7, -7])
        self.assertEqual(records[0]["text"], "|wndid:-7| wanted 4")
        self.assertRegex(records[1]["text"], r"\*vtq\*.*wanted 1")

    def test_the_window_is_the_one_that_the_library_reads(self):
        windows = {"|wndid:12| x": 12, "|wndid:+3": 3, "|wndid:-2147483649": -2147483648,
                   "|wndid:2147483647|": None, "|wndid:x": 0, "x |wndid:5|": None, "": None}
        out, _ = watch("--json", "--match", "^(?!.*RDTSC)", "--count", str(2 * len(windows)),
                       spoken=windows, told=windows)
        windows_of_records = dict(windows, **{"x |wndid:5|": 5})  # anywhere after the stamp
        self.assertEqual([record["window"] for record in objects_of(out)],
                         [*windows.values(), *windows_of_records.values()])

    def test_timeout_ends_it_and_tells_whether_the_count_was_reached(self):
        self.assertEqual(trace("watch", "--timeout", "0.1").returncode, 0)
        self.assertEqual(trace("watch", "--timeout", "0", "--count", "1").returncode, 4)
        self.assertFalse(os.path.exists(LOGS), "it writes no log")

    def test_a_second_viewer_is_told_who_has_the_channel_and_shows_the_same(self):
        with Running("watch", "--count", "1") as first, Running("watch", "--count", "1") as second:
            self.assertIn(f"plinth-trace ({first.pid}) has and passes on", second.first_note)
            speak("for both")
            self.assertIn("for both", first.end()[1])
            self.assertIn("for both", second.end()[1])

    def test_another_program_that_has_the_channel_is_named_and_waited_for(self):
        with subprocess.Popen([SPEAKER, "occupy"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                              text=True) as other:
            other.stdout.readline()
            name = f"plinth_speaker ({other.pid})"
            ended = trace("watch", "--timeout", "0.1", "--count", "1")
            self.assertEqual((ended.returncode, name in ended.stderr), (3, True), ended.stderr)
            with Running("watch", "--count", "1") as waiting:
                other.communicate("\n")
                self.assertIn("this viewer has the channel now", waiting.stderr.readline())
                speak("now")
                self.assertEqual(waiting.end()[0], 0)

    def test_the_channel_is_free_again_after_a_listener_was_killed(self):
        with Running("watch") as first:
            first.kill()
            first.wait()
        self.assertIn("for the second", watch("--count", "1", spoken=["for the second"])[0])

    def test_ctrl_c_ends_it_after_what_was_written_before(self):
        for count in (50, 20000):  # the second is more than fits into a pipe
            with Running("watch") as running:
                speak(f"numbers:{count}")
                code, out, err = running.interrupt()
            self.assertEqual((code, err, texts_of(out)),
                             (0, "", [f"number {i}" for i in range(count)]))

    def test_output_that_nobody_reads_yet_loses_no_record_and_holds_nobody_up(self):
        count = 5000  # more than fits into a pipe
        out, pid = watch("--count", str(count + 2),
                         spoken=["two\nlines", f"numbers:{count}", "end"])
        self.assertEqual(texts_of(out),
                         ["two", "lines", *(f"number {i}" for i in range(count)), "end"])
        self.assertEqual({line.split()[0] for line in out.splitlines()}, {str(pid)})

    def test_texts_that_a_stopped_watch_did_not_take_are_counted_and_shown(self):
        count = 1000
        with Running("watch") as running:
            running.send_signal(signal.SIGSTOP)
            os.waitpid(running.pid, os.WUNTRACED)
            speak(f"numbers:{count}")
            running.send_signal(signal.SIGCONT)
            # Before the watch continues, no writer waits for it, and "end" could be lost.
            lines = [running.line()]
            speak("end")
            while not lines[-1].endswith("end"):
                lines.append(running.line())
            running.interrupt()
        lost = sum(int(line.split()[1]) for line in lines
                   if " records lost: their writers went on while this viewer did not run" in line)
        self.assertEqual(lost + sum(" number " in line for line in lines), count)
        self.assertGreater(lost, count // 2)

    def test_a_reader_that_goes_away_ends_it_quietly(self):
        with Running("watch") as running:
            running.stdout.close()
            speak("for nobody")
            running.wait(PATIENCE)
            self.assertEqual((running.returncode, running.stderr.read()), (0, ""))
            running.stdout = None

    def test_output_that_fails_is_an_error(self):
        with open("/dev/full", "w") as full, Running("watch", stdout=full) as running:
            speak("for a full disk")
            code, _, err = running.end()
        self.assertEqual((code, "No space left" in err), (1, True), err)
        self.assertEqual(trace("watch", "--input", "-", "--output", "/missing/file").returncode, 1)

    def test_each_record_has_the_name_of_the_process_that_wrote_it(self):
        with Running("watch", "--json", "--match", "mine", "--process", "plinth_talker",
                     "--count", "1") as running, talking("trace:mine", "wait") as talker:
            speak("mine")
            record = json.loads(running.end()[1])
            talker.communicate("\n")
        self.assertEqual((record["process"], record["pid"]), ("plinth_talker", talker.pid))

    def test_options_may_be_given_several_times_and_what_is_shown_is_also_written_to_a_file(self):
        path = os.path.join(ROOT, "shown.txt")
        out, _ = watch("--include", "^one", "--include=^two", "--exclude", "x", "--exclude", "y",
                       "--time", "start", "--output", path, "--count", "2",
                       spoken=("one", "three", "one x", "two y", "two"))
        with open(path, encoding="utf-8") as file:
            self.assertEqual(file.read(), out)
        self.assertRegex(out, r"^ +0\.000000 .* one\n +\d+\.\d{6} .* two\n$")

    def test_standard_input_is_watched_to_its_end(self):
        text = "2024-03-05 14:07:33.006 *vtq* |wndid:4| one\n\ntwo\nlast"
        result = trace("watch", "--input", "-", "--json", input=text)
        records = objects_of(result.stdout)
        self.assertEqual([record["text"] for record in records], text.split("\n"))
        self.assertEqual((result.returncode, records[0]["window"], records[0]["pid"]), (0, 4, None))
        too_few = trace("watch", "--input", "-", "--count", "9", input=text)
        self.assertEqual((too_few.returncode, too_few.stdout), (4, text + "\n"))
        rated = trace("watch", "--input", "-", "--rate", "--exclude", "b", input="a\nb\nc\n")
        self.assertIn("shown 2, all 3, lost 0, dropped 0", rated.stderr.splitlines()[-1])
        texts = ["small", "x" * 90_000, "small again"]  # there is room for one of them only
        kept = trace("watch", "--input", "-", "--json", "--keep", "64K", input="\n".join(texts))
        self.assertEqual([record["text"] for record in objects_of(kept.stdout)], texts)

class Keys(unittest.TestCase):
    """watch on a pseudo-terminal, whose other end the test has."""

    def start(self, *arguments):
        self.shown = ""
        self.terminal, self.theirs = pty.openpty()
        self.process = subprocess.Popen(
            [TRACE, "watch", "--plain", *arguments], stdin=self.theirs, stdout=self.theirs,
            stderr=self.theirs, cwd=ROOT, start_new_session=True,
            env={**os.environ, "TERM": "xterm"},  # a terminal with colours, whatever runs the tests
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        self.addCleanup(self.clean_up, self.process, self.terminal, self.theirs)
        self.until("shows keys")
        end = time.monotonic() + PATIENCE
        while not self.is_raw():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)

    @staticmethod
    def clean_up(process, *ends):
        process.kill()
        process.wait()
        for end in ends:
            os.close(end)

    def is_raw(self):
        return not termios.tcgetattr(self.theirs)[3] & (termios.ICANON | termios.ECHO)

    def until(self, text):
        """Reads until the text comes after the part that was read before."""
        start = len(self.shown)
        while text not in self.shown[start:]:
            self.assertTrue(select.select([self.terminal], [], [], PATIENCE)[0],
                            f"{text!r} not in {self.shown[start:]!r}")
            self.shown += os.read(self.terminal, 65536).decode()
        return self.shown[start:]

    def press(self, keys, shows=""):
        os.write(self.terminal, keys.encode())
        return self.until(shows)

    def test_pausing_both_kinds_of_saving_and_clear(self):
        self.start("--exclude", "hidden")
        speak("one", "hidden", "two")
        self.until("two")
        self.press("p", "paused, 0 wait")
        speak("meanwhile")
        self.assertNotIn("meanwhile", self.until("paused, 1 wait"))
        self.press("p", "meanwhile")
        self.press("s", "saved 3 shown records to plinth-trace-shown-0001.txt")
        self.press("S", "saved 4 records, all that are kept, to plinth-trace-all-0001.txt")
        self.press("c", "\x1b[2J")
        self.press("S", "saved 0 records, all that are kept, to plinth-trace-all-0002.txt")
        for name, texts in (("shown", ["one", "two", "meanwhile"]),
                            ("all", ["one", "hidden", "two", "meanwhile"])):
            with open(os.path.join(ROOT, f"plinth-trace-{name}-0001.txt")) as file:
                self.assertEqual([line.split()[-1] for line in file], texts)
        self.press("q")
        self.assertEqual(self.process.wait(PATIENCE), 0)

    def test_bookmarks_are_gone_to_and_fro_and_highlights_are_coloured(self):
        self.start("--highlight", "first", "--highlight", "th..d")
        for text, shows in (("first", "\x1b[30;103mfirst\x1b[0m"), ("second", "second"),
                            ("third", "\x1b[30;102mthird\x1b[0m")):
            speak(text)
            self.until(shows)
            if text != "second":
                self.press("b", "bookmarked")
        for key, shows in (("n", "record 1 --"), ("n", "record 3 --"), ("N", "record 1 --"),
                           ("?", "save shown")):
            self.press(key, shows)

    def test_the_terminal_is_left_as_it_was_however_it_ends(self):
        for key in ("q", "\x03", "\x1c"):
            self.start()
            self.press(key)
            self.process.wait(PATIENCE)
            self.assertFalse(self.is_raw(), repr(key))
        for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGABRT):
            self.start()
            self.process.send_signal(number)
            self.process.wait(PATIENCE)
            self.assertFalse(self.is_raw(), number)

    def test_the_terminal_is_left_as_it_was_when_it_is_ended_by_force(self):
        folder = folder_outside()
        self.start("--input", folder)
        let_an_open_wait(self, os.path.join(folder, "qvapp_2024-03-05.log"))
        self.process.send_signal(signal.SIGINT)
        self.assertEqual(self.process.wait(PATIENCE), -signal.SIGTERM)
        self.assertFalse(self.is_raw())

class Log(unittest.TestCase):
    def test_shows_the_last_lines_of_the_newest_file(self):
        newest = "qvapp_2024-03-05_(0010).log"
        write_log("qvapp_2024-03-04_(0009).log", b"older day\r\n", age=1)
        write_log(newest, b"".join(b"line %d\r\n" % i for i in range(40)))
        write_log("qvapp_2024-03-05_(0009).log", b"older number\r\n", age=1)
        for name in ("qvapp_2024-03-06_x.log", "qvapp_latest.log"):
            write_log(name, b"no log\r\n")
        for count, first in (("20", 20), ("1", 39), ("0", 40), ("1000", 0)):
            self.assertEqual(trace("log", "--lines", count).stdout,
                             "".join(f"line {i}\n" for i in range(first, 40)), count)
        self.assertEqual(trace("log").stdout, trace("log", "--lines", "20").stdout)
        self.assertEqual(trace("log", "--path").stdout, log_path(newest) + "\n")

    def test_all_shows_every_file_oldest_first(self):
        names = ["qvapp_2023-12-31.log", "qvapp_2024-03-05.log", "qvapp_2024-03-05_(0002).log",
                 "qvapp_2024-03-05_(10000).log"]
        for age, name in enumerate(reversed(names)):
            write_log(name, f"first of {name}\nlast of {name}\n".encode(), age)
        self.assertEqual(trace("log", "--all", "--path").stdout.splitlines(),
                         [log_path(name) for name in names])
        expected = "".join(f"==> {log_path(name)} <==\nfirst of {name}\nlast of {name}\n"
                           for name in names)
        self.assertEqual(trace("log", "--all").stdout, expected)
        self.assertEqual(trace("log", "--all", "--lines", "1").stdout.splitlines(),
                         [line for line in expected.splitlines() if not line.startswith("first")])

    def test_lines_of_both_forms_of_a_file_are_found_across_the_blocks_in_which_it_is_read(self):
        # U+010A contains the byte of a line end.
        for encoding, mark, more in (("latin-1", b"", "caf\u00e9"),
                                     ("utf-16-le", b"\xff\xfe", "\u20ac \U0001f600 \u010a")):
            lines = [f"{i} {more} " + "x" * (i % 97) for i in range(20000)]
            write_log("qvapp_2024-03-05.log", mark + "".join(
                line + "\r\n" for line in lines).encode(encoding))
            for count in (1, 700, 19999, 20000, 20001):
                out = trace("log", "--lines", str(count)).stdout
                self.assertEqual(out.split("\n")[:-1], lines[-count:], f"{count}, {encoding}")

    def test_what_a_terminal_would_obey_is_shown_instead_and_no_colour_without_one(self):
        write_log("qvapp_2024-03-05.log", b"\x1b]0;title\x07 \x9b2J \x00")
        self.assertEqual(trace("log").stdout, "\\x1b]0;title\\x07 \\x9b2J \\x00")
        self.assertNotIn("\x1b", trace("log", "--all").stdout)

    def test_no_log_is_an_error_that_names_the_folder_and_looking_changes_no_file(self):
        result = trace("log")
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn(LOGS, result.stderr)
        write_log("qvapp_2001-01-01.log", b"much older than the age limit\n")
        self.assertIn("much older", trace("log", "--folder", LOGS + "/").stdout)
        trace("settings")
        self.assertEqual(os.listdir(LOGS), ["qvapp_2001-01-01.log"])

    def test_the_folder_that_a_program_has_named_is_pointed_to_if_its_log_is_newer(self):
        other = os.path.join(ROOT, "ProgramData/Quorvane/Demo/Logfiles")
        os.makedirs(other)
        self.assertNotIn(other, trace("log").stderr)
        with open(os.path.join(other, "qvapp_2024-03-05.log"), "w", encoding="ascii") as file:
            file.write("one\n")
        self.assertIn(other, trace("log").stderr)
        for age, is_newer in ((60, False), (-60, True)):
            write_log("qvapp_2024-03-05.log", b"usual\n")
            os.utime(os.path.join(other, "qvapp_2024-03-05.log"), (time.time() - age,) * 2)
            result = trace("log")
            self.assertEqual((result.stdout, other in result.stderr), ("usual\n", is_newer))

    def test_json_has_the_times_of_the_zone_in_which_a_log_was_written(self):
        write_log("qvapp_2024-03-05.log", b"2024-03-05 14:07:33.006 *vtq* one\r\n")
        for zone, hour in (("America/New_York", "19"), ("UTC", "14"), ("XYZ-2", "12")):
            out = trace("watch", "--input", LOGS, "--json", "--count", "1", "--zone", zone).stdout
            self.assertEqual(objects_of(out)[0]["time"], f"2024-03-05T{hour}:07:33.006Z", zone)

    def test_a_log_of_either_form_is_read_from_standard_input(self):
        text = "2024-03-05 14:07:33.006 *vtq* \u20ac\r\n"
        for encoding in ("utf-8", "utf-16"):
            out = trace("watch", "--input", "-", input=text.encode(encoding), encoding=None).stdout
            self.assertEqual(out.decode(), text.replace("\r", ""), encoding)

    def test_follow_begins_with_the_last_records_of_all_files_and_waits_for_a_first_one(self):
        os.makedirs(LOGS)
        with Running("log", "--follow") as empty, Running("watch", "--input", LOGS) as watched:
            self.assertIn(f"no log file yet in {LOGS}, and log waits", empty.stderr.readline())
            write_log("qvapp_2024-03-05.log", b"2024-03-05 14:00:00.000 *vtq* of one program\n")
            for viewer in (empty, watched):
                self.assertRegex(viewer.line(), "of one program$")
        write_log("qvapp_2024-03-05_(0001).log", b"2024-03-05 13:00:00.000 *vtq* of another\n")
        with Running("log", "--follow") as follow:
            self.assertRegex(follow.line() + follow.line(), "of another.*of one program$")

    def test_follow_goes_on_with_other_programs_and_a_file_that_was_removed_and_made_anew(self):
        write_log("qvapp_2024-03-05.log", b"first\n")
        with Running("log", "--follow") as follow:
            self.assertEqual(follow.line(), "first")
            os.remove(log_path("qvapp_2024-03-05.log"))
            # When the tool shows the second, it has seen the folder without the first.
            for day, text in (("06", "second"), ("05", "first again")):
                write_log(f"qvapp_2024-03-{day}.log", f"{text}\n".encode())
                self.assertEqual(follow.line(), text)
            talk("log:of another program")
            while "of another program" not in follow.line():
                self.assertIsNone(follow.poll())
            self.assertEqual(follow.interrupt()[::2], (0, ""))

class Settings(unittest.TestCase):
    @staticmethod
    def shown(*arguments):
        out = trace("settings", *arguments).stdout
        return {line.split()[0]: " ".join(line.split()[1:]) for line in out.splitlines()}

    def test_each_is_set_alone_and_kept_until_the_reset(self):
        defaults = {"days": "10 (default)", "megabytes": "no limit (default)",
                    "per-session": "yes (default)", "folder": LOGS}
        self.assertEqual(self.shown(), defaults)
        self.assertEqual(self.shown("--days", "3")["days"], "3 (registry)")
        self.assertEqual(self.shown(), {**defaults, "days": "3 (registry)"})
        self.shown("--megabytes=5", "--per-session=no")
        self.assertEqual(self.shown(), {"days": "3 (registry)", "megabytes": "5 (registry)",
                                        "per-session": "no (registry)", "folder": LOGS})
        self.assertEqual(self.shown("--megabytes", "none")["megabytes"], "no limit (registry)")
        self.assertEqual(self.shown("--reset"), defaults)

    def test_programs_take_them_up(self):
        self.assertEqual(talk("per-session")[0], "yes\n")
        trace("settings", "--per-session", "no")
        self.assertEqual(talk("per-session")[0], "no\n")

class CommandLine(unittest.TestCase):
    def test_each_command_has_a_help_text_and_there_is_a_version(self):
        self.assertRegex(trace("--version").stdout, r"^plinth-trace \d+\.\d+\.\d+\n$")
        for command in ("", "watch", "log", "export", "settings"):
            for words in (f"{command} --help", f"{command} -h", f"help {command}",
                          *([f"{command} --follow -h"] if command else [])):
                result = trace(*words.split())
                self.assertEqual((result.returncode, result.stderr), (0, ""), words)
                self.assertRegex(result.stdout, rf"^usage: plinth-trace {command or 'COMMAND'} ")

    def test_what_is_not_understood_is_refused_with_a_hint_and_changes_nothing(self):
        for words in ("", "wotch", "watch --cuont 1", "watch --count 0", "watch --match (open",
                      "watch --highlight *", "watch --time later", "watch --keep 1",
                      "watch --timeout soon", "watch --tail 1",
                      "watch --input x --input -", "watch --input x --since soon",
                      "export --format xml", "export --rotate 1M", "export --tail 1",
                      "export --output x --format journal", "log --zone Nowhere/None", "log --lines -1", "log --follow --path",
                      "settings --days -1", "settings --days 24856", "settings --days many",
                      "settings --days", "settings --megabytes 0", "settings --per-session maybe",
                      "settings days"):
            result = trace(*words.split())
            self.assertEqual((result.returncode, result.stdout), (2, ""), words)
            self.assertIn("--help", result.stderr, words)
            if words.startswith("settings"):
                self.assertIn(words.split()[1], result.stderr)
        self.assertEqual(Settings.shown()["days"], "10 (default)")
