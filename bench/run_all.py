"""Runs the benchmarks of a build and prints their table. scripts/bench calls it.

  run_all.py BUILD_FOLDER --out FILE [--compare OLD.json] [--only NAME] [--quick]
"""

import argparse
import json
import os
import pathlib
import platform
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE))

from report import print_report  # noqa: E402
from results import Results, rows_of  # noqa: E402


def google(program):
    def command(build, json_file, quick):
        # Repetitions of all benchmarks of a program are mixed, so that what else the machine does falls on all.
        return [build / "bench" / program, f"--benchmark_out={json_file}", "--benchmark_out_format=json",
                "--benchmark_enable_random_interleaving=true", f"--benchmark_repetitions={3 if quick else 9}",
                f"--benchmark_min_time={0.02 if quick else 0.05}"]
    return command


def crash(build, json_file, quick):
    command = [sys.executable, HERE / "crash" / "crash_bench.py", build / "bench" / "crash", "--json", json_file]
    return command + (["--runs", "4", "--quick"] if quick else ["--runs", "21"])


def startup(build, json_file, quick):
    return [build / "bench/startup/startup_bench", "--runs", "40" if quick else "400", "--json", json_file]


def upload(build, json_file, quick):
    size, rounds = ("50", "3") if quick else ("500", "3")
    return [build / "bench/upload/upload_bench", "--megabytes", size, "--files", size, "--rounds", rounds,
            "--json", json_file]


PROGRAMS = {
    "logging": google("logging_bench"),
    "tracing": google("tracing_bench"),
    "sync": google("sync_bench"),
    "strings": google("string_encode/string_encode_bench"),
    "crash": crash,
    "startup": startup,
    "upload": upload,
}


def first_line(path, start):
    for line in pathlib.Path(path).read_text(encoding="utf-8").splitlines():
        if line.startswith(start):
            return line.split(":", 1)[1].strip()
    return "unknown"


def memory():
    size = first_line("/proc/meminfo", "MemTotal").split()[0]
    return f"{round(int(size) / 1e6)} GB" if size.isdigit() else "unknown"


def system():
    # Of the kernel only what it is, without what its builder added.
    kernel = ".".join(platform.release().split(".")[:2])
    return f"{platform.freedesktop_os_release().get('PRETTY_NAME')}, Linux {kernel}"


def commit():
    done = subprocess.run(["git", "-C", HERE, "rev-parse", "--short", "HEAD"], stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, text=True, check=False)
    return done.stdout.strip() or "unknown"


def about(command):
    return {
        "command": command,
        "time": time.strftime("%Y-%m-%d %H:%M UTC", time.gmtime()),
        "commit": commit(),
        "processor": f"{os.cpu_count()} x {first_line('/proc/cpuinfo', 'model name')}",
        "memory": memory(),
        "system": system(),
        "load before": " ".join(f"{load:.1f}" for load in os.getloadavg()),
    }


def run_program(name, build, folder, quick):
    json_file = folder / f"{name}.json"
    log = folder / f"{name}.log"
    with log.open("w") as file:
        status = subprocess.run(PROGRAMS[name](build, json_file, quick), stdin=subprocess.DEVNULL, stdout=file,
                                stderr=subprocess.STDOUT, check=False).returncode
    if status != 0:
        sys.stderr.write(log.read_text(errors="replace")[-4000:])
        sys.exit(f"bench: {name} failed with {status}")
    return json.loads(json_file.read_text())["benchmarks"]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--out", required=True, type=pathlib.Path)
    parser.add_argument("--compare", type=pathlib.Path)
    parser.add_argument("--only", action="append", choices=list(PROGRAMS))
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--command", default="bench/run_all.py")
    arguments = parser.parse_args()
    old = Results.read(arguments.compare) if arguments.compare else None
    facts = about(arguments.command)
    wanted = arguments.only or list(PROGRAMS)
    start = time.monotonic()
    entries = []
    with tempfile.TemporaryDirectory(prefix="oru_bench_") as folder:
        for number, name in enumerate(wanted, 1):
            print(f"[{time.monotonic() - start:4.0f}s] {number}/{len(wanted)} {name}", file=sys.stderr, flush=True)
            entries += run_program(name, arguments.build, pathlib.Path(folder), arguments.quick)
    facts["load after"] = " ".join(f"{load:.1f}" for load in os.getloadavg())
    facts["seconds"] = round(time.monotonic() - start)
    results = Results(rows_of(entries), facts)
    arguments.out.parent.mkdir(parents=True, exist_ok=True)
    results.write(arguments.out)
    print_report(results, old)
    print(f"Written to {arguments.out}")


if __name__ == "__main__":
    main()
