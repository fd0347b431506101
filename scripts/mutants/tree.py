"""A mutated copy of the project: one build contains all mutants, and an environment variable activates one."""

import concurrent.futures
import dataclasses
import hashlib
import json
import re
import shutil
import subprocess
import sys
from pathlib import Path

from clang import cindex

from points import Mutant, find_mutants

HERE = Path(__file__).resolve().parent
PLACE = re.compile(r"^(\S[^:\n]*):(\d+):(\d+): (.*)$", re.M)
CONFIGURATION = ["-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -D_GLIBCXX_ASSERTIONS",
                 "-DMELNAR_TEST_OPTIONS=-O0", "-DMELNAR_BUILD_TESTS=ON", "-DMELNAR_BUILD_TOOL=OFF"]


class Rewritten:
    """The text of a file with its mutants, and where each is in it."""

    def __init__(self, data, mutants):
        self.output = []
        self.length = 0
        self.arms = []  # start, end, number: of what is evaluated instead
        self.wholes = []
        self.data = data
        self.mutants = mutants  # pairs of a number and a mutant, the outer ones first
        self.next = 0
        self.copy(0, len(data))
        self.text = b"".join(self.output)

    def put(self, piece):
        self.output.append(piece)
        self.length += len(piece)

    def copy(self, start, end):
        """Copies a range, and rewrites the mutants that begin and end in it."""
        while self.next < len(self.mutants) and self.mutants[self.next][1].end <= end:
            number, mutant = self.mutants[self.next]
            self.next += 1
            if mutant.start < start:
                continue  # overlaps with another one
            self.put(self.data[start:mutant.start])
            self.rewrite(number, mutant)
            start = mutant.end
        self.put(self.data[start:end])

    def rewrite(self, number, mutant):
        active = f"::mutants::{'isAtRunTime' if mutant.is_constexpr else 'is'}({number})".encode()
        whole = self.length
        if mutant.form in ("replace", "increment"):
            after = mutant.after.encode()
            if mutant.form == "increment":
                after = b"static_cast<::std::remove_cv_t<decltype(%s)>>(%s)" % (mutant.before.encode(), after)
            self.put(b"(%s ? (" % active)
            arm = self.length
            self.put(after)
            self.arms.append((arm, self.length, number))
            self.put(b") : (")
            self.copy(mutant.start, mutant.end)
            self.put(b"))")
        elif mutant.form == "negate":
            self.put(b"(static_cast<bool>(")
            self.copy(mutant.start, mutant.end)
            self.put(b") != %s)" % active)
        elif mutant.form == "remove":
            self.put(b"(%s ? static_cast<void>(0) : static_cast<void>(" % active)
            self.copy(mutant.start, mutant.end)
            self.put(b"))")
        else:
            self.put(b"{ if (%s) { %s; } else { " % (active, mutant.after.encode()))
            self.copy(mutant.start, mutant.end)
            self.put(b" } }")
        self.wholes.append((whole, self.length, number))

    def find(self, line, column):
        """The number of the mutant at a place of the text: if possible, of one whose changed text is there."""
        lines = self.text.split(b"\n")
        offset = sum(len(text) + 1 for text in lines[:line - 1]) + column - 1
        for ranges in (self.arms, self.wholes):
            containing = [(end - start, number) for start, end, number in ranges if start <= offset < end]
            if containing:
                return min(containing)[1]
        return None


def parse(job):
    """The mutants of some files, which are one unit of translation."""
    root, names = job
    text = "".join(f"#include <{name}>\n" for name in names)
    unit = cindex.Index.create().parse(
        "mutants-unit.cpp", ["-std=c++20", f"-I{root}"], unsaved_files=[("mutants-unit.cpp", text)],
        options=cindex.TranslationUnit.PARSE_DETAILED_PROCESSING_RECORD)
    errors = [str(message) for message in unit.diagnostics if message.severity >= cindex.Diagnostic.Error]
    if errors:
        raise ValueError("clang cannot read " + ", ".join(names) + ":\n" + "\n".join(errors))
    return [mutant for name in names for mutant in find_mutants(unit, f"{root}/{name}", name)]


class Tree:
    """The mutants of a library, which is a folder of the project, and the programs that test it.

    Those of files in the folders of `scope` are added to what earlier runs have mutated, and keep their numbers from
    then on, so that little is built again. If `test_folders` is not None, programs have only the tests in these
    folders.
    """

    def __init__(self, root, library, folder, jobs, scope, test_folders=None):
        self.root = root
        self.library = library
        self.folder = folder
        self.copy = folder / "tree"
        self.build_folder = folder / "build"
        self.jobs = jobs
        self.scope = scope
        self.files = [name for name in self.list_files()
                      if test_folders is None or not is_test(name, library) or is_in(name, *test_folders)]
        self.sources = [name for name in self.files
                        if name.startswith(f"{library}/") and name.endswith((".h", ".cpp"))]
        self.sources_hash = hash_bytes(*((root / name).read_bytes() for name in self.sources))
        self.state_file = folder / "mutants.json"
        self.mutants, self.dropped = self.find_mutants()

    def list_files(self):
        git = subprocess.run(["git", "-c", "safe.directory=*", "-C", self.root, "ls-files", "-z", "--cached", "--others",
                              "--exclude-standard"], capture_output=True, check=False)
        if git.returncode != 0:
            sys.exit("mutants: git does not tell which files belong to the project")
        names = git.stdout.decode().split("\0")
        return sorted(name for name in names if name and (self.root / name).is_file())

    def find_mutants(self):
        """Returns the mutants by number, and the numbers of those that are known not to compile."""
        state = json.loads(self.state_file.read_text(encoding="utf-8")) if self.state_file.exists() else {}
        known = {int(number): Mutant(**mutant) for number, mutant in state.get("mutants", {}).items()}
        numbers = {mutant.key(): number for number, mutant in known.items()}
        hashes = {name: hash_bytes((HERE / "points.py").read_bytes(), (self.root / name).read_bytes())
                  for name in self.sources}
        self.mutated = {name: value for name, value in hashes.items()
                        if is_in(name, *self.scope) or name in state.get("files", {})}
        changed = [name for name, value in self.mutated.items() if state.get("files", {}).get(name) != value]
        mutants = {number: mutant for number, mutant in known.items()
                   if mutant.file in self.mutated and mutant.file not in changed}
        next_number = max(known, default=0) + 1
        for mutant in self.parse(changed):
            number = numbers.get(mutant.key(), next_number)
            next_number += number == next_number
            mutants[number] = mutant
        return mutants, mutants.keys() & set(state.get("dropped", []))

    def parse(self, names):
        headers = [name for name in names if name.endswith(".h")]
        jobs = [(str(self.root), headers)] if headers else []
        jobs += [(str(self.root), [name]) for name in names if name.endswith(".cpp")]
        try:
            with concurrent.futures.ProcessPoolExecutor(self.jobs) as pool:
                return [mutant for found in pool.map(parse, jobs) for mutant in found]
        except ValueError as error:
            sys.exit(f"mutants: {error}")

    def save_state(self):
        state = {"files": self.mutated, "dropped": sorted(self.dropped),
                 "mutants": {number: dataclasses.asdict(mutant) for number, mutant in self.mutants.items()}}
        write_if_changed(self.state_file, json.dumps(state).encode())

    def rewrite(self, name):
        mutants = [(number, mutant) for number, mutant in self.mutants.items()
                   if mutant.file == name and number not in self.dropped]
        return Rewritten((self.root / name).read_bytes(), mutants)

    def write_copy(self):
        for name in self.files:
            data = self.rewrite(name).text if name in self.mutated else (self.root / name).read_bytes()
            write_if_changed(self.copy / name, data)
            shutil.copymode(self.root / name, self.copy / name)
        kept = set(self.files)
        for path in self.copy.rglob("*"):
            if path.is_file() and str(path.relative_to(self.copy)) not in kept:
                path.unlink()
        write_if_changed(self.folder / "switch.h", (HERE / "switch.h").read_bytes())

    def build(self, targets):
        """Builds the targets; drops mutants that do not compile until the others do."""
        self.write_copy()
        configure = ["cmake", "-S", self.copy, "-B", self.build_folder, *CONFIGURATION,
                     f"-DCMAKE_CXX_FLAGS=-w -Wno-narrowing -include {self.folder}/switch.h"]
        run = subprocess.run(configure, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        if run.returncode != 0:
            sys.exit(run.stdout)
        while True:
            run = subprocess.run(["ninja", "-C", self.build_folder, "-k", "0", "-j", str(self.jobs), *targets],
                                 stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
            if run.returncode == 0:
                self.save_state()
                return
            culprits = self.find_culprits(run.stdout)
            if not culprits:
                sys.exit(f"{run.stdout[-20000:]}\nmutants: this does not compile, and no mutant seems to be the cause")
            print(f"{len(culprits)} mutants do not compile; building again", flush=True)
            self.dropped |= culprits
            self.save_state()
            self.write_copy()

    def find_culprits(self, output):
        """The mutants that compiler errors are about: at the place of each error or, if there is none, the first one
        at a place that its messages mention."""
        rewritten = {}
        culprits = set()
        places = [(match[1], int(match[2]), int(match[3]), match[4]) for match in PLACE.finditer(output)]
        numbers = []
        for path, line, column, _ in places:
            try:
                name = str((self.build_folder / path).resolve().relative_to(self.copy.resolve()))
            except ValueError:
                numbers.append(None)
                continue
            if name not in rewritten:
                rewritten[name] = self.rewrite(name)
            numbers.append(rewritten[name].find(line, column))
        errors = [index for index, place in enumerate(places) if re.match("(fatal )?error:", place[3])]
        for position, index in enumerate(errors):
            if numbers[index] is not None:
                culprits.add(numbers[index])
                continue
            before = errors[position - 1] if position > 0 else -1
            after = errors[position + 1] if position + 1 < len(errors) else len(places)
            mentioned = [number for number in numbers[before + 1:index][::-1] + numbers[index + 1:after]
                         if number is not None]
            culprits.update(mentioned[:1])
        return culprits


def is_in(name, *folders):
    return any(name == folder or name.startswith(folder + "/") for folder in folders)


def is_test(name, library):
    return name.startswith(f"tests/{library}/") and name.endswith("Test.cpp")


def hash_bytes(*pieces):
    digest = hashlib.sha256()
    for piece in pieces:
        digest.update(piece)
        digest.update(b"\0")
    return digest.hexdigest()


def write_if_changed(path, data):
    if not path.exists() or path.read_bytes() != data:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(data)
