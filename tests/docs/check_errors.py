#!/usr/bin/env python3
"""Compares docs/errors.md with the texts in the sources, so that it has all of them and no other.

Every string literal of src is one of these, or stands in NO_TEXTS:

  line     printed on standard output: what trace(), lines.add(), lines.addWithText() and printf()
           are given. %d, %s and %p stand for what is not a literal.
  prefix   begins with "Error : ", goes in front of a text in syslog
  syslog   goes to syslog without a prefix: what logCloseFailure() is given
  text     of an exception

The page has them in the first cells of tables whose first column is headed as in KINDS, with a %s
for what follows, and in the second cell the files that they stand in. The rows of a table are
sorted. The texts of ZeroMQ's under "ZeroMQ's text" are those that tests/docs/ZmqTexts_test.cpp
provokes.
"""

import argparse
import re
import sys
from pathlib import Path

from markdown import Problem, code_spans, read_lines, report, tables_of

PAGE = "docs/errors.md"
PROVOKED = "tests/docs/ZmqTexts_test.cpp"

KINDS = {
    "Line": "line",
    "Syslog prefix": "prefix",
    "Syslog line": "syslog",
    "Text of the exception": "text",
    "ZeroMQ's text": "zmq",
}

# Literals that nobody gets to see as they are.
NO_TEXTS = {
    "",
    "%s",  # syslog()
    "%s%llx",
    "IDENTITY_",
    "Ostrel",
    "-2147483648",
    "0x0123456789abcdef",
    "(nil)",
}

# Literals, character literals and comments, in the order of their beginnings.
TOKEN = re.compile(r'"((?:[^"\\\n]|\\.)*)"|\'(?:[^\'\\\n]|\\.)+\'|//[^\n]*|/\*.*?\*/', re.DOTALL)
DIRECTIVE = re.compile(r"^\s*#.*$", re.MULTILINE)
# What the compiler says.
STATIC_ASSERT = re.compile(r"static_assert\s*\(")
PRINTING = re.compile(r"(?<![\w:.>])(trace|m?[lL]ines\.add(?:WithText)?|(?:std::)?(?:printf|puts))\s*\(")
ESCAPES = {r"\n": "\n", r"\"": '"', r"\\": "\\", r"\t": "\t"}


def unescaped(text):
    return re.sub(r"\\.", lambda match: ESCAPES[match[0]], text)


def plain_code(source):
    """The source with each literal as "<n>" and without comments and directives, and the literals.
    What stands on a line stays on it."""
    literals = []

    def keep(match):
        if match[1] is None:
            return re.sub(r"[^\n]", "", match[0])
        literals.append(unescaped(match[1]))
        return f'"{len(literals) - 1}"'

    source = DIRECTIVE.sub("", source)
    code = TOKEN.sub(keep, source)
    # Literals beside each other are one.
    pair = re.compile(r'"(\d+)"(\s*)"(\d+)"')
    while match := pair.search(code):
        literals[int(match[3])] = literals[int(match[1])] + literals[int(match[3])]
        code = code[:match.start()] + match[2] + f'"{match[3]}"' + code[match.end():]
    return code, literals


def arguments_at(code, start):
    """The arguments of the call whose parenthesis opens right before start, and where it ends."""
    depth, parts, begin, at = 1, [], start, start
    while depth:
        character = code[at]
        depth += (character in "([{") - (character in ")]}")
        if (character == "," and depth == 1) or depth == 0:
            parts.append(code[begin:at].strip())
            begin = at + 1
        at += 1
    return parts, at


def stand_in(function, place, argument):
    """What the page has for an argument that is not a literal."""
    if function.endswith("WithText") and place == 1:
        return "%s"
    return "%p" if "const void*" in argument else "%d"


def texts_of(source):
    """The texts in a source: (kind, text, line)."""
    code, literals = plain_code(source)
    found = []
    printed = set()
    for call in reversed(list(STATIC_ASSERT.finditer(code))):
        _, end = arguments_at(code, call.end())
        code = code[:call.start()] + re.sub(r"[^\n]", "", code[call.start():end]) + code[end:]
    for call in PRINTING.finditer(code):
        arguments, _ = arguments_at(code, call.end())
        numbers = [re.fullmatch(r'"(\d+)"', argument) for argument in arguments]
        printed.update(int(number[1]) for number in numbers if number)
        if not any(numbers):
            continue  # A declaration, or passed on.
        if "print" in call[1]:
            line = literals[int(numbers[0][1])].removesuffix("\n")
        else:
            line = "".join(literals[int(number[1])] if number else stand_in(call[1], place, argument)
                           for place, (number, argument) in enumerate(zip(numbers, arguments)))
        found.append(("line", line, code.count("\n", 0, call.start()) + 1))
    logged = {int(number) for number in re.findall(r'logCloseFailure\(\s*"(\d+)"', code)}
    for match in re.finditer(r'"(\d+)"', code):
        number = int(match[1])
        text = literals[number]
        if number in printed or text in NO_TEXTS:
            continue
        kind = "syslog" if number in logged else "text"
        if text.startswith("Error : "):
            kind = "prefix"
        found.append((kind, text, code.count("\n", 0, match.start()) + 1))
    return found


def texts_of_sources(root):
    """Every text with the files that it stands in: {(kind, text): {file: line}}."""
    found = {}
    for path in sorted((root / "src").glob("*/*")):
        name = str(path.relative_to(root / "src"))
        for kind, text, line in texts_of(path.read_text(encoding="utf-8")):
            found.setdefault((kind, text), {})[name] = line
    return found


def pieces_of(kind, shown):
    """The literals of a text as the page shows it: what stands between its %s. A line is one."""
    if kind == "line":
        return [shown]
    return [piece for piece in shown.split("%s") if piece]


class Page:
    def __init__(self, root):
        self.problems = []
        self.rows = []  # (kind, shown texts, files, row)
        for table in tables_of(read_lines(root / PAGE)):
            kind = KINDS.get(table.header[0])
            if kind:
                for row in table.rows:
                    self.read_row(kind, row, len(table.header))
                self.check_order([row for row in self.rows if row[3] in table.rows])

    def complain(self, line, text):
        self.problems.append(Problem(PAGE, line, text))

    def read_row(self, kind, row, columns):
        shown = code_spans(row.cells[0])
        if not shown:
            self.complain(row.line, "a row without a text in code marks")
        if len(row.cells) != columns or not all(row.cells):
            self.complain(row.line, "a row with an empty cell")
        for text in shown:
            at_end = " with a blank at its end" in row.cells[0]
            if (text != text.rstrip()) != at_end:
                self.complain(row.line,
                              "say 'with a blank at its end' of such texts, and of no other")
        files = set(code_spans(row.cells[1])) if len(row.cells) > 1 and kind != "zmq" else set()
        self.rows.append((kind, shown, {name for name in files if re.search(r"\.(h|cpp)$", name)},
                          row))

    def check_order(self, rows):
        for (_, before, _, _), (_, after, _, row) in zip(rows, rows[1:]):
            if before and after and before[0].lower() > after[0].lower():
                self.complain(row.line, f"`{after[0]}` is not in its place: rows are sorted")

    def texts(self):
        """Every literal that the page has, with the files and the line that it gives for it."""
        found = {}
        for kind, shown, files, row in self.rows:
            for text in shown:
                for piece in pieces_of(kind, text):
                    place = found.setdefault((kind, piece), (set(), row.line))
                    place[0].update(files)
        return found


def check_provoked(root, page):
    """The texts of ZeroMQ's against those that a test provokes, which calls ZeroMQ(text)."""
    path = root / PROVOKED
    tested = set(re.findall(r'ZeroMQ\("([^"]*)"\)', path.read_text(encoding="utf-8")))
    shown = {text: row.line for kind, texts, _, row in page.rows if kind == "zmq" for text in texts}
    for text in sorted(set(shown) - tested):
        page.complain(shown[text], f"no test provokes ZeroMQ's `{text}`")
    for text in sorted(tested - set(shown)):
        page.complain(1, f"ZeroMQ's `{text}` is provoked by a test and not on the page")


def check(root):
    """What is wrong between the page and the sources, and how many texts it has."""
    page = Page(root)
    in_sources = texts_of_sources(root)
    on_page = page.texts()
    for (kind, text), files in in_sources.items():
        if (kind, text) not in on_page:
            name, line = next(iter(files.items()))
            problem = Problem(f"src/{name}", line, f"{PAGE} does not have this {kind}: `{text}`")
            page.problems.append(problem)
    for (kind, text), (files, line) in on_page.items():
        if kind == "zmq":
            continue
        actual = set(in_sources.get((kind, text), {}))
        if not actual:
            page.complain(line, f"no source has this {kind}: `{text}`")
        elif not actual <= files:
            page.complain(line, f"`{text}` is also in {', '.join(sorted(actual - files))}")
    for kind, shown, files, row in page.rows:
        pieces = [(kind, piece) for text in shown for piece in pieces_of(kind, text)]
        actual = set().union(*(in_sources.get(piece, {}) for piece in pieces))
        if kind != "zmq" and actual and files - actual:
            page.complain(row.line, f"not in {', '.join(sorted(files - actual))}")
    check_provoked(root, page)
    return page.problems, len(in_sources)


def main():
    parser = argparse.ArgumentParser(description="Compares docs/errors.md with the sources.")
    parser.add_argument("root", type=Path, help="the source tree")
    parser.add_argument("--list", action="store_true", help="print the texts of the sources")
    options = parser.parse_args()
    root = options.root.resolve()
    if options.list:
        for (kind, text), files in sorted(texts_of_sources(root).items()):
            print(f"{kind}\t`{text}`\t{' '.join(files)}")
        return 0
    problems, count = check(root)
    print(f"{count} texts in the sources")
    return report(problems)


if __name__ == "__main__":
    sys.exit(main())
