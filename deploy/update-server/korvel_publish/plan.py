"""What a release will hold: made from the sources, the release in force and the allow list, and checked, before
anything is written."""
import functools
import hashlib
import json
import pathlib

from . import rules, summary, tree
from .allow import AllowList
from .problems import Problems, Refused

ALLOW_FILE = "allow.txt"  # in the tree


class Document:
    """The bytes of one document; `unchanged` when the release in force serves the same ones."""

    def __init__(self, body, before):
        self.body = body
        self.before = before
        self.unchanged = before is not None and before == body


class Plan:
    """Documents by their names; `installers` are files to take over, `new_installer` is (name, bytes)."""

    def __init__(self):
        self.documents = {}
        self.installers = []
        self.new_installer = None
        self.servers = set()
        self.offered = {}
        self.left_out = []

    @functools.cached_property
    def changes(self):
        """For each document what differs from the release in force."""
        return summary.changes({name: (document.before, document.body) for name, document in self.documents.items()})


def read_if_there(path):
    try:
        return path.read_bytes()
    except FileNotFoundError:
        return None


class Planner:
    """Collects every problem of an update; plan() raises Refused with all of them."""

    def __init__(self, options):
        self.options = options
        self.tree = pathlib.Path(options.tree)
        self.previous = tree.current_release(self.tree)
        self.problems = Problems()
        self.allow = AllowList()
        self.result = Plan()

    def plan(self):
        self.read_allow_list()
        self.plan_signatures()
        blocklist = self.plan_blocklist()
        self.plan_program()
        self.collect_servers()
        self.check_blocklist_names(blocklist)
        self.problems.raise_any()
        return self.result

    def before(self, name):
        return read_if_there(tree.document(self.previous, name)) if self.previous else None

    def read_allow_list(self):
        standing = self.tree / ALLOW_FILE
        files = [pathlib.Path(name) for name in self.options.allow] + ([standing] if standing.exists() else [])
        for path in files:
            self.allow.read(path.name, path.read_bytes(), self.problems)

    def leave_out(self, count, what):
        if count:
            self.result.left_out.append(f"left out:   {count:,} {what} of the allow list")

    def check_shrinking(self, name, before, after):
        if after * 2 < before and not self.options.shrink:
            self.problems.add(f"{name}: {after:,} instead of {before:,} in the release in force, less than half; "
                              f"--shrink if this is meant")

    def plan_signatures(self):
        source, before = self.options.signatures, self.before("signatures")
        if source is None and (before is None or not self.allow):
            return self.take_over("signatures", before)
        found = Problems()
        name = source or "signatures"
        hashes = rules.read_signatures(name, pathlib.Path(source).read_bytes() if source else before, found)
        kept = self.allow.without_digests(hashes)
        self.leave_out(len(hashes) - len(kept), "hashes")
        if hashes and not kept:
            found.add(f"{name}: no hash is left beside the allow list")
        body = rules.signature_document(name, kept, found)
        self.problems.texts += found.texts
        if not found:
            self.result.documents["signatures"] = Document(body, before)
            if before is not None:
                self.check_shrinking("signatures", before.count(b"\n"), len(kept))
        return None

    def plan_blocklist(self):
        """Returns the domains of the document, whether it is new or taken over."""
        source, before = self.options.blocklist, self.before("blocklist")
        if source is None and (before is None or not self.allow):
            self.take_over("blocklist", before)
            return dict.fromkeys((before or b"").split(), 0)
        name = source or "blocklist"
        listed = rules.read_blocklist(name, pathlib.Path(source).read_bytes() if source else before, self.problems)
        domains = self.allow.without_domains(listed)
        self.leave_out(len(listed) - len(domains), "domains")
        rules.check_hosts_budget(name, domains, self.problems)
        body = b"".join(domain + b"\n" for domain in domains)
        was_empty = before is not None and not before
        if not body and not self.options.empty_blocklist and not was_empty:
            self.problems.add(f"{name}: no domain; clients would block nothing any more; "
                              f"--empty-blocklist if this is meant")
        elif body and before is not None:
            self.check_shrinking("blocklist", before.count(b"\n"), len(domains))
        self.result.documents["blocklist"] = Document(body, before)
        return domains

    def plan_program(self):
        before = self.before("releases")
        self.result.installers = tree.installers(self.previous) if self.previous else []
        self.result.offered = tree.offered_versions(self.tree)
        if not self.options.installer:
            return self.take_over("releases", before)
        version, base = self.options.version, self.options.base_url.rstrip("/")
        body = pathlib.Path(self.options.installer).read_bytes()
        digest = hashlib.sha256(body).hexdigest()[:16]
        rules.check_installer(self.options.installer, body, self.problems)
        rules.check_version(version, self.problems)
        self.check_order(version, before)
        offered = self.result.offered.setdefault(version.lower(), digest)
        if offered != digest:
            self.problems.add(f"version {version}: offered before with other bytes (digest {offered}...); "
                              f"a client that has it would never learn of this one; give it a version of its own")
        name = f"KorvelSetup-{version}-{digest}.exe"
        release = {"windows": {"version": version, "url": f"{base}/installers/{name}"}}
        document = json.dumps(release, indent=2).encode() + b"\n"
        if not self.problems:
            rules.read_releases("releases", document, self.problems)
        self.result.documents["releases"] = Document(document, before)
        if name not in (path.name for path in self.result.installers):
            self.result.new_installer = (name, body)
        return None

    def check_order(self, version, before):
        in_force, _ = rules.read_as_clients(before) if before else (None, None)
        if in_force is None or self.options.downgrade:
            return
        old = in_force[0].decode("utf-8", "replace")
        if rules.version_order(version) < rules.version_order(old):
            self.problems.add(f"version {version}: lower than {old}, which is in force; --downgrade if this is meant")

    def take_over(self, name, before):
        if before is not None:
            self.result.documents[name] = Document(before, before)

    def collect_servers(self):
        state = tree.read_json(self.tree / tree.STATE_FILE)
        self.result.servers = set(state.get("servers", [])) | server_names(self.options, self.problems)
        # The installer may come from a host of its own; clients must reach that one too.
        document = self.result.documents.get("releases")
        found, _ = rules.read_as_clients(document.body) if document else (None, None)
        if found and (host := rules.host_of(found[1].decode("utf-8", "replace"))):
            self.result.servers.add(host)

    def check_blocklist_names(self, domains):
        if domains and not self.result.servers:
            self.problems.add("blocklist: name the server with --base-url or --server, "
                              "so that the list is known not to block it")
        rules.check_own_names("blocklist", domains, self.result.servers, self.problems)


def server_names(options, problems):
    """The names that the options give the server."""
    names = set()
    if options.base_url:
        names.add(rules.host_of(options.base_url))
    for given in options.server:
        host = rules.server_name(given)
        if not host or rules.check_host(host):
            problems.add(f"--server {given}: neither a host name nor an address")
        names.add(host)
    return names - {""}


def check_together(options):
    """Options that need each other."""
    if bool(options.installer) != bool(options.version):
        raise Refused("--installer and --version belong together")
    if options.installer and not options.base_url:
        raise Refused("--installer needs --base-url, the address that clients download it from")
    if options.base_url:
        problems = Problems()
        rules.check_base_url(options.base_url.rstrip("/"), problems)
        problems.raise_any()
    if not (options.signatures or options.blocklist or options.installer or options.allow):
        raise Refused("nothing to publish; name --signatures, --blocklist or --installer")
