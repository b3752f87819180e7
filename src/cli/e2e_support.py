"""What the kestrav-cli end-to-end suites share: profiles in temporary folders, status rows, the
program's path from the command line."""
import json
import os
import re
import subprocess
import sys
import tempfile
import time
import unittest
import zipfile

CLI = None  # set from the command line by main()
ROW = re.compile(r"^\d\d:\d\d:\d\d  (.*)$")

# "Kestrav PIM records!" with every byte one up, as line 1 of a call-log file holds it.
SIGNATURE = ("0x4c,0x66,0x74,0x75,0x73,0x62,0x77,0x21,0x51,0x4a,0x4e,0x21,0x73,0x66,0x64,0x70,"
             "0x73,0x65,0x74,0x22")

# Two calls covering each value text; the second lacks a property (flagged not found).
TWO_CALLS = [
    {"props": [
        {"id": "0x80010003", "value": -95},
        {"id": "0x0002001F", "value": "Zoë 王小明 \U0001F4DE"},
        {"id": "0x00030040", "value": "0xd4,0xc3,0xb2,0xa1,0xf5,0x66,0xc7,0x01"},
        {"id": "0x00040041", "value": "0x00,0xff,0x10"}]},
    {"props": [
        {"id": "0x00050005", "value": 1.5},
        {"id": "0x0006001F", "flags": 256},
        {"id": "0x00070012", "value": 65535}]},
]
TWO_CALLS_FILE = (
    '\ufeff"' + SIGNATURE + '"\r\n"0x02,0x00,0x00,0x00"\r\n'
    '"0x04,0x00";"0x03,0x00,0x01,0x80";"0x1f,0x00,0x02,0x00";"0x40,0x00,0x03,0x00";'
    '"0x41,0x00,0x04,0x00";-95;Zoë 王小明 \U0001F4DE;0xd4,0xc3,0xb2,0xa1,0xf5,0x66,0xc7,0x01;'
    '0x00,0xff,0x10;\r\n'
    '"0x03,0x00";"0x05,0x00,0x05,0x00";"0x1f,0x00,0x06,0x00";"0x12,0x00,0x07,0x00";'
    '1.500000;65535;\r\n').encode("utf-16-le")


class Profile:
    """One stand-in handheld in a folder of the test's temporary directory."""

    def __init__(self, test, name):
        self.test = test
        self.folder = os.path.join(test.tmp, name)

    def command(self, *args):
        return [CLI, "--device", self.folder, *args]

    def run(self, *args, expect=0, stdin=None, timeout=60, **options):
        """Runs a command and checks its exit status; a failure says why in one line.
        options go to subprocess.run (preexec_fn, cwd, env)."""
        result = subprocess.run(self.command(*args), input=stdin,
                                stdin=None if stdin is not None else subprocess.DEVNULL,
                                capture_output=True, text=True, timeout=timeout, **options)
        self.test.assertEqual(result.returncode, expect,
                              f"{args}\nstdout:\n{result.stdout[-2000:]}\nstderr:\n{result.stderr}")
        if expect != 0:
            self.test.assertRegex(result.stderr, r"^kestrav-cli: .+\n$")
        return result

    def init(self, *options):
        self.run("device", "init", *options)
        return self

    def dump(self, what="clog.db"):
        return json.loads(self.run("device", "dump", what).stdout)

    def load(self, records):
        self.run("device", "load", "clog.db", "-", stdin=json.dumps(records))


def rows(stdout):
    """The status rows without their times ("(!) " kept); every line must be a row."""
    texts = []
    for line in stdout.splitlines():
        if line.startswith(("Backup file: ", "Note: ")):
            continue
        match = ROW.match(line)
        assert match, f"not a status row: {line!r}"
        texts.append(match.group(1))
    return texts


def member(archive, extension):
    """The bytes of the archive's one member with that extension."""
    with zipfile.ZipFile(archive) as zipped:
        (name,) = [name for name in zipped.namelist() if name.endswith(extension)]
        return zipped.read(name)


def without_oids(records):
    return [record["props"] for record in records]


def today():
    return time.strftime("%Y%m%d")


class TemporaryFolderCase(unittest.TestCase):
    """A test with a temporary folder of its own, removed afterwards."""

    def setUp(self):
        self._tmp = tempfile.TemporaryDirectory(prefix="kestrav-e2e-")
        self.tmp = self._tmp.name
        self.addCleanup(self._tmp.cleanup)

    def path(self, name):
        return os.path.join(self.tmp, name)


def main(script):
    """Takes the program's path off the command line, then runs the calling script's tests."""
    global CLI
    if len(sys.argv) < 2:
        sys.exit(f"usage: {script} /path/to/kestrav-cli [unittest options]")
    CLI = os.path.abspath(sys.argv.pop(1))
    unittest.main(module="__main__")
