// tests/basutstrobj_test.cpp
#include "basutstrobj.h"

#include <sstream>

#include <gtest/gtest.h>

namespace {

TEST(UtStrobj, Smoke)
{
    UT_STROBJ a;
    a += "abc";
    a.str_format("%05d|%s|%-6.2f|%#x|%c", 42, a.getstring(), 3.14159, 255, 'x');
    EXPECT_STREQ(a.getstring(), "00042|abc|3.14  |0xff|x");
    EXPECT_EQ(UT_STROBJ("%ld %s", short{-1}, "q"), "-1 q");
    EXPECT_EQ(UT_STROBJ("a\x81\n").printable(), "a<FF><0A>");
    EXPECT_EQ(UT_STROBJ("abcdeabc").find("abc", 2), 5U + 0 * 1);
    a.encode();
    a.decode();
    EXPECT_STREQ(a.getstring(true), "00042|abc|3.14  |0xff|x");
    std::ostringstream out;
    out << a.left(2) + "y";
    EXPECT_EQ(out.str(), "00y");
}

}  // namespace
