"""RDF files and rows of IDs: the tool, serd's bare reader, serdi and a copy, measured in turn."""

import filecmp
import gzip
import json
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path


def unpacked(file, folder):
    """Returns the file or, if it is compressed with gzip, a plain copy in the folder: the other programs do not read
    gzip."""
    if file.suffix != ".gz":
        return file
    folder.mkdir(parents=True, exist_ok=True)
    plain = folder / file.stem
    if not plain.exists():
        with gzip.open(file, "rb") as source, open(plain, "wb") as target:
            shutil.copyfileobj(source, target)
    return plain


def make_large_file(root, triples, folder):
    """Returns a file of `triples` statements from the generator beside the repository; makes it unless it exists."""
    generator = root.parent / "shared" / "data" / "make_large.py"
    folder.mkdir(parents=True, exist_ok=True)
    file = folder / f"large-{triples}.nt"
    if not file.exists():
        if not generator.exists():
            sys.exit("load.py: the program that makes the large file is not there; give files with --file")
        unfinished = file.with_suffix(".part")
        subprocess.run([sys.executable, generator, str(triples), "-o", unfinished], check=True,
                       stdout=subprocess.DEVNULL)
        unfinished.rename(file)
    return file


def make_data_sets(root, folder):
    """Returns the data sets beside the repository that are N-Triples or N-Quads, each as one plain file."""
    data = root.parent / "shared" / "data"
    if not data.exists():
        sys.exit("load.py: there are no data sets beside the repository; give files with --file")
    files = [unpacked(file, folder) for file in (data / "schemaorg-30.0" / "schemaorg-all-https.nq.gz",
                                                 *sorted(data.glob("*.nt.gz")))]
    vocabularies = folder / "vocabularies.nq"
    with open(vocabularies, "wb") as target:
        for file in sorted((data / "vocabularies").glob("*.nq.gz")):
            with gzip.open(file, "rb") as source:
                shutil.copyfileobj(source, target)
    return [*files, vocabularies]


def make_small_file(folder):
    """Makes a file that shows that everything works."""
    folder.mkdir(parents=True, exist_ok=True)
    file = folder / "small.nt"
    lines = (f'<urn:s:{number}> <urn:p> "text {number % 1000}"{"@en" if number % 2 else ""} .\n'
             for number in range(20_000))
    file.write_text("".join(lines), encoding="utf-8")
    return file


def run_once(command):
    """Runs a command. Returns its output, wall seconds, CPU seconds, system CPU seconds, peak memory in MB, and how
    often it waited."""
    start = time.perf_counter()
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
        output = process.stdout.read() if process.stdout else ""
        _, status, usage = os.wait4(process.pid, 0)
        seconds = time.perf_counter() - start
        process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"run.py: {command[0]} ended with {process.returncode}")
    return output, {
        "seconds": seconds,
        "cpu_seconds": usage.ru_utime + usage.ru_stime,
        "system_seconds": usage.ru_stime,
        "peak_mb": usage.ru_maxrss / 1024,
        "waits": usage.ru_nvcsw,
    }


def commands(programs, file, folder, threads):
    """Returns the commands, by their names in the results. Later commands read files that earlier ones have written to
    the folder. The shell discards serdi's output."""
    syntax = {".ttl": "turtle", ".nq": "nquads", ".trig": "trig"}.get(file.suffix, "ntriples")

    def tool(verb, *arguments):
        return [programs / "tools" / "melnar-dict", verb, *arguments, "--threads", str(threads)]

    def load(name, *options):
        return tool("load", file, "--json", "-o", folder / f"{name}.dict", *options)

    return {
        "serd-baseline": [programs / "benchmarks" / "serd-baseline", file],
        "serdi": ["sh", "-c", 'exec serdi -q -i "$1" -o ntriples "$2" >/dev/null', "sh", syntax, file],
        "melnar-strings": tool("load", file, "--json", "--strings-only"),
        "melnar-load": load("input", "--ids", folder / "input.npy"),
        "melnar-load-any": load("any", "--ids", folder / "any.npy", "--order", "any"),
        "melnar-encode": tool("encode", file, "-d", folder / "input.dict", "-o", folder / "encoded.npy"),
        "melnar-decode": tool("decode", folder / "input.npy", "-d", folder / "input.dict", "-o", folder / "decoded"),
        "melnar-copy": [programs / "benchmarks" / "bench-copy", folder / "decoded", folder / "copied"],
    }


def count_lines(file):
    with open(file, "rb") as source:
        return sum(piece.count(b"\n") for piece in iter(lambda: source.read(1 << 20), b""))


def check_answers(file, folder, outputs):
    """Checks that all commands have read the same statements, and that their output agrees."""
    read = int(re.match(r"(\d+) statements", outputs["serd-baseline"])[1])
    reports = {name: json.loads(output) for name, output in outputs.items() if output.startswith("{")}
    counts = {name: report["triples"] for name, report in reports.items()}
    counts["melnar-decode"] = count_lines(folder / "decoded")
    for name, count in counts.items():
        if count != read:
            sys.exit(f"run.py: {file.name}: {name} does not count the {read} statements that serd reads")
    if any(count != reports["melnar-load-any"][name] for name, count in reports["melnar-load"].items()
           if name.startswith("distinct")):
        sys.exit(f"run.py: {file.name}: the order of the IDs changes the terms")
    for left, right in (("input.npy", "encoded.npy"), ("decoded", "copied")):
        if not filecmp.cmp(folder / left, folder / right, shallow=False):
            sys.exit(f"run.py: {file.name}: '{left}' and '{right}' differ")


def figures_of_output(name, output, folder, figures):
    """Returns the figures that a command prints, and those of its output files."""
    if name.startswith(("melnar-load", "melnar-strings")):
        report = json.loads(output)
        return {"dictionary_mb": report["memoryBytes"] / (1 << 20),
                "text_mb": (report["textBytes"] + report["otherTextBytes"]) / (1 << 20)}
    if name in ("melnar-decode", "melnar-copy"):
        return {"mb_per_cpu_second": (folder / "decoded").stat().st_size / 1e6 / figures["cpu_seconds"]}
    return {}


def run_load(programs, file, threads, repetitions, context, results):
    """Runs all commands in turn, for all repetitions. Writes a file of results and returns its name."""
    entries = []
    for repetition in range(repetitions + 1):
        outputs = {}
        with tempfile.TemporaryDirectory(dir=results) as name_of_folder:
            folder = Path(name_of_folder)
            for name, command in commands(programs, file, folder, threads).items():
                outputs[name], figures = run_once(command)
                figures |= figures_of_output(name, outputs[name], folder, figures)
                if repetition > 0:  # the first one brings the file into the cache
                    entries.append({"run_name": name, "name": name, "run_type": "iteration",
                                    "repetition_index": repetition - 1, **figures})
            check_answers(file, folder, outputs)
    document = {"context": {**context, "strings": file.name, "bytes": str(file.stat().st_size),
                            "threads": str(threads)},
                "benchmarks": entries}
    path = results / f"load-{file.stem}-{file.suffix.removeprefix('.')}.json"
    path.write_text(json.dumps(document, indent=1), encoding="utf-8")
    return path


def run_read(programs, file, repetitions, context, results):
    """Reads a file with both bare readers in turn. Prints and writes their processor time and the ratio."""
    readers = {"serd-baseline": [], "bench-read": []}
    for repetition in range(repetitions + 1):
        counts = set()
        for name, seconds in readers.items():
            output, figures = run_once([str(programs / "benchmarks" / name), str(file)])
            counts.add(int(re.match(r"(\d+) statements", output)[1]))
            if repetition > 0:  # the first one brings the file into the cache
                seconds.append(figures["cpu_seconds"])
        if len(counts) != 1:
            sys.exit(f"run.py: {file.name}: the readers count {counts} statements")
    medians = {name: statistics.median(seconds) for name, seconds in readers.items()}
    for name, seconds in readers.items():
        print(f"{name:24} {medians[name]:8.3f} s  (from {min(seconds):.3f} to {max(seconds):.3f}),"
              f" {file.stat().st_size / 1e6 / medians[name]:.0f} MB/s")
    print(f"serd-baseline / bench-read: {medians['serd-baseline'] / medians['bench-read']:.2f}")
    entries = [{"run_name": name, "name": name, "run_type": "iteration", "repetition_index": index,
                "cpu_seconds": value} for name, seconds in readers.items() for index, value in enumerate(seconds)]
    document = {"context": {**context, "strings": file.name, "bytes": str(file.stat().st_size)},
                "benchmarks": entries}
    name = f"read-{file.stem}-{file.suffix.removeprefix('.')}.json"
    (results / name).write_text(json.dumps(document, indent=1), encoding="utf-8")
