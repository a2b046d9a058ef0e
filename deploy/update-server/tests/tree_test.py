"""The tree: modes, dates, links, what a crash leaves, several publishers at once."""
import fcntl
import os
import pathlib
import shutil
import stat
import subprocess
import sys
import time
import unittest
import unittest.mock

from case import HASH_A, HASH_B, INSTALLER, KIT, TreeCase
from korvel_publish import tree


class Modes(TreeCase):
    def modes(self, top):
        return {str(path.relative_to(top)): stat.S_IMODE(path.stat().st_mode) for path in top.rglob("*")
                if not path.is_symlink()}

    def test_everything_that_is_served_is_readable_whatever_the_umask(self):
        self.tree = self.folder / "new/tree"
        for mask in (0o077, 0o027, 0o000):
            old = os.umask(mask)
            try:
                self.publish_all()
            finally:
                os.umask(old)
            for path, mode in self.modes(self.tree / "releases").items():
                is_folder = (self.tree / "releases" / path).is_dir()
                self.assertEqual(mode, 0o755 if is_folder else 0o644, path)
            for folder in (self.tree, self.tree.parent, self.tree / "releases"):
                self.assertEqual(stat.S_IMODE(folder.stat().st_mode), 0o755)

    def test_folders_of_the_operator_keep_their_modes_and_closed_ones_are_told(self):
        self.tree.mkdir()
        self.tree.chmod(0o750)
        self.publish_all()
        self.assertEqual(stat.S_IMODE(self.tree.stat().st_mode), 0o750)
        self.assertIn(f"warning:    other accounts cannot enter {self.tree.resolve()};", self.output.getvalue())

    def test_going_back_opens_a_release_of_an_earlier_publisher(self):
        self.publish_all()
        old = (self.tree / "current").resolve()
        self.publish("--signatures", self.write("new", HASH_B + b"\n"))
        (old / "api").chmod(0o700)
        (old / "api/v1/signatures").chmod(0o600)
        self.publish("--rollback")
        self.assertEqual(self.modes(old)["api"], 0o755)
        self.assertEqual(self.modes(old)["api/v1/signatures"], 0o644)


class Unchanged(TreeCase):
    def dates(self):
        return {name: self.path(name).stat().st_mtime_ns for name in tree.DOCUMENTS}

    def path(self, name):
        return self.tree / "current/api/v1" / name

    def test_documents_that_did_not_change_keep_their_file(self):
        self.publish_all()
        files = {name: self.path(name).stat().st_ino for name in tree.DOCUMENTS}
        self.publish("--signatures", self.write("same", b"# again\n" + HASH_A.upper() + b"\n"))
        self.assertEqual({name: self.path(name).stat().st_ino for name in tree.DOCUMENTS}, files)
        self.publish("--signatures", self.write("new", HASH_B + b"\n"))
        self.assertNotEqual(self.path("signatures").stat().st_ino, files["signatures"])
        self.assertEqual(self.path("blocklist").stat().st_ino, files["blocklist"])

    def test_where_links_are_refused_they_keep_their_date(self):
        self.publish_all()
        for path in [self.path(name) for name in tree.DOCUMENTS] + list((self.tree / "current/installers").iterdir()):
            os.utime(path, ns=(1_700_000_000_123_456_789,) * 2)
        with unittest.mock.patch("os.link", side_effect=PermissionError):
            self.publish("--blocklist", str(self.folder / "domains"))
        self.assertEqual(set(self.dates().values()), {1_700_000_000_123_456_789})
        self.assertEqual(self.document("signatures"), HASH_A + b"\n")
        self.assertEqual(len(self.installer_names()), 1)

    def test_document_that_changes_within_a_second_gets_another_date(self):
        self.publish_all()
        dates = [self.dates()["signatures"] // 10**9]
        for body in (HASH_B, HASH_A, HASH_B):  # of the same size
            self.publish("--signatures", self.write("new", body + b"\n"))
            dates.append(self.dates()["signatures"] // 10**9)
        self.assertEqual(len(set(dates)), 4, dates)


class Rollback(TreeCase):
    def test_puts_the_release_before_back(self):
        self.publish_all()
        self.publish("--signatures", self.write("new", HASH_B + b"\n"))
        self.publish("--rollback")
        self.assertEqual(self.document("signatures"), HASH_A + b"\n")
        self.assertIn("signatures: 1 hashes, 65 bytes; +1 -1\n", self.output.getvalue())
        self.assertRegex(self.output.getvalue(), r"in force:   \S+\n$")
        self.refused("no older release", "--rollback")

    def test_release_after_it_sorts_behind_all_others(self):
        self.publish_all()
        self.publish_all()
        self.publish("--rollback")
        self.publish_all()
        self.assertEqual((self.tree / "current").resolve().name, self.release_names()[-1])

    def test_to_a_list_that_blocks_the_server_by_now_is_refused(self):
        self.publish("--blocklist", self.write("old", b"example.net\n"), "--base-url", "https://updates.example.org")
        self.publish("--blocklist", self.write("new", b"a.com\n"), "--server", "updates.example.net")
        self.refused("blocks the update server updates.example.net", "--rollback")


class Pruning(TreeCase):
    def test_old_releases_are_removed_but_never_the_one_in_force(self):
        self.publish_all()
        for _ in range(12):
            self.publish("--blocklist", str(self.folder / "domains"))
        self.assertEqual(len(self.release_names()), 10)
        self.publish("--rollback")
        self.publish("--blocklist", str(self.folder / "domains"), "--keep", "2")
        self.assertEqual(len(self.release_names()), 2)
        self.assertTrue((self.tree / "current/api/v1/releases").exists())

    def test_release_in_force_stays_however_old_it_is(self):
        self.publish_all()
        for _ in range(3):
            self.publish("--blocklist", str(self.folder / "domains"))
        names = self.release_names()
        tree.switch(self.tree, self.tree / "releases" / names[0])
        tree.prune(self.tree, 2)
        self.assertEqual(self.release_names(), [names[0], *names[2:]])


class Crashes(TreeCase):
    def test_leftovers_of_a_killed_publisher_go_with_the_next_one(self):
        self.publish_all()
        for name in (".staging-dead", ".staging-20260101T000000-0000"):
            (self.tree / "releases" / name / "api/v1").mkdir(parents=True)
            (self.tree / "releases" / name / "api/v1/signatures").write_bytes(b"half")
        (self.tree / "current.new").symlink_to("releases/none")
        (self.tree / "publisher.json.new").write_bytes(b"{")
        self.publish_all()
        self.assertEqual(len(self.release_names()), 2)
        self.assertEqual([path.name for path in self.tree.iterdir() if ".new" in path.name], [])

    def test_failure_in_the_middle_leaves_nothing(self):
        self.publish_all()
        before = self.everything()
        for name in ("write_newer_file", "link_file", "commit"):
            with unittest.mock.patch.object(tree, name, side_effect=OSError("disk full")):
                self.assertEqual(self.run_script("--signatures", self.write("new", HASH_B + b"\n")), 1)
            self.assertIn("disk full", self.errors.getvalue())
            self.assertEqual(self.everything(), before)

    def test_killed_publisher_leaves_the_old_release_or_the_new_one(self):
        self.publish_all()
        names = [HASH_A + b"\n", HASH_B + b"\n"]
        for moment in range(1, 40):
            script = [sys.executable, "-c", KILLED_AT_A_CALL, str(KIT), str(moment)]
            options = ["--tree", str(self.tree), "--signatures", self.write("new", names[moment % 2])]
            killed = subprocess.run(script + options, capture_output=True, check=False)
            self.assertIn(self.document("signatures"), names)
            self.assertEqual(self.document("blocklist"), b"a.com\n")
            if killed.returncode == 0:
                self.assertGreater(moment, 5, "it was never killed")
                break
        else:
            self.fail("it never came to its end")
        self.publish("--signatures", self.write("new", HASH_A + b"\n"))
        self.assertFalse(any(name.startswith(".") for name in self.release_names()))

    def test_every_file_and_folder_is_on_the_disk_before_the_switch(self):
        calls = []
        real_sync, real_replace, real_rename = os.fsync, os.replace, os.rename
        moved = {}

        def sync(handle):
            calls.append(os.readlink(f"/proc/self/fd/{handle}"))
            real_sync(handle)

        def rename(source, target):
            moved[str(source)] = str(target)
            real_rename(source, target)

        def replace(source, target):
            calls.append(f"replace {pathlib.Path(target).name}")
            real_replace(source, target)

        with unittest.mock.patch("os.fsync", sync), unittest.mock.patch("os.replace", replace), \
                unittest.mock.patch("os.rename", rename):
            self.publish_all()
        before = calls[:calls.index("replace current")]
        self.assertTrue(moved)
        for source, target in moved.items():
            before = [target + path[len(source):] if path.startswith(source) else path for path in before]
        release = (self.tree / "current").resolve()
        for path in [release, *release.rglob("*"), release.parent]:
            self.assertIn(str(path), before)
        self.assertIn(str(self.tree.resolve()), calls[calls.index("replace current"):])


# Runs publish.py and ends without a word at the nth call that changes the disk.
KILLED_AT_A_CALL = """
import os, sys
sys.path.insert(0, sys.argv[1])
import publish
left = int(sys.argv[2])
def counted(call):
    def counting(*arguments, **options):
        global left
        left -= 1
        if left == 0:
            os._exit(9)
        return call(*arguments, **options)
    return counting
for name in ("fsync", "link", "rename", "replace", "symlink", "unlink", "mkdir", "chmod"):
    setattr(os, name, counted(getattr(os, name)))
sys.exit(publish.main(sys.argv[3:]))
"""


class Together(TreeCase):
    def test_publisher_waits_for_another_and_leaves_its_staging_folder_alone(self):
        self.publish_all()
        staged = self.tree / "releases/.staging-running"
        staged.mkdir()
        with open(self.tree / ".lock", "a", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            script = [sys.executable, KIT / "publish.py", "--tree", self.tree]
            second = subprocess.Popen([*script, "--signatures", self.write("new", HASH_B + b"\n")],
                                      stdout=subprocess.PIPE, stderr=subprocess.PIPE)
            self.addCleanup(second.communicate)
            self.assertEqual(second.stderr.readline(), b"publish.py: waiting for another publisher\n")
            time.sleep(0.2)
            self.assertIsNone(second.poll())
            self.assertTrue(staged.exists())
            self.assertEqual(self.document("signatures"), HASH_A + b"\n")
            shutil.rmtree(staged)
        self.assertEqual(second.wait(60), 0)
        self.assertEqual(self.document("signatures"), HASH_B + b"\n")

    def test_many_publishers_make_one_release_each(self):
        self.publish_all()
        running = [subprocess.Popen([sys.executable, KIT / "publish.py", "--tree", self.tree, "--signatures",
                                     self.write(f"new{number}", b"%064x\n" % number)], stdout=subprocess.DEVNULL,
                                    stderr=subprocess.DEVNULL) for number in range(5)]
        self.assertEqual([process.wait(60) for process in running], [0] * 5)
        self.assertEqual(len(self.release_names()), 6)
        self.assertEqual(INSTALLER, next((self.tree / "current/installers").iterdir()).read_bytes())


if __name__ == "__main__":
    unittest.main()
