/// \file i/basutmemusage.h
/// What memory the process uses, and reports of it.
///
/// Units: bytes in results; Mbytes in reports are 2^20 bytes. A figure that the system does not tell is 0.
/// Cost: each call asks the system; nothing is kept.
#pragma once
#include <iosfwd>

#include "uttypes.h"

class UT_MSGMAN;
class UT_STREAM;

class UT_EXPORT UT_MEM_USAGE {
public:
    UT_MEM_USAGE(const UT_MEM_USAGE&) = delete;
    UT_MEM_USAGE& operator=(const UT_MEM_USAGE&) = delete;

    /// What is in the main memory now.
    static ut_uint64 getCurrentByteUsage();
    static ut_uint64 getCurrentMemoryUsage();
    /// The most that ever was; never below the current figure.
    static ut_uint64 getPeakMemoryUsage();

    /// Writes "QVS_MEMUSAGE - Peak memory usage is 1234 bytes." as a line.
    static void reportCurrentUsage(UT_MSGMAN& out);
    static void reportCurrentUsage(UT_STREAM& out);
    static void reportCurrentUsage(std::ostream& out);

    /// Writes a line with the current and the peak memory, if `QVS_REPORT_MEMORY` begins with `1`.
    ///
    /// Each of the three forms reads the variable at its first call, for good.
    /// Shape: the first two always write prefix, blank, "current memory ...", blank and suffix, with "NULL"
    /// for a null. The third one begins with "Current memory" unless there is a prefix, and ends with "."
    /// unless there is a suffix; null counts as empty.
    static void reportCurrentUsage(UT_MSGMAN& out, const char* prefix, const char* suffix);
    static void reportCurrentUsage(UT_STREAM& out, const char* prefix, const char* suffix);
    static void reportCurrentUsage(std::ostream& out, const char* prefix, const char* suffix);

private:
    constexpr UT_MEM_USAGE() noexcept = default;
    /// Writes the peak report to standard output if `QVS_MEMUSAGE` is set.
    ~UT_MEM_USAGE();

    static ut_uint64 getCurrentByteUsageInternal();
    static ut_uint64 getPeakByteUsageInternal();

    static UT_MEM_USAGE _memUsage;           ///< the one there is; it ends when the library is unloaded
    static ut_uint64 _maxRecordedByteUsage;  ///< kept for the interface; stays 0
};
