#!/usr/bin/env python3
"""check-exports.py LIBRARY HEADERS: checks that a shared library exports what its headers mark, and nothing else.

Every symbol must belong to a class, a function or a variable that a header below the folder HEADERS marks with
MELNAR_EXPORT or MELNAR_READER_EXPORT. The typeinfo of each exception must be there, or others could not catch it.
"""

import re
import subprocess
import sys
from pathlib import Path

MARK = r"MELNAR_(?:READER_)?EXPORT"
CLASS = re.compile(rf"^\s*(?:class|struct)\s+(?:alignas\(\w+\)\s+)?{MARK}\s+(?:alignas\(\w+\)\s+)?(\w+)")
FUNCTION = re.compile(rf"^\s*(?:\[\[\w+\]\]\s+)?{MARK}\s[^(;]*?(\w+)\(")
VARIABLE = re.compile(rf"^\s*{MARK}\s+extern\s[^(;]*?(\w+);")
NAMESPACE = re.compile(r"^\s*namespace ([\w:]+) \{")
NAMESPACE_END = re.compile(r"^\s*\} // namespace")

# What comes before the names in a mangled symbol: typeinfo, vtables, guards, functions around local variables, ...
PREFIX = re.compile(r"_Z(?:T[ISVTWH]|GV|Th\d+_|Tv\d+_n?\d+_)?Z?(?:N[rVKRO]*)?")

# AddressSanitizer's mark of a variable that is exported.
SANITIZERS_OWN = "__odr_asan."


def marked_names(folder):
    """The qualified names that the headers mark, as tuples."""
    names = set()
    for header in folder.rglob("*.h"):
        namespaces = []
        for line in header.read_text(encoding="utf-8").splitlines():
            if opening := NAMESPACE.match(line):
                namespaces.append(opening[1].split("::"))
            elif NAMESPACE_END.match(line):
                namespaces.pop()
            elif marked := CLASS.match(line) or FUNCTION.match(line) or VARIABLE.match(line):
                names.add((*sum(namespaces, []), marked[1]))
    return names


def leading_names(symbol):
    """The qualified name that a symbol begins with, as a tuple, as far as template arguments or parameters."""
    prefix = PREFIX.match(symbol)
    if not prefix:
        return (symbol,)
    rest = symbol[prefix.end():]
    names = []
    while length := re.match(r"[1-9][0-9]*", rest):
        end = length.end() + int(length[0])
        names.append(rest[length.end():end])
        rest = rest[end:]
    return tuple(names)


def main():
    library, folder = sys.argv[1], Path(sys.argv[2])
    marked = marked_names(folder)
    answer = subprocess.run(["nm", "-D", "--defined-only", library], stdout=subprocess.PIPE, check=True)
    symbols = [line.split()[2] for line in answer.stdout.decode().splitlines()]
    symbols = [symbol for symbol in symbols if not symbol.startswith(SANITIZERS_OWN)]
    found = [f"{symbol} is exported, but no header marks it" for symbol in symbols
             if not any(leading_names(symbol)[:length] in marked for length in range(1, 5))]
    if "engine" in library:
        found += [f"{symbol} is not exported" for symbol in
                  ("_ZTI15MelnarException", "_ZTI19SystemCallException", "_ZTI24MemoryExhaustedException",
                   "_ZTI22HashCollisionException", "_ZTI15ColumnException") if symbol not in symbols]
    print("\n".join(found + [f"exports: {len(symbols)} symbols, {len(marked)} names, {len(found)} objections"]))
    sys.exit(1 if found or not symbols or not marked else 0)


if __name__ == "__main__":
    main()
