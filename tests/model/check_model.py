#!/usr/bin/env python3
"""Checks the model of the hash table exhaustively with spin, and that deliberate mistakes in it are found.

usage: check_model.py [--quick | --long] [--jobs N] [--memory MB] [--folder FOLDER]

Three inserters, of which two share a slot, and a deleter; and an inserter, a deleter and a reader. With --long, also
three inserters, a deleter and a reader. In these cases the deleter shares the slot of an inserter, and the reader
starts when it can find its string; they have up to 51 million states each, and need 3 GB of memory. With --quick, one
case of each of the first two kinds.
"""

import argparse
import concurrent.futures
import itertools
import os
import pathlib
import re
import subprocess
import sys
import tempfile

MODEL = pathlib.Path(__file__).parent / "table.pml"

FINGERPRINT_STORE = """            d_step { /* H1 */
                fingerprint[index] = (haveFingerprints -> FINGERPRINT(string) : 0);
                checkFingerprint(index)
            }
"""
READABLE = "            d_step { assert(!isReadable[string]); isReadable[string] = true } /* D1 */\n"

INSERTING = {"INSERTERS": 3, "RESOLVES": 1, "SOUGHT": 4}
READING = {"INSERTERS": 1, "RESOLVES": 2}


PARKING = """inline waitWhilePreparing() {
    release(slot);
    lockResize();
    do
    :: resizeState == PREPARING -> /* P3 */
        d_step { resizeMutex = false; isAsleep[_pid] = true }
        !isAsleep[_pid];
        lockResize()
    :: else -> break
    od;
    resizeMutex = false;
    acquire(slot)
"""


def combine(base, **values):
    return [base | dict(zip(values, combination)) for combination in itertools.product(*values.values())]


INSERTING_CASES = combine(INSERTING, THIRD=(1, 2), WITHDRAWN=(0, 2), COMPLETE=(1, 0), LOAN=(0, 1))
READING_CASES = combine(READING, SOUGHT=(0, 1, 2, 3), WITHDRAWN=(0, 1), COMPLETE=(1, 0))
LATE_READING = {"INSERTERS": 3, "RESOLVES": 1, "THIRD": 1, "IS_LATE": 1, "SLOTS": 3}
LONG_CASES = combine(LATE_READING | {"FAILURES": 0}, SOUGHT=(0, 1), FINGERPRINTS=(1, 0)) + [
    LATE_READING | {"FAILURES": 0, "SOUGHT": 0, "FINGERPRINTS": 1, "LOAN": 1},
    LATE_READING | {"FAILURES": 1, "SOUGHT": 0, "FINGERPRINTS": 1}]

# A mistake: its name, lines of the model, what replaces them, and how the case in which spin finds it differs from
# INSERTING.
MISTAKES = [
    ("the leader takes all slots but the first",
     "#define FIRST_SLOT 0", "#define FIRST_SLOT 1", {}),
    ("who leaves a slot forgets to wake a thread that waits for it",
     ":: flag -> d_step { assert(!wakeUp[slot]); wakeUp[slot] = true; flag = false } /* S2, T3 */",
     ":: flag -> flag = false", {}),
    ("the finisher ends the resize before the last chunk",
     "d_step { pendingChunks--; flag = (pendingChunks == 0) } /* P5 */",
     "d_step { pendingChunks--; flag = (pendingChunks == 1) }", {}),
    ("the quota of a dropped tombstone is not credited",
     ":: value == DELETED -> quota[slot] = quota[slot] + 1 /* Z5 */",
     ":: value == DELETED -> skip", {}),
    ("an insertion stores its fingerprint before success is certain",
     "        if\n        :: value == EMPTY && failures < FAILURES ->",
     "        if\n        :: value == EMPTY -> fingerprint[index] = FINGERPRINT(string)\n        :: else\n        fi;\n"
     "        if\n        :: value == EMPTY && failures < FAILURES ->",
     {}),
    ("a new resource can be read by its ID before its fingerprint is stored",
     FINGERPRINT_STORE + READABLE, READABLE + FINGERPRINT_STORE,
     READING | {"SOUGHT": 0}),
    ("who enters a slot does not join the resize",
     "seen = resizeState; /* P3 */\n    handleResize()\n}\n\n/* Ends one.",
     "seen = resizeState\n}\n\n/* Ends one.", {}),
    ("a bucket is claimed without another look",
     ":: bucket[index] == EMPTY -> bucket[index] = IN_PROGRESS; break /* O1 */",
     ":: true -> bucket[index] = IN_PROGRESS; break", {}),
    ("the rehash stores a number without another look",
     ":: bucket[index] == EMPTY -> bucket[index] = value; break /* O6 */",
     ":: true -> bucket[index] = value; break", {"THIRD": 1}),
    ("a probe passes a bucket in progress",
     "atomic { bucket[index] != IN_PROGRESS -> value = bucket[index]; checkAccess(slot) } /* O3 */",
     "d_step { value = bucket[index]; checkAccess(slot) }", {}),
    ("a lookup that starts after a publication passes a bucket in progress",
     "atomic { bucket[index] != IN_PROGRESS -> value = bucket[index]; checkAccess(slot) } /* O3 */",
     "atomic { (isLookup || bucket[index] != IN_PROGRESS) -> value = bucket[index]; checkAccess(slot) }",
     LATE_READING | {"SOUGHT": 0, "FINGERPRINTS": 1, "FAILURES": 0}),
    ("a probe passes an entry whose fingerprint is unknown",
     ":: haveFingerprints && fingerprint[index] != 0 && fingerprint[index] != FINGERPRINT(string) -> /* H2 */",
     ":: haveFingerprints && bucket[index] != EMPTY && fingerprint[index] != FINGERPRINT(string) ->",
     READING | {"COMPLETE": 0, "SOUGHT": 2}),
    ("a lookup ends at an unknown fingerprint though fingerprints are not complete",
     ":: isLookup && haveFingerprints && areComplete && fingerprint[index] == 0 ->",
     ":: isLookup && haveFingerprints && fingerprint[index] == 0 ->", READING | {"COMPLETE": 0, "SOUGHT": 2}),
    ("two threads claim the same chunk",
     "flag = (resizeState == seen);", "flag = (resizeState < chunks);", {}),
    ("who ends the preparation of a resize does not wake the parked threads",
     "{ isAsleep[other] = false }", "{ skip }", {}),
    ("a parked thread keeps its slot",
     PARKING, PARKING.replace("    release(slot);\n", "").replace("    acquire(slot)\n", "    skip\n"), {}),
    ("a leader that runs out of memory leaves the state as it is",
     ":: hasFailed -> publishResizeState(NOT_RESIZING)", ":: hasFailed -> skip", {}),
    ("the rehash stores no fingerprint",
     "fingerprint[index] = (haveFingerprints -> FINGERPRINT((value - FIRST_STRING)) : 0) /* H1 */",
     "skip", {}),
    ("a deletion leaves an empty bucket",
     "bucket[index] = DELETED; /* O5 */",
     "bucket[index] = EMPTY; fingerprint[index] = 0; quota[slot] = quota[slot] + 1; deleted--;",
     READING | {"SOUGHT": 1}),
    ("fingerprints are given up without the election of a leader",
     ":: else -> electLeader(); handleResize()\n        od;", ":: else -> isLeader = true\n        od;",
     READING | {"SOUGHT": 3}),
]


class Result:
    """What spin says about a case."""

    def __init__(self, output):
        self.states = int(float(re.search(r"^ *([\d.e+]+) states, stored", output, re.M).group(1)))
        self.depth = int(re.search(r"depth reached (\d+)", output).group(1))
        self.errors = int(re.search(r"errors: (\d+)", output).group(1))
        self.is_complete = "Search not completed" not in output and "max search depth too small" not in output
        finding = re.search(r"^pan:\d+: (.*?)(?: \(at depth \d+\))?$", output, re.M)
        self.finding = finding.group(1)[:100] if finding else "an error"


def run(command, folder):
    result = subprocess.run(command, cwd=folder, capture_output=True, text=True)
    if result.returncode != 0:
        sys.exit(f"{' '.join(command)}:\n{result.stdout}{result.stderr}")
    return result.stdout


def check(model, case, memory, folder, *options):
    """Searches all states of a case of the model, or those up to an error; `memory` in MB."""
    with tempfile.TemporaryDirectory(dir=folder) as scratch:
        (pathlib.Path(scratch) / "table.pml").write_text(model)
        run(["spin", *(f"-D{name}={value}" for name, value in case.items()), "-a", "table.pml"], scratch)
        run(["gcc", "-O2", "-w", "-DSAFETY", "-DNOFAIR", "-DCOLLAPSE", *options, f"-DMEMLIM={memory}", "-o", "pan",
             "pan.c"], scratch)
        return Result(run(["./pan", "-m100000"], scratch))


def replace(line, instead):
    model = MODEL.read_text()
    if model.count(line) != 1:
        sys.exit(f"{MODEL.name} has this line {model.count(line)} times, not once: {line}")
    return model.replace(line, instead)


def describe(case):
    return ", ".join(f"{name.lower()} {value}" for name, value in case.items())


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    extent = parser.add_mutually_exclusive_group()
    extent.add_argument("--quick", action="store_true", help="one case with a reader and one without")
    extent.add_argument("--long", action="store_true", help="also three inserters with a reader")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="how many searches run beside each other")
    parser.add_argument("--memory", type=int, default=8000, help="the most MB that one search takes")
    parser.add_argument("--folder", help="where to work")
    arguments = parser.parse_args()

    cases = INSERTING_CASES + READING_CASES + (LONG_CASES if arguments.long else [])
    if arguments.quick:
        cases = [INSERTING_CASES[0], READING_CASES[0]]
    model = MODEL.read_text()
    failed = False

    def search(case):
        return check(model, case, arguments.memory, arguments.folder)

    def seek(mistake):
        # Alternatives in random order, from a fixed seed, lead to an error earlier.
        _, lines, instead, difference = mistake
        return check(replace(lines, instead), INSERTING | difference, arguments.memory, arguments.folder, "-DP_RAND",
                     "-DT_RAND")

    with concurrent.futures.ThreadPoolExecutor(arguments.jobs) as pool:
        total = 0
        for case, result in zip(cases, pool.map(search, cases)):
            total += result.states
            failed = failed or result.errors > 0 or not result.is_complete
            verdict = (result.finding if result.errors > 0 else "no error" if result.is_complete else
                       "out of memory or depth")
            print(f"{describe(case)}: {result.states:,} states, depth {result.depth}: {verdict}", flush=True)
        print(f"{len(cases)} cases, {total:,} states", flush=True)
        found = 0
        for mistake, result in zip(MISTAKES, pool.map(seek, MISTAKES)):
            found += result.errors > 0
            verdict = result.finding if result.errors > 0 else "NOT FOUND"
            print(f"{mistake[0]}: {verdict} ({result.states:,} states)", flush=True)
        print(f"{found} of {len(MISTAKES)} mistakes found")
        failed = failed or found < len(MISTAKES)
    sys.exit(1 if failed else 0)


main()
