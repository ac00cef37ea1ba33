// fuzz/basutstr_fuzz.cpp: lines, tokens, wildcards and comparison keep what they promise for any text.
#include "basutstr.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz_check.h"

namespace {

constexpr std::size_t k_most_in_token = 999;  // more ends the process, as it should
constexpr std::size_t k_most_to_match = 20;
constexpr std::size_t k_most_wildcards = 3;

/// The bytes of an input: first some numbers, then C strings.
class reader {
public:
    reader(const std::uint8_t* data, std::size_t size) : rest_(reinterpret_cast<const char*>(data), size) {}

    short number()
    {
        const auto high = static_cast<unsigned char>(byte());
        return static_cast<short>(high << 8 | static_cast<unsigned char>(byte()));
    }
    char byte()
    {
        const char first = rest_.empty() ? '\0' : rest_.front();
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
        return first;
    }
    std::string text()
    {
        const std::string result(rest_.substr(0, rest_.find('\0')));
        rest_.remove_prefix(std::min(rest_.size(), result.size() + 1));
        return result;
    }

private:
    std::string_view rest_;
};

// ---- lines

void check_lines(const std::string& text, short width, short indent)
{
    const int hanging = indent < 0 || indent > width - 3 ? 0 : indent;
    const int columns = std::max<int>(width, hanging + 10);
    const std::string blanks(static_cast<std::size_t>(hanging), ' ');

    short count = 0;
    char** lines = ut_strbreakstring(text.c_str(), width, &count, indent);
    FUZZ_CHECK(count >= 1);
    std::size_t at = 0;
    for (short i = 0; i < count; ++i) {
        std::string_view line = lines[i];
        FUZZ_CHECK(line.size() <= static_cast<std::size_t>(columns));
        if (i > 0) {
            FUZZ_CHECK(line.starts_with(blanks));
            line.remove_prefix(blanks.size());
        }
        FUZZ_CHECK(line.find('\n') == line.npos);
        FUZZ_CHECK(at <= text.size() && text.compare(at, line.size(), line) == 0);
        at += line.size();
        if (i + 1 < count && (text[at] == ' ' || text[at] == '\n')) ++at;  // else a cut, which loses nothing
    }
    if (static_cast<std::size_t>(count) < text.size() / static_cast<std::size_t>(columns) + 500)
        FUZZ_CHECK(at == text.size());
    ut_strdelstrings(lines, count);
}

// ---- tokens

void check_tokens_of_line(const std::string& text, const std::string& delimiters, bool quoted)
{
    std::vector<char> line(text.begin(), text.end());
    line.push_back('\0');
    std::vector<char> token(line.size());
    std::string_view left = text;
    while (true) {
        const char found = ut_strgettoken(line.data(), token.data(), delimiters.c_str(), quoted ? 1 : 0);
        const std::string_view rest = line.data();
        FUZZ_CHECK(left.ends_with(rest));
        if (found == '\0') {
            FUZZ_CHECK(rest.empty() && token[0] == '\0');
            return;
        }
        FUZZ_CHECK(rest.size() < left.size());  // so the line comes to an end
        FUZZ_CHECK(left.find(token.data()) != left.npos);
        left.remove_prefix(left.size() - rest.size());
    }
}

std::vector<std::string> owned(const std::vector<char*>& tokens)
{
    std::vector<std::string> result(tokens.begin(), tokens.end());
    for (char* token : tokens) std::free(token);
    return result;
}

/// What the tokens are where no quote and no backslash comes in.
std::vector<std::string> plain_tokens(std::string_view text, char delim1, char delim2)
{
    std::vector<std::string> result;
    std::string token;
    for (const char c : std::string(text) + delim1) {
        if (c != delim1 && c != delim2)
            token += c;
        else if (!token.empty())
            result.push_back(std::exchange(token, {}));
    }
    return result;
}

void check_split(std::string text, char delim1, char delim2)
{
    text.resize(std::min(text.size(), k_most_in_token));
    int count = -1;
    std::vector<char*> listed;
    const bool any = ut_strsplit(text.c_str(), count, listed, delim1, delim2);
    std::vector<char*> array(listed.size());
    int array_count = -1;
    FUZZ_CHECK(ut_strsplit(text.c_str(), array_count, array.data(), delim1, delim2) == any || array.empty());
    FUZZ_CHECK(any == (count > 0) && array_count == count &&
               listed.size() == static_cast<std::size_t>(count));
    const std::vector<std::string> tokens = owned(listed);
    FUZZ_CHECK(owned(array) == tokens);
    for (const std::string& token : tokens) FUZZ_CHECK(!token.empty());
    if (text.find_first_of("\"'\\") == text.npos && delim1 != '\0')
        FUZZ_CHECK(tokens == plain_tokens(text, delim1, delim2));
}

// ---- wildcards

/// A wildcard match that knows no other syntax.
bool simple_match(std::string_view wild, std::string_view text)
{
    if (wild.empty()) return text.empty();
    if (wild.front() != '*')
        return !text.empty() && text.front() == wild.front() && simple_match(wild.substr(1), text.substr(1));
    for (std::size_t skipped = 0; skipped <= text.size(); ++skipped)
        if (simple_match(wild.substr(1), text.substr(skipped))) return true;
    return false;
}

/// What may be matched in a moment: many repeats in a row take time that grows with each of them.
std::string matched_soon(std::string text)
{
    text.resize(std::min(text.size(), k_most_to_match));
    std::size_t wildcards = 0;
    const auto one_too_many = [&](char c) { return c == '*' && ++wildcards > k_most_wildcards; };
    text.erase(std::find_if(text.begin(), text.end(), one_too_many), text.end());
    return text;
}

void check_match(const std::string& a, const std::string& b)
{
    const bool matches = ut_strmatch(a.c_str(), b.c_str());
    FUZZ_CHECK(ut_strmatch(b.c_str(), a.c_str()) == matches);
    FUZZ_CHECK(ut_strmatch_parentheses(a.c_str(), b.c_str()) ==
               ut_strmatch_parentheses(b.c_str(), a.c_str()));
    const bool a_wild = a.find('*') != a.npos;
    const bool b_wild = b.find('*') != b.npos;
    if (!a_wild && !b_wild) FUZZ_CHECK(matches == (a == b));
    if (a_wild && b_wild) FUZZ_CHECK(!matches);
    if (a_wild && !b_wild && a.find_first_of("^$.[]()|?+\\") == a.npos)
        FUZZ_CHECK(matches == simple_match(a, b));
}

// ---- comparison and editing

void check_opposite(int forward, int backward)
{
    FUZZ_CHECK(static_cast<unsigned>(forward) + static_cast<unsigned>(backward) == 0);
}

void check_comparison(const std::string& a, const std::string& b, int start)
{
    const char* x = a.c_str();
    const char* y = b.c_str();
    check_opposite(ut_stricmp(x, y), ut_stricmp(y, x));
    check_opposite(ut_stricoll(x, y), ut_stricoll(y, x));
    FUZZ_CHECK(ut_stricmp(x, x) == 0 && ut_stricoll(x, x) == 0);
    const int most = static_cast<int>(std::max(a.size(), b.size())) + 1;
    FUZZ_CHECK(ut_strincmp(x, y, most) == ut_stricmp(x, y));
    const int common = ut_strcommon(start, x, y);
    FUZZ_CHECK(common == ut_strcommon(start, y, x));
    if (common > 0)
        FUZZ_CHECK(a.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(common)) ==
                   b.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(common)));
}

void check_editing(const std::string& text, short n)
{
    std::string copy = text;
    ut_strrev(copy.data());
    ut_strrev(copy.data());
    FUZZ_CHECK(copy == text);

    ut_strcleanstring(copy.data());
    FUZZ_CHECK(std::strlen(copy.c_str()) == text.size());
    const std::string clean = copy;
    ut_strencode(copy.data());
    FUZZ_CHECK(ut_strdecode(copy.c_str()) == clean);
    FUZZ_CHECK(ut_strdecode(copy.data()) == clean);

    ut_strtrim(copy.data());
    const std::string trimmed = copy.c_str();
    FUZZ_CHECK(clean.find(trimmed) != clean.npos && trimmed.empty() == ut_strallblank(clean.c_str()));
    ut_strtrim(copy.data());
    FUZZ_CHECK(trimmed == copy.c_str());

    std::vector<char> padded(std::max<std::size_t>(text.size(), 32'767) + 1);
    text.copy(padded.data(), text.size());
    ut_strpad(padded.data(), n);
    FUZZ_CHECK(std::strlen(padded.data()) == static_cast<std::size_t>(std::max<short>(n, 0)));

    long whole = 0;
    double real = 0;
    ut_strtod(text.c_str(), real);
    if (ut_strtol(text.c_str(), whole)) FUZZ_CHECK(ut_strtod(text.c_str(), real));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    reader input(data, size);
    const short width = input.number();
    const short indent = input.number();
    const char delim1 = input.byte();
    const char delim2 = input.byte();
    const std::string first = input.text();
    const std::string second = input.text();
    check_lines(first, width, indent);
    check_tokens_of_line(first, second, false);
    check_tokens_of_line(first, second, true);
    check_split(first, delim1, delim2);
    check_match(matched_soon(first), matched_soon(second));
    check_comparison(first, second, indent);
    check_editing(first, width);
    return 0;
}
