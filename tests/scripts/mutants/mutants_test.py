#!/usr/bin/env python3
"""Tests of scripts/mutants: what is mutated in a source, and what becomes of the mutants of a small project."""

import re
import subprocess
import sys
import tempfile
import types
import unittest
from pathlib import Path

SCRIPTS = Path(__file__).resolve().parents[3] / "scripts/mutants"
sys.path.insert(0, str(SCRIPTS))

import run  # noqa: E402
import survivors  # noqa: E402
import trials  # noqa: E402
import tree  # noqa: E402

CMAKE = """
cmake_minimum_required(VERSION 3.25)
project(Sample LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 20)
find_package(GTest REQUIRED)
add_subdirectory(tests)
"""

TESTS_CMAKE = """
file(GLOB_RECURSE tests CONFIGURE_DEPENDS Engine/*Test.cpp)
add_executable(engine-tests ${tests} ${PROJECT_SOURCE_DIR}/Engine/Range.cpp)
target_include_directories(engine-tests PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(engine-tests PRIVATE GTest::gtest_main)
"""

RANGE_H = """#pragma once
#include <string>

class Range {
public:
    static constexpr int FIRST = 3;

    Range(int begin, int end) : m_begin(begin), m_end(end) {}

    bool contains(int value) const;

    template<class T>
    static T add(const T& a, const T& b) {
        T sum = a + b;
        return sum;
    }

    static constexpr int getNext(int value) { return value + 1; }

    void unused() { ++m_begin; }

    int m_begin;
    int m_end;
    char m_bytes[2 + 2] = {};
};

static_assert(Range::getNext(Range::FIRST) == 4);
"""

RANGE_CPP = """#include "Engine/Range.h"

bool Range::contains(int value) const {
    if (value < m_begin) // the lowest one
        return false;
    while (false)
        break;
    return value < m_end;
}
"""

RANGE_TEST = """#include "Engine/Range.h"

#include <gtest/gtest.h>

#include <unistd.h>

TEST(RangeTest, containsWhatIsBetween) {
    EXPECT_FALSE(Range(2, 8).contains(1));
    EXPECT_TRUE(Range(2, 8).contains(5));
    EXPECT_FALSE(Range(2, 8).contains(8));
}

TEST(RangeTest, adds) {
    EXPECT_EQ("ab", Range::add(std::string("a"), std::string("b")));
}

TEST(RangeTest, isReachedByAProcessThatEndsEarly) {
    EXPECT_EXIT(::_exit(Range::getNext(1) - 2), testing::ExitedWithCode(0), "");
}

TEST(RangeSlowTest, isLeftOut) {
    Range(0, 0).unused();
    FAIL();
}

TEST(RangeTest, failsWithoutMutants) {
    FAIL();
}
"""

LIMIT_TEST = """#include "Engine/Range.h"

#include <gtest/gtest.h>

TEST(LimitTest, containsTheLowestOne) {
    EXPECT_TRUE(Range(2, 8).contains(2));
}
"""

FILES = {
    "CMakeLists.txt": CMAKE,
    "tests/CMakeLists.txt": TESTS_CMAKE,
    "tests/Engine/range/RangeTest.cpp": RANGE_TEST,
    "tests/Engine/limits/LimitTest.cpp": LIMIT_TEST,
    "Engine/Range.h": RANGE_H,
    "Engine/Range.cpp": RANGE_CPP,
    ".gitignore": "/build/\n",
}


def write_project(folder, files):
    subprocess.run(["git", "init", "--quiet", folder], check=True)
    for name, text in files.items():
        Path(folder, name).parent.mkdir(parents=True, exist_ok=True)
        Path(folder, name).write_text(text, encoding="utf-8")


def run_mutants(folder, *options):
    command = [sys.executable, "-B", SCRIPTS / "run.py", *options, "--jobs", "1", "--root", folder, "--programs",
               "engine-tests"]
    process = subprocess.run(command, capture_output=True, text=True, check=False)
    return process.returncode, process.stdout + process.stderr


class FindTest(unittest.TestCase):
    """What is mutated in a source."""

    def find(self, text):
        with tempfile.TemporaryDirectory() as folder:
            write_project(folder, {"Engine/Sample.cpp": text})
            return tree.parse((folder, ["Engine/Sample.cpp"]))

    def expect(self, changes, text):
        self.assertEqual(sorted(changes), sorted(mutant.change() for mutant in self.find(text)))

    def test_operators(self):
        self.expect(["a < b -> a <= b", "a < b && b != c -> a < b || b != c", "b != c -> b == c",
                     "a < b -> !(a < b)"],
                    "bool f(int a, int b, int c) { return a < b && b != c; }")
        self.expect(["a += b << 1 -> a -= b << 1", "a += b << 1 -> (removed)", "b << 1 -> b >> 1", "1 -> 2"],
                    "void f(int& a, int b) { a += b << 1; }")

    def test_operators_of_classes_that_are_made_of_others(self):
        self.expect(["a != b -> a == b"], "#include <string_view>\n"
                    "bool f(std::string_view a, std::string_view b) { return a != b; }")

    def test_templates(self):
        self.expect(["a == b -> a != b", "a - b -> a + b"],
                    "template<class T> T f(T a, T b) { return a == b ? a - b : a; }")

    def test_conditions(self):
        self.expect(["a -> !(a)", "g() -> !(g())", "a || g() -> a && g()", "g() -> (removed)"],
                    "bool g(); void f(bool a) { if (a || g()) g(); }")
        self.expect(["!a -> !(!a)"], "bool f(bool a) { return !a; }")

    def test_statements(self):
        self.expect(["throw 1 -> (removed)", "1 -> 2", "g() -> (removed)"],
                    "void g(); void f() { g(); int unused; throw 1; }")
        self.expect([], "void prefetchBucket(int); void f(int a) { prefetchBucket(a); }")

    def test_the_end_of_a_function_that_must_not_be_reached(self):
        self.expect(["1 -> 2", "2 -> 3", "a -> !(a)", "throw 1 -> (removed)"],
                    "int f(bool a) { if (a) throw 1; throw 2; }")
        self.expect(["1 -> 2", "2 -> 3", "a -> !(a)"], "int f(bool a) { if (a) return 1; else throw 2; }")
        self.expect(["1 -> 2", "g() -> (removed)", "2 -> 3"],
                    "void g(); int f() { try { g(); return 1; } catch (...) { throw 2; } }")
        self.expect(["1 -> 2", "2 -> 3", "throw 1 -> (removed)"],
                    "int f(int a) { switch (a) { case 5: throw 1; default: throw 2; } }")
        self.expect(["1 -> 2"], "template<class T> T f() { throw 1; }")
        self.expect(["1 -> 2"], "struct A { [[noreturn]] void f(); }; void A::f() { throw 1; }")
        self.expect(["1 -> 2", "2 -> 3", "3 -> 4", "a -> !(a)", "throw 1 -> (removed)"],
                    "void f() { auto g = [] { throw 1; }; auto h = [](bool a) { if (a) return 2; throw 3; }; }")
        self.expect(["a -> !(a)", "g() -> (removed)", "h() -> (removed)"],
                    "void g(); void h(); int f(bool a) { while (true) { if (a) continue; g(); h(); } }")
        self.expect(["g() -> (removed)"], "void g(); int f() { do g(); while (true); }")

    def test_jumps(self):
        self.expect(["continue -> break", "break -> continue", "break -> (removed)"],
                    "void f(int a) { for (;;) { switch (a) { case 1: break; default: ; } continue; break; } }")

    def test_constants(self):
        self.expect(["0xFFu -> 0x100u", "LIMIT -> LIMIT + 1", "a + 0xFFu + LIMIT -> a + 0xFFu - LIMIT",
                     "a + 0xFFu -> a - 0xFFu", "true -> false"],
                    "constexpr unsigned LIMIT = 7; bool g(unsigned, bool);\n"
                    "unsigned f(unsigned a) { static_cast<void>(g(a + 0xFFu + LIMIT, true)); return a; }")

    def test_constant_expressions_are_left_alone(self):
        self.expect(["1 -> 2"], """
            template<int N> struct A { int m_a[N + 1]; };
            constexpr int B = 3 + 4;
            enum C { D = 2 };
            int f(int a) {
                static_assert(B == 7);
                constexpr int E = B + 1;
                char bytes[E + 2];
                A<5> many;
                switch (a) { case 6: return sizeof(int[3]); }
                if constexpr (B == 7) return 1;
            }""")

    def test_equal_changes_are_numbered(self):
        self.expect(["1 -> 2", "1 -> 2 (2)", "g(1, 1) -> (removed)"], "void g(int, int); void f() { g(1, 1); }")

    def test_macros_are_left_alone(self):
        self.expect(["!F(a) -> !(!F(a))"], "#define F(a) ((a) == 1)\nbool f(int a) { return !F(a); }")


class RunTest(unittest.TestCase):
    """What becomes of the mutants of a small project, whose tests pass with one exception while none is active."""

    def test_runs(self):
        with tempfile.TemporaryDirectory() as folder:
            write_project(folder, FILES)
            self.expect_survivors_of_a_file(folder)
            found = self.expect_survivors_of_a_folder(folder)
            self.expect_accepted_survivors(folder, found)

    def expect_survivors_of_a_file(self, folder):
        code, output = run_mutants(folder, "Engine/Range.cpp", "--tests", "tests/Engine/range")
        self.assertEqual(1, code, output)
        self.assertIn("left out: engine-tests RangeTest.failsWithoutMutants failed\n", output)
        self.assertIn("Recording what 4 tests reach", output)
        self.assertIn("change: value < m_begin -> value <= m_begin\n", output)
        self.assertIn("Engine/Range.cpp: 7 mutants, 7 judged: 4 failed, 1 not reached, 2 survived; 0 accepted", output)

    def expect_survivors_of_a_folder(self, folder):
        code, output = run_mutants(folder, "Engine/Range.h", "Engine/Range.cpp")
        self.assertEqual(1, code, output)
        self.assertIn("Engine/Range.h Engine/Range.cpp: 11 mutants, 11 judged", output)
        self.assertIn("1 of them do not compile", output)  # std::string has no difference
        found = re.findall(r"mutant \d+ (.*)\nfile: (.*)\nin: (.*)\nline: (.*)\nchange: (.*)\n", output)
        self.assertEqual({
            ("not reached", "Engine/Range.h", "Range::unused", "void unused() { ++m_begin; }", "++m_begin -> (removed)"),
            ("not reached", "Engine/Range.h", "Range::unused", "void unused() { ++m_begin; }", "++m_begin -> --m_begin"),
            ("survived", "Engine/Range.cpp", "Range::contains", "while (false)", "false -> true"),
            ("not reached", "Engine/Range.cpp", "Range::contains", "break;", "break -> continue"),
        }, set(found))
        self.assertIn("\nnoticed: 7 of 11, 63.6% (95 % interval 35.4% to 84.8%)\n", output)
        return [survivor[1:] for survivor in found]

    def expect_accepted_survivors(self, folder, found):
        entries = "\n\n".join(f"file: {name}\nin: {function}\nline: {line}\nchange: {change}\nreason: it is so."
                              for name, function, line, change in found)
        listed = Path(folder, "tests/mutants/survivors")
        listed.parent.mkdir()
        listed.write_text("# Known.\n\n" + entries + "\n", encoding="utf-8")
        code, output = run_mutants(folder, "Engine")
        self.assertEqual(0, code, output)
        self.assertNotIn("Recording", output)
        self.assertIn("; 4 accepted survivors", output)
        self.assertIn("noticed, without accepted survivors: 7 of 7, 100.0%", output)

        output = run_mutants(folder, "Engine/Range.cpp", "--only", "1")[1]
        self.assertRegex(output, r"\n-.*value < m_begin.*\n\+.*\n(.*\n)*mutant 1 failed ")
        self.assertIn(" 2 judged", run_mutants(folder, "Engine", "--sample", "2", "--seed", "3")[1])
        self.assertIn("Engine: 7 mutants, 7 judged", run_mutants(folder, "Engine", "--without", "Engine/Range.h")[1])

        listed.write_text(entries.replace("break", "brake"), encoding="utf-8")
        code, output = run_mutants(folder, "Engine")
        self.assertEqual(1, code)
        self.assertIn("no mutant is like these", output)

    def test_other_folders_are_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            write_project(folder, FILES)
            self.assertIn("tests is no folder or file of Engine or Reader", run_mutants(folder, "tests")[1])
            self.assertIn("Engine/none is no folder or file", run_mutants(folder, "Engine", "Engine/none")[1])
            Path(folder, "Reader").mkdir()
            self.assertIn("Engine and Reader cannot be judged together", run_mutants(folder, "Engine", "Reader")[1])


class TrialTest(unittest.TestCase):
    """How a test program ends."""

    def setUp(self):
        self.scratch = tempfile.TemporaryDirectory()
        self.addCleanup(self.scratch.cleanup)

    def end(self, script, timeout=60):
        folder = Path(self.scratch.name)
        (folder / "tests").mkdir(exist_ok=True)
        program = folder / "tests/program"
        program.write_text("#!/bin/sh\n" + script, encoding="utf-8")
        program.chmod(0o755)
        sample = types.SimpleNamespace(folder=folder, build_folder=folder, files=[], mutants={})
        return trials.Trials(sample, ["program"], 1, 1).run("program", [], timeout, 7)

    def test_ends(self):
        self.assertEqual(("", ""), self.end("test $MELNAR_MUTANT = 7"))
        self.assertEqual(("failed", ""), self.end("exit 1"))
        self.assertEqual(("failed", "A.b/1"), self.end("echo '[  FAILED  ] A.b/1 (2 ms)'; exit 1"))
        self.assertEqual(("crashed", ""), self.end("kill -SEGV $$"))
        self.assertEqual(("hung", ""), self.end("sleep 60 & wait", 0.1))


class ListTest(unittest.TestCase):
    """The list of survivors."""

    def read(self, text):
        with tempfile.NamedTemporaryFile("w", encoding="utf-8") as file:
            file.write(text)
            file.flush()
            return survivors.read(Path(file.name))

    def test_entries(self):
        entry = "file: a.h\nin: f\nline: g(); // h: i\nchange: g() -> (removed)\nreason: no: none."
        self.assertEqual({("a.h", "f", "g(); // h: i", "g() -> (removed)"): "no: none."}, self.read("# c\n\n" + entry))
        for wrong in (entry + "\n\n" + entry, entry.replace("no: none.", ""), entry.replace("in:", "of:")):
            with self.assertRaises(SystemExit):
                self.read(wrong)

    def test_no_list(self):
        self.assertEqual({}, survivors.read(Path("none")))


class IntervalTest(unittest.TestCase):
    def test_interval(self):
        share, low, high = run.get_interval(90, 100)
        self.assertEqual((0.9, 0.8256, 0.9448), (share, round(low, 4), round(high, 4)))
        self.assertEqual(1, round(run.get_interval(10, 10)[2], 9))


if __name__ == "__main__":
    unittest.main()
