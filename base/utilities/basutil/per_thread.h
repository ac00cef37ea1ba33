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
/// Lifetime: until the thread ends. One that is used later still is made anew and lives on: it is
/// reached through the thread as long as that exists, but no destructor runs for it.
template <class T, class Tag = T>
T& per_thread()
{
    // The pointer needs no destructor and so outlives the cleaner, which empties it.
    thread_local constinit T* object = nullptr;
    if (object != nullptr) return *object;
    struct cleaner {
        T*& object;
        ~cleaner() { delete std::exchange(object, nullptr); }
    };
    object = new T();
    thread_local const cleaner at_thread_end{object};
    return *object;
}

}  // namespace ketriope
