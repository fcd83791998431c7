#!/usr/bin/env python3
"""Makes the man page ostrel-errors(7) of docs/errors.md.

  man_page.py ROOT           prints it
  man_page.py ROOT --check   fails unless docs/man/ostrel-errors.7 is that, and groff has nothing to
                             say of it
"""

import argparse
import re
import subprocess
import sys
from pathlib import Path

from markdown import CODE_SPAN, Problem, read_lines, report, split_cells

SOURCE = "docs/errors.md"
RESULT = "docs/man/ostrel-errors.7"
REMAKE = "scripts/man-pages"

HEAD = r""".\" Made of docs/errors.md by scripts/man-pages. Change that one.
.TH OSTREL\-ERRORS 7 "" libostrel "libostrel manual"
.nr HY 0
.ad l
.SH NAME
ostrel\-errors \- texts of failures and trace lines of libostrel
.SH DESCRIPTION
"""
FOOT = r""".SH SEE ALSO
.BR syslog (3),
.BR zmq_strerror (3)
.PP
Pages that are named with
.I .md
are those of the library's documentation.
"""


def escaped(text):
    text = text.replace("\\", r"\e")
    for character, name in {"-": r"\-", "^": r"\(ha", "~": r"\(ti", "`": r"\(ga",
                            "'": r"\(aq"}.items():
        text = text.replace(character, name)
    return text


LINK = re.compile(r"\[([^\[\]]+)\]\(([^()]*(?:\(\))?[^()]*)\)")


def linked(match):
    page = match[2].partition("#")[0]
    return f"{match[1]} ({page})" if page else match[1]


def inline(text):
    """A Markdown text as one line of roff."""
    pieces = []
    text = re.sub(r"\s*<br>\s*", " ", text.replace("\n", " ").strip())
    spans = []

    def hide(match):
        spans.append(match[2])
        return f"\0{len(spans) - 1}\0"

    text = LINK.sub(linked, CODE_SPAN.sub(hide, text))
    for index, piece in enumerate(re.split(r"\0(\d+)\0", text)):
        if index % 2:
            pieces.append(rf"\fB{escaped(spans[int(piece)])}\fR")
        else:
            piece = escaped(piece)
            pieces.append(re.sub(r"(\*\*?)([^*]+)\1", r"\\fI\2\\fR", piece))
    line = "".join(pieces)
    return r"\&" + line if line[:1] in (".", "'") else line


def table(lines):
    """A definition for each row: its texts, and below them the other cells under their headings."""
    header, _, *rows = [split_cells(line) for line in lines]
    result = []
    for first, *others in rows:
        for number, text in enumerate(first.split("<br>")):
            result += [".TQ" if number else ".TP", inline(text)]
        for number, (heading, cell) in enumerate(zip(header[1:], others)):
            result += [".br"] if number else []
            result.append(rf"\fI{inline(heading)}\fR: {inline(cell)}")
    return result


def paragraphs(lines):
    """The lines of a page by what belongs together: (kind, lines)."""
    found, kind = [], None
    for line in lines:
        if kind == "code":
            kind = None if line.startswith("```") else "code"
            if kind:
                found[-1][1].append(line)
            continue
        if line.startswith("```"):
            kind, begins = "code", True
        elif not line.strip():
            kind = None
            continue
        elif line.startswith("#"):
            kind, begins = "heading", True
        elif line.startswith("|"):
            kind, begins = "table", kind != "table"
        elif line.startswith("- "):
            kind, begins = "item", True
        else:
            kind, begins = kind if kind == "item" else "text", kind not in ("item", "text")
        if begins:
            found.append((kind, []))
        if kind != "code":
            found[-1][1].append(line.strip())
    return found


def roff_of(kind, lines):
    if kind == "heading":
        marks, _, title = lines[0].partition(" ")
        return [] if marks == "#" else [".SH " + inline(title.upper()) if marks == "##"
                                        else ".SS " + inline(title)]
    if kind == "table":
        return table(lines)
    if kind == "code":
        return [".PP", ".EX", *(r"\&" + escaped(line) for line in lines), ".EE"]
    if kind == "item":
        return [r".IP \(bu 2", inline(" ".join(lines)[2:])]
    return [".PP", inline(" ".join(lines))]


def man_page(root):
    body = [line for kind, lines in paragraphs(read_lines(root / SOURCE))
            for line in roff_of(kind, lines)]
    if body[:1] == [".PP"]:
        body = body[1:]  # Right behind a heading it does nothing.
    return HEAD + "\n".join(body) + "\n" + FOOT


def check(root):
    page = root / RESULT
    problems = []
    if not page.exists() or page.read_text(encoding="utf-8") != man_page(root):
        problems.append(Problem(RESULT, 1, f"not made of {SOURCE} as it is now: run {REMAKE}"))
    if page.exists():
        said = subprocess.run(["groff", "-man", "-ww", "-z", "-Tutf8", str(page)], text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT).stdout
        problems += [Problem(RESULT, 1, line) for line in said.splitlines()]
    return problems


def main():
    parser = argparse.ArgumentParser(description=f"Makes {RESULT} of {SOURCE}.")
    parser.add_argument("root", type=Path, help="the source tree")
    parser.add_argument("--check", action="store_true")
    options = parser.parse_args()
    if options.check:
        return report(check(options.root))
    sys.stdout.write(man_page(options.root))
    return 0


if __name__ == "__main__":
    sys.exit(main())
