#!/usr/bin/env python3
"""Indexed files, written and read by the plainest steps. It shares nothing with the library.

indexed_reference.py golden DIRECTORY        makes the golden files
indexed_reference.py golden-check DIRECTORY  makes them anew, compares, and reads them back
"""
import pathlib
import struct
import sys

HEADER, NUMBERS = struct.Struct(">4BHI"), struct.Struct(">4i")
FIRST_SEGMENT, MORE = 128, 0x40


def written(steps, data_version=0, data_revision=0) -> bytes:
    """The file after each step (name, type, data, content); a name that comes again is written anew."""
    body, entries = bytearray(FIRST_SEGMENT), {}
    for name, kind, data, content in steps:
        entries[name] = (len(body), len(content), kind, data)  # a name keeps its place among the others
        body += content
    directory = b"".join(name + b"\0" + NUMBERS.pack(*numbers) for name, numbers in entries.items())
    revision = data_revision & ~MORE | (MORE if len(entries) > 65535 else 0)
    HEADER.pack_into(body, 0, 2, 0, data_version, revision, len(entries) % 65536, len(body))
    return bytes(body) + directory


def read(file: bytes):
    """Each segment as (name, offset, size, type, data)."""
    version, _, _, data_revision, count, at = HEADER.unpack_from(file)
    if version != 2:
        sys.exit(f"version {version}")
    for _ in range(count + (65536 if data_revision & MORE else 0)):
        end = file.index(b"\0", at)
        yield file[at:end], *NUMBERS.unpack_from(file, end + 1)
        at = end + 1 + NUMBERS.size


def golden():
    """The steps and the two data bytes of each file."""
    every_byte = bytes(range(256))
    return {
        "indexed_empty.idx": ([], 0, 0),
        "indexed_three.idx": ([
            (b"netlist", 1, 42, b"module top;\nendmodule\n"),
            (b"empty", -1, -2147483648, b""),
            (b"every byte", 2147483647, 0, every_byte),
        ], 3, 0x8F),
        "indexed_rewritten.idx": ([
            (b"first", 1, 10, b"what was here first"),
            (b"second", 2, 20, every_byte * 20),
            (b"first", 3, 30, b"what came later"),
        ], 255, 0x3F),
        "indexed_names.idx": ([
            (b"", 0, 0, b"of no name"),
            (b"n" * 255, 0, 1, b"of the longest name"),
            (bytes(range(128, 256)), 0, 2, b"of high bytes"),
            (b"top/core[0].alu:carry", 0, 3, b"of a path"),
        ], 0, 0),
    }  # fmt: skip


def check(path, steps, file):
    contents = {name: content for name, _, _, content in steps}
    seen = {name: file[offset:offset + size] for name, offset, size, *_ in read(file)}
    if path.read_bytes() != file or seen != contents:
        sys.exit(f"{path} is not what it should be")


def main(command, directory):
    for name, (steps, *data) in golden().items():
        path = pathlib.Path(directory, name)
        if command == "golden":
            path.write_bytes(written(steps, *data))
        else:
            check(path, steps, written(steps, *data))


if __name__ == "__main__":
    main(*sys.argv[1:])
