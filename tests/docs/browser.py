"""Chromium without a window, by its DevTools protocol."""

import base64
import fcntl
import json
import os
import select
import shlex
import subprocess
import time

SECONDS = 60  # that an answer may take on a busy machine


class Ended(RuntimeError):
    """The browser itself has ended."""


class Page:
    """One page in a browser of its own; what it says and asks for meanwhile is kept."""

    def __init__(self, profile):
        self.number, self.buffer, self.answers, self.session = 0, b"", {}, None
        self.complaints, self.dialogs, self.requests, self.loaded = [], [], [], 0
        (theirs_in, ours_out), (ours_in, theirs_out) = os.pipe(), os.pipe()
        high = [fcntl.fcntl(end, fcntl.F_DUPFD, 10) for end in (theirs_in, theirs_out)]
        # As root there is no sandbox; the pages are the test's own.
        options = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--no-first-run",
                   "--disable-background-networking", "--disable-component-update", "--hide-scrollbars",
                   "--remote-debugging-pipe", f"--user-data-dir={profile}", "about:blank"]
        self.process = subprocess.Popen(
            ["bash", "-c", f"exec chromium {shlex.join(options)} 3<&{high[0]} 4>&{high[1]}"], pass_fds=high,
            env={**os.environ, "HOME": profile}, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        for end in (theirs_in, theirs_out, *high):
            os.close(end)
        self.output, self.input = ours_out, ours_in
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network", "Accessibility"):
            self.call(f"{domain}.enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.session = None
        try:
            self.call("Browser.close")
            self.process.wait(SECONDS)
        except (OSError, RuntimeError, subprocess.TimeoutExpired):
            self.process.kill()
            self.process.wait()

    def call(self, method, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        try:
            os.write(self.output, json.dumps(message).encode() + b"\0")
        except BrokenPipeError:
            raise self.ended(method) from None
        number = self.number
        self.await_that(lambda: number in self.answers, method)
        answer = self.answers.pop(number)
        if "error" in answer:
            raise RuntimeError(f"{method}: {answer['error']}")
        return answer["result"]

    def await_that(self, condition, what):
        end = time.monotonic() + SECONDS
        while not condition():
            if not select.select([self.input], [], [], max(0, end - time.monotonic()))[0]:
                raise RuntimeError(f"{what}: no answer")
            data = os.read(self.input, 1 << 20)
            if not data:
                raise self.ended(what)
            *messages, self.buffer = (self.buffer + data).split(b"\0")
            for message in messages:
                self.take(json.loads(message))

    def ended(self, what):
        self.process.kill()
        return Ended(f"{what}: the browser has ended: {self.process.wait()}")

    def take(self, message):
        if "id" in message:
            self.answers[message["id"]] = message
            return
        method, parameters = message["method"], message.get("params", {})
        if method in ("Runtime.consoleAPICalled", "Runtime.exceptionThrown", "Log.entryAdded"):
            self.complaints.append(parameters)
        elif method == "Page.javascriptDialogOpening":
            self.dialogs.append(parameters["message"])
        elif method == "Network.requestWillBeSent":
            self.requests.append(parameters["request"]["url"])
        elif method == "Page.loadEventFired":
            self.loaded += 1

    def open(self, file, width, height, phone=False):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=phone)
        before = self.loaded
        self.call("Page.navigate", url=f"file://{file}")
        self.await_that(lambda: self.loaded > before, "load")

    def evaluate(self, expression):
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def text(self):
        return self.evaluate("document.body.innerText")

    def type(self, element, words):
        """Types into a field, in place of what is in it."""
        self.evaluate(f"document.getElementById('{element}').focus(); document.getElementById('{element}').select()")
        if words:
            self.call("Input.insertText", text=words)
        else:
            for kind in ("keyDown", "keyUp"):
                self.call("Input.dispatchKeyEvent", type=kind, key="Delete", code="Delete", windowsVirtualKeyCode=46)

    def accessible(self, role):
        """Returns the name and the properties of each node with a role."""
        nodes = self.call("Accessibility.getFullAXTree")["nodes"]
        return [(node["name"]["value"] if "name" in node else "",
                 {one["name"]: one["value"].get("value") for one in node.get("properties", [])})
                for node in nodes if not node["ignored"] and node["role"]["value"] == role]

    def emulate(self, media="", scheme="light"):
        self.call("Emulation.setEmulatedMedia", media=media,
                  features=[{"name": "prefers-color-scheme", "value": scheme}])

    def picture(self, file, height=None):
        size = self.call("Page.getLayoutMetrics")["cssContentSize"]
        clip = {"x": 0, "y": 0, "width": size["width"], "height": min(height or size["height"], 12000), "scale": 1}
        picture = self.call("Page.captureScreenshot", format="png", captureBeyondViewport=True, clip=clip)
        with open(file, "wb") as output:
            output.write(base64.b64decode(picture["data"]))

    def pdf(self):
        return base64.b64decode(self.call("Page.printToPDF")["data"])
