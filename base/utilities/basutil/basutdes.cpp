// basutdes.cpp: the tables of the standard, and the cipher as table look-ups made from them.
#include "basutdes.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "contract.h"
#include "utbyteorder.h"

namespace {

constexpr ketriope::site k_site{.module = "basutdes"};
constexpr int k_block = 8;  ///< bytes
constexpr int k_rounds = 16;

// ---- as the standard prints them: bits count from 1, the most significant one

using bit_number = std::uint8_t;

constexpr std::array<bit_number, 64> k_initial_permutation{
    58, 50, 42, 34, 26, 18, 10, 2, 60, 52, 44, 36, 28, 20, 12, 4,  //
    62, 54, 46, 38, 30, 22, 14, 6, 64, 56, 48, 40, 32, 24, 16, 8,  //
    57, 49, 41, 33, 25, 17, 9,  1, 59, 51, 43, 35, 27, 19, 11, 3,  //
    61, 53, 45, 37, 29, 21, 13, 5, 63, 55, 47, 39, 31, 23, 15, 7};

constexpr std::array<bit_number, 32> k_permutation{16, 7, 20, 21, 29, 12, 28, 17, 1,  15, 23,
                                                   26, 5, 18, 31, 10, 2,  8,  24, 14, 32, 27,
                                                   3,  9, 19, 13, 30, 6,  22, 11, 4,  25};

constexpr std::array<bit_number, 56> k_key_choice_1{57, 49, 41, 33, 25, 17, 9,  1,  58, 50, 42, 34, 26, 18,
                                                    10, 2,  59, 51, 43, 35, 27, 19, 11, 3,  60, 52, 44, 36,
                                                    63, 55, 47, 39, 31, 23, 15, 7,  62, 54, 46, 38, 30, 22,
                                                    14, 6,  61, 53, 45, 37, 29, 21, 13, 5,  28, 20, 12, 4};

constexpr std::array<bit_number, 48> k_key_choice_2{
    14, 17, 11, 24, 1,  5,  3,  28, 15, 6,  21, 10, 23, 19, 12, 4,  26, 8,  16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55, 30, 40, 51, 45, 33, 48, 44, 49, 39, 56, 34, 53, 46, 42, 50, 36, 29, 32};

constexpr std::array<int, k_rounds> k_key_shifts{1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

/// Four rows of sixteen each: the outer two of six bits choose the row, the inner four the column.
constexpr std::array<std::array<std::uint8_t, 64>, 8> k_selections{{
    {14, 4,  13, 1, 2,  15, 11, 8,  3,  10, 6,  12, 5,  9,  0, 7,  //
     0,  15, 7,  4, 14, 2,  13, 1,  10, 6,  12, 11, 9,  5,  3, 8,  //
     4,  1,  14, 8, 13, 6,  2,  11, 15, 12, 9,  7,  3,  10, 5, 0,  //
     15, 12, 8,  2, 4,  9,  1,  7,  5,  11, 3,  14, 10, 0,  6, 13},
    {15, 1,  8,  14, 6,  11, 3,  4,  9,  7, 2,  13, 12, 0, 5,  10,  //
     3,  13, 4,  7,  15, 2,  8,  14, 12, 0, 1,  10, 6,  9, 11, 5,   //
     0,  14, 7,  11, 10, 4,  13, 1,  5,  8, 12, 6,  9,  3, 2,  15,  //
     13, 8,  10, 1,  3,  15, 4,  2,  11, 6, 7,  12, 0,  5, 14, 9},
    {10, 0,  9,  14, 6, 3,  15, 5,  1,  13, 12, 7,  11, 4,  2,  8,  //
     13, 7,  0,  9,  3, 4,  6,  10, 2,  8,  5,  14, 12, 11, 15, 1,  //
     13, 6,  4,  9,  8, 15, 3,  0,  11, 1,  2,  12, 5,  10, 14, 7,  //
     1,  10, 13, 0,  6, 9,  8,  7,  4,  15, 14, 3,  11, 5,  2,  12},
    {7,  13, 14, 3, 0,  6,  9,  10, 1,  2, 8, 5,  11, 12, 4,  15,  //
     13, 8,  11, 5, 6,  15, 0,  3,  4,  7, 2, 12, 1,  10, 14, 9,   //
     10, 6,  9,  0, 12, 11, 7,  13, 15, 1, 3, 14, 5,  2,  8,  4,   //
     3,  15, 0,  6, 10, 1,  13, 8,  9,  4, 5, 11, 12, 7,  2,  14},
    {2,  12, 4,  1,  7,  10, 11, 6,  8,  5,  3,  15, 13, 0, 14, 9,   //
     14, 11, 2,  12, 4,  7,  13, 1,  5,  0,  15, 10, 3,  9, 8,  6,   //
     4,  2,  1,  11, 10, 13, 7,  8,  15, 9,  12, 5,  6,  3, 0,  14,  //
     11, 8,  12, 7,  1,  14, 2,  13, 6,  15, 0,  9,  10, 4, 5,  3},
    {12, 1,  10, 15, 9, 2,  6,  8,  0,  13, 3,  4,  14, 7,  5,  11,  //
     10, 15, 4,  2,  7, 12, 9,  5,  6,  1,  13, 14, 0,  11, 3,  8,   //
     9,  14, 15, 5,  2, 8,  12, 3,  7,  0,  4,  10, 1,  13, 11, 6,   //
     4,  3,  2,  12, 9, 5,  15, 10, 11, 14, 1,  7,  6,  0,  8,  13},
    {4,  11, 2,  14, 15, 0, 8,  13, 3,  12, 9, 7,  5,  10, 6, 1,  //
     13, 0,  11, 7,  4,  9, 1,  10, 14, 3,  5, 12, 2,  15, 8, 6,  //
     1,  4,  11, 13, 12, 3, 7,  14, 10, 15, 6, 8,  0,  5,  9, 2,  //
     6,  11, 13, 8,  1,  4, 10, 7,  9,  5,  0, 15, 14, 2,  3, 12},
    {13, 2,  8,  4, 6,  15, 11, 1,  10, 9,  3,  14, 5,  0,  12, 7,  //
     1,  15, 13, 8, 10, 3,  7,  4,  12, 5,  6,  11, 0,  14, 9,  2,  //
     7,  11, 4,  1, 9,  12, 14, 2,  0,  6,  10, 13, 15, 3,  5,  8,  //
     2,  1,  14, 7, 4,  10, 8,  13, 15, 12, 9,  0,  3,  5,  6,  11},
}};

// ---- what is made of them

/// The bits of `word`, a number of `width` bits, that `choice` names, in its order.
template <std::size_t Count>
constexpr std::uint64_t chosen(std::uint64_t word, int width, const std::array<bit_number, Count>& choice)
{
    std::uint64_t result = 0;
    for (const bit_number number : choice) result = result << 1 | (word >> (width - number) & 1);
    return result;
}

/// A permutation of 64 bits, as what each value of each group of four bits adds to the result.
class permutation {
public:
    explicit constexpr permutation(const std::array<bit_number, 64>& choice)
    {
        for (std::size_t group = 0; group < 16; ++group)
            for (std::uint64_t value = 0; value < 16; ++value)
                added_[group][value] = chosen(value << 4 * group, 64, choice);
    }
    constexpr std::uint64_t operator()(std::uint64_t word) const
    {
        std::uint64_t result = 0;
        for (std::size_t group = 0; group < 16; ++group) result |= added_[group][word >> 4 * group & 15];
        return result;
    }

private:
    std::array<std::array<std::uint64_t, 16>, 16> added_{};
};

constexpr std::array<bit_number, 64> inverse(const std::array<bit_number, 64>& choice)
{
    std::array<bit_number, 64> result{};
    for (std::size_t i = 0; i < choice.size(); ++i) result[choice[i] - 1U] = static_cast<bit_number>(i + 1);
    return result;
}

constexpr permutation k_on_entry(k_initial_permutation);
constexpr permutation k_on_leaving(inverse(k_initial_permutation));
static_assert(k_on_leaving(k_on_entry(0x0123'4567'89ab'cdef)) == 0x0123'4567'89ab'cdef);

/// What six bits at each of the eight places become, after the selection and the permutation behind it.
constexpr auto k_substitutions = [] {
    std::array<std::array<std::uint32_t, 64>, 8> result{};
    for (std::size_t place = 0; place < 8; ++place) {
        for (std::size_t six = 0; six < 64; ++six) {
            const std::size_t row = (six >> 4 & 2) | (six & 1);
            const std::uint64_t selected = k_selections[place][16 * row + (six >> 1 & 15)];
            result[place][six] =
                static_cast<std::uint32_t>(chosen(selected << 4 * (7 - place), 32, k_permutation));
        }
    }
    return result;
}();

// ---- the cipher

class des {
public:
    explicit des(std::uint64_t key)
    {
        const std::uint64_t selected = chosen(key, 64, k_key_choice_1);
        auto left = static_cast<std::uint32_t>(selected >> 28);
        auto right = static_cast<std::uint32_t>(selected & k_half);
        for (std::size_t round = 0; round < k_rounds; ++round) {
            left = rotated(left, k_key_shifts[round]);
            right = rotated(right, k_key_shifts[round]);
            const std::uint64_t bits = chosen(std::uint64_t{left} << 28 | right, 56, k_key_choice_2);
            for (std::size_t place = 0; place < 8; ++place)
                subkeys_[round][place] = static_cast<std::uint8_t>(bits >> 6 * (7 - place) & 63);
        }
    }

    std::uint64_t encrypted(std::uint64_t block) const { return run(block, 0, 1); }
    std::uint64_t decrypted(std::uint64_t block) const { return run(block, k_rounds - 1, -1); }

private:
    using subkey = std::array<std::uint8_t, 8>;  ///< six bits for each place
    static constexpr std::uint32_t k_half = 0x0fff'ffff;

    static constexpr std::uint32_t rotated(std::uint32_t half, int count)
    {
        return (half << count | half >> (28 - count)) & k_half;
    }

    /// Each place takes four bits of `half` and the one on either side, all around.
    static std::uint32_t mixed(std::uint32_t half, const subkey& with)
    {
        std::uint32_t result = 0;
        for (std::size_t place = 0; place < 8; ++place) {
            const std::uint32_t six = std::rotl(half, static_cast<int>(4 * place + 5)) & 63;
            result ^= k_substitutions[place][six ^ with[place]];
        }
        return result;
    }

    std::uint64_t run(std::uint64_t block, int round, int step) const
    {
        const std::uint64_t entered = k_on_entry(block);
        auto left = static_cast<std::uint32_t>(entered >> 32);
        auto right = static_cast<std::uint32_t>(entered);
        for (int done = 0; done < k_rounds; ++done, round += step)
            left = std::exchange(right, left ^ mixed(right, subkeys_[static_cast<std::size_t>(round)]));
        return k_on_leaving(std::uint64_t{right} << 32 | left);
    }

    std::array<subkey, k_rounds> subkeys_{};
};

std::uint64_t word_at(const char* bytes)
{
    std::uint64_t word = 0;
    ketriope::load_big(reinterpret_cast<const unsigned char*>(bytes), word);
    return word;
}

/// Puts `transform(block, chain)` in place of each block.
template <class Transform>
void chained(char* data, int length, Transform transform)
{
    std::uint64_t chain = 0;
    for (const char* const end = data + length; data != end; data += k_block)
        ketriope::store_big(reinterpret_cast<unsigned char*>(data), transform(word_at(data), chain));
}

bool usable(const char* data, int length, const char* key)
{
    return data != nullptr && key != nullptr && length > 0 && length % k_block == 0;
}

}  // namespace

void utdes_encode(char* data, int length, const char* key)
{
    if (!usable(data, length, key)) {
        ketriope::contract_failed(k_site, "Invalid parameters passed to encode.");
        return;
    }
    chained(data, length, [cipher = des(word_at(key))](std::uint64_t block, std::uint64_t& chain) {
        return chain = cipher.encrypted(block ^ chain);
    });
}

void utdes_decode(char* data, int length, const char* key)
{
    if (!usable(data, length, key)) {
        ketriope::contract_failed(k_site, "Invalid parameters passed to decode.");
        return;
    }
    chained(data, length, [cipher = des(word_at(key))](std::uint64_t block, std::uint64_t& chain) {
        return cipher.decrypted(block) ^ std::exchange(chain, block);
    });
}
