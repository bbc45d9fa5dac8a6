"""Every script answers --help, and refuses what it does not know with one clear sentence, at once.

  scripts_test.py SOURCE_FOLDER
"""
import os
import re
import subprocess
import sys
import unittest

ROOT = os.path.abspath(sys.argv[1])
SCRIPTS = sorted(os.listdir(os.path.join(ROOT, "scripts")))
# Options that take a value.
VALUED = {"bench": ["--compare", "--out", "--only"], "coverage": ["--below"],
          "crash-matrix": ["--random", "--seed", "--preset"], "crash-soak": ["--minutes", "--seed", "--preset"], "fuzz": ["--seconds"], "test": ["--only"],
          "valgrind": ["--preset"]}


def run(script, *arguments):
    # From another folder: a script finds its place by itself.
    return subprocess.run([os.path.join(ROOT, "scripts", script), *arguments], cwd="/", stdin=subprocess.DEVNULL,
                          capture_output=True, text=True, timeout=20, check=False)


class Scripts(unittest.TestCase):
    def test_all_are_there_and_may_be_run(self):
        self.assertGreaterEqual(len(SCRIPTS), 8)
        for script in SCRIPTS:
            self.assertTrue(os.access(os.path.join(ROOT, "scripts", script), os.X_OK), script)

    def test_those_for_a_mac_use_nothing_that_its_shell_and_tools_lack(self):
        # bash 3.2 and BSD's tools.
        newer = [r"\bmapfile\b", r"\breadarray\b", r"\bcoproc\b", r"declare -A", r"local -n", r"\$\{\w+(,|\^)", r"&>>", r"\|&",
                 r"\bwait -n", r"exec \{\w+\}", r"\brealpath\b", r"readlink -f", r"\bnproc\b", r"sed -i", r"grep -\w*P", r"-printf",
                 r"stat -c", r"date (-d|--)", r"\btimeout \d", r"xargs .*-r\b", r"sort -V", r"cp -\w*a", r"\bsetsid\b", r"mktemp --"]
        for script in ("scripts/demo", "scripts/install-deps", "scripts/mac-check", "scripts/format", "scripts/symbols",
                       "cmake/npm-ci"):
            with open(os.path.join(ROOT, script), encoding="utf-8") as stream:
                text = stream.read()
            for construct in newer:
                self.assertIsNone(re.search(construct, text), f"{script}: {construct}")

    def test_all_others_say_at_once_that_they_are_for_linux(self):
        for script in set(SCRIPTS) - {"demo", "install-deps", "mac-check", "format", "symbols"}:
            with open(os.path.join(ROOT, "scripts", script), encoding="utf-8") as stream:
                self.assertIn(f'{script}: this is for Linux; on a Mac use scripts/mac-check', stream.read())

    def test_help_tells_what_it_does_and_how_it_is_called(self):
        for script in SCRIPTS:
            for option in ("--help", "-h"):
                result = run(script, option)
                lines = result.stdout.splitlines()
                self.assertEqual((result.returncode, result.stderr), (0, ""), script)
                self.assertGreater(len(lines), 2, script)
                self.assertRegex(lines[0], r"^[A-Z].*\w", script)
                self.assertIn(f"  scripts/{script} ", result.stdout)
                self.assertFalse([line for line in lines if line.startswith(("#", "set "))], script)

    def test_help_names_every_option(self):
        for script in SCRIPTS:
            text = run(script, "--help").stdout
            for option in VALUED.get(script, []):
                self.assertIn(option, text)

    def check_refusal(self, script, result):
        self.assertEqual((result.returncode, result.stdout), (2, ""), script)
        self.assertRegex(result.stderr, rf"^{script}: .+\(try --help\)\n$")

    def test_unknown_options_are_refused(self):
        for script in SCRIPTS:
            result = run(script, "--no-such-option")
            self.check_refusal(script, result)
            self.assertIn("'--no-such-option'", result.stderr)

    def test_missing_values_are_refused(self):
        for script, options in VALUED.items():
            for option in options:
                result = run(script, option)
                self.check_refusal(script, result)
                self.assertIn(option, result.stderr)

    def test_unknown_values_are_refused(self):
        self.check_refusal("test", run("test", "--only", "breakfast"))
        self.check_refusal("bench", run("bench", "--only", "breakfast"))
        self.check_refusal("bench", run("bench", "--compare", "/no/such/results.json"))
        self.check_refusal("fuzz", run("fuzz", "--seconds", "soon"))
        self.check_refusal("install-deps", run("install-deps", "breakfast"))
        self.check_refusal("valgrind", run("valgrind", "--preset", "asan"))
        self.check_refusal("valgrind", run("valgrind", "one", "two"))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
