#!/usr/bin/env python3
"""Prints what a setup program or the client kit is made of, as a CycloneDX 1.5 document.

  bill_of_materials.py VERSION SETUP_PROGRAM|KIT.zip

The versions are those of the Debian packages on the machine that builds. The document has no time and no serial number, so
that the same build gives the same document.
"""
import hashlib
import json
import pathlib
import subprocess
import sys

# Package of Debian, what of it ends up where, licence (SPDX).
COMPILED = [
    ("gcc-mingw-w64-x86-64-posix-runtime", "library", "GCC run-time (libgcc, libstdc++), linked into the programs",
     "GPL-3.0-or-later WITH GCC-exception-3.1"),
    ("mingw-w64-x86-64-dev", "library", "mingw-w64 headers, start-up code, winpthreads, linked into the programs",
     "ZPL-2.1 AND MIT AND BSD-3-Clause"),
    ("g++-mingw-w64-x86-64-posix", "application", "GCC, the compiler", "GPL-3.0-or-later"),
    ("binutils-mingw-w64-x86-64", "application", "GNU binutils, assembler and linker", "GPL-3.0-or-later"),
]
SETUP = ("KORVEL Antivirus", COMPILED + [
    ("libcli11-dev", "library", "CLI11, in korvelctl and korvelsig", "BSD-3-Clause"),
    ("nlohmann-json3-dev", "library", "JSON for Modern C++, in korvelctl and korvelsig", "MIT"),
    ("nsis", "application", "NSIS, whose run-time is the setup program", "Zlib AND CPL-1.0"),
])
KIT = ("KORVEL Antivirus client kit", COMPILED + [
    ("libcli11-dev", "library", "CLI11, in korvelmock", "BSD-3-Clause"),
    ("nlohmann-json3-dev", "library", "JSON for Modern C++, in korvelmock", "MIT"),
])


def package_version(package):
    query = subprocess.run(["dpkg-query", "--show", "--showformat=${Version}", package], capture_output=True, text=True)
    if query.returncode != 0:
        sys.exit(f"the version of {package} is not known: {query.stderr.strip()}")
    return query.stdout


def component(package, kind, description, licence):
    version = package_version(package)
    return {
        "type": kind,
        "bom-ref": package,
        "name": package,
        "version": version,
        "description": description,
        "licenses": [{"expression": licence}],
        "purl": f"pkg:deb/debian/{package.replace('+', '%2B')}@{version.replace('+', '%2B').replace(':', '%3A')}",
    }


def main(version, file):
    path = pathlib.Path(file)
    name, components = KIT if path.suffix == ".zip" else SETUP
    document = {
        "bomFormat": "CycloneDX",
        "specVersion": "1.5",
        "version": 1,
        "metadata": {
            "component": {
                "type": "application",
                "bom-ref": "korvel",
                "name": name,
                "version": version,
                "hashes": [{"alg": "SHA-256", "content": hashlib.sha256(path.read_bytes()).hexdigest()}],
            }
        },
        "components": [component(*entry) for entry in components],
        "dependencies": [{"ref": "korvel", "dependsOn": [entry[0] for entry in components]}],
    }
    print(json.dumps(document, indent=2, ensure_ascii=False))


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(sys.argv[1], sys.argv[2])
