#!/usr/bin/env python3
"""Tests of scripts/docs/filter_header.py: what Doxygen reads instead of a header."""

import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "scripts/docs"))

from filter_header import format_header  # noqa: E402  pylint: disable=wrong-import-position

HEADER = """#pragma once

/// A flag.
///
/// Units      Bytes.
/// Threads    Any threads, any
///            time. See Other.
///
/// FLAG STATES     LOW -raise-> HIGH
///                 HIGH    is the last
///
/// INVARIANTS      I1 one thread
///                    raises the flag
///                 I2 0 <= flag
///
/// MEMORY ORDERS   of the flag
///   #   operation       order    pairs with   makes visible   checked by
///   W1  raise, a->b     release  W2           the text        TSan
///                                             and more
///   W2  see it, load    acquire  W1                           argued
/// Argued: nothing weaker would do.
///
/// The life of a flag:
///   low -> high
///     (and stays)
/// That is all.
///
///     Flag flag(a < b);
struct Flag {
"""

EXPECTED = """#pragma once /** @file */

/// A flag.
///
/// <dl class="labels"><dt>Units</dt><dd>Bytes.</dd>
/// <dt>Threads</dt><dd>Any threads, any
/// time. See Other.</dd></dl>
///
/// <dl class="labels"><dt>FLAG STATES</dt><dd><pre>LOW -raise-&gt; HIGH
/// HIGH    is the last</pre></dd></dl>
///
/// <dl class="labels"><dt>INVARIANTS</dt><dd><ul><li><b>I1</b> one thread
/// raises the flag</li>
/// <li><b>I2</b> 0 &lt;= flag</li></ul></dd></dl>
///
/// <table class="orders"><caption>MEMORY ORDERS   of the flag</caption>
/// <tr><th>#</th><th>operation</th><th>order</th><th>pairs with</th><th>makes visible</th><th>checked by</th></tr>
/// <tr><td>W1</td><td>raise, a-&gt;b</td><td>release</td><td>W2</td><td>the text and more</td><td>TSan</td></tr>
///
/// <tr><td>W2</td><td>see it, load</td><td>acquire</td><td>W1</td><td></td><td>argued</td></tr></table>
/// Argued: nothing weaker would do.
///
/// The life of a flag:
/// <pre>low -&gt; high
///   (and stays)</pre>
/// That is all.
///
///     Flag flag(a < b);
struct Flag {
"""


class FilterHeaderTest(unittest.TestCase):
    def test_columns_become_lists_tables_and_preformatted_blocks(self):
        self.assertEqual(EXPECTED.splitlines(), format_header(HEADER).splitlines())

    def test_comments_of_members_and_of_c_have_blocks_as_well(self):
        self.assertEqual(["x /** @file */", '    /// <dl class="labels"><dt>Units</dt><dd>Bytes.</dd></dl>'],
                         format_header("x\n    /// Units  Bytes.\n").splitlines())
        self.assertEqual('/** @file\n * Of C.\n *\n * <dl class="labels"><dt>Units</dt><dd>Bytes.</dd></dl>\n */\n',
                         format_header("/** @file\n * Of C.\n *\n * Units  Bytes.\n */\n"))

    def test_a_label_may_be_as_long_as_the_column_is_wide(self):
        lines = format_header("\n/// Errors     None.\n/// Completion Now\n").splitlines()
        self.assertEqual(['/// <dl class="labels"><dt>Errors</dt><dd>None.</dd>',
                          "/// <dt>Completion</dt><dd>Now</dd></dl>"], lines[1:])

    def test_a_paragraph_that_begins_like_a_label_stays_one(self):
        text = "/** @file */\n/// CHUNKS  A text\n/// that continues\n"
        self.assertEqual(text, format_header(text))

    def test_private_classes_are_hidden(self):
        public = ["class A { /** @file */", "    struct B {", "    };", "private:"]
        private = ["    class C {", "        int m;", "    };"]
        rest = ["    class D;", "};", "class E {", "    struct F {", "    };", "};"]
        hidden = ["/** @cond */     class C {", "        int m;", "    }; /** @endcond */"]
        self.assertEqual(public + hidden + rest, format_header("\n".join(public + private + rest)).splitlines())


if __name__ == "__main__":
    unittest.main()
