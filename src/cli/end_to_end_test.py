#!/usr/bin/env python3
"""kestrav-cli end to end: real profiles, real archives, the program as a user runs it.

Usage: end_to_end_test.py /path/to/kestrav-cli [unittest options]
"""
import json
import os
import signal
import subprocess
import sys
import threading
import zipfile

sys.dont_write_bytecode = True  # no __pycache__ beside the sources
import e2e_support  # noqa: E402
from e2e_support import (TWO_CALLS, TWO_CALLS_FILE, Profile, member, rows, today,  # noqa: E402
                         without_oids)


def folder_paths(stores):
    """Every folder by path, "Mail/Inbox/Projects", with its messages: a store lists its folders
    in hierarchy order, each at its level."""
    found = {}
    for store in stores:
        names = []
        for folder in store.get("folders", []):
            del names[folder.get("level", 0):]
            names.append(folder["name"])
            found["/".join([store["name"], *names])] = folder.get("messages", [])
    return found


def filled_folders(stores):
    """The messages of each folder that holds any, by path: "SMS/Inbox"."""
    return {path: messages for path, messages in folder_paths(stores).items() if messages}


class EndToEnd(e2e_support.TemporaryFolderCase):
    def sample_with_backup(self, *options):
        source = Profile(self, "source").init("--sample")
        archive = self.path("sample.qbk")
        backup = source.run("backup", "--output", archive, *options)
        self.assertTrue(backup.stdout.endswith(f"Backup file: {archive}\n"))
        return source, archive

    def test_round_trip_onto_an_older_device(self):
        source, archive = self.sample_with_backup()
        target = Profile(self, "target").init("--os", "4")
        restored = rows(target.run("restore", archive).stdout)
        self.assertIn("40 records found in file.", restored)
        self.assertIn("40 call logs successfully stored in database.", restored)
        self.assertTrue(restored[-1].startswith("Restore ended successfully in "))
        before, after = without_oids(source.dump()), without_oids(target.dump())
        self.assertEqual(len(after), 40)
        unknown = 0
        for original, back in zip(before, after):
            flagged = [k for k, p in enumerate(original) if p["flags"] & 0x0100]
            if not flagged:
                self.assertEqual(back, original)
                continue
            # A lacking name has no value field: the values after it move up by one.
            unknown += 1
            k = flagged[0]
            self.assertEqual([p["id"] for p in back], [p["id"] for p in original])
            self.assertEqual(back[:k], original[:k])
            self.assertEqual(back[k]["value"], original[k + 1]["value"])
        self.assertTrue(0 < unknown < 40)

        # A two-call backup replaces the 40 calls, and the whole restore log says so.
        small = Profile(self, "small").init()
        small.load(TWO_CALLS)
        small.run("backup", "--kinds", "calllogs", "--output", self.path("two.qbk"))
        log = rows(target.run("restore", self.path("two.qbk")).stdout)
        self.assertEqual(log[:-1], [
            "Starting call logs restore...", "Retrieving file records...",
            "Valid call logs header format.", "Retrieving file records...",
            "2 records found in file.", "Connecting to the call logs database...",
            "Connected to the database.", "Deleting call logs from the database...",
            "40 call logs deleted from the database.", "Inserting call logs records...",
            "1. call '#0' inserted.", "2. call '#1' inserted.",
            "2 call logs successfully stored in database.",
            "Disconnecting from the call logs database...", "Disconnected."])
        self.assertRegex(log[-1], r"^Restore ended successfully in \d\d:\d\d:\d\d\.\d{3}$")
        self.assertEqual(without_oids(target.dump())[0], without_oids(small.dump())[0])

    def test_every_kind_both_ways_then_add_new_finds_each(self):
        # Windows Mobile 2005 to 2003 SE and back: every kind comes back as it was, speed dials
        # linked again to the same contacts' phones, messages with their attachments' contents.
        # Stored: deflating the 5 MB attachment's text takes seconds.
        source, archive = self.sample_with_backup("--attachments", "--store")
        older = Profile(self, "older").init("--os", "4")
        older.run("restore", archive)
        older.run("backup", "--attachments", "--store", "--output", self.path("older.qbk"))
        self.assertEqual(member(archive, ".csm"), member(self.path("older.qbk"), ".csm"))
        newer = Profile(self, "newer").init("--os", "5")
        newer.run("restore", self.path("older.qbk"))
        compare = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts",
                               "compare-handhelds")
        for target in (older, newer):
            subprocess.run([sys.executable, compare, e2e_support.CLI, source.folder, target.folder],
                           check=True, stdout=subprocess.DEVNULL)

        # Restored over themselves adding only what is new, every item is found and none added
        # but the contact without a name, which is never found.
        messages = older.dump("messages")
        modes = [f"--mode={kind}=add-new" for kind in
                 ("contacts", "appointments", "tasks", "calllogs", "speeddials", "messages")]
        log = rows(older.run("restore", archive, *modes).stdout)
        self.assertEqual([r for r in log if r.endswith(" inserted.")], ["11. '' inserted."])
        found = [r for r in log if r.endswith(" already exists. Nothing done.")]
        self.assertEqual(len(found), 24 + 40 + 8 + self.sample_items(older))
        self.assertIn("0 message inserted in the database.", log)
        self.assertIn("31 messages not inserted cos exist in the database.", log)
        self.assertEqual(older.dump("messages"), messages)

        for kind, texts in (("appointments", " appointments successfully deleted."),
                            ("tasks", " tasks successfully deleted."),
                            ("speeddials", " speed dials deleted from the database.")):
            self.assertTrue(newer.run("delete-all", kind, "--yes").stdout.endswith(texts + "\n"))
        self.assertEqual(newer.run("delete-all", "tasks", "--yes").stdout,
                         "No task found, nothing deleted.\n")

    def sample_items(self, device):
        """The sample's appointments and tasks on the device."""
        return sum(len(device.dump(what)) for what in ("appointments", "tasks"))

    def test_stored_member_is_byte_exact(self):
        for os_version in ("4", "5"):
            with self.subTest(os=os_version):
                device = Profile(self, "os" + os_version).init("--os", os_version)
                device.load(TWO_CALLS)
                archive = self.path(f"os{os_version}.qbk")
                day = today()
                device.run("backup", "--kinds", "calllogs", "--output", archive, "--store")
                with zipfile.ZipFile(archive) as zipped:
                    self.assertIsNone(zipped.testzip())
                    (stored,) = zipped.infolist()
                    self.assertIn(stored.filename, {f"clogs_{day}.csl", f"clogs_{today()}.csl"})
                    self.assertEqual(stored.compress_type, zipfile.ZIP_STORED)
                    self.assertEqual(zipped.read(stored), TWO_CALLS_FILE)

    def test_refusals_change_nothing(self):
        device, archive = self.sample_with_backup()
        calls = device.dump()
        text = member(archive, ".csl").decode("utf-16")
        # One signature byte off: not a call-log file.
        wrong = self.path("wrong.csl")
        with open(wrong, "wb") as out:
            out.write(("\ufeff" + text.replace("0x74,0x22", "0x74,0x23", 1)).encode("utf-16-le"))
        self.assertIn("(!) Invalid file format. Nothing done.",
                      rows(device.run("restore", wrong, expect=1).stdout))
        refused = device.run("restore", archive, "--mode", "calllogs=add-update", expect=1)
        self.assertIn("delete-all, add-new", refused.stderr)
        self.assertEqual(device.dump(), calls)

        with open(archive, "rb") as original:
            archived = original.read()
        self.assertIn("--overwrite", device.run("backup", "--output", archive, expect=1).stderr)
        with open(archive, "rb") as kept:
            self.assertEqual(kept.read(), archived)
        self.assertIn("no delete-all", device.run("delete-all", "messages", "--yes", expect=1).stderr)

        self.assertIn("--yes", device.run("delete-all", "calllogs", expect=1).stderr)
        self.assertEqual(device.dump(), calls)
        deleted = device.run("delete-all", "calllogs", "--yes")
        self.assertEqual(deleted.stdout, "40 call logs deleted from the database.\n")
        self.assertEqual(device.dump(), [])

    def test_messages_of_chosen_folders_and_damaged_files(self):
        device = Profile(self, "texts").init("--sample")
        unknown = device.run("backup", "--kinds", "messages", "--folders", "Text Messages/Nowhere",
                             "--output", self.path("none.qbk"), expect=1)
        self.assertIn("Text Messages/Nowhere: no such store or folder", unknown.stderr)
        self.assertFalse(os.path.exists(self.path("none.qbk")))

        # Only the chosen folder goes out: restored onto an empty device, it alone fills.
        inbox = self.path("inbox.qbk")
        device.run("backup", "--kinds", "messages", "--folders", "Text Messages/Inbox",
                   "--output", inbox)
        target = Profile(self, "target").init("--os", "4")
        self.assertIn("6 records found in file.", rows(target.run("restore", inbox).stdout))
        restored = target.dump("messages")
        self.assertEqual(filled_folders(restored),
                         {"SMS/Inbox": filled_folders(device.dump("messages"))["SMS/Inbox"]})

        # A value cut off at the end, or no text at all: refused before the delete.
        text = member(inbox, ".csm").decode("utf-16")
        for name, damaged in (("cut", ("\ufeff" + text[:text.rindex('"')]).encode("utf-16-le")),
                              ("binary", b"PK\x03\x04\x14\x00\x00\x00" + text.encode())):
            with self.subTest(name):
                path = self.path(name + ".csm")
                with open(path, "wb") as out:
                    out.write(damaged)
                log = rows(target.run("restore", path, expect=1).stdout)
                self.assertTrue([r for r in log if r.startswith("(!) ") and
                                 r.endswith("Nothing done.")], log)
                self.assertNotIn("Deleting existing messages...", log)
        self.assertEqual(target.dump("messages"), restored)

        # A header of other names: the records read as messages all the same.
        header = self.path("header.csm")
        with open(header, "wb") as out:
            out.write(("\ufeff" + text.replace("Msg Id;", "Msg ID;", 1)).encode("utf-16-le"))
        self.assertIn("6 messages inserted in the database.",
                      rows(target.run("restore", header).stdout))
        self.assertEqual(target.dump("messages"), restored)

    def test_a_restore_touches_only_the_folders_chosen_or_in_its_file(self):
        device, archive = self.sample_with_backup("--kinds", "messages")
        sample = folder_paths(device.dump("messages"))
        # Only Mail's Inbox: its nested folders, which the device lacks, are not made.
        target = Profile(self, "target").init()
        target.run("restore", archive, "--kinds", "messages", "--folders", "Mail/Inbox")
        restored = target.dump("messages")
        self.assertEqual({path: [m["subject"] for m in messages]
                          for path, messages in filled_folders(restored).items()},
                         {"Mail/Inbox": [m["subject"] for m in sample["Mail/Inbox"]]})
        self.assertFalse([path for path in folder_paths(restored) if "Projects" in path])
        unknown = target.run("restore", archive, "--folders", "Mail/Nowhere", expect=1)
        self.assertIn("Mail/Nowhere: no such store or folder on the device or in the file",
                      unknown.stderr)

        # A backup of the text messages alone, restored whole, empties only their folders.
        texts = self.path("texts.qbk")
        device.run("backup", "--kinds", "messages", "--folders", "Text Messages",
                   "--output", texts)
        log = rows(device.run("restore", texts).stdout)
        self.assertIn("11 messages deleted from the database.", log)
        self.assertEqual(folder_paths(device.dump("messages")), sample)

    def test_every_message_comes_back_and_missing_contents_are_told(self):
        device = Profile(self, "device").init("--sample")
        # A message of the class folders have is a message like any other.
        mail = [store for store in device.dump("messages") if store["name"] == "Mail"]
        mail[0]["folders"] = [{"name": "Inbox", "messages": [
            {"subject": "Not a folder", "messageClass": "IPF.Folder"}]}]
        device.run("device", "load", "messages", "-", stdin=json.dumps(mail))
        archive = self.path("plain.qbk")
        device.run("backup", "--kinds", "messages", "--output", archive)
        target = Profile(self, "target").init()
        restored = target.run("restore", archive).stdout
        log = rows(restored)
        self.assertIn("32 messages inserted in the database.", log)
        self.assertIn("7 attachments came back without their contents: the backup did not hold "
                      "them.", log)
        self.assertEqual(restored.splitlines()[-1],
                         "Note: 7 attachments came back without their contents: the backup did "
                         "not hold them (back up with --attachments to keep them)")
        self.assertEqual(list(folder_paths(target.dump("messages"))),
                         list(folder_paths(device.dump("messages"))))

    def test_add_new_passes_over_calls_already_there(self):
        # Calls that come back property for property: each is found where it lies.
        sample = Profile(self, "sample").init("--sample")
        known = [{"props": c} for c in without_oids(sample.dump())
                 if all(p["flags"] == 0 for p in c)]
        device = Profile(self, "device").init()
        device.load(known)
        device.run("backup", "--output", self.path("known.qbk"))
        calls = device.dump()
        for _ in range(2):
            log = rows(device.run("restore", self.path("known.qbk"),
                                  "--mode", "calllogs=add-new").stdout)
            passes = [r for r in log if r.endswith(" already exists. Nothing done.")]
            self.assertEqual(len(passes), len(known))
            self.assertFalse([r for r in log if r.endswith(" inserted.")])
        self.assertEqual(device.dump(), calls)

    def test_ctrl_c_cancels_a_backup(self):
        device = Profile(self, "big").init("--sample", "--scale", "250")
        archive = self.path("big.qbk")
        job = subprocess.Popen(device.command("backup", "--output", archive),
                               stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True)
        # The rows read so far sit in the pipe's text buffer: read the rest through it too.
        watchdog = threading.Timer(30, job.kill)
        watchdog.start()
        try:
            seen = []
            for line in job.stdout:
                seen.append(line)
                if line.rstrip().endswith(" saved."):
                    break
            job.send_signal(signal.SIGINT)
            seen.append(job.stdout.read())
            err = job.stderr.read()
            job.wait()
        finally:
            watchdog.cancel()
            job.stdout.close()
            job.stderr.close()
        log = rows("".join(seen))
        self.assertEqual(job.returncode, 1, err)
        self.assertIn("canceled", err)
        self.assertIn("(!) Canceling backup...", log)
        self.assertEqual(log[-1], "(!) Backup has been canceled by user.")
        self.assertLess(len([r for r in log if r.endswith(" saved.")]), 10000)
        self.assertFalse(os.path.exists(archive))
        temp = os.path.join(device.folder, "fs", "Temp")
        self.assertEqual([f for f in os.listdir(temp) if f.lower().endswith((".csc", ".csl"))], [])

    def test_contacts_round_trip_between_generations(self):
        def contacts(profile):
            dump = profile.dump("contacts")
            for contact in dump:
                del contact["oid"]
                contact["store"] = sorted(contact.get("store", []), key=lambda p: p["id"])
            return dump
        for source_os, target_os in (("5", "4"), ("4", "5")):
            with self.subTest(source=source_os, target=target_os):
                source = Profile(self, "from" + source_os).init("--os", source_os, "--sample")
                archive = self.path(f"contacts{source_os}.qbk")
                source.run("backup", "--kinds", "contacts", "--output", archive)
                target = Profile(self, "onto" + target_os).init("--os", target_os)
                log = rows(target.run("restore", archive).stdout)
                self.assertIn("25 contacts inserted in the database.", log)
                before, after = contacts(source), contacts(target)
                # Only the two birthdays out of the file's date range do not come back.
                changed = [(a, b) for a, b in zip(before, after) if a != b]
                self.assertEqual(len(before), len(after))
                self.assertEqual(sorted(a["Birthday"] for a, _ in changed), [-5.0, 500000.0])
                for a, b in changed:
                    del a["Birthday"]
                    self.assertEqual(a, b)

                # Restored again over itself: add-new finds every contact with a name.
                again = rows(target.run("restore", archive, "--mode", "contacts=add-new").stdout)
                self.assertEqual(len([r for r in again if r.endswith("already exists. Nothing done.")]),
                                 24)
                self.assertIn("1 contact inserted in the database.", again)

    def test_import_contacts_then_delete_them(self):
        device = Profile(self, "importer").init("--os", "4")
        foreign = self.path("people.txt")
        with open(foreign, "w", encoding="cp1252", newline="") as out:
            out.write("Full Name;Given;Mobile\r\n\"Zoë; \"the\" Lee\";Zoë;555-0101\r\n"
                      "Bob Ray;Bob;555-0102\r\n")
        for args, reason in ((["--delimiter", "pipe"], "comma, semicolon, tab or space"),
                             (["--delimiter", "semicolon", "--map", "Nick=Given"],
                              "no contact column"),
                             (["--delimiter", "semicolon", "--map", "Name=Surname"],
                              "no column \"Surname\""),
                             (["--mode", "merge"], "add-update")):
            refused = device.run("import-contacts", foreign, *args, expect=1)
            self.assertIn(reason, refused.stderr)
        mapping = "Name=Full Name,First Name=2,Mobile Phone=Mobile"
        log = rows(device.run("import-contacts", foreign, "--delimiter", "semicolon",
                              "--map", mapping).stdout)
        self.assertEqual(log[:4], ["Starting contacts restore...", "Retrieving file records...",
                                   "2 records found in file.",
                                   "Retrieving contacts mapped fields..."])
        self.assertIn("1. 'Zoë; \"the\" Lee' inserted.", log)
        self.assertIn("2 contacts inserted in the database.", log)
        again = rows(device.run("import-contacts", foreign, "--delimiter", "semicolon",
                                "--map", mapping).stdout)
        self.assertIn("1. contact 'Bob Ray' already exists. Nothing done.", again)

        device.run("backup", "--kinds", "contacts", "--store", "--output", self.path("c.qbk"))
        with zipfile.ZipFile(self.path("c.qbk")) as zipped:
            lines = zipped.read(zipped.namelist()[0]).decode("utf-16").split("\r\n")
        # The file has three columns, so "Mobile Phone" (the 22nd) stays empty though mapped.
        self.assertEqual(lines[1], '"Zoë; "the" Lee";;Zoë' + ";" * 57)
        self.assertEqual(lines[2], "Bob Ray;;Bob" + ";" * 57)

        deleted = device.run("delete-all", "contacts", "--yes")
        self.assertEqual(deleted.stdout, "2 contacts successfully deleted.\n")
        again = device.run("delete-all", "contacts", "--yes")
        self.assertEqual(again.stdout, "No contact found, nothing deleted.\n")

    def test_a_folder_without_a_profile(self):
        empty = self.path("empty")
        os.mkdir(empty)
        failed = Profile(self, "empty").run("backup", expect=1)
        self.assertIn("device init", failed.stderr)
        self.assertEqual(os.listdir(empty), [])


if __name__ == "__main__":
    e2e_support.main("end_to_end_test.py")
