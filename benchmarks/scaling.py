"""How the tool's verbs scale with threads: each verb with each number of threads, in turn."""

import filecmp
import json
import sys
import tempfile
from pathlib import Path

import load

MAPS = "^(melnar-batch-64|melnar-single-64|absl-256|tbb)/"
VERBS = ["melnar-load", "melnar-load-any", "melnar-strings", "melnar-encode", "melnar-decode"]


def commands(programs, file, folder, threads):
    """Returns the commands, by their names in the results. Saving only the strings is one of them."""
    found = load.commands(programs, file, folder, threads)
    found["melnar-strings"] += ["-o", folder / "strings.dict"]
    return {name: found[name] for name in VERBS}


def counts_of(outputs):
    """Returns the counts of the loads, which must be the same for any number of threads."""
    reports = {name: json.loads(output) for name, output in outputs.items() if output.startswith("{")}
    return {name: {key: count for key, count in report.items() if key == "triples" or key.startswith("distinct")}
            for name, report in reports.items()}


def run_round(programs, file, folder, threads):
    """Runs all verbs once. Returns their figures, by their names, and the counts of the loads."""
    outputs, figures = {}, {}
    for name, command in commands(programs, file, folder, threads).items():
        outputs[name], figures[name] = load.run_once(command)
    if not filecmp.cmp(folder / "input.npy", folder / "encoded.npy", shallow=False):
        sys.exit(f"run.py: {file.name}, {threads} threads: 'input.npy' and 'encoded.npy' differ")
    counts = counts_of(outputs)
    if counts["melnar-load"] != counts["melnar-load-any"]:
        sys.exit(f"run.py: {file.name}, {threads} threads: the order of the IDs changes the terms")
    return figures, counts


def check_same(file, threads, first, folder):
    """Checks that IDs in the order of the input, and the text decoded from them, are the same for any number of
    threads."""
    for name in ("input.dict", "input.npy", "decoded"):
        if not filecmp.cmp(first / name, folder / name, shallow=False):
            sys.exit(f"run.py: {file.name}: '{name}' of {threads} threads is not that of the first round")


def run_verbs(programs, file, thread_counts, repetitions, context, results):
    """Runs all verbs with each number of threads in turn, for all repetitions. Writes a file of results and returns its
    name. The first round is not measured: it brings the file into the cache, and all others must agree with it."""
    entries = []
    with tempfile.TemporaryDirectory(dir=results) as name_of_first:
        first = Path(name_of_first)
        _, expected = run_round(programs, file, first, thread_counts[0])
        for repetition in range(repetitions):
            for threads in thread_counts:
                with tempfile.TemporaryDirectory(dir=results) as name_of_folder:
                    folder = Path(name_of_folder)
                    figures, counts = run_round(programs, file, folder, threads)
                    check_same(file, threads, first, folder)
                if counts != expected:
                    sys.exit(f"run.py: {file.name}: {threads} threads change what is counted")
                for verb, values in figures.items():
                    name = f"{verb}/threads:{threads}"
                    entries.append({"run_name": name, "name": name, "run_type": "iteration",
                                    "repetition_index": repetition, **values})
    document = {"context": {**context, "strings": file.name, "bytes": str(file.stat().st_size)},
                "benchmarks": entries}
    path = results / f"scaling-verbs-{file.stem}-{file.suffix.removeprefix('.')}.json"
    path.write_text(json.dumps(document, indent=1), encoding="utf-8")
    return path
