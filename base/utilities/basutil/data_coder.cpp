// data_coder.cpp
#include "data_coder.h"

#include <algorithm>
#include <utility>

namespace ketriope {
namespace {

constinit coder_maker installed = nullptr;

}  // namespace

std::size_t data_coder::skip(std::size_t count)
{
    std::size_t done = 0;
    while (done < count) {
        const std::size_t dropped = drop_piece(count - done);
        if (dropped == 0) break;
        done += dropped;
    }
    return done;
}

std::size_t data_coder::drop_piece(std::size_t count)
{
    unsigned char piece[256];
    return read(piece, std::min(count, sizeof piece));
}

std::unique_ptr<data_coder> make_coder(UT_IO_DEVICE& device, UT_IO_DEVICE_MODE mode)
{
    return installed != nullptr ? installed(device, mode) : nullptr;
}

coder_maker install_coders(coder_maker maker) noexcept
{
    return std::exchange(installed, maker);
}

}  // namespace ketriope
