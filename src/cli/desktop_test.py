#!/usr/bin/env python3
"""kestrav-cli's desktop command: the file types and the applications menu entry it makes in
temporary XDG folders, for the window program installed beside it.

Usage: desktop_test.py /path/to/kestrav-cli [unittest options]
"""
import os
import shutil
import stat
import sys

sys.dont_write_bytecode = True  # no __pycache__ beside the sources
import e2e_support  # noqa: E402
from e2e_support import Profile  # noqa: E402


class Desktop(e2e_support.TemporaryFolderCase):
    def setUp(self):
        super().setUp()
        if not shutil.which("update-mime-database"):
            self.skipTest("update-mime-database is not installed (shared-mime-info)")
        # An installation of its own: kestrav-cli with the window program beside it.
        self.bin = self.path("bin")
        os.makedirs(self.bin)
        self.cli = os.path.join(self.bin, "kestrav-cli")
        shutil.copy(e2e_support.CLI, self.cli)
        self.window = os.path.join(self.bin, "kestrav")
        with open(self.window, "w") as program:
            program.write("#!/bin/sh\n")
        os.chmod(self.window, stat.S_IRWXU)
        self.addCleanup(setattr, e2e_support, "CLI", e2e_support.CLI)
        e2e_support.CLI = self.cli
        self.env = {**os.environ, "XDG_DATA_HOME": self.path("data"),
                    "XDG_CONFIG_HOME": self.path("config")}
        self.profile = Profile(self, "device").init()
        self.applications = os.path.join(self.path("data"), "applications")

    def run_desktop(self, *args, expect=0):
        return self.profile.run("desktop", *args, expect=expect, env=self.env)

    def exec_line(self, entry):
        with open(os.path.join(self.applications, entry)) as text:
            (line,) = [line for line in text.read().splitlines() if line.startswith("Exec=")]
        return line

    def test_types_open_in_the_window_beside_and_register_again_once_it_goes(self):
        self.assertIn("File types: not registered", self.run_desktop("show").stdout)
        self.run_desktop("register")
        self.assertEqual(self.exec_line("kestrav-open.desktop"), f'Exec="{self.window}" %f')
        self.assertIn("File types: registered", self.run_desktop("show").stdout)
        # Without the window program the command-line program is the one, so the types are
        # registered for another program until they are registered again.
        os.remove(self.window)
        self.assertIn("File types: not registered", self.run_desktop("show").stdout)
        self.run_desktop("register")
        self.assertEqual(self.exec_line("kestrav-open.desktop"), f'Exec="{self.cli}" %f')

    def test_the_shortcut_comes_and_goes_and_is_recorded_when_it_cannot_be_made(self):
        self.run_desktop("shortcut", "on")
        self.assertEqual(self.exec_line("Kestrav.desktop"), f'Exec="{self.window}"')
        self.assertIn("Create Shortcut: checked", self.run_desktop("show").stdout)
        self.run_desktop("shortcut", "off")
        self.assertFalse(os.path.exists(os.path.join(self.applications, "Kestrav.desktop")))
        self.assertIn("Create Shortcut: not checked", self.run_desktop("show").stdout)
        # A folder in the entry's place cannot go: no entry is made, yet the menu shows it set.
        os.makedirs(os.path.join(self.applications, "Kestrav.desktop", "kept"))
        failed = self.run_desktop("shortcut", "on", expect=1)
        self.assertIn("could not be made", failed.stderr)
        self.assertIn("Create Shortcut: checked", self.run_desktop("show").stdout)
        self.assertTrue(os.path.isdir(os.path.join(self.applications, "Kestrav.desktop", "kept")))
        self.run_desktop("shortcut", "off", expect=1)


if __name__ == "__main__":
    e2e_support.main("desktop_test.py")
