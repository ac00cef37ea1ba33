/// \file reason.h
/// Why the system refused, in words that do not depend on it.
#pragma once
#include <string>

namespace ketriope::tool {

/// The words for an `errno`, without a full stop.
std::string reason_of(int error);

}  // namespace ketriope::tool
