/// \file i/basuthmatrix.h
/// A compact symmetric matrix of small counters: how often two of n things meet.
///
/// Shape: n rows and n columns; (i, j) and (j, i) are one cell, of n(n - 1)/2. There is no diagonal:
/// (i, i) is the cell of (i + 1, 0), and that of the last i is none.
/// Units: a counter is a signed byte, and wraps.
/// Ownership: a copy shares the cells of its source, and only one of the two may be destroyed.
/// Threads: no locks; a matrix belongs to one thread at a time.
#pragma once
#include "uttypes.h"

class UT_EXPORT UT_HMATRIX {
public:
    /// A matrix of n things, all counters 0. A negative n counts as 0.
    ///
    /// Errors: exhausted memory throws `std::bad_alloc`, unless a new-handler ends the process first.
    explicit UT_HMATRIX(int n);
    /// A matrix of nothing.
    UT_HMATRIX();
    UT_HMATRIX(const UT_HMATRIX&) = default;  // shallow on purpose, as is assignment: see above
    UT_HMATRIX& operator=(const UT_HMATRIX&) = default;
    ~UT_HMATRIX();

    /// Sets all counters to 0.
    void clear();
    /// The same; the argument is ignored.
    void clear(long);

    /// The counter of i and j; 0 if one of them is outside 0 .. n - 1.
    signed char get(int i, int j) const;
    /// Sets the counter of i and j; nothing if one of them is outside.
    void set(int i, int j, signed char value);
    /// Counts up by one, and returns the value from before; 0 if one of them is outside.
    signed char inc(int i, int j);
    /// Counts down by one, and returns the value from before; 0 if one of them is outside.
    signed char dec(int i, int j);

private:
    signed char* cell(int i, int j) const;
    signed char add(int i, int j, int step);

    ut_long size_;
    signed char* cells_;
};
