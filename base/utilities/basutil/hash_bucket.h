/// \file hash_bucket.h
/// A bucket of `utHashTable`: a queue of pointers in one block of memory.
#pragma once
#include "utcollection.h"
#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <new>

#if defined(__SSE2__) && UINTPTR_MAX == UINT64_MAX
#define KETRIOPE_PAIRS_OF_POINTERS 1
#include <emmintrin.h>
#endif

namespace ketriope {

/// Pointers looked at in one step.
inline constexpr int k_pointer_group = 8;

/// Which of the next eight pointers is `wanted`, the first one in the lowest bit.
inline unsigned pointer_marks(void* const* group, const void* wanted) noexcept
{
    unsigned marks = 0;
#if defined(KETRIOPE_PAIRS_OF_POINTERS)
    const __m128i both = _mm_set1_epi64x(static_cast<long long>(reinterpret_cast<std::uintptr_t>(wanted)));
    const auto equal_halves = [&](int first) {
        const __m128i pair = _mm_loadu_si128(reinterpret_cast<const __m128i*>(group + first));
        return _mm_castsi128_ps(_mm_cmpeq_epi32(pair, both));
    };
    for (int first = 0; first < k_pointer_group; first += 4) {
        const __m128 front = equal_halves(first), back = equal_halves(first + 2);
        const __m128 low = _mm_shuffle_ps(front, back, _MM_SHUFFLE(2, 0, 2, 0));
        const __m128 high = _mm_shuffle_ps(front, back, _MM_SHUFFLE(3, 1, 3, 1));
        marks |= static_cast<unsigned>(_mm_movemask_ps(_mm_and_ps(low, high))) << first;
    }
#else
    for (int i = 0; i < k_pointer_group; ++i) marks |= static_cast<unsigned>(group[i] == wanted) << i;
#endif
    return marks;
}

/// The elements follow the bucket in its block, so that a search waits for one place in memory, where a
/// list would make it wait for every node.
class alignas(void*) hash_bucket {
public:
    /// A bucket with room for a few elements.
    static hash_bucket* make() { return make(k_pointer_group); }
    /// A bucket with the content of `full`, which is released, and with more room.
    static hash_bucket* grow(hash_bucket* full)
    {
        hash_bucket* const larger = make(2 * full->size_);
        larger->table_size = full->table_size;
        larger->size_ = full->size_;
        std::copy_n(full->elements(), full->size_, larger->elements());
        release(full);
        return larger;
    }
    static void release(hash_bucket* bucket) noexcept { ::operator delete(bucket); }

    hash_bucket(const hash_bucket&) = delete;
    hash_bucket& operator=(const hash_bucket&) = delete;

    int size() const noexcept { return size_; }
    /// The places are a power of two and at least a group, as few as have room; so they need not be kept.
    bool is_full() const noexcept
    {
        return size_ >= k_pointer_group && std::has_single_bit(static_cast<unsigned>(size_));
    }
    void*& at(int index) noexcept { return elements()[index]; }
    /// Appends `data` to a bucket that is not full.
    void push_back(void* data) noexcept { elements()[size_++] = data; }
    /// Takes out the elements from `first` to before `last`.
    void erase(int first, int last) noexcept
    {
        std::copy(elements() + last, elements() + size_, elements() + first);
        size_ -= last - first;
    }

    /// The index of the first element that equals `data`, or is `data` without a function; -1 for none.
    int index_of(void* data, utCollection::compare_function compare) noexcept
    {
        return compare == nullptr ? index_of_same(data) : index_of_equal(data, compare);
    }

    std::int32_t table_size = 0;  ///< at the last rehash; 0, which no table has, before the first one

private:
    explicit hash_bucket(int capacity) noexcept { std::fill_n(elements(), capacity, nullptr); }
    static hash_bucket* make(int capacity)
    {
        const std::size_t places = static_cast<std::size_t>(capacity) * sizeof(void*);
        return new (::operator new(sizeof(hash_bucket) + places)) hash_bucket(capacity);
    }

    void** elements() noexcept { return reinterpret_cast<void**>(this + 1); }

    /// Goes by groups, since the end of a loop at the match could not be foreseen by the processor. What
    /// stands behind the last element stands behind a match, too.
    int index_of_same(const void* data) noexcept
    {
        for (int first = 0; first < size_; first += k_pointer_group) {
            const unsigned marks = pointer_marks(elements() + first, data);
            if (marks == 0) continue;
            const int index = first + std::countr_zero(marks);
            return index < size_ ? index : -1;
        }
        return -1;
    }
    int index_of_equal(void* data, utCollection::compare_function compare) noexcept
    {
        for (int index = 0; index < size_; ++index)
            if (compare(at(index), data) == 0) return index;
        return -1;
    }

    std::int32_t size_ = 0;
};

}  // namespace ketriope
