"""The recipes of examples/collecting with the daemons that they are for: three machines that log, one
that collects, and what is killed meanwhile.

The files are those that set-up lays out, with other folders and ports. CTest runs this for some
hundred records; scripts/soak for 100,000.
"""
import json
import os
import re
import shutil
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

SOURCE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../..")
SET_UP = os.path.join(SOURCE, "examples/collecting/set-up")
REMOTE = "/lib/systemd/systemd-journal-remote"
MACHINES = 3
IS_SOAK = "PLINTH_SOAK_SECONDS" in os.environ
ITEMS = 100_000 if IS_SOAK else 900  # of all machines
KILLS = 3
BATCH = 50  # records that are written at once

def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]

def stamp():
    now = time.time()
    return time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(now)) + f".{int(now * 1000) % 1000:03} *vtq* "

class Machine:
    """One that logs, with a root of its own: a program with a log of each form."""

    def __init__(self, number):
        self.number = number
        self.root = os.path.join(ROOT, f"machine{number}")
        self.logs = os.path.join(self.root, "ProgramData/Quorvane/Platform/Logfiles")
        os.makedirs(self.logs)
        self.texts = []

    def write(self):
        day = time.strftime("qvapp_%Y-%m-%d")
        with open(f"{self.logs}/{day}.log", "ab") as narrow, \
             open(f"{self.logs}/{day}_(0001).log", "ab") as wide:
            wide.write(b"\xff\xfe")
            for first in range(0, ITEMS // MACHINES, BATCH):
                for file, encoding in ((narrow, "latin-1"), (wide, "utf-16-le")):
                    half = range(first + (file is wide), first + BATCH, 2)
                    file.write("".join(self.item(i) for i in half).encode(encoding))
                    file.flush()
                time.sleep(0.001)

    def item(self, i):
        """One in a hundred was cut by the log's limit, one has no line end, one has two lines."""
        text = f"{stamp()}machine {self.number} item {i} "
        kind = i % 100
        if kind == 7:
            text = text.ljust(511, "x")
        elif kind == 8:
            text += "no end"
        elif kind == 9:
            text += "two\r\nlines \\n \u00e9"
        self.texts.append(text)
        return text if kind in (7, 8) else text + "\r\n"

class Collecting(unittest.TestCase):
    """kind: of the recipe. A process is (machine or None, command)."""

    def set_up(self, kind):
        self.port = free_port()
        self.machines = [Machine(i) for i in range(MACHINES)]
        self.collected = os.path.join(ROOT, "collected")
        os.makedirs(self.collected)
        self.kind = kind
        self.running = {}
        self.addCleanup(self.end)

    def laid_out(self, end, folder):
        """The files of one end of the recipe, with folders and the port of this test."""
        where = os.path.join(ROOT, "files", os.path.basename(folder))
        arguments = (end, "127.0.0.1") if end == "sender" else (end,)
        result = run(SET_UP, self.kind, *arguments, env={**os.environ, "DESTDIR": where})
        self.assertEqual(result.returncode, 0, result.stderr)
        texts = {}
        for name in result.stdout.split():
            with open(where + name, encoding="utf-8") as file:
                text = file.read()
            for there, here in (
                    (r"/var/lib/plinth-\w+|/var/log/plinth", folder), (r"\b251[45]\b|19533", str(self.port)),
                    (r"/usr/bin/plinth-trace|(?<=')plinth-trace", TRACE)):
                text = re.sub(there, here, text)
            texts[os.path.basename(name)] = text
        return texts

    def start(self, name, command, **more):
        with open(os.path.join(ROOT, f"{name}.log"), "ab") as log:
            self.running[name] = (command, more, subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=log, stderr=log, start_new_session=True,
                **more))

    def start_service(self, name, unit, root):
        command = re.search("^ExecStart=(.*)$", unit, re.M)[1]
        self.start(name, ["/bin/sh", "-c", command if command.startswith("/bin/sh") else "exec " + command],
                   env={**os.environ, "PLINTH_ROOT": root})

    def kill(self, name):
        process = self.running[name][2]
        os.killpg(process.pid, signal.SIGKILL)
        process.wait()

    def end(self):
        for name in self.running:
            self.kill(name)

    def restart(self, *names):
        for name in names:
            self.kill(name)
        for name in names:
            command, more, _ = self.running[name]
            self.start(name, command, **more)

    def collect(self, start_senders, records_of):
        """Writes, kills, waits; gives the texts by key, and how many records came again."""
        writers = [threading.Thread(target=machine.write) for machine in self.machines]
        for writer in writers:
            writer.start()
        start_senders()
        wanted = ITEMS
        for i in range(KILLS):
            self.until(lambda: len(records_of()) >= wanted * (i + 1) // (KILLS + 2))
            self.restart(*(name for name in self.running if re.match("collector|export", name)))
        for writer in writers:
            writer.join()
        wanted = sum(len(machine.texts) for machine in self.machines)
        last = (0, time.monotonic())
        while True:
            records = records_of()
            texts = {}
            for record in records:
                self.assertEqual(texts.setdefault(key_of(record), record["text"]), record["text"])
            if len(texts) >= wanted:
                break
            if len(records) > last[0]:
                last = (len(records), time.monotonic())
            if time.monotonic() - last[1] > PATIENCE / 4:
                break
            time.sleep(0.2)
        sent = sorted(text for machine in self.machines for text in machine.texts)
        missing = set(sent) - set(texts.values())
        print(f"soak: collecting by {self.kind}: {wanted} records, {len(missing)} missing, "
              f"{len(records) - len(texts)} again")
        return sorted(texts.values()), sent, len(missing)

    def until(self, condition):
        end = time.monotonic() + 10 * PATIENCE
        while not condition():
            for name, (_, _, process) in self.running.items():
                self.assertIsNone(process.poll(), name)
            self.assertLess(time.monotonic(), end)
            time.sleep(0.05)

    def lines_collected(self):
        path = os.path.join(self.collected, "records.log")
        if not os.path.exists(path):
            return []
        with open(path, encoding="utf-8", newline="\n") as file:
            text = file.read()
        return from_rfc5424(text[:text.rfind("\n") + 1])

    def syslog_senders(self, daemon):
        for machine in self.machines:
            files = self.laid_out("sender", machine.root)
            unit = files.pop("plinth-export.service")
            self.start_service(f"export{machine.number}", unit, machine.root)
            self.start(f"sender{machine.number}", daemon(machine.root, files["plinth.conf"]))

    def test_by_rsyslog_over_relp_all_arrive(self):
        needs_program("rsyslogd", "rsyslog")
        needs(os.path.exists("/usr/lib/x86_64-linux-gnu/rsyslog/imrelp.so"), "imrelp", "rsyslog-relp")
        self.set_up("rsyslog")
        def daemon(folder, text):
            conf = os.path.join(folder, "rsyslog.conf")
            with open(conf, "w", encoding="utf-8") as file:
                file.write(f'global(workDirectory="{folder}")\n{text}')
            return ["rsyslogd", "-n", "-f", conf, "-i", os.path.join(folder, "pid")]
        self.start("collector", daemon(self.collected, self.laid_out("collector", self.collected)["plinth.conf"]))
        texts, sent, _ = self.collect(lambda: self.syslog_senders(daemon), self.lines_collected)
        self.assertEqual(texts, sent)
