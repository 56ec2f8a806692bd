#!/usr/bin/env python3
"""The arrow check itself: it must accept what is allowed and name what is not."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = pathlib.Path(__file__).with_name("include_arrows.py")


def check(files):
    with tempfile.TemporaryDirectory() as root:
        for name, text in files.items():
            path = pathlib.Path(root, name)
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        return subprocess.run(
            [sys.executable, CHECK, root], capture_output=True, text=True, check=False)


class IncludeArrows(unittest.TestCase):
    def test_ports_the_standard_library_and_json_are_allowed(self):
        result = check({"signalling/a.cpp":
                        '#include <string>\n#include <nlohmann/json.hpp>\n#include "platform/rtc.h"\n'})
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_logic_that_includes_a_library_is_named(self):
        result = check({"input/a.cpp": "#include <xcb/xcb.h>\n"})
        self.assertEqual(result.returncode, 1)
        self.assertIn("input/a.cpp: <xcb/xcb.h>", result.stderr)

    def test_logic_that_includes_an_adapter_is_named(self):
        result = check({"capture/a.h": '#include "platform/x11/x11_screen_capture.h"\n'})
        self.assertEqual(result.returncode, 1)

    def test_an_arrow_against_the_grain_is_named(self):
        result = check({"signalling/a.h": '#include "app/host_controller.h"\n'})
        self.assertIn("no arrow from signalling to app", result.stderr)

    def test_one_technology_may_not_include_another(self):
        result = check({"platform/webrtc/a.cpp": '#include "platform/qt/qt_url.h"\n'})
        self.assertEqual(result.returncode, 1)

    def test_the_composition_root_may_name_adapters(self):
        result = check({"app/main.cpp": '#include "platform/qt/qt_main_queue.h"\n'})
        self.assertEqual(result.returncode, 0)


if __name__ == "__main__":
    unittest.main()
