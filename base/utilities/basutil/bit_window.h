/// \file bit_window.h
/// A wide look at the bits of a `UT_PAKIO`, for the inner loop of a reader.
#pragma once
#include <bit>
#include <cstddef>
#include <cstdint>

#include "load_little.h"

namespace ketriope {

/// Borrows register and buffer, and puts them back as if the bits had been taken one by one.
///
/// Shape: the register takes three bytes when a bit is asked for and none is at hand. So how many bits were
/// taken tells what it holds and where the buffer stands.
class bit_window {
public:
    bit_window(std::uint32_t& held, unsigned char*& current, std::uint32_t& left)
        : held_(held), current_(current), left_(left), next_(current), end_(current + left),
          first_count_(held < 2 ? 0 : static_cast<unsigned>(std::bit_width(held)) - 1),
          bits_(held & ((std::uint32_t{1} << first_count_) - 1)), count_(first_count_)
    {
    }
    bit_window(const bit_window&) = delete;
    bit_window& operator=(const bit_window&) = delete;
    ~bit_window() { put_back(); }

    /// Makes 56 bits visible; false near the end of the buffer.
    bool fill()
    {
        if (end_ - next_ < k_margin) return false;
        bits_ |= load_little(next_) << count_;
        next_ += (63 - count_) / 8;
        count_ |= 56;
        return true;
    }
    std::uint64_t bits() const { return bits_; }
    void take(unsigned count)
    {
        bits_ >>= count;
        count_ -= count;
    }
    /// The number of `count` bits behind the next `skipped` ones.
    std::uint32_t value(unsigned skipped, unsigned count) const
    {
        return static_cast<std::uint32_t>(bits_ >> skipped & ((std::uint64_t{1} << count) - 1));
    }

private:
    static constexpr std::ptrdiff_t k_margin = 16;  ///< so that whole registers are there up to the end
    static constexpr std::ptrdiff_t k_register_bytes = 3;
    static constexpr std::uint64_t k_register_bits = 24;

    void put_back()
    {
        const auto seen = first_count_ + 8 * static_cast<std::uint64_t>(next_ - current_);
        const std::uint64_t taken = seen - count_;
        if (taken <= first_count_) {
            held_ >>= taken;
            return;
        }
        const std::uint64_t loads = (taken - first_count_ + k_register_bits - 1) / k_register_bits;
        const auto left_over = static_cast<unsigned>(loads * k_register_bits - (taken - first_count_));
        const auto bytes = static_cast<std::ptrdiff_t>(loads) * k_register_bytes;
        const unsigned char* const last = current_ + bytes - k_register_bytes;
        const std::uint32_t whole =
            0x1000000 | std::uint32_t{last[2]} << 16 | std::uint32_t{last[1]} << 8 | last[0];
        held_ = whole >> (static_cast<unsigned>(k_register_bits) - left_over);
        current_ += bytes;
        left_ -= static_cast<std::uint32_t>(bytes);
    }

    std::uint32_t& held_;
    unsigned char*& current_;
    std::uint32_t& left_;
    const unsigned char* next_;  ///< first byte not seen
    const unsigned char* end_;
    unsigned first_count_;  ///< bits that the register held
    std::uint64_t bits_;
    unsigned count_;  ///< of the bits seen and not taken
};

}  // namespace ketriope
