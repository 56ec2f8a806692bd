#!/usr/bin/env python3
"""What the packages hold."""

import os
import pathlib
import re
import subprocess
import tempfile
import unittest

SOURCES = pathlib.Path(os.environ["TOVALIN_SOURCES"])
VIEWER = SOURCES / "companion/viewer"


class Package:
    def __init__(self, file):
        self._folder = tempfile.TemporaryDirectory()
        self.root = pathlib.Path(self._folder.name)
        subprocess.run(["dpkg-deb", "--raw-extract", file, self.root], check=True)

    def files(self, under="."):
        folder = self.root / under
        return {str(p.relative_to(folder)) for p in folder.rglob("*") if not p.is_dir()}

    def text(self, name):
        return (self.root / name).read_text(encoding="utf-8")

    def depends(self):
        field = re.search(r"^Depends: (.*)$", self.text("DEBIAN/control"), re.MULTILINE)[1]
        return {re.match(r"[^ ]+", word)[0] for word in field.split(", ")}

    def close(self):
        self._folder.cleanup()


def imported_qml_modules():
    """Folders of the modules that the windows import, and of those that these import."""
    (modules,) = pathlib.Path("/usr/lib").glob("*/qt6/qml")
    found, waiting = set(), set()
    for file in (SOURCES / "ui/qml").glob("*.qml"):
        waiting |= set(re.findall(r"^import ([A-Z][\w.]*)", file.read_text("utf-8"), re.MULTILINE))
    while waiting:
        folder = modules / waiting.pop().replace(".", "/")
        # What has no folder, QtQml.Models for one, is inside a library.
        if folder in found or not folder.is_dir():
            continue
        found.add(folder)
        qmldir = (folder / "qmldir").read_text("utf-8")
        waiting |= set(re.findall(r"^(?:import|depends) ([\w.]+)", qmldir, re.MULTILINE))
    return found


class Contents(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.host = Package(os.environ["TOVALIN_HOST_PACKAGE"])
        cls.addClassCleanup(cls.host.close)
        cls.signal = Package(os.environ["TOVALIN_SIGNAL_PACKAGE"])
        cls.addClassCleanup(cls.signal.close)

    def test_the_host_brings_what_a_desktop_looks_for(self):
        self.assertEqual(self.host.files("usr"), {
            "bin/tovalin-host",
            "share/applications/com.tovalin.host.desktop",
            "share/doc/tovalin-host/changelog.Debian.gz",
            "share/doc/tovalin-host/copyright",
            "share/icons/hicolor/scalable/apps/com.tovalin.host.svg",
            "share/lintian/overrides/tovalin-host",
            "share/man/man1/tovalin-host.1.gz",
            "share/metainfo/com.tovalin.host.metainfo.xml",
        })

    def test_the_host_depends_on_the_qml_modules_that_its_windows_import(self):
        owners = subprocess.run(
            ["dpkg-query", "--search", *(folder / "qmldir" for folder in imported_qml_modules())],
            check=True, capture_output=True, text=True).stdout
        needed = set(re.findall(r"^(qml6-module-[^:]+):", owners, re.MULTILINE))
        self.assertTrue(needed)
        self.assertEqual({p for p in self.host.depends() if p.startswith("qml6-")}, needed)

    def test_the_server_brings_the_whole_page(self):
        page = {str(p.relative_to(VIEWER)) for p in VIEWER.rglob("*") if not p.is_dir()}
        page.remove("package.json")  # for the tests' runner
        self.assertIn("index.html", page)
        self.assertEqual(self.signal.files("usr/share/tovalin-signal/viewer"), page)

    def test_the_server_brings_its_service_and_papers(self):
        page = {f for f in self.signal.files("usr") if f.startswith("share/tovalin-signal/viewer/")}
        self.assertEqual(self.signal.files("usr") - page, {
            "bin/tovalin-signal",
            "lib/systemd/system/tovalin-signal.service",
            "share/doc/tovalin-signal/README.Debian",
            "share/doc/tovalin-signal/changelog.Debian.gz",
            "share/doc/tovalin-signal/copyright",
            "share/lintian/overrides/tovalin-signal",
            "share/man/man1/tovalin-signal.1.gz",
        })

    def test_nothing_lies_outside_usr_but_the_servers_configuration(self):
        self.assertEqual({p.name for p in self.host.root.iterdir()}, {"DEBIAN", "usr"})
        self.assertEqual({p.name for p in self.signal.root.iterdir()}, {"DEBIAN", "usr", "etc"})
        self.assertEqual(self.signal.files("etc"), {"tovalin-signal.conf"})

    def test_the_servers_configuration_is_its_administrators(self):
        conffiles = (self.signal.root / "DEBIAN/conffiles").read_text()
        self.assertEqual(conffiles, "/etc/tovalin-signal.conf\n")

    def test_the_service_starts_the_installed_program(self):
        unit = self.signal.text("usr/lib/systemd/system/tovalin-signal.service")
        self.assertIn(
            "\nExecStart=/usr/bin/tovalin-signal --config /etc/tovalin-signal.conf "
            "$TOVALIN_SIGNAL_OPTIONS\n", unit)

    def test_the_maintainer_scripts_can_be_run(self):
        for name in ("postinst", "prerm", "postrm"):
            script = self.signal.root / "DEBIAN" / name
            self.assertTrue(os.access(script, os.X_OK))
            subprocess.run(["sh", "-n", script], check=True)


if __name__ == "__main__":
    unittest.main()
