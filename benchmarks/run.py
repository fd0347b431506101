#!/usr/bin/env python3
"""Runs the benchmarks and writes what they measured below build/bench/results, one JSON file a run of a program.

    run.py                       the tables: 1 and 10 million strings of both kinds, warm and cold
    run.py --quick               the same with 20,000 strings and one repetition: that everything works
    run.py --n 30000000          with other numbers of strings
    run.py --strings FILE        with the strings of a file, one a line, or the literals of N-Triples

The programs are those of the preset `bench`. Every program checks the answers that it measures; a wrong one is an error.
"""

import argparse
import os
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
PROGRAMS = ROOT / "build" / "bench" / "benchmarks"


def commit_of_tree():
    """What was measured: the commit, and whether files differ from it."""
    git = ["git", "-c", "safe.directory=*", "-C", str(ROOT)]
    try:
        commit = subprocess.run([*git, "rev-parse", "--short=12", "HEAD"], capture_output=True, check=True, text=True)
        changes = subprocess.run([*git, "status", "--porcelain", "--untracked-files=no"], capture_output=True,
                                 check=True, text=True)
    except (OSError, subprocess.CalledProcessError):
        return "unknown"
    return commit.stdout.strip() + (" with changes" if changes.stdout.strip() else "")


def processor():
    for line in Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return "unknown"


def run(command):
    print("\n$ " + " ".join(map(str, command)), flush=True)
    result = subprocess.run([str(word) for word in command], check=False)
    if result.returncode != 0:
        sys.exit(f"run.py: {Path(command[0]).name} ended with {result.returncode}")


def run_table(arguments, name, strings, number, *options):
    """One table of all maps."""
    run([
        PROGRAMS / "bench-table", f"--strings={strings}", f"--n={number}", f"--threads={arguments.threads}",
        f"--benchmark_repetitions={arguments.repetitions}", "--benchmark_enable_random_interleaving=true",
        "--benchmark_display_aggregates_only=true", f"--benchmark_filter={arguments.filter}",
        f"--benchmark_out={arguments.results / name}.json", "--benchmark_out_format=json",
        f"--benchmark_context=commit={commit_of_tree()},processor={processor().replace(',', ' ').replace('=', ' ')}",
        *options
    ])


def run_tables(arguments):
    options = ["--texts-per-measurement=1"] if arguments.quick else []
    for strings in arguments.strings:
        kind = strings if strings in ("a", "b") else Path(strings).name.split(".")[0]
        for number in arguments.n:
            run_table(arguments, f"table-{kind}-{number}", strings, number, *options)
    run_table(arguments, f"cold-b-{arguments.n[-1]}", "b", arguments.n[-1], "--cold", *options)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--quick", action="store_true", help="20,000 strings and one repetition")
    parser.add_argument("--n", type=int, nargs="+", help="numbers of strings (1000000 10000000)")
    parser.add_argument("--strings", nargs="+", default=["a", "b"], help="a, b or files (a b)")
    parser.add_argument("--threads", help="numbers of threads, with commas between them (1,2 and all)")
    parser.add_argument("--repetitions", type=int, help="of each measurement (5)")
    parser.add_argument("--filter", default=".", help="a regular expression for the names of the maps")
    parser.add_argument("--results", type=Path, default=ROOT / "build" / "bench" / "results")
    arguments = parser.parse_args()
    cores = len(os.sched_getaffinity(0))
    arguments.n = arguments.n or ([20_000] if arguments.quick else [1_000_000, 10_000_000])
    arguments.threads = arguments.threads or ",".join(str(number) for number in sorted({1, min(2, cores), cores}))
    arguments.repetitions = arguments.repetitions or (1 if arguments.quick else 5)
    arguments.results.mkdir(parents=True, exist_ok=True)
    run_tables(arguments)


if __name__ == "__main__":
    main()
