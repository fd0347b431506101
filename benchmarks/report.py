"""Writes docs/performance.md, its plots and tables, from the files of results.

What stands before and after the two markers in the page is its authors' and stays.
"""

import re
from pathlib import Path

import plots
from results import Results

BEGIN = "<!-- measured: written by ./dev bench report, by no hand -->"
END = "<!-- end of what was measured -->"
WORKLOADS = ["build", "re", "zipf", "miss", "get"]
PLOTTED = ["melnar-batch-64", "melnar-batch-32", "absl-256", "tbb", "libcuckoo", "std-256"]
REFERENCE = "absl-256"

# Of the median that a row names, on the table of 10 million strings "b": name, workloads, other map, must, aim.
RATIOS = [
    ("melnar-batch-64", "build", "absl-256", 0.60, 0.45),
    ("melnar-batch-64", "re", "absl-256", 0.42, 0.34),
    ("melnar-batch-64", "zipf", "absl-256", 0.50, 0.40),
    ("melnar-batch-64", "miss", "absl-256", 2.2, 1.5),
    ("melnar-batch-64", "get", "absl-256", 0.90, 0.75),
    ("melnar-batch-64", "build", "tbb", 0.25, 0.20),
    ("melnar-batch-64", "re", "tbb", 0.22, 0.20),
    ("melnar-batch-64", "zipf", "tbb", 0.28, 0.20),
    ("melnar-single-64", "re", "tbb", 1.0, 0.7),
]


def shown(figure):
    """A median and its spread, or a dash."""
    if figure is None:
        return "–"
    digits = 0 if figure.median >= 100 else 1 if figure.median >= 10 else 2
    return f"{figure.median:.{digits}f} ±{figure.spread:.{digits}f}"


def table(heads, rows):
    lines = ["| " + " | ".join(heads) + " |", "|" + "---|" * len(heads)]
    return lines + ["| " + " | ".join(row) + " |" for row in rows] + [""]


def number_of(results):
    return int(results.context["n"])


def thread_counts(results):
    return sorted({int(match[1]) for name in results.figures if (match := re.search(r"/threads:(\d+)$", name))})


def maps_of(results):
    """The names of the maps, the dictionary's first, then as they were measured."""
    names = list(dict.fromkeys(name.split("/")[0] for name in results.figures))
    return sorted(names, key=lambda name: (not name.startswith("melnar"), name != REFERENCE, name))


def describe(results):
    context = results.context
    return (f"{number_of(results):,} strings \"{Path(context['strings']).name}\", {context['memory']} memory, "
            f"commit {context.get('commit', 'unknown')}, {context.get('processor', 'unknown')}, "
            f"{context.get('cores', '?')} cores, {context.get('gigabytes', '?')} GiB, {context['date'][:10]}")


def table_section(results, folder):
    """A table of workloads for each number of threads, and a plot of the last."""
    lines = [f"### {results.name}", "", describe(results) + ". Nanoseconds an operation and thread.", ""]
    for threads in thread_counts(results):
        rows = []
        for name in maps_of(results):
            benchmark = f"{name}/threads:{threads}"
            if benchmark in results.figures:
                rows.append([name] + [shown(results.find(benchmark, workload)) for workload in WORKLOADS])
        lines += table([f"{threads} thread{'s' if threads > 1 else ''}", *WORKLOADS], rows)
    threads = thread_counts(results)[-1]
    series = []
    for name in PLOTTED:
        figures = [results.find(f"{name}/threads:{threads}", workload) for workload in WORKLOADS]
        if any(figures):
            series.append((name, [figure and (figure.median, figure.least, figure.most) for figure in figures]))
    if series:
        plot = folder / f"{results.name}.svg"
        plot.write_text(plots.bars(f"{results.name}, threads: {threads}", "ns an operation and thread", WORKLOADS,
                                   series), encoding="utf-8")
        lines += [f"![{results.name}](performance/{plot.name})", ""]
    return lines


def map_ratios(results):
    """Ratios of the workloads' medians of one table."""
    for ours, workload, other, must, aim in RATIOS:
        for threads in thread_counts(results):
            yield (f"{ours} {workload} ÷ {other}, threads: {threads}",
                   results.find(f"{ours}/threads:{threads}", workload),
                   results.find(f"{other}/threads:{threads}", workload), must, aim)


def other_ratios(all_results):
    """Those of the other files."""
    if results := all_results.get("memory-b-10000000"):
        for bits, must, aim in ((64, 0.45, 0.40), (32, 0.33, 0.28)):
            yield (f"bytes beyond the text, {bits}-bit buckets ÷ {REFERENCE}",
                   results.find(f"melnar-batch-{bits}/threads:1", "beyond"),
                   results.find(f"{REFERENCE}/threads:1", "beyond"), must, aim)
    if results := all_results.get("stalls-b-30000000"):
        for bits in (64, 32):
            yield (f"longest single resolve, 2 threads ÷ 1, which rehashes alone, {bits}-bit buckets",
                   results.find(f"melnar-single-{bits}/threads:2", "longest"),
                   results.find(f"melnar-single-{bits}/threads:1", "longest"), 0.7, 0.55)
    if results := all_results.get("files-b-10000000"):
        for bits in (64, 32):
            for name, ours, other, must, aim in (("save ÷ cp", "save", "copy", 1.5, 1.2),
                                                 ("save without waiting for the disk ÷ cp", "write", "copy", 1.5, 1.2),
                                                 ("save ÷ cp and sync", "save", "copy_sync", 1.5, 1.2),
                                                 ("open ÷ cp", "open", "copy", 2.0, 1.5)):
                yield (f"{name}, {bits}-bit buckets", results.find(f"melnar-{bits}", ours),
                       results.find(f"melnar-{bits}", other), must, aim)
    for results in all_results.values():
        if results.name.startswith("load-"):
            ours = next(name for name in results.figures if name.startswith("melnar"))
            for other, must, aim in (("serd-baseline", 0.75, 0.60), ("serdi", 0.30, None)):
                yield (f"load of {results.context['strings']}, 2 threads ÷ {other}, 1 thread",
                       results.find(ours, "seconds"), results.find(other, "seconds"), must, aim)
    small, large = all_results.get("growth-b-1000000"), all_results.get("growth-b-30000000")
    if small and large:
        for bits in (64, 32):
            name = f"melnar-batch-{bits}/threads:1"
            yield (f"build at 30,000,000 ÷ at 1,000,000, {bits}-bit buckets", large.find(name, "build"),
                   small.find(name, "build"), 1.6, 1.3)


def target_section(all_results):
    """What was aimed at, as ratios of medians of one run."""
    results = all_results.get("table-b-10000000")
    ratios = [*(map_ratios(results) if results else ()), *other_ratios(all_results)]
    rows = []
    for name, left, right, must, aim in ratios:
        if left and right:
            ratio = left.median / right.median
            rows.append([name, f"{ratio:.3g}", f"{must:.2f}", f"{aim:.2f}" if aim else "–",
                         verdict(ratio <= must, aim and ratio <= aim)])
    for workload in ("build", "re", "miss", "get") if results else ():
        one, two = (results.find(f"melnar-batch-64/threads:{threads}", workload) for threads in (1, 2))
        if one and two:
            must, aim = (1.7, 1.9) if workload == "build" else (1.9, 2.0)
            gain = 2 * one.median / two.median
            rows.append([f"throughput of 2 threads ÷ 1, {workload} (at least)", f"{gain:.3g}", f"{must:.2f}",
                         f"{aim:.2f}", verdict(gain >= must, gain >= aim)])
    if not rows:
        return []
    return ["### Ratios", "", *([describe(results) + ".", ""] if results else []),
            *table(["ratio of medians, at most", "measured", "must", "aim", "met"], rows)]


def verdict(meets_must, meets_aim):
    return "aim" if meets_aim else "must" if meets_must else "**missed**"


def growth_section(all_results, folder):
    """The cost of a string against the number of strings."""
    runs = sorted((results for name, results in all_results.items() if name.startswith("growth-")), key=number_of)
    if not runs:
        return []
    names = maps_of(runs[-1])
    heads = ["build, 1 thread", *(f"{number_of(results):,}" for results in runs)]
    rows = [[name, *(shown(results.find(f"{name}/threads:1", "build")) for results in runs)] for name in names]
    series = []
    for name in PLOTTED:
        points = [(number_of(results), figure.median) for results in runs
                  if (figure := results.find(f"{name}/threads:1", "build"))]
        if points:
            series.append((name, points))
    plot = folder / "growth.svg"
    plot.write_text(plots.lines("build, 1 thread", "ns a string", series), encoding="utf-8")
    return ["### Cost of a string against their number", "", describe(runs[-1]) + ". Nanoseconds a string.", "",
            *table(heads, rows), f"![growth](performance/{plot.name})", ""]


def quantity_section(results, title, quantities, scale=1.0):
    """A table of all benchmarks of a file and some of their quantities."""
    rows = []
    for benchmark in sorted(results.figures, key=lambda name: (not name.startswith("melnar"), name)):
        row = [benchmark]
        for quantity in quantities:
            figure = results.find(benchmark, quantity)
            if figure and scale != 1.0:
                figure = type(figure)([value * scale for value in figure.values])
            row.append(shown(figure))
        rows.append(row)
    return [f"### {title}", "", describe(results) + ".", "", *table(["", *quantities], rows)]


def stall_section(results):
    """Latencies, and the longest stall beside the time of one thread alone."""
    lines = quantity_section(results, f"{results.name}: calls while the table grows, microseconds",
                             ["p50", "p99", "p999", "longest"], 1e-3)
    for name in maps_of(results):
        alone = results.find(f"{name}/threads:1", "longest")
        for threads in thread_counts(results)[1:]:
            together = results.find(f"{name}/threads:{threads}", "longest")
            if alone and together and name.startswith("melnar"):
                lines.append(f"- {name}: longest call, {threads} threads ÷ one thread, which rehashes alone: "
                             f"{together.median / alone.median:.2f}")
    return [*lines, ""]


def file_section(results):
    """Save and open beside cp."""
    lines = quantity_section(results, f"{results.name}: whole dictionaries, on one thread, milliseconds",
                             ["save", "copy_sync", "write", "open", "copy"], 1e3)
    lines += quantity_section(results, f"{results.name}: nanoseconds a string", ["verify", "compact", "compact_half"])
    for benchmark in results.figures:
        medians = {quantity: figure.median for quantity, figure in results.figures[benchmark].items()}
        lines.append(f"- {benchmark}: save {medians['bytes'] / medians['save'] / 1e9:.2f} GB/s, "
                     f"{medians['save'] / medians['copy_sync']:.2f} of `cp` and `sync`; "
                     f"open {medians['bytes'] / medians['open'] / 1e9:.2f} GB/s, "
                     f"{medians['open'] / medians['copy']:.2f} of `cp`")
    return [*lines, ""]


def load_section(results):
    """Loading a file, beside readers."""
    context = results.context
    lines = [f"### {results.name}: {context['strings']}, {int(context['bytes']) / 1e6:.0f} MB", "",
             f"commit {context['commit']}, {context['processor']}, {context['cores']} cores, {context['date'][:10]}.",
             ""]
    quantities = ["seconds", "cpu_seconds", "peak_mb", "dictionary_mb"]
    rows = [[name, *(shown(results.find(name, quantity)) for quantity in quantities)] for name in results.figures]
    lines += table(["", *quantities], rows)
    ours = next(name for name in results.figures if name.startswith("melnar"))
    for name in results.figures:
        if name != ours:
            ratio = results.find(ours, "seconds").median / results.find(name, "seconds").median
            lines.append(f"- {ours} ÷ {name}: {ratio:.2f} of the wall time")
    return [*lines, ""]


def measured_part(all_results, folder):
    lines = target_section(all_results)
    for name, results in all_results.items():
        if name.startswith(("table-", "cold-", "load36-", "load60-", "load69-")):
            lines += table_section(results, folder)
    lines += growth_section(all_results, folder)
    for name, results in all_results.items():
        if name.startswith("memory-"):
            lines += quantity_section(results, f"{name}: bytes a string beyond its text; peak with it",
                                      ["beyond", "beyond_resident", "peak_resident"])
        elif name.startswith("stalls-"):
            lines += stall_section(results)
        elif name.startswith("files-"):
            lines += file_section(results)
        elif name.startswith("load-"):
            lines += load_section(results)
    return lines


def write(results_folder, docs):
    """Replaces what stands between the markers of docs/performance.md."""
    all_results = {path.stem: Results(path) for path in sorted(results_folder.glob("*.json"))}
    page = docs / "performance.md"
    old = page.read_text(encoding="utf-8") if page.exists() else f"# Performance\n\n{BEGIN}\n{END}\n"
    before, rest = old.split(BEGIN, 1)
    after = rest.split(END, 1)[1]
    plots_folder = docs / "performance"
    plots_folder.mkdir(exist_ok=True)
    lines = measured_part(all_results, plots_folder)
    page.write_text(before + "\n".join([BEGIN, "", *lines, END]) + after, encoding="utf-8")
    print(f"{page}: {len(all_results)} files of results")
