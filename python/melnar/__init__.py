"""A string dictionary: gives strings and other RDF terms dense numeric IDs, and returns the strings of IDs.

    >>> import melnar
    >>> d = melnar.Dictionary(memory_limit="1G")
    >>> d.encode(["Germany", "France", "Germany"])
    array([1, 2, 1], dtype=uint64)
    >>> d.decode([2, 1])
    ['France', 'Germany']

IDs count from 1; 0 means no resource. Any thread may call any function at any time. Work on the dictionary itself runs
without the global interpreter lock.
"""

import os
import sys
import time

import numpy

from melnar import _native
from melnar._types import (DamagedFileError, Error, FullError, InUseError, LoadError, MisuseError, NoSuchResourceError,
                           NotUtf8Error, OutOfMemoryError, RefusedError, SystemCallError, Term)

__version__ = _native.version()

__all__ = [
    "DamagedFileError", "Dictionary", "Error", "FullError", "InUseError", "LoadError", "MisuseError", "NoSuchResourceError",
    "NotUtf8Error", "OutOfMemoryError", "RefusedError", "SystemCallError", "Term", "load", "open"
]

for _class in (DamagedFileError, Error, FullError, InUseError, LoadError, MisuseError, NoSuchResourceError, NotUtf8Error,
               OutOfMemoryError, RefusedError, SystemCallError, Term):
    _class.__module__ = __name__  # the public name

_UNITS = {"": 0, "K": 10, "M": 20, "G": 30, "T": 40}


def _bytes(limit):
    """Returns the number of bytes of a limit such as 4096, "512M" or "4G"."""
    if isinstance(limit, str):
        digits = limit.rstrip("KMGTkmgt")
        unit = limit[len(digits):].upper()
        if not (digits.isascii() and digits.isdigit()) or unit not in _UNITS:
            raise MisuseError(f"A memory limit is a number of bytes, or one such as '512M' or '4G', not {limit!r}.")
        limit = int(digits) << _UNITS[unit]
    if isinstance(limit, bool) or not isinstance(limit, int):
        raise TypeError(f"A memory limit is an int or a str, not {type(limit).__name__}.")
    if not 0 < limit < 1 << 64:
        raise MisuseError(f"A memory limit cannot be {limit} bytes.")
    return limit


def _tag(lang):
    """Returns a language tag as bytes."""
    if lang is None:
        return None
    if not isinstance(lang, str):
        raise TypeError(f"A language tag is a str, not {type(lang).__name__}.")
    return lang.encode(errors="replace")  # If it is not UTF-8, it gets a question mark, and so is refused.


def _path(path):
    """Returns the name of a file as bytes."""
    name = os.fsencode(path)
    if b"\0" in name:
        raise ValueError("The name of a file has a zero byte.")
    return name


def _ids(ids):
    """Returns IDs as a contiguous array of uint64."""
    array = numpy.asarray(ids)
    if array.size and array.dtype.kind not in "iu":
        raise TypeError(f"IDs are integers, not {array.dtype}.")
    if array.dtype.kind == "i" and array.size and array.min() < 0:
        raise NoSuchResourceError("There is no resource with a negative ID.")
    return numpy.ascontiguousarray(array, dtype=numpy.uint64)


class Dictionary:
    """Gives strings numeric IDs, and returns the strings of IDs.

    `memory_limit` is the memory that the dictionary may take, in bytes or as in "512M" and "4G". `maximum_size` is the
    largest number of resources; up to 4294967293, the default, the hash tables need 4 bytes per bucket instead of 8.
    """

    __slots__ = ("_native", "__weakref__")

    def __init__(self, memory_limit="4G", maximum_size=None):
        self._native = _native.Dictionary.make(_bytes(memory_limit), maximum_size)

    @classmethod
    def _of(cls, native):
        dictionary = cls.__new__(cls)
        dictionary._native = native
        return dictionary

    def encode(self, strings, lang=None):
        """Returns the IDs of strings as an array of uint64; creates missing ones, in their order.

        `strings` is an iterable of str, an array of NumPy (objects, str or bytes of UTF-8), or an object with Arrow's
        `__arrow_c_array__` (string or large_string). All have the language tag `lang`, if it is given. Errors name the
        index of the first string that failed; those before it are encoded.
        """
        return self._native.encode(strings, _tag(lang))

    def lookup(self, strings, lang=None, commit_point=None):
        """Returns the IDs of strings, 0 for absent ones. Creates nothing.

        Finds all strings, or only those that `commit_point` covers, which `commit` returns. Otherwise as `encode`.
        """
        return self._native.lookup(strings, _tag(lang), commit_point)

    def decode(self, ids, into="list"):
        """Returns the texts of resources, without language tags.

        `into` is "list" for a list of str, "numpy" for an array of objects in the shape of `ids`, or "arrow" for a pair
        (bytes, offsets) of arrays, where text n is the bytes from offsets[n] to offsets[n + 1].
        """
        array = _ids(ids)
        if into == "numpy":
            return self._native.decode_to_objects(array)
        if array.ndim != 1:
            raise ValueError(f"IDs have {array.ndim} dimensions instead of 1.")
        if into == "list":
            return self._native.decode_to_list(array)
        if into == "arrow":
            return self._native.decode_to_arrow(array)
        raise ValueError(f"A column is decoded into 'list', 'numpy' or 'arrow', not into {into!r}.")

    def get(self, id):
        """Returns the Term of a resource, with its kind, language tag and datatype."""
        return self._native.get(int(_ids([id])[0]))

    def encode_term(self, term):
        """Returns the ID of a Term; creates the resource if there is none."""
        return self._native.encode_term(term)

    def lookup_term(self, term, commit_point=None):
        """Returns the ID of a Term, or 0. `commit_point` is as in `lookup`."""
        return self._native.lookup_term(term, commit_point)

    def commit(self):
        """Moves the commit point past everything encoded so far, and returns it."""
        return self._native.commit()

    def rollback(self):
        """Withdraws every resource since the last commit. Their IDs are not reused."""
        self._native.rollback()

    def save(self, path):
        """Writes everything to a file, atomically: an old file is replaced as a whole or not at all."""
        self._native.save(_path(path))

    @property
    def commit_point(self):
        """The commit point of the last commit: the first ID that is not committed."""
        return self._native.commit_point()

    @property
    def memory_in_use(self):
        """The bytes of memory that the dictionary has taken, all of them counted against the limit."""
        return self._native.memory_in_use()

    @property
    def memory_limit(self):
        """The bytes of memory that the dictionary may take."""
        return self._native.memory_limit()

    def items(self):
        """Iterates over pairs of an ID and its str, or its Term if it is no string, in the order of IDs.

        Resources that are created during the iteration may be included or not.
        """
        first = 1
        while True:
            first, items = self._native.items(first)
            if not items:
                return
            yield from items

    def __iter__(self):
        """Iterates over the items of the dictionary: a str for each string, a Term for everything else."""
        return (item for _, item in self.items())

    def __contains__(self, item):
        """Returns whether a str, which means a string without a language tag, or a Term has an ID."""
        return self._native.contains(item)

    def __len__(self):
        """Returns the number of resources, committed or not."""
        return self._native.size()

    def __bool__(self):
        return True

    def __repr__(self):
        return f"<melnar.Dictionary of {len(self)} resources, {self.memory_in_use} of {self.memory_limit} bytes>"

    def __reduce_ex__(self, protocol):
        raise TypeError("A melnar.Dictionary is not pickled: it belongs to this process, and may be too large to send. "
                        "Save it to a file, which any number of processes can open.")


def open(path, memory_limit="4G"):
    """Opens a saved dictionary, which may take up to `memory_limit` bytes. The file is not needed afterwards."""
    return Dictionary._of(_native.Dictionary.open(_path(path), _bytes(memory_limit)))


class _ProgressLine:
    """Writes the progress of a load to standard error, in one line that it rewrites."""

    PERIOD = 0.5

    def __init__(self):
        self._last = time.monotonic()
        self._width = 0

    def __call__(self, bytes_read, total_bytes, statements, resources, memory_in_use):
        if time.monotonic() - self._last < self.PERIOD:
            return
        self._last = time.monotonic()
        share = f"{100 * bytes_read // total_bytes}%, " if total_bytes else ""
        line = f"loading: {share}{statements:,} statements, {resources:,} resources, {memory_in_use >> 20:,} MiB"
        sys.stderr.write("\r" + line.ljust(self._width))
        sys.stderr.flush()
        self._width = len(line)

    def end(self):
        if self._width:
            sys.stderr.write("\r" + " " * self._width + "\r")
            sys.stderr.flush()


def load(files, *, memory_limit="4G", maximum_size=None, threads=0, strings_only=False, rows=False, lenient=False,
         base="", progress=False):
    """Loads RDF into a new dictionary and commits it.

    `files` is a path or an iterable of paths: N-Triples, N-Quads, Turtle or TriG by their extensions, plain or
    compressed with gzip, bzip2, xz or zstd, or folders of such files. `threads` is the number of threads; 0 means one
    per core.

    With `rows`, returns a pair of the dictionary and an array with one row of IDs per statement: subject, predicate,
    object, and the graph if a file can have graphs; 0 is the default graph. With `strings_only`, only string literals
    get IDs. With `lenient`, statements that are not valid RDF are skipped. Relative IRIs are resolved against `base`.

    With `progress`, prints its progress to standard error. If `progress` is callable, it is called instead, with the
    keywords `bytes_read`, `total_bytes` (0 if unknown), `statements`, `resources` and `memory_in_use`.
    """
    if rows and strings_only:
        raise MisuseError("With strings_only there are no rows.")
    if isinstance(files, (str, bytes, os.PathLike)):
        files = [files]
    line = _ProgressLine() if progress is True else None
    try:
        native, made = _native.load([_path(file) for file in files], _bytes(memory_limit), maximum_size, threads,
                                    strings_only, rows, lenient, base, line or progress or None)
    finally:
        if line:
            line.end()
    dictionary = Dictionary._of(native)
    return (dictionary, made) if rows else dictionary
