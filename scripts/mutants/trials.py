"""Runs tests on mutants: records which mutants each test reaches, then runs those tests until one notices."""

import concurrent.futures
import json
import os
import re
import signal
import subprocess
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

from tree import hash_bytes, is_test

# A mutant can allocate and write without end.
LIMITS = ["prlimit", f"--data={6 << 30}", f"--fsize={2 << 30}", "--core=0"]
LEAST_SECONDS = 10  # until a test hangs
SLOWDOWN = 5  # or this much more than usual
LONGEST_FILTER = 100_000  # bytes of a command line
FIRST_RUN_SECONDS = 0.3  # of tests that run together at first; then twice as many, and so on
COMPILED = (".h", ".cpp", ".c", ".cmake", "CMakeLists.txt")


@dataclass
class Test:
    program: str
    name: str  # of GoogleTest, or empty if the program is one test
    key: str  # of all on which it depends
    how: str  # it ends without mutants, if it does not pass
    seconds: float
    reached: frozenset

    def __str__(self):
        return f"{self.program} {self.name}".strip()


@dataclass
class Verdict:
    is_noticed: bool
    how: str  # failed, crashed, hung, survived, not reached
    tests_hash: str = ""  # of the tests that a survivor has survived
    test: str = ""  # that has noticed it


class Trials:
    def __init__(self, tree, programs, jobs, longest):
        self.folder = tree.folder
        self.build_folder = tree.build_folder
        self.paths = {program: tree.build_folder / "tests" / program for program in programs}
        self.jobs = jobs
        self.longest = longest
        # Of all on which every test depends.
        mutants = json.dumps([(number, mutant.key()) for number, mutant in tree.mutants.items()])
        self.common_hash = hash_bytes(mutants.encode(), *(
            (tree.root / name).read_bytes() for name in tree.files
            if name.endswith(COMPILED) and not is_test(name, tree.library)))
        self.tests = []

    def run(self, program, names, timeout, number=0, record=None):
        """Runs tests of a program, or the program. Returns how they ended, "" if they passed, and the failed test."""
        with tempfile.TemporaryDirectory(dir=self.folder, prefix="run-") as scratch:
            os.chmod(scratch, 0o777)  # some tests give up their privileges
            environment = {**os.environ, "TMPDIR": scratch, "MELNAR_MUTANT": str(number)}
            environment.setdefault("MELNAR_STRESS_SECONDS", "0.2")
            environment.pop("MELNAR_MUTANTS_REACHED", None)
            if record is not None:
                environment["MELNAR_MUTANTS_REACHED"] = str(record)
            command = [*LIMITS, str(self.paths[program])]
            command += ["--gtest_fail_fast", "--gtest_brief=1", f"--gtest_filter={':'.join(names)}"] if names else [
                f"{scratch}/file"]
            with open(f"{scratch}/output", "wb") as output:
                process = subprocess.Popen(command, cwd=scratch, env=environment, stdin=subprocess.DEVNULL,
                                           stdout=output, stderr=subprocess.STDOUT, start_new_session=True)
                try:
                    code = process.wait(timeout)
                except subprocess.TimeoutExpired:
                    return "hung", ""
                finally:
                    try:
                        os.killpg(process.pid, signal.SIGKILL)
                    except ProcessLookupError:
                        pass
                    process.wait()
            if code == 0:
                return "", ""
            failed = re.findall(rb"^\[  FAILED  \] ([\w./]+)", Path(scratch, "output").read_bytes()[-100_000:], re.M)
            return "crashed" if code < 0 or code > 1 else "failed", failed[0].decode() if failed else ""

    def list_tests(self, program):
        """The names of its tests, except for the slow ones, with their sources; without name if it is one test."""
        if not program.endswith("-tests"):
            return [("", "")]
        with tempfile.NamedTemporaryFile(dir=self.folder, prefix="tests-") as file:
            subprocess.run([self.paths[program], "--gtest_list_tests", f"--gtest_output=json:{file.name}"],
                           stdout=subprocess.DEVNULL, check=True)
            suites = json.load(file)["testsuites"]
        tests = [(f"{suite['name']}.{test['name']}", test["file"]) for suite in suites for test in suite["testsuite"]]
        return [(name, source) for name, source in tests if "SlowTest" not in name and "DISABLED_" not in name]

    def record(self):
        """The tests with the mutants that they reach. Runs only tests whose sources have changed since the last time,
        and prints those that cannot be used."""
        file = self.folder / "tests.json"
        known = {}
        if file.exists():
            known = {entry["key"]: Test(**entry | {"reached": frozenset(entry["reached"])})
                     for entry in json.loads(file.read_text(encoding="utf-8"))}
        listed = []
        for program in self.paths:
            for name, source in self.list_tests(program):
                text = (self.build_folder / source).read_bytes() if source else b""
                key = hash_bytes(program.encode(), name.encode(), self.common_hash.encode(), text)
                listed.append((program, name, key))
        missing = [test for test in listed if test[2] not in known]
        if missing:
            print(f"Recording what {len(missing)} tests reach", flush=True)
        with concurrent.futures.ThreadPoolExecutor(self.jobs) as pool:
            known |= {test.key: test for test in pool.map(lambda test: self.record_one(*test), missing)}
        tests = [known[key] for _, _, key in listed]
        file.write_text(json.dumps([test.__dict__ | {"reached": sorted(test.reached)} for test in known.values()]),
                        encoding="utf-8")
        for test in tests:
            if test.how:
                print(f"left out: {test} {test.how}")
        self.tests = sorted((test for test in tests if not test.how), key=lambda test: test.seconds)

    def get_tests(self, number):
        """The tests that reach a mutant, the fastest ones first."""
        return [test for test in self.tests if number in test.reached]

    def hash_tests(self, number):
        return hash_bytes(*sorted(test.key.encode() for test in self.get_tests(number)))

    def is_final(self, number, verdict):
        """Returns false if a survivor is reached by tests that it has not survived yet."""
        return verdict.is_noticed or verdict.tests_hash == self.hash_tests(number)

    def record_one(self, program, name, key):
        with tempfile.NamedTemporaryFile(dir=self.folder, prefix="reached-") as file:
            file.truncate(1 << 16)
            start = time.monotonic()
            how, _ = self.run(program, [name] if name else [], self.longest, record=file.name)
            seconds = time.monotonic() - start
            reached = frozenset(number for number, flag in enumerate(Path(file.name).read_bytes()) if flag)
        return Test(program, name, key, "takes too long" if how == "hung" else how, seconds, reached)

    def judge(self, number):
        """Runs the tests that reach a mutant, several together, until one notices it."""
        waiting = self.get_tests(number)
        if not waiting:
            return Verdict(False, "not reached", self.hash_tests(number))
        budget = FIRST_RUN_SECONDS
        while waiting:
            together = [waiting.pop(0)]
            while (waiting and together[0].name and waiting[0].program == together[0].program and
                   sum(test.seconds for test in together) + waiting[0].seconds < budget and
                   sum(len(test.name) + 1 for test in together) < LONGEST_FILTER):
                together.append(waiting.pop(0))
            budget *= 2
            usual = sum(test.seconds for test in together)
            names = [test.name for test in together if test.name]
            how, failed = self.run(together[0].program, names, max(LEAST_SECONDS, SLOWDOWN * usual), number)
            if how:
                tests = str(together[0]) if len(together) == 1 else f"one of {len(together)} of {together[0].program}"
                return Verdict(True, how, test=failed or tests)
        return Verdict(False, "survived", self.hash_tests(number))
