/// \file basutregprogram.h
/// The byte program of a regular expression, which the compiler writes and the matcher reads.
///
/// Shape: a magic byte, then nodes. A node is an opcode, the distance to the next node in two bytes, the
/// high one first, and an operand if the opcode has one. Distances lie between first bytes of nodes; 0
/// is none, and that of a loop back counts backwards.
#pragma once
#include <cstddef>

namespace ketriope::regprogram {

inline constexpr unsigned char k_magic = 156;
inline constexpr std::size_t k_node_size = 3;      ///< without the operand
inline constexpr std::size_t k_too_big = 65535;    ///< bytes that no program reaches
inline constexpr unsigned char k_groups_end = 20;  ///< groups are numbered from 1 to 19

/// The opcodes. `branch` has nodes behind it, and its next node is the next alternative; `star` and `plus`
/// have the one simple node that they repeat; sets and literals have bytes with a NUL at their end.
enum opcode : unsigned char {
    k_end = 0,      ///< success
    k_bol = 1,      ///< only at the start of the text
    k_eol = 2,      ///< only at a NUL
    k_any = 3,      ///< any character
    k_anyof = 4,    ///< a character of the set
    k_anybut = 5,   ///< a character outside the set
    k_branch = 6,   ///< an alternative
    k_back = 7,     ///< matches the empty text; the next node lies in front of it
    k_exactly = 8,  ///< the literal
    k_nothing = 9,  ///< the empty text
    k_star = 10,    ///< any number of runs, as many as there are
    k_plus = 11,    ///< the same, but at least one
    k_open = 20,    ///< with the number of a group added: its start
    k_close = 40    ///< with the number of a group added: its end
};

constexpr bool opens_group(unsigned char code) noexcept
{
    return code > k_open && code < k_open + k_groups_end;
}

constexpr bool closes_group(unsigned char code) noexcept
{
    return code > k_close && code < k_close + k_groups_end;
}

/// What the two bytes behind the opcode at `node` say.
constexpr std::size_t distance(const unsigned char* node) noexcept
{
    return static_cast<std::size_t>(node[1]) << 8 | node[2];
}

}  // namespace ketriope::regprogram
