#!/usr/bin/env python3
"""kestrav-cli when things go wrong: full disks, kills, other programs on the same device,
stores that cannot be written, hostile archives and paths.

Usage: safety_test.py /path/to/kestrav-cli [unittest options]
"""
import contextlib
import fcntl
import json
import os
import random
import re
import resource
import shutil
import signal
import sqlite3
import stat
import struct
import subprocess
import sys
import tempfile
import time
import zipfile

sys.dont_write_bytecode = True  # no __pycache__ beside the sources
import e2e_support  # noqa: E402
from e2e_support import TWO_CALLS_FILE, Profile, rows, today, without_oids  # noqa: E402

NOBODY = 65534


def read(path):
    with open(path, "rb") as data:
        return data.read()


def write(path, data):
    with open(path, "wb") as out:
        out.write(data)


def make_archive(path, members):
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as zipped:
        for name, data in members.items():
            zipped.writestr(name, data)
    return path


def members_of(archive):
    """Each member's name and bytes, each checked against its CRC."""
    with zipfile.ZipFile(archive) as zipped:
        return {member.filename: zipped.read(member) for member in zipped.infolist()}


def file_size_limit(limit):
    """A disk that takes no file past `limit` bytes: a write beyond fails instead of killing."""
    def limit_writes():
        signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
        resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
    return {"preexec_fn": limit_writes}


def memory_limit(limit):
    """At most `limit` bytes of memory. AddressSanitizer reserves terabytes of address space, so
    an instrumented program is held to a resident size instead."""
    if b"__asan_init" in read(e2e_support.CLI):
        options = os.environ.get("ASAN_OPTIONS", "")
        limited = f"{options}:hard_rss_limit_mb={limit >> 20}".lstrip(":")
        return {"env": dict(os.environ, ASAN_OPTIONS=limited)}
    return {"preexec_fn": lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit))}


def as_nobody():
    os.setgroups([])
    os.setgid(NOBODY)
    os.setuid(NOBODY)


def integrity(store):
    with contextlib.closing(sqlite3.connect(store)) as db:
        return db.execute("PRAGMA integrity_check").fetchone()[0]


def contents(store):
    """Every row of every table: the store as a whole, to compare with itself at another time."""
    with contextlib.closing(sqlite3.connect(store)) as db:
        tables = db.execute("SELECT name FROM sqlite_master WHERE type = 'table'").fetchall()
        return {table: sorted(map(repr, db.execute(f'SELECT * FROM "{table}"')))
                for (table,) in tables}


def state(device, **options):
    """What the device holds, call logs and contacts, as its dumps show them."""
    return [device.run("device", "dump", database, **options).stdout
            for database in ("clog.db", "contacts")]


def leftovers(device):
    return sorted(os.listdir(os.path.join(device.folder, "fs", "Temp")))


@contextlib.contextmanager
def stalled(device, *args):
    """A job whose output nobody reads: once stuck writing a row, it holds the device (and
    cannot end by itself) until the output is read. Yields the job; its output is read when the
    block ends."""
    reader, writer = os.pipe()
    fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
    job = subprocess.Popen(device.command(*args), stdin=subprocess.DEVNULL, stdout=writer,
                           stderr=subprocess.PIPE, text=True)
    os.close(writer)
    try:
        for _ in range(600):
            tasks = f"/proc/{job.pid}/task"
            if job.poll() is not None:
                break
            with contextlib.suppress(OSError):
                if any("pipe_write" in read(f"{tasks}/{task}/wchan").decode()
                       for task in os.listdir(tasks)):
                    break
            time.sleep(0.05)
        device.test.assertIsNone(job.poll(), "the job ended before its output filled the pipe")
        yield job
        while os.read(reader, 1 << 16):
            pass
        job.wait(60)
    finally:
        if job.poll() is None:
            job.kill()
            job.wait()
        job.stderr.close()
        os.close(reader)


def wait_until_taken(job, signal_number):
    """Returns once the signal sent to the job is no longer pending: its handler has it."""
    bit = 1 << (signal_number - 1)
    for _ in range(600):
        status = read(f"/proc/{job.pid}/status").decode()
        pending = int(re.search(r"^ShdPnd:\s*(\w+)", status, re.M).group(1), 16)
        if not pending & bit:
            return
        time.sleep(0.01)


class Safety(e2e_support.TemporaryFolderCase):
    @classmethod
    def setUpClass(cls):
        cls._templates = tempfile.TemporaryDirectory(prefix="kestrav-safety-")

    @classmethod
    def tearDownClass(cls):
        cls._templates.cleanup()

    def device(self, name, scale=1):
        """A sample device of the scale given, copied from one made once per run."""
        template = os.path.join(self._templates.name, f"scale{scale}")
        if not os.path.exists(template):
            subprocess.run([e2e_support.CLI, "--device", template, "device", "init", "--sample",
                            "--scale", str(scale)], check=True, capture_output=True, timeout=120)
        device = Profile(self, name)
        shutil.copytree(template, device.folder, symlinks=True)
        return device

    def sample_calls(self, device):
        """The device's call-log file, as its backup holds it."""
        archive = self.path("calls.qbk")
        device.run("backup", "--kinds", "calllogs", "--store", "--output", archive, "--overwrite")
        (calls,) = members_of(archive).values()
        return calls

    def test_a_full_disk_costs_no_archive(self):
        device = self.device("device", scale=10)
        old = self.path("old.qbk")
        device.run("backup", "--kinds", "calllogs", "--output", old)
        kept = read(old)
        new = self.path("new.qbk")
        # The record files (230 and 260 kB) stop at 100 kB; at 300 kB only the stored archive does.
        for limit, store in ((100_000, []), (300_000, ["--store"])):
            for output, overwrite, written in ((new, [], new),
                                               (old, ["--overwrite"], self.path("old-incomplete.qbk"))):
                with self.subTest(limit=limit, output=output):
                    failed = device.run("backup", *store, "--output", output, *overwrite, expect=1,
                                        **file_size_limit(limit))
                    self.assertFalse(os.path.exists(output + ".partial"))
                    self.assertEqual(leftovers(device), [])
                    # The kinds that fitted, whole, and the others named.
                    if os.path.exists(written):
                        self.assertIn("the archive lacks the ", failed.stderr)
                        self.assertLess(len(members_of(written)), 6)
                        os.remove(written)
        self.assertEqual(read(old), kept)

    def test_a_kind_that_fails_costs_only_itself(self):
        device = self.device("device")
        archive = self.path("whole.qbk")
        device.run("backup", "--output", archive)
        whole = read(archive)
        # A folder where the appointments' record file goes: that kind alone cannot be written.
        os.mkdir(os.path.join(device.folder, "fs", "Temp", f"appts_{today()}.csa"))
        others = {name for name in members_of(archive) if not name.startswith("appts_")}

        new = self.path("new.qbk")
        failed = device.run("backup", "--output", new, expect=1)
        self.assertIn("Backup ended successfully in ", failed.stdout)
        self.assertIn("the archive lacks the appointments", failed.stderr)
        self.assertIn("it holds the kinds that worked", failed.stderr)
        self.assertEqual(set(members_of(new)), others)

        # An archive holding every kind is not replaced by one holding fewer.
        failed = device.run("backup", "--output", archive, "--overwrite", expect=1)
        beside = self.path("whole-incomplete.qbk")
        self.assertIn(f"the archive that was there is as it was; this backup, with the kinds "
                      f"that worked, is {beside}", failed.stderr)
        self.assertEqual(read(archive), whole)
        self.assertEqual(set(members_of(beside)), others)

    def test_a_job_that_changed_nothing_keeps_the_undo_copy(self):
        device = self.device("device")
        before = state(device)
        device.run("delete-all", "calllogs", "--yes")
        refused = self.path("refused.csl")
        write(refused, "not a call-log file\r\n".encode("utf-16"))
        device.run("restore", refused, expect=1)
        write(self.path("not.json"), b"{ not json")
        device.run("device", "load", "clog.db", self.path("not.json"), expect=1)
        self.assertIn("delete-all", device.run("undo").stdout)
        self.assertEqual(state(device), before)

    def test_kill_9_costs_neither_the_archive_nor_the_stores(self):
        device = self.device("device", scale=50)
        archive = self.path("old.qbk")
        partial = archive + ".partial"
        stores = [os.path.join(device.folder, "registry.db"),
                  os.path.join(device.folder, "fs", "pim.vol")]
        jobs = {"backup": ("backup", "--output", archive, "--overwrite"),
                "restore": ("restore", archive),
                "delete-all": ("delete-all", "calllogs", "--yes")}
        before = state(device)
        volume = contents(stores[1])
        # A whole run of each job gives the span to kill it in. Undo after each leaves every
        # snapshot holding the device as it began, so undo after any kill must bring that back.
        span = {}
        for name, args in jobs.items():
            start = time.monotonic()
            device.run(*args)
            span[name] = time.monotonic() - start
            if name != "backup":
                device.run("undo")
        # A kill after the new archive took the old one's place leaves the new one, alike.
        kept = members_of(archive)
        mid_job = dict.fromkeys(jobs, 0)
        # The kill times are drawn from a seed the test prints: KESTRAV_TEST_SEED replays a run.
        seed = int(os.environ.get("KESTRAV_TEST_SEED", random.randrange(1 << 32)))
        print(f"kill test: KESTRAV_TEST_SEED={seed}", file=sys.stderr)
        draw = random.Random(seed)
        for name, args in jobs.items():
            for _ in range(5):
                delay = draw.uniform(0.01, span[name])
                context = f"{name} killed after {delay:.3f} s (KESTRAV_TEST_SEED={seed})"
                job = subprocess.Popen(device.command(*args), stdin=subprocess.DEVNULL,
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                time.sleep(delay)
                job.kill()
                job.wait(60)
                holder = read(os.path.join(device.folder, "job.lock")).decode()
                if job.returncode == -signal.SIGKILL and re.search(rf'"process": ?{job.pid}\b',
                                                                   holder):
                    mid_job[name] += 1  # killed holding the device
                self.assertIn(job.returncode, (0, -signal.SIGKILL), context)
                for store in stores:
                    self.assertEqual(integrity(store), "ok", f"{context}: {store}")
                self.assertEqual(members_of(archive), kept, context)
                device.run("undo")
                self.assertEqual(leftovers(device), [], context)
                self.assertTrue(contents(stores[1]) == volume, f"{context}: undo left another")
        self.assertTrue(all(mid_job.values()),
                        f"kills that landed mid-job: {mid_job} (KESTRAV_TEST_SEED={seed})")
        self.assertEqual(state(device), before)
        # A backup over that archive starts afresh, whatever a killed one left beside it.
        if not os.path.exists(partial):
            write(partial, b"what a killed backup left")
        device.run(*jobs["backup"])
        self.assertFalse(os.path.exists(partial))
        self.assertEqual(members_of(archive), kept)

    def test_undo_after_a_restore_that_fell_short(self):
        device = self.device("device")
        before = state(device)
        signature, _, *calls = self.sample_calls(device).decode("utf-16").split("\r\n")[:-1]

        def record_file(name, count, lines):
            write(self.path(name), "".join(f"{line}\r\n" for line in [signature, count, *lines])
                  .encode("utf-16"))
            return self.path(name)
        # A count of 0, rows that are no calls, an identifier that is no byte list.
        damaged = record_file("damaged.csl", '"0x00,0x00,0x00,0x00"',
                              [*calls[:4], calls[4].replace(';"0x', ';"0xzz', 1), *calls[5:],
                               "garbage;rows", "\x01\x02;;"])
        failed = device.run("restore", damaged, expect=1)
        self.assertIn("42 of the 42 call logs in the file were not restored", failed.stderr)
        self.assertIn("kestrav-cli undo", failed.stderr)
        device.run("undo")
        self.assertEqual(state(device), before)

        # A disk that fills part way through the calls: the snapshot fits, the calls do not. The
        # sample's messages (a 5 MB attachment) would not fit; a device may have no message store.
        os.remove(os.path.join(device.folder, "fs", "cemail.vol"))
        before = state(device)
        many = record_file("many.csl", '"0xa0,0x0f,0x00,0x00"', calls * 100)  # 4000 calls
        failed = device.run("restore", many, expect=1, **file_size_limit(200_000))
        self.assertIn("kestrav-cli undo", failed.stderr)
        device.run("undo")
        self.assertEqual(state(device), before)
        self.assertEqual(leftovers(device), [])

    def test_stores_that_cannot_be_written(self):
        options = {}
        if os.geteuid() == 0:
            # Root writes whatever the mode bits say: the program runs as nobody instead.
            options["preexec_fn"] = as_nobody
            os.chmod(self.tmp, 0o1777)
        device = Profile(self, "device")
        device.run("device", "init", "--sample", **options)
        archive = self.path("sample.qbk")
        device.run("backup", "--output", archive, **options)
        before = state(device, **options)
        for path, mode in (("pim.vol", 0o444), ("Temp", 0o555)):
            path = os.path.join(device.folder, "fs", path)
            original = stat.S_IMODE(os.stat(path).st_mode)
            os.chmod(path, mode)
            try:
                for args in (("restore", archive), ("delete-all", "calllogs", "--yes"),
                             ("delete-all", "contacts", "--yes")):
                    with self.subTest(path=path, command=args[:2]):
                        failed = device.run(*args, expect=1, **options)
                        self.assertIn(path, failed.stderr)
            finally:
                os.chmod(path, original)
            self.assertEqual(state(device, **options), before)

    def test_a_store_locked_by_another_program(self):
        device = self.device("device")
        before = state(device)
        holder = sqlite3.connect(os.path.join(device.folder, "fs", "pim.vol"), isolation_level=None)
        try:
            holder.execute("BEGIN IMMEDIATE")
            failed = device.run("delete-all", "calllogs", "--yes", expect=1)  # after 10 s
        finally:
            holder.close()
        self.assertRegex(failed.stderr, r"pim\.vol: .*lock")
        self.assertEqual(state(device), before)

    def test_one_job_at_a_time(self):
        device = self.device("device")
        alone = self.path("alone.qbk")
        device.run("backup", "--store", "--output", alone)
        together = [self.path(f"together{n}.qbk") for n in (1, 2)]
        for jobs in ([("backup", "--output", archive) for archive in together],
                     [("restore", alone)] * 2):
            started = [subprocess.Popen(device.command(*args), stdin=subprocess.DEVNULL,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
                       for args in jobs]
            for job in started:
                _, err = job.communicate(timeout=60)
                self.assertEqual(job.returncode, 0, err)
        for archive in together:
            with zipfile.ZipFile(archive) as zipped:
                self.assertIsNone(zipped.testzip())
            self.assertEqual(members_of(archive), members_of(alone))
        # Each restore deleted the contacts first: one after the other leave one set.
        contacts = json.loads(device.run("device", "dump", "contacts").stdout)
        self.assertEqual(len(contacts), 25)

        big = self.device("big", scale=10)
        with stalled(big, "backup", "--output", self.path("big.qbk")) as job:
            busy = big.run("--wait", "0", "delete-all", "calllogs", "--yes", expect=1)
            self.assertIn("the device is busy with the backup", busy.stderr)
            self.assertEqual(len(big.dump()), 400)
        self.assertEqual(job.returncode, 0)

    def test_archives_that_ask_too_much(self):
        device = self.device("device")
        before = state(device)
        contacts = self.path("contacts.qbk")
        device.run("backup", "--kinds", "contacts", "--store", "--output", contacts)
        (header, *_) = next(iter(members_of(contacts).values())).decode("utf-16").split("\r\n")
        # The sixty contact columns, then enough more for a million.
        wide = make_archive(self.path("wide.qbk"), {"contacts_20070315.csc": (
            header + ";x" * (1_000_000 - 60) + "\r\n" + "Zed;;Zed\r\n" * 3).encode("utf-16")})
        refused = device.run("restore", wide, expect=1, **memory_limit(1 << 30))
        self.assertIn("(!) Invalid file format. Nothing done.", rows(refused.stdout))
        self.assertEqual(leftovers(device), [])
        self.assertEqual(state(device), before)

        # Only record files are extracted: 50 MB of zeros never reach the disk.
        calls = self.sample_calls(device)
        mixed = make_archive(self.path("mixed.qbk"), {"zeros.bin": bytes(50_000_000),
                                                      "clogs_20070315.csl": calls})
        restored = device.run("restore", mixed, **file_size_limit(8_000_000))
        self.assertIn("40 call logs successfully stored in database.", rows(restored.stdout))
        self.assertEqual(leftovers(device), [])

        # A damaged last member: the one extracted before it goes too.
        archive = self.path("sample.qbk")
        device.run("backup", "--output", archive)
        data = bytearray(read(archive))
        with zipfile.ZipFile(archive) as zipped:
            last = zipped.infolist()[-1]
        name_length, extra_length = struct.unpack_from("<HH", data, last.header_offset + 26)
        middle = last.header_offset + 30 + name_length + extra_length + last.compress_size // 2
        data[middle:middle + 16] = bytes(16)
        write(archive, data)
        unchanged = state(device)
        device.run("restore", archive, expect=1)
        self.assertEqual(leftovers(device), [])
        self.assertEqual(state(device), unchanged)

        # Two call-log members of one name: each restored from its own.
        two = make_archive(self.path("two.qbk"), {"a/clogs_20070315.csl": calls,
                                                  "b/clogs_20070315.csl": TWO_CALLS_FILE})
        target = Profile(self, "target").init()
        target.run("restore", two, "--mode", "calllogs=add-new")
        reference = Profile(self, "reference").init()
        for n, member in enumerate((calls, TWO_CALLS_FILE)):
            write(self.path(f"{n}.csl"), member)
            reference.run("restore", self.path(f"{n}.csl"), "--mode", "calllogs=add-new")
        self.assertEqual(len(target.dump()), 42)
        self.assertEqual(without_oids(target.dump()), without_oids(reference.dump()))
        self.assertEqual(leftovers(target), [])

    def test_links_and_host_paths(self):
        device = self.device("device")
        archive = self.path("sample.qbk")
        device.run("backup", "--output", archive)
        outside = self.path("outside")
        os.mkdir(outside)
        bait = os.path.join(outside, f"clogs_{today()}.csl")
        write(bait, b"mine")

        temp = os.path.join(device.folder, "fs", "Temp")
        os.rmdir(temp)
        os.symlink(outside, temp)
        device.run("backup", "--output", self.path("linked.qbk"), expect=1)
        device.run("restore", archive, expect=1)
        self.assertFalse(os.path.exists(self.path("linked.qbk")))
        self.assertEqual(os.listdir(outside), [os.path.basename(bait)])
        self.assertEqual(read(bait), b"mine")

        folder = self.path("extracted")
        os.mkdir(folder)
        os.symlink(outside, os.path.join(folder, "link"))
        linked = make_archive(self.path("link.qbk"), {"link/x.csl": b"x"})
        device.run("extract", linked, folder, expect=1)
        self.assertEqual(os.listdir(outside), [os.path.basename(bait)])

        os.unlink(temp)
        os.mkdir(temp)
        important = self.path("important.qbk")
        write(important, b"important")
        sub = self.path("sub")
        os.mkdir(sub)
        device.run("backup", "--output", "x\\..\\..\\important.qbk", "--overwrite", cwd=sub)
        self.assertEqual(os.listdir(sub), ["x\\..\\..\\important.qbk"])
        self.assertEqual(read(important), b"important")

    def test_refusals(self):
        device = self.device("device")
        archive = self.path("sample.qbk")
        device.run("backup", "--output", archive)
        kept = read(archive)
        before = state(device)
        self.assertIn("itself", device.run("add", archive, archive, expect=1).stderr)
        self.assertEqual(read(archive), kept)
        device.run("import-contacts", archive, expect=1)
        self.assertEqual(state(device), before)

        # A name too long to read is listed cut, passed over by extract, and never restored.
        long_name = make_archive(self.path("long.qbk"), {"n" * 1100 + ".csl": b"x"})
        self.assertIn("has a name too long to read", device.run("list", long_name).stderr)
        self.assertIn("has a name too long to read",
                      device.run("extract", long_name, self.path("long"), expect=1).stderr)
        self.assertEqual(os.listdir(self.path("long")), [])
        self.assertIn("is invalid", device.run("restore", long_name, expect=1).stderr)
        self.assertEqual(state(device), before)
        escape = make_archive(self.path("escape.qbk"), {"a\x1b[2Jb.csl": b"x"})
        listed = device.run("list", escape).stdout
        self.assertNotIn("\x1b", listed)
        self.assertIn("a\\x1b[2Jb.csl", listed)

        cut = self.path("cut.qbk")
        write(cut, kept[:-40])  # the end of the directory
        refused = device.run("restore", cut, expect=1)
        self.assertTrue(refused.stderr.startswith(
            f'kestrav-cli: Restore error: The compressed file "{cut}" is invalid or corrupt, '
            'nothing done.'), refused.stderr)
        self.assertEqual(state(device), before)

        # What the command line itself refuses: an unknown option, a bad value, a missing one.
        for args in (("backup", "--no-such-option"), ("--wait", "-1", "backup"), ("restore",)):
            device.run(*args, expect=1)

    def test_a_second_ctrl_c_ends_at_once(self):
        device = self.device("device", scale=10)
        archive = self.path("old.qbk")
        device.run("backup", "--kinds", "calllogs", "--output", archive)
        kept = read(archive)
        # Stuck writing its rows, the backup cannot end by itself: only the second Ctrl+C ends it.
        with stalled(device, "backup", "--output", archive, "--overwrite") as job:
            job.send_signal(signal.SIGINT)
            wait_until_taken(job, signal.SIGINT)
            job.send_signal(signal.SIGINT)
            job.wait(30)
            err = job.stderr.read()
        self.assertEqual(job.returncode, 1, err)
        self.assertRegex(err, r"^kestrav-cli: .+\n$")
        self.assertEqual(read(archive), kept)


if __name__ == "__main__":
    e2e_support.main("safety_test.py")
