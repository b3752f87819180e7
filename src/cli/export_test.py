"""kestrav-cli export read back by programs that did not write it: vobject for the cards,
libical and python-icalendar for the calendar, recurring-ical-events for the series, Python's
mailbox and email modules for the messages, csv for the tables. What they read is compared with
what the sample device holds (its JSON dump), so every hard text must survive every format."""
import base64
import csv
import datetime
import email
import email.policy
import filecmp
import glob
import json
import mailbox
import os
import re
import resource
import shutil
import signal
import subprocess
import tempfile
import unittest

import gi
import icalendar
import recurring_ical_events
import vobject

gi.require_version("ICalGLib", "3.0")
from gi.repository import ICalGLib  # noqa: E402

import e2e_support  # noqa: E402

ZONE = "Europe/Stockholm"


def crlf_to_lf(text):
    return text.replace("\r\n", "\n")


def unquoted(entry):
    """A mailbox entry with the ">" that mboxrd adds to every line reading ">*From " taken off."""
    return re.sub(rb"(?m)^>(>*From )", rb"\1", entry)


def tree(folder):
    """Every file below the folder, by its path relative to it."""
    return sorted(os.path.relpath(os.path.join(root, name), folder)
                  for root, _, names in os.walk(folder) for name in names)


class ExportTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls._tmp = tempfile.TemporaryDirectory(prefix="kestrav-export-")
        cls.tmp = cls._tmp.name
        cls.device = os.path.join(cls.tmp, "device")
        cls.cli("device", "init", "--sample")
        cls.backup = os.path.join(cls.tmp, "sample.qbk")
        cls.cli("backup", "--attachments", "--output", cls.backup)
        cls.dump = {kind: json.loads(cls.cli("device", "dump", kind).stdout)
                    for kind in ("contacts", "appointments", "tasks", "messages", "calllogs")}
        cls.out = cls.export("out", "--eml")

    @classmethod
    def tearDownClass(cls):
        cls._tmp.cleanup()

    @classmethod
    def cli(cls, *args, expect=0, **options):
        result = subprocess.run([e2e_support.CLI, "--device", cls.device, *args],
                                stdin=subprocess.DEVNULL, capture_output=True, text=True,
                                timeout=120, env=dict(os.environ, TZ=ZONE), **options)
        if result.returncode != expect:
            raise AssertionError(f"{args}: exit {result.returncode}\n{result.stdout[-2000:]}\n"
                                 f"{result.stderr}")
        return result

    @classmethod
    def export(cls, name, *options, **run_options):
        folder = os.path.join(cls.tmp, name)
        cls.cli("export", cls.backup, "--to", folder, *options, **run_options)
        return folder

    def read(self, *parts, mode="r"):
        with open(os.path.join(*parts), mode, **({} if "b" in mode else {"encoding": "utf-8",
                                                                        "newline": ""})) as f:
            return f.read()

    # --- contacts ---

    def test_every_contact_reads_back_from_both_card_versions(self):
        v4 = self.export("v4", "--vcard", "4", "--kinds", "contacts")
        for folder, version in ((self.out, "3.0"), (v4, "4.0")):
            with self.subTest(version=version):
                text = self.read(folder, "contacts.vcf")
                for line in text.split("\r\n"):
                    self.assertLessEqual(len(line.encode("utf-8")), 75)
                cards = list(vobject.readComponents(text))
                self.assertEqual(len(cards), len(self.dump["contacts"]))
                for card, contact in zip(cards, self.dump["contacts"]):
                    if version == "3.0":
                        card.validate()
                    self.assertEqual(card.version.value, version)
                    self.assertTrue(card.fn.value)
                    self.assertEqual(card.n.value.family, contact.get("LastName", ""))
                    self.assertEqual(card.n.value.given, contact.get("FirstName", ""))
                    if "Body" in contact:
                        self.assertEqual(card.note.value, crlf_to_lf(contact["Body"]))
                    if "CompanyName" in contact:
                        self.assertEqual(card.org.value[0], contact["CompanyName"])
                    picture = [p["value"] for p in contact.get("store", [])
                               if p["id"] == "0x00FF0041"]
                    if picture and version == "3.0":
                        self.assertEqual(card.photo.value,
                                         bytes(int(b, 16) for b in picture[0].split(",")))
                    # A date out of the device's range is written as none.
                    birthday = contact.get("Birthday")
                    if birthday is not None and 0 <= birthday <= 401768:
                        born = datetime.date(1899, 12, 30) + datetime.timedelta(days=int(birthday))
                        self.assertEqual(card.bday.value.replace("-", ""),
                                         born.strftime("%Y%m%d"))
                    else:
                        self.assertNotIn("bday", card.contents)
                if version == "4.0":
                    # A data URI, whose commas vobject would take for a list.
                    unfolded = text.replace("\r\n ", "")
                    photos = re.findall(r"\r\nPHOTO:data:image/png;base64,([^\r]*)\r\n", unfolded)
                    expected = [p["value"] for c in self.dump["contacts"]
                                for p in c.get("store", []) if p["id"] == "0x00FF0041"]
                    self.assertEqual([base64.b64decode(p) for p in photos],
                                     [bytes(int(b, 16) for b in e.split(",")) for e in expected])

    # --- calendar ---

    def calendar(self, folder=None):
        return icalendar.Calendar.from_ical(self.read(folder or self.out, "calendar.ics",
                                                      mode="rb"))

    def test_the_calendar_is_valid_for_libical_and_icalendar(self):
        floating = self.export("floating", "--floating", "--kinds", "appointments,tasks")
        for folder in (self.out, floating):
            with self.subTest(folder=folder):
                text = self.read(folder, "calendar.ics")
                component = ICalGLib.Component.new_from_string(text)
                self.assertTrue(ICalGLib.restriction_check(component))
                self.assertNotIn("X-LIC-ERROR", component.as_ical_string())
                calendar = self.calendar(folder)
                items = [c for c in calendar.walk() if c.name in ("VEVENT", "VTODO")]
                moved = 2  # the sample's moved occurrences are events of their own
                self.assertEqual(len(items), len(self.dump["appointments"]) +
                                 len(self.dump["tasks"]) + moved)
                for item in items:
                    self.assertIn("UID", item)
                    self.assertIn("DTSTAMP", item)
                    rule = item.get("RRULE")
                    if rule is not None:
                        self.assertFalse("COUNT" in rule and "UNTIL" in rule, item["SUMMARY"])
                zones = [c for c in calendar.walk() if c.name == "VTIMEZONE"]
                if folder == floating:
                    self.assertEqual(zones, [])
                    self.assertNotIn("TZID", text)
                else:
                    self.assertEqual([str(z["TZID"]) for z in zones], [ZONE])

    def test_series_expand_to_the_occurrences_of_their_patterns(self):
        calendar = self.calendar()
        expansion = recurring_ical_events.of(calendar)

        def starts(summary, first, last):
            occurrences = expansion.between(first, last)
            return sorted(e["DTSTART"].dt.strftime("%Y-%m-%d %H:%M") for e in occurrences
                          if str(e["SUMMARY"]) == summary)

        march = [f"2007-03-{day:02d} 09:00" for day in range(12, 31) if day not in (16, 20)]
        self.assertEqual(starts("Stand-up", datetime.date(2007, 3, 1), datetime.date(2007, 5, 1)),
                         sorted(march + ["2007-03-20 10:00"]))
        self.assertEqual(
            starts("Gym — Спортзал", datetime.date(2007, 3, 1), datetime.date(2007, 6, 1)),
            ["2007-03-05 18:30", "2007-03-07 18:30", "2007-03-09 18:30", "2007-03-12 18:30",
             "2007-03-14 18:30", "2007-03-16 18:30", "2007-03-19 18:30", "2007-03-21 18:30",
             "2007-03-23 18:30", "2007-03-26 18:30", "2007-03-28 18:30", "2007-03-30 18:30"])
        self.assertEqual(
            starts("Book club 📚", datetime.date(2007, 3, 1), datetime.date(2007, 7, 1)),
            ["2007-03-13 19:00", "2007-05-08 19:00", "2007-06-12 19:00"])
        self.assertEqual(
            starts("نوروز — Nowruz", datetime.date(2007, 1, 1), datetime.date(2010, 1, 1)),
            ["2007-03-21 00:00", "2008-03-21 00:00", "2009-03-21 00:00"])
        self.assertEqual(
            starts("Pay the rent, flat 3", datetime.date(2007, 1, 1), datetime.date(2008, 1, 1)),
            [f"2007-{month:02d}-01 08:00" for month in range(4, 10)])
        self.assertEqual(
            starts("Spring cleaning\n(garage, attic)", datetime.date(2007, 1, 1),
                   datetime.date(2020, 1, 1)),
            ["2007-03-31 10:00", "2009-03-28 10:00", "2011-03-26 10:00", "2013-03-30 10:00",
             "2015-03-28 10:00"])
        self.assertEqual(
            starts("Team lunch 🍕", datetime.date(2007, 3, 1), datetime.date(2007, 5, 15)),
            ["2007-03-16 12:30", "2007-03-30 12:00", "2007-04-27 12:30", "2007-05-11 12:30"])

    def test_times_are_the_local_wall_clock_with_the_zone_or_floating(self):
        floating = self.export("floating-times", "--floating", "--kinds", "appointments")
        for folder, zone in ((self.out, ZONE), (floating, None)):
            with self.subTest(zone=zone):
                dentist = next(c for c in self.calendar(folder).walk("VEVENT")
                               if str(c["SUMMARY"]) == 'Dentist "Dr. Papadopoulos"')
                start = dentist["DTSTART"].dt
                self.assertEqual(start.replace(tzinfo=None), datetime.datetime(2007, 3, 14, 9, 30))
                self.assertEqual(str(start.tzinfo) if start.tzinfo else None, zone)
                self.assertEqual(dentist.walk("VALARM")[0]["TRIGGER"].dt,
                                 datetime.timedelta(minutes=-30))

    # --- messages ---

    def device_messages(self):
        """(store, folder, message) of every message the device holds, subfolders included."""
        def walk(store, folders):
            for folder in folders:
                for message in folder.get("messages", []):
                    yield store, folder["name"], message
                yield from walk(store, folder.get("folders", []))
        for store in self.dump["messages"]:
            yield from walk(store["name"], store["folders"])

    def test_every_message_and_attachment_reads_back_byte_for_byte(self):
        read = 0
        by_folder = {}
        for store, folder, message in self.device_messages():
            by_folder.setdefault((store, folder), []).append(message)
        for (store, folder), messages in by_folder.items():
            with self.subTest(store=store, folder=folder):
                box = mailbox.mbox(os.path.join(self.out, store, folder + ".mbox"), create=False)
                framed = [email.message_from_bytes(unquoted(box.get_bytes(key)),
                                                   policy=email.policy.default)
                          for key in box.keys()]
                box.close()
                files = [email.message_from_bytes(
                    self.read(self.out, store, folder, f"{index:06d}.eml", mode="rb"),
                    policy=email.policy.default) for index in range(1, len(messages) + 1)]
                self.assertEqual(len(framed), len(messages))
                for expected, from_box, from_file in zip(messages, framed, files):
                    for parsed in (from_box, from_file):
                        self.assertEqual(parsed["Subject"], expected["subject"])
                        self.assertEqual(parsed["From"].addresses[0].display_name,
                                         expected.get("senderName", ""))
                        self.assertEqual(parsed["From"].addresses[0].addr_spec,
                                         expected.get("senderAddress", ""))
                        body = parsed.get_body(("html", "plain"))
                        self.assertEqual(body.get_content_subtype(),
                                         "html" if expected["bodyType"] == 1 else "plain")
                        # Mail carries text lines; a reader gives them with its own line ends.
                        self.assertEqual(crlf_to_lf(body.get_content()),
                                         crlf_to_lf(expected["body"]))
                        recipients = [a.addr_spec for h in ("To", "Cc", "Bcc")
                                      for a in (parsed[h].addresses if parsed[h] else [])]
                        self.assertEqual(sorted(recipients),
                                         sorted(r["address"] for r in expected.get("recipients",
                                                                                   [])))
                        attachments = list(parsed.iter_attachments())
                        self.assertEqual([a.get_filename() for a in attachments],
                                         [a["fileName"] for a in expected.get("attachments", [])])
                        for part, stored in zip(attachments, expected.get("attachments", [])):
                            self.assertEqual(part.get_content(),
                                             base64.b64decode(stored["contents"]))
                    read += 1
        self.assertEqual(read, sum(1 for _ in self.device_messages()))

    def run_on_new_device(self, name, stores, *export_options):
        """A device holding only the given message stores, backed up and exported; the export's
        folder."""
        device = os.path.join(self.tmp, name)
        dump = os.path.join(self.tmp, name + ".json")
        with open(dump, "w", encoding="utf-8") as f:
            json.dump(stores, f)
        archive = os.path.join(self.tmp, name + ".qbk")
        target = os.path.join(self.tmp, name + "-out", "inside")
        for args in (("device", "init"), ("device", "load", "messages", dump),
                     ("backup", "--kinds", "messages", "--attachments", "--output", archive),
                     ("export", archive, "--to", target, *export_options)):
            result = subprocess.run([e2e_support.CLI, "--device", device, *args],
                                    stdin=subprocess.DEVNULL, capture_output=True, text=True)
            self.assertEqual(result.returncode, 0, (args, result.stderr))
        return target

    def test_mailbox_lines_that_read_from_are_quoted_both_ways(self):
        # A name far past one header line, in characters of three bytes: RFC 2231 continuations.
        long_name = "報告書 " + "とても長い名前" * 12 + ".pdf"
        contents = bytes(range(256)) * 3
        message = {"subject": "From lines", "body": "Hello\r\nFrom here on\r\n>From there\r\nend",
                   "bodyType": 0, "senderName": "A", "senderAddress": "a@example.org",
                   "messageClass": "IPM.Note", "deliveryTime": "2007-03-15T10:00:00Z",
                   "attachments": [{"fileName": long_name, "method": 1,
                                    "contents": base64.b64encode(contents).decode()}]}
        target = self.run_on_new_device(
            "quoting", [{"name": "Mail", "folders": [{"name": "Inbox", "messages": [message]}]}])
        mbox = os.path.join(target, "Mail", "Inbox.mbox")
        self.assertIn(b"\n>From here on\n>>From there\n", self.read(mbox, mode="rb"))
        box = mailbox.mbox(mbox)
        (key,) = box.keys()
        read = email.message_from_bytes(unquoted(box.get_bytes(key)), policy=email.policy.default)
        box.close()
        self.assertEqual(read.get_body().get_content(), "Hello\nFrom here on\n>From there\nend")
        (attachment,) = read.iter_attachments()
        self.assertEqual(attachment.get_filename(), long_name)
        self.assertEqual(attachment.get_content(), contents)
        self.assertTrue(all(len(line) <= 998 for line in self.read(mbox, mode="rb").split(b"\n")))

    # --- tables ---

    def test_calls_and_speed_dials_are_rfc_4180_tables(self):
        bom = self.export("bom", "--bom", "--kinds", "calllogs,speeddials")
        for folder, prefix in ((self.out, b""), (bom, b"\xef\xbb\xbf")):
            with self.subTest(bom=bool(prefix)):
                raw = self.read(folder, "calls.csv", mode="rb")
                self.assertTrue(raw.startswith(prefix + b"Start,End,"))
                rows = list(csv.DictReader(raw[len(prefix):].decode("utf-8").splitlines()))
                self.assertEqual(len(rows), len(self.dump["calllogs"]))
                names = {r["Name"] for r in rows}
                self.assertTrue({"José Muñoz", "Ülkü Yılmaz-Öztürk"} <= names)
                self.assertTrue(all(r["Start"].endswith("Z") and "T" in r["Start"] for r in rows))
                self.assertEqual({r["Direction"] for r in rows}, {"incoming", "outgoing", "missed"})
                dials = self.read(folder, "speeddials.csv", mode="rb")
                self.assertTrue(dials.startswith(prefix + b"Position,Label,Number\r\n"))

    # --- the export as a whole ---

    def test_the_same_backup_gives_the_same_bytes(self):
        again = self.export("again", "--eml")
        self.assertEqual(tree(again), tree(self.out))
        match, mismatch, errors = filecmp.cmpfiles(self.out, again, tree(self.out), shallow=False)
        self.assertEqual((mismatch, errors), ([], []))

    def test_a_full_disk_leaves_no_file_that_looks_whole(self):
        def limit_writes():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (1_000_000, 1_000_000))
        folder = os.path.join(self.tmp, "full")
        failed = self.cli("export", self.backup, "--to", folder, expect=1,
                          preexec_fn=limit_writes)
        self.assertRegex(failed.stderr, r"^kestrav-cli: .+\n$")
        for name in tree(folder):
            self.assertFalse(os.path.basename(name).startswith("."), name)
            if name.endswith(".eml"):
                continue
            self.assertTrue(filecmp.cmp(os.path.join(folder, name), os.path.join(self.out, name),
                                        shallow=False), name)

    def test_a_folder_that_cannot_be_written_is_one_line(self):
        blocker = os.path.join(self.tmp, "a-file")
        with open(blocker, "w") as f:
            f.write("x")
        for target in (blocker, os.path.join(blocker, "below")):
            with self.subTest(target=target):
                failed = self.cli("export", self.backup, "--to", target, expect=1)
                self.assertRegex(failed.stderr, r"^kestrav-cli: .+\n$")

    def test_folder_names_stay_inside_the_folder(self):
        message = {"subject": "Out?", "body": "No.", "bodyType": 0, "messageClass": "IPM.Note",
                   "deliveryTime": "2007-03-15T10:00:00Z"}
        target = self.run_on_new_device("hostile", [{"name": "Mail", "folders": [
            {"name": "Inbox", "messages": [], "folders": [
                {"name": "../../escape", "messages": [message]},
                {"name": "..", "messages": []}]}]}], "--eml")
        self.assertEqual(os.listdir(os.path.dirname(target)), ["inside"])
        # The two subfolders, each a mailbox in the store's folder (the empty Inbox has none).
        self.assertEqual(len(glob.glob(os.path.join(target, "Mail", "*.mbox"))), 2)
        self.assertEqual(len(glob.glob(os.path.join(target, "Mail", "*", "*.eml"))), 1)

if __name__ == "__main__":
    e2e_support.main("export_test.py")
