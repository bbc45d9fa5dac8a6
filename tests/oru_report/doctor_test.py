"""`oru-report doctor` on programs built here: it must say what a crash of them would show.

  doctor_test.py ORU_REPORT
"""
import json
import os
import subprocess
import sys
import tempfile
import unittest

ORU_REPORT = os.path.abspath(sys.argv[1])
SOURCE = """
static __attribute__((noinline)) int Local(volatile int* place) { return *place = 1; }
int OruRTCExported(volatile int* place) { return Local(place) + 1; }
int Plain(volatile int* place) { return OruRTCExported(place) + 2; }
int main(int argc, char** argv) { (void)argv; return Plain(&argc); }
"""


class Doctor(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temp = tempfile.TemporaryDirectory()
        with open(cls.path("a.c"), "w", encoding="utf-8") as file:
            file.write(SOURCE)
        cls.build("exporting", "-rdynamic")
        cls.build("hiding")
        cls.build("stripped", "-s")
        os.makedirs(cls.path("OruRTC"))
        cls.build("OruRTC/hiding")
        subprocess.run(["clang", "-shared", "-fPIC", "-Wl,--build-id", cls.path("a.c"), "-o", cls.path("libOruRTCx.so")], check=True)
        with open(cls.path("b.c"), "w", encoding="utf-8") as file:
            file.write("int Plain(volatile int*); int main(int argc, char** argv) { (void)argv; return Plain(&argc); }\n")
        subprocess.run(["clang", "-Wl,--build-id", cls.path("b.c"), cls.path("libOruRTCx.so"), "-o", cls.path("linked")], check=True)

    @classmethod
    def tearDownClass(cls):
        cls.temp.cleanup()

    @classmethod
    def path(cls, name):
        return os.path.join(cls.temp.name, name)

    @classmethod
    def build(cls, name, *options):
        subprocess.run(["clang", "-O1", "-Wl,--build-id", *options, cls.path("a.c"), "-o", cls.path(name)], check=True)

    def examine(self, name, *options, dump=None):
        done = subprocess.run([ORU_REPORT, "doctor", "--json", "--dump-dir", dump or self.temp.name, *options, self.path(name)],
                              capture_output=True, text=True, timeout=60, check=False)
        found = {one["subject"]: one for one in json.loads(done.stdout)}
        self.assertEqual(done.returncode, 0 if all(one["good"] for one in found.values()) else 1)
        return found

    def test_a_program_that_exports_its_names_is_well(self):
        found = self.examine("exporting", "--function", "OruRTCExported")
        self.assertTrue(all(one["good"] for one in found.values()), found)

    def test_names_of_the_file_count_as_long_as_it_is_not_stripped(self):
        found = self.examine("hiding", "--function", "OruRTCExported")
        self.assertTrue(found["names"]["good"] and found["filter word"]["good"] and found["function"]["good"], found)
        self.assertIn("-rdynamic", found["names"]["text"])
        self.assertNotIn("-rdynamic", self.examine("exporting")["names"]["text"])

    def test_a_stripped_program_that_exports_nothing_is_told_how_to(self):
        found = self.examine("stripped", "--function", "OruRTCExported")
        self.assertFalse(found["names"]["good"])
        self.assertIn("-rdynamic", found["names"]["text"])
        self.assertFalse(found["filter word"]["good"])
        self.assertFalse(found["function"]["good"])
        self.assertIn("its name is not seen", found["function"]["text"])

    def test_a_function_may_follow_the_program(self):
        done = subprocess.run([ORU_REPORT, "doctor", "--json", "--dump-dir", self.temp.name, self.path("exporting"), "OruRTCExported"],
                              capture_output=True, text=True, timeout=60, check=True)
        self.assertIn("would be reported", {one["subject"]: one["text"] for one in json.loads(done.stdout)}["function"])

    def test_descriptors_are_counted(self):
        done = subprocess.run(["sh", "-c", 'ulimit -n 9; exec "$@"', "sh", ORU_REPORT, "doctor", "--json", "--dump-dir", self.temp.name,
                               self.path("exporting")], capture_output=True, text=True, timeout=60, check=False)
        found = {one["subject"]: one for one in json.loads(done.stdout)}
        self.assertFalse(found["descriptors"]["good"])
        self.assertTrue(self.examine("exporting")["descriptors"]["good"])

    def test_a_function_of_another_name_is_not_the_sdks(self):
        for name in ("Plain", "Local"):
            found = self.examine("exporting", "--function", name)
            self.assertFalse(found["function"]["good"])
            self.assertIn("no OruRTC", found["function"]["text"])
        self.assertIn("is called Absent", self.examine("exporting", "--function", "Absent")["function"]["text"])

    def test_the_path_or_a_library_may_have_the_word(self):
        found = self.examine("OruRTC/hiding", "--function", "Local")
        self.assertTrue(found["filter word"]["good"] and found["function"]["good"])
        self.assertIn("libOruRTCx.so", self.examine("linked")["filter word"]["text"])

    def test_the_dump_folder_can_be_written_or_made(self):
        self.assertTrue(self.examine("exporting", dump=self.path("new/deep"))["dump folder"]["good"])
        self.assertFalse(self.examine("exporting", dump=self.path("a.c"))["dump folder"]["good"])
        self.assertFalse(self.examine("exporting", dump=self.path("a.c/deep"))["dump folder"]["good"])

    def test_what_is_no_program(self):
        done = subprocess.run([ORU_REPORT, "doctor", self.path("a.c")], capture_output=True, text=True, check=False)
        self.assertEqual(done.returncode, 1)
        self.assertIn("no program", done.stderr)
        # Nobody writes into it.
        os.mkfifo(self.path("fifo"))
        done = subprocess.run([ORU_REPORT, "doctor", self.path("fifo")], capture_output=True, text=True, timeout=60, check=False)
        self.assertEqual((done.returncode, done.stderr), (1, f"oru-report: {self.path('fifo')}: it is no regular file\n"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
