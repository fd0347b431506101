#!/usr/bin/env python3
"""Compares the results of two runs of a benchmark program, and reports differences that exceed the spread.

    compare.py OLD.json NEW.json

The spread of a figure is the median distance of its repetitions from their median. Two figures differ if their medians
differ by more than three times the sum of their spreads, and by more than 2 % (--tolerance). Smaller figures are
better. Figures that only one of the runs has are reported, too. Exit codes: 0 nothing is worse, 1 something is worse or
missing in the new run, 2 the files cannot be compared.
"""

import argparse
import sys
from pathlib import Path

sys.dont_write_bytecode = True  # leave no files beside the sources

from results import Results  # noqa: E402, pylint: disable=wrong-import-position


def differs(old, new, tolerance):
    """Returns whether a figure has changed by more than its spread explains."""
    difference = abs(new.median - old.median)
    return difference > 3 * (old.spread + new.spread) and difference > tolerance * abs(old.median)


def tell_absences(word, results, other_results):
    """Returns lines that name the figures that only one of two results has."""
    return [f"{word} {benchmark} {quantity}"
            for benchmark, quantities in sorted(results.figures.items())
            for quantity in sorted(quantities)
            if other_results.find(benchmark, quantity) is None]


def compare(old_results, new_results, tolerance):
    """Returns lines with the differences, and the number of figures that are worse."""
    lines = []
    worse = 0
    compared = 0
    for benchmark, quantities in sorted(old_results.figures.items()):
        for quantity, old in sorted(quantities.items()):
            new = new_results.find(benchmark, quantity)
            if new is None:
                continue
            compared += 1
            if not differs(old, new, tolerance):
                continue
            is_worse = new.median > old.median
            worse += is_worse
            change = f"{(new.median / old.median - 1) * 100:+.1f} %" if old.median else "from nothing"
            lines.append(f"{'worse ' if is_worse else 'better'} {benchmark} {quantity}: "
                         f"{old.median:.4g} (±{old.spread:.2g}) -> "
                         f"{new.median:.4g} (±{new.spread:.2g}), {change}")
    return lines, worse, compared


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("old", type=Path)
    parser.add_argument("new", type=Path)
    parser.add_argument("--tolerance", type=float, default=0.02, help="a part of the median (0.02)")
    arguments = parser.parse_args()
    try:
        old_results, new_results = Results(arguments.old), Results(arguments.new)
    except (OSError, ValueError, KeyError) as error:
        print(f"compare.py: {error!r}", file=sys.stderr)
        return 2
    lines, worse, compared = compare(old_results, new_results, arguments.tolerance)
    missing = tell_absences("missing", old_results, new_results)
    added = tell_absences("new    ", new_results, old_results)
    summary = (f"{compared} figures compared, {len(lines)} differ, {worse} are worse, {len(missing)} are missing, "
               f"{len(added)} are new")
    print("\n".join(lines + missing + added + new_results.failed + [summary]))
    if not compared:
        return 2
    return 1 if worse or missing or new_results.failed else 0


if __name__ == "__main__":
    sys.exit(main())
