#!/usr/bin/env python3
"""Makes the golden encoded packs, support dump and pointer file, from the description of their forms alone.

packs_reference.py golden DIRECTORY        writes them
packs_reference.py golden-check DIRECTORY  compares them
"""
import pathlib
import struct
import sys

MAGIC = bytes([0x06, 0x1E, 0x43, 0x00, 0x09])
MEMBERS = {"alpha.dat": b"hello\r\nworld\n", "empty.dat": b"", "bytes.bin": bytes(range(256))}


def scrambled(part: bytes) -> bytes:
    """Each byte, exclusive-or the highest 8 of the low 32 bits of (position + 1) * 2654435761."""
    return bytes(b ^ ((i + 1) * 2654435761 & 0xFFFFFFFF) >> 24 for i, b in enumerate(part))


def pack(change) -> bytes:
    parts, catalog, end = [], "", 0
    for name, content in MEMBERS.items():
        end += len(content)
        parts.append(change(content))
        catalog += f"{name}\n{end}\n"
    return b"".join([change(b"%d\n" % end), *parts, change(catalog.encode())])


def dump() -> bytes:
    lines = [
        "[Daideix PAR]", "; first run", "effort = 5;", "offset = -2147483648;", "part = zv-100;", "free text", "",
        "[Two]", "; 100%", "key = a", "b;",
    ]  # fmt: skip
    return "".join(line + "\r\n" for line in lines).encode()


def graph() -> bytes:
    """A ring of three objects and one that points nowhere: own address, number, address of the next."""
    first, second, third, fourth = 0x00007FFE12345670, 0x1000, 0xFFFFFFFF00001000, 0x20
    rows = [(first, 1, second), (second, 2, third), (third, 3, first), (fourth, 4, 0)]
    return b"".join(struct.pack(">QiQ", *row) for row in rows)


def golden():
    return {
        "pack.etc": pack(bytes),
        "pack_scrambled.etc": MAGIC + pack(scrambled),
        "single_scrambled.dat": MAGIC + scrambled(MEMBERS["bytes.bin"]),
        "dump.asd": dump(),
        "graph.ptr": graph(),
    }


def main(command, directory):
    for name, content in golden().items():
        path = pathlib.Path(directory, name)
        if command == "golden":
            path.write_bytes(content)
        elif path.read_bytes() != content:
            sys.exit(f"{path} is not what it should be")


if __name__ == "__main__":
    main(*sys.argv[1:])
