#!/usr/bin/env python3
"""guides_test.py CXX CC: checks the code, the output and the links of docs/guides/ and of README.md.

A block of C++ occurs as it is in an example, or compiles: alone, or as statements of a function. A block of output occurs
in the expected output of an example. scripts/test-consumer.sh types the commands of the guides.
"""

import re
import subprocess
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
GUIDES = sorted((ROOT / "docs" / "guides").glob("*.md"))
README = ROOT / "README.md"

BLOCK = re.compile(r"^```(\w*)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\]\(([^)#:]+)(?:#[^)]*)?\)")
INCLUDE = re.compile(r"^#include .*\n", re.MULTILINE)

# What C++ in a guide may quote: the examples, and a datatype that the tests use.
QUOTED = [*(ROOT / "examples").rglob("*.cpp"), ROOT / "tests" / "support" / "WordDatatype.cpp"]
EXPECTED = list((ROOT / "examples").rglob("*.expected"))

# A guide starts with this section, which is the same in all of them but for the example.
START = re.compile(r"^## From nothing to a running example\n.*?^Each prints:\n", re.MULTILINE | re.DOTALL)
EXAMPLE = re.compile(r"\b(\w+)\.cpp\b")


def blocks(document, language):
    """The blocks of a language, with the numbers of their first lines."""
    text = document.read_text(encoding="utf-8")
    return [(text.count("\n", 0, match.start()) + 2, match[2]) for match in BLOCK.finditer(text)
            if match[1] == language]


def compiles(compiler, code):
    return subprocess.run([*compiler, "-fsyntax-only", "-I", ROOT, "-"], input=code, text=True, capture_output=True,
                          check=False)


class GuidesTest(unittest.TestCase):
    compilers = {}

    def expect_compiled(self, document, line, language, code):
        includes = "".join(INCLUDE.findall(code))
        statements = f"{includes}\nint main() {{\n{INCLUDE.sub('', code)}\nreturn 0; }}\n"
        results = [compiles(self.compilers[language], attempt) for attempt in (code, statements)]
        if all(result.returncode != 0 for result in results):
            with self.subTest(document=document.name, line=line):
                self.fail(f"does not compile\n{results[0].stderr}\n{results[1].stderr}")

    def test_there_are_guides(self):
        self.assertEqual(["adding-a-datatype.md", "embedding.md", "sizing.md", "writing-a-host.md"],
                         [guide.name for guide in GUIDES])

    def test_code_of_guides_is_that_of_examples_or_compiles(self):
        sources = [source.read_text(encoding="utf-8") for source in QUOTED]
        quoted = 0
        for guide in GUIDES:
            for line, code in blocks(guide, "cpp"):
                if any(code in source for source in sources):
                    quoted += 1
                else:
                    self.expect_compiled(guide, line, "cpp", code)
        self.assertGreater(quoted, 20)

    def test_code_of_the_readme_compiles(self):
        for language in ("cpp", "c"):
            found = blocks(README, language)
            self.assertEqual(1, len(found), language)
            for line, code in found:
                self.expect_compiled(README, line, language, code)

    def test_output_is_that_of_examples(self):
        outputs = ["\n" + output.read_text(encoding="utf-8") for output in EXPECTED]
        for guide in GUIDES:
            found = blocks(guide, "text")
            self.assertTrue(found, guide.name)
            for line, text in found:
                with self.subTest(document=guide.name, line=line):
                    self.assertTrue(any("\n" + text in output for output in outputs), "no example prints this")

    def test_every_block_is_of_a_kind_that_is_checked(self):
        for guide in GUIDES:
            for match in BLOCK.finditer(guide.read_text(encoding="utf-8")):
                self.assertIn(match[1], ("cpp", "text", "sh"), guide.name)

    def test_guides_start_alike(self):
        starts = set()
        for guide in GUIDES:
            start = START.search(guide.read_text(encoding="utf-8"))
            self.assertIsNotNone(start, guide.name)
            example = EXAMPLE.search(start[0])[1]
            self.assertTrue((ROOT / "examples" / f"{example}.cpp").is_file(), example)
            starts.add(re.sub(rf"\b{example}\b(?: \d+)*", "EXAMPLE", start[0]))
        self.assertEqual(1, len(starts))

    def test_links_lead_to_files(self):
        for document in [*GUIDES, README]:
            for link in LINK.findall(BLOCK.sub("", document.read_text(encoding="utf-8"))):
                self.assertTrue((document.parent / link).exists(), f"{document.name}: {link}")

    def test_examples_are_short(self):
        for source in (ROOT / "examples").rglob("*.cpp"):
            self.assertLess(len(source.read_text(encoding="utf-8").splitlines()), 100, source.name)


if __name__ == "__main__":
    GuidesTest.compilers = {"cpp": [sys.argv[1], "-std=c++20", "-x", "c++"],
                            "c": [sys.argv[2], "-std=c11", "-x", "c"]}
    unittest.main(argv=sys.argv[:1])
