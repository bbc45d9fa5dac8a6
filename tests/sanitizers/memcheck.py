"""Runs the unit tests of a build under valgrind's memcheck, each in a process of its own.

  memcheck.py BUILD_FOLDER [PATTERN] [--jobs N]

A test passes when it passes as it does without valgrind, loses no memory and makes no error. Errors are also looked for in
the processes that it forks, leaks are not: a child has the memory of threads that it does not have. Programs that a test
starts run without valgrind. Logs are left in BUILD_FOLDER/memcheck.
"""
import argparse
import concurrent.futures
import fnmatch
import json
import os
import re
import shutil
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
SUPPRESSIONS = os.path.join(HERE, "valgrind.supp")
LEFT_OUT = os.path.join(HERE, "valgrind_left_out.txt")
# Ten times the bound of a test without valgrind.
SLOWER = 10
ERROR_EXIT = 99

VALGRIND = ["valgrind", "--tool=memcheck", f"--error-exitcode={ERROR_EXIT}", "--leak-check=full",
            "--show-leak-kinds=definite,indirect", "--errors-for-leak-kinds=none", "--num-callers=40", "--fair-sched=yes",
            "--max-threads=2000", "--trace-children=no", f"--suppressions={SUPPRESSIONS}"]


def read_left_out():
    """Pairs of a pattern of test names and the reason."""
    pairs = []
    with open(LEFT_OUT, encoding="utf-8") as lines:
        for line in lines:
            if line.strip() and not line.startswith("#"):
                pattern, reason = line.split(None, 1)
                pairs.append((pattern, reason.strip()))
    return pairs


def unit_tests(build):
    """Those tests of the build that are programs of GoogleTest, labelled "long" ones excepted."""
    listed = subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"], capture_output=True, check=True)
    for test in json.loads(listed.stdout)["tests"]:
        properties = {entry["name"]: entry["value"] for entry in test["properties"]}
        is_unit = any(argument.startswith("--gtest_filter=") for argument in test.get("command", []))
        if is_unit and "long" not in properties.get("LABELS", []):
            yield {"name": test["name"], "command": test["command"], "timeout": properties.get("TIMEOUT", 60) * SLOWER,
                   "folder": properties.get("WORKING_DIRECTORY", build)}


def count_findings(log):
    """Errors of all processes and blocks lost by the test's own one; None without any process."""
    own = re.search(r"^==(\d+)== Command:", log, re.MULTILINE)
    if not own:
        return None
    errors = re.findall(r"^==\d+== ERROR SUMMARY: (\d+) errors", log, re.MULTILINE)
    lost = re.findall(rf"^=={own[1]}== .* lost in loss record ", log, re.MULTILINE)
    return sum(map(int, errors)) + len(lost)


def run(test, folder, number):
    """What is wrong with the test, or None."""
    base = os.path.join(folder, f"{number:04d}-{re.sub(r'[^A-Za-z0-9_.]', '_', test['name'])[:80]}")
    command = [*VALGRIND, f"--log-file={base}.log", *test["command"]]
    # Tests in full size would take days.
    environment = {name: value for name, value in os.environ.items() if name != "ORU_TEST_LONG"}
    try:
        done = subprocess.run(command, cwd=test["folder"], env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, timeout=test["timeout"], check=False)
    except subprocess.TimeoutExpired as expired:
        save(base, expired.stdout or b"")
        return f"took more than {test['timeout']:.0f} s"
    save(base, done.stdout)
    with open(f"{base}.log", encoding="utf-8", errors="replace") as log:
        findings = count_findings(log.read())
    if findings is None:
        return f"valgrind did not run ({base}.out)"
    if findings > 0:
        return f"{findings} findings ({base}.log)"
    if done.returncode != 0:
        return f"the test failed ({base}.out)"
    return "was skipped" if b"[  SKIPPED ]" in done.stdout else None


def save(base, output):
    with open(f"{base}.out", "wb") as file:
        file.write(output)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build")
    parser.add_argument("pattern", nargs="?", default="*")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()
    build = os.path.abspath(options.build)
    folder = os.path.join(build, "memcheck")
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)

    left_out = read_left_out()
    wanted = [test for test in unit_tests(build) if fnmatch.fnmatchcase(test["name"], options.pattern)]
    tests = [test for test in wanted if not any(fnmatch.fnmatchcase(test["name"], entry[0]) for entry in left_out)]
    failed = 0
    started = time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
        results = pool.map(lambda pair: run(pair[1], folder, pair[0]), enumerate(tests, 1))
        for number, (test, wrong) in enumerate(zip(tests, results), 1):
            if wrong:
                failed += 1
                print(f"{test['name']}: {wrong}", flush=True)
            if sys.stderr.isatty():
                print(f"\rvalgrind: {number} of {len(tests)} tests", end="", file=sys.stderr)
    print(f"{len(wanted) - len(tests)} left out, {time.monotonic() - started:.0f} s")
    print(f"{len(tests) - failed} passed, {failed} failed")
    return 1 if failed or not tests else 0


if __name__ == "__main__":
    sys.exit(main())
