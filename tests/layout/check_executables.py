#!/usr/bin/python3
"""Reads the headers of the release executables with an independent parser and compares them with what they must have.

  check_executables.py FOLDER VERSION

Prints what is missing; the exit status is 1 when something is. Debian's interpreter, since it needs Debian's pefile.
"""
import pathlib
import re
import sys
import xml.etree.ElementTree as xml

import pefile

GUI, CONSOLE = 2, 3
PROGRAMS = {
    "KorvelService": GUI,
    "korvelctl": CONSOLE,
    "korvelmock": CONSOLE,
    "korvelsig": CONSOLE,
}
# Every Windows since 10 has them in its own folder.
SYSTEM_LIBRARIES = {"advapi32", "fltlib", "kernel32", "mpr", "msvcrt", "ole32", "oleaut32", "shell32", "user32", "winhttp", "ws2_32"}
FLAGS = {
    "IMAGE_DLLCHARACTERISTICS_HIGH_ENTROPY_VA": 0x20,
    "IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE": 0x40,
    "IMAGE_DLLCHARACTERISTICS_NX_COMPAT": 0x100,
}
RELOCATIONS_STRIPPED, LARGE_ADDRESSES = 0x1, 0x20
# The programs are copied and started by hand and by scripts, so they stay small.
MOST_BYTES = 4 * 1024 * 1024
EXECUTE, WRITE = 0x20000000, 0x80000000
MANIFEST, ICON_GROUP = 24, 14
ASM3 = "{urn:schemas-microsoft-com:asm.v3}"
LONG_PATHS = "{http://schemas.microsoft.com/SMI/2016/WindowsSettings}longPathAware"
COMPATIBILITY = "{urn:schemas-microsoft-com:compatibility.v1}"
WINDOWS_10 = "{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"
TREE = str(pathlib.Path(__file__).resolve().parents[2]).encode()
BUILD_PATHS = re.compile(rb"(?:/home/|/root/|/tmp/|/build/|" + re.escape(TREE) + rb"/)[\w./-]{3,}")


def resource(image, kind):
    """The first resource of that kind, or None."""
    directory = getattr(image, "DIRECTORY_ENTRY_RESOURCE", None)
    for entry in directory.entries if directory else []:
        if entry.id == kind:
            data = entry.directory.entries[0].directory.entries[0].data.struct
            return image.get_data(data.OffsetToData, data.Size)
    return None


def manifest_problems(text):
    if text is None:
        yield "has no manifest"
        return
    root = xml.fromstring(text)
    level = root.find(f".//{ASM3}requestedExecutionLevel")
    if level is None or level.get("level") != "asInvoker":
        yield "does not ask to run as its invoker"
    if [os.get("Id") for os in root.iter(f"{COMPATIBILITY}supportedOS")] != [WINDOWS_10]:
        yield "does not name Windows 10"
    if root.findtext(f".//{LONG_PATHS}") != "true":
        yield "is not aware of long paths"


def version_problems(image, name, version):
    tables = {}
    for block in getattr(image, "FileInfo", [[]])[0]:
        for table in getattr(block, "StringTable", []):
            tables[table.LangID.decode()] = {key.decode(): value.decode() for key, value in table.entries.items()}
    for language, product in (("040904B0", "KORVEL Antivirus"), ("041904B0", "KORVEL Антивирус")):
        texts = tables.get(language, {})
        expected = {"FileVersion": version, "ProductVersion": version, "ProductName": product, "OriginalFilename": f"{name}.exe"}
        for key, value in expected.items():
            if texts.get(key) != value:
                yield f"{key} of language {language} is {texts.get(key)!r} instead of {value!r}"
        if not texts.get("FileDescription"):
            yield f"has no description in language {language}"
    fixed = image.VS_FIXEDFILEINFO[0] if hasattr(image, "VS_FIXEDFILEINFO") else None
    numbers = [int(part) for part in version.split(".")] + [0]
    if fixed is None or [fixed.FileVersionMS >> 16, fixed.FileVersionMS & 0xFFFF, fixed.FileVersionLS >> 16,
                         fixed.FileVersionLS & 0xFFFF] != numbers:
        yield f"its version number is not {version}"


def problems(path, name, version):
    image = pefile.PE(str(path))
    if path.stat().st_size >= MOST_BYTES:
        yield f"has {path.stat().st_size} bytes, {MOST_BYTES} or more"
    header, optional = image.FILE_HEADER, image.OPTIONAL_HEADER
    for flag, bit in FLAGS.items():
        if not optional.DllCharacteristics & bit:
            yield f"{flag} is off"
    if header.Characteristics & RELOCATIONS_STRIPPED or not optional.DATA_DIRECTORY[5].Size:
        yield "has no relocations, so its address cannot be chosen at random"
    if not header.Characteristics & LARGE_ADDRESSES:
        yield "is not aware of large addresses"
    if optional.Subsystem != PROGRAMS[name]:
        yield f"its subsystem is {optional.Subsystem} instead of {PROGRAMS[name]}"
    if header.TimeDateStamp != 0:
        yield "carries the time of its build"
    if header.NumberOfSymbols or hasattr(image, "DIRECTORY_ENTRY_DEBUG"):
        yield "carries symbols or debug information"
    for section in image.sections:
        if section.Characteristics & EXECUTE and section.Characteristics & WRITE:
            yield f"section {section.Name!r} can be written and executed"
    libraries = {entry.dll.decode().lower().removesuffix(".dll") for entry in image.DIRECTORY_ENTRY_IMPORT}
    for library in sorted(libraries - SYSTEM_LIBRARIES):
        yield f"imports {library}"
    if resource(image, ICON_GROUP) is None:
        yield "has no icon"
    yield from manifest_problems(resource(image, MANIFEST))
    yield from version_problems(image, name, version)
    for found in sorted({match.decode() for match in BUILD_PATHS.findall(path.read_bytes())}):
        yield f"names a folder of the machine that built it: {found}"


def main(folder, version):
    count = 0
    found = False
    for name in PROGRAMS:
        path = pathlib.Path(folder) / f"{name}.exe"
        if not path.exists():
            print(f"{path.name} is missing")
            found = True
            continue
        count += 1
        for problem in problems(path, name, version):
            print(f"{path.name} {problem}")
            found = True
    print(f"{count} executables read")
    return 1 if found else 0


if __name__ == "__main__":
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    sys.exit(main(sys.argv[1], sys.argv[2]))
