# SPDX-License-Identifier: MIT
"""Opens the page of a fleet in a headless Chromium, prints what a reader sees, and saves a picture.

Usage: open_fleet_page.py DIRECTORY     the directory with fleet.html; gets fleet.png
"""

import base64
import pathlib
import sys

from browser import Browser

TEXT_OF_EACH = "[...document.querySelectorAll('%s')].map(each => each.innerText.replace(/\\s+/g, ' '))"
ROWS = TEXT_OF_EACH % "table tbody tr:not([hidden])"
FILTER = """(text => {
  const field = document.querySelector('input[type=search]');
  field.value = text;
  field.dispatchEvent(new Event('input', {bubbles: true}));
})"""


def main(directory):
    page = pathlib.Path(directory, "fleet.html").resolve()
    with Browser() as browser:
        browser.view()
        browser.load(page)
        print("heading:", browser.run("document.querySelector('h1').innerText"))
        print("counts:", ", ".join(browser.run(TEXT_OF_EACH % ".counts li")))
        for row in browser.run(ROWS):
            print("row:", row)
        picture = browser.call("Page.captureScreenshot", format="png", captureBeyondViewport=True)
        pathlib.Path(directory, "fleet.png").write_bytes(base64.b64decode(picture["data"]))
        browser.run(FILTER + "('web')")
        print("rows with the filter 'web':", browser.run(ROWS + ".length"))
        browser.run("document.querySelector('table a').click()")
        browser.wait_for("Page.loadEventFired")
        print("the first of them opens:", browser.run("document.querySelector('h1').innerText"))


main(*sys.argv[1:])
