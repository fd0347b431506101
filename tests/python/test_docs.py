"""The examples in the documentation, with their output."""

import doctest
import pathlib

import melnar

PAGE = pathlib.Path(__file__).parents[2] / "docs" / "python.md"


def test_the_page_says_what_happens(tmp_path, monkeypatch):
    monkeypatch.chdir(tmp_path)
    (tmp_path / "dump.nt").write_text('<urn:Germany> <urn:label> "Germany" .\n<urn:Germany> <urn:label> "Deutschland"@de .\n')
    failed, tried = doctest.testfile(str(PAGE), module_relative=False, optionflags=doctest.ELLIPSIS)
    assert tried > 20 and failed == 0


def test_the_docstrings_say_what_happens():
    failed, tried = doctest.testmod(melnar)
    assert tried > 2 and failed == 0
