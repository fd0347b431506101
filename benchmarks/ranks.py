"""Loads by several processes: measurements, a model, and its predictions for more processes than there are here.

The inputs of the model are measured: the processor time of a statement; the terms that it may ask for; the cost of each
term that one rank sends to another, in bytes and in processor time; how many slices a rank contributes to a round; the
bytes of shards, and those that a rank has in addition. Everything else is arithmetic; docs/scale.md explains it.
"""

import filecmp
import json
import os
import re
import resource
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

SLICE = 1 << 20
RANKS = [1, 2, 3, 4]
ENVIRONMENT = {**os.environ, "OMPI_ALLOW_RUN_AS_ROOT": "1", "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM": "1"}

# The assumptions for large runs: ranks per machine, bytes per second that a machine sends, seconds per message.
RANKS_OF_A_MACHINE = 16
BYTES_A_SECOND = 10e9 / 8
LATENCY = 20e-6


def run_timed(command):
    """Runs a command. Returns its standard error, its seconds, and the processor seconds of it and its children."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    started = time.monotonic()
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True, stdin=subprocess.DEVNULL,
                            env=ENVIRONMENT, check=False)
    seconds = time.monotonic() - started
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if result.returncode != 0:
        sys.exit(f"run.py: '{' '.join(str(part) for part in command)}' ended with {result.returncode}:\n{result.stderr}")
    return result, seconds, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime


def figures_of(text):
    """Returns the numbers that --traffic prints, by their names."""
    return {name.strip(): float(number) for name, number in re.findall(r"^ *([a-z ]+?)  +([0-9.e+]+)$", text, re.M)}


def same(first, second):
    """Returns whether two folders, or files, have the same bytes."""
    if first.is_file():
        return filecmp.cmp(first, second, shallow=False)
    names = sorted(path.name for path in first.iterdir())
    return names == sorted(path.name for path in second.iterdir()) and \
        filecmp.cmpfiles(first, second, names, shallow=False)[0] == names


def run_round(programs, file, folder, entries):
    """Loads a file once in each way, and checks that all make the same shards and rows."""
    tool = programs / "tools" / "melnar-dict"
    ranks = programs / "tools" / "melnar-dict-mpi" / "melnar-dict-mpi"

    def note(name, seconds, cpu, **others):
        entries.append({"run_name": name, "name": name, "run_type": "iteration", "seconds": seconds, "cpu": cpu, **others})

    for name, options in (("file", []), ("shards", ["--shards"])):
        result, seconds, cpu = run_timed([tool, "load", *options, file, "--threads", "2", "--json", "--force",
                                          "-o", folder / name, "--ids", folder / f"{name}.npy"])
        note(f"{name}/threads:2", seconds, cpu, statements=json.loads(result.stdout)["triples"])
    for number in RANKS:
        out, rows = folder / f"ranks-{number}", folder / f"ranks-{number}.npy"
        result, seconds, cpu = run_timed(["mpirun", "--oversubscribe", "--quiet", "-n", number, ranks, "load", file,
                                          "--traffic", "-o", out, "--ids", rows])
        note(f"ranks:{number}", seconds, cpu, **figures_of(result.stderr))
        if not same(folder / "shards", out) or not same(folder / "shards.npy", rows):
            sys.exit(f"run.py: {file.name}: {number} ranks make another dictionary than one process")


def run_ranks(programs, file, repetitions, context, results):
    """Runs all ways in turn, for all repetitions. Writes a file of results and returns its name. The first round is not
    measured."""
    entries = []
    for repetition in range(repetitions + 1):
        with tempfile.TemporaryDirectory(dir=results) as folder:
            of_round = []
            run_round(programs, file, Path(folder), of_round)
        if repetition != 0:
            entries += [{**entry, "repetition_index": repetition - 1} for entry in of_round]
    document = {"context": {**context, "strings": file.name, "bytes": str(file.stat().st_size)}, "benchmarks": entries}
    path = results / f"ranks-{file.stem}-{file.suffix.removeprefix('.')}.json"
    path.write_text(json.dumps(document, indent=1), encoding="utf-8")
    return path


class Model:
    """Predicts the cost of loads by several ranks from measurements with one and two."""

    def __init__(self, entries, file_bytes):
        def median(name, figure):
            return statistics.median(entry[figure] for entry in entries if entry["name"] == name)

        self.median = median
        self.bytes = file_bytes
        self.statements = median("file/threads:2", "statements")
        self.terms = median("ranks:1", "terms of pieces")
        self.slices = file_bytes / SLICE
        # With two ranks, half of the requested terms belong to the other one.
        remote = median("ranks:2", "terms asked for") / 2
        self.bytes_of_term = median("ranks:2", "bytes from rank to rank") / remote
        self.cpu = median("ranks:1", "seconds of processors")
        self.cpu_of_term = max(0, median("ranks:2", "seconds of processors") - self.cpu) / remote
        self.slices_of_rank = self.slices / median("ranks:1", "rounds")
        self.shard_bytes = median("ranks:1", "of its shards")
        self.own_bytes = max(median(f"ranks:{ranks}", "bytes of largest rank") - median(f"ranks:{ranks}", "of its shards")
                             for ranks in RANKS)

    def predict(self, ranks, scale=1.0, asked=None):
        """Predicts a load of an input that is `scale` times as large. Without `asked`, the caches have no hits."""
        asked = (self.terms if asked is None else asked) * scale
        remote = asked * (ranks - 1) / ranks
        busiest = -(-256 // ranks) * ranks / 256  # shards of the rank with the most, relative to the average
        return {"rounds": scale * self.slices / self.slices_of_rank / ranks,
                "sent": remote * self.bytes_of_term,
                "cpu": scale * self.cpu + remote * self.cpu_of_term,
                "busiest": busiest,
                "memory": scale * self.shard_bytes / ranks * busiest + self.own_bytes}


def section(path):
    """Returns the tables of docs/scale.md for a file of results."""
    document = json.loads(path.read_text(encoding="utf-8"))
    entries = document["benchmarks"]
    model = Model(entries, float(document["context"]["bytes"]))
    median = model.median
    threads = median("shards/threads:2", "seconds")
    file = median("file/threads:2", "seconds")
    lines = [f"### {document['context']['strings']}, {model.bytes / 1e9:.2f} GB, {model.statements / 1e6:.2f} million "
             "statements", "",
             "| | seconds | throughput over `--shards`, 2 threads | over one file, 2 threads | processor seconds |",
             "|---|---|---|---|---|",
             f"| one file, 2 threads | {file:.2f} | {threads / file:.2f} | 1.00 | {median('file/threads:2', 'cpu'):.2f} |",
             f"| `--shards`, 2 threads | {threads:.2f} | 1.00 | {file / threads:.2f} | "
             f"{median('shards/threads:2', 'cpu'):.2f} |"]
    for ranks in RANKS:
        seconds = median(f"ranks:{ranks}", "seconds")
        lines.append(f"| {ranks} rank{'s' if ranks > 1 else ''} | {seconds:.2f} | {threads / seconds:.2f} | "
                     f"{file / seconds:.2f} | {median(f'ranks:{ranks}', 'cpu'):.2f} |")
    lines += ["", "Measured, with the prediction of the model in brackets:", "",
              "| ranks | rounds | share of terms sent to owners | MB from rank to rank | processor seconds | "
              "MB of the largest rank |", "|---|---|---|---|---|---|"]
    for ranks in RANKS:
        asked = median(f"ranks:{ranks}", "terms asked for")
        told = model.predict(ranks, asked=asked)
        lines.append(
            f"| {ranks} | {median(f'ranks:{ranks}', 'rounds'):.0f} ({told['rounds']:.0f}) | {asked / model.terms:.2f} | "
            f"{median(f'ranks:{ranks}', 'bytes from rank to rank') / 1e6:.0f} ({told['sent'] / 1e6:.0f}) | "
            f"{median(f'ranks:{ranks}', 'seconds of processors'):.2f} ({told['cpu']:.2f}) | "
            f"{median(f'ranks:{ranks}', 'bytes of largest rank') / 1e6:.0f} ({told['memory'] / 1e6:.0f}) |")
    lines += ["", "The inputs of the model: "
              f"{model.cpu / model.statements * 1e6:.2f} µs of processor time per statement; "
              f"{model.terms / model.statements:.2f} terms per statement that may be sent to an owner; "
              f"{model.bytes_of_term:.0f} bytes and {model.cpu_of_term * 1e9:.0f} ns of processor time for each that is "
              f"sent to another rank, with its answer; {model.slices_of_rank:.1f} slices of a rank per round; "
              f"{model.shard_bytes / model.statements:.1f} bytes of shards per statement, "
              f"and {model.own_bytes / 1e6:.0f} MB in addition.", "",
              "20 billion statements of this kind:", "",
              "| ranks | rounds | TB from rank to rank | of it per rank, GB | processor hours | shards of a rank, GB | "
              "minutes of processors | of the network |", "|---|---|---|---|---|---|---|---|"]
    scale = 20e9 / model.statements
    for ranks in (16, 64, 256):
        told = model.predict(ranks, scale)
        machines = -(-ranks // RANKS_OF_A_MACHINE)
        leaving = told["sent"] * (1 - min(RANKS_OF_A_MACHINE, ranks) / ranks) / machines  # bytes that leave a machine
        network = leaving / BYTES_A_SECOND + told["rounds"] * ranks * 3 * LATENCY
        lines.append(f"| {ranks} | {told['rounds'] / 1e3:.0f} thousand | {told['sent'] / 1e12:.1f} | "
                     f"{told['sent'] / ranks / 1e9:.0f} | {told['cpu'] / 3600:.1f} | "
                     f"{(told['memory'] - model.own_bytes) / 1e9:.1f} | "
                     f"{told['cpu'] / ranks * told['busiest'] / 60:.1f} | {network / 60:.1f} |")
    return lines + [""]
