"""Reports of a Mac are shown with functions, files and lines from Mach-O files and .dSYM bundles, on any system.

  macho_symbols_test.py ORU_REPORT
"""
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ORU_REPORT = os.path.abspath(sys.argv[1])

SOURCE = """namespace sample {
static inline __attribute__((always_inline)) int Inner(volatile int* place) {
  return *place = 7;
}
struct Engine { __attribute__((noinline)) int Join(volatile int* place); };
int Engine::Join(volatile int* place) {
  return Inner(place) + 1;
}
}
extern "C" int OruEntry(volatile int* place) { return sample::Engine().Join(place) * 3; }
"""


def tool(name):
    found = shutil.which(name) or next(iter(sorted(glob.glob("/usr/lib/llvm-*/bin/" + name), reverse=True)), None)
    assert found, name + " is missing; run scripts/install-deps test"
    return found


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True, timeout=60).stdout


class MachO(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp()
        cls.built = {arch: cls.build(arch) for arch in ("x86_64", "arm64")}

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    @classmethod
    def build(cls, arch):
        def path(name):
            return os.path.join(cls.folder, arch + "-" + name)

        with open(path("engine.cc"), "w", encoding="utf-8") as file:
            file.write(SOURCE)
        triple = {"x86_64": "x86_64-apple-macosx10.12", "arm64": "arm64-apple-macosx11.0"}[arch]
        version = triple.rsplit("macosx", maxsplit=1)[1]
        run("clang++", "-target", triple, "-g", "-O1", "-c", path("engine.cc"), "-o", path("engine.o"))
        library = path("OruRTCSdk")
        run(tool("ld64.lld"), "-dylib", "-arch", arch, "-platform_version", "macos", version, version, "-undefined",
            "dynamic_lookup", "-install_name", "/opt/OruRTCSdk", path("engine.o"), "-o", library)
        bundle = os.path.join(cls.folder, arch, "symbols", "OruRTCSdk.dSYM")
        run(tool("dsymutil"), library, "-o", bundle)
        stripped = path("stripped")
        run(tool("llvm-strip"), "-S", "-o", stripped, library)
        return {"library": library, "bundle": bundle, "stripped": stripped, "folder": os.path.dirname(bundle)}

    def uuid_of(self, library):
        text = run(tool("llvm-objdump"), "--macho", "--private-headers", library)
        return re.search(r"uuid ([0-9A-F-]{36})", text).group(1).replace("-", "").lower()

    def address_of(self, library, name):
        return int(re.search(rf"^([0-9a-f]+) T _{name}$", run(tool("llvm-nm"), library), re.M).group(1), 16)

    def report(self, arch, name="_ZN6sample6Engine4JoinEPVi", path="/nowhere/OruRTCSdk"):
        library = self.built[arch]["library"]
        start = 0x100000000
        inside = start + self.address_of(library, name)
        text = ("Harware Model:     Macmini8,1\nProcess:           Host\nPath:              /tmp\nCode Type:         x86_64\n"
                "Date/Time:         2024-03-05 07:08:09 123\nCrash Thread:      775\n\nCrash Thread Backtrace:\n"
                f"0   OruRTCSdk                           0x{inside + 4:016x} guess + 9000\n"
                f"1   OruRTCSdk                           0x{inside + 1:016x} guess + 9000\n"
                "\nAll Thread Backtrace:\n\n\nBinary Images:\n"
                f"{hex(start):>18} - {hex(start + 0xfff):>18}  OruRTCSdk arm64  <{self.uuid_of(library)}> {path}\n"
                "\nUserCustomInfo:\n\n")
        report = os.path.join(self.folder, arch + ".log")
        with open(report, "w", encoding="utf-8") as file:
            file.write(text)
        return report

    def check_lines(self, text):
        self.assertIn("sample::Engine::Join(int volatile*)", text)
        self.assertRegex(text, r"engine\.cc:[67]\b")
        self.assertNotIn("guess", text)

    def test_a_bundle_gives_functions_files_and_lines(self):
        for arch, built in self.built.items():
            for symbols in (built["bundle"], built["folder"]):
                text = run(ORU_REPORT, "show", "--symbols", symbols, self.report(arch))
                self.check_lines(text)
                self.assertIn("lines from " + built["bundle"], text)

    def test_inlined_functions_are_shown(self):
        built = self.built["x86_64"]
        text = run(ORU_REPORT, "show", "--symbols", built["bundle"], self.report("x86_64"))
        self.assertIn("sample::Inner(int volatile*)  (inlined)", text)
        self.assertIn("engine.cc:3", text)

    def test_a_relative_path_will_do(self):
        built = self.built["arm64"]
        done = subprocess.run([ORU_REPORT, "show", "--symbols", "symbols", self.report("arm64")], check=True, text=True,
                              capture_output=True, cwd=os.path.dirname(built["folder"]))
        self.check_lines(done.stdout)

    def test_the_slice_of_a_universal_file_is_taken(self):
        whole = os.path.join(self.folder, "universal")
        parts = [glob.glob(built["bundle"] + "/Contents/Resources/DWARF/*")[0] for built in self.built.values()]
        run(tool("llvm-lipo"), "-create", *parts, "-output", whole)
        for arch in self.built:
            self.check_lines(run(ORU_REPORT, "show", "--symbols", whole, self.report(arch)))

    def test_a_file_without_debug_information_gives_names(self):
        built = self.built["x86_64"]
        text = run(ORU_REPORT, "show", self.report("x86_64", path=built["stripped"]))
        self.assertIn("sample::Engine::Join(int volatile*)", text)
        self.assertIn("names from " + built["stripped"], text)

    def test_another_build_is_named_with_both_ids(self):
        report = self.report("x86_64", path=self.built["arm64"]["library"])
        text = run(ORU_REPORT, "show", report)
        self.assertIn("other build: " + self.built["arm64"]["library"] + " is " + self.uuid_of(self.built["arm64"]["library"]),
                      text)
        self.assertIn(self.uuid_of(self.built["x86_64"]["library"]), text)
        self.assertIn("guess + 9000", text)

    def test_damaged_files_do_no_harm(self):
        path = glob.glob(self.built["x86_64"]["bundle"] + "/Contents/Resources/DWARF/*")[0]
        with open(path, "rb") as file:
            whole = file.read()
        damaged = os.path.join(self.folder, "damaged")
        for at in range(32, len(whole), max(1, len(whole) // 60)):
            for data in (whole[:at], whole[:at] + b"\xff" * 64 + whole[at + 64:]):
                with open(damaged, "wb") as file:
                    file.write(data)
                run(ORU_REPORT, "show", "--symbols", damaged, self.report("x86_64"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
