// tests/basutform_test.cpp
#include "basutform.h"

#include <climits>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "child_process.h"

namespace {

TEST(Zeoform, GivesTheFormattedText)
{
    EXPECT_STREQ(zeoform("%d %s %5.2f", 7, "seven", 7.0), "7 seven  7.00");
    EXPECT_STREQ(zeoform("plain"), "plain");
}

TEST(Zeoform, TwoInOneExpressionAreTwoTexts)
{
    EXPECT_EQ(std::string(zeoform("%d", 1)) + zeoform("%d", 2), "12");
    const char* first = zeoform("%d", 1);
    const char* second = zeoform("%d", 2);
    EXPECT_NE(first, second);
    EXPECT_STREQ(first, "1");
    EXPECT_STREQ(second, "2");
}

TEST(Zeoform, ATextLastsForThirtyOneFurtherCallsAndThenItsSlotIsUsedAgain)
{
    const char* first = zeoform("%d", 1);
    for (int i = 0; i < 31; ++i) {
        zeoform("%d", 9);
        ASSERT_STREQ(first, "1");
    }
    EXPECT_EQ(zeoform("%d", 2), first);
    EXPECT_STREQ(first, "2");
}

TEST(Zeoform, SharesItsRingWithZeodecAndZeohex)
{
    const char* first = zeoform("%d", 1);
    for (int i = 0; i < 15; ++i) zeodec(9);
    for (int i = 0; i < 16; ++i) zeohex(9);
    EXPECT_STREQ(first, "1");
    EXPECT_EQ(zeoform("%d", 2), first);
}

TEST(Zeoform, AnArgumentMayBeTheTextWhoseSlotComesNext)
{
    const char* first = zeoform("%s", "text");
    for (int i = 0; i < 31; ++i) zeoform("other");
    EXPECT_STREQ(zeoform("<%s>", first), "<text>");
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
TEST(Zeoform, ANullOrEmptyFormatGivesTheEmptyText)
{
    const char* volatile no_format = nullptr;  // where a compiler cannot see it
    const char* volatile empty = "";
    EXPECT_STREQ(zeoform(no_format, 1), "");
    EXPECT_STREQ(zeoform(empty, 1), "");
}
#pragma GCC diagnostic pop

TEST(Zeoform, EachThreadHasARingOfItsOwn)
{
    const char* mine = zeoform("%s", "mine");
    std::thread([] {
        for (int i = 0; i < 40; ++i) zeoform("theirs");
    }).join();
    EXPECT_STREQ(mine, "mine");
}

TEST(UtCform, GivesTheLastTextOfTheOtherRing)
{
    zeoform("x");
    EXPECT_STREQ(ut_Cform("%d", 7), "x");
    zeodec(12);
    EXPECT_STREQ(ut_Cform("%d", 7), "12");
    zeohex(12);
    EXPECT_STREQ(ut_Cform("%d", 7), "");
}

TEST(UtCform, GivesTheEmptyTextBeforeTheFirstInItsThread)
{
    zeoform("of another thread");
    std::string text = "unset";
    std::thread([&] { text = ut_Cform("%d", 7); }).join();
    EXPECT_EQ(text, "");
}

TEST(UtCform, LeavesTheOtherRingAsItIs)
{
    const char* mine = zeoform("%s", "mine");
    for (int i = 0; i < 70; ++i) EXPECT_EQ(ut_Cform("%s", "lost"), mine);
    EXPECT_STREQ(mine, "mine");
}

TEST(Zeodec, GivesAllDigitsOfALong)
{
    EXPECT_STREQ(zeodec(0), "0");
    EXPECT_STREQ(zeodec(-42), "-42");
    EXPECT_STREQ(zeodec(LONG_MAX), std::to_string(LONG_MAX).c_str());
    EXPECT_STREQ(zeodec(LONG_MIN), std::to_string(LONG_MIN).c_str());
}

TEST(Zeochr, GivesOneCharacterInOneBuffer)
{
    char* first = zeochr('a');
    EXPECT_STREQ(first, "a");
    EXPECT_EQ(zeochr('b'), first);
    EXPECT_STREQ(first, "b");
    EXPECT_STREQ(zeochr('\0'), "");
    EXPECT_STREQ(zeochr('\xff'), "\xff");
}

TEST(Zeohex, GivesTheEmptyTextForEveryValue)
{
    EXPECT_STREQ(zeohex(255), "");
    EXPECT_STREQ(zeohex(0), "");
    EXPECT_STREQ(zeohex(-1), "");
}

TEST(Rings, ServeBeforeTheStartAndAfterTheEndOfMain)
{
    const child_result result = run_child(child_program("basutform_child"));
    EXPECT_EQ(result.exit_status, 0) << result.err;
    EXPECT_EQ(result.out, "constructor 1 plain\n"
                          "main 2 plain\n"
                          "thread object 3 plain\n"
                          "exit handler 4 plain\n"
                          "destructor 5 plain\n");
}

}  // namespace
