#!/usr/bin/env python3
"""Computes the starting tables of the Blowfish cipher and prints them as C++.

The tables are the first 1042 words of 32 bits of the fraction of pi: 18 subkeys, then four
substitution boxes of 256 words. Run from the top of the repository:

    scripts/make_blowfish_tables.py > base/utilities/basutil/basutblowfish_tables.inc
"""

SUBKEYS = 18
BOXES = 4
BOX_WORDS = 256
WORDS = SUBKEYS + BOXES * BOX_WORDS
GUARD_BITS = 64  # more than the roundings of the two series can spoil


def arctan_of_inverse(n, one):
    """arctan(1 / n) as a multiple of 1 / one, by its series."""
    power = one // n
    total = 0
    sign = 1
    divisor = 1
    while power:
        total += sign * (power // divisor)
        power //= n * n
        sign = -sign
        divisor += 2
    return total


def fraction_of_pi(bits):
    """The first `bits` bits of pi behind the point, by Machin's formula."""
    one = 1 << (bits + GUARD_BITS)
    pi = 4 * (4 * arctan_of_inverse(5, one) - arctan_of_inverse(239, one))
    return (pi - 3 * one) >> GUARD_BITS


def rows(words, indent):
    for start in range(0, len(words), 8):
        yield indent + ", ".join(f"0x{word:08x}" for word in words[start:start + 8]) + ","


def main():
    digits = fraction_of_pi(32 * WORDS)
    words = [digits >> (32 * (WORDS - 1 - i)) & 0xFFFFFFFF for i in range(WORDS)]
    print("// basutblowfish_tables.inc: made by scripts/make_blowfish_tables.py; the hexadecimal digits of pi.")
    print(f"constexpr std::array<std::uint32_t, {SUBKEYS}> k_first_subkeys{{{{")
    print(*rows(words[:SUBKEYS], "    "), sep="\n")
    print("}};")
    print(f"constexpr std::array<std::array<std::uint32_t, {BOX_WORDS}>, {BOXES}> k_first_boxes{{{{")
    for box in range(BOXES):
        start = SUBKEYS + box * BOX_WORDS
        print("    {{")
        print(*rows(words[start:start + BOX_WORDS], "        "), sep="\n")
        print("    }},")
    print("}};")


if __name__ == "__main__":
    main()
