"""Which files of the repository the pages show, and where a link of a document leads."""

import posixpath
import re
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

PROTOCOL = re.compile(r"^\|[^|]*\|\s*`([\w/.-]+\.h)`\s*\|", re.MULTILINE)
LIST_ITEM = re.compile(r"(?:[-*+]|\d+\.) ")
SCHEME = re.compile(r"[a-z]+:")

# A span of code, a link or an image; none begins within code.
SPAN = re.compile(r"(?P<bold>\*\*(?=`))?(?P<code>(?P<ticks>`+).+?(?P=ticks)(?!`))(?(bold)\*\*)"
                  r"|(?P<image>!?)\[(?P<text>(?:[^\[\]]|\[[^\[\]]*\])*)\]\((?P<target>[^()\s]+)\)")


def get_documents(root=ROOT):
    """Returns the Markdown files of the root folder and below docs/ and examples/."""
    found = [path for pattern in ("*.md", "docs/**/*.md", "examples/**/*.md") for path in root.glob(pattern)]
    return sorted(path.relative_to(root).as_posix() for path in found)


def get_headers(root=ROOT):
    """Returns the public headers, and those that ARCHITECTURE.md names because they state a protocol."""
    architecture = (root / "ARCHITECTURE.md").read_text(encoding="utf-8")
    return sorted({*get_public_headers(root), *("Engine/core/" + path for path in PROTOCOL.findall(architecture))})


def get_public_headers(root=ROOT):
    """Returns the headers that the table of docs/interface.md lists.

    A name without a folder is in the folder of the name before it. A folder is one of the root's, or else below the
    last one of the root's in the same row.
    """
    text = (root / "docs/interface.md").read_text(encoding="utf-8")
    section = text.split("\n## Public headers\n")[1].split("\n## ")[0]
    headers = []
    for row in re.findall(r"^\|.*\|$", section, re.MULTILINE)[2:]:
        base = folder = ""
        for name in re.findall(r"`([\w./-]+\.h)`", row):
            head, file = posixpath.split(name)
            if head and (root / head.partition("/")[0]).is_dir():
                base = folder = head
            elif head:
                folder = posixpath.join(base, head)
            headers.append(posixpath.join(folder, file))
    return headers


def get_page_id(path):
    """Returns the name of the page of a document or folder, which is that of its file without ".html"."""
    return "index" if path == "README.md" else path.removesuffix(".md").replace("/", "-").lower()


def find_target(document, target, root=ROOT):
    """Returns the file or folder to which a link of a document leads, and the heading in it.

    The path is None if it leads out of the repository. A folder's README.md stands for the folder.
    """
    if SCHEME.match(target):
        return None, ""
    path, _, heading = target.partition("#")
    path = posixpath.normpath(posixpath.join(posixpath.dirname(document), path)) if path else document
    readme = posixpath.join(path, "README.md")
    return readme if (root / readme).is_file() else path, heading


def read_lines(document, root=ROOT):
    """Returns the lines of a document, each with whether it is code."""
    lines = []
    is_fenced = is_indented = is_in_list = False
    for line in (root / document).read_text(encoding="utf-8").splitlines():
        is_fence = line.lstrip().startswith("```")
        is_fenced ^= is_fence
        if line and not line.startswith(" "):
            is_in_list = LIST_ITEM.match(line) is not None
        # Indented code follows an empty line; what is indented below an item belongs to the item.
        follows_gap = not lines or not lines[-1][0]
        is_indented = line.startswith("    ") and not is_in_list and (is_indented or follows_gap)
        lines.append((line, is_fence or is_fenced or is_indented))
    return lines


def find_link_targets(document, root=ROOT):
    """Returns the files and folders to which a document links, and its images."""
    spans = (match for line, is_code in read_lines(document, root) if not is_code for match in SPAN.finditer(line))
    return {find_target(document, match["target"], root)[0] for match in spans if match["target"]} - {None}
