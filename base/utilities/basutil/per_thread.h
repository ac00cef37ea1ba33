/// \file per_thread.h
/// Objects of which each thread has its own, and that may be used at any time of its life.
///
/// Exit handlers and the destructors of globals run when the thread's objects are gone already; they
/// format text, too. So an object that is used after its end is made again.
#pragma once
#include <utility>

namespace ketriope {

/// The calling thread's `T` of that `Tag`, made by `T()` on first use.
///
/// Lifetime: until the thread ends. One that is used later still, by the destructor of another object of
/// the thread, is made anew and destroyed behind that, four times at most; the last one stays, and so does
/// one that an exit handler uses.
template <class T, class Tag = T, int Round = 0>
T& per_thread()
{
    constexpr int k_last_round = 4;
    // Neither needs a destructor, so both outlive the cleaner, which runs once in each thread and round.
    thread_local constinit T* object = nullptr;
    thread_local constinit bool ended = false;
    if (object != nullptr) return *object;
    if constexpr (Round < k_last_round)
        if (ended) return per_thread<T, Tag, Round + 1>();
    struct cleaner {
        ~cleaner()
        {
            ended = true;
            delete std::exchange(object, nullptr);
        }
    };
    object = new T();
    thread_local cleaner at_thread_end;
    return *object;
}

}  // namespace ketriope
