"""The manual pages: well formed, and complete beside the sources.

  man_test.py SOURCE_FOLDER ORU_REPORT
"""
import os
import re
import subprocess
import sys
import unittest

ROOT, ORU_REPORT = sys.argv[1:3]
PAGES = ["varnook", "oru-report"]


def page_path(name):
    return os.path.join(ROOT, "docs", "man", name + ".1")


def man(name, *options):
    environment = dict(os.environ, LC_ALL="C.UTF-8", MANROFFSEQ="", MANWIDTH="200", MANPAGER="cat", MAN_KEEP_FORMATTING="")
    return subprocess.run(["man", *options, "-E", "UTF-8", "-l", page_path(name)], env=environment, timeout=60,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, check=True, text=True)


def words_of(text):
    return re.sub(r"\s+", " ", text)


def rendered(name):
    # Without the overstriking of bold and underlined characters.
    return words_of(re.sub(r".\x08|\x1b\[[0-9;]*m", "", man(name).stdout))


def source(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        return file.read()


class ManPages(unittest.TestCase):
    def test_no_warnings(self):
        for name in PAGES:
            self.assertEqual(man(name, "--warnings", "-Tutf8", "-Z").stderr, "", name)

    def test_name_lines_can_be_indexed(self):
        for name in PAGES:
            text = subprocess.run(["lexgrog", page_path(name)], check=True, capture_output=True, text=True).stdout
            self.assertRegex(text, rf'"{name} - \w.+"')

    def test_every_log_line_of_the_command(self):
        page = rendered("varnook")
        texts = []
        for path in ("helper/main.mm", "helper/upload_bridge.mm"):
            texts += re.findall(r'NSLog\(@"((?:[^"\\]|\\.)*)"', source(path))
        self.assertGreaterEqual(len(texts), 13)
        for text in texts:
            # Whatever is filled in is a word or two of the page.
            pattern = ".{1,12}".join(re.escape(words_of(part.replace('\\"', '"')).strip())
                                     for part in re.split(r"%(?:llu|[d@])", text))
            pattern = pattern.replace('"\\', '["\u201c\u201d]\\')
            self.assertTrue(re.search(pattern, page), f"{text!r} is not in varnook(1)")

    def test_every_key_and_action_of_the_command(self):
        page = rendered("varnook")
        code = source("helper/command_line.cc")
        keys = re.findall(r'\{"(\w+)", +&CommandLine', code) + re.findall(r'strcmp\(name, "(\w+)"\)', code)
        self.assertEqual(len(keys), 13)
        comment = re.search(r'// ("pid".*?) are known', code, re.S).group(1)
        for key in keys + re.findall(r'"(\w+)"', comment):
            self.assertRegex(page, rf"(?<!\w)[-\u2010\u2212]{key}(?!\w)")
        for action in re.findall(r'k\w+Action = "(\w+)"', code):
            self.assertIn(action, page)

    def test_every_option_of_the_report_command(self):
        page = rendered("oru-report")
        text = subprocess.run([ORU_REPORT, "--help"], check=True, capture_output=True, text=True).stdout
        options = set(re.findall(r"--[a-z-]+", text))
        self.assertGreaterEqual(len(options), 7)
        for option in options:
            self.assertRegex(page, re.sub("-", r"[-\\u2010\\u2212]", option) + r"(?![a-z-])")
        for command in re.findall(r"oru-report (\w+)", text):
            self.assertIn(f" {command} ", page)

    def test_the_report_command_documents_no_option_that_it_lacks(self):
        text = subprocess.run([ORU_REPORT, "--help"], check=True, capture_output=True, text=True).stdout
        for option in set(re.findall(r"--[a-z][a-z-]+", rendered("oru-report").replace("\u2010", "-"))):
            self.assertIn(option, text)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
