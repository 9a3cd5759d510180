"""Packs pictures into an icon file of Windows: make_ico.py ICON PNG...

The format takes whole PNG files, each named by its sides, of which 0 stands for 256.
"""

import pathlib
import struct
import sys

HEADER = struct.Struct("<HHH")
ENTRY = struct.Struct("<BBBBHHII")
ICON = 1
PLANES = 1
BITS = 32


def sides(png):
    """Width and height stand right behind the signature and the first chunk's head."""
    return struct.unpack(">II", png[16:24])


def main(icon, *names):
    pictures = [pathlib.Path(name).read_bytes() for name in names]
    offset = HEADER.size + len(pictures) * ENTRY.size
    entries = []
    for png in pictures:
        width, height = sides(png)
        entries.append(ENTRY.pack(width % 256, height % 256, 0, 0, PLANES, BITS, len(png), offset))
        offset += len(png)
    pathlib.Path(icon).write_bytes(b"".join([HEADER.pack(0, ICON, len(pictures)), *entries, *pictures]))


main(*sys.argv[1:])
