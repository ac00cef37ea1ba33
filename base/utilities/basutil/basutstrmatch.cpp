// basutstrmatch.cpp: comparison with wildcards.
#include "basutstr.h"

#include <string>
#include <string_view>

#include "basutregexp.h"
#include "basutstrobj.h"

namespace {

constexpr std::size_t k_too_long_for_brackets = 10'000;

bool has_wildcard(std::string_view text) noexcept
{
    return text.find('*') != std::string_view::npos;
}

/// The regular expression of a text with wildcards. The rest of the syntax stays alive in it: callers
/// have grown to use it.
std::string expression_of(std::string_view wild)
{
    std::string expression = "^";
    for (const char c : wild) {
        if (c == '*') expression += '.';
        expression += c;
    }
    if (wild.back() != '*') expression += '$';
    return expression;
}

bool matches(std::string_view wild, const char* text)
{
    const UT_REGEXP expression(expression_of(wild).c_str());
    return !expression.ok() || UT_STROBJ(text).match_reg_exp(expression).num_keys() > 0;
}

/// `text` with one kind of brackets: braces, which mean nothing in a regular expression.
std::string with_braces(std::string_view text)
{
    std::string braced(text);
    for (char& c : braced) {
        if (c == '(' || c == '[') c = '{';
        if (c == ')' || c == ']') c = '}';
    }
    return braced;
}

}  // namespace

bool ut_strmatch(const char* a, const char* b)
{
    if (a == nullptr || b == nullptr) return false;
    const bool a_is_wild = has_wildcard(a);
    const bool b_is_wild = has_wildcard(b);
    if (a_is_wild && b_is_wild) return false;
    if (a_is_wild) return matches(a, b);
    if (b_is_wild) return matches(b, a);
    return std::string_view(a) == b;
}

bool ut_strmatch_parentheses(const char* a, const char* b)
{
    if (a == nullptr || b == nullptr) return false;
    const std::string_view first = a;
    const std::string_view second = b;
    if (first.size() >= k_too_long_for_brackets || second.size() >= k_too_long_for_brackets)
        return ut_strmatch(a, b);
    return ut_strmatch(with_braces(first).c_str(), with_braces(second).c_str());
}
