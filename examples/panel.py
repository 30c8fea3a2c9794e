# SPDX-License-Identifier: MIT
"""A small panel whose page shows the services of this host and repairs them.

    python3 panel.py [--port=PORT] [--program=KELDOCTL_REPORT]

Run it as root. It prints the address to open, with a key that stands for the panel's login. Only
this machine reaches it.
"""

import argparse
import hmac
import http.cookies
import http.server
import secrets
import subprocess
import urllib.parse

PAGE = """<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<title>Services – Example panel</title>
<style>
body {{ max-width: 60rem; margin: 0 auto; padding: 1rem; font-family: system-ui, sans-serif; }}
</style>
</head>
<body>
<nav><a href="/">Check again</a></nav>
<main>
<h1>Services</h1>
{content}
</main>
</body>
</html>
"""
POLICY = "default-src 'none'; style-src 'unsafe-inline'; form-action 'self'; frame-ancestors 'none'"
LARGEST_FORM = 65536  # bytes
# The statuses with which keldoctl-report prints a report: 3 means that there is none.
STATUSES = (0, 1, 2, 4)


class Panel(http.server.HTTPServer):
    """One request at a time, so that two repairs never run at once."""

    def __init__(self, port, program):
        super().__init__(("127.0.0.1", port), Request)
        self.program = program
        self.key = secrets.token_urlsafe()
        self.tokens = {}  # by session
        # By token, the fragment of a repair that has not been shown yet. It contains the token.
        self.outcomes = {}

    def fragment(self, token, *arguments):
        """The part of the page that keldoctl-report prints."""
        done = subprocess.run(
            [self.program, "--fragment", "--repair-url=/repair", "--token-name=token", *arguments],
            input=token.encode(), stdout=subprocess.PIPE, check=False)
        if done.returncode in STATUSES:
            return done.stdout.decode()
        return "<p>The services could not be checked. Standard error has the reason.</p>"


class Request(http.server.BaseHTTPRequestHandler):
    timeout = 2  # seconds; browsers also open connections that they may not use

    def do_GET(self):
        address = urllib.parse.urlsplit(self.path)
        key = urllib.parse.parse_qs(address.query).get("key", [""])[0]
        if address.path == "/login" and is_same(key, self.server.key):
            session = secrets.token_urlsafe()
            self.server.tokens[session] = secrets.token_urlsafe()
            self.redirect(f"session={session}; HttpOnly; SameSite=Strict; Path=/")
        elif address.path != "/":
            self.send_error(404)
        elif token := self.token():
            content = self.server.outcomes.pop(token, None) or self.server.fragment(token)
            self.show(PAGE.format(content=content))
        else:
            self.send_error(403)

    def do_POST(self):
        form = self.form()
        token = self.token()
        sent = form.get("token", [""])[0]
        if self.path != "/repair" or not token or not is_same(sent, token):
            self.send_error(403)
            return
        self.server.outcomes[token] = self.server.fragment(token, "--repair", *form.get("id", []))
        # After a redirection, loading the page again does not send the form again.
        self.redirect()

    def token(self):
        """The token of the session, or None without a session."""
        cookie = http.cookies.SimpleCookie(self.headers.get("Cookie", ""))
        return self.server.tokens.get(cookie["session"].value) if "session" in cookie else None

    def form(self):
        length = int(self.headers.get("Content-Length", 0))
        if not 0 < length <= LARGEST_FORM:
            return {}
        return urllib.parse.parse_qs(self.rfile.read(length).decode("ascii", "replace"))

    def redirect(self, cookie=None):
        self.send_response(303)
        self.send_header("Location", "/")
        if cookie:
            self.send_header("Set-Cookie", cookie)
        self.end_headers()

    def show(self, page):
        self.send_response(200)
        self.send_header("Content-Type", "text/html; charset=utf-8")
        self.send_header("Content-Security-Policy", POLICY)
        self.send_header("Cache-Control", "no-store")
        self.end_headers()
        self.wfile.write(page.encode())


def is_same(sent, secret):
    """Takes the same time for all texts of one length, so that nobody can guess a part."""
    return hmac.compare_digest(sent.encode(), secret.encode())


def main():
    parser = argparse.ArgumentParser(description="Shows and repairs the services of this host.")
    parser.add_argument("--port", type=int, default=8000, help="0: any that is free")
    parser.add_argument("--program", default="keldoctl-report")
    arguments = parser.parse_args()
    panel = Panel(arguments.port, arguments.program)
    print(f"http://127.0.0.1:{panel.server_port}/login?key={panel.key}", flush=True)
    panel.serve_forever()


if __name__ == "__main__":
    main()
