"""Drives a headless Chromium through its debugging pipe, with nothing but the standard library."""
import base64
import fcntl
import json
import os
import select
import shutil
import subprocess
import tempfile
import time

FLAGS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-dev-shm-usage",
    "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-extensions",
    "--no-default-browser-check", "--hide-scrollbars", "--force-color-profile=srgb", "--lang=en",
]


class Browser:
    """One browser with one page; a context manager. Every call has a bound on time."""

    def __init__(self, seconds=60):
        self.seconds = seconds
        self.events = []
        self.last_id = 0
        self.rest = b""

    def __enter__(self):
        program = shutil.which("chromium")
        if program is None:
            raise RuntimeError("chromium is missing; run scripts/install-deps test")
        self.profile = tempfile.mkdtemp(prefix="oru-browser-")
        from_us, self.to_browser = os.pipe()
        self.from_browser, to_us = os.pipe()
        # The browser reads commands from descriptor 3 and answers on 4; high numbers first, so that none overlap.
        ours = [fcntl.fcntl(fd, fcntl.F_DUPFD, 20) for fd in (from_us, to_us)]

        def place():
            os.dup2(ours[0], 3)
            os.dup2(ours[1], 4)

        self.process = subprocess.Popen(
            [program, *FLAGS, "--remote-debugging-pipe", "--user-data-dir=" + self.profile, "about:blank"],
            preexec_fn=place, pass_fds=(3, 4), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, start_new_session=True)
        for fd in (from_us, to_us, *ours):
            os.close(fd)
        self.session = None
        try:
            target = self.call("Target.createTarget", url="about:blank")["targetId"]
            self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
            for domain in ("Page", "Runtime", "Network", "Log"):
                self.call(domain + ".enable")
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        # Closing the pipe ends the browser; killing it is for one that hangs.
        os.close(self.to_browser)
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
        os.close(self.from_browser)
        shutil.rmtree(self.profile, ignore_errors=True)

    def _message(self, deadline):
        while b"\0" not in self.rest:
            left = deadline - time.monotonic()
            if left <= 0 or not select.select([self.from_browser], [], [], left)[0]:
                raise TimeoutError("the browser did not answer")
            piece = os.read(self.from_browser, 1 << 20)
            if not piece:
                raise RuntimeError("the browser ended")
            self.rest += piece
        message, _, self.rest = self.rest.partition(b"\0")
        return json.loads(message)

    def call(self, method, **params):
        """Sends a command of the debugging protocol and returns its result."""
        self.last_id += 1
        command = {"id": self.last_id, "method": method, "params": params}
        if self.session is not None:
            command["sessionId"] = self.session
        os.write(self.to_browser, json.dumps(command).encode() + b"\0")
        deadline = time.monotonic() + self.seconds
        while True:
            message = self._message(deadline)
            if message.get("id") == self.last_id:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']}")
                return message["result"]
            self.events.append(message)

    def wait_for(self, method, since=0):
        """Returns the first event of that name received from index `since` of `events` on."""
        deadline = time.monotonic() + self.seconds
        while True:
            for event in self.events[since:]:
                if event.get("method") == method:
                    return event
            self.events.append(self._message(deadline))

    def open(self, url, width=1200, height=900, scale=1, dark=False, media=""):
        """Loads a page at the given size and waits until it is there. `media`: "print", say."""
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=scale,
                  mobile=False)
        scheme = {"name": "prefers-color-scheme", "value": "dark" if dark else "light"}
        self.call("Emulation.setEmulatedMedia", media=media, features=[scheme])
        since = len(self.events)
        failure = self.call("Page.navigate", url=url).get("errorText")
        if failure:
            raise RuntimeError(f"{url}: {failure}")
        self.wait_for("Page.loadEventFired", since)

    def press(self, key, modifiers=0):
        """A key pressed and let go: one character, or a name such as "Escape"."""
        text = {"text": key} if len(key) == 1 else {}
        self.call("Input.dispatchKeyEvent", type="keyDown", key=key, modifiers=modifiers, **text)
        self.call("Input.dispatchKeyEvent", type="keyUp", key=key, modifiers=modifiers)

    def evaluate(self, expression):
        """The value of a JavaScript expression in the page."""
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def screenshot(self, path, whole_page=False):
        """Writes what the page looks like to a PNG file."""
        result = self.call("Page.captureScreenshot", format="png", captureBeyondViewport=whole_page)
        with open(path, "wb") as file:
            file.write(base64.b64decode(result["data"]))

    def requested(self):
        """The URLs that were asked for so far."""
        return [event["params"]["request"]["url"] for event in self.events
                if event.get("method") == "Network.requestWillBeSent"]

    def complaints(self):
        """Uncaught errors of scripts and what the browser put in its console."""
        return [event["params"] for event in self.events
                if event.get("method") in ("Runtime.exceptionThrown", "Log.entryAdded")]
