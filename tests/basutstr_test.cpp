// tests/basutstr_test.cpp
#include "basutstr.h"

#include <climits>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "basutstrobj.h"

namespace {

const char* const k_null = nullptr;

/// What `edit` makes of a copy of `text`.
template <class Edit>
std::string edited(std::string text, Edit edit)
{
    text.push_back('\0');
    edit(text.data());
    return text.c_str();
}

// ---- case and comparison

TEST(UtStrICmp, FoldsCaseAndGivesTheDifferenceOfTheFoldedBytes)
{
    EXPECT_EQ(ut_stricmp("abC", "ABc"), 0);
    EXPECT_EQ(ut_stricmp("a", "b"), -1);
    EXPECT_EQ(ut_stricmp("B", "a"), 1);
    EXPECT_EQ(ut_stricmp("_", "a"), '_' - 'A');
    EXPECT_EQ(ut_stricmp("", ""), 0);
}

TEST(UtStrICmp, GivesTheRawDifferenceWhereATextEnds)
{
    EXPECT_EQ(ut_stricmp("", "a"), -97);
    EXPECT_EQ(ut_stricmp("", "A"), -65);
    EXPECT_EQ(ut_stricmp("ab", "A"), 98);
    EXPECT_EQ(ut_stricmp(k_null, "a"), -97);
    EXPECT_EQ(ut_stricmp("a", k_null), 97);
    EXPECT_EQ(ut_stricmp(k_null, k_null), 0);
}

TEST(UtStrICmp, BytesAboveAsciiAreNegativeAndHaveNoCase)
{
    EXPECT_EQ(ut_stricmp("\xff", "a"), -1 - 'A');
    EXPECT_EQ(ut_stricmp("\xe4", "\xc4"), 0x20);
    EXPECT_EQ(ut_stricmp("\xff", ""), -1);
}

TEST(UtStrINCmp, LooksAtNoMoreThanNCharacters)
{
    EXPECT_EQ(ut_strincmp("abX", "ABy", 2), 0);
    EXPECT_EQ(ut_strincmp("abX", "ABy", 3), -1);
    EXPECT_EQ(ut_strincmp("ab", "A", 1), 0);
    EXPECT_EQ(ut_strincmp("ab", "A", 2), 98);
    EXPECT_EQ(ut_strincmp("ab", "ab", 100), 0);
    EXPECT_EQ(ut_strincmp("a", "b", 0), 0);
    EXPECT_EQ(ut_strincmp("a", "b", -1), 0);
    EXPECT_EQ(ut_strincmp(k_null, "b", 1), -98);
}

TEST(UtStrIColl, DigitsCountAsNumbers)
{
    EXPECT_EQ(ut_stricoll("a10", "a9"), 1);
    EXPECT_EQ(ut_stricoll("a9", "a10"), -1);
    EXPECT_EQ(ut_stricoll("7x", "7y"), -1);
    EXPECT_EQ(ut_stricoll("a10b2", "a10b10"), -8);
    EXPECT_EQ(ut_stricoll("a10", "a10"), 0);
}

TEST(UtStrIColl, EqualNumbersCompareByTheirLength)
{
    EXPECT_EQ(ut_stricoll("a01", "a1"), 1);
    EXPECT_EQ(ut_stricoll("a1", "a0001"), -3);
    EXPECT_EQ(ut_stricoll("a01b", "a1a"), 1);
}

TEST(UtStrIColl, OtherCharactersCompareWithTheirCase)
{
    EXPECT_EQ(ut_stricoll("a", "A"), 32);
    EXPECT_EQ(ut_stricoll("1", "a"), '1' - 'a');
    EXPECT_EQ(ut_stricoll("\xff", "a"), -1 - 'a');
}

TEST(UtStrIColl, TheLongerTextGivesItsNextCharacter)
{
    EXPECT_EQ(ut_stricoll("", ""), 0);
    EXPECT_EQ(ut_stricoll("", "b"), -98);
    EXPECT_EQ(ut_stricoll("b", ""), 98);
    EXPECT_EQ(ut_stricoll("ab", "a"), 98);
    EXPECT_EQ(ut_stricoll("a1", "a1b"), -98);
    EXPECT_EQ(ut_stricoll(k_null, "b"), -98);
    EXPECT_EQ(ut_stricoll("b", k_null), 98);
}

TEST(UtStrIColl, NumbersWrapAtThirtyTwoBits)
{
    EXPECT_EQ(ut_stricoll("4294967296", "0"), 9);  // 0 against 0, so the lengths decide
    EXPECT_EQ(ut_stricoll("4294967297", "3"), -2);
    EXPECT_LT(ut_stricoll("2147483648", "0"), 0);  // 2^31 apart
    EXPECT_EQ(ut_stricoll("4294967295", "0"), -1);
}

TEST(UtStrCase, ChangesAsciiLettersInPlace)
{
    EXPECT_EQ(edited("aZ{`@[\xe4", ut_strupr), "AZ{`@[\xe4");
    EXPECT_EQ(edited("aZ{`@[\xc4", ut_strlwr), "az{`@[\xc4");
    EXPECT_EQ(edited("", ut_strupr), "");
    EXPECT_EQ(edited("", ut_strlwr), "");
    ut_strupr(nullptr);
    ut_strlwr(nullptr);
}

TEST(UtStrCommon, CountsEqualCharactersFromTheStart)
{
    EXPECT_EQ(ut_strcommon(0, "abcx", "abcy"), 3);
    EXPECT_EQ(ut_strcommon(1, "abcx", "xbcy"), 2);
    EXPECT_EQ(ut_strcommon(0, "abc", "abcdef"), 3);
    EXPECT_EQ(ut_strcommon(1, "abc", "abc"), 2);
    EXPECT_EQ(ut_strcommon(0, "a", "b"), 0);
}

TEST(UtStrCommon, AStartAtOrPastTheLongerTextGivesTheDistance)
{
    EXPECT_EQ(ut_strcommon(3, "abc", "a"), 0);
    EXPECT_EQ(ut_strcommon(5, "abc", "a"), -2);
    EXPECT_EQ(ut_strcommon(0, "", ""), 0);
    EXPECT_EQ(ut_strcommon(4, k_null, k_null), -4);
}

TEST(UtStrCommon, AStartBehindTheShorterTextOrBelowZeroGivesZero)
{
    EXPECT_EQ(ut_strcommon(2, "abc", "a"), 0);
    EXPECT_EQ(ut_strcommon(1, "a", "abc"), 0);
    EXPECT_EQ(ut_strcommon(-1, "abc", "abc"), 0);
}

// ---- editing in place

TEST(UtStrRev, Reverses)
{
    EXPECT_EQ(edited("abc", ut_strrev), "cba");
    EXPECT_EQ(edited("ab", ut_strrev), "ba");
    EXPECT_EQ(edited("", ut_strrev), "");
    ut_strrev(nullptr);
}

TEST(UtStrSwapChars, ExchangesTwoCharactersEverywhere)
{
    EXPECT_EQ(edited("abcab", [](char* s) { ut_strswapchars(s, 'a', 'b'); }), "bacba");
    EXPECT_EQ(edited("abc", [](char* s) { ut_strswapchars(s, 'a', 'a'); }), "abc");
    EXPECT_EQ(edited("abc", [](char* s) { ut_strswapchars(s, 'b', '\0'); }), "a");
    ut_strswapchars(nullptr, 'a', 'b');
}

TEST(UtStrReplaceChar, ReplacesOneCharacterEverywhere)
{
    EXPECT_EQ(edited("abca", [](char* s) { ut_strreplacechar(s, 'a', 'x'); }), "xbcx");
    EXPECT_EQ(edited("abca", [](char* s) { ut_strreplacechar(s, '\0', 'x'); }), "abca");
    ut_strreplacechar(nullptr, 'a', 'x');
}

TEST(UtStrTrim, RemovesWhatIsNotVisibleFromBothEnds)
{
    EXPECT_EQ(edited(" \t a b \x7f\n", ut_strtrim), "a b");
    EXPECT_EQ(edited("\xe4 a\xe4 b\xe4", ut_strtrim), "a\xe4 b");
    EXPECT_EQ(edited("!~", ut_strtrim), "!~");
    EXPECT_EQ(edited(" \t", ut_strtrim), "");
    EXPECT_EQ(edited("", ut_strtrim), "");
    ut_strtrim(nullptr);
}

TEST(UtStrPad, PadsOrCutsToN)
{
    const auto padded = [](std::string text, int n) {
        text.resize(20, '\0');
        return edited(text, [n](char* s) { ut_strpad(s, n); });
    };
    EXPECT_EQ(padded("abcd", 2), "ab");
    EXPECT_EQ(padded("abcd", 4), "abcd");
    EXPECT_EQ(padded("abcd", 7), "abcd   ");
    EXPECT_EQ(padded("", 2), "  ");
    EXPECT_EQ(padded("abcd", 0), "");
    EXPECT_EQ(padded("abcd", -1), "");
    ut_strpad(nullptr, 3);
}

TEST(UtStrCleanString, BlanksWhatIsNotPrintable)
{
    EXPECT_EQ(edited("a\tb\nc\x7f \x1f~\x80\xff", ut_strcleanstring), "a b c   ~  ");
    EXPECT_EQ(edited("", ut_strcleanstring), "");
    ut_strcleanstring(nullptr);
}

// ---- queries

TEST(UtStrFindChar, TellsWhetherACharacterOccurs)
{
    EXPECT_TRUE(ut_strfindchar("abc", 'c'));
    EXPECT_FALSE(ut_strfindchar("abc", 'd'));
    EXPECT_TRUE(ut_strfindchar("a\xff", '\xff'));
    EXPECT_FALSE(ut_strfindchar("abc", '\0'));
    EXPECT_FALSE(ut_strfindchar(nullptr, 'a'));
}

TEST(UtStrAllBlank, TellsWhetherNothingIsVisible)
{
    EXPECT_TRUE(ut_strallblank(" \t\n\x7f\x80\xff"));
    EXPECT_TRUE(ut_strallblank(""));
    EXPECT_TRUE(ut_strallblank(nullptr));
    EXPECT_FALSE(ut_strallblank("  ! "));
    EXPECT_FALSE(ut_strallblank("~"));
}

TEST(UtStrStr, FindsTheFirstOccurrence)
{
    const char* text = "abcabc";
    EXPECT_EQ(ut_strstr(text, "ca"), text + 2);
    EXPECT_EQ(ut_strstr(text, "bc"), text + 1);
    EXPECT_EQ(ut_strstr(text, ""), text);
    EXPECT_EQ(ut_strstr(text, "x"), nullptr);
    EXPECT_EQ(ut_strstr(nullptr, "x"), nullptr);
    EXPECT_EQ(ut_strstr(text, nullptr), nullptr);
}

TEST(UtStrDup, GivesABlockThatFreeReleases)
{
    const char* text = "some text";
    char* copy = ut_strdup(text);
    EXPECT_NE(copy, text);
    EXPECT_STREQ(copy, text);
    std::free(copy);
    copy = ut_strdup("");
    EXPECT_STREQ(copy, "");
    std::free(copy);
    EXPECT_EQ(ut_strdup(nullptr), nullptr);
}

struct long_case {
    const char* text;
    bool good;
    long value;
};

TEST(UtStrToL, ReadsADecimalNumber)
{
    for (const long_case& wanted : std::vector<long_case>{{"42", true, 42},
                                                          {"-42", true, -42},
                                                          {"+42", true, 42},
                                                          {" \t\n42", true, 42},
                                                          {"42   ", true, 42},
                                                          {"0", true, 0},
                                                          {"007", true, 7},
                                                          {"", false, 0},
                                                          {"   ", false, 0},
                                                          {"x", false, 0},
                                                          {"-", false, 0},
                                                          {"42x", false, 42},
                                                          {"42 x", false, 42},
                                                          {"42\t", false, 42},
                                                          {"42\n", false, 42},
                                                          {"0x10", false, 0},
                                                          {"1.5", false, 1},
                                                          {nullptr, false, 0}}) {
        long value = 99;
        EXPECT_EQ(ut_strtol(wanted.text, value), wanted.good)
            << (wanted.text != nullptr ? wanted.text : "null");
        EXPECT_EQ(value, wanted.value) << (wanted.text != nullptr ? wanted.text : "null");
    }
}

TEST(UtStrToL, ClampsWhatIsOutOfRange)
{
    long value = 0;
    EXPECT_TRUE(ut_strtol("99999999999999999999", value));
    EXPECT_EQ(value, LONG_MAX);
    EXPECT_TRUE(ut_strtol("-99999999999999999999", value));
    EXPECT_EQ(value, LONG_MIN);
}

struct double_case {
    const char* text;
    bool good;
    double value;
};

TEST(UtStrToD, ReadsAFloatingPointNumber)
{
    for (const double_case& wanted : std::vector<double_case>{{"1.5", true, 1.5},
                                                              {"-1.5e3", true, -1500},
                                                              {" \n.25  ", true, 0.25},
                                                              {"7", true, 7},
                                                              {"0", true, 0},
                                                              {"1e999", true, HUGE_VAL},
                                                              {"", false, 0},
                                                              {"  ", false, 0},
                                                              {"e5", false, 0},
                                                              {"1,5", false, 1},
                                                              {"1.5\t", false, 1.5},
                                                              {"1.5x", false, 1.5},
                                                              {nullptr, false, 0}}) {
        double value = 99;
        EXPECT_EQ(ut_strtod(wanted.text, value), wanted.good)
            << (wanted.text != nullptr ? wanted.text : "null");
        EXPECT_EQ(value, wanted.value) << (wanted.text != nullptr ? wanted.text : "null");
    }
}

TEST(UtStrToD, ReadsTheSameInALocaleWithADecimalComma)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "no such locale here";
    double value = 0;
    EXPECT_TRUE(ut_strtod("1.5", value));
    EXPECT_EQ(value, 1.5);
    EXPECT_FALSE(ut_strtod("1,5", value));
    std::setlocale(LC_ALL, before.c_str());
}

// ---- masking

TEST(UtStrMask, DecodingUndoesEncodingInPlace)
{
    const std::string plain = "QVS_M_MSGFLOW \x01~ of any length";
    std::string text = plain;
    EXPECT_EQ(ut_strencode(text.data()), text.data());
    EXPECT_EQ(text.size(), std::string(text.c_str()).size());
    for (const char c : text) EXPECT_NE(static_cast<unsigned char>(c) & 0x80U, 0U);
    EXPECT_EQ(ut_strdecode(text.data()), text.data());
    EXPECT_EQ(text, plain);
}

TEST(UtStrMask, PlainTextPassesDecodingUnchanged)
{
    EXPECT_EQ(edited("plain \xff", [](char* s) { ut_strdecode(s); }), "plain \xff");
    EXPECT_EQ(edited("", [](char* s) { ut_strdecode(s); }), "");
    EXPECT_EQ(edited("", [](char* s) { ut_strencode(s); }), "");
    EXPECT_EQ(ut_strencode(nullptr), nullptr);
    EXPECT_EQ(ut_strdecode(static_cast<char*>(nullptr)), nullptr);
}

TEST(UtStrMask, IsTheMaskingOfTheCountedString)
{
    UT_STROBJ counted("Some text");
    counted.encode();
    EXPECT_EQ(edited("Some text", [](char* s) { ut_strencode(s); }), counted.getstring());
    EXPECT_STREQ(ut_strdecode(counted.getstring()), "Some text");
}

TEST(UtStrMask, TheConstantFormLeavesItsArgumentAndUsesTenSlots)
{
    const std::string masked = edited("secret", [](char* s) { ut_strencode(s); });
    const std::string before = masked;
    const char* first = ut_strdecode(masked.c_str());
    EXPECT_STREQ(first, "secret");
    EXPECT_EQ(masked, before);
    for (int i = 0; i < 9; ++i) EXPECT_NE(ut_strdecode("other!"), first);
    EXPECT_STREQ(first, "secret");
    EXPECT_EQ(ut_strdecode("tenth!"), first);
    EXPECT_STREQ(ut_strdecode(k_null), "");
}

TEST(UtStrMask, TheSlotsOutliveTheThreadThatFilledThem)
{
    const char* text = nullptr;
    std::thread([&] { text = ut_strdecode("plain"); }).join();
    EXPECT_STREQ(text, "plain");
}

TEST(UtStrMask, TheConstantFormMayBeCalledFromSeveralThreads)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < 1'000; ++i) ut_strdecode("plain");
        });
    for (std::thread& thread : threads) thread.join();
    for (int slot = 0; slot < 10; ++slot) EXPECT_STREQ(ut_strdecode("plain"), "plain");  // none was torn
}

}  // namespace
