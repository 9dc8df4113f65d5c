"""Objects that strangers put into the shared folders do no harm.

The users have numbers that no account has. A visitor is a program that logs, sets and reads a
setting, makes an event, traces and listens. Each planted object has the path of one of its files.
"""
import errno
import fcntl
import itertools
import os
import random
import re
import shutil
import stat
import struct
import subprocess
import tempfile
import unittest

# Different numbers in each test, as the paths of some shared objects contain them.
GROUP = 61000 + os.getpid() % 500 * 8
ROLES = {"root": 0, "member": GROUP + 1, "outsider": GROUP + 2}
PLANTER = GROUP + 3  # also in the group
GUARD = 100  # seconds; a visit's own limits are 1 s for each gate and 5 s for the registry's lock

TOP = os.environ["PLINTH_TEST_ROOT"]
BIN = TOP + "/bin"


def own_run_path(path):
    """In the build folder the path for the loader may have empty parts, which mean the current
    folder. No file that is installed has such a part (scripts/check_hardening)."""
    found = re.search(r"RUNPATH.*\[(.*)\]", subprocess.run(
        ["readelf", "-d", path], capture_output=True, text=True).stdout)
    if found:
        old = found[1].encode()
        new = (old.strip(b":") or b"$ORIGIN").ljust(len(old), b"\0")
        with open(path, "rb") as file:
            content = file.read()
        with open(path, "wb") as file:
            file.write(content.replace(old + b"\0", new + b"\0"))


def make_programs():
    os.chmod(TOP, 0o755)
    os.mkdir(BIN)
    os.chmod(BIN, 0o755)
    for path in [os.environ["PLINTH_VISITOR"], os.environ["PLINTH_STRANGE_PLUG_IN"],
                 *os.environ["PLINTH_VISITOR_LIBRARIES"].split(":")]:
        # Copied under the name that the loader looks for.
        found = re.search(r"SONAME.*\[(.*)\]", subprocess.run(
            ["readelf", "-d", path], capture_output=True, text=True).stdout)
        copy = f"{BIN}/{found[1] if found else 'visitor' if 'visitor' in path else 'plug_in.so'}"
        shutil.copy(path, copy)
        own_run_path(copy)
        os.chmod(copy, 0o755)


class World:
    """A fresh machine: a root as the packages make it, and files that only root may touch."""

    number = 0

    def __init__(self, rooted=True):
        World.number += 1
        self.top = f"{TOP}/world{World.number}"
        self.root = self.top + "/state"
        self.home = self.top + "/home"
        self.secrets = self.top + "/secrets"
        os.mkdir(self.top)
        os.chmod(self.top, 0o711)
        os.mkdir(self.root)
        os.chown(self.root, 0, GROUP)
        os.chmod(self.root, 0o2770)
        os.mkdir(self.home)
        os.chmod(self.home, 0o777)
        os.mkdir(self.secrets)
        os.chmod(self.secrets, 0o700)
        os.mkdir(self.secrets + "/folder")
        self.put_secret("file")
        for name in ["qvapp_2001-01-01.log", "old.log"]:
            self.put_secret("folder/" + name)
        self.environment = {"PATH": os.environ["PATH"], "HOME": self.home,
                            "LD_LIBRARY_PATH": BIN, "PLINTH_DESKTOP": "none"}
        if rooted:
            self.environment["PLINTH_ROOT"] = self.root
        for name in os.environ:
            if name.endswith("SAN_OPTIONS"):
                self.environment[name] = os.environ[name]

    def put_secret(self, name):
        with open(f"{self.secrets}/{name}", "w", encoding="ascii") as file:
            file.write("nobody's business\n")
        os.chmod(file.name, 0o600)

    def secrets_state(self):
        state = {}
        for folder, folders, files in os.walk(self.secrets):
            for name in folders + files:
                found = os.lstat(f"{folder}/{name}")
                state[f"{folder}/{name}"] = (found.st_mode, found.st_uid, found.st_size,
                                             found.st_mtime_ns)
        return state

    def start(self, role, *what):
        uid = ROLES[role]
        return subprocess.Popen([BIN + "/visitor", *what], env=self.environment, cwd="/",
                                user=uid, group=uid, extra_groups=[] if role == "outsider" else [GROUP],
                                umask=0o007, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE)

    def visit(self, role, *what):
        """The results of a visit by name, and its standard error."""
        return self.end_of(self.start(role, *what), role)

    @staticmethod
    def end_of(process, role):
        try:
            out, err = process.communicate(timeout=GUARD)
        finally:
            process.kill()
        ran = subprocess.CompletedProcess(process.args, process.returncode, out, err)
        if ran.returncode != 0:
            raise AssertionError(f"{role}'s visit ended with {ran.returncode}: {ran.stderr}")
        lines = ran.stdout.decode(errors="backslashreplace").splitlines()
        return dict(line.split(" ", 1) for line in lines if " " in line), ran.stderr.decode()

    def files(self):
        """The paths in the state folder and in the shared one; shared: only those that are still
        there after a visit."""
        found = []
        for folder, folders, files in os.walk(self.root):
            found += [f"{folder}/{name}" for name in folders + files]
        return sorted(found)

    def shared(self, role):
        hashed = 14695981039346656037
        for byte in self.root.encode():
            hashed = (hashed ^ byte) * 1099511628211 % 2**64
        return f"/dev/shm/plinth-{ROLES[role]}-{hashed:016x}"

    def remove(self):
        for role in ROLES:
            clear(self.shared(role))
        clear(self.top)


def clear(path):
    if os.path.isdir(path) and not os.path.islink(path):
        shutil.rmtree(path)
    elif os.path.lexists(path):
        os.remove(path)


def give_away(path):
    os.chown(path, PLANTER, GROUP, follow_symlinks=False)


def link_to(target):
    return lambda world, path: os.symlink(target(world), path)


def make_file(path, mode):
    os.close(os.open(path, os.O_CREAT | os.O_WRONLY))
    os.chmod(path, mode)


KINDS = {
    "link_to_a_file": link_to(lambda world: world.secrets + "/file"),
    "link_to_a_folder": link_to(lambda world: world.secrets + "/folder"),
    "dangling_link": link_to(lambda world: world.secrets + "/none"),
    "link_to_itself": lambda world, path: os.symlink(path, path),
    "hard_link": lambda world, path: os.link(world.secrets + "/file", path),
    "fifo": lambda world, path: os.mkfifo(path, 0o666),
    "socket": lambda world, path: os.mknod(path, 0o666 | stat.S_IFSOCK),
    "device": lambda world, path: os.mknod(path, 0o666 | stat.S_IFCHR, os.makedev(1, 3)),
    "directory": lambda world, path: os.mkdir(path, 0o777),
    "file_of_another": lambda world, path: make_file(path, 0o600),
    "file_without_rights": lambda world, path: make_file(path, 0),
}


class WithWorlds(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        if os.geteuid() != 0:
            raise unittest.SkipTest("needs root (Debian: sudo)")
        make_programs()

    def world(self, **how):
        world = World(**how)
        self.addCleanup(world.remove)
        return world


class Strangers(WithWorlds):
    def planted(self, *kinds):
        """Plants the object in each place that a visitor of each role uses: the visit ends and
        touches no file of others, and once the object is removed all works as before."""
        for role in ROLES:
            world = World()
            world.visit("root")  # makes the usual folders and files
            usual, _ = world.visit(role)
            shared = world.shared(role)
            places = [*world.files(), world.root + "/registry/HKEY_LOCAL_MACHINE.reg.new",
                      shared, *[f"{shared}/{name}" for name in
                                ["gate", "channel-3", "e-visitor", "e-DBWIN_BUFFER_READY"]]]
            for kind, place in itertools.product(kinds, places):
                with self.subTest(kind=kind, role=role, place=place[len(world.top):]):
                    self.visit_with(world, kind, role, place, usual)
            world.remove()

    def visit_with(self, world, kind, role, place, usual):
        kept = place + ".kept"
        if os.path.lexists(place):
            os.rename(place, kept)
        os.makedirs(os.path.dirname(place), mode=0o700, exist_ok=True)
        try:
            KINDS[kind](world, place)
        except OSError as reason:
            if reason.errno not in (errno.EEXIST, errno.EXDEV):  # taken; another device
                raise
            if os.path.lexists(kept):
                os.rename(kept, place)
            return
        if kind != "hard_link":
            give_away(place)
        before = world.secrets_state()
        visited, _ = world.visit(role)
        self.assertEqual(world.secrets_state(), before, visited)
        clear(place)
        if os.path.lexists(kept):
            os.rename(kept, place)
        again, _ = world.visit(role)
        for what in ["log", "set", "get", "event", "listen"]:
            self.assertEqual(again.get(what), usual.get(what), what)

    def test_links(self):
        self.planted("link_to_a_file", "link_to_a_folder", "dangling_link", "link_to_itself")

    def test_hard_links(self):
        self.planted("hard_link")

    def test_what_is_no_file(self):
        self.planted("fifo", "socket", "device", "directory")

    def test_files_that_nobody_may_read(self):
        self.planted("file_of_another", "file_without_rights")

    def test_the_log_file_that_would_be_chosen(self):
        """If that file isn't a readable regular file, the log fails with a status."""
        for role in ROLES:
            for kind, plant in KINDS.items():
                world = World()
                path = world.visit("root", "log")[0]["path"].replace("\\", "/")[2:]
                first = re.sub(r"(_\(\d+\))?\.log$", "", path)
                os.rename(path, first + "_(9999).log")
                plant(world, first + ".log")
                if kind not in ["hard_link", "file_of_another"]:
                    give_away(first + ".log")
                before = world.secrets_state()
                with self.subTest(role=role, kind=kind):
                    mine = role == "root" and kind in ["hard_link", "file_of_another",
                                                       "file_without_rights"]
                    if not mine:  # to root, these are files like any other
                        self.assertEqual(world.visit(role, "log")[0]["log"], "-9")
                        self.assertEqual(world.secrets_state(), before)
                world.remove()


def lock(path, kind):
    """Takes a lock as a stopped process of ours would hold it; closing the file releases it."""
    file = open(path, "r+b")
    whole_or_holder = 1 << 62 if kind == "gate" else 0
    fcntl.fcntl(file, fcntl.F_OFD_SETLK,
                struct.pack("hhqqi4x", fcntl.F_WRLCK, os.SEEK_SET, whole_or_holder,
                            1 if kind == "gate" else 0, 0))
    return file


class Waiting(WithWorlds):
    def setUp(self):
        super().setUp()
        self.here = self.world()

    def test_a_stopped_holder_of_a_gate_holds_nobody_up_for_ever(self):
        self.here.visit("member")
        shared = self.here.shared("member")
        with lock(shared + "/gate", "gate"):
            visited, _ = self.here.visit("member", "trace", "event", "log")
            self.assertEqual((visited["event"], visited["log"]), ("1450", "0"))
            os.remove(shared + "/channel-3")  # making it again takes the gate
            self.here.visit("member", *["trace"] * 50)
        self.assertEqual(self.here.visit("member", "listen")[0]["listen"], "0")

    def test_who_holds_the_registrys_lock_stops_changes_only_and_those_not_for_ever(self):
        self.here.visit("member")
        path = self.here.root + "/registry/HKEY_LOCAL_MACHINE.reg"
        with open(path, "rb") as file:
            before = file.read()
        with lock(path + ".lock", "registry"):
            visited, _ = self.here.visit("member", "beside")
            self.assertEqual((visited["get"], visited["set"], visited["beside"]),
                             ("0", "1460", "0"))
            with open(path, "rb") as file:
                self.assertEqual(file.read(), before)
        self.assertEqual(self.here.visit("member", "set")[0]["set"], "0")


class SharedMemory(WithWorlds):
    """No content of the shared memory crashes a program, and the next program's channel works."""

    def setUp(self):
        super().setUp()
        self.here = self.world()
        self.here.visit("member", "listen")
        self.shared = self.here.shared("member")

    def scribble(self, name, word, value):
        with open(f"{self.shared}/{name}", "r+b") as file:
            file.seek(4 * word)
            file.write(struct.pack("I", value))

    def assert_works(self):
        self.here.visit("member", "listen")  # the first listener may have to find the damage
        self.assertEqual(self.here.visit("member", "listen")[0]["listen"], "0")

    def test_scribbled_words_of_the_control_page(self):
        for word in range(8):
            for value in [0, 1, 2**32 - 1, random.randrange(2**32)]:
                with self.subTest(word=word, value=value):
                    self.scribble("channel-3", word, value)
                    self.assert_works()

    def test_words_that_are_scribbled_while_a_listener_serves(self):
        names = {"channel-3": 8, "e-DBWIN_BUFFER_READY": 3, "e-DBWIN_DATA_READY": 3}
        for name, words in names.items():
            for word in range(words):
                for value in [0, 1, 2**32 - 1, random.randrange(2**32)]:
                    with self.subTest(name=name, word=word, value=value):
                        server = self.here.start("member", "serve")
                        self.assertEqual(server.stdout.readline(), b"serves\n")
                        self.scribble(name, word, value)
                        self.here.visit("member", "trace")
                        server.stdin.write(b"\n\n")
                        self.here.end_of(server, "member")
                        self.assert_works()

    def test_files_that_were_cut(self):
        for name in ["channel-3", "gate", "m-DBWIN_BUFFER", "e-DBWIN_BUFFER_READY"]:
            for size in [0, 6]:
                with self.subTest(name=name, size=size):
                    make_file(f"{self.shared}/{name}", 0o600)
                    os.chown(f"{self.shared}/{name}", ROLES["member"], ROLES["member"])
                    os.truncate(f"{self.shared}/{name}", size)
                    self.assert_works()


class Leftovers(WithWorlds):
    def test_shared_folders_of_roots_that_are_gone_are_removed_unless_in_use(self):
        gone, used, last = self.world(), self.world(), self.world()
        gone.visit("root", "event")
        server = used.start("root", "serve")
        server.stdout.readline()
        for world in [gone, used]:
            self.assertTrue(os.path.isdir(world.shared("root")))
            clear(world.root)
        last.visit("root", "event")
        self.assertEqual([os.path.isdir(world.shared("root")) for world in [gone, used, last]],
                         [False, True, True])
        server.communicate()


class Honest(WithWorlds):
    """Legitimate uses that must still work."""

    def all_works(self, world, role):
        visited, said = world.visit(role)
        self.assertEqual({name: visited[name] for name in ["log", "set", "get", "event", "listen"]},
                         dict.fromkeys(["log", "set", "get", "event", "listen"], "0"), said)
        self.assertEqual(said, "")
        return visited

    def test_the_root_may_be_a_link_to_another_disk_keeps_its_mode_and_is_backed_up_by_links(self):
        world = self.world()
        os.rename(world.root, world.top + "/disk")
        os.symlink("disk", world.root)
        os.chmod(world.root, 0o2775)
        for _ in range(2):
            for role in ["root", "member"]:
                self.all_works(world, role)
            self.assertEqual(os.stat(world.root).st_mode & 0o7777, 0o2775)
            backup = tempfile.mkdtemp(dir=world.top)
            subprocess.run(["cp", "-al", world.top + "/disk", backup], check=True)

    def own_state(self, world):
        state = world.home + "/.local/state/plinth"
        os.makedirs(state)
        os.chmod(state, 0o755)
        return state

    def give_home(self, world, owner):
        for folder in ["", "/.local", "/.local/state", "/.local/state/plinth"]:
            os.chown(world.home + folder, owner, owner)

    def test_a_home_folder_that_others_can_read_becomes_private_and_is_used(self):
        world = self.world(rooted=False)
        state = self.own_state(world)
        self.give_home(world, ROLES["outsider"])
        self.all_works(world, "outsider")
        self.assertEqual(os.stat(state).st_mode & 0o7777, 0o700)
        self.assertIn("ProgramData", os.listdir(state))
        clear(f"/dev/shm/plinth-{ROLES['outsider']}")

    def test_a_private_folder_of_somebody_else_is_refused_with_one_message(self):
        world = self.world(rooted=False)
        state = self.own_state(world)
        self.give_home(world, PLANTER)
        last = f"/tmp/.plinth-{ROLES['outsider']}"
        os.mkdir(last, 0o777)
        os.chown(last, PLANTER, PLANTER)
        self.addCleanup(clear, last)
        self.addCleanup(clear, f"/dev/shm/plinth-{ROLES['outsider']}")
        visited, said = world.visit("outsider", "log", "set", "get")
        self.assertEqual((visited["log"], os.listdir(state), os.listdir(last)), ("-9", [], []))
        self.assertNotEqual(visited["set"], "0")
        self.assertEqual(sorted(said.splitlines()),
                         [f"plinth: the folder {name} belongs to somebody else and is not used"
                          for name in sorted([last, state])])


class MoreRights(WithWorlds):
    """A program that has more rights than its caller (here: as after an exec of a setuid file)."""

    def test_takes_nothing_from_its_callers_environment_and_folder(self):
        world = self.world(rooted=False)
        own = ROLES["outsider"]
        state = f"/tmp/.plinth-{own}"
        for place in [state, f"/dev/shm/plinth-{own}"]:
            self.addCleanup(clear, place)
        os.rename(BIN + "/plug_in.so", world.home + "/plug_in.so")
        opener = world.home + "/opener"
        with open(opener, "w", encoding="ascii") as file:
            file.write(f"#!/bin/sh\necho opened by the caller > {world.home}/opened\n")
        os.chmod(opener, 0o755)
        loader = re.search(r"interpreter: (.*)\]", subprocess.run(
            ["readelf", "-l", BIN + "/visitor"], capture_output=True, text=True).stdout)[1]

        def gain_rights():
            os.setgroups([])
            os.setresgid(own, own, own)
            os.setresuid(ROLES["member"], own, own)

        ran = subprocess.run(
            [loader, "--library-path", BIN, BIN + "/visitor", "log", "box", "open", "plug"],
            env={"PLINTH_ROOT": world.home, "PLINTH_DRIVES": "D=/", "HOME": world.home,
                 "PLINTH_DESKTOP": world.home + "/plug_in.so", "PLINTH_SHELL_OPEN": opener,
                 "DISPLAY": ":0", "PLINTH_MESSAGEBOX": "ok"},
            cwd=world.home, preexec_fn=gain_rights, start_new_session=True, capture_output=True,
            timeout=GUARD, text=True, check=False)
        self.assertEqual(ran.returncode, 0, ran.stderr)
        self.assertRegex(ran.stdout, "^log 0\n.*\nbox 0\nopen 31\nplug 0\n$")
        self.assertEqual(ran.stderr, "plinth: this program has more rights than its caller; "
                         "ignored from the environment: PLINTH_ROOT, PLINTH_DRIVES, "
                         "PLINTH_DESKTOP, PLINTH_SHELL_OPEN, PLINTH_MESSAGEBOX\n")
        self.assertEqual(sorted(os.listdir(world.home)), ["opener", "plug_in.so"])
        self.assertEqual(os.stat(state).st_mode & 0o7777, 0o700)


class Found(WithWorlds):
    """Breaches of the rules that were found, each by its symptom."""

    def test_a_link_is_followed_in_a_folder_that_another_member_made(self):
        """Any member can make a folder there, and so owns both the folder and the link in it."""
        for mode in [0o755, 0o2775]:
            world = self.world()
            path = world.visit("root", "log")[0]["path"].replace("\\", "/")[2:]
            folder = os.path.dirname(path)
            os.rename(folder, folder + ".old")
            os.mkdir(folder)
            first = re.sub(r"(_\(\d+\))?\.log$", "", path)
            make_file(first + "_(9999).log", 0o666)
            os.symlink(world.secrets + "/file", first + ".log")
            give_away(first + ".log")
            give_away(folder)
            os.chmod(folder, mode)
            before = world.secrets_state()
            with self.subTest(mode=oct(mode)):
                self.assertEqual(world.visit("root", "log")[0]["log"], "-9")
                self.assertEqual(world.secrets_state(), before)

    def test_a_running_program_uses_a_strangers_folder_in_the_place_of_its_own(self):
        """As when a cleaner of /tmp or a session manager removed the folder."""
        world = self.world(rooted=False)
        del world.environment["HOME"]
        uid = ROLES["outsider"]
        state, shared = f"/tmp/.plinth-{uid}", f"/dev/shm/plinth-{uid}"
        for folder in [state, shared]:
            self.addCleanup(clear, folder)

        def remade_by(owner):
            for folder in [state, shared]:
                clear(folder)
                os.mkdir(folder, 0o700)
            os.mkdir(state + "/plinth")
            os.mkdir(state + "/plinth/registry")
            for folder in [state, state + "/plinth", state + "/plinth/registry", shared]:
                os.chown(folder, owner, owner)
                os.chmod(folder, 0o777 if owner == PLANTER else 0o700)

        what = ["set", "event", "log", "trace"]
        process = world.start("outsider", *what, "pause", *what, "pause", *what)
        results = []
        for owner in [PLANTER, uid, None]:
            visited = {}
            while (line := process.stdout.readline().decode().rstrip()) not in ["pause", ""]:
                visited.update([line.partition(" ")[::2]])
            results.append([visited["set"], visited["event"]])
            if owner == uid:
                self.assertEqual([files for folder in [state, shared]
                                  for _, _, files in os.walk(folder) if files], [])
            if owner:
                remade_by(owner)
                process.stdin.write(b"\n")
                process.stdin.flush()
        world.end_of(process, "outsider")
        self.assertEqual([results[0], results[2]], [["0", "0"]] * 2)
        self.assertNotIn("0", results[1])

    def test_a_refused_shared_folder_costs_a_message_for_each_text(self):
        world = self.world(rooted=False)
        shared = f"/dev/shm/plinth-{ROLES['outsider']}"
        make_file(shared, 0o666)
        os.chown(shared, PLANTER, PLANTER)
        self.addCleanup(clear, shared)
        said = world.visit("outsider", "often", "event")[1]
        self.assertEqual(said.count("is not used"), 1, said)

    def test_a_small_registry_file_of_nested_keys_takes_all_memory(self):
        """32 KB of text took 500 MB, and twice the text four times as much."""
        world = self.world()
        world.visit("root", "set")
        with open(world.root + "/registry/HKEY_LOCAL_MACHINE.reg", "w", encoding="ascii") as file:
            file.write("Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE"
                       + "\\a" * 16000 + "]\r\n")
        process = world.start("root", "get")
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        for pipe in [process.stdin, process.stdout, process.stderr]:
            pipe.close()
        self.assertLess(used.ru_maxrss, 150_000, "KB")

    def test_killed_writers_of_settings_leave_files_behind_for_ever(self):
        world = self.world()
        world.visit("root")
        for number in range(30):
            process = world.start("root", *["set"] * 2000)
            try:
                process.wait(0.05 + number * 0.003)
            except subprocess.TimeoutExpired:
                process.kill()
            process.communicate()
        world.visit("root", "set")
        self.assertEqual([name for name in os.listdir(world.root + "/registry")
                          if not name.endswith((".reg", ".lock"))], [])


class OneWay(unittest.TestCase):
    """Each rule is in one place, and no other code bypasses it."""

    # A pattern, the folders to search, and the files that may contain it.
    RULES = [
        (r"(?<!secure_)getenv\(", "src tools", {"src/platform/system/environment.cpp",
                                                "src/platform/desktop_qt/qt_platform.cpp",
                                                "tools/plinth-trace/terminal.cpp"}),
        (r"(?<![\w:])::(open|openat|creat|mkdir|rename|unlink|rmdir|opendir|chmod|realpath|chdir)\(",
         "src/platform", {"src/platform/system/calls.h", "src/platform/system/guarded_paths.cpp",
                          "src/platform/system/guarded_folder.cpp", "src/platform/system/judged_walk.cpp",
                          "src/platform/system/plain_calls.h",  # only for the kernel's own files
                          "src/platform/shell32/shell_execute.cpp"}),
        (r"F_(OFD_)?SETLKW", "src", set()),
        (r"PTHREAD_PROCESS_SHARED", "src", set()),
        (r"printf\(stderr", "src", set()),
    ]

    def test_no_code_goes_past_the_place_of_a_rule(self):
        source = os.path.normpath(os.path.join(os.path.dirname(os.path.abspath(__file__)), "../.."))
        for pattern, folders, allowed in self.RULES:
            found = set()
            for folder in folders.split():
                for path, _, names in os.walk(f"{source}/{folder}"):
                    for name in names:
                        if name.endswith((".cpp", ".h")):
                            with open(f"{path}/{name}", encoding="utf-8") as file:
                                if re.search(pattern, file.read()):
                                    found.add(os.path.relpath(f"{path}/{name}", source))
            with self.subTest(pattern=pattern):
                self.assertEqual(found - allowed, set())
