# SPDX-License-Identifier: MIT
"""Makes pictures of the page in eight states, each in light and dark, from recorded inspections.

    python3 test/support/page_pictures.py [DIRECTORY]

The directory is build/pictures by default. Look at the pictures after each change of the page.
README.md shows two of them, copied to doc/pictures.
"""

import base64
import pathlib
import sys
import tempfile

from browser import Browser
from panel import PROJECT
from views import inspected, show

STATES = ("all_well", "stopped", "mixed", "two_down_in_german", "forty_down", "disk_full",
          "repair_failed", "upgrade")
WIDTH = 1024  # CSS pixels


def main(directory=PROJECT / "build/pictures"):
    directory = pathlib.Path(directory)
    directory.mkdir(parents=True, exist_ok=True)
    with Browser() as browser, tempfile.NamedTemporaryFile(suffix=".html") as page:
        for state in STATES:
            pathlib.Path(page.name).write_text(show("html", inspected(state)), encoding="utf-8")
            for scheme in ("light", "dark"):
                browser.view(width=WIDTH, height=1, scheme=scheme)
                browser.load(page.name)
                browser.view(width=WIDTH, scheme=scheme,
                             height=browser.run("document.documentElement.scrollHeight"))
                picture = browser.call("Page.captureScreenshot", format="png")["data"]
                (directory / f"{state}-{scheme}.png").write_bytes(base64.b64decode(picture))


if __name__ == "__main__":
    main(*sys.argv[1:])
