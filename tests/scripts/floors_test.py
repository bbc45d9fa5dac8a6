"""The reader of includes finds what it is there to find.

  floors_test.py SOURCE_FOLDER
"""
import os
import subprocess
import sys
import tempfile
import unittest

ROOT = os.path.abspath(sys.argv[1])
FLOORS = os.path.join(ROOT, "cmake", "floors.py")
RTC = "media_core/common/webrtc/rtc_base/"
DYING = "media_core/biz_engine/crash_handler/dying/"


def run(*arguments):
    return subprocess.run([sys.executable, FLOORS, *arguments], cwd="/", stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, timeout=60, check=False)


class Floors(unittest.TestCase):
    def tree(self, files):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        for name, included in files.items():
            path = os.path.join(folder.name, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as stream:
                stream.writelines(f'#include "{other}"\n' for other in included)
        return folder.name

    def complaints(self, files):
        """Of a tree of {file: what it includes}; its picture is drawn."""
        result = run("--draw", "--root", self.tree(files))
        lines = result.stderr.splitlines()
        self.assertEqual(result.returncode, 1 if lines else 0)
        return lines

    def test_this_tree_stands(self):
        result = run()
        self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_includes_downward_and_beside_are_no_complaint(self):
        self.assertEqual(self.complaints({"helper/main.cc": ["utils/a.h", "helper/b.h"], "helper/b.h": [],
                                          "utils/a.h": [RTC + "checks.h", "missing.h"], RTC + "checks.h": []}), [])

    def test_a_circle_between_two_headers_is_one_sentence(self):
        self.assertEqual(self.complaints({"helper/a.h": ["helper/b.h"], "helper/b.h": ["helper/a.h"]}),
                         ["floors: a circle of includes: helper/a -> helper/b -> helper/a"])

    def test_a_circle_of_three_through_a_platform_source_is_one_sentence(self):
        self.assertEqual(self.complaints({"helper/a.h": [], "helper/a_linux_x86_64.cc": ["helper/a.h", "helper/b.h"],
                                          "helper/b.h": [], "helper/b_mach.cc": ["helper/c.h"], "helper/c.h": ["helper/a.h"]}),
                         ["floors: a circle of includes: helper/a -> helper/b -> helper/c -> helper/a"])

    def test_a_header_and_its_sources_are_one_file(self):
        self.assertEqual(self.complaints({"helper/a.h": [], "helper/a.cc": ["helper/a.h"], "helper/a_mac.mm": ["helper/a.h"]}), [])

    def test_an_include_upward_is_one_sentence(self):
        self.assertEqual(self.complaints({RTC + "checks.cc": [RTC + "logging.h"], RTC + "logging.h": []}),
                         [f"floors: {RTC}checks.cc (Ground) includes {RTC}logging.h of a floor above (Logging)"])
        self.assertEqual(self.complaints({"utils/a.cc": [DYING + "crash_state.h"], DYING + "crash_state.h": []}),
                         [f"floors: utils/a.cc (Utilities) includes {DYING}crash_state.h of a floor above (Crash capture)"])

    def test_a_file_without_a_floor_is_one_sentence(self):
        self.assertEqual(self.complaints({"media_core/new.cc": []}),
                         ["floors: media_core/new.cc is on no floor: give it one in cmake/floors.py"])

    def test_a_picture_out_of_date_is_one_sentence(self):
        root = self.tree({"helper/main.cc": ["utils/a.h"], "utils/a.h": []})
        self.assertEqual(run("--draw", "--root", root).returncode, 0)
        self.assertEqual(run("--root", root).returncode, 0)
        os.truncate(os.path.join(root, "helper/main.cc"), 0)
        result = run("--root", root)
        self.assertEqual((result.returncode, result.stderr),
                         (1, "floors: docs/images/floors.svg is out of date: cmake/floors.py --draw makes it anew\n"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
