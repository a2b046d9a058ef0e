#!/usr/bin/python3
"""Compares the PE analysis with pefile (Debian: python3-pefile) over every PE image below a folder.

usage: compare_with_pefile.py FOLDER [--dump PATH_OF_pe_dump] [--verbose]

Prints each difference and 'N files, N differences'; exit status 1 when there is one, or no file. Build pe_dump first:
cmake --build build/native --target pe_dump

Two of pefile's rules are switched off, because they are its own choices and not facts about a file: it drops names
with characters that it finds unusual (our rule is printable ASCII, 1 to 127 characters), and it stops at 8,192
thunks, both tables counted. Entropies and the overlay are computed here from the raw header
fields; pefile's own figures start sections at aligned file offsets and count a signature as part of the image.

Two rules of the loader are ours alone, so malformed images that need them differ in their imports: a name table below the
end of the headers is not read, and an image whose sections are aligned to less than a page is read flat.
"""
import argparse
import collections
import json
import math
import pathlib
import subprocess
import sys

import pefile

ROOT = pathlib.Path(__file__).resolve().parents[2]
SUFFIXES = {".dll", ".exe", ".sys", ".drv", ".ocx", ".cpl", ".acm", ".ax", ".com", ".scr"}
NAME_LIMIT = 2000
TOLERANCE = 1e-6


def valid_name(name, relax_allowed_characters=False):
    return name is not None and 0 < len(name) < 128 and all(0x20 <= c <= 0x7E for c in name)


pefile.is_valid_function_name = valid_name
pefile.MAX_IMPORT_SYMBOLS = 1 << 30


def entropy(data):
    total = len(data)
    return -sum(n / total * math.log2(n / total) for n in collections.Counter(data).values()) + 0.0


def has_directory(pe, name):
    index = pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_" + name]
    directories = pe.OPTIONAL_HEADER.DATA_DIRECTORY
    return index < len(directories) and directories[index].Size != 0


def import_names(pe):
    pe.parse_data_directories([pefile.DIRECTORY_ENTRY["IMAGE_DIRECTORY_ENTRY_IMPORT"]])
    names = []
    for library in getattr(pe, "DIRECTORY_ENTRY_IMPORT", []):
        # For an import by ordinal pefile takes the name from a table of its own; the file has none.
        names += [i.name.decode("ascii") for i in library.imports if not i.import_by_ordinal and i.name]
    return names[:NAME_LIMIT]


def expected(path):
    data = path.read_bytes()
    try:
        pe = pefile.PE(data=data, fast_load=True)
    except pefile.PEFormatError:
        return {"isPe": False}
    ends = [s.PointerToRawData + s.SizeOfRawData for s in pe.sections]
    raw = [data[s.PointerToRawData:s.PointerToRawData + s.SizeOfRawData] for s in pe.sections]
    return {
        "isPe": True,
        "isDll": bool(pe.FILE_HEADER.Characteristics & 0x2000),
        "machine": pe.FILE_HEADER.Machine,
        "subsystem": pe.OPTIONAL_HEADER.Subsystem,
        "timeDateStamp": pe.FILE_HEADER.TimeDateStamp,
        "hasImports": has_directory(pe, "IMPORT"),
        "hasResources": has_directory(pe, "RESOURCE"),
        "hasDebug": has_directory(pe, "DEBUG"),
        "hasTls": has_directory(pe, "TLS"),
        "sectionCount": len(pe.sections),
        "imports": import_names(pe),
        "entropy": entropy(data),
        "maxSectionEntropy": max((entropy(r) for r in raw if r), default=0.0),
        "overlaySize": max(0, len(data) - max(ends, default=0)),
    }


def same(a, b):
    return abs(a - b) <= TOLERANCE if isinstance(a, float) else a == b


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--dump", type=pathlib.Path, default=ROOT / "build/native/bin/pe_dump")
    parser.add_argument("--verbose", action="store_true", help="print totals of what was compared")
    arguments = parser.parse_args()

    files = sorted(p for p in arguments.folder.rglob("*") if p.is_file() and p.suffix.lower() in SUFFIXES)
    listing = "".join(f"{path}\n" for path in files)
    output = subprocess.run([arguments.dump], input=listing, capture_output=True, text=True, check=True).stdout
    seen = [json.loads(line) for line in output.splitlines()]
    if [entry["path"] for entry in seen] != [str(path) for path in files]:
        sys.exit("pe_dump did not answer for every file")

    differences = 0
    totals = collections.Counter()
    for path, ours in zip(files, seen):
        theirs = expected(path)
        totals.update(images=int(theirs["isPe"]), names=len(theirs.get("imports", [])),
                      sections=theirs.get("sectionCount", 0), overlays=int(theirs.get("overlaySize", 0) > 0))
        for key, value in theirs.items():
            if not same(value, ours[key]):
                differences += 1
                print(f"{path.name}: {key}: pefile {value!r:.200}, ours {ours[key]!r:.200}")
    if arguments.verbose:
        print(", ".join(f"{count} {what}" for what, count in totals.items()))
    print(f"{len(files)} files, {differences} differences")
    return 1 if differences or not files else 0


if __name__ == "__main__":
    sys.exit(main())
