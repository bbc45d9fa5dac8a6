"""What is measured, in the order of the table, and what this project is to reach in it.

A goal is tested on the medians of one run: both sides took turns in it.
"""

import dataclasses
from typing import Callable, Optional


@dataclasses.dataclass
class Goal:
    text: str
    met: Callable  # of (own median in ns, own row, side -> median in ns); None when a peer was not measured


@dataclasses.dataclass
class Line:
    title: str
    operation: str
    variant: str = ""
    peers: tuple = ()  # sides
    limit: Optional[tuple] = None  # (operation, side, variant)
    unit: str = "time"  # or "bytes" or "items": a second
    goal: Optional[Goal] = None


US, MS = 1e3, 1e6


def at_most(nanoseconds, text):
    return Goal(f"<= {text}", lambda own, row, peer: own <= nanoseconds)


def below(side):
    return Goal(f"below {side}", lambda own, row, peer: peer(side) and own < peer(side))


def within(ratio, side):
    return Goal(f"<= {ratio} x {side}", lambda own, row, peer: peer(side) and own <= ratio * peer(side))


def times_as_fast(factor, side):
    text = f"{factor} x {side}" if factor != 1 else f"at least {side}"
    return Goal(text, lambda own, row, peer: peer(side) and own * factor <= peer(side))


def twice_and_a_millisecond(side):
    return Goal(f"<= 2 x {side} + 1 ms", lambda own, row, peer: peer(side) and own <= 2 * peer(side) + MS)


def bytes_a_second(gigabytes):
    return Goal(f">= {gigabytes} GB/s", lambda own, row, peer: row.bytes / own >= gigabytes)


CLOCK = ("clock", "clock_gettime", "")
COPY = ("copy", "memcpy", "")


def crash_line(threads, goal, images=False):
    variant = f"threads:{threads}" + ("/images:300" if images else "")
    title = f"crash to end of process, {threads} thread" + ("s" if threads > 1 else "")
    return Line(title + (", 300 images, 200,000 symbols" if images else ""), "crash_to_end", variant,
                ("backward", "glog", "gdb"), ("crash_to_end", "uninstalled", variant),
                goal=goal)


def contended(threads):
    return Line(f"lock contended, {threads} threads", "lock_contended", f"threads:{threads}",
                ("std_mutex", "absl_mutex", "pthread_recursive"), goal=times_as_fast(1, "std_mutex"))


def split_lines(operation):
    for size in (8, 40):
        yield Line(f"{operation}, pieces of {size} bytes", operation, f"piece:{size}", ("absl",),
                   unit="items", goal=times_as_fast(1, "absl"))


LINES = [
    *(Line(f"log line to a callback sink, {n} thread" + ("s" if n > 1 else ""), "log_callback", f"threads:{n}",
           ("spdlog", "glog"), CLOCK, goal=at_most(90, "90 ns") if n == 1 else below("spdlog")) for n in (1, 2, 4, 8)),
    Line("log line to a file, safe from a kill", "log_file", "", ("buffered", "spdlog"), CLOCK, goal=below("spdlog")),
    *(Line(f"log line to a file, flushed each, {n} thread" + ("s" if n > 1 else ""), "log_flushed", f"threads:{n}",
           ("spdlog",), ("log_flushed", "write", f"threads:{n}"), goal=within(1.1, "write")) for n in (1, 4)),
    # No cliff: what a copy of the text takes, and the line's own time, which is half of that at 16 KiB.
    *(Line(f"log line of {size // 1024} KiB to a callback sink", "log_long", str(size), (), ("log_long", "memcpy", str(size)),
           goal=within(2 if size < 1 << 16 else 1.25, "memcpy")) for size in (1 << 14, 1 << 16, 1 << 20)),
    Line("log line of a disabled level", "log_disabled", "", ("spdlog", "glog_vlog"),
         ("switched_off", "load_and_branch", ""), goal=at_most(1, "1 ns")),
    *(Line(f"trace {title} while capturing, {n} thread" + ("s" if n > 1 else ""), f"trace_{kind}",
           f"capturing/threads:{n}", (), CLOCK, goal=at_most(limit, f"{limit} ns"))
      for title, kind, limit in (("instant", "instant", 42), ("instant with a number", "instant_1_argument", 46),
                                 ("scope", "scope", 74)) for n in (1, 4)),
    Line("200 trace instants after a pause", "trace_burst", "200", (), goal=at_most(11 * US, "11 us")),
    *(Line(f"trace {kind}, {title}", f"trace_{kind}", title.replace(" ", "_"), ("lttng",),
           ("switched_off", "load_and_branch", ""), goal=at_most(limit, f"{limit} ns"))
      for kind, title, limit in (("instant", "no capture", 1), ("scope", "no capture", 2), ("instant", "no tracer", 0.3),
                                 ("scope", "no tracer", 1))),
    Line("trace flush, an event", "trace_flush", goal=at_most(200, "200 ns")),
    Line("lock enter and leave, free", "lock_free", "", ("pthread_recursive", "std_mutex", "absl_mutex"),
         goal=at_most(15, "15 ns")),
    Line("lock enter and leave, held", "lock_again", "", ("pthread_recursive",), goal=at_most(4, "4 ns")),
    Line("writer lock", "writer_lock", "", ("pthread_rwlock",), goal=within(1.05, "pthread_rwlock")),
    Line("reader lock, 2 threads", "reader_lock", "threads:2", ("std_shared_mutex", "pthread_rwlock"),
         goal=within(1.1, "pthread_rwlock")),
    contended(2),
    contended(4),
    Line("event ping-pong, one processor", "ping_pong", "", ("condition_variable",),
         goal=within(1.1, "condition_variable")),
    Line("hex_encode, to a string", "hex_encode", "string", ("absl",), COPY, "bytes", times_as_fast(2, "absl")),
    Line("hex_encode, to a buffer", "hex_encode", "buffer", ("absl",), COPY, "bytes", times_as_fast(2, "absl")),
    Line("hex_decode", "hex_decode", "", ("absl",), COPY, "bytes", times_as_fast(2, "absl")),
    Line("url_encode, 20 % specials", "url_encode", "specials:20", ("glib", "curl"), COPY, "bytes",
         bytes_a_second(1)),
    Line("url_encode, no specials", "url_encode", "specials:0", ("glib", "curl"), COPY, "bytes",
         bytes_a_second(3)),
    Line("url_decode, 20 % specials", "url_decode", "specials:20", ("curl", "glib"), COPY, "bytes",
         bytes_a_second(1.5)),
    Line("url_decode, no specials", "url_decode", "specials:0", ("curl", "glib"), COPY, "bytes",
         bytes_a_second(1.5)),
    Line("xml_encode, 2 % specials", "xml_encode", "", ("glib",), COPY, "bytes", bytes_a_second(2)),
    Line("html_encode, 2 % specials", "html_encode", "", ("glib",), COPY, "bytes", bytes_a_second(2)),
    *(Line(f"{title} of 16 bytes", operation, "", (side,), goal=at_most(limit, f"{limit} ns"))
      for title, operation, side, limit in (("url_decode", "url_decode_16", "curl", 25),
                                            ("xml_encode", "xml_encode_16", "glib", 25),
                                            ("html_encode", "html_encode_16", "glib", 25),
                                            ("tokenize", "tokenize_16", "absl", 40))),
    *(line for operation in ("split", "tokenize", "splitString", "splitString_set")
      for line in split_lines(operation)),
    *(Line(f"clock read, {name}", "clock", name, ("clock_gettime",), CLOCK, goal=within(1.1, "clock_gettime"))
      for name in ("SystemTimeNanos", "TimeNanos", "TimeMicros")),
    *(Line(f"clock read, {name}", "clock", name, ("clock_gettime",), CLOCK, goal=within(1.03, "clock_gettime"))
      for name in ("TimeMillis", "RealTimeClock")),
    Line("wall clock read, TimeUTCMicros", "wall_clock", "TimeUTCMicros", ("gettimeofday",),
         ("wall_clock", "gettimeofday", ""), goal=within(1.1, "gettimeofday")),
    Line("UTC time as text", "utc_time_string", "", ("strftime",), goal=at_most(60, "60 ns")),
    Line("thread id", "thread_id", "", ("gettid",), ("thread_id", "cached_by_hand", ""),
         goal=within(1.1, "cached_by_hand")),
    Line("own stack with symbols, a frame, first time", "own_stack_frame", "cold",
         ("absl", "backward", "boost", "dladdr"), goal=at_most(2 * US, "2 us")),
    # 40 us for 33 functions.
    Line("own stack with symbols, a frame, again", "own_stack_frame", "again",
         ("absl", "backward", "boost", "dladdr"), goal=at_most(1.21 * US, "1.21 us")),
    *(crash_line(threads, twice_and_a_millisecond("uninstalled")) for threads in (1, 10, 100)),
    crash_line(1000, at_most(500 * MS, "500 ms")),
    crash_line(10, at_most(150 * MS, "150 ms"), images=True),
    Line("varnook from start to end, upload that returns at once", "startup", "", ("empty_gnustep",),
         ("startup", "plain_dlopen", ""), goal=within(1.15, "empty_gnustep")),
    *(Line(f"upload of {size} MB of logs", "upload", f"megabytes:{size}", ("zip_and_curl",),
           goal=within(1.15, "zip_and_curl")) for size in (50, 500, 2000)),
]
