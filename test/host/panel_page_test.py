# SPDX-License-Identifier: MIT
"""examples/panel.py in a browser, with real services."""

import http.client
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import unittest
import urllib.parse

from browser import Browser
from panel import BUILD, PROJECT
from services import service_control
from views import install_views

WEB = "Repair – Web Server"


class PanelPageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        service_control("start-all")
        prefix = install_views(cls.enterClassContext(tempfile.TemporaryDirectory()))
        (prefix / "sbin/keldoctl-inspect").symlink_to(shutil.which("keldoctl-inspect"))
        (prefix / "libexec/keldoctl/repair-commands").symlink_to(
            BUILD / "libexec/repair-commands")
        panel = cls.enterClassContext(subprocess.Popen(
            [sys.executable, PROJECT / "examples/panel.py", "--port=0",
             f"--program={prefix}/sbin/keldoctl-report"],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True))
        cls.addClassCleanup(panel.terminate)
        cls.login = panel.stdout.readline().strip()
        cls.page = re.match("http://[0-9.:]+/", cls.login)[0]
        cls.browser = cls.enterClassContext(Browser())

    def texts(self, selector):
        return self.browser.run(
            f"[...document.querySelectorAll({selector!r})].map(each => each.textContent)")

    def press(self, button):
        """Presses the button with this name and waits for the next page."""
        self.browser.run(f"""[...document.querySelectorAll("button")]
            .find(each => each.textContent === {button!r}).focus()""")
        self.browser.press("Enter", 13, "\r")
        self.browser.wait_for("Page.loadEventFired")

    def test_a_service_is_down_and_the_button_repairs_it(self):
        service_control("kill", "web")
        self.browser.open(self.login)
        self.assertEqual(self.texts(".top h2"), ["1 service is down."])
        self.press(WEB)
        self.assertEqual(self.texts(".top h2"), ["All 7 services that ought to run are up."])
        self.assertEqual(self.texts(".row.up .state"), ["Succeeded"])
        # The same page again only checks.
        self.browser.open(self.page)
        self.assertEqual(self.texts(".row"), [])

    def test_one_button_repairs_all(self):
        for service in ("web", "redis"):
            service_control("kill", service)
        self.browser.open(self.login)
        self.press("Repair all")
        self.assertEqual(self.texts(".row.up .state"), ["Succeeded"] * 2)

    def test_a_form_without_its_token_or_session_repairs_nothing(self):
        service_control("kill", "web")
        for prepare in ("document.querySelector('form [name=token]').value = 'x'",
                        "document.querySelector('form [name=token]').remove()",
                        None):
            with self.subTest(prepare):
                self.browser.open(self.login)
                if prepare:
                    self.browser.run(prepare)
                else:
                    self.browser.call("Network.clearBrowserCookies")
                self.press(WEB)
                self.assertIn("403", self.browser.run("document.body.textContent"))
        self.browser.open(self.login)
        self.assertEqual(self.texts(".row .title"), ["Web Server"])

    def request(self, method, path, session, **form):
        """The answer to a request with the cookie of a session."""
        connection = http.client.HTTPConnection(self.page.split("/")[2])
        self.addCleanup(connection.close)
        connection.request(method, path, urllib.parse.urlencode(form), {"Cookie": session})
        return connection.getresponse()

    def test_a_connection_without_a_request_holds_up_no_other(self):
        with socket.create_connection(tuple(self.page.split("/")[2].split(":"))):
            self.assertEqual(self.request("GET", "/", "").status, 403)

    def test_only_the_session_that_repaired_sees_the_outcome_and_its_token(self):
        self.addCleanup(service_control, "start-all")
        for service in ("web", "redis"):
            service_control("kill", service)
        login = self.login[len(self.page) - 1:]
        mine, other = (self.request("GET", login, "").headers["Set-Cookie"].split(";")[0]
                       for _ in range(2))
        page = self.request("GET", "/", mine).read().decode()
        token = re.search('name="token" value="(.*?)"', page)[1]
        self.request("POST", "/repair", mine, token=token, id="restart-service:web")
        self.assertNotIn(token, self.request("GET", "/", other).read().decode())
        self.assertIn("Succeeded", self.request("GET", "/", mine).read().decode())


if __name__ == "__main__":
    unittest.main()
