"""What the checkers of the documents share: pages, their blocks, markers, spans and tables."""

import re
from dataclasses import dataclass, field
from pathlib import Path


@dataclass(frozen=True, order=True)
class Problem:
    """Something that is wrong in a document, at a line of it (from 1)."""

    page: str
    line: int
    text: str

    def __str__(self):
        return f"{self.page}:{self.line}: {self.text}"


@dataclass
class Marker:
    """An HTML comment on lines of its own: `<!-- word -->` or `<!-- word: value -->`."""

    word: str
    value: str
    line: int


@dataclass
class Block:
    """A fenced block. `line` is that of its opening fence; its text begins on the next one."""

    language: str
    line: int
    lines: list = field(default_factory=list)
    markers: list = field(default_factory=list)

    @property
    def text(self):
        return "".join(line + "\n" for line in self.lines)

    def values(self, word):
        return [marker.value for marker in self.markers if marker.word == word]


FENCE = re.compile(r"^( *)(`{3,}|~{3,})\s*([^`]*?)\s*$")
MARKER = re.compile(r"^<!--\s*([a-z]+)(?::\s*(.*?))?\s*-->$", re.DOTALL)


def blocks_of(page, lines):
    """The fenced blocks of a page with their markers, and what is wrong with both."""
    blocks, problems, pending = [], [], []

    def drop_markers():
        for marker in pending:
            text = f"the marker '{marker.word}' is not in front of a block"
            problems.append(Problem(page, marker.line, text))
        pending.clear()

    index = 0
    while index < len(lines):
        line, number = lines[index], index + 1
        index += 1
        if line.lstrip().startswith("<!--"):
            comment = line.strip()
            while "-->" not in comment and index < len(lines):
                comment += "\n" + lines[index].strip()
                index += 1
            match = MARKER.match(comment)
            if match:
                pending.append(Marker(match[1], match[2] or "", number))
            else:
                problems.append(Problem(page, number, f"a comment that is no marker: {comment}"))
            continue
        opened = FENCE.match(line)
        if not opened:
            if line.strip():
                drop_markers()
            continue
        indent, fence, language = opened.groups()
        block = Block(language, number, markers=list(pending))
        pending.clear()
        closing = re.compile(rf"^ *{re.escape(fence[0])}{{{len(fence)},}}\s*$")
        while index < len(lines) and not closing.match(lines[index]):
            block.lines.append(lines[index].removeprefix(indent))
            index += 1
        if index == len(lines):
            problems.append(Problem(page, number, "a block that does not end"))
        index += 1
        blocks.append(block)
    drop_markers()
    return blocks, problems


COMMENT_LINE = re.compile(r"^\s*(?:///|//!|/\*\*|\*)(?!/) ?(.*)$")
CODE = re.compile(r"^(\s*)[@\\]code(?:\{\.?(\w+)\})?\s*$")
END_CODE = re.compile(r"^\s*[@\\]endcode\s*$")


def page_of_header(page, lines):
    """A C++ header as a Markdown page of as many lines: its documentation, with Doxygen's
    @code … @endcode as fences. Such code is C++ unless it says otherwise."""
    result, problems, opened = [], [], 0
    for number, line in enumerate(lines, 1):
        comment = COMMENT_LINE.match(line)
        text = comment[1] if comment else ""
        code = CODE.match(text)
        if code:
            opened = number
            text = f"{code[1]}```{code[2] or 'cpp'}"
        elif END_CODE.match(text):
            opened = 0
            text = "```"
        elif opened and not comment:
            problems.append(Problem(page, opened, "@code without @endcode"))
            opened = 0
            text = "```"
        result.append(text)
    return result, problems


def read_lines(path):
    return Path(path).read_text(encoding="utf-8").split("\n")


def blank(match):
    """As much space as there was, on as many lines."""
    return re.sub(r"[^\n]", " ", match[0])


CODE_SPAN = re.compile(r"(?<!`)(`+)(?!`)(.+?)(?<!`)\1(?!`)", re.DOTALL)


def without_blocks(lines):
    """The text of a page, where fenced blocks, indented ones and comments are blank lines."""
    result, closing, after_blank = [], None, True
    for line in lines:
        fence = FENCE.match(line)
        if closing:
            if closing.match(line):
                closing = None
            result.append("")
        elif fence:
            closing = re.compile(rf"^ *{re.escape(fence[2][0])}{{{len(fence[2])},}}\s*$")
            result.append("")
        elif after_blank and re.match(r" {4,}(?![-*] |\d+\. )\S", line):
            result.append("")
            continue
        else:
            result.append(line)
        after_blank = not line.strip()
    return re.sub(r"<!--.*?-->", blank, "\n".join(result), flags=re.DOTALL)


def code_spans(text):
    """The code spans of a text as they are written, blanks at their ends included."""
    return [match[2] for match in CODE_SPAN.finditer(text)]


@dataclass
class Row:
    line: int
    cells: list


@dataclass
class Table:
    section: str
    header: list
    rows: list


def split_cells(line):
    hidden = CODE_SPAN.sub(lambda match: match[0].replace("|", "\0"), line.strip())
    return [cell.strip().replace("\0", "|") for cell in hidden.strip("|").split("|")]


def tables_of(lines):
    """The pipe tables of a page, each with the heading that it stands under."""
    tables, section, current = [], "", None
    for number, line in enumerate(without_blocks(lines).split("\n"), 1):
        heading = re.match(r"^#+ (.*)$", line)
        if heading:
            section = heading[1]
        if not line.startswith("|"):
            current = None
        elif current is None:
            current = Table(section, split_cells(line), [])
            tables.append(current)
        elif not re.fullmatch(r"[|: -]+", line):
            current.rows.append(Row(number, split_cells(line)))
    return tables


def report(problems):
    for problem in sorted(problems):
        print(problem)
    return 1 if problems else 0
