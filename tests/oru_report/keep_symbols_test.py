"""`scripts/symbols` keeps what a stripped program's reports need, and the page and the terminal show its lines.

  keep_symbols_test.py SOURCE_FOLDER ORU_REPORT
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SYMBOLS = os.path.join(os.path.abspath(sys.argv[1]), "scripts", "symbols")
ORU_REPORT = os.path.abspath(sys.argv[2])


def run(*command, status=0):
    done = subprocess.run(command, capture_output=True, text=True, timeout=60, check=False)
    assert done.returncode == status, (done.returncode, done.stderr)
    return done.stdout


class KeepSymbols(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.tree = os.path.join(self.folder, "tree")
        os.makedirs(os.path.join(self.tree, "lib"))
        self.library = os.path.join(self.tree, "lib", "libx.so")
        source = os.path.join(self.folder, "engine.c")
        with open(source, "w", encoding="utf-8") as file:
            file.write("static __attribute__((noinline)) int Hidden(volatile int* p) {\n  return *p = 1;\n}\n"
                       "int Shown(volatile int* p) { return Hidden(p) + 1; }\n")
        run("clang", "-g", "-O1", "-shared", "-fPIC", "-Wl,--build-id=sha1", source, "-o", self.library)
        self.address = int(re.search(r"([0-9a-f]+) t Hidden", run("nm", self.library)).group(1), 16)
        self.id = re.search(r"Build ID: ([0-9a-f]+)", run("readelf", "-n", self.library)).group(1)

    def report(self):
        start = 0x7f0000000000
        text = ("Harware Model:     x86_64\nProcess:           h\nCrash Thread:      1\n\nCrash Thread Backtrace:\n"
                f"/gone/libx.so(+0x1) [{hex(start + self.address)}]\n\nAll Thread Backtrace:\n\n\nBinary Images:\n"
                f"{hex(start):>18} - {hex(start + 0xffff):>18}  libx.so arm64  <{self.id[:32]}> /gone/libx.so\n\nUserCustomInfo:\n\n")
        path = os.path.join(self.folder, "report.log")
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def test_a_stripped_programs_report_has_its_lines(self):
        out = os.path.join(self.folder, "kept")
        self.assertIn("kept those of 1 files", run(SYMBOLS, "--output", out, "--strip", self.tree))
        self.assertTrue(os.path.exists(f"{out}/.build-id/{self.id[:2]}/{self.id[2:]}.debug"))
        self.assertNotIn(".debug_info", run("readelf", "-S", "--wide", self.library))
        text = run(ORU_REPORT, "show", "--symbols", out, self.report())
        self.assertIn("Hidden", text)
        self.assertIn("engine.c:", text)
        # By whatever way, absolute or relative.
        tree = os.path.join(out, ".build-id")
        for way in (["--debug-dir", out], ["--symbols", tree], ["--symbols", f"{tree}/{self.id[:2]}/{self.id[2:]}.debug"]):
            self.assertIn("engine.c:", run(ORU_REPORT, "show", *way, self.report()), way)
            relative = [way[0], os.path.relpath(way[1], self.folder)]
            done = subprocess.run([ORU_REPORT, "show", *relative, self.report()], check=True, text=True, capture_output=True,
                                  cwd=self.folder)
            self.assertIn("engine.c:", done.stdout, relative)
        # One line an image: found, or not.
        self.assertRegex(text, rf"{self.id[:32]}  /gone/libx\.so  \(lines from {re.escape(out)}/")
        self.assertIn("/gone/libx.so  (missing)", run(ORU_REPORT, "show", self.report()))

    def test_a_file_of_very_many_sections_is_kept(self):
        source = os.path.join(self.folder, "wide.c")
        with open(source, "w", encoding="utf-8") as file:
            # More of a listing than a pipe holds.
            file.write("".join(f'__attribute__((section("a_section_{i:05}"))) int wide{i} = {i};\n' for i in range(2000)))
        run("clang", "-g", "-shared", "-fPIC", "-Wl,--build-id=sha1", source, "-o", os.path.join(self.tree, "lib", "wide.so"))
        self.assertIn("kept those of 2 files", run(SYMBOLS, self.tree))

    def test_another_release_is_kept_beside_it(self):
        run(SYMBOLS, self.tree)
        run(SYMBOLS, self.tree)
        self.assertEqual(len(os.listdir(self.tree + "-symbols/.build-id")), 1)

    def test_a_tree_without_any_is_told(self):
        empty = os.path.join(self.folder, "empty")
        os.makedirs(empty)
        run(SYMBOLS, empty, status=1)
        run(SYMBOLS, os.path.join(self.folder, "absent"), status=1)
        run(SYMBOLS, "--wrong", status=2)
        run(SYMBOLS, status=2)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
