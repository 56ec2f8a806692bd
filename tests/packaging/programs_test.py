#!/usr/bin/env python3
"""The programs out of the packages: they start where they were unpacked, and find each other."""

import os
import pathlib
import queue
import re
import signal
import subprocess
import tempfile
import threading
import time
import unittest
import urllib.request

PATIENCE_SECONDS = 30


class Program:
    """A program in an environment of its own. What it prints is read line by line."""

    def __init__(self, words, env, extra_descriptor=None):
        descriptors = () if extra_descriptor is None else (extra_descriptor,)
        # Must not outlive a test that is killed.
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "--", *words], env=env, pass_fds=descriptors,
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        self.lines = []
        self._new_lines = queue.SimpleQueue()
        self._reader = threading.Thread(target=self._read)
        self._reader.start()

    def _read(self):
        for line in self.process.stdout:
            self._new_lines.put(line.decode(errors="replace").rstrip("\n"))
        self._new_lines.put(None)

    def wait_for(self, pattern):
        """The match in the next line that has one."""
        deadline = time.monotonic() + PATIENCE_SECONDS
        while True:
            try:
                line = self._new_lines.get(timeout=max(0, deadline - time.monotonic()))
            except queue.Empty:
                line = None
            if line is None:
                raise AssertionError(f"no {pattern!r} in: {self.lines}")
            self.lines.append(line)
            if match := re.search(pattern, line):
                return match

    def stop(self):
        """Ends it as a session does, and returns its exit status."""
        self.process.send_signal(signal.SIGTERM)
        status = self.process.wait(PATIENCE_SECONDS)
        self._reader.join(PATIENCE_SECONDS)
        while (line := self._new_lines.get()) is not None:
            self.lines.append(line)
        return status

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self._reader.join()
        self.process.stdin.close()
        self.process.stdout.close()


class InstalledPrograms(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        for package in ("TOVALIN_HOST_PACKAGE", "TOVALIN_SIGNAL_PACKAGE"):
            subprocess.run(["dpkg-deb", "-x", os.environ[package], self.root], check=True)
        self.env = {"PATH": os.environ["PATH"], "LANG": "C.UTF-8", "HOME": str(self.folder("home"))}
        for name in ("CONFIG", "DATA", "STATE", "CACHE"):
            self.env[f"XDG_{name}_HOME"] = str(self.folder(name.lower()))
        self.env["XDG_RUNTIME_DIR"] = str(self.folder("runtime"))
        # No bus: nothing of the machine's own session may answer.
        for bus in ("SESSION", "SYSTEM"):
            self.env[f"DBUS_{bus}_BUS_ADDRESS"] = f"unix:path={self.root}/no-bus"

    def folder(self, name):
        path = self.root / name
        path.mkdir(mode=0o700)
        return path

    def start(self, words, **options):
        program = Program(words, self.env, **options)
        self.addCleanup(program.close)
        return program

    def start_server(self):
        server = self.start([self.root / "usr/bin/tovalin-signal", "--listen", "127.0.0.1:0"])
        return server, int(server.wait_for(r"^READY (\d+)$")[1])

    def start_display(self):
        reading, writing = os.pipe()
        with open(reading, encoding="ascii") as answer:
            self.start(["Xvfb", "-displayfd", str(writing), "-screen", "0", "1024x768x24",
                        "-nolisten", "tcp", "-noreset"], extra_descriptor=writing)
            os.close(writing)
            number = answer.readline().strip()
        self.assertTrue(number, "Xvfb has not started")
        return f":{number}"

    def test_the_server_serves_the_page_that_came_with_it(self):
        server, port = self.start_server()
        page = f"http://127.0.0.1:{port}/"
        with urllib.request.urlopen(page, timeout=PATIENCE_SECONDS) as answer:
            index = answer.read()
        self.assertEqual(
            index, (self.root / "usr/share/tovalin-signal/viewer/index.html").read_bytes())
        script = re.search(rb'<script type="module" src="([^"]+)"', index)[1].decode()
        with urllib.request.urlopen(page + script, timeout=PATIENCE_SECONDS) as answer:
            self.assertEqual(answer.headers.get_content_type(), "text/javascript")
        self.assertEqual(server.stop(), 0)

    def test_the_host_comes_up_on_a_fresh_desktop_and_offers_a_pin(self):
        _, port = self.start_server()
        settings = pathlib.Path(self.env["XDG_CONFIG_HOME"], "com.tovalin.host/settings.ini")
        settings.parent.mkdir(mode=0o700)
        settings.write_text(
            f"[General]\ntovalin.serverURL=ws://127.0.0.1:{port}/signal\n", encoding="ascii")
        self.env["DISPLAY"] = self.start_display()
        self.env["XDG_SESSION_TYPE"] = "x11"
        host = self.start([self.root / "usr/bin/tovalin-host"])
        host.wait_for(r"^Status: Waiting for a viewer")
        host.wait_for(r"^PIN: \d{6}$")
        self.assertEqual(host.stop(), 0, host.lines)
        # What the windows lack is logged; a QML module that no package brought would be here.
        self.assertFalse([line for line in host.lines if "] window:" in line])


if __name__ == "__main__":
    unittest.main()
