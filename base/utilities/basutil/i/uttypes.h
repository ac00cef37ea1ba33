/// \file i/uttypes.h
/// The few types and marks that every public header shares.
///
/// A `long` in an interface is the platform's own; what is stored in a 32-bit field or goes to a file
/// is a `ut_long`, so that a file written on one host reads the same on every other.
#pragma once
#include <cstdarg>
#include <cstdint>

#if defined(_WIN32)
#if defined(KETRIOPE_BUILDING)
#define UT_EXPORT __declspec(dllexport)
#else
#define UT_EXPORT __declspec(dllimport)
#endif
#else
#define UT_EXPORT __attribute__((visibility("default")))
#endif

/// Marks a printf-like function, so that the compiler compares its format with its arguments.
/// `format` and `first` count from 1, a member function's object included; `first` is 0 where the
/// arguments come as a list.
#if defined(__GNUC__)
#define UT_PRINTF_LIKE(format, first) __attribute__((__format__(__printf__, format, first)))
#else
#define UT_PRINTF_LIKE(format, first)
#endif

using ut_int64 = long long;            ///< 64 bits everywhere, and never the same type as `long`
using ut_uint64 = unsigned long long;  ///< its unsigned twin: lengths, positions, byte counts
using ut_long = std::int32_t;          ///< a `long` as it is stored and filed: 32 bits on every host
using ut_va_list = std::va_list;       ///< the argument list of the `v` forms of printf-like functions

namespace ketriope {

/// `condition`, of which the compiler may think that it holds: for what is inline and runs often.
inline bool usually(bool condition)
{
#if defined(__GNUC__)
    return __builtin_expect(static_cast<long>(condition), 1) != 0;
#else
    return condition;
#endif
}

}  // namespace ketriope
