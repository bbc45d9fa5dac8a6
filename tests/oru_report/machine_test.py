"""`oru-report json`, `group` and `diff` on reports made up here.

  machine_test.py ORU_REPORT SCHEMA
"""
import collections
import fcntl
import gzip
import json
import os
import pty
import re
import struct
import subprocess
import sys
import tempfile
import termios
import unittest
import zipfile

sys.path.insert(0, os.path.dirname(__file__))
import fleet  # noqa: E402
import json_schema  # noqa: E402

ORU_REPORT, SCHEMA = map(os.path.abspath, sys.argv[1:3])
COUNT = 1500


def run(*arguments, status=0, **options):
    done = subprocess.run([ORU_REPORT, *arguments], capture_output=True, timeout=100, check=False, **options)
    assert done.returncode == status, (done.returncode, done.stderr)
    return done


def lines_of(*arguments, **options):
    return [json.loads(line) for line in run(*arguments, **options).stdout.decode().splitlines()]


def on_terminal(columns, *arguments):
    """What a terminal of that width shows of both outputs, and the status."""
    terminal, program_side = pty.openpty()
    fcntl.ioctl(program_side, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
    with subprocess.Popen([ORU_REPORT, *arguments], stdin=subprocess.DEVNULL, stdout=program_side, stderr=program_side) as process:
        os.close(program_side)
        shown = b""
        while True:
            try:
                piece = os.read(terminal, 65536)
            # Linux says so at the end.
            except OSError:
                piece = b""
            if not piece:
                break
            shown += piece
        os.close(terminal)
        return shown.decode(), process.wait(100)


class Machine(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.temp = tempfile.TemporaryDirectory()
        cls.folder = os.path.join(cls.temp.name, "fleet")
        cls.zip = os.path.join(cls.temp.name, "fleet.zip")
        fleet.make(COUNT, cls.folder)
        fleet.make_zip(COUNT, cls.zip)
        with open(SCHEMA, encoding="utf-8") as file:
            cls.schema = json.load(file)

    @classmethod
    def tearDownClass(cls):
        cls.temp.cleanup()

    def write(self, name, text):
        path = os.path.join(self.temp.name, name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)
        return path

    def path_of(self, number):
        return os.path.join(self.folder, fleet.version_of(number), fleet.name_of(number))

    def test_the_schema_refuses_what_it_does_not_describe(self):
        value = lines_of("json", self.path_of(1))[0]
        self.assertEqual(json_schema.complaints(value, self.schema), [])
        self.assertEqual(len(json_schema.complaints(dict(value, more=1), self.schema)), 1)
        self.assertEqual(len(json_schema.complaints(dict(value, words=1), self.schema)), 1)

    def test_json_is_as_described(self):
        whole = fleet.report_of(3)
        odd = whole.replace("worker-1", "w\u202e\x1b").replace("UserCustomInfo:\n", "UserCustomInfo:\n\"\\\x00\u009b")
        for name, text, status in (("whole.log", whole, 0), ("cut.log", whole[:700], 1), ("odd.log", odd, 0),
                                   ("words.log", whole.replace("Crash Thread Backtrace:\n", "Crash Thread Backtrace:\nwords\n"), 0)):
            for value in lines_of("json", self.write(name, text), status=status):
                self.assertEqual(json_schema.complaints(value, self.schema), [], name)
                self.assertEqual(value["whole"], status == 0)

    def test_json_has_what_the_report_has(self):
        value = lines_of("json", "--no-source", self.path_of(3))[0]
        self.assertEqual(value["headline"]["sdk"], fleet.version_of(3))
        self.assertEqual(value["headline"]["session"], "s3")
        self.assertEqual(value["words"], "build 3")
        self.assertEqual(len(value["threads"]), 12)
        self.assertEqual([thread["number"] for thread in value["threads"] if thread["crashed"]], [103])
        frame = value["crash_frames"][1]
        self.assertEqual(frame["mark"], "SDK")
        self.assertEqual(frame["function"], f"OruRTC::Engine::step{fleet.crash_of(3)}of0()")
        self.assertEqual(frame["module"], "libOruRTCEngine.so")
        self.assertEqual(len(frame["build_id"]), 32)
        self.assertEqual(int(frame["offset"], 16) & ~0xff, 0x1000)

    def expected(self):
        return collections.Counter(fleet.crash_of(number) for number in range(COUNT))

    def test_equal_crashes_are_together_whatever_the_build_and_the_machine(self):
        groups = lines_of("group", "--json", self.folder)
        expected = self.expected()
        self.assertEqual(sorted(group["count"] for group in groups), sorted(expected.values()))
        for group in groups:
            crash = int(group["place"].split("step")[1].split("of")[0])
            numbers = [number for number in range(COUNT) if fleet.crash_of(number) == crash]
            self.assertEqual(group["count"], len(numbers))
            self.assertEqual(group["versions"], collections.Counter(map(fleet.version_of, numbers)))
            self.assertEqual(group["apps"], collections.Counter(map(fleet.app_of, numbers)))
            self.assertEqual(group["days"], collections.Counter(map(fleet.day_of, numbers)))
            self.assertEqual(group["last_time"][:10], max(map(fleet.day_of, numbers)))
            self.assertEqual(group["first_time"][:10], min(map(fleet.day_of, numbers)))
            self.assertTrue(os.path.exists(group["example"]))
        counts = [group["count"] for group in groups]
        self.assertEqual(counts, sorted(counts, reverse=True))

    def test_a_fingerprint_is_fixed(self):
        # Tickets hold it: it must not change with the program's versions.
        value = lines_of("json", self.path_of(3))[0]
        self.assertEqual(value["fingerprint"], FINGERPRINT_OF_3)
        deeper = self.write("deeper.log", "".join(
            line * 30 if "of5" in line and "(" in line else line for line in fleet.report_of(3).splitlines(True)))
        self.assertEqual(lines_of("json", deeper)[0]["fingerprint"], FINGERPRINT_OF_3)

    def test_folder_archive_and_packed_files_say_the_same(self):
        wanted = [(group["fingerprint"], group["count"]) for group in lines_of("group", "--json", self.folder)]
        found = [(group["fingerprint"], group["count"]) for group in lines_of("group", "--json", self.zip)]
        self.assertEqual(found, wanted)
        path = self.path_of(5)
        with open(path, "rb") as file:
            packed = gzip.compress(file.read())
        self.assertEqual(lines_of("json", "-", input=packed)[0]["fingerprint"], lines_of("json", path)[0]["fingerprint"])

    def test_an_archive_may_come_from_a_pipe_or_a_redirection(self):
        wanted = [(group["fingerprint"], group["count"]) for group in lines_of("group", "--json", self.zip)]
        with open(self.zip, "rb") as file:
            piped = lines_of("group", "--json", "-", input=file.read())
        with open(self.zip, "rb") as file:
            redirected = lines_of("group", "--json", "-", stdin=file)
        for groups in (piped, redirected):
            self.assertEqual([(group["fingerprint"], group["count"]) for group in groups], wanted)
        self.assertTrue(piped[0]["example"].startswith("-: "), piped[0]["example"])
        fifo = os.path.join(self.temp.name, "fifo")
        os.mkfifo(fifo)
        with subprocess.Popen(["cp", self.zip, fifo]) as writer:
            groups = lines_of("group", "--json", fifo)
            self.assertEqual(writer.wait(), 0)
        self.assertEqual([(group["fingerprint"], group["count"]) for group in groups], wanted)

    def test_every_command_reads_every_kind_of_input(self):
        folder = os.path.join(self.temp.name, "one", "6.1.0")
        os.makedirs(folder)
        text = fleet.report_of(3).encode()
        plain = os.path.join(folder, fleet.name_of(3))
        with open(plain, "wb") as file:
            file.write(text)
        packed = plain + ".gz"
        with gzip.open(packed, "wb") as file:
            file.write(text)
        archive = os.path.join(self.temp.name, "one.zip")
        with zipfile.ZipFile(archive, "w") as file:
            file.writestr("6.1.0/" + fleet.name_of(3), text)
        with open(archive, "rb") as file:
            zipped = file.read()
        for command in (["list"], ["show"], ["html"], ["html", "--group"], ["json"], ["group"]):
            for path, given in ((folder, None), (plain, None), (packed, None), (archive, None), ("-", text),
                                ("-", gzip.compress(text)), ("-", zipped)):
                if path == folder and command == ["html"]:
                    continue
                done = run(*command, path, input=given)
                self.assertIn(b"OruRTC::Engine::step", done.stdout, (command, path))
                self.assertEqual(done.stderr, b"", (command, path))
        for path, given in ((plain, None), (packed, None), (archive, None), ("-", zipped)):
            self.assertIn(b"1 to 1", run("diff", plain, path, input=given).stdout)

    def test_a_damaged_entry_costs_itself_alone(self):
        archive = os.path.join(self.temp.name, "damaged.zip")
        with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as file:
            for number in range(3):
                file.writestr("6.1.0/" + fleet.name_of(number), fleet.report_of(number))
            second = file.infolist()[1]
        with open(archive, "r+b") as file:
            file.seek(second.header_offset + 30 + len(second.filename) + 100)
            file.write(b"\xff" * 200)
            # The method of the third, in its own header and in the directory.
            file.flush()
            with open(archive, "rb") as again:
                directory = again.read()
            name = fleet.name_of(2).encode()
            for at in (directory.find(name) - 6 - 30 + 8, directory.rfind(name) - 6 - 46 + 10):
                file.seek(at)
                file.write(b"\x63")
        done = run("group", archive, status=1)
        self.assertTrue(done.stdout.startswith(b"1 report, "), done.stdout)
        self.assertIn(b"its packed form is damaged", done.stderr)
        self.assertIn(b"packed in an unknown way", done.stderr)

    def test_a_byte_that_changed_in_an_archive_is_told(self):
        archive = os.path.join(self.temp.name, "changed.zip")
        with zipfile.ZipFile(archive, "w", zipfile.ZIP_STORED) as file:
            for number in range(2):
                file.writestr("6.1.0/" + fleet.name_of(number), fleet.report_of(number))
        with open(archive, "rb") as file:
            content = file.read()
        at = content.find(b"Crash Thread Backtrace:") + 30
        with open(archive, "wb") as file:
            file.write(content[:at] + bytes([content[at] ^ 1]) + content[at + 1:])
        done = run("show", archive, status=1)
        self.assertEqual(done.stdout.count(b"Not whole: its bytes are not those that were packed\n"), 1)
        self.assertEqual(done.stdout.count(b"Crashed here"), 2)
        self.assertEqual(done.stderr.count(b"its bytes are not those that were packed"), 1)
        self.assertIn(b"1 of 2 reports is not whole", run("list", archive, status=1).stderr)

    def test_an_empty_archive_has_no_reports(self):
        archive = os.path.join(self.temp.name, "empty.zip")
        with zipfile.ZipFile(archive, "w"):
            pass
        self.assertIn(b"0 reports", run("group", archive).stdout)
        with open(archive, "rb") as file:
            self.assertIn(b"no reports", run("list", "-", input=file.read()).stdout)

    def test_a_report_that_was_cut_anywhere_is_told(self):
        whole = fleet.report_of(3)
        for part in range(1, 50):
            path = self.write("cut.log", whole[:len(whole) * part // 50])
            for command in ("list", "show", "html", "json", "group"):
                done = run(command, path, status=1)
                self.assertRegex(done.stderr.decode(), "^oru-report: [^\\n]*(cut off|not whole)[^\\n]*\\n$", (command, part))
                self.assertNotEqual(done.stdout, b"")

    def test_nothing_to_show_is_told(self):
        empty = os.path.join(self.temp.name, "nothing")
        os.makedirs(empty)
        for command in ("show", "html"):
            done = run(command, empty, status=1)
            self.assertEqual((done.stdout, done.stderr), (b"", b"oru-report: there is no report to show\n"))
            done = run(command, "--app", "nobody", self.path_of(3), status=1)
            self.assertIn(b"no report to show", done.stderr)

    def test_a_page_of_several_tells_which_one(self):
        done = run("html", os.path.join(self.folder, "6.1.0"))
        self.assertIn(b"the page shows the first of", done.stderr)
        self.assertIn(b"--group", done.stderr)

    def test_nothing_is_unpacked_to_disk(self):
        empty = os.path.join(self.temp.name, "empty")
        os.makedirs(empty, exist_ok=True)
        run("group", self.zip, cwd=empty, env=dict(os.environ, TMPDIR=empty))
        self.assertEqual(os.listdir(empty), [])

    def test_memory_does_not_grow_with_the_reports(self):
        def peak(path):
            script = ("import resource, subprocess, sys; subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, check=True); "
                      "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)")
            done = subprocess.run([sys.executable, "-c", script, ORU_REPORT, "group", path], capture_output=True, check=True)
            return int(done.stdout)

        few = os.path.join(self.temp.name, "few.zip")
        fleet.make_zip(100, few)
        # In KiB.
        self.assertLess(peak(self.zip), peak(few) + 8192)

    def test_filters_count_what_they_let_through(self):
        day = fleet.day_of(400)
        for arguments, wanted in ((["--app", "meet"], lambda n: fleet.app_of(n) == "meet"),
                                  (["--sdk", "7.0.0"], lambda n: fleet.version_of(n) == "7.0.0"),
                                  (["--since", day], lambda n: fleet.day_of(n) >= day),
                                  (["--until", day], lambda n: fleet.day_of(n) <= day),
                                  (["--frame", "step4of"], lambda n: fleet.crash_of(n) == 4),
                                  (["--kind", "Exception"], lambda n: False)):
            groups = lines_of("group", "--json", *arguments, self.folder)
            self.assertEqual(sum(group["count"] for group in groups), sum(map(wanted, range(COUNT))), arguments)

    def test_progress_is_shown_on_a_terminal_alone(self):
        shown, status = on_terminal(100, "group", self.folder)
        self.assertEqual(status, 0)
        progress = re.findall(r"\r(\d+) reports", shown)
        self.assertEqual(progress, [str(count) for count in range(500, COUNT + 1, 500)])
        # What stays on the screen is without it.
        self.assertIn("\r\x1b[K", shown)
        self.assertGreater(shown.index(f"{COUNT} reports, "), shown.rindex("\r\x1b[K"))
        self.assertEqual(run("group", self.folder).stderr, b"")

    def test_colours_are_for_terminals_that_want_them(self):
        self.assertIn("\x1b[1;31m", on_terminal(100, "show", "--no-source", self.path_of(3))[0])
        self.assertNotIn("\x1b", on_terminal(100, "show", "--color", "never", self.path_of(3))[0])
        os.environ["NO_COLOR"] = "1"
        try:
            self.assertNotIn("\x1b", on_terminal(100, "show", "--no-source", self.path_of(3))[0])
        finally:
            del os.environ["NO_COLOR"]

    def test_lists_fit_the_terminal(self):
        for columns in (60, 80, 132):
            for command in ("list", "group"):
                shown, status = on_terminal(columns, command, os.path.join(self.folder, "6.1.0"))
                self.assertEqual(status, 0)
                lines = re.sub(r"\r\d+ reports|\r\x1b\[K", "", shown).replace("\r\n", "\n").split("\n")
                self.assertLessEqual(max(map(len, lines)), columns, command)
                # The function's name has room from the usual width on.
                self.assertTrue(columns < 80 or any("step4of0()" in line for line in lines), (columns, command))

    def test_json_with_symbols_is_as_described(self):
        source = self.write("engine.cc", "namespace OruRTC {\nstruct Engine { int Join(volatile int* p); };\n"
                            "static inline __attribute__((always_inline)) int Inner(volatile int* p) { return *p = 7; }\n"
                            "int Engine::Join(volatile int* p) { return Inner(p) + 1; }\n}\n")
        library = os.path.join(self.temp.name, "libengine.so")
        for level, wanted in (("-g", "OruRTC::Engine::Join(int volatile*)"), ("-g1", "OruRTC::Engine::Join(int volatile*)")):
            subprocess.run(["clang++", level, "-O1", "-shared", "-fPIC", "-Wl,--build-id=sha1", source, "-o", library], check=True)
            notes = subprocess.run(["readelf", "-n", library], check=True, capture_output=True, text=True).stdout
            build_id = re.search(r"Build ID: ([0-9a-f]+)", notes).group(1)
            names = subprocess.run(["nm", library], check=True, capture_output=True, text=True).stdout
            offset = int(re.search(r"([0-9a-f]+) T _ZN6OruRTC6Engine4Join", names).group(1), 16)
            start = 0x7f0000000000
            report = self.write("lines.log", (
                "Harware Model:     x86_64\nProcess:           h\nCrash Thread:      1\n\nCrash Thread Backtrace:\n"
                f"/gone/libengine.so(guess+0x900) [{hex(start + offset)}]\n\nAll Thread Backtrace:\n\n\nBinary Images:\n"
                f"{hex(start):>18} - {hex(start + 0xffff):>18}  libengine.so arm64  <{build_id[:32]}> /gone/libengine.so\n"
                "\nUserCustomInfo:\n\n"))
            value = lines_of("json", "--symbols", library, report)[0]
            self.assertEqual(json_schema.complaints(value, self.schema), [])
            frame = value["crash_frames"][0]
            self.assertEqual((frame["function"], frame["file"], frame["line"]), (wanted, source, 4), level)
            self.assertEqual([(inlined["function"].split("(")[0].split("::")[-1], inlined["file"], inlined["line"])
                              for inlined in frame["inlined"]], [("Inner", source, 3)])
            self.assertEqual((frame["module"], frame["build_id"], frame["offset"]), ("libengine.so", build_id[:32], hex(offset)))
            self.assertIn("lines from " + library, value["images"][0]["symbols"])
            page = run("html", "--symbols", library, report).stdout.decode()
            self.assertRegex(page, r"Inner(\(int volatile\*\))? \(inlined\)</code><span class=place>" + re.escape(source) + ":3<")

    def test_group_for_people(self):
        text = run("group", self.folder).stdout.decode()
        self.assertTrue(text.startswith(f"{COUNT} reports, {len(self.expected())} different crashes\n\n"), text[:200])
        self.assertIn("OruRTC::Engine::step4of0()", text)

    def test_diff_of_two_reports(self):
        same = next(n for n in range(4, COUNT) if fleet.crash_of(n) == fleet.crash_of(3) and fleet.version_of(n) != "6.1.0")
        text = run("diff", self.path_of(3), self.path_of(same)).stdout.decode()
        self.assertIn("1 to 1", text.splitlines()[0])
        self.assertIn("- SDK: 6.1.0\n", text)
        self.assertIn(f"  OruRTC::Engine::step{fleet.crash_of(3)}of0()\n", text)
        for sign in "-+":
            self.assertRegex(text, rf"(?m)^\{sign} [0-9a-f]{{32}} /opt/app/app$")
        other = next(n for n in range(COUNT) if fleet.crash_of(n) != fleet.crash_of(3))
        text = run("diff", self.path_of(3), self.path_of(other)).stdout.decode()
        self.assertIn(f"- OruRTC::Engine::step{fleet.crash_of(3)}of0()\n", text)
        self.assertIn(f"+ OruRTC::Engine::step{fleet.crash_of(other)}of0()\n", text)

    def test_diff_of_two_folders(self):
        old, new = (os.path.join(self.folder, version) for version in ("6.1.0", "7.0.0"))
        lines = lines_of("diff", "--json", old, new)
        numbers = range(COUNT)
        for name, version in (("before", "6.1.0"), ("after", "7.0.0")):
            wanted = sum(fleet.version_of(n) == version for n in numbers)
            self.assertEqual(sum(line[name] for line in lines), wanted)

    def test_archives_that_are_none(self):
        bad = self.write("bad.zip", "PK\x03\x04 and no more")
        done = run("group", bad, status=1)
        self.assertIn(b"no zip archive", done.stderr)


FINGERPRINT_OF_3 = "c5aa956ed5fbcb13"

if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
