// basutmemmgr.cpp
#include "basutmemmgr.h"

#include <atomic>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "msgman.h"
#include "platform.h"
#include "startup.h"

constinit std::new_handler ut_new_handler = nullptr;

namespace {

constexpr std::size_t k_reserve_bytes = 1536;
constexpr const char* k_text = "Out of memory error.";
constexpr int k_gave_up = 1;  ///< exit value where the report itself does not end the process

constinit std::new_handler handler_before = nullptr;
constinit std::atomic_flag serving;

/// Ends the process without asking for any memory, since the report of its lack has failed for the lack of
/// it.
void end_without_memory()
{
    constexpr std::string_view k_line = "ERROR - Out of memory error.\n";
    constexpr int k_standard_error = 2;
    if (!ketriope::exit_has_begun())
        ketriope::platform::os().write(k_standard_error, k_line.data(), k_line.size());
    ketriope::platform::os().end_process_now(k_gave_up);
}

/// The new-handler. `new` tries again when it returns.
void serve_exhausted_memory()
{
    if (serving.test_and_set()) return end_without_memory();
    const struct served {  // where a test stands in for the end of the process
        ~served() { serving.clear(); }
    } after_all;
    if (ut_memmgr.recovermem() == 0) ketriope::leave_process(k_gave_up);
}

/// Code that was unloaded must not be called. At the end of the process, which comes here last, the handler
/// stays: other threads may still fail.
[[gnu::destructor]] void give_exhausted_memory_back() noexcept
{
    if (ketriope::exit_has_begun()) return;
    if (std::get_new_handler() == serve_exhausted_memory) std::set_new_handler(handler_before);
}

void release(void*& reserve)
{
    std::free(std::exchange(reserve, nullptr));
}

}  // namespace

UT_MEMMGR::UT_MEMMGR()
{
    const std::new_handler before = std::set_new_handler(serve_exhausted_memory);
    if (before != serve_exhausted_memory) handler_before = before;
    ut_new_handler = serve_exhausted_memory;
    first_reserve_ = std::malloc(k_reserve_bytes);  // not by `new`, which would come back to the handler
    if (take_second_reserve() && first_reserve_ != nullptr) return;
    release(second_reserve_);
    report();
}

unsigned char UT_MEMMGR::recovermem()
{
    if (recovery == nullptr || second_reserve_ == nullptr) report();
    release(second_reserve_);
    const unsigned char answer = recovery != nullptr ? recovery->recover() : 0;
    if (!take_second_reserve()) report();
    return answer;
}

bool UT_MEMMGR::take_second_reserve()
{
    second_reserve_ = std::malloc(k_reserve_bytes);
    return second_reserve_ != nullptr;
}

/// Reports the end of the memory, and ends the process unless `QVS_MSG_ABORT_RETURN` is set.
void UT_MEMMGR::report()
{
    release(first_reserve_);
    try {
        ut_userfatal(k_text);
    } catch (int) {  // there are no messages; `new` must not throw that, so it is told without them
        ut_c_userfatal(k_text);
    } catch (const std::bad_alloc&) {
        end_without_memory();
    }
}
