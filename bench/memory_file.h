/// \file memory_file.h
/// A device in memory whose content is packed, for the benchmarks.
#pragma once
#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "../tests/support/memory_device.h"
#include "basutio.h"

constexpr std::size_t k_piece = 16'384;  ///< what a stream hands over at once

inline unsigned char* bytes_of(std::string& text)
{
    return reinterpret_cast<unsigned char*>(text.data());
}

class memory_file : public memory_device {
public:
    explicit memory_file(std::string bytes = "") : memory_device(std::move(bytes)) { set_io_mode(UT_IO_PAK); }
    ~memory_file() override { destroy_me(); }
    memory_file(const memory_file&) = delete;
    memory_file& operator=(const memory_file&) = delete;

    using UT_IO_DEVICE::destroy_me;
    using UT_IO_DEVICE::get_data;
    using UT_IO_DEVICE::set_data;
};

inline std::string packed(std::string from)
{
    memory_file file;
    for (std::size_t at = 0; at < from.size(); at += k_piece)
        file.set_data(bytes_of(from) + at, std::min(k_piece, from.size() - at));
    file.destroy_me();
    return std::move(file.stored);
}
