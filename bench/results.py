"""Results of benchmarks: a row for each operation, side and variant.

Benchmarks are named OPERATION/SIDE or OPERATION/SIDE/VARIANT, with "oru" as this project's side. A variant may
have several parts, like "capturing/threads:4". "real_time" or "manual_time" at the end of a name, as Google Benchmark
puts it there, says which of the two times counts and is no part of the variant.
"""

import dataclasses
import json
import statistics

OWN_SIDE = "oru"
NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


@dataclasses.dataclass
class Row:
    operation: str
    side: str
    variant: str
    # Of one operation, in nanoseconds: the median and the least of all repetitions.
    median: float
    least: float
    repetitions: int
    # What an operation works on, when its speed is best told by that: bytes, or pieces; else 0.
    bytes: float = 0
    items: float = 0

    @property
    def key(self):
        return (self.operation, self.side, self.variant)


def split_name(name):
    """(operation, side, variant, whether real time counts)"""
    parts = name.split("/")
    # Google Benchmark tells one thread, too, when others are measured; how long is no matter here.
    real = ("real_time", "manual_time")
    dropped = (*real, "process_time")
    variant = [part for part in parts[2:] if part not in dropped and not part.startswith(("repeats:", "iterations:"))]
    return parts[0], parts[1], "/".join(variant), any(part in real for part in parts[2:])


def rows_of(benchmarks):
    """The rows of Google Benchmark's list, whose repetitions are entries of their own."""
    samples = {}
    for entry in benchmarks:
        if entry.get("run_type", "iteration") != "iteration":
            continue
        if entry.get("error_occurred"):
            raise ValueError(f"{entry['name']}: {entry.get('error_message')}")
        operation, side, variant, real = split_name(entry["name"])
        nanoseconds = entry["real_time" if real else "cpu_time"] * NANOSECONDS[entry["time_unit"]]
        times, sizes = samples.setdefault((operation, side, variant), ([], [0, 0]))
        items = per_second(entry, "items_per_second", nanoseconds)
        if items > 1:  # the time is that of many; an operation is one of them
            times.append(nanoseconds / items)
            sizes[1] = 1
        else:
            times.append(nanoseconds)
            sizes[0] = per_second(entry, "bytes_per_second", nanoseconds)
    return [Row(*key, statistics.median(times), min(times), len(times), *sizes)
            for key, (times, sizes) in samples.items()]


def per_second(entry, field, nanoseconds):
    return round(entry.get(field, 0) * nanoseconds / 1e9)


class Results:
    def __init__(self, rows, about):
        self.rows = {row.key: row for row in rows}
        self.about = about  # machine, command, time

    def find(self, operation, side, variant):
        """The row, or that without a variant, or None."""
        return self.rows.get((operation, side, variant)) or self.rows.get((operation, side, ""))

    def sides(self, operation):
        return list(dict.fromkeys(row.side for row in self.rows.values() if row.operation == operation))

    def write(self, path):
        content = {"about": self.about, "rows": [dataclasses.asdict(row) for row in self.rows.values()]}
        with open(path, "w", encoding="utf-8") as file:
            json.dump(content, file, indent=1)
            file.write("\n")

    @staticmethod
    def read(path):
        with open(path, encoding="utf-8") as file:
            content = json.load(file)
        return Results([Row(**row) for row in content["rows"]], content["about"])
