#!/usr/bin/env python3
"""Tests of publish.py and nginx.conf; the server tests start an nginx of their own on 127.0.0.1."""
import contextlib
import io
import pathlib
import shutil
import sys
import tempfile
import time
import unittest
import unittest.mock
import urllib.error
import urllib.request

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))
import publish  # noqa: E402
from local_server import LocalServer, find_nginx  # noqa: E402

HASH_A, HASH_B = b"a" * 64, b"b" * 64
INSTALLER = b"MZ" + bytes(publish.MIN_INSTALLER_BYTES - 2)


class Rules(unittest.TestCase):
    def refused(self, check, body, text):
        with self.assertRaises(publish.Refused) as caught:
            check("file", body)
        self.assertIn(text, str(caught.exception))

    def test_signatures_become_sorted_distinct_bare_lines(self):
        body = b"# list\r\n" + HASH_B.upper() + b" Trojan.X\r\n\n  " + HASH_A + b"\tname\n" + HASH_B
        self.assertEqual(publish.check_signatures("file", body), HASH_A + b"\n" + HASH_B + b"\n")

    def test_line_that_clients_would_skip_is_refused_with_its_number(self):
        for line in (HASH_A[1:], HASH_A + b"0", b"g" + HASH_A[1:], HASH_A + b",x", HASH_A + b"\r x"):
            self.refused(publish.check_signatures, HASH_B + b"\n" + line + b"\n", "file:2:")

    def test_signatures_without_a_hash_are_refused(self):
        for body in (b"", b"# only\n\n"):
            self.refused(publish.check_signatures, body, "no hash")

    def test_hashes_must_fit_into_one_document(self):
        self.assertEqual(publish.MAX_HASH_LINES, 2_064_888)
        self.assertLessEqual(2_064_888 * 65, publish.MAX_BODY_BYTES)
        self.assertGreater(2_064_889 * 65, publish.MAX_BODY_BYTES)
        with unittest.mock.patch.object(publish, "MAX_HASH_LINES", 1000):
            body = b"".join(b"%064x\n" % number for number in range(1000))
            self.assertEqual(publish.check_signatures("file", body + b"%064X\n" % 999), body)
            self.refused(publish.check_signatures, body + HASH_A, "file:1001: more than 1,000 hashes")

    def test_documents_end_at_128_mib(self):
        publish.check_length("file", bytes(134_217_728))
        self.refused(publish.check_length, bytes(134_217_729), "clients refuse more than 134,217,728")

    def test_blocklist_becomes_distinct_lower_case_domains_in_order(self):
        body = b"# list\r\nB.com\r\nb.COM\n\nwww.a.org\n"
        self.assertEqual(publish.check_blocklist("file", body), b"b.com\nwww.a.org\n")
        self.assertEqual(publish.check_blocklist("file", b"# empty\n"), b"")

    def test_line_that_is_no_bare_domain_is_refused_with_its_number(self):
        for line in (b"localhost", b"1.2.3.4", b"a..b", b".a.b", b"a.b.", b"127.0.0.1 a.com", b" a.com", b"a_b.com",
                     b"http://a.com", b"a." + b"b" * 252, "пример.рф".encode()):
            self.refused(publish.check_blocklist, b"ok.com\n" + line + b"\n", "file:2:")
        publish.check_blocklist("file", b"a." + b"b" * 251)

    def test_hosts_budget_is_the_clients(self):
        plain = b"".join(b"d%d.com\n" % number for number in range(30_000))
        publish.check_blocklist("file", plain)
        self.refused(publish.check_blocklist, plain + b"more.com\n", "file:30001:")
        publish.check_blocklist("file", plain + b"d1.com\n")  # a duplicate takes no line
        www = b"".join(b"www.d%d.com\n" % number for number in range(59_999))
        publish.check_blocklist("file", www)
        self.refused(publish.check_blocklist, www + b"www.more.com\n", "file:60000:")

    def test_releases_are_read_as_clients_read_them(self):
        good = b'{"windows":{"version":"1.3.0","url":"https://h/s.exe"},"android":{"version":"9","url":"x"}}'
        self.assertEqual(publish.check_releases("file", good), ("1.3.0", "https://h/s.exe"))
        self.assertEqual(publish.json_string_field(b'{"url":"a\\\\\\"b"}', b"url"), b'a\\"b')
        self.assertIsNone(publish.json_string_field(b'{"url":"a\\"', b"url"))
        self.assertIsNone(publish.json_string_field(b'{"url":5}', b"url"))

    def test_release_document_that_clients_misread_is_refused(self):
        cases = {
            b'{"android":{}}': 'no key "windows"',
            b'{"windows":{"version":"1"},"android":{"url":"https://h/x"}}': "needs the strings",
            b'{"windows":{"version":"1","url":"https://h/x"': "not a JSON document",
            b'{"windows":{"old":{"version":"0"},"version":"1","url":"https://h/x"}}': "clients read version",
            b'{"windows":{"version":5,"url":"https://h/x"}}': "as strings",
            b'{"windows":{"version":"1","url":"https://h/\\u0078"}}': "clients read version",
            b'{"windows":{"version":"1","url":"ftp://h/x"}}': "http or https",
            b'{"windows":{"version":"../1","url":"https://h/x"}}': "file name",
            b'{"windows":{"version":"1","url":"https://h/' + b"x" * 1000 + b'"}}': "longer than",
        }
        for body, text in cases.items():
            self.refused(publish.check_releases, body, text)

    def test_installer_needs_its_size_and_its_first_letters(self):
        publish.check_installer("file", INSTALLER)
        self.refused(publish.check_installer, INSTALLER[:-1], "65,535 bytes")
        self.refused(publish.check_installer, b"PK" + INSTALLER[2:], "MZ")


class TreeCase(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.folder)
        self.tree = self.folder / "tree"
        self.write("hashes", HASH_A + b"\n")
        self.write("domains", b"a.com\n")
        self.write("setup.exe", INSTALLER)

    def write(self, name, body):
        (self.folder / name).write_bytes(body)
        return str(self.folder / name)

    def run_script(self, *arguments):
        self.output, self.errors = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(self.output), contextlib.redirect_stderr(self.errors):
            return publish.main(["--tree", str(self.tree), *arguments])

    def publish_all(self, version="1.3.0", base_url="https://updates.example.org/"):
        status = self.run_script("--signatures", str(self.folder / "hashes"), "--blocklist", str(self.folder / "domains"),
                                 "--version", version, "--installer", str(self.folder / "setup.exe"),
                                 "--base-url", base_url)
        self.assertEqual(status, 0, self.errors.getvalue())

    def document(self, name):
        return (self.tree / "current/api/v1" / name).read_bytes()

    def release_names(self):
        return sorted(p.name for p in (self.tree / "releases").iterdir())


class Tree(TreeCase):
    def test_first_release_holds_every_part(self):
        self.publish_all()
        self.assertEqual(self.document("signatures"), HASH_A + b"\n")
        self.assertEqual(self.document("blocklist"), b"a.com\n")
        version, url = publish.check_releases("releases", self.document("releases"))
        self.assertEqual(version, "1.3.0")
        self.assertRegex(url, r"^https://updates\.example\.org/installers/KorvelSetup-1\.3\.0-[0-9a-f]{16}\.exe$")
        self.assertEqual((self.tree / "current/installers" / url.rsplit("/", 1)[1]).read_bytes(), INSTALLER)

    def test_first_release_without_a_part_is_refused(self):
        self.assertEqual(self.run_script("--signatures", str(self.folder / "hashes")), 1)
        self.assertIn("blocklist is missing", self.errors.getvalue())
        self.assertFalse((self.tree / "current").exists())
        self.assertEqual(self.release_names(), [])

    def test_part_that_is_not_named_is_taken_over(self):
        self.publish_all()
        releases = self.document("releases")
        self.assertEqual(self.run_script("--signatures", self.write("new", HASH_B + b"\n")), 0)
        self.assertEqual(self.document("signatures"), HASH_B + b"\n")
        self.assertEqual(self.document("blocklist"), b"a.com\n")
        self.assertEqual(self.document("releases"), releases)
        self.assertEqual(len(list((self.tree / "current/installers").iterdir())), 1)

    def test_refused_update_leaves_the_release_in_force_and_no_rest(self):
        self.publish_all()
        before = self.release_names()
        for arguments in (["--signatures", self.write("bad", b"nonsense\n")],
                          ["--blocklist", self.write("bad2", b"nonsense\n")],
                          ["--version", "1.4.0", "--installer", self.write("bad3", b"MZ"), "--base-url", "https://h"],
                          ["--version", "../x", "--installer", str(self.folder / "setup.exe"), "--base-url", "https://h"],
                          ["--version", "1.4.0"], ["--signatures", str(self.folder / "missing")]):
            self.assertEqual(self.run_script(*arguments), 1, arguments)
            self.assertTrue(self.errors.getvalue().startswith("publish.py: "))
            self.assertEqual(self.release_names(), before)
            self.assertEqual(self.document("signatures"), HASH_A + b"\n")

    def test_older_installers_stay_reachable(self):
        self.publish_all("1.3.0")
        self.write("setup.exe", INSTALLER + b"new")
        self.publish_all("1.4.0")
        self.publish_all("1.4.0")  # the same once more
        names = sorted(p.name[:17] for p in (self.tree / "current/installers").iterdir())
        self.assertEqual(names, ["KorvelSetup-1.3.0", "KorvelSetup-1.4.0"])

    def test_rollback_puts_the_release_before_back(self):
        self.publish_all()
        self.assertEqual(self.run_script("--signatures", self.write("new", HASH_B + b"\n")), 0)
        self.assertEqual(self.run_script("--rollback"), 0)
        self.assertEqual(self.document("signatures"), HASH_A + b"\n")
        self.assertEqual(self.run_script("--rollback"), 1)
        self.assertIn("no older release", self.errors.getvalue())
        self.assertEqual(self.run_script("--list"), 0)
        self.assertRegex(self.output.getvalue(), r"^\* \S+\n  \S+\n$")

    def test_release_after_a_rollback_sorts_behind_all_others(self):
        self.publish_all()
        self.publish_all()
        self.assertEqual(self.run_script("--rollback"), 0)
        self.publish_all()
        self.assertEqual((self.tree / "current").resolve().name, self.release_names()[-1])

    def test_old_releases_are_removed_but_never_the_one_in_force(self):
        self.publish_all()
        for _ in range(publish.KEEP_RELEASES + 2):
            self.assertEqual(self.run_script("--blocklist", str(self.folder / "domains")), 0)
        self.assertEqual(len(self.release_names()), publish.KEEP_RELEASES)
        self.assertTrue((self.tree / "current/api/v1/releases").exists())


@unittest.skipUnless(find_nginx(), "nginx is not installed")
class Server(TreeCase):
    """The shipped configuration, with only its marked lines replaced."""

    def setUp(self):
        super().setUp()
        self.server = LocalServer(self.folder, self.tree)
        self.base = self.server.base
        self.publish_all(base_url=self.base)
        self.addCleanup(self.server.stop)
        self.server.start()

    def get(self, path):
        with urllib.request.urlopen(self.base + path) as answer:
            self.assertEqual(answer.geturl(), self.base + path, "redirected")
            return answer, answer.read()

    def status_of(self, path):
        try:
            return self.get(path)[0].status
        except urllib.error.HTTPError as error:
            error.close()
            return error.code

    def test_documents_are_served_whole_with_type_length_and_caching(self):
        for path, kind, seconds in (("/api/v1/signatures", "text/plain; charset=utf-8", 3600),
                                    ("/api/v1/blocklist", "text/plain; charset=utf-8", 3600),
                                    ("/api/v1/releases", "application/json; charset=utf-8", 300)):
            answer, body = self.get(path)
            self.assertEqual(body, self.document(path.rsplit("/", 1)[1]))
            self.assertEqual(answer.headers["Content-Type"], kind)
            self.assertEqual(answer.headers["Content-Length"], str(len(body)))
            self.assertEqual(answer.headers["Cache-Control"], f"public, max-age={seconds}")
            self.assertIsNone(answer.headers["Content-Encoding"])

    def test_installer_of_the_release_document_can_be_downloaded(self):
        _, url = publish.check_releases("releases", self.get("/api/v1/releases")[1])
        answer, body = self.get(url[len(self.base):])
        self.assertEqual(body, INSTALLER)
        self.assertEqual(answer.headers["Content-Type"], "application/octet-stream")
        self.assertIn("immutable", answer.headers["Cache-Control"])

    def test_nothing_else_is_served_and_nothing_redirects(self):
        for path in ("/", "/api", "/api/v1", "/api/v1/", "/api/v1/signatures/", "/installers", "/../.lock", "/.lock"):
            self.assertIn(self.status_of(path), (400, 404), path)
        self.assertIn(self.status_of("/installers/"), (403, 404))

    def test_new_release_is_served_within_seconds(self):
        self.get("/api/v1/signatures")
        self.assertEqual(self.run_script("--signatures", self.write("new", HASH_B + b"\n")), 0)
        for _ in range(100):
            if self.get("/api/v1/signatures")[1] == HASH_B + b"\n":
                return
            time.sleep(0.1)
        self.fail("still the old release after 10 s")


if __name__ == "__main__":
    unittest.main()
