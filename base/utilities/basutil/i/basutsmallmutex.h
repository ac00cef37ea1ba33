/// \file i/basutsmallmutex.h
/// A recursive lock of eight bytes, for objects of which there are millions.
#pragma once
#include "uttypes.h"
#include <atomic>
#include <cstdint>

namespace ketriope {

/// A mutex that its owner may lock again.
///
/// It meets the standard's requirements of a Lockable, so `std::lock_guard` and its kin take it.
/// Threads: a thread that waits sleeps until the owner lets go; the lock is not fair.
class UT_EXPORT small_mutex {
public:
    constexpr small_mutex() noexcept = default;
    small_mutex(const small_mutex&) = delete;
    small_mutex& operator=(const small_mutex&) = delete;
    ~small_mutex() = default;

    /// Takes the lock, waiting for it. Errors: `std::system_error` past 2^32 - 1 locks by one thread.
    void lock();
    /// Takes the lock if it is free or ours. The result tells; it is false, too, past that count.
    bool try_lock() noexcept;
    /// Gives back one lock; only its owner may.
    void unlock() noexcept;

private:
    std::atomic<std::uint32_t> owner_{0};  ///< number of the owning thread, 0 when free
    std::uint32_t depth_ = 0;              ///< locks by the owner, touched by it alone
};

}  // namespace ketriope
