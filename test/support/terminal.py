# SPDX-License-Identifier: MIT
"""Interactive shells on pseudo-terminals, for tests of completion."""

import os
import pty
import re
import select
import signal

PATIENCE = 60  # seconds until a missing event fails the test; no result depends on it


class Shell:
    """A shell whose start-up file binds Control-X b to print_line() and Control-X a to inserting
    all completions. Call close() at the end."""

    # print_line() prints the line between these.
    BEGIN, END = "<line>", "</line>"
    READY = "<ready>"

    def __init__(self, command, environment):
        self._process, self._terminal = pty.fork()
        if self._process == 0:
            os.execve(command[0], command, environment)
        self._output = b""
        self._wait_for(re.escape(self.READY))

    def close(self):
        os.close(self._terminal)
        os.waitpid(self._process, 0)

    def line_after(self, keys):
        """Types keys and returns the command line, which is empty again afterwards."""
        self._type(keys + "\x18b")
        return self._wait_for(f"{self.BEGIN}(.*?){self.END}")[1].decode()

    def _type(self, keys):
        data = keys.encode()
        while data:
            data = data[os.write(self._terminal, data):]

    def _wait_for(self, pattern):
        """Reads the output of the shell up to a match of the pattern."""
        while not (found := re.search(pattern.encode(), self._output, re.S)):
            if not select.select([self._terminal], [], [], PATIENCE)[0]:
                os.kill(self._process, signal.SIGKILL)
                raise RuntimeError(f"the shell printed no {pattern}: {self._output!r}")
            self._output += os.read(self._terminal, 4096)
        self._output = self._output[found.end():]
        return found
