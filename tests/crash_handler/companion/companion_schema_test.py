"""Companions of crashed processes are as their schema says, and oru-report shows them.

  companion_schema_test.py CRASH_SCENARIO_CHILD ORU_REPORT DOCS
"""
import glob
import json
import os
import subprocess
import sys
import tempfile
import unittest

CHILD, ORU_REPORT, DOCS = map(os.path.abspath, sys.argv[1:4])
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../oru_report"))
import json_schema  # noqa: E402

SCENARIOS = ("WriteToNull", "ReadNull", "ExecuteData", "DivideByZero", "RaiseSegv", "Abort", "ThrowUncaught", "ThrowANumber",
             "ThrowHostileWords", "RaiseUncaught", "NotesAreMany", "CallbackNeverReturns", "NewInALimit",
             "WriteToANonCanonicalAddress", "LogSourceIsForgotten")


def schema(name):
    with open(os.path.join(DOCS, name), encoding="utf-8") as file:
        return json.load(file)


def crash(folder, scenario, *options):
    environment = dict(os.environ, HOME=folder, SECRET_OF_THE_ENVIRONMENT="hunter2hunter2")
    subprocess.run([CHILD, scenario, os.path.join(folder, "dumps"), "400", *options], capture_output=True, timeout=60,
                   check=False, cwd=folder, env=environment)
    return glob.glob(os.path.join(folder, "dumps/*/*.json"))


def show(*arguments):
    done = subprocess.run([ORU_REPORT, *arguments], capture_output=True, timeout=60, check=False)
    return done.stdout.decode()


class Companions(unittest.TestCase):
    def setUp(self):
        self.temp = tempfile.TemporaryDirectory()
        self.addCleanup(self.temp.cleanup)

    def companion(self, scenario, *options):
        folder = os.path.join(self.temp.name, scenario)
        os.makedirs(folder)
        files = crash(folder, scenario, *options)
        self.assertEqual(len(files), 1, scenario)
        return files[0]

    def check(self, path):
        with open(path, "rb") as file:
            text = file.read()
        self.assertTrue(text.endswith(b"\n"))
        for line in text.decode().splitlines():
            self.assertEqual(json_schema.complaints(json.loads(line), schema("crash-companion.schema.json")), [], line)
        return text

    def test_every_line_is_as_the_schema_says(self):
        for scenario in SCENARIOS:
            with self.subTest(scenario=scenario):
                text = self.check(self.companion(scenario, "--companions", "--worker"))
                self.assertNotIn(b"hunter2", text)

    def test_a_crash_of_the_host_is_too(self):
        path = self.companion("WriteToNull", "--host-companions", "--outside-sdk")
        self.assertNotIn(b"crash_scenario_child", self.check(path))

    def test_the_schema_refuses_what_it_does_not_describe(self):
        wanted = schema("crash-companion.schema.json")
        self.assertEqual(json_schema.complaints({"type": "end"}, wanted), [])
        for wrong in ({"type": "end", "more": 1}, {"type": "other"}, {"type": "note", "key": "k"}, {"type": "log", "number": "1", "text": ""}):
            self.assertEqual(len(json_schema.complaints(wrong, wanted)), 1, wrong)

    def test_oru_report_shows_it_in_all_three_forms(self):
        path = self.companion("WriteToNull", "--companions", "--worker")
        report = path[:-len("json")] + "log"
        text = show("show", "--no-source", report)
        for part in ("SIGSEGV SEGV_MAPERR, write at 0x0", "a line of the log", "scenario: a note of the host", "worker  (crashed)"):
            self.assertIn(part, text)
            self.assertIn(part, show("html", "--no-source", report))
        value = json.loads(show("json", "--no-source", report))
        self.assertEqual(json_schema.complaints(value, schema("oru-report.schema.json")), [])
        self.assertEqual(value["companion"]["gaps"], [])
        with open(path, encoding="utf-8") as file:
            self.assertEqual(value["companion"]["lines"], [json.loads(line) for line in file])
        os.unlink(path)
        self.assertNotIn("Companion", show("show", "--no-source", report))
        self.assertNotIn("companion", json.loads(show("json", "--no-source", report)))

    def test_a_hostile_one_is_shown_by_number_and_does_no_harm(self):
        path = self.companion("WriteToNull", "--companions")
        report = path[:-len("json")] + "log"
        with open(path, "rb") as file:
            whole = file.read()
        hostile = (b'{"type":"note","key":"\\u001b[31m","value":"\x1b]0;x\x07 \xe2\x80\xae <script>"}\n', b"\xff\x00\n" * 1000,
                   b'{"type":"x"' + b',"n":{"m":1}' * 20 + b"}\n", b'{"type":"registers","values":{}}\n', b"{" * 1000000 + b"\n")
        for extra in hostile:
            with open(path, "wb") as file:
                file.write(extra + whole[:len(whole) // 2] + extra)
            text, page = show("show", "--no-source", report), show("html", "--no-source", report)
            for shown in (text, page):
                self.assertNotIn("\x1b", shown)
                self.assertNotIn("\u202e", shown)
            self.assertNotIn("<script>\"", page)
            self.assertNotIn("\u202e <script>", page)
            value = json.loads(show("json", "--no-source", report))
            self.assertEqual(json_schema.complaints(value, schema("oru-report.schema.json")), [])
            self.assertNotEqual(value["companion"]["gaps"], [])

    def test_that_of_another_crash_is_told(self):
        path = self.companion("WriteToNull", "--companions", "--worker")
        with open(path, "rb") as file:
            text = file.read()
        with open(path, "wb") as file:
            file.write(text.replace(b'"thread":', b'"thread":9'))
        self.assertIn("Not whole: the companion is that of another crash", show("show", path[:-len("json")] + "log"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
