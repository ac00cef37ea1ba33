/// \file i/basutstr.h
/// Functions on NUL-terminated text: comparison, editing in place, queries, masking, lines and tokens.
///
/// Bytes above 127 are never printable here, and case is that of ASCII, whatever the locale.
/// A null text does nothing, counts as "" or gives false, as each function says.
/// Ownership: what a function says the caller frees comes from `malloc`.
#pragma once
#include "uttypes.h"
#include <vector>

UT_EXPORT int ut_stricmp(const char* a, const char* b);
UT_EXPORT int ut_strincmp(const char* a, const char* b, int n);
UT_EXPORT int ut_stricoll(const char* a, const char* b);
UT_EXPORT void ut_strupr(char* s);
UT_EXPORT void ut_strlwr(char* s);
UT_EXPORT int ut_strcommon(int start, const char* a, const char* b);

UT_EXPORT void ut_strrev(char* s);
UT_EXPORT void ut_strswapchars(char* s, char a, char b);
UT_EXPORT void ut_strreplacechar(char* s, char from, char to);
UT_EXPORT void ut_strtrim(char* s);
UT_EXPORT void ut_strpad(char* s, int n);
UT_EXPORT void ut_strcleanstring(char* s);

UT_EXPORT bool ut_strfindchar(const char* s, char c);
UT_EXPORT bool ut_strallblank(const char* s);
UT_EXPORT char* ut_strstr(const char* haystack, const char* needle);
UT_EXPORT char* ut_strdup(const char* s);
UT_EXPORT bool ut_strtol(const char* text, long& value);
UT_EXPORT bool ut_strtod(const char* text, double& value);

UT_EXPORT char* ut_strencode(char* s);
UT_EXPORT char* ut_strdecode(char* s);
UT_EXPORT const char* ut_strdecode(const char* s);

UT_EXPORT char** ut_strbreakstring(const char* text, short width, short* count, short indent);
UT_EXPORT void ut_strdelstrings(char** strings, short count);
UT_EXPORT char ut_strgettoken(char* line, char* token, const char* delimiters, int quoted);
UT_EXPORT bool ut_strsplit(const char* text, int& count, char** out, char delim1, char delim2);
UT_EXPORT bool ut_strsplit(const char* text, int& count, std::vector<char*>& out, char delim1, char delim2);
UT_EXPORT bool ut_strmatch(const char* a, const char* b);
UT_EXPORT bool ut_strmatch_parentheses(const char* a, const char* b);
