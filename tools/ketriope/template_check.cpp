// template_check.cpp
#include "template_check.h"

#include <algorithm>
#include <optional>

namespace ketriope::tool {
namespace {

constexpr std::string_view k_mark = "$$";
constexpr std::string_view k_letters = "Xcdfisux";
constexpr std::string_view k_digits = "0123456789";
constexpr std::size_t k_most_conversions = 128;
constexpr std::size_t k_most_characters = 2'024;
constexpr std::size_t k_most_digits = 5;  ///< of a width, or a precision

/// Takes what consists of `characters` off the front of `text`.
std::string_view take(std::string_view& text, std::string_view characters)
{
    const std::string_view taken = text.substr(0, text.find_first_not_of(characters));
    text.remove_prefix(taken.size());
    return taken;
}

/// What is wrong with the flags, width and precision in front of `letter`; null for nothing.
const char* format_fault(std::string_view format, char letter)
{
    const bool is_text = letter == 's' || letter == 'c';
    const std::string_view flags = take(format, "-0");
    const std::string_view width = take(format, k_digits);
    const bool has_precision = format.starts_with('.');
    if (has_precision) format.remove_prefix(1);
    const std::string_view precision = has_precision ? take(format, k_digits) : "";
    if (!format.empty()) return "is in no order that sprintf takes";
    if (is_text && flags.find('0') != std::string_view::npos)
        return "fills a text with zeros, which sprintf refuses";
    if (letter == 'c' && has_precision) return "has a precision for a character, which sprintf refuses";
    if (std::max(width.size(), precision.size()) > k_most_digits)
        return "asks for more than 99999 characters";
    return nullptr;
}

/// What is wrong with the conversion at the front of `text`, behind its mark. It is taken off.
std::optional<std::string> take_conversion(std::string_view& text)
{
    const std::string_view whole = text;
    const std::string_view format = take(text, "-.0123456789");
    const char letter = text.empty() ? '\0' : text[0];
    const bool is_long = letter == 'l' && text.size() > 1 && (text[1] == 'd' || text[1] == 'u');
    const bool is_known = letter == 'l' || k_letters.find(letter) != std::string_view::npos;
    const std::size_t length = whole.size() - text.size() + (is_long ? 2 : letter != '\0' ? 1 : 0);
    const std::string shown = "'" + std::string(k_mark) + std::string(whole.substr(0, length)) + "' ";
    if (is_known) text.remove_prefix(is_long ? 2 : 1);  // what is not known may be a mark
    if (letter == '\0') return shown + "has no conversion";
    if (letter == 'l' && !is_long) return shown + "lacks d or u behind the l";
    if (!is_known) return shown + "is an unknown conversion";
    const char* const fault = format_fault(format, is_long ? 'd' : letter);
    return fault != nullptr ? std::optional(shown + fault) : std::nullopt;
}

/// The characters of a text when its escapes, `\n` and `\t`, are one each.
std::size_t resolved_length(std::string_view text)
{
    std::size_t length = text.size();
    for (std::size_t at = text.find('\\'); at < text.size(); at = text.find('\\', at + 1)) {
        const std::string_view next = text.substr(at + 1, 1);
        if (next == "n" || next == "t") --length;
    }
    return length;
}

}  // namespace

std::vector<std::string> template_faults(std::string_view text)
{
    std::vector<std::string> faults;
    if (resolved_length(text) > k_most_characters)
        faults.emplace_back("the text has more than 2024 characters");
    std::size_t count = 0;
    for (std::size_t at = text.find(k_mark); at != std::string_view::npos; at = text.find(k_mark)) {
        text.remove_prefix(at + k_mark.size());
        if (++count == k_most_conversions + 1) faults.emplace_back("the text has more than 128 arguments");
        if (auto fault = take_conversion(text)) faults.push_back(*std::move(fault));
    }
    return faults;
}

}  // namespace ketriope::tool
