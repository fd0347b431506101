#!/usr/bin/env python3
"""Tests of scripts/check-words.py: its objections to small trees, and its exit code."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECK = Path(__file__).resolve().parents[2] / "scripts" / "check-words.py"


class CheckWordsTest(unittest.TestCase):
    def check(self, tree):
        """Returns the exit code and the lines."""
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run(["git", "init", "--quiet", folder], check=True)
            for path, text in tree.items():
                Path(folder, path).parent.mkdir(parents=True, exist_ok=True)
                Path(folder, path).write_text(text, encoding="utf-8")
            run = subprocess.run([sys.executable, CHECK, folder], capture_output=True, text=True, check=False)
        self.assertEqual("", run.stderr)
        return run.returncode, run.stdout.splitlines()

    def expect(self, objections, path, text):
        exit_code, lines = self.check({path: text})
        self.assertEqual((1 if objections else 0, objections), (exit_code, lines[:-1]))

    def test_an_empty_tree_is_no_pass(self):
        self.assertEqual((1, ["words: 0 files, 0 objections"]), self.check({}))

    def test_documents_that_a_reader_cannot_open(self):
        self.expect(["a.txt:2: the " + "spec"], "a.txt", "one\nsee the " + "spec\n")
        self.expect(["a.txt:1: /" + "work/"], "a.txt", "/" + "work/x\n")

    def test_phrases_of_the_glossary(self):
        self.expect(["docs/a.md:1: at once"], "docs/a.md", "Any number at once.\n")
        self.expect(["README.md:1: Whoever"], "README.md", "Whoever reads this.\n")
        self.expect(["tools/a.h:1: goes on behind"], "tools/a.h", "// goes on behind the line\n")

    def test_a_phrase_across_lines(self):
        self.expect(["docs/a.md:1: at once"], "docs/a.md", "Any number at\nonce.\n")
        self.expect(["tools/a.h:2: at /// once"], "tools/a.h", "#pragma once\n/// Any number at\n    /// once.\n")

    def test_parts_of_words_and_positions_are_no_phrases(self):
        self.expect([], "docs/a.md", "What oncer, broad and behind a mutex.\n")

    def test_other_folders_and_the_glossary_may_have_them(self):
        self.expect([], "scripts/a.sh", "# at once\n")
        self.expect(["tests/a.cpp:1: for ever"], "tests/a.cpp", "// for ever\n")
        self.expect(["benchmarks/a.cpp:1: told // apart"], "benchmarks/a.cpp", "// told\n// apart\n")
        self.expect(["Engine/a.h:1: at once"], "Engine/a.h", "// at once\n")
        self.expect([], "docs/glossary.md", "Not: at once\n")


if __name__ == "__main__":
    unittest.main()
