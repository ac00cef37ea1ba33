/// \file i/basutform.h
/// Short-lived formatted text, used all over for building messages.
///
/// Lifetime: each text stands in a slot of a ring of 32 that belongs to the calling thread, and is good
/// until 32 further calls of the same ring in that thread, or the thread's end.
/// The formats are those of `UT_STROBJ::str_format`.
/// Threads: the rings are per thread; `zeochr` alone shares one buffer among all.
#pragma once
#include "uttypes.h"

/// Returns the formatted text.
UT_EXPORT UT_PRINTF_LIKE(1, 2) char* zeoform(const char* format, ...);

/// Formats into a second ring and returns the thread's last `zeoform`, `zeodec` or `zeohex` text, "" if
/// there is none: its own text is lost. Callers depend on it, so it stays.
UT_EXPORT UT_PRINTF_LIKE(1, 2) char* ut_Cform(const char* format, ...);

/// Returns `value` in decimal.
UT_EXPORT char* zeodec(long value);

/// Returns `c` as a text of one character, in one buffer that every call overwrites.
UT_EXPORT char* zeochr(char c);

/// Returns "" for every value: its format has no conversion. Callers depend on it, so it stays.
UT_EXPORT char* zeohex(long value);
