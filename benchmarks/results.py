"""What the benchmark programs write, Google Benchmark's JSON, as medians and spreads."""

import json
import math
import statistics

# Fields of a repetition that are Google Benchmark's own, not figures of ours.
OWN_FIELDS = {
    "name", "run_name", "run_type", "family_index", "per_family_instance_index", "repetitions", "repetition_index",
    "threads", "iterations", "real_time", "cpu_time", "time_unit", "error_occurred", "error_message",
}


class Figure:
    """The values that one quantity had in the repetitions of a benchmark."""

    def __init__(self, values):
        self.values = sorted(values)
        self.median = statistics.median(values)
        # The median distance from the median: one repetition that the machine has disturbed does not move it.
        self.spread = statistics.median(abs(value - self.median) for value in values)

    @property
    def least(self):
        return self.values[0]

    @property
    def most(self):
        return self.values[-1]


class Results:
    """One file of results: `figures[benchmark][quantity]`, and the machine and program they come from."""

    def __init__(self, path):
        document = json.loads(path.read_text(encoding="utf-8"))
        self.name = path.stem
        self.context = document["context"]
        values = {}
        self.failed = []
        for entry in document["benchmarks"]:
            if entry.get("run_type") != "iteration":
                continue
            name = entry["run_name"].removesuffix("/manual_time").removesuffix("/iterations:1")
            if entry.get("error_occurred"):
                self.failed.append(f"{name}: {entry.get('error_message')}")
                continue
            for quantity in entry.keys() - OWN_FIELDS:
                if math.isfinite(entry[quantity]):
                    values.setdefault(name, {}).setdefault(quantity, []).append(float(entry[quantity]))
                else:
                    self.failed.append(f"{name}: {quantity} is not finite")
        self.figures = {
            name: {quantity: Figure(numbers) for quantity, numbers in quantities.items()}
            for name, quantities in values.items()
        }

    def find(self, benchmark, quantity):
        """The figure, or None."""
        return self.figures.get(benchmark, {}).get(quantity)
