// tests/basutstrfold_test.cpp
#include "basutstr.h"

#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using lines = std::vector<std::string>;

lines folded(const std::string& text, short width, short indent = 0)
{
    short count = -1;
    char** array = ut_strbreakstring(text.c_str(), width, &count, indent);
    const lines result(array, array + count);
    ut_strdelstrings(array, count);
    return result;
}

TEST(UtStrBreakString, BreaksAtTheLastBlankThatFits)
{
    EXPECT_EQ(folded("the quick brown fox jumps", 12), (lines{"the quick", "brown fox", "jumps"}));
}

TEST(UtStrBreakString, ALineMayHoldItsWholeWidth)
{
    EXPECT_EQ(folded("0123456789 abc", 10), (lines{"0123456789", "abc"}));
    EXPECT_EQ(folded("0123 56789 abc", 10), (lines{"0123 56789", "abc"}));
    EXPECT_EQ(folded("0123456789", 10), (lines{"0123456789"}));
    EXPECT_EQ(folded("012 4567890", 10), (lines{"012", "4567890"}));
}

TEST(UtStrBreakString, AWordThatIsTooLongIsCutAndLosesNothing)
{
    EXPECT_EQ(folded("0123456789abcdefghijKLM", 10), (lines{"0123456789", "abcdefghij", "KLM"}));
    EXPECT_EQ(folded("ab 0123456789abc", 10), (lines{"ab", "0123456789", "abc"}));
}

TEST(UtStrBreakString, OneBlankIsEatenAtABreakAndTheOthersStay)
{
    EXPECT_EQ(folded("0123456789  abc", 10), (lines{"0123456789", " abc"}));
    EXPECT_EQ(folded("01234567   abc", 10), (lines{"01234567  ", "abc"}));
}

TEST(UtStrBreakString, ABlankInFrontOfALongWordLeavesAnEmptyLine)
{
    EXPECT_EQ(folded(" 0123456789abc", 10), (lines{"", "0123456789", "abc"}));
}

TEST(UtStrBreakString, ALineFeedEndsALine)
{
    EXPECT_EQ(folded("a\nb", 10), (lines{"a", "b"}));
    EXPECT_EQ(folded("a\n\nb", 10), (lines{"a", "", "b"}));
    EXPECT_EQ(folded("a b c\nd", 10), (lines{"a b c", "d"}));
    EXPECT_EQ(folded("0123456789\nd", 10), (lines{"0123456789", "d"}));
}

TEST(UtStrBreakString, TheEndOfTheTextClosesALine)
{
    EXPECT_EQ(folded("", 10), (lines{""}));
    EXPECT_EQ(folded("a\n", 10), (lines{"a", ""}));
    EXPECT_EQ(folded("a\n", 20, 3), (lines{"a", "   "}));
    EXPECT_EQ(folded("a ", 10), (lines{"a "}));
    EXPECT_EQ(folded("0123456789 ", 10), (lines{"0123456789", ""}));
}

TEST(UtStrBreakString, TheIndentOfLaterLinesIsPartOfTheirWidth)
{
    EXPECT_EQ(folded("0123456789abcdef ghi jkl", 14, 4), (lines{"0123456789abcd", "    ef ghi jkl"}));
    EXPECT_EQ(folded("0123456789abcdef ghi jklm", 14, 4),
              (lines{"0123456789abcd", "    ef ghi", "    jklm"}));
    EXPECT_EQ(folded("a\nb\nc", 14, 4), (lines{"a", "    b", "    c"}));
}

TEST(UtStrBreakString, AnIndentThatLeavesTooLittleIsDroppedFirst)
{
    const std::string eleven(11, ' ');
    EXPECT_EQ(folded("a\nb", 13, 11), (lines{"a", "b"}));           // above width - 3
    EXPECT_EQ(folded("a\nb", 14, 11), (lines{"a", eleven + "b"}));  // just that
    EXPECT_EQ(folded("a\nb", 14, -1), (lines{"a", "b"}));
    EXPECT_EQ(folded("0123456789abc", 12, 10), (lines{"0123456789ab", "c"}));  // the width is not raised
    EXPECT_EQ(folded("a\nb", -32768, 32767), (lines{"a", "b"}));
}

TEST(UtStrBreakString, AWidthBelowIndentAndTenIsRaisedToThat)
{
    EXPECT_EQ(folded("0123456789abc", 0), (lines{"0123456789", "abc"}));
    EXPECT_EQ(folded("0123456789abc", -5), (lines{"0123456789", "abc"}));
    const std::string twenty = "0123456789abcdefghij";
    EXPECT_EQ(folded(twenty + "0123456789XYZ", 13, 10),
              (lines{twenty, std::string(10, ' ') + "0123456789", std::string(10, ' ') + "XYZ"}));
}

TEST(UtStrBreakString, AWidthMayBeRaisedBeyondAShort)
{
    const lines all = folded(std::string(40'000, 'x'), 32'767, 32'764);  // 32764 + 10 columns
    ASSERT_EQ(all.size(), 501U);                                         // 40000 / 32774 + 500
    EXPECT_EQ(all[0], std::string(32'774, 'x'));
    EXPECT_EQ(all[1], std::string(32'764, ' ') + "xxxxxxxxxx");
}

TEST(UtStrBreakString, TabsAreOrdinary)
{
    EXPECT_EQ(folded("0123\t56789abc", 10), (lines{"0123\t56789", "abc"}));
}

TEST(UtStrBreakString, LinesBeyondTheLimitAreDropped)
{
    const std::string feeds(2'000, '\n');
    EXPECT_EQ(folded(feeds, 10).size(), 2'000U / 10 + 500);
    const std::string most(2'000'000, '\n');
    EXPECT_EQ(folded(most, 10).size(), 32'767U);
}

TEST(UtStrBreakString, ALongTextOfWordsIsWithinTheLimit)
{
    std::string text;
    for (int i = 0; i < 10'000; ++i) text += "word ";
    std::string again;
    for (const std::string& line : folded(text, 76)) {
        EXPECT_LE(line.size(), 76U);
        again += line + " ";
    }
    EXPECT_EQ(again.substr(0, text.size()), text);
}

TEST(UtStrBreakString, ANullTextIsOneEmptyLine)
{
    short count = 0;
    char** array = ut_strbreakstring(nullptr, 76, &count, 0);
    ASSERT_EQ(count, 1);
    EXPECT_STREQ(array[0], "");
    ut_strdelstrings(array, count);
}

TEST(UtStrDelStrings, AcceptsANullArrayAndNullEntries)
{
    ut_strdelstrings(nullptr, 3);
    auto** array = static_cast<char**>(std::calloc(3, sizeof(char*)));
    array[1] = ut_strdup("text");
    ut_strdelstrings(array, 3);
    ut_strdelstrings(static_cast<char**>(std::calloc(1, sizeof(char*))), -1);
}

}  // namespace
