/// \file match_finder.h
/// Finds the stretches that the packer points back to.
///
/// A match is defined by a walk over all positions with the same hash of three bytes, the latest one first:
/// a longer match replaces a shorter one, and one of 7 bytes or the whole limit ends the walk. Only the
/// latest position of each length from 3 to 7 can be its result; so those are looked up, each in a table of
/// its own, and no input makes the walk long.
#pragma once
#include <array>
#include <cstdint>
#include <memory>

#include "uttypes.h"

namespace ketriope {

inline constexpr ut_long k_window_size = 32768;
inline constexpr ut_long k_least_match = 3;
inline constexpr ut_long k_most_match = 321;
inline constexpr ut_long k_good_match = 7;  ///< no longer one is looked for

struct byte_match {
    ut_long position = -1;
    ut_long length = 0;
};

/// A stretch of content: positions count from its first byte.
///
/// Lifetime: `k_slack` bytes behind the end can be read, too; what they are does not matter.
struct content_view {
    static constexpr ut_long k_slack = 8;
    const unsigned char* bytes;
    ut_long end;
};

/// Hash of three bytes, 0 to 65535.
inline std::uint32_t triple_hash(const unsigned char* bytes)
{
    return (std::uint32_t{bytes[0]} << 8 ^ std::uint32_t{bytes[1]} << 4 ^ bytes[2]);
}

class match_finder {
public:
    /// Positions are counted from `base` on within; a high one is for tests of what a long run comes to.
    explicit match_finder(std::uint32_t base = k_window_size);

    /// Makes a position known, in ascending order. It has three bytes at least.
    void enter(content_view content, ut_long position);
    /// Says that content grew from `old_end` bytes, which completes what the last positions entered lack.
    void grow(content_view content, ut_long old_end);
    /// Says that content was moved down by `shift` bytes.
    void move_down(ut_long shift);

    /// The match of three bytes or more; length 0 for none.
    byte_match find(content_view content, ut_long position) const;
    /// The same, and where there is none, one of 1 or 2 bytes, among the positions with the same hash.
    byte_match find_any(content_view content, ut_long position) const;

private:
    static constexpr int k_lengths = k_good_match - k_least_match + 1;  ///< with a table each
    static constexpr unsigned k_hash_bits = 15;                         ///< of the tables above the first
    static constexpr std::uint32_t k_ring_mask = k_window_size - 1;
    static constexpr std::uint32_t k_rebase_at = std::uint32_t{1} << 30;
    static constexpr int k_most_late = 4;

    /// How far back the one before with the same hash is, per length; 0 for none.
    using links = std::array<std::uint16_t, k_lengths>;
    struct tables {
        std::array<std::uint32_t, 1 << 16> triples{};  ///< the latest position, counted from the base
        std::array<std::array<std::uint32_t, 1 << k_hash_bits>, k_lengths - 1> longer{};
        std::array<links, k_window_size> ring;  ///< by the low bits of the position; set when it is entered
    };

    static std::uint32_t longer_hash(const unsigned char* bytes, ut_long length);
    std::uint32_t& latest(const unsigned char* bytes, ut_long length) const;
    void link(const unsigned char* bytes, ut_long position, ut_long length);
    byte_match newest(content_view content, ut_long position, ut_long length) const;
    template <class Visit>
    void walk(content_view content, ut_long position, ut_long length, Visit visit) const;
    void rebase();

    std::unique_ptr<tables> tables_;
    std::uint32_t base_;
    std::array<ut_long, k_most_late> late_{};  ///< entered with fewer than 7 bytes, in ascending order
    int late_count_ = 0;
};

}  // namespace ketriope
