"""How long a program of a session keeps its callers waiting, measured from outside."""

import multiprocessing
import time

import harness


def ask(address, until):
    """Calls the bus and the program in turn until `until` has something to read; sends the longest times of both."""
    from bus import Bus  # not above, as with harness
    longest = {"program": 0.0, "bus": 0.0}
    with Bus(address) as bus:
        def call(who, what):
            began = time.monotonic()
            what()
            longest[who] = max(longest[who], time.monotonic() - began)
        while not until.poll(Calls.INTERVAL):
            call("bus", lambda: bus.call_daemon("NameHasOwner", harness.BUS_NAME))
            call("program", lambda: bus.call(harness.BUS_NAME, harness.PROGRAM_OBJECT[1], "PelloraProject.Downloads",
                                             "Limit"))
    until.send(longest)


class Calls:
    """Calls the program every 10 ms, in a separate process so that this one holds none of them up. The thread of its
    windows answers. After `close`, `longest` is the longest time until an answer, in seconds, and `longest_of_bus` that
    of the bus itself, which distinguishes a busy machine from a busy program."""

    INTERVAL = 0.01

    def __init__(self, session):
        self.longest = self.longest_of_bus = 0.0
        self.end, end = multiprocessing.Pipe()
        self.process = multiprocessing.get_context("fork").Process(
            target=ask, args=(session.env["DBUS_SESSION_BUS_ADDRESS"], end), daemon=True)
        self.process.start()

    def close(self):
        self.end.send(None)
        found = self.end.recv()
        self.process.join()
        self.longest, self.longest_of_bus = found["program"], found["bus"]
