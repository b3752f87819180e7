#!/usr/bin/env python3
"""kestrav-cli show, verify and restore --dry-run on real backups of the sample device, on
backups damaged in the test, and on archives with hostile member names.

Usage: inspect_test.py /path/to/kestrav-cli [unittest options]
"""
import fcntl
import hashlib
import json
import os
import shutil
import sys
import tempfile
import zipfile

sys.dont_write_bytecode = True  # no __pycache__ beside the sources
import e2e_support  # noqa: E402
from e2e_support import Profile  # noqa: E402


def file_hashes(folder):
    """Every file below the folder with its sha256."""
    hashes = {}
    for root, _, files in os.walk(folder):
        for name in files:
            path = os.path.join(root, name)
            with open(path, "rb") as data:
                hashes[os.path.relpath(path, folder)] = hashlib.sha256(data.read()).hexdigest()
    return hashes


def message_count(stores):
    def in_folders(folders):
        return sum(len(f.get("messages", [])) + in_folders(f.get("folders", [])) for f in folders)
    return sum(in_folders(store["folders"]) for store in stores)


class SeeingIntoBackups(e2e_support.TemporaryFolderCase):
    @classmethod
    def setUpClass(cls):
        # One sample device and its backup for every test: a backup takes its time.
        cls._shared = tempfile.TemporaryDirectory(prefix="kestrav-e2e-")
        cls.shared = cls._shared.name
        cls.sample_backup = os.path.join(cls.shared, "b.qbk")
        holder = cls("run")
        holder.tmp = cls.shared
        Profile(holder, "device").init("--sample").run("backup", "--attachments", "--output",
                                                       cls.sample_backup)

    @classmethod
    def tearDownClass(cls):
        cls._shared.cleanup()

    def setUp(self):
        super().setUp()
        shutil.copytree(os.path.join(self.shared, "device"), self.path("device"))
        self.device = Profile(self, "device")
        self.backup = self.path("b.qbk")
        shutil.copyfile(self.sample_backup, self.backup)

    def rewrite(self, name, change):
        """A copy of the backup with each member's data passed through change(name, data)."""
        path = self.path(name)
        with zipfile.ZipFile(self.backup) as source, zipfile.ZipFile(path, "w") as target:
            for info in source.infolist():
                target.writestr(info, change(info.filename, source.read(info.filename)),
                                compress_type=zipfile.ZIP_DEFLATED)
        return path

    def show_json(self, *args):
        return json.loads(self.device.run("show", *args, "--json").stdout)

    def test_show_gives_every_item_the_device_holds(self):
        shown = self.show_json(self.backup)
        (backup,) = shown["backups"]
        kinds = {kind["kind"]: kind for kind in backup["kinds"]}
        self.assertEqual(sorted(kinds), sorted(
            ["contacts", "appointments", "tasks", "call logs", "speed dials", "messages"]))
        for kind in kinds.values():
            self.assertEqual((kind["header"], kind["defects"]), ("accepted", []), kind["member"])
            self.assertEqual(kind["count"], len(kind["items"]))
        self.assertEqual(kinds["contacts"]["count"], len(self.device.dump("contacts")))
        self.assertEqual(kinds["appointments"]["count"], len(self.device.dump("appointments")))
        self.assertEqual(kinds["tasks"]["count"], len(self.device.dump("tasks")))
        self.assertEqual(kinds["call logs"]["count"], len(self.device.dump("clog.db")))
        self.assertEqual(kinds["call logs"]["stated_count"], kinds["call logs"]["count"])
        self.assertEqual(kinds["speed dials"]["count"], len(self.device.dump("speed.db")))
        messages = [m for m in kinds["messages"]["items"] if not m["folder_record"]]
        self.assertEqual(len(messages), message_count(self.device.dump("messages")))

        zoe = kinds["contacts"]["items"][0]
        self.assertEqual((zoe["record"], zoe["name"]), (1, "Åkerlund, Zoë"))
        self.assertEqual(zoe["notes"], "Met at the Umeå fair.\r\nPrefers texts to calls.")
        self.assertEqual(zoe["dates"], {"Birthday": "1977-08-28"})
        recurring = [a for a in kinds["appointments"]["items"] if a["recurrence"]]
        self.assertTrue(recurring and all(a["recurrence"]["words"] for a in recurring))
        self.assertTrue(any(a["size"] > 0 and a["contents_stored"]
                            for m in messages for a in m["attachments"]))

        # The table a person reads, and only the kinds asked for.
        table = self.device.run("show", self.backup, "--kinds", "calllogs,speeddials").stdout
        self.assertIn("call logs, header accepted (Valid call logs header format.)", table)
        self.assertIn("speed dials, header accepted (Valid speed dials CSV5 header format.)",
                      table)
        self.assertNotIn("contacts", table)
        self.assertIn("  40 items (the file states 40)", table)

        # A record file on its own, and a folder of backups, read the same.
        folder = self.path("extracted")
        self.device.run("extract", self.backup, folder)
        (calls,) = [name for name in os.listdir(folder) if name.endswith(".csl")]
        single = self.show_json(os.path.join(folder, calls))["backups"][0]["kinds"][0]
        self.assertEqual(single["items"], kinds["call logs"]["items"])
        in_folder = self.show_json(self.tmp)["backups"]
        self.assertEqual([os.path.basename(b["backup"]) for b in in_folder], ["b.qbk"])

    def test_verify_finds_each_damage_and_passes_the_sample(self):
        clean = self.device.run("verify", self.backup)
        self.assertRegex(clean.stdout, r"b\.qbk: OK \(6 members, \d+ items\)\n$")

        def calls_count_41(name, data):
            # The count row of the call logs: 40 little-endian, now 41.
            count = '"0x28,0x00,0x00,0x00"'.encode("utf-16-le")
            return data.replace(count, '"0x29,0x00,0x00,0x00"'.encode("utf-16-le"), 1) \
                if name.endswith(".csl") else data
        wrong_count = self.rewrite("count.qbk", calls_count_41)

        def broken_base64(name, data):
            if not name.endswith(".csm"):
                return data
            text = data.decode("utf-16-le")
            # The contents of the first stored attachment: its fourth field.
            start = text.index(",256,") + len(",256,")
            return (text[:start] + "!" + text[start + 1:]).encode("utf-16-le")
        bad_attachment = self.rewrite("base64.qbk", broken_base64)

        def truncated(name, data):
            return data[:len(data) // 2] if name.endswith(".cst") else data
        cut = self.rewrite("cut.qbk", truncated)

        flipped = self.path("flipped.qbk")
        with open(self.backup, "rb") as source:
            data = bytearray(source.read())
        with zipfile.ZipFile(self.backup) as archive:
            (tasks,) = [i for i in archive.infolist() if i.filename.endswith(".cst")]
        # Past the local header (30 bytes, the name, the extra field), into the member's data.
        data[tasks.header_offset + 30 + len(tasks.filename) + len(tasks.extra) + 40] ^= 0x10
        with open(flipped, "wb") as out:
            out.write(data)

        expected = {
            wrong_count: r"count\.qbk: clogs_\d{8}\.csl: the file states 41 records but holds 40",
            bad_attachment: r"base64\.qbk: msgs_\d{8}\.csm: record \d+: the record does not read "
                            r"as a message",
            cut: r"cut\.qbk: tasks_\d{8}\.cst: record \d+: ",
            flipped: r"flipped\.qbk: tasks_\d{8}\.cst: ",
        }
        for damaged, defect in expected.items():
            checked = self.device.run("verify", damaged, expect=1)
            self.assertRegex(checked.stdout, defect)
            self.assertRegex(checked.stdout, os.path.basename(damaged) + r": \d+ defects?")

        # The folder of backups: each one checked, the damaged ones failing the whole.
        whole = self.device.run("verify", self.tmp, expect=1).stdout
        for damaged in expected:
            self.assertIn(damaged + ": ", whole)
        self.assertIn(self.backup + ": OK", whole)

    def test_members_whose_names_leave_the_folder_are_refused(self):
        calls = e2e_support.member(self.backup, ".csl")
        hostile = self.path("hostile.qbk")
        with zipfile.ZipFile(hostile, "w") as archive:
            archive.writestr(zipfile.ZipInfo("../escaped.csl"), calls)
            archive.writestr(zipfile.ZipInfo("/absolute.csl"), calls)
            archive.writestr(zipfile.ZipInfo("calls.csl"), calls)
        shown = self.show_json(hostile)["backups"][0]["kinds"]
        self.assertEqual([k["member"] for k in shown], ["../escaped.csl", "/absolute.csl",
                                                        "calls.csl"])
        self.assertIn("refused unread", shown[0]["fault"])
        self.assertIn("refused unread", shown[1]["fault"])
        self.assertEqual(shown[2]["count"], 40)
        checked = self.device.run("verify", hostile, expect=1).stdout
        self.assertIn("hostile.qbk: ../escaped.csl: its name would leave the folder", checked)
        self.assertFalse(os.path.exists(os.path.join(os.path.dirname(self.tmp), "escaped.csl")))
        self.assertFalse(os.path.exists("/absolute.csl"))

    def test_a_dry_run_says_what_the_restore_does_and_changes_nothing(self):
        before = file_hashes(self.device.folder)
        # Another job holds the device: a dry run needs no lock.
        with open(os.path.join(self.device.folder, "job.lock"), "r+") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            replaced = self.device.run("restore", self.backup, "--dry-run").stdout.splitlines()
            added = self.device.run("restore", self.backup, "--dry-run", "--mode", "add-new",
                                    "--kinds", "contacts,calllogs").stdout.splitlines()
            named = self.device.run("restore", self.backup, "--dry-run", "--verbose", "--kinds",
                                    "tasks", "--mode", "add-update").stdout
        self.assertEqual(file_hashes(self.device.folder), before)
        self.assertIn("contacts (delete-all): 25 deleted first, 25 added, 0 updated, "
                      "0 already there", replaced)
        self.assertEqual(replaced[-1], "Dry run: nothing on the device changed.")
        # The contact without a Name is never found again, so it is always added; the call
        # logs' running match count finds only some calls already there.
        self.assertEqual(added[0], "contacts (add-new): 1 added, 0 updated, 24 already there")
        self.assertRegex(added[1], r"calllogs \(add-new\): (\d+) added, 0 updated, (\d+) already")
        self.assertIn("  1. 'Renew passport, \"urgent\"' updated.\n", named)
        self.assertIn("tasks (add-update): 0 added, 15 updated, 0 already there", named)

        # The restore itself then does what the dry run said.
        calls_before = len(self.device.dump("clog.db"))
        self.device.run("restore", self.backup, "--mode", "add-new", "--kinds", "contacts,calllogs",
                        "--yes")
        predicted = int(added[1].split(": ")[1].split()[0])
        self.assertEqual(len(self.device.dump("clog.db")), calls_before + predicted)
        self.assertEqual(len(self.device.dump("contacts")), 26)


if __name__ == "__main__":
    e2e_support.main("inspect_test.py")
