#!/usr/bin/env python3
"""Runs the benchmarks and writes the measurements below build/bench/results, one JSON file per run of a program.

    run.py                    all suites except load, scaling, ranks, read and terms, with up to 30 million strings;
                              takes hours
    run.py --quick            all suites with 20,000 strings, a small file to load, and report, which writes its pages
                              below the results: shows that everything works
    run.py SUITE...           some suites
      tables                    all maps, all workloads, strings "a" and "b", warm
      cold                      the same with strings "b", including the first touch of memory
      small-pages               the same with strings "b", without huge pages
      cache                     the same with 20,000 strings "b", which stay in the cache
      loads                     just after a doubling of the table (load 0.36), in between (0.6), just before one (0.69)
      growth                    the cost per string against the number of strings
      memory                    bytes in addition to the texts
      stalls                    how long single calls take while a map grows
      collisions                65,536 strings made to collide in the dictionary, compared with ordinary ones
      files                     save, open, verify, compact
      columns                   columns of strings, as views and in Arrow's layout, compared with entries filled by hand
      load                      RDF files loaded, encoded and decoded, compared with serd's reader, serdi and a copy:
                                the files given with --file
      scaling                   the dictionary and two maps, and load, encode and decode of the files given with
                                --file, with each number of --threads
      ranks                     loads by one to four processes compared with loads by one, and a model of more:
                                the files given with --file
      read                      the bare readers, ours and serd's, in processor time: the files given with --file
      terms                     IRIs compared with the same texts as strings, in time and memory, and all terms in
                                columns, batches and single calls: the files given with --file, N-Triples or N-Quads,
                                or the data sets beside the repository
    run.py report             writes docs/performance.md, docs/performance/ and the README's figures from the existing
                              results, and prints the targets
    run.py targets            prints the targets and the measurements

The programs are those of the preset `bench`. They check the answers that they measure; a wrong answer is an error.
"""

import argparse
import datetime
import os
import subprocess
import sys
from pathlib import Path

sys.dont_write_bytecode = True  # leave no files beside the sources

import load  # noqa: E402, pylint: disable=wrong-import-position
import ranks  # noqa: E402, pylint: disable=wrong-import-position
import report  # noqa: E402, pylint: disable=wrong-import-position
import scaling  # noqa: E402, pylint: disable=wrong-import-position
import tables  # noqa: E402, pylint: disable=wrong-import-position
import targets  # noqa: E402, pylint: disable=wrong-import-position
from results import Results  # noqa: E402, pylint: disable=wrong-import-position

ROOT = Path(__file__).resolve().parent.parent
SUITES = ["tables", "cold", "small-pages", "cache", "loads", "growth", "memory", "stalls", "collisions", "files", "columns",
          "load", "scaling", "ranks", "read", "terms"]
SUITES_WITH_FILES = ["load", "scaling", "ranks", "read", "terms"]
REPORTS = ["report", "targets"]
QUICK_NUMBER = 20_000
NUMBER_IN_CACHE = 20_000
LARGE_FILE_TRIPLES = 8_000_000  # a gigabyte


def commit_of_tree():
    """Returns what was measured: the commit, and whether files differ from it."""
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


def machine():
    """Returns the origin that every file of results contains. Google Benchmark's options do not allow ',' and '='."""
    gigabytes = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / (1 << 30)
    facts = {"commit": commit_of_tree(), "processor": processor(), "cores": str(len(os.sched_getaffinity(0))),
             "gigabytes": f"{gigabytes:.0f}"}
    return {name: fact.replace(",", " ").replace("=", " ") for name, fact in facts.items()}


def context_of_run():
    """Returns the context for files of results that Google Benchmark, which adds the date, does not write."""
    return {"date": datetime.datetime.now().astimezone().isoformat(timespec="seconds"), **machine()}


def run(arguments, program, name, *options):
    """Runs a program; `name` is the name of its results."""
    command = [
        arguments.programs / "benchmarks" / program, *options,
        f"--benchmark_repetitions={arguments.repetitions}", "--benchmark_enable_random_interleaving=true",
        "--benchmark_display_aggregates_only=true", f"--benchmark_out={arguments.results / name}.json",
        "--benchmark_out_format=json",
        "--benchmark_context=" + ",".join(f"{fact}={value}" for fact, value in machine().items())
    ]
    if arguments.filter:
        command.append(f"--benchmark_filter={arguments.filter}")
    print("\n$ " + " ".join(map(str, command)), flush=True)
    result = subprocess.run([str(word) for word in command], check=False)
    if result.returncode != 0:
        sys.exit(f"run.py: {program} ended with {result.returncode}")


def run_table(arguments, name, strings, number, *options):
    quick = ["--texts-per-measurement=1"] if arguments.quick else []
    run(arguments, "bench-table", name, f"--strings={strings}", f"--n={number}", f"--threads={arguments.threads}",
        *quick, *options)


def numbers_of(arguments, number):
    """Returns the numbers of strings for a suite that uses them."""
    return arguments.n or [QUICK_NUMBER if arguments.quick else number]


def run_tables(arguments):
    for number in arguments.n or ([QUICK_NUMBER] if arguments.quick else [1_000_000, 10_000_000]):
        for strings in arguments.strings:
            kind = strings if strings in ("a", "b") else Path(strings).name.split(".")[0]
            run_table(arguments, f"table-{kind}-{number}", strings, number)


def run_cold(arguments):
    for number in numbers_of(arguments, 10_000_000):
        run_table(arguments, f"cold-b-{number}", "b", number, "--cold")


def run_small_pages(arguments):
    for number in numbers_of(arguments, 10_000_000):
        run_table(arguments, f"small-pages-b-{number}", "b", number, "--small-pages")


def run_cache(arguments):
    run_table(arguments, f"table-b-{NUMBER_IN_CACHE}", "b", NUMBER_IN_CACHE)


def run_loads(arguments):
    buckets = 1 << (15 if arguments.quick else 24)
    for percent in (36, 60, 69):
        run_table(arguments, f"load{percent}-b", "b", buckets * percent // 100)


def run_growth(arguments):
    numbers = [1_000, QUICK_NUMBER] if arguments.quick else [10**3, 10**4, 10**5, 10**6, 10**7, 3 * 10**7]
    for number in arguments.n or numbers:
        run_table(arguments, f"growth-b-{number}", "b", number, "--workloads=build")


def run_memory(arguments):
    for number in numbers_of(arguments, 10_000_000):
        run(arguments, "bench-memory", f"memory-b-{number}", f"--n={number}", f"--threads={arguments.threads}",
            "--cold")


def run_stalls(arguments):
    for number in numbers_of(arguments, 30_000_000):
        run(arguments, "bench-stalls", f"stalls-b-{number}", f"--n={number}", f"--threads={arguments.threads}")


def run_collisions(arguments):
    number = 2_048 if arguments.quick else 65_536
    run(arguments, "bench-collisions", f"collisions-{number}", f"--n={number}", "--strings=colliding")


def run_files(arguments):
    for number in numbers_of(arguments, 10_000_000):
        folder = f"--folder={arguments.results.parent / 'files'}"
        run(arguments, "bench-files", f"files-b-{number}", f"--n={number}", folder)
        run(arguments, "bench-files", f"files-cold-b-{number}", f"--n={number}", folder, "--cold")


def run_columns(arguments):
    for number in numbers_of(arguments, 1_000_000):
        quick = ["--texts-per-measurement=1"] if arguments.quick else []
        name = f"columns-b-{number}"
        run(arguments, "bench-columns", name, f"--n={number}", *quick)
        print("\n" + "\n".join(tables.column_section(Results(arguments.results / f"{name}.json"))))


def files_to_read(arguments, suite):
    data = arguments.results.parent / "data"
    files = [load.unpacked(file, data) for file in arguments.file]
    if arguments.large:
        files.append(load.make_large_file(ROOT, LARGE_FILE_TRIPLES, data))
    if not files and arguments.quick:
        files.append(load.make_small_file(data))
    if not files:
        sys.exit(f"run.py: {suite} wants --file FILE or --large")
    return files


def run_read(arguments):
    for file in files_to_read(arguments, "read"):
        print(f"\n{file.name}:", flush=True)
        load.run_read(arguments.programs, file, arguments.repetitions, context_of_run(), arguments.results)


def run_terms(arguments):
    folder = arguments.results.parent / "data"
    if not arguments.file and not arguments.large and not arguments.quick:
        arguments.file = load.make_data_sets(ROOT, folder)
    quick = ["--texts-per-measurement=1"] if arguments.quick else []
    for file in files_to_read(arguments, "terms"):
        name = f"terms-{file.stem}-{file.suffix.removeprefix('.')}"
        run(arguments, "bench-terms", name, f"--strings={file}", *quick)
        print("\n" + "\n".join(tables.term_section(Results(arguments.results / f"{name}.json"))))


def run_scaling(arguments):
    files = files_to_read(arguments, "scaling")  # before anything is measured
    for number in numbers_of(arguments, 10_000_000):
        name = f"scaling-maps-b-{number}"
        run_table(arguments, name, "b", number, f"--benchmark_filter={scaling.MAPS}")
        print("\n" + "\n".join(tables.map_scaling_section(Results(arguments.results / f"{name}.json"))), flush=True)
    thread_counts = [int(count) for count in arguments.threads.split(",")]
    for file in files:
        path = scaling.run_verbs(arguments.programs, file, thread_counts, arguments.repetitions, context_of_run(),
                                 arguments.results)
        print("\n" + "\n".join(tables.verb_scaling_section(Results(path))), flush=True)


def run_ranks(arguments):
    for file in files_to_read(arguments, "ranks"):
        path = ranks.run_ranks(arguments.programs, file, arguments.repetitions, context_of_run(), arguments.results)
        print("\n" + "\n".join(ranks.section(path)), flush=True)


def run_load(arguments):
    threads = int(arguments.threads.split(",")[-1])
    for file in files_to_read(arguments, "load"):
        path = load.run_load(arguments.programs, file, min(2, threads), arguments.repetitions, context_of_run(),
                             arguments.results)
        print("\n" + "\n".join(tables.load_section(Results(path))), flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("suites", nargs="*", metavar="SUITE", help=f"{', '.join(SUITES + REPORTS)}")
    parser.add_argument("--quick", action="store_true", help="20,000 strings and one repetition")
    parser.add_argument("--n", type=int, nargs="+", metavar="NUMBER", help="numbers of strings, instead of the suite's")
    parser.add_argument("--strings", nargs="+", default=["a", "b"],
                        help="a, b, or files of strings or N-Triples, for the suite tables (a b)")
    parser.add_argument("--threads", help="numbers of threads, with commas between them (1,2 and all cores)")
    parser.add_argument("--repetitions", type=int, help="of each measurement (5)")
    parser.add_argument("--filter", help="a regular expression: the maps that are measured")
    parser.add_argument("--file", type=Path, nargs="+", default=[],
                        help="RDF files for the suites load, scaling, ranks, read and terms, plain or .gz")
    parser.add_argument("--large", action="store_true",
                        help="for the same suites: a file of a gigabyte, made for it")
    parser.add_argument("--programs", type=Path, default=ROOT / "build" / "bench",
                        help="the build folder (build/bench)")
    parser.add_argument("--mixed", action="store_true", help="for report: accept results of several commits or machines")
    parser.add_argument("--results", type=Path, help="where the results go (build/bench/results, or quick beside it)")
    arguments = parser.parse_args()
    if unknown := set(arguments.suites) - {*SUITES, *REPORTS}:
        parser.error(f"there is no suite {', '.join(sorted(unknown))}")
    cores = len(os.sched_getaffinity(0))
    arguments.threads = arguments.threads or ",".join(str(number) for number in sorted({1, min(2, cores), cores}))
    arguments.repetitions = arguments.repetitions or (1 if arguments.quick else 5)
    arguments.results = arguments.results or arguments.programs / ("quick" if arguments.quick else "results")
    arguments.results.mkdir(parents=True, exist_ok=True)
    if arguments.quick and not arguments.suites:
        for file in arguments.results.glob("*.json"):
            file.unlink()  # so that the report is about this run only
    suites = arguments.suites or (
        [*SUITES, "report"] if arguments.quick else [suite for suite in SUITES if suite not in SUITES_WITH_FILES])
    for suite in suites:
        if suite == "report":
            report.write(arguments.results, ROOT, arguments.results / "pages" if arguments.quick else ROOT,
                         arguments.mixed)
        elif suite == "targets":
            targets.print_table(report.read_results(arguments.results))
        else:
            globals()[f"run_{suite.replace('-', '_')}"](arguments)


if __name__ == "__main__":
    main()
