/// \file string_block.h
/// The block that strings share: a count of its owners, then the characters.
#pragma once
#include <cstdint>
#include <cstdlib>
#include <new>

#include "uttypes.h"

namespace ketriope::string_block {

using count_type = std::int32_t;

inline constexpr ut_uint64 k_head = sizeof(count_type);  ///< in front of the characters
inline constexpr ut_uint64 k_most_characters = SIZE_MAX - k_head - 1;

inline count_type& count_of(char* block) noexcept
{
    return *reinterpret_cast<count_type*>(block);
}

/// Bytes of a block with room for `capacity` characters and a terminator.
constexpr std::size_t size_for(ut_uint64 capacity) noexcept
{
    return k_head + capacity + 1;
}

/// A block for one owner, with its terminator and room for `capacity` characters.
/// Errors: exhausted memory calls the new-handler, as `new` does; without one it throws.
inline char* make(ut_uint64 capacity)
{
    if (capacity > k_most_characters) throw std::bad_alloc();
    void* memory = nullptr;
    while ((memory = std::malloc(size_for(capacity))) == nullptr) {
        const std::new_handler handler = std::get_new_handler();
        if (handler == nullptr) throw std::bad_alloc();
        handler();
    }
    auto* block = static_cast<char*>(memory);
    count_of(block) = 1;
    block[k_head + capacity] = '\0';
    return block;
}

/// Gives up one share of `block`, which may be null.
inline void release(char* block) noexcept
{
    if (block != nullptr && --count_of(block) < 1) std::free(block);
}

}  // namespace ketriope::string_block
