"""What a release holds and what it changes, in words."""
from . import rules, tree

MISSING = {
    "signatures": "none; clients keep the signatures that they have and log a warning once a day",
    "blocklist": "none; clients keep their hosts block and, with the web shield on, log a warning once a day",
    "releases": "none; a check for an update fails with status 404",
}


def lines_changed(before, after):
    if before is None:
        return "new"
    if before == after:
        return "unchanged"
    old, new = set(before.split(b"\n")), set(after.split(b"\n"))
    return f"+{len(new - old):,} -{len(old - new):,}"


def version_changed(before, after):
    if before is None:
        return "new"
    if before == after:
        return "unchanged"
    old, new = rules.read_as_clients(before)[0], rules.read_as_clients(after)[0]
    if old and new and old[0] != new[0]:
        return f"was {old[0].decode('utf-8', 'replace')}"
    return "another address"


def changes(documents):
    """`documents`: for each name the bytes before (or None) and after."""
    return {name: (version_changed if name == "releases" else lines_changed)(*bodies)
            for name, bodies in documents.items()}


def describe(documents, installer_bytes, changed):
    """One line for each document; `documents` are bodies by name, `changed` as changes() returns it."""
    texts = {}
    if "signatures" in documents:
        body = documents["signatures"]
        texts["signatures"] = f"{body.count(bytes([10])):,} hashes, {len(body):,} bytes"
    if "blocklist" in documents:
        body = documents["blocklist"]
        texts["blocklist"] = f"{body.count(bytes([10])):,} domains, {len(body):,} bytes"
    if "releases" in documents:
        found, reason = rules.read_as_clients(documents["releases"])
        if found is None:
            texts["releases"] = reason
        else:
            version, url = (text.decode("utf-8", "replace") for text in found)
            size = f"{installer_bytes:,} bytes, " if installer_bytes is not None else ""
            texts["releases"] = f"{version}, {size}{url}"
    labels = {"signatures": "signatures:", "blocklist": "blocklist: ", "releases": "program:   "}
    return [f"{labels[name]} {texts.get(name, MISSING[name])}" + (f"; {changed[name]}" if name in changed else "")
            for name in tree.DOCUMENTS]


def installer_size(release, releases_body):
    """The size of the installer that a release offers from its own tree, or None."""
    found, _ = rules.read_as_clients(releases_body) if releases_body else (None, None)
    if found is None:
        return None
    path = release / "installers" / found[1].decode("utf-8", "replace").rsplit("/", 1)[-1]
    return path.stat().st_size if path.is_file() else None


def bodies(release):
    return {name: tree.document(release, name).read_bytes()
            for name in tree.DOCUMENTS if tree.document(release, name).is_file()}
