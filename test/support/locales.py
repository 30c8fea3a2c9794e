# SPDX-License-Identifier: MIT
"""The locales that keldoctl installs, on a private host that has no other locale but C.UTF-8."""

import os
import pathlib
import shutil
import subprocess
import tempfile

from panel import BUILD, PATH, require_private_host

SYSTEM = pathlib.Path("/usr/lib/locale")
ALIASES = pathlib.Path("/usr/share/locale/locale.alias")  # not there without the package locales


def charset_of(locale):
    """The charset of a locale of the system; ASCII if the system has no such locale."""
    return subprocess.run(["locale", "charmap"], env={"PATH": PATH, "LC_ALL": locale}, check=True,
                          stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout[:-1]


def install_catalogues(panel):
    """Installs the message catalogues of the build in a panel."""
    shutil.copytree(BUILD / "share/locale", panel.root / "share/locale", dirs_exist_ok=True)


class StockLocales:
    """Hides all locales of the host but C.UTF-8 until the test ends, and installs those of keldoctl
    below a prefix that the system does not search."""

    def __init__(self, test):
        require_private_host()
        directory = tempfile.TemporaryDirectory()
        test.addCleanup(directory.cleanup)
        self._kept = pathlib.Path(directory.name, "kept")
        self._kept.mkdir()
        test.addCleanup(self._give_back)
        self._take_away()
        prefix = pathlib.Path(directory.name, "prefix")
        subprocess.run(["cmake", "--install", BUILD, "--prefix", prefix, "--component", "locales"],
                       check=True, stdout=subprocess.DEVNULL)
        self.ours = prefix / "lib/keldoctl/locale"
        self.program, = prefix.rglob("link-locales")

    def run(self, *arguments, **options):
        """Runs link-locales."""
        return subprocess.run([self.program, *arguments], check=False, text=True,
                              capture_output=True, env={"PATH": PATH}, **options)

    def _take_away(self):
        shutil.move(SYSTEM, self._kept / "locale")
        shutil.copytree(self._kept / "locale/C.utf8", SYSTEM / "C.utf8")
        if os.path.lexists(ALIASES):
            shutil.move(ALIASES, self._kept / "aliases")

    def _give_back(self):
        shutil.rmtree(SYSTEM)
        shutil.move(self._kept / "locale", SYSTEM)
        ALIASES.unlink(missing_ok=True)
        if os.path.lexists(self._kept / "aliases"):
            shutil.move(self._kept / "aliases", ALIASES)
