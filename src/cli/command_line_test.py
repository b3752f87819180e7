#!/usr/bin/env python3
"""kestrav-cli's command line as a newcomer types it: help, versions, forgiving names and days.

Usage: command_line_test.py /path/to/kestrav-cli [unittest options]
"""
import fcntl
import os
import pty
import re
import subprocess
import sys

sys.dont_write_bytecode = True  # no __pycache__ beside the sources
import e2e_support  # noqa: E402
from e2e_support import Profile, rows  # noqa: E402


class CommandLine(e2e_support.TemporaryFolderCase):
    def cli(self, *args, expect=0):
        result = subprocess.run([e2e_support.CLI, *args], capture_output=True, text=True,
                                env=dict(os.environ, KESTRAV_DEVICE=self.path("nowhere")))
        self.assertEqual(result.returncode, expect, (args, result.stdout, result.stderr))
        return result

    def test_help_version_and_errors_that_point_to_the_right_help(self):
        self.assertRegex(self.cli("--version").stdout, r"^kestrav-cli \d+\.\d+\.\d+\n$")
        self.assertIn("--days", self.cli("help", "schedule", "set").stdout)
        self.assertIn("restore", self.cli("help").stdout)
        self.assertEqual(self.cli("help", "frob", expect=1).stderr,
                         'kestrav-cli: help: no command "frob" (see kestrav-cli --help)\n')
        self.assertEqual(self.cli("frob", expect=1).stderr,
                         'kestrav-cli: no command "frob" (see kestrav-cli --help)\n')
        self.assertEqual(self.cli("device", "frob", expect=1).stderr,
                         'kestrav-cli: no command "frob" (see kestrav-cli device --help)\n')
        refused = self.cli("restore", "--bogus", "x", expect=1).stderr
        self.assertTrue(refused.endswith("(see kestrav-cli restore --help)\n"), refused)
        refused = self.cli("schedule", "set", "--days", expect=1).stderr
        self.assertTrue(refused.endswith("(see kestrav-cli schedule set --help)\n"), refused)

    def test_options_and_names_as_a_user_types_them(self):
        device = Profile(self, "device").init("--sample")
        # --device after the command, a kind in capitals, a name without ".qbk".
        backup = subprocess.run([e2e_support.CLI, "backup", "--kinds", "Contacts, CallLogs",
                                 "--output", self.path("mine"), "--device", device.folder],
                                capture_output=True, text=True, check=True)
        self.assertTrue(backup.stdout.endswith(f"Backup file: {self.path('mine.qbk')}\n"))
        # A folder as --output gets the day's name inside it.
        folder = self.path("backups")
        os.mkdir(folder)
        written = device.run("backup", "--kinds", "tasks", "--output", folder).stdout
        self.assertRegex(written, r"Backup file: .*/backups/Kestrav_\d{8}\.qbk\n$")

        refused = device.run("restore", folder, expect=1).stderr
        self.assertIn("is a folder", refused)
        # A mode alone goes to every chosen kind that offers it; the others are named.
        restored = device.run("restore", self.path("mine.qbk"), "--mode", "add-update")
        self.assertIn("calllogs cannot be restored that way and keep delete-all", restored.stderr)
        log = rows(restored.stdout)
        self.assertIn("24 contacts updated in the database.", log)
        self.assertTrue([r for r in log if r.endswith("deleted from the database.")
                         and "call" in r])

    def test_import_reads_the_files_users_have_and_says_what_the_rules_did(self):
        device = Profile(self, "device").init()

        def write(name, data):
            with open(self.path(name), "wb") as out:
                out.write(data)
            return self.path(name)

        # UTF-8 with and without its byte order mark: neither "CÃ©lia" nor a first name spoilt.
        for name, mark in (("plain.csv", b""), ("marked.csv", b"\xef\xbb\xbf")):
            utf8 = write(name, mark + "Name,Title,First Name\r\nCélia Roy,,Célia\r\n".encode())
            self.assertIn("1. 'Célia Roy' inserted.",
                          rows(device.run("import-contacts", utf8, "--mode", "duplicates").stdout))
        latin9 = write("latin9.txt", "Name\r\n€uro Shop\r\n".encode("iso-8859-15"))
        self.assertIn("1. '€uro Shop' inserted.", rows(device.run(
            "import-contacts", latin9, "--encoding", "ISO-8859-15").stdout))
        self.assertIn("--encoding UTF-16: its separators and line ends are not those of ASCII",
                      device.run("import-contacts", latin9, "--encoding", "UTF-16",
                                 expect=1).stderr)

        # A semicolon file read with the default comma is refused with the hint; ";" reads it.
        semicolons = write("semi.csv", b"Name;First Name\r\nBo Lind;Bo\r\n")
        refused = device.run("import-contacts", semicolons, expect=1).stderr
        self.assertTrue(refused.endswith(
            "gives no contact column a value from this file, so every contact would come in "
            "empty; nothing was imported (its first line looks separated by semicolons: add "
            "--delimiter \";\")\n"), refused)
        self.assertIn("1. 'Bo Lind' inserted.",
                      rows(device.run("import-contacts", semicolons, "--delimiter", ";").stdout))
        tabs = write("tabs.txt", b"Name\tCompany\r\nAl Tab\tAcme\r\n")
        self.assertIn("1. 'Al Tab' inserted.",
                      rows(device.run("import-contacts", tabs, "--delimiter", "\\t").stdout))

        # The handheld's rules, kept and told after the rows: a 4-column file leaves "E-mail
        # Address" empty though mapped, and a contact without a Name comes in again each time.
        four = write("four.csv", b"Name,Title,Given,Mail\r\n,,Nobody,n@example.org\r\n")
        for _ in range(2):
            imported = device.run("import-contacts", four, "--map",
                                  "First Name=Given,E-mail Address=Mail").stdout
            self.assertIn("1. '' inserted.", rows(imported))
            self.assertTrue(imported.endswith(
                'Note: "E-mail Address" was mapped but stayed empty: only contact columns within '
                "the file's column count (4) are filled; a first line of 21 columns or more "
                "(empty names will do) keeps it.\n"
                'Note: The file\'s columns "Name" and "Title" fed no contact column.\n'
                "Note: 1 contact was added without a Name (file-as), which is what an import finds "
                "a contact by: importing the file again adds it again.\n"), imported)

    def test_days_as_a_user_writes_them(self):
        device = Profile(self, "device").init()
        environment = dict(os.environ, XDG_CONFIG_HOME=self.path("config"),
                           XDG_DATA_HOME=self.path("data"))
        for days, shown in (("mon-fri", "Monday, Tuesday, Wednesday, Thursday, Friday"),
                            ("Weekend", "Sunday, Saturday"),
                            ("fri-mon", "Sunday, Monday, Friday, Saturday"),
                            ("mon, Thursday", "Monday, Thursday"),
                            ("weekdays,sat", "Monday, Tuesday, Wednesday, Thursday, Friday, "
                                             "Saturday")):
            with self.subTest(days=days):
                device.run("schedule", "set", "--days", days, "--time", "10:00", "--folder",
                           self.tmp, env=environment)
                self.assertIn(f"Days: {shown}\n",
                              device.run("schedule", "show", env=environment).stdout)
        for days in ("xyz", "mon-xx", ","):
            with self.subTest(days=days):
                device.run("schedule", "set", "--days", days, "--time", "10:00", expect=1,
                           env=environment)
        # A start at midnight never runs: said once, and no next run shown.
        midnight = device.run("schedule", "set", "--days", "all", "--time", "00:00", "--folder",
                              self.tmp, env=environment).stdout
        self.assertEqual(midnight.count("00:00"), 1, midnight)
        self.assertNotIn("Next run", midnight)
        self.assertIn("Next run: none, as on the handheld a start time of 00:00 never runs\n",
                      device.run("schedule", "show", env=environment).stdout)
        device.run("schedule", "clear", env=environment)
        # The timer's own command line with no schedule left says so in one line.
        unattended = subprocess.run([e2e_support.CLI, "/SchedBackup"], capture_output=True,
                                    text=True, env=dict(environment, KESTRAV_DEVICE=device.folder))
        self.assertEqual(unattended.returncode, 0)
        self.assertEqual(len((unattended.stdout + unattended.stderr).splitlines()), 1)

    def test_device_info_shows_what_the_profile_holds(self):
        device = Profile(self, "device").init("--sample", "--code-page", "1251")
        device.run("backup", "--kinds", "tasks")
        info = device.run("device", "info").stdout.splitlines()
        self.assertEqual(info[:9], [
            f"Profile: {device.folder}",
            "Device: Windows Mobile 2005 (OS version 5), code page 1251",
            "Items: contacts 25", "Items: appointments 30", "Items: tasks 15",
            "Items: call logs 40", "Items: speed dials 8", "Items: messages 31",
            f"Backup folder: \\Storage Card ({device.folder}/fs/Storage Card)"])
        self.assertEqual(len(info), 10)
        self.assertRegex(info[9], r"^Backup: Kestrav_\d{8}\.qbk  \d{4}-\d\d-\d\d \d\d:\d\d  \d+ bytes$")

    def test_leftovers_of_killed_backups_go_unless_another_job_writes_there(self):
        device = Profile(self, "device").init()
        folder = self.path("backups")
        os.mkdir(folder)
        leftovers = ["Kestrav_20261101.qbk.partial", "mine.qbk.partial"]
        for name in leftovers + ["film.mkv.partial"]:
            with open(os.path.join(folder, name), "wb") as file:
                file.write(b"PK\x03\x04")
        # A backup of another profile is writing into the folder: its files stay.
        descriptor = os.open(folder, os.O_RDONLY | os.O_DIRECTORY)
        fcntl.flock(descriptor, fcntl.LOCK_SH)
        device.run("backup", "--kinds", "tasks", "--output", os.path.join(folder, "a.qbk"))
        os.close(descriptor)
        self.assertTrue(all(os.path.exists(os.path.join(folder, name)) for name in leftovers))
        device.run("backup", "--kinds", "tasks", "--output", os.path.join(folder, "b.qbk"))
        self.assertEqual(sorted(os.listdir(folder)), ["a.qbk", "b.qbk", "film.mkv.partial"])

    def on_terminal(self, device, *args, answer=None):
        """Runs a command on a pseudo-terminal, answering its question; its status and output."""
        controller, terminal = pty.openpty()
        process = subprocess.Popen(device.command(*args), stdin=terminal, stdout=terminal,
                                   stderr=terminal, close_fds=True)
        os.close(terminal)
        if answer is not None:
            os.write(controller, answer.encode() + b"\n")
        output = b""
        while True:
            try:
                chunk = os.read(controller, 65536)
            except OSError:  # the program ended and closed the terminal
                break
            if not chunk:
                break
            output += chunk
        os.close(controller)
        return process.wait(timeout=60), output.decode(errors="replace")

    def test_a_terminal_is_asked_before_deleting_and_shows_the_kind_in_hand(self):
        device = Profile(self, "device").init("--sample")
        archive = self.path("all.qbk")
        status, output = self.on_terminal(device, "backup", "--output", archive)
        self.assertEqual(status, 0, output)
        for kind in ("contacts 1/6", "appointments 2/6", "messages 6/6"):
            self.assertIn(kind, output)
        before = device.dump()

        # Restoring deletes first by default: the terminal is told what goes, and "no" keeps it.
        status, output = self.on_terminal(device, "restore", archive, "--mode",
                                          "calllogs=add-new", answer="n")
        self.assertEqual(status, 1, output)
        self.assertRegex(output, r"deletes these from the device first: 25 contacts, 30 "
                         r"appointments, 15 tasks, 8 speed dials, 31 messages \(of the folders "
                         r"restored\)\. Go on\? \[y/N\]")
        self.assertIn("kestrav-cli: nothing restored", output)
        self.assertEqual(device.dump(), before)
        self.assertEqual(os.listdir(os.path.join(device.folder, "fs", "Temp")), [])
        status, output = self.on_terminal(device, "restore", archive, "--kinds", "contacts",
                                          answer="y")
        self.assertEqual(status, 0, output)
        self.assertIn("25 contacts", output)
        # --yes, or no terminal, asks nothing; a pipe gets only the rows, no bars.
        status, output = self.on_terminal(device, "restore", archive, "--kinds", "tasks", "--yes")
        self.assertEqual(status, 0, output)
        self.assertNotIn("Go on?", output)
        piped = device.run("restore", archive, "--kinds", "tasks").stdout
        self.assertTrue(all(re.match(r"^\d\d:\d\d:\d\d  ", line) for line in piped.splitlines()
                            if not line.startswith("Note: ")), piped)


if __name__ == "__main__":
    e2e_support.main("command_line_test.py")
