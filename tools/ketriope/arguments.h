/// \file arguments.h
/// The command line, understood here and nowhere else.
#pragma once
#include <optional>
#include <string>

#include "command.h"

namespace ketriope::tool {

/// A command line that makes sense.
struct arguments {
    const command* chosen;
    request asked;
    outcome at_best = outcome::done;  ///< what the program ends with when the command does its work
};

/// Reads the command line; an empty one asks for the help, but counts as failed.
///
/// Errors: what makes no sense is reported, and the result is empty.
std::optional<arguments> read_arguments(int argc, const char* const* argv);

/// Reports that there is no such command, or no such option.
void report_unknown(const std::string& word);

}  // namespace ketriope::tool
