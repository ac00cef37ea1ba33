/// \file i/uthashtable.h
/// Hash tables of pointers that never stop to rehash: after a doubling each insertion brings the few
/// buckets on its own path up to date.
///
/// The order of the elements is that of the buckets, and in a bucket that of their arrival there.
#pragma once
#include "utarray.h"
#include "utcollection.h"
#include "utlist.h"
#include "uttypes.h"
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ketriope {
class hash_bucket;
}

/// A set: no two of its elements are equal.
///
/// A bucket remembers the size that the table had when it was last rehashed. What hashes to a position may
/// still stand in a bucket of an earlier, smaller table: at the position without its highest bit, or at
/// that one without its highest bit, and so on. Below a bucket that is up to date none is out of date.
/// Cost: an operation searches a bucket, which has a few elements if the hash spreads them. The addresses of
/// objects do not: of sixteen buckets one gets all. Give a table of many objects a hash function.
class UT_EXPORT utHashTable : public utCollection {
public:
    /// A table of 16 buckets.
    utHashTable();
    /// A table for about `expected` elements.
    ///
    /// Shape: with k = (expected + 15) / 32, 16 buckets for a k below 17, or else twice the highest power
    /// of two within k; at most 1048576.
    explicit utHashTable(int expected);
    utHashTable(const utHashTable&) = default;  // shallow on purpose, as is assignment
    utHashTable& operator=(const utHashTable&) = default;
    ~utHashTable() override;

    const char* className() override;
    /// Adds `data`, unless the table has an equal element.
    ///
    /// Shape: the table doubles when it has more than seven elements for each bucket, and more than seven
    /// in the one just used.
    /// Errors: once `data` is in its place, a doubling or a rehash for which memory runs out is put off;
    /// before that `std::bad_alloc` is thrown, and the table holds what it held.
    int insert(void* data) override;
    /// Returns the element that was taken out; null if there is none. No other moves.
    void* remove(void* data) override;
    /// Takes out the first element in the order of the buckets.
    void* remove() override;
    /// Counts in the order of the buckets.
    void* find(int index) override;
    /// No element moves.
    void* find(void* data) override;
    /// Takes out the element at `index` and adds `data`, which goes where its hash says.
    ///
    /// Returns the element that was taken out; null, without an effect, for an index outside and for
    /// data that equals another element.
    void* replace(void* data, int index) override;
    utColGen* newGen() override;

protected:
    /// Appends `data` to the bucket of its hash, which is brought up to date or made before. It neither
    /// counts the element nor looks for an equal one. Returns the elements in that bucket.
    int Insert(void* data);
    /// Rehashes what is out of date on the way from below `position` to the oldest one.
    void Rehash(int position);
    /// Moves the elements of a bucket where they belong in the table of now, and goes on as `Rehash` does.
    void RehashBucket(int position);

    /// Buckets of the table, a power of two.
    int table_size() const { return _buckets._capacity; }
    /// Elements of a bucket; 0 for one that was never made, and for a position outside.
    int bucket_size(int position) const;
    /// Puts `data` in the place of `old`, an element of the table. False, without an effect, if `data`
    /// equals another one.
    bool exchange(void* old, void* data);

private:
    friend class utHashTableGen;
    using bucket = ketriope::hash_bucket;
    struct hit;

    int position_of(unsigned hash) const;
    bucket* bucket_at(int position) const;
    bool is_current(const bucket& some) const;
    bool is_current_below(int position) const;
    hit look_up(void* data, unsigned hash) const;
    int add(void* data, unsigned hash);
    bucket& push_back(void* data, int position);
    void move_out(int position, std::vector<int>& fresh);
    void rehash_path(int position);

    std::int32_t _initialSize;
    std::int32_t _lowest = 0;  ///< no bucket below it has an element; it fills what alignment leaves free
    utArray _buckets;
};

/// A hash table that is walked in the order of insertion.
///
/// Cost: `remove(data)` and `replace` are linear, all else is as in a `utHashTable`.
class UT_EXPORT utLinkedHashTable : public utHashTable {
public:
    utLinkedHashTable() = default;
    explicit utLinkedHashTable(int expected);
    utLinkedHashTable(const utLinkedHashTable&) = default;  // shallow on purpose, as is assignment
    utLinkedHashTable& operator=(const utLinkedHashTable&) = default;
    ~utLinkedHashTable() override;

    using utHashTable::find;

    const char* className() override;
    int insert(void* data) override;
    void* remove(void* data) override;
    /// Takes out the oldest element.
    void* remove() override;
    /// Counts in the order of insertion.
    void* find(int index) override;
    /// `data` takes over the age of the element it replaces.
    void* replace(void* data, int index) override;
    utColGen* newGen() override;

private:
    utQueue _order;  ///< all elements, the oldest first
};

/// Walks a hash table bucket by bucket.
class UT_EXPORT utHashTableGen : public utColGen {
public:
    utHashTableGen() = default;
    explicit utHashTableGen(utHashTable* table);

    const char* className() override;
    void* next() override;

    /// Blocks are kept for the next object of the class, and never go back to the heap.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void* object, std::size_t size) noexcept;
    static void operator delete(void*, void*) noexcept {}

private:
    utHashTable* _table = nullptr;
    std::int32_t _position = 0;  ///< of the bucket being walked
    std::int32_t _index = 0;     ///< of the next element in it
    void* _given = nullptr;      ///< the last one that came from it
};
