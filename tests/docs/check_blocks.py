#!/usr/bin/env python3
"""Compiles and runs the code in the documents, so that what they show works.

Looks at README.md, CONTRIBUTING.md, SECURITY.md, docs/*.md, and the @code blocks of the public
headers. Every fenced block has a language:

  cpp      With `main(` it is a program, which is compiled and linked. Without, it is a fragment:
           declarations when one of its lines begins with `{`, `};` or with namespace, struct,
           class, enum or template; otherwise statements, which are put into a function. All public
           headers and the usual ones of the standard library stand ahead of a fragment, and what
           its markers say that it needs.
  sh       Must be what bash can parse.
  cmake    Must be what CMake can parse.
  text, console
           Shown as it is.

Markers are comments on lines of their own in front of a block:

  <!-- needs: int size = 0; -->        goes ahead of the fragment
  <!-- run: name -->                   the program is run
  <!-- run: name with other, more -->  meanwhile these programs run; they are killed afterwards.
                                       They are runs of the same page and need no output.
  <!-- output: name -->                the text block is exactly its standard output
  <!-- stderr: name -->                the text block is exactly its standard error
  <!-- diagram -->                     the block is a drawing and has no language

Names hold for their page. Programs run one after another, in an empty folder and, where the system
permits it, in a network of their own.
"""

import argparse
import ctypes
import difflib
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, field
from pathlib import Path

from markdown import Problem, blocks_of, page_of_header, read_lines, report

LANGUAGES = ("cpp", "sh", "cmake", "text", "console")

# What a marker may stand in front of.
MARKS = {
    "needs": "fragment",
    "run": "program",
    "output": "text",
    "stderr": "text",
    "diagram": "diagram",
}
STREAMS = {"output": "standard output", "stderr": "standard error"}

WARNINGS = ["-std=c++11", "-Wall", "-Wextra", "-Werror"]
# A fragment shows a beginning: what it defines is used further on.
OF_FRAGMENTS = ["-Wno-unused-variable", "-Wno-unused-but-set-variable", "-Wno-unused-function"]
STANDARD_HEADERS = """algorithm atomic cassert cerrno chrono csignal cstdint cstdio cstdlib cstring
    exception functional iostream map memory mutex new stdexcept string thread utility vector
    pthread.h syslog.h unistd.h""".split()

SECONDS_OF_A_RUN = 60


@dataclass
class Program:
    name: str
    partners: list
    block: object
    expected: dict = field(default_factory=dict)  # By the word of the marker.
    binary: Path = None


@dataclass
class Page:
    name: str
    blocks: list
    problems: list
    programs: list = field(default_factory=list)

    def complain(self, line, text):
        self.problems.append(Problem(self.name, line, text))


def kind_of(block):
    if block.language == "cpp":
        return "program" if re.search(r"\bmain\s*\(", block.text) else "fragment"
    return block.language or "diagram"


def read_page(root, name):
    lines = read_lines(root / name)
    problems = []
    if name.endswith(".h"):
        lines, problems = page_of_header(name, lines)
    blocks, more = blocks_of(name, lines)
    page = Page(name, blocks, problems + more)
    for block in blocks:
        check_markers(page, block)
    collect_programs(page)
    return page


def check_markers(page, block):
    kind = kind_of(block)
    words = [marker.word for marker in block.markers]
    if kind == "diagram" and "diagram" not in words:
        page.complain(block.line, "a block without a language")
    elif kind != "diagram" and block.language not in LANGUAGES:
        known = ", ".join(LANGUAGES)
        page.complain(block.line, f"unknown language '{block.language}' (known are {known})")
    for marker in block.markers:
        if marker.word not in MARKS:
            page.complain(marker.line, f"unknown marker '{marker.word}'")
        elif MARKS[marker.word] != kind:
            text = f"'{marker.word}' stands in front of a {MARKS[marker.word]}, this is a {kind}"
            page.complain(marker.line, text)
        elif marker.word != "diagram" and not marker.value:
            page.complain(marker.line, f"'{marker.word}' says nothing")
        elif marker.word != "needs" and words.count(marker.word) > 1:
            page.complain(marker.line, f"two markers '{marker.word}' in front of one block")


def collect_programs(page):
    named = {}
    for block in page.blocks:
        if kind_of(block) != "program":
            continue
        name, _, partners = (block.values("run") or [""])[0].partition(" with ")
        program = Program(name.strip(), re.findall(r"[^\s,]+", partners), block)
        page.programs.append(program)
        if program.name in named:
            page.complain(block.line, f"a second run '{program.name}'")
        elif program.name:
            named[program.name] = program
    for block in page.blocks:
        for word, stream in STREAMS.items():
            for name in block.values(word) if kind_of(block) == "text" else []:
                if name not in named:
                    page.complain(block.line, f"{stream} of a run '{name}' that there is not")
                elif word in named[name].expected:
                    page.complain(block.line, f"a second {stream} of the run '{name}'")
                else:
                    named[name].expected[word] = block
    partners = {partner for program in named.values() for partner in program.partners}
    for program in named.values():
        for partner in program.partners:
            if partner not in named or partner == program.name:
                page.complain(program.block.line, f"a run with '{partner}' that there is not")
        if not program.expected and program.name not in partners:
            page.complain(program.block.line, f"a run '{program.name}' without an output")


class Toolbox:
    """The compiler with what it is told, and a folder for what it makes."""

    def __init__(self, root, library, compiler, folder):
        self.root = root
        self.folder = Path(folder)
        self.compile = [compiler, *WARNINGS, f"-I{root / 'include'}"]
        self.link = [f"-L{library}", "-lostrel", "-lzmq", "-pthread", f"-Wl,-rpath,{library}"]

    def write(self, name, source):
        path = self.folder / name
        path.write_text(source, encoding="utf-8")
        return str(path)

    def run(self, *command):
        """What the command says, or nothing when it is content."""
        done = subprocess.run(command, cwd=self.root, text=True, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                              env={**os.environ, "LC_ALL": "C"})
        return "" if done.returncode == 0 else done.stdout or f"status {done.returncode}"


def complain_of_compiler(page, line, said):
    """Each error at its own line, or at the block's when the compiler does not say which."""
    errors = re.findall(rf"^{re.escape(page.name)}:(\d+):(?:\d+:)? (?:fatal )?error: (.*)$", said,
                        re.MULTILINE)
    for at, text in errors:
        page.complain(int(at), f"does not compile: {text}")
    if not errors:
        missing = re.findall(r"undefined reference to .*", said)
        text = "; ".join(sorted(set(missing))) or said.strip()
        page.complain(line, f"does not {'link' if missing else 'compile'}: {text}")


def line_directive(page, line):
    return f'#line {line} "{page.name}"\n'


def check_program(tools, page, program, number):
    program.binary = tools.folder / f"program{number}"
    source = line_directive(page, program.block.line + 1) + program.block.text
    path = tools.write(f"program{number}.cpp", source)
    said = tools.run(*tools.compile, path, "-o", str(program.binary), *tools.link)
    if said:
        program.binary = None
        complain_of_compiler(page, program.block.line, said)


DECLARES = re.compile(r"^(\{|\};|(namespace|struct|class|enum|template)\b)", re.MULTILINE)
INCLUDE = re.compile(r"^\s*#\s*include\b")


def source_of_fragments(page, fragments, headers):
    """One source for all fragments of a page, each in a namespace or a function of its own."""
    included = [f"#include <{name}>\n" for name in STANDARD_HEADERS + headers]
    bodies = []

    def code_of(lines, number):
        """The lines, the first of which has the number, without those that go to the top."""
        code = line_directive(page, number)
        for line in lines:
            if INCLUDE.match(line):
                included.append(line_directive(page, number) + line + "\n")
                line = ""
            code += line + "\n"
            number += 1
        return code

    for block in fragments:
        code = "".join(code_of(marker.value.split("\n"), marker.line)
                       for marker in block.markers if marker.word == "needs")
        code += code_of(block.lines, block.line + 1)
        scope = "namespace" if DECLARES.search(block.text) else "void"
        name = f"fragment{block.line}" + ("" if scope == "namespace" else "()")
        bodies.append(f"{scope} {name} {{\n{code}}}\n")
    return "".join(included + bodies)


def check_fragments(tools, page, fragments, headers, number):
    source = source_of_fragments(page, fragments, headers)
    path = tools.write(f"fragments{number}.cpp", source)
    said = tools.run(*tools.compile, *OF_FRAGMENTS, "-fsyntax-only", path)
    if said:
        complain_of_compiler(page, fragments[0].line, said)


def check_shell(tools, page, block, number):
    said = tools.run("bash", "-n", tools.write(f"block{number}.sh", block.text))
    if said:
        page.complain(block.line, "bash cannot parse it: " + said.split(": ", 1)[-1].strip())


def check_cmake(tools, page, block, number):
    # A file is parsed as a whole before its first command runs, which ends it here.
    path = tools.write(f"block{number}.cmake", "return()\n" + block.text)
    said = tools.run("cmake", "-P", path)
    if said:
        page.complain(block.line, "CMake cannot parse it: " + " ".join(said.split()))


LIBC = ctypes.CDLL(None)


def end_with_the_checker():
    """Some programs never end by themselves, and the checker may be killed."""
    pr_set_pdeathsig = 1
    LIBC.prctl(pr_set_pdeathsig, signal.SIGKILL)


def start(program, folder, stream):
    return subprocess.Popen([str(program.binary)], cwd=folder, text=True,
                            stdin=subprocess.DEVNULL, stdout=stream, stderr=stream,
                            preexec_fn=end_with_the_checker)


def check_run(page, program, seconds):
    """Runs the program beside its partners, and compares what it says."""
    named = {other.name: other for other in page.programs if other.name}
    partners = [named[name] for name in program.partners]
    if not all(other.binary for other in [program, *partners]):
        return  # It has been said why.
    line = program.block.line
    with tempfile.TemporaryDirectory() as folder:
        beside = [start(partner, folder, subprocess.DEVNULL) for partner in partners]
        child = start(program, folder, subprocess.PIPE)
        try:
            said = dict(zip(STREAMS, child.communicate(timeout=seconds)))
        except subprocess.TimeoutExpired:
            child.kill()
            child.communicate()
            page.complain(line, f"the run '{program.name}' did not end within {seconds} s")
            return
        finally:
            for partner, process in zip(partners, beside):
                if process.poll() not in (None, 0):
                    text = f"'{partner.name}' failed beside it: status {process.returncode}"
                    page.complain(line, text)
                process.kill()
                process.wait()
    if child.returncode != 0:
        text = f"the run '{program.name}' failed: status {child.returncode}\n{said['stderr']}"
        page.complain(line, text.strip())
    for word, block in program.expected.items():
        if said[word] != block.text:
            changes = list(difflib.unified_diff(
                block.text.splitlines(), said[word].splitlines(), "shown", "printed", lineterm=""))
            text = "\n".join(changes) or "only the ends of the lines differ"
            page.complain(block.line, f"not the {STREAMS[word]} of '{program.name}':\n{text}")


def check(root, pages, library, compiler, seconds=SECONDS_OF_A_RUN):
    """Checks the pages, given by their names below root. Returns them with their problems."""
    read = [read_page(root, name) for name in pages]
    headers = sorted(str(path.relative_to(root / "include"))
                     for path in (root / "include").glob("ostrel/*.h"))
    with tempfile.TemporaryDirectory() as folder, ThreadPoolExecutor(os.cpu_count()) as pool:
        tools = Toolbox(root, library, compiler, folder)
        jobs = []
        for page in read:
            fragments = [block for block in page.blocks if kind_of(block) == "fragment"]
            if fragments:
                jobs.append((check_fragments, tools, page, fragments, headers))
            jobs += [(check_program, tools, page, program) for program in page.programs]
            for language, checker in (("sh", check_shell), ("cmake", check_cmake)):
                jobs += [(checker, tools, page, block) for block in page.blocks
                         if block.language == language]
        for done in [pool.submit(*job, number) for number, job in enumerate(jobs)]:
            done.result()
        for page in read:
            # What is run must be well described first.
            if not page.problems:
                for program in page.programs:
                    if program.expected:
                        check_run(page, program, seconds)
    return read


def documents(root):
    names = ["README.md", "CONTRIBUTING.md", "SECURITY.md"]
    found = [path for pattern in ("docs/*.md", "include/ostrel/*.h") for path in root.glob(pattern)]
    return names + sorted(str(path.relative_to(root)) for path in found)


def enter_own_network():
    """Goes on in a network where nobody else takes the ports, if the system lets one have it."""
    mark = "OSTREL_DOCS_IN_OWN_NETWORK"
    raise_loopback = "ip link set lo up"
    enter = ["unshare", "--map-root-user", "--net", "sh", "-c"]
    if mark in os.environ:
        return
    try:
        probe = subprocess.run([*enter, raise_loopback], stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
    except FileNotFoundError:
        return
    if probe.returncode == 0:
        os.environ[mark] = "1"
        command = [*enter, raise_loopback + ' && exec "$@"', "sh", sys.executable, *sys.argv]
        os.execvp(command[0], command)


def main():
    parser = argparse.ArgumentParser(description="Compiles and runs the code in the documents.")
    parser.add_argument("root", type=Path, help="the source tree")
    parser.add_argument("library", type=Path, help="the folder of the built libostrel.so")
    parser.add_argument("--compiler", default="c++")
    parser.add_argument("pages", nargs="*", help="pages below the root; all when none is given")
    options = parser.parse_args()
    enter_own_network()
    started = time.monotonic()
    root = options.root.resolve()
    pages = check(root, options.pages or documents(root), options.library.resolve(),
                  options.compiler)
    kinds = [kind_of(block) for page in pages for block in page.blocks]
    counts = ", ".join(f"{kinds.count(kind)} {kind}" for kind in sorted(set(kinds)))
    runs = sum(bool(program.expected) for page in pages for program in page.programs)
    print(f"{len(pages)} pages with these blocks: {counts}; {runs} runs;"
          f" {time.monotonic() - started:.1f} s")
    return report([problem for page in pages for problem in page.problems])


if __name__ == "__main__":
    sys.exit(main())
