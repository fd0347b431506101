#!/usr/bin/env python3
"""Checks that includes point one way: every layer sees itself and those it stands on, never one above or beside it.

Also that the engine and the reader need nothing but the standard library and POSIX, less the exceptions listed below, and that one
file alone maps memory.
"""

import re
import sys
from pathlib import Path

PLATFORM = "Engine/core/platform"
SYSTEM = "Engine/core/platform/system"
STREAM = "Engine/core/platform/stream"
COLLECTIONS = "Engine/core/platform/collections"
DICTIONARY = "Engine/core/data-store/dictionary"
TERMS = "Engine/core/data-store/terms"
DATA_STORE = "Engine/core/data-store"
SHARDED = "Engine/core/data-store/sharded"
C_INTERFACE = "Engine/c"
C_HEADER = "melnar.h"
READER = "Reader"
TOOL = "tools/melnar-dict"
SHELL, INPUT, PIECES, THREADS, SAVED, ROWS, LOAD, REWRITE = (
    f"{TOOL}/{room}" for room in ("shell", "input", "pieces", "threads", "saved", "rows", "load", "rewrite"))
MANUAL = "tools/melnar-dict-manual"
RANKS = "tools/melnar-dict-mpi"
RANKS_MANUAL = "tools/melnar-dict-mpi-manual"
PYTHON = "python"
TEST_SUPPORT = "tests/support"
BENCHMARKS = "benchmarks"

ENGINE_LAYERS = {PLATFORM, STREAM, SYSTEM, COLLECTIONS, DICTIONARY, TERMS, DATA_STORE, SHARDED, C_INTERFACE}
LIBRARIES = ENGINE_LAYERS | {READER}
TOOL_LAYERS = {TOOL, SHELL, INPUT, PIECES, THREADS, SAVED, ROWS, LOAD, REWRITE}

# From layer to the layers that it may include beside itself. Errors print themselves to a stream and streams throw
# errors, so those two are one layer in two folders.
MAY_INCLUDE = {
    PLATFORM: {STREAM},
    STREAM: {PLATFORM},
    SYSTEM: {PLATFORM, STREAM},
    COLLECTIONS: {PLATFORM, STREAM, SYSTEM},
    DICTIONARY: {PLATFORM, STREAM, SYSTEM, COLLECTIONS},
    TERMS: {PLATFORM, STREAM, SYSTEM, COLLECTIONS, DICTIONARY},
    DATA_STORE: {PLATFORM, STREAM, SYSTEM, COLLECTIONS, DICTIONARY, TERMS},
    SHARDED: {PLATFORM, STREAM, SYSTEM, COLLECTIONS, DICTIONARY, TERMS, DATA_STORE},
    C_INTERFACE: {PLATFORM, STREAM, SYSTEM, COLLECTIONS, DICTIONARY, TERMS, DATA_STORE, SHARDED},
    READER: set(),
    SHELL: LIBRARIES,
    INPUT: LIBRARIES | {SHELL},
    PIECES: LIBRARIES | {SHELL, INPUT},
    THREADS: LIBRARIES | {SHELL, INPUT, PIECES},
    SAVED: LIBRARIES | {SHELL, INPUT, PIECES, THREADS},
    ROWS: LIBRARIES | {SHELL, INPUT, PIECES, THREADS, SAVED},
    LOAD: LIBRARIES | {SHELL, INPUT, PIECES, THREADS, SAVED, ROWS},
    REWRITE: LIBRARIES | {SHELL, INPUT, PIECES, THREADS, SAVED, ROWS},
    TOOL: LIBRARIES | TOOL_LAYERS,
    MANUAL: LIBRARIES | TOOL_LAYERS,
    RANKS: LIBRARIES | TOOL_LAYERS,
    RANKS_MANUAL: LIBRARIES | TOOL_LAYERS | {MANUAL, RANKS},
    PYTHON: LIBRARIES | TOOL_LAYERS,
    TEST_SUPPORT: ENGINE_LAYERS,
    BENCHMARKS: LIBRARIES | TOOL_LAYERS | {TEST_SUPPORT},
}

STANDARD_HEADERS = set("""
    algorithm any array atomic barrier bit bitset charconv chrono codecvt compare complex concepts condition_variable
    coroutine deque exception execution filesystem format forward_list fstream functional future initializer_list
    iomanip ios iosfwd iostream istream iterator latch limits list locale map memory memory_resource mutex new numbers
    numeric optional ostream queue random ranges ratio regex scoped_allocator semaphore set shared_mutex
    source_location span sstream stack stdexcept stop_token streambuf string string_view strstream syncstream
    system_error thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant
    vector version
    cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg cstddef cstdint cstdio
    cstdlib cstring ctime cuchar cwchar cwctype
""".split())

POSIX_HEADERS = set("""
    dirent.h fcntl.h poll.h pthread.h sched.h semaphore.h signal.h sys/file.h sys/ioctl.h sys/mman.h sys/resource.h
    sys/select.h sys/socket.h sys/stat.h sys/statvfs.h sys/time.h sys/times.h sys/types.h sys/uio.h sys/un.h
    sys/utsname.h sys/wait.h time.h unistd.h
""".split())

# Headers for a few files, behind which the rest of the system goes: the system's memory, some libraries, and the
# instructions of one kind of processor.
RESERVED_HEADERS = {
    "sys/mman.h": [f"{SYSTEM}/VirtualMemory.cpp"],
    "xxhash.h": [f"{DATA_STORE}/Checksum.cpp", f"{DATA_STORE}/ChecksumChain.cpp", f"{SHARDED}/ShardLayout.cpp",
                 f"{PIECES}/DistinctTerms.cpp"],
    "mpi.h": [f"{RANKS}/MPIRequest.h"],
    "immintrin.h": [f"{DICTIONARY}/LexicalFormLanesAVX2.cpp", f"{DICTIONARY}/LexicalFormLanesAVX512.cpp",
                    f"{READER}/Utf8AVX2.cpp"],
    "CLI/CLI.hpp": [f"{SHELL}/CommandLine.cpp"],
    "isa-l/igzip_lib.h": [f"{INPUT}/GzipDecoder.h"],
    "bzlib.h": [f"{INPUT}/Bzip2Block.h"],
    "lzma.h": [f"{INPUT}/XzDecoder.h"],
    "zstd.h": [f"{INPUT}/ZstdDecoder.h"],
    "zstd_errors.h": [f"{INPUT}/ZstdDecoder.cpp"],
    "stddef.h": [C_HEADER],
    "stdint.h": [C_HEADER],
    "emmintrin.h": [f"{COLLECTIONS}/Fingerprints.h", f"{READER}/ByteScan.h"],
}

INCLUDE = re.compile(r"^\s*#\s*include\b\s*(.*)$")


def layer_of(path):
    """The layer whose folder is the innermost around the file, or None."""
    if path == C_HEADER:
        return C_INTERFACE
    layers = [layer for layer in MAY_INCLUDE if path.startswith(layer + "/")]
    return max(layers, key=len, default=None)


def objections(root, path, text):
    """What speaks against the text that stands behind an #include in the file at path."""
    layer = layer_of(path)
    if quoted := re.match(r'"([^"]+)"', text):
        included = quoted[1]
        included_layer = layer_of(included)
        if not (root / included).is_file():
            yield f'"{included}" is no file below the repository root'
        elif included_layer is None:
            yield f'"{included}" belongs to no layer'
        elif included_layer != layer and included_layer not in MAY_INCLUDE[layer]:
            yield f'"{included}": {layer} must not know {included_layer}'
    elif angled := re.match(r"<([^>]+)>", text):
        included = angled[1]
        if included.startswith(("Engine/", "Reader/", "tools/", "benchmarks/")):
            yield f"<{included}>: a header of this repository stands in quotation marks"
        elif layer == BENCHMARKS:
            return
        elif path not in RESERVED_HEADERS.get(included, [path]):
            yield f"<{included}> is for {' and '.join(RESERVED_HEADERS[included])} alone"
        elif layer in TOOL_LAYERS | {MANUAL, RANKS, RANKS_MANUAL, PYTHON}:
            return
        elif included not in STANDARD_HEADERS | POSIX_HEADERS | RESERVED_HEADERS.keys():
            yield f"<{included}> is neither of the standard library nor of POSIX"
    else:
        yield f"an include that cannot be checked: {text}"


def public_headers(root):
    """What docs/interface.md calls public: names, or ends of paths."""
    interface = (root / "docs" / "interface.md").read_text(encoding="utf-8")
    listed = interface.partition("## Public headers")[2].partition("\n## ")[0]
    return {"/" + header for header in re.findall(r"[A-Za-z0-9/-]*\.h\b", listed)}


def example_objections(root):
    """What speaks against the includes of the examples, which use what users have."""
    public = public_headers(root)
    for file in sorted((root / "examples").rglob("*.cpp")):
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            include = INCLUDE.match(line)
            quoted = include and re.match(r'"([^"]+)"', include[1])
            if quoted and not any(("/" + quoted[1]).endswith(header) for header in public):
                yield f"{file.relative_to(root).as_posix()}:{number}: \"{quoted[1]}\" is no public header"


def main():
    root = Path(__file__).resolve().parent.parent
    files = 0
    found = []
    sources = [root / C_HEADER]
    for folder in ("Engine", "Reader", "tools", "python", "benchmarks"):
        sources += sorted(path for path in (root / folder).rglob("*") if path.suffix in (".h", ".cpp"))
    for file in sources:
        files += 1
        path = file.relative_to(root).as_posix()
        if layer_of(path) is None:
            found.append(f"{path}: belongs to no layer")
            continue
        for number, line in enumerate(file.read_text(encoding="utf-8").splitlines(), 1):
            if include := INCLUDE.match(line):
                found += [f"{path}:{number}: {objection}" for objection in objections(root, path, include[1])]
    found += example_objections(root)
    print("\n".join(found + [f"layering: {files} files, {len(found)} objections"]))
    sys.exit(1 if found or not files else 0)


if __name__ == "__main__":
    main()
