// basutblowfish.cpp
#include "basutblowfish.h"

#include <algorithm>
#include <utility>

#include "utbyteorder.h"

namespace ketriope {
namespace {

#include "basutblowfish_tables.inc"

void xor_into(blowfish::block target, std::span<const unsigned char, blowfish::k_block> with)
{
    for (std::size_t i = 0; i < with.size(); ++i) target[i] ^= with[i];
}

/// Calls `work` with each whole block of `data` in turn.
template <class Work>
void for_each_block(std::span<unsigned char> data, Work work)
{
    for (; data.size() >= blowfish::k_block; data = data.subspan(blowfish::k_block))
        work(data.first<blowfish::k_block>());
}

}  // namespace

blowfish::blowfish(std::span<const unsigned char> key) : subkeys_(k_first_subkeys), boxes_(k_first_boxes)
{
    key = key.first(std::min(key.size(), k_longest_key));
    std::size_t next = 0;
    for (std::uint32_t& subkey : subkeys_) {
        std::uint32_t word = 0;
        for (int i = 0; i < 4; ++i) {
            word = word << 8 | key[next];
            next = (next + 1) % key.size();
        }
        subkey ^= word;
    }
    // The cipher's own output replaces its tables, two words at a time, from the zero block on.
    halves chain{0, 0};
    const auto replace = [&](std::span<std::uint32_t> table) {
        for (std::size_t i = 0; i < table.size(); i += 2) {
            chain = encrypted(chain);
            table[i] = chain.left;
            table[i + 1] = chain.right;
        }
    };
    replace(subkeys_);
    for (auto& box : boxes_) replace(box);
}

void blowfish::encrypt(block data) const
{
    join(encrypted(split(data)), data);
}

void blowfish::decrypt(block data) const
{
    join(decrypted(split(data)), data);
}

blowfish::halves blowfish::split(std::span<const unsigned char, k_block> data)
{
    halves result{};
    load_big(data.data(), result.left);
    load_big(data.data() + 4, result.right);
    return result;
}

void blowfish::join(halves from, block out)
{
    store_big(out.data(), from.left);
    store_big(out.data() + 4, from.right);
}

std::uint32_t blowfish::mixed(std::uint32_t word) const
{
    return ((boxes_[0][word >> 24] + boxes_[1][word >> 16 & 0xff]) ^ boxes_[2][word >> 8 & 0xff]) +
           boxes_[3][word & 0xff];
}

blowfish::halves blowfish::encrypted(halves data) const
{
    for (std::size_t round = 0; round < 16; ++round) {
        data.left ^= subkeys_[round];
        data.right ^= mixed(data.left);
        std::swap(data.left, data.right);
    }
    return {data.right ^ subkeys_[17], data.left ^ subkeys_[16]};
}

blowfish::halves blowfish::decrypted(halves data) const
{
    for (std::size_t round = 17; round > 1; --round) {
        data.left ^= subkeys_[round];
        data.right ^= mixed(data.left);
        std::swap(data.left, data.right);
    }
    return {data.right ^ subkeys_[0], data.left ^ subkeys_[1]};
}

void blowfish_cbc::encrypt(std::span<unsigned char> data)
{
    for_each_block(data, [this](blowfish::block block) {
        xor_into(block, chain_);
        cipher_.encrypt(block);
        std::ranges::copy(block, chain_.begin());
    });
}

void blowfish_cbc::decrypt(std::span<unsigned char> data)
{
    for_each_block(data, [this](blowfish::block block) {
        std::array<unsigned char, blowfish::k_block> enciphered{};
        std::ranges::copy(block, enciphered.begin());
        cipher_.decrypt(block);
        xor_into(block, chain_);
        chain_ = enciphered;
    });
}

}  // namespace ketriope
