// msgdatabase.cpp: which database takes the messages.
#include "msgdatabase.h"

#include <atomic>

#include "msgman.h"

namespace ketriope {
namespace {
constinit std::atomic<message_database*> installed = nullptr;
constinit bool refused = false;
}  // namespace

message_database* installed_database() noexcept
{
    return installed.load(std::memory_order_acquire);
}

message_database* install_database(message_database* database) noexcept
{
    return installed.exchange(database, std::memory_order_acq_rel);
}

bool database_in_charge() noexcept
{
    return UT_MSGMAN::m_msgFlow == 1 && installed_database() != nullptr && !(refused && starting_up());
}

void note_database_refused() noexcept
{
    refused = true;
}

}  // namespace ketriope
