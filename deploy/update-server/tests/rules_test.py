"""The clients' rules, both sides of every limit."""
import unittest
import unittest.mock

from case import HASH_A, HASH_B, INSTALLER
from korvel_publish import rules
from korvel_publish.allow import AllowList
from korvel_publish.problems import Problems, Refused


class RulesCase(unittest.TestCase):
    def accepted(self, check, *arguments):
        problems = Problems()
        value = check(*arguments, problems)
        self.assertEqual(problems.texts, [])
        return value

    def refused(self, text, check, *arguments):
        problems = Problems()
        check(*arguments, problems)
        self.assertTrue(any(text in problem for problem in problems.texts), problems.texts)


class Signatures(RulesCase):
    def test_become_sorted_distinct_bare_lines(self):
        body = b"# list\r\n" + HASH_B.upper() + b" Trojan.X\r\n\n  " + HASH_A + b"\tname\n" + HASH_B
        found = self.accepted(rules.read_signatures, "file", body)
        self.assertEqual(self.accepted(rules.signature_document, "file", found), HASH_A + b"\n" + HASH_B + b"\n")

    def test_every_line_that_clients_would_skip_is_named_with_its_number(self):
        for line in (HASH_A[1:], HASH_A + b"0", b"g" + HASH_A[1:], HASH_A + b",x", HASH_A + b"\r x"):
            self.refused("file:2:", rules.read_signatures, "file", HASH_B + b"\n" + line + b"\n")
        problems = Problems()
        rules.read_signatures("file", b"x\n" + HASH_A + b"\ny\n", problems)
        self.assertEqual([text[:7] for text in problems.texts], ["file:1:", "file:3:"])

    def test_without_a_hash_are_refused(self):
        for body in (b"", b"# only\n\n"):
            self.refused("no hash", rules.read_signatures, "file", body)

    def test_web_page_is_one_problem(self):
        problems = Problems()
        rules.read_signatures("file", b"\n <!DOCTYPE html>\n<p>\n<p>\n", problems)
        self.assertEqual(problems.texts, ["file: a web page, not a list"])

    def test_must_fit_into_one_document(self):
        self.assertEqual(rules.MAX_HASH_LINES, 2_064_888)
        self.assertLessEqual(2_064_888 * 65, rules.MAX_BODY_BYTES)
        self.assertGreater(2_064_889 * 65, rules.MAX_BODY_BYTES)
        with unittest.mock.patch.object(rules, "MAX_HASH_LINES", 2):
            self.accepted(rules.signature_document, "file", {HASH_A, HASH_B})
            self.refused("more than 2 do not fit", rules.signature_document, "file", {HASH_A, HASH_B, b"c" * 64})


class Documents(RulesCase):
    def test_end_at_128_mib(self):
        self.accepted(rules.check_length, "file", bytes(134_217_728))
        self.refused("clients refuse more than 134,217,728", rules.check_length, "file", bytes(134_217_729))


class Blocklist(RulesCase):
    def read(self, body):
        return list(self.accepted(rules.read_blocklist, "file", body))

    def test_becomes_distinct_lower_case_domains_in_order(self):
        self.assertEqual(self.read(b"# list\r\nB.com\r\nb.COM\n\nwww.a.org\n"), [b"b.com", b"www.a.org"])
        self.assertEqual(self.read(b"# empty\n"), [])

    def test_every_line_that_is_no_bare_domain_is_named_with_its_number(self):
        for line in (b"localhost", b"1.2.3.4", b"a..b", b".a.b", b"a.b.", b"127.0.0.1 a.com", b" a.com", b"a_b.com",
                     b"http://a.com", b"a." + b"b" * 252, "пример.рф".encode()):
            self.refused("file:2:", rules.read_blocklist, "file", b"ok.com\n" + line + b"\n")
        self.read(b"a." + b"b" * 251)

    def test_web_page_is_one_problem(self):
        self.refused("a web page", rules.read_blocklist, "file", b"<html>\nexample.com\n")

    def test_hosts_budget_is_the_clients(self):
        plain = b"".join(b"d%d.com\n" % number for number in range(30_000))
        www = b"".join(b"www.d%d.com\n" % number for number in range(59_999))
        for body, line in ((plain, 30_001), (www, 60_000)):
            read = self.accepted(rules.read_blocklist, "file", body)
            self.accepted(rules.check_hosts_budget, "file", read)
            one_more = self.accepted(rules.read_blocklist, "file", body + b"www.more.com\n")
            self.refused(f"file:{line}:", rules.check_hosts_budget, "file", one_more)

    def test_server_and_the_domains_above_it_are_never_blocked(self):
        for domain in (b"updates.example.org", b"example.org"):
            self.refused(domain.decode() + " blocks the update server", rules.check_own_names, "file", [domain],
                         {"updates.example.org"})
        self.accepted(rules.check_own_names, "file", [b"ample.org", b"x.updates.example.org", b"other.org"],
                      {"updates.example.org", "127.0.0.1", "updates"})


class Releases(RulesCase):
    def test_are_read_as_clients_read_them(self):
        good = b'{"windows":{"version":"1.3.0","url":"https://h/s.exe"},"android":{"version":"9","url":"x"}}'
        self.assertEqual(self.accepted(rules.read_releases, "file", good), ("1.3.0", "https://h/s.exe"))
        self.assertEqual(rules.json_string_field(b'{"url":"a\\\\\\"b"}', b"url"), b'a\\"b')
        self.assertIsNone(rules.json_string_field(b'{"url":"a\\"', b"url"))
        self.assertIsNone(rules.json_string_field(b'{"url":5}', b"url"))

    def test_document_that_clients_misread_is_refused(self):
        cases = {
            b'{"android":{}}': 'no key "windows"',
            b'{"windows":{"version":"1"},"android":{"url":"https://h/x"}}': "needs the strings",
            b'{"windows":{"version":"1","url":"https://h/x"': "not a JSON document",
            b'{"windows":{"old":{"version":"0"},"version":"1","url":"https://h/x"}}': "clients read version",
            b'{"windows":{"version":5,"url":"https://h/x"}}': "as strings",
            b'{"windows":{"version":"1","url":"https://h/\\u0078"}}': "clients read version",
            b'{"windows":{"version":"1","url":"ftp://h/x"}}': "http or https",
            b'{"windows":{"version":"../1","url":"https://h/x"}}': "file name",
            b'{"for":"windows","windows":{"version":"1","url":"https://h/x"}}': 'the word "windows" stands in quotes',
            b'{"x":{"windows":{"version":"1","url":"https://h/x"}},"windows":{"version":"1","url":"https://h/x"}}':
                'the word "windows" stands in quotes',
            b'[' * 100_000 + b'"windows""version":"1","url":"2"': "not a JSON document",
            '{"windows":{"version":"1","url":"https://h/x"}}'.encode("utf-16"): 'no key "windows"',
        }
        for body, text in cases.items():
            self.refused(text, rules.read_releases, "file", body)

    def test_other_sections_may_come_first(self):
        body = b'{ "android" : {"version":"9", "url":"https://h/a"} , "windows":{"version":"1","url":"https://h/x"}}'
        self.assertEqual(self.accepted(rules.read_releases, "file", body), ("1", "https://h/x"))

    def test_version_becomes_a_file_name(self):
        for version in ("1", "1.3.0", "1.3.0-rc1+5", "x" * 64):
            self.accepted(rules.check_version, version)
        for version in ("", "..", "1/2", "1\\2", "1.", "-1", "1 2", "x" * 65, "1\0", "1\n"):
            self.refused("file name", rules.check_version, version)

    def test_versions_are_ordered_as_people_do(self):
        ordered = ["1.2", "1.2.1", "1.3.0-rc1", "1.3.0-rc2", "1.3.0-rc10", "1.3.0", "1.10.0", "2"]
        keys = [rules.version_order(version) for version in ordered]
        self.assertEqual(keys, sorted(keys))
        self.assertEqual(len(set(map(str, keys))), len(keys))
        self.assertEqual(rules.version_order("1.3"), rules.version_order("1.3.0+build7"))


class Addresses(RulesCase):
    def test_addresses_that_clients_take(self):
        for url in ("http://h", "https://h.example.org:8443/a/b?c=d", "HTTPS://h:65535/", "http://127.0.0.1:1/x",
                    "http://[::1]:80/x", "https://" + "h" * 63 + "." + "i" * 63 + "/", "http://h/" + "x" * 1_022):
            self.accepted(rules.check_url, url)

    def test_addresses_that_clients_cannot_use_are_refused(self):
        for url, text in (("https:///x", "no host"), ("https://h:99999/x", "port 99999"), ("https://h:0/x", "port 0"),
                          ("https://" + "h" * 300 + "/x", "no host name"), ("https://" + "h" * 64 + "/x", "no host name"),
                          ("https://" + "abc." * 64 + "de/x", "no host name"), ("https://a..b/x", "no host name"),
                          ("https://user@h/x", "no host"), ("https://h:/x", "no host"), ("https://h:1:2/x", "no host"),
                          ("ftp://h/x", "http or https"), ("h/x", "http or https"), ("https://h/a b", "plain ASCII"),
                          ("https://h/\u00e9", "plain ASCII"), ("https://h\\x", "plain ASCII"),
                          ("https://h/" + "x" * 1_023, "longer than 1,023"), ("https://h/?" + "x" * 1_023, "longer than"),
                          ("https://h/x#y", "'#'")):
            self.refused(text, rules.check_url, url)
        self.refused("no query", rules.check_base_url, "https://h/?x")

    def test_names_are_taken_out_of_addresses(self):
        for text in ("Updates.Example.org", "updates.example.org:8443", "https://updates.example.org/base"):
            self.assertEqual(rules.server_name(text), "updates.example.org")
        self.assertEqual(rules.server_name("https:///x"), "")


class Installer(RulesCase):
    def test_needs_its_size_and_its_first_letters(self):
        self.accepted(rules.check_installer, "file", INSTALLER)
        self.refused("65,535 bytes", rules.check_installer, "file", INSTALLER[:-1])
        self.refused("MZ", rules.check_installer, "file", b"PK" + INSTALLER[2:])


class Allowed(RulesCase):
    def read(self, body):
        allow = AllowList()
        self.accepted(lambda problems: allow.read("file", body, problems))
        return allow

    def test_digests_and_domains_are_left_out(self):
        allow = self.read(b"# mine\r\n" + HASH_A.upper() + b" our tool # ours\n" + b"e" * 32 + b"\nWWW.Good.com\n")
        self.assertEqual(allow.without_digests({HASH_A, HASH_B}), {HASH_B})
        listed = dict.fromkeys([b"good.com", b"www.good.com", b"x.good.com", b"bad.com"], 1)
        self.assertEqual(list(allow.without_domains(listed)), [b"x.good.com", b"bad.com"])

    def test_line_that_is_neither_is_named(self):
        for line in (b"nonsense", HASH_A[1:], b"1.2.3.4"):
            allow = AllowList()
            self.refused("file:2: neither", lambda problems: allow.read("file", b"\n" + line, problems))


class Collected(unittest.TestCase):
    def test_the_first_twenty_problems_are_shown_and_the_others_counted(self):
        problems = Problems()
        problems.raise_any()
        for number in range(1_021):
            problems.add(f"file:{number}")
        with self.assertRaises(Refused) as caught:
            problems.raise_any()
        self.assertEqual(len(str(caught.exception).splitlines()), 21)
        self.assertTrue(str(caught.exception).endswith("... and 1,001 more"))


if __name__ == "__main__":
    unittest.main()
