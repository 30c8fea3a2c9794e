# SPDX-License-Identifier: MIT
"""Interactive shells on terminals of their own: what they make of keys that are typed."""

import os
import pty
import re
import select
import signal

PATIENCE = 60  # seconds after which what should come at once is given up; never to pass a test


class Shell:
    """A shell whose start-up file has bound Control-X and "b" to print_line, "a" to inserting all
    completions. To be closed."""

    # What the shell prints around the line when the keys of print_line() are typed.
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
        """What the command line holds after these keys; it is empty again afterwards."""
        self._type(keys + "\x18b")
        return self._wait_for(f"{self.BEGIN}(.*?){self.END}")[1].decode()

    def _type(self, keys):
        data = keys.encode()
        while data:
            data = data[os.write(self._terminal, data):]

    def _wait_for(self, pattern):
        """Reads what the shell prints until the pattern is among it, and forgets it."""
        while not (found := re.search(pattern.encode(), self._output, re.S)):
            if not select.select([self._terminal], [], [], PATIENCE)[0]:
                os.kill(self._process, signal.SIGKILL)
                raise RuntimeError(f"the shell printed no {pattern}: {self._output!r}")
            self._output += os.read(self._terminal, 4096)
        self._output = self._output[found.end():]
        return found
