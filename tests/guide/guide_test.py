"""The guide is true: the code that it shows is the code in examples/guide, and each of those
programs, and each command, does what the guide describes.

The environment: PLINTH_GUIDE, the folder of the programs; PLINTH_KEEPER, PLINTH_TRACE; PLINTH_ROOT,
the machine of this test.
"""
import os
import re
import shlex
import subprocess
import textwrap
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.normpath(os.path.join(HERE, "../.."))
EXAMPLES = os.path.join(SOURCE, "examples/guide")
ROOT = os.environ["PLINTH_ROOT"]
TRACE = os.environ["PLINTH_TRACE"]
STAMP = r"\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \*vtq\* "


def read(path, encoding="utf-8"):
    with open(path, encoding=encoding, newline="") as file:
        return file.read()


def blocks(page="docs/guide.md"):
    """The code blocks of a page: the file that the line above links to, language, text."""
    return re.findall(r"^(?:\[[^\]]*\]\(\.\./([^)]+)\)\n\n)?```(\w*)\n(.*?)^```$",
                      read(os.path.join(SOURCE, page)), re.M | re.S)


def run(program, *arguments):
    path = TRACE if program == "plinth-trace" else \
        os.path.join(os.environ["PLINTH_GUIDE"], f"guide_{program}")
    result = subprocess.run([path, *arguments], capture_output=True, text=True, timeout=60,
                            stdin=subprocess.DEVNULL)
    if result.returncode != 0:
        raise AssertionError(f"{program}: {result.returncode}\n{result.stdout}{result.stderr}")
    return result.stdout


def log_text(folder="Quorvane/Platform/Logfiles", encoding="utf-8"):
    folder = os.path.join(ROOT, "ProgramData", folder)
    return "".join(read(os.path.join(folder, name), encoding) for name in sorted(os.listdir(folder)))


def is_part(text, of):
    """Whether the text is a run of whole lines of a file, at any indentation."""
    return any("\n" + textwrap.indent(text, " " * depth) in "\n" + of for depth in (0, 4, 8))


class Guide(unittest.TestCase):
    def test_its_code_is_that_of_the_examples(self):
        shown = set()
        for path, language, text in blocks():
            if language == "sh":
                continue
            self.assertTrue(path, f"no line above this block says which file it is from:\n{text}")
            shown.add(os.path.basename(path))
            self.assertTrue(is_part(text, read(os.path.join(SOURCE, path))),
                            f"this is not, or no longer, what stands in {path}:\n{text}")
        programs = {name for name in os.listdir(EXAMPLES) if name.endswith(".cpp")}
        self.assertEqual(programs - shown, set(), "the guide shows nothing of these")

    def test_the_tests_that_a_newcomer_is_shown_are_in_the_tree(self):
        shown = [block for block in blocks("docs/how-tests-work.md") if block[0]]
        self.assertEqual(len(shown), 2)
        for path, _, text in shown:
            self.assertEqual(text, read(os.path.join(SOURCE, path)), path)

    def test_log_writes_what_it_is_told(self):
        path = run("log").strip()
        self.assertTrue(path.endswith(".log"), path)
        self.assertTrue(log_text().endswith("guide: started\r\nguide: 3 of 4 done\r\n"))

    def test_trace_replaces_tags(self):
        run("trace")
        self.assertRegex(
            log_text(),
            STAMP + r"\|wndid:1\| guide_trace begins, at .*trace\.cpp : \d+\r\n" +
            "".join(STAMP + rf"\|wndid:2\| file {i}, -?\d+\.\d\d ms since the last\r\n"
                    for i in (1, 2, 3)) +
            STAMP + r"import_files took \d+ ms\r\n" +
            STAMP + r"\|wndid:1\| thread \d+: wide and narrow\r\n" +
            STAMP + r"\|wndid:1\| only in the log\r\n$")

    def test_timer_pool_and_transfer_do_all_that_they_are_told(self):
        for program, shown in (("timer", "10 ticks\n"), ("pool", f"{sum(range(1000))}\n"),
                               ("transfer", "status 0, 10000 bytes\n")):
            self.assertEqual(run(program), shown, program)

    def test_resources_are_found_and_say_where_to_log(self):
        out = run("resources").splitlines()
        greeting = os.path.getsize(os.path.join(EXAMPLES, "greeting.txt"))
        self.assertEqual(out[:2], ["100: 10 bytes", f"101: {greeting} bytes"])
        self.assertIn("Acme\\Guide", out[2])
        self.assertIn("guide: resources", log_text("Acme/Guide/Logfiles"))

    def test_keeper_copies_what_is_new_and_its_log_is_the_expected_one(self):
        source, target = (os.path.join(ROOT, name) for name in ("source", "target"))
        sizes = {"a.txt": 10, "empty": 0, "gr\u00fc\u00dfe \U0001F600.txt": 5000, "sub/b.bin": 10000,
                 "skipped.TMP": 1}
        for name, size in sizes.items():
            path = os.path.join(source, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as file:
                file.write(bytes(i * 7 % 251 for i in range(size)))
        environment = dict(os.environ, COPY=target)
        said = []
        for arguments in ([source, "%COPY%"], [source, target], [source + "/none", target], []):
            result = subprocess.run([os.environ["PLINTH_KEEPER"], *arguments], env=environment, text=True,
                                    stdin=subprocess.DEVNULL, capture_output=True, timeout=60)
            said.append((result.returncode, result.stdout, result.stderr.split("\r")[-1]))
        self.maxDiff = None
        self.assertEqual([(code, out) for code, out, _ in said], [
            (0, "4 of 4 files copied, 15010 bytes, 0 failed.\n"),
            (0, "Everything is up to date \u2013 nothing to do.\n"), (1, ""), (2, "")])
        self.assertRegex(said[2][2], r"^Folder C:.*source\\none can't be read\.\n$")
        self.assertRegex(said[3][2], r"^usage: keeper SOURCE TARGET\n")
        for name in list(sizes)[:-1]:
            with open(os.path.join(source, name), "rb") as one, \
                    open(os.path.join(target, name), "rb") as other:
                self.assertEqual(one.read(), other.read(), name)
        self.assertFalse(os.path.exists(os.path.join(target, "skipped.TMP")))
        log = log_text("Acme/Keeper/Logfiles", "utf-16").replace("C:" + source.replace("/", "\\"), "SOURCE")
        self.assertEqual(re.sub(f"(?m)^{STAMP}", "STAMP ", log),
                         read(os.path.join(HERE, "keeper.log")).replace("\n", "\r\n"))

    def test_its_commands_work(self):
        commands = [shlex.split(line, comments=True)
                    for _, language, text in blocks() if language == "sh"
                    for line in text.splitlines()]
        self.assertGreaterEqual(len(commands), 4)
        run("trace")
        for program, *arguments in commands:
            if arguments[0] != "watch":
                self.assertTrue(run(program, *arguments))
                continue
            watcher = subprocess.Popen([TRACE, *arguments], stdin=subprocess.DEVNULL, text=True,
                                       stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            self.assertTrue(watcher.stderr.readline())  # the line that reports that it listens
            run("trace")
            out, _ = watcher.communicate(timeout=60)
            self.assertEqual(watcher.returncode, 0)
            self.assertEqual(re.findall(r"file (\d),", out), ["1", "2", "3"])
