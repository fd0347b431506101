#!/usr/bin/env python3
"""Compares melnar with a dict that numbers the same strings, and with the list that returns them.

    PYTHONPATH=build/python/python /usr/bin/python3 benchmarks/python_strings.py [--strings N] [--repeats R]

Each measurement has its own process, which makes the strings first: all distinct, or each one twice, in random order.
Times are processor times, the minimum of the repeats; all ways use one thread. Memory is what the process holds at its
end in addition to the strings, read from /proc/self/statm. The results of all ways are compared.
"""

import argparse
import itertools
import json
import random
import subprocess
import sys
import time
from collections import defaultdict

PAGE = 4096


def make_strings(count, times):
    """Makes `count` strings, each of them `times` times, of 16 to 45 bytes; one in ten is not ASCII. In memory they
    have the order of the list, as if they had been read from a file."""
    generator = random.Random(1)
    order = [index // times for index in range(count)]
    generator.shuffle(order)
    return [f"http://example.org/{'ä' if index % 10 == 0 else 'a'}/{index * 0x9E3779B97F4A7C15 % (1 << 64):x}"[index % 7:]
            for index in order]


def resident():
    with open("/proc/self/statm") as statm:
        return int(statm.read().split()[1]) * PAGE


class Clock:
    """Measures the body of a `with` statement."""

    def __enter__(self):
        self.memory = resident()
        self.start = time.process_time()
        return self

    def __exit__(self, *_):
        self.seconds = time.process_time() - self.start
        self.memory = resident() - self.memory


def number_by_loop(strings):
    ids = {}
    return ids, [ids.setdefault(string, len(ids) + 1) for string in strings]


def number_by_counter(strings):
    """The fastest known way in plain Python."""
    ids = defaultdict(itertools.count(1).__next__)
    return ids, list(map(ids.__getitem__, strings))


def encode(strings):
    import melnar
    dictionary = melnar.Dictionary(memory_limit="8G")
    return dictionary, dictionary.encode(strings)


def measure_encoding(way, count, times):
    import melnar  # loading it is not part of the measurement
    strings = make_strings(count, times)
    ways = {"dict": number_by_loop, "defaultdict": number_by_counter, "melnar": encode}
    with Clock() as clock:
        made, ids = ways[way](strings)
    del made
    return {"seconds": clock.seconds, "memory": clock.memory, "check": int(sum(map(int, ids))),
            "text": sum(len(string.encode()) for string in set(strings)),
            "strings": sum(map(sys.getsizeof, set(strings)))}


def measure_decoding(way, count, is_shuffled):
    import melnar
    import numpy
    strings = make_strings(count, 1)
    ids = list(range(1, count + 1))
    if is_shuffled:
        random.Random(2).shuffle(ids)
    if way == "melnar":
        dictionary = melnar.Dictionary(memory_limit="8G")
        dictionary.encode(strings)
        del strings
        ids = numpy.array(ids, dtype=numpy.uint64)
        with Clock() as clock:
            decoded = dictionary.decode(ids)
    else:
        table = [None] + strings
        with Clock() as clock:
            decoded = [table[id] for id in ids]
    return {"seconds": clock.seconds, "memory": clock.memory, "check": sum(map(len, decoded))}


def run(repeats, *arguments):
    """Returns the minimum time, and the memory, of a measurement in separate processes."""
    results = []
    for _ in range(repeats):
        done = subprocess.run([sys.executable, "-B", __file__, "--measure", json.dumps(arguments)], check=True,
                              stdout=subprocess.PIPE)
        results.append(json.loads(done.stdout))
    return min(results, key=lambda result: result["seconds"])


def main():
    parser = argparse.ArgumentParser(usage=__doc__.partition("\n\n")[2])
    parser.add_argument("--strings", type=int, default=10_000_000)
    parser.add_argument("--repeats", type=int, default=3)
    parser.add_argument("--measure", type=json.loads, help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.measure:
        what, *arguments = options.measure
        print(json.dumps({"encode": measure_encoding, "decode": measure_decoding}[what](*arguments)))
        return

    for times in (1, 2):
        print(f"{options.strings:,} strings, " + ("all distinct" if times == 1 else f"each {times} times"))
        results = {way: run(options.repeats, "encode", way, options.strings, times)
                   for way in ("dict", "defaultdict", "melnar")}
        assert len({result["check"] for result in results.values()}) == 1, "the ways differ in their IDs"
        plain = results["dict"]
        for way, result in results.items():
            print(f"  encode  {way:12}{result['seconds']:7.2f} s {result['seconds'] / plain['seconds']:5.2f}"
                  f"{result['memory'] / 1e6:8.0f} MB {result['memory'] / plain['memory']:5.2f}")
        made = results["melnar"]
        rest = made["memory"] - made["text"]
        with_strings = plain["memory"] + made["strings"]
        print(f"          less its {made['text'] / 1e6:4.0f} MB of text{rest / 1e6:17.0f} MB {rest / plain['memory']:5.2f}")
        print(f"          beside a dict with its strings{with_strings / 1e6:12.0f} MB {made['memory'] / with_strings:5.2f}")
    for is_shuffled in (False, True):
        results = {way: run(options.repeats, "decode", way, options.strings, is_shuffled) for way in ("list", "melnar")}
        assert len({result["check"] for result in results.values()}) == 1, "the ways differ in their texts"
        plain = results["list"]
        for way, result in results.items():
            print(f"  decode  {way:12}{result['seconds']:7.2f} s {result['seconds'] / plain['seconds']:5.2f}"
                  f"   IDs in {'random order' if is_shuffled else 'order'}")


if __name__ == "__main__":
    main()
