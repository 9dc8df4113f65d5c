"""What a stranger can put into the shared folders does nobody harm.

The users have numbers that no account has. A visitor is a program that logs, sets and reads a
setting, makes an event, traces and listens. Each planted object lies where one of its files would.
"""
import errno
import os
import re
import shutil
import stat
import subprocess
import unittest

GROUP = 77000
ROLES = {"root": 0, "member": 77001, "outsider": 77002}
PLANTER = 77003  # a member too
GUARD = 100  # seconds; a visit's own limits are 1 s for each gate and 5 s for the registry's lock

TOP = os.environ["PLINTH_TEST_ROOT"]
BIN = TOP + "/bin"


def make_programs():
    os.chmod(TOP, 0o755)
    os.mkdir(BIN)
    os.chmod(BIN, 0o755)
    for path in [os.environ["PLINTH_VISITOR"],
                 *os.environ["PLINTH_VISITOR_LIBRARIES"].split(":")]:
        # Under the name by which the loader looks for it.
        found = re.search(r"SONAME.*\[(.*)\]", subprocess.run(
            ["readelf", "-d", path], capture_output=True, text=True).stdout)
        copy = f"{BIN}/{found[1] if found else 'visitor'}"
        shutil.copy(path, copy)
        os.chmod(copy, 0o755)


class World:
    """A fresh machine: a root as the packages make it, and things that only root may touch."""

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

    def visit(self, role, *what):
        """The lines of a visit, and what it said on standard error."""
        uid = ROLES[role]
        ran = subprocess.run([BIN + "/visitor", *what], env=self.environment, cwd="/", user=uid,
                             group=uid, extra_groups=[] if role == "outsider" else [GROUP],
                             umask=0o007, capture_output=True, timeout=GUARD, check=False)
        if ran.returncode != 0:
            raise AssertionError(f"{role}'s visit ended with {ran.returncode}: {ran.stderr}")
        lines = ran.stdout.decode(errors="backslashreplace").splitlines()
        return dict(line.split(" ", 1) for line in lines if " " in line), ran.stderr.decode()

    def files(self):
        """What lies in the state folder and the shared one, as paths; shared: after a visit that
        is still there."""
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


class Strangers(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        if os.geteuid() != 0:
            raise unittest.SkipTest("needs root (Debian: sudo)")
        make_programs()

    def planted(self, kind, only=None):
        """The object in each place that a visitor of each role uses: its visit ends, touches nobody
        else's file, and when the object is gone all is as before."""
        for role in ROLES:
            world = World()
            world.visit("root")  # the folders and files that are there on any day
            usual, _ = world.visit(role)
            shared = world.shared(role)
            places = [*world.files(), world.root + "/registry/HKEY_LOCAL_MACHINE.reg.new",
                      shared, *[f"{shared}/{name}" for name in
                                ["gate", "channel-3", "e-visitor", "e-DBWIN_BUFFER_READY"]]]
            for place in places:
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
            if reason.errno not in (errno.EEXIST, errno.EXDEV):  # the new hive; another device
                raise
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

    def test_link_to_a_file(self):
        self.planted("link_to_a_file")

    def test_link_to_a_folder(self):
        self.planted("link_to_a_folder")

    def test_dangling_link(self):
        self.planted("dangling_link")

    def test_link_to_itself(self):
        self.planted("link_to_itself")

    def test_hard_link(self):
        self.planted("hard_link")

    def test_fifo(self):
        self.planted("fifo")

    def test_socket(self):
        self.planted("socket")

    def test_device(self):
        self.planted("device")

    def test_directory(self):
        self.planted("directory")

    def test_file_of_another(self):
        self.planted("file_of_another")

    def test_file_without_rights(self):
        self.planted("file_without_rights")
