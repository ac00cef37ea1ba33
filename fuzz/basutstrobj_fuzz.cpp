// fuzz/basutstrobj_fuzz.cpp: the formatter makes of any format what its parts make one by one.
//
// An input is two numbers and the arguments' text, each up to a NUL, and the format. The format is read here,
// too, to learn of which type each argument has to be.
#include "basutstrobj.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz_check.h"

// The formats here are made up, some go without arguments, and many are not the compiler's.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

namespace {

constexpr std::size_t k_most_arguments = 3;
constexpr long k_widest = 1000;

/// What an input supplies arguments from.
struct values {
    long number = 0;
    double real = 0;
    const char* text = nullptr;
    const UT_STROBJ* counted = nullptr;
};

enum class kind : unsigned char { none, integer, longer, real, text, counted, pointer };

struct conversion {
    std::string flags;
    bool zero = false;
    long width = 0;  // negative: left-justified
    std::optional<long> precision;
    char modifier = '\0';
    char character = '\0';
    bool too_large = false;

    bool left() const { return width < 0 || flags.find('-') != flags.npos; }
    kind takes() const;
};

kind conversion::takes() const
{
    switch (character) {
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X': return modifier == 'l' ? kind::longer : kind::integer;
    case 'e':
    case 'E':
    case 'f':
    case 'g':
    case 'G': return kind::real;
    case 'p': return kind::pointer;
    case 's': return kind::text;
    case 'S': return kind::counted;
    case 'c': return kind::integer;
    default: return kind::none;
    }
}

/// Reads a format as the library's documentation tells, and makes the text that is expected.
class model {
public:
    model(const std::string& format, const values& from) : format_(format), from_(from) { run(); }

    bool usable() const { return usable_ && kinds_.size() <= k_most_arguments; }
    const std::vector<kind>& kinds() const { return kinds_; }
    const std::string& text() const { return text_; }

private:
    void run();
    conversion read_conversion();
    std::optional<long> read_number(bool& leading_zero);
    std::string runtime_text(const conversion& spec) const;
    std::string_view text_argument(const conversion& spec) const;
    void add(const conversion& spec);
    void add_padded(const conversion& spec, std::string_view shown);

    char peek() const { return at_ < format_.size() ? format_[at_] : '\0'; }
    int star() const { return static_cast<int>(from_.number % 40); }

    std::string format_;
    values from_;
    std::size_t at_ = 0;
    std::vector<kind> kinds_;
    std::string text_;
    bool usable_ = true;
};

void model::run()
{
    while (at_ < format_.size()) {
        if (format_[at_] != '%') {
            text_ += format_[at_++];
            continue;
        }
        ++at_;
        const conversion spec = read_conversion();
        if (spec.too_large) usable_ = false;
        if (!usable_) return;
        if (spec.takes() != kind::none) kinds_.push_back(spec.takes());
        add(spec);
    }
}

/// A run of digits or a `*`; the star's argument is noted, and its value given back. Null for an empty run.
std::optional<long> model::read_number(bool& leading_zero)
{
    const std::size_t end = std::min(format_.find_first_not_of("*0123456789", at_), format_.size());
    const std::string run = format_.substr(at_, end - at_);
    at_ = end;
    leading_zero = run.starts_with('0');
    const std::size_t first = std::min(run.find_first_not_of('0'), run.size());
    if (first < run.size() && run[first] == '*') {
        kinds_.push_back(kind::none);
        return star();
    }
    long value = 0;
    for (std::size_t i = first; i < run.size() && run[i] != '*' && value <= k_widest; ++i)
        value = value * 10 + (run[i] - '0');
    return run.empty() ? std::nullopt : std::optional(value);
}

conversion model::read_conversion()
{
    conversion spec;
    while (std::strchr("+- #", peek()) != nullptr && peek() != '\0') spec.flags += format_[at_++];
    spec.width = read_number(spec.zero).value_or(0);
    if (peek() == '.') {
        ++at_;
        const std::size_t arguments = kinds_.size();
        bool ignored = false;
        spec.precision = read_number(ignored).value_or(0);
        if (kinds_.size() != arguments && *spec.precision < 1) spec.precision.reset();
    }
    if (peek() == 'l' || peek() == 'h') spec.modifier = format_[at_++];
    spec.character = peek();
    if (at_ < format_.size()) ++at_;
    spec.too_large = spec.width > k_widest || spec.precision.value_or(0) > k_widest;
    return spec;
}

/// The runtime's text of a number or a pointer.
std::string model::runtime_text(const conversion& spec) const
{
    std::string format = "%" + spec.flags + (spec.width < 0 ? "-" : "") + (spec.zero ? "0" : "");
    if (spec.width != 0) format += std::to_string(std::abs(spec.width));
    if (spec.precision) format += "." + std::to_string(*spec.precision);
    const kind type = spec.takes();
    if (spec.modifier != '\0' && (type == kind::integer || type == kind::longer)) format += spec.modifier;
    format += spec.character;
    std::array<char, 3000> out;
    const char* f = format.c_str();
    if (type == kind::integer) std::snprintf(out.data(), out.size(), f, static_cast<int>(from_.number));
    if (type == kind::longer) std::snprintf(out.data(), out.size(), f, from_.number);
    if (type == kind::real) std::snprintf(out.data(), out.size(), f, from_.real);
    if (type == kind::pointer) std::snprintf(out.data(), out.size(), f, static_cast<const void*>(from_.text));
    return out.data();
}

std::string_view model::text_argument(const conversion& spec) const
{
    std::string_view shown = "NULL";
    if (spec.character == 's' && from_.text != nullptr) shown = from_.text;
    if (spec.character == 'S') shown = {from_.counted->getstring(), from_.counted->length()};
    return shown.substr(0, spec.precision ? static_cast<std::size_t>(*spec.precision) : shown.npos);
}

void model::add_padded(const conversion& spec, std::string_view shown)
{
    const auto width = static_cast<std::size_t>(std::abs(spec.width));
    const std::string blanks(width > shown.size() ? width - shown.size() : 0, ' ');
    text_ += spec.left() ? std::string(shown) + blanks : blanks + std::string(shown);
}

void model::add(const conversion& spec)
{
    const char low_byte = static_cast<char>(from_.number);
    if (spec.character == 'c')
        add_padded(spec, {&low_byte, 1});
    else if (spec.takes() == kind::text || spec.takes() == kind::counted)
        add_padded(spec, text_argument(spec));
    else if (spec.takes() == kind::none)
        add_padded(spec, {&spec.character, 1});
    else
        text_ += runtime_text(spec);
}

/// Calls the formatter with `ready` and one more argument for each of `kinds` from `next` on.
template <class... Ready>
void format(UT_STROBJ& out, const char* text, const model& from, const values& given, std::size_t next,
            Ready... ready)
{
    if (next == from.kinds().size()) {
        out.str_format(text, ready...);
        return;
    }
    if constexpr (sizeof...(Ready) < k_most_arguments) {
        const auto go_on = [&](auto value) { format(out, text, from, given, next + 1, ready..., value); };
        switch (from.kinds()[next]) {
        case kind::none: return go_on(static_cast<int>(given.number % 40));  // a star
        case kind::integer: return go_on(static_cast<int>(given.number));
        case kind::longer: return go_on(given.number);
        case kind::real: return go_on(given.real);
        case kind::text: return go_on(given.text);
        case kind::counted: return go_on(given.counted);
        case kind::pointer: return go_on(static_cast<const void*>(given.text));
        }
    }
}

std::string text_of(const UT_STROBJ& string)
{
    return {string.getstring(), string.length()};
}

/// Formats into a fresh string, into one whose block is used again, and into the one that holds the argument.
void check_format(const std::string& text, const values& given)
{
    const model expected(text, given);
    if (!expected.usable()) return;
    UT_STROBJ fresh;
    format(fresh, text.c_str(), expected, given, 0);
    FUZZ_CHECK(text_of(fresh) == expected.text());
    FUZZ_CHECK(fresh.checkme(false));

    UT_STROBJ reused(4000, 'x', 1);
    format(reused, text.c_str(), expected, given, 0);
    FUZZ_CHECK(text_of(reused) == expected.text());

    if (given.text == nullptr ||
        std::find(expected.kinds().begin(), expected.kinds().end(), kind::pointer) != expected.kinds().end())
        return;
    UT_STROBJ own(4000, 'x', 1);
    own = given.text;
    values inside = given;
    inside.text = own.getstring();
    format(own, text.c_str(), expected, inside, 0);
    FUZZ_CHECK(text_of(own) == expected.text());
}

/// Takes `sizeof(Number)` bytes from the front of `bytes`, or fewer.
template <class Number>
Number take(std::string& bytes)
{
    Number number{};
    const std::size_t count = std::min(bytes.size(), sizeof number);
    std::memcpy(&number, bytes.data(), count);
    bytes.erase(0, count);
    return number;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string bytes(data, data + size);
    values given;
    given.number = take<long>(bytes);
    given.real = take<double>(bytes);
    const std::size_t text_end = std::min(bytes.find('\0'), bytes.size());
    const std::string text = bytes.substr(0, text_end);
    bytes.erase(0, text_end + 1);
    UT_STROBJ counted(text.c_str());
    if (text.size() % 3 == 1) counted += '\0';
    given.text = text == "null" ? nullptr : text.c_str();
    given.counted = &counted;
    const std::string format_text = bytes.c_str();  // up to a NUL
    check_format(format_text, given);
    return 0;
}
