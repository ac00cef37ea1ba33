// msgtemplate.cpp
#include "msgtemplate.h"

#include <cstdio>
#include <cstring>

#include "platform.h"

namespace ketriope {
namespace {

constexpr std::size_t k_most_conversions = 128;
constexpr std::size_t k_most_pieces = 1'024;
constexpr std::size_t k_most_characters = 2'024;
constexpr std::size_t k_usual_arguments = 2;
constexpr std::size_t k_copied_whole = 200;  ///< from this length on a text is not formatted
constexpr std::string_view k_mark = "$$";
constexpr std::size_t k_npos = std::string_view::npos;

constexpr bool is_flag(char c)
{
    return c == '-' || c == '.' || (c >= '0' && c <= '9');
}

/// The conversions of one letter.
constexpr bool is_plain(char c)
{
    switch (c) {
    case 'X':
    case 'c':
    case 'd':
    case 'f':
    case 'i':
    case 's':
    case 'u':
    case 'x': return true;
    default: return false;
    }
}

/// The letters that make a pair with an `l` in front.
constexpr bool follows_l(char c)
{
    return c == 'X' || c == 'd' || c == 'i' || c == 'o' || c == 'u' || c == 'x';
}

/// Takes everything up to the next `$$` off `text`, and the mark; none takes all.
std::string_view take_piece(std::string_view& text)
{
    std::size_t end = text.find('$');
    while (end != k_npos && !text.substr(end).starts_with(k_mark)) end = text.find('$', end + 1);
    const std::string_view piece = text.substr(0, end);
    text.remove_prefix(end == k_npos ? text.size() : end + k_mark.size());
    return piece;
}

std::string_view take_flags(std::string_view& text)
{
    std::size_t count = 0;
    while (count < text.size() && is_flag(text[count])) ++count;
    const std::string_view flags = text.substr(0, count);
    text.remove_prefix(count);
    return flags;
}

std::string_view take_digits(std::string_view& text)
{
    const std::string_view digits = text.substr(0, text.find_first_not_of("0123456789"));
    text.remove_prefix(digits.size());
    return digits;
}

/// `flags` for the runtime's formatter: "" for what it would not understand, such as "5-" or "1.2.3".
///
/// A number of more than five digits becomes 99999: no template shall ask for gigabytes of blanks.
std::string formatter_flags(std::string_view flags)
{
    constexpr std::size_t k_most_digits = 5;
    const auto limited = [](std::string_view digits) {
        return digits.size() > k_most_digits ? std::string_view("99999") : digits;
    };
    std::string wanted(flags.substr(0, flags.find_first_not_of("-0")));
    flags.remove_prefix(wanted.size());
    wanted.append(limited(take_digits(flags)));
    if (flags.starts_with('.')) {
        flags.remove_prefix(1);
        wanted.append(1, '.').append(limited(take_digits(flags)));
    }
    return flags.empty() ? wanted : "";
}

/// One argument that a template asks for.
struct conversion {
    char kind = '\0';    ///< what is read from the list: the letter, `l` a long, `1` an unsigned long
    std::string format;  ///< for the runtime's formatter; "" for an argument as it stands
};

/// The conversions that most templates ask for need no formatter where they have no flags.
constexpr bool stands_as_it_is(char letter)
{
    return letter == 's' || letter == 'd' || letter == 'i';
}

/// Takes the conversion that `text` begins with off it; false at the end and for another letter.
bool take_conversion(std::string_view& text, std::string_view flags, conversion& out)
{
    if (text.empty()) return false;
    const char letter = text[0];
    const bool is_long = letter == 'l';
    if (!is_long && !is_plain(letter)) return false;
    const bool pair = is_long && text.size() > 1 && follows_l(text[1]);
    out.kind = is_long ? (pair && text[1] == 'u' ? '1' : 'l') : letter;
    out.format.clear();
    if (!flags.empty() || !stands_as_it_is(letter)) {
        out.format.append(1, '%').append(formatter_flags(flags));
        out.format.append(pair ? text.substr(0, 2) : is_long ? "ld" : text.substr(0, 1));
    }
    text.remove_prefix(pair ? 2 : 1);
    return true;
}

/// What `print(place, size)` writes, as `snprintf` would, up to its first NUL; "" where it fails.
template <class Print>
std::string grown(Print print)
{
    char first[256];
    const int length = print(first, sizeof first);
    if (length < 0) return "";
    if (static_cast<std::size_t>(length) < sizeof first) return first;
    std::string text(static_cast<std::size_t>(length), '\0');
    print(text.data(), text.size() + 1);
    text.resize(std::strlen(text.data()));
    return text;
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

std::string printed_number(const std::string& format, int value)
{
    return format.empty() ? std::to_string(value) : printed(format, value);
}

std::string printed_real(const std::string& format, double value)
{
    return grown([&](char* out, std::size_t size) {
        return platform::os().format_real(out, size, format.c_str(), value);
    });
}

void add_text(std::vector<std::string>& out, const std::string& format, const char* text)
{
    const std::string_view all = text != nullptr ? text : "";
    if (text == nullptr || all.size() >= k_copied_whole || format.empty())
        out.emplace_back(all);
    else
        out.push_back(printed(format, text));
}

}  // namespace

void expand_arguments(std::string_view text, ut_va_list arguments, std::size_t skip,
                      std::vector<std::string>& out)
{
    conversion wanted;
    const std::string& format = wanted.format;
    take_piece(text);
    for (std::size_t seen = 0; !text.empty() && seen < k_most_conversions; ++seen, take_piece(text)) {
        const std::string_view flags = take_flags(text);
        if (!take_conversion(text, flags, wanted) || seen < skip) continue;
        if (out.empty()) out.reserve(k_usual_arguments);
        switch (wanted.kind) {
        case 's': add_text(out, format, va_arg(arguments, const char*)); break;
        case 'd':
        case 'i': out.push_back(printed_number(format, va_arg(arguments, int))); break;
        case 'c': out.push_back(printed(format, va_arg(arguments, int))); break;
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
class resolved_template {
public:
    explicit resolved_template(std::string_view text)
    {
        for (std::size_t i = 0; i < text.size() && size_ < k_most_characters; ++i) {
            const char next = i + 1 < text.size() ? text[i + 1] : '\0';
            const bool escape = text[i] == '\\' && (next == 'n' || next == 't');
            characters_[size_++] = !escape ? text[i] : next == 'n' ? '\n' : '\t';
            if (escape) ++i;
        }
    }
    std::string_view text() const { return {characters_, size_}; }

private:
    char characters_[k_most_characters];
    std::size_t size_ = 0;
};

/// Passes over the conversion that `text` begins with. Of the pairs only `lu` and `ld` are known here.
void pass_conversion(std::string_view& text)
{
    take_flags(text);
    if (text.starts_with("lu") || text.starts_with("ld"))
        text.remove_prefix(2);
    else if (!text.empty() && (text[0] == 'l' || is_plain(text[0])))
        text.remove_prefix(1);
}

}  // namespace

void compose_text(std::string_view text, const std::vector<std::string>& arguments, std::string& out)
{
    const resolved_template resolved(text);
    std::string_view rest = resolved.text();
    for (std::size_t pieces = 0; pieces < k_most_pieces; ++pieces) {
        const std::string_view piece = take_piece(rest);
        out.append(piece);
        if (piece.end() == resolved.text().end()) break;  // no mark behind it
        pass_conversion(rest);
        if (pieces < arguments.size()) out.append(arguments[pieces]);
    }
}

}  // namespace ketriope
