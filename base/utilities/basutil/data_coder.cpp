// data_coder.cpp
#include "data_coder.h"

#include <utility>

namespace ketriope {
namespace {

constinit coder_maker installed = nullptr;

}  // namespace

std::unique_ptr<data_coder> make_coder(UT_IO_DEVICE& device, UT_IO_DEVICE_MODE mode)
{
    return installed != nullptr ? installed(device, mode) : nullptr;
}

coder_maker install_coders(coder_maker maker) noexcept
{
    return std::exchange(installed, maker);
}

}  // namespace ketriope
