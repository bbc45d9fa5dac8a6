"""Makes the libraries of a large program: 300 small ones and one with 200,000 symbols.

  make_images.py FOLDER [--compiler CC] [--images N] [--symbols N]
"""

import argparse
import pathlib
import subprocess

# Each copy of the small library gets a build id of its own in the place of this one.
BUILD_ID = bytes(range(0xA0, 0xA0 + 20))

SMALL = "int small_library_%s(int value) { return value + 1; }\n"

# The function in the middle calls back, so that the large table is searched for it.
CALL_BACK = """
.globl large_library_call
.type large_library_call, @function
large_library_call:
  .cfi_startproc
  subq $8, %rsp
  .cfi_adjust_cfa_offset 8
  call *%rdi
  addq $8, %rsp
  .cfi_adjust_cfa_offset -8
  ret
  .cfi_endproc
.size large_library_call, . - large_library_call
"""


def large_source(symbols):
    yield ".text\n"
    for number in range(symbols - 1):
        if number == symbols // 2:
            yield CALL_BACK
        name = f"large_library_function_number_{number:06d}"
        yield f".type {name}, @function\n{name}:\n.cfi_startproc\nret\n.cfi_endproc\n.size {name}, 1\n"
    yield '.section .note.GNU-stack,"",@progbits\n'


def link(compiler, source, library, *options):
    subprocess.run([compiler, "-shared", "-fPIC", "-O1", *options, "-o", library, source], check=True)


def make_small(folder, compiler, images):
    source = folder / "small.c"
    source.write_text(SMALL % "function")
    first = folder / "small.so"
    link(compiler, source, first, "-Wl,--build-id=0x" + BUILD_ID.hex())
    content = first.read_bytes()
    assert content.count(BUILD_ID) == 1
    for number in range(images):
        own_id = number.to_bytes(len(BUILD_ID), "big")
        (folder / f"libimage_{number:03d}.so").write_bytes(content.replace(BUILD_ID, own_id))
    first.unlink()


def make_large(folder, compiler, symbols):
    source = folder / "large.s"
    with source.open("w") as file:
        file.writelines(large_source(symbols))
    link(compiler, source, folder / "large.so", "-Wl,--build-id")
    source.unlink()


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--compiler", default="cc")
    parser.add_argument("--images", type=int, default=300)
    parser.add_argument("--symbols", type=int, default=200000)
    arguments = parser.parse_args()
    arguments.folder.mkdir(parents=True, exist_ok=True)
    make_small(arguments.folder, arguments.compiler, arguments.images)
    make_large(arguments.folder, arguments.compiler, arguments.symbols)
    (arguments.folder / "complete").touch()


if __name__ == "__main__":
    main()
