#!/usr/bin/env python3
"""checkers_test.py ROOT LIBRARY COMPILER: whether the checkers of the documents find what is wrong.

Each test makes a small source tree of good and bad documents and compares all that a checker says.
"""

import re
import sys
import tempfile
import textwrap
import unittest
from pathlib import Path

import check_blocks
import check_errors
import check_links
import man_page

ROOT, LIBRARY, COMPILER = None, None, None


def without_compilers_words(said):
    return [re.sub(r"(does not compile: ).*", r"\1", line) for line in said]


class Documents(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name).resolve()

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(textwrap.dedent(text).lstrip("\n"), encoding="utf-8")


class Blocks(Documents):
    def setUp(self):
        super().setUp()
        (self.root / "include").symlink_to(ROOT / "include")

    def said(self, *pages, seconds=30):
        read = check_blocks.check(self.root, pages, LIBRARY, COMPILER, seconds)
        return [str(problem) for page in read for problem in sorted(page.problems)]

    def said_of(self, text, **options):
        self.write("page.md", text)
        return self.said("page.md", **options)

    def test_good_blocks_of_every_kind_pass(self):
        self.assertEqual(self.said_of("""
            Text with `<!-- run: nothing -->` in it.

            <!-- diagram -->
            ```
            a -> b
            ```

            ```sh
            for i in 1 2; do echo "$i"; done
            ```

            ```console
            $ if this is broken
            ```

            ```cmake
            find_package(ostrel 1 REQUIRED)
            target_link_libraries(app PRIVATE ostrel::ostrel)
            ```

            <!-- needs: ostrel::MsgReplyServerChannel channel("x"); -->
            ```cpp
            int sent = channel.ipcSend(1, nullptr, 0);
            ```

            ```cpp
            #include <list>

            std::list<int> twice(int number)
            {
                return {number, number};
            }
            ```

            <!-- needs: #include <arpa/inet.h> -->
            <!-- needs: int type =
                             7; -->
            ```cpp
            const auto bytes = htonl(static_cast<std::uint32_t>(type));
            ```

            - In a list:

              ```cpp
              ostrel::StringMsg msg(1);
              msg[0] = "a";
              ```
            """), [])

    def test_a_run_is_compared_with_its_outputs(self):
        self.assertEqual(self.said_of("""
            <!-- run: server -->
            ```cpp
            #include <ostrel/IpcMsg.h>
            #include <ostrel/MsgReplyServerChannel.h>

            int main()
            {
                ostrel::MsgReplyServerChannel channel("server");
                channel.setServerEndPoint("ipc://here");
                for (;;) {
                    ostrel::IpcMsg request;
                    channel.ipcReceive(&request, -1);
                    channel.ipcSend(5, request.getMsgData(), request.getMsgSize());
                }
            }
            ```

            <!-- run: client with server -->
            ```cpp
            #include <iostream>
            #include <ostrel/IpcMsg.h>
            #include <ostrel/MsgRequestClientChannel.h>

            int main()
            {
                ostrel::MsgRequestClientChannel channel("client");
                channel.setServerEndPoint("ipc://here");
                char data[] = "hello";
                channel.ipcSend(1, data, 5);
                ostrel::IpcMsg answer;
                channel.ipcReceive(&answer, -1);
                std::cerr << std::string(answer.getMsgData(), answer.getMsgSize()) << '\\n';
            }
            ```

            <!-- output: client -->
            ```text
            in RequestReplayMsgPattern receive
            in the receive ...
            ZMQWrapper::receive: about to receive the msg
            get the msg hdr size 8
            ZMQWrapper::receive: about to receive the msg
            get the msg size 5
            ```

            <!-- stderr: client -->
            ```text
            hello
            ```
            """), [])

    def test_another_output_than_the_shown_one_is_found(self):
        self.assertEqual(self.said_of("""
            <!-- run: speaker -->
            ```cpp
            #include <cstdio>
            int main()
            {
                std::puts("one");
                std::fputs("two\\n", stderr);
            }
            ```
            <!-- output: speaker -->
            ```text
            one!
            ```
            <!-- stderr: speaker -->
            ```text
            two
            three
            ```
            """), [
            "page.md:11: not the standard output of 'speaker':\n"
            "--- shown\n+++ printed\n@@ -1 +1 @@\n-one!\n+one",
            "page.md:15: not the standard error of 'speaker':\n"
            "--- shown\n+++ printed\n@@ -1,2 +1 @@\n two\n-three",
        ])

    def test_programs_that_fail_or_do_not_end_are_found(self):
        self.assertEqual(self.said_of("""
            <!-- run: partner -->
            ```cpp
            int main() { return 4; }
            ```
            <!-- run: failing -->
            ```cpp
            #include <cstdio>
            int main() { std::fputs("why", stderr); return 3; }
            ```
            <!-- output: failing -->
            ```text
            ```
            <!-- run: endless -->
            ```cpp
            int main() { for (;;) {} }
            ```
            <!-- output: endless -->
            ```text
            ```
            <!-- run: waiting with partner -->
            ```cpp
            #include <unistd.h>
            int main() { sleep(1); }
            ```
            <!-- output: waiting -->
            ```text
            ```
            """, seconds=3), [
            "page.md:6: the run 'failing' failed: status 3\nwhy",
            "page.md:14: the run 'endless' did not end within 3 s",
            "page.md:21: 'partner' failed beside it: status 4",
        ])

    def test_code_that_does_not_build_is_found_at_its_line(self):
        self.write("program.md", """
            ```cpp
            int main()
            {
                int unused;
                return "text";
            }
            ```
            """)
        self.write("linked.md", """
            ```cpp
            void missing();
            int main() { missing(); }
            ```
            """)
        self.write("statements.md", """
            <!-- needs: int known = 0; -->
            ```cpp
            known = 1;
            ```

            ```cpp
            known = 2;
            ```
            """)
        self.write("declarations.md", """
            ```cpp
            int number()
            {
                return nothing;
            }
            ```
            """)
        self.write("needs.md", """
            <!-- needs: nonsense here; -->
            ```cpp
            int a = 0;
            ```
            """)
        said = self.said("program.md", "linked.md", "statements.md", "declarations.md", "needs.md")
        self.assertEqual(without_compilers_words(said), [
            "program.md:4: does not compile: ",
            "program.md:5: does not compile: ",
            "linked.md:1: does not link: undefined reference to `missing()'",
            "statements.md:7: does not compile: ",
            "declarations.md:4: does not compile: ",
            "needs.md:1: does not compile: ",
        ])

    def test_scripts_that_cannot_be_parsed_are_found(self):
        said = self.said_of("""
            ```sh
            if true; then
            ```
            ```cmake
            find_package(ostrel
            ```
            """)
        self.assertEqual(len(said), 2, said)
        self.assertTrue(said[0].startswith("page.md:1: bash cannot parse it: line 2: "), said[0])
        self.assertTrue(said[1].startswith("page.md:4: CMake cannot parse it: "), said[1])

    def test_markers_and_languages_that_make_no_sense_are_found(self):
        program = "```cpp\nint main() {}\n```\n"
        text = "```text\n```\n"
        cases = {
            "```\nx\n```\n": ["1: a block without a language"],
            "```c\nx\n```\n":
                ["1: unknown language 'c' (known are cpp, sh, cmake, text, console)"],
            "```text\nx\n": ["1: a block that does not end"],
            "<!-- colour: red -->\n" + text: ["1: unknown marker 'colour'"],
            "<!-- A remark. -->\n": ["1: a comment that is no marker: <!-- A remark. -->"],
            "<!-- diagram -->\n" + text:
                ["1: 'diagram' stands in front of a diagram, this is a text"],
            "<!-- needs: int a; -->\n" + program:
                ["1: 'needs' stands in front of a fragment, this is a program"],
            "<!-- run: a -->\nA sentence.\n": ["1: the marker 'run' is not in front of a block"],
            "<!-- run: a -->\n": ["1: the marker 'run' is not in front of a block"],
            "<!-- run: a -->\n" + program: ["2: a run 'a' without an output"],
            "<!-- run: -->\n" + program: ["1: 'run' says nothing"],
            "<!-- run: a -->\n<!-- run: b -->\n" + program + "<!-- output: a -->\n" + text:
                ["1: two markers 'run' in front of one block",
                 "2: two markers 'run' in front of one block"],
            "<!-- output: a -->\n" + text: ["2: standard output of a run 'a' that there is not"],
            ("<!-- run: a -->\n" + program + "<!-- output: a -->\n" + text) * 2:
                ["9: a second run 'a'", "13: a second standard output of the run 'a'"],
            "<!-- run: a with b -->\n" + program + "<!-- output: a -->\n" + text:
                ["2: a run with 'b' that there is not"],
            "<!-- run: a with a -->\n" + program + "<!-- output: a -->\n" + text:
                ["2: a run with 'a' that there is not"],
        }
        names, expected = [], []
        for number, (page, wrong) in enumerate(cases.items()):
            names.append(f"case{number:02}.md")
            (self.root / names[-1]).write_text(page, encoding="utf-8")
            expected += [f"{names[-1]}:{line}" for line in wrong]
        self.assertEqual(self.said(*names), expected)

    def test_the_code_of_a_header_is_checked(self):
        (self.root / "include").unlink()
        self.write("include/ostrel/Number.h", """
            /// Adds. Like this:
            ///
            /// <!-- needs: int one = 1; -->
            /// @code
            /// int two = add(one, 1);
            /// int three = add(two);
            /// @endcode
            /// @code{.sh}
            /// echo three
            /// @endcode
            int add(int a, int b);

            /**
             * @code{.cpp}
             * int four = ad(2, 2);
             * @endcode
             */
            int four();
            /// @code
            /// int five = 5;
            int five();
            """)
        self.assertEqual(without_compilers_words(self.said("include/ostrel/Number.h")), [
            "include/ostrel/Number.h:6: does not compile: ",
            "include/ostrel/Number.h:15: does not compile: ",
            "include/ostrel/Number.h:19: @code without @endcode",
        ])


class Links(Documents):
    def said(self):
        problems, holding, absolute = check_links.check(self.root)
        return [str(problem) for problem in sorted(problems)], holding, absolute

    def test_good_links_hold(self):
        self.write("docs/other.md", """
            # The `Msg_Channel`: what *it* does, & why?

            ## Again
            ## Again

            Underlined
            ----------

            ```text
            ## Not a heading
            ```

            [up](../README.md) [same](#again-1) <a id="mark"></a>
            """)
        self.write("README.md", """
            [a](docs/other.md), [b](docs/other.md#the-msg_channel-what-it-does--why),
            [c](docs/other.md#again), [d](docs/other.md#mark), [e](docs), [f][there],
            [g](docs/other.md#underlined), [a code `x[1](2)`](docs/other.md), `[no](nowhere)`,
            [away](https://example.org/x#y), [there][] and [code](docs/code.cpp#L12)

            [there]: docs/other.md "with a title"

            ```text
            [in a block](nowhere)
            ```

                [in an indented block](nowhere)
            """)
        self.write("docs/code.cpp", "")
        self.write("build/generated.md", "[x](nowhere)")
        self.assertEqual(self.said(), ([], 11, ["README.md:4: https://example.org/x#y"]))

    def test_each_kind_of_bad_link_is_found(self):
        self.write("docs/other.md", """
            ## Again

            ```text
            ## Not a heading
            ```
            """)
        self.write("docs/code.cpp", "")
        self.write("README.md", """
            [a](docs/othr.md)
            [b](docs/other.md#agan)
            [c](docs/other.md#not-a-heading) [d](#nothing)
            [e](../outside.md)
            [f](/docs/other.md)
            [g][undefined]
            [h](ftp://example.org)
            [i](docs/code.cpp#x)
            [j]()
            <img src="picture.png">
            [k](docs/Other.md)

            [l]: missing.md
            """)
        self.assertEqual(self.said()[0], [
            "README.md:1: leads to no file: docs/othr.md",
            "README.md:2: leads to no heading: docs/other.md#agan",
            "README.md:3: leads to no heading: #nothing",
            "README.md:3: leads to no heading: docs/other.md#not-a-heading",
            "README.md:4: leads out of the source tree: ../outside.md",
            "README.md:5: leads out of the source tree: /docs/other.md",
            "README.md:6: a reference that is not defined",
            "README.md:7: neither relative nor http: ftp://example.org",
            "README.md:8: leads to no heading: docs/code.cpp#x",
            "README.md:9: a link without a target",
            "README.md:10: leads to no file: picture.png",
            "README.md:11: leads to no file: docs/Other.md",
            "README.md:13: leads to no file: missing.md",
        ])


class Errors(Documents):
    PAGE = """
        # Errors

        | Text of the exception | Source | Cause |
        |---|---|---|
        | `Bad : %s : End : %s` | `a/A.cpp` | x |
        | `Ends : ` with a blank at its end | `a/A.cpp`, `b/B.h` | x |
        | `Never` <br> `Nothing` | `b/B.h` | see [below](#lines) |

        | ZeroMQ's text | Cause |
        |---|---|
        | `Invalid argument` | x |

        | Syslog prefix | Source | Cause |
        |---|---|---|
        | `Error : A::b() : %s` | `a/A.cpp` | x |

        ## Lines

        | Line | Source | Printed |
        |---|---|---|
        | `at %x` | `a/A.cpp` | x |
        | `got %d parts of "%d"` | `a/A.cpp` | x |
        | `in %p` | `a/A.cpp` | x |
        | `name = %s ` with a blank at its end | `a/A.cpp` | x |

        | Syslog line | Source | Cause |
        |---|---|---|
        | `Not closed : %s` | `b/B.h` | x |

        | Result | Of |
        |---|---|
        | -1 | `Not a text` |
        """

    def setUp(self):
        super().setUp()
        self.write("src/a/A.cpp", """
            #include "b/B.h"
            // "A comment", and a 'quote.
            /* "Another" */
            static_assert(sizeof(int) == 4, "odd int");
            constexpr char quote = '"';
            void A::b()
            {
                logged("Error : A::b() : ", [&] {
                    check(zmq("IDENTITY_"), zmqText("Bad : ", error) + " : End : " + end);
                    trace("got ", f(parts, 1), " parts of \\"", 7, "\\"");
                    mLines.addWithText("name = ", name(1, 2), " ");
                    std::printf("at "
                                "%x\\n",
                                name);
                    lines.add("in ", reinterpret_cast<const void*>(place));
                    throw std::logic_error("Ends : ");
                });
            }
            """)
        self.write("src/b/B.h", """
            inline const char* text(bool some)
            {
                logCloseFailure("Not closed : ", 1);
                throw std::logic_error(some ? "Never" : "Nothing");
                throw std::logic_error("Ends : ");
            }
            """)
        self.write("tests/docs/ZmqTexts_test.cpp", 'EXPECT_EQ(ZeroMQ("Invalid argument"), x);')

    def said_of(self, page):
        self.write("docs/errors.md", page)
        problems, _ = check_errors.check(self.root)
        return [str(problem) for problem in sorted(problems)]

    def said_with(self, old, new):
        self.assertIn(old, self.PAGE)
        page = self.PAGE.replace(old, new)
        return self.said_of(re.sub(r"^ *\0", "", page, flags=re.MULTILINE))

    def test_a_page_with_all_texts_passes(self):
        self.assertEqual(self.said_of(self.PAGE), [])

    def test_a_missing_text_of_each_kind_is_found(self):
        for row, wrong in {
            "| `Bad : %s : End : %s` | `a/A.cpp` | x |": [
                "src/a/A.cpp:9: docs/errors.md does not have this text: ` : End : `",
                "src/a/A.cpp:9: docs/errors.md does not have this text: `Bad : `"],
            "| `Error : A::b() : %s` | `a/A.cpp` | x |": [
                "src/a/A.cpp:8: docs/errors.md does not have this prefix: `Error : A::b() : `"],
            '| `got %d parts of "%d"` | `a/A.cpp` | x |': [
                'src/a/A.cpp:10: docs/errors.md does not have this line: `got %d parts of "%d"`'],
            "| `name = %s ` with a blank at its end | `a/A.cpp` | x |": [
                "src/a/A.cpp:11: docs/errors.md does not have this line: `name = %s `"],
            "| `Not closed : %s` | `b/B.h` | x |": [
                "src/b/B.h:3: docs/errors.md does not have this syslog: `Not closed : `"],
            "| `Invalid argument` | x |": [
                "docs/errors.md:1: ZeroMQ's `Invalid argument` is provoked by a test"
                " and not on the page"],
        }.items():
            with self.subTest(row):
                self.assertEqual(self.said_with(row + "\n", "\0"), wrong)

    def test_a_text_that_is_not_in_the_sources_is_found(self):
        self.assertEqual(self.said_with("| `Never` <br> ", "| `Never` <br> `Newer` <br> "),
                         ["docs/errors.md:7: no source has this text: `Newer`"])
        self.assertEqual(self.said_with("| `Not closed : %s` |", "| `Not closed: %s` |"), [
            "docs/errors.md:28: no source has this syslog: `Not closed: `",
            "src/b/B.h:3: docs/errors.md does not have this syslog: `Not closed : `"])
        self.assertEqual(
            self.said_with("| `Invalid argument` | x |",
                           "| `Invalid argument` | x |\n        | `Odd` | x |"),
            ["docs/errors.md:12: no test provokes ZeroMQ's `Odd`"])

    def test_a_text_of_another_kind_is_found(self):
        self.assertEqual(self.said_with("| Syslog line |", "| Line |"), [
            "docs/errors.md:28: no source has this line: `Not closed : %s`",
            "src/b/B.h:3: docs/errors.md does not have this syslog: `Not closed : `"])

    def test_wrong_places_are_found(self):
        self.assertEqual(self.said_with("| `a/A.cpp`, `b/B.h` |", "| `a/A.cpp` |"),
                         ["docs/errors.md:6: `Ends : ` is also in b/B.h"])
        self.assertEqual(self.said_with('%d"` | `a/A.cpp` |', '%d"` | `a/A.cpp`, `b/B.h` |'),
                         ["docs/errors.md:22: not in b/B.h"])

    def test_rows_of_another_form_are_found(self):
        self.assertEqual(self.said_with("| `Never` <br> `Nothing` |", "| `Nothing` <br> `Never` |"),
                         [])
        self.assertEqual(self.said_with("| `Never` <br>", "| `A` <br> `Never` <br>"),
                         ["docs/errors.md:7: `A` is not in its place: rows are sorted",
                          "docs/errors.md:7: no source has this text: `A`"])
        self.assertEqual(self.said_with("Ends : ` with a blank at its end", "Ends : `"),
                         ["docs/errors.md:6: say 'with a blank at its end' of such texts, and of"
                          " no other"])
        self.assertEqual(self.said_with("`b/B.h` | see [below](#lines) |", "`b/B.h` | |"),
                         ["docs/errors.md:7: a row with an empty cell"])

    def test_the_man_page_follows_the_page(self):
        self.said_of(self.PAGE)
        result = self.root / man_page.RESULT
        result.parent.mkdir()
        stale = ["docs/man/ostrel-errors.7:1:"
                 " not made of docs/errors.md as it is now: run scripts/man-pages"]
        self.assertEqual([str(problem) for problem in man_page.check(self.root)], stale)
        made = man_page.man_page(self.root)
        self.assertIn(".TP\n\\fBNever\\fR\n.TQ\n\\fBNothing\\fR\n"
                      "\\fISource\\fR: \\fBb/B.h\\fR\n.br\n\\fICause\\fR: see below\n", made)
        result.write_text(made, encoding="utf-8")
        self.assertEqual(man_page.check(self.root), [])
        self.said_with("Never", "Newer")
        self.assertEqual([str(problem) for problem in man_page.check(self.root)], stale)
        self.said_of(self.PAGE)
        result.write_text(made.replace(".TQ", ".TX"), encoding="utf-8")
        said = [str(problem) for problem in man_page.check(self.root)]
        self.assertEqual(said[:1], stale)
        self.assertIn("macro 'TX' not defined", said[1].replace("`", "'"))


if __name__ == "__main__":
    ROOT, LIBRARY = (Path(argument).resolve() for argument in sys.argv[1:3])
    COMPILER = sys.argv[3]
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]])
