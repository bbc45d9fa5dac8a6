"""The table of macOS sources that have never run names exactly those that no target of this build compiles.

  porting_test.py SOURCE_FOLDER BUILD_FOLDER
"""
import json
import os
import re
import subprocess
import sys
import unittest

ROOT, BUILD = map(os.path.abspath, sys.argv[1:3])


def platform_sources():
    listed = subprocess.run(["git", "-C", ROOT, "ls-files", "-co", "--exclude-standard"], capture_output=True, text=True, check=True)
    return {path for path in listed.stdout.split("\n") if re.search(r"_(mac|mach|arm64)\.(cc|mm|c)$", path)}


def compiled():
    with open(os.path.join(BUILD, "compile_commands.json"), encoding="utf-8") as stream:
        return {os.path.relpath(os.path.realpath(entry["file"]), os.path.realpath(ROOT)) for entry in json.load(stream)}


def listed_as_never_run():
    with open(os.path.join(ROOT, "docs/porting.md"), encoding="utf-8") as stream:
        table = stream.read().split("**What has not run.**")[1]
    rows = [row.split("|")[1] for row in re.findall(r"^\| `.*$", table, re.M)]
    return {name for row in rows for name in re.findall(r"`([^`]+)`", row)}


class NeverRun(unittest.TestCase):
    # A whole file within a condition on the processor is compiled here and is empty.
    OTHER_PROCESSOR = {"media_core/biz_engine/crash_handler/machine/threads/thread_state_mach_arm64.cc",
                       "tests/mach_double/platform_layout_arm64.cc"}

    def test_the_table_is_complete_and_holds_nothing_else(self):
        never = {path for path in platform_sources() if path not in compiled() or path in self.OTHER_PROCESSOR}
        never.discard("tests/mach_double/platform_layout_arm64.cc")  # values alone: nothing of it could run
        named = listed_as_never_run()
        for path in never:
            self.assertTrue(any(path.endswith(name) for name in named), f"{path} runs nowhere and is not listed")
        for name in named:
            self.assertTrue(any(path.endswith(name) for path in never), f"{name} is listed and does run, or is gone")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
