/// \file console.h
/// What the commands write: results to standard output, reports to standard error.
///
/// All goes through the message manager of the suite, so that a tool which puts its own in place, or
/// the message database, sees it.
#pragma once
#include <string>
#include <string_view>

#include "uttypes.h"

namespace ketriope::tool {

/// Writes text to standard output as it is: neither folded nor cleaned. It holds no NUL.
void print(const std::string& text);

/// Reports an error or a warning, behind the results that came before it.
///
/// It goes to the message manager as a finished line: so it needs no catalogue and carries no number, and
/// reaches standard error whether the message database is in charge or not. Only without it is it folded.
void report_error(const std::string& text);
void report_warning(const std::string& text);

/// True for blank to `~` and tab, whatever the locale.
constexpr bool is_printable(char c) noexcept
{
    return (c >= ' ' && c <= '~') || c == '\t';
}

/// The text as a terminal can show it in one line: a byte that is not printable comes as its number, `<0A>`.
std::string printable(std::string_view text);

/// The text in one line: blanks in place of line ends and tabs, none at its ends. The rest is printable.
std::string one_line(std::string_view text);

/// A number of things, such as "1 byte" and "2 bytes".
std::string counted(ut_uint64 number, const char* thing);

/// A part in percent of the whole, such as "15.2 %"; none of a whole of 0.
std::string share_of(ut_uint64 part, ut_uint64 whole);

/// A line of a description: a label, and what is told.
std::string row(const char* label, const std::string& value);

/// The text as it is printed, made to stand out where the output is a terminal that shows colours.
std::string highlighted(const std::string& text);

/// Writes content to standard output as it is, behind the results that came before it.
void print_content(std::string_view content);

/// True where somebody sits in front of standard error.
bool reports_are_seen();

/// Writes out what standard output still holds. Errors: false, reported, if anything was lost on the way.
bool finish_output();

}  // namespace ketriope::tool
