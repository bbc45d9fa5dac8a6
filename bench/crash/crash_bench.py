"""Whole crashes, from the fault to the end of the process, and cold call stacks, beside peers.

  crash_bench.py BUILD_FOLDER --json FILE [--runs N] [--quick]

BUILD_FOLDER is bench/crash of the build. Every side is a program of its own; they take turns, so that what
else the machine does falls on all alike. The file has the form of Google Benchmark's.

A crash is timed by the driver: from the moment that the program writes just before its fault until the driver
has collected the ended process. The side "uninstalled" is the same program and libraries without a handler: that
much the system needs by itself. "none" has not even the libraries. A report counts only when it has a block for
every thread. gdb attaches to the same program and writes the traces of all its threads; its whole run counts.
"""

import argparse
import json
import os
import pathlib
import resource
import shutil
import signal
import statistics
import struct
import subprocess
import sys
import tempfile
import time

THREADS = (1, 10, 100, 1000)
LARGE_THREADS = 10
# One thread's stack is all that these write.
ONE_THREAD_SIDES = ("glog", "backward")
STACK_SIDES = ("oru", "dladdr", "absl", "backward", "boost")
GDB = ("gdb", "-batch", "-nx", "-ex", "set debuginfod enabled off", "-ex", "thread apply all bt")


class Failure(Exception):
    pass


class CrashBench:
    def __init__(self, folder, runs, quick):
        self.folder = folder
        self.runs = runs
        self.threads = THREADS[:3] if quick else THREADS
        self.scratch = pathlib.Path(tempfile.mkdtemp(prefix="oru_crash_bench_"))
        self.times = {}

    def add(self, name, seconds):
        self.times.setdefault(name, []).append(seconds)

    def host(self, side, threads, deed, large):
        command = [self.folder / f"crash_host_{side}", self.scratch, str(threads), deed]
        if large:
            command.append(self.folder / "images")
        return subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)

    def crash_once(self, side, threads, large):
        process = self.host(side, threads, "crash", large)
        told = process.stdout.read(8)
        process.wait()
        end = time.clock_gettime_ns(time.CLOCK_MONOTONIC)
        process.stdout.close()
        if len(told) != 8 or process.returncode != -signal.SIGSEGV:
            raise Failure(f"{side} with {threads} threads ended with {process.returncode}")
        if side.startswith("oru"):
            self.check_report(threads)
            self.check_companions(int(side == "oru_companion"))
        return (end - struct.unpack("q", told)[0]) / 1e9

    def check_report(self, threads):
        reports = list(self.scratch.glob("**/Crash_*.log"))
        if len(reports) != 1:
            raise Failure(f"{len(reports)} reports instead of one")
        text = reports[0].read_text(errors="replace")
        blocks = sum(line.startswith("Thread ") and line.endswith(":") for line in text.splitlines())
        if blocks != threads or "OruRTCBenchCrash" not in text:
            raise Failure(f"the report has {blocks} threads of {threads}")
        reports[0].unlink()

    def check_companions(self, wanted):
        companions = list(self.scratch.glob("**/Crash_*.json"))
        if len(companions) != wanted:
            raise Failure(f"{len(companions)} companions instead of {wanted}")
        for companion in companions:
            if not companion.read_bytes().endswith(b'{"type":"end"}\n'):
                raise Failure("the companion is not whole")
            companion.unlink()

    def gdb_once(self, threads, large):
        process = self.host("none", threads, "wait", large)
        try:
            process.stdout.read(8)
            start = time.monotonic()
            done = subprocess.run(GDB + ("-p", str(process.pid)), stdin=subprocess.DEVNULL,
                                  stdout=subprocess.PIPE, stderr=subprocess.DEVNULL)
            seconds = time.monotonic() - start
            if done.returncode != 0 or done.stdout.count(b"\nThread ") < threads:
                raise Failure("gdb did not trace all threads")
            return seconds
        finally:
            process.kill()
            process.wait()
            process.stdout.close()

    def round(self, threads, large, first, number):
        variant = f"threads:{threads}" + ("/images:300" if large else "")
        sides = ["oru", "uninstalled", "none"]
        if threads == 1:
            sides += ONE_THREAD_SIDES
        for side in sides:
            seconds = self.crash_once(side, threads, large)
            if not first:
                self.add(f"crash_to_end/{side}/{variant}", seconds)
        seconds = self.crash_once("oru_companion", threads, large)
        if not first:
            self.add(f"crash_to_end_with_companion/oru/{variant}", seconds)
        if number % 4 == 0:  # it is slow enough to be steady
            self.add(f"crash_to_end/gdb/{variant}", self.gdb_once(threads, large))

    def stacks(self):
        for _ in range(self.runs):
            for side in STACK_SIDES:
                output = subprocess.run([self.folder / f"stack_host_{side}"], stdout=subprocess.PIPE, check=True)
                cold, again, _ = output.stdout.split()
                self.add(f"own_stack_frame/{side}/cold", float(cold) / 1e9)
                self.add(f"own_stack_frame/{side}/again", float(again) / 1e9)

    def run(self):
        for threads, large in [(count, False) for count in self.threads] + [(LARGE_THREADS, True)]:
            say(f"crash with {threads} threads" + (", 300 images, 200,000 symbols in one" if large else ""))
            # The first round warms the page cache.
            for number in range(self.runs + 1):
                self.round(threads, large, first=number == 0, number=number)
        say("cold call stacks")
        self.stacks()

    def json(self):
        rows = []
        for name, seconds in self.times.items():
            for value in seconds:
                rows.append({"name": name + "/real_time", "run_type": "iteration", "real_time": value * 1e9,
                             "cpu_time": value * 1e9, "time_unit": "ns"})
        return {"benchmarks": rows}


def say(text):
    print(text, file=sys.stderr, flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--json", required=True, type=pathlib.Path)
    parser.add_argument("--runs", type=int, default=15)
    parser.add_argument("--quick", action="store_true", help="at most 100 threads")
    arguments = parser.parse_args()
    # Crashes leave no core files.
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    bench = CrashBench(arguments.folder, arguments.runs, arguments.quick)
    try:
        bench.run()
    except Failure as failure:
        sys.exit(f"crash_bench: {failure}")
    finally:
        shutil.rmtree(bench.scratch)
    arguments.json.write_text(json.dumps(bench.json(), indent=1))
    for name, seconds in sorted(bench.times.items()):
        median = statistics.median(seconds)
        print(f"{name:45} {median * 1e6:12.1f} us  least {min(seconds) * 1e6:12.1f} us")


if __name__ == "__main__":
    main()
