"""Loading RDF."""

import bz2
import gzip
import lzma
import os
import signal
import threading

import numpy
import pytest

import melnar

TRIPLES = """<urn:s> <urn:p> "one" .
<urn:s> <urn:p> "zwei"@de .
_:b <urn:p> "3"^^<http://www.w3.org/2001/XMLSchema#integer> .
<urn:s> <urn:p> "one" .
"""


@pytest.fixture
def file(tmp_path):
    path = tmp_path / "dump.nt"
    path.write_text(TRIPLES)
    return path


def test_terms_get_ids_in_the_order_of_the_file(file):
    d, rows = melnar.load(file, memory_limit="100M", rows=True)
    assert rows.dtype == numpy.uint64
    assert rows.tolist() == [[1, 2, 3], [1, 2, 4], [5, 2, 6], [1, 2, 3]]
    assert d.get(1) == melnar.Term("iri", "urn:s")
    assert d.decode(rows[0]) == ["urn:s", "urn:p", "one"]
    assert d.decode(rows, into="numpy")[1].tolist() == ["urn:s", "urn:p", "zwei"]
    assert d.get(6) == melnar.Term("literal", "3", None, "http://www.w3.org/2001/XMLSchema#integer")
    assert d.commit_point == 7
    assert d.lookup(["zwei"], lang="de").tolist() == [4]


@pytest.mark.parametrize("pack, extension", [(gzip.compress, ".gz"), (bz2.compress, ".bz2"), (lzma.compress, ".xz")])
def test_packed_files_are_unpacked(tmp_path, pack, extension):
    path = tmp_path / ("dump.nt" + extension)
    path.write_bytes(pack(TRIPLES.encode()))
    assert len(melnar.load(path, memory_limit="100M")) == 6


def test_several_files_and_folders(tmp_path, file):
    (tmp_path / "more.ttl").write_text('@base <urn:base/> . <a> <b> "two" .')
    assert len(melnar.load([file, str(tmp_path / "more.ttl")], memory_limit="100M")) == 9
    assert len(melnar.load(tmp_path, memory_limit="100M", threads=1)) == 9
    (tmp_path / "quads.nq").write_text('<urn:s> <urn:p> "q" <urn:g> .\n')
    _, rows = melnar.load(tmp_path, memory_limit="100M", rows=True)
    assert rows.shape == (6, 4)


def test_relative_iris_have_a_base(tmp_path):
    (tmp_path / "more.ttl").write_text('<a> <urn:p> "two" .')
    d = melnar.load(tmp_path / "more.ttl", memory_limit="100M", base="http://example.org/")
    assert melnar.Term("iri", "http://example.org/a") in d


def test_strings_alone(file):
    d = melnar.load(file, memory_limit="100M", strings_only=True)
    assert list(d) == ["one", melnar.Term("literal", "zwei", "de")]
    with pytest.raises(melnar.MisuseError):
        melnar.load(file, strings_only=True, rows=True)


def test_what_is_wrong_is_told(tmp_path, file):
    with pytest.raises(melnar.LoadError, match="nowhere.nt"):
        melnar.load(tmp_path / "nowhere.nt", memory_limit="100M")
    with pytest.raises(melnar.LoadError, match="dump.txt"):
        melnar.load("dump.txt", memory_limit="100M")
    wrong = tmp_path / "wrong.nt"
    wrong.write_text(TRIPLES + "<urn:s> <urn:p> .\n" + TRIPLES)
    with pytest.raises(melnar.LoadError, match="wrong.nt:5:") as caught:
        melnar.load(wrong, memory_limit="100M")
    assert isinstance(caught.value, ValueError)
    assert len(melnar.load(wrong, memory_limit="100M", lenient=True)) == 6
    large = tmp_path / "large.nt"
    large.write_text("".join(f'<urn:s> <urn:p> "{index:0100}" .\n' for index in range(100000)))
    with pytest.raises(melnar.OutOfMemoryError):
        melnar.load(large, memory_limit="4M")
    with pytest.raises(melnar.FullError, match="hold at most 2"):
        melnar.load(file, memory_limit="100M", maximum_size=2)


def test_progress_is_told(file, capsys):
    figures = []
    melnar.load(file, memory_limit="100M", progress=lambda **figure: figures.append(figure))
    assert figures[-1]["statements"] == 4 and figures[-1]["resources"] == 6
    assert figures[-1]["bytes_read"] == figures[-1]["total_bytes"] == os.path.getsize(file)
    assert figures[-1]["memory_in_use"] > 0
    melnar.load(file, memory_limit="100M", progress=True)
    assert capsys.readouterr().out == ""


def test_an_exception_of_the_progress_ends_the_load(file):
    def fail(**_):
        raise ZeroDivisionError

    with pytest.raises(ZeroDivisionError):
        melnar.load(file, memory_limit="100M", progress=fail)


def test_ctrl_c_ends_a_load(tmp_path):
    """The load waits for a pipe that gets no more data."""
    pipe = tmp_path / "pipe.nt"
    os.mkfifo(pipe)
    opened = threading.Event()
    interrupted = threading.Event()

    def write():
        with open(pipe, "wb", buffering=0) as file:
            file.write(TRIPLES.encode())
            opened.set()
            interrupted.wait(20)

    def interrupt(**_):
        if opened.is_set() and not interrupted.is_set():
            interrupted.set()
            signal.raise_signal(signal.SIGINT)

    thread = threading.Thread(target=write)
    thread.start()
    with pytest.raises(KeyboardInterrupt):
        melnar.load(pipe, memory_limit="100M", progress=interrupt)
    thread.join()
