"""nginx.conf and local_server.py: an nginx on 127.0.0.1 with the shipped configuration and only its marked lines
replaced."""
import http.client
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import time
import unittest
import urllib.error
import urllib.request

from case import HASH_B, INSTALLER, KIT, TreeCase
import load_test
from korvel_publish import rules
from korvel_publish.problems import Problems
from local_server import LocalServer, find_nginx


@unittest.skipUnless(find_nginx(), "nginx is not installed")
class ServerCase(TreeCase):
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

    def headers_of(self, path, method="GET", headers=None):
        """The status and the headers, whatever they are."""
        connection = http.client.HTTPConnection("127.0.0.1", self.server.port)
        try:
            connection.request(method, path, headers=headers or {})
            answer = connection.getresponse()
            return answer.status, answer.headers
        finally:
            connection.close()


class Answers(ServerCase):
    def test_documents_are_whole_with_type_length_and_caching(self):
        for path, kind, seconds in (("/api/v1/signatures", "text/plain; charset=utf-8", 3600),
                                    ("/api/v1/blocklist", "text/plain; charset=utf-8", 3600),
                                    ("/api/v1/releases", "application/json; charset=utf-8", 300)):
            answer, body = self.get(path)
            self.assertEqual(body, self.document(path.rsplit("/", 1)[1]))
            self.assertEqual(answer.headers["Content-Type"], kind)
            self.assertEqual(answer.headers["Content-Length"], str(len(body)))
            self.assertEqual(answer.headers.get_all("Cache-Control"), [f"public, max-age={seconds}"])
            self.assertIsNone(answer.headers["Content-Encoding"])

    def test_installer_of_the_release_document_can_be_downloaded(self):
        _, url = rules.read_releases("releases", self.get("/api/v1/releases")[1], Problems())
        answer, body = self.get(url[len(self.base):])
        self.assertEqual(body, INSTALLER)
        self.assertEqual(answer.headers["Content-Type"], "application/octet-stream")
        self.assertIn("immutable", answer.headers["Cache-Control"])

    def test_nothing_else_is_served_nothing_redirects_and_no_error_may_be_cached(self):
        for path in ("/", "/api", "/api/v1", "/api/v1/", "/api/v1/signatures/", "/installers", "/installers/",
                     "/installers/KorvelSetup-9.exe", "/../.lock", "/.lock", "/release.json", "/publisher.json"):
            status, headers = self.headers_of(path)
            self.assertIn(status, (400, 403, 404), path)
            self.assertEqual(headers.get_all("Cache-Control"), ["no-store"], path)
        status, headers = self.headers_of("/api/v1/signatures", "POST")
        self.assertEqual((status, headers["Cache-Control"]), (405, "no-store"))

    def test_document_that_is_missing_or_closed_may_not_be_cached(self):
        (self.tree / "current/api/v1/blocklist").unlink()
        status, headers = self.headers_of("/api/v1/blocklist")
        self.assertEqual((status, headers["Cache-Control"]), (404, "no-store"))

    def test_cache_that_asks_again_learns_that_nothing_changed(self):
        answer, _ = self.get("/api/v1/signatures")
        self.publish("--blocklist", self.write("new", b"b.com\n"))
        for name, value in (("If-None-Match", answer.headers["ETag"]),
                            ("If-Modified-Since", answer.headers["Last-Modified"])):
            status, headers = self.headers_of("/api/v1/signatures", headers={name: value})
            self.assertEqual((status, headers["Cache-Control"]), (304, "public, max-age=3600"))

    def test_new_release_is_served_within_seconds_and_under_another_tag(self):
        tag = self.get("/api/v1/signatures")[0].headers["ETag"]
        self.publish("--signatures", self.write("new", HASH_B + b"\n"))
        for _ in range(100):
            answer, body = self.get("/api/v1/signatures")
            if body == HASH_B + b"\n":
                self.assertNotEqual(answer.headers["ETag"], tag)
                return
            time.sleep(0.1)
        self.fail("still the old release after 10 s")

    def test_running_server_passes_the_check(self):
        self.assertEqual(self.run_main("--check", self.base), 0, self.output.getvalue())


class Shipped(TreeCase):
    @unittest.skipUnless(find_nginx() and shutil.which("openssl"), "nginx or openssl is not installed")
    def test_configuration_is_valid_with_tls_and_both_kinds_of_address(self):
        key, certificate = self.folder / "key", self.folder / "certificate"
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=updates.example.org",
                        "-keyout", key, "-out", certificate], check=True, capture_output=True)
        text = (KIT / "nginx.conf").read_text()
        self.assertEqual(len(re.findall(r"listen \S*443 ssl", text)), 2)
        with_tls = text.replace("/etc/ssl/korvel/fullchain.pem", str(certificate)) \
                       .replace("/etc/ssl/korvel/privkey.pem", str(key)).replace("443", "0")
        with_real_ip = re.sub(r"^#   (set_real_ip_from|real_ip_)", r"\1", with_tls, flags=re.MULTILINE)
        self.assertEqual(with_real_ip.count("\nset_real_ip_from"), 2)
        for number, config in enumerate((with_tls, with_real_ip)):
            if not pathlib.Path("/proc/net/if_inet6").exists():
                config = re.sub(r"\n *listen \[::\][^;]*;", "", config)
            # Port 0 would be refused; any free one will do for a test of the text.
            config = re.sub(r"listen (\[::\]:)?0 ", r"listen \g<1>18443 ", config)
            path = self.folder / f"nginx{number}.conf"
            path.write_text(f"pid {self.folder}/pid;\nevents {{ }}\nhttp {{\naccess_log off;\n{config}\n}}\n")
            tested = subprocess.run([find_nginx(), "-t", "-p", self.folder, "-c", path, "-e", self.folder / "error.log"],
                                    capture_output=True, text=True, check=False)
            self.assertEqual(tested.returncode, 0, tested.stderr)


class Load(unittest.TestCase):
    def run_load(self, *arguments):
        options = load_test.parser().parse_args(arguments)
        return options, *load_test.run(options)

    @unittest.skipUnless(find_nginx(), "nginx is not installed")
    def test_clients_of_one_address_that_start_together_all_get_whole_documents(self):
        options, tally, expected = self.run_load("--clients", "300", "--seconds", "2", "--download-seconds", "2")
        self.assertTrue(tally.good(expected), tally.report())
        self.assertEqual(expected, 2 * options.clients + 2 * options.clients // load_test.ONE_IN)
        self.assertGreater(tally.most_under_way, 150)

    @unittest.skipUnless(find_nginx(), "nginx is not installed")
    def test_clients_that_come_at_the_same_moment_wait_in_turn(self):
        _, tally, expected = self.run_load("--clients", "500", "--seconds", "0", "--download-seconds", "0",
                                           "--hashes", "100", "--domains", "100")
        self.assertTrue(tally.good(expected), tally.report())
        self.assertLess(tally.slowest_beginning, load_test.STEP_SECONDS)

    def test_tally_notices_what_is_not_whole_or_no_success(self):
        tally = load_test.Tally()
        tally.statuses[200] = 5
        self.assertTrue(tally.good(5))
        self.assertFalse(tally.good(6))
        tally.statuses[503] = 1
        self.assertFalse(tally.good(5))
        del tally.statuses[503]
        tally.broken["not whole"] = 1
        self.assertFalse(tally.good(5))


@unittest.skipUnless(find_nginx(), "nginx is not installed")
class LocalServerScript(TreeCase):
    def start(self):
        script = subprocess.Popen([sys.executable, KIT / "local_server.py", "--tree", self.tree], text=True,
                                  stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(script.communicate)
        self.addCleanup(script.kill)
        first = script.stdout.readline()
        self.assertRegex(first, r"^http://127\.0\.0\.1:\d+ serves .*, Ctrl\+C ends it\n$")
        return script, first.split()[0]

    def test_ends_its_nginx_on_every_polite_signal(self):
        self.publish_all()
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            script, base = self.start()
            urllib.request.urlopen(base + "/api/v1/signatures").close()
            script.send_signal(number)
            self.assertEqual(script.wait(20), 0, number)
            with self.assertRaises(urllib.error.URLError):
                urllib.request.urlopen(base + "/api/v1/signatures").close()

    def test_prints_each_request(self):
        self.publish_all()
        script, base = self.start()
        urllib.request.urlopen(base + "/api/v1/signatures").close()
        with self.assertRaises(urllib.error.HTTPError) as caught:
            urllib.request.urlopen(base + "/nothing")
        caught.exception.close()
        self.assertRegex(script.stdout.readline(), r'^\S+ "GET /api/v1/signatures HTTP/1\.1" 200 65 \d+\.\d+\n$')
        self.assertRegex(script.stdout.readline(), r'^\S+ "GET /nothing HTTP/1\.1" 404 \d+ \d+\.\d+\n$')
        script.terminate()
        self.assertEqual(script.wait(20), 0)


if __name__ == "__main__":
    unittest.main()
