/// \file ascii.h
/// Characters as ASCII has them, whatever the locale and whether or not `char` has a sign.
#pragma once

namespace ketriope {

/// The byte as a signed value, on every host.
constexpr int signed_value(char c) noexcept
{
    return static_cast<signed char>(c);
}

/// From 32 to 126: the blank and all that leaves a mark.
constexpr bool is_printable(char c) noexcept
{
    return c >= ' ' && c <= '~';
}

/// From 33 to 126: leaves a mark.
constexpr bool is_visible(char c) noexcept
{
    return c > ' ' && c <= '~';
}

/// The blank, and the five characters from tab to carriage return.
constexpr bool is_space(char c) noexcept
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr bool is_digit(char c) noexcept
{
    return c >= '0' && c <= '9';
}

constexpr char to_upper(char c) noexcept
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

constexpr char to_lower(char c) noexcept
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool is_letter(char c) noexcept
{
    return to_upper(c) >= 'A' && to_upper(c) <= 'Z';
}

static_assert(!is_printable('\x7f') && !is_visible('\x80') && !is_visible('\xff') && is_visible('~'));
static_assert(to_upper('z') == 'Z' && to_lower('[') == '[' && signed_value('\xff') == -1);

}  // namespace ketriope
