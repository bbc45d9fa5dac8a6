"""Loads pages of `oru-report html` in headless Chromium and looks at them.

  page_test.py ORU_REPORT HOST_APP SCREENSHOT_FOLDER

One page is of a real crash of the host program; the others are of reports made up here: many threads and images with
long names, and a report in which everything that can be empty is.
"""
import collections
import os
import re
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "browser"))
sys.path.insert(0, os.path.dirname(__file__))
import fleet  # noqa: E402
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

OVERFLOW = "document.documentElement.scrollWidth - document.documentElement.clientWidth"
# The contrast of every text with what is behind it, the lowest first.
CONTRAST = """(() => {
  const light = c => { const s = c / 255; return s <= 0.03928 ? s / 12.92 : Math.pow((s + 0.055) / 1.055, 2.4); };
  const parts = text => text.match(/[\\d.]+/g).map(Number);
  const bright = c => 0.2126 * light(c[0]) + 0.7152 * light(c[1]) + 0.0722 * light(c[2]);
  const behind = element => {
    for (let up = element; up; up = up.parentElement) {
      const c = parts(getComputedStyle(up).backgroundColor);
      if (c.length === 3 || c[3] > 0) return c;
    }
    return [255, 255, 255];
  };
  return Array.from(document.querySelectorAll('body *')).filter(e => Array.from(e.childNodes).some(
    n => n.nodeType === 3 && n.textContent.trim()) && e.getClientRects().length && !e.closest('script, style, svg')).map(e => {
    const a = bright(parts(getComputedStyle(e).color)), b = bright(behind(e));
    return [(Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05), e.className + ' ' + e.tagName + ' ' + e.textContent.slice(0, 30)];
  }).sort((x, y) => x[0] - y[0]);
})()"""


def visible(query):
    return f"Array.from(document.querySelectorAll('{query}')).filter(e => e.getClientRects().length)"


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

    def page_of(self, *inputs):
        """Makes the page of the report file and returns its URL."""
        page = self.path(os.path.basename(inputs[-1]) + ".html")
        subprocess.run([ORU_REPORT, "html", "--output", page, *inputs], check=True, timeout=60)
        return "file://" + page

    def page_of_text(self, name, text):
        with open(self.path(name), "w", encoding="utf-8") as file:
            file.write(text)
        return self.page_of(self.path(name))

    def real_report(self):
        dumps = self.path("dumps")
        if not os.path.exists(dumps):
            subprocess.run([HOST_APP, "--dump-dir", dumps, "--log-dir", self.path("logs"), "--app-id", "demo",
                            "--session-id", "s1", "--sdk-version", "6.1.0", "--extra-info", "build 42", "--worker",
                            "--idle-threads", "4", "--crash", "segv"],
                           stderr=subprocess.DEVNULL, timeout=60, check=False)
        version = os.path.join(dumps, "6.1.0")
        return os.path.join(version, os.listdir(version)[0])

    def shoot(self, name):
        self.browser.screenshot(os.path.join(SHOTS, name + ".png"), whole_page=True)

    def search(self, text):
        """Types into the search field and returns how many were found."""
        self.browser.evaluate("document.getElementById('search').select(); document.getElementById('search').focus()")
        if text:
            self.browser.call("Input.insertText", text=text)
        else:
            self.browser.evaluate("search.value = ''; search.dispatchEvent(new Event('input'))")
        found = self.browser.evaluate("document.getElementById('found').textContent")
        return int(found.split()[0]) if found else None

    def count(self, query):
        return self.browser.evaluate(visible(query) + ".length")

    def text(self, query="body"):
        return self.browser.evaluate(f"document.querySelector('{query}').innerText")

    def check_quiet(self, url):
        self.assertEqual(self.browser.complaints(), [])
        self.assertEqual(self.browser.requested(), [url])

    def test_the_first_screen_says_what_where_and_whose(self):
        browser = self.browser
        url = self.page_of(self.real_report())
        for width, height in ((1400, 900), (390, 844)):
            browser.open(url, width=width, height=height)
            head = self.text("header")
            for words in ("Signal", "host_app::", "crash_deeds.cc:", "demo", "6.1.0", "s1"):
                self.assertIn(words, head)
            bottom = browser.evaluate("document.querySelector('header').getBoundingClientRect().bottom")
            self.assertLess(bottom, height)
            self.assertEqual(browser.evaluate(OVERFLOW), 0)
            self.shoot(f"real-{width}")
            browser.open(url, width=width, height=height, dark=True)
            self.assertTrue(browser.evaluate("matchMedia('(prefers-color-scheme: dark)').matches"))
            self.shoot(f"real-{width}-dark")

    def test_the_culprit_stands_with_its_source_line(self):
        browser = self.browser
        url = self.page_of(self.real_report())
        browser.open(url)
        caption = self.text("header .source figcaption")
        path, line = re.fullmatch(r"(/.*crash_deeds\.cc):(\d+)(?: – .*)?", caption).groups()
        with open(path, encoding="utf-8") as file:
            lines = file.read().split("\n")
        self.assertEqual(browser.evaluate("document.querySelector('.source .hit i').textContent"), line)
        self.assertEqual(browser.evaluate("document.querySelector('.source .hit code').textContent"), lines[int(line) - 1])
        self.assertEqual(browser.evaluate("Array.from(document.querySelectorAll('.source code')).map(e => e.textContent)"),
                         lines[int(line) - 4:int(line) + 3])
        # Without symbols there is no line to show.
        self.browser.open(self.page_of("--no-source", self.real_report()))
        self.assertEqual(self.count(".source"), 0)

    def test_everything_but_the_crashed_thread_is_folded(self):
        self.browser.open(self.page_of(self.real_report()))
        self.assertEqual(self.browser.evaluate(
            "Array.from(document.querySelectorAll('details[open]')).map(d => d.id)"), ["crashed"])
        self.assertIn("worker", self.text("#crashed summary"))
        self.assertIn("frames of the crash handler", self.text("#crashed"))
        self.assertIn("OruRTCSampleCrash", self.text("#crashed"))
        others = self.browser.evaluate("Array.from(document.querySelectorAll('#threads .thread')).map(t => "
                                       "parseInt(/^\\s*(\\d+) threads/.exec(t.querySelector('summary').textContent)?.[1] ?? 1))")
        self.assertEqual(self.text("#threads .count"), str(sum(others)))
        self.assertNotIn("/../", self.text("#crashed"))
        self.assertEqual(self.text("#crashed .legend").split()[:6], ["S", "SDK", "A", "app", ".", "system"])
        self.assertEqual(self.count(".mark.S") > 0, True)
        self.browser.press("u")
        self.assertEqual(self.browser.evaluate("document.querySelectorAll('details:not([open])').length"), 0)
        self.assertIn("build 42", self.text())
        self.assertIn("host_app", self.text("#images"))
        self.shoot("real-unfolded")
        self.browser.press("u")
        self.assertEqual(self.browser.evaluate(
            "Array.from(document.querySelectorAll('details[open]')).map(d => d.id)"), ["crashed"])

    def test_text_is_readable_in_both_modes(self):
        url = self.page_of(self.real_report())
        for dark in (False, True):
            self.browser.open(url, dark=dark)
            self.browser.press("u")
            lowest = self.browser.evaluate(CONTRAST)[0]
            self.assertGreaterEqual(lowest[0], 4.5, lowest)

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

    def test_one_search_finds_frames_threads_images_and_words(self):
        self.browser.open(self.page_of_text("search.log", big_report(40, 300).replace("word" * 400, "first line\nneedle line")))
        self.assertIsNone(self.search(""))
        self.assertEqual(self.search("LIBRARY299"), 1)
        self.assertEqual(self.browser.evaluate(visible("#images tr.image") + ".map(r => r.cells[0].innerText)"), ["library299.so"])
        self.assertEqual(self.search("0000000000000000000000000000012b"), 1)
        self.assertEqual(self.search("needle"), 1)
        self.assertIn("needle line", self.text("#words"))
        self.assertNotIn("first line", self.text("#words"))
        self.assertEqual(self.search("worker number 17"), 1)
        self.assertEqual(self.count("#threads .thread"), 1)
        self.assertEqual(self.count("#threads .thread[open] .frame"), 12)
        self.assertEqual(self.search("nothing has this name"), 0)
        self.assertEqual(self.count(".frame, .image, .thread"), 0)
        self.assertIsNone(self.search(""))
        self.assertEqual(self.count("#crashed .frame"), 20)

    def test_an_address_is_found_with_and_without_its_prefix(self):
        self.browser.open(self.page_of_text("address.log", big_report(2, 300)))
        inside = 0x7f0000000000 + 5 * 0x100000 + 0x42
        for text in (hex(inside), hex(inside)[2:], "0x0000" + hex(inside)[2:]):
            self.assertEqual(self.search(text), 1, text)
            self.assertEqual(self.browser.evaluate(visible("#images tr.image") + ".map(r => r.cells[0].innerText)"), ["library5.so"])
        self.assertEqual(self.count(".frame"), 0)
        self.search("7f0000000003")
        self.assertIn("0x00007f0000000003", self.text("#crashed"))

    def test_keys_move_between_what_was_found(self):
        browser = self.browser
        browser.open(self.page_of_text("keys.log", big_report(5, 30)))
        browser.press("/")
        self.assertEqual(browser.evaluate("document.activeElement.id"), "search")
        browser.call("Input.insertText", text="library2")
        browser.press("Enter")
        first = browser.evaluate("document.activeElement.innerText")
        browser.press("n")
        second = browser.evaluate("document.activeElement.innerText")
        self.assertIn("library2.so", first)
        self.assertIn("library20.so", second)
        browser.press("p")
        self.assertEqual(browser.evaluate("document.activeElement.innerText"), first)
        browser.press("Escape")
        self.assertEqual(browser.evaluate("search.value"), "")

    def test_every_thread_and_frame_has_a_link(self):
        browser = self.browser
        url = self.page_of_text("links.log", big_report(30, 5))
        browser.open(url + "#t1007-3")
        self.assertTrue(browser.evaluate("document.getElementById('t1007').open && document.getElementById('threads').open"))
        top = browser.evaluate("document.getElementById('t1007-3').getBoundingClientRect().top")
        self.assertTrue(0 <= top < 900, top)
        links = browser.evaluate("Array.from(document.querySelectorAll('a')).map(a => [a.hash.slice(1), "
                                 "!!document.getElementById(a.hash.slice(1))])")
        self.assertTrue(all(there for _, there in links))
        frames = browser.evaluate("document.querySelectorAll('.frame').length")
        self.assertEqual(len(links), frames + browser.evaluate("document.querySelectorAll('.thread').length"))
        self.assertEqual(len({name for name, _ in links}), len(links))

    def test_threads_that_are_shown_as_one_are_found_and_linked_each(self):
        browser = self.browser
        same = re.sub(r"(libOruRTCEngine.so +0x)[0-9a-f]+", r"\g<1>7f0000000010", big_report(300, 3))
        url = self.page_of_text("members.log", same)
        browser.open(url + "#t1207")
        self.assertEqual(browser.evaluate("document.querySelectorAll('#threads .thread').length"), 1)
        self.assertEqual(browser.evaluate("document.querySelectorAll('#threads .member').length"), 299)
        self.assertTrue(browser.evaluate("document.getElementById('t1207').closest('details').open"))
        top = browser.evaluate("document.getElementById('t1207').getBoundingClientRect().top")
        self.assertTrue(0 <= top < 900, top)
        self.assertEqual(self.search("worker number 217"), 1)
        self.assertEqual(browser.evaluate(visible(".member") + ".map(e => e.textContent)"),
                         ["1217 worker number 217 <script>alert(1)</script>"])
        self.assertEqual(self.count("#threads .frame"), 12)

    def test_headline_and_thread_can_be_copied(self):
        browser = self.browser
        browser.open(self.page_of_text("copy.log", big_report(3, 3)))
        browser.evaluate("navigator.clipboard.writeText = text => { window.copied = text; return Promise.resolve(); }")
        browser.evaluate("document.querySelector('header button').click()")
        self.assertTrue(browser.evaluate("copied").startswith("Signal in OruRTC::Transport::Negotiation::Session::join()"))
        browser.evaluate("document.querySelector('#t1001 button').click()")
        lines = browser.evaluate("copied").strip().split("\n")
        self.assertIn("worker number 1", lines[0])
        self.assertEqual(len(lines), 13)
        self.assertIn("join()", lines[1])

    def test_a_thousand_threads_make_no_long_page(self):
        browser = self.browser
        url = self.page_of_text("big.log", big_report(1000, 300))
        for width in (1400, 390):
            browser.open(url, width=width)
            self.assertEqual(browser.evaluate(OVERFLOW), 0, f"at {width} pixels")
            # The crashed thread's twenty frames and four lines.
            self.assertLess(browser.evaluate("document.documentElement.scrollHeight"), 4000)
            self.shoot(f"big-{width}")
            browser.press("u")
            self.assertEqual(browser.evaluate(OVERFLOW), 0, f"unfolded at {width} pixels")
        same = big_report(1000, 3).replace("number ", "").replace("<script>", "")
        same = re.sub(r"(libOruRTCEngine.so +0x)[0-9a-f]+", r"\g<1>7f0000000010", same)
        browser.open(self.page_of_text("same.log", same))
        self.assertEqual(browser.evaluate("document.querySelectorAll('#threads .thread').length"), 1)
        self.assertIn("999 threads", browser.evaluate("document.querySelector('#threads .thread summary').textContent"))

    def test_print_shows_everything_without_the_controls(self):
        browser = self.browser
        url = self.page_of(self.real_report())
        browser.open(url, media="print")
        browser.evaluate("dispatchEvent(new Event('beforeprint'))")
        self.assertEqual(self.count("nav, button, footer"), 0)
        self.assertEqual(browser.evaluate("document.querySelectorAll('details:not([open])').length"), 0)
        self.assertIn("build 42", self.text())
        self.shoot("real-print")
        browser.evaluate("dispatchEvent(new Event('afterprint'))")
        self.assertEqual(browser.evaluate("document.querySelectorAll('details[open]').length"), 1)
        browser.open(url)

    def test_a_thread_named_like_a_script_is_text(self):
        browser = self.browser
        browser.open(self.page_of_text("script.log", big_report(2, 2)))
        self.assertEqual(browser.evaluate("document.querySelectorAll('summary script').length"), 0)
        self.assertIn("<script>alert(1)</script>", browser.evaluate("document.querySelector('#t1001 summary').textContent"))

    def test_empty_report(self):
        url = self.page_of_text("empty.log", EMPTY_REPORT)
        self.browser.open(url)
        self.browser.press("u")
        self.shoot("empty")
        text = self.text()
        # The process, the frames, the threads, the images.
        self.assertEqual(len(re.findall(r"\bnone\b|no frames", text)), 4, text)
        self.check_quiet(url)

    def test_a_plot_has_days_without_reports_too(self):
        folder = self.path("gaps")
        os.makedirs(folder)
        for number, day in enumerate(("2024-02-27", "2024-03-02", "2024-03-02", "none")):
            with open(os.path.join(folder, f"{number}.log"), "w", encoding="utf-8") as file:
                file.write(EMPTY_REPORT.replace("2024-03-05", day))
        self.browser.open(self.page_of("--group", folder))
        bars = self.browser.evaluate("Array.from(document.querySelector('header svg').querySelectorAll('title'))"
                                     ".map(t => t.textContent)")
        self.assertEqual(bars, ["2024-02-27: 1", "2024-02-28: 0", "2024-02-29: 0", "2024-03-01: 0", "2024-03-02: 2"])
        self.assertEqual(self.text("header .axis").split(), [bar.split(":")[0] for bar in bars])

    def test_groups_of_a_folder(self):
        archive = self.path("fleet.zip")
        fleet.make_zip(600, archive)
        url = self.page_of("--group", archive)
        for width, dark in ((1400, False), (390, True)):
            self.browser.open(url, width=width, dark=dark)
            self.assertEqual(self.browser.evaluate(OVERFLOW), 0)
            self.assertIn("600 reports", self.text("h1"))
            self.assertEqual(self.browser.evaluate("document.querySelectorAll('header svg').length"), 2)
            versions = self.browser.evaluate("Array.from(document.querySelectorAll('header svg')[1].querySelectorAll('title'))"
                                             ".map(t => t.textContent)")
            wanted = collections.Counter(map(fleet.version_of, range(600)))
            self.assertEqual(versions, [f"{name}: {count}" for name, count in sorted(wanted.items())])
            lowest = self.browser.evaluate(CONTRAST)[0]
            self.assertGreaterEqual(lowest[0], 4.5, lowest)
            self.assertRegex(self.text("main .thread summary"), r"^95\s.*step8of0\(\).*4 versions, last 2024-12-25")
            self.shoot(f"groups-{width}")
        self.search("step4of0")
        self.assertEqual(self.count("main .thread"), 1)
        self.assertEqual(self.browser.complaints(), [])
        self.assertEqual(set(self.browser.requested()), {url})


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
