#!/usr/bin/env python3
"""Tests of benchmarks/compare.py: its output and its exit code."""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

COMPARE = Path(__file__).resolve().parents[2] / "benchmarks" / "compare.py"


def make_results(figures, failed=()):
    """Makes a program's results: three repetitions of each benchmark, with the given quantities."""
    repetitions = [{"run_type": "iteration", "run_name": name, "iterations": 1, **quantities}
                   for name, quantities in figures.items() for _ in range(3)]
    failures = [{"run_type": "iteration", "run_name": name, "error_occurred": True, "error_message": "wrong sum"}
                for name in failed]
    return {"context": {}, "benchmarks": repetitions + failures}


class CompareTest(unittest.TestCase):
    def compare(self, old, new):
        """Returns the exit code and the lines."""
        with tempfile.TemporaryDirectory() as folder:
            paths = [Path(folder, name) for name in ("old.json", "new.json")]
            for path, results in zip(paths, (old, new)):
                path.write_text(json.dumps(results), encoding="utf-8")
            run = subprocess.run([sys.executable, COMPARE, *paths], capture_output=True, text=True, check=False)
        self.assertEqual("", run.stderr)
        return run.returncode, run.stdout.splitlines()

    def test_equal_runs_do_not_differ(self):
        results = make_results({"find": {"ns": 10, "stalls": 2}})
        self.assertEqual((0, ["2 figures compared, 0 differ, 0 are worse, 0 are missing, 0 are new"]),
                         self.compare(results, results))

    def test_less_is_better(self):
        exit_code, lines = self.compare(make_results({"find": {"ns": 10}}), make_results({"find": {"ns": 8}}))
        self.assertEqual((0, "better find ns: 10 (±0) -> 8 (±0), -20.0 %"), (exit_code, lines[0]))
        exit_code, lines = self.compare(make_results({"find": {"ns": 10}}), make_results({"find": {"ns": 12}}))
        self.assertEqual((1, "worse  find ns: 10 (±0) -> 12 (±0), +20.0 %"), (exit_code, lines[0]))

    def test_what_has_vanished_is_no_pass(self):
        old = make_results({"find": {"ns": 10, "stalls": 2}, "insert": {"ns": 20}})
        self.assertEqual((1, ["missing find stalls", "missing insert ns",
                              "1 figures compared, 0 differ, 0 are worse, 2 are missing, 0 are new"]),
                         self.compare(old, make_results({"find": {"ns": 10}})))

    def test_what_is_new_is_told_and_passes(self):
        new = make_results({"find": {"ns": 10, "stalls": 2}, "insert": {"ns": 20}})
        self.assertEqual((0, ["new     find stalls", "new     insert ns",
                              "1 figures compared, 0 differ, 0 are worse, 0 are missing, 2 are new"]),
                         self.compare(make_results({"find": {"ns": 10}}), new))

    def test_a_benchmark_that_failed_is_no_pass(self):
        old = make_results({"find": {"ns": 10}})
        exit_code, lines = self.compare(old, make_results({"find": {"ns": 10}}, failed=["insert"]))
        self.assertEqual((1, "insert: wrong sum"), (exit_code, lines[0]))

    def test_a_figure_that_is_no_number_is_no_pass(self):
        results = [make_results({"find": {"ns": ns, "stalls": 2}}) for ns in (10, float("nan"), float("inf"))]
        for new in results[1:]:
            exit_code, lines = self.compare(results[0], new)
            self.assertEqual((1, ["missing find ns", "find: ns is not finite"]), (exit_code, lines[:2]))

    def test_runs_without_a_common_figure_cannot_be_compared(self):
        exit_code, _ = self.compare(make_results({"find": {"ns": 10}}), make_results({"insert": {"ns": 10}}))
        self.assertEqual(2, exit_code)


if __name__ == "__main__":
    unittest.main()
