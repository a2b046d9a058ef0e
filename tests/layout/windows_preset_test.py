#!/usr/bin/env python3
"""Checks the preset "windows", with which people build on Windows itself. Windows' own GCC is played by the cross
compiler; the preset is only configured, not built."""
import json
import os
import pathlib
import subprocess
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
COMPILER = "x86_64-w64-mingw32-"


def configure(folder, *options):
    """Configures the preset in a folder of its own and returns what CMake said."""
    command = ["cmake", "-S", ROOT, "-B", folder, "--preset", "windows", "-DCMAKE_SYSTEM_NAME=Windows",
               f"-DCMAKE_C_COMPILER={COMPILER}gcc-posix", f"-DCMAKE_CXX_COMPILER={COMPILER}g++-posix", *options]
    done = subprocess.run(command, cwd=ROOT, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
    if done.returncode != 0:
        raise AssertionError(done.stdout)
    return done.stdout


def steps(folder, target):
    """What a build of the target would do."""
    return subprocess.run(["ninja", "-C", folder, "-n", "-v", target], capture_output=True, text=True, check=True).stdout


class Preset(unittest.TestCase):
    def test_names_the_compilers_as_msys2_does(self):
        presets = json.loads((ROOT / "CMakePresets.json").read_text(encoding="utf-8"))["configurePresets"]
        preset = next(one for one in presets if one["name"] == "windows")
        self.assertEqual(preset["cacheVariables"]["CMAKE_CXX_COMPILER"], "g++")
        self.assertEqual(preset["cacheVariables"]["CMAKE_C_COMPILER"], "gcc")
        self.assertNotIn("toolchainFile", preset)


class Build(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.holder = tempfile.TemporaryDirectory(prefix="korvel-preset-")
        cls.folder = pathlib.Path(cls.holder.name) / "build"
        cls.said = configure(cls.folder)

    @classmethod
    def tearDownClass(cls):
        cls.holder.cleanup()

    def test_makes_no_symbolic_link(self):
        links = [name for place, folders, files in os.walk(self.folder) for name in folders + files
                 if (pathlib.Path(place) / name).is_symlink()]
        self.assertEqual(links, [])
        self.assertTrue((self.folder / "third_party" / "CLI" / "CLI.hpp").is_file())
        self.assertTrue((self.folder / "third_party" / "nlohmann" / "json.hpp").is_file())

    def test_takes_no_warning_for_an_error(self):
        self.assertNotIn("-Werror", steps(self.folder, "KorvelService"))

    def test_takes_warnings_for_errors_when_asked(self):
        with tempfile.TemporaryDirectory(prefix="korvel-preset-") as folder:
            configure(folder, "-DKORVEL_WERROR=ON")
            self.assertIn("-Werror", steps(folder, "KorvelService"))

    def test_makes_the_seed_signatures_with_the_service(self):
        self.assertIn("bin/data/signatures.seed.txt", steps(self.folder, "KorvelService"))

    def test_builds_the_command_line_client(self):
        self.assertIn("korvelctl.exe", steps(self.folder, "all"))


class BuildWithoutTheHeadersOfTheCommandLineClient(unittest.TestCase):
    def test_leaves_it_out_and_says_so(self):
        with tempfile.TemporaryDirectory(prefix="korvel-preset-") as folder:
            said = configure(folder, "-DCMAKE_IGNORE_PATH=/usr/include;/usr/local/include")
            self.assertIn("korvelctl is left out", said)
            todo = steps(folder, "all")
            self.assertIn("KorvelService.exe", todo)
            self.assertNotIn("korvelctl.exe", todo)


if __name__ == "__main__":
    unittest.main()
