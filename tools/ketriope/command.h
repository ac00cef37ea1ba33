/// \file command.h
/// What a command of the program is, and how the program ends.
///
/// Each command stands in the source file of its name.
#pragma once
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace ketriope::tool {

/// The exit status. Where several hold, the highest wins.
enum class outcome : int {
    done = 0,
    nothing_matched = 1,
    failed = 2,  ///< a file could not be read, or standard output written, or the command line makes no sense
};

using operand_list = std::span<const char* const>;

struct command {
    const char* name;
    const char* operands;  ///< as the usage line shows them
    const char* summary;   ///< one line for the list of commands
    const char* details;   ///< what the help adds, in whole lines
    std::size_t least;     ///< operands that it needs
    std::size_t most;      ///< operands that it takes
    outcome (*run)(operand_list operands);
};

inline constexpr std::size_t k_any_number = ~std::size_t{0};

extern const command k_info, k_grep, k_help, k_version;

/// The commands, in the order in which the help lists them.
std::span<const command* const> all_commands() noexcept;

/// The command of that name, or null.
const command* find_command(std::string_view name) noexcept;

/// The command's name and operands, as they are typed.
std::string call_of(const command& which);

}  // namespace ketriope::tool
