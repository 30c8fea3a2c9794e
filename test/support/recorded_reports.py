# SPDX-License-Identifier: MIT
"""Records the reports in test/product/reports, on which the views are tested: keldoctl prints them
in the situations below.

    host/run python3 test/support/recorded_reports.py

Run this if test/host/recorded_reports_test.py fails.
"""

import shutil
import subprocess

from database import Database
from panel import PROJECT, Panel
from views import REPORTS

START = 1  # the kind of action, as Database.reset() makes it
HEBREW = """
msgid ""
msgstr "Content-Type: text/plain; charset=UTF-8\\n"
msgid "The <service_title> service is switched off."
msgstr "השירות <service_title> כבוי."
msgid "Restart the <service_title> service."
msgstr "הפעלה מחדש של השירות <service_title>."
"""
# Contains markup, the separator of a plugin's output, a second line, and a control character.
ODD_TITLE = "<b>\"A\" &amp; 'B'</b> | x\n\tsecond line \x9b31m"


def all_well(panel, database):
    return panel.run("--status")


def one_down(panel, database):
    panel.fake_monitor({"web": 1})
    return panel.run("--status")


def two_down_in_german(panel, database):
    """One of them has no German title."""
    panel.catalogue((PROJECT / "po/de.po").read_text(encoding="utf-8"))
    panel.write_service("web", "Web Server", titles={"de-DE": "Webserver"})
    panel.write_service("mail", "Mailbox Access (IMAP)")
    panel.fake_monitor({"web": 1, "mail": 1})
    return panel.run("--status", "--language=de-DE", env=with_locale(panel, "de_DE"))


def one_down_without_translation(panel, database):
    """The language is German, but every text is English."""
    panel.fake_monitor({"web": 1})
    return panel.run("--status", "--language=de-DE", env=with_locale(panel, "de_DE"))


def repair_in_hebrew(panel, database):
    panel.catalogue(HEBREW, "he")
    panel.write_service("web", titles={"he-IL": "שרת אינטרנט"}, start="echo web: התחיל")
    panel.fake_monitor({"mail": 1})
    return panel.run("--repair", "--language=he-IL", "restart-service:web",
                     env=with_locale(panel, "he_IL"))


def upgrade(panel, database):
    panel.upgrade_tool(1)
    return panel.run("--status")


def repaired(panel, database):
    panel.write_service("web", "Web Server", stop="echo web: was not running any more",
                        start="echo web: started")
    panel.write_service("dns", "Name Server")
    return panel.run("--repair", "restart-service:web", "restart-service:dns")


def repair_failed(panel, database):
    """The service prints much and stays down."""
    panel.write_service("web", "Web Server", start=(
        "i=0; while [ $i -lt 150 ]; do i=$((i+1)); echo \"web: line $i of the journal\"; done\n"
        "echo web: cannot bind to port 80, address in use; exit 1"))
    panel.write_service("dns", "Name Server", start="echo dns: started")
    panel.fake_monitor({"web": 1})
    return panel.run("--repair", "restart-service:web", "restart-service:dns")


def odd_texts(panel, database):
    panel.write_service("web", ODD_TITLE,
                        start="printf '\\n  <pre> \"quoted\" &amp;\\ta\\r\\n\\033[31mred\\n'")
    panel.write_service("mail", "x" * 300)
    panel.write_service("dns", "Q & A")
    panel.fake_monitor({"web": 1, "mail": 1, "dns": 1})
    return panel.run("--repair", "restart-service:web")


def odd_ids(panel, database):
    """Ids with characters that the shell interprets."""
    ids = ["a b", "$(touch x)", "`touch x`", "a;b", 'q"q', "back\\slash", "*", "~", "#x", "ä"]
    for service in [*ids, "it's"]:
        panel.write_service(service, "A")
    database.log_action(START, *(service.replace("\\", "\\\\") for service in ids))
    panel.fake_monitor({service: 1 for service in ids})
    return panel.run("--repair", "restart-service:it's")


SITUATIONS = (all_well, one_down, two_down_in_german, one_down_without_translation,
              repair_in_hebrew, upgrade, repaired, repair_failed, odd_texts, odd_ids)


def with_locale(panel, name):
    """An environment with a locale of that name, in UTF-8."""
    locales = panel.root / "locales"
    locales.mkdir(exist_ok=True)
    subprocess.run(["localedef", "--no-archive", f"--inputfile={name}", "--charmap=UTF-8",
                    locales / name], check=True, stdout=subprocess.DEVNULL)
    return {"LOCPATH": str(locales)}


def report_of(situation, database):
    """The output of keldoctl in one of the SITUATIONS."""
    database.reset()
    done = situation(Panel(), database)
    done.check_returncode()
    return done.stdout


def path_of(situation):
    return REPORTS / f"{situation.__name__}.xml"


def main():
    shutil.rmtree(REPORTS, ignore_errors=True)
    REPORTS.mkdir()
    with Database() as database:
        for situation in SITUATIONS:
            path_of(situation).write_bytes(report_of(situation, database))


if __name__ == "__main__":
    main()
