/// \file template_check.h
/// The text of a message, looked at as the message database will read it.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace ketriope::tool {

/// What is wrong with a template; nothing for a good one.
///
/// A conversion is `$$`, flags, width and precision of `-`, `.` and digits, and one of X c d f i s u x ld lu.
std::vector<std::string> template_faults(std::string_view text);

}  // namespace ketriope::tool
