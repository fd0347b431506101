"""Columns through Arrow's C data interface."""

import re

import pytest

import melnar
from arrow_producer import ArrowArray

STRINGS = ["Germany", "", "Österreich", "日本", "😀", "Germany"]


@pytest.mark.parametrize("large", [False, True])
@pytest.mark.parametrize("offset", [0, 3, 9])
def test_strings_are_read(d, large, offset):
    array = ArrowArray(STRINGS, large, offset)
    assert d.encode(array).tolist() == [1, 2, 3, 4, 5, 1]
    assert d.lookup(array, lang="de").tolist() == [0] * 6
    assert d.lookup(array).tolist() == [1, 2, 3, 4, 5, 1]
    assert d.decode([1, 2, 3, 4, 5]) == STRINGS[:5]


def test_long_columns_are_read(d):
    strings = [f"text {index}" for index in range(30000)]
    assert d.encode(ArrowArray(strings)).tolist() == list(range(1, 30001))
    assert d.encode(ArrowArray([])).tolist() == []


@pytest.mark.parametrize("position", [0, 7, 8, 20000])
def test_null_is_a_type_error_with_the_index(d, position):
    strings = ["text"] * 20001
    strings[position] = None
    with pytest.raises(TypeError, match=f"Text {position} is null"):
        d.encode(ArrowArray(strings, offset=5))


def test_bytes_that_are_no_utf8_are_an_error_with_the_index(d):
    with pytest.raises(melnar.NotUtf8Error) as caught:
        d.encode(ArrowArray(["a", b"\xc3"]))
    assert caught.value.index == 1
    with pytest.raises(melnar.NotUtf8Error):
        d.encode(ArrowArray(["\ud800"]))


@pytest.mark.parametrize("format", [b"i", b"z", b"vu", b"+l"])
def test_other_types_are_refused(d, format):
    with pytest.raises(TypeError, match=re.escape(format.decode())):
        d.encode(ArrowArray(["a"], format=format))


def test_dictionary_encoded_arrays_are_refused(d):
    array = ArrowArray(["a"])
    array.schema.dictionary = 1
    with pytest.raises(TypeError, match="dictionary"):
        d.encode(array)


def test_damaged_and_released_arrays_are_refused(d):
    array = ArrowArray(["a", "b"])
    array.offsets[1] = 7
    with pytest.raises(ValueError, match="offsets of text 1"):
        d.encode(array)
    array.offsets[0] = -1
    with pytest.raises(ValueError, match="offsets of text 0"):
        d.encode(array)
    array.array.length = -1
    with pytest.raises(ValueError):
        d.encode(array)
    array = ArrowArray(["a"])
    array.array.release = type(array.array_release)()
    with pytest.raises(ValueError, match="released"):
        d.encode(array)


def test_a_producer_that_returns_no_pair_is_refused(d):
    class Producer:
        def __init__(self, made):
            self.made = made

        def __arrow_c_array__(self, requested_schema=None):
            return self.made

    for made in ((), (1, 2)):
        with pytest.raises((TypeError, ValueError)):
            d.encode(Producer(made))
