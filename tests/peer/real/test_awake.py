"""Staying awake: which services of the desktop are asked not to suspend the computer, and until when."""

import os
import select
import threading
import time
import unittest

import bus
import harness
from case import Case

SESSION = "org.gnome.SessionManager"
POWER = "org.freedesktop.PowerManagement"
LOGIN = "org.freedesktop.login1"
SCREEN = ("org.freedesktop.ScreenSaver", "org.gnome.ScreenSaver")


class Services(bus.Peer):
    """A desktop's services: what holds the computer awake now, and every call of theirs."""

    def __init__(self, address, names):
        self.connection = bus.open_dbus_connection(address, auth_timeout=bus.TIMEOUT, enable_fds=True)
        self.router = bus.DBusRouter(self.connection)
        self.calls = []
        self.modes = ("block", "delay")  # that login1 knows
        self.cookies = {}
        self.pipes = []
        self.serve({
            (SESSION, "Inhibit"): lambda _s, a: self.take(SESSION, a),
            (SESSION, "Uninhibit"): lambda _s, a: self.give(a),
            (POWER + ".Inhibit", "Inhibit"): lambda _s, a: self.take(POWER, a),
            (POWER + ".Inhibit", "UnInhibit"): lambda _s, a: self.give(a),
            (LOGIN + ".Manager", "Inhibit"): lambda _s, a: self.lend(a),
        })
        for name in names:
            self.take_name(name)

    def take(self, service, arguments):
        self.calls.append((service, arguments))
        cookie = 100 + len(self.calls)
        self.cookies[cookie] = service
        return "u", (cookie,)

    def give(self, arguments):
        del self.cookies[arguments[0]]
        return "", ()

    def lend(self, arguments):
        self.calls.append((LOGIN, arguments))
        if arguments[3] not in self.modes:
            return "org.freedesktop.DBus.Error.InvalidArgs"
        read, write = os.pipe()
        self.pipes.append(read)
        threading.Timer(1, os.close, [write]).start()  # once it was sent, the program alone has this end
        return "h", (write,)

    def sleep(self, begins):
        self.emit("/org/freedesktop/login1", LOGIN + ".Manager", "PrepareForSleep", "b", begins)

    def held(self):
        """The services that are asked at present. A pipe of login1 ends once the program has closed its end."""
        lent = [LOGIN for pipe in self.pipes if not select.select([pipe], [], [], 0)[0]]
        return sorted([*self.cookies.values(), *lent])


class Awake(Case):
    settings = {"MaxSegments": 1}

    def serve_desktop(self, *names):
        services = Services(self.session.env["DBUS_SESSION_BUS_ADDRESS"], names)
        self.addCleanup(services.close)
        return services

    def start(self):
        # The test's bus is both.
        self.session.env["DBUS_SYSTEM_BUS_ADDRESS"] = self.session.env["DBUS_SESSION_BUS_ADDRESS"]
        self.session.start()

    def wait_held(self, services, *names):
        harness.wait_until(lambda: services.held() == sorted(names), 20, "to be held by %r" % (names,))

    def test_all_that_answer_are_asked_while_bytes_arrive(self):
        services = self.serve_desktop(SESSION, POWER, LOGIN, *SCREEN)
        self.start()
        self.assertEqual(services.calls, [])
        url = self.slow(size=500000, rate=100000)
        self.wait_held(services, SESSION, POWER, LOGIN, LOGIN)
        self.saved(url)
        self.wait_held(services)
        why = "Downloads are running"
        self.assertEqual(sorted(services.calls), sorted([  # of the screen saver nothing
            (SESSION, ("pellora", 0, why, 4)), (POWER, ("pellora", why)),
            (LOGIN, ("sleep", "pellora", why, "block-weak")), (LOGIN, ("sleep", "pellora", why, "block")),
            (LOGIN, ("sleep", "pellora", why, "delay"))]))

    def test_newer_systems_are_asked_so_that_the_users_own_suspend_works(self):
        services = self.serve_desktop(LOGIN)
        services.modes = ("block", "block-weak", "delay")
        self.start()
        self.saved(self.slow(size=500000, rate=100000))
        self.assertEqual([arguments[3] for _, arguments in services.calls], ["block-weak", "delay"])

    def test_a_sleep_that_comes_all_the_same_waits_until_progress_is_noted(self):
        services = self.serve_desktop(LOGIN)
        self.start()
        self.slow(size=5000000, rate=100000)
        self.wait_held(services, LOGIN, LOGIN)
        time.sleep(2)  # the test's own copies of the pipes are closed
        services.sleep(True)
        self.wait_held(services, LOGIN)
        services.sleep(False)
        self.wait_held(services, LOGIN, LOGIN)
        self.assertEqual([arguments[3] for _, arguments in services.calls].count("delay"), 2)
        self.assertTrue(self.session.alive(), self.session.read_log())

    def test_one_that_restarts_is_asked_again(self):
        other = self.serve_desktop(POWER)
        services = self.serve_desktop(SESSION)
        self.start()
        self.slow()
        self.wait_held(services, SESSION)
        services.close()
        again = self.serve_desktop(SESSION)
        self.wait_held(again, SESSION)
        self.wait_held(other, POWER)
        self.assertEqual(len(other.calls), 1)

    def test_nobody_answers(self):
        self.start()
        self.saved(self.slow(size=300000, rate=100000))
        self.stop()

    def test_it_is_switched_off(self):
        self.session.write_settings(self.session.settings_file, {"CheckClipboard": "False", "StayAwake": "False"})
        services = self.serve_desktop(SESSION, POWER, LOGIN)
        self.start()
        self.saved(self.slow(size=300000, rate=100000))
        self.assertEqual(services.calls, [])

    def test_the_end_of_the_program_ends_it(self):
        services = self.serve_desktop(SESSION, POWER, LOGIN)
        self.start()
        self.slow()
        self.wait_held(services, SESSION, POWER, LOGIN, LOGIN)
        self.stop()
        self.wait_held(services)


if __name__ == "__main__":
    unittest.main()
