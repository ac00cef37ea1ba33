/// \file i/stringUtil.h
/// Helpers on `std::string`, and the report of a broken internal assumption.
///
/// Case, white space and numbers are those of the "C" locale, whatever locale a tool has set.
#pragma once
#include "uttypes.h"
#include <string>
#include <vector>

/// Appends the pieces of `s` between delimiters to `out`, which is returned.
///
/// There is no piece behind a final delimiter, and none in an empty text: "a,b," has two pieces, ","
/// one empty one.
UT_EXPORT std::vector<std::string>& split(const std::string& s, char delim, std::vector<std::string>& out);
/// The same, as a new vector.
UT_EXPORT std::vector<std::string> split(const std::string& s, char delim);
/// The same at each occurrence of a text, from the left. An empty delimiter divides nothing.
UT_EXPORT std::vector<std::string>& split(const std::string& s, std::string delim,
                                          std::vector<std::string>& out);
/// The same, as a new vector.
UT_EXPORT std::vector<std::string> split(const std::string& s, std::string delim);

/// Returns `s` without white space at both ends.
///
/// It is what `\s*(.*?)\s*$` finds, where `.` is no line break: of a text with a line feed or carriage
/// return inside, only what stands behind the last one is kept.
UT_EXPORT std::string trim(std::string s);
/// The same in place; returns its argument, null for null.
UT_EXPORT char* trim(char* s);

/// "TRUE" or "FALSE".
UT_EXPORT std::string boolToString(bool value);

/// Formats into `buffer`, which has room for `size` characters with the terminator.
///
/// The formats are those of the runtime's `printf`. The text is cut to fit and always terminated; with
/// `size` 0 nothing is written.
UT_EXPORT UT_PRINTF_LIKE(3, 4) void stringFormat(char* buffer, ut_uint64 size, const char* format, ...);

/// Sets `binary` to the binary digits of `hex`, four for each of `0` to `9` and `a` to `f`.
///
/// Blanks are skipped. `hex` and `binary` are two objects.
/// Errors: at anything else, upper case too, `internalError` is told, and `binary` keeps what came before.
UT_EXPORT void HexToBinary(std::string& hex, std::string& binary);

/// Sets `hex` to the lower-case hexadecimal digits of `binary`, one for four binary digits.
///
/// The third argument has no effect. `binary` and `hex` are two objects.
/// Errors: a length that is no multiple of 4 is told to `internalError`, and `hex` is empty; a group that
/// is not of binary digits is told too, and is left out.
/// Threads: not safe from several at once, since a report passes through `internalErrorMsg`.
UT_EXPORT void BinaryToHex(std::string& binary, std::string& hex, bool unused);

/// Puts "0" in front until `s` has `width` characters; a longer text stays as it is.
UT_EXPORT void padZeroes(std::string& s, int width);

/// Returns `subject` with each `search` replaced, from the left and never inside what was put in.
/// An empty `search` replaces nothing.
UT_EXPORT std::string replaceString(std::string subject, std::string search, std::string replace);

/// True when the two are equal but for case.
UT_EXPORT bool icompare_pred(unsigned char a, unsigned char b);
/// True when the two are equal but for case.
UT_EXPORT bool icompare(const std::string& a, const std::string& b);
/// True when `a` is shorter than `b`: an order for sorting.
UT_EXPORT bool compareLen(const std::string& a, const std::string& b);
/// True when `a` is longer than `b`: an order for sorting.
UT_EXPORT bool longestToShortest(const std::string& a, const std::string& b);

/// Switches of the surroundings that a tool runs in.
class UT_EXPORT VS_GLOBAL {
public:
    static bool VISUALSTUDIO;  ///< true: `LogMessage` keeps its text off standard output; false at start
};

/// Formats, as the runtime's `printf` does, to standard output; while `VS_GLOBAL::VISUALSTUDIO` is true,
/// into a hidden text area instead, without a limit of length.
///
/// Threads: not safe from several at once while the area is in use.
UT_EXPORT UT_PRINTF_LIKE(1, 2) void LogMessage(const char* format, ...);

/// Scratch for the text of a report: 255 characters and a terminator, for the whole process.
extern UT_EXPORT char* internalErrorMsg;

/// Reports a broken internal assumption, once in a process for each `fileName` and `line`; returns.
///
/// `ut_msgman` shows a fixed sentence with an INTERNAL CODE line that names `module`, `fileName` and
/// `line`, and not `message`. With `QVS_SHOW_INTERNAL_ERROR` in the environment it shows `message`, as an
/// error, before that. With `QVS_INTERNAL_ERROR_DUMP_TERMINAL`, `message` goes through `LogMessage` as a
/// line of its own, this one at each call.
/// `level` is not read. `ut_msgman` must be there.
/// Threads: not safe from several at once.
UT_EXPORT void internalError(const char* message, const char* module, const char* fileName, int line,
                             int level);
