"""The clipboard of the display: long texts, texts that come in pieces, and owners that never answer."""

import subprocess
import sys
import time
import unittest

import harness
from case import Case

QUESTION = "Pellora Question ! Clipboard hook"
# Owns the clipboard, and hands its text over in pieces of some bytes, or is silent if they have none.
OWNER = """
import sys
sys.path.append("/usr/lib/python3/dist-packages")
from Xlib import X, Xatom, display
from Xlib.protocol import event
size, text = int(sys.argv[1]), sys.argv[2].encode()
d = display.Display()
window = d.screen().root.create_window(0, 0, 1, 1, 0, X.CopyFromParent)
atom = d.get_atom
window.set_selection_owner(atom("CLIPBOARD"), X.CurrentTime)
d.sync()
print("ready", flush=True)
left, requestor, place = b"", None, 0
while True:
    e = d.next_event()
    if e.type == X.SelectionRequest and size:
        place = e.property if e.target in (atom("UTF8_STRING"), atom("TARGETS")) else X.NONE
        if e.target == atom("TARGETS"):
            e.requestor.change_property(place, Xatom.ATOM, 32, [atom("TARGETS"), atom("UTF8_STRING")])
        elif place:
            requestor, left = e.requestor, text
            requestor.change_attributes(event_mask=X.PropertyChangeMask)
            requestor.change_property(place, atom("INCR"), 32, [len(text)])
            open_text = True
        e.requestor.send_event(event.SelectionNotify(time=e.time, requestor=e.requestor, selection=e.selection,
                                                     target=e.target, property=place))
    elif e.type == X.PropertyNotify and e.state == X.PropertyDelete and requestor and open_text:
        piece, left = left[:size], left[size:]
        open_text = bool(piece)
        requestor.change_property(e.atom, atom("UTF8_STRING"), 8, piece)
    d.flush()
"""


class Clipboard(Case):
    settings = {"MaxSegments": 8, "CheckClipboard": "True"}

    def setUp(self):
        super().setUp()
        self.start_with_screen()
        self.bus = self.session.connect()
        self.addCleanup(self.bus.close)

    def longest_wait(self, seconds):
        """How long a call waited at most while the program watched the clipboard."""
        longest, end = 0.0, time.monotonic() + seconds
        while time.monotonic() < end:
            began = time.monotonic()
            self.bus.call(*harness.PROGRAM_OBJECT, "LeechURL", "", "")
            longest = max(longest, time.monotonic() - began)
            time.sleep(0.01)
        return longest

    def own(self, size, text):
        owner = subprocess.Popen([sys.executable, "-c", OWNER, str(size), text], env=self.session.stage.env,
                                 stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=self.session.log)
        self.addCleanup(owner.stdout.close)
        self.addCleanup(harness.end_process, owner)
        self.assertEqual(owner.stdout.readline(), b"ready\n")

    def answer_no(self, url):
        self.screen.wait("label", url, QUESTION)
        self.screen.click("push button", "No", QUESTION)
        self.screen.wait_gone("label", url)

    def test_100_megabytes_of_text_hold_nobody_up(self):
        self.longest_wait(1)
        self.copy(b"one more line of a very long text\n" * 3_000_000)
        longest = self.longest_wait(4)
        print("      a call waited for %.0f ms at most" % (longest * 1000))
        self.assertLess(longest, 0.4)
        url = "http://127.0.0.1:9/after.zip"
        self.copy(url.encode())
        self.answer_no(url)
        self.stop()

    def test_an_address_that_comes_in_pieces_is_asked_about(self):
        url = "http://127.0.0.1:9/" + "folder/" * 40 + "pieces.zip"
        self.own(100, url)
        self.answer_no(url)
        self.stop()

    def test_an_owner_that_never_answers_is_soon_given_up(self):
        self.longest_wait(1)
        self.own(0, "")
        longest = self.longest_wait(8)
        print("      a call waited for %.0f ms at most" % (longest * 1000))
        self.assertLess(longest, harness.PROMPT / 2)
        self.stop()


if __name__ == "__main__":
    unittest.main()
