"""Formats for the pages and the terminal: numbers, tables, and the origin of results."""

import re
from pathlib import Path

WORKLOADS = ["build", "re", "zipf", "miss", "get"]
REFERENCE = "absl-256"
MAIN_NUMBER = 10_000_000


def shown(figure):
    """Returns a median and its spread, or a dash."""
    if figure is None:
        return "–"
    digits = 0 if figure.median >= 100 else 1 if figure.median >= 10 else 2
    return f"{figure.median:.{digits}f} ±{figure.spread:.{digits}f}"


def rounded(number):
    """Returns a number as in a sentence, with two or three significant digits."""
    if number == 0:
        return "0"
    if number >= 10:
        return f"{number:,.0f}"
    return f"{number:.2g}" if number < 0.1 else f"{number:.2f}" if number < 2 else f"{number:.1f}"


def span(numbers):
    """Returns the smallest and the largest of some numbers, or the only one."""
    least, most = rounded(min(numbers)), rounded(max(numbers))
    return least if least == most else f"{least} to {most}"


def table(heads, rows):
    """Returns the lines of a Markdown table, and an empty one."""
    lines = ["| " + " | ".join(heads) + " |", "|" + "---|" * len(heads)]
    return lines + ["| " + " | ".join(row) + " |" for row in rows] + [""]


def number_of(results):
    return int(results.context["n"])


def counted(number):
    """Returns a number of strings, in words if it is a round one."""
    millions = number // 1_000_000
    return f"{millions} million" if millions and number % 1_000_000 == 0 else f"{number:,}"


def threads_of(number):
    return "1 thread" if number == 1 else f"{number} threads"


def thread_counts(results):
    return sorted({int(match[1]) for name in results.figures if (match := re.search(r"/threads:(\d+)$", name))})


def maps_of(results):
    """Returns the names of the maps: the dictionary first, then the reference, then the others."""
    names = list(dict.fromkeys(name.split("/")[0] for name in results.figures))
    return sorted(names, key=lambda name: (not name.startswith("melnar"), name != REFERENCE, name))


def main_number(all_results):
    """Returns the number of strings for the pages: MAIN_NUMBER, or if it was not measured, the largest one."""
    numbers = [number_of(results) for name, results in all_results.items() if name.startswith("table-b-")]
    return MAIN_NUMBER if MAIN_NUMBER in numbers or not numbers else max(numbers)


def describe_machine(context):
    return (f"commit {context.get('commit', 'unknown')}, {context.get('processor', 'unknown')}, "
            f"{context.get('cores', '?')} cores, {context.get('gigabytes', '?')} GiB, {context['date'][:10]}")


def describe(results):
    """Describes what was measured, and where."""
    context = results.context
    return (f"{number_of(results):,} strings \"{Path(context['strings']).name}\", {context['memory']} memory, "
            f"{context.get('pages', 'huge')} pages, {describe_machine(context)}")
