#!/usr/bin/env python3
"""Runs the programs that fuzz, and keeps the inputs with which they reach more code.

An input that reaches something new, or that shows a fault, stays below build/fuzz-corpus. Programs start from these
inputs and from the seeds: those in tests/fuzz/seeds, and those that make-fuzz-seeds has written beside the programs.
With --seed they start from the seeds alone, and only inputs that show a fault stay.
"""

import argparse
import base64
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass, replace
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# The code that each program is to reach.
CODE_UNDER_TEST = {
    "fuzz-reader": r"Reader/",
    "fuzz-comparison": r"Reader/",
    "fuzz-c": r"Engine/c/",
    "fuzz-compressed": r"tools/melnar-dict/input/(Bit|Bzip2|Decoding|Gzip|Packed|Xz|Zstd)",
    "fuzz-dictionary-file": r"Engine/core/data-store/(Dictionary(File|History|Identity)|Section|dictionary/Datatype)",
    "fuzz-literal": r"Engine/core/data-store/dictionary/(PlainLiteral|Prepared|String|Table|Group|LexicalForm)",
    "fuzz-lock-file": r"Engine/core/platform/stream/FileLock",
    "fuzz-round-trip": r"Engine/core/data-store/terms/",
    "fuzz-rows": r"tools/melnar-dict/(rows/(Dictionary|NpyHeader|RowLayout|RowReader)|rewrite/RowDecoder)",
    "fuzz-shard-manifest": r"Engine/core/data-store/sharded/ShardManifest",
    "fuzz-unfinished-load": r"tools/melnar-dict/load/(LoadCheckpoint|LoadWork|Shard|Spill)",
}

# The programs that read RDF, in all syntaxes. They start from real files, too, and share what they find. Their seeds
# have the name of the first one.
RDF_PROGRAMS = ("fuzz-reader", "fuzz-comparison")
RDF_EXTENSIONS = (".nt", ".nq", ".ttl", ".trig")
LONGEST_RDF_INPUT = 2000

SECONDS_OF_AN_INPUT = 20

SPACE_OF_PROGRAMS = 1 << 28  # bytes, for the files that they write
LARGEST_PRINTED_INPUT = 1 << 15

NAME_OF_FOUND = re.compile(r"[0-9a-f]{40}")


class Failed(Exception):
    """Ends the program with a message."""


@dataclass(frozen=True)
class Folders:
    programs: Path
    seeds: Path = ROOT / "tests/fuzz/seeds"
    corpus: Path = ROOT / "build/fuzz-corpus"
    data: Path | None = None

    def get_programs(self):
        found = sorted(path for path in self.programs.glob("fuzz-*") if path.is_file() and os.access(path, os.X_OK))
        if not found:
            raise Failed(f"there are no programs in {self.programs}")
        return found

    def get_corpus(self, program):
        """Returns the folder to which a program adds inputs."""
        folder = self.corpus / program.name
        folder.mkdir(parents=True, exist_ok=True)
        return folder

    def get_generated(self, program):
        return self.programs / "seeds" / program.name

    def get_seeds(self, program):
        """Returns the folder of its inputs in the repository, which programs may share."""
        return self.seeds / get_sharing(program)[0]

    def get_found(self, program):
        """Returns the folders with what it and those that share with it have found; it adds only to the first one."""
        partners = [self.corpus / name for name in get_sharing(program) if name != program.name]
        return [folder for folder in (self.get_corpus(program), *partners, self.get_seeds(program)) if folder.is_dir()]

    def get_inputs(self, program):
        """Returns all folders with inputs of a program; it adds only to the first one."""
        folders = [*self.get_found(program), self.get_generated(program)]
        if reads_rdf(program) and self.data:
            beginnings = self.corpus / "real"
            beginnings.mkdir(parents=True, exist_ok=True)
            for file in sorted(self.data.rglob("*")):
                if file.suffix in RDF_EXTENSIONS:
                    with file.open("rb") as text:
                        (beginnings / file.name).write_bytes(text.read(LONGEST_RDF_INPUT))
            folders.append(beginnings)
        return [folder for folder in folders if folder.is_dir()]


def reads_rdf(program):
    return program.name in RDF_PROGRAMS


def get_sharing(program):
    """Returns the names of the programs that share their inputs with this one, which is among them."""
    return RDF_PROGRAMS if reads_rdf(program) else (program.name,)


def get_options(program):
    return [f"-timeout={SECONDS_OF_AN_INPUT}"] + ([f"-max_len={LONGEST_RDF_INPUT}"] if reads_rdf(program) else [])


def add_option(environment, name, option):
    environment[name] = ":".join(filter(None, [environment.get(name), option]))


def get_environment(program):
    environment = dict(os.environ)
    # What the other readers leak is not ours to mend.
    add_option(environment, "ASAN_OPTIONS", "detect_leaks=" + ("0" if program.name == "fuzz-comparison" else "1"))
    add_option(environment, "UBSAN_OPTIONS", "print_stacktrace=1")
    memory = Path("/dev/shm")  # Some programs write many small files.
    if os.access(memory, os.W_OK) and shutil.disk_usage(memory).free > SPACE_OF_PROGRAMS:
        environment["TMPDIR"] = str(memory)
    return environment


def run_program(command, arguments, log):
    """Runs a program, if need be by another one, and returns whether it has succeeded; its output is in a file."""
    with log.open("wb") as output:
        return subprocess.run([*command, *arguments], env=get_environment(command[-1]), stdin=subprocess.DEVNULL,
                              stdout=output, stderr=subprocess.STDOUT, check=False).returncode == 0


def find_last(pattern, text):
    """Returns the last number that follows a pattern, or 0."""
    found = re.findall(pattern, text)
    return int(found[-1]) if found else 0


def summarize(output):
    """Returns the runs, the seconds and the coverage of a program, according to its output."""
    return (find_last(r"Done (\d+) runs", output), find_last(r"runs in (\d+) second", output),
            find_last(r"\bcov: (\d+)", output))


def get_own_lines(output):
    """Returns what a program, and not libFuzzer, has printed."""
    foreign = re.compile(r"#\d+\s|INFO: |Done \d+ runs|WARNING: no interesting inputs|Running: |\s*$|\tNewPC|"
                         r"\tNEW_FUNC|\s*NEW_FUNC|###### |\".*\" # Uses: \d+$")
    return [line for line in output.splitlines() if not foreign.match(line)]


def get_cause(output):
    """Returns the lines of a program that say why it has failed, and the input in base64 unless it is large."""
    lines = get_own_lines(output)
    beginning = re.compile(r"==\d+==\s?ERROR|not so:|DISAGREEMENT|.*runtime error:|terminate called|"
                           r".*Assertion .* failed")
    first = next((number for number, line in enumerate(lines) if beginning.match(line)), 0)
    written = re.search(r"Test unit written to (\S+)", output)
    if written and Path(written[1]).stat().st_size <= LARGEST_PRINTED_INPUT:
        lines.append("input: " + base64.b64encode(Path(written[1]).read_bytes()).decode())
    return lines[first:]


def get_without_chance(folders, program, scratch):
    """Returns a command and arguments with which the seed alone decides what is run.

    So a program starts from the seeds only, in one order. libFuzzer does not read its folder again after some time, and
    does not learn from the values that are compared, which may be addresses. All addresses are the same, unless the
    system forbids that. What remains is how threads take turns, and the number of the process in lock files."""
    inputs = replace(folders, corpus=scratch / "corpus", data=None).get_inputs(program)
    files = [str(file) for folder in inputs for file in sorted(folder.iterdir())]
    (scratch / "inputs").write_text(",".join(files), encoding="utf-8")
    with_same_addresses = ["setarch", "-R"]
    if subprocess.run([*with_same_addresses, "true"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
        with_same_addresses = []
    seeds = [f"-seed_inputs=@{scratch}/inputs"] if files else []
    return [*with_same_addresses, program], [*seeds, "-reload=0", "-use_cmp=0", inputs[0]]


def fuzz(folders, seconds, jobs, seed=0):
    """Runs each program for so many seconds; chance decides with seed 0. Returns whether none has found a fault."""
    programs = folders.get_programs()
    inputs = {program: folders.get_inputs(program) for program in programs}

    def run(program):
        log = folders.corpus / f"{program.name}.txt"
        with tempfile.TemporaryDirectory() as scratch:
            command, arguments = ([program], inputs[program]) if seed == 0 else get_without_chance(
                folders, program, Path(scratch))
            is_right = run_program(command, [f"-max_total_time={seconds}", f"-seed={seed}", *get_options(program),
                                             f"-artifact_prefix={folders.corpus}/", *arguments], log)
        output = log.read_text(encoding="utf-8", errors="replace")
        return program, is_right, output

    are_right = True
    with ThreadPoolExecutor(jobs) as pool:
        for program, is_right, output in pool.map(run, programs):
            runs, duration, coverage = summarize(output)
            print(f"{program.name:<26} {runs:>12,} runs in {duration:>6,} s, coverage {coverage:>7,}", flush=True)
            if not is_right:
                print(f"{program.name} has failed; its input is in {folders.corpus}:")
            for line in get_own_lines(output) if is_right else get_cause(output):
                print("    " + line)
            are_right = are_right and is_right
    return are_right


def get_code_under_test(program):
    if program.name not in CODE_UNDER_TEST:
        raise Failed(f"it is not stated what {program.name} tests")
    return re.compile(CODE_UNDER_TEST[program.name])


def count_lines(report, code, root=ROOT):
    """Returns how many lines of the code are reached, and how many there are, from llvm-cov's summary."""
    reached = lines = 0
    for file in report["data"][0]["files"]:
        name = os.path.relpath(file["filename"], root)
        if code.match(name):
            reached += file["summary"]["lines"]["covered"]
            lines += file["summary"]["lines"]["count"]
    return reached, lines


def state_coverage(folders):
    """Runs all inputs once, and prints which part of the code under test they reach."""
    with tempfile.TemporaryDirectory() as scratch:
        os.environ["LLVM_PROFILE_FILE"] = f"{scratch}/raw"
        for program in folders.get_programs():
            log = Path(scratch) / "log"
            with tempfile.TemporaryDirectory() as empty:  # Nothing is added.
                if not run_program([program], ["-runs=0", *get_options(program), empty, *folders.get_inputs(program)],
                                   log):
                    raise Failed(f"{program.name} has failed:\n" + log.read_text(encoding="utf-8", errors="replace"))
            subprocess.run(["llvm-profdata-14", "merge", "-sparse", f"{scratch}/raw", "-o", f"{scratch}/merged"],
                           check=True)
            report = subprocess.run(["llvm-cov-14", "export", "-summary-only", f"-instr-profile={scratch}/merged",
                                     program], check=True, capture_output=True).stdout
            reached, lines = count_lines(json.loads(report), get_code_under_test(program))
            if lines == 0:
                raise Failed(f"{program.name} has none of the code that it tests")
            print(f"{program.name:<26} {reached:>6,} of {lines:>6,} lines, {100 * reached / lines:.1f}%", flush=True)


def minimize(folders):
    """Replaces the inputs that libFuzzer has found, and named, among the seeds in the repository.

    They are then the fewest that, with the seeds written by hand, reach the same code as all that were found. If
    programs share a folder, each adds those that it needs in addition: the judge of a comparison is code, too. Programs
    whose seeds are generated keep none: they are large, and outdated after a change of their format."""
    programs = [program for program in folders.get_programs() if not folders.get_generated(program).is_dir()]
    for seeds in dict.fromkeys(map(folders.get_seeds, programs)):
        merged = seeds.with_name(seeds.name + ".merged")
        shutil.rmtree(merged, ignore_errors=True)
        merged.mkdir(parents=True)
        for file in seeds.iterdir() if seeds.is_dir() else ():
            if not NAME_OF_FOUND.fullmatch(file.name):
                shutil.copy(file, merged)
        for program in programs:
            if folders.get_seeds(program) == seeds:
                merge(folders, program, merged)
        shutil.rmtree(seeds, ignore_errors=True)
        merged.rename(seeds)
        files = list(seeds.iterdir())
        print(f"{seeds.name:<26} {len(files):>5,} inputs, {sum(file.stat().st_size for file in files):>8,} bytes",
              flush=True)


def merge(folders, program, merged):
    """Adds the fewest of all inputs found with which a program reaches what those that are there do not."""
    with tempfile.TemporaryDirectory() as scratch:
        log = Path(scratch) / "log"
        # How often a line is reached does not count: that would need ten times as many inputs.
        if not run_program([program], ["-merge=1", "-use_counters=0", *get_options(program), merged,
                                       *folders.get_found(program)], log):
            shutil.rmtree(merged)
            raise Failed(f"{program.name} has failed:\n" + log.read_text(encoding="utf-8", errors="replace"))


def main(arguments):
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("programs", type=Path, help="the folder of the programs")
    task = parser.add_mutually_exclusive_group(required=True)
    task.add_argument("--minutes", type=int, help="fuzz for that long in all")
    task.add_argument("--seconds", type=int, help="fuzz with each program for that long")
    task.add_argument("--coverage", action="store_true", help="state which lines the inputs reach")
    task.add_argument("--minimize", action="store_true", help="replace the seeds by a minimal set of all inputs")
    parser.add_argument("--jobs", type=int, default=len(os.sched_getaffinity(0)), help="programs that run at a time")
    parser.add_argument("--seed", type=int, default=0,
                        help="what decides the runs of each program, which then keeps only faults; 0 for chance")
    options = parser.parse_args(arguments)
    data = os.environ.get("MELNAR_DATA")
    folders = Folders(options.programs, data=Path(data) if data else None)
    try:
        if options.coverage:
            state_coverage(folders)
        elif options.minimize:
            minimize(folders)
        else:
            seconds = options.seconds or options.minutes * 60 * options.jobs // len(folders.get_programs())
            if not fuzz(folders, seconds, options.jobs, options.seed):
                return 1
            print(f"\nNothing failed in {seconds} s of each program.")
        return 0
    except Failed as failed:
        print(f"run.py: {failed}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
