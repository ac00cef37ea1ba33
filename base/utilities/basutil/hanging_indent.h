/// \file hanging_indent.h
/// How far the second and later lines of a folded message stand in.
#pragma once
#include <algorithm>
#include <limits>
#include <string_view>

namespace ketriope {

/// Behind the label: two columns past the first hyphen or colon of `text`, whichever comes first; 3
/// where it has neither.
inline short hanging_indent(std::string_view text) noexcept
{
    const std::size_t first = text.find_first_of("-:");
    if (first == std::string_view::npos) return 3;
    // The fold turns an indent beyond the line into none, and a width is never this large.
    return static_cast<short>(std::min<std::size_t>(first + 2, std::numeric_limits<short>::max()));
}

}  // namespace ketriope
