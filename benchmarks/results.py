"""Medians and spreads of the output of benchmark programs, which is Google Benchmark's JSON."""

import json
import math
import statistics

# Fields of a repetition that belong to Google Benchmark and are not our figures.
OWN_FIELDS = {
    "name", "run_name", "run_type", "family_index", "per_family_instance_index", "repetitions", "repetition_index",
    "threads", "iterations", "real_time", "cpu_time", "time_unit", "error_occurred", "error_message",
}


class Figure:
    """The values of one quantity in the repetitions of a benchmark."""

    def __init__(self, values):
        self.values = sorted(values)
        self.median = statistics.median(values)
        # The median absolute deviation: one disturbed repetition does not change it.
        self.spread = statistics.median(abs(value - self.median) for value in values)

    @property
    def least(self):
        return self.values[0]

    @property
    def most(self):
        return self.values[-1]


class Results:
    """One file of results: `figures[benchmark][quantity]`, and their machine and program."""

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
        """Returns the figure, or None."""
        return self.figures.get(benchmark, {}).get(quantity)
