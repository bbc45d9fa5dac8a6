"""Doxygen's input filter: gives it the headers' plain comments in its own notation.

The comment above a declaration becomes its documentation, the first comment of a file that of the file, and lines set in
by three blanks or more become code. A comment above several declarations without a blank line between them is taken for
all of them. Comments inside function bodies stay plain, and what is in namespaces named `..._internal` is left out.
"""
import re
import sys

BODY_BEGIN = re.compile(r"\)[^;]*\{$")


def escaped(text):
    # Code between backquotes is left alone.
    parts = text.split("`")
    parts[::2] = [re.sub(r"([\\@#<>%&$])", r"\\\1", part) for part in parts[::2]]
    return "`".join(parts)


def converted(comment, indent, first_line):
    """The lines of a comment (without their slashes) as Doxygen's."""
    lines = []
    in_code = False
    for text in comment:
        is_code = text.startswith("   ") or (in_code and not text.strip())
        if is_code != in_code:
            lines.append("@code{.cpp}" if is_code else "@endcode")
            in_code = is_code
        lines.append(text[3:] if is_code else escaped(text.strip()))
    if in_code:
        lines.append("@endcode")
    # A blank line before what follows would be part of the code.
    return [f"{indent}/// {line}".rstrip() for line in ([first_line] if first_line else []) + lines]


class Filter:
    def __init__(self):
        self.out = []
        self.comment = []       # the comment lines being collected
        self.last = None        # the documentation that the neighbours of a declaration share
        self.body_indent = None
        self.internal = None    # the line that ends an internal namespace
        self.first = True
        self.in_statement = False
        self.in_macro = False
        self.parentheses = 0

    def feed(self, line):
        text = line.strip()
        indent = line[:len(line) - len(line.lstrip())]
        if self.internal is not None or self.body_indent is not None:
            self.skip(line, text, indent)
        elif text.startswith("//"):
            self.comment.append(text[2:])
            self.out.append(None)  # keeps line numbers when the comment turns out to be nobody's
            self.indent = indent
        else:
            self.flush(text, line, indent)

    def skip(self, line, text, indent):
        self.out.append("" if self.internal is not None and not line.startswith(self.internal) else line)
        if self.internal is not None and line.startswith(self.internal):
            self.internal = None
        if self.body_indent is not None and line.startswith(self.body_indent + "}"):
            self.body_indent = None

    def flush(self, text, line, indent):
        self.out = [entry for entry in self.out if entry is not None]
        if self.comment:
            self.last = self.comment
            self.parentheses = 0
            if self.first:
                self.out += converted(self.comment, "", "@file")
                self.last = None
            elif text:
                self.out += converted(self.comment, indent, "")
            self.comment = []
        elif not text or text.startswith(("}", "public:", "protected:", "private:")):
            self.last = None
        elif self.last and not self.in_statement and self.shares(text):
            self.out += converted(self.last, indent, "")
        self.first = False
        # What cannot be called needs no entry.
        self.out.append("" if text.endswith("= delete;") else line)
        if text.endswith("{"):
            self.last = None
        if not self.in_statement:
            self.statement_indent = indent
        self.parentheses += text.count("(") - text.count(")")
        ended = self.in_macro or text.startswith("#") or not text or text.endswith((";", "}", "{", ":", ","))
        self.in_macro = text.endswith("\\")
        self.in_statement = self.in_macro or self.parentheses > 0 or not ended
        if re.match(r"namespace \w+_internal \{", text):
            self.internal = "}  // namespace " + text.split()[1]
        elif BODY_BEGIN.search(text) and not text.startswith(("namespace", "class", "struct", "enum", "extern")):
            self.body_indent = self.statement_indent

    @staticmethod
    def shares(text):
        return not re.match(r"(virtual )?~", text) and not text.startswith(("#endif", "#include", "#if", "#else", "namespace", "using namespace"))

    def text(self):
        return "\n".join(entry for entry in self.out if entry is not None) + "\n"


def main():
    reader = Filter()
    with open(sys.argv[1], encoding="utf-8") as file:
        for line in file.read().splitlines():
            reader.feed(line)
    reader.flush("", "", "")
    sys.stdout.write(reader.text())


if __name__ == "__main__":
    main()
