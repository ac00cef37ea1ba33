/// \file i/basuthash.h
/// A hash table of fixed size, whose hashing and comparing are the derived class's.
///
/// Shape: an entry keeps its data and nothing else. A key is hashed when it is given and compared with
/// the data, so the data must tell its key. The number of buckets never changes, and nothing is rehashed:
/// a tool that knows how much will come asks for as many buckets. Keys and data go to the derived class as
/// they are given, null as well.
/// Ownership: the data stay the caller's, unless the table is an owner and is flushed. A copy shares the
/// buckets and entries of its source, and only one of the two may be used further and destroyed.
/// Threads: no locks; a table belongs to one thread at a time.
#pragma once
#include "basutstore.h"
#include "uttypes.h"
#include <cstdint>

class UT_EXPORT UT_HASH : public UT_STORE {
public:
    /// Makes a table of `buckets` buckets, of which the low 32 bits count. With a non-zero `owner`,
    /// `flush` releases the data by `del_func`.
    ///
    /// Errors: no bucket, or exhausted memory, is kept as an error status of the message database, whatever
    /// route other reports take, and an `int` is thrown: 1, or 0 if the database has no text for it.
    UT_HASH(unsigned long buckets, unsigned char owner);
    UT_HASH(const UT_HASH&) = default;  // shallow on purpose, as is assignment: see above
    UT_HASH& operator=(const UT_HASH&) = default;
    /// Frees the entries and the buckets. The data are not released: at this place `del_func` is no longer
    /// the derived class's, which calls `flush` in its own destructor if it wants that.
    ~UT_HASH() override;

    /// Puts `data`, or the key itself if `data` is null, in front of its bucket's chain.
    ///
    /// An equal key is not looked for: the new entry hides the old one until it is removed.
    /// Errors: exhausted memory reports as the constructor does, and leaves the table as it was.
    void add(const void* key, void* data);
    /// The data of the entry with that key that was added last; null if there is none.
    /// Cost: one hash, and one comparison per entry of the chain up to the hit.
    void* find(const void* key);
    /// Takes out what `find` finds, and returns its data; null if there is none.
    void* remove(const void* key);
    /// Calls `fn` with the data of every entry, from the first bucket to the last, and in a bucket with the
    /// newest first. A null `fn` does nothing. `fn` may remove the entry that it is called for.
    void process(void (*fn)(void* data));
    /// Does what `flush` does.
    void empty();

    /// Adds, and returns true.
    bool s_add(const void* key, void* data) override;
    void* s_find(const void* key) override;
    void* s_remove(const void* key) override;
    /// The hash of a key; the table takes it modulo the number of buckets.
    virtual std::uint32_t hash_func(const void* key) = 0;
    /// 0 if `data` are those of `key`.
    virtual int comp_func(const void* key, void* data) = 0;
    /// Releases `data`, for a table that owns them. This one does nothing.
    virtual void del_func(void* data);

    std::uint32_t get_count() const { return count_; }
    std::uint32_t get_nbr_buckets() const { return buckets_; }
    /// Nothing is measured: this, and both numbers of calls, are 0.
    std::uint32_t get_used() const { return used_; }
    /// Buckets less used, and so all of them.
    std::uint32_t get_unused() const { return buckets_ - used_; }
    std::uint32_t get_nbr_find_calls() const { return find_calls_; }
    std::uint32_t get_nbr_cmp_calls() const { return compare_calls_; }
    /// Find calls per comparison: 0 by 0, which is not a number.
    double get_stat() const;

protected:
    /// On a table that owns its data: calls `del_func` with the data of every entry, and empties all
    /// buckets. The entries themselves are not freed, and the count stays. Any other table is left alone.
    /// `del_func` must not change the table.
    ///
    /// Errors: what `del_func` throws comes out, with the entries of that bucket still in place.
    void flush();

private:
    struct entry {
        entry* next;
        void* data;
    };

    entry** bucket_of(const void* key) { return table_ + hash_func(key) % buckets_; }
    void* find_and_remove(const void* key, unsigned char do_remove);
    void process_and_kill(unsigned char kill, void (*fn)(void* data));

    std::uint32_t buckets_;
    entry** table_;
    unsigned char owner_;
    std::uint32_t count_ = 0;
    std::uint32_t used_ = 0;
    std::uint32_t find_calls_ = 0;
    std::uint32_t compare_calls_ = 0;
};
