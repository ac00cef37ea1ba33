// command.cpp: the list of the commands. A new one is a source file and two lines here.
#include "command.h"

#include <array>

namespace ketriope::tool {

namespace {

constexpr std::array<const command*, 13> k_commands{
    &k_info,           &k_cat,     &k_pack, &k_unpack, &k_segments, &k_extract, &k_grep, &k_catalogue_check,
    &k_catalogue_list, &k_explain, &k_log,  &k_help,   &k_version};

}  // namespace

std::span<const command* const> all_commands() noexcept
{
    return k_commands;
}

std::vector<const command*> find_commands(std::string_view name)
{
    std::vector<const command*> found;
    for (const command* one : k_commands) {
        const std::string_view own = one->name;
        const bool begins_so = own.starts_with(name) && own.substr(name.size()).starts_with(' ');
        if (own == name || begins_so) found.push_back(one);
    }
    return found;
}

std::string call_of(const command& which)
{
    const std::string_view operands = which.operands;
    return std::string(which.name) + (operands.empty() ? "" : " ") + which.operands;
}

}  // namespace ketriope::tool
