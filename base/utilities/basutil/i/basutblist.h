/// \file i/basutblist.h
/// Bags of pointers, kept in linked blocks of slots, with iterators outside them.
///
/// `UT_BLISTS` is the smaller form, for up to 65,535 elements, 255 slots in a block and 255 iterators.
/// `UT_BLIST` holds up to 2^32 - 1, 65,535 and 65,535, and tells where it put an element, which makes taking
/// it out cheap.
///
/// A bag knows no order, but its slots have one: an element goes behind the highest occupied slot of the
/// last block, or to the start of a new block. Slots that are freed further down stay free; only `clear`
/// gives memory back.
/// Ownership: the elements are the caller's. A copy shares the blocks of its source, and only one of the
/// two may be destroyed; likewise one of two copies of an iterator.
/// Lifetime: a bag outlives its iterators. An iterator of a bag that was cleared may only be reset or
/// destroyed.
/// Threads: no locks; a bag belongs to one thread at a time, and so do the statistics of all bags.
/// Errors: a broken contract has the exit value 19. The destructors may throw.
#pragma once
#include <cstddef>
#include <cstdint>

#include "uttypes.h"

class UT_FASTMEM;
class UT_BLIST_ITER;
class UT_BLISTS_ITER;

/// A block of slots; to a caller a part of a position, and nothing else.
struct UT_BLIST_BLINK;

namespace ketriope {
template <class Bag>
struct bag_work;
}

class UT_EXPORT UT_BLIST {
public:
    /// An empty bag whose blocks will have `slots` slots; 0 counts as 1.
    explicit UT_BLIST(unsigned short slots);
    UT_BLIST(const UT_BLIST&) = default;  // shallow on purpose, as is assignment: see above
    UT_BLIST& operator=(const UT_BLIST&) = default;
    /// Errors: an iterator that is left breaks the contract; the bag then stays as it is. Memory that
    /// `delete` was to give back is gone all the same, and no iterator of the bag may then be used or
    /// destroyed.
    ~UT_BLIST() noexcept(false);

    /// Puts `data` into the bag, and where it went into `link` and `index`; each of these may be null.
    ///
    /// Null `data` changes nothing.
    /// Errors: the 2^32nd element breaks the contract, and so does a block that cannot be had. The element
    /// is not stored then, but has been counted.
    /// Cost: linear in the slots of a block.
    void l_append(void* data, UT_BLIST_BLINK** link = nullptr, int* index = nullptr);
    /// Tells whether `data` is in the bag. Null is, if some slot is free.
    ///
    /// A position is looked at first: a `link` of this bag that `clear` has not taken away since, and an
    /// index of one of its slots. A null link or an index out of bounds is none.
    /// Cost: linear, without the right position.
    unsigned char l_find(void* data, UT_BLIST_BLINK* link = nullptr, int index = -1) const;
    /// Frees the slot that holds `data`, that of the position before any other; false if none does, and for
    /// null.
    /// Cost: as that of `l_find`.
    unsigned char l_remove(void* data, UT_BLIST_BLINK* link = nullptr, int index = -1);

    /// Does not compress yet, and says so.
    ///
    /// Errors: a bag with iterators breaks the contract. Without them the report is an internal one where the
    /// legacy message manager is in charge, and the call returns.
    void compress();
    /// Empties the bag and gives its memory back, whatever iterators there are.
    void clear();
    std::uint32_t get_count() const { return count_; }

    /// How many bags there are.
    static std::uint32_t get_total_count() { return total_count; }
    /// The bytes of all blocks and of the bags and iterators made by `new`.
    ///
    /// A block counts 8 bytes for each slot and 8 for its link, on every host. What a destructor frees stays
    /// counted: only `clear` and `delete` take away from the number.
    static std::uint32_t get_total_mem() { return total_mem; }

    static void* operator new(std::size_t size);
    static void operator delete(void* memory);

    static UT_FASTMEM* mem;  ///< null, and used by nothing

private:
    friend class UT_BLIST_ITER;
    friend struct ketriope::bag_work<UT_BLIST>;

    static std::uint32_t total_count;
    static std::uint32_t total_mem;

    UT_BLIST_BLINK* first_ = nullptr;
    UT_BLIST_BLINK* last_ = nullptr;
    std::uint32_t count_ = 0;
    std::uint16_t slots_;          ///< of a block
    std::uint16_t iterators_ = 0;  ///< living ones
};

/// The smaller form; each call does what that of `UT_BLIST` does.
class UT_EXPORT UT_BLISTS {
public:
    explicit UT_BLISTS(unsigned char slots);
    UT_BLISTS(const UT_BLISTS&) = default;
    UT_BLISTS& operator=(const UT_BLISTS&) = default;
    ~UT_BLISTS() noexcept(false);

    /// Errors: the 65,536th element breaks the contract, and so does a block that cannot be had.
    void l_append(void* data);
    unsigned char l_find(void* data) const;
    unsigned char l_remove(void* data);

    void compress();
    void clear();
    std::uint16_t get_count() const { return count_; }

    static std::uint32_t get_total_count() { return total_count; }
    static std::uint32_t get_total_mem() { return total_mem; }

    static void* operator new(std::size_t size);
    static void operator delete(void* memory);

    static UT_FASTMEM* mem;  ///< null, and used by nothing

private:
    friend class UT_BLISTS_ITER;
    friend struct ketriope::bag_work<UT_BLISTS>;

    static std::uint32_t total_count;
    static std::uint32_t total_mem;

    UT_BLIST_BLINK* first_ = nullptr;
    UT_BLIST_BLINK* last_ = nullptr;
    std::uint16_t count_ = 0;
    std::uint8_t slots_;          ///< of a block
    std::uint8_t iterators_ = 0;  ///< living ones
};

/// Goes through the elements of a `UT_BLIST`, in the order of their slots.
class UT_EXPORT UT_BLIST_ITER {
public:
    /// Starts at the first block that `list` has now. Errors: the 65,536th iterator breaks the contract.
    explicit UT_BLIST_ITER(UT_BLIST* list);
    UT_BLIST_ITER(const UT_BLIST_ITER&) = default;
    UT_BLIST_ITER& operator=(const UT_BLIST_ITER&) = default;
    /// Errors: a bag that counts no iterator breaks the contract.
    ~UT_BLIST_ITER() noexcept(false);

    /// Starts again.
    void reset();
    /// Returns the next element; null at the end.
    ///
    /// A further call looks at the last block again, from the index on at which the one before it began; so
    /// it sees what was put there since, or in a new block. Begun on an empty bag it sees nothing until
    /// `reset`.
    void* l_next();

    static void* operator new(std::size_t size);
    static void operator delete(void* memory);

    static UT_FASTMEM* mem;  ///< null, and used by nothing

protected:
    /// Add to the bytes that `UT_BLIST::get_total_mem` tells, and take away from them.
    static void add_total_mem(unsigned long bytes);
    static void remove_total_mem(unsigned long bytes);

private:
    friend struct ketriope::bag_work<UT_BLIST>;

    UT_BLIST* list_;
    UT_BLIST_BLINK* block_ = nullptr;
    std::uint16_t next_ = 0;  ///< index of the slot to look at
};

/// Goes through the elements of a `UT_BLISTS`; each call does what that of `UT_BLIST_ITER` does.
class UT_EXPORT UT_BLISTS_ITER {
public:
    /// Errors: the 256th iterator breaks the contract.
    explicit UT_BLISTS_ITER(UT_BLISTS* list);
    UT_BLISTS_ITER(const UT_BLISTS_ITER&) = default;
    UT_BLISTS_ITER& operator=(const UT_BLISTS_ITER&) = default;
    ~UT_BLISTS_ITER() noexcept(false);

    void reset();
    void* l_next();

    static void* operator new(std::size_t size);
    static void operator delete(void* memory);

    static UT_FASTMEM* mem;  ///< null, and used by nothing

protected:
    static void add_total_mem(unsigned long bytes);
    static void remove_total_mem(unsigned long bytes);

private:
    friend struct ketriope::bag_work<UT_BLISTS>;

    UT_BLISTS* list_;
    UT_BLIST_BLINK* block_ = nullptr;
    std::uint8_t next_ = 0;  ///< index of the slot to look at
};
