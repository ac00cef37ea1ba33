// tests/support/memory_device.h: a device whose stored bytes are a string.
#pragma once
#include <algorithm>
#include <climits>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "basutio.h"

class memory_device : public UT_IO_DEVICE {
public:
    explicit memory_device(std::string bytes = "") : stored(std::move(bytes)) {}

    int get_rawdata(unsigned char* out, int count) override
    {
        reads.push_back(count);
        const std::size_t got =
            stored.copy(reinterpret_cast<char*>(out), static_cast<std::size_t>(count), at);
        at += got;
        return static_cast<int>(got);
    }
    int set_rawdata(unsigned char* from, int count) override
    {
        writes.push_back(count);
        const int taken = std::min(count, room);
        stored.append(reinterpret_cast<const char*>(from), static_cast<std::size_t>(taken));
        room -= taken;
        return taken;
    }
    long set_rawoffset(long position) override
    {
        at = static_cast<std::size_t>(position);
        return position;
    }
    long get_rawoffset() override { return static_cast<long>(at); }

    std::string stored;
    std::size_t at = 0;
    int room = INT_MAX;       ///< bytes that it still takes
    std::vector<int> reads;   ///< what was asked for
    std::vector<int> writes;  ///< what was given
};
