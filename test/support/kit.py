# SPDX-License-Identifier: MIT
"""The views and the kit for monitoring systems, installed on a private host with its daemons."""

import http.server
import json
import os
import pathlib
import queue
import re
import shutil
import socket
import subprocess
import tempfile
import threading
import unittest

from panel import BUILD
from services import service_control

PREFIX = pathlib.Path(re.search(r"(?m)^CMAKE_INSTALL_PREFIX:PATH=(.*)$",
                                (BUILD / "CMakeCache.txt").read_text(encoding="utf-8"))[1])
KIT = PREFIX / "share/keldoctl/monitoring"
PLUGINS = PREFIX / "lib/nagios/plugins"
SUDO_RULES = pathlib.Path("/etc/sudoers.d/keldoctl")
# A test that waits longer fails. No other result depends on this time.
LIMIT_SECONDS = 120


def install():
    """Installs the views and the kit at their own places, and prepares sudo as the kit's README says."""
    for component in ("views", "monitoring"):
        subprocess.run(["cmake", "--install", BUILD, "--component", component], check=True,
                       stdout=subprocess.DEVNULL)
    for name in ("keldoctl", "keldoctl-inspect"):
        link = PREFIX / "sbin" / name
        link.unlink(missing_ok=True)
        link.symlink_to(shutil.which(name))
    shutil.copyfile(KIT / "sudoers.d/keldoctl", SUDO_RULES)
    SUDO_RULES.chmod(0o440)
    subprocess.run(["usermod", "--expiredate", "", "nagios"], check=True)
    give_this_host_an_address()


def give_this_host_an_address():
    """sudo complains if the host's name has no address, as in a container that is the host."""
    try:
        socket.gethostbyname(os.uname().nodename)
    except OSError:
        with open("/etc/hosts", "a", encoding="utf-8") as hosts:
            hosts.write(f"127.0.0.1 {os.uname().nodename}\n")


def replace(path, old, new):
    """Replaces each match of a pattern, which must be found, in a file of the daemons' packages. The
    file is restored after the tests, since a container that is the host keeps it."""
    original = path.read_text(encoding="utf-8")
    text, count = re.subn(old, new, original, flags=re.M)
    if not count:
        raise AssertionError(f"no {old} in {path}")
    unittest.addModuleCleanup(path.write_text, original, encoding="utf-8")
    path.write_text(text, encoding="utf-8")


class KitTestCase(unittest.TestCase):
    """A panel on which all services run but the web server, which has crashed, and the kit."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        install()
        service_control("start-all")
        service_control("kill", "web")
        cls.directory = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.directory.chmod(0o755)

    def start(self, *command):
        """Starts a daemon, which ends with the test."""
        with open(self.directory / f"{pathlib.Path(command[0]).name}.log", "wb") as log:
            daemon = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        self.addCleanup(daemon.wait)
        self.addCleanup(daemon.terminate)

    def receive_json(self):
        """Starts a web server. Returns its port and the queue of the documents that it receives."""
        documents = queue.Queue()

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"]))
                self.send_response(200)
                self.end_headers()
                documents.put(json.loads(body))

            def log_message(self, *_):
                pass

        server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        threading.Thread(target=server.serve_forever, daemon=True).start()
        return server.server_port, documents

    def lines_of_fifo(self):
        """A new FIFO that every user may write to, and the queue of the lines that it receives."""
        fifo = self.directory / "fifo"
        os.mkfifo(fifo)
        fifo.chmod(0o666)
        lines = queue.Queue()

        def read():
            # Also opened for writing, so that the file does not end when a writer closes it.
            with open(os.open(fifo, os.O_RDWR), encoding="utf-8") as reader:
                for line in reader:
                    lines.put(line)
        threading.Thread(target=read, daemon=True).start()
        return fifo, lines
