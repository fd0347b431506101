#!/usr/bin/env python3
"""Weakens the engine's memory orders one by one, and tells which of them something notices.

Makes a copy of Engine/ in which each order that is stronger than relaxed can be weakened when the program runs, and
compiles the schedules with it, alone and under ThreadSanitizer. For each weaker order it runs the schedules, and those
under ThreadSanitizer if the first ones notice nothing. Prints a table, and compares it with the tables of memory orders
in the headers: a row is "schedules" if schedules notice one of its operations, else "TSan" if ThreadSanitizer does,
else "argued". The exit code is 1 if a header says something else.
"""

import argparse
import importlib.util
import os
import re
import subprocess
import sys
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
WEAKER = {"acquire": ["relaxed"], "release": ["relaxed"], "acq_rel": ["acquire", "release"]}
TOKEN = re.compile(r"std::memory_order_(acquire|release|acq_rel)\b")
LONGEST_RUN = 600  # seconds


def load_checker():
    sys.dont_write_bytecode = True
    spec = importlib.util.spec_from_file_location("check_orders", ROOT / "scripts/check-orders.py")
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


class Weakening:
    def __init__(self, number, path, line, rows, order, weaker):
        self.number = number
        self.path = path
        self.line = line
        self.rows = rows
        self.order = order
        self.weaker = weaker
        self.noticed_by = None
        self.finding = ""


def make_copy(checker, folder):
    """Writes the copy, unless it is up to date, and returns the weakenings."""
    weakenings = []
    for source in checker.sources:
        text = (ROOT / source.path).read_text(encoding="utf-8")
        pieces = []
        end = 0
        for match in TOKEN.finditer(source.code):
            order = match[1]
            line = source.line_of(match.start())
            statement = source.statement_lines(match.start(), match.end())
            rows = sorted(name for name in source.citations(statement)
                          if name in checker.rows and checker.rows[name].order == order)
            expression = match[0]
            for weaker in WEAKER[order]:
                number = len(weakenings) + 1
                weakenings.append(Weakening(number, source.path, line, rows, order, weaker))
                expression = f"::Schedule::getOrder({number}, {expression}, std::memory_order_{weaker})"
            pieces += [text[end:match.start()], expression]
            end = match.end()
        target = folder / source.path
        target.parent.mkdir(parents=True, exist_ok=True)
        content = "".join(pieces + [text[end:]])
        if not target.exists() or target.read_text(encoding="utf-8") != content:
            target.write_text(content, encoding="utf-8")
    return weakenings


def build(preset, folder, source, jobs):
    subprocess.run(["cmake", "--preset", preset, "-B", folder, f"-DMELNAR_SCHEDULED_SOURCE={source}"], cwd=ROOT,
                   check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["cmake", "--build", folder, "--target", "schedules", "-j", jobs], cwd=ROOT, check=True,
                   stdout=subprocess.DEVNULL)
    return folder / "tests/schedules/schedules"


def run(command, **options):
    """Returns the exit code and what was printed. A program that does not end has failed."""
    try:
        result = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors="replace",
                                check=False, timeout=LONGEST_RUN, **options)
    except subprocess.TimeoutExpired:
        return 1, f"SUMMARY: no end after {LONGEST_RUN} s"
    if result.returncode == 2:
        sys.exit(f"{command} was not understood:\n{result.stdout}")
    return result.returncode, result.stdout


def run_sanitized(program, arguments):
    return run(without_address_randomisation([program] + arguments),
               env={**os.environ, "TSAN_OPTIONS": "halt_on_error=1"})


def without_address_randomisation(command):
    prefix = ["setarch", os.uname().machine, "-R"]
    return (prefix if run(prefix + ["true"])[0] == 0 else []) + command


def judge(weakening, plain, sanitized, number):
    code, output = run([plain, "--weaken", str(weakening.number), "--number", str(number)])
    if code != 0:
        weakening.noticed_by = "schedules"
        weakening.finding = next((line for line in output.splitlines() if line.startswith(("seed", "crash"))), "")
        return
    if "was not used" in output:
        weakening.noticed_by = "not used"
        return
    code, output = run_sanitized(sanitized, ["--weaken", str(weakening.number), "--number", str(number // 10)])
    weakening.noticed_by = "TSan" if code != 0 else "argued"
    weakening.finding = next((line for line in output.splitlines() if line.startswith("SUMMARY")), "")[:100]


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--folder", type=Path, default=ROOT / "build/orders", help="where it builds")
    parser.add_argument("--number", type=int, default=3000,
                        help="how many schedules of each pair of tasks it runs, a tenth of them under ThreadSanitizer")
    parser.add_argument("--only", help="weakens the orders of one row, such as O2")
    arguments = parser.parse_args()
    if arguments.number < 10:
        parser.error("--number must be at least 10")
    checks = load_checker()
    checker = checks.Checker(ROOT)
    checker.read_tables()
    weakenings = make_copy(checker, arguments.folder / "source")
    jobs = str(os.cpu_count())
    plain = build("test", arguments.folder / "plain", arguments.folder / "source", jobs)
    sanitized = build("tsan", arguments.folder / "sanitized", arguments.folder / "source", jobs)
    for code, output in (run([plain, "--number", str(arguments.number)]),
                         run_sanitized(sanitized, ["--number", str(arguments.number // 10)])):
        if code != 0:
            sys.exit("Without a weaker order, the schedules report:\n" + output)
    by_row = defaultdict(set)
    for weakening in weakenings:
        if arguments.only and arguments.only not in weakening.rows:
            continue
        judge(weakening, plain, sanitized, arguments.number)
        print(f"{','.join(weakening.rows) or '-':9} {weakening.order:>7} -> {weakening.weaker:7} "
              f"{weakening.noticed_by:9} {weakening.path}:{weakening.line}  {weakening.finding}", flush=True)
        for row in weakening.rows:
            by_row[row].add(weakening.noticed_by)
    objections = 0
    for row, noticed in sorted(by_row.items()):
        found = next((word for word in checks.CHECKED_BY if word in noticed), None)
        stated = checker.rows[row]
        if found is not None and found != stated.checked_by:
            objections += 1
            print(f'{stated.path}:{stated.line}: {row} is "{stated.checked_by}" there, but "{found}"')
    unused = sorted(row for row, noticed in by_row.items() if noticed == {"not used"})
    print(f"{len(weakenings)} weaker orders, {objections} objections; in no schedule: {', '.join(unused) or 'none'}")
    return 1 if objections else 0


if __name__ == "__main__":
    sys.exit(main())
