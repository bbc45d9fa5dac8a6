"""Reports made to do harm: `oru-report` reads a folder of them within bounds and opens nothing that it should not.

  hostile_test.py ORU_REPORT
"""
import gzip
import os
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import unittest

ORU_REPORT = os.path.abspath(sys.argv[1])
COUNT = 500
# Of one run over the whole folder.
SECONDS = 120
MEMORY = 1 << 30

HEADER = ("Harware Model:     x86_64\nProcess:           host\nPath:              /tmp\nCode Type:         x86_64\n"
          "Date/Time:         2024-03-05 07:08:09 123\nCrash Thread:      7\n\n")


def image(path, number=0, uuid=None):
    start = 0x7f0000000000 + number * 0x10000
    return f"{hex(start):>18} - {hex(start + 0xffff):>18}  {path.split('/')[-1]} arm64  <{uuid or f'{number:032x}'}> {path}\n"


def report(frames="", threads="", images="", words=""):
    return (HEADER + "Crash Thread Backtrace:\n" + frames + "\nAll Thread Backtrace:\n" + threads + "\n\nBinary Images:\n" +
            images + "\nUserCustomInfo:\n" + words + "\n")


def frame(number):
    return f"libx.so                         {hex(0x7f0000000010 + number * 0x10000)} name{number} + 4\n"


def long_name(count):
    """A mangled name that stands for a text of twice the length with every part."""
    digits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ"
    return "_Z1fSt4pairIiiE" + "".join(f"S_IS{digits[i]}_S{digits[i]}_E" for i in range(count))


class Hostile(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp()
        cls.trap = os.path.join(cls.folder, "trap")
        os.makedirs(cls.trap)
        cls.fifo = os.path.join(cls.trap, "fifo")
        os.mkfifo(cls.fifo)
        cls.mem_link = os.path.join(cls.trap, "mem")
        os.symlink("/proc/self/mem", cls.mem_link)
        cls.packed = os.path.join(cls.trap, "image.gz")
        with gzip.open(cls.packed, "wb", compresslevel=1) as file:
            file.write(b"\0" * (64 << 20))
        cls.reports = os.path.join(cls.folder, "reports")
        os.makedirs(cls.reports)
        for number in range(COUNT):
            cls.write(number)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    @classmethod
    def write(cls, number):
        paths = [cls.fifo, cls.mem_link, cls.packed, "/proc/self/mem", "/dev/zero", "/dev/full", "/dev/tty", "/dev/random",
                 "reports/x.so", "./x.so", "../trap/fifo", "/proc/kcore", "/sys/power/state", "/proc/self/fd/0", "/proc/1/mem",
                 "/etc/../proc/self/mem", "/", "", "/proc/self/cwd/reports", "\x1b[2J\u202e/x", "/etc/shadow/x"]
        kind = number % 10
        text = report()
        if kind == 0:
            path = paths[number // 10 % len(paths)]
            text = report(frame(0), "Thread 7 :\n" + frame(0) + "\n", image(path))
        elif kind == 1:
            # One program under many names.
            text = report(frame(0), "Thread 7 :\n" + "".join(frame(i) for i in range(400)) + "\n",
                          "".join(image(ORU_REPORT, i) for i in range(400)))
        elif kind == 2:
            text = report("".join(f"libx.so    0x7f0000000010 {long_name(i % 35)} + 4\n" for i in range(200)))
        elif kind == 3:
            text = report("x" * 100000 + "\n", "Fail to get " * 20000)
        elif kind == 4:
            text = report("", "".join(f"Thread {i} \u202e\x9b\x1b]0;x\x07:\n\n" for i in range(5000)))
        elif kind == 5:
            text = report(words="\x1b[2J\u202egol.exe\x9b31m\u2066" * 200)
        elif kind == 6:
            text = report("".join(f"a(b+0x{i:x}) [0x{i:x}]\n" for i in range(5000)))
        elif kind == 7:
            text = report()[:number * 7 % 400 + 1]
        elif kind == 8:
            packed = gzip.compress((report() + "A" * (32 << 20)).encode(), compresslevel=9) if number == 8 else \
                gzip.compress(report().encode())[:60]
            with open(os.path.join(cls.reports, f"Crash_a_b_Signal_{number}.log.gz"), "wb") as file:
                file.write(packed)
            return
        name = f"Crash_a_b_Signal_{number}.log"
        if kind == 9:
            os.mkfifo(os.path.join(cls.reports, f"Crash_a_b_Signal_{number}.log"))
            return
        with open(os.path.join(cls.reports, name), "w", encoding="utf-8", newline="") as file:
            file.write(text)

    def run_it(self, *arguments, trace=None, memory=MEMORY, status=(0, 1)):
        command = [ORU_REPORT, *arguments]
        if trace is not None:
            command = ["strace", "-f", "-y", "-e", "trace=open,openat,creat,socket,connect", "-o", trace, *command]

        def bounds():
            resource.setrlimit(resource.RLIMIT_AS, (memory, memory))

        done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, stdin=subprocess.DEVNULL,
                              timeout=SECONDS, preexec_fn=None if trace else bounds, cwd=self.folder)
        self.assertIn(done.returncode, status, done.stderr[-2000:])
        return done

    def check_shown(self, data):
        text = data.decode("utf-8")
        self.assertIsNone(re.search("[\x00-\x08\x0b-\x1f\x7f-\x9f\u200e\u200f\u061c\u202a-\u202e\u2066-\u2069]", text))

    def opened(self, trace):
        with open(trace, encoding="utf-8", errors="replace") as file:
            lines = file.read().splitlines()
        self.assertFalse([line for line in lines if "socket(" in line or "connect(" in line])
        paths = []
        for line in lines:
            match = re.search(r'open(?:at)?\((?:[^"]*)"((?:[^"\\]|\\.)*)"', line)
            if match:
                paths.append(match.group(1))
        return paths

    def test_the_whole_folder_is_listed_and_shown_within_bounds(self):
        for command in (["list"], ["list", "--json"], ["show"]):
            done = self.run_it(*command, self.reports)
            self.check_shown(done.stdout)
            self.check_shown(done.stderr)
            self.assertNotIn(b"out of memory", done.stderr)
            self.assertLess(len(done.stdout), 256 << 20)

    def test_nothing_is_opened_that_a_report_names_unless_it_is_a_file_of_its_build(self):
        trace = os.path.join(self.folder, "trace")
        self.run_it("show", self.reports, trace=trace)
        opened = self.opened(trace)
        self.assertGreater(len(opened), 100)
        for path in opened:
            self.assertFalse(path.startswith((self.trap, "/dev/", "/proc/self/mem", "/proc/self/fd", "/proc/kcore",
                                              "/proc/1", "/sys/power")) and path != self.packed, path)
            system = path.startswith(("/lib", "/usr/lib", "/etc/ld.so", "/proc/self/maps", "/usr/share/locale"))
            ours = path.startswith((self.reports, ORU_REPORT)) or path in (self.packed, os.path.realpath(ORU_REPORT))
            self.assertTrue(system or ours, path)
        # 20,000 images have its path; the loader of programs does not come this way.
        self.assertEqual(opened.count(ORU_REPORT), 1)

    def test_an_address_limit_ends_in_a_sentence(self):
        big = os.path.join(self.folder, "big.log")
        with open(big, "w", encoding="utf-8") as file:
            file.write(report("".join(f"lib{i}.so    {hex(0x1000 + i)} name{i} + 4\n" for i in range(1200000))))
        done = self.run_it("show", "--no-source", big, memory=64 << 20, status=(1,))
        self.assertEqual(done.stderr.decode(), "oru-report: out of memory\n")

    def test_error_lines_are_escaped(self):
        done = self.run_it("show", "absent\x1b[2J\u202e.log", status=(1,))
        self.check_shown(done.stderr)
        self.assertIn(b"absent\\x1b[2J\\u202e.log", done.stderr)
        done = self.run_it("show", "--\x1b[2J", status=(2,))
        self.check_shown(done.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
