/// \file i/basutsmallmem.h
/// Pools of small objects: memory that comes back is kept for the next object of its size.
///
/// A pool keeps the addresses of free elements in buckets. It draws from the first bucket of its table from
/// the oldest entry on, and collects what comes back in the release bucket, from which the latest goes out
/// first. Which address comes next is thus told by the calls alone.
/// Ownership: a pool gives nothing back to the heap while it lives.
/// Threads: no locks; shared pools are safe only while one thread allocates at a time.
/// Errors: exhausted memory calls the new-handler, as `new` does. If that throws, the pool is as before.
#pragma once
#include <cstdint>

#include "uttypes.h"

namespace ketriope {
struct pool_access;
}

/// A pool of elements of one size.
class UT_EXPORT UT_SM_INT_SMALLMEM {
public:
    /// Units: bytes, rounded up to a multiple of 4; 0 and below count as 1.
    /// Shape: a bucket has 1000 / element size places, rounded up.
    /// Ownership: with a non-zero `track_chunks` the destructor gives all memory back, elements in use
    /// included; otherwise the elements stay where they are, for good.
    /// Errors: a size above 65532 ends the process as it does in UT_SM_SMALLMEM.
    UT_SM_INT_SMALLMEM(int element_size, unsigned char track_chunks);
    UT_SM_INT_SMALLMEM(const UT_SM_INT_SMALLMEM&) = delete;
    UT_SM_INT_SMALLMEM& operator=(const UT_SM_INT_SMALLMEM&) = delete;
    ~UT_SM_INT_SMALLMEM();

    /// Returns an element, with undefined bytes.
    ///
    /// It is the one that came back last if the release bucket has one, else the next one of the first
    /// bucket. When that is used up, the last bucket of the table takes its place in the same call; the only
    /// one is filled with a new chunk of memory.
    void* getmem()
    {
        if (released_ != 0) return release_bucket_[--released_];
        void* const element = buckets_[0][next_];
        if (next_ + 1 == per_bucket_)
            renew_first_bucket();
        else
            ++next_;
        return element;
    }

    /// Takes an element back; null is ignored.
    ///
    /// One that fills the release bucket makes it the last bucket of the table in the same call. So `getmem`
    /// returns the element of the latest `relmem`, but behind such a one.
    /// Nothing tells where an element comes from: one of another pool is handed out by this pool from now
    /// on. It must be as large as the elements here, and live as long.
    void relmem(void* element)
    {
        if (element == nullptr) return;
        if (released_ + 1 == per_bucket_) return fill_release_bucket(element);
        release_bucket_[released_++] = element;
    }

private:
    friend struct ketriope::pool_access;  // tests look at the shape

    void fillbucket(void** bucket);
    void renew_first_bucket();
    void fill_release_bucket(void* element);
    void grow_table();

    // The two counts that change all the time are below 2^16, as if they had 16 bits and padding behind: in
    // whole words the processor passes them on without waiting for the memory.
    std::uint16_t element_size_;
    std::uint16_t per_bucket_;
    std::uint32_t next_ = 0;            ///< place in the first bucket
    std::uint32_t table_capacity_ = 0;  ///< in buckets
    std::uint32_t bucket_count_ = 0;
    void*** buckets_ = nullptr;   ///< full ones, but for the first; behind them empty ones and nulls
    std::uint32_t released_ = 0;  ///< elements in the release bucket
    std::uint32_t chunk_count_ = 0;
    void** release_bucket_ = nullptr;
    void** chunks_ = nullptr;  ///< every chunk made; null when they are not tracked
};

/// A pool of one's own, or the one that all objects of a size share.
class UT_EXPORT UT_SM_SMALLMEM {
public:
    /// Units: bytes, 140 at most; sizes that are equal when rounded up to a multiple of 4 share a pool.
    /// Ownership: with a non-zero `own` the pool and all its elements go with this object.
    /// Lifetime: a shared pool is never destroyed.
    /// Errors: above 140 the process ends with exit value -1, after "SMALLMEM: elementsize (%d) too large."
    /// on standard output.
    UT_SM_SMALLMEM(int element_size, unsigned char own);
    UT_SM_SMALLMEM(const UT_SM_SMALLMEM&) = delete;
    UT_SM_SMALLMEM& operator=(const UT_SM_SMALLMEM&) = delete;
    ~UT_SM_SMALLMEM();

    void* getmem() { return pool_->getmem(); }
    void relmem(void* element) { pool_->relmem(element); }

private:
    friend struct ketriope::pool_access;  // tests look at the shape

    UT_SM_INT_SMALLMEM* pool_;
    std::uint8_t own_;
};

/// The shared pools, each made when its size is first asked for.
class UT_EXPORT UT_SM_MNGR {
public:
    UT_SM_MNGR() = default;
    UT_SM_MNGR(const UT_SM_MNGR&) = delete;
    UT_SM_MNGR& operator=(const UT_SM_MNGR&) = delete;
    ~UT_SM_MNGR() = default;

    /// Returns the pool for elements of `element_size` bytes; 0 and below count as 1.
    ///
    /// Lifetime: the process.
    /// Errors: a size above 140 ends the process as it does in UT_SM_SMALLMEM.
    UT_SM_INT_SMALLMEM* getmemhandler(int element_size);

private:
    friend struct ketriope::pool_access;  // tests look at the shape

    static constexpr int k_classes = 36;  ///< the class of a size is its count of words, 1 to 35

    UT_SM_INT_SMALLMEM* pools_[k_classes] = {};
};

/// The manager of all shared pools. Lifetime: made with the first of them, and never destroyed.
extern UT_EXPORT UT_SM_MNGR* sm_memmngr;

/// A shared pool of elements of the size of a `UT_STROBJ`. The library does not draw on it.
/// Lifetime: made at library load, and never destroyed.
extern UT_EXPORT UT_SM_SMALLMEM& ut_stringmem;
