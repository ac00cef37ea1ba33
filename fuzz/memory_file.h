/// \file memory_file.h
/// A file in memory, for targets that read or write streams: the descriptor `k_descriptor` leads to it.
#pragma once
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>

#include "platform.h"

namespace memory_file {

inline constexpr int k_descriptor = 1'000;
inline std::string content;
inline std::size_t position = 0;

/// Puts the file in place of what it held, and stands at its start.
inline void hold(std::string bytes)
{
    content = std::move(bytes);
    position = 0;
}

inline std::int64_t read(int, void* out, std::size_t count)
{
    const std::size_t got =
        position < content.size() ? content.copy(static_cast<char*>(out), count, position) : 0;
    position += got;
    return static_cast<std::int64_t>(got);
}

inline std::int64_t write(int, const void* from, std::size_t count)
{
    if (content.size() < position + count) content.resize(position + count);
    std::copy_n(static_cast<const char*>(from), count,
                content.begin() + static_cast<std::ptrdiff_t>(position));
    position += count;
    return static_cast<std::int64_t>(count);
}

inline std::int64_t seek(int, std::int64_t offset, ketriope::platform::seek_from origin)
{
    const std::size_t base = origin == ketriope::platform::seek_from::start  ? 0
                             : origin == ketriope::platform::seek_from::here ? position
                                                                             : content.size();
    const std::int64_t wanted = static_cast<std::int64_t>(base) + offset;
    if (wanted < 0) {
        errno = EINVAL;
        return -1;
    }
    position = static_cast<std::size_t>(wanted);
    return wanted;
}

/// Leads all transfers to the file; for the rest of the process.
inline void use()
{
    static ketriope::platform::operations table = ketriope::platform::native();
    table.open = [](const char*, unsigned flags) {
        if ((flags & ketriope::platform::open_truncate) != 0) content.clear();
        position = 0;
        return k_descriptor;
    };
    table.close = [](int) { return 0; };
    table.read = read;
    table.write = write;
    table.seek = seek;
    ketriope::platform::use_operations(&table);
}

}  // namespace memory_file
