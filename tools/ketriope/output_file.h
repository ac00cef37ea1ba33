/// \file output_file.h
/// A file that is there whole, or not at all.
#pragma once
#include <string>

namespace ketriope::tool {

/// Writes `content` to the file `name`: under another name beside it, which it gets when it is complete.
///
/// So whoever reads `name` meanwhile has the old content, and a failure leaves it. A file of that name is
/// replaced; a directory or device is not. The file is plain: no variable makes it a packed one.
/// Errors: false, reported, and the other name is gone again.
bool write_file(const char* name, const std::string& content);

}  // namespace ketriope::tool
