#!/usr/bin/env python3
"""Reads the includes of the sources: no circle between files, no include of a floor above.

  cmake/floors.py [--draw] [--root DIR] [--help]

A header and its sources are one file: same folder and name, without the platform's ending. Prints
one sentence for each circle and each include upward and exits with 1 then.
--draw   writes docs/images/floors.svg; without it, a picture that is out of date is a failure too
--root   another tree than this one
"""

import argparse
import pathlib
import re
import sys

RTC = "media_core/common/webrtc/rtc_base/"
CRASH = "media_core/biz_engine/crash_handler/"

# From the ground up: the floor's name, and its rooms. A room has a name for the picture and
# what its files' paths start with; a file is in the room whose beginning is the longest.
FLOORS = [
    ("Ground", [
        ("string encoding, checks", [RTC + "string_", RTC + "utf8_prefix", RTC + "decimal_text",
                                     RTC + "sprintfn", RTC + "checks", RTC + "error_labels",
                                     RTC + "process_id", RTC + "file_identity", RTC + "version"]),
        ("trace hooks", [RTC + "trace_event", RTC + "trace_event_pause"]),
        ("rules of two libraries", ["utils/shared_"]),
    ]),
    ("Locks, threads", [
        ("locks", [RTC + "critical_section", RTC + "rw_lock", RTC + "counting_semaphore",
                   RTC + "event"]),
        ("threads", [RTC + "platform_thread", RTC + "thread_checker", RTC + "forked_child_hook"]),
        ("clocks", [RTC + "clock", RTC + "time_utils"]),
    ]),
    ("Logging", [("logging, log sinks", [RTC + "log", RTC + "append_file", RTC + "file_log_sink",
                                         RTC + "last_lines_log_sink"])]),
    ("Tracer", [("the built-in tracer", [RTC + "event_logger", RTC + "event_tracer",
                                         RTC + "trace_", RTC + "trace_event_"])]),
    ("Utilities", [
        ("general utilities", ["utils/"]),
        ("crash tools", [CRASH + "tools/"]),
        ("machine", [CRASH + "machine/"]),
    ]),
    ("Crash capture", [
        ("dying", [CRASH + "dying/"]),
        ("report", [CRASH + "report/"]),
        ("darwin", [CRASH + "darwin/"]),
        ("facade", [CRASH]),
    ]),
    ("Programs", [
        ("helper", ["helper/"]),
        ("oru-report", ["oru_report/"]),
        ("examples", ["examples/"]),
    ]),
]

FOLDERS = ["helper", "media_core", "utils", "oru_report", "examples"]
ENDINGS = (".h", ".c", ".cc", ".cpp", ".m", ".mm")
PLATFORM = re.compile(r"_(linux|mac|mach|x86_64|arm64)$")
INCLUDE = re.compile(r'^\s*#\s*(?:include|import)\s+"([^"]+)"', re.MULTILINE)
PICTURE = "docs/images/floors.svg"


def unit(path):
    """What a header and its sources have in common."""
    stem = path.rpartition(".")[0]
    while PLATFORM.search(stem):
        stem = PLATFORM.sub("", stem)
    return stem


def room(path):
    """(number of the floor, name of the room), or None."""
    best = None
    for number, (_, rooms) in enumerate(FLOORS):
        for name, beginnings in rooms:
            for beginning in beginnings:
                if path.startswith(beginning) and (best is None or len(beginning) > best[0]):
                    best = (len(beginning), number, name)
    return best and best[1:]


def sources(root):
    for folder in FOLDERS:
        for path in sorted((root / folder).rglob("*")):
            if path.name.endswith(ENDINGS):
                yield path.relative_to(root).as_posix()


def includes(root):
    """[(including file, included file)] of this tree's own files; included ones may be made by the
    build and be missing."""
    edges = []
    for source in sources(root):
        text = (root / source).read_text(encoding="utf-8")
        for name in INCLUDE.findall(text):
            beside = (pathlib.PurePosixPath(source).parent / name).as_posix()
            found = [path for path in (name, beside) if (root / path).is_file()]
            if found:
                edges.append((source, found[0]))
    return edges


def circles(edges):
    """The units of each circle, in the order of their includes."""
    graph = {}
    for source, target in edges:
        if unit(source) != unit(target):
            graph.setdefault(unit(source), {})[unit(target)] = True
    state = {}
    found = []

    def walk(start):
        path = [(start, iter(graph.get(start, ())))]
        state[start] = "open"
        while path:
            node, rest = path[-1]
            following = next(rest, None)
            if following is None:
                state[node] = "done"
                path.pop()
            elif state.get(following) == "open":
                names = [entry[0] for entry in path]
                found.append(names[names.index(following):] + [following])
            elif following not in state:
                state[following] = "open"
                path.append((following, iter(graph.get(following, ()))))

    for start in sorted(graph):
        if start not in state:
            walk(start)
    return found


def problems(root, edges):
    sentences = ["a circle of includes: " + " -> ".join(circle) for circle in circles(edges)]
    for source in sources(root):
        if room(source) is None:
            sentences.append(f"{source} is on no floor: give it one in cmake/floors.py")
    for source, target in edges:
        own, other = room(source), room(target)
        if own and other and other[0] > own[0]:
            sentences.append(f"{source} ({FLOORS[own[0]][0]}) includes {target} of a floor above"
                             f" ({FLOORS[other[0]][0]})")
    return sentences


# The picture's measures.
WIDTH, ROW, BOX, LEFT, GAP = 960, 104, 46, 180, 16


def draw(edges):
    """A row a floor, a box a room, a line from each room to each that it includes on a lower floor
    (within a floor the boxes' order has no meaning)."""
    places = {}
    boxes = []
    height = len(FLOORS) * ROW + 16
    for number, (floor, rooms) in enumerate(FLOORS):
        top = (len(FLOORS) - 1 - number) * ROW + 16
        boxes.append(f'<text class="floor" x="16" y="{top + BOX / 2 + 5:g}">{number + 1}. {floor}'
                     '</text>')
        width = (WIDTH - LEFT - 16 - GAP * (len(rooms) - 1)) / len(rooms)
        for i, (name, _) in enumerate(rooms):
            left = LEFT + i * (width + GAP)
            places[(number, name)] = (left + width / 2, top)
            boxes.append(f'<rect x="{left:g}" y="{top}" width="{width:g}" height="{BOX}" rx="6"/>')
            boxes.append(f'<text x="{left + width / 2:g}" y="{top + BOX / 2 + 5:g}" '
                         f'text-anchor="middle">{name}</text>')
    pairs = {(room(source), room(target)) for source, target in edges}
    lines = []
    for lower, upper in sorted((b, a) for a, b in pairs if a and b and a[0] > b[0]):
        x1, y1 = places[upper]
        x2, y2 = places[lower]
        lines.append(f'<path d="M{x1:g} {y1 + BOX}C{x1:g} {y1 + BOX + 36} {x2:g} {y2 - 36} {x2:g} '
                     f'{y2}"/>')
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" '
        'font-family="sans-serif" font-size="14">',
        "<title>The floors, drawn from the includes</title>",
        "<style>rect{fill:#fff;stroke:#57606a}text{fill:#1f2328}.floor{font-weight:bold}"
        "path{fill:none;stroke:#57606a;stroke-opacity:.45}.page{fill:#fff;stroke:none}"
        "@media(prefers-color-scheme:dark){rect{fill:#161b22;stroke:#8b949e}text{fill:#e6edf3}"
        "path{stroke:#8b949e}.page{fill:#0d1117}}</style>",
        f'<rect class="page" width="{WIDTH}" height="{height}"/>',
        *lines, *boxes, "</svg>", ""])


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--draw", action="store_true")
    parser.add_argument("--root", default=pathlib.Path(__file__).resolve().parent.parent,
                        type=pathlib.Path)
    options = parser.parse_args()
    edges = includes(options.root)
    sentences = problems(options.root, edges)
    picture = options.root / PICTURE
    if options.draw:
        picture.parent.mkdir(parents=True, exist_ok=True)
        picture.write_text(draw(edges), encoding="utf-8")
    elif not picture.is_file() or picture.read_text(encoding="utf-8") != draw(edges):
        sentences.append(f"{PICTURE} is out of date: cmake/floors.py --draw makes it anew")
    for sentence in sentences:
        print(f"floors: {sentence}", file=sys.stderr)
    return 1 if sentences else 0


if __name__ == "__main__":
    sys.exit(main())
