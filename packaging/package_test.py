#!/usr/bin/python3
"""Makes the setup program, the client kit and their bills of materials, and looks at them.

  package_test.py FILES KIT VERSION [unittest arguments]

FILES is the folder of what is installed, KIT that of what the client kit holds. Debian's interpreter, since it needs Debian's pefile.
"""
import hashlib
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import urllib.parse
import zipfile

import pefile

HERE = pathlib.Path(__file__).resolve().parent
FILES = KIT = VERSION = None


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


LINK = re.compile(r"\]\(([^)#]+)")


class ClientKit(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.work = pathlib.Path(cls.folder.name)
        cls.name = f"KORVEL-client-kit-{VERSION}"
        cls.archive = cls.pack(KIT, "kit.zip")

    @classmethod
    def pack(cls, folder, archive):
        path = cls.work / archive
        subprocess.run([sys.executable, HERE / "client_kit.py", cls.name, folder, path], check=True)
        return path

    def test_another_folder_on_another_day_gives_the_same_archive(self):
        other = self.work / "a longer name of a folder"
        shutil.copytree(KIT, other)
        for path in other.rglob("*"):
            os.utime(path, (1_000_000_000, 1_000_000_000))
        self.assertEqual(self.pack(other, "again.zip").read_bytes(), self.archive.read_bytes())

    def test_holds_what_a_client_is_written_with(self):
        with zipfile.ZipFile(self.archive) as packed:
            names = set(packed.namelist())
            modes = {entry.filename: entry.external_attr >> 16 for entry in packed.infolist()}
        for name in ("korvelmock.exe", "docs/protocol.md", "docs/vectors/refusals.json", "docs/korvelmock.schema.json",
                     "clients/README.md", "clients/python/korvel.py", "clients/csharp/KorvelClient.cs",
                     "clients/powershell/Korvel.psm1", "clients/cpp/lib/libKorvelClient.a",
                     "clients/cpp/lib/cmake/KorvelClient/KorvelClientConfig.cmake",
                     "clients/cpp/include/korvel/client/service_connection.h",
                     "clients/cpp/example/scan_and_quarantine.cpp"):
            self.assertIn(f"{self.name}/{name}", names)
        self.assertEqual(modes[f"{self.name}/clients/python/scan_and_quarantine.py"], 0o100755)
        self.assertEqual([name for name in names if "__pycache__" in name], [])

    def test_links_of_its_documents_lead_to_its_files(self):
        for page in KIT.rglob("*.md"):
            for link in LINK.findall(page.read_text(encoding="utf-8")):
                # trust.md also tells those who run the service of pages that are not theirs.
                if page.name != "trust.md" and "://" not in link:
                    self.assertTrue((page.parent / link).exists(), f"{page.name}: {link}")

    def test_its_bill_names_what_is_in_it(self):
        bill = json.loads(subprocess.run([sys.executable, HERE / "bill_of_materials.py", VERSION, self.archive],
                                         capture_output=True, text=True, check=True).stdout)
        product = bill["metadata"]["component"]
        self.assertEqual(product["name"], "KORVEL Antivirus client kit")
        self.assertEqual(product["hashes"][0]["content"], hashlib.sha256(self.archive.read_bytes()).hexdigest())
        self.assertNotIn("nsis", [entry["name"] for entry in bill["components"]])


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    FILES, KIT, VERSION = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2]).resolve(), sys.argv[3]
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
