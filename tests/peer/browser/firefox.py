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
        self.socket.settimeout(180)  # its start takes minutes on a busy machine
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

    def in_page(self, script, *arguments):
        return self.call("WebDriver:ExecuteScript", script="return " + script, args=list(arguments))["value"]

    def go(self, url):
        self.call("WebDriver:Navigate", url=url)

    def click(self, x, y, button=0):
        self.call("WebDriver:PerformActions", actions=[{
            "type": "pointer", "id": "mouse", "parameters": {"pointerType": "mouse"},
            "actions": [{"type": "pointerMove", "x": x, "y": y, "duration": 0}, {"type": "pointerDown", "button": button},
                        {"type": "pointerUp", "button": button}]}])

    def right_click(self, x, y):
        self.click(x, y, 2)

    def click_on(self, selector):
        x, y = self.in_page("""((selector) => {
            const box = document.querySelector(selector).getBoundingClientRect();
            return [Math.round(box.x + box.width / 2), Math.round(box.y + box.height / 2)];
        })(arguments[0])""", selector)
        self.click(x, y)

    def keys(self, *names):
        """Presses and releases keys; each is a character or one of WebDriver's."""
        actions = [{"type": kind, "value": name} for name in names for kind in ("keyDown", "keyUp")]
        self.call("WebDriver:PerformActions", actions=[{"type": "key", "id": "keys", "actions": actions}])

    def allow(self):
        """Presses the button that allows what the browser asks the user."""
        return self.in_chrome("""
            const [done] = arguments;
            const until = Date.now() + 10000;
            const look = () => {
              const asked = document.querySelector("#notification-popup popupnotification");
              if (asked && PopupNotifications.panel.state === "open") {
                setTimeout(() => { asked.button.click(); done(asked.id); }, 600);  // earlier clicks do not count
              } else if (Date.now() > until) done("");
              else setTimeout(look, 100);
            };
            look();""")

    def press_button(self):
        """Presses the extension's button, once it is in the toolbar. Returns the address of the popup that opens."""
        return self.in_chrome("""
            const [done] = arguments;
            const widget = "pellora_pellora_example-browser-action";
            CustomizableUI.addWidgetToArea(widget, CustomizableUI.AREA_NAVBAR);
            const until = Date.now() + 10000;
            let pressed = false;
            const look = () => {
              const node = document.getElementById(widget);
              const button = node && (node.querySelector("toolbarbutton") || node);
              if (button && !pressed) { pressed = true; button.click(); }
              const shown = document.querySelector(".webextension-popup-browser");
              if (shown && shown.currentURI.spec.endsWith("popup.html")) done(shown.currentURI.spec);
              else if (Date.now() > until) done("");
              else setTimeout(look, 100);
            };
            look();""")

    def badge(self):
        return self.in_chrome("""const [done] = arguments;
            const node = document.getElementById("pellora_pellora_example-browser-action");
            const shown = node && (node.querySelector("[badge]") || node).getAttribute("badge");
            done(shown || "");""")

    def url_of(self, page):
        """The address of a page of the extension."""
        return self.in_chrome("""const [page, done] = arguments;
            done(WebExtensionPolicy.getByID("pellora@pellora.example").getURL(page));""", page)

    def close(self):
        try:
            self.call("Marionette:Quit", flags=["eForceQuit"])
            self.process.wait(20)
        except (OSError, RuntimeError, subprocess.TimeoutExpired, ValueError):
            self.process.kill()
            self.process.wait()
        self.socket.close()
