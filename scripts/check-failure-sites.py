#!/usr/bin/env python3
"""Checks that every failure of the engine has a name and a number that stay when code moves.

A throw names its place by two constants: the source path (SOURCE_FILE, or X_SOURCE_FILE where a header tells its own)
and a line that was assigned once (LINE_...). A number belongs to one throw of its source path, __LINE__ to none.
"""

import re
import sys
from collections import defaultdict
from pathlib import Path

TOKEN = re.compile(r"""
    //[^\n]* | /\*.*?\*/                  # comments
    | "(?:\\.|[^"\\\n])*"                # texts
    | (?<![0-9a-fA-F])'(?:\\.|[^'\\\n])*'  # characters; a mark between digits opens none
    """, re.VERBOSE | re.DOTALL)

CONSTANT = re.compile(r"""
    \b(?:\w+_)?SOURCE_FILE\b(?:\[\])?\s*[={]\s*"(?P<source>[^"]*)"
    | \b(?P<name>LINE_\w+)\s*[={]\s*(?P<number>\d[\d']*)
    """, re.VERBOSE)
THROW = re.compile(r"\bthrow\b\s*([^;]*)")
# The line may also come from the caller of a check that several operations share, which passes its own constants.
SITE = re.compile(r"""
    (?:::)?[\w:]+\s*[({]\s*
    (?:(?:FailureKind::\w+|\w+\.getKind\(\))\s*,\s*)?
    (?:\w+::)*(?:\w+_)?SOURCE_FILE\s*,\s*
    (?:(?:\w+::)*LINE_\w+ | failureLines?(?:\.m_\w+)?)\s*,
    """, re.VERBOSE)
# The system allocator's refusal is passed on as the standard library would.
STANDARD_SITE = re.compile(r"std::bad_alloc\s*[({]")
LINE_MACRO = re.compile(r"\b__LINE__\b|\bsource_location\b")


def without_comments(text):
    """The text with comments blanked out, line by line where it was; texts stay, since constants are made of them."""
    return TOKEN.sub(lambda match: re.sub(r"[^\n]", " ", match[0]) if match[0][0] == "/" else match[0], text)


def without_texts(code):
    """The code with texts and characters blanked out."""
    return TOKEN.sub(lambda match: match[0][0] + " " * (len(match[0]) - 2) + match[0][-1], code)


class Checker:
    def __init__(self, root):
        self.root = root
        files = sorted(path for path in (root / "Engine").rglob("*") if path.suffix in (".h", ".cpp"))
        self.codes = {path.relative_to(root).as_posix(): without_comments(path.read_text(encoding="utf-8"))
                      for path in files}
        self.found = []

    def object(self, path, position, objection):
        line = self.codes[path].count("\n", 0, position) + 1
        self.found.append(f"{path}:{line}: {objection}")

    def check_constants(self):
        """Every number belongs to the source path named last before it, and to one failure of that path."""
        stems = {path.rpartition(".")[0] for path in self.codes}
        numbers = defaultdict(dict)  # source path -> number -> where that number is assigned
        declared = defaultdict(list)  # name -> where it is declared
        for path, code in self.codes.items():
            source = None
            for match in CONSTANT.finditer(code):
                if match["source"] is not None:
                    source = match["source"]
                    if source not in stems:
                        self.object(path, match.start(), f'"{source}" is not the path of a source, less its extension')
                elif source is None:
                    self.object(path, match.start(), f"{match['name']} is assigned before any SOURCE_FILE")
                else:
                    declared[match["name"]].append((path, match.start()))
                    number = int(match["number"].replace("'", ""))
                    other = numbers[source].setdefault(number, f"{match['name']} in {path}")
                    if other != f"{match['name']} in {path}":
                        self.object(path, match.start(), f"{number} of {source} is already that of {other}")
        self.check_uses(declared)
        return sum(len(of_source) for of_source in numbers.values())

    def check_uses(self, declared):
        for name, places in declared.items():
            word = re.compile(rf"\b{name}\b")
            declaring = {path for path, _ in places}
            elsewhere = sum(len(word.findall(code)) for path, code in self.codes.items() if path not in declaring)
            for path, position in places:
                uses = elsewhere + len(word.findall(self.codes[path])) - 1
                if uses != 1:
                    self.object(path, position, f"{name} must name one failure, but stands at {uses} places")

    def check_throws(self):
        throws = 0
        for path, code in self.codes.items():
            code = without_texts(code)
            for macro in LINE_MACRO.finditer(code):
                self.object(path, macro.start(), f"{macro[0]} changes when code moves")
            for throw in THROW.finditer(code):
                if throw[1].strip():  # else it passes on what was caught
                    throws += 1
                    if not SITE.match(throw[1]) and not STANDARD_SITE.match(throw[1]):
                        self.object(path, throw.start(), "a throw without a SOURCE_FILE and a LINE_ constant")
        return throws

    def run(self):
        numbers = self.check_constants()
        throws = self.check_throws()
        summary = f"failure sites: {throws} throws, {numbers} numbers, {len(self.found)} objections"
        print("\n".join(self.found + [summary]))
        return not self.found and throws > 0


if __name__ == "__main__":
    sys.exit(0 if Checker(Path(__file__).resolve().parent.parent).run() else 1)
