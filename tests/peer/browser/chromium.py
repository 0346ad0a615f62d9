"""A real Chromium on the virtual display, controlled over its debugging pipe."""

import json
import os
import subprocess
import threading


class Chromium:
    def __init__(self, session, extension, profile):
        to_browser, self.writer = os.pipe()
        self.reader, from_browser = os.pipe()
        words = ["chromium", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--password-store=basic",
                 "--disable-background-networking", "--disable-component-update", "--disable-sync", "--lang=en",
                 "--no-default-browser-check", "--test-type", "--window-position=0,0", "--window-size=900,700",
                 "--remote-debugging-pipe", "--enable-unsafe-extension-debugging", "--user-data-dir=" + profile,
                 "--disable-features=DisableLoadExtensionCommandLineSwitch", "--load-extension=" + extension, "about:blank"]
        self.process = subprocess.Popen(
            ["bash", "-c", 'exec "$@" 3<&%d 4>&%d' % (to_browser, from_browser), "bash", *words],
            env=session.env, stdin=subprocess.DEVNULL, stdout=session.log, stderr=session.log,
            pass_fds=[to_browser, from_browser])
        os.close(to_browser)
        os.close(from_browser)
        self.number = 0
        self.answers = {}
        self.changed = threading.Condition()
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        data = b""
        while True:
            more = os.read(self.reader, 65536)
            if not more:
                return
            data += more
            while b"\0" in data:
                text, data = data.split(b"\0", 1)
                message = json.loads(text)
                with self.changed:
                    if "id" in message:
                        self.answers[message["id"]] = message
                        self.changed.notify_all()

    def call(self, method, target=None, timeout=30, **parameters):
        with self.changed:
            self.number += 1
            message = {"id": self.number, "method": method, "params": parameters}
            if target:
                message["sessionId"] = target
            os.write(self.writer, json.dumps(message).encode() + b"\0")
            if not self.changed.wait_for(lambda: message["id"] in self.answers, timeout):
                raise TimeoutError(method)
            answer = self.answers.pop(message["id"])
        if "error" in answer:
            raise RuntimeError("%s: %s" % (method, answer["error"]))
        return answer["result"]

    def targets(self, kind):
        return [t for t in self.call("Target.getTargets")["targetInfos"] if t["type"] == kind]

    def attach(self, target):
        return self.call("Target.attachToTarget", targetId=target["targetId"], flatten=True)["sessionId"]

    def evaluate(self, target, expression):
        answer = self.call("Runtime.evaluate", target, expression=expression, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(answer["exceptionDetails"])
        return answer["result"].get("value")

    def close(self):
        try:
            self.call("Browser.close", timeout=10)
            self.process.wait(15)
        except (OSError, TimeoutError, subprocess.TimeoutExpired):
            self.process.kill()
            self.process.wait()
        os.close(self.writer)
