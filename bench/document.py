"""Puts the results of several runs into docs/performance.md: tables, plots and where they come from.

  document.py RESULTS.json... --growth GROWTH.json

Writes docs/performance.json (of every row the median of the runs' medians), docs/growth.json, the parts of
docs/performance.md between its marks, and docs/images.
"""

import argparse
import io
import pathlib
import statistics
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
DOCS = HERE.parent / "docs"
sys.path.insert(0, str(HERE))

from report import print_report  # noqa: E402
from results import Results  # noqa: E402


def merged(runs):
    last = runs[-1]
    for key, row in last.rows.items():
        row.median = statistics.median(run.rows[key].median for run in runs if key in run.rows)
        row.least = min(run.rows[key].least for run in runs if key in run.rows)
    last.about["runs"] = len(runs)
    last.about["seconds"] = sum(run.about["seconds"] for run in runs)
    last.about["load before"] = runs[0].about["load before"]
    return last


def facts(about):
    return (f"`{about['command']}` on {about['processor']}, {about['memory']} of memory, {about['system']};\n"
            f"{about['time']}, commit {about['commit']}; {about['runs']} runs, {about['seconds']} seconds in all, of every\n"
            f"row the median of the runs' medians. Load before: {about['load before']}, after: {about['load after']}.\n")


def between_marks(text, name, content):
    start, end = f"<!-- {name} -->\n", f"<!-- end of {name} -->\n"
    head, rest = text.split(start)
    return head + start + content + end + rest.split(end)[1]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("results", nargs="+", type=pathlib.Path)
    parser.add_argument("--growth", required=True, type=pathlib.Path)
    arguments = parser.parse_args()
    results = merged([Results.read(path) for path in arguments.results])
    results.write(DOCS / "performance.json")
    curves = arguments.growth.read_text(encoding="utf-8")
    (DOCS / "growth.json").write_text(curves, encoding="utf-8")
    table = io.StringIO()
    print_report(results, markdown=True, file=table)
    growth = subprocess.run([sys.executable, HERE / "growth.py", "--markdown", DOCS / "growth.json"],
                            stdout=subprocess.PIPE, text=True, check=False).stdout
    page = DOCS / "performance.md"
    text = between_marks(page.read_text(encoding="utf-8"), "results", facts(results.about) + "\n" + table.getvalue())
    page.write_text(between_marks(text, "growth", growth), encoding="utf-8")
    subprocess.run([sys.executable, HERE / "plot.py", DOCS / "performance.json", DOCS / "images", DOCS / "growth.json"],
                   check=True)


if __name__ == "__main__":
    main()
