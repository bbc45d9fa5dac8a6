"""How cost grows with size: a table of sizes and times with the slope of each. plot.py draws it.

  growth.py BUILD_FOLDER --out FILE [--only SUBJECT]... [--quick]
  growth.py --markdown FILE

A slope of 1 is a cost in proportion to the size, 2 its square. It is that of the line through the three largest
sizes, each a few times the one before, on logarithmic scales; what does not grow shows in the smaller ones. Fails
when one is above 1.15. Every time is the least of several rounds: what else the machine does only adds.
"""

import argparse
import json
import math
import os
import pathlib
import subprocess
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path[:0] = [str(HERE), str(HERE / "crash"), str(HERE.parent / "tests" / "oru_report")]

import fleet  # noqa: E402
from crash_bench import CrashBench  # noqa: E402
from results import OWN_SIDE, rows_of  # noqa: E402

STEEPEST = 1.15
TITLES = {
    "threads": "crash to end of process, threads",
    "images": "crash to end of process, images",
    "log_line_bytes": "log line to a callback, bytes",
    "trace_events": "capture from start to stop, events",
    "pieces": "split, pieces",
    "upload_files": "upload of 20 MB, files",
    "group_files": "oru-report group, reports",
    "show_threads": "oru-report show, threads of a report",
}


def least(rounds, measure):
    return min(measure() for _ in range(rounds))


def timed(command):
    start = time.monotonic()
    subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, check=True)
    return time.monotonic() - start


def crash_threads(build, _, quick):
    crash = CrashBench(build / "bench" / "crash", 1, quick)
    for threads in (1, 12, 50, 190, 750) + (() if quick else (3000,)):
        yield "threads", threads, least(3 if quick else 7, lambda: crash.crash_once("oru", threads, False))


def crash_images(build, folder, quick):
    for images in (8, 32, 125, 500) + (() if quick else (2000,)):
        there = folder / f"images_{images}"
        there.mkdir()
        subprocess.run([sys.executable, HERE / "crash" / "make_images.py", there, "--images", str(images),
                        "--symbols", "1000"], check=True)
        hosts = folder / f"hosts_{images}"
        hosts.mkdir()
        (hosts / "crash_host_oru").symlink_to(build / "bench" / "crash" / "crash_host_oru")
        (hosts / "images").symlink_to(there)
        crash = CrashBench(hosts, 1, quick)
        yield "images", images, least(3 if quick else 7, lambda: crash.crash_once("oru", 10, True))


def inside(build, _, quick):
    command = [build / "bench" / "growth_bench"] + (["--quick"] if quick else [])
    done = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True)
    for line in done.stdout.splitlines():
        subject, size, seconds = line.split()
        yield subject, int(size), float(seconds)


def upload(build, folder, quick):
    for files in (20, 80, 320, 1250, 5000) + (() if quick else (20000,)):
        result = folder / "upload.json"
        subprocess.run([build / "bench" / "upload" / "upload_bench", "--megabytes", "20", "--files", str(files),
                        "--rounds", "1" if quick else "3", "--scratch", folder, "--json", result],
                       stdout=subprocess.DEVNULL, check=True)
        rows = json.loads(result.read_text())["benchmarks"]
        yield "upload_files", files, min(row.least for row in rows_of(rows) if row.side == OWN_SIDE) / 1e9


def read_reports(build, folder, quick):
    tool = build / "oru_report" / "oru-report"
    for files in (20, 80, 320, 1250, 5000) + (() if quick else (20000,)):
        there = folder / f"reports_{files}"
        there.mkdir()
        for number in range(files):
            (there / fleet.name_of(number)).write_text(fleet.report_of(number))
        yield "group_files", files, least(3, lambda: timed([tool, "group", there]))
    for threads in (10, 40, 160, 625, 2500) + (() if quick else (10000,)):
        report = folder / fleet.name_of(threads)
        report.write_text(fleet.report_of(threads, threads=threads))
        yield "show_threads", threads, least(5, lambda: timed([tool, "show", report]))


SUBJECTS = {"threads": crash_threads, "images": crash_images, "inside": inside, "upload": upload,
            "reports": read_reports}


def slope(points):
    """Of the line through the three largest, by least squares."""
    logs = [(math.log(size), math.log(seconds)) for size, seconds in sorted(points)[-3:]]
    x_mean = sum(x for x, _ in logs) / len(logs)
    y_mean = sum(y for _, y in logs) / len(logs)
    return sum((x - x_mean) * (y - y_mean) for x, y in logs) / sum((x - x_mean) ** 2 for x, _ in logs)


def time_text(seconds):
    for unit, size in (("s", 1), ("ms", 1e-3), ("us", 1e-6)):
        if seconds >= size:
            return f"{seconds / size:.3g} {unit}"
    return f"{seconds / 1e-9:.3g} ns"


def table(curves):
    yield "| what grows | time at each size | slope | at most |"
    yield "|---|---|---|---|"
    for subject, points in curves.items():
        times = ", ".join(f"{size:,}: {time_text(seconds)}" for size, seconds in points)
        found = slope(points)
        yield f"| {TITLES[subject]} | {times} | {found:.2f}{'' if found <= STEEPEST else ' STEEP'} | {STEEPEST} |"


def measure(arguments):
    curves = {}
    with tempfile.TemporaryDirectory(prefix="oru_growth_", dir="/var/tmp") as folder:
        for name in arguments.only or SUBJECTS:
            there = pathlib.Path(folder) / name
            there.mkdir()
            for subject, size, seconds in SUBJECTS[name](arguments.build.resolve(), there, arguments.quick):
                print(f"{TITLES[subject]} {size:,}: {time_text(seconds)}", file=sys.stderr, flush=True)
                curves.setdefault(subject, []).append([size, seconds])
    arguments.out.parent.mkdir(parents=True, exist_ok=True)
    load = " ".join(f"{value:.1f}" for value in os.getloadavg())
    facts = {"time": time.strftime("%Y-%m-%d %H:%M UTC", time.gmtime()), "load after": load}
    arguments.out.write_text(json.dumps({"about": facts, "curves": curves}, indent=1) + "\n")
    return curves


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", nargs="?", type=pathlib.Path)
    parser.add_argument("--out", type=pathlib.Path)
    parser.add_argument("--only", action="append", choices=list(SUBJECTS))
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("--markdown", type=pathlib.Path)
    arguments = parser.parse_args()
    shown = arguments.markdown
    if shown is None and (arguments.build is None or arguments.out is None):
        parser.error("a build folder and --out, or --markdown")
    curves = measure(arguments) if shown is None else json.loads(shown.read_text(encoding="utf-8"))["curves"]
    print("\n".join(table(curves)))
    steep = [subject for subject, points in curves.items() if slope(points) > STEEPEST]
    if steep:
        sys.exit("growth: steeper than in proportion: " + ", ".join(TITLES[subject] for subject in steep))


if __name__ == "__main__":
    main()
