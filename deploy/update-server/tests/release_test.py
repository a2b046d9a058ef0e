"""Publishing: what is refused and by which switch it is allowed, and what a release holds."""
import json
import os
import unittest

from case import BASE_URL, HASH_A, HASH_B, INSTALLER, TreeCase, domains, hashes
from korvel_publish import rules
from korvel_publish.problems import Problems


class FirstRelease(TreeCase):
    def test_holds_every_part(self):
        self.publish_all()
        self.assertEqual(self.document("signatures"), HASH_A + b"\n")
        self.assertEqual(self.document("blocklist"), b"a.com\n")
        version, url = rules.read_releases("releases", self.document("releases"), Problems())
        self.assertEqual(version, "1.3.0")
        self.assertRegex(url, r"^https://updates\.example\.org/installers/KorvelSetup-1\.3\.0-[0-9a-f]{16}\.exe$")
        self.assertEqual((self.tree / "current/installers" / url.rsplit("/", 1)[1]).read_bytes(), INSTALLER)

    def test_signatures_alone_are_enough(self):
        self.publish("--signatures", str(self.folder / "hashes"))
        self.assertEqual(self.document("signatures"), HASH_A + b"\n")
        self.assertFalse((self.tree / "current/api/v1/blocklist").exists())
        self.assertIn("blocklist:  none; clients keep their hosts block", self.output.getvalue())
        self.assertIn("program:    none; a check for an update fails with status 404", self.output.getvalue())
        self.publish("--blocklist", str(self.folder / "domains"), "--server", "updates.example.org")
        self.assertEqual(self.document("blocklist"), b"a.com\n")
        self.publish(*self.program("1.3.0"))
        self.assertEqual(self.document("signatures"), HASH_A + b"\n")
        self.assertEqual(len(self.installer_names()), 1)

    def test_without_any_part_is_refused(self):
        self.refused("nothing to publish; name --signatures, --blocklist or --installer")
        self.assertFalse((self.tree / "current").exists())


class Refusals(TreeCase):
    def setUp(self):
        super().setUp()
        self.publish_all()

    def test_every_problem_of_every_part_is_told_at_once(self):
        self.refused("hashes:1:", "--signatures", self.write("hashes", b"x\ny\n"),
                     "--blocklist", self.write("domains", b"localhost\n"), *self.program("../x", b"MZ"))
        for text in ("hashes:2:", "domains:1:", "setup.exe: 2 bytes", "version '../x'"):
            self.assertIn(text, self.errors.getvalue())
        for line in self.errors.getvalue().splitlines():
            self.assertTrue(line.startswith("publish.py: "), line)

    def test_options_that_need_each_other(self):
        self.refused("belong together", "--version", "1.4.0")
        self.refused("belong together", "--installer", str(self.folder / "setup.exe"))
        self.refused("needs --base-url", "--version", "1.4.0", "--installer", str(self.folder / "setup.exe"))
        self.refused("No such file", "--signatures", str(self.folder / "missing"))

    def test_bad_base_addresses_are_refused(self):
        for url, text in (("https:///x", "no host"), ("https://h:99999", "port 99999"), ("updates.example.org", "http"),
                          ("https://" + "h" * 300, "no host name"), ("https://h/?x", "no query"), ("https://h#x", "'#'")):
            self.refused(text, *self.program("1.4.0", base_url=url))
        self.refused("longer than", *self.program("1.4.0", base_url="https://h/" + "x" * 1_000))

    def test_names_of_the_server_are_never_blocked(self):
        for domain in (b"updates.example.org", b"Example.Org"):
            self.refused("blocks the update server", "--blocklist", self.write("own", b"a.com\n" + domain + b"\n"))
        self.refused("blocks the update server mirror.example.net", "--blocklist", self.write("own", b"example.net\n"),
                     "--server", "mirror.example.net")
        self.publish("--blocklist", self.write("sub", b"x.updates.example.org\n"))

    def test_name_of_a_mirror_is_remembered(self):
        self.publish("--signatures", str(self.folder / "hashes"), "--server", "https://mirror.example.net:8443/korvel")
        self.refused("blocks the update server mirror.example.net", "--blocklist", self.write("own", b"example.net\n"))
        self.refused("neither a host name", "--signatures", str(self.folder / "hashes"), "--server", "https://")

    def test_list_in_force_may_not_block_a_new_name_of_the_server(self):
        self.publish("--blocklist", self.write("list", b"example.net\n"))
        self.refused("blocks the update server", *self.program("1.4.0", base_url="https://new.example.net"))

    def test_blocklist_of_a_server_without_a_name_is_refused(self):
        self.tree = self.folder / "other"
        self.refused("name the server with --base-url or --server", "--blocklist", str(self.folder / "domains"))

    def test_version_with_other_bytes_is_refused(self):
        self.refused("version 1.3.0: offered before with other bytes", *self.program("1.3.0", INSTALLER + b"x"))
        self.publish(*self.program("1.4.0-rc", INSTALLER + b"y"))
        self.refused("offered before with other bytes", *self.program("1.4.0-RC", INSTALLER + b"z"))
        self.publish(*self.program("1.4.0-rc", INSTALLER + b"y"))

    def test_version_with_other_bytes_is_refused_even_after_its_installer_is_gone(self):
        for number in range(4, 8):
            self.publish(*self.program(f"1.{number}.0", INSTALLER + b"%d" % number), "--keep", "2")
        self.assertFalse(any("1.3.0" in name for name in self.installer_names()))
        self.refused("offered before", *self.program("1.3.0", INSTALLER + b"x"), "--downgrade")
        self.publish(*self.program("1.3.0"), "--downgrade")

    def test_lower_version_needs_its_switch(self):
        self.refused("lower than 1.3.0, which is in force; --downgrade", *self.program("1.2.9", INSTALLER + b"x"))
        self.publish(*self.program("1.2.9", INSTALLER + b"x"), "--downgrade")
        self.publish(*self.program("1.10.0", INSTALLER + b"y"))

    def test_empty_blocklist_needs_its_switch(self):
        empty = self.write("empty", b"# nothing\n")
        self.refused("--empty-blocklist", "--blocklist", empty)
        self.publish("--blocklist", empty, "--empty-blocklist")
        self.assertEqual(self.document("blocklist"), b"")
        self.publish("--blocklist", empty)  # nothing changes any more

    def test_list_that_shrinks_by_more_than_half_needs_its_switch(self):
        self.publish("--signatures", self.write("many", hashes(50_000)))
        self.publish("--blocklist", self.write("long", domains(1_001)))
        self.publish("--signatures", self.write("half", hashes(25_000)))
        self.refused("signatures: 12,499 instead of 25,000", "--signatures", self.write("few", hashes(12_499)))
        self.publish("--signatures", str(self.folder / "few"), "--shrink")
        self.refused("blocklist: 500 instead of 1,001", "--blocklist", self.write("short", domains(500)))
        self.publish("--blocklist", self.write("short", domains(501)))

    def test_documents_must_fit(self):
        self.refused("clients write 60,000 lines", "--blocklist", self.write("long", domains(30_001)))
        self.publish("--blocklist", self.write("long", domains(30_000)))


class AllowList(TreeCase):
    def test_what_it_names_is_left_out_of_every_document(self):
        allow = self.write("allow", HASH_A + b" our tool\ngood.com\n")
        self.publish("--signatures", self.write("hashes", HASH_A + b"\n" + HASH_B + b"\n"), "--allow", allow,
                     "--blocklist", self.write("domains", b"www.good.com\nbad.com\n"), "--base-url", BASE_URL)
        self.assertEqual(self.document("signatures"), HASH_B + b"\n")
        self.assertEqual(self.document("blocklist"), b"bad.com\n")
        self.assertIn("left out:   1 hashes of the allow list", self.output.getvalue())
        self.assertIn("left out:   1 domains of the allow list", self.output.getvalue())

    def test_what_it_names_is_taken_out_of_documents_that_are_taken_over(self):
        self.write("hashes", HASH_A + b"\n" + HASH_B + b"\n")
        self.publish_all()
        self.publish("--allow", self.write("allow", HASH_A + b"\n"))
        self.assertEqual(self.document("signatures"), HASH_B + b"\n")
        self.assertEqual(self.document("blocklist"), b"a.com\n")

    def test_list_in_the_tree_always_counts(self):
        self.write("tree/allow.txt", HASH_A + b"\n")
        self.publish("--signatures", self.write("hashes", HASH_A + b"\n" + HASH_B + b"\n"))
        self.assertEqual(self.document("signatures"), HASH_B + b"\n")

    def test_list_that_leaves_nothing_is_refused(self):
        self.refused("no hash is left", "--signatures", str(self.folder / "hashes"), "--allow",
                     self.write("allow", HASH_A + b"\n"))
        self.refused("--empty-blocklist", "--blocklist", str(self.folder / "domains"), "--base-url", BASE_URL, "--allow",
                     self.write("allow", b"a.com\n"))

    def test_line_that_is_neither_digest_nor_domain_is_refused(self):
        self.refused("allow:1: neither", "--signatures", str(self.folder / "hashes"), "--allow",
                     self.write("allow", b"nonsense\n"))


class DryRun(TreeCase):
    def test_compares_with_the_release_in_force_and_writes_nothing(self):
        self.publish_all()
        before = self.everything()
        self.publish("--signatures", self.write("new", HASH_B + b"\n"), *self.program("1.4.0", INSTALLER + b"x"),
                     "--dry-run")
        output = self.output.getvalue()
        self.assertIn("signatures: 1 hashes, 65 bytes; +1 -1\n", output)
        self.assertIn("blocklist:  1 domains, 6 bytes; unchanged\n", output)
        self.assertRegex(output, r"program:    1\.4\.0, 65,537 bytes, https://\S+; was 1\.3\.0\n")
        self.assertTrue(output.endswith("dry run: nothing was written\n"))
        self.assertEqual(self.everything(), before)

    def test_makes_not_even_the_tree(self):
        self.publish("--signatures", str(self.folder / "hashes"), "--dry-run")
        self.assertIn("1 hashes, 65 bytes; new", self.output.getvalue())
        self.assertFalse(self.tree.exists())

    def test_refuses_what_publishing_refuses(self):
        self.publish_all()
        self.refused("--downgrade", *self.program("1.0.0", INSTALLER + b"x"), "--dry-run")

    def test_shows_what_going_back_would_change(self):
        self.publish_all()
        self.publish("--signatures", self.write("new", HASH_A + b"\n" + HASH_B + b"\n"))
        before = self.everything()
        self.publish("--rollback", "--dry-run")
        self.assertIn("signatures: 1 hashes, 65 bytes; +0 -1\n", self.output.getvalue())
        self.assertEqual(self.everything(), before)


class Listing(TreeCase):
    def test_tells_what_each_release_holds_and_changed(self):
        self.publish_all()
        self.publish("--signatures", self.write("new", HASH_A + b"\n" + HASH_B + b"\n"))
        self.publish(*self.program("1.4.0", INSTALLER + b"x"))
        self.publish("--rollback")
        self.publish("--list")
        self.assertRegex(self.output.getvalue(), r"""^  \S+
    signatures: 1 hashes, 65 bytes; new
    blocklist:  1 domains, 6 bytes; new
    program:    1\.3\.0, 65,536 bytes, https://\S+; new
\* \S+  in force
    signatures: 2 hashes, 130 bytes; \+1 -0
    blocklist:  1 domains, 6 bytes; unchanged
    program:    1\.3\.0, 65,536 bytes, https://\S+; unchanged
  \S+
    signatures: 2 hashes, 130 bytes; unchanged
    blocklist:  1 domains, 6 bytes; unchanged
    program:    1\.4\.0, 65,537 bytes, https://\S+; was 1\.3\.0
$""")

    def test_copes_with_no_release_and_with_one_of_an_earlier_publisher(self):
        self.publish("--list")
        self.assertEqual(self.output.getvalue(), "no release\n")
        self.publish_all()
        (self.tree / "current/release.json").unlink()
        self.publish("--list")
        self.assertIn("    signatures: 1 hashes, 65 bytes\n", self.output.getvalue())


class Installers(TreeCase):
    def test_older_ones_stay_reachable(self):
        self.publish_all("1.3.0")
        self.publish(*self.program("1.4.0", INSTALLER + b"new"))
        self.publish(*self.program("1.4.0", INSTALLER + b"new"))  # the same once more
        self.assertEqual([name[:17] for name in self.installer_names()], ["KorvelSetup-1.3.0", "KorvelSetup-1.4.0"])

    def test_only_the_newest_are_kept_and_always_the_one_on_offer(self):
        for number in range(3, 9):
            self.publish(*self.program(f"1.{number}.0", INSTALLER + b"%d" % number), "--keep", "3")
            self.spread_dates()
        self.assertEqual([name[12:17] for name in self.installer_names()], ["1.6.0", "1.7.0", "1.8.0"])
        self.publish(*self.program("1.6.0", INSTALLER + b"6"), "--keep", "2", "--downgrade")
        self.assertEqual([name[12:17] for name in self.installer_names()], ["1.6.0", "1.7.0", "1.8.0"])
        self.publish(*self.program("1.9.0", INSTALLER + b"9"), "--keep", "2")
        self.assertEqual([name[12:17] for name in self.installer_names()], ["1.8.0", "1.9.0"])

    def spread_dates(self):
        """The dates that the installers would have, had a day passed between two releases."""
        for number, path in enumerate(sorted((self.tree / "current/installers").iterdir())):
            os.utime(path, (1_700_000_000 + 86_400 * number, 1_700_000_000 + 86_400 * number))

    def test_release_document_is_plain_json(self):
        self.publish_all()
        self.assertEqual(list(json.loads(self.document("releases"))["windows"]), ["version", "url"])


class Arguments(TreeCase):
    def test_keep_needs_two_at_least(self):
        for number in ("1", "0", "-3", "x"):
            with self.assertRaises(SystemExit) as caught:
                self.run_script("--keep", number)
            self.assertEqual(caught.exception.code, 2)

    def test_tree_is_needed_except_for_a_check(self):
        with self.assertRaises(SystemExit) as caught:
            self.run_main("--list")
        self.assertEqual(caught.exception.code, 2)


if __name__ == "__main__":
    unittest.main()
