#!/usr/bin/env python3
"""Prints a Markdown file as Doxygen shall read it: pages and headings get names, and links lead to them.

The name of a heading is that of its page, an underscore, and the anchor that it has on GitHub. Lines keep their
numbers.
"""

import html
import posixpath
import re
import sys
from collections import Counter
from pathlib import Path

from documents import ROOT, SPAN, find_target, get_page_id, read_lines

HEADING = re.compile(r"(#{1,6}) +(.*)")
ADDRESS = re.compile(r"\b[a-z]+:/")
COMMENT = re.compile(r"<!--.*?-->")


def make_anchor(heading):
    """Returns the anchor of a heading on GitHub."""
    return re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-")


def format_code(code):
    """Returns a span of code.

    Doxygen makes a link of an address in it. It takes a single double quote for the start of a text that does not end
    with the span. Between single ticks it ends the span at a single quote.
    """
    code = ADDRESS.sub(r"%\g<0>", code)
    if code.count('"') % 2 == 0:
        return f"`` {code} ``"
    escaped = html.escape(code, quote=False).replace('"', "&quot;").replace("\\", "\\\\").replace("@", "\\@")
    return f"<code>{escaped}</code>"


class DocumentFilter:
    def __init__(self, path, root=ROOT):
        self.root = root
        self.path = path
        self.id = get_page_id(path)
        self.level = 0
        self.anchors = Counter()
        self.subpages = set()

    def format_heading(self, marks, heading):
        self.level = min(len(marks), self.level + 1)  # Doxygen refuses a level without the one above.
        heading = heading.replace("`", "")  # It shows them.
        if self.level == 1:
            return f"# {heading} {{#{'mainpage' if self.id == 'index' else self.id}}}"
        anchor = make_anchor(heading)
        self.anchors[anchor] += 1
        if self.anchors[anchor] > 1:
            anchor += f"-{self.anchors[anchor] - 1}"
        return f"{'#' * self.level} {heading} {{#{self.id}_{anchor}}}"

    def is_subpage(self, path):
        """Whether this is the first link to a document of the folder whose README.md this is, or that has its name."""
        folder, name = posixpath.split(self.path)
        if name != "README.md":
            folder = self.path.removesuffix(".md")
        return folder and path.startswith(folder + "/") and path not in self.subpages

    def format_span(self, match):
        if match["code"]:
            code = format_code(match["code"].strip("`").strip())
            return f"<b>{code}</b>" if match["bold"] else code
        path, heading = find_target(self.path, match["target"], self.root)
        if match["image"] or path is None:
            return match[0]
        plain_text = match["text"].replace("`", "")
        if path.endswith(".md") and self.is_subpage(path):
            self.subpages.add(path)
            return f'@subpage {get_page_id(path)} "{plain_text}"'
        if path.endswith(".md") or (self.root / path).is_dir():
            page = get_page_id(path)
            return f"[{self.format_text(match['text'])}]({page}.html{f'#{page}_{heading}' if heading else ''})"
        return f"[{plain_text}](@ref {path})"

    def format_text(self, text):
        """Returns a text in which an at sign outside of code begins no command."""
        formatted = []
        end = 0
        for match in SPAN.finditer(text):
            formatted += [text[end:match.start()].replace("@", "\\@"), self.format_span(match)]
            end = match.end()
        return "".join(formatted) + text[end:].replace("@", "\\@")

    def format_line(self, line, is_code):
        if is_code:
            return line
        if heading := HEADING.fullmatch(line):
            return self.format_heading(*heading.groups())
        return self.format_text(COMMENT.sub("", line))

    def run(self):
        return "".join(self.format_line(*line) + "\n" for line in read_lines(self.path, self.root))


if __name__ == "__main__":
    sys.stdout.write(DocumentFilter(Path(sys.argv[1]).resolve().relative_to(ROOT).as_posix()).run())
