#!/usr/bin/env python3
"""Reads the file formats of the library as docs/formats.md describes them, without the library.

    format_reader.py content <file>            the content of a file in any form, to standard output
    format_reader.py segments <file>           the directory of an indexed file
    format_reader.py check <writer> <folder>   lets <writer> write its files to a folder, and reads them
"""
import bz2
import pathlib
import struct
import subprocess
import sys
import zlib

PACKED = bytes.fromhex("5A5AA5A5C3C371")
GCA = bytes.fromhex("5B5BA6A6C4C472")
GCB = bytes.fromhex("5C5CA7A7C5C573")

LENGTH_BASES = [*range(3, 11), 11, 13, 15, 17, 19, 23, 27, 31, 35, 43, 51, 59, 67, 83, 99, 115, 131, 163, 195, 227, 258]
LENGTH_BITS = [0] * 8 + [bits for bits in range(1, 6) for _ in range(4)] + [6]
VALUE_BASES = [0, 1, 2, 3, 4, 5, 7, 9, 13, 17, 25, 33, 49, 65, 97, 129, 193, 257, 385, 513, 769, 1025, 1537, 2049, 3073,
               4097, 6145, 8193, 12289, 16385, 24577]
VALUE_BITS = [0] * 5 + [bits for bits in range(1, 14) for _ in range(2)]


class Bits:
    """The bits of packed data, the least significant one of each byte first."""

    def __init__(self, data):
        self.data, self.at, self.held, self.count = data, 0, 0, 0

    def take(self, count):
        while self.count < count:
            self.held |= self.data[self.at] << self.count  # IndexError where the data end too early
            self.at += 1
            self.count += 8
        value = self.held & (1 << count) - 1
        self.held >>= count
        self.count -= count
        return value


class Node:
    def __init__(self, weight, word=None):
        self.weight, self.word = weight, word
        self.parent = self.left = self.right = None
        self.depth = 0

    def set_children(self, left, right):
        self.left, self.right = left, right
        left.parent = right.parent = self
        for child in (left, right):
            child.sink(self.depth + 1)

    def sink(self, depth):
        self.depth = depth
        if self.left is not None:
            self.left.sink(depth + 1)
            self.right.sink(depth + 1)


class Tree:
    def __init__(self, weights):
        self.leaves = [Node(weight, word) for word, weight in enumerate(weights)]
        self.build()

    def build(self, each=lambda leaf: None):
        self.root = None
        for leaf in self.leaves:
            leaf.parent, leaf.depth = None, 0
            self.insert(leaf)
            each(leaf)

    def insert(self, leaf):
        if self.root is None:
            self.root = leaf
        elif self.root.left is None:
            self.root = self.joined(leaf, self.root)
        else:
            node = self.root
            while True:
                child = node.right if node.left.weight >= node.right.weight else node.left
                node.weight += leaf.weight
                if child.left is None or child.weight <= leaf.weight:
                    break
                node = child
            on_left = child is node.left
            inner = self.joined(child, leaf)
            node.set_children(*((inner, node.right) if on_left else (node.left, inner)))

    @staticmethod
    def joined(left, right):
        inner = Node(left.weight + right.weight)
        inner.set_children(left, right)
        return inner

    def read(self, bits):
        node = self.root
        while node.left is not None:
            node = node.right if bits.take(1) else node.left
        return node.word


class AdaptiveTree(Tree):
    def __init__(self, words):
        super().__init__([1] * words)
        listed, self.list = set(), []
        for leaf in self.leaves:
            node = leaf
            while node is not None and id(node) not in listed:
                listed.add(id(node))
                self.list.append(node)
                node = node.parent
        self.order()

    def order(self):
        self.sort(0, len(self.list))
        for place, node in enumerate(self.list):
            node.place = place

    def sort(self, begin, count):
        if count < 2:
            return
        nodes = self.list
        hole, i = begin + count // 2, begin
        pivot = nodes[hole]
        while i < begin + count:
            if i > hole and nodes[i].weight < pivot.weight:
                nodes[hole], nodes[i] = nodes[i], nodes[hole + 1]
                hole += 1
            elif i < hole and nodes[i].weight > pivot.weight:
                nodes[hole], nodes[i] = nodes[i], nodes[hole - 1]
                hole -= 1
                continue
            i += 1
        nodes[hole] = pivot
        self.sort(begin, hole - begin)
        self.sort(hole + 1, begin + count - hole - 1)

    def exchange_places(self, one, other):
        self.list[one.place], self.list[other.place] = other, one
        one.place, other.place = other.place, one.place

    def update(self, word):
        node = self.leaves[word]
        while node is not self.root:
            first = last = node.place
            while first > 0 and self.list[first - 1].weight == node.weight:
                first -= 1
            while self.list[last + 1].weight == node.weight:
                last += 1
            highest = self.list[first]
            for other in self.list[first:last + 1]:
                if other.depth <= highest.depth:
                    highest = other
            if highest.place != last:
                self.exchange_places(highest, self.list[last])
            if node.place != last:
                other = self.list[last]
                self.exchange_places(node, other)
                self.exchange_in_tree(node, other)
            node.weight += 1
            node = node.parent
        node.weight += 1
        if node.weight >= 2048:
            self.rescale()

    @staticmethod
    def exchange_in_tree(one, other):
        first, second = one.parent, other.parent
        first_left, second_left = first.left is one, second.left is other
        if first is second:
            first.set_children(first.right, first.left)
            return
        first.set_children(*((other, first.right) if first_left else (first.left, other)))
        second.set_children(*((one, second.right) if second_left else (second.left, one)))

    def rescale(self):
        for leaf in self.leaves:
            leaf.weight = max(leaf.weight >> 3, 1)
        self.list = []

        def enter(leaf):
            self.list.append(leaf)
            if leaf.parent is not None:
                self.list.append(leaf.parent)

        self.build(enter)
        self.order()


def read_value(tree, bits, value_class=None):
    value_class = tree.read(bits) if value_class is None else value_class
    return VALUE_BASES[value_class] + bits.take(VALUE_BITS[value_class])


def read_weights(tree, bits, count):
    """The weights of a table; none at the end of the file."""
    weights = []
    while len(weights) < count:
        value_class = tree.read(bits)
        tree.update(value_class)
        if value_class == 31:
            return None
        weights.append(read_value(tree, bits, value_class))
    return weights


def unpacked(data):
    if not data:
        return b""
    bits, out = Bits(data), bytearray()
    literals, offsets, weight_tree = Tree([1] * 286), Tree([1] * 31), AdaptiveTree(32)
    while True:
        word = literals.read(bits)
        if word < 256:
            out.append(word)
        elif word == 256:
            weights = read_weights(weight_tree, bits, 317)
            if weights is None:
                return bytes(out)
            literals, offsets = Tree(weights[:286]), Tree(weights[286:])
        else:
            length = LENGTH_BASES[word - 257] + bits.take(LENGTH_BITS[word - 257])
            offset = read_value(offsets, bits)
            for _ in range(length):
                out.append(out[-offset])


def expanded(data, expand):
    """The content of a file in blocks."""
    out, at = bytearray(), 0
    while at < len(data):
        (count,) = struct.unpack_from(">i", data, at)
        out += expand(data[at + 4:at + 4 + count])
        at += 4 + count
    return bytes(out)


def content(path):
    data = pathlib.Path(path).read_bytes()
    if data.startswith(PACKED):
        assert data[7:9] == b"11", "another version"
        return unpacked(data[9:])
    if data.startswith(GCA):
        return expanded(data[7:], zlib.decompress)
    if data.startswith(GCB):
        return expanded(data[7:], bz2.decompress)
    return data


def segments(path):
    """The segments of an indexed file: name, type, number, content."""
    data = content(path)
    version, revision, _, data_revision, count, directory = struct.unpack_from(">BBBBHI", data)
    assert (version, revision) == (2, 0), "no indexed file, or another version"
    count += 65536 if data_revision & 0x40 else 0
    found, at = [], directory
    for _ in range(count):
        end = data.index(0, at)
        offset, size, kind, number = struct.unpack_from(">iiii", data, end + 1)
        found.append((data[at:end].decode("latin-1"), kind, number, data[offset:offset + size]))
        at = end + 17
    return found


def graph(path):
    """The objects of the pointer file that the writer of the check makes: a count, and for each object its
    address, its number, and two pointers to others."""
    data = content(path)
    (count,) = struct.unpack_from(">i", data)
    objects = {}
    for i in range(count):
        address, number, one, other = struct.unpack_from(">QiQQ", data, 4 + 28 * i)
        objects[address] = (number, one, other)
    assert len(data) == 4 + 28 * count

    def number_of(address):
        return objects[address][0] if address else None

    return {number: (number_of(one), number_of(other)) for number, one, other in objects.values()}


# ---- the check

def made_content(size):
    """The content that the writer of the check makes: runs, text and noise, by a generator of numbers."""
    out, state = bytearray(), 12345
    while len(out) < size:
        state = (state * 1103515245 + 12345) & 0x7FFFFFFF
        kind = state >> 16 & 3
        if kind == 0:
            out += bytes([state >> 8 & 255]) * ((state >> 20) % 400)
        elif kind == 1:
            out += b"net n%d drives input i%d\n" % (state >> 18, state >> 24)
        elif kind == 2:
            out.append(state >> 12 & 255)
        else:
            back = (state >> 8) % 5000
            out += out[-back - 40:len(out) - back] if back + 40 <= len(out) else b""
    return bytes(out[:size])


def check(writer, folder):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True, exist_ok=True)
    subprocess.run([writer, str(folder)], check=True)
    for size in (0, 1, 100, 16384, 16385, 150000):
        for form in ("packed", "gca", "gcb", "plain"):
            name = folder / f"{form}.{size}"
            assert content(name) == made_content(size), name
    assert segments(folder / "indexed") == [
        (f"segment {i}", i, 1000 * i - 3, made_content(i * i * 10)) for i in range(40)]
    assert segments(folder / "indexed.empty") == []
    assert segments(folder / "indexed.many") == [(str(i), i, -i, b"") for i in range(65600)]
    nodes = 500
    assert graph(folder / "graph") == {
        i: ((i + 1) % nodes, (i * 7) % nodes if i % 3 else None) for i in range(nodes)}
    print("all files read")


def main(arguments):
    if len(arguments) == 2 and arguments[0] == "content":
        sys.stdout.buffer.write(content(arguments[1]))
    elif len(arguments) == 2 and arguments[0] == "segments":
        for name, kind, number, data in segments(arguments[1]):
            print(name, kind, number, len(data))
    elif len(arguments) == 3 and arguments[0] == "check":
        check(*arguments[1:])
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main(sys.argv[1:])
