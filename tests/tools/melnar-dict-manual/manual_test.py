#!/usr/bin/env python3
"""Checks the manual pages and completions of the build against the program's --help.

usage: manual_test.py PROGRAM FOLDER, as called by the build. Shells that are missing are skipped, and so are
completions for a program that has none.
"""

import re
import shutil
import subprocess
import sys
import unittest
from pathlib import Path

TOOL = Path(sys.argv[1]).resolve()
NAME = TOOL.name
FOLDER = Path(sys.argv[2]).resolve()


def run(command, **arguments):
    return subprocess.run(command, capture_output=True, text=True, stdin=subprocess.DEVNULL, timeout=60, **arguments)


def help_of(*arguments):
    return run([TOOL, *arguments, "--help"]).stdout


VERBS = re.findall(r"^  ([a-z]+)  ", help_of(), re.MULTILINE)
OPTIONS = {verb: re.findall(r"^  (?:-[a-z], )?(--[a-z-]+)", help_of(verb), re.MULTILINE) for verb in VERBS}


class ManualPagesTest(unittest.TestCase):
    def render(self, name):
        path = FOLDER / "man1" / f"{name}.1"
        result = run(["groff", "-man", "-ww", "-Tutf8", "-P-cbou", path])
        self.assertEqual((0, ""), (result.returncode, result.stderr), path)
        return result.stdout.replace("‐", "-").replace("−", "-")

    def test_there_is_a_page_for_each_verb_and_no_other(self):
        self.assertGreater(len(VERBS), 8 if NAME == "melnar-dict" else 0)
        self.assertEqual({f"{NAME}.1"} | {f"{NAME}-{verb}.1" for verb in VERBS},
                         {path.name for path in (FOLDER / "man1").iterdir()})

    @unittest.skipUnless(shutil.which("groff"), "groff is missing")
    def test_the_page_of_the_program_names_every_verb(self):
        page = self.render(NAME)
        for verb in VERBS:
            self.assertIn(f"{NAME}-{verb}(1)", page)

    @unittest.skipUnless(shutil.which("groff"), "groff is missing")
    def test_the_page_of_a_verb_says_what_its_help_says(self):
        for verb in VERBS:
            page = self.render(f"{NAME}-{verb}")
            words = " ".join(page.split())
            for option in OPTIONS[verb]:
                self.assertRegex(page, rf"(?m)^ +(-[a-z], )?{option}\b", verb)
            examples = re.findall(rf"^  ({NAME} .*)", help_of(verb), re.MULTILINE)
            self.assertTrue(examples, f"{verb} has no example")
            for example in examples:
                self.assertIn(" ".join(example.split()), words)
            for paragraph in help_of(verb).split("\n\n")[1:]:
                if not paragraph.startswith(("  ", "Example", "Exit codes: ")):
                    self.assertIn(" ".join(paragraph.split()), words)


@unittest.skipUnless((FOLDER / "bash").is_dir(), "there are no completions")
class CompletionsTest(unittest.TestCase):
    """`complete` returns what a shell offers for words, the last of which is being typed."""

    def check(self, complete):
        self.assertEqual([], [verb for verb in VERBS if verb not in complete(["melnar-dict", ""])])
        self.assertEqual({"lookup", "load"}, set(complete(["melnar-dict", "lo"])))
        self.assertIn("lookup", complete(["melnar-dict", "help", "loo"]))
        for verb in VERBS:
            offered = complete(["melnar-dict", verb, "--"])
            self.assertEqual([], [option for option in OPTIONS[verb] if option not in offered], verb)
        self.assertIn("turtle", complete(["melnar-dict", "load", "--format", "tu"]))
        self.assertIn("manual_test.py", complete(["melnar-dict", "load", "manual_"]))
        self.assertIn("manual_test.py", complete(["melnar-dict", "load", "-o", "manual_"]))
        self.assertEqual([], complete(["melnar-dict", "load", "--threads", "manual_"]))

    @unittest.skipUnless(shutil.which("bash"), "bash is missing")
    def test_bash(self):
        def complete(words):
            result = run(["bash", "--norc", "-c",
                          'compopt() { :; }; source "$0"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _melnar_dict; '
                          'printf "%s\\n" "${COMPREPLY[@]}"; complete -p melnar-dict >&2',
                          FOLDER / "bash" / "melnar-dict", *words], cwd=Path(__file__).parent)
            self.assertEqual("complete -F _melnar_dict melnar-dict\n", result.stderr)
            return result.stdout.split()

        self.check(complete)
        self.assertEqual(["turtle"], complete(["melnar-dict", "load", "--format", "=", "tu"]))

    @unittest.skipUnless(shutil.which("zsh"), "zsh is missing")
    def test_zsh(self):
        # A separate shell on a pseudo terminal completes the line and lists its matches, one per line.
        driver = r"""
            zmodload zsh/zpty
            zpty shell zsh -f -i
            zpty -w shell "PS1= PS2= RPS1=; stty -echo; fpath=($1 \$fpath); cd $2; autoload -Uz compinit; compinit -u -D"
            zpty -w shell "compadd() { local -a found; builtin compadd -O found \"\$@\"; print -rl -- \"MATCH \"\$^found; builtin compadd \"\$@\" }"
            zpty -w shell "list() { zle complete-word; print -r -- LISTED; zle kill-whole-line }; zle -N list; bindkey '^X' list"
            zpty -w shell "print READ''Y"
            zpty -r shell text "*READY*"
            zpty -w -n shell "$3"$'\x18'
            zpty -r shell text "*LISTED*"
            print -r -- "$text"
        """

        def complete(words):
            result = run(["zsh", "-f", "-c", driver, "zsh", FOLDER / "zsh", Path(__file__).parent, " ".join(words)])
            return re.findall(r"MATCH (\S+?)=?\r?$", result.stdout, re.MULTILINE)

        self.check(complete)

    @unittest.skipUnless(shutil.which("fish"), "fish is missing")
    def test_fish(self):
        def complete(words):
            result = run(["fish", "--no-config", "-c", "source $argv[1]; complete -C $argv[2]",
                          FOLDER / "fish" / "melnar-dict.fish", " ".join(words)], cwd=Path(__file__).parent)
            self.assertEqual("", result.stderr)
            return [line.split("\t")[0] for line in result.stdout.splitlines()]

        self.check(complete)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
