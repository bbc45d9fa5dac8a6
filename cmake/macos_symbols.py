#!/usr/bin/env python3
"""Lists what the macOS build leaves for the system to supply, and holds it against the SDK.

    macos_symbols.py SDK_DIR BUILD_DIR

Every undefined symbol of the linked Mach-O files must be one of:
  stub      exported by a link stub (.tbd) of the SDK: a framework's or the Objective-C runtime's
  header    a C function or variable that the SDK's headers declare as available in macOS 10.12: a source that uses
            it is compiled with unguarded availability as an error
  c++       a symbol of the C++ library, whose headers in the SDK mark what 10.12 lacks as unavailable
  runtime   what the compiler itself calls (stack protector, block and unwinding support), in 10.12 since long
  minizip   zip* of minizip, which is no part of macOS
Anything else fails the check.
"""
import os
import re
import subprocess
import sys
import tempfile

RUNTIME = {
    "___stack_chk_fail", "___stack_chk_guard", "dyld_stub_binder", "__Unwind_Resume", "___objc_personality_v0",
    "___gxx_personality_v0", "__objc_empty_cache", "___bzero", "__NSConcreteStackBlock", "__NSConcreteGlobalBlock",
    "__tlv_bootstrap", "___divti3", "___udivti3", "___memcpy_chk", "___strcpy_chk", "___snprintf_chk",
    "___vsnprintf_chk", "___sprintf_chk", "___memset_chk", "___memmove_chk",
}
RUNTIME_PREFIXES = ("___cxa_", "__Unwind_", "__Znw", "__Zna", "__Zdl", "__Zda", "___isOSVersion", "___dynamic_cast")
MINIZIP = re.compile(r"^_zip[A-Z]")


def run(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options).stdout


def mach_o_files(build):
    for folder, _, names in os.walk(build):
        if "CMakeFiles" in folder or "macos-stubs" in folder:
            continue
        for name in names:
            path = os.path.join(folder, name)
            if os.path.islink(path) or name.endswith((".a", ".o")):
                continue
            with open(path, "rb") as stream:
                if stream.read(4) == b"\xcf\xfa\xed\xfe":
                    yield path


def undefined(path):
    return {line.split()[-1] for line in run("llvm-nm-16", "-u", path).splitlines() if line.strip()}


def defined(path):
    return {line.split()[-1] for line in run("llvm-nm-16", "-U", "-g", path).splitlines() if line.strip()}


def stub_exports(sdk):
    """Symbols of all stubs for x86_64, as the linker spells them."""
    exports = set()
    for folder, _, names in os.walk(sdk):
        for name in names:
            if not name.endswith(".tbd"):
                continue
            with open(os.path.join(folder, name), encoding="utf-8") as stream:
                text = stream.read()
            for kind, prefix in (("symbols", ""), ("objc-classes", "_OBJC_CLASS_$_"), ("objc-classes", "_OBJC_METACLASS_$_"),
                                 ("objc-eh-types", "_OBJC_EHTYPE_$_")):
                for group in re.findall(rf"^\s*{kind}:\s*\[(.*?)\]", text, re.S | re.M):
                    exports.update(prefix + s.strip(" '\"\n") for s in group.split(","))
    return exports


HEADERS = """assert ctype dirent dispatch/dispatch dlfcn errno execinfo fcntl mach-o/dyld mach/mach mach/mach_error
mach/mach_time malloc/malloc math pthread sched semaphore setjmp signal stdarg stdio stdlib string sys/mman sys/resource
sys/select sys/socket sys/stat sys/sysctl sys/time sys/types sys/uio sys/utsname sys/wait time unistd wchar wctype xlocale
zlib curl/curl objc/runtime objc/message CoreFoundation/CoreFoundation""".split()


def declared_in_headers(sdk, names):
    """The names that the SDK's C headers declare for 10.12: each is mentioned in a function of a probe that is compiled
    with missing declarations and unguarded availability as errors; names in messages are the ones that are not."""
    include = os.path.join(sdk, "usr/include") if os.path.isdir(os.path.join(sdk, "usr/include")) else os.path.join(sdk, "include")
    frameworks = os.path.join(sdk, "System/Library/Frameworks")
    if not os.path.isdir(frameworks):
        frameworks = os.path.join(sdk, "Frameworks")
    # $DARWIN_EXTSN and the like choose a variant of one function.
    plain = {name: re.sub(r"\$[A-Z0-9_$]+$", "", name)[1:] for name in names}
    usable = {name: c for name, c in plain.items() if re.fullmatch(r"[A-Za-z_][A-Za-z0-9_]*", c)}
    lines = [f"#if __has_include(<{h}.h>)\n#include <{h}.h>\n#endif" for h in HEADERS]
    # The probe takes each thing's address, so that it stands for functions and variables alike.
    ordered = sorted(usable)
    lines += [f"#undef {usable[name]}" for name in ordered]
    at = sum(line.count("\n") + 1 for line in lines)
    where = {}
    for i, name in enumerate(ordered):
        lines.append(f"const void* probe_{i}(void) {{ return (const void*)&{usable[name]}; }}")
        at += 1
        where[at] = name
    with tempfile.TemporaryDirectory() as folder:
        probe = os.path.join(folder, "probe.c")
        with open(probe, "w", encoding="utf-8") as stream:
            stream.write("\n".join(lines) + "\n")
        result = subprocess.run(
            ["clang-16", "--target=x86_64-apple-macosx10.12", "-isysroot", sdk, "-isystem", include, "-iframework",
             frameworks, "-std=gnu11", "-ferror-limit=0", "-Wno-deprecated-declarations", "-Wno-everything",
             "-Werror=unguarded-availability", "-Werror=unguarded-availability-new", "-fsyntax-only", probe],
            capture_output=True, text=True, check=False)
    bad = {where[int(n)] for n in re.findall(r"probe\.c:(\d+):\d+: (?:fatal )?error", result.stderr) if int(n) in where}
    if result.returncode != 0 and not bad:
        sys.exit("build-macos: the probe of the headers does not compile:\n" + result.stderr[:2000])
    return set(usable) - bad


def main():
    sdk, build = sys.argv[1:3]
    files = sorted(mach_o_files(build))
    wanted, own = {}, set()
    for path in files:
        print(f"linked {os.path.relpath(path, build)}")
        own |= defined(path)
        for name in undefined(path):
            wanted.setdefault(name, []).append(os.path.basename(path))
    for name in own:
        wanted.pop(name, None)

    stubs = stub_exports(sdk)
    kinds = {}
    for name in wanted:
        if name in stubs:
            kinds[name] = "stub"
        elif MINIZIP.match(name):
            kinds[name] = "minizip"
        elif name in RUNTIME or name.startswith(RUNTIME_PREFIXES):
            kinds[name] = "runtime"
        elif name.startswith(("__ZNSt", "__ZNKSt", "__ZSt", "__ZTVN10__cxxabiv1", "__ZTISt", "__ZTVSt", "__ZTSSt",
                              "__ZTTNSt", "__ZTVNSt", "__ZTI", "__ZTINSt", "__ZThn", "__ZTv", "__ZGV")):
            kinds[name] = "c++"
    for name in declared_in_headers(sdk, set(wanted) - set(kinds)):
        kinds[name] = "header"

    for name in sorted(wanted):
        print(f"{kinds.get(name, 'UNKNOWN'):8} {name}")
    unknown = sorted(set(wanted) - set(kinds))
    counts = ", ".join(f"{sum(1 for k in kinds.values() if k == kind)} {kind}"
                       for kind in ("stub", "header", "c++", "runtime", "minizip"))
    print(f"build-macos: {len(files)} Mach-O files, {len(wanted)} symbols left for the system: {counts}, {len(unknown)} unknown")
    sys.exit(1 if unknown or not files else 0)


if __name__ == "__main__":
    main()
