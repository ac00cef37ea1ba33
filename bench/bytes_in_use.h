// bench/bytes_in_use.h: how a benchmark measures memory.
#pragma once
#include <cstddef>

#include <malloc.h>

/// Bytes that the process has taken from the runtime and not given back.
inline std::size_t bytes_in_use()
{
    const struct mallinfo2 use = ::mallinfo2();
    return use.uordblks + use.hblkhd;
}
