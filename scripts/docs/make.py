#!/usr/bin/env python3
"""Makes the HTML pages of documents and headers, from build/docs/index.html on.

Beside these they show what documents link to: folders as lists of their documents or sources, and sources as examples.
"""

import posixpath
import re
import shutil
import subprocess
import sys
from pathlib import PurePosixPath

from documents import ROOT, find_link_targets, get_documents, get_headers, get_page_id

OUTPUT = ROOT / "build/docs"
PAGES = ROOT / "build/docs-pages.dox"
IMAGES = {".png", ".svg"}


def is_image(path):
    return posixpath.splitext(path)[1] in IMAGES


def make_page_of_documents(folder, documents):
    items = [f"- @subpage {get_page_id(path)}\n" for path in documents if posixpath.dirname(path) == folder]
    return f"@page {get_page_id(folder)} {posixpath.basename(folder).capitalize()}\n{''.join(items)}"


def make_page_of_sources(folder, files):
    items = [f"- [{posixpath.relpath(file, folder)}](@ref {file})\n" for file in files]
    return f"@page {get_page_id(folder)} {folder}\n{''.join(items)}"


def make_pages(documents, headers, targets):
    """Returns what is no file of its own, for Doxygen: the pages of folders, and which files are shown as sources."""
    pages = []
    folders = {posixpath.dirname(document) for document in documents} - {"", "docs"}
    for folder in sorted(folders):
        if not {f"{folder}/README.md", f"{folder}.md"} & set(documents):
            pages.append(make_page_of_documents(folder, documents))
    sources = set()
    for target in sorted(targets - folders):
        if (ROOT / target).is_dir():
            paths = (path for path in (ROOT / target).rglob("[!.]*") if path.is_file())
            files = sorted(path.relative_to(ROOT).as_posix() for path in paths)
            pages.append(make_page_of_sources(target, files))
            sources.update(files)
        else:
            sources.add(target)
    pages += [f"@example {source}\n" for source in sorted(sources - set(documents + headers)) if not is_image(source)]
    parents = {parent.as_posix() for path in documents + headers for parent in PurePosixPath(path).parents}
    pages += [f"@dir {parent}\n@ref architecture tells what is in which folder.\n"
              for parent in sorted(parents - {"."})]
    return "".join(f"/**\n{page}*/\n\n" for page in pages)


def get_version():
    header = (ROOT / "Engine/core/platform/Version.h").read_text(encoding="utf-8")
    return re.search(r'^#define MELNAR_VERSION_STRING "(.*)"$', header, re.MULTILINE)[1]


def mend_navigation():
    """Makes the tree lead to members of namespaces. Doxygen looks for them on the page of their file."""
    pages = {}
    for page in OUTPUT.glob("namespace*.html"):
        for anchor in re.findall(r' id="(a[0-9a-f]{32,})"', page.read_text(encoding="utf-8")):
            pages[anchor] = page.name
    for script in OUTPUT.glob("*.js"):
        text = script.read_text(encoding="utf-8")
        mended = re.sub(r'"(\w+_8h\.html)#(\w+)"', lambda match: f'"{pages.get(match[2], match[1])}#{match[2]}"', text)
        script.write_text(mended, encoding="utf-8")


def main():
    documents = get_documents()
    headers = get_headers()
    targets = set().union(*map(find_link_targets, documents))
    shutil.rmtree(OUTPUT, ignore_errors=True)
    OUTPUT.mkdir(parents=True)
    PAGES.write_text(make_pages(documents, headers, targets), encoding="utf-8")
    settings = {"INPUT": [*documents, str(PAGES), *headers],
                "IMAGE_PATH": sorted({posixpath.dirname(target) for target in targets if is_image(target)}),
                "HTML_OUTPUT": [str(OUTPUT)],
                "PROJECT_NUMBER": [get_version()]}
    configuration = "@INCLUDE = docs/Doxyfile\n"
    configuration += "".join(f"{name} = {' '.join(values)}\n" for name, values in settings.items())
    run = subprocess.run(["doxygen", "-"], input=configuration, text=True, cwd=ROOT, check=False)
    mend_navigation()
    return run.returncode


if __name__ == "__main__":
    sys.exit(main())
