# SPDX-License-Identifier: MIT
"""Records the inspections in test/product/inspections, on which the views are tested:
keldoctl-inspect prints them in the situations below. Times, the host's name and the names of
temporary files are replaced by fixed ones.

    host/run python3 test/support/recorded_inspections.py

Run this if test/host/recorded_inspections_test.py fails.
"""

import contextlib
import pathlib
import re
import shutil
import subprocess

from panel import BUILD, CONFIGURATION, SERVICES, Panel
from services import service_control
from views import INSPECTIONS

ROOT = pathlib.Path("/usr/local/kvr")
# Contains markup, the separator of a plugin's output, a second line, and a control character.
ODD_TITLE = "<b>\"A\" &amp; 'B'</b> | x\n\tsecond line \x9b31m"
# Ids with characters that the shell interprets.
ODD_IDS = ("a b", "$(touch x)", "`touch x`", "a;b", 'q"q', "back\\slash", "*", "~", "#x", "ä")
HEBREW = """
msgid ""
msgstr "Content-Type: text/plain; charset=UTF-8\\n"
msgid "The <service_title> service is switched off."
msgstr "השירות <service_title> כבוי."
msgid "Restart the <service_title> service."
msgstr "הפעלה מחדש של השירות <service_title>."
"""
# Gives the services of the list DOWN the status "process is not running", the others status 0.
MONITOR = """#!/usr/bin/python3 -IS
import sys
DOWN = {down!r}
print('<monit batch="1">')
for line in open(sys.argv[2], encoding="utf-8"):
    if line.startswith("check "):
        name = line.split(" ", 2)[2].rstrip("\\n").strip('"')
        text = name.replace("&", "&amp;").replace("<", "&lt;")
        print("<service><name>%s</name><status>%d</status><monitor>1</monitor>"
              "<checked>1</checked></service>" % (text, 512 if name in DOWN else 0))
print("</monit>")
"""


# --- Situations of a host whose daemons run: each gets an ExitStack that restores the host.


def all_well(_):
    return inspect()


def stopped(stack):
    """The administrator stopped two services."""
    service_control("stop", "mail")
    stack.callback(service_control, "start", "mail")
    log_action("stop", "mail", "redis")
    stack.callback(log_action, "start", "redis", "mail")
    return inspect()


def one_down(stack):
    kill(stack, "web")
    return inspect()


def two_down_in_german(stack):
    """One of them has no German title."""
    kill(stack, "web")
    kill(stack, "smtp")
    change_definition(stack, "smtp", '<title xml:lang="de-DE">', '<title xml:lang="xx-XX">')
    return inspect("--language=de-DE")


def repaired(stack):
    kill(stack, "web")
    return inspect("--repair", "restart-service:web", "restart-service:dns")


def repair_failed(stack):
    """The repair prints much and the service stays down."""
    kill(stack, "web")
    change_definition(
        stack, "web", "/usr/local/kvr/admin/sbin/service-control start web",
        "for i in $(seq 150); do echo \"web: line $i of the journal\"; done\n"
        "echo web: cannot bind to port 80, address in use; exit 1")
    return inspect("--repair", "restart-service:web", "restart-service:dns")


def upgrade(stack):
    lock = ROOT / "var/upgrade.lock"
    lock.touch()
    stack.callback(lock.unlink)
    return inspect()


def disk_full(stack):
    """No control file can be made, and the web server is down."""
    kill(stack, "web")
    subprocess.run(["mount", "-t", "tmpfs", "-o", "size=4k", "tmpfs", ROOT / "tmp"], check=True)
    stack.callback(subprocess.run, ["umount", ROOT / "tmp"], check=True)
    (ROOT / "tmp/filler").write_bytes(b"x" * 4096)
    return inspect()


def mixed(stack):
    """One service in each state, and a definition that the monitor refuses."""
    kill(stack, "web")
    change_definition(stack, "dns", 'protocol="dns"', 'protocol="dnsx"')
    service_control("stop", "mail")
    stack.callback(service_control, "start", "mail")
    log_action("stop", "mail")
    stack.callback(log_action, "start", "mail")
    return inspect()


# --- Situations with a fake monitor: each gets a Panel.


def one_down_without_translation(panel):
    """The language is German, but every text is English."""
    shutil.rmtree(panel.root / "share", ignore_errors=True)
    panel.fake_monitor(script=MONITOR.format(down=["web"]))
    return inspect("--language=de-DE")


def repair_in_hebrew(panel):
    panel.catalogue(HEBREW, "he")
    panel.write_service("web", titles={"he-IL": "שרת אינטרנט"}, start="echo web: התחיל")
    panel.fake_monitor(script=MONITOR.format(down=["mail"]))
    locales = panel.root / "locales"
    locales.mkdir()
    subprocess.run(["localedef", "--no-archive", "--inputfile=he_IL", "--charmap=UTF-8",
                    locales / "he_IL"], check=True, stdout=subprocess.DEVNULL)
    return inspect("--language=he-IL", "--repair", "restart-service:web",
                   environment={"LOCPATH": str(locales)})


def odd_texts(panel):
    panel.write_service("web", ODD_TITLE,
                        start="printf '\\n  <pre> \"quoted\" &amp;\\ta\\r\\n\\033[31mred\\n'")
    panel.write_service("mail", "x" * 300)
    panel.write_service("dns", "Q & A")
    panel.fake_monitor(script=MONITOR.format(down=["web", "mail", "dns"]))
    return inspect("--repair", "restart-service:web")


def odd_ids(panel):
    for service in [*ODD_IDS, "it's"]:
        panel.write_service(service, "A")
    log_action("start", *ODD_IDS)
    panel.fake_monitor(script=MONITOR.format(down=ODD_IDS))
    return inspect("--repair", "restart-service:it's")


def forty_down(panel):
    services = [f"service{number:02}" for number in range(1, 41)]
    for service in services:
        panel.write_service(service, f"Service {service[-2:]}")
    log_action("start", *services)
    panel.fake_monitor(script=MONITOR.format(down=services))
    return inspect()


REAL = (all_well, stopped, one_down, two_down_in_german, repaired, repair_failed, upgrade,
        disk_full, mixed)
FAKED = (one_down_without_translation, repair_in_hebrew, odd_texts, odd_ids, forty_down)


# --- Steps


def kill(stack, service):
    service_control("kill", service)
    stack.callback(service_control, "start", service)


def change_definition(stack, service, old, new):
    path = SERVICES / f"{service}.xml"
    text = path.read_text(encoding="utf-8")
    stack.callback(path.write_text, text, encoding="utf-8")
    if old not in text:
        raise ValueError(f"{path} does not contain {old}")
    path.write_text(text.replace(old, new), encoding="utf-8")


def log_action(action, *services):
    """Enters in the panel's action log that the administrator started or stopped services."""
    for service in services:
        quoted = service.replace("\\", "\\\\")
        subprocess.run(
            ["mariadb", "kvr", "--execute",
             "INSERT INTO log_actions (action_id)"
             f" SELECT id FROM actions WHERE name = 'service_{action}';"
             " INSERT INTO log_components (action_id, component, old_value)"
             f" VALUES (LAST_INSERT_ID(), 'service', '{quoted}')"], check=True)


def inspect(*arguments, environment=None):
    """The document of keldoctl-inspect, with fixed times and names."""
    done = subprocess.run([BUILD / "keldoctl-inspect", *arguments], check=False, stdout=subprocess.PIPE,
                          env={"PATH": "/usr/sbin:/usr/bin:/sbin:/bin"} | (environment or {}))
    text = done.stdout.decode()
    text = re.sub(' host="[^"]*" started="[^"]*" seconds="[^"]*"', ' host="panel.example"'
                  ' started="2026-11-22T00:20:11Z" seconds="0.412"', text)
    text = re.sub(' seconds="[0-9.]*">\n', ' seconds="0.011">\n', text)
    text = re.sub(r"/keldoctl-inspect\.\w{6}/", "/keldoctl-inspect.XXXXXX/", text)
    return re.sub(r"\b[0-9]+\.[0-9] s\b", "0.4 s", text).encode()


def record():
    """Yields the name and the document of each situation."""
    service_control("start-all")
    for situation in REAL:
        with contextlib.ExitStack() as stack:
            document = situation(stack)
        yield situation.__name__, document
    password = (CONFIGURATION / ".kvr.shadow").read_bytes()
    for situation in FAKED:
        panel = Panel()
        panel.set_password(password)
        shutil.copytree(BUILD / "share/locale", panel.root / "share/locale")
        document = situation(panel)
        yield situation.__name__, document


def main():
    shutil.rmtree(INSPECTIONS, ignore_errors=True)
    INSPECTIONS.mkdir()
    for name, document in record():
        (INSPECTIONS / f"{name}.xml").write_bytes(document)


if __name__ == "__main__":
    main()
