// tests/support/pool_model.h: which element a pool must hand out next, found without any memory of its own.
//
// The models know places only: the n-th element of the m-th chunk of memory. Where a chunk lies is learnt
// from its first element, and from there all other addresses follow.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <list>
#include <map>
#include <new>
#include <utility>
#include <vector>

#include "basutfstmem.h"
#include "basutsmallmem.h"

/// The shape of the pools, which their interfaces do not tell.
struct ketriope::pool_access {
    struct fast_shape {
        std::vector<std::pair<std::size_t, std::size_t>>
            blocks;  ///< elements in use and free, from the front
        bool operator==(const fast_shape&) const = default;
    };
    struct small_shape {
        std::size_t next, capacity, buckets, released, chunks;
        bool operator==(const small_shape&) const = default;
    };

    static fast_shape shape(const UT_FASTMEM& pool)
    {
        fast_shape found;
        for (const UT_FM_BLOCK_HEAD* block = pool.head_; block != nullptr; block = block->next)
            found.blocks.emplace_back(static_cast<std::size_t>(block->used), free_elements(*block));
        return found;
    }
    static small_shape shape(const UT_SM_INT_SMALLMEM& pool)
    {
        return {pool.next_, pool.table_capacity_, pool.bucket_count_, pool.released_, pool.chunk_count_};
    }
    static std::uint32_t element_size(const UT_FASTMEM& pool) { return pool.element_size_; }
    static std::uint32_t per_block(const UT_FASTMEM& pool) { return pool.elements_per_block_; }
    static std::uint32_t block_bytes(const UT_FASTMEM& pool) { return pool.block_bytes_; }
    static int debug_level(const UT_FASTMEM& pool) { return pool.debug_level_; }
    static int global_debug() { return UT_FASTMEM::global_debug; }
    static std::uint16_t element_size(const UT_SM_INT_SMALLMEM& pool) { return pool.element_size_; }
    static std::uint16_t per_bucket(const UT_SM_INT_SMALLMEM& pool) { return pool.per_bucket_; }
    static bool tracks(const UT_SM_INT_SMALLMEM& pool) { return pool.chunks_ != nullptr; }
    static UT_SM_INT_SMALLMEM* pool_of(const UT_SM_SMALLMEM& face) { return face.pool_; }
    static UT_SM_INT_SMALLMEM* const* table(const UT_SM_MNGR& manager) { return manager.pools_; }
    static void fault() { UT_FASTMEM::abort(); }

    /// The addresses of the fields in their stated order.
    static std::vector<const void*> fields(const UT_FASTMEM& pool)
    {
        return {&pool.head_, &pool.element_size_, &pool.elements_per_block_, &pool.block_bytes_,
                &pool.debug_level_};
    }
    static std::vector<const void*> fields(const UT_SM_INT_SMALLMEM& pool)
    {
        return {&pool.element_size_,   &pool.per_bucket_, &pool.next_,     &pool.table_capacity_,
                &pool.bucket_count_,   &pool.buckets_,    &pool.released_, &pool.chunk_count_,
                &pool.release_bucket_, &pool.chunks_};
    }
    static std::vector<const void*> fields(const UT_SM_SMALLMEM& face) { return {&face.pool_, &face.own_}; }

    /// Gives all blocks back: an allocator leaves those of elements in use where they are.
    static void release_blocks(UT_FASTMEM& pool)
    {
        while (UT_FM_BLOCK_HEAD* const block = std::exchange(pool.head_, nullptr)) {
            pool.head_ = block->next;
            ::operator delete(block->data);
            delete block;
        }
    }

private:
    static std::size_t free_elements(const UT_FM_BLOCK_HEAD& block)
    {
        std::size_t count = 0;
        for (void* each = block.free; each != nullptr; std::memcpy(&each, each, sizeof each)) ++count;
        return count;
    }
};

namespace pool_model {

using access = ketriope::pool_access;

/// An allocator whose blocks go with it.
struct fastmem : UT_FASTMEM {
    using UT_FASTMEM::UT_FASTMEM;
    ~fastmem() { access::release_blocks(*this); }
};

struct place {
    std::size_t chunk;
    std::size_t number;
    bool operator==(const place&) const = default;
};

/// What UT_FASTMEM does.
class fast_model {
public:
    using pool_type = UT_FASTMEM;
    explicit fast_model(const UT_FASTMEM& pool)
        : distance_(std::max<std::size_t>(access::element_size(pool), 8)), per_block_(access::per_block(pool))
    {
    }
    std::size_t distance() const { return distance_; }

    place get()
    {
        const auto with_room = std::ranges::find_if(blocks_, [](const block& b) { return !b.free.empty(); });
        if (with_room != blocks_.end())
            blocks_.splice(blocks_.begin(), blocks_, with_room);
        else
            blocks_.push_front(fresh());
        block& front = blocks_.front();
        const std::size_t number = front.free.back();
        front.free.pop_back();
        return {front.chunk, number};
    }
    void release(place which)
    {
        const auto owner = std::ranges::find(blocks_, which.chunk, &block::chunk);
        blocks_.splice(blocks_.begin(), blocks_, owner);
        blocks_.front().free.push_back(which.number);
        if (blocks_.front().free.size() == per_block_ && blocks_.size() > 1) blocks_.pop_front();
    }
    access::fast_shape shape() const
    {
        access::fast_shape expected;
        for (const block& each : blocks_)
            expected.blocks.emplace_back(per_block_ - each.free.size(), each.free.size());
        return expected;
    }

private:
    struct block {
        std::size_t chunk;
        std::vector<std::size_t> free;  ///< the next one last
    };
    block fresh()
    {
        block made{chunks_++, {}};
        for (std::size_t number = per_block_; number > 0; --number) made.free.push_back(number - 1);
        return made;
    }

    std::size_t distance_;
    std::size_t per_block_;
    std::size_t chunks_ = 0;
    std::list<block> blocks_;
};

/// What UT_SM_INT_SMALLMEM does.
class small_model {
public:
    using pool_type = UT_SM_INT_SMALLMEM;
    explicit small_model(const UT_SM_INT_SMALLMEM& pool)
        : distance_(access::element_size(pool)), per_bucket_(access::per_bucket(pool)), table_{fresh()}
    {
    }
    std::size_t distance() const { return distance_; }

    place get()
    {
        if (!released_.empty()) {
            const place latest = released_.back();
            released_.pop_back();
            return latest;
        }
        const place taken = table_.front().front();
        table_.front().pop_front();
        if (table_.front().empty()) {
            if (table_.size() == 1) table_.push_back(fresh());
            table_.front() = std::move(table_.back());
            table_.pop_back();
        }
        return taken;
    }
    void release(place which)
    {
        released_.push_back(which);
        if (released_.size() < per_bucket_) return;
        table_.push_back(std::move(released_));
        released_.clear();
        most_buckets_ = std::max(most_buckets_, table_.size());
    }
    access::small_shape shape() const
    {
        return {per_bucket_ - table_.front().size(), std::max<std::size_t>(most_buckets_, 10), table_.size(),
                released_.size(), chunks_};
    }

private:
    using bucket = std::deque<place>;
    bucket fresh()
    {
        bucket made;
        for (std::size_t number = 0; number < per_bucket_; ++number) made.push_back({chunks_, number});
        ++chunks_;
        return made;
    }

    std::size_t distance_;
    std::size_t per_bucket_;
    std::size_t chunks_ = 0;
    std::vector<bucket> table_;
    bucket released_;
    std::size_t most_buckets_ = 1;
};

inline void* take(UT_FASTMEM& pool)
{
    return pool.getnewptr();
}
inline void* take(UT_SM_INT_SMALLMEM& pool)
{
    return pool.getmem();
}
inline void give(UT_FASTMEM& pool, void* element)
{
    pool.free(element);
}
inline void give(UT_SM_INT_SMALLMEM& pool, void* element)
{
    pool.relmem(element);
}

/// A pool and its model, which are told the same.
template <class Model>
class pair {
public:
    explicit pair(typename Model::pool_type& pool, std::size_t size) : pool_(pool), size_(size), model_(pool)
    {
    }

    std::size_t in_use() const { return in_use_.size(); }

    /// Takes an element and fills all of it with a mark of its own. True if it is where it must be.
    bool get()
    {
        void* const address = take(pool_);
        const place expected = model_.get();
        if (expected.number == 0 && !starts_.contains(expected.chunk)) starts_[expected.chunk] = address;
        const bool right =
            address == static_cast<char*>(starts_[expected.chunk]) + expected.number * model_.distance();
        if (!right) return false;
        std::memset(address, ++mark_, size_);
        in_use_.push_back({expected, address, mark_});
        return true;
    }
    /// Gives back one of those in use, by number. True if nobody has written into it meanwhile.
    bool release(std::size_t number)
    {
        const element given = in_use_[number];
        in_use_[number] = in_use_.back();
        in_use_.pop_back();
        const auto* first = static_cast<const unsigned char*>(given.address);
        const bool untouched =
            std::all_of(first, first + size_, [&](unsigned char byte) { return byte == given.mark; });
        give(pool_, given.address);
        model_.release(given.where);
        return untouched;
    }
    bool same_shape() const { return access::shape(pool_) == model_.shape(); }

private:
    struct element {
        place where;
        void* address;
        unsigned char mark;
    };
    typename Model::pool_type& pool_;
    std::size_t size_;
    Model model_;
    std::map<std::size_t, void*> starts_;  ///< of the chunks
    std::vector<element> in_use_;
    unsigned char mark_ = 0;
};

}  // namespace pool_model
