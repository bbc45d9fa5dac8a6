"""The documents: their commands run, their programs are the ones that are compiled, their links lead somewhere.

  documents_test.py SOURCE_FOLDER BUILD_FOLDER

A block marked "sh test" is run by bash in a clean copy of the checkout's top folder in which build/release is the build
under test. An "output" block behind it is what it prints; there N, LINE and NUMBER stand for a number, STAMP and
DATE TIME for a time, blanks for any number of blanks, and a line "..." for any lines. A block marked "cpp PATH" is the
file of that name.
"""
import os
import re
import subprocess
import sys
import tempfile
import unittest

ROOT, BUILD = (os.path.abspath(path) for path in sys.argv[1:3])
BLOCK = re.compile(r"^```([^\n]*)\n(.*?)^```$", re.S | re.M)


def documents():
    names = ["README.md", "CONTRIBUTING.md", "SECURITY.md"] + ["docs/" + n for n in os.listdir(os.path.join(ROOT, "docs"))]
    return sorted(name for name in names if name.endswith(".md"))


def text_of(name):
    with open(os.path.join(ROOT, name), encoding="utf-8") as file:
        return file.read()


def blocks(name):
    return [(match.group(1).strip(), match.group(2)) for match in BLOCK.finditer(text_of(name))]


def pattern_of(expected):
    lines = []
    for line in expected.splitlines():
        if line.strip() == "...":
            lines.append(r"(?:.*\n)*?")
            continue
        line = re.sub(r"\s+", " ", line.rstrip())
        line = re.escape(line).replace(r"\ ", " ")
        line = line.replace("DATE TIME", r"[-\d]+ [:\d]+").replace("STAMP", r"[-\d]+")
        line = re.sub(r"\b(N|LINE|NUMBER)\b", r"\\d+", line)
        lines.append(line.replace(" ", r"[ \t]+") + r"[ \t]*\n")
    return "".join(lines)


def anchors(name):
    headings = re.findall(r"^#+ (.*)$", BLOCK.sub("", text_of(name)), re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


class Documents(unittest.TestCase):
    def checkout(self):
        """A clean folder that looks like a checkout with a release build."""
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        folder = os.path.join(temporary.name, "checkout")
        os.makedirs(os.path.join(folder, "build"))
        os.makedirs(os.path.join(temporary.name, "home"))
        os.symlink(BUILD, os.path.join(folder, "build", "release"))
        # What scripts/install-deps has laid there.
        os.symlink(os.path.join(ROOT, "build", "deps"), os.path.join(folder, "build", "deps"))
        for entry in os.listdir(ROOT):
            if entry not in ("build", ".git"):
                os.symlink(os.path.join(ROOT, entry), os.path.join(folder, entry))
        return folder

    def run_block(self, folder, command):
        environment = dict(os.environ, HOME=os.path.join(os.path.dirname(folder), "home"), LC_ALL="C.UTF-8")
        return subprocess.run(["bash", "-eu", "-c", command], cwd=folder, env=environment, capture_output=True,
                              text=True, timeout=100, check=False)

    def test_commands(self):
        ran = 0
        for name in documents():
            folder = self.checkout()
            found = blocks(name)
            for i, (kind, command) in enumerate(found):
                if not kind.startswith("sh test"):
                    continue
                ran += 1
                result = self.run_block(folder, command)
                self.assertEqual(result.returncode, 0, f"{name}: {command}{result.stderr}")
                if i + 1 < len(found) and found[i + 1][0] == "output":
                    expected = found[i + 1][1]
                    self.assertRegex(result.stdout, re.compile(r"\A" + pattern_of(expected) + r"\Z"), f"{name}: {command}")
        self.assertGreaterEqual(ran, 6)

    def test_quoted_programs(self):
        quoted = []
        for name in documents():
            for kind, text in blocks(name):
                if kind.startswith("cpp "):
                    quoted.append(kind.split()[1])
                    self.assertEqual(text, text_of(quoted[-1]), f"{name} quotes {quoted[-1]}")
        examples = [n for n in os.listdir(os.path.join(ROOT, "docs", "examples")) if n.endswith(".cc")]
        self.assertEqual(sorted(quoted), sorted("docs/examples/" + n for n in examples))

    def test_snippets_compile(self):
        snippets = [text for name in ("README.md", "docs/from-crash-to-ticket.md")
                    for kind, text in blocks(name) if kind == "cpp"]
        self.assertGreaterEqual(len(snippets), 4)
        for text in snippets:
            # Includes, classes and functions first; what follows them are statements.
            lines = text.splitlines()
            split = max(i for i, line in enumerate(lines) if line.startswith(("#include", "}"))) + 1
            program = "\n".join(["#include <cstdio>", *lines[:split], "void Snippet() {", *lines[split:], "}"])
            result = subprocess.run(["g++", "-std=c++17", "-Wall", "-Werror", "-fsyntax-only", "-I", ROOT, "-x", "c++", "-"],
                                    input=program, capture_output=True, text=True, timeout=100, check=False)
            self.assertEqual(result.returncode, 0, result.stderr)

    def test_the_class_of_the_reference_sdk_loads_as_printed(self):
        document = text_of("examples/reference_sdk/README.md")
        printed = [text for kind, text in ((m.group(1).strip(), m.group(2)) for m in BLOCK.finditer(document)) if kind == "objc"]
        self.assertEqual(len(printed), 1)
        parameters = ", ".join(f"const char* text{i}" for i in range(7))
        program = f"#include <stdint.h>\nstatic int32_t UploadLog({parameters}) {{ return 7; }}\n{printed[0]}"
        with tempfile.TemporaryDirectory() as folder:
            framework = os.path.join(folder, "OruRTCSdk.framework")
            os.mkdir(framework)
            subprocess.run(["clang", "-Wall", "-Werror", "-Wno-unused-parameter", "-shared", "-fPIC", "-fobjc-runtime=gcc",
                            "-fexceptions", "-fobjc-exceptions", "-fconstant-string-class=NSConstantString", "-DGNUSTEP",
                            "-DGNUSTEP_BASE_LIBRARY=1", "-DGNU_RUNTIME=1", "-D_NATIVE_OBJC_EXCEPTIONS",
                            "-isystem", "/usr/include/GNUstep", "-isystem", os.path.join(BUILD, "objc-headers"),
                            "-x", "objective-c", "-", "-o", os.path.join(framework, "OruRTCSdk"), "-lgnustep-base"],
                           input=program, text=True, timeout=100, check=True)
            upload = subprocess.run([os.path.join(BUILD, "helper", "varnook"), "-action", "uploadLog", "-libp", folder],
                                    capture_output=True, text=True, timeout=100, check=False)
        self.assertEqual(upload.returncode, 7, upload.stderr)

    def test_links(self):
        for name in documents():
            for target in re.findall(r"\]\(([^)\s]+)\)", BLOCK.sub("", text_of(name))):
                if re.match(r"https?:", target):
                    continue
                path, _, anchor = target.partition("#")
                file = os.path.normpath(os.path.join(os.path.dirname(name), path)) if path else name
                self.assertTrue(os.path.exists(os.path.join(ROOT, file)), f"{name}: {target}")
                if anchor:
                    self.assertIn(anchor, anchors(file), f"{name}: {target}")

    def test_scripts_and_documents_that_are_named_exist(self):
        for name in documents():
            for path in re.findall(r"\b((?:scripts|docs|examples|tests)/[\w/.-]*\w)", text_of(name)):
                at = os.path.join(ROOT, path)
                # A built program has the path of its folder.
                self.assertTrue(os.path.exists(at) or os.path.exists(os.path.join(BUILD, path)), f"{name}: {path}")

    def test_the_index_names_every_document(self):
        index = text_of("docs/README.md")
        for name in documents():
            if name.startswith("docs/") and name != "docs/README.md":
                self.assertIn("](" + name[5:] + ")", index)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
