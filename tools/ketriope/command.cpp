// command.cpp: the list of the commands. A new one is a source file and two lines here.
#include "command.h"

#include <algorithm>
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
    const auto found = std::ranges::find(k_commands, name, [](const command* one) { return one->name; });
    return found != k_commands.end() ? *found : nullptr;
}

std::string call_of(const command& which)
{
    const std::string_view operands = which.operands;
    return std::string(which.name) + (operands.empty() ? "" : " ") + which.operands;
}

}  // namespace ketriope::tool
