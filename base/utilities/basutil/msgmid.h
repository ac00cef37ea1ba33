/// \file msgmid.h
/// The numbers of messages as text, and their two halves.
#pragma once
#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

namespace ketriope {

inline constexpr std::size_t k_uid_characters = 4;
inline constexpr std::size_t k_most_fid_characters = 7;

/// A MID given as a number: seven digits at least.
inline std::string mid_text(int mid)
{
    char text[16];
    std::snprintf(text, sizeof text, "%07d", mid);
    return text;
}

struct mid_halves {
    std::string fid;
    std::string uid;
};

/// The number of the file, and that of the message within it. Both are empty for a MID that cannot be one:
/// nothing in front of the UID, or too much.
inline mid_halves split_mid(std::string_view mid)
{
    if (mid.size() <= k_uid_characters || mid.size() - k_uid_characters > k_most_fid_characters) return {};
    const std::size_t middle = mid.size() - k_uid_characters;
    return {std::string(mid.substr(0, middle)), std::string(mid.substr(middle))};
}

}  // namespace ketriope
