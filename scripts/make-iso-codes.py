#!/usr/bin/env python3
"""Writes the names of Debian's iso-codes package as N-Triples: a real file to try the dictionary with.

Countries, their subdivisions, former countries, languages, language families, scripts and currencies; each English
name once as a simple literal and once tagged @en, and each translation that differs from it with its own tag. The
output depends on the package alone: it is sorted bytewise, without repetitions.
"""

import argparse
import gettext
import json
import os
import re
import sys
import tempfile
from pathlib import Path

# The parts of the package: catalogue, and the key that identifies an entry.
CATALOGUES = {
    "iso_3166-1": "alpha_2",
    "iso_3166-2": "code",
    "iso_3166-3": "alpha_4",
    "iso_639-2": "alpha_3",
    "iso_639-3": "alpha_3",
    "iso_639-5": "alpha_3",
    "iso_15924": "alpha_4",
    "iso_4217": "alpha_3",
}

# Every text of an entry that is a name, and the predicate that says which.
PREDICATES = {
    "name": "http://www.w3.org/2000/01/rdf-schema#label",
    "official_name": "urn:x-iso-codes:term:officialName",
    "common_name": "urn:x-iso-codes:term:commonName",
    "inverted_name": "urn:x-iso-codes:term:invertedName",
}

# What a locale's modifier is in a language tag: a script, which stands before the region, or a variant, which ends it.
SCRIPTS = {"arabic": "Arab", "cyrillic": "Cyrl", "devanagari": "Deva", "iqtelif": "Latn", "latin": "Latn"}
VARIANTS = {"tarask": "tarask", "valencia": "valencia"}

LOCALE = re.compile(r"(?P<language>[a-z]{2,3})(?:_(?:(?P<script>[A-Z][a-z]{3})|(?P<region>[A-Z]{2}|[0-9]{3})))?"
                    r"(?:@(?P<modifier>[a-z]+))?")

# A quotation mark, a backslash and line ends must be escaped; the other control characters are for a reader's sake.
ESCAPES = {ordinal: f"\\u{ordinal:04X}" for ordinal in [*range(0x20), 0x7F]}
ESCAPES.update({ord("\t"): "\\t", ord("\b"): "\\b", ord("\n"): "\\n", ord("\r"): "\\r", ord("\f"): "\\f",
                ord('"'): '\\"', ord("\\"): "\\\\"})


def language_tag(locale):
    """sr@latin is sr-Latn, pt_BR is pt-BR, ca@valencia is ca-valencia."""
    match = LOCALE.fullmatch(locale)
    modifier = match["modifier"] if match else None
    if not match or (modifier and modifier not in SCRIPTS and modifier not in VARIANTS):
        raise ValueError(f"no language tag is known for the locale '{locale}'")
    subtags = [match["language"], match["script"] or SCRIPTS.get(modifier), match["region"], VARIANTS.get(modifier)]
    return "-".join(subtag for subtag in subtags if subtag)


def read_translations(root, catalogue):
    """The translations of one part of the package, by language tag."""
    translations = {}
    for path in sorted(root.glob(f"locale/*/LC_MESSAGES/{catalogue}.mo")):
        tag = language_tag(path.parent.parent.name)
        if tag in translations:
            raise ValueError(f"two locales of {catalogue} have the language tag '{tag}'")
        with path.open("rb") as file:
            translations[tag] = gettext.GNUTranslations(file)
    if not translations:
        raise FileNotFoundError(f"{root}/locale/*/LC_MESSAGES/{catalogue}.mo: no translations there")
    return translations


def statements(root, catalogue, key):
    path = root / "iso-codes" / "json" / f"{catalogue}.json"
    [entries] = json.loads(path.read_text(encoding="utf-8")).values()
    translations = read_translations(root, catalogue)
    standard = catalogue.removeprefix("iso_")
    for entry in entries:
        for field, predicate in PREDICATES.items():
            name = entry.get(field)
            if not name:
                continue
            start = f"<urn:x-iso-codes:{standard}:{entry[key]}> <{predicate}> \""
            escaped = name.translate(ESCAPES)
            yield f'{start}{escaped}" .\n'
            yield f'{start}{escaped}"@en .\n'
            for tag, catalogue_in_language in translations.items():
                text = catalogue_in_language.gettext(name)
                # Where a name was never translated, many catalogues repeat the English one, as gettext does.
                if text != name:
                    yield f'{start}{text.translate(ESCAPES)}"@{tag} .\n'


def write_atomically(path, data):
    path.parent.mkdir(parents=True, exist_ok=True)
    with tempfile.NamedTemporaryFile(dir=path.parent, prefix=path.name, delete=False) as file:
        try:
            file.write(data)
            file.flush()
            os.fchmod(file.fileno(), 0o644)
            os.replace(file.name, path)
        except BaseException:
            os.unlink(file.name)
            raise


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("output", type=Path, help="the N-Triples file to write")
    parser.add_argument("--root", type=Path, default=Path("/usr/share"),
                        help="the folder that holds iso-codes/ and locale/ (default: %(default)s)")
    arguments = parser.parse_args()
    try:
        # Made of bytes before sorting: their order is the file's, whatever the locale.
        lines = {line.encode() for catalogue, key in CATALOGUES.items()
                 for line in statements(arguments.root, catalogue, key)}
        write_atomically(arguments.output, b"".join(sorted(lines)))
    except (OSError, ValueError) as error:
        sys.exit(f"{Path(sys.argv[0]).name}: {error}")
    simple = sum(line.endswith(b'" .\n') for line in lines)
    tags = {line.rpartition(b"@")[2] for line in lines if not line.endswith(b'" .\n')}
    print(f"{arguments.output}: {len(lines)} triples, {simple} simple literals, "
          f"{len(lines) - simple} tagged literals in {len(tags)} languages", file=sys.stderr)


if __name__ == "__main__":
    main()
