#!/usr/bin/env python3
"""Tests of scripts/fuzz/run.py, with programs that print like libFuzzer."""

import contextlib
import importlib.util
import io
import tempfile
import unittest
import unittest.mock
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
SPECIFICATION = importlib.util.spec_from_file_location("run", ROOT / "scripts/fuzz/run.py")
run = importlib.util.module_from_spec(SPECIFICATION)
SPECIFICATION.loader.exec_module(run)

OUTPUT = """INFO: Seed: 1
#2\tINITED cov: 10 ft: 11 corp: 1/1b exec/s: 0 rss: 30Mb
of its own
\tNEW_FUNC[1/2]: 0x55 in f() a.cpp:1
#1234\tDONE   cov: 57 ft: 90 corp: 3/9b exec/s: 617 rss: 40Mb
###### Recommended dictionary. ######
"\\"\\000" # Uses: 92
###### End of recommended dictionary. ######
Done 1234 runs in 2 second(s)
"""


class RunTest(unittest.TestCase):
    def setUp(self):
        self.directory = tempfile.TemporaryDirectory()
        self.addCleanup(self.directory.cleanup)
        self.root = Path(self.directory.name)
        self.folders = run.Folders(self.root / "programs", self.root / "seeds", self.root / "corpus")
        (self.root / "programs").mkdir()
        (self.root / "seeds").mkdir()

    def add_file(self, name, text=""):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        return path

    def add_program(self, name, script=""):
        path = self.add_file(f"programs/{name}", f"#!/bin/sh\necho \"$@\" >\"$0.arguments\"\n{script}\n")
        path.chmod(0o755)
        return path

    def get_arguments(self, program):
        return (program.parent / f"{program.name}.arguments").read_text(encoding="utf-8").split()

    def run_task(self, task, *arguments):
        with contextlib.redirect_stdout(io.StringIO()) as output:
            result = task(self.folders, *arguments)
        return result, output.getvalue()

    def test_figures_and_own_lines_are_those_of_the_output(self):
        self.assertEqual((1234, 2, 57), run.summarize(OUTPUT))
        self.assertEqual((0, 0, 0), run.summarize(""))
        self.assertEqual(["of its own"], run.get_own_lines(OUTPUT))

    def test_no_program_is_a_failure(self):
        self.add_file("programs/fuzz-not-executable")
        with self.assertRaises(run.Failed):
            self.folders.get_programs()

    def test_every_program_runs_and_adds_only_to_the_corpus(self):
        script = f"cat <<'END'\n{OUTPUT}END"
        programs = [self.add_program(f"fuzz-{name}", script) for name in ("a", "b", "c")]
        self.add_file("seeds/fuzz-b/seed")
        self.add_file("programs/seeds/fuzz-b/made")
        result, output = self.run_task(run.fuzz, 7, 2)
        self.assertTrue(result)
        self.assertEqual(3, output.count("1,234 runs in      2 s, coverage      57"))
        self.assertEqual(3, output.count("of its own"))
        for program in programs:
            arguments = self.get_arguments(program)
            self.assertIn("-max_total_time=7", arguments)
            folders = [argument for argument in arguments if not argument.startswith("-")]
            self.assertEqual(str(self.root / "corpus" / program.name), folders[0])
            self.assertEqual([str(self.root / "seeds/fuzz-b"), str(self.root / "programs/seeds/fuzz-b")]
                             if program.name == "fuzz-b" else [], folders[1:])

    def test_with_a_seed_a_program_starts_from_the_seeds_in_order(self):
        program = self.add_program("fuzz-reader", 'for last; do :; done; ls "$last" >"$0.new"\n'
                                   'for one; do case $one in -seed_inputs=*) cat "${one#*@}" >"$0.inputs"; esac; done')
        for name in ("seeds/fuzz-reader/b", "seeds/fuzz-reader/a", "programs/seeds/fuzz-reader/c",
                     "corpus/fuzz-reader/found", "data/real.ttl"):
            self.add_file(name)
        self.folders = run.replace(self.folders, data=self.root / "data")
        self.assertTrue(self.run_task(run.fuzz, 7, 1, 5)[0])
        for option in ("-seed=5", "-reload=0", "-use_cmp=0"):
            self.assertIn(option, self.get_arguments(program))
        self.assertEqual(["found"], [file.name for file in (self.root / "corpus/fuzz-reader").iterdir()])
        self.assertEqual("", Path(f"{program}.new").read_text(encoding="utf-8"))
        inputs = Path(f"{program}.inputs").read_text(encoding="utf-8").split(",")
        self.assertEqual([self.root / "seeds/fuzz-reader/a", self.root / "seeds/fuzz-reader/b",
                          self.root / "programs/seeds/fuzz-reader/c"], [Path(name) for name in inputs])

    def test_without_seeds_a_program_starts_from_nothing(self):
        command, arguments = run.get_without_chance(self.folders, self.add_program("fuzz-a"), self.root / "seeds")
        self.assertEqual(["-reload=0", "-use_cmp=0", self.root / "seeds/corpus/fuzz-a"], arguments)
        self.assertEqual(self.root / "programs/fuzz-a", command[-1])

    def test_addresses_are_the_same_if_the_system_allows_that(self):
        program = self.add_program("fuzz-a")
        for exit_code, expected in ((0, ["setarch", "-R", program]), (1, [program])):
            with unittest.mock.patch.object(run.subprocess, "run", return_value=unittest.mock.Mock(
                    returncode=exit_code)):
                self.assertEqual(expected, run.get_without_chance(self.folders, program, self.root / "seeds")[0])

    def test_a_program_that_fails_is_shown_with_its_cause_and_the_others_run(self):
        crash = self.add_file("crash", "abc")
        frames = "\n".join(f"    #{number} in f" for number in range(100))
        output = f"#2\tINITED cov: 1\nbefore\nnot so: a claim\n{frames}\nTest unit written to {crash}"
        self.add_program("fuzz-a", f"cat <<'END'\n{output}\nEND\nexit 77")
        other = self.add_program("fuzz-b")
        result, output = self.run_task(run.fuzz, 7, 1)
        self.assertFalse(result)
        self.assertIn("fuzz-a has failed", output)
        self.assertIn("\n    not so: a claim\n", output)
        self.assertIn("    #99 in f", output)
        self.assertIn("input: YWJj", output)
        self.assertNotIn("before", output)
        self.assertNotEqual([], self.get_arguments(other))

    def test_causes_begin_where_a_sanitizer_or_a_program_reports_a_fault(self):
        for line in ("==1==ERROR: AddressSanitizer: x", "==1== ERROR: libFuzzer: x", "a.cpp:1:2: runtime error: x",
                     "terminate called after throwing", "DISAGREEMENT in Turtle of RDF 1.1"):
            self.assertEqual([line, "after"], run.get_cause(f"before\n{line}\nafter"))
        self.assertEqual(["nothing known"], run.get_cause("nothing known"))

    def test_options_of_sanitizers_are_added_to_those_of_the_user(self):
        with unittest.mock.patch.dict(run.os.environ, {"ASAN_OPTIONS": "a=1"}, clear=True):
            environment = run.get_environment(Path("fuzz-comparison"))
            self.assertEqual("a=1:detect_leaks=0", environment["ASAN_OPTIONS"])
            self.assertEqual("print_stacktrace=1", environment["UBSAN_OPTIONS"])
            self.assertIn("detect_leaks=1", run.get_environment(Path("fuzz-c"))["ASAN_OPTIONS"])

    def test_programs_that_read_rdf_start_from_the_beginnings_of_real_files_of_all_syntaxes(self):
        programs = [self.add_program(name) for name in ("fuzz-reader", "fuzz-comparison")]
        other = self.add_program("fuzz-c")
        self.add_file("data/folder/real.ttl", "x" * 5000)
        for name in ("real.nt", "real.nq", "real.trig", "real.txt"):
            self.add_file(f"data/{name}")
        self.folders = run.replace(self.folders, data=self.root / "data")
        self.run_task(run.fuzz, 7, 1)
        for program in programs:
            self.assertIn(str(self.root / "corpus/real"), self.get_arguments(program))
            self.assertIn("-max_len=2000", self.get_arguments(program))
        self.assertNotIn(str(self.root / "corpus/real"), self.get_arguments(other))
        self.assertNotIn("-max_len=2000", self.get_arguments(other))
        self.assertEqual(["real.nq", "real.nt", "real.trig", "real.ttl"],
                         sorted(file.name for file in (self.root / "corpus/real").iterdir()))
        self.assertEqual(2000, (self.root / "corpus/real/real.ttl").stat().st_size)

    def test_programs_that_read_rdf_share_what_they_find_and_their_seeds(self):
        programs = [self.add_program(f"fuzz-{kind}") for kind in ("comparison", "reader")]
        for name in ("seeds/fuzz-reader/seed", "corpus/fuzz-comparison/found", "corpus/fuzz-reader/found"):
            self.add_file(name)
        shared = [self.root / "corpus/fuzz-comparison", self.root / "corpus/fuzz-reader"]
        self.assertEqual([*shared, self.root / "seeds/fuzz-reader"], self.folders.get_inputs(programs[0]))
        self.assertEqual([*reversed(shared), self.root / "seeds/fuzz-reader"], self.folders.get_inputs(programs[1]))

    def test_shared_seeds_have_what_each_of_the_programs_needs(self):
        # Each program needs the input with its own name, and the second one has what the first one needs.
        script = ('while [ "${1#-}" != "$1" ]; do shift; done; ls "$1" >"$0.before"\n'
                  'for folder; do [ -e "$folder/${0##*/}" ] && cp "$folder/${0##*/}" "$1"; done; :')
        programs = [self.add_program(name, script) for name in ("fuzz-comparison", "fuzz-reader")]
        for name in ("seeds/fuzz-reader/" + "a" * 40, "seeds/fuzz-reader/fuzz-reader",
                     "corpus/fuzz-reader/fuzz-comparison"):
            self.add_file(name)
        _, output = self.run_task(run.minimize)
        self.assertEqual(["fuzz-reader", "2", "inputs,", "0", "bytes"], output.split())
        self.assertEqual(["fuzz-comparison", "fuzz-reader"],
                         sorted(file.name for file in (self.root / "seeds/fuzz-reader").iterdir()))
        self.assertIn("fuzz-comparison", Path(f"{programs[1]}.before").read_text(encoding="utf-8"))

    def test_lines_are_those_of_the_code_under_test(self):
        def describe(name, count, covered):
            return {"filename": f"{ROOT}/{name}", "summary": {"lines": {"count": count, "covered": covered}}}
        report = {"data": [{"files": [describe("Reader/A.cpp", 10, 4), describe("Reader/B.h", 5, 5),
                                      describe("tests/Reader/C.cpp", 100, 100), describe("Engine/D.cpp", 100, 0)]}]}
        code = run.get_code_under_test(Path("fuzz-reader"))
        self.assertEqual((9, 15), run.count_lines(report, code))

    def test_the_code_of_every_program_is_known(self):
        sources = [path.relative_to(ROOT).as_posix() for folder in ("Engine", "Reader", "tools")
                   for path in (ROOT / folder).rglob("*.cpp")]
        names = [path.stem.replace("_", "-") for path in (ROOT / "tests/fuzz").glob("fuzz_*.cpp")]
        self.assertEqual(sorted(run.CODE_UNDER_TEST), sorted(names))
        for name in names:
            code = run.get_code_under_test(Path(name))
            self.assertTrue(any(code.match(source) for source in sources), name)
        with self.assertRaises(run.Failed):
            run.get_code_under_test(Path("fuzz-unknown"))

    def test_minimal_inputs_replace_those_that_were_found_before(self):
        found, old = (digit * 40 for digit in "ab")
        # The first folder takes the inputs of the second one.
        script = 'while [ "${1#-}" != "$1" ]; do shift; done; cp "$2"/* "$1"'
        for name in ("fuzz-a", "fuzz-generated", "fuzz-reader"):
            self.add_program(name, script)
            self.add_file(f"corpus/{name}/{found}", "abc")
            self.add_file(f"seeds/{name}/written")
            self.add_file(f"seeds/{name}/{old}")
        self.add_file("programs/seeds/fuzz-generated/made")
        _, output = self.run_task(run.minimize)
        for name, expected in (("fuzz-a", [found, "written"]), ("fuzz-reader", [found, "written"]),
                               ("fuzz-generated", [old, "written"])):
            self.assertEqual(expected, sorted(file.name for file in (self.root / "seeds" / name).iterdir()))
        self.assertEqual(["fuzz-a", "2", "inputs,", "3", "bytes"], output.splitlines()[0].split())
        self.assertEqual(3, len(list((self.root / "seeds").iterdir())))

    def test_a_merge_that_fails_leaves_the_seeds(self):
        self.add_program("fuzz-a", "exit 1")
        self.add_file("seeds/fuzz-a/" + "a" * 40)
        with self.assertRaises(run.Failed):
            self.run_task(run.minimize)
        self.assertEqual([self.root / "seeds/fuzz-a" / ("a" * 40)], list((self.root / "seeds").rglob("a*")))


if __name__ == "__main__":
    unittest.main()
