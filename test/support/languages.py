# SPDX-License-Identifier: MIT
"""The languages that reports come in, as po/LINGUAS lists them."""

import pathlib
import re
from typing import NamedTuple

PO = pathlib.Path(__file__).resolve().parents[2] / "po"


class Language(NamedTuple):
    catalogue: str  # the name of its catalogue: de
    locale: str  # the locale that it is selected by: de_DE

    @property
    def code(self):
        """The code in command lines and reports: de-DE."""
        return self.locale.replace("_", "-")


def listed_languages():
    lines = (PO / "LINGUAS").read_text(encoding="utf-8").splitlines()
    return [Language(*re.fullmatch(r"(\S+) +# (\S+)", line).groups())
            for line in lines if not line.startswith("#")]
