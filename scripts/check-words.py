#!/usr/bin/env python3
"""Checks the words of the tree.

It does not point at documents that a reader of this repository cannot open, nor at folders of one developer's machine.
In some folders, text also avoids phrases that docs/glossary.md replaces.
"""

import re
import subprocess
import sys
from pathlib import Path

# A class of one character keeps each pattern from matching this file.
FORBIDDEN = re.compile("|".join([
    r"\b[P]art [1-4]\.[0-9]\b",
    r"\b[s]pec\.md\b",
    r"\b[A-Za-z]+ [s]pecified (?:in|by) [P]art",
    r"\b[Aa]s [s]pecified\b",
    r"\b[Pp]er the [s]pec\b",
    r"\b[Tt]he [s]pec\b",
    r"\b[Ll]eft to the [i]mplementer\b",
    r"\b[S]pecification (?:says|requires|of this)\b",
    r"\b[s]pecification (?:says|requires|of this)\b",
    r"(?:^|[^a-zA-Z0-9_.])/(?:[w]ork|[f]arm)/",
]), re.MULTILINE)

# Where the phrases below are not allowed. A folder ends with a slash.
PLAIN_FOLDERS = ("README.md", "ARCHITECTURE.md", "CHANGELOG.md", "CONTRIBUTING.md", "docs/", "Engine/", "Melnar.h",
                 "melnar.h", "benchmarks/", "examples/", "python/", "Reader/", "tests/", "tools/")
# They list the phrases.
LISTS = ("docs/glossary.md", "tests/scripts/check_words_test.py")
# What separates two words: white space and, where a comment continues on the next line, its marker.
GAP = r"(?:\s|//+|\*|#)+"
PHRASES = re.compile(r"\b(?:" + "|".join(phrase.replace(" ", GAP) for phrase in [
    "at once",
    "at a stroke",
    "whoever",
    "(?:is|are|be) to be had",
    "roads?",
    "calls (?:every|each|all|a|an|the) [a-z]+ by",
    "one behind the other",
    "behind (?:it|them|that)",
    "(?:goes|go|going|comes?|came|follows?|stops?) (?:on )?behind",
    "takes? offence",
    "told apart",
    "for ever",
    "for want of",
    "in (?:its|the) midst",
    "somebody else",
    "nobody vouches",
    "as well as may be",
    "gets? by with",
    "(?:go|goes|going|gone) on with",
    "puts? aside",
]) + r")\b", re.IGNORECASE)


def find(pattern, name, text):
    return [f"{name}:{text.count(chr(10), 0, match.start()) + 1}: {' '.join(match[0].split())}"
            for match in pattern.finditer(text)]


def git(root, *arguments):
    # A checkout may belong to someone else than the user who checks it, as on a build machine.
    command = ["git", "-c", "safe.directory=*", "-C", str(root), *arguments]
    answer = subprocess.run(command, stdout=subprocess.PIPE, check=False)
    if answer.returncode != 0:
        sys.exit("words: git does not tell which files belong to the tree")
    return answer.stdout.decode()


def main():
    root = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).resolve().parent.parent
    names = git(root, "ls-files", "-z", "--cached", "--others", "--exclude-standard").split("\0")
    files = [name for name in names if name and (root / name).is_file()]
    found = []
    for name in files:
        found += [f"{name}: the name itself: {match[0]}" for match in FORBIDDEN.finditer(name)]
        text = (root / name).read_bytes().decode("utf-8", errors="replace")
        found += find(FORBIDDEN, name, text)
        if name.startswith(PLAIN_FOLDERS) and name not in LISTS:
            found += find(PHRASES, name, text)
    print("\n".join(found + [f"words: {len(files)} files, {len(found)} objections"]))
    sys.exit(1 if found or not files else 0)


if __name__ == "__main__":
    main()
