/// \file msgmid.h
/// The numbers of messages as text.
#pragma once
#include <cstdio>
#include <string>

namespace ketriope {

/// A MID given as a number: seven digits at least.
inline std::string mid_text(int mid)
{
    char text[16];
    std::snprintf(text, sizeof text, "%07d", mid);
    return text;
}

}  // namespace ketriope
