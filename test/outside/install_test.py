"""What the installation puts below the panel's root directory."""

import os
import pathlib
import subprocess
import tempfile
import unittest

BUILD = pathlib.Path(os.environ["KELDOCTL"]).parent


class InstallTest(unittest.TestCase):
    def test_programs_catalogues_and_manuals_are_where_the_panel_looks(self):
        with tempfile.TemporaryDirectory() as root:
            # Below a directory of its own, so that it may be tried with any prefix.
            subprocess.run(["cmake", "--install", BUILD], check=True, stdout=subprocess.DEVNULL,
                           env=os.environ | {"DESTDIR": root})
            files = {str(path.relative_to(root)) for path in pathlib.Path(root).rglob("*")
                     if path.is_file()}
        prefix = "usr/local/"
        self.assertEqual(files, {prefix + name for name in (
            "admin/sbin/keldoctl",
            "libexec/keldoctl/monit-check-status",
            "share/locale/de/LC_MESSAGES/keldoctl.mo",
            "share/man/man8/keldoctl.8",
            "share/man/man8/monit-check-status.8")})


if __name__ == "__main__":
    unittest.main()
