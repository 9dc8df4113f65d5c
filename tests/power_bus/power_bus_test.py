"""Power saving on a message bus of the test's own, with mocks of the login manager and of the
desktop's screen saver.

CTest runs each test method by itself, under the launcher. The environment names the program:
PLINTH_POWER_HOLDER (holder.cpp).
"""
import os
import subprocess
import time
import unittest

from needs import needs_import, needs_program

needs_program("dbus-daemon", "dbus")
dbus = needs_import("dbus", "python3-dbusmock")
dbusmock = needs_import("dbusmock", "python3-dbusmock")
HOLDER = os.environ["PLINTH_POWER_HOLDER"]
PATIENCE = 60  # seconds until an expected event counts as missing
SAVER = "org.freedesktop.ScreenSaver"


class PowerBus(dbusmock.DBusTestCase):
    @classmethod
    def setUpClass(cls):
        cls.start_system_bus()
        cls.start_session_bus()
        cls.system = cls.get_dbus(system_bus=True)
        cls.session = cls.get_dbus(system_bus=False)

    def started(self, process):
        self.addCleanup(process.communicate)
        self.addCleanup(process.kill)
        return process

    def login_manager(self):
        process, manager = self.spawn_server_template("logind", {}, stdout=subprocess.DEVNULL)
        self.started(process)
        self.manager = dbus.Interface(manager, "org.freedesktop.login1.Manager")

    def screen_saver(self):
        self.started(self.spawn_server(SAVER, "/org/freedesktop/ScreenSaver", SAVER,
                                       stdout=subprocess.PIPE))
        self.saver = dbus.Interface(self.session.get_object(SAVER, "/org/freedesktop/ScreenSaver"),
                                    dbusmock.MOCK_IFACE)
        self.saver.AddMethod(SAVER, "Inhibit", "ss", "u", "ret = 4711")
        self.saver.AddMethod(SAVER, "UnInhibit", "u", "", "")

    def saver_calls(self):
        return [(str(name), *map(str, arguments)) for _, name, arguments in self.saver.GetCalls()]

    def holder(self, *lines):
        holder = self.started(subprocess.Popen([HOLDER], stdin=subprocess.PIPE,
                                               stdout=subprocess.PIPE, encoding="utf-8"))
        self.tell(holder, *lines)
        return holder

    def tell(self, holder, *lines):
        for line in lines:
            holder.stdin.write(line + "\n")
            holder.stdin.flush()
            self.assertEqual(holder.stdout.readline(), "done\n")

    def locks(self):
        return sorted((str(what), str(who), str(why), str(mode))
                      for what, who, why, mode, _, _ in self.manager.ListInhibitors())

    def assert_locks_become(self, *reasons):
        """The login manager notices the end of a lock a moment later."""
        who = os.path.basename(HOLDER)
        wanted = [(what, who, reason, "block") for reason in reasons
                  for what in ("idle", "shutdown", "sleep")]
        end = time.monotonic() + PATIENCE
        while self.locks() != wanted and time.monotonic() < end:
            time.sleep(0.01)
        self.assertEqual(self.locks(), wanted)

    def test_locks_last_from_turning_off_to_restoring_and_a_second_reason_replaces_the_first(self):
        self.login_manager()
        holder = self.holder()
        self.assertEqual(self.locks(), [])
        self.tell(holder, "off first")
        self.assert_locks_become("first")
        self.tell(holder, "off Ein Film läuft")
        self.assert_locks_become("Ein Film läuft")
        self.tell(holder, "restore")
        self.assert_locks_become()

    def test_a_program_that_closes_all_descriptors_keeps_its_files_and_gets_new_locks(self):
        self.login_manager()
        self.screen_saver()
        holder = self.holder("off first")
        self.assert_locks_become("first")
        for reason in "first", "second":
            self.tell(holder, "close")
            self.assert_locks_become()
            self.tell(holder, "off " + reason)
            self.assert_locks_become(reason)
            self.assertIn(("Inhibit", os.path.basename(HOLDER), reason), self.saver_calls())
        self.tell(holder, "close", "restore")
        self.assert_locks_become()

    def test_locks_end_with_a_process_that_is_killed(self):
        self.login_manager()
        holder = self.holder("off working")
        self.assert_locks_become("working")
        holder.kill()
        holder.wait()
        self.assert_locks_become()

    def test_signals_during_the_waits_take_no_lock_away_and_repeat_no_request(self):
        self.login_manager()
        self.screen_saver()
        holder = self.holder("interrupt", "off sampling")
        self.assert_locks_become("sampling")
        self.tell(holder, "restore")
        self.assert_locks_become()
        calls = [name for name, *_ in self.saver_calls()]
        self.assertEqual(calls.count("Inhibit"), calls.count("UnInhibit"))
        self.assertEqual(calls[-1], "UnInhibit")

    def test_the_screen_saver_is_held_off_until_restoring(self):
        self.screen_saver()
        holder = self.holder("off presenting")
        name = os.path.basename(HOLDER)
        calls = self.saver_calls()
        self.assertEqual(calls[-2:], [("Inhibit", name, "presenting"), ("UnInhibit", "4711")])
        self.assertEqual(calls[0][0], "Inhibit")
        self.tell(holder, "restore")
        self.assertEqual(self.saver_calls()[len(calls):], [("UnInhibit", "4711")])
