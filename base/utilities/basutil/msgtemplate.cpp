// msgtemplate.cpp
#include "msgtemplate.h"

#include <cstdio>
#include <optional>

#include "platform.h"

namespace ketriope {
namespace {

constexpr std::size_t k_most_conversions = 128;
constexpr std::size_t k_most_pieces = 1'024;
constexpr std::size_t k_most_characters = 2'024;
constexpr std::size_t k_copied_whole = 200;  ///< from this length on a text is not formatted
constexpr std::string_view k_mark = "$$";
constexpr std::string_view k_flags = "-.0123456789";
constexpr std::string_view k_plain = "Xcdfisux";  ///< conversions of one letter
constexpr std::size_t k_npos = std::string_view::npos;

/// Takes everything up to the next `$$` off `text`, and the mark; none takes all.
std::string_view take_piece(std::string_view& text)
{
    const std::size_t end = text.find(k_mark);
    const std::string_view piece = text.substr(0, end);
    text.remove_prefix(end == k_npos ? text.size() : end + k_mark.size());
    return piece;
}

std::string_view take_flags(std::string_view& text)
{
    const std::string_view flags = text.substr(0, text.find_first_not_of(k_flags));
    text.remove_prefix(flags.size());
    return flags;
}

/// One argument that a template asks for.
struct conversion {
    char kind = '\0';    ///< what is read from the list: the letter, `l` a long, `1` an unsigned long
    std::string format;  ///< for the runtime's formatter
};

/// The conversion that `text` begins with, taken off it; none at the end and for another letter.
std::optional<conversion> take_conversion(std::string_view& text, std::string_view flags)
{
    if (text.empty()) return std::nullopt;
    const char letter = text[0];
    const bool is_long = letter == 'l';
    if (!is_long && k_plain.find(letter) == k_npos) return std::nullopt;
    const bool pair = is_long && text.size() > 1 && std::string_view("Xdiouxu").find(text[1]) != k_npos;
    conversion found{.kind = is_long ? (pair && text[1] == 'u' ? '1' : 'l') : letter, .format = "%"};
    found.format.append(flags);
    found.format.append(pair ? text.substr(0, 2) : is_long ? "ld" : text.substr(0, 1));
    text.remove_prefix(pair ? 2 : 1);
    return found;
}

/// What `print(place, size)` writes, as `snprintf` would; "" where it fails.
template <class Print>
std::string grown(Print print)
{
    std::string text(127, '\0');
    for (;;) {
        const int length = print(text.data(), text.size() + 1);
        const bool fits = length < 0 || static_cast<std::size_t>(length) <= text.size();
        text.resize(static_cast<std::size_t>(length < 0 ? 0 : length));
        if (fits) return text;
    }
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // each format was built for the type it is given
template <class Value>
std::string printed(const std::string& format, Value value)
{
    return grown(
        [&](char* out, std::size_t size) { return std::snprintf(out, size, format.c_str(), value); });
}
#pragma GCC diagnostic pop

std::string printed_real(const std::string& format, double value)
{
    return grown([&](char* out, std::size_t size) {
        return platform::os().format_real(out, size, format.c_str(), value);
    });
}

std::string printed_text(const std::string& format, const char* text)
{
    if (text == nullptr) return "";
    const std::string_view all = text;
    // Most templates ask for a text as it stands.
    return all.size() >= k_copied_whole || format == "%s" ? std::string(all) : printed(format, text);
}

}  // namespace

void expand_arguments(std::string_view text, ut_va_list arguments, std::size_t skip,
                      std::vector<std::string>& out)
{
    take_piece(text);
    for (std::size_t seen = 0; !text.empty() && seen < k_most_conversions; ++seen, take_piece(text)) {
        const std::string_view flags = take_flags(text);
        const std::optional<conversion> wanted = take_conversion(text, flags);
        if (!wanted) continue;
        if (skip > 0) {
            --skip;
            continue;
        }
        switch (const std::string& format = wanted->format; wanted->kind) {
        case 's': out.push_back(printed_text(format, va_arg(arguments, const char*))); break;
        case 'c':
        case 'd':
        case 'i': out.push_back(printed(format, va_arg(arguments, int))); break;
        case 'u':
        case 'x':
        case 'X': out.push_back(printed(format, va_arg(arguments, unsigned int))); break;
        case 'f': out.push_back(printed_real(format, va_arg(arguments, double))); break;
        case 'l': out.push_back(printed(format, va_arg(arguments, long))); break;
        default: out.push_back(printed(format, va_arg(arguments, unsigned long)));
        }
    }
}

namespace {

/// The beginning of a template with its escapes resolved.
std::string unescaped(std::string_view text)
{
    std::string out;
    out.reserve(std::min(text.size(), k_most_characters));
    for (std::size_t i = 0; i < text.size() && out.size() < k_most_characters; ++i) {
        const char next = i + 1 < text.size() ? text[i + 1] : '\0';
        if (text[i] == '\\' && (next == 'n' || next == 't')) {
            out += next == 'n' ? '\n' : '\t';
            ++i;
        } else {
            out += text[i];
        }
    }
    return out;
}

/// Passes over the conversion that `text` begins with. Of the pairs only `lu` and `ld` are known here.
void pass_conversion(std::string_view& text)
{
    take_flags(text);
    if (text.starts_with("lu") || text.starts_with("ld"))
        text.remove_prefix(2);
    else if (!text.empty() && (text[0] == 'l' || k_plain.find(text[0]) != k_npos))
        text.remove_prefix(1);
}

}  // namespace

std::string compose_text(std::string_view text, const std::vector<std::string>& arguments)
{
    const std::string whole = unescaped(text);
    std::string_view rest = whole;
    std::string out;
    for (std::size_t pieces = 0; pieces < k_most_pieces; ++pieces) {
        const bool marked = rest.find(k_mark) != k_npos;
        out.append(take_piece(rest));
        if (!marked) break;
        pass_conversion(rest);
        if (pieces < arguments.size()) out.append(arguments[pieces]);
    }
    return out;
}

}  // namespace ketriope
