/// \file i/basutmemmgr.h
/// What happens when the memory is exhausted: every failed `new` of the process comes here.
///
/// The library installs a new-handler at load. Unless a recovery object finds memory, it reports "Out of
/// memory error." and ends the process: no `new` throws `std::bad_alloc`. A tool that can do without the
/// memory puts another handler in place by `std::set_new_handler`.
/// Threads: no locks; one thread's failure may be served at a time.
#pragma once
#include <new>

#include "uttypes.h"

namespace ketriope {

/// What a tool puts into `ut_memmgr` if it has memory to spare.
class UT_EXPORT memory_recovery {
public:
    /// Frees memory. Non-zero if there is more of it now, so that `new` tries again.
    /// Errors: what it allocates by `new` in vain ends the process at once, exit value 1.
    virtual unsigned char recover() = 0;

protected:
    ~memory_recovery() = default;
};

}  // namespace ketriope

class UT_EXPORT UT_MEMMGR {
public:
    /// Installs the new-handler and takes both reserves, so that the end can still be reported.
    ///
    /// Errors: without memory for them `ut_userfatal` reports "Out of memory error.".
    UT_MEMMGR();
    UT_MEMMGR(const UT_MEMMGR&) = delete;
    UT_MEMMGR& operator=(const UT_MEMMGR&) = delete;
    ~UT_MEMMGR() = default;

    /// Asks the recovery object for memory, and returns its answer; 0 without one.
    ///
    /// Errors: without a recovery object, or when the second reserve was lost before or is lost now,
    /// `ut_userfatal` reports "Out of memory error.", with the first reserve to do it in.
    unsigned char recovermem();

    /// Not owned; null, as it is at first, for none.
    ketriope::memory_recovery* recovery = nullptr;

private:
    bool take_second_reserve();
    void report();

    void* first_reserve_ = nullptr;   ///< room for the last report
    void* second_reserve_ = nullptr;  ///< room for the recovery object to work in
};

/// The manager of the process. Lifetime: made at library load, and never destroyed.
extern UT_EXPORT UT_MEMMGR& ut_memmgr;

/// The handler that the library has installed.
extern UT_EXPORT std::new_handler ut_new_handler;
