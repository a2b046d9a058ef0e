#!/usr/bin/env python3
"""Packs the client kit: the same files give the same archive, whenever and wherever.

  client_kit.py NAME FOLDER ARCHIVE

NAME is the folder in the archive that holds the files of FOLDER.
"""
import pathlib
import stat
import sys
import zipfile

EARLIEST = (1980, 1, 1, 0, 0, 0)  # the format knows no time before, and the files' own times say nothing


def pack(name, folder, archive):
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as packed:
        for path in sorted(path for path in folder.rglob("*") if path.is_file()):
            entry = zipfile.ZipInfo(f"{name}/{path.relative_to(folder).as_posix()}", EARLIEST)
            entry.create_system = 3  # Unix, for the next line
            executable = path.stat().st_mode & stat.S_IXUSR
            entry.external_attr = (0o100755 if executable else 0o100644) << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            packed.writestr(entry, path.read_bytes())


if __name__ == "__main__":
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    pack(sys.argv[1], pathlib.Path(sys.argv[2]), sys.argv[3])
