/// \file load_little.h
/// Eight bytes as one number, the first one lowest, on every host. Compilers make one load of it.
#pragma once
#include <cstdint>

namespace ketriope {

inline std::uint64_t load_little(const unsigned char* bytes)
{
    std::uint64_t word = 0;
    for (int i = 7; i >= 0; --i) word = word << 8 | bytes[i];
    return word;
}

}  // namespace ketriope
