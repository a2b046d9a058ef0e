#!/usr/bin/env python3
"""Shows what delays.c does: it delays programs that are Wine's, by its seed, and leaves Wine's server and others alone."""
import os
import pathlib
import resource
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(__file__).resolve().parent / "delays.c"
CALLS = 8_000
FEW_PAUSES = 100


class DelaysTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.library = cls.folder / "delays.so"
        subprocess.run(["cc", "-O2", "-shared", "-fPIC", "-o", cls.library, SOURCE, "-ldl"], check=True)

    def pauses(self, program, seed):
        """How often a program of that name gave up the processor while it read and wrote thousands of times."""
        path = self.folder / program
        if not path.exists():
            shutil.copy("/bin/dd", path)
        environment = {**os.environ, "LD_PRELOAD": str(self.library)}
        environment.pop("KORVEL_DELAY_SEED", None)
        if seed is not None:
            environment["KORVEL_DELAY_SEED"] = str(seed)
        before = resource.getrusage(resource.RUSAGE_CHILDREN).ru_nvcsw
        subprocess.run([path, "if=/dev/zero", "of=/dev/null", "bs=1", f"count={CALLS}"], env=environment, check=True,
                       stderr=subprocess.DEVNULL)
        return resource.getrusage(resource.RUSAGE_CHILDREN).ru_nvcsw - before

    def test_programs_of_wine_are_delayed(self):
        self.assertGreater(sum(self.pauses("wine64-preloader", seed) for seed in (1, 2, 3)), 3 * FEW_PAUSES)

    def test_each_seed_has_delays_of_its_own_and_repeats_them(self):
        one, again, two = (self.pauses("wine64-preloader", seed) for seed in (1, 1, 2))
        self.assertLess(abs(one - again), FEW_PAUSES)
        self.assertGreater(abs(one - two), FEW_PAUSES)

    def test_the_server_and_other_programs_are_left_alone(self):
        self.assertLess(self.pauses("wineserver64", 1), FEW_PAUSES)
        self.assertLess(self.pauses("python3", 1), FEW_PAUSES)

    def test_without_a_seed_nothing_is_delayed(self):
        self.assertLess(self.pauses("wine64-preloader", None), FEW_PAUSES)


if __name__ == "__main__":
    unittest.main()
