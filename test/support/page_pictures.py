# SPDX-License-Identifier: MIT
"""Makes pictures of the pages, each in light, in dark and as on a phone: of an inspection in eight
states, from recorded inspections, and of a fleet in several states, from made documents.

    python3 test/support/page_pictures.py [DIRECTORY]

The directory is build/pictures by default. Look at the pictures after each change of the page.
README.md and doc/fleet.md show some of them, copied to doc/pictures.
"""

import base64
import pathlib
import sys
import tempfile

from browser import Browser
from pages import PHONE
from panel import PROJECT
from recorded_fleets import thousand
from views import FLEETS, fleet, inspected, show

STATES = ("all_well", "stopped", "mixed", "two_down_in_german", "forty_down", "disk_full",
          "repair_failed", "upgrade")
WIDTH = 1024  # CSS pixels
MOST_HEIGHT = 2400  # CSS pixels; the picture of a longer page is cut


def pages():
    """The pages by the names of their pictures."""
    for state in STATES:
        yield state, show("html", inspected(state))
    for path in FLEETS.iterdir():
        yield f"fleet_{path.stem}", show("fleet-html", path.read_bytes())
    yield "fleet_thousand", show("fleet-html", thousand())
    # There is no translation into Hebrew, but the page is laid out from right to left.
    for language in ("de-DE", "he-IL"):
        yield f"fleet_{language}", show("fleet-html", fleet("all_states"), language=language)


def take_picture(browser, width, scheme):
    """The bytes of a picture of the loaded page, as high as the page."""
    browser.view(width=width, height=1, scheme=scheme)
    height = browser.run("document.documentElement.scrollHeight")
    browser.view(width=width, height=min(height, MOST_HEIGHT), scheme=scheme)
    return base64.b64decode(browser.call("Page.captureScreenshot", format="png")["data"])


def main(directory=PROJECT / "build/pictures"):
    directory = pathlib.Path(directory)
    directory.mkdir(parents=True, exist_ok=True)
    with Browser() as browser, tempfile.NamedTemporaryFile(suffix=".html") as file:
        for name, page in pages():
            pathlib.Path(file.name).write_text(page, encoding="utf-8")
            browser.load(file.name)
            for kind, width, scheme in (("light", WIDTH, "light"), ("dark", WIDTH, "dark"),
                                        ("phone", PHONE, "light")):
                (directory / f"{name}-{kind}.png").write_bytes(take_picture(browser, width, scheme))


if __name__ == "__main__":
    main(*sys.argv[1:])
