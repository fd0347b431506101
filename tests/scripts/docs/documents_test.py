#!/usr/bin/env python3
"""Tests of scripts/docs/documents.py: which files are shown, and where links lead."""

import re
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "scripts/docs"))

import documents  # noqa: E402  pylint: disable=wrong-import-position

INTERFACE = """# Interface

| No | table of headers |
|---|---|
| of them | `Engine/None.h` |

## Public headers

| For | Headers |
|---|---|
| all | `All.h` |
| some | `Engine/core/A.h`, `B.h`; `parts/C.h`, `D.h`, and `E.h`; `Reader/F.h`; `parts/G.h` |

## More

| And | another |
|---|---|
| of them | `Engine/None.h` |
"""

ARCHITECTURE = """
| Protocol | File | Numbers |
|---|---|---|
| a flag | `data/Flag.h` | I1 to I2 |
"""

GUIDE = """# Guide

[other](other.md), [heading](other.md#its-name), [below](#below), [up](../../README.md),
[page](https://example.org/a.md), [source](../../examples/a.cpp), [folder](../../examples/),
![image](image.png), `[no link](none.cpp)`.

- item

    [of an item](item.cpp)

Text

    [code](none.cpp)

```cpp
auto f = [x](y);
```
"""


class DocumentsTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.root = Path(self.folder.name)
        self.write("docs/interface.md", INTERFACE)
        self.write("ARCHITECTURE.md", ARCHITECTURE)
        for folder in ("Engine/core", "Reader"):
            (self.root / folder).mkdir(parents=True)

    def write(self, path, text):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text, encoding="utf-8")

    def test_documents_are_found_by_their_place(self):
        for path in ("README.md", "docs/guides/a.md", "examples/README.md", "tests/no.md", "docs/no.txt"):
            self.write(path, "")
        self.assertEqual(["ARCHITECTURE.md", "README.md", "docs/guides/a.md", "docs/interface.md",
                          "examples/README.md"], documents.get_documents(self.root))

    def test_the_table_lists_headers_with_and_without_folders(self):
        self.assertEqual(["All.h", "Engine/core/A.h", "Engine/core/B.h", "Engine/core/parts/C.h",
                          "Engine/core/parts/D.h", "Engine/core/parts/E.h", "Reader/F.h", "Reader/parts/G.h"],
                         documents.get_public_headers(self.root))

    def test_headers_that_state_a_protocol_are_shown_too(self):
        self.assertIn("Engine/core/data/Flag.h", documents.get_headers(self.root))

    def test_links_lead_to_files_folders_and_headings(self):
        self.write("examples/README.md", "")
        for target, expected in (("other.md", ("docs/guides/other.md", "")),
                                 ("other.md#its-name", ("docs/guides/other.md", "its-name")),
                                 ("#below", ("docs/guides/guide.md", "below")),
                                 ("../../examples/", ("examples/README.md", "")),
                                 ("../../tests/", ("tests", "")),
                                 ("https://example.org/a.md", (None, ""))):
            self.assertEqual(expected, documents.find_target("docs/guides/guide.md", target, self.root), target)

    def test_what_is_code_links_to_nothing(self):
        self.write("docs/guides/guide.md", GUIDE)
        self.assertEqual({"docs/guides/other.md", "docs/guides/guide.md", "README.md", "examples/a.cpp", "examples",
                          "docs/guides/image.png", "docs/guides/item.cpp"},
                         documents.find_link_targets("docs/guides/guide.md", self.root))


class RepositoryTest(unittest.TestCase):
    def test_every_header_of_the_table_is_there(self):
        headers = documents.get_public_headers()
        self.assertGreater(len(headers), 50)
        self.assertEqual([], [header for header in headers if not (ROOT / header).is_file()])

    def test_what_programs_include_is_public(self):
        includes = re.findall(r'^#include "(.+)"', (ROOT / "Melnar.h").read_text(encoding="utf-8"), re.MULTILINE)
        self.assertGreater(len(includes), 20)
        self.assertEqual(set(), set(includes) - set(documents.get_public_headers()))


if __name__ == "__main__":
    unittest.main()
