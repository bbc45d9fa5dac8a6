"""`--debuginfod` with a real server on the loopback interface: it finds a stripped library's lines by build id.

Reports keep sixteen bytes of an id. Of a longer one, which is the usual, the rest comes from the file as it was shipped.

  debuginfod_test.py ORU_REPORT
"""
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.error
import urllib.request

ORU_REPORT = os.path.abspath(sys.argv[1])
START = 0x7f0000000000
DIRECT = urllib.request.build_opener(urllib.request.ProxyHandler({}))


def run(*command, env=None):
    done = subprocess.run(command, capture_output=True, text=True, timeout=100, check=False, env=env)
    assert done.returncode == 0, (done.returncode, done.stderr)
    return done.stdout


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Debuginfod(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.served, self.shipped = (os.path.join(self.folder, name) for name in ("served", "shipped"))
        os.mkdir(self.served)
        os.mkdir(self.shipped)
        self.port = free_port()

    def build(self, id_style):
        """The server has the library, the user a stripped copy."""
        source, library = os.path.join(self.folder, "engine.c"), os.path.join(self.served, "libx.so")
        with open(source, "w", encoding="utf-8") as file:
            file.write("static __attribute__((noinline)) int Hidden(volatile int* p) {\n  return *p = 1;\n}\n"
                       "int Shown(volatile int* p) { return Hidden(p) + 1; }\n")
        run("clang", "-g", "-O1", "-shared", "-fPIC", f"-Wl,--build-id={id_style}", source, "-o", library)
        run("strip", library, "-o", os.path.join(self.shipped, "libx.so"))
        self.address = int(re.search(r"([0-9a-f]+) t Hidden", run("nm", library)).group(1), 16)
        self.id = re.search(r"Build ID: ([0-9a-f]+)", run("readelf", "-n", library)).group(1)
        self.serve()

    def serve(self):
        log = os.path.join(self.folder, "server.log")
        with open(log, "w", encoding="utf-8") as output:
            # Without DEBUGINFOD_URLS it asks no other server for what it lacks.
            environment = {name: value for name, value in os.environ.items() if name != "DEBUGINFOD_URLS"}
            server = subprocess.Popen(["debuginfod", "-v", "-d", os.path.join(self.folder, "index"), "-p", str(self.port),
                                       "-c", "1", "-F", self.served], stdout=output, stderr=output, env=environment)
        self.addCleanup(server.wait)
        self.addCleanup(server.terminate)
        # Until it has read the folder.
        deadline = time.monotonic() + 60
        while True:
            self.assertIsNone(server.poll(), f"the server ended, see {log}")
            self.assertLess(time.monotonic(), deadline, "the server never knew the library")
            try:
                DIRECT.open(f"http://127.0.0.1:{self.port}/buildid/{self.id}/debuginfo", timeout=10).close()
                return
            except (urllib.error.URLError, OSError):
                time.sleep(0.05)

    def report(self, build_id):
        path = os.path.join(self.folder, "report.log")
        with open(path, "w", encoding="utf-8") as file:
            file.write("Harware Model:     x86_64\nProcess:           h\nCrash Thread:      1\n\nCrash Thread Backtrace:\n"
                       f"/gone/libx.so(+0x1) [{hex(START + self.address)}]\n\nAll Thread Backtrace:\n\n\nBinary Images:\n"
                       f"{hex(START):>18} - {hex(START + 0xffff):>18}  libx.so arm64  <{build_id[:32]}> /gone/libx.so\n"
                       "\nUserCustomInfo:\n\n")
        return path

    def show(self, *options, build_id=None):
        environment = dict(os.environ, HOME=self.folder, DEBUGINFOD_CACHE_PATH=os.path.join(self.folder, "cache"),
                           DEBUGINFOD_URLS=f"http://127.0.0.1:{self.port}", no_proxy="127.0.0.1", DEBUGINFOD_TIMEOUT="60")
        return run(ORU_REPORT, "show", *options, self.report(build_id or self.id), env=environment)

    def test_lines_come_from_the_server_for_a_file_as_shipped(self):
        self.build("sha1")
        self.assertNotIn("Hidden", self.show("--symbols", self.shipped))
        text = self.show("--debuginfod", "--symbols", self.shipped)
        self.assertIn("Hidden", text)
        self.assertRegex(text, r"engine\.c:\d")
        self.assertIn("(lines from debuginfod)", text)

    def test_an_id_that_reports_keep_whole_is_enough(self):
        self.build("md5")
        text = self.show("--debuginfod")
        self.assertIn("Hidden", text)
        self.assertRegex(text, r"engine\.c:\d")

    def test_the_server_is_not_asked_without_the_option(self):
        self.build("md5")
        text = self.show("--symbols", self.shipped)
        self.assertNotIn("Hidden", text)
        self.assertFalse(os.path.exists(os.path.join(self.folder, "cache")))

    def test_a_build_that_the_server_does_not_know_is_missing(self):
        self.build("md5")
        text = self.show("--debuginfod", build_id="0123456789abcdef" * 2)
        self.assertNotIn("Hidden", text)
        self.assertIn("(missing)", text)

    def test_what_is_no_id_is_never_asked_for(self):
        self.build("md5")
        for strange in ("../" * 10 + "ab", "0123456789ABCDEF" * 2, "0123456789abcde/" * 2, "0123456789abcdef"):
            self.show("--debuginfod", build_id=strange)
            self.assertFalse(os.path.exists(os.path.join(self.folder, "cache")), strange)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
