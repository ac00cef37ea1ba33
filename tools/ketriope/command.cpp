// command.cpp: the list of the commands. A new one is a source file and two lines here.
#include "command.h"

#include <array>

namespace ketriope::tool {

namespace {

constexpr std::array<const command*, 4> k_commands{&k_info, &k_grep, &k_help, &k_version};

}  // namespace

std::span<const command* const> all_commands() noexcept
{
    return k_commands;
}

const command* find_command(std::string_view name) noexcept
{
    for (const command* one : k_commands) {
        if (one->name == name) return one;
    }
    return nullptr;
}

std::string call_of(const command& which)
{
    const std::string_view operands = which.operands;
    return std::string(which.name) + (operands.empty() ? "" : " ") + which.operands;
}

}  // namespace ketriope::tool
