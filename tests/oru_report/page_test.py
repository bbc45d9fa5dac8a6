"""Loads pages of `oru-report html` in headless Chromium and looks at them.

  page_test.py ORU_REPORT HOST_APP SCREENSHOT_FOLDER

One page is of a real crash of the host program; the others are of reports made up here: many threads and images with
long names, and a report in which everything that can be empty is.
"""
import os
import re
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "browser"))
from browser import Browser  # noqa: E402

ORU_REPORT, HOST_APP, SHOTS = sys.argv[1:4]

SYMBOL = "_ZN6OruRTC" + "".join(f"{len(word)}{word}" for word in ["Transport", "Negotiation", "Session"]) + "4joinEv"


def header(thread):
    return ("Harware Model:     x86_64\nProcess:           host\nPath:              /tmp/crashes/\n"
            f"Code Type:         x86_64\nDate/Time:         2024-03-05 07:08:09 123\nCrash Thread:      {thread}\n\n")


def big_report(threads=200, images=300):
    text = header(1150) + "Crash Thread Backtrace:\n"
    text += "".join(f"/opt/app/libOruRTCEngine.so({SYMBOL}+0x{i:x}) [0x{0x7f0000000000 + i:x}]\n" for i in range(20))
    text += "\nAll Thread Backtrace:\n"
    for i in range(threads):
        text += f"Thread {1000 + i} worker number {i} <script>alert(1)</script>:\n"
        text += "".join(f"{'libOruRTCEngine.so':<32}0x{0x7f0000000000 + 16 * f + i:x} {SYMBOL} + {f}\n" for f in range(12))
        text += "\n"
    text += "\nBinary Images:\n"
    for i in range(images):
        start = 0x7f0000000000 + i * 0x100000
        folder = "a-long-folder-name-without-any-blank-in-it/" * (8 if i % 50 == 7 else 1)
        text += (f"{hex(start):>18} - {hex(start + 0xfffff):>18}  library{i}.so arm64  <{i:032x}> "
                 f"/opt/app/{folder}library{i}.so\n")
    return text + "\nUserCustomInfo:\n" + "word" * 400 + "\n"


EMPTY_REPORT = header(7).replace("host\n", "\n") + "Crash Thread Backtrace:\n\nAll Thread Backtrace:\n\n\nBinary Images:\n\n" + \
    "UserCustomInfo:\n\n"

FOLDS = "Array.from(document.querySelectorAll('details')).map(d => [d.open, d.classList.contains('crashed')])"
ROWS = ("Array.from(document.querySelectorAll('#images tbody tr')).filter(r => r.getClientRects().length)"
        ".map(r => r.cells[0].innerText)")
OVERFLOW = "document.documentElement.scrollWidth - document.documentElement.clientWidth"

TABLE_OVERFLOW = "(w => w.scrollWidth - w.clientWidth)(document.querySelector('.wide'))"


class Page(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        os.makedirs(SHOTS, exist_ok=True)
        cls.browser = Browser().__enter__()

    @classmethod
    def tearDownClass(cls):
        cls.browser.__exit__()
        cls.folder.cleanup()

    def setUp(self):
        self.browser.events.clear()

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def page_of(self, report):
        """Makes the page of the report file and returns its URL."""
        page = self.path(os.path.basename(report) + ".html")
        subprocess.run([ORU_REPORT, "html", "--output", page, report], check=True, timeout=60)
        return "file://" + page

    def page_of_text(self, name, text):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)
        return self.page_of(self.path(name))

    def real_report(self):
        dumps = self.path("dumps")
        subprocess.run([HOST_APP, "--dump-dir", dumps, "--log-dir", self.path("logs"), "--app-id", "demo",
                        "--session-id", "s1", "--sdk-version", "6.1.0", "--extra-info", "build 42", "--worker",
                        "--idle-threads", "4", "--crash", "segv"],
                       stderr=subprocess.DEVNULL, timeout=60, check=False)
        version = os.path.join(dumps, "6.1.0")
        return os.path.join(version, os.listdir(version)[0])

    def search(self, text):
        """Types into the search field and returns the names of the images that are left."""
        self.browser.evaluate("document.getElementById('search').select(); document.getElementById('search').focus()")
        self.browser.call("Input.insertText", text=text)
        return self.browser.evaluate(ROWS)

    def check_quiet(self, url):
        self.assertEqual(self.browser.complaints(), [])
        self.assertEqual(self.browser.requested(), [url])

    def test_real_report(self):
        browser = self.browser
        url = self.page_of(self.real_report())
        browser.open(url)
        folds = browser.evaluate(FOLDS)
        self.assertGreaterEqual(len(folds), 4)
        self.assertEqual([crashed for is_open, crashed in folds if is_open], [True])
        self.assertTrue(folds[0][0])
        self.assertIn("worker", browser.evaluate("document.querySelector('details summary').innerText"))
        self.assertIn("OruRTCSampleCrash", browser.evaluate("document.querySelector('.crashed').innerText"))
        self.assertNotIn("/../", browser.evaluate("document.querySelector('.crashed').innerText"))
        self.assertIn("host_app", browser.evaluate(ROWS))
        self.assertIn("build 42", browser.evaluate("document.body.innerText"))
        browser.screenshot(os.path.join(SHOTS, "real.png"), whole_page=True)
        browser.open(url, dark=True)
        self.assertEqual(browser.evaluate("matchMedia('(prefers-color-scheme: dark)').matches"), True)
        browser.screenshot(os.path.join(SHOTS, "real-dark.png"))
        browser.open(url, width=420, height=800)
        browser.screenshot(os.path.join(SHOTS, "real-narrow.png"))
        self.assertEqual(browser.evaluate(OVERFLOW), 0)

    def test_nothing_is_asked_of_the_network(self):
        url = self.page_of_text("quiet.log", big_report(3, 3))
        self.browser.open(url)
        self.search("library1")
        self.check_quiet(url)

    def test_a_page_may_not_reach_out(self):
        self.browser.open(self.page_of_text("policy.log", big_report(1, 1)))
        blocked = self.browser.evaluate(
            "fetch('http://127.0.0.1:9/').then(() => 'reached', e => 'refused')")
        self.assertEqual(blocked, "refused")
        self.assertIn("Content Security Policy", str(self.browser.wait_for("Log.entryAdded")))

    def test_unfolding_all_and_folding_back(self):
        browser = self.browser
        browser.open(self.page_of_text("folds.log", big_report(20, 5)))
        before = browser.evaluate(FOLDS)
        browser.evaluate("document.getElementById('fold').click()")
        self.assertTrue(all(is_open for is_open, _ in browser.evaluate(FOLDS)))
        browser.evaluate("document.getElementById('fold').click()")
        self.assertEqual(browser.evaluate(FOLDS), before)

    def test_searching_images(self):
        self.browser.open(self.page_of_text("search.log", big_report(2, 300)))
        self.assertEqual(len(self.search("")), 300)
        self.assertEqual(self.search("LIBRARY299"), ["library299.so"])
        self.assertEqual(self.search("0000000000000000000000000000012b"), ["library299.so"])
        self.assertEqual(self.search(hex(0x7f0000000000 + 5 * 0x100000 + 0x42)), ["library5.so"])
        self.assertEqual(self.search("nothing has this name"), [])
        self.assertEqual(self.browser.evaluate("document.getElementById('found').innerText"), "0 of 300")
        self.assertEqual(len(self.search("a-long-folder-name")), 300)
        self.browser.open(self.browser.evaluate("location.href"), width=420)
        self.assertEqual(self.search("library42.so"), ["library42.so"])

    def test_many_threads_and_images_with_long_names(self):
        browser = self.browser
        url = self.page_of_text("big.log", big_report())
        for width in (1200, 420):
            browser.open(url, width=width)
            self.assertEqual(browser.evaluate(OVERFLOW), 0, f"at {width} pixels")
            self.assertEqual(browser.evaluate(TABLE_OVERFLOW), 0, f"at {width} pixels")
            browser.screenshot(os.path.join(SHOTS, f"big-{width}.png"))
        browser.evaluate("document.querySelector('#images').scrollIntoView()")
        browser.screenshot(os.path.join(SHOTS, "big-images-narrow.png"))
        browser.open(url)
        browser.evaluate("document.querySelector('#images').scrollIntoView()")
        browser.screenshot(os.path.join(SHOTS, "big-images.png"))
        folds = browser.evaluate(FOLDS)
        self.assertEqual(len(folds), 200)
        self.assertEqual(sum(is_open for is_open, _ in folds), 1)

    def test_a_thread_named_like_a_script_is_text(self):
        browser = self.browser
        browser.open(self.page_of_text("script.log", big_report(2, 2)))
        # A thread is named like a script: it has to be text.
        self.assertEqual(browser.evaluate("document.querySelectorAll('summary script').length"), 0)
        self.assertIn("<script>alert(1)</script>", browser.evaluate("document.querySelectorAll('summary')[1].innerText"))

    def test_empty_report(self):
        url = self.page_of_text("empty.log", EMPTY_REPORT)
        self.browser.open(url)
        self.browser.screenshot(os.path.join(SHOTS, "empty.png"))
        text = self.browser.evaluate("document.body.innerText")
        # The process, the frames, the threads, the images.
        self.assertEqual(len(re.findall(r"\bnone\b|no frames", text)), 4, text)
        self.check_quiet(url)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
