/// \file prefetch.h
/// A hint to the processor, for walks from pointer to pointer.
#pragma once

namespace ketriope {

/// Says that what stands at `address` is read soon. Any address will do, null as well.
inline void prefetch(const void* address) noexcept
{
#if defined(__GNUC__)
    __builtin_prefetch(address);
#else
    (void)address;
#endif
}

}  // namespace ketriope
