/// \file coders.h
/// The compressors behind the devices.
#pragma once
#include <memory>

#include "data_coder.h"

namespace ketriope {

/// What the library itself installs: a coder for each mode but the raw one. The device is a `UT_STREAM`.
std::unique_ptr<data_coder> stream_coder(UT_IO_DEVICE& device, UT_IO_DEVICE_MODE mode);

}  // namespace ketriope
