"""The actions of publish.py on a tree: publish, go back, list. Each returns the lines of its report."""
import json
import pathlib

from . import rules, summary, tree
from .plan import Planner, check_together
from .problems import Problems, Refused


def publish(options):
    check_together(options)
    root = pathlib.Path(options.tree)
    if options.dry_run:
        return report_of(Planner(options).plan(), root) + ["dry run: nothing was written"]
    with tree.locked(root):
        plan = Planner(options).plan()
        with tree.staging(root) as folder:
            write(plan, folder, tree.current_release(root), options.keep)
            release = tree.commit(root, folder)
        tree.switch(root, release)
        # After the switch: what never became visible was never offered. Before the pruning, which removes installers.
        tree.remember(root, {"servers": sorted(plan.servers), "offered": plan.offered})
        tree.prune(root, options.keep)
    return report_of(plan, root) + warnings(root) + [f"published:  {release.name}"]


def report_of(plan, root):
    documents = {name: document.body for name, document in plan.documents.items()}
    if plan.new_installer:
        size = len(plan.new_installer[1])
    else:
        release = tree.current_release(root)
        size = summary.installer_size(release, documents.get("releases")) if release else None
    return summary.describe(documents, size, plan.changes) + plan.left_out


def warnings(root):
    return [f"warning:    other accounts cannot enter {folder}; a web server with an account of its own answers 403"
            for folder in tree.closed_folders(root)]


def write(plan, folder, previous, keep):
    for name, document in plan.documents.items():
        before = tree.document(previous, name) if previous else None
        if document.unchanged:
            tree.link_file(before, tree.document(folder, name))
        else:
            tree.write_newer_file(tree.document(folder, name), document.body, before)
    # Earlier installers stay reachable: a client may have read the release document a moment ago.
    for path in kept_installers(plan, keep):
        tree.link_file(path, folder / "installers" / path.name)
    if plan.new_installer:
        name, body = plan.new_installer
        tree.write_file(folder / "installers" / name, body)
    notes = {"changes": plan.changes, "compared_with": previous.name if previous else None}
    tree.write_file(folder / tree.NOTES_FILE, json.dumps(notes, indent=2).encode() + b"\n")


def kept_installers(plan, keep):
    """The newest ones, and always the one that the release offers: `keep` of them together with the new one."""
    offered = plan.documents["releases"].body if "releases" in plan.documents else b""
    room = keep - (1 if plan.new_installer else 0)
    newest = plan.installers[-room:]
    return [path for path in plan.installers if path in newest or path.name.encode() in offered]


def rollback(options):
    root = pathlib.Path(options.tree)
    if options.dry_run:
        _, report = go_back(root)
        return report + ["dry run: nothing was written"]
    with tree.locked(root):
        release, report = go_back(root)
        tree.open_to_all(release)
        tree.switch(root, release)
    return report + warnings(root) + [f"in force:   {release.name}"]


def go_back(root):
    """Returns the release before the one in force, and how the two differ."""
    in_force = tree.current_release(root)
    older = [release for release in tree.releases(root) if in_force is not None and release.name < in_force.name]
    if not older:
        raise Refused("there is no older release")
    before, after = summary.bodies(in_force), summary.bodies(older[-1])
    problems = Problems()
    servers = set(tree.read_json(root / tree.STATE_FILE).get("servers", []))
    rules.check_own_names("blocklist", after.get("blocklist", b"").split(), servers, problems)
    problems.raise_any()
    changed = summary.changes({name: (before.get(name), body) for name, body in after.items()})
    return older[-1], summary.describe(after, summary.installer_size(older[-1], after.get("releases")), changed)


def show(options):
    root = pathlib.Path(options.tree)
    in_force = tree.current_release(root)
    lines = []
    for release in tree.releases(root):
        current = in_force is not None and release.resolve() == in_force
        notes = tree.read_json(release / tree.NOTES_FILE)
        held = summary.bodies(release)
        lines.append(f"* {release.name}  in force" if current else f"  {release.name}")
        lines += ["    " + line for line in summary.describe(
            held, summary.installer_size(release, held.get("releases")), notes.get("changes", {}))]
    return lines or ["no release"]
