/// \file command.h
/// What a command of the program is, and how the program ends.
///
/// Each command stands in the source file of its name.
#pragma once
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ketriope::tool {

/// The exit status. Where several hold, the highest wins.
enum class outcome : int {
    done = 0,
    negative = 1,  ///< the work is done, and its answer is no: nothing matched, there are faults
    failed = 2,    ///< a file could not be read or written, or the command line makes no sense
};

using operand_list = std::span<const char* const>;

/// What stands behind the name of a command.
struct request {
    std::vector<const char*> operands;   ///< as many as the command takes
    const char* option_value = nullptr;  ///< of the command's option; null without it
    const char* flag = nullptr;          ///< the one that was given, as the command spells it; null for none
};

struct command {
    const char* name;      ///< one word, or two
    const char* operands;  ///< as the usage line shows them, with the option
    const char* summary;   ///< one line for the list of commands
    const char* details;   ///< what the help adds, in whole lines
    std::size_t least;     ///< operands that it needs
    std::size_t most;      ///< operands that it takes
    outcome (*run)(const request& asked);
    const char* option = nullptr;             ///< the option that it knows, which has a value; null for none
    std::span<const char* const> flags = {};  ///< options without a value, of which one may be given
};

inline constexpr std::size_t k_any_number = ~std::size_t{0};

extern const command k_info, k_cat, k_pack, k_unpack, k_segments, k_extract, k_grep, k_catalogue_check,
    k_catalogue_list, k_explain, k_log, k_help, k_version;

/// The commands, in the order in which the help lists them.
std::span<const command* const> all_commands() noexcept;

/// The commands of that name; of a first word, all that begin with it.
std::vector<const command*> find_commands(std::string_view name);

/// The command's name and operands, as they are typed.
std::string call_of(const command& which);

}  // namespace ketriope::tool
