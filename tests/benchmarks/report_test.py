#!/usr/bin/env python3
"""Tests of the text that benchmarks/report.py writes into the pages, and of the targets."""

import contextlib
import io
import json
import re
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.dont_write_bytecode = True
sys.path.insert(0, str(ROOT / "benchmarks"))

import answers  # noqa: E402, pylint: disable=wrong-import-position
import report  # noqa: E402, pylint: disable=wrong-import-position
import targets  # noqa: E402, pylint: disable=wrong-import-position

WORKLOADS = ["build", "re", "zipf", "miss", "get"]
PAGE = """# Page

Words of the author.

<!-- measured maps, by ./dev bench report -->

old figures 4711

<!-- end of maps -->

- A line: <!-- measured summary, by ./dev bench report -->old 4711<!-- end of summary --> (its end).
"""


def make_results(figures, commit="c0ffee", **context):
    """Makes a program's results: one repetition of each benchmark, with the given quantities."""
    context = {"commit": commit, "processor": "P", "cores": "2", "gigabytes": "24", "memory": "warm", "pages": "huge",
               "date": "2026-01-02T03:04:05", **context}
    return {"context": context,
            "benchmarks": [{"run_type": "iteration", "run_name": name, "iterations": 1, **quantities}
                           for name, quantities in figures.items()]}


def make_table(number, strings="b", **times):
    """Makes a table of maps for one and two threads; `times` are the medians of all workloads, absl's are 100."""
    medians = {"absl-256": 100, "tbb": 200, "tsl-robin": 50, **{name.replace("_", "-"): time
                                                                for name, time in times.items()}}
    return make_results({f"{name}/threads:{threads}": dict.fromkeys(WORKLOADS, median)
                         for name, median in medians.items() for threads in (1, 2)
                         if threads == 1 or name != "tsl-robin"}, n=str(number), strings=strings)


def make_all_results():
    """Makes one file of results of each kind that the pages show."""
    maps = ("melnar-batch-64", "melnar-single-64", "melnar-batch-32", "absl-256", "tbb")
    named = [f"{name}/threads:{threads}" for name in maps for threads in (1, 2)]
    own = {"melnar_batch_64": 40, "melnar_single_64": 150}
    loads = {name: {"seconds": seconds, "cpu_seconds": 2.0, "peak_mb": 30.0, "text_mb": 24.0, "mb_per_cpu_second": rate}
             for name, seconds, rate in (
                 ("serd-baseline", 4.0, 0.0), ("serdi", 10.0, 0.0), ("melnar-strings", 1.2, 0.0),
                 ("melnar-load", 2.0, 0.0), ("melnar-load-any", 1.6, 0.0), ("melnar-encode", 1.3, 0.0),
                 ("melnar-decode", 3.0, 500.0), ("melnar-copy", 0.5, 2000.0))}
    files = dict.fromkeys(("save", "copy_sync", "write", "open", "copy", "bytes", "verify", "compact", "compact_half"),
                          0.5)
    collisions = dict.fromkeys(("ordinary", "ordinary_again", "colliding", "colliding_again", "ratio", "ratio_again"),
                               0.25)
    terms = dict.fromkeys(("iri_build", "string_build", "iri_re", "string_re"), 20)
    terms |= {"ratio_build": 1.1, "ratio_re": 1.2, "chunks": 0.4, "shared": 0.1, "stored": 0.5, "all": 0.9,
              "string_stored": 1.1, "string_all": 1.5}
    columns = {f"{way}_{workload}": 30 for way in ("column", "batch", "single") for workload in ("build", "re", "get")}
    numbered = {"n": "10000000", "strings": "b"}
    return {
        "table-b-10000000": make_table(10_000_000, **own),
        "table-b-20000": make_table(20_000, **own),
        "table-a-10000000": make_table(10_000_000, strings="a", **own),
        "table-names-600000": make_table(600_000, strings="/tmp/names.nt", **own),
        "cold-b-10000000": make_table(10_000_000, **own),
        "small-pages-b-10000000": make_table(10_000_000, **own),
        "load36-b": make_table(6_000_000, **own),
        "growth-b-1000000": make_table(1_000_000, **own),
        "growth-b-30000000": make_table(30_000_000, **own),
        "memory-b-10000000": make_results({name: {"beyond": 20} for name in named}, **numbered),
        "stalls-b-30000000": make_results(
            {name: dict.fromkeys(("p50", "p99", "p999", "longest"), 5000) for name in named}, **numbered),
        "collisions-65536": make_results({name: collisions for name in named if name.endswith(":1")}, n="65536",
                                         strings="colliding"),
        "files-b-10000000": make_results({name: files for name in ("melnar-32", "melnar-64")}, **numbered),
        "load-large-8000000-nt": make_results(loads, strings="large-8000000.nt", bytes="1000000000", threads="2"),
        "terms-names-nt": make_results({"iris/threads:1": terms, "columns/threads:1": columns},
                                       strings="/tmp/names.nt", n="600000"),
    }


class Repository:
    """A folder with pages, and a folder with results."""

    def __init__(self, folder, documents, page=None):
        self.root = Path(folder, "root")
        self.results = Path(folder, "results")
        self.results.mkdir()
        for name, document in documents.items():
            (self.results / f"{name}.json").write_text(json.dumps(document), encoding="utf-8")
        for path in report.PAGES:
            (self.root / path).parent.mkdir(parents=True, exist_ok=True)
            text = page if page is not None else (ROOT / path).read_text(encoding="utf-8")
            (self.root / path).write_text(text, encoding="utf-8")

    def write(self, **options):
        """Writes the pages; returns the printed text."""
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            report.write(self.results, self.root, self.root, **options)
        return output.getvalue()

    def read(self, path="docs/performance.md"):
        return (self.root / path).read_text(encoding="utf-8")


class ReportTest(unittest.TestCase):
    def setUp(self):
        # pylint: disable-next=consider-using-with
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def make(self, documents, page=None):
        return Repository(self.folder, documents, page)

    def test_every_block_of_the_pages_is_written_from_the_results(self):
        repository = self.make(make_all_results())
        output = repository.write()
        self.assertNotIn("Not measured", output)
        names = [name for path in report.PAGES for _, name, _, _ in report.BLOCK.findall(repository.read(path))]
        self.assertEqual(sorted(answers.BLOCKS), sorted(names))
        for path in report.PAGES:
            self.assertNotIn("not measured", repository.read(path))

    def test_only_what_is_between_the_markers_changes(self):
        repository = self.make(make_all_results(), PAGE)
        repository.write()
        text = repository.read()
        self.assertNotIn("4711", text)
        self.assertTrue(text.startswith(PAGE[:PAGE.index("old figures")]))
        self.assertIn("<!-- end of summary --> (its end).\n", text)
        repository.write()
        self.assertEqual(text, repository.read(), "writing again changes nothing")

    def test_old_figures_go_when_nothing_was_measured(self):
        repository = self.make({}, PAGE)
        self.assertIn("maps: there is no", repository.write())
        self.assertNotIn("4711", repository.read())
        self.assertEqual(2, repository.read().count("not measured yet"))

    def test_results_of_two_commits_are_refused_unless_wanted(self):
        documents = {"table-b-10000000": make_table(10_000_000, melnar_batch_64=40),
                     "memory-b-10000000": make_results({"absl-256/threads:1": {"beyond": 50}}, commit="beef",
                                                       n="10000000", strings="b")}
        repository = self.make(documents, PAGE)
        with self.assertRaises(SystemExit):
            repository.write()
        self.assertEqual(PAGE, repository.read())
        repository.write(accepts_mixed=True)
        self.assertIn("beef, c0ffee", repository.read())

    def test_slower_is_told_for_each_map(self):
        repository = self.make(make_all_results())
        repository.write()
        text = repository.read()
        table = text[text.index("faster than the dictionary"):text.index("<!-- end of slower")]
        rows = {line.split(" | ")[0]: line for line in table.splitlines()}
        self.assertIn("| nothing | build 1.50, re 1.50", rows["| `absl::flat_hash_map`, 256 shards"])
        self.assertIn("| nothing | nothing |", rows["| `tbb::concurrent_hash_map`"])
        self.assertIn("| nothing | build 3.0, re 3.0", rows["| `tsl::robin_map`, one thread only"])
        self.assertIn("| 10 million strings, 1 thread | 40 (0.40) |", text)
        self.assertIn("| 10 million strings, 1 thread | **150 (1.50)** |", text)

    def test_all_that_is_done_with_an_rdf_file_is_told(self):
        repository = self.make(make_all_results())
        repository.write()
        text = repository.read()
        file = "large-8000000.nt, 1000 MB, 2 threads"
        for line in (f"| load {file}, all terms and rows of IDs | 2.0 s | 0.50 of serd's bare reader, 0.20 of `serdi`",
                     f"| load {file}, strings alone | 1.20 s | 0.30 of serd's",
                     f"| encode {file} | 1.30 s | 0.33 of serd's",
                     f"| decode {file} | 3.0 s | 0.25 of the bytes that a copy"):
            self.assertIn(line, text)
        self.assertIn("2 threads turn a gigabyte of N-Triples into rows of IDs and a dictionary of all terms in 0.50 "
                      "of", repository.read("README.md"))
        tables = repository.read(report.TABLES)
        for line in ("- melnar-load ÷ serd-baseline: 0.50 of", "- melnar-load ÷ melnar-load-any: 1.25 of",
                     "- melnar-load: peak memory 1.25 of"):
            self.assertIn(line, tables)

    def test_plots_of_earlier_results_go(self):
        repository = self.make(make_all_results())
        old = repository.root / "docs/performance/old.svg"
        old.parent.mkdir()
        old.touch()
        repository.write()
        self.assertFalse(old.exists())
        text = repository.read(report.TABLES)
        for plot in re.findall(r"\]\(([^)]*\.svg)\)", text):
            self.assertTrue((repository.root / "docs/performance" / plot).exists(), plot)
        self.assertIn("### table-b-10000000", text)

    def test_pages_have_no_measured_figure_outside_the_markers(self):
        text = report.BLOCK.sub("", (ROOT / "docs/performance.md").read_text(encoding="utf-8"))
        self.assertEqual([], re.findall(r"\d[.]\d|\b\d+ (?:ns|µs|ms|s|GB/s|nanoseconds|seconds|%|times)\b", text))


class TargetsTest(unittest.TestCase):
    def setUp(self):
        # pylint: disable-next=consider-using-with
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.repository = Repository(folder.name, make_all_results())
        self.results = report.read_results(self.repository.results)

    def test_ratios_of_the_main_table_are_compared_with_the_limits(self):
        rows = {row[0]: row[1:] for row in targets.rows(self.results)}
        self.assertEqual(("0.4", "0.5", "0.42", "aim"), rows["batch build / absl-256, threads: 1"])
        self.assertEqual(("0.4", "0.44", "0.35", "must"), rows["batch zipf / absl-256, threads: 2"])
        self.assertEqual(("0.4", "0.34", "0.28", "MISSED"), rows["batch re / absl-256, threads: 1"])
        self.assertEqual(("40", "32", "25", "MISSED"), rows["batch re of 20,000 strings in the cache, ns"])
        self.assertEqual(("2", "1.9", "2", "aim"), rows["throughput of 2 threads / 1, batch re (at least)"])

    def test_iris_are_compared_with_strings_and_with_their_text(self):
        rows = {row[0]: row[1:] for row in targets.rows(self.results)}
        self.assertEqual(("1.1", "1.15", "-", "must"), rows["terms-names-nt: IRI / string, batch build"])
        self.assertEqual(("1.2", "1.15", "-", "MISSED"), rows["terms-names-nt: IRI / string, batch re"])
        self.assertEqual(("0.5", "0.6", "0.45", "must"), rows["terms-names-nt: bytes stored of IRIs / of their text"])

    def test_what_is_done_with_an_rdf_file_is_compared_with_readers_and_a_copy(self):
        rows = {row[0]: row[1:] for row in targets.rows(self.results)}
        name = "large-8000000.nt"
        for target, row in (
                (f"load of the strings of {name} / serd-baseline, 1 thread", ("0.3", "0.75", "0.6", "aim")),
                (f"load of the strings of {name} / serdi, 1 thread", ("0.12", "0.3", "-", "must")),
                (f"load with IDs of all terms of {name} / serd-baseline, 1 thread", ("0.5", "0.6", "0.4", "must")),
                (f"load with IDs of all terms of {name} / in any order", ("1.25", "1.2", "-", "MISSED")),
                (f"encode {name} / serd-baseline, 1 thread", ("0.325", "0.5", "0.35", "aim")),
                (f"decode {name} / a copy, bytes a second of processor time (at least)",
                 ("0.25", "0.2", "0.3", "must")),
                (f"peak memory of loading {name} / text of all distinct terms", ("1.25", "1.4", "1.1", "must"))):
            self.assertEqual(row, rows[target])

    def test_what_was_not_measured_meets_nothing(self):
        del self.results["growth-b-1000000"]
        rows = {row[0]: row[1:] for row in targets.rows(self.results)}
        self.assertEqual(("-", "1.5", "1.3", "not measured"),
                         rows["batch build at 30,000,000 / at 1,000,000, 64-bit buckets"])

    def test_the_pages_do_not_show_targets(self):
        output = self.repository.write()
        self.assertIn("| must |", output)
        for page in (*report.PAGES, report.TABLES):
            self.assertNotRegex(self.repository.read(page), r"\bmust \||\baim \||MISSED|missed")


if __name__ == "__main__":
    unittest.main()
