// basutcrc.cpp
#include "basutcrc.h"

#include <array>
#include <cstddef>

namespace {

/// What each byte adds to a reflected CRC of the width of `Sum`.
template <class Sum>
constexpr std::array<Sum, 256> table_of(unsigned polynomial)
{
    std::array<Sum, 256> table{};
    for (std::size_t byte = 0; byte < table.size(); ++byte) {
        auto sum = static_cast<unsigned>(byte);
        for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ ((sum & 1) != 0 ? polynomial : 0);
        table[byte] = static_cast<Sum>(sum);
    }
    return table;
}

constexpr auto k_table_8 = table_of<unsigned char>(0x8c);
static_assert(k_table_8[1] == 0x5e && k_table_8[2] == 0xbc && k_table_8[5] == 0x3f);
constexpr auto k_table_16 = table_of<unsigned short>(0xa001);
static_assert(k_table_16[1] == 0xc0c1 && k_table_16[2] == 0xc181 && k_table_16[3] == 0x0140);

template <class Sum>
Sum checksum(const char* text, Sum sum, const std::array<Sum, 256>& table)
{
    if (text == nullptr) return sum;
    for (; *text != '\0'; ++text) {
        // A byte above 127 has its sign extended: the low eight bits of the index are the same either way.
        const auto index = static_cast<unsigned char>(sum ^ static_cast<signed char>(*text));
        sum = static_cast<Sum>(sum >> 8 ^ table[index]);  // of an 8-bit sum, nothing is left to shift
    }
    return sum;
}

}  // namespace

unsigned char UT_CRC::crc8(const char* text, unsigned char seed)
{
    return checksum(text, seed, k_table_8);
}

unsigned char UT_CRC::crc8(UT_STROBJ text, unsigned char seed)
{
    return crc8(text.getstring(), seed);
}

unsigned short UT_CRC::crc16(const char* text, unsigned short seed)
{
    return checksum(text, seed, k_table_16);
}

unsigned short UT_CRC::crc16(UT_STROBJ text, unsigned short seed)
{
    return crc16(text.getstring(), seed);
}
