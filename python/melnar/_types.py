"""The exceptions of melnar, and the class of RDF terms."""

from typing import NamedTuple, Optional


class Error(Exception):
    """The base of all errors of a dictionary.

    `index` is the index of the entry of a list or an array that failed, or None. Entries before it may have been
    encoded.
    """

    index: Optional[int] = None


class NotUtf8Error(Error, UnicodeError):
    """A text that UTF-8 cannot represent, such as one with a surrogate; or bytes of a dictionary that are not UTF-8."""


class RefusedError(Error, ValueError):
    """A text, a language tag or a term that no dictionary takes."""


class NoSuchResourceError(Error, LookupError):
    """There is no resource with this ID."""


class FullError(Error):
    """The largest number of resources is reached."""


class OutOfMemoryError(Error, MemoryError):
    """The dictionary's memory limit is reached, or the system has no memory."""


class SystemCallError(Error, OSError):
    """A system call failed, such as one for a file."""


class InUseError(Error, OSError):
    """Another process is writing the file."""


class DamagedFileError(Error, ValueError):
    """A file is not a sound dictionary."""


class MisuseError(Error, ValueError):
    """An argument is invalid."""


class LoadError(Error, ValueError):
    """A file that is loaded cannot be read, or is not valid RDF. The message states where."""


class Term(NamedTuple):
    """An RDF term.

    `kind` is 'iri', 'blank', 'literal' or 'triple'. `text` is an IRI, the label of a blank node without '_:', the text
    of a literal, or a triple term in N-Triples. `language` and `datatype` are those of a literal; without both it is a
    string. `direction` is 'ltr', 'rtl' or None.
    """

    kind: str
    text: str
    language: Optional[str] = None
    datatype: Optional[str] = None
    direction: Optional[str] = None
