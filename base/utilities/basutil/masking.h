/// \file masking.h
/// The arithmetic that masks text, so that it cannot be read by chance in a program or a file.
///
/// A masked byte has its high bit set, so none is NUL and a text keeps its length; the low 7 bits are
/// changed by a function of the position alone. Of plain text only 7 bits of each byte come back.
#pragma once
#include <cstdint>

namespace ketriope {

/// Never 0, so that no character stays what it is.
constexpr unsigned mask_at(std::uint64_t position) noexcept
{
    return 1 + static_cast<unsigned>((position * 37 + 0x5B) % 127);
}

/// The masked form of `c` at `position` in its text.
constexpr char masked(char c, std::uint64_t position) noexcept
{
    return static_cast<char>(0x80U | ((static_cast<unsigned char>(c) ^ mask_at(position)) & 0x7FU));
}

/// The plain form of `c` at `position` in its text.
constexpr char unmasked(char c, std::uint64_t position) noexcept
{
    return static_cast<char>((static_cast<unsigned char>(c) ^ mask_at(position)) & 0x7FU);
}

/// True if a text that begins with `first` is masked.
constexpr bool is_masked(char first) noexcept
{
    return (static_cast<unsigned char>(first) & 0x80U) != 0;
}

}  // namespace ketriope
