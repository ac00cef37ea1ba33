/// \file packed_codes.h
/// How the packer cuts lengths, offsets and weights into a code and further bits.
#pragma once
#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "match_finder.h"
#include "uttypes.h"

namespace ketriope {

/// The values from `base` on that differ in their last `bits` bits share a code.
struct code_range {
    std::uint16_t base;
    std::uint8_t bits;
};

// ---- the words of the literal tree: bytes, the announcement of a table, and lengths

inline constexpr std::uint16_t k_table_word = 256;
inline constexpr std::uint16_t k_first_length_word = 257;

/// The last one takes 6 bits and so reaches 321.
inline constexpr std::array<code_range, 29> k_length_codes{
    {{3, 0},  {4, 0},  {5, 0},  {6, 0},   {7, 0},   {8, 0},   {9, 0},   {10, 0},  {11, 1}, {13, 1},
     {15, 1}, {17, 1}, {19, 2}, {23, 2},  {27, 2},  {31, 2},  {35, 3},  {43, 3},  {51, 3}, {59, 3},
     {67, 4}, {83, 4}, {99, 4}, {115, 4}, {131, 5}, {163, 5}, {195, 5}, {227, 5}, {258, 6}}};

inline constexpr ut_long k_literal_words = k_first_length_word + static_cast<ut_long>(k_length_codes.size());

// ---- classes: of offsets, and of weights

inline constexpr std::array<code_range, 31> k_value_classes{
    {{0, 0},     {1, 0},     {2, 0},     {3, 0},     {4, 0},      {5, 1},      {7, 1},     {9, 2},
     {13, 2},    {17, 3},    {25, 3},    {33, 4},    {49, 4},     {65, 5},     {97, 5},    {129, 6},
     {193, 6},   {257, 7},   {385, 7},   {513, 8},   {769, 8},    {1025, 9},   {1537, 9},  {2049, 10},
     {3073, 10}, {4097, 11}, {6145, 11}, {8193, 12}, {12289, 12}, {16385, 13}, {24577, 13}}};

inline constexpr ut_long k_offset_words = static_cast<ut_long>(k_value_classes.size());
inline constexpr std::uint16_t k_end_class = 31;  ///< in place of the first weight: the end of the content
inline constexpr ut_long k_weight_words = k_end_class + 1;
inline constexpr ut_long k_most_weight = 32768;

/// The last code whose base is not above the value.
template <std::size_t Count>
constexpr std::size_t search_code(const std::array<code_range, Count>& codes, ut_long value)
{
    std::size_t last = 0;
    for (std::size_t i = 0; i < Count && codes[i].base <= value; ++i) last = i;
    return last;
}

namespace detail {

constexpr auto make_length_indices()
{
    std::array<std::uint8_t, k_most_match + 1> indices{};
    for (ut_long length = k_least_match; length <= k_most_match; ++length)
        indices[static_cast<std::size_t>(length)] =
            static_cast<std::uint8_t>(search_code(k_length_codes, length));
    return indices;
}
inline constexpr auto k_length_indices = make_length_indices();

}  // namespace detail

/// Index into the length codes, for a length from 3 to 321.
constexpr std::size_t length_code(ut_long length)
{
    return detail::k_length_indices[static_cast<std::size_t>(length)];
}

/// Index into the classes, for a value from 0 to 32768: two classes for each power of two.
constexpr std::size_t value_class(ut_long value)
{
    if (value <= 4) return static_cast<std::size_t>(value);
    const auto below = static_cast<std::uint32_t>(value - 1);
    const auto width = static_cast<unsigned>(std::bit_width(below));
    return 2 * (width - 1) + (below >> (width - 2) & 1) + 1;
}

constexpr bool value_class_agrees_with_the_table()
{
    for (std::size_t i = 0; i < k_value_classes.size(); ++i) {
        const ut_long first = k_value_classes[i].base;
        const ut_long last = first + (ut_long{1} << k_value_classes[i].bits) - 1;
        if (value_class(first) != i || value_class(last) != i) return false;
        if (search_code(k_value_classes, first) != i || search_code(k_value_classes, last) != i) return false;
    }
    return true;
}
static_assert(value_class_agrees_with_the_table());
static_assert(k_value_classes[value_class(k_most_weight)].base + 8191 == k_most_weight);

}  // namespace ketriope
