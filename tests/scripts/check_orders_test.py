#!/usr/bin/env python3
"""Tests of scripts/check-orders.py: what it objects to in small trees, and its exit code."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECK = Path(__file__).resolve().parents[2] / "scripts" / "check-orders.py"

FLAG_H = """#pragma once

/// INVARIANTS     I1 one thread raises the flag
///                I2 nobody lowers it
///
/// MEMORY ORDERS
///   #   operation            order    pairs with   makes visible           checked by
///   W1  raise, store         release  W2           the text                TSan
///   W2  see it, load         acquire  W1, W3                               TSan
///   W3  take it, CAS         acq_rel  W2           the text, unless it is  argued
///                                                  taken already
///   W4  count, + 1           relaxed  -            nothing                 argued
///   W5  wake, under a mutex  mutex    -            the text                argued
/// Argued: nothing weaker would do.
struct Flag {
    bool isRaised() const { return m_flag.load(std::memory_order_acquire) == 1; } // W2

    std::atomic<int> m_flag{0}; // W1 to W3
    std::atomic<int> m_count{0};
    int m_wakeUp = 0;
};
"""

FLAG_CPP = """#include "Engine/core/data/deep/Flag.h"

void raise(Flag& flag) {
    flag.m_flag.store(1, std::memory_order_release); // W1: keeps I1
    if (flag.m_wakeUp == 0)
        flag.m_count.fetch_add(1, std::memory_order_relaxed); // W4
    mutex.lock();
    flag.m_wakeUp = 1; // W5
    mutex.unlock();
}
"""

# In the folder above the table's, whose files belong to it.
TAKE_CPP = """#include "Engine/core/data/deep/Flag.h"

bool take(Flag& flag, InputStream& input) {
    flag.load(input); // no atomic operation
    const char* const text = "flag.m_flag.load()";
    int expected = 1;
    return flag.m_flag.compare_exchange_strong(expected, 2, std::memory_order_acq_rel,
                                               std::memory_order_acquire); // W3, W2
}
"""

ARCHITECTURE = """
| Protocol | File | Numbers |
|---|---|---|
| a flag | `data/deep/Flag.h` | I1 to I2, W1 to W5 |
"""

TREE = {
    "Engine/core/data/deep/Flag.h": FLAG_H,
    "Engine/core/data/deep/Flag.cpp": FLAG_CPP,
    "Engine/core/data/Take.cpp": TAKE_CPP,
    "tests/FlagTest.cpp": "// Keeps I1.\n",
    "ARCHITECTURE.md": ARCHITECTURE,
}


class CheckOrdersTest(unittest.TestCase):
    def check(self, tree):
        """The exit code and the lines."""
        with tempfile.TemporaryDirectory() as folder:
            for path, text in tree.items():
                Path(folder, path).parent.mkdir(parents=True, exist_ok=True)
                Path(folder, path).write_text(text, encoding="utf-8")
            run = subprocess.run([sys.executable, CHECK, folder], capture_output=True, text=True, check=False)
        self.assertEqual("", run.stderr)
        return run.returncode, run.stdout.splitlines()

    def expect(self, objections, path, *replacements):
        """Expects these objections, each once, when texts of a file are replaced by others."""
        tree = dict(TREE)
        for old, new in replacements:
            self.assertEqual(1, tree[path].count(old), old)
            tree[path] = tree[path].replace(old, new)
        exit_code, lines = self.check(tree)
        self.assertEqual((1, objections), (exit_code, lines[:-1]))

    def test_a_tree_without_fault_passes(self):
        self.assertEqual((0, ["orders: 5 rows, 4 operations, 0 objections"]), self.check(TREE))

    def test_a_tree_without_tables_is_no_pass(self):
        self.assertEqual((1, ["orders: 0 rows, 0 operations, 0 objections"]), self.check({"ARCHITECTURE.md": ""}))

    def test_an_order_that_is_weaker_than_its_row(self):
        self.expect(["Engine/core/data/deep/Flag.cpp:4: W1 is release, but the operation is not"],
                    "Engine/core/data/deep/Flag.cpp", ("_release", "_relaxed"))

    def test_an_order_that_is_stronger_than_its_row(self):
        self.expect(["Engine/core/data/deep/Flag.cpp:6: acq_rel, but the statement cites no row with this order",
                     "Engine/core/data/deep/Flag.cpp:6: W4 is relaxed, but the operation is not"],
                    "Engine/core/data/deep/Flag.cpp", ("_relaxed", "_acq_rel"))

    def test_each_order_of_a_compare_exchange_has_a_row(self):
        self.expect(["Engine/core/data/Take.cpp:7: W2 is acquire, but the operation is not"],
                    "Engine/core/data/Take.cpp", ("_acquire", "_relaxed"))
        self.expect(["Engine/core/data/Take.cpp:7: acquire, but the statement cites no row with this order"],
                    "Engine/core/data/Take.cpp", (", W2", ""))

    def test_an_operation_that_cites_no_row(self):
        self.expect(["Engine/core/data/deep/Flag.cpp:10: release, but the statement cites no row with this order"],
                    "Engine/core/data/deep/Flag.cpp",
                    ("    mutex.unlock", "    flag.m_flag.store(2, std::memory_order_release);\n    mutex.unlock"),
                    ("    flag.m_wakeUp = 1", "\n    flag.m_wakeUp = 1"))

    def test_a_citation_outside_the_statement_is_none(self):
        self.expect(["Engine/core/data/deep/Flag.cpp:4: release, but the statement cites no row with this order",
                     "Engine/core/data/deep/Flag.h:8: W1 is cited at no operation of a file that belongs to it"],
                    "Engine/core/data/deep/Flag.cpp", (" // W1: keeps I1\n", "\n    // W1\n"))

    def test_a_row_that_is_not_cited(self):
        self.expect(["Engine/core/data/deep/Flag.h:12: W4 is cited at no operation of a file that belongs to it"],
                    "Engine/core/data/deep/Flag.cpp", (" // W4", ""))

    def test_a_citation_in_a_file_that_does_not_belong_to_the_table(self):
        tree = dict(TREE)
        tree["Engine/core/other/Take.cpp"] = tree.pop("Engine/core/data/Take.cpp")
        objection = "Engine/core/data/deep/Flag.h:10: W3 is cited at no operation of a file that belongs to it"
        self.assertEqual((1, objection), (self.check(tree)[0], self.check(tree)[1][0]))

    def test_a_citation_where_no_mutex_is_held(self):
        self.expect(["Engine/core/data/deep/Flag.cpp:7: W5 is cited where no mutex is held"],
                    "Engine/core/data/deep/Flag.cpp", ("    mutex.lock();\n", ""))

    def test_an_operation_without_an_order(self):
        for old, new in (("store(1, std::memory_order_release); // W1: keeps I1", "store(1);"),
                         ("store(1, std::memory_order_release); // W1: keeps I1", "load();"),
                         ("store(1, std::memory_order_release); // W1: keeps I1", "fetch_or(1);"),
                         ("store(1, std::memory_order_release); // W1: keeps I1",
                          "store(1, std::memory_order_seq_cst);")):
            self.expect(["Engine/core/data/deep/Flag.cpp:4: an atomic operation without an order of its own",
                         "Engine/core/data/deep/Flag.h:8: W1 is cited at no operation of a file that belongs to it"],
                        "Engine/core/data/deep/Flag.cpp", (old, new))

    def test_an_operation_whose_order_is_the_callers(self):
        tree = dict(TREE)
        tree["Engine/core/platform/system/Atomic.h"] = """
inline Word loadEightBytes(const Byte* first, std::memory_order order) {
    return __atomic_load_n(first, static_cast<int>(order));
}
"""
        self.assertEqual(0, self.check(tree)[0])

    def test_an_operator_on_an_atomic(self):
        for operation in ("++m_count", "m_count--", "m_count = 1", "m_count |= 1"):
            for name in ("std::atomic", "Atomic", "melnar::Atomic"):
                self.expect(["Engine/core/data/deep/Flag.h:17: an operator on m_count, an atomic"],
                            "Engine/core/data/deep/Flag.h", ("std::atomic<int> m_count", f"{name}<int> m_count"),
                            ("\n    std::atomic<int> m_flag", f"    void count() {{ {operation}; }}\n"
                             "    std::atomic<int> m_flag"))

    def test_one_letter_for_two_lists(self):
        self.expect(["W numbers more than one list: the invariants of Engine/core/data/deep/Flag.h, "
                     "the orders of Engine/core/data/deep/Flag.h",
                     'ARCHITECTURE.md: Engine/core/data/deep/Flag.h has "W1 to W5", not "I1 to I2, W1 to W5"'],
                    "Engine/core/data/deep/Flag.h", ("I1 one", "W1 one"), ("I2 nobody", "W2 nobody"))

    def test_a_number_that_is_left_out_or_twice_there(self):
        for name in ("I1", "I3"):
            self.expect(["I does not count from 1 on in the invariants of Engine/core/data/deep/Flag.h",
                         f'ARCHITECTURE.md: Engine/core/data/deep/Flag.h has "I1 to {name}, W1 to W5", '
                         'not "I1 to I2, W1 to W5"'],
                        "Engine/core/data/deep/Flag.h", ("I2 nobody", f"{name} nobody"))

    def test_a_row_without_an_order(self):
        self.expect(['Engine/core/data/deep/Flag.h:12: W4: "relax" is no memory order',
                     "Engine/core/data/deep/Flag.cpp:6: W4 is relax, but the operation is not"],
                    "Engine/core/data/deep/Flag.h", ("relaxed", "relax  "))

    def test_a_row_that_nothing_is_known_to_check(self):
        self.expect(['Engine/core/data/deep/Flag.h:8: W1: nothing is checked by "luck"'],
                    "Engine/core/data/deep/Flag.h", ("the text                TSan", "the text                luck"))

    def test_a_table_without_columns(self):
        exit_code, lines = self.check({**TREE, "Engine/core/data/deep/Flag.h": FLAG_H.replace("pairs with", "with")})
        self.assertEqual((1, "Engine/core/data/deep/Flag.h:7: a table of memory orders without its columns"),
                         (exit_code, lines[0]))

    def test_partners_that_do_not_name_each_other(self):
        self.expect(["Engine/core/data/deep/Flag.h:10: W3 pairs with W2, but W2 not with W3"],
                    "Engine/core/data/deep/Flag.h", ("W1, W3    ", "W1        "))
        self.expect(['Engine/core/data/deep/Flag.h:12: W4 pairs with "W9", which is no row',
                     "Engine/core/data/deep/Flag.h:12: W9 is neither a row nor an invariant"],
                    "Engine/core/data/deep/Flag.h", ("relaxed  - ", "relaxed  W9"))

    def test_a_name_that_is_gone(self):
        self.expect(["tests/FlagTest.cpp:1: I3 is neither a row nor an invariant"], "tests/FlagTest.cpp", ("I1", "I3"))

    def test_the_architecture_names_what_there_is(self):
        self.expect(['ARCHITECTURE.md: Engine/core/data/deep/Flag.h has "I1 to I2, W1 to W5", not "W1 to W5"'],
                    "ARCHITECTURE.md", ("I1 to I2, ", ""))
        self.expect(["ARCHITECTURE.md: Engine/core/data/deep/Flag.h is missing, with I1 to I2, W1 to W5"],
                    "ARCHITECTURE.md", ("Flag.h", "Flag"))


if __name__ == "__main__":
    unittest.main()
