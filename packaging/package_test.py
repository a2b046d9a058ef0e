#!/usr/bin/python3
"""Makes the setup program and its bill of materials, and looks at both.

  package_test.py FILES VERSION [unittest arguments]

FILES is the folder of what is installed. Debian's interpreter, since it needs Debian's pefile.
"""
import hashlib
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import urllib.parse

import pefile

HERE = pathlib.Path(__file__).resolve().parent
FILES = VERSION = None


def make_setup(resources, files, output):
    done = subprocess.run([resources / "make-setup", VERSION, files, output], stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode != 0:
        sys.exit(done.stdout)
    return output.read_bytes()


class PackageTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.work = pathlib.Path(cls.folder.name)
        cls.setup_program = cls.work / f"KorvelSetup-{VERSION}.exe"
        make_setup(HERE / "windows", FILES, cls.setup_program)

    def bill(self):
        return subprocess.run([sys.executable, HERE / "bill_of_materials.py", VERSION, self.setup_program],
                              capture_output=True, text=True, check=True).stdout

    def test_another_folder_on_another_day_gives_the_same_setup_program(self):
        other = self.work / "a longer name of a folder"
        shutil.copytree(HERE / "windows", other / "packaging/windows")
        shutil.copytree(FILES, other / "files")
        for path in other.rglob("*"):
            os.utime(path, (1_000_000_000, 1_000_000_000))
        again = make_setup(other / "packaging/windows", other / "files", other / "KorvelSetup-again.exe")
        self.assertEqual(hashlib.sha256(again).hexdigest(), hashlib.sha256(self.setup_program.read_bytes()).hexdigest())

    def test_the_setup_program_is_64_bit_asks_for_elevation_and_has_its_version(self):
        with pefile.PE(str(self.setup_program)) as image:
            self.assertEqual(image.FILE_HEADER.Machine, pefile.MACHINE_TYPE["IMAGE_FILE_MACHINE_AMD64"])
            fixed = image.VS_FIXEDFILEINFO[0]
            version = (fixed.FileVersionMS >> 16, fixed.FileVersionMS & 0xFFFF, fixed.FileVersionLS >> 16)
            self.assertEqual(".".join(map(str, version)), VERSION)
            manifest = next(entry for entry in image.DIRECTORY_ENTRY_RESOURCE.entries if entry.id == 24)
            data = manifest.directory.entries[0].directory.entries[0].data.struct
            text = image.get_data(data.OffsetToData, data.Size).decode("utf-8")
        self.assertIn('level="requireAdministrator"', text)

    def test_the_bill_names_what_the_machine_has(self):
        bill = json.loads(self.bill())
        self.assertEqual((bill["bomFormat"], bill["specVersion"]), ("CycloneDX", "1.5"))
        product = bill["metadata"]["component"]
        self.assertEqual(product["version"], VERSION)
        self.assertEqual(product["hashes"], [
            {"alg": "SHA-256", "content": hashlib.sha256(self.setup_program.read_bytes()).hexdigest()}])
        self.assertEqual(bill["dependencies"][0]["dependsOn"], [entry["bom-ref"] for entry in bill["components"]])
        self.assertGreaterEqual(len(bill["components"]), 5)
        for entry in bill["components"]:
            installed = subprocess.run(["dpkg-query", "--show", "--showformat=${Version}", entry["name"]],
                                       capture_output=True, text=True, check=True).stdout
            self.assertEqual(entry["version"], installed)
            self.assertEqual(urllib.parse.unquote(entry["purl"]), f"pkg:deb/debian/{entry['name']}@{installed}")
            self.assertTrue(entry["licenses"][0]["expression"])

    def test_the_same_setup_program_has_the_same_bill(self):
        self.assertEqual(self.bill(), self.bill())


if __name__ == "__main__":
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    FILES, VERSION = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2]
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
