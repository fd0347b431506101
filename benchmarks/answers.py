"""The text between the markers of the pages: the answers, in numbers. A function of BLOCKS makes each of them.

A block whose results are missing raises NotMeasured.
"""

from formatting import (REFERENCE, WORKLOADS, counted, main_number, maps_of, number_of, rounded, span, table,
                        thread_counts, threads_of)

# The names of the maps on the pages of answers, in the order of their rows.
NAMES = {
    "melnar-batch-64": "the dictionary, in batches",
    "melnar-batch-64-no-fingerprints": "the same without fingerprints",
    "melnar-single-64": "the dictionary, one at a time",
    "melnar-single-64-no-fingerprints": "the same without fingerprints",
    REFERENCE: "`absl::flat_hash_map`, 256 shards",
    "tbb": "`tbb::concurrent_hash_map`",
    "libcuckoo": "`libcuckoo::cuckoohash_map`",
    "std-256": "`std::unordered_map`, 256 shards",
    "boost-flat": "`boost::unordered_flat_map`, one thread only",
    "tsl-robin": "`tsl::robin_map`, one thread only",
}
BATCH = "melnar-batch-64"
SINGLE = "melnar-single-64"
LARGE_FILE = "load-large-8000000-nt"


class NotMeasured(Exception):
    """Results that a block needs are missing."""


def need(all_results, name):
    """Returns a file of results."""
    if name not in all_results:
        raise NotMeasured(name)
    return all_results[name]


def newest_of(all_results, prefix):
    """Returns the file of results with the most strings among those whose name starts with the prefix."""
    candidates = [results for name, results in all_results.items() if name.startswith(prefix)]
    if not candidates:
        raise NotMeasured(prefix + "N")
    return max(candidates, key=number_of)


def median(results, benchmark, quantity):
    figure = results.find(benchmark, quantity)
    return figure and figure.median


def ratio(results, ours, other, workload, threads):
    """Returns our time over that of another map, or None."""
    left = median(results, f"{ours}/threads:{threads}", workload)
    right = median(results, f"{other}/threads:{threads}", workload)
    return left / right if left and right else None


def is_slower(part):
    """Returns whether the dictionary is slower according to a ratio, as it is displayed."""
    return round(part, 2) > 1


def conditions(all_results):
    """Returns the conditions of measurement: words, results, number of threads. The main table comes first."""
    number = main_number(all_results)
    main = need(all_results, f"table-b-{number}")
    found = [(f"{counted(number)} strings, {threads_of(threads)}", main, threads) for threads in thread_counts(main)]
    for prefix, words in (("cold-b-", "the same, first touch of memory included"),
                          ("small-pages-b-", "the same, without huge pages")):
        if results := all_results.get(f"{prefix}{number}"):
            found += [(f"{words}, {threads_of(threads)}", results, threads) for threads in thread_counts(results)]
    others = sorted((results for name, results in all_results.items()
                     if name.startswith("table-") and results is not main),
                    key=lambda results: (results.context["strings"] not in "ba", results.context["strings"] != "b",
                                         number_of(results)))
    for results in others:
        kind = {"a": " short", "b": ""}.get(results.context["strings"], " real")
        cached = ", in the cache" if number_of(results) <= 20_000 else ""
        found.append((f"{counted(number_of(results))}{kind} strings{cached}, 1 thread", results, 1))
    return found


def provenance(all_results):
    """Returns the origin of the figures."""
    if not all_results:
        raise NotMeasured("anything")
    context = need(all_results, f"table-b-{main_number(all_results)}").context
    commits = sorted({results.context.get("commit", "unknown") for results in all_results.values()})
    dates = sorted({results.context["date"][:10] for results in all_results.values()})
    days = dates[0] if len(dates) == 1 else f"{dates[0]} to {dates[-1]}"
    return (f"Measured with commit {', '.join(commits)} on {context.get('processor', 'unknown')}, "
            f"{context.get('cores', '?')} cores, {context.get('gigabytes', '?')} GiB, {days}.")


def maps_block(all_results):
    """Nanoseconds and bytes of every map in the main table."""
    number = main_number(all_results)
    results = need(all_results, f"table-b-{number}")
    memory = all_results.get(f"memory-b-{number}")
    rows = []
    for name, words in NAMES.items():
        benchmark = f"{name}/threads:1"
        if benchmark not in results.figures:
            continue
        cells = [median(results, benchmark, workload) for workload in WORKLOADS]
        cells.append(memory and median(memory, benchmark, "beyond"))
        rows.append([words, *(rounded(cell) if cell else "–" for cell in cells)])
    repetitions = max(len(figure.values) for figures in results.figures.values() for figure in figures.values())
    return [provenance(all_results), "",
            f"{counted(number)} strings, one thread, warm memory, huge pages, repetitions: {repetitions}. Nanoseconds an "
            "operation; the last column counts the bytes that a string takes beyond its text.", "",
            *table(["", *WORKLOADS, "bytes"], rows)]


def condition_rows(all_results, ours):
    rows = []
    for words, results, threads in conditions(all_results):
        cells = []
        for workload in WORKLOADS:
            time = median(results, f"{ours}/threads:{threads}", workload)
            part = ratio(results, ours, REFERENCE, workload, threads)
            cell = f"{rounded(time)} ({rounded(part)})" if time and part else "–"
            cells.append(f"**{cell}**" if part and is_slower(part) else cell)
        if any(cell != "–" for cell in cells):
            rows.append([words, *cells])
    return rows


def conditions_block(all_results):
    """The dictionary compared with the reference under all conditions."""
    lines = ["Nanoseconds an operation and thread; in brackets the same divided by the time of "
             f"{NAMES[REFERENCE]}, under the same conditions. Where the dictionary is slower the cell is bold.", ""]
    for ours in (BATCH, SINGLE):
        lines += table([NAMES[ours], *WORKLOADS], condition_rows(all_results, ours))
    return lines


def slower_workloads(results, ours, other):
    """Returns the workloads in which the dictionary is slower than another map, with the ratios."""
    parts = []
    for workload in WORKLOADS:
        ratios = [part for threads in thread_counts(results) if (part := ratio(results, ours, other, workload, threads))]
        if any(is_slower(part) for part in ratios):
            parts.append(f"{workload} {span(ratios)}")
    return ", ".join(parts) or "nothing"


def slower_block(all_results):
    """The cases in which something else is faster."""
    number = main_number(all_results)
    results = need(all_results, f"table-b-{number}")
    others = [name for name in NAMES if name in maps_of(results) and not name.startswith("melnar")]
    rows = [[NAMES[other], *(slower_workloads(results, ours, other) for ours in (BATCH, SINGLE))] for other in others]
    return [f"Workloads in which another map is faster, {counted(number)} strings, and the time of the dictionary "
            "divided by that of the other map, from the best to the worst number of threads.", "",
            *table(["faster than the dictionary", "in batches", "one at a time"], rows)]


def stalls_block(all_results):
    """The longest call while a map grows."""
    results = newest_of(all_results, "stalls-b-")
    rows = []
    for name, words in NAMES.items():
        for threads in thread_counts(results):
            benchmark = f"{name}/threads:{threads}"
            if name in (BATCH, SINGLE, REFERENCE, "tbb") and benchmark in results.figures:
                rows.append([f"{words}, {threads_of(threads)}",
                             *(rounded(median(results, benchmark, quantity) * 1e-3)
                               for quantity in ("p50", "p999", "longest"))])
    return [f"Microseconds a call while {counted(number_of(results))} strings are added. A call in batches resolves "
            "1,024 strings.", "", *table(["", "median", "99.9 % are below", "longest"], rows)]


def memory_block(all_results):
    """Bytes in addition to the text, with both widths of buckets."""
    results = need(all_results, f"memory-b-{main_number(all_results)}")
    reference = median(results, f"{REFERENCE}/threads:1", "beyond")
    rows = []
    for name in [name for name in maps_of(results) if name.startswith("melnar-batch") or name == REFERENCE]:
        bytes_a_string = median(results, f"{name}/threads:1", "beyond")
        bits = "32" if name.startswith("melnar-batch-32") else "64"
        words = NAMES[REFERENCE] if name == REFERENCE else f"the dictionary with {bits}-bit buckets"
        words += ", without fingerprints" if name.endswith("no-fingerprints") else ""
        rows.append([words, rounded(bytes_a_string), rounded(bytes_a_string / reference) if reference else "–"])
    return [f"{counted(number_of(results))} strings.", "",
            *table(["", "bytes a string beyond its text", "÷ absl"], rows)]


def collisions_block(all_results):
    """Strings made to collide."""
    results = newest_of(all_results, "collisions-")
    rows = []
    for name, words in NAMES.items():
        if f"{name}/threads:1" in results.figures and name.startswith("melnar"):
            values = [median(results, f"{name}/threads:1", quantity)
                      for quantity in ("ordinary", "colliding", "ratio", "ratio_again")]
            rows.append([words, *(rounded(value) for value in values)])
    return [f"{number_of(results):,} literals whose hashes were made to agree in all bits that choose a bucket, and as "
            "many ordinary ones of the same length, on one thread.", "",
            *table(["", "ordinary, seconds to add", "colliding", "ratio", "ratio when all are there"], rows)]


def load_rows(results):
    """The operations of the tool on an RDF file."""
    what = (f"{results.context['strings']}, {int(results.context['bytes']) / 1e6:.0f} MB, "
            f"{threads_of(int(results.context['threads']))}")
    rows = []
    for words, ours in ((f"load {what}, all terms and rows of IDs", "melnar-load"),
                        (f"load {what}, strings alone", "melnar-strings"), (f"encode {what}", "melnar-encode")):
        seconds = median(results, ours, "seconds")
        others = [f"{rounded(seconds / median(results, other, 'seconds'))} of {other_words}"
                  for other, other_words in (("serd-baseline", "serd's bare reader"), ("serdi", "`serdi`"))]
        rows.append([words, f"{rounded(seconds)} s", ", ".join(others)])
    decode, copy = (median(results, name, "mb_per_cpu_second") for name in ("melnar-decode", "melnar-copy"))
    rows.append([f"decode {what}", f"{rounded(median(results, 'melnar-decode', 'seconds'))} s",
                 f"{rounded(decode / copy)} of the bytes that a copy writes in a second of processor time"])
    return rows


def files_block(all_results):
    """Whole dictionaries and RDF files."""
    number = main_number(all_results)
    warm = need(all_results, f"files-b-{number}")
    rows = []
    for name in sorted(warm.figures):
        figures = {quantity: figure.median for quantity, figure in warm.figures[name].items()}
        bits = name.rsplit("-", 1)[-1]
        rows.append([f"save, {bits}-bit buckets", f"{rounded(figures['save'])} s",
                     f"{rounded(figures['save'] / figures['copy_sync'])} of `cp` and `sync`, "
                     f"{rounded(figures['save'] / figures['copy'])} of `cp` alone"])
        rows.append([f"open, {bits}-bit buckets", f"{rounded(figures['open'])} s",
                     f"{rounded(figures['open'] / figures['copy'])} of `cp`"])
    for name, results in all_results.items():
        if name.startswith("load-"):
            rows += load_rows(results)
    return [f"A dictionary of {counted(number)} strings on one thread, and RDF files loaded by the tool.", "",
            *table(["", "time", "beside"], rows)]


def summary_block(all_results):
    """One sentence for the README."""
    number = main_number(all_results)
    results = need(all_results, f"table-b-{number}")
    ratios = [part for workload in ("build", "re", "zipf") for threads in thread_counts(results)
              if (part := ratio(results, BATCH, REFERENCE, workload, threads))]
    sentence = (f"in batches of 1,024, {counted(number)} strings are resolved in {span(ratios)} of the time of "
                "`absl::flat_hash_map` in 256 shards")
    if load := all_results.get(LARGE_FILE):
        part = median(load, "melnar-load", "seconds") / median(load, "serd-baseline", "seconds")
        sentence += (f", and {threads_of(int(load.context['threads']))} turn a gigabyte of N-Triples into rows of IDs "
                     f"and a dictionary of all terms in {rounded(part)} of the time that serd's reader needs to parse "
                     "it")
    return [sentence]


BLOCKS = {
    "maps": maps_block,
    "conditions": conditions_block,
    "slower": slower_block,
    "stalls": stalls_block,
    "memory": memory_block,
    "collisions": collisions_block,
    "files": files_block,
    "summary": summary_block,
}
