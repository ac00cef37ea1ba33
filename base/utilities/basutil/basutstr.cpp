// basutstr.cpp: comparison, editing in place, queries and masking of NUL-terminated text.
#include "basutstr.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <span>
#include <string_view>

#include "ascii.h"
#include "basutstrobj.h"
#include "heap_text.h"
#include "masking.h"
#include "platform.h"

using ketriope::signed_value;

namespace {

const char* or_empty(const char* s) noexcept
{
    return s != nullptr ? s : "";
}

/// The characters of a text, to be changed where they stand; none for null.
std::span<char> characters(char* s) noexcept
{
    return s != nullptr ? std::span(s, std::strlen(s)) : std::span<char>();
}

int compare_folded(const char* a, const char* b, std::size_t most) noexcept
{
    a = or_empty(a);
    b = or_empty(b);
    for (; most > 0; --most, ++a, ++b) {
        if (*a == '\0' || *b == '\0') return signed_value(*a) - signed_value(*b);
        const int difference = signed_value(ketriope::to_upper(*a)) - signed_value(ketriope::to_upper(*b));
        if (difference != 0) return difference;
    }
    return 0;
}

struct digit_run {
    std::uint32_t value = 0;  ///< wraps
    std::size_t length = 0;
};

digit_run digits_at(const char* s) noexcept
{
    digit_run run;
    for (; ketriope::is_digit(s[run.length]); ++run.length)
        run.value = run.value * 10 + static_cast<std::uint32_t>(s[run.length] - '0');
    return run;
}

/// The order of two runs of digits; 0 for the same run.
int compare_runs(const digit_run& a, const digit_run& b) noexcept
{
    const std::uint32_t by_value = a.value - b.value;
    return static_cast<int>(by_value != 0 ? by_value : static_cast<std::uint32_t>(a.length - b.length));
}

/// True when nothing but blanks stands at `rest`, and something was read in front of it.
bool was_whole_number(const char* text, const char* rest) noexcept
{
    return rest != text && rest[std::strspn(rest, " ")] == '\0';
}

/// The slots of the decoded texts. They are never destroyed, since a report may come after all else.
class decoded_texts {
public:
    const char* keep(const char* masked)
    {
        const std::lock_guard lock(mutex_);
        UT_STROBJ& slot = slots_[next_];
        next_ = (next_ + 1) % slots_.size();
        slot = masked;
        slot.decode();
        return slot.getstring(false);
    }

private:
    std::mutex mutex_;
    std::array<UT_STROBJ, 10> slots_;
    std::size_t next_ = 0;
};

}  // namespace

// ---- case and comparison

int ut_stricmp(const char* a, const char* b)
{
    return compare_folded(a, b, std::numeric_limits<std::size_t>::max());
}

int ut_strincmp(const char* a, const char* b, int n)
{
    return compare_folded(a, b, static_cast<std::size_t>(std::max(n, 0)));
}

int ut_stricoll(const char* a, const char* b)
{
    a = or_empty(a);
    b = or_empty(b);
    while (*a != '\0' && *b != '\0') {
        int difference = 0;
        std::size_t step = 1;
        if (ketriope::is_digit(*a) && ketriope::is_digit(*b)) {
            const digit_run run = digits_at(a);
            difference = compare_runs(run, digits_at(b));
            step = run.length;
        } else {
            difference = signed_value(*a) - signed_value(*b);
        }
        if (difference != 0) return difference;
        a += step;
        b += step;
    }
    return signed_value(*a) - signed_value(*b);  // one of them is the terminator
}

void ut_strupr(char* s)
{
    std::ranges::transform(characters(s), s, ketriope::to_upper);
}

void ut_strlwr(char* s)
{
    std::ranges::transform(characters(s), s, ketriope::to_lower);
}

int ut_strcommon(int start, const char* a, const char* b)
{
    const std::string_view first = or_empty(a);
    const std::string_view second = or_empty(b);
    const auto [shortest, longest] = std::minmax({first.size(), second.size()});
    if (start < 0) return 0;
    const auto from = static_cast<std::size_t>(start);
    if (from >= longest) return static_cast<int>(longest) - start;
    std::size_t at = from;
    while (at < shortest && first[at] == second[at]) ++at;
    return static_cast<int>(at - from);
}

// ---- editing in place

void ut_strrev(char* s)
{
    std::ranges::reverse(characters(s));
}

void ut_strswapchars(char* s, char a, char b)
{
    for (char& c : characters(s)) c = c == a ? b : c == b ? a : c;
}

void ut_strreplacechar(char* s, char from, char to)
{
    std::ranges::replace(characters(s), from, to);
}

void ut_strtrim(char* s)
{
    if (s == nullptr) return;
    const std::span all = characters(s);
    const auto begin = std::ranges::find_if(all, ketriope::is_visible);
    auto end = all.end();
    while (end != begin && !ketriope::is_visible(*(end - 1))) --end;
    *std::copy(begin, end, s) = '\0';
}

void ut_strpad(char* s, int n)
{
    if (s == nullptr) return;
    const std::size_t length = std::strlen(s);
    const auto wanted = static_cast<std::size_t>(std::max(n, 0));
    if (wanted > length) std::memset(s + length, ' ', wanted - length);
    s[wanted] = '\0';
}

void ut_strcleanstring(char* s)
{
    for (char& c : characters(s)) c = ketriope::is_printable(c) ? c : ' ';
}

// ---- queries

bool ut_strfindchar(const char* s, char c)
{
    return c != '\0' && std::string_view(or_empty(s)).find(c) != std::string_view::npos;
}

bool ut_strallblank(const char* s)
{
    return std::ranges::none_of(std::string_view(or_empty(s)), ketriope::is_visible);
}

char* ut_strstr(const char* haystack, const char* needle)
{
    if (haystack == nullptr || needle == nullptr) return nullptr;
    return const_cast<char*>(std::strstr(haystack, needle));
}

char* ut_strdup(const char* s)
{
    return s != nullptr ? ketriope::heap_copy(s).release() : nullptr;
}

bool ut_strtol(const char* text, long& value)
{
    value = 0;
    if (text == nullptr) return false;
    char* rest = nullptr;
    value = std::strtol(text, &rest, 10);
    return was_whole_number(text, rest);
}

bool ut_strtod(const char* text, double& value)
{
    value = 0;
    if (text == nullptr) return false;
    char* rest = nullptr;
    value = ketriope::platform::os().parse_real(text, &rest);
    return was_whole_number(text, rest);
}

// ---- masking

char* ut_strencode(char* s)
{
    std::uint64_t position = 0;
    for (char& c : characters(s)) c = ketriope::masked(c, position++);
    return s;
}

char* ut_strdecode(char* s)
{
    if (s == nullptr || !ketriope::is_masked(*s)) return s;
    std::uint64_t position = 0;
    for (char& c : characters(s)) c = ketriope::unmasked(c, position++);
    return s;
}

const char* ut_strdecode(const char* s)
{
    static decoded_texts& texts = *new decoded_texts;
    return texts.keep(s);
}
