/// \file memory_file.h
/// A device in memory, for the benchmarks of packed data.
#pragma once
#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "basutio.h"

constexpr std::size_t k_piece = 16'384;  ///< what a stream hands over at once

inline unsigned char* bytes_of(std::string& text)
{
    return reinterpret_cast<unsigned char*>(text.data());
}

class memory_file : public UT_IO_DEVICE {
public:
    explicit memory_file(std::string bytes = "") : stored(std::move(bytes)) { set_io_mode(UT_IO_PAK); }
    ~memory_file() override { destroy_me(); }
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;

    using UT_IO_DEVICE::destroy_me;
    using UT_IO_DEVICE::get_data;
    using UT_IO_DEVICE::set_data;

    int get_rawdata(unsigned char* out, int count) override
    {
        const std::size_t got =
            stored.copy(reinterpret_cast<char*>(out), static_cast<std::size_t>(count), at_);
        at_ += got;
        return static_cast<int>(got);
    }
    int set_rawdata(unsigned char* from, int count) override
    {
        stored.append(reinterpret_cast<const char*>(from), static_cast<std::size_t>(count));
        return count;
    }
    long set_rawoffset(long position) override
    {
        at_ = static_cast<std::size_t>(position);
        return position;
    }
    long get_rawoffset() override { return static_cast<long>(at_); }

    std::string stored;

private:
    std::size_t at_ = 0;
};

inline std::string packed(std::string from)
{
    memory_file file;
    for (std::size_t at = 0; at < from.size(); at += k_piece)
        file.set_data(bytes_of(from) + at, std::min(k_piece, from.size() - at));
    file.destroy_me();
    return std::move(file.stored);
}
