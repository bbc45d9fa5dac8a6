"""The table of a run, and what changed since another one.

  report.py RESULTS.json [--compare OLD.json] [--markdown]
"""

import argparse
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

import goals  # noqa: E402
from results import OWN_SIDE, Results  # noqa: E402

HEAD = ("operation", "this project", "peers", "physical limit", "ratio", "goal", "met")
# A change below this is more likely the machine's than the code's.
NOTABLE_CHANGE = 0.10


def time_text(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}" if nanoseconds < 100 * size else f"{nanoseconds / size:.0f} {unit}"
    return f"{nanoseconds:.3g} ns"


def value_text(row, unit):
    if unit == "bytes" and row.bytes:
        return f"{row.bytes / row.median:.3g} GB/s"
    if unit == "items":
        return f"{1e3 / row.median:.3g} M/s"
    return time_text(row.median)


def peers_text(line, rows):
    return ", ".join(f"{row.side} {value_text(row, line.unit)}" for row in rows) or "-"


def limit_row(line, results):
    return results.find(*line.limit) if line.limit else None


def limit_text(line, results):
    row = limit_row(line, results)
    return f"{row.side} {value_text(row, line.unit)}" if row else "-"


def verdict(line, own, results):
    if line.goal is None:
        return ""

    def peer(side):
        row = results.find(line.operation, side, line.variant)
        return row.median if row else None

    return "yes" if line.goal.met(own.median, own, peer) else "NO"


def table(results):
    """Rows of texts; lines that were not measured are left out."""
    rows = []
    for line in goals.LINES:
        own = results.rows.get((line.operation, OWN_SIDE, line.variant))
        if own is None:
            continue
        found = [results.find(line.operation, side, line.variant) for side in line.peers]
        peers = [row for row in found if row]
        # Time beside the fastest peer's time: below 1 this project is ahead.
        ratio = f"{own.median / min(row.median for row in peers):.2f}" if peers else "-"
        rows.append((line.title, value_text(own, line.unit), peers_text(line, peers), limit_text(line, results),
                     ratio, line.goal.text if line.goal else "-", verdict(line, own, results)))
    return rows


def print_columns(rows, file):
    widths = [max(len(row[i]) for row in rows) for i in range(len(rows[0]))]
    for row in rows:
        print("  ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip(), file=file)


def print_markdown(rows, file):
    print("| " + " | ".join(rows[0]) + " |", file=file)
    print("|" + "---|" * len(rows[0]), file=file)
    for row in rows[1:]:
        print("| " + " | ".join(row) + " |", file=file)


def name_of(key):
    return "/".join(filter(None, key))


def changes(old, new):
    """Rows of texts, and how many benchmarks of the old run were not measured now."""
    rows = []
    for key, row in new.rows.items():
        before = old.rows.get(key)
        if before is None:
            rows.append((name_of(key), "-", time_text(row.median), "new"))
            continue
        change = row.median / before.median - 1
        if abs(change) >= NOTABLE_CHANGE:
            word = "slower" if change > 0 else "faster"
            rows.append((name_of(key), time_text(before.median), time_text(row.median), f"{change:+.0%} {word}"))
    return rows, len(old.rows.keys() - new.rows.keys())


def print_report(results, old=None, markdown=False, file=sys.stdout):
    rows = table(results)
    if not rows:
        print("nothing of the table was measured", file=file)
    else:
        (print_markdown if markdown else print_columns)([HEAD, *rows], file)
        verdicts = [row[-1] for row in rows]
        print(f"\n{verdicts.count('yes')} goals met, {verdicts.count('NO')} not met. The ratio is this "
              "project's time by the fastest peer's.", file=file)
    if old is not None:
        print_changes(old, results, file)


def print_changes(old, new, file):
    changed, missing = changes(old, new)
    print(f"\nChanges of {NOTABLE_CHANGE:.0%} and more since {old.about.get('time', '?')} "
          f"(commit {old.about.get('commit', '?')}):", file=file)
    if changed:
        print_columns([("benchmark", "before", "now", "change"), *changed], file)
    else:
        print("none", file=file)
    if missing:
        print(f"{missing} benchmarks of that run were not run now", file=file)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("results")
    parser.add_argument("--compare")
    parser.add_argument("--markdown", action="store_true")
    arguments = parser.parse_args()
    old = Results.read(arguments.compare) if arguments.compare else None
    print_report(Results.read(arguments.results), old, arguments.markdown)


if __name__ == "__main__":
    main()
