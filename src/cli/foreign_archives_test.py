#!/usr/bin/env python3
"""kestrav-cli on archives other programs made: Python's zipfile and Info-ZIP write them here.

Usage: foreign_archives_test.py /path/to/kestrav-cli [unittest options]
"""
import os
import shutil
import struct
import subprocess
import sys
import zipfile
import zlib

sys.dont_write_bytecode = True  # no __pycache__ beside the sources
import e2e_support  # noqa: E402
from e2e_support import Profile  # noqa: E402

# The end record alone, as every ZIP program writes an archive without members.
EMPTY_ARCHIVE = b"PK\x05\x06" + bytes(18)


class ForeignArchives(e2e_support.TemporaryFolderCase):
    def setUp(self):
        super().setUp()
        self.device = Profile(self, "device").init()

    def write_zip(self, name, members):
        """members: (ZipInfo or name, data, method) in order."""
        path = self.path(name)
        with zipfile.ZipFile(path, "w") as archive:
            for info, data, method in members:
                archive.writestr(info, data, compress_type=method)
        return path

    def test_members_of_other_methods_and_encrypted_ones_are_named_and_passed_over(self):
        archive = self.write_zip("methods.zip", [
            ("a.txt", b"deflated " * 50, zipfile.ZIP_DEFLATED),
            ("b.txt", b"bzip2 " * 50, zipfile.ZIP_BZIP2),
            ("c.txt", b"lzma " * 50, zipfile.ZIP_LZMA),
            ("d.txt", b"stored", zipfile.ZIP_STORED)])
        listed = self.device.run("list", archive)
        self.assertEqual([line.split()[2] for line in listed.stdout.splitlines()[1:-1]],
                         ["Deflated", "bzip2", "LZMA", "Stored"])
        self.assertEqual(listed.stderr.splitlines(), [
            "Note: b.txt uses compression method 12 (bzip2), which Kestrav does not read",
            "Note: c.txt uses compression method 14 (LZMA), which Kestrav does not read"])

        folder = self.path("out")
        extracted = self.device.run("extract", archive, folder, expect=1)
        self.assertEqual(sorted(os.listdir(folder)), ["a.txt", "d.txt"])
        with open(os.path.join(folder, "a.txt"), "rb") as back:
            self.assertEqual(back.read(), b"deflated " * 50)
        self.assertTrue(extracted.stderr.endswith(
            "methods.zip: 2 of its members were not extracted: b.txt uses compression method 12 "
            "(bzip2), which Kestrav does not read; c.txt uses compression method 14 (LZMA), "
            "which Kestrav does not read\n"))

        # Info-ZIP's traditional encryption, the password never asked for.
        if shutil.which("zip"):
            secret = self.path("secret.txt")
            with open(secret, "w") as out:
                out.write("not for you\n")
            locked = self.path("locked.zip")
            subprocess.run(["zip", "-q", "-j", "-P", "pw", locked, secret], check=True)
            refused = self.device.run("extract", locked, self.path("locked"), expect=1)
            self.assertIn("secret.txt is encrypted", refused.stderr)
            self.assertEqual(os.listdir(self.path("locked")), [])
        else:
            print("skipped: Info-ZIP's zip is not installed, no encrypted archive to read")

    def test_an_empty_archive_holds_nothing(self):
        for name in ("empty.zip", "empty.qbk"):
            with open(self.path(name), "wb") as out:
                out.write(EMPTY_ARCHIVE)
        self.assertTrue(zipfile.ZipFile(self.path("empty.zip")).infolist() == [])
        listed = self.device.run("list", self.path("empty.zip")).stdout.splitlines()
        self.assertEqual(listed[-1].split(), ["0", "0", "0", "members"])
        self.assertEqual(self.device.run("extract", self.path("empty.zip"),
                                         self.path("out")).stdout, "")
        self.assertEqual(os.listdir(self.path("out")), [])
        refused = self.device.run("restore", self.path("empty.qbk"), expect=1)
        self.assertIn("there is nothing to restore", refused.stderr)

    def test_names_in_utf8_folders_and_leftovers_of_a_mac(self):
        unicode_path = "Zoë-日本.txt".encode()
        header_name = b"Zo?-??.txt"
        extra = struct.pack("<HHBI", 0x7075, 5 + len(unicode_path), 1,
                            zlib.crc32(header_name)) + unicode_path
        # Python flags a name that is not ASCII as UTF-8; the Unicode path field stands beside
        # an ASCII name as Info-ZIP writes it.
        flagged = zipfile.ZipInfo("Célia.txt")
        with_field = zipfile.ZipInfo(header_name.decode())
        with_field.extra = extra
        # A folder entry marked only by the directory attribute, then a file inside it.
        folder_entry = zipfile.ZipInfo("notes")
        folder_entry.external_attr = 0x10
        archive = self.write_zip("names.zip", [
            (flagged, b"one", zipfile.ZIP_STORED), (with_field, b"two", zipfile.ZIP_STORED),
            (folder_entry, b"", zipfile.ZIP_STORED),
            ("notes/inside.txt", b"three", zipfile.ZIP_DEFLATED),
            ("a" * 2000, b"long", zipfile.ZIP_STORED)])
        listed = self.device.run("list", archive)
        names = [line.split(None, 5)[5] for line in listed.stdout.splitlines()[1:-1]]
        self.assertEqual(names[:4], ["Célia.txt", "Zoë-日本.txt", "notes", "notes/inside.txt"])
        self.assertEqual(names[4], "a" * 60 + "...")
        self.assertIn("has a name too long to read", listed.stderr)

        folder = self.path("out")
        self.device.run("extract", archive, folder, expect=1)
        self.assertEqual(sorted(os.listdir(folder)), ["Célia.txt", "Zoë-日本.txt", "notes"])
        with open(os.path.join(folder, "notes", "inside.txt"), "rb") as back:
            self.assertEqual(back.read(), b"three")

        # A backup repacked on a Mac: its resource forks are not record files.
        source = Profile(self, "source").init("--sample")
        backup = self.path("calls.qbk")
        source.run("backup", "--kinds", "calllogs", "--output", backup)
        with zipfile.ZipFile(backup, "a") as repacked:
            repacked.writestr("__MACOSX/._calls.csl", b"\x00\x05\x16\x07 resource fork")
        self.device.run("restore", backup)
        self.assertEqual(len(self.device.dump()), len(source.dump()))

    def test_add_refuses_what_it_cannot_store_and_replaces_on_request(self):
        archive = self.write_zip("mixed.qbk", [
            ("notes.txt", b"old", zipfile.ZIP_DEFLATED),
            ("kept.bz", b"bzip2 " * 40, zipfile.ZIP_BZIP2)])
        notes = self.path("notes.txt")
        with open(notes, "wb") as out:
            out.write(b"new notes")
        refused = self.device.run("add", archive, notes, expect=1)
        self.assertIn("already holds notes.txt; add --replace", refused.stderr)
        self.device.run("add", archive, notes, "--replace")
        with zipfile.ZipFile(archive) as replaced:
            self.assertEqual([(m.filename, m.compress_type) for m in replaced.infolist()],
                             [("kept.bz", zipfile.ZIP_BZIP2), ("notes.txt", zipfile.ZIP_DEFLATED)])
            self.assertEqual(replaced.read("kept.bz"), b"bzip2 " * 40)
            self.assertEqual(replaced.read("notes.txt"), b"new notes")
            self.assertIsNone(replaced.testzip())

        # The device's code page (1252) has no spelling for these letters.
        greek = self.path("Ωμέγα.txt")
        with open(greek, "wb") as out:
            out.write(b"x")
        before = os.path.getsize(archive)
        refused = self.device.run("add", archive, greek, expect=1)
        self.assertIn("cannot be written in the device's code page", refused.stderr)
        self.assertEqual(os.path.getsize(archive), before)


if __name__ == "__main__":
    e2e_support.main("foreign_archives_test.py")
