# SPDX-License-Identifier: MIT
"""A headless Chromium with one page, driven over its DevTools protocol, for tests of pages.

It waits for events of the protocol, never for a time.
"""

import contextlib
import json
import os
import select
import shutil
import signal
import subprocess
import tempfile

PROGRAM = "chromium-headless-shell"
PATIENCE = 60  # seconds until a missing answer fails the test; no test passes by it


class Browser:
    """A browser that reaches only this machine. Use it as a context manager, or call close()."""

    def __init__(self):
        self._directory = tempfile.mkdtemp(prefix="keldo-browser.")
        commands, commands_end = os.pipe()
        answers_end, answers = os.pipe()
        # The browser reads its commands from descriptor 3 and answers on 4.
        start = ["sh", "-c", f'exec "$@" 3<&{commands} 4>&{answers}', "sh", PROGRAM]
        # The sandbox does not work for root. Only the tests' own pages are loaded.
        options = ["--no-sandbox", "--disable-gpu", "--remote-debugging-pipe",
                   "--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE 127.0.0.1", "--force-color-profile=srgb",
                   "--font-render-hinting=none", f"--user-data-dir={self._directory}"]
        self._process = subprocess.Popen(
            [*start, *options], pass_fds=(commands, answers), stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True,
            env=os.environ | {"HOME": self._directory})
        os.close(commands)
        os.close(answers)
        self._commands = commands_end
        self._answers = answers_end
        self._unread = b""
        self._number = 0
        self._session = None
        self._events = []
        self._open_page()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        """Ends the browser and waits until it has ended."""
        self._session = None
        # Ends its children too, which write to its directory. The browser may have ended already.
        with contextlib.suppress(OSError, RuntimeError):
            self.call("Browser.close")
        self._process.wait()
        os.close(self._commands)
        os.close(self._answers)
        shutil.rmtree(self._directory)

    def call(self, method, **parameters):
        """Calls a method of the protocol and returns its result."""
        self._number += 1
        message = {"id": self._number, "method": method, "params": parameters}
        if self._session:
            message["sessionId"] = self._session
        os.write(self._commands, json.dumps(message).encode() + b"\0")
        while (answer := self._read()).get("id") != self._number:
            self._events.append(answer)
        if "error" in answer:
            raise RuntimeError(f"{method}: {answer['error']}")
        return answer["result"]

    def wait_for(self, method):
        """Waits for an event since the last load() and returns its parameters."""
        for position, event in enumerate(self._events):
            if event.get("method") == method:
                return self._events.pop(position)["params"]
        while (event := self._read()).get("method") != method:
            self._events.append(event)
        return event["params"]

    def events(self, *methods):
        """The parameters of the events with these names since the last load()."""
        return [event["params"] for event in self._events if event.get("method") in methods]

    def load(self, path):
        """Opens a file and waits until it is loaded."""
        self.open(f"file://{path}")

    def open(self, address):
        """Opens an address and waits until its page is loaded."""
        self._events = []
        self.call("Page.navigate", url=address)
        self.wait_for("Page.loadEventFired")

    def run(self, script):
        """The value of a JavaScript expression in the page, awaited if it is a promise."""
        result = self.call("Runtime.evaluate", expression=script, returnByValue=True,
                           awaitPromise=True, userGesture=True)
        if "exceptionDetails" in result:
            raise RuntimeError(result["exceptionDetails"])
        return result["result"].get("value")

    def view(self, width=1024, height=768, scheme="light"):
        """Sets the size of the window in CSS pixels and the colour scheme: light or dark."""
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height,
                  deviceScaleFactor=1, mobile=width < 600)
        self.call("Emulation.setEmulatedMedia",
                  features=[{"name": "prefers-color-scheme", "value": scheme}])

    def press(self, key, code, text=None):
        """Presses and releases a key, by its names in the protocol: "Tab" and 9, "Enter" and 13."""
        names = {"key": key, "code": key, "windowsVirtualKeyCode": code}
        if text:
            self.call("Input.dispatchKeyEvent", type="keyDown", text=text, **names)
        else:
            self.call("Input.dispatchKeyEvent", type="rawKeyDown", **names)
        self.call("Input.dispatchKeyEvent", type="keyUp", **names)

    def _open_page(self):
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.call("Target.attachToTarget", targetId=target,
                                  flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(f"{domain}.enable")
        self.call("Emulation.setFocusEmulationEnabled", enabled=True)

    def _read(self):
        """The next message from the browser."""
        while b"\0" not in self._unread:
            if not select.select([self._answers], [], [], PATIENCE)[0]:
                # We started a script; the browser is in its process group.
                os.killpg(self._process.pid, signal.SIGKILL)
            more = os.read(self._answers, 1 << 16)
            if not more:
                raise RuntimeError(f"{PROGRAM} ended with status {self._process.wait()}")
            self._unread += more
        message, _, self._unread = self._unread.partition(b"\0")
        return json.loads(message)
