"""How fast `oru-report` reads large reports, beside llvm-symbolizer and eu-addr2line on the same addresses.

  reader_bench.py ORU_REPORT FOLDER [--fleet COUNT] [--peers COUNT]

FOLDER keeps the made inputs: a program with 1 GB of debug information and the report of 1,000 threads (big_program.py), a
report of 200 MB, an archive of COUNT reports (100,000; tests/oru_report/fleet.py). The peers look up COUNT of the 40,000
addresses (2,000): all would take eu-addr2line hours. Prints a table in Markdown with seconds by the wall clock, processor
seconds and peak memory, and the machine's load before each.
"""
import argparse
import multiprocessing
import os
import resource
import subprocess
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tests", "oru_report"))
import big_program  # noqa: E402
import fleet  # noqa: E402

LARGE_BYTES = 200 << 20


def make_large(path):
    """A report of threads of which no two are equal."""
    if os.path.exists(path):
        return
    with open(path + ".new", "w", encoding="utf-8") as file:
        file.write("Harware Model:     x86_64\nProcess:           program\nPath:              /tmp\nCode Type:         x86_64\n"
                   "Date/Time:         2024-03-05 07:08:09 123\nCrash Thread:      1000\n\nCrash Thread Backtrace:\n"
                   "/opt/app/libOruRTCx.so(_ZN6OruRTC4joinEv+0x10) [0x7f0000000010]\n\nAll Thread Backtrace:\n")
        thread = 0
        while file.tell() < LARGE_BYTES:
            file.write(f"Thread {1000 + thread} worker-{thread}:\n" + "".join(
                f"{'libOruRTCx.so':<30}  0x{0x7f0000000000 + thread * 64 + depth:08x} _ZN6OruRTC6Engine4stepEv + {thread * 64 + depth}\n"
                for depth in range(40)) + "\n")
            thread += 1
        file.write("\nBinary Images:\n    0x7f0000000000 -     0x7f00ffffffff  libOruRTCx.so arm64  <" + "1" * 32 +
                   "> /opt/app/libOruRTCx.so\n\nUserCustomInfo:\nbench\n")
    os.rename(path + ".new", path)


def measure(what, command, given=None, statuses=(0,)):
    load = os.getloadavg()[0]
    start = time.monotonic()
    process = subprocess.Popen(command, stdin=subprocess.PIPE if given else subprocess.DEVNULL, stdout=subprocess.DEVNULL)
    if given:
        process.stdin.write(given)
        process.stdin.close()
    _, status, usage = os.wait4(process.pid, 0)
    wall = time.monotonic() - start
    if os.waitstatus_to_exitcode(status) not in statuses:
        raise SystemExit(f"{command} ended with {status}")
    cpu = usage.ru_utime + usage.ru_stime
    print(f"| {what} | {wall:.1f} s | {cpu:.1f} s | {usage.ru_maxrss / 1024:.0f} MB | {load:.1f} |", flush=True)


def apart(function, *arguments):
    """In a process of its own: what this one has ever taken counts as its later children's memory, too."""
    process = multiprocessing.Process(target=function, args=arguments)
    process.start()
    process.join()
    if process.exitcode != 0:
        raise SystemExit(f"{function.__name__} ended with {process.exitcode}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("oru_report")
    parser.add_argument("folder")
    parser.add_argument("--fleet", type=int, default=100000)
    parser.add_argument("--peers", type=int, default=2000)
    wanted = parser.parse_args()
    folder = os.path.abspath(wanted.folder)
    os.makedirs(folder, exist_ok=True)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    program = big_program.build(folder)
    report = os.path.join(folder, big_program.REPORT)
    addresses = big_program.write_report(program, report)
    large, archive = os.path.join(folder, "large.log"), os.path.join(folder, f"fleet{wanted.fleet}.zip")
    apart(make_large, large)
    if not os.path.exists(archive):
        apart(fleet.make_zip, wanted.fleet, archive)
    print(f"{big_program.debug_bytes(program) / 1e6:.0f} MB of debug information, {len(addresses)} addresses, a report of "
          f"{os.path.getsize(large) >> 20} MB\n\n| what | wall clock | processor | memory | load before |\n|---|---|---|---|---|")
    ours = wanted.oru_report
    measure(f"`show` of the 1,000 threads: {len(addresses):,} addresses", [ours, "show", report])
    some = "".join(f"0x{address:x}\n" for address in addresses[:wanted.peers]).encode()
    measure(f"llvm-symbolizer, {len(addresses):,} addresses", ["llvm-symbolizer", "--obj=" + program],
            "".join(f"0x{address:x}\n" for address in addresses).encode())
    measure(f"llvm-symbolizer, {wanted.peers:,} addresses", ["llvm-symbolizer", "--obj=" + program], some)
    measure(f"eu-addr2line -f -i, {wanted.peers:,} addresses", ["eu-addr2line", "-f", "-i", "-e", program], some,
            # 1: of some addresses it has no line.
            (0, 1))
    measure("`show` of the large report", [ours, "show", large])
    measure("`html` of the large report", [ours, "html", large])
    measure("`json` of the large report", [ours, "json", large])
    measure(f"`group` of {wanted.fleet:,} reports in one archive", [ours, "group", archive])


if __name__ == "__main__":
    main()
