/// \file allocation_faults.h
/// Lets a chosen allocation of the code under test fail.
///
/// A test program that includes this header gets allocation functions that count: `malloc`, `calloc` and
/// `realloc` as the library calls them, and the operators `new` of the whole program.
#pragma once
#include <climits>

/// While it lives, the calling thread's allocations are counted, and those chosen fail.
///
/// A failing `new` does what the standard's does: it calls the new-handler and tries again, or throws
/// `std::bad_alloc` when there is none. One may live at a time in a thread.
class allocation_faults {
public:
    /// Lets the allocations from `first` on fail, counted from 0, `how_many` of them.
    explicit allocation_faults(long first, long how_many = LONG_MAX);
    ~allocation_faults();
    allocation_faults(const allocation_faults&) = delete;
    allocation_faults& operator=(const allocation_faults&) = delete;

    /// How many were asked for until now, the failed ones among them.
    long counted() const;
    /// True once one has failed.
    bool hit() const { return counted() > first_; }

private:
    long first_;
};
