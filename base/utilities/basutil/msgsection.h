/// \file msgsection.h
/// The critical section of the message database, held for a block.
#pragma once
#include <mutex>

namespace ketriope {

/// Recursive; one for the process and never destroyed, since a thread may hold it while the database ends.
std::recursive_mutex& message_section();

using section_guard = std::lock_guard<std::recursive_mutex>;
using section_lock = std::unique_lock<std::recursive_mutex>;

/// The section for who ends the process: not locked if another thread keeps it for seconds, as one that
/// is stuck in it does. A run must come to its end even so.
section_lock section_in_time();

}  // namespace ketriope
