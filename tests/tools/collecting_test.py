"""The recipes of examples/collecting with their real daemons: three machines that log,
one that collects, and programs that are killed meanwhile.

The files are those that set-up writes, with other folders and another port; the test itself does
the work of systemd. CTest runs it with some hundred records; scripts/soak with 100,000, and then
also measures the losses where some are allowed (docs/collecting.md).
"""
import glob
import json
import os
import re
import signal
import socket
import subprocess
import threading
import time
import unittest

from needs import needs, needs_program
from plinth_trace_export_test import from_rfc5424, key_of
from plinth_trace_test import TRACE
from programs import PATIENCE, ROOT, run

SET_UP = os.path.join(os.path.dirname(os.path.abspath(__file__)),
                      "../../examples/collecting/set-up")
MACHINES = 3
IS_SOAK = "PLINTH_SOAK_SECONDS" in os.environ
ITEMS = 100_000 if IS_SOAK else 900  # of all machines together
BATCH = 50  # records in one write
KILLS = 3
SILENCE = PATIENCE if IS_SOAK else PATIENCE / 4  # seconds without a new record that end the wait
os.environ["PATH"] += ":/usr/sbin:" + os.path.join(  # folders of daemons
    os.path.dirname(SET_UP), "../../build/daemons")
REPLACED = ((r"/var/lib/plinth-\w+|/var/log/plinth", "{folder}"), (r"\b251[45]\b|19533", "{port}"),
            (r"/usr/bin/plinth-trace|(?<=')plinth-trace", TRACE))

class Machine:
    """A machine that logs, with a root of its own: a program with a log of each form."""

    def __init__(self, folder, number):
        self.number = number
        self.root = os.path.join(folder, f"machine{number}")
        self.texts = []
        self.logs = os.path.join(self.root, "ProgramData/Quorvane/Platform/Logfiles")
        os.makedirs(self.logs)

    def write(self):
        path = os.path.join(self.logs, time.strftime("qvapp_%Y-%m-%d"))
        with open(f"{path}.log", "ab") as narrow, open(f"{path}_(0001).log", "ab") as wide:
            wide.write(b"\xff\xfe")
            for first in range(0, ITEMS // MACHINES, BATCH):
                for file, encoding in ((narrow, "latin-1"), (wide, "utf-16-le")):
                    half = range(first + (file is wide), first + BATCH, 2)
                    file.write("".join(self.item(i) for i in half).encode(encoding))
                    file.flush()
                time.sleep(0.001)

    def item(self, i):
        """Of a hundred one was cut by the log's limit, one has no line end, one has two lines."""
        now = time.time()
        text = (time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(now)) +
                f".{int(now * 1000) % 1000:03} *vtq* machine {self.number} item {i} ")
        kind = i % 100
        text += {8: "no end", 9: "two\r\nlines \\n \u00e9"}.get(kind, "")
        if kind == 7:
            text = text.ljust(511, "x")
        self.texts.append(text)
        return text if kind in (7, 8) else text + "\r\n"

class Collecting(unittest.TestCase):
    def set_up(self, kind):
        self.kind = kind
        self.folder = os.path.join(ROOT, kind + str(len(os.listdir(ROOT))))
        self.collected = os.path.join(self.folder, "collected")
        os.makedirs(self.collected)
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]
        self.running = {}
        self.addCleanup(self.end)

    def laid_out(self, end, folder):
        """The files of one end of the recipe by name, adapted to this test."""
        where = os.path.join(self.folder, "files", os.path.basename(folder))
        arguments = (end, "127.0.0.1") if end == "sender" else (end,)
        result = run(SET_UP, self.kind, *arguments, env={**os.environ, "DESTDIR": where})
        self.assertEqual(result.returncode, 0, result.stderr)
        texts = {}
        for name in result.stdout.split():
            with open(where + name, encoding="utf-8") as file:
                text = file.read()
            for there, here in REPLACED:
                text = re.sub(there, here.format(folder=folder, port=self.port), text)
            texts[os.path.basename(name)] = text
        return texts

    def start(self, name, command, root=None):
        """root: only for a service, which is started again when it ends."""
        environment = {**os.environ, "PLINTH_ROOT": root} if root else None
        with open(os.path.join(self.folder, f"{name}.log"), "ab") as log:
            self.running[name] = (command, root, subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True,
                env=environment))

    def start_unit(self, name, unit, root):
        command = re.search("^ExecStart=(.*)$", unit, re.M)[1]
        self.start(name, ["/bin/sh", "-c", "exec " + command], root)

    def kill(self, name):
        process = self.running[name][2]
        if process.poll() is None:
            os.killpg(process.pid, signal.SIGKILL)
            process.wait()

    def restart(self, *names):
        for name in names:
            self.kill(name)
        for name in names:
            self.start(name, *self.running[name][:2])

    def tend(self):
        for name, (_, root, process) in list(self.running.items()):
            if process.poll() is not None:
                self.assertTrue(root, f"{name} has ended")
                self.restart(name)

    def end(self):
        for name in self.running:
            self.kill(name)

    def collect(self, start_senders, count, records, killed):
        """Writes, kills, waits: returns the texts that were collected, once each, and those that
        were written. count: returns how many were collected, with repeated ones."""
        machines = [Machine(self.folder, i) for i in range(MACHINES)]
        writers = [threading.Thread(target=machine.write) for machine in machines]
        for writer in writers:
            writer.start()
        start_senders(machines)
        end = time.monotonic() + 10 * PATIENCE
        for i in range(KILLS):
            while count() < ITEMS * (i + 1) // (KILLS + 2):
                self.tend()
                self.assertLess(time.monotonic(), end)
                time.sleep(0.05)
            self.restart(*(name for name in self.running if re.match(killed, name)))
        for writer in writers:
            writer.join()
        sent = sorted(text for machine in machines for text in machine.texts)
        texts, all_records = {}, []
        last, since = 0, time.monotonic()
        while len(texts) < len(sent) and time.monotonic() - since < SILENCE:
            self.tend()
            now = count()
            if now == last:
                time.sleep(0.2)
                continue
            last, since = now, time.monotonic()
            all_records = records()
            texts = {key_of(record): record["text"] for record in all_records}
        for record in all_records:  # records with the same key must be the same record
            self.assertEqual(record["text"], texts[key_of(record)])
        print(f"soak: collecting by {self.kind}, {killed} killed: {len(sent)} records, "
              f"{len(sent) - len(texts)} missing, {len(all_records) - len(texts)} again")
        return sorted(texts.values()), sent

    def check(self, collect, safe, lossy=()):
        """Whatever is killed, no record is merged or changed; safe: the programs whose kill must
        not lose any record either."""
        texts, sent = collect(safe)
        self.assertEqual(texts, sent)
        for killed in lossy if IS_SOAK else ():
            self.end()
            texts, sent = collect(killed)
            self.assertEqual(set(texts) - set(sent), set())

    def count_lines(self):
        path = os.path.join(self.collected, "records.log")
        if not os.path.exists(path):
            return 0
        with open(path, "rb") as file:
            return file.read().count(b"\n")

    def records_of_lines(self):
        with open(os.path.join(self.collected, "records.log"), encoding="utf-8",
                  newline="\n") as file:
            lines = sorted(file.read().split("\n")[:-1])
        # A line that was cut by a kill is the beginning of another line.
        return from_rfc5424("\n".join(
            line for line, after in zip(lines, [*lines[1:], ""])
            if line == after or not after.startswith(line)))

    def by_syslog(self, kind, command, head):
        """The arguments of check for a syslog daemon. command: makes its command line from a folder
        and a configuration."""
        def start_daemon(name, folder, text):
            conf = os.path.join(folder, "conf")
            with open(conf, "w", encoding="utf-8") as file:
                file.write(head.format(folder=folder) + text)
            self.start(name, command(folder, conf))

        def start_senders(machines):
            for machine in machines:
                files = self.laid_out("sender", machine.root)
                self.start_unit(f"export{machine.number}", files["plinth-export.service"],
                                machine.root)
                start_daemon(f"sender{machine.number}", machine.root, files["plinth.conf"])

        def collect(killed):
            self.set_up(kind)
            files = self.laid_out("collector", self.collected)
            start_daemon("collector", self.collected, files["plinth.conf"])
            return self.collect(start_senders, self.count_lines, self.records_of_lines, killed)
        return collect

    def test_by_rsyslog_over_relp(self):
        needs_program("rsyslogd", "rsyslog")
        needs(glob.glob("/usr/lib/*/rsyslog/imrelp.so"), "RELP", "rsyslog-relp")
        self.check(self.by_syslog(
            "rsyslog", lambda folder, conf: ["rsyslogd", "-n", "-f", conf, "-i", f"{folder}/pid"],
            'global(workDirectory="{folder}")\n'),
            "collector|export", ["sender", "collector|export|sender"])

    def test_by_syslog_ng(self):
        needs_program("syslog-ng", "syslog-ng-core")
        self.check(self.by_syslog(
            "syslog-ng", lambda folder, conf: [
                "syslog-ng", "--foreground", "--no-caps", f"--cfgfile={conf}",
                *(f"--{name}={folder}/{name}" for name in ("persist-file", "pidfile", "control"))],
            "@version: 3.38\noptions {{ time-reopen(1); }};\n"),
            "export|sender", ["collector", "collector|export|sender"])

    def journal(self, *arguments):
        return run("journalctl", "-D", self.collected, "--quiet", *arguments).stdout

    def count_entries(self):
        return self.journal("-o", "cat", "--output-fields=PLINTH_OFFSET").count("\n")

    def records_of_journal(self):
        def text_of(value):  # a list of numbers if it has control characters
            return value if isinstance(value, str) else bytes(value).decode()
        entries = [json.loads(line) for line in self.journal("-o", "json", "--all").splitlines()]
        return [{"host": entry["_HOSTNAME"], "file": entry["PLINTH_FILE"],
                 "id": entry["PLINTH_ID"], "offset": entry["PLINTH_OFFSET"],
                 "text": text_of(entry["MESSAGE"])} for entry in entries]

    def test_by_the_journal(self):
        for program in ("remote", "upload"):
            needs(os.path.exists(f"/lib/systemd/systemd-journal-{program}"),
                  f"systemd-journal-{program}", "systemd-journal-remote")

        def start_senders(machines):
            for machine in machines:
                files = self.laid_out("sender", machine.root)
                for name in ("journal", "upload"):
                    self.start_unit({"journal": "export"}.get(name, name) + str(machine.number),
                                    files[f"plinth-{name}.service"], machine.root)

        def collect(killed):
            self.set_up("journal")
            collector = self.laid_out("collector", self.collected)["plinth-collect.service"]
            self.start_unit("collector", collector, self.collected)
            return self.collect(start_senders, self.count_entries, self.records_of_journal, killed)
        self.check(collect, "export|upload", ["collector", "collector|export|upload"])
