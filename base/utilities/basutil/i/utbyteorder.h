/// \file i/utbyteorder.h
/// Numbers as bytes, most significant first, on every host.
///
/// Written out byte by byte, since compilers turn exactly this into one swap and one move.
#pragma once
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace ketriope {

/// The unsigned type of `Size` bytes.
template <std::size_t Size>
using bits_of_size =
    std::conditional_t<Size == 1, std::uint8_t,
                       std::conditional_t<Size == 2, std::uint16_t,
                                          std::conditional_t<Size == 4, std::uint32_t, std::uint64_t>>>;

inline void store_big(unsigned char* out, std::uint8_t value)
{
    out[0] = value;
}
inline void store_big(unsigned char* out, std::uint16_t value)
{
    out[0] = static_cast<unsigned char>(value >> 8);
    out[1] = static_cast<unsigned char>(value);
}
inline void store_big(unsigned char* out, std::uint32_t value)
{
    out[0] = static_cast<unsigned char>(value >> 24);
    out[1] = static_cast<unsigned char>(value >> 16);
    out[2] = static_cast<unsigned char>(value >> 8);
    out[3] = static_cast<unsigned char>(value);
}
inline void store_big(unsigned char* out, std::uint64_t value)
{
    store_big(out, static_cast<std::uint32_t>(value >> 32));
    store_big(out + 4, static_cast<std::uint32_t>(value));
}
inline void load_big(const unsigned char* from, std::uint8_t& value)
{
    value = from[0];
}
inline void load_big(const unsigned char* from, std::uint16_t& value)
{
    value = static_cast<std::uint16_t>(from[0] << 8 | from[1]);
}
inline void load_big(const unsigned char* from, std::uint32_t& value)
{
    value =
        std::uint32_t{from[0]} << 24 | std::uint32_t{from[1]} << 16 | std::uint32_t{from[2]} << 8 | from[3];
}
inline void load_big(const unsigned char* from, std::uint64_t& value)
{
    std::uint32_t high = 0;
    std::uint32_t low = 0;
    load_big(from, high);
    load_big(from + 4, low);
    value = std::uint64_t{high} << 32 | low;
}

}  // namespace ketriope
