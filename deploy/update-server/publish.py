#!/usr/bin/env python3
"""Checks an update for the service's clients and publishes it in one step.

    publish.py --tree /srv/korvel-updates --base-url https://updates.example.org \\
               --signatures hashes.txt --blocklist domains.txt \\
               --version 1.3.0 --installer KorvelSetup.exe
    publish.py --tree /srv/korvel-updates --rollback
    publish.py --tree /srv/korvel-updates --list

A part that is not named is taken over from the release in force; the first release names them all. The checks
are the clients' own limits: every client accepts what passes them. Nothing is visible to clients
until every check has passed; then the link "current" moves to the new release.

Layout:  <tree>/releases/<time>-<n>/api/v1/{signatures,blocklist,releases}
         <tree>/releases/<time>-<n>/installers/KorvelSetup-<version>-<digest>.exe
         <tree>/current -> releases/<time>-<n>
"""
import argparse
import contextlib
import fcntl
import hashlib
import json
import os
import pathlib
import re
import shutil
import sys
import tempfile
import time

# The limits of the clients.
MAX_BODY_BYTES = 134_217_728            # one document
HASH_LINE_BYTES = 65                    # 64 digits and a line feed
MAX_HASH_LINES = MAX_BODY_BYTES // HASH_LINE_BYTES  # 2,064,888; below the 4,000,000 that clients keep
MIN_INSTALLER_BYTES = 65_536
HOSTS_BLOCK_LINES = 60_000              # no further domain is taken once the block has more lines
MAX_URL_BYTES = 1_000                   # of the path; clients take up to 1,023

RELEASES_DIR = "releases"
CURRENT_LINK = "current"
KEEP_RELEASES = 10

HASH = re.compile(rb"[0-9A-Fa-f]{64}\Z")
DOMAIN = re.compile(rb"[A-Za-z0-9.-]{1,253}\Z")
VERSION = re.compile(r"[0-9A-Za-z][0-9A-Za-z.+-]{0,63}\Z")


class Refused(Exception):
    """The update breaks a rule of the clients; the text names the file, the line and the rule."""


# --- the clients' rules ---

def check_length(name, body):
    if len(body) > MAX_BODY_BYTES:
        raise Refused(f"{name}: {len(body):,} bytes, clients refuse more than {MAX_BODY_BYTES:,}")


def check_signatures(name, body):
    """Returns the document that clients get: the distinct hashes in lower case, sorted, one per line."""
    hashes = set()
    for number, line in enumerate(body.split(b"\n"), 1):
        text = line.strip(b" \t\r")
        if not text or text.startswith(b"#"):
            continue
        token = re.split(rb"[ \t]", text, maxsplit=1)[0]
        if not HASH.match(token):
            raise Refused(f"{name}:{number}: not a SHA-256 in hexadecimal; clients would skip the line")
        hashes.add(token.lower())
        if len(hashes) > MAX_HASH_LINES:
            raise Refused(f"{name}:{number}: more than {MAX_HASH_LINES:,} hashes do not fit into one document")
    if not hashes:
        raise Refused(f"{name}: no hash; clients would keep their old signatures and report an error")
    document = b"\n".join(sorted(hashes)) + b"\n"
    check_length(name, document)
    return document


def is_block_domain(domain):
    return (DOMAIN.match(domain) is not None and domain[:1] != b"." and domain[-1:] != b"."
            and b".." not in domain and b"." in domain and re.search(rb"[A-Za-z]", domain) is not None)


def check_blocklist(name, body):
    """Returns the document that clients get: the distinct domains in lower case, in the order given."""
    domains = {}
    lines = 2
    for number, line in enumerate(body.split(b"\n"), 1):
        text = line[:-1] if line.endswith(b"\r") else line
        if not text or text.startswith(b"#"):
            continue
        if not is_block_domain(text):
            raise Refused(f"{name}:{number}: not a bare domain; clients would skip the line")
        domain = text.lower()
        if domain in domains:
            continue
        if lines > HOSTS_BLOCK_LINES:
            raise Refused(f"{name}:{number}: clients write {HOSTS_BLOCK_LINES:,} lines into the hosts file; this domain "
                          f"and those after it would be left out (a domain takes two lines, one with www. takes one)")
        domains[domain] = None
        lines += 1 if domain.startswith(b"www.") else 2
    document = b"".join(domain + b"\n" for domain in domains)
    check_length(name, document)
    return document


def json_string_field(text, key):
    """Reads a member as clients do: by text search, where a backslash escapes the next character."""
    at = text.find(b'"' + key + b'"')
    if at < 0:
        return None
    at = text.find(b":", at + len(key) + 2)
    at = text.find(b'"', at) if at >= 0 else -1
    if at < 0:
        return None
    value = bytearray()
    at += 1
    while at < len(text):
        if text[at] == ord('"'):
            return bytes(value)
        if text[at] == ord("\\"):
            at += 1
            if at == len(text):
                return None
        value.append(text[at])
        at += 1
    return None


def check_releases(name, body):
    """Returns (version, url) as clients read them from the document."""
    check_length(name, body)
    begin = body.find(b'"windows"')
    if begin < 0:
        raise Refused(f'{name}: no key "windows"')
    end = body.find(b'"android"', begin + 9)
    section = body[begin:end] if end >= 0 else body[begin:]
    version = json_string_field(section, b"version")
    url = json_string_field(section, b"url")
    if version is None or url is None:
        raise Refused(f'{name}: the windows section needs the strings "version" and "url"')
    try:
        wanted = json.loads(body)["windows"]
        same = wanted["version"].encode() == version and wanted["url"].encode() == url
    except (ValueError, KeyError, TypeError, AttributeError):
        raise Refused(f"{name}: not a JSON document with windows.version and windows.url as strings") from None
    if not same:
        raise Refused(f"{name}: clients read version {version!r} and url {url!r}, not what the JSON says; "
                      f"avoid escapes and put no other key of that name before them")
    check_version(version.decode("utf-8", "replace"))
    check_url(url.decode("utf-8", "replace"))
    return version.decode(), url.decode()


def check_version(version):
    if not VERSION.match(version) or version.endswith("."):
        raise Refused(f"version {version!r}: it becomes part of a file name on the clients; "
                      f"use letters, digits, '.', '+' and '-'")


def check_url(url):
    if not re.match(r"https?://[!-~]+\Z", url):
        raise Refused(f"{url}: clients need a plain ASCII http or https address")
    if len(url) > MAX_URL_BYTES:
        raise Refused(f"{url[:60]}...: longer than {MAX_URL_BYTES} bytes")


def check_installer(name, body):
    check_length(name, body)
    if len(body) < MIN_INSTALLER_BYTES:
        raise Refused(f"{name}: {len(body):,} bytes, clients refuse fewer than {MIN_INSTALLER_BYTES:,}")
    if body[:2] != b"MZ":
        raise Refused(f"{name}: does not begin with MZ; clients refuse it")


# --- the tree ---

@contextlib.contextmanager
def locked(tree):
    """One publisher at a time."""
    tree.mkdir(parents=True, exist_ok=True)
    with open(tree / ".lock", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        yield


def current_release(tree):
    link = tree / CURRENT_LINK
    return link.resolve() if link.is_symlink() else None


def releases(tree):
    folder = tree / RELEASES_DIR
    return sorted(p for p in folder.iterdir() if not p.name.startswith(".")) if folder.is_dir() else []


def write_synced(path, body):
    path.parent.mkdir(parents=True, exist_ok=True)
    with open(path, "wb") as file:
        file.write(body)
        file.flush()
        os.fsync(file.fileno())
    path.chmod(0o644)


def sync_folder(path):
    handle = os.open(path, os.O_RDONLY)
    try:
        os.fsync(handle)
    finally:
        os.close(handle)


def switch(tree, release):
    """Moves the link: every request sees the old release or the new one, never a mixture within a file."""
    link = tree / (CURRENT_LINK + ".new")
    link.unlink(missing_ok=True)
    link.symlink_to(os.path.relpath(release, tree))
    os.replace(link, tree / CURRENT_LINK)
    sync_folder(tree)


def prune(tree):
    """Removes the oldest releases; the one in force stays, and so do the newest."""
    in_force = current_release(tree)
    for release in releases(tree)[:-KEEP_RELEASES]:
        if release.resolve() != in_force:
            shutil.rmtree(release)


def take_over(previous, part):
    if previous is None:
        raise Refused(f"the first release needs every part; {part} is missing")
    return (previous / "api/v1" / part).read_bytes()


def build(options, staging, previous):
    """Writes the checked documents into the staging folder; returns the lines of the report."""
    api = staging / "api/v1"
    report = []

    source = options.signatures
    body = check_signatures(source, pathlib.Path(source).read_bytes()) if source else take_over(previous, "signatures")
    write_synced(api / "signatures", body)
    report.append(f"signatures: {len(body) // HASH_LINE_BYTES:,} hashes, {len(body):,} bytes")

    source = options.blocklist
    body = check_blocklist(source, pathlib.Path(source).read_bytes()) if source else take_over(previous, "blocklist")
    write_synced(api / "blocklist", body)
    report.append(f"blocklist:  {body.count(bytes([10])):,} domains, {len(body):,} bytes")

    # Installers of older releases stay reachable: a client may have read the releases document a moment ago.
    if previous is not None and (previous / "installers").is_dir():
        shutil.copytree(previous / "installers", staging / "installers", copy_function=os.link)
    if options.installer:
        body = pathlib.Path(options.installer).read_bytes()
        check_installer(options.installer, body)
        check_version(options.version)
        name = f"KorvelSetup-{options.version}-{hashlib.sha256(body).hexdigest()[:16]}.exe"
        target = staging / "installers" / name
        target.unlink(missing_ok=True)  # never write through a link into an older release
        write_synced(target, body)
        url = f"{options.base_url.rstrip('/')}/installers/{name}"
        releases_body = json.dumps({"windows": {"version": options.version, "url": url}}, indent=2).encode() + b"\n"
    else:
        releases_body = take_over(previous, "releases")
    version, url = check_releases("releases", releases_body)
    write_synced(api / "releases", releases_body)
    report.append(f"release:    {version}, {url}")
    return report


def publish(options):
    tree = pathlib.Path(options.tree)
    if bool(options.installer) != bool(options.version):
        raise Refused("--installer and --version belong together")
    if options.installer and not options.base_url:
        raise Refused("--installer needs --base-url, the address that clients download it from")
    with locked(tree):
        (tree / RELEASES_DIR).mkdir(exist_ok=True)
        staging = pathlib.Path(tempfile.mkdtemp(prefix=".staging-", dir=tree / RELEASES_DIR))
        try:
            report = build(options, staging, current_release(tree))
            staging.chmod(0o755)
            release = next_release(tree)
            os.rename(staging, release)
        except BaseException:
            shutil.rmtree(staging, ignore_errors=True)
            raise
        sync_folder(tree / RELEASES_DIR)
        switch(tree, release)
        prune(tree)
    print("\n".join(report + [f"published:  {release.name}"]))


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


def rollback(options):
    tree = pathlib.Path(options.tree)
    with locked(tree):
        in_force = current_release(tree)
        older = [r for r in releases(tree) if in_force is not None and r.name < in_force.name]
        if not older:
            raise Refused("there is no older release")
        switch(tree, older[-1])
    print(f"in force:   {older[-1].name}")


def show(options):
    tree = pathlib.Path(options.tree)
    in_force = current_release(tree)
    for release in releases(tree):
        print(("* " if release.resolve() == in_force else "  ") + release.name)


def main(arguments=None):
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--tree", required=True, help="the folder that the web server serves 'current' of")
    parser.add_argument("--signatures", help="SHA-256 hashes, one per line")
    parser.add_argument("--blocklist", help="domains, one per line")
    parser.add_argument("--version", help="version of the installer")
    parser.add_argument("--installer", help="the Windows installer")
    parser.add_argument("--base-url", default="", help="address of the server as clients see it")
    action = parser.add_mutually_exclusive_group()
    action.add_argument("--rollback", action="store_true", help="go back to the release before the one in force")
    action.add_argument("--list", action="store_true", help="show the releases, the one in force marked")
    options = parser.parse_args(arguments)
    try:
        (rollback if options.rollback else show if options.list else publish)(options)
    except (Refused, OSError) as reason:
        print(f"publish.py: {reason}", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main())
