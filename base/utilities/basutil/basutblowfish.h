/// \file basutblowfish.h
/// The Blowfish block cipher: blocks of 8 bytes, keys of 1 to 56, words most significant byte first.
#pragma once
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace ketriope {

class blowfish {
public:
    static constexpr std::size_t k_block = 8;         ///< bytes
    static constexpr std::size_t k_longest_key = 56;  ///< bytes
    using block = std::span<unsigned char, k_block>;

    /// Of a longer key the first 56 bytes count; it has at least one.
    /// Cost: 521 encryptions.
    explicit blowfish(std::span<const unsigned char> key);

    /// Both work in place.
    void encrypt(block data) const;
    void decrypt(block data) const;

private:
    /// The two words of a block.
    struct halves {
        std::uint32_t left;
        std::uint32_t right;
    };

    static halves split(std::span<const unsigned char, k_block> data);
    static void join(halves from, block out);
    std::uint32_t mixed(std::uint32_t word) const;
    halves encrypted(halves data) const;
    halves decrypted(halves data) const;

    std::array<std::uint32_t, 18> subkeys_;
    std::array<std::array<std::uint32_t, 256>, 4> boxes_;
};

/// Blowfish in cipher block chaining form. The chain starts at zero and goes on from call to call.
class blowfish_cbc {
public:
    explicit blowfish_cbc(std::span<const unsigned char> key) : cipher_(key) {}

    /// Both work in place, on whole blocks: what is left over at the end stays as it is.
    void encrypt(std::span<unsigned char> data);
    void decrypt(std::span<unsigned char> data);

private:
    blowfish cipher_;
    std::array<unsigned char, blowfish::k_block> chain_{};
};

}  // namespace ketriope
