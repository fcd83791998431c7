#!/usr/bin/env python3
"""Follows every link in the Markdown files, so that none leads nowhere.

Relative links must lead to a file or a folder of the source tree, and their anchors to a heading
there, by the rules that GitHub makes anchors by. Absolute links are listed, never fetched.
"""

import argparse
import os
import re
import sys
from pathlib import Path
from urllib.parse import unquote

from markdown import CODE_SPAN, Problem, blank, read_lines, report, without_blocks

# Made by builds, or not ours.
LEFT_OUT = {"build", "out", ".git"}

INLINE_LINK = re.compile(r'\]\(\s*<?([^)\s>]*)>?(?:\s+"[^"]*")?\s*\)')
REFERENCE = re.compile(r"\[([^\[\]]+)\]\[([^\[\]]*)\]")
DEFINITION = re.compile(r"^ {0,3}\[([^\[\]]+)\]:\s*<?([^\s>]+)>?", re.MULTILINE)
HTML_LINK = re.compile(r'<[^<>]*\b(?:href|src)="([^"]*)"')
HTML_ANCHOR = re.compile(r'<[^<>]*\b(?:id|name)="([^"]*)"')
HEADING = re.compile(r"^ {0,3}#{1,6} +(.*?)(?: +#+)? *$", re.MULTILINE)
UNDERLINED = re.compile(r"^(\S.*)\n(?:=+|-{3,}) *$", re.MULTILINE)


def markdown_files(root):
    for folder, folders, files in os.walk(root):
        folders[:] = sorted(set(folders) - LEFT_OUT)
        for name in sorted(files):
            if name.endswith(".md"):
                yield Path(folder, name)


def anchor_of(heading):
    """The anchor that GitHub gives a heading: its plain text in lower case, with hyphens for
    blanks, and without all that is no letter, digit, hyphen or underscore."""
    text = re.sub(r"!?\[([^\[\]]*)\]\([^()]*\)", r"\1", heading)
    plain = ""
    for index, piece in enumerate(re.split(r"(`+.+?`+)", text)):
        is_code = index % 2 == 1
        plain += piece.strip("`") if is_code else re.sub(r"\*|\b_|_\b|<[^<>]*>", "", piece)
    return re.sub(r"[^\w\- ]", "", plain.strip().lower()).replace(" ", "-")


def anchors_of(path):
    text = without_blocks(read_lines(path))
    found = [(match.start(), match[1]) for pattern in (HEADING, UNDERLINED)
             for match in pattern.finditer(text)]
    anchors = set(HTML_ANCHOR.findall(text))
    used = {}
    for _, heading in sorted(found):
        anchor = anchor_of(heading)
        again = used.get(anchor, 0)
        used[anchor] = again + 1
        anchors.add(f"{anchor}-{again}" if again else anchor)
    return anchors


def links_of(text):
    """Every target with its line, and every reference that is not defined with None."""
    text = CODE_SPAN.sub(blank, text)
    definitions = {match[1].lower() for match in DEFINITION.finditer(text)}
    targets = [(match.start(), match[1]) for pattern in (INLINE_LINK, HTML_LINK)
               for match in pattern.finditer(text)]
    targets += [(match.start(), match[2]) for match in DEFINITION.finditer(text)]
    targets += [(match.start(), None) for match in REFERENCE.finditer(text)
                if (match[2] or match[1]).lower() not in definitions]
    return [(text.count("\n", 0, at) + 1, target) for at, target in sorted(
        targets, key=lambda found: found[0])]


def what_is_wrong(root, page, target):
    if target is None:
        return "a reference that is not defined"
    if target.startswith("mailto:"):
        return None
    if target.startswith("//") or re.match(r"[a-z][a-z0-9+.-]*:", target, re.IGNORECASE):
        return f"neither relative nor http: {target}"
    path, _, anchor = target.partition("#")
    file = (page.parent / unquote(path)).resolve() if path else page
    if not path and not anchor:
        return "a link without a target"
    if path.startswith("/") or not file.is_relative_to(root):
        return f"leads out of the source tree: {target}"
    if not file.exists():
        return f"leads to no file: {target}"
    is_line = file.suffix != ".md" and re.fullmatch(r"L\d+(-L\d+)?", anchor)
    if anchor and not is_line and (file.suffix != ".md" or unquote(anchor) not in anchors_of(file)):
        return f"leads to no heading: {target}"
    return None


def check(root):
    """What is wrong in the Markdown files below root, how many links hold, and the absolute
    ones."""
    root = Path(root).resolve()
    problems, absolute, holding = [], [], 0
    for page in markdown_files(root):
        name = str(page.relative_to(root))
        for line, target in links_of(without_blocks(read_lines(page))):
            if target and re.match(r"https?://", target):
                absolute.append(f"{name}:{line}: {target}")
                continue
            wrong = what_is_wrong(root, page, target)
            if wrong:
                problems.append(Problem(name, line, wrong))
            else:
                holding += 1
    return problems, holding, absolute


def main():
    parser = argparse.ArgumentParser(description="Follows the links in the Markdown files.")
    parser.add_argument("root", type=Path, help="the source tree")
    problems, holding, absolute = check(parser.parse_args().root)
    for link in absolute:
        print(f"not fetched: {link}")
    print(f"{holding} relative links hold")
    return report(problems)


if __name__ == "__main__":
    sys.exit(main())
