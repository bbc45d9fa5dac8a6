"""Makes the crash reports of a fleet: any number, of a few hundred different crashes.

  fleet.py COUNT FOLDER [--zip]

Every report is a function of its number, so that a run can be repeated and its result is known.
"""
import os
import sys
import zipfile

CRASHES = 300
VERSIONS = ["6.1.0", "6.2.0", "6.2.1", "7.0.0"]
APPS = ["chat", "meet", "kiosk"]


def crash_of(number):
    # Some are frequent, most are rare.
    return (number * number // 7 + number) % (10 if number % 3 else CRASHES)


def version_of(number):
    return VERSIONS[number // 5 % len(VERSIONS)]


def app_of(number):
    return APPS[number // 11 % len(APPS)]


def day_of(number):
    return f"2024-{number // 28 % 12 + 1:02}-{number % 28 + 1:02}"


def symbol(name):
    return f"_ZN6OruRTC6Engine{len(name)}{name}Ev"


def name_of(number):
    return f"Crash_{app_of(number)}_s{number}_Signal_{day_of(number)}-{number // 3600 % 24:02}-{number // 60 % 60:02}-{number % 60:02}.log"


def report_of(number, threads=12):
    crash = crash_of(number)
    # Where images are loaded differs from machine to machine, offsets from build to build.
    base = 0x7f0000000000 + (number * 7919 % 100000) * 0x100000
    system = base + 0x10000000
    shift = 16 * (number // 5 % len(VERSIONS))
    lines = [f"Harware Model:     x86_64\nProcess:           {app_of(number)}\nPath:              /tmp/dumps\n"
             f"Code Type:         x86_64\nDate/Time:         {day_of(number)} {number // 3600 % 24:02}:{number // 60 % 60:02}:"
             f"{number % 60:02} 123\nCrash Thread:      {100 + number % 7}\n\nCrash Thread Backtrace:\n"]
    frames = [("libc.so.6", system + 0x3c050, "", 0)]
    frames += [("libOruRTCEngine.so", base + 0x1000 + 256 * depth + shift, symbol(f"step{crash}of{depth}"), 28 + shift)
               for depth in range(6)]
    frames += [("app", base + 0x800000 + 16 * crash, "main", 12 + shift), ("libc.so.6", system + 0x2724a, "__libc_start_main", 133)]
    for image, address, name, offset in frames:
        folder = "/lib/x86_64-linux-gnu" if image.startswith("libc") else "/opt/app"
        lines.append(f"{folder}/{image}({name}+0x{offset:x}) [0x{address:x}]\n")
    lines.append("\nAll Thread Backtrace:\n")
    for thread in range(threads):
        lines.append(f"Thread {100 + thread} worker-{thread}:\n")
        if thread == number % 7:
            lines += [f"{image:<30}  0x{address:08x} {name or '0x0'} + {offset}\n" for image, address, name, offset in frames]
        else:
            lines += [f"{'libc.so.6':<30}  0x{system + 0x89f14 + 64 * depth:08x} pthread_cond_wait + {212 + depth}\n"
                      for depth in range(8)]
        lines.append("\n")
    lines.append("\nBinary Images:\n")
    images = [("/opt/app/app", base + 0x800000, 0xfffff), ("/opt/app/libOruRTCEngine.so", base, 0xfffff),
              ("/lib/x86_64-linux-gnu/libc.so.6", system, 0x1fffff)]
    images += [(f"/usr/lib/x86_64-linux-gnu/lib{i}.so.0", system + 0x1000000 * (i + 1), 0xfffff) for i in range(30)]
    for path, start, size in images:
        lines.append(f"{hex(start):>18} - {hex(start + size):>18}  {path.split('/')[-1]} arm64  "
                     f"<{abs(hash_of(path, version_of(number))):032x}> {path}\n")
    lines.append(f"\nUserCustomInfo:\nbuild {number}\n")
    return "".join(lines)


def hash_of(path, version):
    value = 0
    for char in path + version:
        value = (value * 131 + ord(char)) % (1 << 128)
    return value


def make(count, folder):
    for version in VERSIONS:
        os.makedirs(os.path.join(folder, version), exist_ok=True)
    for number in range(count):
        with open(os.path.join(folder, version_of(number), name_of(number)), "w", encoding="utf-8") as file:
            file.write(report_of(number))


def make_zip(count, path):
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED, compresslevel=1) as archive:
        for number in range(count):
            archive.writestr(version_of(number) + "/" + name_of(number), report_of(number))


if __name__ == "__main__":
    if "--zip" in sys.argv:
        make_zip(int(sys.argv[1]), sys.argv[2])
    else:
        make(int(sys.argv[1]), sys.argv[2])
