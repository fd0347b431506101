"""Encoding, looking up and decoding, compared with a dict that numbers the same strings."""

import copy
import os
import pickle
import random
import subprocess
import sys

import numpy
import pytest

import melnar

ALPHABETS = ["abcdefgh ", "äöüß€", "日本語\u0416", "😀\U0010ffff", "a\0b"]


def number(strings):
    """Returns the IDs from a dict."""
    ids = {}
    return [ids.setdefault(string, len(ids) + 1) for string in strings]


def make_strings(count, seed):
    generator = random.Random(seed)
    strings = []
    for _ in range(count):
        alphabet = generator.choice(ALPHABETS)
        strings.append("".join(generator.choices(alphabet, k=generator.choice([0, 1, 2, 3, 10, 100]))))
    return strings


@pytest.mark.parametrize("seed", range(5))
def test_a_dict_gives_the_same_ids(d, seed):
    strings = make_strings(20000, seed)
    ids = d.encode(strings)
    assert ids.dtype == numpy.uint64 and ids.shape == (20000,)
    assert ids.tolist() == number(strings)
    assert len(d) == len(set(strings))
    assert d.lookup(strings).tolist() == ids.tolist()
    assert d.decode(ids) == strings
    assert list(d) == list(dict.fromkeys(strings))
    assert dict(d.items()) == {id: string for string, id in zip(strings, ids.tolist())}


@pytest.mark.parametrize("container", [list, tuple, iter, lambda strings: (string for string in strings),
                                       lambda strings: dict.fromkeys(strings), lambda strings: numpy.array(strings),
                                       lambda strings: numpy.array(strings, dtype=object),
                                       lambda strings: numpy.array(strings, dtype=">U12"),
                                       lambda strings: numpy.array([[string, "x"] for string in strings])[:, 0],
                                       lambda strings: numpy.array([s.encode() for s in strings])])
def test_strings_come_in_any_container(d, container):
    strings = ["Germany", "Österreich", "日本", "😀", "", "a\0b"]
    assert d.encode(container(strings)).tolist() == [1, 2, 3, 4, 5, 6]
    assert d.lookup(container(strings)).tolist() == [1, 2, 3, 4, 5, 6]
    assert d.decode(range(1, 7)) == strings


def test_no_strings_are_a_column(d):
    assert d.encode([]).tolist() == []
    assert d.encode(numpy.array([], dtype=object)).shape == (0,)
    assert d.decode([]) == []
    assert d.decode([], into="numpy").shape == (0,)
    data, offsets = d.decode([], into="arrow")
    assert data.tolist() == [] and offsets.tolist() == [0]
    with pytest.raises(melnar.RefusedError):
        d.encode([], lang="no tag")


@pytest.mark.parametrize("what", ["text", b"bytes", bytearray(b"bytes"), 7, None, object()])
def test_what_is_no_column_is_a_type_error(d, what):
    with pytest.raises(TypeError):
        d.encode(what)


@pytest.mark.parametrize("strings", [["a", 7], ("a", None), numpy.array(["a", 7], dtype=object), ["a", b"b"]])
def test_what_is_no_str_is_a_type_error_with_the_index(d, strings):
    with pytest.raises(TypeError, match="Text 1 is not a str, but"):
        d.encode(strings)


def test_arrays_that_hold_no_column_of_texts_are_refused(d):
    with pytest.raises(TypeError, match="int64"):
        d.encode(numpy.array([1, 2]))
    with pytest.raises(ValueError, match="2 dimensions"):
        d.encode(numpy.array([["a"]]))


@pytest.mark.parametrize("position", [0, 5, 8191, 8192, 20000])
@pytest.mark.parametrize("bad", ["\ud800", "a\udfffb", "😀\ud83d"])
@pytest.mark.parametrize("make", [list, lambda strings: numpy.array(strings), lambda strings: numpy.array(strings, object)])
def test_a_surrogate_is_an_error_that_names_the_index(d, position, bad, make):
    strings = [f"text {index}" for index in range(20001)]
    strings[position] = bad
    for answer in (d.encode, d.lookup):
        with pytest.raises(melnar.NotUtf8Error, match=f"Text {position} ") as caught:
            answer(make(strings))
        assert caught.value.index == position
        assert isinstance(caught.value, UnicodeError)


def test_bytes_that_are_no_utf8_are_an_error_that_names_the_index(d):
    with pytest.raises(melnar.NotUtf8Error) as caught:
        d.encode(numpy.array([b"a", b"\xff"]))
    assert caught.value.index == 1


def test_long_strings_pass_beside_short_ones(d):
    strings = ["ä" * (3 << 20), "short", "ö" * (1 << 19), "b" * (3 << 20)] * 2 + ["ü" * 1000] * 3000
    assert d.encode(strings).tolist() == number(strings)
    assert d.decode([1, 3, 4]) == [strings[0], strings[2], strings[3]]


def test_subclasses_of_str_are_strings(d):
    class Name(str):
        pass

    assert d.encode([Name("a"), numpy.str_("b"), "a"]).tolist() == [1, 2, 1]


def test_language_tags_make_other_strings(d):
    assert d.encode(["Deutschland", "Österreich"], lang="de").tolist() == [1, 2]
    assert d.encode(["Deutschland"]).tolist() == [3]
    assert d.lookup(["Österreich", "Schweiz"], lang="de").tolist() == [2, 0]
    assert d.decode([1, 3]) == ["Deutschland", "Deutschland"]
    assert d.get(1) == melnar.Term("literal", "Deutschland", "de")
    for tag in ("no tag", "de@en", "-", "\ud800", "é"):
        with pytest.raises(melnar.RefusedError, match="no language tag|not a language tag"):
            d.encode(["x"], lang=tag)
    with pytest.raises(TypeError, match="language tag is a str, not bytes"):
        d.encode(["x"], lang=b"de")
    assert d.encode(["x"], lang="").tolist() == [4]
    assert d.get(4) == melnar.Term("literal", "x")


def test_decoding_has_three_forms(d):
    strings = make_strings(5000, 7)
    ids = d.encode(strings)
    assert d.decode(ids, into="list") == strings
    objects = d.decode(ids.reshape(50, 100), into="numpy")
    assert objects.shape == (50, 100) and objects.dtype == object
    assert objects.ravel().tolist() == strings
    data, offsets = d.decode(ids, into="arrow")
    assert data.dtype == numpy.uint8 and offsets.dtype == numpy.int64
    raw = data.tobytes()
    assert [raw[offsets[n]:offsets[n + 1]].decode() for n in range(5000)] == strings
    with pytest.raises(ValueError, match="'set'"):
        d.decode(ids, into="set")
    with pytest.raises(ValueError, match="2 dimensions"):
        d.decode(ids.reshape(50, 100))


@pytest.mark.parametrize("ids", [[2, 1], (2, 1), range(2, 0, -1), numpy.array([2, 1], dtype=numpy.int8),
                                 numpy.array([2, 9, 1, 9], dtype=">u4")[::2]])
def test_ids_come_in_any_container_of_integers(d, ids):
    d.encode(["one", "two"])
    assert d.decode(ids) == ["two", "one"]


def test_ids_that_are_none(d):
    d.encode(["one"])
    for ids, index in (([1, 2], 1), ([0], 0), ([1] * 9000 + [1 << 62], 9000)):
        for into in ("list", "numpy", "arrow"):
            with pytest.raises(melnar.NoSuchResourceError) as caught:
                d.decode(ids, into=into)
            assert caught.value.index == index
            assert isinstance(caught.value, LookupError)
    with pytest.raises(melnar.NoSuchResourceError):
        d.decode([-1])
    with pytest.raises(melnar.NoSuchResourceError):
        d.get(2)
    for ids in ([1.0], ["1"], [None], [True]):
        with pytest.raises(TypeError):
            d.decode(ids)


def test_membership(d):
    d.encode(["a"])
    d.encode(["b"], lang="en")
    d.encode_term(melnar.Term("iri", "urn:a"))
    assert "a" in d and "b" not in d and "\ud800" not in d
    assert melnar.Term("literal", "b", "en") in d
    assert melnar.Term("iri", "urn:a") in d and melnar.Term("iri", "urn:b") not in d
    for item in d:
        assert item in d
    with pytest.raises(TypeError):
        1 in d
    with pytest.raises(TypeError):
        b"a" in d


def test_terms(d):
    terms = [melnar.Term("iri", "http://example.org/ä"), melnar.Term("blank", "b0"), melnar.Term("literal", "text"),
             melnar.Term("literal", "7", None, "http://www.w3.org/2001/XMLSchema#integer"),
             melnar.Term("literal", "text", "ar", None, "rtl")]
    assert [d.encode_term(term) for term in terms] == [1, 2, 3, 4, 5]
    assert [d.lookup_term(term) for term in terms] == [1, 2, 3, 4, 5]
    assert [d.get(id) for id in range(1, 6)] == terms
    assert d.lookup_term(terms[0], commit_point=1) == 0
    assert list(d) == terms[:2] + ["text"] + terms[3:]
    assert d.decode([1, 2, 3, 4, 5]) == [term.text for term in terms]
    assert d.lookup_term(melnar.Term("iri", "urn:none")) == 0
    with pytest.raises(melnar.RefusedError):
        d.encode_term(melnar.Term("literal", "x", "de", "urn:datatype"))
    with pytest.raises(melnar.NotUtf8Error):
        d.encode_term(melnar.Term("iri", "\ud800"))
    for wrong in (melnar.Term("kind", "x"), melnar.Term("literal", "x", "de", None, "up")):
        with pytest.raises(ValueError):
            d.encode_term(wrong)
    for wrong in (("iri", "x"), melnar.Term("iri", 7), "iri"):
        with pytest.raises(TypeError):
            d.encode_term(wrong)
    assert len(d) == 5


def test_commit_and_rollback(d):
    assert d.commit_point == 1
    d.encode(["kept"])
    point = d.commit()
    assert point == 2 == d.commit_point
    d.encode(["dropped"])
    assert d.lookup(["kept", "dropped"]).tolist() == [1, 2]
    assert d.lookup(["kept", "dropped"], commit_point=point).tolist() == [1, 0]
    d.rollback()
    assert d.lookup(["kept", "dropped"]).tolist() == [1, 0]
    assert len(d) == 1 and list(d) == ["kept"]
    assert d.encode(["dropped"]).tolist() == [3]
    assert list(d.items()) == [(1, "kept"), (3, "dropped")]


def test_files(d, tmp_path):
    strings = make_strings(1000, 1)
    ids = d.encode(strings)
    d.commit()
    d.save(tmp_path / "d")
    opened = melnar.open(str(tmp_path / "d"), memory_limit="100M")
    assert opened.decode(ids) == strings
    assert opened.memory_limit == 100 << 20
    with pytest.raises(melnar.SystemCallError) as caught:
        melnar.open(tmp_path / "none")
    assert isinstance(caught.value, OSError)
    with pytest.raises(melnar.SystemCallError):
        d.save(tmp_path / "none" / "d")
    damaged = bytearray((tmp_path / "d").read_bytes())
    damaged[100] ^= 1
    (tmp_path / "d").write_bytes(damaged)
    with pytest.raises(melnar.DamagedFileError):
        melnar.open(tmp_path / "d")


def test_file_names_may_be_any_bytes(d, tmp_path):
    name = os.fsencode(tmp_path) + b"/\xff"
    d.encode(["text"])
    for path in (name, os.fsdecode(name)):
        d.save(path)
        assert len(melnar.open(path)) == 1
    with pytest.raises(melnar.SystemCallError):
        melnar.open(name + b"x")
    with pytest.raises(melnar.LoadError):
        melnar.load(name + b"x")


def test_a_file_name_has_no_zero_byte(d, tmp_path):
    name = os.fspath(tmp_path / "d") + "\0x"
    for call in (d.save, melnar.open, melnar.load):
        with pytest.raises(ValueError, match="zero byte"):
            call(name)
    assert not list(tmp_path.iterdir())


def test_a_daemon_thread_does_not_disturb_the_end_of_the_process():
    program = """if True:
        import melnar, threading, time
        d = melnar.Dictionary(memory_limit="64M")
        ids = d.encode([str(number) for number in range(20000)])
        def work():
            while True:
                d.decode(ids)
        for _ in range(4):
            threading.Thread(target=work, daemon=True).start()
        time.sleep(0.2)
        print("done")
    """
    ended = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=60)
    assert (ended.returncode, ended.stdout, ended.stderr) == (0, "done\n", "")


def test_limits():
    d = melnar.Dictionary(memory_limit="64M", maximum_size=2)
    with pytest.raises(melnar.FullError) as caught:
        d.encode(["a", "b", "c"])
    assert caught.value.index == 2
    assert list(d) == ["a", "b"]
    d = melnar.Dictionary(memory_limit=2 << 20)
    with pytest.raises(melnar.OutOfMemoryError) as caught:
        d.encode([f"{index:030}" for index in range(100000)])
    assert isinstance(caught.value, MemoryError)
    assert 1000 < caught.value.index < 100000
    assert d.lookup([f"{index:030}" for index in range(1000)]).tolist() == list(range(1, 1001))
    assert d.memory_in_use <= 2 << 20
    for limit in ("", "4X", "G", "-1", "1.5G", "٣", 0, -1, 1 << 64):
        with pytest.raises(melnar.MisuseError):
            melnar.Dictionary(memory_limit=limit)
    for limit in (1.5, None, True):
        with pytest.raises(TypeError):
            melnar.Dictionary(memory_limit=limit)
    assert melnar.Dictionary(memory_limit="65536k").memory_limit == 64 << 20
    with pytest.raises(melnar.MisuseError):
        melnar.Dictionary(maximum_size=1 << 50)


def test_a_dictionary_is_not_pickled_or_copied(d):
    for attempt in (pickle.dumps, copy.copy, copy.deepcopy):
        with pytest.raises(TypeError, match="not pickled.*Save it to a file"):
            attempt(d)


def test_an_empty_dictionary_is_true_and_described(d):
    assert d and len(d) == 0
    assert repr(d).startswith("<melnar.Dictionary of 0 resources")


def test_errors_are_pickled_with_their_index(d):
    with pytest.raises(melnar.Error) as caught:
        d.decode([1])
    copied = pickle.loads(pickle.dumps(caught.value))
    assert type(copied) is melnar.NoSuchResourceError and copied.index == 0 and str(copied) == str(caught.value)


def test_the_version_is_that_of_the_library():
    assert len(melnar.__version__.split(".")) == 3


def test_everything_public_is_documented_and_in_the_stub():
    import ast
    import pathlib
    stub = ast.parse((pathlib.Path(melnar.__file__).parent / "__init__.pyi").read_text())
    in_stub = {node.name: node for node in stub.body if isinstance(node, (ast.ClassDef, ast.FunctionDef))}
    for name in melnar.__all__:
        assert getattr(melnar, name).__doc__, name
        assert name in in_stub, name
    methods = {node.name for node in in_stub["Dictionary"].body if isinstance(node, ast.FunctionDef)}
    for name, value in vars(melnar.Dictionary).items():
        if not name.startswith("_"):
            assert value.__doc__ and name in methods, name
    assert (pathlib.Path(melnar.__file__).parent / "py.typed").exists()
