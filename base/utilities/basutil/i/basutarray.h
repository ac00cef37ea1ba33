/// \file i/basutarray.h
/// What the arrays of fixed-size elements share: counters, sorting, sorted insertion, binary search.
///
/// An array hands out addresses, and keeps a pointer variable of its caller up to date, so that hot loops
/// index that pointer without a call. `UT_DARRAY` keeps its elements in one block that moves as it grows,
/// `UT_BARRAY` in blocks that never move.
///
/// Ownership: a copy shares the storage and the caller's variable of its source. Only one of the two may be
/// destroyed, and once one of them has grown or shrunk the other one's counters are out of date.
/// Threads: no locks; an array belongs to one thread at a time. Sorted insertions into different arrays may
/// run at once.
/// Errors: all of them break the contract, with exit value 19. What makes an array longer may report as
/// `getaddr` does, and leaves it as it was then; so does a sorted insertion without memory for the copy of
/// its key.
#pragma once
#include "uttypes.h"
#include <cstddef>
#include <cstdint>

class UT_EXPORT UT_BASE_ARRAY {
public:
    /// How elements compare: below 0, 0 or above 0. A search passes its key as the first argument.
    using compare_function = int (*)(const void*, const void*);

    /// Clears `bytes` bytes from `p` on if `setzeromem` is on, and does nothing otherwise.
    virtual void clearmem(void* p, ut_uint64 bytes);

    /// Sorts the elements `first` to `last`, both included; not stable.
    ///
    /// The steps of the partition are fixed, so equal keys end in the same order on every host. Each element
    /// is compared with a pivot, the element as the first argument. A null `cmp` sorts nothing. Errors: a
    /// negative `first` below `last` is a bad index; a `last` past the count grows the array.
    virtual void qsort(long first, long last, compare_function cmp);

    /// Opens a gap at `index` (`direction` above 0), or closes the one in front of it (0 or below).
    ///
    /// Opening moves the elements from `index` on up by one; the element at `index` stays as it was, so that
    /// the gap is a duplicate. Closing moves them down by one onto `index` - 1: `a_shift(i, -1)` deletes
    /// element i - 1. An index that no element stands behind does nothing, but for this: a `UT_DARRAY` that
    /// is opened at its count expands by one.
    virtual void a_shift(long index, int direction);

    /// Sorts as `qsort` does and then makes sure that the result is in order.
    ///
    /// `last` -1 means the last element. An empty array and a null `cmp` are left alone.
    /// Errors: "Sort produced an unsorted list." for a `cmp` that contradicts itself.
    virtual void a_sort(compare_function cmp, long first = 0, long last = -1);

    /// Inserts a copy of the element at `key` into a sorted array, in front of its equals.
    ///
    /// The result is its index; -1 with nothing inserted for a null `key` or `cmp`. `key` may be an element
    /// of this very array.
    virtual long a_sortadd(const void* key, compare_function cmp);

    /// Inserts a copy of the element at `key` into a sorted array unless an equal one is there.
    ///
    /// The result is the index of the new element or of the first equal one; -1 for a null `key` or `cmp`.
    /// `*inserted`, unless `inserted` is null, becomes 1 or 0.
    virtual long a_sortuadd(const void* key, compare_function cmp, unsigned char* inserted);

    /// Returns the index of the first element of a sorted array that equals `key`, or -1.
    ///
    /// Cost: logarithmic, and one comparison for each further element that equals `key`.
    virtual long a_bsearch(const void* key, compare_function cmp);

    /// Makes the count `n`, growing the array where needed; a negative `n` acts as 0.
    virtual void a_resetnum(long n);

    /// Returns the index of the element at the address `element`, or -1.
    virtual long intgetindex(void* element) = 0;

    /// Returns the elements in a new block, or null for an empty array and when memory is out.
    ///
    /// Ownership: the caller's, released by `free`.
    virtual void* a_makearray();

    virtual ~UT_BASE_ARRAY();

    UT_BASE_ARRAY(const UT_BASE_ARRAY&) = default;  // shallow on purpose, as is assignment: see above
    UT_BASE_ARRAY& operator=(const UT_BASE_ARRAY&) = default;

    long getnumelements() const { return num_elements_; }
    /// The capacity, in elements.
    long getelemsallocated() const { return elements_allocated_; }
    /// Sets the growth step, in elements; below 1 it counts as 1.
    void setallocationsize(int elements) { allocation_size_ = elements; }
    /// Says whether storage is cleared that is newly provided or given up; from the next operation on.
    void setzeromem(unsigned char on) { zeromem_ = on; }
    void setnumelements(long n) { a_resetnum(n); }
    /// Takes out all elements; `getnumelements` tells whether there are any.
    void empty() { a_resetnum(0); }
    /// Stores the count or the capacity and does nothing else: for a class that filled the storage by itself.
    void resetnumelements(long n) { num_elements_ = static_cast<std::int32_t>(n); }
    void resetelemsallocated(long n) { elements_allocated_ = static_cast<std::int32_t>(n); }

protected:
    /// An `element_size` below 1 counts as 1.
    UT_BASE_ARRAY(int element_size, int allocation_size, unsigned char zeromem);

    /// True if there is an element `index`; reports "Element out of range. Use expand." otherwise.
    bool testaddr(long index) const;
    /// The growth step as growth and shrinking take it: at least 1.
    long step() const { return allocation_size_ < 1 ? 1 : allocation_size_; }
    std::size_t element_bytes() const { return static_cast<std::size_t>(element_size_); }
    std::size_t bytes_of(std::int64_t elements) const
    {
        return static_cast<std::size_t>(elements) * element_bytes();
    }
    /// The last steps of a search in a mode: puts `key` at `position`, or behind the element there if it is
    /// above. The result is its index, -1 if memory is out.
    long insert_found(const void* key, compare_function cmp, long position);

    /// Returns the address of element `index`, growing the array until it has one.
    virtual void* getaddr(long index) = 0;

    unsigned char zeromem_;
    std::int32_t element_size_;        ///< in bytes, at least 1
    std::int32_t elements_allocated_;  ///< the capacity
    std::int32_t num_elements_;        ///< the count
    std::int32_t allocation_size_;     ///< the growth step, in elements

private:
    class addresses;

    static void swap(void* a, void* b, int bytes);
};
