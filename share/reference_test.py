#!/usr/bin/env python3
"""Every command and option kestrav-cli's own help lists is completed in bash and described in
its manual page; kind names, restore modes and the backup files a command takes complete too.

    reference_test.py KESTRAV_CLI COMPLETION_SCRIPT MANUAL_PAGE
"""
import os
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

BASH_COMPLETION = "/usr/share/bash-completion/bash_completion"

# What bash runs per line typed: the words and the cursor as bash gives them to the function.
HARNESS = r"""
source "$1"
source "$2"
compopt() { :; }
complete -p kestrav-cli >/dev/null || exit 3
complete_line() {
    COMP_LINE=$1
    COMP_POINT=${#COMP_LINE}
    read -ra COMP_WORDS <<<"$COMP_LINE"
    [[ $COMP_LINE == *' ' ]] && COMP_WORDS+=("")
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _kestrav_cli kestrav-cli "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    printf '%s\n' "${COMPREPLY[*]}"
}
"""


def help_of(program, words):
    run = subprocess.run([program, *words, "--help"], capture_output=True, text=True, check=True)
    return run.stdout


def sections(help_text):
    """The long options and the subcommands a help text lists."""
    options, commands, section = [], [], None
    for line in help_text.splitlines():
        if line.endswith(":") and not line.startswith(" "):
            section = line[:-1]
        elif section == "Options" and line.startswith("  -"):
            options += re.findall(r"--[a-z][a-z-]*", line.split()[0])
        elif section == "Subcommands" and line.startswith("  ") and line.split():
            commands.append(line.split()[0])
    return options, commands


def command_tree(program, words=()):
    """(words, options, subcommands) for the program and every command under it."""
    options, commands = sections(help_of(program, list(words)))
    tree = [(list(words), options, commands)]
    for command in commands:
        tree += command_tree(program, (*words, command))
    return tree


def main():
    program, script = os.path.abspath(sys.argv[1]), os.path.abspath(sys.argv[2])
    tree = command_tree(program)
    failures = manual_page_failures(tree, sys.argv[3])
    if not os.path.exists(BASH_COMPLETION):
        print(f"SKIPPED: {BASH_COMPLETION} is missing (bash-completion is not installed)")
        return report(failures)
    cases = []  # (line typed, words that must be offered, words that must not)
    for words, options, commands in tree:
        typed = " ".join(["kestrav-cli", *words])
        if commands:
            cases.append((typed + " ", commands, []))
        # "--device" and "--wait" come after the command too.
        cases.append((typed + " --", options + ([] if not words else ["--device", "--wait"]), []))

    kinds_help = help_of(program, ["backup"])
    kinds = re.search(r"--kinds\s+TEXT\s+Comma-separated kinds \(([a-z, ]+)\)", kinds_help)
    assert kinds, "backup --help no longer lists the kinds"
    kinds = kinds.group(1).split(", ")
    assert kinds == ["calllogs", "contacts", "appointments", "tasks", "speeddials", "messages"]
    cases += [
        ("kestrav-cli backup --kinds ", kinds, []),
        ("kestrav-cli schedule set --kinds contacts,", ["contacts,tasks", "contacts,messages"],
         ["contacts,contacts"]),
        ("kestrav-cli delete-all ", [k for k in kinds if k != "messages"], ["messages"]),
        ("kestrav-cli restore x.qbk --mode ",
         ["delete-all", "add-new", "add-update", "duplicates", "contacts="], []),
        ("kestrav-cli restore x.qbk --mode contacts=add-", ["add-new", "add-update"], []),
        ("kestrav-cli import-contacts f.csv --delimiter ",
         ["comma", "semicolon", "tab", "space"], []),
        ("kestrav-cli schedule set --days mon-fri,", ["mon-fri,sat", "mon-fri,weekend"], []),
        ("kestrav-cli device init --os ", ["4", "5"], []),
        ("kestrav-cli desktop shortcut ", ["on", "off"], []),
        ("kestrav-cli help ", ["backup", "schedule", "desktop"], []),
        ("kestrav-cli --device folder b", ["backup"], []),
        # Files: backups for restore and list, any file for import.
        ("kestrav-cli restore ",
         ["Kestrav_20070315.qbk", "contacts_20070315.csc", "CALLS.CSL", "folder"],
         ["notes.txt"]),
        ("kestrav-cli list ", ["Kestrav_20070315.qbk", "folder"], ["contacts_20070315.csc"]),
        ("kestrav-cli import-contacts ", ["notes.txt"], []),
        ("kestrav-cli backup --output ", ["Kestrav_20070315.qbk", "folder"], ["notes.txt"]),
    ]

    with tempfile.TemporaryDirectory() as folder:
        for name in ["Kestrav_20070315.qbk", "contacts_20070315.csc", "CALLS.CSL", "notes.txt"]:
            open(os.path.join(folder, name), "w").close()
        os.mkdir(os.path.join(folder, "folder"))
        commands = HARNESS + "".join(f"complete_line {shlex.quote(line)}\n" for line, _, _ in cases)
        run = subprocess.run(["bash", "-c", commands, "harness", BASH_COMPLETION, script],
                             cwd=folder, capture_output=True, text=True)
    assert run.returncode == 0, f"bash failed ({run.returncode}): {run.stderr}"
    answers = run.stdout.split("\n")
    for (line, wanted, unwanted), answer in zip(cases, answers):
        offered = set(answer.split())
        missing = [word for word in wanted if word not in offered]
        extra = [word for word in unwanted if word in offered]
        if missing or extra:
            failures.append(f"{line!r}: offers {sorted(offered)}; missing {missing}, "
                            f"should not offer {extra}")
    print(f"{len(cases)} lines completed, {sum(len(o) for _, o, _ in tree)} options and "
          f"{sum(len(c) for _, _, c in tree)} commands")
    return report(failures)


def manual_page_failures(tree, page):
    """The commands and options the page, as man shows it, never names."""
    if not shutil.which("man"):
        print("SKIPPED: man is not installed; the manual page is not read")
        return []
    shown = subprocess.run(["man", "-l", page], capture_output=True, text=True, check=True,
                           env=dict(os.environ, MANWIDTH="10000")).stdout
    failures = []
    for words, options, commands in tree:
        for name in commands + options:
            if not re.search(r"(?<![\w-])" + re.escape(name) + r"(?![\w-])", shown):
                failures.append(f"the manual page never names {' '.join(words + [name])}")
    return failures


def report(failures):
    for failure in failures:
        print("FAIL:", failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
