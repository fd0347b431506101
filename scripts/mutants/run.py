#!/usr/bin/env python3
"""Judges the tests: changes the engine or the reader in one place, and expects that a test fails.

usage: ./dev mutants FOLDER... [OPTION...]

FOLDER is Engine, Reader, or a folder or file in one of them; several are of the same one. Each place where an operator,
a constant, a condition, a jump or a statement can be changed is a mutant. One build of a copy of the project, below
build/mutants, contains all mutants; an environment variable activates one. First each test is run once, to record which
mutants it reaches. Then each mutant is judged by the tests that reach it, the fastest ones first, until one fails,
crashes, or takes much longer than usual. Results are kept: the same command continues an interrupted run, and judges
survivors again after tests have changed.

Memory orders, texts and calls that affect only the speed are not mutated, nor what is evaluated by the compiler.
Tests named XSlowTest, and those that take longer than --longest, are left out; so are all those that are not in the
folders of --tests, which saves much of the time of the build. Tests that need data find it through MELNAR_DATA.

The list tests/mutants/survivors names survivors that no test can notice. The exit code is 1 if less than 90 % of the
other mutants are noticed.
"""

import argparse
import concurrent.futures
import difflib
import json
import math
import os
import random
import sys
from pathlib import Path

import survivors
from tree import Tree, is_in
from trials import Trials, Verdict

PROGRAMS = {"Engine": ["engine-tests", "engine-concurrent-tests", "c-interface-test"],
            "Reader": ["reader-tests", "reader-concurrent-tests"]}
REQUIRED = 0.9


def parse_arguments():
    root = Path(__file__).resolve().parents[2]
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter,
                                     usage=argparse.SUPPRESS)
    parser.add_argument("folders", metavar="FOLDER", nargs="+", type=lambda text: text.rstrip("/"))
    parser.add_argument("--sample", type=int, metavar="N", help="judge only N mutants, chosen by chance")
    parser.add_argument("--seed", type=int, default=1, help="of the choice (1)")
    parser.add_argument("--only", type=int, metavar="NUMBER", help="judge one mutant, again if it has been judged")
    parser.add_argument("--show", type=int, metavar="NUMBER", help="print one mutant, and judge none")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="how much runs concurrently (one per core)")
    parser.add_argument("--longest", type=float, default=10, metavar="SECONDS", help="of a test (10)")
    parser.add_argument("--tests", nargs="+", metavar="FOLDER", help="the tests that judge (all of the library)")
    parser.add_argument("--without", nargs="+", metavar="FOLDER", default=[], help="what is not judged, such as the "
                        "code for another processor")
    parser.add_argument("--root", type=Path, default=root, help=argparse.SUPPRESS)
    parser.add_argument("--programs", nargs="+", help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    for folder in arguments.folders:
        if folder.split("/")[0] not in PROGRAMS or not (arguments.root / folder).exists():
            parser.error(f"{folder} is no folder or file of {' or '.join(PROGRAMS)}")
    libraries = {folder.split("/")[0] for folder in arguments.folders}
    if len(libraries) > 1:
        parser.error(f"{' and '.join(sorted(libraries))} cannot be judged together")
    return arguments, libraries.pop()


def show(mutant, root):
    """The mutant as a difference."""
    data = (root / mutant.file).read_bytes()
    after = "static_cast<void>(0)" if mutant.form == "remove" else mutant.after
    after += ";" if mutant.form == "statement" else ""
    changed = data[:mutant.start] + after.encode() + data[mutant.end:]
    return "".join(difflib.unified_diff(data.decode().splitlines(True), changed.decode().splitlines(True), mutant.file,
                                        mutant.file))


def get_interval(successes, trials):
    """The share, and Wilson's interval with 95 % confidence."""
    z = 1.96
    share = successes / trials
    center = share + z * z / (2 * trials)
    margin = z * math.sqrt(share * (1 - share) / trials + z * z / (4 * trials * trials))
    return share, (center - margin) / (1 + z * z / trials), (center + margin) / (1 + z * z / trials)


def describe_share(successes, trials):
    if trials == 0:
        return "none"
    share, low, high = get_interval(successes, trials)
    return f"{successes} of {trials}, {share:.1%} (95 % interval {low:.1%} to {high:.1%})"


class Results:
    """The verdicts so far, in a file to which each new one is appended."""

    def __init__(self, tree):
        self.file = tree.folder / "results.jsonl"
        self.verdicts = {}
        numbers = {mutant.key(): number for number, mutant in tree.mutants.items()}
        lines = self.file.read_text(encoding="utf-8").splitlines() if self.file.exists() else []
        if not lines or json.loads(lines[0]) != tree.sources_hash:
            self.file.write_text(json.dumps(tree.sources_hash) + "\n", encoding="utf-8")
            return
        for key, verdict in map(json.loads, lines[1:]):
            if tuple(key) in numbers:
                self.verdicts[numbers[tuple(key)]] = Verdict(**verdict)

    def add(self, number, mutant, verdict):
        self.verdicts[number] = verdict
        with open(self.file, "a", encoding="utf-8") as file:
            file.write(json.dumps([mutant.key(), verdict.__dict__]) + "\n")


def choose(tree, arguments):
    chosen = [number for number, mutant in tree.mutants.items() if number not in tree.dropped and
              is_in(mutant.file, *arguments.folders) and not is_in(mutant.file, *arguments.without)]
    total = len(chosen)
    if arguments.sample is not None:
        random.Random(arguments.seed).shuffle(chosen)
        chosen = chosen[:arguments.sample]
    return chosen, total


def judge_all(chosen, tree, trials, results, accepted):
    """Judges what has no verdict yet, and prints each survivor that is not accepted."""
    def judge(number):
        verdict = results.verdicts.get(number)
        if verdict is not None and trials.is_final(number, verdict):
            return number, verdict, False
        return number, trials.judge(number), True

    done = 0
    with concurrent.futures.ThreadPoolExecutor(trials.jobs) as pool:
        for future in concurrent.futures.as_completed([pool.submit(judge, number) for number in chosen]):
            number, verdict, is_new = future.result()
            mutant = tree.mutants[number]
            if is_new:
                results.add(number, mutant, verdict)
            if not verdict.is_noticed and mutant.key() not in accepted:
                print(f"\n{mutant.file}:{mutant.line}: mutant {number} {verdict.how}\n{survivors.describe(mutant)}",
                      flush=True)
            done += 1
            if done % 20 == 0:
                print(f"({done} of {len(chosen)})", flush=True)


def report(chosen, total, tree, results, accepted, folders):
    verdicts = [results.verdicts[number] for number in chosen]
    counts = {}
    for verdict in verdicts:
        counts[verdict.how] = counts.get(verdict.how, 0) + 1
    known = sum(1 for number in chosen
                if not results.verdicts[number].is_noticed and tree.mutants[number].key() in accepted)
    noticed = sum(verdict.is_noticed for verdict in verdicts)
    print(f"\n{' '.join(folders)}: {total} mutants, {len(chosen)} judged: "
          f"{', '.join(f'{count} {how}' for how, count in sorted(counts.items()))}; {known} accepted survivors")
    print(f"noticed: {describe_share(noticed, len(chosen))}")
    print(f"noticed, without accepted survivors: {describe_share(noticed, len(chosen) - known)}")
    return len(chosen) > 0 and noticed >= REQUIRED * (len(chosen) - known)


def main():
    sys.stdout.reconfigure(line_buffering=True)
    arguments, library = parse_arguments()
    root = arguments.root.resolve()
    folder = root / "build/mutants" / library
    folder.mkdir(parents=True, exist_ok=True)
    tree = Tree(root, library, folder, arguments.jobs, arguments.folders, arguments.tests)
    if arguments.show is not None:
        sys.stdout.write(show(tree.mutants[arguments.show], root))
        return
    accepted = survivors.read(root / "tests/mutants/survivors")
    keys = {mutant.key() for mutant in tree.mutants.values()}
    stale = [key for key in accepted if is_in(key[0], *arguments.folders) and key not in keys]
    if stale:
        sys.exit("mutants: no mutant is like these in tests/mutants/survivors:\n\n" +
                 "\n\n".join("\n".join(key) for key in stale))

    print(f"Building {len(tree.mutants)} mutants", flush=True)
    programs = arguments.programs or PROGRAMS[library]
    tree.build(programs)
    print(f"{len(tree.dropped)} of them do not compile", flush=True)
    trials = Trials(tree, programs, arguments.jobs, arguments.longest)
    trials.record()
    reached = frozenset().union(*(test.reached for test in trials.tests))
    print(f"{len(trials.tests)} tests reach {len(reached & tree.mutants.keys())} mutants")
    results = Results(tree)

    if arguments.only is not None:
        sys.stdout.write(show(tree.mutants[arguments.only], root))
        verdict = trials.judge(arguments.only)
        results.add(arguments.only, tree.mutants[arguments.only], verdict)
        print(f"mutant {arguments.only} {verdict.how} {verdict.test}".rstrip())
        return
    chosen, total = choose(tree, arguments)
    judge_all(chosen, tree, trials, results, accepted)
    sys.exit(0 if report(chosen, total, tree, results, accepted, arguments.folders) else 1)


if __name__ == "__main__":
    main()
