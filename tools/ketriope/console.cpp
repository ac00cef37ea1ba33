// console.cpp
#include "console.h"

#include <algorithm>
#include <cstdio>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

#include "basutform.h"
#include "msgman.h"
#include "utgetenv.h"

namespace ketriope::tool {
namespace {

bool is_terminal(std::FILE* stream)
{
#if defined(_WIN32)
    return ::_isatty(::_fileno(stream)) != 0;
#else
    return ::isatty(::fileno(stream)) != 0;
#endif
}

/// Colours are for people: never in a pipe or a file, and not where somebody asked for none.
bool shows_colours()
{
    const char* const unwanted = ut_getenv("NO_COLOR");
    if (unwanted != nullptr && *unwanted != '\0') return false;
    const char* const terminal = ut_getenv("TERM");
    return terminal != nullptr && std::string_view(terminal) != "dumb" && is_terminal(stdout);
}

}  // namespace

void print(const std::string& text)
{
    *ut_msgman << text.c_str();
}

void report_error(const std::string& text)
{
    ut_msgman->flush();
    ut_c_error(text.c_str());
}

void report_warning(const std::string& text)
{
    ut_msgman->flush();
    ut_c_warning(text.c_str());
}

std::string printable(std::string_view text)
{
    constexpr char k_digits[] = "0123456789ABCDEF";
    std::string shown;
    shown.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (is_printable(c))
            shown.push_back(c);
        else
            shown.append({'<', k_digits[byte >> 4], k_digits[byte & 15], '>'});
    }
    return shown;
}

std::string one_line(std::string_view text)
{
    constexpr std::string_view k_blanks = " \t\r\n";
    const std::size_t begin = std::min(text.find_first_not_of(k_blanks), text.size());
    std::string line(text.substr(begin, text.find_last_not_of(k_blanks) + 1 - begin));
    std::ranges::replace_if(
        line, [&](char c) { return k_blanks.find(c) != std::string_view::npos; }, ' ');
    return printable(line);
}

std::string counted(ut_uint64 number, const char* thing)
{
    return std::to_string(number) + ' ' + thing + (number == 1 ? "" : "s");
}

std::string share_of(ut_uint64 part, ut_uint64 whole)
{
    if (whole == 0) return {};
    const ut_uint64 tenths = (part * 1000 + whole / 2) / whole;
    return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + " %";
}

std::string row(const char* label, const std::string& value)
{
    return zeoform("  %-14s ", label) + value + '\n';
}

std::string highlighted(const std::string& text)
{
    static const bool coloured = shows_colours();
    return coloured && !text.empty() ? "\033[1;31m" + text + "\033[m" : text;
}

void print_content(std::string_view content)
{
    ut_msgman->flush();
    std::fwrite(content.data(), 1, content.size(), stdout);
}

bool reports_are_seen()
{
    return is_terminal(stderr);
}

bool finish_output()
{
    ut_msgman->flush();
    if (std::ferror(stdout) == 0) return true;
    report_error("Standard output could not be written: what it got is not complete.");
    return false;
}

}  // namespace ketriope::tool
