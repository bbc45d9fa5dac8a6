"""Draws plots from the results of a run, as SVG files.

  plot.py RESULTS.json FOLDER [GROWTH.json]

FOLDER/crash-over-threads.svg: from crash to end of process over the number of threads.
FOLDER/log-over-threads.svg: a log line to a callback over the number of threads that log.
FOLDER/growth.svg: how cost grows with size, from a run of growth.py.
"""

import json
import math
import pathlib
import sys
from xml.sax.saxutils import escape

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))

from results import OWN_SIDE, Results  # noqa: E402

WIDTH, HEIGHT = 720, 420
LEFT, RIGHT, TOP, BOTTOM = 80, 150, 50, 60
# Distinct for colour-blind readers, too; this project's first.
COLOURS = ("#0072b2", "#d55e00", "#009e73", "#cc79a7", "#7f7f7f", "#e69f00", "#56b4e9", "#000000")
NAMES = {OWN_SIDE: "this project", "none": "no handler", "gdb": "gdb, all threads", "backward": "backward, one thread"}
UNITS = ((1e9, "s"), (1e6, "ms"), (1e3, "us"), (1, "ns"))


class Scale:
    """A logarithmic scale from values to positions."""

    def __init__(self, values, start, end):
        self.low, self.high = math.log10(min(values)), math.log10(max(values))
        self.start, self.end = start, end

    def __call__(self, value):
        share = (math.log10(value) - self.low) / (self.high - self.low)
        return round(self.start + share * (self.end - self.start), 1)


def decades(values):
    """The powers of ten around the values."""
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
    return [10.0**power for power in range(low, high + 1)]


def time_label(nanoseconds):
    for size, unit in UNITS:
        if nanoseconds >= size:
            return f"{nanoseconds / size:g} {unit}"
    return f"{nanoseconds:g} ns"


def curves(results, operation):
    """Side -> sorted (threads, ns)."""
    found = {}
    for row in results.rows.values():
        kind, _, count = row.variant.partition(":")
        if row.operation == operation and kind == "threads" and count.isdigit():
            found.setdefault(row.side, []).append((int(count), row.median))
    return {side: sorted(points) for side, points in sorted(found.items(), key=lambda item: item[0] != OWN_SIDE)}


def text(x, y, content, anchor="middle", extra=""):
    return f'<text x="{x}" y="{y}" text-anchor="{anchor}"{extra}>{escape(content)}</text>'


def axes(title, x_title, threads, ticks, x, y):
    yield text(LEFT, 28, title, "start", ' font-size="16" font-weight="bold"')
    for tick in ticks:
        yield f'<line x1="{LEFT}" y1="{y(tick)}" x2="{WIDTH - RIGHT}" y2="{y(tick)}" stroke="#dddddd"/>'
        yield text(LEFT - 8, y(tick) + 4, time_label(tick), "end")
    for count in threads:
        yield text(x(count), HEIGHT - BOTTOM + 20, str(count))
    yield text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 15, x_title)


def curve(side, points, colour, x, y):
    line = " ".join(f"{x(count)},{y(value)}" for count, value in points)
    yield f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="2"/>'
    for count, value in points:
        yield (f'<circle cx="{x(count)}" cy="{y(value)}" r="4" fill="{colour}">'
               f"<title>{escape(NAMES.get(side, side))}, {count}: {time_label(float(f'{value:.3g}'))}</title></circle>")


def legend(sides):
    for number, (side, colour) in enumerate(zip(sides, COLOURS)):
        top = TOP + 10 + 22 * number
        left = WIDTH - RIGHT + 15
        yield f'<rect x="{left}" y="{top - 9}" width="10" height="10" fill="{colour}"/>'
        yield text(left + 16, top, NAMES.get(side, side), "start")


def draw(results, operation, title, x_title):
    sides = curves(results, operation)
    if OWN_SIDE not in sides:
        sys.exit(f"plot: the results have no {operation}")
    threads = sorted({count for points in sides.values() for count, _ in points})
    ticks = decades([value for points in sides.values() for _, value in points])
    x = Scale(threads, LEFT + 20, WIDTH - RIGHT - 20)
    y = Scale(ticks, HEIGHT - BOTTOM, TOP)
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" '
             'font-size="12" role="img">', f"<title>{escape(title)}</title>",
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#ffffff"/>',
             *axes(title, x_title, threads, ticks, x, y)]
    for (side, points), colour in zip(sides.items(), COLOURS):
        parts += curve(side, points, colour, x, y)
    parts += [*legend(sides), "</svg>", ""]
    return "\n".join(parts)


def growth_name(subject):
    return subject.replace("_", " ")


def draw_growth(curves):
    """Every subject's times and sizes as parts of its largest, and the line of a cost in proportion."""
    parts_of = {}
    for subject, points in curves.items():
        points = sorted(points)
        size, seconds = points[-1]
        parts_of[subject] = [(at / size, value / seconds) for at, value in points]
    low = min(min(at, value) for points in parts_of.values() for at, value in points)
    ticks = decades([low, 1])
    x = Scale(ticks, LEFT + 20, WIDTH - RIGHT - 20)
    y = Scale(ticks, HEIGHT - BOTTOM, TOP)
    title = "Time over size, as parts of the largest"
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" '
             'font-size="12" role="img">', f"<title>{escape(title)}</title>",
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#ffffff"/>',
             text(LEFT, 28, title, "start", ' font-size="16" font-weight="bold"')]
    for tick in ticks:
        parts += [f'<line x1="{LEFT}" y1="{y(tick)}" x2="{WIDTH - RIGHT}" y2="{y(tick)}" stroke="#dddddd"/>',
                  text(LEFT - 8, y(tick) + 4, f"{tick:g}", "end"),
                  text(x(tick), HEIGHT - BOTTOM + 20, f"{tick:g}")]
    parts += [text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 15, "size; dashed: time in proportion to it"),
              f'<line x1="{x(ticks[0])}" y1="{y(ticks[0])}" x2="{x(1)}" y2="{y(1)}" stroke="#999999" '
              'stroke-dasharray="6 4"/>']
    for (subject, points), colour in zip(parts_of.items(), COLOURS):
        line = " ".join(f"{x(at)},{y(value)}" for at, value in points)
        parts.append(f'<polyline points="{line}" fill="none" stroke="{colour}" stroke-width="2"/>')
        parts += [f'<circle cx="{x(at)}" cy="{y(value)}" r="3" fill="{colour}">'
                  f"<title>{escape(growth_name(subject))}</title></circle>" for at, value in points]
    parts += [*legend([growth_name(subject) for subject in parts_of]), "</svg>", ""]
    return "\n".join(parts)


def main():
    if len(sys.argv) not in (3, 4):
        sys.exit(__doc__)
    results = Results.read(sys.argv[1])
    folder = pathlib.Path(sys.argv[2])
    folder.joinpath("crash-over-threads.svg").write_text(
        draw(results, "crash_to_end", "From crash to end of process", "threads of the process"))
    folder.joinpath("log-over-threads.svg").write_text(
        draw(results, "log_callback", "A log line to a callback", "threads that log"))
    if len(sys.argv) == 4:
        curves = json.loads(pathlib.Path(sys.argv[3]).read_text(encoding="utf-8"))["curves"]
        folder.joinpath("growth.svg").write_text(draw_growth(curves))


if __name__ == "__main__":
    main()
