/// \file msgbridge.h
/// How reports of the lower floors reach the message database.
#pragma once
#include "msgdatabase.h"

namespace ketriope {

/// The database of the process behind the seam. Constant-initialised, and never destroyed.
message_database& message_bridge() noexcept;

}  // namespace ketriope
