// tests/basutstring_test.cpp
#include "basutstring.h"

#include <limits>
#include <new>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

TEST(UtString, StartsEmptyAndTerminated)
{
    const UT_STRING text(0);
    EXPECT_EQ(text.strlen(), 0);
    EXPECT_STREQ(text.getstr(), "");
}

TEST(UtString, AppendsTextAndCharacters)
{
    UT_STRING text(10);
    text.append("abc");
    text.append('d');
    text.append("");
    EXPECT_STREQ(text.getstr(), "abcd");
    EXPECT_EQ(text.strlen(), 4);
}

TEST(UtString, IgnoresANul)
{
    UT_STRING text(10);
    text.append('a');
    text.append('\0');
    text.append('b');
    EXPECT_STREQ(text.getstr(), "ab");
    EXPECT_EQ(text.strlen(), 2);
}

TEST(UtString, KeepsItsBlockUpToTheCapacityAndResetKeepsItToo)
{
    UT_STRING text(-5);  // becomes 10
    const char* block = text.getstr();
    text.append("0123456789");
    EXPECT_EQ(text.getstr(), block);
    text.reset();
    EXPECT_EQ(text.getstr(), block);
    EXPECT_EQ(text.strlen(), 0);
    EXPECT_STREQ(text.getstr(), "");
}

TEST(UtString, OneLongAppendDoublesSeveralTimes)
{
    const std::string long_text(1'000, 'x');
    UT_STRING text(10);
    text.append(long_text.c_str());
    text.append('y');
    EXPECT_EQ(text.getstr(), long_text + "y");
}

TEST(UtString, IsNotCopied)
{
    EXPECT_FALSE(std::is_copy_constructible_v<UT_STRING>);
    EXPECT_FALSE(std::is_copy_assignable_v<UT_STRING>);
}

}  // namespace
