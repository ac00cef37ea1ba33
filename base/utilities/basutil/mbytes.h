/// \file mbytes.h
/// The unit of memory in which reports speak to a person.
#pragma once
#include "uttypes.h"

namespace ketriope {

/// `bytes` in units of 2^20, which the reports call Mbytes.
constexpr double mbytes(ut_uint64 bytes) noexcept
{
    return static_cast<double>(bytes) * 9.5367431640625e-7;  // 2^-20
}

}  // namespace ketriope
