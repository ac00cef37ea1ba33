/// \file i/halt.h
/// How a run is asked to stop: a flag that long loops poll.
///
/// A tool's signal handler or stop button writes the flags; the library only looks at them.
/// Threads: any thread or signal handler may set them; the handler of a notice runs in the one that polls.
#pragma once
#include "uttypes.h"
#include <atomic>

class UT_EXPORT UT_HALT {
public:
    constexpr UT_HALT() noexcept = default;
    UT_HALT(const UT_HALT&) = delete;
    UT_HALT& operator=(const UT_HALT&) = delete;

    /// Asks for one call of the handler, at the next poll.
    void setnotify() noexcept { notify_.store(1, std::memory_order_relaxed); }
    /// Keeps `handler` for notices; null for none.
    void sethandler(void (*handler)()) noexcept { handler_.store(handler, std::memory_order_relaxed); }
    /// 1 ends the process at the next poll; any other value is what a poll returns.
    void sethaltvalue(unsigned char value) noexcept { value_.store(value, std::memory_order_relaxed); }

    /// Gives the console a chance, serves a notice, and returns the halt value.
    ///
    /// With a halt value of 1, which the handler may have set, the process ends, exit value 0.
    unsigned char checkhalt();
    /// The same without a look at the console, for loops that run away from it.
    unsigned char checkhalt_pl();

private:
    std::atomic<unsigned char> value_{0};
    std::atomic<unsigned char> notify_{0};
    std::atomic<void (*)()> handler_{nullptr};
};

/// The flags of the process; good before any constructor has run.
extern UT_EXPORT UT_HALT ut_haltobj;

/// Polls `ut_haltobj` as `checkhalt` does: 1 to stop, 0 to go on.
UT_EXPORT unsigned char ut_halted();
