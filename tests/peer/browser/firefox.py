"""A real headless Firefox, controlled by Marionette."""

import json
import os
import socket
import subprocess
import time

import servers


class Firefox:
    def __init__(self, session, profile):
        port = servers.free_port()
        os.makedirs(profile)
        with open(os.path.join(profile, "user.js"), "w", encoding="ascii") as f:
            f.write('user_pref("marionette.port", %d);\n' % port)
            f.write('user_pref("browser.shell.checkDefaultBrowser", false);\n')
            f.write('user_pref("datareporting.policy.dataSubmissionEnabled", false);\n')
        self.process = subprocess.Popen(
            ["firefox-esr", "--headless", "--marionette", "-remote-allow-system-access", "--no-remote", "--profile", profile,
             "about:blank"],
            env=dict(session.env, MOZ_HEADLESS="1"), stdin=subprocess.DEVNULL, stdout=session.log, stderr=session.log)
        end = time.monotonic() + 60
        while True:
            try:
                self.socket = socket.create_connection(("127.0.0.1", port), 5)
                break
            except OSError:
                if time.monotonic() > end or self.process.poll() is not None:
                    raise
                time.sleep(0.2)
        self.socket.settimeout(60)
        self.number = 0
        self._receive()
        self.call("WebDriver:NewSession", capabilities={})

    def _receive(self):
        head = b""
        while not head.endswith(b":"):
            head += self.socket.recv(1)
        length = int(head[:-1])
        data = b""
        while len(data) < length:
            data += self.socket.recv(length - len(data))
        return json.loads(data)

    def call(self, method, **parameters):
        self.number += 1
        text = json.dumps([0, self.number, method, parameters]).encode()
        self.socket.sendall(b"%d:" % len(text) + text)
        _kind, _number, error, result = self._receive()
        if error:
            raise RuntimeError("%s: %s" % (method, error["message"]))
        return result

    def install(self, extension):
        return self.call("Addon:Install", path=extension, temporary=True)

    def in_chrome(self, script, *arguments):
        self.call("Marionette:SetContext", value="chrome")
        try:
            return self.call("WebDriver:ExecuteAsyncScript", script=script, args=list(arguments))["value"]
        finally:
            self.call("Marionette:SetContext", value="content")

    def right_click(self, x, y):
        self.call("WebDriver:PerformActions", actions=[{
            "type": "pointer", "id": "mouse", "parameters": {"pointerType": "mouse"},
            "actions": [{"type": "pointerMove", "x": x, "y": y, "duration": 0}, {"type": "pointerDown", "button": 2},
                        {"type": "pointerUp", "button": 2}]}])

    def close(self):
        try:
            self.call("Marionette:Quit", flags=["eForceQuit"])
            self.process.wait(20)
        except (OSError, RuntimeError, subprocess.TimeoutExpired, ValueError):
            self.process.kill()
            self.process.wait()
        self.socket.close()
