"""The list of accepted survivors: mutants that no test can notice, each with the reason."""

import sys

FIELDS = ("file", "in", "line", "change", "reason")


def describe(mutant):
    """A mutant as the list has it, without a reason."""
    return "\n".join(f"{field}: {value}" for field, value in zip(FIELDS, mutant.key()))


def read(path):
    """The reasons by key of mutant. Paragraphs of lines with `#` are comments; other ones have all fields."""
    reasons = {}
    if not path.exists():
        return reasons
    for paragraph in path.read_text(encoding="utf-8").split("\n\n"):
        lines = [line for line in paragraph.splitlines() if line and not line.startswith("#")]
        if not lines:
            continue
        pairs = [line.partition(": ") for line in lines]
        values = tuple(value for _, _, value in pairs)
        if tuple(field for field, _, _ in pairs) != FIELDS or not all(values):
            sys.exit(f"{path.name}: an entry needs the lines {', '.join(FIELDS)}, in this order:\n{paragraph}")
        if values[:-1] in reasons:
            sys.exit(f"{path.name}: twice:\n{paragraph}")
        reasons[values[:-1]] = values[-1]
    return reasons
