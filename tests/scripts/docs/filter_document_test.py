#!/usr/bin/env python3
"""Tests of scripts/docs/filter_document.py: what Doxygen reads instead of a document."""

import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "scripts/docs"))

from filter_document import DocumentFilter  # noqa: E402  pylint: disable=wrong-import-position


class FilterDocumentTest(unittest.TestCase):
    def filter(self, text, path="docs/tool.md"):
        with tempfile.TemporaryDirectory() as folder:
            for other in (path, "docs/design/README.md"):
                Path(folder, other).parent.mkdir(parents=True, exist_ok=True)
                Path(folder, other).write_text(text, encoding="utf-8")
            (Path(folder) / "tests").mkdir()
            return DocumentFilter(path, Path(folder)).run()

    def expect(self, expected, text, path="docs/tool.md"):
        self.assertEqual(expected + "\n", self.filter(text, path))

    def test_pages_are_named_by_their_paths(self):
        self.expect("# Tool {#docs-tool}", "# Tool")
        self.expect("# Architecture {#architecture}", "# Architecture", "ARCHITECTURE.md")
        self.expect("# Project {#mainpage}", "# Project", "README.md")

    def test_headings_have_the_anchors_that_they_have_on_github(self):
        self.expect("# T {#docs-tool}\n## Encode, decode (all) {#docs-tool_encode-decode-all}\n"
                    "### A & b {#docs-tool_a--b}\n## A & b {#docs-tool_a--b-1}",
                    "# T\n## Encode, `decode` (all)\n### A & b\n## A & b")
        self.expect("# P {#mainpage}\n## Two {#index_two}", "# P\n## Two", "README.md")

    def test_a_level_without_the_one_above_is_raised(self):
        self.expect("# T {#docs-tool}\n## A {#docs-tool_a}\n### B {#docs-tool_b}", "# T\n### A\n### B")

    def test_links_lead_to_pages_and_headings(self):
        self.expect("[a](docs-scale.html) [``  ``](x)".replace(" [``  ``](x)", ""), "[a](scale.md)")
        self.expect("[`` get ``](docs-tool.html#docs-tool_get)", "[`get`](#get)")
        self.expect("[a](docs-scale.html#docs-scale_one-two)", "[a](scale.md#one-two)")
        self.expect("[a](index.html#index_one)", "[a](../README.md#one)")
        self.expect("[a](https://example.org/)", "[a](https://example.org/)")

    def test_links_lead_to_folders_and_sources(self):
        self.expect("[tests](tests.html)", "[tests](../tests/)")
        self.expect("[design](docs-design-readme.html)", "[design](design/)")
        self.expect("[the header](@ref Engine/A.h)", "[the `header`](../Engine/A.h)")
        self.expect("![text](image.png)", "![text](image.png)")

    def test_the_first_link_to_a_document_below_makes_it_a_subpage(self):
        self.expect('@subpage docs-tool-more "more" and [more](docs-tool-more.html)',
                    "[`more`](tool/more.md) and [more](tool/more.md)")
        self.expect('@subpage docs-design-a "a", [b](docs-b.html)', "[a](a.md), [b](../b.md)", "docs/design/README.md")
        self.expect("[a](docs-a.html)", "[a](docs/a.md)", "README.md")

    def test_code_is_code_for_doxygen_as_well(self):
        self.expect("`` 'a' `` **b** <b>`` c ``</b>", "`'a'` **b** **`c`**")
        self.expect("<code>&quot;&lt;\\@\\\\</code> `` \"a\"@de ``", '`"<@\\` `"a"@de`')
        self.expect("`` <%http://example.org/> ``", "`<http://example.org/>`")
        self.expect("`` [a](b.md) ``", "`[a](b.md)`")

    def test_an_at_sign_in_a_text_begins_no_command(self):
        self.expect('"a"\\@de [b\\@c](docs-d.html)', '"a"@de [b@c](d.md)')

    def test_comments_are_left_out(self):
        self.expect("a b", "<!-- x -->a<!-- y --> b")

    def test_blocks_of_code_stay_as_they_are(self):
        for code in ("```cpp\n# no heading\nauto f = [x](y); // a@b\n```", "    # a@b\n\n    [x](y.md)"):
            self.expect(f"Text\n\n{code}\n\n## B {{#docs-tool_b}}".replace("##", "#").replace("_b", ""),
                        f"Text\n\n{code}\n\n# B")

    def test_what_is_indented_below_an_item_is_no_code(self):
        self.expect("- a\n\n    b\\@c", "- a\n\n    b@c")


if __name__ == "__main__":
    unittest.main()
