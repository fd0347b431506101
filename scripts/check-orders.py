#!/usr/bin/env python3
"""Checks that tables of memory orders and atomic operations agree.

A header states its protocol in its class comment: numbered INVARIANTS, and MEMORY ORDERS as a table. An operation cites
a row in a comment of the same statement. A file belongs to a table of its own folder or of one below it. Without an
argument checks this repository, else the tree at that path.
"""

import re
import sys
from bisect import bisect_right
from collections import defaultdict
from itertools import groupby
from pathlib import Path

TOKEN = re.compile(r"""
    //[^\n]* | /\*.*?\*/                  # comments
    | "(?:\\.|[^"\\\n])*"                # texts
    | (?<![0-9a-fA-F])'(?:\\.|[^'\\\n])*'  # characters; a mark between digits opens none
    """, re.VERBOSE | re.DOTALL)

NAME = re.compile(r"\b[A-Z]\d+\b")
INVARIANT = re.compile(r"///\s+(?:INVARIANTS?\s+)?([A-Z]\d+)\s")
HEADING = re.compile(r"///\s+#\s+(operation\s+)(order\s+)(pairs with\s+)makes visible\s+checked by$")
ROW = re.compile(r"///\s+([A-Z]\d+)\s")
CHECKED_BY = ["schedules", "TSan", "argued"]  # by tests/schedules, alone and under ThreadSanitizer
ROW_ORDERS = {"relaxed", "acquire", "release", "acq_rel", "mutex"}

OPERATION = re.compile(r"""
    (?:\.|->)\s*(?P<member>load|store|exchange|fetch_\w+|compare_exchange_\w+|test_and_set)\s*\(
    | \b(?:__)?atomic_\w+\s*\(
    | \bloadEightBytes\s*\(
    """, re.VERBOSE)
ORDER = re.compile(r"\bmemory_order(?:_|::)(\w+)|\b__ATOMIC_(\w+)")
ATOMIC_MEMBER = re.compile(r"\b(?:std::atomic|Atomic)<[^<>]*>&?\s+([msg]_\w+)")
MUTEX_CALL = re.compile(r"\.(lock|unlock)\(\)")
BOUNDARY = re.compile(r"\b(?:if|while|for|switch)\s*(?:constexpr\s*)?\(|[()\[\]{};]")
PRIMITIVE = "Engine/core/platform/system/Atomic.h"  # where functions take orders
DOCUMENTED = re.compile(r"^\|[^|]*\|\s*`([\w/.-]+\.h)`\s*\|([^|]*)\|\s*$", re.MULTILINE)


class Source:
    """A file's comments by line, and its code with comments and texts blanked out where they were."""

    def __init__(self, path, text):
        self.path = path
        self.lines = text.split("\n")
        self.code = TOKEN.sub(lambda match: re.sub(r"[^\n]", " ", match[0]), text)
        self.line_starts = [0] + [match.end() for match in re.finditer("\n", text)]
        self.comments = defaultdict(str)
        for match in TOKEN.finditer(text):
            if match[0].startswith("/"):
                for offset, line in enumerate(match[0].split("\n")):
                    self.comments[self.line_of(match.start()) + offset] += line
        self.statement_ends = self.find_statement_ends()

    def line_of(self, position):
        return bisect_right(self.line_starts, position)

    def find_statement_ends(self):
        """Where statements end: at semicolons and braces, and after the head of an if or a loop."""
        ends = [0]
        opened = []
        for match in BOUNDARY.finditer(self.code):
            character = match[0][-1]
            if character in "([{":
                opened.append(match[0])
            elif character in ")]}" and opened:
                if len(opened.pop()) > 1:
                    ends.append(match.end())
            if character in "{}" or (character == ";" and (not opened or opened[-1] == "{")):
                ends.append(match.end())
        return ends + [len(self.code)]

    def statement_lines(self, begin, end):
        """The lines of the statement that spans these positions."""
        start = self.statement_ends[bisect_right(self.statement_ends, begin) - 1]
        start += len(self.code[start:]) - len(self.code[start:].lstrip())
        finish = self.statement_ends[min(bisect_right(self.statement_ends, end), len(self.statement_ends) - 1)]
        return range(self.line_of(min(start, begin)), self.line_of(finish - 1) + 1)

    def citations(self, lines):
        return {name for line in lines for name in NAME.findall(self.comments.get(line, ""))}

    def end_of_call(self, position):
        """The position of the parenthesis that closes the one before the position."""
        depth = 1
        while depth > 0 and position < len(self.code):
            depth += {"(": 1, ")": -1}.get(self.code[position], 0)
            position += 1
        return position - 1


class Row:
    def __init__(self, path, line, order, partners, checked_by):
        self.path = path
        self.line = line
        self.order = order
        self.partners = partners
        self.checked_by = checked_by
        self.is_cited = False

    def has_file(self, path):
        folder = path.rpartition("/")[0]
        return self.path.startswith(folder + "/")


class Checker:
    def __init__(self, root):
        self.root = root
        self.sources = self.read_sources("Engine")
        self.tests = self.read_sources("tests")
        self.rows = {}
        self.names = defaultdict(lambda: defaultdict(list))  # path -> "invariants" or "orders" -> names
        self.found = []

    def read_sources(self, folder):
        files = sorted(path for path in (self.root / folder).rglob("*") if path.suffix in (".h", ".cpp"))
        return [Source(path.relative_to(self.root).as_posix(), path.read_text(encoding="utf-8")) for path in files]

    def object(self, path, line, objection):
        self.found.append(f"{path}:{line}: {objection}")

    def read_invariants(self, source):
        is_inside = False
        for line in source.lines:
            is_inside = line.startswith("///") and line != "///" and (is_inside or "INVARIANT" in line)
            if is_inside and (match := INVARIANT.match(line)):
                self.names[source.path]["invariants"].append(match[1])

    def read_table(self, source, first_line):
        """Reads the table whose title stands in the line before."""
        heading = HEADING.match(source.lines[first_line - 1])
        if not heading:
            self.object(source.path, first_line, "a table of memory orders without its columns")
            return
        for number, line in enumerate(source.lines[first_line:], first_line + 1):
            match = ROW.match(line)
            if match:
                order = line[heading.start(2):heading.start(3)].strip()
                pairs = line[heading.start(3):heading.end(3)].strip()
                row = Row(source.path, number, order, [] if pairs == "-" else pairs.split(", "), line.split()[-1])
                self.names[source.path]["orders"].append(match[1])
                self.rows[match[1]] = row
                if order not in ROW_ORDERS:
                    self.object(source.path, number, f'{match[1]}: "{order}" is no memory order')
                if row.checked_by not in CHECKED_BY:
                    self.object(source.path, number, f'{match[1]}: nothing is checked by "{row.checked_by}"')
            elif line[3:heading.start(1)].strip() or not line[3:].strip():
                return  # The line does not continue a row.

    def check_names(self):
        """A letter numbers one list, from 1 on without a gap; partners name each other."""
        lists = defaultdict(lambda: defaultdict(list))  # letter -> its list -> numbers
        for path, kinds in self.names.items():
            for kind, names in kinds.items():
                for name in names:
                    lists[name[0]][f"the {kind} of {path}"].append(int(name[1:]))
        for letter, numbers in lists.items():
            if len(numbers) > 1:
                self.found.append(f"{letter} numbers more than one list: {', '.join(numbers)}")
            for owner, of_owner in numbers.items():
                if of_owner != list(range(1, len(of_owner) + 1)):
                    self.found.append(f"{letter} does not count from 1 on in {owner}")
        for name, row in self.rows.items():
            for partner in row.partners:
                if partner not in self.rows:
                    self.object(row.path, row.line, f'{name} pairs with "{partner}", which is no row')
                elif name not in self.rows[partner].partners:
                    self.object(row.path, row.line, f"{name} pairs with {partner}, but {partner} not with {name}")

    def find_operations(self, source):
        """The atomic operations: (line, lines of the statement, orders)."""
        for match in OPERATION.finditer(source.code):
            end = source.end_of_call(match.end())
            arguments = source.code[match.end():end]
            if source.path == PRIMITIVE and re.search(r"\border\b", arguments):
                continue  # The order is the caller's.
            while arguments != (outer := re.sub(r"\([^()]*\)", "", arguments)):
                arguments = outer
            orders = [first or second.lower() for first, second in ORDER.findall(arguments)]
            if match["member"] == "load" and not orders and arguments.strip():
                continue  # loads from a stream
            yield source.line_of(match.start()), source.statement_lines(match.start(), end), orders

    def check_operations(self, source):
        orders_of_statements = defaultdict(set)
        operations = 0
        for line, statement, orders in self.find_operations(source):
            operations += 1
            orders_of_statements[statement].update(orders)
            if not orders or "seq_cst" in orders:
                self.object(source.path, line, "an atomic operation without an order of its own")
            cited = {self.rows[name].order for name in source.citations(statement) if name in self.rows}
            for order in orders:
                if order not in cited | {"relaxed", "seq_cst"}:
                    self.object(source.path, line, f"{order}, but the statement cites no row with this order")
        for statement, orders in orders_of_statements.items():
            for name in sorted(source.citations(statement) & self.rows.keys()):
                row = self.rows[name]
                row.is_cited |= row.has_file(source.path)
                if row.order not in orders:
                    self.object(source.path, statement[0], f"{name} is {row.order}, but the operation is not")
        return operations

    def check_operators(self, source):
        """Operators on atomics have no order. Looks at members where they are declared and in files named alike."""
        for name in set(ATOMIC_MEMBER.findall(source.code)):
            use = re.compile(rf"(?:\+\+|--)\s*{name}\b|(?<![.>\w]){name}\s*(?:\+\+|--|[-+&|^]?=(?!=))")
            for other in self.sources:
                if other.path.startswith(source.path.rpartition(".")[0]):
                    for match in use.finditer(other.code):
                        self.object(other.path, other.line_of(match.start()), f"an operator on {name}, an atomic")

    def check_mutexes(self, source):
        """A row that a mutex orders is cited where the mutex is held."""
        calls = [(source.line_of(match.start()), match[1]) for match in MUTEX_CALL.finditer(source.code)]
        for line in list(source.comments):
            for name in source.citations([line]):
                row = self.rows.get(name)
                if row is None or row.order != "mutex" or not source.lines[line - 1].split("//")[0].strip():
                    continue
                row.is_cited |= row.has_file(source.path)
                before = [call for number, call in calls if number < line][-1:]
                after = [call for number, call in calls if number > line][:1]
                if before != ["lock"] or after != ["unlock"]:
                    self.object(source.path, line, f"{name} is cited where no mutex is held")

    def check_mentions(self, source):
        """A comment names no row or invariant that is gone."""
        names = {name for kinds in self.names.values() for of_kind in kinds.values() for name in of_kind}
        letters = {name[0] for name in names}
        for line, comment in source.comments.items():
            for name in NAME.findall(comment):
                if name[0] in letters and name not in names:
                    self.object(source.path, line, f"{name} is neither a row nor an invariant")

    def check_documents(self):
        text = (self.root / "ARCHITECTURE.md").read_text(encoding="utf-8")
        documented = {"Engine/core/" + path: numbers.strip() for path, numbers in DOCUMENTED.findall(text)}
        for path in sorted(documented.keys() | {row.path for row in self.rows.values()}):
            by_letter = groupby(self.names[path]["invariants"] + self.names[path]["orders"], lambda name: name[0])
            lists = [list(names) for _, names in by_letter]
            expected = ", ".join(f"{names[0]} to {names[-1]}" if len(names) > 1 else names[0] for names in lists)
            if path not in documented:
                self.found.append(f"ARCHITECTURE.md: {path} is missing, with {expected}")
            elif documented[path] != expected:
                self.found.append(f'ARCHITECTURE.md: {path} has "{expected}", not "{documented[path]}"')

    def read_tables(self):
        for source in self.sources:
            if source.path.endswith(".h"):
                self.read_invariants(source)
                for number, line in enumerate(source.lines, 1):
                    if re.match(r"///\s+MEMORY ORDERS\b", line):
                        self.read_table(source, number + 1)

    def run(self):
        self.read_tables()
        self.check_names()
        operations = 0
        for source in self.sources:
            operations += self.check_operations(source)
            self.check_operators(source)
            self.check_mutexes(source)
        for source in self.sources + self.tests:
            self.check_mentions(source)
        for name, row in self.rows.items():
            if not row.is_cited:
                self.object(row.path, row.line, f"{name} is cited at no operation of a file that belongs to it")
        self.check_documents()
        summary = f"orders: {len(self.rows)} rows, {operations} operations, {len(self.found)} objections"
        print("\n".join(self.found + [summary]))
        return not self.found and self.rows


if __name__ == "__main__":
    tree = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).resolve().parent.parent
    sys.exit(0 if Checker(tree).run() else 1)
