#!/usr/bin/env python3
"""Crashes the host program in random ways for a time, and checks every ending and report.

Each child is one run of host_app with a random kind of crash, thread, number of waiting threads and
place (inside or outside the SDK). It counts as wrong when it does not end within 10 seconds, ends by
another signal or status than its kind, leaves no report where one is due (or one where none is), or a
report that is cut. Prints a table and exits with 1 when anything was wrong.
"""
import argparse
import collections
import concurrent.futures
import os
import pathlib
import random
import signal
import subprocess
import sys
import tempfile
import time

# Kind: (signal that ends the process, exit status when none does).
KINDS = {
    "segv": (signal.SIGSEGV, None),
    "wild": (signal.SIGSEGV, None),
    "abort": (signal.SIGABRT, None),
    "fpe": (signal.SIGFPE, None),
    "ill": (signal.SIGILL, None),
    "bus": (signal.SIGBUS, None),
    "trap": (None, 0),
    "pipe": (None, 0),
    "sys": (None, 0),
    "stack-overflow": (signal.SIGSEGV, None),
    "exception": (None, 1),
    "cpp-throw": (signal.SIGABRT, None),
    "new-failure": (signal.SIGABRT, None),
    "twice": (signal.SIGSEGV, None),
    "many-threads": (signal.SIGSEGV, None),
}
LIMIT_S = 10
# The machine may be busy: a child is given up after this, and is wrong after LIMIT_S.
GIVE_UP_S = 30

FIRST = "Harware Model:     "
SECTIONS = ["\nCrash Thread Backtrace:\n", "\nAll Thread Backtrace:\n", "\nBinary Images:\n", "\nUserCustomInfo:\nsoak\n"]


def check_report(text):
    """What is wrong with a report, or None."""
    if not text.startswith(FIRST):
        return "report begins wrongly"
    place = 0
    for section in SECTIONS:
        place = text.find(section, place)
        if place < 0:
            return "report lacks " + section.strip()
    if not text.endswith(SECTIONS[-1]):
        return "report goes on behind its end"
    return None


def run_child(host_app, kind, options, expect_report):
    """Runs one child; returns what is wrong, or None, and its time."""
    with tempfile.TemporaryDirectory() as home:
        dumps = os.path.join(home, "dumps")
        command = [host_app, "--dump-dir", dumps, "--extra-info", "soak", "--crash", kind] + options
        started = time.monotonic()
        try:
            done = subprocess.run(command, env={"HOME": home, "PATH": os.environ["PATH"]},
                                  stdin=subprocess.DEVNULL, capture_output=True, timeout=GIVE_UP_S, check=False)
        except subprocess.TimeoutExpired:
            return "hang", GIVE_UP_S
        elapsed = time.monotonic() - started
        if elapsed > LIMIT_S:
            return "late", elapsed
        wanted = KINDS[kind]
        status = -wanted[0] if wanted[0] else wanted[1]
        if done.returncode != status:
            return f"ending {done.returncode} instead of {status}", elapsed
        files = [path for path in pathlib.Path(dumps).rglob("*") if path.is_file()]
        if len(files) != (1 if expect_report else 0):
            return f"{len(files)} files", elapsed
        if files:
            return check_report(files[0].read_text(encoding="utf-8")), elapsed
        return None, elapsed


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    parser.add_argument("host_app")
    parser.add_argument("--minutes", type=float, default=30)
    parser.add_argument("--seed", type=int, default=None)
    arguments = parser.parse_args()
    seed = arguments.seed if arguments.seed is not None else random.SystemRandom().randrange(2**32)
    chooser = random.Random(seed)
    print(f"seed {seed}, {arguments.minutes:g} minutes", flush=True)

    count = collections.Counter()
    slowest = collections.Counter()
    wrong = []
    end = time.monotonic() + arguments.minutes * 60
    report_at = time.monotonic() + 60
    workers = os.cpu_count() or 1
    with concurrent.futures.ThreadPoolExecutor(workers) as pool:
        running = {}
        while running or time.monotonic() < end:
            while time.monotonic() < end and len(running) < workers:
                kind = chooser.choice(sorted(KINDS))
                inside = chooser.random() < 0.85
                options = [] if inside else ["--outside-sdk"]
                if chooser.random() < 0.3:
                    options.append("--worker")
                options += ["--idle-threads", str(chooser.choice([0, 0, 1, 10, 100]))]
                options += ["--crash-threads", str(chooser.choice([2, 5, 20, 50]))]
                future = pool.submit(run_child, arguments.host_app, kind, options, inside)
                running[future] = (kind, options)
            done, _ = concurrent.futures.wait(running, return_when=concurrent.futures.FIRST_COMPLETED)
            for future in done:
                kind, options = running.pop(future)
                problem, elapsed = future.result()
                count[kind] += 1
                slowest[kind] = max(slowest[kind], elapsed)
                if problem:
                    wrong.append((kind, options, problem))
                    print(f"WRONG: {kind} {' '.join(options)}: {problem}", flush=True)
            if time.monotonic() > report_at:
                report_at += 60
                print(f"{sum(count.values())} children, {len(wrong)} wrong", flush=True)

    print(f"{'kind':<16}{'children':>9}{'wrong':>7}{'slowest':>10}")
    for kind in sorted(KINDS):
        bad = sum(1 for entry in wrong if entry[0] == kind)
        print(f"{kind:<16}{count[kind]:>9}{bad:>7}{slowest[kind]:>8.2f} s")
    hangs = sum(1 for entry in wrong if entry[2] in ("hang", "late"))
    endings = sum(1 for entry in wrong if entry[2].startswith("ending"))
    reports = len(wrong) - hangs - endings
    print(f"{sum(count.values())} children: {hangs} hangs, {endings} wrong endings, {reports} wrong or missing reports")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
