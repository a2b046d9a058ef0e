#!/usr/bin/env python3
"""Opens the scan report's pages in a browser and looks at what it makes of them.

The pages are the golden files: an ordinary report, and one whose names try to break out of the text. The browser runs
headless, without a network, in an empty profile of its own.
"""
import html.parser
import pathlib
import subprocess
import tempfile
import unittest

GOLDEN = pathlib.Path(__file__).resolve().parent / "golden"
BROWSER = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
           "--disable-background-networking", "--disable-component-update", "--disable-sync", "--hide-scrollbars"]
LIMIT_SECONDS = 120

ALLOWED = {"html", "head", "meta", "title", "style", "body", "main", "header", "footer", "p", "h1", "h2", "span", "dl",
           "div", "dt", "dd", "ul", "li", "bdi", "i", "b", "br", "code", "details", "summary", "table", "tbody", "tr",
           "th", "td"}


def browse(page, *options):
    with tempfile.TemporaryDirectory() as profile:
        return subprocess.run([*BROWSER, f"--user-data-dir={profile}", *options, (GOLDEN / page).as_uri()],
                              check=True, capture_output=True, timeout=LIMIT_SECONDS).stdout


class Tree(html.parser.HTMLParser):
    """What the browser made of a page: its elements, attributes and text."""

    def __init__(self, page):
        super().__init__()
        self.tags, self.attributes, self.text, self.paths = [], set(), "", []
        self.in_path = False
        self.feed(browse(page, "--dump-dom").decode())

    def handle_starttag(self, tag, attrs):
        self.tags.append(tag)
        self.attributes.update(name for name, _ in attrs)
        if tag == "bdi":
            self.paths.append("")
            self.in_path = True

    def handle_endtag(self, tag):
        self.in_path = self.in_path and tag != "bdi"

    def handle_data(self, data):
        self.text += data
        if self.in_path:
            self.paths[-1] += data


class ReportPage(unittest.TestCase):
    def test_names_that_try_to_break_it_stay_text(self):
        page = Tree("scan-hostile.en.html")
        self.assertLessEqual(set(page.tags), ALLOWED)
        self.assertFalse([name for name in page.attributes if name.startswith("on") or name in ("src", "href")])
        self.assertIn("C:\\x\\</summary></details><script>alert(3)</script>.exe", page.paths)
        self.assertIn("C:\\<img src=x onerror=alert(2)>", page.paths)
        self.assertIn('PC"><script>alert(1)</script>', page.text)
        self.assertNotIn("\u202e", page.text)

    def test_every_listed_file_is_on_the_page(self):
        page = Tree("scan.en.html")
        self.assertEqual(len(page.paths), 4 + 44 + 1)  # folders, files, events
        self.assertEqual(page.tags.count("details"), 3 + 2)

    def test_both_languages_have_the_same_form(self):
        self.assertEqual(Tree("scan.en.html").tags, Tree("scan.ru.html").tags)

    def test_it_is_painted_in_light_and_in_dark(self):
        with tempfile.TemporaryDirectory() as folder:
            pictures = []
            for scheme in ("1", "0"):
                picture = pathlib.Path(folder) / f"{scheme}.png"
                browse("scan.en.html", "--window-size=390,1200", f"--blink-settings=preferredColorScheme={scheme}",
                       f"--screenshot={picture}")
                pictures.append(picture.read_bytes())
        self.assertTrue(all(picture.startswith(b"\x89PNG") for picture in pictures))
        self.assertNotEqual(*pictures)


if __name__ == "__main__":
    unittest.main()
