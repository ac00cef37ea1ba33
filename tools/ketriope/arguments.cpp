// arguments.cpp
#include "arguments.h"

#include <algorithm>
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

/// Reports what is wrong with the words behind `name`, of a command or the first word of several.
std::nullopt_t refused(const std::string& name, const std::string& why)
{
    report_error("'" + name + "' " + why + " Try 'ketriope help " + name + "'.");
    return std::nullopt;
}

/// Takes what `word` says off the words of a command: an option and its value, or an operand.
class word_reader {
public:
    explicit word_reader(const command& chosen) : chosen_(chosen) {}

    /// Errors: false, reported.
    bool read(operand_list words);
    request asked;

private:
    bool read_option(std::string_view name, operand_list& words);
    std::string all_flags() const;

    const command& chosen_;
};

bool word_reader::read(operand_list words)
{
    bool options_end = false;
    while (!words.empty()) {
        const char* const word = words[0];
        words = words.subspan(1);
        if (!options_end && std::string_view(word) == "--")
            options_end = true;
        else if (options_end || !is_option(word))
            asked.operands.push_back(word);
        else if (!read_option(word, words))
            return false;
    }
    return true;
}

bool word_reader::read_option(std::string_view name, operand_list& words)
{
    const std::string shown = "'" + printable(name) + "'";
    const auto wrong = [&](const std::string& why) {
        refused(chosen_.name, why);
        return false;
    };
    if (const auto flag = std::ranges::find(chosen_.flags, name); flag != chosen_.flags.end()) {
        if (asked.flag != nullptr) return wrong("takes one of its options " + all_flags() + ".");
        asked.flag = *flag;
        return true;
    }
    if (chosen_.option == nullptr || name != chosen_.option)
        return wrong("has no option " + shown + "; an operand that begins with '-' stands behind '--'.");
    if (asked.option_value != nullptr) return wrong("takes " + shown + " once.");
    if (words.empty()) return wrong("needs a value behind " + shown + ".");
    asked.option_value = words[0];
    words = words.subspan(1);
    return true;
}

/// The flags of the command in one text, "-a, -b".
std::string word_reader::all_flags() const
{
    std::string all;
    for (const char* const flag : chosen_.flags) all.append(all.empty() ? "" : ", ").append(flag);
    return all;
}

/// Reads the words behind the name of a command.
std::optional<arguments> read_words(const command& chosen, operand_list words)
{
    word_reader reader(chosen);
    if (!reader.read(words)) return std::nullopt;
    const auto& operands = reader.asked.operands;
    if (operands.size() < chosen.least)
        return refused(chosen.name, std::string("needs ") + chosen.operands + ".");
    if (operands.size() > chosen.most)
        return refused(chosen.name, "has no use for '" + printable(operands[chosen.most]) + "'.");
    return arguments{&chosen, std::move(reader.asked)};
}

/// The help about `topic`, or all of it.
arguments help_about(const char* topic, outcome at_best = outcome::done)
{
    request asked;
    if (topic != nullptr) asked.operands.push_back(topic);
    return {&k_help, std::move(asked), at_best};
}

/// Reads a command of two words. `all` are those that have the first one in common.
std::optional<arguments> read_second_word(std::span<const command* const> all, operand_list words)
{
    const std::string first = words[0];
    if (words.size() < 2) return refused(first, "needs a further word.");
    if (asks_for_help(words[1])) return help_about(words[0]);
    for (const command* each : all)
        if (each->name == first + ' ' + words[1]) {
            if (words.size() > 2 && asks_for_help(words[2])) return help_about(each->name);
            return read_words(*each, words.subspan(2));
        }
    return refused(first, "has no use for '" + printable(words[1]) + "'.");
}

}  // namespace

void report_unknown(const std::string& word)
{
    const char* const what = is_option(word) ? "option" : "command";
    report_error(std::string("There is no ") + what + " '" + printable(word) + "'. Try 'ketriope --help'.");
}

std::optional<arguments> read_arguments(int argc, const char* const* argv)
{
    const operand_list words = operand_list(argv, static_cast<std::size_t>(argc)).subspan(argc > 0 ? 1 : 0);
    if (words.empty()) return help_about(nullptr, outcome::failed);
    const std::string_view first = words[0];
    const std::string_view name = asks_for_help(first) ? "help" : first == "--version" ? "version" : first;
    const auto found = find_commands(name);
    if (found.empty() || name.find(' ') != std::string_view::npos) {
        report_unknown(words[0]);
        return std::nullopt;
    }
    if (found[0]->name != name) return read_second_word(found, words);
    if (words.size() > 1 && asks_for_help(words[1])) return help_about(found[0]->name);
    return read_words(*found[0], words.subspan(1));
}

}  // namespace ketriope::tool
