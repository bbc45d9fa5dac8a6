#!/usr/bin/env python3
"""Writes the seeds of the targets that read images: fuzz/corpus/fuzz_{elf,macho,unwind}/seed-NN.

Small images of the compiler and the linker, from the sources of the readers' tests and from
fuzz/unwind_seed.s, behind the choices that a target takes from the front of its input. Needs clang,
GNU ld, ld64.lld and llvm-objcopy.

  fuzz/make_seeds.py
"""
import os
import shutil
import struct
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SAMPLES = os.path.join(ROOT, "tests/crash_handler/machine/images")
LIBRARY = os.path.join(SAMPLES, "no_build_id_library.c")
MACHO_LIBRARY = os.path.join(ROOT, "tests/support/macho_library.c")
UNWIND = os.path.join(ROOT, "fuzz/unwind_seed.s")


def tool(name):
    for candidate in (name, name + "-14", name + "-16"):
        if shutil.which(candidate):
            return candidate
    sys.exit("make_seeds: %s is missing" % name)


def run(*command):
    subprocess.run(command, check=True)


def read(path):
    with open(path, "rb") as file:
        return file.read()


def write(target, seeds):
    folder = os.path.join(ROOT, "fuzz/corpus", target)
    os.makedirs(folder, exist_ok=True)
    for number, seed in enumerate(seeds):
        with open(os.path.join(folder, "seed-%02d" % number), "wb") as file:
            file.write(seed)


def elf(folder, *options, source=LIBRARY):
    """An image without the gaps that pages need, so that it lies in memory as in its file."""
    path = os.path.join(folder, "image")
    pages = ["-Wl,-z," + option for option in
             ("noseparate-code", "norelro", "max-page-size=0x10", "common-page-size=0x10")]
    run("clang", "-nostdlib", "-fuse-ld=bfd", "-O1", "-fPIC", "-fasynchronous-unwind-tables", source, "-o", path,
        *pages, *options)
    return read(path)


def elf_seeds(folder):
    def choices(bits, first, step):
        return struct.pack(">BHB", bits, first, step)

    shared = ["-shared", "-Wl,--build-id=sha1"]
    program = ["-static", "-Wl,-e,library_function", "-Wl,-Ttext=0x1000", "-Wl,--build-id=md5"]
    return [
        choices(0x40, 0x250, 4) + elf(folder, *shared, "-Wl,--hash-style=both"),
        choices(0x14, 0x230, 8) + elf(folder, *shared, "-Wl,--hash-style=gnu", "-s"),
        choices(0x68, 0x1F0, 16) + elf(folder, *shared, "-Wl,--hash-style=sysv", "-s"),
        choices(0xAC, 0xFF0, 4) + elf(folder, *program),
        choices(0x81, 0x200, 16) + elf(folder, "-shared", "-Wl,--build-id=none"),
    ]


def compacted(image):
    """The image with its link data directly behind its load commands: the readers under test look at
    nothing between them."""
    image = bytearray(image)
    count, size = struct.unpack_from("<II", image, 16)
    commands = []
    at = 32
    for _ in range(count):
        command, length = struct.unpack_from("<II", image, at)
        commands.append((command, at))
        at += length
    end = (32 + size + 15) // 16 * 16
    link = next(at for command, at in commands if command == 25 and image[at + 8:at + 18] == b"__LINKEDIT")
    file_offset = struct.unpack_from("<Q", image, link + 40)[0]
    gap = file_offset - end
    for where in (link + 24, link + 40):
        struct.pack_into("<Q", image, where, struct.unpack_from("<Q", image, where)[0] - gap)
    for where in [at + field for command, at in commands if command == 2 for field in (8, 16)]:
        struct.pack_into("<I", image, where, struct.unpack_from("<I", image, where)[0] - gap)
    return bytes(image[:end] + image[file_offset:])


def hand_made(wide, order):
    """Two symbol tables behind two segments, in either width and byte order."""
    text = 0x10000
    word = "Q" if wide else "I"
    entry = "<>"[order == ">"] + ("IBBHQ" if wide else "IBBHI")
    tables = [[(1, 3, text), (8, 15, text + 0x40)], [(1, 15, text + 0x10), (14, 15, text + 0x40)]]
    strings = b"\0_first\0plain\0__two\0"
    head = 32 if wide else 28

    def segment(name, address, size, offset):
        numbers = struct.pack(order + word * 4, address, size, offset, size)
        body = name.ljust(16, b"\0") + numbers + bytes(16)
        return struct.pack(order + "II", 25 if wide else 1, 8 + len(body)) + body

    def symbols(at, count, names):
        return struct.pack(order + "IIIIII", 2, 24, at, count, names, len(strings))

    def commands(at):
        each = 2 * struct.calcsize(entry)
        return (struct.pack(order + "II", 27, 24) + bytes(range(16)) + segment(b"__TEXT", text, 0x1000, 0) +
                segment(b"__LINKEDIT", text + at, 0x200, at) + symbols(at, 2, at + 2 * each) +
                symbols(at + each, 2, at + 2 * each))

    size = len(commands(0))
    body = commands(head + size)
    magic = 0xfeedfacf if wide else 0xfeedface
    image = struct.pack(order + "IIIIIII", magic, 7, 3, 6, 5, size, 0).ljust(head, b"\0") + body
    for table in tables:
        for name, kind, value in table:
            image += struct.pack(entry, name, kind, 1, 0, value)
    return image + strings


def macho_seeds(folder):
    def choices(bits, cut, first, step):
        return struct.pack(">BHHB", bits, cut, first, step)

    target = "--target=x86_64-apple-macosx10.12"
    linked = []
    run("clang", target, "-O1", "-c", MACHO_LIBRARY, "-o", os.path.join(folder, "image.o"))
    for options in (["-dylib", "-install_name", "/l.dylib"], ["-bundle"]):
        path = os.path.join(folder, "image.dylib")
        run(tool("ld64.lld"), "-arch", "x86_64", "-platform_version", "macos", "10.12", "10.12", "-undefined",
            "dynamic_lookup", *options, os.path.join(folder, "image.o"), "-o", path)
        linked.append(compacted(read(path)))
    return [
        choices(0, 0, 0x2C0, 0x10) + linked[0],
        choices(1, 0x300, 0x2C0, 0x08) + linked[1],
        choices(4, 0, 0, 8) + hand_made(True, "<"),
        choices(4, 0, 0x38, 4) + hand_made(True, ">"),
        choices(4, 0xF0, 0, 16) + hand_made(False, "<"),
        choices(6, 0, 0, 8) + hand_made(False, ">"),
    ]


def endless_number(program, number, block=0):
    """A function whose table ends in the middle of a number that the bytes behind it go on with, in a
    block of its program or by itself."""
    index = bytes([1, 0x1b, 3, 0x3b]) + struct.pack("<iIii", 16, 1, -0x8000, 48)
    common = struct.pack("<IIB", 20, 0, 1) + b"zR\0" + bytes([1, 0x78, 16, 1, 0x1b, 0x0c, 7, 8, 0x90, 1, 0, 0])
    size = 13 + len(program) + (block or 0xFF000)
    entry = struct.pack("<IIiIB", size, 32, -0x8038, 0x100, 0) + program + number
    registers = bytes(8 + i for i in range(17))
    return struct.pack(">BHH", 2, 0, 0x10) + registers + index.ljust(20, b"\0") + common + bytes(4) + entry + b"\x80"


def unwind_seeds(folder):
    path = os.path.join(folder, "unwind")
    run("clang", "-nostdlib", "-shared", "-fuse-ld=bfd", "-Wl,-Ttext=0x8000", "-Wl,--section-start=.eh_frame_hdr=0x10000",
        "-Wl,--eh-frame-hdr", UNWIND, "-o", path)
    sections = {}
    for name in (".eh_frame_hdr", ".eh_frame", ".text"):
        out = os.path.join(folder, "section")
        run(tool("llvm-objcopy"), "-O", "binary", "--only-section=" + name, path, out)
        sections[name] = read(out)
    listing = subprocess.run([tool("llvm-readelf"), "-SW", path], check=True, capture_output=True, text=True).stdout
    addresses = {}
    for line in listing.splitlines():
        fields = line.split("]")[-1].split()
        if fields and fields[0] in sections:
            addresses[fields[0]] = int(fields[2], 16)
    start = addresses[".eh_frame_hdr"]
    text = addresses[".text"]
    index = sections[".eh_frame_hdr"].ljust(addresses[".eh_frame"] - start, b"\0")
    tables = index + sections[".eh_frame"]
    tables = tables.ljust((len(tables) + 15) // 16 * 16, b"\0")
    length = len(sections[".text"])
    seeds = []
    for number, bits in enumerate((0x00, 0x20, 0x60, 0x41)):
        stack = b"".join(struct.pack("<Q", text + 5 + i * 7 % length if i % 2 else start + len(tables) + 8 * i)
                         for i in range(40))
        registers = bytes(len(tables) // 8 + i % 8 for i in range(17))
        seeds.append(struct.pack(">BHH", bits, 0, text + number * 8 - start + 0x8000) + registers + tables + stack)
    block = 0x3C << 14
    seeds.append(endless_number(b"", b"\x0e"))
    seeds.append(endless_number(b"\x0f\x80\x80\x3c", b"\x10", block))
    seeds.append(endless_number(b"\x16\x03\x80\x80\x3c", b"\x70", block))
    return seeds


def main():
    if len(sys.argv) > 1:
        print(__doc__.strip())
        return 0 if sys.argv[1] in ("--help", "-h") else 2
    with tempfile.TemporaryDirectory() as folder:
        write("fuzz_elf", elf_seeds(folder))
        write("fuzz_macho", macho_seeds(folder))
        write("fuzz_unwind", unwind_seeds(folder))
    return 0


if __name__ == "__main__":
    sys.exit(main())
