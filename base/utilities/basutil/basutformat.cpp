// basutformat.cpp
#include "basutformat.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <system_error>
#include <utility>

#include "contract.h"
#include "msgterminate.h"
#include "per_thread.h"
#include "platform.h"

namespace ketriope {
namespace {

constexpr site k_site{.module = "basutstrobj"};
constexpr std::size_t k_least_memory = 512;       // of a thread that formats
constexpr std::size_t k_most_memory = 1U << 20U;  // that a thread keeps between two texts
constexpr std::size_t k_printed_guess = 128;      // enough for nearly every number
constexpr std::size_t k_quick_digits = 128;
constexpr int k_default_precision = 6;
constexpr std::size_t k_short = 16;
constexpr std::size_t k_growth = 20;
constexpr std::size_t k_per_conversion = 30;

/// What stands between `%` and the conversion character, and that character.
struct specification {
    bool left = false;
    bool plus = false;
    bool blank = false;
    bool alternate = false;
    bool zero = false;
    std::size_t width = 0;
    int precision = -1;  // -1: none
    char modifier = '\0';
    char conversion = '\0';

    bool has_precision() const { return precision >= 0; }
    std::size_t text_limit() const
    {
        return has_precision() ? static_cast<std::size_t>(precision) : std::string_view::npos;
    }
};

/// Copies what mostly is a few characters, for which a call of the runtime takes longer than the work.
char* copied(std::string_view text, char* out)
{
    if (text.size() > k_short) return std::copy(text.begin(), text.end(), out);
    for (const char c : text) *out++ = c;
    return out;
}

bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

/// Reads a format; behind its end stands a NUL.
class format_reader {
public:
    explicit format_reader(std::string_view format) : at_(format.data()), end_(at_ + format.size()) {}

    bool at_end() const { return at_ == end_; }
    std::string_view ordinary_run();
    specification next_specification(format_arguments& arguments);

private:
    struct number {
        int value;
        bool leading_zero;
        bool from_argument;
    };
    number next_number(format_arguments& arguments);
    void read_flags(specification& out);
    void read_width(specification& out, format_arguments& arguments);
    void read_precision(specification& out, format_arguments& arguments);
    int digits();

    const char* at_;
    const char* end_;
};

/// Everything up to the next `%`.
std::string_view format_reader::ordinary_run()
{
    const char* first = at_;
    while (at_ != end_ && *at_ != '%') ++at_;  // mostly a few characters: see `copied`
    return {first, static_cast<std::size_t>(at_ - first)};
}

/// Reads one specification, whose `%` is the next character. At the format's end the conversion is NUL.
specification format_reader::next_specification(format_arguments& arguments)
{
    ++at_;
    specification out;
    read_flags(out);
    read_width(out, arguments);
    if (*at_ == '.') read_precision(out, arguments);
    if (*at_ == 'l' || *at_ == 'h') out.modifier = *at_++;
    out.conversion = *at_;
    if (!at_end()) ++at_;
    return out;
}

void format_reader::read_flags(specification& out)
{
    for (;; ++at_) {
        switch (*at_) {
        case '+': out.plus = true; break;
        case '-': out.left = true; break;
        case ' ': out.blank = true; break;
        case '#': out.alternate = true; break;
        default: return;
        }
    }
}

/// The zero that fills a field is no flag but the first digit of the width, so it stands there or nowhere.
void format_reader::read_width(specification& out, format_arguments& arguments)
{
    const number width = next_number(arguments);
    out.zero = width.leading_zero;
    if (width.value < 0) out.left = true;
    out.width = static_cast<std::size_t>(std::abs(std::int64_t{width.value}));
}

void format_reader::read_precision(specification& out, format_arguments& arguments)
{
    ++at_;
    const number precision = next_number(arguments);
    const bool is_none = precision.from_argument && precision.value < 1;
    out.precision = is_none ? -1 : precision.value;
}

/// Reads a run of digits, or a `*` behind nothing but zeros. Other mixtures of the two have no meaning;
/// what is left of one is passed over.
format_reader::number format_reader::next_number(format_arguments& arguments)
{
    number out{.value = 0, .leading_zero = *at_ == '0', .from_argument = false};
    while (*at_ == '0') ++at_;
    out.from_argument = *at_ == '*';
    out.value = out.from_argument ? static_cast<int>(arguments.next_integer('\0')) : digits();
    while (*at_ == '*' || is_digit(*at_)) ++at_;
    return out;
}

int format_reader::digits()
{
    std::int64_t value = 0;
    for (; is_digit(*at_); ++at_) value = std::min<std::int64_t>(value * 10 + (*at_ - '0'), INT_MAX);
    return static_cast<int>(value);
}

/// Puts `text` into a field of blanks.
void add_justified(format_area& area, const specification& spec, std::string_view text)
{
    const std::size_t size = std::max(spec.width, text.size());
    const std::size_t blanks = size - text.size();
    char* out = area.add_field(size);
    if (!spec.left) out = std::fill_n(out, blanks, ' ');
    out = copied(text, out);
    if (spec.left) std::fill_n(out, blanks, ' ');
}

/// A number in the three parts that a field shows side by side.
struct number_parts {
    std::string_view prefix;  // sign or "0x"
    std::size_t zeros;
    std::string_view digits;
};

/// Puts a number into a field of blanks, or of zeros between its prefix and its digits.
void add_number(format_area& area, const specification& spec, const number_parts& parts, bool zeros_may_fill)
{
    const std::size_t used = parts.prefix.size() + parts.zeros + parts.digits.size();
    const std::size_t size = std::max(spec.width, used);
    const bool zeros_fill = zeros_may_fill && spec.zero && !spec.left;
    const std::size_t blanks = zeros_fill ? 0 : size - used;
    char* out = area.add_field(size);
    if (!spec.left) out = std::fill_n(out, blanks, ' ');
    out = copied(parts.prefix, out);
    out = std::fill_n(out, parts.zeros + (size - used - blanks), '0');
    out = copied(parts.digits, out);
    if (spec.left) std::fill_n(out, blanks, ' ');
}

/// The sign that a number shows.
const char* sign_of(const specification& spec, bool negative)
{
    if (negative) return "-";
    return spec.plus ? "+" : spec.blank ? " " : "";
}

/// The digits of an integer, without sign, in its own memory.
class integer_digits {
public:
    integer_digits(unsigned long value, int base, bool upper_case)
    {
        char* end = std::to_chars(digits_, digits_ + sizeof digits_, value, base).ptr;
        if (upper_case) std::transform(digits_, end, digits_, [](char c) { return c >= 'a' ? c - 32 : c; });
        count_ = static_cast<std::size_t>(end - digits_);
    }
    std::string_view view() const { return {digits_, count_}; }

private:
    char digits_[sizeof(unsigned long) * 3];  // octal is the longest
    std::size_t count_;
};

/// The digits that a precision leaves of `digits`: none for a zero with precision 0.
number_parts with_precision(const specification& spec, std::string_view prefix, std::string_view digits)
{
    if (spec.precision == 0 && digits == "0") return {prefix, 0, ""};
    const std::size_t least = spec.has_precision() ? static_cast<std::size_t>(spec.precision) : 0;
    return {prefix, least > digits.size() ? least - digits.size() : 0, digits};
}

void add_signed(format_area& area, const specification& spec, long value)
{
    const bool negative = value < 0;
    const auto magnitude =
        negative ? 0 - static_cast<unsigned long>(value) : static_cast<unsigned long>(value);
    const integer_digits digits(magnitude, 10, false);
    const number_parts parts = with_precision(spec, sign_of(spec, negative), digits.view());
    add_number(area, spec, parts, !spec.has_precision());
}

void add_unsigned(format_area& area, const specification& spec, unsigned long value)
{
    const int base = spec.conversion == 'u' ? 10 : spec.conversion == 'o' ? 8 : 16;
    const bool upper_case = spec.conversion == 'X';
    const char* prefix = base == 16 && spec.alternate && value != 0 ? (upper_case ? "0X" : "0x") : "";
    const integer_digits digits(value, base, upper_case);
    number_parts parts = with_precision(spec, prefix, digits.view());
    const bool begins_with_zero = parts.zeros != 0 || parts.digits.starts_with('0');
    if (base == 8 && spec.alternate && !begins_with_zero) parts.zeros = 1;
    add_number(area, spec, parts, !spec.has_precision());
}

/// The specification written out again, for the runtime; a modifier means nothing to what it prints.
class specification_text {
public:
    explicit specification_text(const specification& spec)
    {
        *end_++ = '%';
        if (spec.left) *end_++ = '-';
        if (spec.plus) *end_++ = '+';
        if (spec.blank) *end_++ = ' ';
        if (spec.alternate) *end_++ = '#';
        if (spec.zero) *end_++ = '0';
        if (spec.width != 0) add_digits(spec.width);
        if (spec.has_precision()) {
            *end_++ = '.';
            add_digits(static_cast<std::size_t>(spec.precision));
        }
        *end_++ = spec.conversion;
        *end_ = '\0';
    }
    const char* c_str() const { return text_; }

private:
    void add_digits(std::size_t value) { end_ = std::to_chars(end_, text_ + sizeof text_, value).ptr; }

    char text_[48];
    char* end_ = text_;
};

/// How `std::to_chars` names the conversion, if it can make the same characters as the runtime.
std::optional<std::chars_format> quick_form(const specification& spec, double value)
{
    if (spec.alternate || !std::isfinite(value)) return std::nullopt;
    switch (spec.conversion) {
    case 'e': return std::chars_format::scientific;
    case 'f': return std::chars_format::fixed;
    case 'g': return std::chars_format::general;
    default: return std::nullopt;
    }
}

/// Adds the usual kinds of real numbers without the runtime's formatter. False if that is needed.
bool add_quick_real(format_area& area, const specification& spec, double value)
{
    const auto form = quick_form(spec, value);
    if (!form) return false;
    char digits[k_quick_digits];
    const int precision = spec.has_precision() ? spec.precision : k_default_precision;
    const auto made = std::to_chars(digits, digits + sizeof digits, std::abs(value), *form, precision);
    if (made.ec != std::errc()) return false;  // too long
    const auto count = static_cast<std::size_t>(made.ptr - digits);
    add_number(area, spec, {sign_of(spec, std::signbit(value)), 0, {digits, count}}, true);
    return true;
}

void add_real(format_area& area, const specification& spec, double value)
{
    if (add_quick_real(area, spec, value)) return;
    const specification_text text(spec);
    area.add_printed([&](char* place, std::size_t size) {
        return platform::os().format_real(place, size, text.c_str(), value);
    });
}

void add_pointer(format_area& area, const specification& spec, const void* value)
{
    const specification_text text(spec);
    area.add_printed([&](char* place, std::size_t size) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // its only conversion is `p`
        return std::snprintf(place, size, text.c_str(), value);
#pragma GCC diagnostic pop
    });
}

/// Adds the field of one conversion. A character that is none stands for itself.
void add_conversion(format_area& area, const specification& spec, format_arguments& arguments)
{
    switch (spec.conversion) {
    case 'd':
    case 'i': return add_signed(area, spec, arguments.next_integer(spec.modifier));
    case 'o':
    case 'u':
    case 'x':
    case 'X': return add_unsigned(area, spec, arguments.next_unsigned(spec.modifier));
    case 'e':
    case 'E':
    case 'f':
    case 'g':
    case 'G': return add_real(area, spec, arguments.next_real());
    case 'p': return add_pointer(area, spec, arguments.next_pointer());
    case 's': return add_justified(area, spec, arguments.next_text(spec.text_limit()));
    case 'S': return add_justified(area, spec, arguments.next_counted(spec.text_limit()));
    case 'c': {
        const auto c = static_cast<char>(arguments.next_integer('\0'));
        return add_justified(area, spec, {&c, 1});
    }
    default: return add_justified(area, spec, {&spec.conversion, 1});
    }
}

/// The C string at `text`, without looking behind its first `limit` characters.
std::string_view limited_text(const char* text, std::size_t limit)
{
    if (text == nullptr) return std::string_view("NULL").substr(0, limit);
    if (limit == std::string_view::npos) return text;
    const void* end = std::memchr(text, '\0', limit);
    return {text, end != nullptr ? static_cast<std::size_t>(static_cast<const char*>(end) - text) : limit};
}

}  // namespace

format_arguments::format_arguments(const UT_STROBJ::VALUES& first, UT_STROBJ::value_kind first_kind,
                                   ut_va_list rest)
    : first_(first), pending_(first_kind)
{
    va_copy(rest_, rest);
}

format_arguments::~format_arguments()
{
    va_end(rest_);
}

/// True when the value wanted now is the first one; its kind is then in `taken_`.
bool format_arguments::take_first() noexcept
{
    taken_ = std::exchange(pending_, kind::none);
    return taken_ != kind::none;
}

long format_arguments::next_integer(char modifier)
{
    const long value = take_first()      ? static_cast<long>(first_integer())
                       : modifier == 'l' ? va_arg(rest_, long)
                                         : va_arg(rest_, int);
    if (modifier == 'l') return value;
    return modifier == 'h' ? static_cast<short>(value) : static_cast<int>(value);
}

unsigned long format_arguments::next_unsigned(char modifier)
{
    const unsigned long value = take_first()      ? static_cast<unsigned long>(first_integer())
                                : modifier == 'l' ? va_arg(rest_, unsigned long)
                                                  : va_arg(rest_, unsigned int);
    if (modifier == 'l') return value;
    return modifier == 'h' ? static_cast<unsigned short>(value) : static_cast<unsigned int>(value);
}

double format_arguments::next_real()
{
    if (!take_first()) return va_arg(rest_, double);
    return taken_ == kind::real ? first_.real : 0.0;
}

const void* format_arguments::next_pointer()
{
    if (!take_first()) return va_arg(rest_, const void*);
    switch (taken_) {
    case kind::pointer: return first_.pointer;
    case kind::text: return first_.text;
    case kind::counted: return first_.counted.text;
    default: return nullptr;
    }
}

std::string_view format_arguments::next_text(std::size_t limit)
{
    if (!take_first()) return limited_text(va_arg(rest_, const char*), limit);
    switch (taken_) {
    case kind::text: return limited_text(first_.text, limit);
    case kind::counted: return limited_text(first_.counted.text, limit);
    default: return {};
    }
}

std::string_view format_arguments::next_counted(std::size_t limit)
{
    if (pending_ == kind::counted) {
        take_first();
        return std::string_view(first_.counted.text, first_.counted.length).substr(0, limit);
    }
    if (pending_ != kind::none) return next_text(limit);
    const auto* string = va_arg(rest_, const UT_STROBJ*);
    if (string == nullptr) return limited_text(nullptr, limit);
    return std::string_view(string->getstring(), string->length()).substr(0, limit);
}

format_area::memory::~memory()
{
    std::free(data);
}

format_area::format_area(ut_uint64 capacity) : memory_(per_thread<memory>()), capacity_(capacity)
{
    reserve(k_least_memory);
}

/// One long text must not hold its memory until the thread ends.
format_area::~format_area()
{
    if (memory_.size <= k_most_memory) return;
    std::free(std::exchange(memory_.data, nullptr));
    memory_.size = 0;
}

/// The place behind the text, with room for `count` characters.
char* format_area::reserve(std::size_t count)
{
    if (memory_.size - length_ < count) {
        const std::size_t size = std::max(length_ + count, 2 * memory_.size);
        auto* data = static_cast<char*>(std::realloc(memory_.data, size));
        if (data == nullptr) out_of_memory_for_text();
        memory_.data = data;
        memory_.size = size;
    }
    return memory_.data + length_;
}

void format_area::add_ordinary(std::string_view run)
{
    if (run.empty()) return;
    copied(run, reserve(run.size()));
    length_ += run.size();
    while (capacity_ < length_) capacity_ += k_growth;
}

char* format_area::add_field(std::size_t count)
{
    char* place = reserve(count);
    length_ += count;
    if (length_ > capacity_) capacity_ = length_ + k_growth;
    return place;
}

template <class Print>
void format_area::add_printed(Print print)
{
    char* place = reserve(k_printed_guess);
    const std::size_t room = memory_.size - length_;
    const int count = print(place, room);
    if (count < 0) out_of_memory_for_text();
    const auto needed = static_cast<std::size_t>(count) + 1;  // for the terminator, which is not kept
    if (needed > room) print(reserve(needed), needed);
    add_field(needed - 1);
}

ut_uint64 estimated_capacity(std::string_view format) noexcept
{
    const auto conversions = static_cast<ut_uint64>(std::count(format.begin(), format.end(), '%'));
    return 1 + format.size() + conversions * (k_per_conversion - 1);
}

void format_text(format_area& area, std::string_view format, format_arguments& arguments)
{
    format_reader reader(format);
    area.add_ordinary(reader.ordinary_run());
    while (!reader.at_end()) {
        add_conversion(area, reader.next_specification(arguments), arguments);
        area.add_ordinary(reader.ordinary_run());
    }
}

void out_of_memory_for_text()
{
    contract_failed(k_site, "system runs out of memory");
    msg_throw(-1);
}

}  // namespace ketriope
