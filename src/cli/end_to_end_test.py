#!/usr/bin/env python3
"""kestrav-cli end to end: real profiles, real archives, the program as a user runs it.

Usage: end_to_end_test.py /path/to/kestrav-cli [unittest options]
"""
import calendar
import json
import os
import random
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

    def test_a_call_log_backup_replaces_the_calls_of_an_older_device(self):
        target = Profile(self, "target").init("--os", "4", "--sample")
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
        # The comparison lets a birthday out of the file's date range be lost: only the sample's
        # two are.
        lost = [contact["Birthday"] for contact, back in
                zip(source.dump("contacts"), older.dump("contacts"))
                if "Birthday" in contact and "Birthday" not in back]
        self.assertEqual(sorted(lost), [-5.0, 500000.0])

        # Restored over themselves adding only what is new, every item is found and none added
        # but the contact without a name, which is never found.
        messages = older.dump("messages")
        modes = [f"--mode={kind}=add-new" for kind in
                 ("contacts", "appointments", "tasks", "calllogs", "speeddials", "messages")]
        log = rows(older.run("restore", archive, *modes).stdout)
        self.assertEqual([r for r in log if r.endswith(" inserted.")], ["11. '' inserted."])
        found = [r for r in log if r.endswith(" already exists. Nothing done.")]
        self.assertEqual(len(found), 24 + 40 + 8 + self.sample_items(older))
        self.assertEqual(len([r for r in found if " contact '" in r]), 24)
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

    def test_add_new_for_calls_leaves_the_other_kinds_deleted_first(self):
        # Calls that come back property for property: each is found where it lies. The other
        # kinds keep the default, delete-all first.
        device = Profile(self, "device").init("--sample")
        known = [{"props": c} for c in without_oids(device.dump())
                 if all(p["flags"] == 0 for p in c)]
        device.run("delete-all", "calllogs", "--yes")
        device.load(known)
        device.run("backup", "--output", self.path("known.qbk"))
        calls = device.dump()
        for _ in range(2):
            log = rows(device.run("restore", self.path("known.qbk"),
                                  "--mode", "calllogs=add-new").stdout)
            passes = [r for r in log if r.endswith(" already exists. Nothing done.")]
            self.assertEqual(len(passes), len(known))
            self.assertFalse([r for r in log if r.endswith(" inserted.") and " call '" in r])
            self.assertEqual([r[:-len(" deleted from the database.")] for r in log
                              if r.endswith(" deleted from the database.")],
                             ["25 contacts", "30 appointments", "15 tasks", "8 speed dials",
                              "31 messages"])
            # Added only when new, the contact without a name would come back twice.
            self.assertEqual(len(device.dump("contacts")), 25)
        self.assertEqual(device.dump(), calls)

    def test_list_extract_and_add_agree_with_zipfile(self):
        device = Profile(self, "device").init()
        originals = {"notes.csc": ("Zoë;Åkerlund;+44 20 7946 0018\r\n" * 4000).encode("utf-16"),
                     "photo.bin": random.Random(7).randbytes(70000)}
        written = calendar.timegm((2007, 3, 15, 10, 20, 30))
        for name, contents in originals.items():
            with open(self.path(name), "wb") as out:
                out.write(contents)
            os.utime(self.path(name), (written, written))
        archive = self.path("files.qbk")
        device.run("add", archive, self.path("notes.csc"))
        device.run("add", archive, self.path("photo.bin"), "--store")
        methods = {zipfile.ZIP_DEFLATED: "Deflated", zipfile.ZIP_STORED: "Stored"}
        with zipfile.ZipFile(archive) as zipped:
            self.assertIsNone(zipped.testzip())
            members = zipped.infolist()
            self.assertEqual([(m.filename, methods[m.compress_type]) for m in members],
                             [("notes.csc", "Deflated"), ("photo.bin", "Stored")])
            for m in members:
                self.assertEqual(zipped.read(m), originals[m.filename])
                # The month goes in one higher, as every backup has it.
                self.assertEqual(m.date_time, (2007, 4, 15, 10, 20, 30))

        listed = device.run("list", archive).stdout.splitlines()
        self.assertEqual([line.split() for line in listed[1:-1]],
                         [[str(m.file_size), str(m.compress_size), methods[m.compress_type],
                           "2007-03-15", "10:20:30", m.filename] for m in members])
        self.assertEqual(listed[-1].split(), [str(sum(m.file_size for m in members)),
                                              str(sum(m.compress_size for m in members)),
                                              "2", "members"])

        folder = self.path("out")
        extracted = device.run("extract", archive, folder).stdout.splitlines()
        self.assertEqual(extracted, [os.path.join(folder, m.filename) for m in members])
        for path, m in zip(extracted, members):
            with open(path, "rb") as back:
                self.assertEqual(back.read(), originals[m.filename])
            self.assertEqual(os.path.getmtime(path), written)

    def test_contents_that_are_not_base64_are_refused(self):
        device = Profile(self, "device").init()
        header = ("Msg Id;Sender Name;Sender Address;Sender AddressType;Prefix;Subject;Body;"
                  "BodyType;Folder;Account;Msg Class;Content Length;Msg Size;Msg Flags;"
                  "Msg Status;Modify Time;Delivery Time;Recipient Nbr;Recipients;Attachment Nbr;"
                  "Attachments")
        record = ";;;;;{};Hi;0;Inbox;SMS;IPM.SMStext;;;;;;;0;;1;\"a.txt,1,3,{}\""
        path = self.path("texts.csm")
        with open(path, "wb") as out:
            out.write("\ufeff{}\r\n{}\r\n{}\r\n".format(
                header, record.format("Bad", "aG*h"), record.format("Good", "aGkh")
            ).encode("utf-16-le"))
        log = rows(device.run("restore", path, expect=1).stdout)
        self.assertIn("(!) Record 1 couldn't be read as a message; it is not restored.", log)
        self.assertIn("1 message inserted in the database.", log)
        texts = device.dump("messages")
        self.assertEqual(
            [(m["subject"], [a["contents"] for a in m["attachments"]])
             for m in filled_folders(texts)["SMS/Inbox"]], [("Good", ["aGkh"])])

        bad = [{"name": "SMS", "folders": [{"name": "Inbox", "messages": [
            {"subject": "Bad", "attachments": [{"fileName": "a.txt", "contents": "aG*h"}]}]}]}]
        refused = device.run("device", "load", "messages", "-", stdin=json.dumps(bad), expect=1)
        self.assertIn("must be base64", refused.stderr)
        self.assertEqual(device.dump("messages"), texts)

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
