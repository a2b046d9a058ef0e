"""What the tests of the kit share: a tree of their own in a temporary folder, and publish.py run on it."""
import contextlib
import io
import pathlib
import shutil
import sys
import tempfile
import unittest

KIT = pathlib.Path(__file__).resolve().parents[1]
if str(KIT) not in sys.path:
    sys.path.insert(0, str(KIT))
import publish  # noqa: E402
from korvel_publish import rules  # noqa: E402

HASH_A, HASH_B = b"a" * 64, b"b" * 64
INSTALLER = b"MZ" + bytes(rules.MIN_INSTALLER_BYTES - 2)
BASE_URL = "https://updates.example.org/"


def hashes(count, first=0):
    return b"".join(b"%064x\n" % number for number in range(first, first + count))


def domains(count):
    return b"".join(b"d%d.com\n" % number for number in range(count))


class TreeCase(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.tree = self.folder / "tree"
        self.write("hashes", HASH_A + b"\n")
        self.write("domains", b"a.com\n")
        self.write("setup.exe", INSTALLER)

    def write(self, name, body):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(body)
        return str(path)

    def run_main(self, *arguments):
        self.output, self.errors = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(self.output), contextlib.redirect_stderr(self.errors):
            return publish.main(list(arguments))

    def run_script(self, *arguments):
        return self.run_main("--tree", str(self.tree), *arguments)

    def program(self, version, installer=INSTALLER, base_url=BASE_URL):
        """The options that publish an installer."""
        return ["--version", version, "--installer", self.write("setup.exe", installer), "--base-url", base_url]

    def publish(self, *arguments):
        self.assertEqual(self.run_script(*arguments), 0, self.errors.getvalue())

    def publish_all(self, version="1.3.0", base_url=BASE_URL):
        self.publish("--signatures", str(self.folder / "hashes"), "--blocklist", str(self.folder / "domains"),
                     "--version", version, "--installer", str(self.folder / "setup.exe"), "--base-url", base_url)

    def refused(self, text, *arguments):
        """The update is refused with that text, and nothing has changed."""
        before = self.everything()
        self.assertEqual(self.run_script(*arguments), 1, self.output.getvalue())
        self.assertIn(text, self.errors.getvalue())
        self.assertEqual(self.everything(), before)

    def everything(self):
        """Every file and link of the tree with its content and its date."""
        found = {}
        for path in sorted(self.tree.rglob("*")):
            if path.name != ".lock":
                found[str(path)] = (str(path.readlink()) if path.is_symlink() else
                                    path.read_bytes() if path.is_file() else None, path.lstat().st_mtime_ns
                                    if path.is_file() else 0)
        return found

    def document(self, name):
        return (self.tree / "current/api/v1" / name).read_bytes()

    def installer_names(self):
        return sorted(path.name for path in (self.tree / "current/installers").iterdir())

    def release_names(self):
        folder = self.tree / "releases"
        return sorted(path.name for path in folder.iterdir()) if folder.is_dir() else []
