// tests/basutstrmatch_test.cpp
#include "basutstr.h"

#include <string>

#include <gtest/gtest.h>

namespace {

TEST(UtStrMatch, WithoutAWildcardItIsEquality)
{
    EXPECT_TRUE(ut_strmatch("ab", "ab"));
    EXPECT_FALSE(ut_strmatch("ab", "abc"));
    EXPECT_FALSE(ut_strmatch("a.c", "abc"));
    EXPECT_TRUE(ut_strmatch("(", "("));
    EXPECT_TRUE(ut_strmatch("", ""));
}

TEST(UtStrMatch, TheWildcardMayStandInEitherText)
{
    EXPECT_TRUE(ut_strmatch("a*c", "abc"));
    EXPECT_TRUE(ut_strmatch("abc", "a*c"));
    EXPECT_TRUE(ut_strmatch("a*c", "ac"));
    EXPECT_FALSE(ut_strmatch("a*c", "abd"));
    EXPECT_FALSE(ut_strmatch("a*c", "xabc"));
    EXPECT_FALSE(ut_strmatch("a*c", "abcd"));
    EXPECT_TRUE(ut_strmatch("a*", "abcd"));
    EXPECT_TRUE(ut_strmatch("*d", "abcd"));
    EXPECT_TRUE(ut_strmatch("*", ""));
    EXPECT_TRUE(ut_strmatch("a**b", "axxb"));
    EXPECT_FALSE(ut_strmatch("a*c", "ABC"));
}

TEST(UtStrMatch, TwoWildcardTextsNeverMatch)
{
    EXPECT_FALSE(ut_strmatch("a*", "a*"));
    EXPECT_FALSE(ut_strmatch("*", "*"));
}

TEST(UtStrMatch, TheRestOfTheSyntaxStaysAlive)
{
    EXPECT_TRUE(ut_strmatch("a.c*", "abcd"));
    EXPECT_TRUE(ut_strmatch("[ab]*", "bx"));
    EXPECT_TRUE(ut_strmatch("a|b*", "xxb"));  // each anchor binds to one alternative
    EXPECT_TRUE(ut_strmatch("x*|y", "zzy"));
    EXPECT_TRUE(ut_strmatch("\\*", "anything"));  // any number of dots
    EXPECT_TRUE(ut_strmatch("\\*x", "..x"));
    EXPECT_FALSE(ut_strmatch("\\*x", "abx"));
    EXPECT_TRUE(ut_strmatch("a*\\", "ab$"));  // takes the added `$` for a dollar
    EXPECT_TRUE(ut_strmatch("[*]", "."));
    EXPECT_FALSE(ut_strmatch("[*]", "*"));  // both have a wildcard
    EXPECT_TRUE(ut_strmatch("?*", "zz"));
}

TEST(UtStrMatch, APatternThatDoesNotCompileMatchesEverything)
{
    for (const char* pattern : {"*?", "[*", "(*", "+*", "*+", "*)"}) {
        EXPECT_TRUE(ut_strmatch(pattern, "zz")) << pattern;
        EXPECT_TRUE(ut_strmatch("", pattern)) << pattern;
    }
}

TEST(UtStrMatch, ThePatternMayBeOfAnyLength)
{
    const std::string part(5'000, 'x');
    EXPECT_TRUE(ut_strmatch((part + "*" + part).c_str(), (part + "abc" + part).c_str()));
    EXPECT_FALSE(ut_strmatch((part + "*" + part).c_str(), (part + "abc" + part + "y").c_str()));
}

TEST(UtStrMatch, APatternTooLargeToCompileMatchesEverything)
{
    EXPECT_TRUE(ut_strmatch((std::string(70'000, 'x') + "*").c_str(), "y"));
}

TEST(UtStrMatch, ANullArgumentMatchesNothing)
{
    EXPECT_FALSE(ut_strmatch(nullptr, "*"));
    EXPECT_FALSE(ut_strmatch("*", nullptr));
    EXPECT_FALSE(ut_strmatch(nullptr, nullptr));
}

TEST(UtStrMatchParentheses, TakesAllBracketsForOneKind)
{
    EXPECT_TRUE(ut_strmatch_parentheses("d(3)", "d[3]"));
    EXPECT_TRUE(ut_strmatch_parentheses("d{3}", "d[3]"));
    EXPECT_FALSE(ut_strmatch_parentheses("d(3)", "d)3("));
    EXPECT_FALSE(ut_strmatch_parentheses("d(3)", "d[4]"));
}

TEST(UtStrMatchParentheses, BracketsAreNoSyntax)
{
    EXPECT_TRUE(ut_strmatch_parentheses("d(*)", "d[31]"));
    EXPECT_TRUE(ut_strmatch_parentheses("d[12]", "d(*)"));
    EXPECT_FALSE(ut_strmatch_parentheses("[ab]*", "ax"));
    EXPECT_FALSE(ut_strmatch_parentheses("(*", "x"));
    EXPECT_TRUE(ut_strmatch_parentheses("*?", "zz"));  // other syntax is alive
}

TEST(UtStrMatchParentheses, LeavesItsArgumentsAsTheyAre)
{
    const std::string a = "d(3)";
    const std::string b = "d[3]";
    ut_strmatch_parentheses(a.c_str(), b.c_str());
    EXPECT_EQ(a, "d(3)");
    EXPECT_EQ(b, "d[3]");
}

TEST(UtStrMatchParentheses, TextsOf10000CharactersAreTakenAsTheyAre)
{
    const std::string longest(9'997, 'x');
    EXPECT_TRUE(ut_strmatch_parentheses((longest + "()").c_str(), (longest + "[]").c_str()));
    EXPECT_FALSE(ut_strmatch_parentheses((longest + "(1)").c_str(), (longest + "[1]").c_str()));
    EXPECT_TRUE(ut_strmatch_parentheses("[x]*", (longest + "xxx").c_str()));  // a set again
    EXPECT_TRUE(ut_strmatch_parentheses((longest + "xxx").c_str(), "[x]*"));
}

TEST(UtStrMatchParentheses, ANullArgumentMatchesNothing)
{
    EXPECT_FALSE(ut_strmatch_parentheses(nullptr, "*"));
    EXPECT_FALSE(ut_strmatch_parentheses("*", nullptr));
}

}  // namespace
