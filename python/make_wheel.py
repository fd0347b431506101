#!/usr/bin/env python3
"""Makes a wheel of the built package without network access: a wheel is an archive with a table of its files.

    make_wheel.py PACKAGE OUTPUT [--strip PROGRAM]

PACKAGE is the folder melnar of a build, with METADATA beside it, OUTPUT the folder for the wheel, whose path is printed.
The wheel is for the Python that runs this script. It does not list NumPy as a dependency, since pip would then try to
download it.
"""

import argparse
import base64
import email
import hashlib
import subprocess
import sys
import sysconfig
import tempfile
import zipfile
from pathlib import Path

WHEEL = """Wheel-Version: 1.0
Generator: make_wheel.py
Root-Is-Purelib: false
Tag: {tag}
"""


def main():
    parser = argparse.ArgumentParser(usage=__doc__.partition("\n\n")[2])
    parser.add_argument("package", type=Path)
    parser.add_argument("output", type=Path)
    parser.add_argument("--strip", help="the program that removes symbols from the module")
    arguments = parser.parse_args()

    metadata = (arguments.package.parent / "METADATA").read_bytes()
    version = email.message_from_bytes(metadata)["Version"]
    python = f"cp{sys.version_info.major}{sys.version_info.minor}"
    tag = f"{python}-{python}-{sysconfig.get_platform().replace('-', '_').replace('.', '_')}"
    information = f"melnar-{version}.dist-info"
    wheel = arguments.output / f"melnar-{version}-{tag}.whl"
    records = []
    with zipfile.ZipFile(wheel, "w", zipfile.ZIP_DEFLATED) as archive, tempfile.TemporaryDirectory() as scratch:

        def add(name, content, mode=0o644):
            entry = zipfile.ZipInfo(name)  # of 1980, so that equal contents make equal wheels
            entry.external_attr = mode << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, content)
            digest = base64.urlsafe_b64encode(hashlib.sha256(content).digest()).rstrip(b"=").decode()
            records.append(f"{name},sha256={digest},{len(content)}\n")

        for file in sorted(arguments.package.iterdir()):
            if file.suffix == ".so" and arguments.strip:
                stripped = Path(scratch) / file.name
                subprocess.run([arguments.strip, "--strip-unneeded", "-o", stripped, file], check=True)
                add(f"melnar/{file.name}", stripped.read_bytes(), 0o755)
            elif file.is_file():
                add(f"melnar/{file.name}", file.read_bytes())
        add(f"{information}/METADATA", metadata)
        add(f"{information}/WHEEL", WHEEL.format(tag=tag).encode())
        records.append(f"{information}/RECORD,,\n")
        archive.writestr(zipfile.ZipInfo(f"{information}/RECORD"), "".join(records))
    print(wheel)


if __name__ == "__main__":
    main()
