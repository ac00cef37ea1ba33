// basutsmallmutex.cpp
#include "basutsmallmutex.h"

#include <limits>
#include <system_error>

namespace ketriope {
namespace {

constexpr std::uint32_t k_deepest = std::numeric_limits<std::uint32_t>::max();

/// A number of the calling thread that no other living thread has; never 0.
std::uint32_t this_thread() noexcept
{
    static constinit std::atomic<std::uint32_t> last{0};
    thread_local constinit std::uint32_t number = 0;
    while (number == 0) number = last.fetch_add(1, std::memory_order_relaxed) + 1;
    return number;
}

}  // namespace

void small_mutex::lock()
{
    const std::uint32_t self = this_thread();
    if (owner_.load(std::memory_order_relaxed) == self) {
        if (depth_ == k_deepest)
            throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
        ++depth_;
        return;
    }
    std::uint32_t holder = 0;
    while (
        !owner_.compare_exchange_weak(holder, self, std::memory_order_acquire, std::memory_order_relaxed)) {
        if (holder != 0) owner_.wait(holder, std::memory_order_relaxed);
        holder = 0;
    }
    depth_ = 1;
}

bool small_mutex::try_lock() noexcept
{
    const std::uint32_t self = this_thread();
    if (owner_.load(std::memory_order_relaxed) == self) {
        if (depth_ == k_deepest) return false;
        ++depth_;
        return true;
    }
    std::uint32_t holder = 0;
    if (!owner_.compare_exchange_strong(holder, self, std::memory_order_acquire, std::memory_order_relaxed))
        return false;
    depth_ = 1;
    return true;
}

void small_mutex::unlock() noexcept
{
    if (--depth_ != 0) return;
    owner_.store(0, std::memory_order_release);
    owner_.notify_one();
}

}  // namespace ketriope
