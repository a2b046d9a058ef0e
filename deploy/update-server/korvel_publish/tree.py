"""The tree of releases: its layout, its lock, and changes of it that survive a crash.

    <tree>/releases/<time>-<n>/api/v1/{signatures,blocklist,releases}
    <tree>/releases/<time>-<n>/installers/KorvelSetup-<version>-<digest>.exe
    <tree>/releases/<time>-<n>/release.json    what this release changed; not served
    <tree>/current -> releases/<time>-<n>      what is served
    <tree>/publisher.json                      the server's names and the versions offered so far; not served
    <tree>/allow.txt                           written by the operator: what is never published

Folders and files that clients get are readable for every account, whatever the umask: the web server has its own."""
import contextlib
import fcntl
import json
import os
import pathlib
import re
import shutil
import sys
import tempfile
import time

from .problems import Refused

RELEASES_DIR = "releases"
CURRENT_LINK = "current"
STATE_FILE = "publisher.json"
NOTES_FILE = "release.json"
STAGING_PREFIX = ".staging-"
DOCUMENTS = ("signatures", "blocklist", "releases")
INSTALLER_NAME = re.compile(r"KorvelSetup-(?P<version>.+)-(?P<digest>[0-9a-f]{16})\.exe\Z")

FOLDER_MODE = 0o755
FILE_MODE = 0o644


def document(release, name):
    return release / "api/v1" / name


def installers(release):
    """The installers that a release serves, the newest last."""
    folder = release / "installers"
    found = [p for p in folder.iterdir() if INSTALLER_NAME.match(p.name)] if folder.is_dir() else []
    return sorted(found, key=lambda path: (path.stat().st_mtime_ns, path.name))


# --- files and folders ---

def make_folder(path):
    """Makes the folder and those above it; only those that are new get their mode."""
    if path.is_dir():
        return
    make_folder(path.parent)
    path.mkdir(exist_ok=True)
    path.chmod(FOLDER_MODE)


def sync_folder(path):
    handle = os.open(path, os.O_RDONLY | os.O_DIRECTORY)
    try:
        os.fsync(handle)
    finally:
        os.close(handle)


def sync_folders(top):
    """Every folder from the innermost to `top`: a file is only safe once its name is."""
    for folder, _, _ in os.walk(top, topdown=False):
        sync_folder(folder)


def write_file(path, body):
    make_folder(path.parent)
    with open(path, "xb") as file:
        file.write(body)
        os.fchmod(file.fileno(), FILE_MODE)
        file.flush()
        os.fsync(file.fileno())


def write_newer_file(path, body, before):
    """Writes a file whose date differs from that of `before`, even within one second: web servers and caches
    tell contents apart by date and size."""
    write_file(path, body)
    if before is not None and before.exists():
        earlier, date = int(before.stat().st_mtime), int(path.stat().st_mtime)
        if date <= earlier:
            os.utime(path, (earlier + 1, earlier + 1))


def link_file(source, path):
    """The same file under another name; where the system refuses that, a copy with the same date. Either way
    web servers and caches see that it has not changed."""
    make_folder(path.parent)
    try:
        os.link(source, path)
    except OSError:
        write_file(path, source.read_bytes())
        date = source.stat().st_mtime_ns
        os.utime(path, ns=(date, date))


def open_to_all(release):
    """Gives a release of an earlier publisher the modes that it should have."""
    for folder, _, names in os.walk(release):
        for path, mode in [(folder, FOLDER_MODE)] + [(os.path.join(folder, name), FILE_MODE) for name in names]:
            if os.stat(path).st_mode & mode != mode:
                os.chmod(path, mode)


def closed_folders(tree):
    """The folders on the way to the tree that other accounts cannot enter."""
    tree = tree.resolve()
    return [folder for folder in (*reversed(tree.parents), tree)
            if folder.is_dir() and not folder.stat().st_mode & 0o001]


# --- releases ---

@contextlib.contextmanager
def locked(tree):
    """One publisher at a time; it finds no staging folder of an earlier one that was killed."""
    make_folder(tree)
    with open(tree / ".lock", "a", encoding="utf-8") as lock:
        try:
            fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except BlockingIOError:
            print("publish.py: waiting for another publisher", file=sys.stderr, flush=True)
            fcntl.flock(lock, fcntl.LOCK_EX)
        remove_leftovers(tree)
        yield


def remove_leftovers(tree):
    """Only under the lock: whoever made them has ended."""
    for path in (tree / RELEASES_DIR).glob(STAGING_PREFIX + "*"):
        shutil.rmtree(path)


def current_release(tree):
    link = tree / CURRENT_LINK
    return link.resolve() if link.is_symlink() and link.exists() else None


def releases(tree):
    folder = tree / RELEASES_DIR
    return sorted(p for p in folder.iterdir() if not p.name.startswith(".")) if folder.is_dir() else []


def next_release(tree):
    """A name that sorts behind every earlier one, even within one second or after the clock went back."""
    last = releases(tree)
    stamp = time.strftime("%Y%m%dT%H%M%S", time.gmtime())
    number = 0
    if last:
        last_stamp, last_number = last[-1].name.rsplit("-", 1)
        if last_stamp >= stamp:
            stamp, number = last_stamp, int(last_number) + 1
    return tree / RELEASES_DIR / f"{stamp}-{number:04d}"


@contextlib.contextmanager
def staging(tree):
    """A folder that becomes a release by commit(), or goes."""
    make_folder(tree / RELEASES_DIR)
    (tree / RELEASES_DIR).chmod(FOLDER_MODE)
    folder = pathlib.Path(tempfile.mkdtemp(prefix=STAGING_PREFIX, dir=tree / RELEASES_DIR))
    folder.chmod(FOLDER_MODE)
    try:
        yield folder
    finally:
        if folder.exists():
            shutil.rmtree(folder, ignore_errors=True)


def commit(tree, folder):
    """Makes the staged folder a release that a crash cannot take back; it is not served yet."""
    release = next_release(tree)
    sync_folders(folder)
    os.rename(folder, release)
    sync_folder(tree / RELEASES_DIR)
    return release


def switch(tree, release):
    """Moves the link: every request sees the old release or the new one, never a mixture within a file."""
    link = tree / (CURRENT_LINK + ".new")
    link.unlink(missing_ok=True)
    link.symlink_to(os.path.relpath(release.resolve(), tree.resolve()))
    os.replace(link, tree / CURRENT_LINK)
    sync_folder(tree)


def prune(tree, keep):
    """Removes the oldest releases; the one in force stays, and so do the newest."""
    in_force = current_release(tree)
    for release in releases(tree)[:-keep]:
        if release.resolve() != in_force:
            # Under another name first: a release that is half removed must not be one to go back to.
            doomed = release.with_name(STAGING_PREFIX + release.name)
            os.rename(release, doomed)
            shutil.rmtree(doomed)


# --- what outlives a release ---

def read_json(path):
    try:
        value = json.loads(path.read_bytes())
    except FileNotFoundError:
        return {}
    except ValueError as reason:
        raise Refused(f"{path}: not a JSON document: {reason}") from None
    return value if isinstance(value, dict) else {}


def remember(tree, state):
    new = tree / (STATE_FILE + ".new")
    new.unlink(missing_ok=True)
    write_file(new, json.dumps(state, indent=2, sort_keys=True).encode() + b"\n")
    os.replace(new, tree / STATE_FILE)
    sync_folder(tree)


def offered_versions(tree):
    """The digest of every installer that was ever offered, by its version in lower case: clients on Windows do not
    tell names apart by case."""
    offered = dict(read_json(tree / STATE_FILE).get("offered", {}))
    for release in releases(tree):
        for path in installers(release):
            name = INSTALLER_NAME.match(path.name)
            offered.setdefault(name["version"].lower(), name["digest"])
    return offered
