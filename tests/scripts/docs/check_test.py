#!/usr/bin/env python3
"""Tests of scripts/docs/check.py: what it objects to in small sets of pages that Chromium opens, and its exit code."""

import base64
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

CHECK = Path(__file__).resolve().parents[3] / "scripts/docs/check.py"

IMAGE = base64.b64decode("iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5E"
                         "rkJggg==")

INTERFACE = """
## Public headers

| For | Headers |
|---|---|
| all | `Flag.h` |
"""

ARCHITECTURE = """
| Protocol | File | Numbers |
|---|---|---|
| a flag | `Flag.h` | I1 to I2, W1 to W2 |
"""

FLAG_H = """
/// A flag.
///
/// Threads    Any threads, any
///            time.
///
/// FLAG STATES   LOW -raise-> HIGH
///
/// INVARIANTS     I1 one thread raises the flag
///                I2 nobody lowers it
///
/// The life of a flag:
///   low -> high
"""

LABELS = """<dl class="labels"><dt>Threads</dt><dd>Any threads, any time.</dd></dl>"""
STATES = """<dl class="labels"><dt>FLAG STATES</dt><dd><pre>LOW -raise-&gt; HIGH</pre></dd></dl>"""
INVARIANTS = """<dl class="labels"><dt>INVARIANTS</dt><dd><ul><li><b>I1</b> one thread</li><li><b>I2</b> no</li></ul>
</dd></dl>"""
ORDERS = """<table class="orders"><tr><th>#</th><th>operation</th><th>order</th><th>pairs with</th>
<th>makes visible</th><th>checked by</th></tr>
<tr><td>W1</td><td>raise</td><td>release</td><td>W2</td><td>the text</td><td>TSan</td></tr>
<tr><td>W2</td><td>see it</td><td>acquire</td><td>W1</td><td></td><td>TSan</td></tr></table>"""
LIFE = "<pre>low -&gt; high</pre>"

SITE = {
    "index.html": """<a href="flag.html#here">x</a> <a href="flag.html#top">x</a> <a href="https://example.org/">x</a>
        <a href="javascript:void(0)">x</a> <a href="image.png">x</a> <img src="image.png">""",
    "flag.html": f"""<p id="here"><code>**</code> x</p><a name="top"></a>
        {LABELS} {STATES} {INVARIANTS} {ORDERS} {LIFE}""",
    "search/all.js": "var data = [['flag', '../flag.html#here'], ['index', '../index.html']];",
}

FAULTS = {
    "a.html": '<a href="gone.html">x</a>',
    "b.html": '<a href="flag.html#gone">x</a> <a href="#gone">x</a>',
    "c.html": '<a href="../outside.html">x</a>',
    "d.html": '<p>x</p><img src="broken.png">',
    "e.html": '<p>x</p><img src="gone.png">',
    "f.html": "<p></p>",
    "g.html": "<p>**x** [y](z)</p>",
    "h.html": "<script>document.currentScript.outerHTML = 'x <a href=\"made.html\">x</a>'</script>",
    "tree.js": "var tree = ['x', \"flag.html#gone\"];",
}


class CheckDocsTest(unittest.TestCase):
    def check(self, site):
        """Returns the exit code and the lines."""
        with tempfile.TemporaryDirectory() as folder:
            pages = Path(folder, "pages")
            (pages / "search").mkdir(parents=True)
            for name, text in site.items():
                page = f'<!DOCTYPE html><body><div class="contents"><div class="textblock">{text}</div></div></body>'
                (pages / name).write_text(page if name.endswith(".html") else text, encoding="utf-8")
            (pages / "image.png").write_bytes(IMAGE)
            (pages / "broken.png").write_bytes(IMAGE[:20])
            for name, text in (("docs/interface.md", INTERFACE), ("ARCHITECTURE.md", ARCHITECTURE), ("Flag.h", FLAG_H),
                               ("Engine/core/Flag.h", FLAG_H)):
                Path(folder, name).parent.mkdir(parents=True, exist_ok=True)
                Path(folder, name).write_text(text, encoding="utf-8")
            run = subprocess.run([sys.executable, CHECK, pages, folder], capture_output=True, text=True, check=False)
            self.assertEqual("", run.stderr)
            return run.returncode, run.stdout.replace(Path(folder).as_uri(), "FOLDER").splitlines()

    def expect_of_flag(self, objections, old, new):
        """Expects these objections when a part of the page with the contract is another."""
        self.assertEqual(1, SITE["flag.html"].count(old), old)
        exit_code, lines = self.check({**SITE, "flag.html": SITE["flag.html"].replace(old, new)})
        self.assertEqual((1, objections), (exit_code, lines[:-1]))

    def test_pages_without_fault_pass(self):
        self.assertEqual((0, ["docs: 2 pages, 5 links, 3 labels, 0 objections"]), self.check(SITE))

    def test_no_pages_are_no_pass(self):
        exit_code, lines = self.check({})
        self.assertEqual((1, "docs: 0 pages, 0 links, 0 labels"), (exit_code, lines[-1][:32]))

    def test_links_images_and_texts_that_are_wrong(self):
        exit_code, lines = self.check({**SITE, **FAULTS})
        self.assertEqual((1, [
            "a.html: there is no gone.html",
            "b.html: there is no #gone in b.html",
            "b.html: there is no #gone in flag.html",
            "c.html: FOLDER/outside.html leads out of the pages",
            "d.html: the image broken.png does not load",
            "e.html: the image gone.png does not load",
            "e.html: there is no gone.png",
            "f.html: the page is empty",
            "g.html: ** is shown as it is written",
            "g.html: ]( is shown as it is written",
            "h.html: there is no made.html",
            "tree.js: there is no #gone in flag.html",
        ]), (exit_code, sorted(lines[:-1])))

    def test_labels_in_a_paragraph(self):
        objection = '"Threads  Any threads, any" is no label with its text'
        self.expect_of_flag([f"Engine/core/Flag.h: {objection}", f"Flag.h: {objection}"], LABELS,
                            "<p>Threads Any threads, any time.</p>")

    def test_states_in_a_paragraph(self):
        objection = '"FLAG STATES  LOW -raise-> HIGH" is no label with its text'
        self.expect_of_flag([f"Engine/core/Flag.h: {objection}", f"Flag.h: {objection}"], STATES,
                            STATES.replace("pre>", "p>"))

    def test_invariants_in_a_paragraph(self):
        self.expect_of_flag(["Flag.h: I1 to I2 are neither a list nor a table"], "<ul><li><b>I1</b> one thread</li><li>"
                            "<b>I2</b> no</li></ul>", "I1 one thread I2 no")

    def test_an_invariant_that_is_missing(self):
        self.expect_of_flag(["Flag.h: I1 to I2 are neither a list nor a table"], "<li><b>I2</b> no</li>", "")

    def test_memory_orders_in_a_paragraph(self):
        self.expect_of_flag(["Flag.h: W1 to W2 are neither a list nor a table"], ORDERS, "<p>W1 raise W2 see it</p>")

    def test_memory_orders_without_a_column(self):
        self.expect_of_flag(["a row of memory orders has other columns: ['W1', 'raise', 'release', 'W2', 'the text']"],
                            "<td>TSan</td></tr>\n<tr>", "</tr>\n<tr>")

    def test_indented_lines_in_a_paragraph(self):
        self.expect_of_flag(['Engine/core/Flag.h: "low -> high" is not preformatted',
                             'Flag.h: "low -> high" is not preformatted'], LIFE, "<p>low -&gt; high</p>")


if __name__ == "__main__":
    unittest.main()
