"""Holds what is served, in a folder or by a running server, against the clients' limits.

A problem is something that clients refuse, skip or misread, or that keeps them from the document; a note is something
that they accept and an operator should know."""
import hashlib
import http.client
import pathlib
import ssl
import urllib.parse

from . import rules, summary, tree
from .problems import Problems, Refused

STEP_SECONDS = 15
MOST_REDIRECTS = 10
READ_BYTES = 1 << 20


class Findings:
    def __init__(self):
        self.problems = Problems()
        self.notes = []
        self.report = []


# --- where documents come from ---

class Folder:
    """A tree, or one of its releases."""

    def __init__(self, path):
        self.root = pathlib.Path(path)
        if (self.root / tree.CURRENT_LINK).is_symlink():
            self.root = self.root / tree.CURRENT_LINK
        if not (self.root / "api/v1").is_dir():
            raise Refused(f"{path}: neither a tree with a release in force nor a release")
        self.root = self.root.resolve()
        self.servers = set(tree.read_json(self.root.parent.parent / tree.STATE_FILE).get("servers", []))

    def read(self, path, name, findings):
        """The bytes of a document, or None."""
        file = self.root / path
        try:
            for place in (file, *file.parents):
                if place == self.root.parent:
                    break
                if not place.stat().st_mode & (0o004 if place == file else 0o001):
                    findings.problems.add(f"{name}: other accounts may not read {place}; a web server answers 403")
            return file.read_bytes()
        except FileNotFoundError:
            return None

    def installer(self, url, findings):
        """Returns (looked at, bytes)."""
        path = urllib.parse.urlsplit(url).path
        if "/installers/" not in path:
            findings.notes.append(f"installer: {url} is not in this folder; not looked at")
            return False, None
        return True, self.read("installers/" + path.rsplit("/", 1)[1], "installer", findings)


class Server:
    """A running server, asked as clients ask: one connection for each document, no proxy."""

    def __init__(self, base):
        problems = Problems()
        rules.check_base_url(base, problems)
        problems.raise_any()
        self.base = base.rstrip("/")
        self.servers = {rules.host_of(base)}

    def read(self, path, name, findings):
        return fetch(f"{self.base}/{path}", name, findings)

    def installer(self, url, findings):
        return True, fetch(url, "installer", findings)


def fetch(url, name, findings):
    """The body that clients would get, or None: with a problem, or without one when the server has none (404)."""
    for _ in range(MOST_REDIRECTS + 1):
        before = len(findings.problems.texts)
        rules.check_url(url, findings.problems)
        if len(findings.problems.texts) > before:
            return None
        if url.lower().startswith("http:"):
            findings.notes.append(f"{name}: plain http; anyone on the way can change it")
        target = urllib.parse.urlsplit(url)
        kind = http.client.HTTPSConnection if target.scheme.lower() == "https" else http.client.HTTPConnection
        options = {"context": ssl.create_default_context()} if kind is http.client.HTTPSConnection else {}
        connection = kind(target.hostname, target.port, timeout=STEP_SECONDS, **options)
        try:
            connection.request("GET", (target.path or "/") + ("?" + target.query if target.query else ""),
                               headers={"User-Agent": "KORVEL publish.py"})
            answer = connection.getresponse()
            place = answer.getheader("Location")
            if answer.status in (301, 302, 303, 307, 308) and place:
                findings.notes.append(f"{name}: redirected to {place}; each redirect costs clients a connection")
                onward = urllib.parse.urljoin(url, place)
                if url.lower().startswith("https:") and not onward.lower().startswith("https:"):
                    findings.problems.add(f"{name}: redirected from https to {onward}; clients do not follow")
                    return None
                url = onward
                continue
            return body_of(answer, name, findings)
        except (OSError, http.client.HTTPException, ValueError) as reason:
            findings.problems.add(f"{name}: no whole answer from {url}: {type(reason).__name__}: {reason}")
            return None
        finally:
            connection.close()
    findings.problems.add(f"{name}: more than {MOST_REDIRECTS} redirects")
    return None


def body_of(answer, name, findings):
    if answer.status == 404:
        return None
    if not 200 <= answer.status <= 299:
        findings.problems.add(f"{name}: status {answer.status}")
        return None
    if coding := answer.getheader("Content-Encoding"):
        findings.problems.add(f"{name}: sent as {coding}; clients do not decode it")
    if answer.getheader("Content-Length") is None:
        findings.notes.append(f"{name}: sent without its length; a body that breaks off may look complete")
    pieces, size = [], 0
    while piece := answer.read(READ_BYTES):
        pieces.append(piece)
        size += len(piece)
        if size > rules.MAX_BODY_BYTES:
            findings.problems.add(f"{name}: longer than {rules.MAX_BODY_BYTES:,} bytes; clients refuse it")
            return None
    expected = answer.getheader("Content-Length")
    if expected is not None and size < int(expected):
        findings.problems.add(f"{name}: broke off after {size:,} of {expected} bytes")
        return None
    return b"".join(pieces)


# --- the documents ---

def check(place, servers):
    """Returns the Findings about a folder or a server's base address."""
    source = Server(place) if "://" in place else Folder(place)
    findings = Findings()
    documents = {}
    for name in tree.DOCUMENTS:
        body = source.read("api/v1/" + name, name, findings)
        if body is not None:
            documents[name] = body
    if not documents and not findings.problems:
        findings.problems.add("no document is served at all")
    check_signatures(documents.get("signatures"), findings)
    release = None
    if "releases" in documents:
        release = rules.read_releases("releases", documents["releases"], findings.problems)
    usable = release is not None and rules.is_usable_url(release[1])  # or it was named already
    installer = check_installer(source, release[1], findings) if usable else None
    own = source.servers | set(servers) | ({rules.host_of(release[1])} if release else set())
    check_blocklist(documents.get("blocklist"), own - {""}, findings)
    size = len(installer) if installer is not None else None
    findings.report = summary.describe(documents, size, {})
    return findings


def check_signatures(body, findings):
    if body is None:
        return
    rules.check_length("signatures", body, findings.problems)
    rules.read_signatures("signatures", body, findings.problems)


def check_blocklist(body, servers, findings):
    if body is None:
        return
    rules.check_length("blocklist", body, findings.problems)
    before = len(findings.problems.texts)
    domains = rules.read_blocklist("blocklist", body, findings.problems)
    rules.check_hosts_budget("blocklist", domains, findings.problems)
    rules.check_own_names("blocklist", domains, servers, findings.problems)
    if not domains and len(findings.problems.texts) == before:
        findings.notes.append("blocklist: no domain; clients block nothing")


def check_installer(source, url, findings):
    looked_at, body = source.installer(url, findings)
    if body is None:
        if looked_at:
            findings.problems.add(f"installer: {url} is not there")
        return None
    rules.check_installer("installer", body, findings.problems)
    name = tree.INSTALLER_NAME.match(url.rsplit("/", 1)[1])
    if name and hashlib.sha256(body).hexdigest()[:16] != name["digest"]:
        findings.problems.add(f"installer: its bytes are not those that its name tells: {url}")
    return body
