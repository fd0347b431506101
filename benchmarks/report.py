"""Writes the pages on performance from files of results.

docs/performance.md and README.md are written by hand, except the text between two markers:

    <!-- measured NAME, by ./dev bench report -->...<!-- end of NAME -->

A function of answers.py writes this text, one for each NAME. docs/performance/tables.md and its plots are generated
completely. All figures must come from one run: results of several commits or machines are refused, unless an option
allows them.
"""

import re
import sys
from pathlib import Path

import answers
import tables
import targets
from results import Results

PAGES = [Path("docs/performance.md"), Path("README.md")]
TABLES = Path("docs/performance/tables.md")
BLOCK = re.compile(r"(?P<begin><!-- measured (?P<name>[a-z]+), by \./dev bench report -->)(?P<old>.*?)"
                   r"(?P<end><!-- end of (?P=name) -->)", re.DOTALL)


def read_results(folder):
    """Returns all files of results of a folder, by their names."""
    return {path.stem: Results(path) for path in sorted(folder.glob("*.json"))}


def differences(all_results):
    """Returns lines that name the commits and machines of results, if there is more than one."""
    files = {}
    for name, results in all_results.items():
        origin = tuple(results.context.get(fact, "unknown") for fact in ("commit", "processor", "cores", "gigabytes"))
        files.setdefault(origin, []).append(name)
    return [f"  {', '.join(origin)}: {' '.join(names)}" for origin, names in files.items()] if len(files) > 1 else []


def fill(text, all_results, missing):
    """Returns the text of a page with all its blocks rewritten. Blocks without results are added to `missing`."""
    def replace(match):
        old = match["old"]
        try:
            lines = answers.BLOCKS[match["name"]](all_results)
        except answers.NotMeasured as reason:
            missing.append(f"{match['name']}: there is no {reason}")
            lines = ["not measured yet"]
        content = "\n\n" + "\n".join(lines).rstrip() + "\n\n" if "\n" in old else " ".join(lines)
        return match["begin"] + content + match["end"]

    return BLOCK.sub(replace, text)


def write(results_folder, root, target, accepts_mixed=False):
    """Writes the pages below `target` from the results and the pages of the repository at `root`."""
    all_results = read_results(results_folder)
    if (lines := differences(all_results)) and not accepts_mixed:
        sys.exit("\n".join(["run.py: the results are not of one run; measure again, or accept that with --mixed:",
                            *lines]))
    missing = []
    for page in PAGES:
        (target / page).parent.mkdir(parents=True, exist_ok=True)
        text = fill((root / page).read_text(encoding="utf-8"), all_results, missing)
        (target / page).write_text(text, encoding="utf-8")
    folder = (target / TABLES).parent
    folder.mkdir(parents=True, exist_ok=True)
    for plot in folder.glob("*.svg"):
        plot.unlink()  # remove those of earlier runs
    (target / TABLES).write_text("\n".join(tables.page(all_results, folder)), encoding="utf-8")
    targets.print_table(all_results)
    print(f"\n{', '.join(str(target / page) for page in (*PAGES, TABLES))}: {len(all_results)} files of results")
    if missing:
        print("\n".join(["Not measured:", *missing]))
