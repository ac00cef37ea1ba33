/// \file msgsection.h
/// The critical section of the message database, held for a block.
#pragma once
#include <mutex>

namespace ketriope {

/// Recursive; one for the process and never destroyed, since a thread may hold it while the database ends.
std::recursive_mutex& message_section();

using section_guard = std::lock_guard<std::recursive_mutex>;

}  // namespace ketriope
