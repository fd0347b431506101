#!/usr/bin/env python3
"""Checks the pages of build/docs as Chromium shows them, from their files and without a network.

Links, and the anchors in them, lead to what is there; images load; no page is empty; and what the comments of headers
lay out by columns is a list, a table or preformatted. With two arguments checks the pages in the first folder, which
show the repository in the second.
"""

import json
import os
import re
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from urllib.parse import unquote, urldefrag

from documents import ROOT, get_headers

COLLECT = Path(__file__).with_name("collect.js")
CHROMIUM = ["chromium", "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--dump-dom",
            "--allow-file-access-from-files", "--host-resolver-rules=MAP * ~NOTFOUND"]
FRAME = '<!DOCTYPE html><meta charset="utf-8"><body><script src="{}"></script><script>collect({})</script></body>'
RESULT = re.compile(r'<script type="application/json" id="result">(.*?)</script>', re.DOTALL)

# Where the scripts of search and navigation have addresses of pages, relative to their own folder.
ADDRESS = re.compile(r"""["']([\w./-]+\.html(?:#[^"']*)?)["']""")

# Markup of Markdown and Doxygen that is no text.
MARKUP = re.compile(r"\*\*|`+|\]\(|[@\\](?:ref|subpage|dir|file)\b|</?[a-z]+[1-6]?>|\{#")

PROTOCOL = re.compile(r"^\|[^|]*\|\s*`([\w/.-]+\.h)`\s*\|([^|]*)\|\s*$", re.MULTILINE)
ORDERS_HEADING = ["#", "operation", "order", "pairs with", "makes visible", "checked by"]
LABEL = re.compile(r"^/// ([A-Z][A-Za-z]*(?: [A-Z]+)*)  +(\S.*)$", re.MULTILINE)
INDENTED = re.compile(r":\n/// {3,4}(\S.*)$", re.MULTILINE)


def open_pages(pages):
    """Returns what one browser finds on pages, by their addresses."""
    with tempfile.TemporaryDirectory() as folder:
        frame = Path(folder, "frame.html")
        frame.write_text(FRAME.format(COLLECT.as_uri(), json.dumps(pages)), encoding="utf-8")
        command = [*CHROMIUM, f"--user-data-dir={folder}/profile", frame.as_uri()]
        run = subprocess.run(command, capture_output=True, text=True, timeout=600, check=False)
    result = RESULT.search(run.stdout)
    if not result:
        sys.exit(f"docs: Chromium has not shown all pages: {run.stderr}")
    return json.loads(result[1])


def normalize(text):
    """Returns a text without the differences between a comment and its page: line breaks and marks of code."""
    return " ".join(text.replace("`", "").split())


class Checker:
    def __init__(self, folder, root):
        self.folder = folder
        self.root = root
        self.pages = self.open_all_pages()
        self.anchors = {address: set(page["anchors"]) for address, page in self.pages.items()}
        self.labels = [label for page in self.pages.values() for label in page["labels"]]
        self.blocks = [block for page in self.pages.values() for block in page["blocks"]]
        self.found = []

    def open_all_pages(self):
        addresses = [path.as_uri() for path in sorted(self.folder.glob("*.html"))]
        browsers = os.cpu_count()
        with ThreadPoolExecutor(browsers) as executor:
            parts = executor.map(open_pages, filter(None, (addresses[n::browsers] for n in range(browsers))))
            return {address: page for part in parts for address, page in part.items()}

    def object(self, address, objection):
        self.found.append(f"{address.rpartition('/')[2]}: {objection}")

    def check_target(self, address, target):
        page, anchor = urldefrag(target)
        if not target.startswith("file:"):
            return
        if not page.startswith(self.folder.as_uri()):
            self.object(address, f"{target} leads out of the pages")
        elif not Path(unquote(page.removeprefix("file://"))).is_file():
            self.object(address, f"there is no {page.rpartition('/')[2]}")
        elif anchor and not {anchor, unquote(anchor)} & self.anchors.get(page, set()):
            self.object(address, f"there is no #{anchor} in {page.rpartition('/')[2]}")

    def check_pages(self):
        for address, page in self.pages.items():
            if not page["contents"]:
                self.object(address, "the page is empty")
            for markup in sorted(set(MARKUP.findall(page["prose"]))):
                self.object(address, f"{markup} is shown as it is written")
            for target in sorted(set(page["links"] + page["resources"])):
                self.check_target(address, target)
            for image in page["brokenImages"]:
                self.object(address, f"the image {image.rpartition('/')[2]} does not load")

    def check_scripts(self):
        """Navigation and search lead to pages by the addresses in their scripts."""
        for script in sorted(self.folder.rglob("*.js")):
            for target in sorted(set(ADDRESS.findall(script.read_text(encoding="utf-8")))):
                path, _, anchor = target.partition("#")
                path = (script.parent / path).resolve().as_uri()
                self.check_target(script.as_uri(), f"{path}#{anchor}" if anchor else path)

    def check_protocols(self):
        """ARCHITECTURE.md tells which invariants and memory orders there are."""
        tables = [table for page in self.pages.values() for table in page["orders"]]
        for table in tables:
            for row in table:
                if len(row) != len(ORDERS_HEADING) or not (row[1] and row[2] and row[5]):
                    self.found.append(f"a row of memory orders has other columns: {row}")
        lists = [label["invariants"] for label in self.labels]
        lists += [[row[0] for row in table[1:]] for table in tables if table[0] == ORDERS_HEADING]
        protocols = PROTOCOL.findall((self.root / "ARCHITECTURE.md").read_text(encoding="utf-8"))
        if not protocols:
            self.found.append("ARCHITECTURE.md lists no protocols")
        for path, names in protocols:
            for letter, last in re.findall(r"([A-Z])1 to \1(\d+)", names):
                if [f"{letter}{number}" for number in range(1, int(last) + 1)] not in lists:
                    self.found.append(f"{path}: {letter}1 to {letter}{last} are neither a list nor a table")

    def check_comments(self, header):
        """What comments of a header lay out by columns is on some page, as a block."""
        text = (self.root / header).read_text(encoding="utf-8")
        for name, beginning in LABEL.findall(text):
            labels = [label for label in self.labels if label["label"] == name]
            if name.endswith("STATES"):
                is_found = any(beginning == block[0] for label in labels for block in label["blocks"])
            elif name == "INVARIANTS":
                is_found = any(label["text"].startswith(beginning[:3]) for label in labels)
            else:
                is_found = any(normalize(label["text"]).startswith(normalize(beginning)) for label in labels)
            if not is_found and not name.startswith("MEMORY ORDERS"):
                self.found.append(f'{header}: "{name}  {beginning}" is no label with its text')
        for beginning in INDENTED.findall(text):
            if not any(beginning in block[0] for block in self.blocks):
                self.found.append(f'{header}: "{beginning}" is not preformatted')

    def run(self):
        self.check_pages()
        self.check_scripts()
        self.check_protocols()
        for header in get_headers(self.root):
            self.check_comments(header)
        links = sum(len(page["links"]) for page in self.pages.values())
        print("\n".join(self.found + [f"docs: {len(self.pages)} pages, {links} links, {len(self.labels)} labels, "
                                      f"{len(self.found)} objections"]))
        return self.pages and not self.found


if __name__ == "__main__":
    folders = [Path(argument).resolve() for argument in sys.argv[1:]] or [ROOT / "build/docs", ROOT]
    sys.exit(0 if Checker(*folders).run() else 1)
