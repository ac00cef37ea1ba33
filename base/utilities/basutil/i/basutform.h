/// \file i/basutform.h
/// Short-lived formatted text, used all over for building messages.
///
/// The formats are those of `UT_STROBJ::str_format`.
/// Ownership: each text stands in a slot of a ring of 32 that belongs to the calling thread.
/// Lifetime: good until 32 further calls on the same ring in that thread, or the thread's end.
/// Threads: the rings are per thread; `zeochr` alone shares one buffer among all.
#pragma once
#include "uttypes.h"

/// Returns the formatted text, from the thread's first ring.
///
/// An argument may be a text of the ring, also the one whose slot is about to be used again. A null
/// format gives "".
UT_EXPORT UT_PRINTF_LIKE(1, 2) char* zeoform(const char* format, ...);

/// Formats into the thread's second ring, and returns the last text of the first one.
///
/// So its own text is lost: the result is what `zeoform`, `zeodec` or `zeohex` returned last in this
/// thread, "" before the first of them. Callers depend on it, so it stays.
extern "C" UT_EXPORT UT_PRINTF_LIKE(1, 2) char* ut_Cform(const char* format, ...);

/// Returns `value` in decimal, from the first ring.
UT_EXPORT char* zeodec(long value);

/// Returns `c` as a text of one character.
///
/// Lifetime: one buffer serves the whole process, and the next call changes it.
UT_EXPORT char* zeochr(char c);

/// Returns "" for every value, from the first ring.
///
/// Its format ends before it has named a conversion. Callers depend on it, so it stays.
UT_EXPORT char* zeohex(long value);
