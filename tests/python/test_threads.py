"""Python threads that use one dictionary and change shared lists."""

import gc
import sys
import threading

import pytest

import melnar


def run_together(*functions):
    """Runs each function in a thread; raises the exception of one of them."""
    start = threading.Barrier(len(functions))
    errors = []

    def run(function):
        try:
            start.wait()
            function()
        except BaseException as error:
            errors.append(error)

    threads = [threading.Thread(target=run, args=(function,)) for function in functions]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if errors:
        raise errors[0]


def test_threads_get_the_same_ids(d):
    strings = [f"text {index % 30000}" for index in range(60000)] + [f"日本 {index}" for index in range(5000)]
    results = [None] * 4

    def encode(number):
        order = strings if number % 2 == 0 else strings[::-1]
        ids = d.encode(order)
        assert d.decode(ids) == order
        results[number] = ids if number % 2 == 0 else ids[::-1]

    run_together(*(lambda number=number: encode(number) for number in range(4)))
    for result in results[1:]:
        assert (result == results[0]).all()
    assert len(d) == 35000
    assert sorted(d) == sorted(set(strings))


def test_commits_and_saves_come_between_encoders(d, tmp_path):
    is_done = threading.Event()

    def encode():
        try:
            for begin in range(0, 100000, 1000):
                d.encode([f"text {index}" for index in range(begin, begin + 1000)])
        finally:
            is_done.set()

    def commit():
        points = [1]
        while not is_done.is_set():
            points.append(d.commit())
            assert points[-1] >= points[-2]
            assert all(d.lookup([text])[0] == id for id, text in list(d.items())[:10])

    def save():
        while not is_done.is_set():
            d.save(tmp_path / "d")
            melnar.open(tmp_path / "d")

    run_together(encode, commit, save)
    assert len(d) == 100000


def test_rollbacks_come_between_chunks(d):
    def encode():
        for _ in range(20):
            d.encode([f"text {index}" for index in range(10000)])

    def roll_back():
        for _ in range(50):
            d.rollback()

    run_together(encode, encode, roll_back)
    d.rollback()
    assert len(d) == 0 and list(d) == []


def test_others_run_while_a_column_is_encoded(d):
    strings = [f"text {index}" for index in range(200000)]
    counted = 0
    is_done = threading.Event()

    def encode():
        d.encode(strings)
        is_done.set()

    def count():
        nonlocal counted
        while not is_done.is_set():
            counted += 1

    run_together(encode, count)
    assert counted > 0


def test_a_list_that_loses_its_strings_meanwhile(d):
    """The strings of a chunk stay alive when another thread removes them from the list."""
    old = sys.getswitchinterval()
    sys.setswitchinterval(1e-6)
    try:
        for _ in range(20):
            strings = [f"text number {index}" for index in range(20000)]
            expected = set(strings)

            def drop():
                for index in range(len(strings)):
                    strings[index] = "dropped"
                gc.collect()

            run_together(lambda: d.encode(strings), drop)
            assert set(d) <= expected | {"dropped"}
            d.rollback()
    finally:
        sys.setswitchinterval(old)


def test_a_list_that_changes_its_size_is_an_error(d):
    strings = [f"text {index}" for index in range(50000)]
    old = sys.getswitchinterval()
    sys.setswitchinterval(1e-6)
    stop = threading.Event()

    def change():
        while not stop.is_set():
            strings.append("more")
            del strings[-1]
            if len(strings) > 1:
                strings.pop(0)

    def encode():
        try:
            for _ in range(100):
                size = len(strings)
                try:
                    assert abs(len(d.encode(strings)) - size) < 50000
                except RuntimeError as error:
                    assert "changed its size" in str(error)
                    return
        finally:
            stop.set()

    try:
        run_together(encode, change)
    finally:
        sys.setswitchinterval(old)


def test_references_are_given_back(d):
    strings = [f"text {index}" for index in range(10000)] + ["ä" * 50]
    counts = [sys.getrefcount(string) for string in strings]
    ids = d.encode(strings)
    d.lookup(tuple(strings))
    with pytest.raises(TypeError):
        d.encode(strings + [7])
    assert [sys.getrefcount(string) for string in strings] == counts
    texts = d.decode(ids)
    assert all(sys.getrefcount(text) == 3 for text in texts)  # the list's, the loop's and the call's


def test_no_second_copy_stays_in_a_string(d):
    strings = ["ä" * 1000, "日" * 1000, "😀" * 1000]
    sizes = [sys.getsizeof(string) for string in strings]
    d.encode(strings)
    "ä" in d
    assert [sys.getsizeof(string) for string in strings] == sizes
