// arguments.cpp
#include "arguments.h"

#include <string>
#include <string_view>

#include "console.h"

namespace ketriope::tool {
namespace {

bool is_option(std::string_view word)
{
    return word.size() > 1 && word.front() == '-';
}

bool asks_for_help(std::string_view word)
{
    return word == "--help" || word == "-h";
}

/// Reports what is wrong with the words behind the name of `which`.
std::nullopt_t refused(const command& which, const std::string& why)
{
    report_error(std::string("'") + which.name + "' " + why + " Try 'ketriope help " + which.name + "'.");
    return std::nullopt;
}

/// The command that the first word asks for, by its name or as an option; null if there is none.
const command* command_of(std::string_view word)
{
    if (asks_for_help(word)) return find_command("help");
    if (word == "--version") return find_command("version");
    return find_command(word);
}

}  // namespace

void report_unknown(const char* word)
{
    const char* const what = is_option(word) ? "option" : "command";
    report_error(std::string("There is no ") + what + " '" + printable(word) + "'. Try 'ketriope --help'.");
}

std::optional<arguments> read_arguments(int argc, const char* const* argv)
{
    const operand_list words(argv, static_cast<std::size_t>(argc));
    if (words.size() < 2) return arguments{find_command("help"), {}, outcome::failed};
    const command* const chosen = command_of(words[1]);
    if (chosen == nullptr) {
        report_unknown(words[1]);
        return std::nullopt;
    }
    operand_list operands = words.subspan(2);
    if (!operands.empty() && asks_for_help(operands[0]))
        return arguments{find_command("help"), {chosen->name}};
    if (!operands.empty() && std::string_view(operands[0]) == "--")
        operands = operands.subspan(1);
    else if (!operands.empty() && is_option(operands[0]))
        return refused(*chosen, "has no option '" + printable(operands[0]) +
                                    "'; an operand that begins with '-' stands behind '--'.");
    if (operands.size() < chosen->least)
        return refused(*chosen, std::string("needs ") + chosen->operands + ".");
    if (operands.size() > chosen->most)
        return refused(*chosen, "has no use for '" + printable(operands[chosen->most]) + "'.");
    return arguments{chosen, {operands.begin(), operands.end()}};
}

}  // namespace ketriope::tool
