"""The targets of the project, and a table that compares them with measurements. For the terminal, not for the pages."""

from dataclasses import dataclass

from formatting import main_number

BATCH = "melnar-batch-64/threads:{threads}"
SINGLE = "melnar-single-64/threads:{threads}"
ABSL = "absl-256/threads:{threads}"
TBB = "tbb/threads:{threads}"
TABLE = "table-b-{n}"


@dataclass(frozen=True)
class Target:
    """A limit for a median, or for the ratio of two: (file of results, benchmark, quantity) each. Names may contain the
    placeholders {n}, the number of strings, and {threads}."""

    name: str
    left: tuple
    right: tuple | None
    must: float
    aim: float | None = None
    factor: float = 1.0
    at_least: bool = False

    def measured(self, all_results, places):
        """Returns the ratio, or None if it was not measured."""
        medians = []
        for file, benchmark, quantity in [self.left] + ([self.right] if self.right else []):
            results = all_results.get(file.format(**places))
            figure = results and results.find(benchmark.format(**places), quantity)
            if not figure or not figure.median:
                return None
            medians.append(figure.median)
        return self.factor * (medians[0] / medians[1] if self.right else medians[0])

    def verdict(self, ratio):
        """Returns which of the limits the ratio meets."""
        def meets(limit):
            return ratio >= limit if self.at_least else ratio <= limit

        if not meets(self.must):
            return "MISSED"
        return "aim" if self.aim and meets(self.aim) else "must"


def beside(ours, workload, other, must, aim):
    """Returns a target for the ratio of our time to another map's in the main table, for any number of threads."""
    names = {BATCH: "batch", SINGLE: "one at a time", ABSL: "absl-256", TBB: "tbb"}
    return Target(f"{names[ours]} {workload} / {names[other]}, threads: {{threads}}", (TABLE, ours, workload),
                  (TABLE, other, workload), must, aim)


# Each for one thread and for two.
MAP_TARGETS = [
    beside(BATCH, "miss", ABSL, 0.75, 0.50),
    beside(BATCH, "re", ABSL, 0.34, 0.28),
    beside(BATCH, "build", ABSL, 0.50, 0.42),
    beside(BATCH, "zipf", ABSL, 0.44, 0.35),
    beside(BATCH, "get", ABSL, 1.30, 1.10),
    beside(SINGLE, "re", ABSL, 1.50, 1.25),
    beside(SINGLE, "miss", ABSL, 2.0, 1.30),
    beside(SINGLE, "re", TBB, 0.88, 0.75),
]

OTHER_TARGETS = [
    *(Target(f"bytes a string beyond its text, {bits}-bit buckets / absl-256",
             ("memory-b-{n}", f"melnar-batch-{bits}/threads:1", "beyond"),
             ("memory-b-{n}", "absl-256/threads:1", "beyond"), must) for bits, must in ((64, 0.50), (32, 0.37))),
    Target("batch re of 20,000 strings in the cache, ns", ("table-b-20000", "melnar-batch-64/threads:1", "re"), None,
           32, 25),
    *(Target(f"batch build at 30,000,000 / at 1,000,000, {bits}-bit buckets",
             ("growth-b-30000000", f"melnar-batch-{bits}/threads:1", "build"),
             ("growth-b-1000000", f"melnar-batch-{bits}/threads:1", "build"), 1.5, 1.3) for bits in (64, 32)),
    *(Target(f"throughput of 2 threads / 1, batch {workload} (at least)",
             (TABLE, "melnar-batch-64/threads:1", workload), (TABLE, "melnar-batch-64/threads:2", workload), must, aim,
             factor=2, at_least=True)
      for workload, must, aim in (("build", 1.7, 1.9), ("re", 1.9, 2.0), ("miss", 1.9, 2.0), ("get", 1.9, 2.0))),
    Target("longest single resolve, 2 threads / 1, which rehashes alone",
           ("stalls-b-30000000", "melnar-single-64/threads:2", "longest"),
           ("stalls-b-30000000", "melnar-single-64/threads:1", "longest"), 0.7, 0.55),
    *(Target(f"{name}, {bits}-bit buckets", ("files-b-{n}", f"melnar-{bits}", ours),
             ("files-b-{n}", f"melnar-{bits}", other), must, aim)
      for bits in (64, 32)
      for name, ours, other, must, aim in (("save / cp", "save", "copy", 1.5, 1.2),
                                           ("save without waiting for the disk / cp", "write", "copy", 1.5, 1.2),
                                           ("save / cp and sync", "save", "copy_sync", 1.5, 1.2),
                                           ("open / cp", "open", "copy", 2.0, 1.5))),
]


def load_targets(all_results):
    """Returns targets for each file that was loaded."""
    for file, results in all_results.items():
        if not file.startswith("load-"):
            continue
        name = results.context["strings"]
        for words, ours, other, must, aim in (
                ("load of the strings of", "melnar-strings", "serd-baseline", 0.75, 0.60),
                ("load of the strings of", "melnar-strings", "serdi", 0.30, None),
                ("load with IDs of all terms of", "melnar-load", "serd-baseline", 0.60, 0.40),
                ("load with IDs of all terms of", "melnar-load", "melnar-load-any", 1.2, None),
                ("encode", "melnar-encode", "serd-baseline", 0.50, 0.35)):
            beside_what = {"melnar-load-any": "in any order"}.get(other, f"{other}, 1 thread")
            yield Target(f"{words} {name} / {beside_what}", (file, ours, "seconds"), (file, other, "seconds"), must,
                         aim)
        yield Target(f"decode {name} / a copy, bytes a second of processor time (at least)",
                     (file, "melnar-decode", "mb_per_cpu_second"), (file, "melnar-copy", "mb_per_cpu_second"), 0.2, 0.3,
                     at_least=True)
        yield Target(f"peak memory of loading {name} / text of all distinct terms", (file, "melnar-load", "peak_mb"),
                     (file, "melnar-load", "text_mb"), 1.4, 1.1)


def term_targets(all_results):
    """Returns targets for the IRIs of each file."""
    for file in all_results:
        if file.startswith("terms-"):
            ours = (file, "iris/threads:1")
            for workload in ("build", "re"):
                yield Target(f"{file}: IRI / string, batch {workload}", (*ours, f"ratio_{workload}"), None, 1.15)
            yield Target(f"{file}: bytes stored of IRIs / of their text", (*ours, "stored"), None, 0.6, 0.45)


def rows(all_results):
    """Returns the name, the measured value, the limits 'must' and 'aim', and the verdict of each target."""
    number = main_number(all_results)
    targets = [(target, {"n": number, "threads": threads}) for target in MAP_TARGETS for threads in (1, 2)]
    targets += [(target, {"n": number}) for target in
                (*OTHER_TARGETS, *load_targets(all_results), *term_targets(all_results))]
    for target, places in targets:
        ratio = target.measured(all_results, places)
        yield (target.name.format(**places), f"{ratio:.3g}" if ratio else "-", f"{target.must:g}",
               f"{target.aim:g}" if target.aim else "-", target.verdict(ratio) if ratio else "not measured")


def print_table(all_results):
    """Prints the table."""
    lines = [("ratio of medians, at most", "measured", "must", "aim", "met"), *rows(all_results)]
    widths = [max(len(line[column]) for line in lines) for column in range(5)]
    print(f"\nTargets, {main_number(all_results):,} strings:")
    for name, *cells in lines:
        print(" | ".join([name.ljust(widths[0]), *(cell.rjust(width) for cell, width in zip(cells, widths[1:]))]))
