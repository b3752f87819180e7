#!/usr/bin/env python3
"""What an installed Kestrav puts on the machine, and what the desktop makes of it.

    install_test.py cmake CMAKE BUILD_FOLDER   `cmake --install` into a temporary prefix, and an
                                               installed copy of the file types that the program
                                               takes for its own registration
    install_test.py package KESTRAV_DEB        the package's files, unpacked with `dpkg -x`, its
                                               programs run from there
"""
import os
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree

ICONS = ["kestrav"] + [
    f"application-x-kestrav-{kind}"
    for kind in ["contacts", "appointments", "tasks", "call-logs", "speed-dials", "messages",
                 "backup"]
]
ICON_SIZES = ["16x16", "24x24", "32x32", "48x48", "64x64", "128x128", "256x256"]

# Below the prefix (/usr in the package).
INSTALLED = {
    "bin/kestrav",
    "bin/kestrav-cli",
    "share/applications/org.kestrav.Kestrav.desktop",
    "share/metainfo/org.kestrav.Kestrav.metainfo.xml",
    "share/mime/packages/kestrav.xml",
    "share/man/man1/kestrav.1",
    "share/man/man1/kestrav-cli.1",
    "share/bash-completion/completions/kestrav-cli",
    "share/doc/kestrav/README.md",
    "share/doc/kestrav/copyright",
}
for icon in ICONS:
    context = "apps" if icon == "kestrav" else "mimetypes"
    INSTALLED.add(f"share/icons/hicolor/scalable/{context}/{icon}.svg")
    INSTALLED |= {f"share/icons/hicolor/{size}/{context}/{icon}.png" for size in ICON_SIZES}

TYPES = {
    ".csc": "application/x-kestrav-contacts",
    ".csd": "application/x-kestrav-speed-dials",
    ".cst": "application/x-kestrav-tasks",
    ".csa": "application/x-kestrav-appointments",
    ".csl": "application/x-kestrav-call-logs",
    ".csm": "application/x-kestrav-messages",
    ".qbk": "application/x-kestrav-backup",
}
# A stored archive of one member "a.csc" holding a byte order mark, and a record file.
ARCHIVE = bytes.fromhex(
    "504b0304140000000000" "8f526f369630f888" "0200000002000000" "05000000" "612e637363fffe"
    "504b01021403140000000000" "8f526f369630f888" "0200000002000000" "05000000"
    "0000000000000000800100000000" "612e637363"
    "504b0506000000000100010033000000" "250000000000")
RECORD_FILE = "\ufeffName;Title\r\n".encode("utf-16-le")

failures = []


def check(condition, what):
    if not condition:
        failures.append(what)
        print("FAIL:", what)


def have(tool):
    if shutil.which(tool):
        return True
    print(f"SKIPPED: {tool} is not installed; its check is left out")
    return False


def run(command, env=None, **options):
    return subprocess.run(command, capture_output=True, text=True, env=env, **options)


def files_below(folder):
    found = set()
    for parent, _, names in os.walk(folder):
        for name in names:
            found.add(os.path.relpath(os.path.join(parent, name), folder))
    return found


def check_file_list(found, extras=()):
    wanted = set(INSTALLED) | set(extras)
    if not shutil.which("rsvg-convert"):
        wanted = {name for name in wanted if not name.endswith(".png")}
    check(found == wanted, f"installed files: missing {sorted(wanted - found)}, "
                           f"unexpected {sorted(found - wanted)}")


def check_desktop_files(share):
    entry = os.path.join(share, "applications", "org.kestrav.Kestrav.desktop")
    if have("desktop-file-validate"):
        result = run(["desktop-file-validate", entry])
        check(result.returncode == 0 and not result.stdout,
              f"desktop-file-validate: {result.stdout}{result.stderr}")
    if have("appstreamcli"):
        result = run(["appstreamcli", "validate", "--no-net",
                      os.path.join(share, "metainfo", "org.kestrav.Kestrav.metainfo.xml")])
        check(result.returncode == 0, f"appstreamcli validate: {result.stdout}{result.stderr}")
    if have("man"):
        for page in ["kestrav.1", "kestrav-cli.1"]:
            path = os.path.join(share, "man", "man1", page)
            path = path if os.path.exists(path) else path + ".gz"
            result = run(["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", path],
                         env=dict(os.environ, MANROFFSEQ="", MANWIDTH="80"))
            check(result.returncode == 0 and not result.stderr,
                  f"man --warnings {page}: {result.stderr}")


def check_file_types(share, home):
    """The types the desktop reads from the installed package, as xdg-mime answers."""
    if not have("update-mime-database"):
        return
    result = run(["update-mime-database", os.path.join(share, "mime")])
    check(result.returncode == 0, f"update-mime-database: {result.stderr}")
    if not have("xdg-mime") or not have("gio"):
        return
    environment = dict(os.environ, XDG_DATA_DIRS=share, XDG_DATA_HOME=os.path.join(home, "data"),
                       XDG_CONFIG_HOME=os.path.join(home, "config"), XDG_CURRENT_DESKTOP="GNOME")
    for extension, mime_type in TYPES.items():
        sample = os.path.join(home, "Kestrav_20070315" + extension)
        with open(sample, "wb") as file:
            file.write(ARCHIVE if extension == ".qbk" else RECORD_FILE)
        result = run(["xdg-mime", "query", "filetype", sample], env=environment)
        check(result.stdout == mime_type + "\n",
              f"xdg-mime query filetype {extension}: {result.stdout!r} {result.stderr}")
        result = run(["xdg-mime", "query", "default", mime_type], env=environment)
        check(result.stdout == "org.kestrav.Kestrav.desktop\n",
              f"xdg-mime query default {mime_type}: {result.stdout!r} {result.stderr}")


def types_of(package):
    """Each type's glob, comment, icon, parent and magic, from a shared-mime-info package."""
    namespace = {"m": "http://www.freedesktop.org/standards/shared-mime-info"}
    types = {}
    for element in ElementTree.parse(package).getroot().findall("m:mime-type", namespace):
        types[element.get("type")] = (
            sorted(glob.get("pattern") for glob in element.findall("m:glob", namespace)),
            [comment.text for comment in element.findall("m:comment", namespace)],
            [icon.get("name") for icon in element.findall("m:icon", namespace)],
            [parent.get("type") for parent in element.findall("m:sub-class-of", namespace)],
            [(magic.get("priority"), match.get("type"), match.get("offset"), match.get("value"))
             for magic in element.findall("m:magic", namespace)
             for match in magic.findall("m:match", namespace)])
    return types


def desktop_environment(home, shared):
    environment = {name: value for name, value in os.environ.items()
                   if name not in ("DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM")}
    environment.update(XDG_DATA_HOME=os.path.join(home, "data"),
                       XDG_CONFIG_HOME=os.path.join(home, "config"), XDG_DATA_DIRS=shared,
                       KESTRAV_DEVICE=os.path.join(home, "device"), HOME=home)
    return environment


def check_installed_copy(prefix, home):
    """The program finds its types registered by the installed copy and writes nothing of the
    user's; without that copy it registers them for the user, alike."""
    if not have("update-mime-database"):
        return
    share = os.path.join(prefix, "share")
    cli = os.path.join(prefix, "bin", "kestrav-cli")
    window = os.path.join(prefix, "bin", "kestrav")
    environment = desktop_environment(home, share)
    result = run([cli, "device", "init"], env=environment)
    check(result.returncode == 0, f"device init: {result.stderr}")
    result = run([cli, "desktop", "show"], env=environment)
    check("File types: registered, opened by this program\n" in result.stdout,
          f"desktop show with the installed copy: {result.stdout}{result.stderr}")
    # The window registers the types at its start, then ends for want of a display.
    result = run([window], env=environment)
    check(result.returncode == 0, f"kestrav without a display: {result.stderr}")
    written = files_below(home)
    check(all(name.startswith("device/") for name in written),
          f"the user's folders were written to: {sorted(written)}")

    environment = desktop_environment(home, os.path.join(home, "nowhere"))
    result = run([window], env=environment)
    user_package = os.path.join(home, "data", "mime", "packages", "kestrav.xml")
    check(os.path.exists(user_package), f"no registration for the user: {result.stderr}")
    if os.path.exists(user_package):
        check(types_of(user_package) == types_of(os.path.join(share, "mime", "packages",
                                                              "kestrav.xml")),
              "the installed types differ from those the program registers for a user")


def test_cmake_install(cmake, build):
    with tempfile.TemporaryDirectory() as folder:
        # A prefix whose path needs quoting in the menu entry's Exec (xdg-mime takes no blanks).
        prefix = os.path.join(folder, "opt/kestrav-100%-\"$x\"")
        environment = {name: value for name, value in os.environ.items() if name != "DESTDIR"}
        result = run([cmake, "--install", build, "--prefix", prefix], env=environment)
        check(result.returncode == 0, f"cmake --install: {result.stdout}{result.stderr}")
        if result.returncode != 0:
            return
        # The databases the install made for the desktop at once.
        made = {"share/applications/mimeinfo.cache"} if shutil.which("update-desktop-database") \
            else set()
        found = {name for name in files_below(prefix)
                 if not name.startswith("share/mime/") or name.startswith("share/mime/packages/")}
        check_file_list(found, made)
        check_desktop_files(os.path.join(prefix, "share"))
        home = os.path.join(folder, "home")
        os.mkdir(home)
        check_installed_copy(prefix, home)
        desktop_home = os.path.join(folder, "desktop")
        os.mkdir(desktop_home)
        check_file_types(os.path.join(prefix, "share"), desktop_home)


def test_package(deb):
    with tempfile.TemporaryDirectory() as folder:
        root = os.path.join(folder, "root")
        result = run(["dpkg-deb", "-x", deb, root])
        check(result.returncode == 0, f"dpkg -x: {result.stderr}")
        usr = os.path.join(root, "usr")
        found = {name.removesuffix(".gz") for name in files_below(usr)}
        check_file_list(found, {"share/doc/kestrav/changelog"})
        check(files_below(root) == {os.path.join("usr", name) for name in files_below(usr)},
              "the package holds files outside /usr")
        check_desktop_files(os.path.join(usr, "share"))
        home = os.path.join(folder, "home")
        os.mkdir(home)
        check_file_types(os.path.join(usr, "share"), home)

        cli = os.path.join(usr, "bin", "kestrav-cli")
        result = run([cli, "--version"])
        check(result.stdout == "kestrav-cli 0.1.0\n", f"--version: {result.stdout!r}")
        environment = desktop_environment(home, os.path.join(usr, "share"))
        archive = os.path.join(home, "sample.qbk")
        for command in (["device", "init", "--sample"], ["backup", "--output", archive],
                        ["list", archive]):
            result = run([cli, *command], env=environment)
            check(result.returncode == 0, f"kestrav-cli {' '.join(command)}: {result.stderr}")
        check("contacts_" in result.stdout, f"the sample backup holds no contacts: {result.stdout}")


def main():
    if sys.argv[1] == "cmake":
        test_cmake_install(sys.argv[2], sys.argv[3])
    else:
        test_package(sys.argv[2])
    print(f"{len(failures)} failures" if failures else "installed files as they should be")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
