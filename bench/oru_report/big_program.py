"""Builds a program with a given amount of debug information, and makes the report of a crash of it.

  big_program.py FOLDER [MEGABYTES]

leaves FOLDER/program and FOLDER/Crash_bench_s1_Signal_2024-03-05-07-08-09.log: 1,000 threads of 40 frames each, at
addresses all over the program. A dozen units are compiled, with and without optimisation (so with inlined functions and
without); each is linked many times over, under another name, until the program is large enough.
"""
import os
import random
import subprocess
import sys

UNITS = 12
THREADS = 1000
FRAMES = 40
REPORT = "Crash_bench_s1_Signal_2024-03-05-07-08-09.log"
BASE = 0x555555000000

SOURCE = """
#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>
namespace {
template <int N>
struct Record {
  std::map<std::string, std::array<int, N + 1>> values;
  std::vector<Record<N>*> next;
  std::unordered_map<int, std::string> names;
  int number[N + 1];
  int Sum(int x) const {
    int sum = x;
    for (int i = 0; i <= N; ++i) sum += number[i] * x;
    return sum;
  }
};
template <int N>
__attribute__((noinline)) int Work(Record<N>* record, int x) {
  std::function<int(int)> sum = [record, x](int y) { return record->Sum(x + y); };
  record->values["a" + std::to_string(x)][0] = sum(x);
  record->names[x] = std::to_string(sum(x));
  record->next.push_back(record);
  std::sort(record->next.begin(), record->next.end());
  return record->Sum(sum(x)) + static_cast<int>(record->values.size());
}
template <int N>
int Call(int x) {
  Record<N> record{};
  return Work(&record, x);
}
template <int... I>
int All(int x, std::integer_sequence<int, I...>) {
  int sum = 0;
  ((sum += Call<I + UNIT * 40>(x)), ...);
  return sum;
}
}  // namespace
extern "C" int OruRTCUnit(int x) { return All(x, std::make_integer_sequence<int, 40>()); }
"""


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def debug_bytes(path, but=()):
    """How large the sections of debug information are, but for those named."""
    rows = (line.split() for line in run("size", "-A", path).splitlines())
    return sum(int(row[1]) for row in rows if row and row[0].startswith(".debug_") and row[0] not in but)


def compile_units(folder):
    source = os.path.join(folder, "unit.cc")
    with open(source, "w", encoding="utf-8") as file:
        file.write(SOURCE)
    objects = []
    for unit in range(UNITS):
        objects.append(os.path.join(folder, f"unit{unit}.o"))
        run("clang++", "-std=c++17", "-g", "-fstandalone-debug", "-O1" if unit % 2 else "-O0", f"-DUNIT={unit}",
            "-c", source, "-o", objects[-1])
    return objects


def build(folder, megabytes=1024):
    """Returns the program's path; one that is there already is taken as it is."""
    program = os.path.join(folder, "program")
    if os.path.exists(program):
        return program
    os.makedirs(folder, exist_ok=True)
    units = compile_units(folder)
    names, copies, total = [], [], 0
    while total < megabytes << 20:
        unit = units[len(copies) % UNITS]
        names.append(f"OruRTCUnit{len(copies)}")
        copies.append(os.path.join(folder, f"copy{len(copies)}.o"))
        run("objcopy", "--redefine-sym", f"OruRTCUnit={names[-1]}", unit, copies[-1])
        # Texts that several units share are in the program once.
        total += debug_bytes(copies[-1], (".debug_str", ".debug_line_str"))
    main = os.path.join(folder, "main.c")
    with open(main, "w", encoding="utf-8") as file:
        file.write("".join(f"int {name}(int);\n" for name in names))
        file.write("int main(int count, char** words) {\n  (void)words;\n  return 0" +
                   "".join(f" + {name}(count)" for name in names) + ";\n}\n")
    run("clang", "-c", main, "-o", os.path.join(folder, "main.o"))
    with open(os.path.join(folder, "objects"), "w", encoding="utf-8") as file:
        file.write("\n".join([os.path.join(folder, "main.o"), *copies]))
    run("clang++", "-fuse-ld=lld", "-Wl,--build-id=sha1", "@" + os.path.join(folder, "objects"), "-o", program + ".new")
    for path in units + copies:
        os.remove(path)
    os.rename(program + ".new", program)
    return program


def functions_of(program):
    """Start and size of the program's functions, in a fixed order."""
    rows = (line.split() for line in run("nm", "-S", "--defined-only", program).splitlines())
    return sorted({(int(row[0], 16), int(row[1], 16)) for row in rows if len(row) == 4 and row[2] in "tTwW" and int(row[1], 16) > 8})


def addresses_of(program, count):
    """`count` different addresses within functions of the program."""
    chance = random.Random(1)
    functions = functions_of(program)
    picked = {}
    while len(picked) < count:
        start, size = chance.choice(functions)
        picked[start + chance.randrange(1, size)] = None
    return list(picked)


def build_id(program):
    text = run("readelf", "-n", program)
    return text.split("Build ID: ")[1].split()[0][:32]


def write_report(program, path):
    """The report's frames are return addresses: a reader looks up the address before each. Returns those."""
    wanted = addresses_of(program, THREADS * FRAMES)
    lines = ["Harware Model:     x86_64\nProcess:           program\nPath:              /tmp/dumps\nCode Type:         x86_64\n"
             "Date/Time:         2024-03-05 07:08:09 123\nCrash Thread:      1000\n\nCrash Thread Backtrace:\n"]
    # As each thread's first frame is no return address, it stands there as it is.
    shown = [BASE + address + (1 if number % FRAMES else 0) for number, address in enumerate(wanted)]
    lines += [f"{program}(+0x{address - BASE:x}) [0x{address:x}]\n" for address in shown[:FRAMES]]
    lines.append("\nAll Thread Backtrace:\n")
    for thread in range(THREADS):
        lines.append(f"Thread {1000 + thread} worker-{thread}:\n")
        lines += [f"{'program':<30}  0x{address:08x} main + 1\n" for address in shown[thread * FRAMES:(thread + 1) * FRAMES]]
        lines.append("\n")
    end = max(start + size for start, size in functions_of(program))
    lines.append(f"\nBinary Images:\n{hex(BASE):>18} - {hex(BASE + end):>18}  program arm64  <{build_id(program)}> {program}\n"
                 "\nUserCustomInfo:\nbench\n")
    with open(path, "w", encoding="utf-8") as file:
        file.write("".join(lines))
    return wanted


if __name__ == "__main__":
    FOLDER = os.path.abspath(sys.argv[1])
    PROGRAM = build(FOLDER, int(sys.argv[2]) if len(sys.argv) > 2 else 1024)
    write_report(PROGRAM, os.path.join(FOLDER, REPORT))
    print(f"{PROGRAM}: {debug_bytes(PROGRAM) / 1e6:.0f} MB of debug information")
