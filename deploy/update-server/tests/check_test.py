"""publish.py --check: every defect of a tree or a server that clients would notice, each alone."""
import contextlib
import http.server
import threading
import unittest
import unittest.mock

from case import BASE_URL, HASH_A, HASH_B, INSTALLER, TreeCase, domains
from korvel_publish import check, rules


class CheckCase(TreeCase):
    def problems(self, place, *arguments):
        status = self.run_main("--check", str(place), *arguments)
        lines = self.output.getvalue().splitlines()
        found = [line[12:] for line in lines if line.startswith("problem:")]
        self.assertEqual(status, 1 if found else 0, self.errors.getvalue())
        return found

    def named(self, text, place, *arguments):
        found = self.problems(place, *arguments)
        self.assertEqual(len(found), 1, found)
        self.assertIn(text, found[0])

    def notes(self):
        return [line[12:] for line in self.output.getvalue().splitlines() if line.startswith("note:")]


class Folders(CheckCase):
    def setUp(self):
        super().setUp()
        self.publish_all()
        self.release = (self.tree / "current").resolve()

    def replaced(self, name, body):
        """The release with another document in place of its own."""
        path = self.release / "api/v1" / name
        path.unlink()
        path.write_bytes(body)
        path.chmod(0o644)
        return self.tree

    def with_release(self, version="1.3.0", url=None, installer=INSTALLER, name="KorvelSetup.exe"):
        path = self.release / "installers" / name
        path.write_bytes(installer)
        path.chmod(0o644)
        url = url or BASE_URL + "installers/" + name
        return self.replaced("releases", b'{"windows":{"version":"%s","url":"%s"}}' % (version.encode(), url.encode()))

    def test_what_is_published_has_no_problem(self):
        self.assertEqual(self.problems(self.tree), [])
        self.assertEqual(self.problems(self.release), [])
        self.assertIn("signatures: 1 hashes, 65 bytes\n", self.output.getvalue())
        self.assertTrue(self.output.getvalue().endswith("checked:    0 problems\n"))

    def test_lines_that_clients_skip(self):
        self.named("signatures:2:", self.replaced("signatures", HASH_A + b"\n" + HASH_B[1:] + b"\n"))
        self.replaced("signatures", HASH_A.upper() + b"  name\r\n# comment")
        self.named("blocklist:1:", self.replaced("blocklist", b"127.0.0.1 a.com\n"))

    def test_lists_that_are_no_lists(self):
        self.named("signatures: no hash", self.replaced("signatures", b""))
        self.replaced("signatures", HASH_A)
        self.named("blocklist: a web page", self.replaced("blocklist", b"<html>\n404\n"))

    def test_limits_of_the_clients(self):
        self.named("blocklist:30001:", self.replaced("blocklist", domains(30_001)))
        self.replaced("blocklist", domains(30_000))
        self.assertEqual(self.problems(self.tree), [])
        with unittest.mock.patch.object(rules, "MAX_BODY_BYTES", 200_000):
            self.named("blocklist: ", self.tree)

    def test_empty_blocklist_is_a_note(self):
        self.assertEqual(self.problems(self.replaced("blocklist", b"# none\n")), [])
        self.assertEqual(self.notes(), ["blocklist: no domain; clients block nothing"])

    def test_names_of_the_server_in_the_blocklist(self):
        self.named("blocks the update server", self.replaced("blocklist", b"updates.example.org\n"))
        self.assertEqual(self.problems(self.replaced("blocklist", b"example.net\n")), [])
        self.named("blocks the update server", self.tree, "--server", "mirror.example.net")
        self.publish("--signatures", str(self.folder / "hashes"), "--server", "other.example.com")
        self.release = (self.tree / "current").resolve()
        self.named("blocks the update server", self.replaced("blocklist", b"other.example.com\n"))

    def test_release_documents_that_clients_refuse_or_misread(self):
        for body, text in ((b"{}", 'no key "windows"'), (b'{"windows":{"version":"1"}}', "needs the strings"),
                           (b'{"for":"windows","windows":{"version":"1","url":"https://h/x"}}', "stands in quotes"),
                           (b"<html>404</html>", 'no key "windows"')):
            self.named(text, self.replaced("releases", body))
        for url, text in (("ftp://h/installers/x", "http or https"), ("https:///installers/x", "no host"),
                          ("https://h:99999/installers/x", "port 99999")):
            found = self.problems(self.with_release(url=url))
            self.assertTrue(any(text in problem for problem in found), found)
        self.named("file name", self.with_release("../1"))

    def test_installers_that_clients_refuse(self):
        self.assertEqual(self.problems(self.with_release()), [])
        self.named("is not there", self.with_release(url=BASE_URL + "installers/other.exe"))
        self.named("65,535 bytes", self.with_release(installer=INSTALLER[:-1]))
        self.named("does not begin with MZ", self.with_release(installer=b"<html>" + INSTALLER))
        self.named("not those that its name tells", self.with_release(name="KorvelSetup-1.3.0-0123456789abcdef.exe"))
        self.assertEqual(self.problems(self.with_release(url="https://elsewhere/setup.exe")), [])
        self.assertIn("not looked at", self.notes()[0])

    def test_modes_that_a_web_server_stumbles_over(self):
        (self.release / "api/v1/signatures").chmod(0o640)
        self.named("signatures: other accounts may not read", self.tree)
        (self.release / "api/v1/signatures").chmod(0o644)
        (self.release / "installers").chmod(0o750)
        self.named("installer: other accounts may not read", self.tree)

    def test_missing_documents_are_told_but_only_an_empty_release_is_a_problem(self):
        (self.release / "api/v1/blocklist").unlink()
        self.assertEqual(self.problems(self.tree), [])
        self.assertIn("blocklist:  none;", self.output.getvalue())
        for name in ("signatures", "releases"):
            (self.release / "api/v1" / name).unlink()
        self.named("no document is served at all", self.tree)

    def test_other_folders_are_refused(self):
        self.assertEqual(self.run_main("--check", str(self.folder)), 1)
        self.assertIn("neither a tree", self.errors.getvalue())
        self.assertEqual(self.run_main("--check", "https:///x"), 1)
        self.assertIn("no host", self.errors.getvalue())


class Odd(http.server.BaseHTTPRequestHandler):
    """Answers each path with what the test put there: a function of the handler."""

    def do_GET(self):
        self.server.answers.get(self.path, lambda handler: handler.whole(b"", status=404))(self)

    def whole(self, body, status=200, headers=(), length=None):
        self.send_response(status)
        for name, value in headers:
            self.send_header(name, value)
        if length != -1:
            self.send_header("Content-Length", str(len(body) if length is None else length))
        self.end_headers()
        with contextlib.suppress(OSError):
            self.wfile.write(body)

    def log_message(self, *_):
        pass


class Servers(CheckCase):
    def setUp(self):
        super().setUp()
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Odd)
        self.server.answers = {}
        self.base = f"http://127.0.0.1:{self.server.server_port}"
        self.good = {"signatures": HASH_A + b"\n", "blocklist": b"a.com\n", "releases":
                     b'{"windows":{"version":"1.3.0","url":"%s/installers/x.exe"}}' % self.base.encode()}
        for name, body in self.good.items():
            self.answer("/api/v1/" + name, body)
        self.answer("/installers/x.exe", INSTALLER)
        thread = threading.Thread(target=self.server.serve_forever, args=(0.02,))
        thread.start()
        self.addCleanup(thread.join)
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)

    def answer(self, path, body, **options):
        self.server.answers[path] = lambda handler: handler.whole(body, **options)

    def signatures(self, **options):
        self.answer("/api/v1/signatures", self.good["signatures"], **options)
        return self.base

    def test_good_server_has_no_problem_with_slashes_at_the_end_or_a_path_of_its_own(self):
        for base in (self.base, self.base + "/", self.base + "///"):
            self.assertEqual(self.problems(base), [])
        self.assertEqual(set(self.notes()), {f"{name}: plain http; anyone on the way can change it"
                                             for name in ("signatures", "blocklist", "releases", "installer")})
        self.server.answers = {"/korvel" + path: answer for path, answer in self.server.answers.items()}
        self.answer("/installers/x.exe", INSTALLER)
        self.assertEqual(self.problems(self.base + "/korvel/"), [])

    def test_body_that_breaks_off(self):
        self.named("signatures: broke off after 65 of 100 bytes", self.signatures(length=100))

    def test_status_that_is_no_success(self):
        for status in (403, 429, 500, 503):
            self.named(f"signatures: status {status}", self.signatures(status=status))

    def test_error_page_with_status_200(self):
        page = b"<!DOCTYPE html><title>Not here</title>\n"
        self.answer("/api/v1/blocklist", page, headers=[("Content-Type", "text/html")])
        self.named("blocklist: a web page", self.base)

    def test_compressed_body(self):
        self.named("sent as gzip", self.signatures(headers=[("Content-Encoding", "gzip")]))

    def test_body_without_a_length_is_a_note(self):
        self.assertEqual(self.problems(self.signatures(length=-1)), [])
        self.assertTrue(any("without its length" in note for note in self.notes()))

    def test_body_that_is_too_long(self):
        with unittest.mock.patch.object(rules, "MAX_BODY_BYTES", 65_600):
            self.assertEqual(self.problems(self.base), [])
            self.answer("/installers/x.exe", INSTALLER + bytes(65))
            found = self.problems(self.base)
        self.assertEqual(found[0], "installer: longer than 65,600 bytes; clients refuse it")

    def test_redirects_are_followed_and_told(self):
        self.answer("/api/v1/signatures", b"", status=302, headers=[("Location", "/there")])
        self.answer("/there", self.good["signatures"])
        self.assertEqual(self.problems(self.base), [])
        self.assertTrue(any("redirected to /there" in note for note in self.notes()))
        self.answer("/there", b"", status=301, headers=[("Location", "/there")])
        self.named("more than 10 redirects", self.base)

    def test_redirect_to_where_clients_cannot_go(self):
        for place, text in (("ftp://127.0.0.1/x", "http or https"), ("http://127.0.0.1:99999/x", "port 99999"),
                            ("http://[::/x", "no whole answer")):
            self.answer("/api/v1/signatures", b"", status=302, headers=[("Location", place)])
            self.named(text, self.base)

    def test_installer_at_an_address_that_clients_cannot_use_is_named_and_not_asked_for(self):
        for url, text in ((b"ftp://127.0.0.1/x", "http or https"), (b"https:///x", "no host"), (b"", "http or https"),
                          (b"http://127.0.0.1:99999/x", "port 99999"), (b"http://" + b"h" * 300 + b"/x", "no host name")):
            self.answer("/api/v1/releases", b'{"windows":{"version":"1.3.0","url":"%s"}}' % url)
            self.named(text, self.base)

    def test_length_that_is_no_number(self):
        found = self.problems(self.signatures(length="many"))
        self.assertEqual(len(found), 1, found)

    def test_missing_installer(self):
        del self.server.answers["/installers/x.exe"]
        self.named("is not there", self.base)

    def test_server_that_stalls(self):
        released = threading.Event()
        self.addCleanup(released.set)
        self.server.answers["/api/v1/signatures"] = lambda handler: released.wait(60)
        with unittest.mock.patch.object(check, "STEP_SECONDS", 0.5):
            self.named("signatures: no whole answer", self.base)

    def test_server_that_is_down(self):
        self.server.answers = {}
        self.named("no document is served", self.base)
        found = self.problems("http://127.0.0.1:1")
        self.assertEqual(len(found), 3)
        self.assertIn("ConnectionRefusedError", found[0])

    def test_name_of_the_server_in_its_blocklist(self):
        self.answer("/api/v1/blocklist", b"localhost.example\n")
        self.named("blocks the update server", self.base, "--server", "x.localhost.example")


if __name__ == "__main__":
    unittest.main()
