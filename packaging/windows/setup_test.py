#!/usr/bin/env python3
"""Installs, upgrades and removes the product with its setup program, each case on a machine of its own under Wine.

  setup_test.py TEMPLATE FILES WORK VERSION [--long] [unittest arguments]

TEMPLATE is a Wine prefix that is copied, FILES the folder of what is installed, WORK a folder for the copies and the setup
programs, VERSION that of the files. With --long also what takes minutes: a service that hangs, and setup programs that
are killed at random moments (KORVEL_SETUP_KILLS of them, from KORVEL_SEED), and an upgrade from the setup program that
KORVEL_OLDER_SETUP names.
"""
import contextlib
import json
import os
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
KIT = HERE.parents[1] / "deploy/update-server"
sys.path.insert(0, str(KIT))
from local_server import LocalServer  # noqa: E402

TEMPLATE = FILES = WORK = CURRENT = None
LONG = False
PATIENCE_SECONDS = 400
PROGRAM = "Program Files/Korvel"
DATA = "ProgramData/KORVEL Antivirus"
HOSTS = "windows/system32/drivers/etc/hosts"
NAMES = ("data/signatures.seed.txt", "korvelctl.exe", "korvelsig.exe", "KorvelService.exe")
UNINSTALL_KEY = r"HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\KorvelAntivirus"
# Keeps the service off the network and off the folders of the machine.
QUIET = "LiveUpdates=0\nWebShield=0\nRealTimeEnabled=0\nScheduledScan=0\n"
EICAR = "X5O!P%@AP[4\\PZX54(P^)7CC)7}" + "$EICAR-STANDARD" + "-ANTIVIRUS-TEST" + "-FILE!$H+H*"
OLD, NEW = "1.0.0", "9.0.0"
DONE, FAILED = 0, 2


def files_of(version, replaced=None):
    """The files of a version: each differs from those of every other version, by bytes behind the end of the program."""
    folder = WORK / "files" / (version if replaced is None else f"{version}-other")
    if not folder.exists():
        shutil.copytree(FILES, folder)
        for name in NAMES[1:]:
            with open(folder / name, "ab") as file:
                file.write(f"version {version}\n".encode())
        for name, content in (replaced or {}).items():
            (folder / name).write_bytes(content)
    return folder


def make_setup(version, replaced=None):
    output = WORK / f"KorvelSetup-{version}{'' if replaced is None else '-other'}.exe"
    if not output.exists():
        subprocess.run([HERE / "make-setup", version, files_of(version, replaced), output], check=True)
    return output


def sign(program):
    """A copy of the program, signed with a certificate that is made here, and verified."""
    folder = WORK / "certificate"
    folder.mkdir(exist_ok=True)
    certificate, key, signed = folder / "certificate.pem", folder / "key.pem", WORK / f"{program.stem}-signed.exe"
    quiet = {"check": True, "stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
    subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=KORVEL test",
                    "-addext", "extendedKeyUsage=codeSigning", "-keyout", key, "-out", certificate], **quiet)
    signed.unlink(missing_ok=True)
    subprocess.run(["osslsigncode", "sign", "-certs", certificate, "-key", key, "-h", "sha256", "-n", "KORVEL Antivirus",
                    "-in", program, "-out", signed], **quiet)
    subprocess.run(["osslsigncode", "verify", "-CAfile", certificate, signed], **quiet)
    return signed


def unquoted(*arguments):
    """A folder is the last argument of a setup program, and without quotation marks whatever is in it."""
    return " ".join(arguments).split()


class Machine:
    """A Windows machine: a copy of the template, with its processes. It is on from the first command to end()."""

    def __init__(self, name):
        self.prefix = WORK / "machines" / name
        shutil.rmtree(self.prefix, ignore_errors=True)
        self.prefix.parent.mkdir(parents=True, exist_ok=True)
        subprocess.run(["cp", "-a", TEMPLATE, self.prefix], check=True)
        self.drive = self.prefix / "drive_c"
        self.started = []
        self.user = None

    def environment(self):
        return os.environ | {"WINEPREFIX": str(self.prefix), "WINEDEBUG": "-all", "DISPLAY": "", "LC_ALL": "C.UTF-8",
                             "WINEDLLOVERRIDES": "mscoree=;mshtml=;winemenubuilder.exe="}

    def start(self, *command, output=subprocess.DEVNULL, stdin=subprocess.DEVNULL):
        process = subprocess.Popen(["setarch", "-R", "wine", *command], cwd=self.drive, env=self.environment(),
                                   stdin=stdin, stdout=output, stderr=subprocess.DEVNULL)
        self.started.append(process)
        return process

    def turn_on(self):
        # Services end with the last process that is none: somebody stays logged on.
        if self.user is None:
            self.user = self.start("cmd", "/q", stdin=subprocess.PIPE)

    def cut_power(self):
        subprocess.run(["wineserver", "-k"], env=self.environment(), check=False)
        subprocess.run(["timeout", "20", "wineserver", "-w"], env=self.environment(), check=False)
        for process in self.started:
            process.wait()
            if process.stdin:
                with contextlib.suppress(OSError):
                    process.stdin.close()
        self.started.clear()
        self.user = None

    def run(self, *command):
        """(exit code, output)"""
        self.turn_on()
        with tempfile.TemporaryFile() as output:  # a pipe would stay open in services that the command starts
            process = self.start(*command, output=output)
            process.wait(PATIENCE_SECONDS)
            output.seek(0)
            return process.returncode, output.read().decode("utf-8", "replace")

    def setup(self, program, *arguments):
        copy = self.drive / "setup.exe"
        shutil.copy(program, copy)
        return self.run("C:\\setup.exe", "/S", *unquoted(*arguments))[0]

    def reason(self):
        """What the last setup program that failed wrote."""
        for log in self.drive.glob("users/*/Temp/KorvelSetup.log"):
            return log.read_text(encoding="utf-16")
        for log in self.drive.glob("**/KorvelSetup.log"):
            return log.read_text(encoding="utf-16")
        return ""

    def uninstall(self, *arguments, folder=PROGRAM):
        # With "_?=" the program does not start a copy of itself, so its end can be waited for; it then stays.
        windows = "C:\\" + folder.replace("/", "\\")
        return self.run(f"{windows}\\uninstall.exe", "/S", *arguments, *unquoted(f"_?={windows}"))[0]

    def ctl(self, *arguments, folder=PROGRAM):
        windows = "C:\\" + folder.replace("/", "\\")
        return self.run(f"{windows}\\korvelctl.exe", "--lang", "en", *arguments)

    def ctl_json(self, *arguments, folder=PROGRAM):
        code, output = self.ctl("--json", *arguments, folder=folder)
        return code, json.loads(output or "{}")

    def state(self, folder=PROGRAM):
        return self.ctl_json("service", "state", folder=folder)[1].get("state")

    def installed_version(self):
        code, output = self.run("reg", "query", UNINSTALL_KEY, "/v", "DisplayVersion")
        return output.split()[-1] if code == 0 and output.split() else None

    def search_path(self):
        return self.run("reg", "query", r"HKLM\System\CurrentControlSet\Control\Session Manager\Environment", "/v", "Path")[1]

    def end(self):
        self.cut_power()
        shutil.rmtree(self.prefix, ignore_errors=True)


class SetupTest(unittest.TestCase):
    def setUp(self):
        self.machine = Machine(self.id().rsplit(".", 1)[-1])
        self.addCleanup(self.machine.end)
        self.drive = self.machine.drive
        self.data = self.drive / DATA
        self.configure("UpdateServer=http://127.0.0.1:9\n")

    def configure(self, lines):
        self.data.mkdir(parents=True, exist_ok=True)
        (self.data / "settings.ini").write_text(QUIET + lines, encoding="utf-8", newline="\n")

    def settings(self):
        return (self.data / "settings.ini").read_text(encoding="utf-8")

    def install(self, version, *arguments):
        code = self.machine.setup(make_setup(version), *arguments)
        self.assertEqual(code, DONE, self.machine.reason())

    def assert_refused(self, program, reason, *arguments):
        self.assertEqual(self.machine.setup(program, *arguments), FAILED)
        self.assertIn(reason, self.machine.reason())

    def version_of(self, name, folder=PROGRAM):
        """The version whose file lies under this name."""
        content = (self.drive / folder / name).read_bytes()
        for version in (OLD, CURRENT, NEW):
            if content == (files_of(version) / name).read_bytes():
                return version
        return None

    def assert_runs(self, version=None, folder=PROGRAM):
        code, answer = self.machine.ctl_json("ping", "--wait", "60", folder=folder)
        self.assertEqual(code, 0, answer)
        self.assertEqual(self.machine.state(folder), "running")
        if version:
            self.assertEqual([self.version_of(name, folder) for name in NAMES[1:]], [version] * 3)

    def assert_tidy(self, folder=PROGRAM):
        self.assertFalse((self.drive / folder / "next").exists())
        self.assertFalse((self.drive / folder / "previous").exists())

    def assert_gone(self, folder=PROGRAM):
        left = [str(path) for path in (self.drive / folder).rglob("*")]
        self.assertLessEqual(set(left), {str(self.drive / folder / "uninstall.exe")})
        self.assertIsNone(self.machine.installed_version())
        self.assertNotEqual(self.machine.run("sc", "query", "KorvelService")[0], 0)

    # --- installing and removing ---

    def test_a_fresh_installation_runs_and_is_removed_keeping_the_data(self):
        hosts = (self.drive / HOSTS).read_text(encoding="utf-8")
        path = self.machine.search_path()
        self.install(CURRENT, "/SERVER=http://127.0.0.1:8")
        self.assert_runs(CURRENT)
        self.assert_tidy()
        self.assertEqual(self.machine.installed_version(), CURRENT)
        self.assertIn("UpdateServer=http://127.0.0.1:9\n", self.settings(), "a server that is configured stays")
        self.assertIn("C:\\Program Files\\Korvel", self.machine.search_path())
        self.assertEqual((self.drive / (HOSTS + ".before-korvel")).read_text(encoding="utf-8"), hosts)
        facts = self.machine.ctl_json("service", "state")[1]
        self.assertEqual(facts["command_line"], '"C:\\Program Files\\Korvel\\KorvelService.exe"')
        self.assertEqual((facts["start"], facts["faults"]), ("automatic", []))
        block = "# KORVEL WEB SHIELD BEGIN\n127.0.0.1 bad.example # korvel-blocked\n# KORVEL WEB SHIELD END\n"
        (self.drive / HOSTS).write_text(hosts + block, encoding="utf-8", newline="\n")
        self.assertEqual(self.machine.uninstall(), DONE, self.machine.reason())
        self.assert_gone()
        self.assertEqual((self.drive / HOSTS).read_text(encoding="utf-8"), hosts)
        self.assertEqual(self.machine.search_path(), path)
        self.assertIn("UpdateServer=http://127.0.0.1:9\n", self.settings(), "the data are kept")

    def test_a_purge_removes_the_data_and_the_cache_beside_them(self):
        self.configure("")
        self.install(CURRENT, "/NOSTART", "/NOPATH", "/SERVER=http://127.0.0.1:8")
        self.assertEqual(self.machine.state(), "stopped")
        self.assertIn("UpdateServer=http://127.0.0.1:8\n", self.settings(), "none was configured")
        self.assertNotIn("Korvel", self.machine.search_path())
        stray = self.drive / (DATA + "scan.cache")
        stray.write_text("", encoding="utf-8")
        self.assertEqual(self.machine.uninstall("/PURGE"), DONE, self.machine.reason())
        self.assert_gone()
        for path in (self.data, stray, self.drive / (HOSTS + ".before-korvel")):
            self.assertFalse(path.exists(), path)

    def test_a_folder_with_blanks_and_cyrillic_letters_is_found_again(self):
        folder = "Мои программы/Защита и покой"
        self.install(OLD, "/D=C:\\" + folder.replace("/", "\\"))
        self.assert_runs(OLD, folder)
        self.assertFalse((self.drive / PROGRAM).exists())
        self.install(CURRENT)
        self.assert_runs(CURRENT, folder)
        self.assertFalse((self.drive / PROGRAM).exists())
        self.assert_refused(make_setup(CURRENT), "is installed in", "/D=C:\\Elsewhere")
        self.assertEqual(self.machine.uninstall(folder=folder), DONE, self.machine.reason())
        self.assert_gone(folder)

    def tasks(self):
        folder = self.drive / "windows/system32/tasks"
        return {task.name: task.read_text(encoding="utf-8-sig") for task in folder.glob("KORVEL*")}

    def test_scheduled_tasks_come_when_asked_for_and_go_with_the_product(self):
        folder = "Some & Co/Korvel"
        self.assert_refused(make_setup(CURRENT), "not logs", "/TASKS=logs")
        self.assertFalse((self.drive / PROGRAM).exists())
        self.install(OLD, "/NOSTART", "/TASKS=log", "/D=C:\\" + folder.replace("/", "\\"))
        self.assertEqual(list(self.tasks()), ["KORVEL Antivirus log"])
        self.install(CURRENT)
        self.assertEqual(list(self.tasks()), ["KORVEL Antivirus log"], "an upgrade leaves them alone")
        self.install(CURRENT, "/TASKS=log,watch")
        self.assertEqual(sorted(self.tasks()), ["KORVEL Antivirus log", "KORVEL Antivirus watch"])
        # Wine reads all of the definition, which the "&" of the folder must not break, and keeps only its settings.
        for task, limit in (("log", "PT10M"), ("watch", "PT0S")):
            self.assertIn(f"<ExecutionTimeLimit>{limit}<", self.tasks()["KORVEL Antivirus " + task])
        self.assertEqual(self.machine.uninstall(folder=folder), DONE, self.machine.reason())
        self.assertEqual(self.tasks(), {})

    # --- upgrading ---

    def test_an_upgrade_keeps_settings_quarantine_and_log(self):
        self.install(OLD)
        self.check_upgrade()

    def test_a_setup_program_that_was_given_out_before_is_upgraded(self):
        self.long_only()
        older = os.environ.get("KORVEL_OLDER_SETUP")
        if not older:
            self.skipTest("KORVEL_OLDER_SETUP names none")
        self.assertEqual(self.machine.setup(older), DONE, self.machine.reason())
        self.assert_runs()
        self.assertIsNone(self.version_of("KorvelService.exe"), "it has another service")
        self.check_upgrade()

    def check_upgrade(self):
        """From what is installed to the current version, with a full life going on."""
        sample = self.drive / "in/eicar.com"
        sample.parent.mkdir()
        sample.write_text(EICAR, encoding="ascii")
        self.machine.ctl("scan", "C:\\in", "--action", "quarantine")
        before = self.machine.ctl_json("quarantine", "list")[1]["records"]
        self.assertEqual([record["original"] for record in before], ["C:\\in\\eicar.com"])
        # A scan runs, and a client stays connected, while the files are replaced.
        many = self.drive / "many"
        many.mkdir()
        for i in range(2_000):
            (many / f"p{i}.exe").write_bytes(b"x" * 20_000)
        self.assertEqual(self.machine.ctl("scan", "C:\\many", "--detach")[0], 0)
        watcher = self.machine.start("C:\\Program Files\\Korvel\\korvelctl.exe", "watch")
        self.install(CURRENT)
        self.assert_runs(CURRENT)
        watcher.kill()
        watcher.wait()
        self.assertEqual(self.machine.installed_version(), CURRENT)
        self.assertEqual(self.machine.ctl_json("quarantine", "list")[1]["records"], before)
        self.assertIn("UpdateServer=http://127.0.0.1:9\n", self.settings())
        self.assertIn("KorvelService starting", (self.data / "korvel.log").read_text(encoding="utf-8"))
        self.install(CURRENT)  # over itself
        self.assert_runs(CURRENT)
        self.assert_tidy()

    def test_an_older_version_is_refused_and_changes_nothing(self):
        self.install(NEW)
        self.assert_refused(make_setup(CURRENT), "newer than")
        self.assertEqual(self.machine.installed_version(), NEW)
        self.assert_runs(NEW)

    def test_a_version_that_does_not_start_is_undone(self):
        broken = make_setup(NEW, {"KorvelService.exe": b"MZ this is no program"})
        self.assert_refused(broken, "was undone")
        self.assert_gone()
        self.assertFalse((self.drive / PROGRAM).exists(), "a first installation leaves nothing")
        self.install(CURRENT)
        self.assert_refused(broken, "was undone")
        self.assert_runs(CURRENT)
        self.assert_tidy()
        self.assertEqual(self.machine.installed_version(), CURRENT)

    def test_power_cut_between_two_files_leaves_a_service_that_runs(self):
        self.install(OLD)
        for replaced in range(1, len(NAMES)):
            self.machine.cut_power()
            # As the setup program leaves it: the first files are new, the others wait.
            program = self.drive / PROGRAM
            shutil.copytree(files_of(OLD), program / "previous", dirs_exist_ok=True)
            shutil.copytree(files_of(NEW), program / "next", dirs_exist_ok=True)
            for name in NAMES[:replaced]:
                os.replace(program / "next" / name, program / name)
            self.assert_runs()  # started with the machine
        self.install(CURRENT)
        self.assert_runs(CURRENT)
        self.assert_tidy()

    def test_the_service_saves_the_setup_program_that_upgrades_it(self):
        setup = sign(make_setup(NEW))
        server = LocalServer(WORK / "nginx", WORK / "tree")
        self.addCleanup(server.stop)
        subprocess.run([sys.executable, KIT / "publish.py", "--tree", WORK / "tree", "--base-url", server.base,
                        "--version", NEW, "--installer", setup], check=True, stdout=subprocess.DEVNULL)
        server.start()
        self.configure("")
        self.install(CURRENT, f"/SERVER={server.base}")
        code, answer = self.machine.ctl_json("update", "program")
        self.assertEqual(code, 0, answer)
        saved = self.machine.ctl_json("status")[1]["update"]["installer"]
        local = self.drive / saved[3:].replace("\\", "/")
        self.assertEqual(local.read_bytes(), setup.read_bytes())
        self.assertEqual(self.machine.run(saved, "/S")[0], DONE, self.machine.reason())
        self.assert_runs(NEW)
        self.assertEqual(self.machine.installed_version(), NEW)
        self.assertIn(f"UpdateServer={server.base}\n", self.settings())

    # --- what takes minutes ---

    def long_only(self):
        if not LONG:
            self.skipTest("takes minutes")

    def test_a_file_that_is_held_open_undoes_the_upgrade(self):
        self.long_only()
        self.install(OLD)
        # As its standard input a program holds a file so that nobody may rename or delete it.
        (self.drive / "hold.cmd").write_text('@ping -n 600 127.0.0.1 < "C:\\Program Files\\Korvel\\korvelsig.exe"\r\n', encoding="ascii")
        self.machine.start("cmd", "/c", "C:\\hold.cmd")
        time.sleep(2)
        self.assert_refused(make_setup(CURRENT), "korvelsig.exe, win32=")
        self.assert_runs(OLD)
        self.assertEqual(self.machine.installed_version(), OLD)

    def test_a_service_that_hangs_is_ended_after_the_wait(self):
        self.long_only()
        self.install(OLD)
        process = self.machine.ctl_json("service", "state")[1]["process_id"]
        self.assertGreater(process, 0)
        for pid in self.unix_ids():
            os.kill(pid, 19)  # SIGSTOP
        began = time.monotonic()
        self.install(CURRENT)
        self.assertGreater(time.monotonic() - began, 100)
        self.assert_runs(CURRENT)

    def unix_ids(self):
        """The processes of this machine that run the service."""
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            with contextlib.suppress(OSError):
                words = (folder / "cmdline").read_bytes()
                home = f"WINEPREFIX={self.machine.prefix}\0".encode()
                if b"KorvelService.exe" in words and home in (folder / "environ").read_bytes():
                    yield int(folder.name)

    def test_killed_at_any_moment_the_old_or_the_new_version_runs(self):
        self.long_only()
        seed = int(os.environ.get("KORVEL_SEED", time.time()))
        print("seed", seed)
        moments = random.Random(seed)
        self.install(OLD)
        began = time.monotonic()
        self.install(CURRENT)
        longest = time.monotonic() - began
        ended = {OLD: 0, CURRENT: 0, None: 0}
        for kill in range(int(os.environ.get("KORVEL_SETUP_KILLS", "50"))):
            self.machine.run("reg", "delete", UNINSTALL_KEY, "/f")
            self.install(OLD)
            shutil.copy(make_setup(CURRENT), self.drive / "setup.exe")
            self.machine.start("C:\\setup.exe", "/S")
            time.sleep(moments.uniform(0, longest))
            self.machine.cut_power()
            with self.subTest(kill=kill):
                self.assert_runs()
            ended[self.version_of("KorvelService.exe")] += 1
        print("ended with", ended)
        self.assertEqual(ended[None], 0)


def main():
    global TEMPLATE, FILES, WORK, LONG, CURRENT
    if len(sys.argv) < 5:
        sys.exit(__doc__)
    TEMPLATE, FILES, WORK = (pathlib.Path(argument).resolve() for argument in sys.argv[1:4])
    CURRENT = sys.argv[4]
    rest = sys.argv[5:]
    LONG = "--long" in rest
    shutil.rmtree(WORK, ignore_errors=True)
    WORK.mkdir(parents=True)
    try:
        unittest.main(argv=[sys.argv[0], *(argument for argument in rest if argument != "--long")])
    finally:
        shutil.rmtree(WORK, ignore_errors=True)


if __name__ == "__main__":
    main()
