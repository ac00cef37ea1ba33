#!/usr/bin/env python3
"""Packed files, written and read by the plainest steps.

    packed_reference.py pack <in> <out> [block]   block: bytes per call of the packer, 16384 if not given
    packed_reference.py unpack <in> <out>
    packed_reference.py check <packed> <plain>    the first must hold the second
    packed_reference.py golden <directory>        makes the golden files and their list anew
    packed_reference.py golden-check <directory>  they must be what this program makes of them
    packed_reference.py beside <program>          <program> <in> <out> <block> must write as this one

It shares nothing with the library, so that each may be checked against the other. It is slow.
"""
import pathlib
import subprocess
import sys
import tempfile
import zlib

HEAD = bytes.fromhex("5A5AA5A5C3C37131" "31")
BLOCK = 16384

# Lengths: base and further bits of the words 257 to 285.
LENGTHS = [(3, 0), (4, 0), (5, 0), (6, 0), (7, 0), (8, 0), (9, 0), (10, 0), (11, 1), (13, 1), (15, 1), (17, 1),
           (19, 2), (23, 2), (27, 2), (31, 2), (35, 3), (43, 3), (51, 3), (59, 3), (67, 4), (83, 4), (99, 4),
           (115, 4), (131, 5), (163, 5), (195, 5), (227, 5), (258, 6)]
# Offsets and weights: base and further bits of the classes 0 to 30.
CLASSES = [(0, 0), (1, 0), (2, 0), (3, 0), (4, 0), (5, 1), (7, 1), (9, 2), (13, 2), (17, 3), (25, 3), (33, 4),
           (49, 4), (65, 5), (97, 5), (129, 6), (193, 6), (257, 7), (385, 7), (513, 8), (769, 8), (1025, 9),
           (1537, 9), (2049, 10), (3073, 10), (4097, 11), (6145, 11), (8193, 12), (12289, 12), (16385, 13),
           (24577, 13)]
LITERALS, OFFSETS, WEIGHTS = 286, 31, 32
TABLE, FIRST_LENGTH, END = 256, 257, 31
WINDOW, LONGEST, MOST_WEIGHT = 32768, 321, 32768


def code_of(table, value):
    """The last entry whose base is not above the value, searched from the first one on."""
    found = 0
    for index, (base, _) in enumerate(table):
        if base > value:
            break
        found = index
    return found


# ---- bits

class BitWriter:
    def __init__(self):
        self.bits = []

    def put(self, value, count):
        for place in range(count):
            self.bits.append(value >> place & 1)

    def result(self):
        out = bytearray()
        for start in range(0, len(self.bits), 8):
            out.append(sum(bit << place for place, bit in enumerate(self.bits[start:start + 8])))
        return bytes(out)


class EndOfInput(Exception):
    """A bit beyond the last byte was asked for."""


class BitReader:
    def __init__(self, data):
        self.data = data
        self.place = 0

    def bit(self):
        byte, shift = divmod(self.place, 8)
        if byte >= len(self.data):
            raise EndOfInput
        self.place += 1
        return self.data[byte] >> shift & 1

    def get(self, count):
        return sum(self.bit() << place for place in range(count))


# ---- trees

class Node:
    def __init__(self, weight=0, word=None):
        self.parent = self.left = self.right = None
        self.weight = weight
        self.word = word
        self.depth = 0

    def is_leaf(self):
        return self.left is None


class Tree:
    def __init__(self, words):
        self.leaves = [Node(1, word) for word in range(words)]
        self.root = None
        self.rebuild()

    def rebuild(self):
        self.root = None
        for leaf in self.leaves:
            self.insert(leaf)

    def insert(self, leaf):
        leaf.parent = None
        leaf.depth = 0
        if self.root is None:
            self.root = leaf
        elif self.root.is_leaf():
            self.root = self.join(leaf, self.root, None)
        else:
            node = self.root
            while True:
                side = "right" if node.left.weight >= node.right.weight else "left"
                node.weight += leaf.weight
                child = getattr(node, side)
                if child.is_leaf() or child.weight <= leaf.weight:
                    setattr(node, side, self.join(child, leaf, node))
                    return
                node = child

    def join(self, left, right, parent):
        inner = Node(left.weight + right.weight)
        inner.left, inner.right, inner.parent = left, right, parent
        inner.depth = parent.depth + 1 if parent else 0
        left.parent = right.parent = inner
        self.set_depths(inner)
        return inner

    def set_depths(self, node):
        if not node.is_leaf():
            for child in (node.left, node.right):
                child.depth = node.depth + 1
                self.set_depths(child)

    def path(self, word):
        bits = []
        node = self.leaves[word]
        while node.parent is not None:
            bits.append(1 if node is node.parent.right else 0)
            node = node.parent
        return bits[::-1]

    def put(self, out, word):
        out.bits.extend(self.path(word))

    def get(self, bits):
        node = self.root
        while not node.is_leaf():
            node = node.right if bits.bit() else node.left
        return node.word


def hole_sort(nodes, first, count):
    """In place; which of two equal weights comes first is a part of the format."""
    if count < 2:
        return
    hole = count // 2
    pivot = nodes[first + hole]
    i = 0
    while i < count:
        if i > hole and nodes[first + i].weight < pivot.weight:
            nodes[first + hole] = nodes[first + i]
            nodes[first + i] = nodes[first + hole + 1]
            hole += 1
        elif i < hole and nodes[first + i].weight > pivot.weight:
            nodes[first + hole] = nodes[first + i]
            nodes[first + i] = nodes[first + hole - 1]
            hole -= 1
            continue
        i += 1
    nodes[first + hole] = pivot
    hole_sort(nodes, first, hole)
    hole_sort(nodes, first + hole + 1, count - hole - 1)


class AdaptiveTree(Tree):
    def __init__(self, words):
        super().__init__(words)
        self.list = []
        for leaf in self.leaves:
            node = leaf
            while node is not None and not self.listed(node):
                self.list.append(node)
                node = node.parent
        hole_sort(self.list, 0, len(self.list))

    def listed(self, node):
        return any(other is node for other in self.list)

    def index(self, node):
        return next(i for i, other in enumerate(self.list) if other is node)

    def count(self, word):
        node = self.leaves[word]
        while node is not self.root:
            here = self.index(node)
            first = here
            while first > 0 and self.list[first - 1].weight == node.weight:
                first -= 1
            last = first
            nearest = first
            while last + 1 < len(self.list) and self.list[last + 1].weight == node.weight:
                last += 1
                if self.list[last].depth <= self.list[nearest].depth:
                    nearest = last
            self.list[nearest], self.list[last] = self.list[last], self.list[nearest]
            if self.list[last] is not node:
                other = self.list[last]
                here = self.index(node)
                self.list[here], self.list[last] = other, node
                self.exchange(node, other)
            node.weight += 1
            node = node.parent
        self.root.weight += 1
        if self.root.weight >= 2048:
            self.rescale()

    def exchange(self, one, other):
        parent = one.parent
        if parent is other.parent:
            parent.left, parent.right = parent.right, parent.left
            return
        one_side = "left" if one.parent.left is one else "right"
        other_side = "left" if other.parent.left is other else "right"
        setattr(one.parent, one_side, other)
        setattr(other.parent, other_side, one)
        one.parent, other.parent = other.parent, one.parent
        for node in (one, other):
            node.depth = node.parent.depth + 1
            self.set_depths(node)

    def rescale(self):
        for leaf in self.leaves:
            leaf.weight = max(leaf.weight >> 3, 1)
        self.root = None
        self.list = []
        for leaf in self.leaves:
            self.insert(leaf)
            self.list.append(leaf)
            if leaf.parent is not None:
                self.list.append(leaf.parent)
        hole_sort(self.list, 0, len(self.list))


# ---- writing

class Packer:
    def __init__(self):
        self.out = BitWriter()
        self.content = b""
        self.buckets = {}
        self.literals, self.offsets, self.weights = Tree(LITERALS), Tree(OFFSETS), AdaptiveTree(WEIGHTS)

    def hash(self, at):
        if at >= len(self.content) - 2:
            return -1
        a, b, c = self.content[at:at + 3]
        return a << 8 ^ b << 4 ^ c

    def longest(self, at):
        best_at, best = -1, 0
        limit = min(LONGEST, len(self.content) - at)
        if limit < 3:
            return best_at, best
        for candidate in reversed(self.buckets.get(self.hash(at), [])):
            if at - candidate >= WINDOW:
                break
            count = 0
            while count < limit and self.content[candidate + count] == self.content[at + count]:
                count += 1
            if count > best:
                best_at, best = candidate, count
                if best >= 7 or best == limit:
                    break
        return best_at, best

    def block(self, data):
        at = len(self.content)
        self.content += data
        tokens = []
        literal_weights, offset_weights = [0] * LITERALS, [0] * OFFSETS
        literal_weights[TABLE] = 1
        while at < len(self.content):
            match_at, length = self.longest(at)
            match = length >= 3
            if match and length < LONGEST and self.longest(at + 1)[1] >= length:
                match = False
            if match:
                code, offset = code_of(LENGTHS, length), at - match_at
                offset_class = code_of(CLASSES, offset)
                tokens.append((FIRST_LENGTH + code, length - LENGTHS[code][0], LENGTHS[code][1], offset_class,
                               offset - CLASSES[offset_class][0], CLASSES[offset_class][1]))
                literal_weights[FIRST_LENGTH + code] += 1
                offset_weights[offset_class] += 1
            else:
                tokens.append((self.content[at],))
                literal_weights[self.content[at]] += 1
                length = 1
            for _ in range(length):
                if at < len(self.content) - 2:
                    self.buckets.setdefault(self.hash(at), []).append(at)
                at += 1
        self.table(literal_weights, offset_weights)
        for token in tokens:
            self.literals.put(self.out, token[0])
            if len(token) > 1:
                self.out.put(token[1], token[2])
                self.offsets.put(self.out, token[3])
                self.out.put(token[4], token[5])

    def table(self, literal_weights, offset_weights):
        self.literals.put(self.out, TABLE)
        for tree, weights in ((self.literals, literal_weights), (self.offsets, offset_weights)):
            for leaf, weight in zip(tree.leaves, weights):
                leaf.weight = min(weight, MOST_WEIGHT)
                code = code_of(CLASSES, leaf.weight)
                self.weights.put(self.out, code)
                self.weights.count(code)
                self.out.put(leaf.weight - CLASSES[code][0], CLASSES[code][1])
        self.literals.rebuild()
        self.offsets.rebuild()

    def end(self):
        self.literals.put(self.out, TABLE)
        self.weights.put(self.out, END)
        return self.out.result()


def pack(data, block=BLOCK):
    """The file that a stream with a buffer of `block` bytes writes."""
    packer = Packer()
    for start in range(0, len(data), block):
        packer.block(data[start:start + block])
    return HEAD + packer.end() if data else HEAD


# ---- reading

def read_table(bits, literals, offsets, weights):
    """False for the end mark."""
    for tree in (literals, offsets):
        for leaf in tree.leaves:
            code = weights.get(bits)
            weights.count(code)
            if code == END:
                return False
            leaf.weight = CLASSES[code][0] + bits.get(CLASSES[code][1])
    literals.rebuild()
    offsets.rebuild()
    return True


def unpack(file):
    """The content; what there is of it where the file was cut off."""
    if file[:9] != HEAD:
        raise ValueError("no packed file")
    bits = BitReader(file[9:])
    content = bytearray()
    literals, offsets, weights = Tree(LITERALS), Tree(OFFSETS), AdaptiveTree(WEIGHTS)
    try:
        while True:
            word = literals.get(bits)
            if word < TABLE:
                content.append(word)
            elif word == TABLE:
                if not read_table(bits, literals, offsets, weights):
                    return bytes(content)
            else:
                base, count = LENGTHS[word - FIRST_LENGTH]
                length = base + bits.get(count)
                base, count = CLASSES[offsets.get(bits)]
                offset = base + bits.get(count)
                if not 0 < offset <= len(content):
                    raise ValueError("bogus offset")
                for _ in range(length):
                    content.append(content[-offset])
    except EndOfInput:
        return bytes(content)


# ---- the golden files

class Numbers:
    """Knuth's linear congruential numbers, of which the high bits are used."""

    def __init__(self, seed):
        self.state = seed

    def below(self, limit):
        self.state = (self.state * 6364136223846793005 + 1442695040888963407) % 2 ** 64
        return (self.state >> 33) % limit


def random_bytes(count, seed):
    numbers = Numbers(seed)
    return bytes(numbers.below(256) for _ in range(count))


def text(count, seed):
    numbers = Numbers(seed)
    words = ("net", "cell", "slack", "clock", "buffer", "route", "of", "the", "from", "to", "delay", "path",
             "input", "output", "pin", "constraint", "device", "and", "is", "not", "met", "level", "logic")
    out = ""
    while len(out) < count:
        out += words[numbers.below(len(words))] + (" " if numbers.below(9) else f" {numbers.below(1000)}.\n")
    return out[:count].encode()


def mixed(count, seed):
    """Text, numbers of four bytes and noise in turn, in stretches of up to 3000 bytes."""
    numbers = Numbers(seed)
    out = b""
    while len(out) < count:
        length = 1 + numbers.below(3000)
        kind = numbers.below(3)
        if kind == 0:
            out += text(length, numbers.below(2 ** 31))
        elif kind == 1:
            out += random_bytes(length, numbers.below(2 ** 31))
        else:
            start = numbers.below(10 ** 6)
            out += b"".join((start + 3 * i).to_bytes(4, "big") for i in range(length // 4))
    return out[:count]


def unlike_pairs(count):
    """Bytes of which no three are alike for long: 0 1 0 2 0 3 ..."""
    return bytes(0 if i % 2 == 0 else i // 2 % 256 for i in range(count))


GOLDEN = {  # name: content, bytes per call of the packer
    "packed_one_byte": (lambda: b"A", BLOCK),
    "packed_every_byte": (lambda: bytes(range(256)), BLOCK),
    "packed_equal_70000": (lambda: b"\x55" * 70000, BLOCK),
    "packed_alternating": (lambda: b"ab" * 10000, BLOCK),
    "packed_text": (lambda: text(12000, 1), BLOCK),
    "packed_text_blocks": (lambda: text(40000, 2), BLOCK),
    "packed_random": (lambda: random_bytes(17000, 3), BLOCK),
    "packed_unlike_pairs": (lambda: unlike_pairs(9000), BLOCK),
    "packed_mixed": (lambda: mixed(70000, 4), BLOCK),
    "packed_many_blocks": (lambda: text(26000, 5), 2048),
    "packed_small_blocks": (lambda: text(9000, 12), 300),
    "packed_edge_16383": (lambda: mixed(16383, 6), BLOCK),
    "packed_edge_16384": (lambda: mixed(16384, 7), BLOCK),
    "packed_edge_16385": (lambda: mixed(16385, 8), BLOCK),
    "packed_edge_32771": (lambda: mixed(32771, 9), BLOCK),
    "packed_cut_weights": (lambda: b"".join(bytes((7, i // 256, i % 256)) for i in range(34000)), 102000),
    "packed_far": (lambda: (lambda far: far + random_bytes(32767 - 40, 11) + far + b"!" + far)(text(40, 10)), BLOCK),
    "packed_too_far": (lambda: (lambda far: far + random_bytes(32768 - 40, 13) + far + b"!" + far)(text(40, 10)),
                       BLOCK),
}


def false_match(offset_class, extra):
    """The byte "A", a match that begins in front of the content, and a sound rest."""
    packer = Packer()
    literal_weights, offset_weights = [0] * LITERALS, [0] * OFFSETS
    for word in (ord("A"), ord("B"), TABLE, FIRST_LENGTH):
        literal_weights[word] = 1
    offset_weights[offset_class] = 1
    packer.table(literal_weights, offset_weights)
    packer.literals.put(packer.out, ord("A"))
    packer.literals.put(packer.out, FIRST_LENGTH)
    packer.offsets.put(packer.out, offset_class)
    packer.out.put(extra, CLASSES[offset_class][1])
    packer.literals.put(packer.out, ord("B"))
    return HEAD + packer.end()


def shapes():
    """Lines of weights and the codes that they make, word by word."""
    numbers = Numbers(20)
    cases = [[1] * n for n in (1, 2, 3, 4, 5, 16, 31)]
    cases += [[0, 0, 0, 0], [5, 1, 1, 1, 1], [1, 1, 1, 1, 5], [8, 4, 2, 1], [1, 2, 4, 8], [0, 7, 0, 7, 0, 32768]]
    cases += [[2 ** i for i in range(15)], [2 ** i for i in range(14, -1, -1)], list(range(64))]
    cases += [[numbers.below(1 + numbers.below(200)) for _ in range(n)] for n in (7, 31, 100, 286)]
    for weights in cases:
        tree = Tree(len(weights))
        for leaf, weight in zip(tree.leaves, weights):
            leaf.weight = weight
        tree.rebuild()
        codes = ("".join(map(str, tree.path(word))) or "-" for word in range(len(weights)))
        yield f"{len(weights)} {' '.join(map(str, weights))} {' '.join(codes)}\n"


def adaptions():
    """Lines: words of the tree, words sent, seed, CRC-32 of the bytes. Low words are the frequent ones."""
    for words, count in ((1, 10), (2, 300), (3, 2500), (5, 4500), (32, 100), (32, 9000), (41, 5000)):
        numbers = Numbers(words)
        tree, out = AdaptiveTree(words), BitWriter()
        for _ in range(count):
            word = numbers.below(1 + numbers.below(words))
            tree.put(out, word)
            tree.count(word)
        yield f"{words} {count} {words} {zlib.crc32(out.result()):08X}\n"


def golden():
    """The name of each file, and its bytes. The list tells of the contents: name, bytes per call of the
    packer, length, CRC-32."""
    lines = []
    for name, (make, block) in GOLDEN.items():
        content = make()
        packed = pack(content, block)
        assert unpack(packed) == content, name
        lines.append(f"{name} {block} {len(content)} {zlib.crc32(content):08X}\n")
        yield name + ".packed", packed
    yield "packed_contents.txt", "".join(lines).encode()
    yield "packed_shapes.txt", "".join(shapes()).encode()
    yield "packed_adaptions.txt", "".join(adaptions()).encode()
    yield "packed_false_offset_0.packed", false_match(0, 0)
    yield "packed_false_offset_2.packed", false_match(2, 0)
    yield "packed_false_offset_32768.packed", false_match(30, 8191)


def golden_check(directory):
    for name, expected in golden():
        if pathlib.Path(directory, name).read_bytes() != expected:
            sys.exit(f"{name} is not what it should be")


def beside(program):
    """Lets another program write packed files, which must hold what was asked for, and be as our own."""
    numbers = Numbers(30)
    with tempfile.TemporaryDirectory() as directory:
        plain, packed = pathlib.Path(directory, "plain"), pathlib.Path(directory, "packed")
        for length in (0, 1, 2, 3, 100, 2047, 2048, 2049, 5000, 16384, 20000):
            content = mixed(length, numbers.below(1000)) if length else b""
            plain.write_bytes(content)
            for block in (2048, BLOCK):
                subprocess.run([program, plain, packed, str(block)], check=True)
                if unpack(packed.read_bytes()) != content:
                    sys.exit(f"{length} bytes in blocks of {block} are not what was written")
                if packed.read_bytes() != pack(content, block):
                    sys.exit(f"{length} bytes in blocks of {block} are packed in another way")


def main(command, *arguments):
    if command == "beside":
        beside(*arguments)
        return
    if command == "golden":
        for name, made in golden():
            pathlib.Path(arguments[0], name).write_bytes(made)
        return
    if command == "golden-check":
        golden_check(*arguments)
        return
    source = pathlib.Path(arguments[0]).read_bytes()
    if command == "check":
        if unpack(source) != pathlib.Path(arguments[1]).read_bytes():
            sys.exit(f"{arguments[0]} does not hold {arguments[1]}")
        return
    block = [int(number) for number in arguments[2:]]
    pathlib.Path(arguments[1]).write_bytes(pack(source, *block) if command == "pack" else unpack(source))


if __name__ == "__main__":
    main(*sys.argv[1:])
