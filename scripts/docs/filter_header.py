#!/usr/bin/env python3
"""Prints a header as Doxygen shall read it: blocks that its comments lay out by columns become HTML.

These are labels with a text beside each, the states and numbered invariants of a protocol, its table of memory orders,
and indented lines after a colon. Each line keeps its number.
"""

import html
import re
import sys
from pathlib import Path

COMMENT = re.compile(r"(\s*(?:///|/\*\*|\*(?!/)))(?: (.*))?")
LABEL = re.compile(r"([A-Z][A-Za-z]*(?: [A-Z][A-Za-z]*)*)  +(?=\S)")
INVARIANT = re.compile(r"([A-Z]\d+) ")
CLASS = re.compile(r"( *)(?:class|struct) .*\{")
PRIVATE = re.compile(r"( *)private:")
HEADING = re.compile(r"\S+(?: \S+)*")


def indentation(line):
    return len(line) - len(line.lstrip())


def escape(text):
    return html.escape(text, quote=False)


def format_columns(lines):
    """Lines whose columns matter: preformatted."""
    width = min(map(indentation, lines))
    lines = [escape(line[width:]) for line in lines]
    lines[0] = "<pre>" + lines[0]
    lines[-1] += "</pre>"
    return lines


def format_invariants(lines):
    starts = [number for number, line in enumerate(lines) if INVARIANT.match(line)]
    lines = [INVARIANT.sub(r"<li><b>\1</b> ", escape(line.strip())) for line in lines]
    for number in starts[1:]:
        lines[number - 1] += "</li>"
    lines[0] = "<ul>" + lines[0]
    lines[-1] += "</li></ul>"
    return lines


def format_labels(lines):
    """Labels, each with a text beside it that may go on in the lines below."""
    formatted = []
    column = LABEL.match(lines[0]).end()
    while lines:
        label = lines[0][:column].strip()
        end = next((n for n, line in enumerate(lines) if n > 0 and not line.startswith(" ")), len(lines))
        texts = [line[column:] for line in lines[:end]]
        if label.endswith("STATES"):
            texts = format_columns(texts)
        elif label == "INVARIANTS":
            texts = format_invariants(texts)
        texts[0] = f"<dt>{label}</dt><dd>{texts[0]}"
        texts[-1] += "</dd>"
        formatted += texts
        lines = lines[end:]
    formatted[0] = '<dl class="labels">' + formatted[0]
    formatted[-1] += "</dl>"
    return formatted


def format_orders(lines):
    """A title, the names of the columns, and rows, each of one line or more."""
    starts = [match.start() for match in HEADING.finditer(lines[1])]
    cells = [[line[start:end].strip() for start, end in zip(starts, starts[1:] + [None])] for line in lines[1:]]
    formatted = [f'<table class="orders"><caption>{escape(lines[0])}</caption>']
    for number, row in enumerate(cells):
        following = next((n for n in range(number + 1, len(cells)) if cells[n][0]), len(cells))
        texts = (escape(" ".join(filter(None, column))) for column in zip(*cells[number:following]))
        tag = "td" if number > 0 else "th"
        formatted.append("<tr>" + "".join(f"<{tag}>{text}</{tag}>" for text in texts) + "</tr>" if row[0] else "")
    formatted[-1] += "</table>"
    return formatted


def are_labels(lines):
    """Whether each line begins with a label or is indented, with all texts in the column of the first one."""
    label = LABEL.match(lines[0])
    return label and all(re.fullmatch(r"[A-Z][A-Za-z ]* | +", line[:label.end()]) for line in lines)


def format_paragraph(lines):
    first_indented = next((number for number, line in enumerate(lines) if line.startswith(" ")), len(lines))
    end = next((n for n, line in enumerate(lines) if n > first_indented and not line.startswith(" ")), len(lines))
    if lines[0].startswith("MEMORY ORDERS"):
        return format_orders(lines[:end]) + lines[end:]
    if are_labels(lines):
        return format_labels(lines)
    if 0 < first_indented < len(lines) and lines[first_indented - 1].endswith(":"):
        return lines[:first_indented] + format_columns(lines[first_indented:end]) + lines[end:]
    return lines


def hide_private_classes(lines):
    """Has Doxygen skip the classes in private sections: it would link to them and not show them."""
    section_end = class_end = None
    for number, line in enumerate(lines):
        if section_end is None and (section := PRIVATE.fullmatch(line)):
            section_end = re.compile(section[1] + r"(?:\};|(?:public|protected):)")
        elif section_end and section_end.fullmatch(line):
            section_end = None
        elif section_end and class_end is None and (definition := CLASS.fullmatch(line)):
            class_end = definition[1] + "};"
            lines[number] = "/** @cond */ " + line
        elif line == class_end:
            class_end = None
            lines[number] = line + " /** @endcond */"


def format_header(text):
    """The header with the blocks of its comments as HTML; documented as a file, so that its functions are shown."""
    lines = text.splitlines()
    hide_private_classes(lines)
    matches = [COMMENT.fullmatch(line) for line in lines]
    texts = [match[2] or "" if match else "" for match in matches]
    start = 0
    while start < len(lines):
        end = next((number for number in range(start, len(lines)) if not texts[number]), len(lines))
        if end > start:
            for number, formatted in enumerate(format_paragraph(texts[start:end]), start):
                lines[number] = f"{matches[number][1]} {formatted}".rstrip()
        start = end + 1
    if "@file" not in text:
        lines[0] += " /** @file */"
    return "\n".join(lines) + "\n"


if __name__ == "__main__":
    sys.stdout.write(format_header(Path(sys.argv[1]).read_text(encoding="utf-8")))
