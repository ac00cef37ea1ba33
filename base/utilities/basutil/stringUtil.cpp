// stringUtil.cpp
#include "stringUtil.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string_view>

#include "ascii.h"
#include "basutform.h"
#include "contract.h"
#include "msgman.h"
#include "platform.h"
#include "runtime_format.h"
#include "utgetenv.h"

namespace {

constexpr std::size_t k_npos = std::string_view::npos;
constexpr ut_uint64 k_report_characters = 255;

constinit char report_area[k_report_characters + 1] = {};

std::vector<std::string> pieces_of(std::string_view text, std::string_view delimiter)
{
    std::vector<std::string> pieces;
    while (!text.empty()) {
        const std::size_t end = delimiter.empty() ? k_npos : text.find(delimiter);
        pieces.emplace_back(text.substr(0, end));
        text.remove_prefix(end == k_npos ? text.size() : end + delimiter.size());
    }
    return pieces;
}

/// `text` may be one of `out`, so its pieces are complete before the first of them goes there.
std::vector<std::string>& append_pieces(std::string_view text, std::string_view delimiter,
                                        std::vector<std::string>& out)
{
    std::vector<std::string> pieces = pieces_of(text, delimiter);
    std::move(pieces.begin(), pieces.end(), std::back_inserter(out));
    return out;
}

std::string_view trimmed(std::string_view text) noexcept
{
    while (!text.empty() && ketriope::is_space(text.back())) text.remove_suffix(1);
    text.remove_prefix(text.find_last_of("\r\n") + 1);  // none gives 0
    while (!text.empty() && ketriope::is_space(text.front())) text.remove_prefix(1);
    return text;
}
static_assert(k_npos + 1 == 0);

/// Reports from one place of this unit; the line of the call tells the places apart.
void report(const char* text, ketriope::source_location at = ketriope::source_location::current())
{
    internalError(text, "STRING_UTIL", "stringUtil", static_cast<int>(at.line()), 1);
}

constexpr std::string_view k_hex_digits = "0123456789abcdef";
constexpr std::size_t k_bits = 4;  ///< of a hexadecimal digit

void append_bits(std::size_t digit, std::string& binary)
{
    for (std::size_t bit = k_bits; bit-- > 0;) binary += ((digit >> bit) & 1U) != 0 ? '1' : '0';
}

/// The value of a group of binary digits, or k_npos for anything else.
std::size_t value_of_bits(std::string_view bits) noexcept
{
    std::size_t value = 0;
    for (const char bit : bits) {
        if (bit != '0' && bit != '1') return k_npos;
        value = value * 2 + (bit == '1' ? 1 : 0);
    }
    return value;
}

/// Where `LogMessage` puts its last text when it may not print: for a debugger to look at.
std::string& hidden_text()
{
    static std::string& text = *new std::string;  // never destroyed: a message may come after all else
    return text;
}

/// Shows the fixed sentence and the place. A caller goes on after `internalError`, so the `int` that the
/// database throws where it cannot post stays here.
void report_place(const char* text, const char* module, const char* file, int line)
{
    try {
        if (ut_getenv("QVS_SHOW_INTERNAL_ERROR") != nullptr) ut_msgman->error(text, 0);
        ut_msgman->internal("Internal error thrown. May jeopardize correctness of functionality or cause "
                            "termination of program. Please file bug report.",
                            module, file, static_cast<short>(line), "1.0", 0);
    } catch (int) {
    }
}

/// The places that have been reported; for the life of the process.
std::vector<std::string>& reported_places()
{
    static std::vector<std::string>& places = *new std::vector<std::string>;
    return places;
}

}  // namespace

// ---- pieces and ends of text

std::vector<std::string>& split(const std::string& s, char delim, std::vector<std::string>& out)
{
    return append_pieces(s, {&delim, 1}, out);
}

std::vector<std::string> split(const std::string& s, char delim)
{
    return pieces_of(s, {&delim, 1});
}

std::vector<std::string>& split(const std::string& s, std::string delim, std::vector<std::string>& out)
{
    return append_pieces(s, delim, out);
}

std::vector<std::string> split(const std::string& s, std::string delim)
{
    return pieces_of(s, delim);
}

std::string trim(std::string s)
{
    return std::string(trimmed(s));
}

char* trim(char* s)
{
    if (s == nullptr) return nullptr;
    const std::string_view kept = trimmed(s);
    std::memmove(s, kept.data(), kept.size());
    s[kept.size()] = '\0';
    return s;
}

void padZeroes(std::string& s, int width)
{
    const auto wanted = static_cast<std::size_t>(std::max(width, 0));
    if (s.size() < wanted) s.insert(0, wanted - s.size(), '0');
}

std::string replaceString(std::string subject, std::string search, std::string replace)
{
    if (search.empty()) return subject;
    std::string result;
    std::size_t begin = 0;
    for (std::size_t at = 0; (at = subject.find(search, begin)) != k_npos; begin = at + search.size())
        result.append(subject, begin, at - begin).append(replace);
    return result.append(subject, begin);
}

// ---- comparison

bool icompare_pred(unsigned char a, unsigned char b)
{
    return ketriope::to_lower(static_cast<char>(a)) == ketriope::to_lower(static_cast<char>(b));
}

bool icompare(const std::string& a, const std::string& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), icompare_pred);
}

bool compareLen(const std::string& a, const std::string& b)
{
    return a.size() < b.size();
}

bool longestToShortest(const std::string& a, const std::string& b)
{
    return a.size() > b.size();
}

// ---- values as text

std::string boolToString(bool value)
{
    return value ? "TRUE" : "FALSE";
}

void stringFormat(char* buffer, ut_uint64 size, const char* format, ...)
{
    ut_va_list arguments;
    va_start(arguments, format);
    ketriope::platform::os().format_list(buffer, size, format, arguments);
    va_end(arguments);
}

void HexToBinary(std::string& hex, std::string& binary)
{
    binary.clear();
    for (const char c : hex) {
        if (c == ' ') continue;
        const std::size_t digit = k_hex_digits.find(c);
        if (digit == k_npos)
            return report("Warning! HexToBinary [ic1bsbitfile.c]. Unknown hex character to convert to binary "
                          "(just lowercase for now).");
        append_bits(digit, binary);
    }
}

void BinaryToHex(std::string& binary, std::string& hex, bool /*unused*/)
{
    hex.clear();
    if (binary.size() % k_bits != 0) {
        stringFormat(internalErrorMsg, k_report_characters,
                     "Warning! BinaryToHex. Binary string not divisible by 4 - %s", binary.c_str());
        return report(internalErrorMsg);
    }
    for (std::size_t at = 0; at < binary.size(); at += k_bits) {
        const std::size_t digit = value_of_bits(std::string_view(binary).substr(at, k_bits));
        if (digit == k_npos)
            report("Warning! BinaryToHex. Unknown set of binary string.");
        else
            hex += k_hex_digits[digit];
    }
}

// ---- reports

constinit bool VS_GLOBAL::VISUALSTUDIO = false;

constinit char* internalErrorMsg = report_area;

void LogMessage(const char* format, ...)
{
    ut_va_list arguments;
    va_start(arguments, format);
    std::string text = ketriope::runtime_format(format, arguments);
    va_end(arguments);
    if (VS_GLOBAL::VISUALSTUDIO)
        hidden_text() = std::move(text);
    else
        std::fwrite(text.data(), 1, text.size(), stdout);
}

void internalError(const char* message, const char* module, const char* fileName, int line, int /*level*/)
{
    const char* const text = message != nullptr ? message : "";
    const std::string place = std::string(fileName != nullptr ? fileName : "") + zeodec(line);
    std::vector<std::string>& places = reported_places();
    if (std::find(places.begin(), places.end(), place) == places.end()) {
        places.push_back(place);  // first, so that a listener who comes here again finds it
        report_place(text, module, fileName, line);
    }
    if (ut_getenv("QVS_INTERNAL_ERROR_DUMP_TERMINAL") != nullptr)
        LogMessage("%s", zeoform("%s\n", text));  // the message is text, whatever it looks like
}
