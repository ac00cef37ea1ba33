/// \file i/basutstr.h
/// Functions on NUL-terminated text: comparison, editing in place, queries, masking, lines and tokens.
///
/// Case is that of ASCII, whatever the locale. Bytes above 127 are never visible: 33 to 126 are the
/// visible characters, and 32, the blank, is printable as well.
/// A null text does nothing, counts as "" or gives false, as each function says.
/// Ownership: what a function says the caller frees comes from `malloc`.
/// Threads: safe on different texts, where a function does not say otherwise.
/// Errors: exhausted memory throws `std::bad_alloc`.
#pragma once
#include "uttypes.h"
#include <vector>

// ---- case and comparison; null counts as ""

/// Compares without regard to case.
///
/// Bytes count as signed values. The result is the difference of the two at the first place where the
/// upper-cased bytes differ; where a text ends first, the difference of the bytes as they are:
/// ("a", "b") gives -1, ("", "a") gives -97. It is 0 for equal texts.
UT_EXPORT int ut_stricmp(const char* a, const char* b);

/// The same for the first `n` characters at most; 0 when these are equal, and for n below 1.
UT_EXPORT int ut_strincmp(const char* a, const char* b, int n);

/// Compares in natural order: runs of digits count as numbers, so that "a10" comes behind "a9".
///
/// Case matters, despite the name. The result is the difference of the first two numbers that differ,
/// or of the lengths of two runs of one value ("a01" against "a1" is 1), or of two bytes as signed
/// values. A text that goes on where the other ends gives its next byte, negated if it is `b`.
/// Numbers wrap at 2^32; two that are 2^31 or more apart compare the wrong way round.
UT_EXPORT int ut_stricoll(const char* a, const char* b);

/// Turns `a` to `z` into upper case, in place. Null is accepted.
UT_EXPORT void ut_strupr(char* s);

/// Turns `A` to `Z` into lower case, in place. Null is accepted.
UT_EXPORT void ut_strlwr(char* s);

/// Returns the number of equal characters from position `start` on.
///
/// A start at or past the end of the longer text gives that text's length less `start`: 0 or negative.
/// A negative start, and one behind the end of the shorter text alone, give 0.
UT_EXPORT int ut_strcommon(int start, const char* a, const char* b);

// ---- editing in place; null is accepted, and nothing is done

/// Reverses the text.
UT_EXPORT void ut_strrev(char* s);

/// Exchanges the characters `a` and `b` everywhere.
UT_EXPORT void ut_strswapchars(char* s, char a, char b);

/// Replaces `from` by `to` everywhere.
UT_EXPORT void ut_strreplacechar(char* s, char from, char to);

/// Removes what is not visible from both ends: blanks, control characters and bytes above 127.
UT_EXPORT void ut_strtrim(char* s);

/// Pads with blanks up to `n` characters, or cuts to `n`; n below 0 gives "".
///
/// Shape: the caller's buffer has room for n + 1.
UT_EXPORT void ut_strpad(char* s, int n);

/// Replaces each character that is not printable, and each byte above 127, by a blank.
UT_EXPORT void ut_strcleanstring(char* s);

// ---- queries

/// True when `c` occurs in `s`. False for null, and for the terminator.
UT_EXPORT bool ut_strfindchar(const char* s, char c);

/// True when no character of `s` is visible. True for null.
UT_EXPORT bool ut_strallblank(const char* s);

/// Returns the first place in `haystack` where `needle` stands, or null; the haystack for an empty
/// needle. A null argument gives null.
///
/// Lifetime: points into `haystack`, through which alone it may be written.
UT_EXPORT char* ut_strstr(const char* haystack, const char* needle);

/// Returns a copy of `s`; null for null.
///
/// Ownership: the caller frees it by `free`.
UT_EXPORT char* ut_strdup(const char* s);

/// Reads a decimal number into `value`.
///
/// White space of any kind may stand in front of the number, and blanks alone behind it. A number out
/// of range is clamped, and still true. False when there is no number or something else follows;
/// `value` is then what was read so far, 0 without a number and for a null text.
UT_EXPORT bool ut_strtol(const char* text, long& value);

/// The same for a floating-point number as the "C" locale writes it.
UT_EXPORT bool ut_strtod(const char* text, double& value);

// ---- masking: text that a glance into the program file shall not show

/// Masks 7-bit text in place, as `UT_STROBJ::encode` does: the length stays, every byte gets its high
/// bit set. Returns its argument; null for null.
UT_EXPORT char* ut_strencode(char* s);

/// Unmasks in place. Text whose first byte has a clear high bit is left as it is. Returns its
/// argument; null for null.
UT_EXPORT char* ut_strdecode(char* s);

/// Returns the plain text of `s`, which may be masked or plain; "" for null.
///
/// A string literal selects this form; an own buffer must be given as a `char*` to be unmasked in place.
/// Lifetime: one of ten slots that serve the whole process in turn: good until ten further calls.
/// Threads: calls do not disturb each other before that, but they count from all threads together.
UT_EXPORT const char* ut_strdecode(const char* s);

// ---- lines

/// Folds `text` into lines of at most `width` characters.
///
/// A line breaks at its last blank, which is lost, or at a line feed; a word without a blank is cut,
/// and nothing of it is lost. Further blanks stay at the head of the next line, and a trailing blank
/// stays too. The end of the text always closes a line: "" is one empty line, and a text that ends in
/// a line feed has an empty last one. Every line but the first begins with `indent` blanks, which
/// count as part of the width. Tabs are ordinary characters. Null counts as "".
/// An indent below 0 or above width - 3 is taken as 0, then a width below indent + 10 as indent + 10.
///
/// Shape: `*count` lines, at most strlen(text) / width + 500 and at most 32767: text behind is dropped.
/// Ownership: the caller frees array and lines by `ut_strdelstrings`.
UT_EXPORT char** ut_strbreakstring(const char* text, short width, short* count, short indent);

/// Frees `count` strings, of which some may be null, and the array. A null array is accepted.
UT_EXPORT void ut_strdelstrings(char** strings, short count);

// ---- tokens

/// Takes the first token off `line`, and moves what is left to the front of it.
///
/// What is not visible is skipped first, whatever the delimiters. The token then goes up to one of
/// `delimiters`, which is taken off too, or to the end. With `quoted` set, a token that begins with `"`
/// goes up to the next `"`, and neither is kept; there is no escape.
/// The result is the delimiter found, 1 when the line ended behind a token, 0 when there was none left
/// (also with a null argument). A token may be empty when a delimiter was found: 0 alone means the end.
///
/// Shape: `token` has room for the whole line and a terminator.
UT_EXPORT char ut_strgettoken(char* line, char* token, const char* delimiters, int quoted);

/// Cuts `text` into tokens at `delim1` and `delim2`, and tells whether there was any.
///
/// Empty tokens are skipped. A `"` or `'` switches its own state and is not kept; a delimiter counts
/// while both are off. A quote directly behind a backslash is an ordinary character, and so is the
/// backslash. A pair of quotes with nothing inside and nothing in front gives a token of one blank.
/// A quote left open runs to the end of the text. A null `text` or `out` gives no token.
///
/// Shape: `out` has room for all tokens; `count` of them are set.
/// Ownership: the caller frees each token by `free`.
/// Errors: a token of 1000 characters aborts the process; 999 fit.
UT_EXPORT bool ut_strsplit(const char* text, int& count, char** out, char delim1, char delim2);

/// The same, with the tokens appended to `out`; `count` is the number of those appended.
UT_EXPORT bool ut_strsplit(const char* text, int& count, std::vector<char*>& out, char delim1, char delim2);

// ---- wildcards

/// Compares two texts, one of which may have `*` for any run of characters.
///
/// False when both have a `*`; equality when neither has. Otherwise the one with the `*` becomes the
/// `UT_REGEXP` `^...$` (without the `$` if it ends in `*`), each `*` being `.*`, and is sought in the
/// other. Nothing is escaped, so the rest of the syntax of `UT_REGEXP` is alive in it, and a pattern
/// that does not compile matches everything. A null argument gives false.
UT_EXPORT bool ut_strmatch(const char* a, const char* b);

/// The same, with `(`, `[`, `{` taken for one character, and `)`, `]`, `}` for another.
///
/// So brackets are no syntax here. If either text has 10000 characters or more, both go to
/// `ut_strmatch` as they are.
UT_EXPORT bool ut_strmatch_parentheses(const char* a, const char* b);
