"""The page with all tables and plots, docs/performance/tables.md."""

import re

import plots
from formatting import (REFERENCE, WORKLOADS, describe, describe_machine, maps_of, number_of, shown, table,
                        thread_counts, threads_of)

PLOTTED = ["melnar-batch-64", "melnar-batch-32", REFERENCE, "tbb", "libcuckoo", "std-256"]
HEAD = """# All tables

<!-- The whole page is written by ./dev bench report. Do not edit it. -->

`./dev bench report` writes this page and its plots; do not edit them. The conclusions are in \
[performance.md](../performance.md); [method.md](method.md) describes the measurements and the names. A figure is the \
median of the repetitions, followed by ± and the median absolute deviation. Less is better.
"""


def table_section(results, folder):
    """Returns a table of workloads for each number of threads, and a plot of the last."""
    lines = [f"### {results.name}", "", describe(results) + ". Nanoseconds an operation and thread.", ""]
    for threads in thread_counts(results):
        rows = []
        for name in maps_of(results):
            benchmark = f"{name}/threads:{threads}"
            if benchmark in results.figures:
                rows.append([name] + [shown(results.find(benchmark, workload)) for workload in WORKLOADS])
        lines += table([threads_of(threads), *WORKLOADS], rows)
    threads = thread_counts(results)[-1]
    series = []
    for name in PLOTTED:
        figures = [results.find(f"{name}/threads:{threads}", workload) for workload in WORKLOADS]
        if any(figures):
            series.append((name, [figure and (figure.median, figure.least, figure.most) for figure in figures]))
    if series:
        plot = folder / f"{results.name}.svg"
        plot.write_text(plots.bars(f"{results.name}, {threads_of(threads)}", "ns an operation and thread", WORKLOADS,
                                   series), encoding="utf-8")
        lines += [f"![{results.name}]({plot.name})", ""]
    return lines


def growth_section(all_results, folder):
    """Returns the cost per string against the number of strings."""
    runs = sorted((results for name, results in all_results.items() if name.startswith("growth-")), key=number_of)
    if not runs:
        return []
    heads = ["build, 1 thread", *(f"{number_of(results):,}" for results in runs)]
    rows = [[name, *(shown(results.find(f"{name}/threads:1", "build")) for results in runs)]
            for name in maps_of(runs[-1])]
    series = []
    for name in PLOTTED:
        points = [(number_of(results), figure.median) for results in runs
                  if (figure := results.find(f"{name}/threads:1", "build"))]
        if points:
            series.append((name, points))
    lines = ["### Cost of a string against their number", "", describe(runs[-1]) + ". Nanoseconds a string.", "",
             *table(heads, rows)]
    if series:
        plot = folder / "growth.svg"
        plot.write_text(plots.lines("build, 1 thread", "ns a string", series), encoding="utf-8")
        lines += [f"![growth]({plot.name})", ""]
    return lines


def quantity_section(results, title, quantities, scale=1.0, description=None):
    """Returns a table of some quantities, with the benchmarks of a file that have any of them."""
    rows = []
    for benchmark in sorted(results.figures, key=lambda name: (not name.startswith("melnar"), name)):
        figures = [results.find(benchmark, quantity) for quantity in quantities]
        if any(figures):
            rows.append([benchmark] + [shown(figure and type(figure)([value * scale for value in figure.values]))
                                       for figure in figures])
    return [f"### {title}", "", (description or describe(results)) + ".", "", *table(["", *quantities], rows)]


def stall_section(results):
    """Returns latencies, and the longest stall compared with the time of a single thread."""
    lines = quantity_section(results, f"{results.name}: calls while the table grows, microseconds",
                             ["p50", "p99", "p999", "longest"], 1e-3)
    for name in maps_of(results):
        alone = results.find(f"{name}/threads:1", "longest")
        for threads in thread_counts(results)[1:]:
            together = results.find(f"{name}/threads:{threads}", "longest")
            if alone and together and name.startswith("melnar"):
                lines.append(f"- {name}: longest call, {threads_of(threads)} ÷ one thread, which rehashes alone: "
                             f"{together.median / alone.median:.2f}")
    return [*lines, ""]


def file_section(results):
    """Returns save and open, compared with cp."""
    lines = quantity_section(results, f"{results.name}: whole dictionaries, on one thread, milliseconds",
                             ["save", "copy_sync", "write", "open", "copy"], 1e3)
    lines += quantity_section(results, f"{results.name}: nanoseconds a string",
                              ["re_opened", "re_again", "miss_opened", "miss_again", "verify", "compact",
                               "compact_half"])
    for benchmark in results.figures:
        medians = {quantity: figure.median for quantity, figure in results.figures[benchmark].items()}
        lines.append(f"- {benchmark}: save {medians['bytes'] / medians['save'] / 1e9:.2f} GB/s, "
                     f"{medians['save'] / medians['copy_sync']:.2f} of `cp` and `sync`; "
                     f"open {medians['bytes'] / medians['open'] / 1e9:.2f} GB/s, "
                     f"{medians['open'] / medians['copy']:.2f} of `cp`")
    return [*lines, ""]


def load_section(results):
    """Returns loading, encoding and decoding of a file, compared with readers and a copy."""
    context = results.context
    lines = [f"### {results.name}: {context['strings']}, {int(context['bytes']) / 1e6:.0f} MB, "
             f"{threads_of(int(context['threads']))}", "", describe_machine(context) + ".", ""]
    quantities = ["seconds", "cpu_seconds", "peak_mb", "dictionary_mb", "text_mb", "mb_per_cpu_second"]
    rows = [[name, *(shown(results.find(name, quantity)) for quantity in quantities)] for name in results.figures]
    lines += table(["", *quantities], rows)
    for left, right, quantity, words in (
            *((ours, other, "seconds", "of the wall time") for other in ("serd-baseline", "serdi")
              for ours in ("melnar-load", "melnar-load-any", "melnar-strings", "melnar-encode")),
            ("melnar-load", "melnar-load-any", "seconds", "of the wall time"),
            ("melnar-decode", "melnar-copy", "mb_per_cpu_second", "of the bytes a second of processor time")):
        ratio = results.find(left, quantity).median / results.find(right, quantity).median
        lines.append(f"- {left} ÷ {right}: {ratio:.2f} {words}")
    peak, text = (results.find("melnar-load", quantity).median for quantity in ("peak_mb", "text_mb"))
    lines.append(f"- melnar-load: peak memory {peak / text:.2f} of the text of all distinct terms")
    return [*lines, ""]


def map_scaling_section(results):
    """Returns each workload with each number of threads: millions of operations per second, and the speedup."""
    counts = thread_counts(results)
    lines = [f"### {results.name}: maps with more and more threads", "", describe(results) + ". Millions of operations "
             f"a second, all threads together; in brackets, over {threads_of(counts[0])}.", ""]
    for workload in WORKLOADS:
        rows = []
        for name in maps_of(results):
            figures = [results.find(f"{name}/threads:{threads}", workload) for threads in counts]
            if all(figures):  # nanoseconds per operation and thread
                rates = [1e3 * threads / figure.median for threads, figure in zip(counts, figures)]
                rows.append([name, *(f"{rate:.1f} ({rate / rates[0]:.1f})" for rate in rates)])
        lines += table([workload, *map(threads_of, counts)], rows)
    return lines


def verb_scaling_section(results):
    """Returns each verb with each number of threads: rates, memory, and how the threads spent their time."""
    context = results.context
    counts = thread_counts(results)
    megabytes = int(context["bytes"]) / 1e6
    lines = [f"### {results.name}: {context['strings']}, {megabytes:.0f} MB", "", describe_machine(context) + ". "
             "`busy` is processor time over wall time, `in the system` the system's part of the processor time, "
             "`waits` how often a thread gave its core up, in thousands.", ""]
    rows = []
    for verb in maps_of(results):
        first = results.find(f"{verb}/threads:{counts[0]}", "seconds").median
        for threads in counts:
            figures = results.figures[f"{verb}/threads:{threads}"]
            seconds, processor, system, peak, waits = (
                figures[quantity].median
                for quantity in ("seconds", "cpu_seconds", "system_seconds", "peak_mb", "waits"))
            rows.append([verb, str(threads), shown(figures["seconds"]), f"{megabytes / seconds:.0f}",
                         f"{first / seconds:.2f}", f"{peak:.0f}", f"{processor / seconds:.1f}",
                         f"{100 * system / processor:.0f}%", f"{waits / 1e3:.1f}"])
    return lines + table(["", "threads", "seconds", "MB/s", f"over {threads_of(counts[0])}", "peak MB", "busy",
                          "in the system", "waits"], rows)


def read_section(results):
    """Returns the times of the bare readers for a file."""
    context = results.context
    seconds = {name: results.find(name, "cpu_seconds") for name in results.figures}
    rows = [[name, shown(figure), f"{int(context['bytes']) / 1e6 / figure.median:.0f}"]
            for name, figure in seconds.items()]
    return [f"### {results.name}: {context['strings']}, {int(context['bytes']) / 1e6:.0f} MB, bare readers", "",
            describe_machine(context) + ".", "", *table(["", "cpu_seconds", "MB/s"], rows),
            f"- serd-baseline ÷ bench-read: {seconds['serd-baseline'].median / seconds['bench-read'].median:.2f}", ""]


def collision_section(results):
    """Returns strings made to collide, compared with ordinary ones: milliseconds, and the ratios."""
    description = f"{number_of(results):,} strings of one length, warm memory, {describe_machine(results.context)}"
    times = ["ordinary", "colliding", "ordinary_again", "colliding_again"]
    lines = quantity_section(results, f"{results.name}: strings made to collide, milliseconds", times, 1e3, description)
    return lines + quantity_section(results, f"{results.name}: colliding ÷ ordinary", ["ratio", "ratio_again"],
                                    description=description)


def term_section(results):
    """Returns IRIs of a file, compared with the same texts as strings: nanoseconds, ratios, and bytes over those of the
    text."""
    description = f"{number_of(results):,} IRIs, warm memory, {describe_machine(results.context)}"
    title = f"{results.name}: IRIs beside the same texts as strings"
    lines = quantity_section(results, f"{title}, ns each", ["iri_build", "string_build", "iri_re", "string_re"],
                             description=description)
    lines += quantity_section(results, f"{title}, ratio", ["ratio_build", "ratio_re"], description=description)
    lines += quantity_section(results, f"{results.name}: terms of all kinds, in columns and otherwise, ns each", [
        f"{way}_{workload}" for workload in ("build", "re", "get") for way in ("column", "batch", "single")],
                              description=f"All terms of the file, {describe_machine(results.context)}")
    return lines + quantity_section(results, f"{results.name}: bytes ÷ bytes of text", [
        "chunks", "shared", "stored", "all", "string_stored", "string_all"], description=description)


def column_section(results):
    """Returns columns of strings, compared with entries filled by hand: nanoseconds, and the ratios to the entries of
    the whole column."""
    workloads, ways = ("build", "re", "get", "build_tagged"), ("entries", "pieces", "views", "arrow")
    description = f"{number_of(results):,} strings, warm memory, {describe_machine(results.context)}"
    lines = quantity_section(results, f"{results.name}: columns of strings, ns each",
                             [f"{way}_{workload}" for workload in workloads for way in ways], description=description)
    return lines + quantity_section(
        results, f"{results.name}: columns of strings ÷ entries filled by hand",
        [f"ratio_{way}_{workload}" for workload in workloads for way in ways[1:]], description=description)


def order_of(name):
    """The sort key of tables: their strings, then the number of strings."""
    parts = re.match(r"(.*?)-?(\d*)$", name)
    return parts[1], int(parts[2] or 0)


def page(all_results, folder):
    """Returns the lines of the page; writes its plots to the folder."""
    lines = HEAD.splitlines() + [""]
    if not all_results:
        lines += ["Nothing has been measured yet.", ""]
    names = sorted(all_results, key=order_of)

    def sections_of(*prefixes):
        return (all_results[name] for name in names if name.startswith(prefixes))

    for results in sections_of("table-", "cold-", "small-pages-", "load36-", "load60-", "load69-"):
        lines += table_section(results, folder)
    lines += growth_section(all_results, folder)
    for results in sections_of("memory-"):
        lines += quantity_section(results, f"{results.name}: bytes a string beyond its text; peak with it",
                                  ["beyond", "beyond_resident", "peak_resident"])
    for results in sections_of("stalls-"):
        lines += stall_section(results)
    for results in sections_of("collisions-"):
        lines += collision_section(results)
    for results in sections_of("files-"):
        lines += file_section(results)
    for results in sections_of("columns-"):
        lines += column_section(results)
    for results in sections_of("load-"):
        lines += load_section(results)
    for results in sections_of("scaling-maps-"):
        lines += map_scaling_section(results)
    for results in sections_of("scaling-verbs-"):
        lines += verb_scaling_section(results)
    for results in sections_of("read-"):
        lines += read_section(results)
    for results in sections_of("terms-"):
        lines += term_section(results)
    return lines
