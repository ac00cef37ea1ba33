/// \file i/basutfstmem.h
/// A block allocator for elements of one size, which gives whole blocks back to the heap.
///
/// Shape: a block holds a fixed number of elements, `element size` bytes apart, and 8 apart below that. The
/// block that served last stands in front of the list.
/// Lifetime: blocks outlive the allocator, which has no destructor: elements in use stay good. Only `free`
/// releases a block, when its last element comes back.
/// Threads: no locks; an allocator belongs to one thread at a time.
/// Errors: exhausted memory calls the new-handler, as `new` does.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "uttypes.h"

namespace ketriope {
struct pool_access;
}

/// What an allocator knows of one of its blocks.
struct UT_FM_BLOCK_HEAD {
    UT_FM_BLOCK_HEAD* next;
    void* free;         ///< the first free element; its first bytes hold the address of the next one
    void* data;         ///< the memory of the elements
    std::int32_t used;  ///< elements that callers have
};

class UT_EXPORT UT_FASTMEM {
public:
    /// An allocator without a block.
    ///
    /// Units: bytes, rounded up to a multiple of 4; elements. A count of 0 counts as 1, and one that makes a
    /// block longer than 32 bits can tell is cut to what fits. An element size above 2^32 - 4 is more than
    /// any block holds: the first `getnewptr` ends as with exhausted memory.
    UT_FASTMEM(unsigned long element_size, unsigned long elements_per_block);
    UT_FASTMEM(const UT_FASTMEM&) = delete;
    UT_FASTMEM& operator=(const UT_FASTMEM&) = delete;
    ~UT_FASTMEM() = default;

    /// Returns an element, with undefined bytes: the one freed last in the block in front.
    ///
    /// Where that block is full, the first one of the list with a free element moves to the front; a new
    /// block is made when there is none.
    /// Cost: constant while the block in front has a free element, else linear in the blocks.
    void* getnewptr()
    {
        if (head_ == nullptr || head_->free == nullptr) bring_room_forward();
        void* const element = head_->free;
        std::memcpy(&head_->free, element, sizeof head_->free);  // an element need not be aligned for it
        ++head_->used;
        return element;
    }

    /// Takes an element back, and moves its block to the front of the list.
    ///
    /// A block without an element in use is released, unless it is the last one of the list.
    /// An address that lies in none of the blocks is ignored.
    /// Cost: constant for an element of the block in front, else linear in the blocks.
    /// Errors: before the first `getnewptr` the contract is broken: "Unable to free as memory was not
    /// allocated.".
    void free(void* element)
    {
        if ((head_ == nullptr || !holds(*head_, element)) && !bring_owner_forward(element)) return;
        std::memcpy(element, &head_->free, sizeof head_->free);
        head_->free = element;
        if (--head_->used == 0 && head_->next != nullptr) release_head();
    }

    /// Returns 0; nothing is checked.
    int fastmem_verify() const { return 0; }
    /// Both levels are only kept.
    void set_debug_level(int level) { debug_level_ = level; }
    static void set_global_debug(int level) { global_debug = level; }

private:
    friend struct ketriope::pool_access;  // tests look at the shape

    bool holds(const UT_FM_BLOCK_HEAD& block, const void* element) const
    {
        return reinterpret_cast<std::uintptr_t>(element) - reinterpret_cast<std::uintptr_t>(block.data) <
               block_bytes_;
    }
    void bring_room_forward();
    bool bring_owner_forward(const void* element);
    void move_to_front(UT_FM_BLOCK_HEAD** link);
    void release_head();
    void init_block(UT_FM_BLOCK_HEAD* block) const;
    static void abort();

    UT_FM_BLOCK_HEAD* head_ = nullptr;
    std::uint32_t element_size_;
    std::uint32_t elements_per_block_;
    std::uint32_t block_bytes_;
    std::int32_t debug_level_ = 0;

    static std::int32_t global_debug;
};
