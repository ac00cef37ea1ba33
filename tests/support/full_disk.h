// tests/support/full_disk.h: a disk that takes so many writes and is full then.
#pragma once
#include <cerrno>
#include <cstddef>
#include <cstdint>

#include "scoped_operations.h"

/// Stands in for the disk while it lives.
class full_disk {
public:
    explicit full_disk(int writes = 0)
    {
        allow(writes);
        system_.table.write = [](int descriptor, const void* from, std::size_t count) -> std::int64_t {
            if (writes_left-- > 0) return ketriope::platform::native().write(descriptor, from, count);
            errno = ENOSPC;
            return -1;
        };
    }
    /// Takes `writes` more from now on.
    void allow(int writes) { writes_left = writes; }

private:
    static inline int writes_left = 0;
    scoped_operations system_;
};
