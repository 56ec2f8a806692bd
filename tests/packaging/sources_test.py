#!/usr/bin/env python3
"""The files in packaging/ agree with each other and with what reads them."""

import os
import pathlib
import re
import unittest
import xml.etree.ElementTree as ElementTree

SOURCES = pathlib.Path(os.environ["TOVALIN_SOURCES"])
PACKAGING = SOURCES / "packaging"
VERSION = os.environ["TOVALIN_VERSION"]
SVG = "{http://www.w3.org/2000/svg}"


class Versions(unittest.TestCase):
    def test_the_changelog_begins_with_the_version_that_is_built(self):
        first = (PACKAGING / "deb/changelog").read_text(encoding="utf-8").splitlines()[0]
        self.assertRegex(first, rf"^tovalin \({re.escape(VERSION)}-\d+\) ")

    def test_the_metainfo_lists_the_version_that_is_built_first(self):
        tree = ElementTree.parse(PACKAGING / "com.tovalin.host.metainfo.xml")
        self.assertEqual(tree.find("releases/release").get("version"), VERSION)


class Icons(unittest.TestCase):
    # What Qt draws. More would be left out of the picture without a word.
    DRAWN = {"svg", "path", "rect", "circle", "defs", "linearGradient", "stop"}
    TRAY = {"exclamationmark.triangle", "dot.radiowaves.left.and.right", "rectangle.on.rectangle"}

    @staticmethod
    def elements(file):
        return list(ElementTree.parse(file).getroot().iter())

    def test_only_shapes_that_qt_draws_are_used(self):
        files = sorted((PACKAGING / "icons").rglob("*.svg"))
        self.assertTrue(files)
        for file in files:
            for element in self.elements(file):
                with self.subTest(file=file.name):
                    self.assertIn(element.tag.removeprefix(SVG), self.DRAWN)
                    self.assertFalse({"class", "style"} & set(element.keys()))

    def test_symbols_are_black_on_one_grid(self):
        files = sorted((PACKAGING / "icons/symbols").glob("*.svg"))
        self.assertTrue(files)
        for file in files:
            with self.subTest(file=file.name):
                elements = self.elements(file)
                self.assertEqual(elements[0].get("viewBox"), "0 0 24 24")
                paints = {e.get(key) for e in elements for key in ("fill", "stroke")}
                self.assertLessEqual(paints, {None, "none", "#000"})

    def test_the_tray_has_every_symbol_in_every_size(self):
        for size in ("16", "22", "24", "32"):
            folder = PACKAGING / "icons/tray" / size
            self.assertEqual({file.stem for file in folder.glob("*.svg")}, self.TRAY)
            for file in folder.glob("*.svg"):
                self.assertEqual(self.elements(file)[0].get("viewBox"), f"0 0 {size} {size}")


if __name__ == "__main__":
    unittest.main()
