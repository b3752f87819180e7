#!/usr/bin/env python3
"""kestrav-cli's unattended backup: the schedule's systemd user units, the run a timer starts,
and that run beside other work on the same profile. systemctl is a recording stand-in first in
PATH; KESTRAV_CLOCK holds every command on a known Monday (unless a test says another day), and
TZ names a zone east or west of UTC, so local time and UTC differ.

Usage: schedule_test.py /path/to/kestrav-cli [unittest options]
"""
import fcntl
import os
import shutil
import subprocess
import sys
import threading
import zipfile

sys.dont_write_bytecode = True  # no __pycache__ beside the sources
import e2e_support  # noqa: E402
from e2e_support import Profile  # noqa: E402

MONDAY = "2026-11-23"
FOLDER = "\\Storage Card\\Backups"
BERLIN = "Europe/Berlin"  # an hour east of UTC in November
NEW_YORK = "America/New_York"  # five hours west
# Logs each call; "is-system-running" answers the state asked for, failing unless running.
FAKE_SYSTEMCTL = """#!/bin/sh
printf '%s\\n' "$*" >> '{log}'
if [ "$2" = is-system-running ]; then echo {state}; [ {state} = running ]; exit; fi
exit 0
"""


def systemd_words(line, variables):
    """The words of a unit's setting as systemd reads them: each in double quotes with C escapes,
    "%%" for "%" and, where systemd substitutes variables, "$$" for "$"."""
    words, at = [], 0
    while at < len(line):
        assert line[at] == '"', f"not a quoted word at {at}: {line!r}"
        word, at = "", at + 1
        while line[at] != '"':
            if line.startswith("\\x", at):
                word, at = word + chr(int(line[at + 2:at + 4], 16)), at + 4
            elif line[at] == "\\" or line[at] == "%" or (variables and line[at] == "$"):
                assert line[at] == "\\" or line[at + 1] == line[at], line
                word, at = word + line[at + 1], at + 2
            else:
                word, at = word + line[at], at + 1
        words.append(word)
        at += 1
        assert at == len(line) or line[at] == " ", line
        at += 1
    return words


def setting(unit, key):
    (value,) = [line[len(key) + 1:] for line in unit.splitlines() if line.startswith(key + "=")]
    return value


class Schedule(e2e_support.TemporaryFolderCase):
    def setUp(self):
        super().setUp()
        self.home = self.path("home")
        self.units = os.path.join(self.home, ".config", "systemd", "user")
        self.manager("running")

    def manager(self, state):
        """systemctl as a stand-in whose user manager is in this state; it logs every call."""
        self.calls = self.path(f"systemctl-{state}.log")
        fake = self.path(f"bin-{state}")
        os.makedirs(fake, exist_ok=True)
        with open(os.path.join(fake, "systemctl"), "w") as script:
            script.write(FAKE_SYSTEMCTL.format(log=self.calls, state=state))
        os.chmod(os.path.join(fake, "systemctl"), 0o755)
        self.bin = fake

    def env(self, clock, tz=BERLIN, **more):
        """What a user manager hands its services (home, path, no XDG_CONFIG_HOME), plus the
        sanitizers' settings of an instrumented build; the clock at "HH:MM:SS" UTC on MONDAY or
        at a whole "YYYY-MM-DDTHH:MM:SS"."""
        kept = {k: v for k, v in os.environ.items()
                if k in ("LANG", "LC_ALL") or k.endswith("SAN_OPTIONS")}
        at = clock if "T" in clock else f"{MONDAY}T{clock}"
        return {**kept, "HOME": self.home, "PATH": self.bin + os.pathsep + os.environ["PATH"],
                "KESTRAV_CLOCK": f"{at}Z", "TZ": tz, **more}

    def start_as_timer(self, service, clock, expect=0, popen=False, **more):
        """The service's command, as the manager starts it when the timer elapses: in the home
        folder, with the manager's environment (self.env with `more`) and the unit's own over
        it. The command and its result, or its process when popen is set."""
        unit = self.read_unit(service)
        variables = dict(word.split("=", 1)
                         for word in systemd_words(setting(unit, "Environment"), False))
        command = systemd_words(setting(unit, "ExecStart"), True)
        env = {**self.env(clock, **more), **variables}
        if popen:
            return command, subprocess.Popen(command, env=env, cwd=self.home,
                                             stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                             stderr=subprocess.PIPE, text=True)
        run = subprocess.run(command, env=env, cwd=self.home, stdin=subprocess.DEVNULL,
                             capture_output=True, text=True, timeout=60)
        self.assertEqual(run.returncode, expect, run.stdout + run.stderr)
        return command, run

    def logged(self):
        if not os.path.exists(self.calls):
            return []
        with open(self.calls) as log:
            return log.read().splitlines()

    def unit_files(self, prefix=""):
        """The unit files of the folder whose names start so (a profile's key)."""
        names = sorted(os.listdir(self.units)) if os.path.isdir(self.units) else []
        return [n for n in names if n.startswith(prefix)]

    def read_unit(self, name):
        with open(os.path.join(self.units, name)) as unit:
            return unit.read()

    def only_timer(self, prefix=""):
        (timer,) = [n for n in self.unit_files(prefix) if n.endswith(".timer")]
        return timer

    def test_set_then_the_timer_starts_the_run_which_prunes_arms_and_suspends(self):
        # A blank and a percent sign in the profile's path must survive the unit's quoting.
        device = Profile(self, "pocket 100%").init("--sample")
        env = self.env("09:00:00")  # 10:00 in Berlin
        backups = os.path.join(device.folder, "fs", "Storage Card", "Backups")
        os.makedirs(backups)
        # Names in the reverse order of their last write times: the times decide.
        for day in (1, 2, 3):
            old = os.path.join(backups, f"Kestrav_2026010{day}.qbk")
            open(old, "wb").close()
            os.utime(old, (1_600_000_000 - day * 86400,) * 2)
        # A folder counts as a backup and goes first; its delete fails and the run goes on.
        os.mkdir(os.path.join(backups, "Old.qbk"))
        os.utime(os.path.join(backups, "Old.qbk"), (1_500_000_000,) * 2)
        # A name that is no UTF-8 is no file of the device: the stale one stays, and its
        # look-alike (U+FFFD for the byte) is judged by its own, recent time.
        stale = os.path.join(os.fsencode(backups), b"Kestrav_\xff.qbk")
        recent = os.path.join(backups, "Kestrav_\ufffd.qbk")
        for name, written in ((stale, 1_000_000_000), (recent, 1_700_000_000)):
            open(name, "wb").close()
            os.utime(name, (written,) * 2)
        # Dated after 2262, where a time in nanoseconds no longer fits 64 bits: the newest.
        future = os.path.join(backups, "Kestrav_future.qbk")
        open(future, "wb").close()
        subprocess.run(["touch", "-d", "2300-01-01", future], check=True)
        with open(os.path.join(backups, "notes.txt"), "w") as notes:
            notes.write("not a backup")
        os.utime(os.path.join(backups, "notes.txt"), (1_000_000_000,) * 2)

        saved = device.run("schedule", "set", "--days", "mon", "--time", "10:30",
                           "--folder", FOLDER, "--kinds", "contacts,calllogs", "--keep", "3",
                           "--turn-off", env=env)
        # The time entered is Berlin's, on the UTC date.
        self.assertEqual(saved.stdout, "Backup schedule successfully updated!\n"
                         f"Next run: Monday {MONDAY} 10:30:00 {BERLIN}\n")
        timer = self.only_timer()
        service = timer[:-len(".timer")] + ".service"
        self.assertEqual(self.unit_files(), [service, timer])
        self.assertEqual(setting(self.read_unit(timer), "OnCalendar"),
                         f"{MONDAY} 10:30:00 {BERLIN}")
        self.assertEqual(setting(self.read_unit(timer), "Unit"), service)
        self.assertEqual(self.logged(), ["--user is-system-running", "--user daemon-reload",
                                         f"--user enable --now {timer}"])
        shown = device.run("schedule", "show", env=env).stdout.splitlines()
        for line in ("Days: Monday", "Start time: 10:30:00 local time", f"Folder: {FOLDER}\\",
                     "Kinds: calllogs, contacts", "Old backups: deleted, keeping 3",
                     "Turn off after backup: yes", f"Next run: Monday {MONDAY} 10:30:00 {BERLIN}"):
            self.assertIn(line, shown)

        # The timer elapses at 10:30 in Berlin: its service's command, with its environment.
        unit = self.read_unit(service)
        self.assertEqual(systemd_words(setting(unit, "Environment"), False),
                         [f"KESTRAV_DEVICE={os.path.realpath(device.folder)}", f"TZ={BERLIN}"])
        os.remove(self.calls)
        # The manager's own zone is UTC; the unit keeps the one the schedule was set in.
        command, run = self.start_as_timer(service, "09:30:00", tz="UTC")
        self.assertEqual(command, [e2e_support.CLI, "/SchedBackup"])
        self.assertEqual(run.stderr, "")
        lines = run.stdout.splitlines()
        rows = e2e_support.rows("\n".join(lines[:-5]))
        self.assertIn("25 contacts successfully saved.", rows)
        self.assertIn("40 call logs successfully saved.", rows)
        self.assertTrue(lines[0].startswith("10:30:00  "), lines[0])  # the rows' local time
        # The journal keeps what was deleted, oldest first, and the next run.
        folder = FOLDER + "\\"
        self.assertEqual(lines[-5:], [
            f"Could not delete old backup {folder}Old.qbk: Access is denied.",
            *(f"Deleted old backup {folder}Kestrav_2026010{day}.qbk" for day in (3, 2, 1)),
            f"Next run: Saturday 2026-11-28 10:30:00 {BERLIN}"])

        day = MONDAY.replace("-", "")
        archive = os.path.join(backups, f"Kestrav_{day}.qbk")
        with zipfile.ZipFile(archive) as zipped:
            self.assertIsNone(zipped.testzip())
            self.assertEqual(sorted(zipped.namelist()),
                             [f"clogs_{day}.csl", f"contacts_{day}.csc"])
        self.assertEqual(sorted(os.listdir(os.fsencode(backups))),
                         [b"Kestrav_20261123.qbk", b"Kestrav_future.qbk",
                          b"Kestrav_\xef\xbf\xbd.qbk", b"Kestrav_\xff.qbk", b"Old.qbk",
                          b"notes.txt"])

        # Monday only, run on a Monday: the five-day search stops at Saturday, in Berlin still.
        rearmed = self.only_timer()
        self.assertEqual(setting(self.read_unit(rearmed), "OnCalendar"),
                         f"2026-11-28 10:30:00 {BERLIN}")
        self.assertIn(f'"TZ={BERLIN}"', self.read_unit(rearmed[:-len(".timer")] + ".service"))
        self.assertEqual(len(self.unit_files()), 2)
        calls = self.logged()
        self.assertIn(f"--user disable --now {timer}", calls)
        self.assertLess(calls.index(f"--user disable --now {timer}"),
                        calls.index(f"--user enable --now {rearmed}"))
        # The machine goes to sleep last, once the next run is armed.
        self.assertEqual(calls[-1], "suspend --no-ask-password")
        self.assertEqual(calls.count("suspend --no-ask-password"), 1)
        self.assertIn(f"Next run: Saturday 2026-11-28 10:30:00 {BERLIN}",
                      device.run("schedule", "show", env=env).stdout)

        cleared = device.run("schedule", "clear", env=env)
        self.assertEqual(cleared.stdout, "The backup schedule is cleared.\n")
        self.assertEqual(self.unit_files(), [])
        self.assertIn(f"--user disable --now {rearmed}", self.logged())
        self.assertEqual(device.run("schedule", "show", env=env).stdout,
                         "No backup schedule is set.\n")

    def test_two_profiles_keep_their_own_units_and_an_offline_manager_gets_them_later(self):
        self.manager("offline")
        config = self.path("config")
        self.units = os.path.join(config, "systemd", "user")
        env = self.env("09:00:00", tz=NEW_YORK, XDG_CONFIG_HOME=config)  # 04:00 in New York
        first = Profile(self, "first").init()
        second = Profile(self, "second").init()
        refused = first.run("schedule", "set", "--time", "10:30", "--folder", "\\Nowhere",
                            env=env, expect=1)
        self.assertIn("--folder \\Nowhere: no such folder on the device", refused.stderr)
        self.assertEqual(self.unit_files(), [])
        saved = first.run("schedule", "set", "--time", "10:30", env=env)
        first_timer = self.only_timer()
        self.assertEqual(saved.stdout.splitlines()[-1],
                         f"The systemd user manager does not run here: {first_timer} is written "
                         "and enabled, and starts with the manager at your next login.")
        # Saved twice, a profile still has one timer, now armed for the later time.
        second.run("schedule", "set", "--days", "tue,sat", "--time", "08:00", env=env)
        saved = second.run("schedule", "set", "--days", "tue,sat", "--time", "07:00", env=env)
        self.assertIn(f"Next run: Tuesday 2026-11-24 07:00:00 {NEW_YORK}\n", saved.stdout)
        first_key = first_timer[:first_timer.rindex("-") + 1]
        (second_timer,) = [n for n in self.unit_files()
                           if n.endswith(".timer") and not n.startswith(first_key)]
        second_key = second_timer[:second_timer.rindex("-") + 1]
        self.assertNotEqual(first_key, second_key)
        self.assertEqual(len(self.unit_files(first_key)), 2)
        self.assertEqual(len(self.unit_files(second_key)), 2)
        self.assertEqual(setting(self.read_unit(second_timer), "OnCalendar"),
                         f"2026-11-24 07:00:00 {NEW_YORK}")
        # No manager runs: nothing may be started, reloaded or stopped now.
        self.assertFalse([c for c in self.logged() if "--now" in c or "daemon-reload" in c])
        self.assertIn(f"--user enable {second_timer}", self.logged())

        first.run("schedule", "clear", env=env)
        self.assertEqual(self.unit_files(first_key), [])
        self.assertEqual(len(self.unit_files(second_key)), 2)
        self.assertEqual(first.run("schedule", "show", env=env).stdout,
                         "No backup schedule is set.\n")
        self.assertIn(f"Next run: Tuesday 2026-11-24 07:00:00 {NEW_YORK}",
                      second.run("schedule", "show", env=env).stdout)

    def test_a_start_the_safeguards_refuse_still_arms_the_next_run_and_says_why(self):
        device = Profile(self, "device").init()
        device.run("schedule", "set", "--days", "mon", "--time", "10:30", env=self.env("09:00:00"))

        # Another job holds the profile past the run's wait.
        with open(os.path.join(device.folder, "job.lock"), "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            service = self.only_timer()[:-len(".timer")] + ".service"
            _, run = self.start_as_timer(service, "09:30:00", expect=1, KESTRAV_SCHEDULED_WAIT="1")
        self.assertEqual(run.stdout, "")
        self.assertEqual(run.stderr.splitlines(), [
            "kestrav-cli: waiting for another job to end (at most 1 s)...",
            "kestrav-cli: the scheduled backup did not run: gave up after 1 s: the device is busy "
            f"with another job; the next run is armed for Saturday 2026-11-28 10:30:00 {BERLIN}"])
        self.assertEqual(setting(self.read_unit(self.only_timer()), "OnCalendar"),
                         f"2026-11-28 10:30:00 {BERLIN}")

        # A folder of the profile turned into a link: refused at once, and armed again.
        temp = os.path.join(device.folder, "fs", "Temp")
        outside = self.path("outside")
        os.rename(temp, outside)
        os.symlink(outside, temp)
        service = self.only_timer()[:-len(".timer")] + ".service"
        _, run = self.start_as_timer(service, "2026-11-28T09:30:00", expect=1)
        self.assertEqual(run.stderr, f"kestrav-cli: the scheduled backup did not run: {temp}: is a "
                         "symbolic link; a device profile's folders must be folders; the next run "
                         f"is armed for Monday 2026-11-30 10:30:00 {BERLIN}\n")
        self.assertEqual(os.listdir(outside), [])
        self.assertEqual(setting(self.read_unit(self.only_timer()), "OnCalendar"),
                         f"2026-11-30 10:30:00 {BERLIN}")

        # A profile folder whose name is no UTF-8 cannot reach the run (systemd passes only
        # UTF-8): no timer, and no word of success.
        odd = Profile(self, os.fsdecode(b"pocket \xff"))
        odd.run("device", "init", errors="surrogateescape")
        failed = odd.run("schedule", "set", "--time", "10:30", env=self.env("09:00:00"), expect=1)
        self.assertIn("its timer could not be set: systemd passes only UTF-8 to a program, and "
                      "KESTRAV_DEVICE=", failed.stderr)
        self.assertEqual(failed.stdout, "")
        self.assertEqual(len(self.unit_files()), 2)

        # East of UTC after local midnight the UTC date is a day behind: Monday 00:30 in Berlin,
        # found as the day after Sunday, has passed at 00:40 there. No timer would elapse.
        east = Profile(self, "east").init()
        passed = east.run("schedule", "set", "--days", "mon", "--time", "00:30",
                          env=self.env("2026-11-22T23:40:00"), expect=1)
        self.assertEqual(passed.stderr, "kestrav-cli: the schedule is saved, but its next run, "
                         f"Monday 2026-11-23 00:30:00 {BERLIN}, has passed already: as on the "
                         "handheld, the run's date is the UTC date, here a day behind the local "
                         "one, so no run comes until the schedule is saved again\n")
        self.assertIn(f"Next run: Monday 2026-11-23 00:30:00 {BERLIN}, which has passed already",
                      east.run("schedule", "show", env=self.env("2026-11-22T23:40:00")).stdout)

    def test_a_relative_folder_and_a_program_replaced_during_its_run(self):
        # The program where a package puts it, so that an upgrade can replace it while it runs.
        program = self.path("bin/kestrav-cli")
        os.makedirs(os.path.dirname(program))
        shutil.copy2(e2e_support.CLI, program)
        device = Profile(self, "device").init()
        work = self.path("work")
        os.makedirs(os.path.join(work, "bk"))
        env = self.env("09:00:00")
        subprocess.run([program, "--device", device.folder, "schedule", "set", "--days", "mon",
                        "--time", "10:30", "--folder", "bk", "--kinds", "calllogs"],
                       env=env, cwd=work, stdin=subprocess.DEVNULL, capture_output=True,
                       check=True)
        # Taken where it was given, not where a timer's run starts.
        self.assertIn(f"Folder: {work}/bk/\n", device.run("schedule", "show", env=env).stdout)

        service = self.only_timer()[:-len(".timer")] + ".service"
        with open(os.path.join(device.folder, "job.lock"), "w") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            command, scheduled = self.start_as_timer(service, "09:30:00", popen=True)
            watchdog = threading.Timer(60, scheduled.kill)
            watchdog.start()
            self.assertIn("waiting for another job", scheduled.stderr.readline())
            # The upgrade: a new file in the old one's place.
            os.remove(program)
            shutil.copy2(e2e_support.CLI, program)
        try:
            rows, errors = scheduled.communicate()
        finally:
            watchdog.cancel()
        self.assertEqual(command, [os.path.realpath(program), "/SchedBackup"])
        self.assertEqual(scheduled.returncode, 0, errors)
        self.assertIn(f"Next run: Saturday 2026-11-28 10:30:00 {BERLIN}", rows)
        self.assertEqual(os.listdir(os.path.join(work, "bk")), ["Kestrav_20261123.qbk"])
        self.assertEqual(os.listdir(self.home), [".config"])
        # The next run starts the program now at its path, not the one it replaced.
        rearmed = self.read_unit(self.only_timer()[:-len(".timer")] + ".service")
        self.assertEqual(systemd_words(setting(rearmed, "ExecStart"), True), command)

    def test_a_run_due_during_a_restore_waits_for_it_and_loses_nothing(self):
        env = self.env("10:30:00")
        source = Profile(self, "source").init("--sample", "--scale", "20")
        archive = self.path("big.qbk")
        source.run("backup", "--output", archive, env=env)
        device = Profile(self, "device").init()
        os.makedirs(os.path.join(device.folder, "fs", "Storage Card", "Backups"))
        device.run("schedule", "set", "--days", "mon", "--time", "10:30", "--folder", FOLDER,
                   env=self.env("09:00:00"))

        # The restore's output goes through a small pipe read only when the test says, so it
        # holds the profile for as long as the test needs.
        reader, writer = os.pipe()
        fcntl.fcntl(writer, fcntl.F_SETPIPE_SZ, 4096)
        restore = subprocess.Popen(device.command("restore", archive), env=env,
                                   stdin=subprocess.DEVNULL, stdout=writer,
                                   stderr=subprocess.PIPE, text=True)
        os.close(writer)
        restore_out = os.fdopen(reader, "rb", buffering=0)
        scheduled = None
        jobs = [restore]
        watchdog = threading.Timer(60, lambda: [job.kill() for job in jobs])
        watchdog.start()
        try:
            first_row = restore_out.readline()
            self.assertRegex(first_row, rb"^\d\d:\d\d:\d\d  ")
            scheduled = subprocess.Popen(
                [e2e_support.CLI, "/SchedBackup"], env=dict(env, KESTRAV_DEVICE=device.folder),
                stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                text=True)
            jobs.append(scheduled)
            waiting = scheduled.stderr.readline()
            self.assertIn("waiting for the restore of ", waiting)
            self.assertIn(f"started by process {restore.pid} ", waiting)
            # Only now may the restore go on.
            restored = first_row + restore_out.read()
            restore_errors = restore.stderr.read()
            restore.wait()
            scheduled_rows, scheduled_errors = scheduled.communicate()
        finally:
            watchdog.cancel()
            restore_out.close()
            for job in jobs:
                job.kill()
                job.wait()
                for stream in (job.stdout, job.stderr):
                    if stream:
                        stream.close()
        self.assertEqual(restore.returncode, 0, restore_errors)
        self.assertEqual(scheduled.returncode, 0, waiting + scheduled_errors)
        self.assertEqual(scheduled_errors, "")
        self.assertTrue(e2e_support.rows(restored.decode())[-1]
                        .startswith("Restore ended successfully in "))
        *scheduled_rows, next_run = scheduled_rows.splitlines()
        self.assertTrue(e2e_support.rows("\n".join(scheduled_rows))[-1]
                        .startswith("Backup ended successfully in "))
        self.assertEqual(next_run, f"Next run: Saturday 2026-11-28 10:30:00 {BERLIN}")

        # The profile holds what the same restore brings alone, and so does the day's backup.
        alone = Profile(self, "alone").init()
        alone.run("restore", archive, env=env)
        for database in ("contacts", "clog.db", "appointments", "tasks", "speeddials",
                         "messages"):
            self.assertEqual(device.run("device", "dump", database).stdout,
                             alone.run("device", "dump", database).stdout, database)
        expected = self.path("alone.qbk")
        alone.run("backup", "--output", expected, env=env)
        made = os.path.join(device.folder, "fs", "Storage Card", "Backups",
                            f"Kestrav_{MONDAY.replace('-', '')}.qbk")
        with zipfile.ZipFile(made) as got, zipfile.ZipFile(expected) as want:
            self.assertEqual(sorted(got.namelist()), sorted(want.namelist()))
            for name in want.namelist():
                self.assertEqual(got.read(name), want.read(name), name)


if __name__ == "__main__":
    e2e_support.main("schedule_test.py")
