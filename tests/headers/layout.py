#!/usr/bin/env python3
"""layout.py <compiler> <header directory> <work directory>

Compiles the umbrella header as different tools would, reads back from the debug information how each
compilation lays out every class of the public headers (size, fields, bases, slots of the virtual
functions), and fails if two of them differ.
"""
import difflib
import pathlib
import re
import subprocess
import sys

WAYS = [
    ["-std=c++17", "-O2", "-DNDEBUG"],
    ["-std=c++20", "-O0"],
    ["-std=c++17", "-O0", "-D_GLIBCXX_ASSERTIONS"],
    ["-std=c++20", "-O1", "-fsanitize=address,undefined"],
    ["-std=c++17", "-O1", "-fsanitize=thread"],
]
CLASSES = {"DW_TAG_class_type", "DW_TAG_structure_type", "DW_TAG_union_type"}
DIE = re.compile(r" <([0-9a-f]+)><[0-9a-f]+>: Abbrev Number: \d+ \((DW_TAG_\w+)\)")
ATTRIBUTE = re.compile(r"\s+<[0-9a-f]+>\s+DW_AT_(\w+)\s*: (.*)")
FILE_ENTRY = re.compile(r"\s+(\d+)\s+\d+\s+\(.*\): (.+)")


def readelf(section, object_file):
    return subprocess.run(["readelf", f"--debug-dump={section}", object_file],
                          check=True, capture_output=True, text=True).stdout.splitlines()


def public_files(object_file, headers):
    """The numbers that the debug information gives to the public headers."""
    lines = readelf("rawline", object_file)
    start = next(i for i, line in enumerate(lines) if "File Name Table" in line)
    entries = (FILE_ENTRY.fullmatch(line) for line in lines[start:])
    return {int(e[1]) for e in entries if e and pathlib.PurePath(e[2]).name in headers}


def entries(object_file):
    """Yields depth, tag and attributes of each entry of the debug information."""
    found = None
    for line in readelf("info", object_file):
        if die := DIE.match(line):
            if found:
                yield found
            found = (int(die[1], 16), die[2], {})
        elif found and (attribute := ATTRIBUTE.match(line)):
            value = attribute[2].rstrip()
            found[2][attribute[1]] = value.rpartition("): ")[2] if value.startswith("(") else value
    if found:
        yield found


def row(tag, at):
    """What an entry below a class adds to its layout, or None."""
    if tag == "DW_TAG_member" and ("data_member_location" in at or "data_bit_offset" in at):
        return f"{at.get('name', '(unnamed)')} at {at.get('data_member_location') or at['data_bit_offset'] + ' bits'}"
    if tag == "DW_TAG_inheritance":
        return f"base at {at['data_member_location']}"
    if tag == "DW_TAG_subprogram" and "vtable_elem_location" in at:
        return f"slot {at['vtable_elem_location'].partition('constu: ')[2].rstrip(')')}: {at.get('linkage_name', at['name'])}"
    return None


def layout(object_file, headers):
    ours = public_files(object_file, headers)
    names, table = {}, set()
    for depth, tag, at in entries(object_file):
        names = {level: name for level, name in names.items() if level < depth}
        if tag in CLASSES or tag == "DW_TAG_namespace":
            names[depth] = at.get("name", "(unnamed)")
            where = "::".join(names.values())
            if tag in CLASSES and "byte_size" in at and int(at.get("decl_file", "-1").split()[0]) in ours:
                names[depth + 0.5] = ""  # marks that what follows belongs to a public class
                table.add(f"{where}: {at['byte_size']} bytes")
        elif depth - 0.5 in names and (found := row(tag, at)):
            table.add("::".join(name for name in names.values() if name) + f": {found}")
    return sorted(table)


def main(compiler, header_directory, work_directory):
    # Without these a class is described only where its first virtual function is compiled.
    all_classes = ["-fstandalone-debug", "-O0"] if "clang" in compiler else ["-femit-class-debug-always"]
    tell_all = ["-g", "-fno-eliminate-unused-debug-types", *all_classes]
    headers = {path.name for path in pathlib.Path(header_directory).glob("*.h")}
    first = None
    for number, way in enumerate(WAYS):
        object_file = pathlib.Path(work_directory) / f"layout{number}.o"
        subprocess.run([compiler, *way, *tell_all, "-I", header_directory, "-x", "c++", "-c", "-", "-o", object_file],
                       input='#include "ketriope.h"', check=True, text=True)
        found = layout(object_file, headers)
        if first is None:
            first = found
            print("\n".join(found))
        elif found != first:
            print("\n".join(difflib.unified_diff(first, found, " ".join(WAYS[0]), " ".join(way), lineterm="")))
            return 1
    return 0 if first else "no class of the public headers was found"


sys.exit(main(*sys.argv[1:]))
