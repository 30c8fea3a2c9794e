# SPDX-License-Identifier: MIT
"""Accepts connections on many ports of the local host and closes them at once, until it is killed.

Usage: listeners FIRST_PORT COUNT. Prints a line when it listens on all ports.
"""

import selectors
import socket
import sys


def main():
    first, count = map(int, sys.argv[1:])
    listening = selectors.DefaultSelector()
    for port in range(first, first + count):
        listening.register(socket.create_server(("127.0.0.1", port)), selectors.EVENT_READ)
    print("listening", flush=True)
    while True:
        for key, _ in listening.select():
            key.fileobj.accept()[0].close()


if __name__ == "__main__":
    main()
