// match_finder.cpp
#include "match_finder.h"

#include <algorithm>
#include <bit>
#include <cstddef>

#include "load_little.h"

namespace ketriope {
namespace {

constexpr unsigned k_byte_bits = 8;
constexpr ut_long k_word_bytes = 8;

/// How many bytes from the two places on are alike, up to `limit`. Up to 7 bytes behind it are read.
ut_long equal_bytes(const unsigned char* one, const unsigned char* other, ut_long limit)
{
    for (ut_long count = 0; count < limit; count += k_word_bytes) {
        const std::uint64_t difference = load_little(one + count) ^ load_little(other + count);
        if (difference != 0)
            return std::min(limit, count + static_cast<ut_long>(std::countr_zero(difference)) /
                                               static_cast<ut_long>(k_byte_bits));
    }
    return limit;
}

constexpr std::size_t index_of(ut_long length)
{
    return static_cast<std::size_t>(length - k_least_match);
}

}  // namespace

match_finder::match_finder(std::uint32_t base)
    : tables_(std::make_unique_for_overwrite<tables>()), base_(base)
{
}

std::uint32_t match_finder::longer_hash(const unsigned char* bytes, ut_long length)
{
    constexpr std::uint64_t k_factor = 0x9E3779B97F4A7C15;
    const auto unused = static_cast<unsigned>(k_word_bytes - length) * k_byte_bits;
    return static_cast<std::uint32_t>((load_little(bytes) << unused) * k_factor >> (64 - k_hash_bits));
}

std::uint32_t& match_finder::latest(const unsigned char* bytes, ut_long length) const
{
    if (length == k_least_match) return tables_->triples[triple_hash(bytes)];
    return tables_->longer[index_of(length) - 1][longer_hash(bytes, length)];
}

void match_finder::link(const unsigned char* bytes, ut_long position, ut_long length)
{
    const std::uint32_t now = base_ + static_cast<std::uint32_t>(position);
    std::uint32_t& last = latest(bytes + position, length);
    const std::uint32_t distance = now - last;
    tables_->ring[now & k_ring_mask][index_of(length)] =
        static_cast<std::uint16_t>(distance < k_window_size ? distance : 0);
    last = now;
}

void match_finder::enter(content_view content, ut_long position)
{
    const ut_long most = std::min(k_good_match, content.end - position);
    for (ut_long length = k_least_match; length <= most; ++length) link(content.bytes, position, length);
    if (most < k_good_match) late_[static_cast<std::size_t>(late_count_++)] = position;
}

void match_finder::grow(content_view content, ut_long old_end)
{
    // Lengths in turn, so that positions ascend within each table.
    for (ut_long length = k_least_match + 1; length <= k_good_match; ++length)
        for (int i = 0; i < late_count_; ++i) {
            const ut_long position = late_[static_cast<std::size_t>(i)];
            if (position + length > old_end && position + length <= content.end)
                link(content.bytes, position, length);
        }
    const auto complete = [&](ut_long position) { return position + k_good_match <= content.end; };
    ut_long* const end = late_.data() + late_count_;
    late_count_ = static_cast<int>(std::remove_if(late_.data(), end, complete) - late_.data());
}

void match_finder::move_down(ut_long shift)
{
    base_ += static_cast<std::uint32_t>(shift);
    std::for_each_n(late_.begin(), late_count_, [shift](ut_long& position) { position -= shift; });
    if (base_ >= k_rebase_at) rebase();
}

/// Counts all positions from a low base again, long before the numbers come to an end.
void match_finder::rebase()
{
    const std::uint32_t down = (base_ - k_window_size) & ~k_ring_mask;  // places in the ring stay
    const auto lower = [down](std::uint32_t& at) { at = at > down ? at - down : 0; };
    std::for_each(tables_->triples.begin(), tables_->triples.end(), lower);
    for (auto& table : tables_->longer) std::for_each(table.begin(), table.end(), lower);
    base_ -= down;
}

/// Hands the positions with the same hash of `length` bytes to `visit`, the latest first, until it is true.
template <class Visit>
void match_finder::walk(content_view content, ut_long position, ut_long length, Visit visit) const
{
    const std::uint32_t now = base_ + static_cast<std::uint32_t>(position);
    std::uint32_t at = latest(content.bytes + position, length);
    while (at >= base_ && now - at < static_cast<std::uint32_t>(k_window_size)) {
        if (visit(static_cast<ut_long>(at - base_))) return;
        const std::uint32_t back = tables_->ring[at & k_ring_mask][index_of(length)];
        if (back == 0) return;
        at -= back;
    }
}

/// The latest position that `length` bytes repeat, with the full length of that match.
byte_match match_finder::newest(content_view content, ut_long position, ut_long length) const
{
    byte_match found;
    const unsigned char* const here = content.bytes + position;
    const auto unused = static_cast<unsigned>(k_word_bytes - length) * k_byte_bits;
    const std::uint64_t word = load_little(here) << unused;
    walk(content, position, length, [&](ut_long candidate) {
        const unsigned char* const there = content.bytes + candidate;
        if (load_little(there) << unused != word) return false;
        found = {candidate, equal_bytes(here, there, std::min(k_most_match, content.end - position))};
        return true;
    });
    return found;
}

byte_match match_finder::find(content_view content, ut_long position) const
{
    const ut_long limit = std::min(k_most_match, content.end - position);
    byte_match best;
    // The latest match of three bytes, the latest one longer than it, and so on.
    for (ut_long length = k_least_match; length <= std::min(k_good_match, limit); length = best.length + 1) {
        const byte_match longer = newest(content, position, length);
        if (longer.length == 0) break;
        best = longer;
    }
    return best;
}

byte_match match_finder::find_any(content_view content, ut_long position) const
{
    if (content.end - position < k_least_match) return {};
    byte_match best = find(content, position);
    if (best.length > 0) return best;
    walk(content, position, k_least_match, [&](ut_long candidate) {
        const ut_long length =
            equal_bytes(content.bytes + position, content.bytes + candidate, k_least_match - 1);
        if (length > best.length) best = {candidate, length};
        return false;
    });
    return best;
}

}  // namespace ketriope
