// tests/basutregexp_test.cpp
#include "basutregexp.h"

#include <initializer_list>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "message_capture.h"
#include "regexp_model.h"

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using testing::ElementsAre;

/// A string of the library with every byte of `text`, NULs as well.
UT_STROBJ bytes(std::string_view text)
{
    UT_STROBJ result(text.size(), '\0', 1);
    for (std::size_t i = 0; i < text.size(); ++i) result[i] = text[i];
    return result;
}

std::string text_of(const UT_STROBJ& string)
{
    return {string.getstring(), string.length()};
}

/// An expression whose fields and parts a test may reach, as a class of a tool derived from it may.
class open_regexp : public UT_REGEXP {
public:
    using UT_REGEXP::error_;
    using UT_REGEXP::match;
    using UT_REGEXP::ok_;
    using UT_REGEXP::program_;
    using UT_REGEXP::reganch_;
    using UT_REGEXP::regmust_;
    using UT_REGEXP::regnpar_;
    using UT_REGEXP::regstart_;
    open_regexp() = default;

    explicit open_regexp(std::string_view pattern) : UT_REGEXP(bytes(pattern)) {}

    std::string program() const { return text_of(program_); }
    void set_byte(std::size_t at, int value) { program_[at] = static_cast<char>(value); }
};

/// The keys as "1..2 -": each as start and end, an unset one as a dash; "" for no match.
std::string shown(const UT_STRKEYS& keys)
{
    std::string result;
    for (int k = 0; k < keys.num_keys(); ++k) {
        const bool unset = keys.key_start(k) == 0xFFFFFFFF && keys.key_end(k) == 0xFFFFFFFF;
        result += k == 0 ? "" : " ";
        result += unset ? "-" : std::to_string(keys.key_start(k)) + ".." + std::to_string(keys.key_end(k));
    }
    return result;
}

std::string keys(std::string_view pattern, std::string_view text, ut_uint64 start = 0)
{
    const open_regexp expression(pattern);
    EXPECT_EQ(text_of(expression.error()), "") << pattern;
    return shown(expression.match(bytes(text), start));
}

std::string error_of(std::string_view pattern)
{
    const open_regexp expression(pattern);
    EXPECT_EQ(expression.ok(), expression.error().length() == 0);
    return text_of(expression.error());
}

constexpr char k_to_many[] = "regular expression has to many ( )'s";
constexpr char k_no_close[] = "regular expression has unmatched unmatched ( )'s";
constexpr char k_no_open[] = "regular expression has unmatched ( )'s";
constexpr char k_too_big[] = "regular expression is too big to be compiled";
constexpr char k_follows_nothing[] = "regular expression has ?+* that follows nothing";
constexpr char k_bad_range[] = "regular expression has invalid [] range";
constexpr char k_trailing[] = "regular expression has trailing \\";
constexpr char k_no_bracket[] = "regular expression has unmatched []'s";
constexpr char k_empty_operand[] = "regular expression *+ operand could be empty";
constexpr char k_nested[] = "regular expression has nested *?+";

std::string groups(int count)
{
    std::string pattern;
    for (int i = 0; i < count; ++i) pattern += "(a)";
    return pattern;
}

// ---- keys

TEST(UtStrkeys, StartWithNone)
{
    const UT_STRKEYS none;
    EXPECT_EQ(none.num_keys(), 0);
    for (int k : {-1, 0, 1, 19, 20}) {
        EXPECT_EQ(none.key_start(k), 0U);
        EXPECT_EQ(none.key_end(k), 0U);
        EXPECT_EQ(none.key_length(k), 0U);
    }
}

TEST(UtStrkeys, ReadZeroOutsideTheCount)
{
    const UT_STRKEYS two = open_regexp("(b)").match("abc", 0);
    EXPECT_EQ(two.num_keys(), 2);
    for (int k : {-2147483647 - 1, -1, 2, 19, 20, 2147483647}) {
        EXPECT_EQ(two.key_start(k), 0U);
        EXPECT_EQ(two.key_end(k), 0U);
        EXPECT_EQ(two.key_length(k), 0U);
    }
}

TEST(UtStrkeys, AnUnsetKeyInsideTheCountHoldsThirtyTwoOnes)
{
    const UT_STRKEYS found = open_regexp("(a)|(b)").match("b", 0);
    EXPECT_EQ(found.num_keys(), 3);
    EXPECT_EQ(found.key_start(1), 4294967295U);
    EXPECT_EQ(found.key_end(1), 4294967295U);
    EXPECT_EQ(found.key_length(1), 0U);
    EXPECT_EQ(found.key_start(2), 0U);
    EXPECT_EQ(found.key_end(2), 1U);
    EXPECT_EQ(found.key_length(2), 1U);
}

TEST(UtStrkeys, AreValues)
{
    const UT_STRKEYS source = open_regexp("(b)").match("abc", 0);
    const UT_STRKEYS copy(source);
    UT_STRKEYS assigned;
    assigned = copy;
    EXPECT_EQ(shown(copy), "1..2 1..2");
    EXPECT_EQ(shown(assigned), "1..2 1..2");
    EXPECT_EQ(sizeof(UT_STRKEYS), 8U + 20 * 8 + 20 * 8);
}

TEST(UtStrkeys, OffsetsHaveSixtyFourBitsAndTheCountThirtyTwo)
{
    EXPECT_TRUE((std::is_same_v<decltype(UT_STRKEYS().key_start(0)), ut_uint64>));
    EXPECT_TRUE((std::is_same_v<decltype(UT_STRKEYS().key_end(0)), ut_uint64>));
    EXPECT_TRUE((std::is_same_v<decltype(UT_STRKEYS().key_length(0)), ut_uint64>));
    EXPECT_EQ(sizeof(UT_STRKEYS().num_keys()), 4U);
}

// ---- the object

TEST(UtRegexp, OneThatWasNeverCompiledMatchesNothingAndMayBeCopied)
{
    const open_regexp fresh;
    EXPECT_FALSE(fresh.ok());
    EXPECT_EQ(fresh.error().length(), 0U);
    EXPECT_EQ(fresh.regstart_, 0);
    EXPECT_EQ(fresh.reganch_, 0);
    EXPECT_EQ(fresh.regnpar_, 0);
    open_regexp copy(fresh);
    copy = fresh;
    EXPECT_EQ(shown(copy.match("", 0)), "");
}

TEST(UtRegexp, CopiesMatchOnWhenTheirSourceIsGone)
{
    open_regexp copy;
    {
        const open_regexp source("x*(b+)c");
        copy = source;
    }
    EXPECT_TRUE(copy.ok());
    EXPECT_EQ(shown(copy.match("abbc", 0)), "1..4 1..3");
    open_regexp other(copy);
    EXPECT_TRUE(other.compile("z"));
    EXPECT_EQ(shown(copy.match("abbc", 0)), "1..4 1..3");
}

TEST(UtRegexp, CompilesInItsConstructorOrLater)
{
    const UT_REGEXP good(UT_STROBJ("a+"));
    EXPECT_TRUE(good.ok());
    UT_REGEXP later;
    EXPECT_TRUE(later.compile("a+"));
    EXPECT_TRUE(later.ok());
    EXPECT_FALSE(later.compile("("));
    EXPECT_FALSE(later.ok());
    EXPECT_EQ(text_of(later.error()), k_no_close);
}

TEST(UtRegexp, NothingIsLeftOfAnEarlierCompilation)
{
    open_regexp expression("^a*bc");
    EXPECT_TRUE(expression.compile("x*must"));
    EXPECT_EQ(expression.reganch_, 0);
    EXPECT_EQ(text_of(expression.regmust_), "must");
    EXPECT_TRUE(expression.compile("(b)"));
    EXPECT_EQ(text_of(expression.regmust_), "");
    EXPECT_EQ(expression.regnpar_, 2);
    EXPECT_EQ(shown(expression.match("ab", 0)), "1..2 1..2");
    EXPECT_TRUE(expression.compile("lit"));
    EXPECT_EQ(expression.regstart_, 'l');
    EXPECT_TRUE(expression.compile("[ab]"));
    EXPECT_EQ(expression.regstart_, 0);
    EXPECT_FALSE(expression.compile("lit("));
    EXPECT_EQ(expression.regstart_, 0);
    EXPECT_EQ(expression.program_.length(), 0U);
    EXPECT_EQ(shown(expression.match("lit", 0)), "");
    EXPECT_TRUE(expression.compile("a"));
    EXPECT_EQ(expression.error().length(), 0U);
}

TEST(UtRegexp, MayCompileItsOwnMessage)
{
    open_regexp expression("*");
    EXPECT_EQ(text_of(expression.error_), k_follows_nothing);
    EXPECT_FALSE(expression.compile(expression.error_));
    EXPECT_EQ(text_of(expression.error_), k_nested);  // of "?+*"
}

TEST(UtRegexp, AStringDoesNotBecomeAnExpressionByItself)
{
    EXPECT_FALSE((std::is_convertible_v<UT_STROBJ, UT_REGEXP>));
    EXPECT_FALSE((std::is_polymorphic_v<UT_REGEXP>));
}

TEST(UtRegexp, AFailedCompilationPostsNothing)
{
    message_capture capture;
    EXPECT_EQ(error_of("(a"), k_no_close);
    EXPECT_TRUE(capture.posts().empty());
    capture.use_legacy_flow();
    EXPECT_EQ(stderr_of([] { error_of("(a"); }) + stdout_of([] { error_of("(a"); }), "");
}

// ---- what does not compile

struct refusal {
    std::string_view pattern;
    const char* message;
};

class Refused : public testing::TestWithParam<refusal> {};

TEST_P(Refused, WithTheFirstFaultFromTheLeft)
{
    EXPECT_EQ(error_of(GetParam().pattern), GetParam().message) << GetParam().pattern;
    EXPECT_EQ(regexp_model::syntax(GetParam().pattern).error(), GetParam().message);  // the model agrees
}

INSTANTIATE_TEST_SUITE_P(Groups, Refused,
                         testing::Values(refusal{"(a", k_no_close}, refusal{"(", k_no_close},
                                         refusal{"(a|", k_no_close}, refusal{"([)]", k_no_close},
                                         refusal{"((a)", k_no_close}, refusal{"(a\0)"sv, k_no_close},
                                         refusal{"a)", k_no_open}, refusal{")", k_no_open},
                                         refusal{"(a))", k_no_open}, refusal{"a|b)", k_no_open}));
INSTANTIATE_TEST_SUITE_P(Repeats, Refused,
                         testing::Values(refusal{"*", k_follows_nothing}, refusal{"+a", k_follows_nothing},
                                         refusal{"?", k_follows_nothing}, refusal{"a|*", k_follows_nothing},
                                         refusal{"(*)", k_follows_nothing}, refusal{"(*", k_follows_nothing},
                                         refusal{"a**", k_nested}, refusal{"a*?", k_nested},
                                         refusal{"a??", k_nested}, refusal{"a+*", k_nested},
                                         refusal{"(a)?+", k_nested}, refusal{"^?*", k_nested}));
INSTANTIATE_TEST_SUITE_P(EmptyOperands, Refused,
                         testing::Values(refusal{"(a*)*", k_empty_operand}, refusal{"(a?)+", k_empty_operand},
                                         refusal{"()*", k_empty_operand}, refusal{"(a|)*", k_empty_operand},
                                         refusal{"(a|b*)*", k_empty_operand},
                                         refusal{"(a*b*)*", k_empty_operand}, refusal{"^*", k_empty_operand},
                                         refusal{"$+", k_empty_operand}, refusal{"((a*))*", k_empty_operand},
                                         refusal{"(^)+", k_empty_operand}, refusal{"^**", k_empty_operand},
                                         refusal{"()**", k_empty_operand}));
INSTANTIATE_TEST_SUITE_P(Sets, Refused,
                         testing::Values(refusal{"[z-a]", k_bad_range}, refusal{"[z-a", k_bad_range},
                                         refusal{"[\xe9-a]", k_bad_range}, refusal{"[a-c-b]", k_bad_range},
                                         refusal{"[", k_no_bracket}, refusal{"[^", k_no_bracket},
                                         refusal{"[]", k_no_bracket}, refusal{"[^]", k_no_bracket},
                                         refusal{"[a", k_no_bracket}, refusal{"[a-", k_no_bracket},
                                         refusal{"[-", k_no_bracket}, refusal{"[a\0]"sv, k_no_bracket},
                                         refusal{"([)", k_no_bracket}));
INSTANTIATE_TEST_SUITE_P(Escapes, Refused,
                         testing::Values(refusal{"\\", k_trailing}, refusal{"(\\", k_trailing},
                                         refusal{"a\\", k_trailing}, refusal{"a\\\0b"sv, k_trailing}));

TEST(UtRegexp, NineteenGroupsCompileAndTwentyDoNot)
{
    const open_regexp most(groups(19));
    EXPECT_TRUE(most.ok());
    EXPECT_EQ(most.regnpar_, 20);
    const UT_STRKEYS found = most.match(bytes(std::string(19, 'a')), 0);
    EXPECT_EQ(found.num_keys(), 20);
    EXPECT_EQ(found.key_start(19), 18U);
    EXPECT_EQ(found.key_end(19), 19U);
    EXPECT_EQ(error_of(groups(20)), k_to_many);
    EXPECT_EQ(error_of(groups(19) + "("), k_to_many);  // before it lacks its end
    EXPECT_EQ(keys(std::string(19, '(') + "a" + std::string(19, ')'), "a").substr(0, 9), "0..1 0..1");
    EXPECT_EQ(error_of(std::string(20, '(')), k_to_many);
}

TEST(UtRegexp, AProgramStaysBelowSixtyFourKibibytesLessOne)
{
    const open_regexp longest(std::string(65523, 'a'));
    EXPECT_TRUE(longest.ok());
    EXPECT_EQ(longest.program_.length(), 65534U);
    EXPECT_EQ(shown(longest.match(bytes(std::string(65524, 'a')), 0)), "0..65523");
    EXPECT_EQ(error_of(std::string(65524, 'a')), k_too_big);
    EXPECT_EQ(error_of(std::string(65524, 'a') + "("), k_no_close);  // a fault of syntax is told first
}

TEST(UtRegexp, ThousandsOfAlternativesCompile)
{
    std::string pattern = "0";
    for (int i = 1; i < 8000; ++i) pattern += "|b";
    const open_regexp expression(pattern + "|(z)");
    ASSERT_TRUE(expression.ok());
    EXPECT_EQ(shown(expression.match("yz", 0)), "1..2 1..2");
}

// ---- the program

std::string assembled(std::initializer_list<int> bytes_of_program)
{
    std::string result;
    for (int byte : bytes_of_program) result += static_cast<char>(byte);
    return result;
}

constexpr int k_end = 0, k_bol = 1, k_eol = 2, k_any = 3, k_anyof = 4, k_anybut = 5, k_branch = 6, k_back = 7,
              k_exactly = 8, k_nothing = 9, k_star = 10, k_plus = 11, k_open = 20, k_close = 40;

TEST(UtRegexpProgram, BeginsWithItsMagicByteAndLinksNodesByDistance)
{
    EXPECT_EQ(open_regexp("abc").program(),
              assembled({156, k_branch, 0, 10, k_exactly, 0, 7, 'a', 'b', 'c', 0,  //
                         k_end, 0, 0}));
    EXPECT_EQ(open_regexp("").program(), assembled({156, k_branch, 0, 6, k_nothing, 0, 3, k_end, 0, 0}));
    EXPECT_EQ(open_regexp("^.$").program(),
              assembled({156, k_branch, 0, 12, k_bol, 0, 3, k_any, 0, 3, k_eol, 0, 3, k_end, 0, 0}));
}

TEST(UtRegexpProgram, ARunGivesItsLastCharacterToARepeatAndAnEscapeStandsAlone)
{
    EXPECT_EQ(open_regexp("abc+").program(),
              assembled({156,    k_branch, 0, 17,        k_exactly, 0, 6,   'a', 'b',   0,  //
                         k_plus, 0,        8, k_exactly, 0,         0, 'c', 0,   k_end, 0, 0}));
    EXPECT_EQ(
        open_regexp("a\\.b").program(),
        assembled({156,       k_branch, 0, 18,  k_exactly, 0,     5, 'a', 0, k_exactly, 0, 5, '.', 0,  //
                   k_exactly, 0,        5, 'b', 0,         k_end, 0, 0}));
}

TEST(UtRegexpProgram, AlternativesLeadToEachOtherAndTheLastOneToTheEnd)
{
    EXPECT_EQ(open_regexp("a|").program(), assembled({156, k_branch, 0, 8, k_exactly, 0, 11, 'a', 0,  //
                                                      k_branch, 0, 6, k_nothing, 0, 3, k_end, 0, 0}));
    EXPECT_EQ(open_regexp("(a|b)").program(),
              assembled({156,         k_branch, 0, 25,        k_open + 1, 0,  3,       //
                         k_branch,    0,        8, k_exactly, 0,          13, 'a', 0,  //
                         k_branch,    0,        8, k_exactly, 0,          5,  'b', 0,  //
                         k_close + 1, 0,        3, k_end,     0,          0}));
}

TEST(UtRegexpProgram, SetsAreWrittenOut)
{
    EXPECT_EQ(open_regexp("[a-c]*[^x]").program(),
              assembled({156,      k_branch, 0, 18,  k_star, 0,     10, k_anyof, 0, 0, 'a', 'b', 'c', 0,  //
                         k_anybut, 0,        5, 'x', 0,      k_end, 0,  0}));
}

TEST(UtRegexpProgram, RepeatsOfGroupsAreLoops)
{
    EXPECT_EQ(open_regexp("(a)*").program(),
              assembled({156,         k_branch, 0,  29,                                         //
                         k_branch,    0,        20,                                             //
                         k_open + 1,  0,        3,  k_branch,  0, 8,  k_exactly, 0, 5, 'a', 0,  //
                         k_close + 1, 0,        3,  k_back,    0, 17,                           //
                         k_branch,    0,        3,  k_nothing, 0, 3,  k_end,     0, 0}));
    EXPECT_EQ(open_regexp("(a)+").program(),
              assembled({156,         k_branch, 0, 29,                                         //
                         k_open + 1,  0,        3, k_branch,  0, 8, k_exactly, 0, 5,  'a', 0,  //
                         k_close + 1, 0,        3, k_branch,  0, 6, k_back,    0, 17,          //
                         k_branch,    0,        3, k_nothing, 0, 3, k_end,     0, 0}));
    EXPECT_EQ(open_regexp("a?").program(), assembled({156,      k_branch, 0, 17,                         //
                                                      k_branch, 0,        8, k_exactly, 0, 8, 'a',   0,  //
                                                      k_branch, 0,        3, k_nothing, 0, 3, k_end, 0, 0}));
}

struct hints {
    std::string_view pattern;
    char start;
    bool anchored;
    const char* must;
};

class Hints : public testing::TestWithParam<hints> {};

TEST_P(Hints, AreThoseOfTheFirstPieces)
{
    const open_regexp expression(GetParam().pattern);
    ASSERT_TRUE(expression.ok()) << GetParam().pattern;
    EXPECT_EQ(expression.regstart_, GetParam().start) << GetParam().pattern;
    EXPECT_EQ(expression.reganch_ != 0, GetParam().anchored) << GetParam().pattern;
    EXPECT_EQ(text_of(expression.regmust_), GetParam().must) << GetParam().pattern;
}

INSTANTIATE_TEST_SUITE_P(All, Hints,
                         testing::Values(hints{"abc", 'a', false, ""}, hints{"\\*x", '*', false, ""},
                                         hints{"ab|ac", 0, false, ""}, hints{"(abc)", 0, false, ""},
                                         hints{"\xe9z", '\xe9', false, ""}, hints{"^a", 0, true, ""},
                                         hints{"^a|b", 0, false, ""}, hints{"(^a)", 0, false, ""},
                                         hints{"^a*bc", 0, true, ""}, hints{"a*bc", 0, false, "bc"},
                                         hints{"a?bc", 0, false, "bc"}, hints{"a+bc", 0, false, ""},
                                         hints{"(a*)bc", 0, false, "bc"}, hints{"(a)*bc", 0, false, "bc"},
                                         hints{"(a)?bc", 0, false, "bc"}, hints{"(a)+bc", 0, false, ""},
                                         hints{"((a|b*c)d)bc", 0, false, "bc"},
                                         hints{"a*b|c*d", 0, false, ""}, hints{"a*ab.cd", 0, false, "cd"},
                                         hints{"a*abc.cd", 0, false, "abc"}, hints{"a*b+cd*", 0, false, "c"},
                                         hints{"a*(bcd)", 0, false, ""}, hints{"a*(bc)+d", 0, false, "d"},
                                         hints{"[x]a*bc", 0, false, ""}, hints{"", 0, false, ""}));

// ---- where a match may start

TEST(UtRegexp, TheLeftmostStartWinsAndThenTheOrderOfTheAlternatives)
{
    EXPECT_EQ(keys("a|b", "xb"), "1..2");
    EXPECT_EQ(keys("a|ab", "ab"), "0..1");
    EXPECT_EQ(keys("b|a", "ab"), "0..1");
    EXPECT_EQ(keys("|a", "a"), "0..0");
    EXPECT_EQ(keys("a||b", "b"), "0..0");
    EXPECT_EQ(keys("(a|ab)(c|bcd)(d*)", "abcd"), "0..4 0..1 1..4 4..4");
}

TEST(UtRegexp, TriesNoStartBehindTheLastCharacterUnlessItBeginsThere)
{
    EXPECT_EQ(keys("$", "abc"), "");
    EXPECT_EQ(keys("x*$", "abc"), "");
    EXPECT_EQ(keys("x|$", "abc"), "");
    EXPECT_EQ(keys("x*", "abc"), "0..0");
    EXPECT_EQ(keys("c$", "abc"), "2..3");
    EXPECT_EQ(keys("a*", "abc", 3), "3..3");
    EXPECT_EQ(keys("$", "abc", 3), "3..3");
    EXPECT_EQ(keys("", "abc", 3), "3..3");
    EXPECT_EQ(keys("a", "abc", 3), "");
    EXPECT_EQ(keys("[a]", "abc", 3), "");
}

TEST(UtRegexp, AnEmptyTextGetsOneTry)
{
    for (const char* pattern : {"", "$", "^", "^$", "x*", "(x)?", "|a", "()"})
        EXPECT_EQ(keys(pattern, "").substr(0, 4), "0..0") << pattern;
    for (const char* pattern : {"a", ".", "[a]", "[^a]", "a+"}) EXPECT_EQ(keys(pattern, ""), "") << pattern;
}

TEST(UtRegexp, AStartBehindTheTextFindsNothing)
{
    EXPECT_EQ(keys("", "abc", 4), "");
    EXPECT_EQ(keys("x*b", "abc", 4), "");
    EXPECT_EQ(keys("a", "abc", ~ut_uint64{0}), "");
    EXPECT_EQ(keys("^", "", 1), "");
}

TEST(UtRegexp, OffsetsCountFromTheTextsStart)
{
    EXPECT_EQ(keys("a", "abca", 1), "3..4");
    EXPECT_EQ(keys("x*ca", "abca", 1), "2..4");
    EXPECT_EQ(keys("(.)(.)", "abca", 2), "2..4 2..3 3..4");
}

TEST(UtRegexp, TheTextMayBeASuffixOfALongerOne)
{
    const UT_STROBJ whole("aaab");
    EXPECT_EQ(shown(open_regexp("^a*b").match(whole.right_from(2), 0)), "0..2");
}

TEST(UtRegexp, AnAnchorMeansTheStartOfTheTextAndNotOfTheSearch)
{
    EXPECT_EQ(keys("^a", "aa"), "0..1");
    EXPECT_EQ(keys("^a", "aa", 1), "");
    EXPECT_EQ(keys("^", "abc", 3), "");
    EXPECT_EQ(keys("^b", "ab"), "");
    EXPECT_EQ(keys("(^a)", "aa", 1), "");
    EXPECT_EQ(keys("^a|b", "xb"), "1..2");
    EXPECT_EQ(keys("x|^", "ax", 1), "1..2");
    EXPECT_EQ(keys("^|x", "ax", 1), "1..2");
    EXPECT_EQ(keys("a^b", "ab"), "");
    EXPECT_EQ(keys("a*^b", "ab"), "");
    EXPECT_EQ(keys("a*^b", "b"), "0..1");
}

TEST(UtRegexp, LineFeedsMeanNothing)
{
    EXPECT_EQ(keys("^b", "a\nb"), "");
    EXPECT_EQ(keys("a$", "a\n"), "");
    EXPECT_EQ(keys("a.b", "a\nb"), "0..3");
    EXPECT_EQ(keys("a$b", "a$b"), "");
    EXPECT_EQ(keys("a\\$b", "a$b"), "0..3");
}

TEST(UtRegexp, WhatEveryMatchContainsIsLookedForFromTheStart)
{
    EXPECT_EQ(keys("a*bc", "bcaa", 1), "");
    EXPECT_EQ(keys("a*bc", "bcaabc", 1), "2..6");
    EXPECT_EQ(keys("a*bc", "aab"), "");
    EXPECT_EQ(keys("a*bc", "aab\0bc"sv), "4..6");
    EXPECT_EQ(keys("(x+x+)*y", std::string(60, 'x')), "");  // which would not come to an end without it
}

// ---- atoms

TEST(UtRegexp, LiteralsAreThemselves)
{
    EXPECT_EQ(keys("abc", "xabcx"), "1..4");
    EXPECT_EQ(keys("abc", "ababc"), "2..5");
    EXPECT_EQ(keys("abc", "ab"), "");
    EXPECT_EQ(keys("]{2}-,", "a]{2}-,"), "1..7");
    EXPECT_EQ(keys("\t\n\x01", "a\t\n\x01"), "1..4");
}

TEST(UtRegexp, AnEscapeMeansJustItsCharacter)
{
    EXPECT_EQ(keys("\\n", "a\nn"), "2..3");
    EXPECT_EQ(keys("\\d+", "12dd"), "2..4");
    EXPECT_EQ(keys("\\(\\)\\[\\*\\\\\\.", "()[*\\."), "0..6");
    EXPECT_EQ(keys("a\\**", "ba***"), "1..5");
    EXPECT_EQ(keys("\\\\", "a\\"), "1..2");
}

TEST(UtRegexp, ADotIsAnyCharacter)
{
    EXPECT_EQ(keys(".", "\xff"), "0..1");
    EXPECT_EQ(keys("a.c", "abc"), "0..3");
    EXPECT_EQ(keys("...", "ab"), "");
}

std::string members(std::string_view set)
{
    const open_regexp expression(set);
    EXPECT_TRUE(expression.ok()) << set;
    std::string result;
    for (int c = 1; c < 256; ++c) {
        const std::string one(1, static_cast<char>(c));
        if (expression.match(bytes(one), 0).num_keys() == 1) result += one;
    }
    return result;
}

std::string all_but(std::string_view set)
{
    std::string result;
    for (int c = 1; c < 256; ++c)
        if (set.find(static_cast<char>(c)) == std::string_view::npos) result += static_cast<char>(c);
    return result;
}

TEST(UtRegexp, SetsHoldTheirCharactersAndRanges)
{
    EXPECT_EQ(members("[abc]"), "abc");
    EXPECT_EQ(members("[a-c]"), "abc");
    EXPECT_EQ(members("[^a-c]"), all_but("abc"));
    EXPECT_EQ(members("[a-cx]"), "abcx");
    EXPECT_EQ(members("[b-ba]"), "ab");
    EXPECT_EQ(members("[a-\xff]"), all_but(members("[\x01-`]")));
    EXPECT_EQ(members("[\x01-\xff]"), all_but(""));
    EXPECT_EQ(members("[^\x01-\xff]"), "");
    EXPECT_EQ(members("[a-\xe9]").size(), 0xe9U - 'a' + 1);
    EXPECT_EQ(members("[\x80-\x82]"), "\x80\x81\x82");
}

TEST(UtRegexp, OddBracketsAndDashesOfSets)
{
    EXPECT_EQ(members("[]a]"), "]a");
    EXPECT_EQ(members("[^]a]"), all_but("]a"));
    EXPECT_EQ(members("[-a]"), "-a");
    EXPECT_EQ(members("[^-a]"), all_but("-a"));
    EXPECT_EQ(members("[a-]"), "-a");
    EXPECT_EQ(members("[a-c-e]"), "abcde");
    EXPECT_EQ(members("[--/]"), "-./");
    EXPECT_EQ(members("[---]"), "-");
    EXPECT_EQ(members("[]-a]"), "]^_`a");
    EXPECT_EQ(members("[\\]"), "\\");
    EXPECT_EQ(members("[a^]"), "^a");
    EXPECT_EQ(members("[[:d]"), ":[d");
    EXPECT_EQ(members("[.*$(|]"), "$(*.|");
    EXPECT_EQ(keys("[\\]]", "a\\]"), "1..3");
    EXPECT_EQ(keys("[]]", "a]"), "1..2");
}

TEST(UtRegexp, SetsAreBigEnoughForAllSlotsOfTheMatcher)
{
    std::string pattern;
    std::string text;
    for (char c = 'a'; c <= 'z'; ++c) {  // more sets than are kept at a time, each met again and again
        pattern += "["s + c + "]";
        text += c;
    }
    EXPECT_EQ(keys("(" + pattern + ")+", text + text + text), "0..78 52..78");
}

// ---- repeats

TEST(UtRegexp, RepeatsTakeAsMuchAsTheyCan)
{
    EXPECT_EQ(keys("a*", "aaab"), "0..3");
    EXPECT_EQ(keys("a+", "baab"), "1..3");
    EXPECT_EQ(keys("a?", "aa"), "0..1");
    EXPECT_EQ(keys("ba*a", "baaa"), "0..4");
    EXPECT_EQ(keys("ba*aa", "baaa"), "0..4");
    EXPECT_EQ(keys("a+ab", "ab"), "");
    EXPECT_EQ(keys("a+ab", "aab"), "0..3");
    EXPECT_EQ(keys(".*b", "abab"), "0..4");
    EXPECT_EQ(keys(".*[a]", "abab"), "0..3");
    EXPECT_EQ(keys("[ab]*b", "ababa"), "0..4");
    EXPECT_EQ(keys("[^b]+b", "ccbb"), "0..3");
    EXPECT_EQ(keys("(a*)b", "aab"), "0..3 0..2");
    EXPECT_EQ(keys("(a+)(a)", "aaa"), "0..3 0..2 2..3");
}

TEST(UtRegexp, ARepeatBindsToOneCharacter)
{
    EXPECT_EQ(keys("abc+", "abccabc"), "0..4");
    EXPECT_EQ(keys("abc*", "abab"), "0..2");
    EXPECT_EQ(keys("(abc)+", "abcabcc"), "0..6 3..6");
}

TEST(UtRegexp, WhatMayNotBeEmptyMayBeRepeated)
{
    EXPECT_EQ(keys("(a+)*", "aa"), "0..2 0..2");
    EXPECT_EQ(keys("(a*b)*", "aabb"), "0..4 3..4");
    EXPECT_EQ(keys("(a*)?", "aa"), "0..2 0..2");
    EXPECT_EQ(keys("^?a", "a"), "0..1");
    EXPECT_EQ(keys("a$?", "a"), "0..1");
    EXPECT_EQ(keys("(a|bc)+", "abca"), "0..4 3..4");
}

TEST(UtRegexp, LoopsMayEndTogetherAtEveryDepth)
{
    std::string pattern;
    for (int i = 0; i < 19; ++i) pattern += "(.";
    for (int i = 0; i < 19; ++i) pattern += ")*";
    EXPECT_EQ(keys(pattern, std::string(40, 'a')).substr(0, 5), "0..40");
    EXPECT_EQ(keys("b" + pattern + "c", "ab" + std::string(19, 'a') + "c").substr(0, 5), "1..22");
}

TEST(UtRegexp, KeysAreThoseOfTheLastRun)
{
    EXPECT_EQ(keys("(a)(b)?", "a"), "0..1 0..1");
    EXPECT_EQ(keys("(a|b)*", "ab"), "0..2 1..2");
    EXPECT_EQ(keys("((a)|b)*", "ab"), "0..2 1..2 0..1");
    EXPECT_EQ(keys("((a)|(b))*", "aba"), "0..3 2..3 2..3 1..2");
    EXPECT_EQ(keys("((a)?b)*", "abb"), "0..3 2..3 0..1");
    EXPECT_EQ(keys("(a)|(b)", "b"), "0..1 - 0..1");
    EXPECT_EQ(keys("(a)|b", "b"), "0..1");
    EXPECT_EQ(keys("()", "a"), "0..0 0..0");
}

TEST(UtRegexp, AFailedWayLeavesNoKeys)
{
    EXPECT_EQ(keys("(a)x|(a)b|ab", "ab"), "0..2 - 0..1");
    EXPECT_EQ(keys("((a)b)*ac", "abac"), "0..4 0..2 0..1");
    EXPECT_EQ(keys("(ab)*a(c)|.*", "abab"), "0..4");
    EXPECT_EQ(keys("((a)(b)c|ab)d", "abd"), "0..3 0..2");
}

// ---- a NUL

TEST(UtRegexp, ANulEndsThePattern)
{
    EXPECT_EQ(open_regexp("ab\0cd"sv).program(), open_regexp("ab").program());
    EXPECT_EQ(open_regexp("\0"sv).program(), open_regexp("").program());
    EXPECT_EQ(keys("\0*"sv, "abc"), "0..0");
}

TEST(UtRegexp, ANulEndsEachTryAndNotTheSearch)
{
    constexpr std::string_view text = "ab\0cd"sv;
    EXPECT_EQ(keys(".*", text), "0..2");
    EXPECT_EQ(keys("cd", text), "3..5");
    EXPECT_EQ(keys("[cd]+", text), "3..5");
    EXPECT_EQ(keys("x*cd", text), "3..5");
    EXPECT_EQ(keys(".*d", text), "3..5");
    EXPECT_EQ(keys("(.*)d", text), "3..5 3..4");
    EXPECT_EQ(keys(".+c", text), "");
    EXPECT_EQ(keys("abc", "ab\0c"sv), "");
    EXPECT_EQ(keys("b.c", "ab\0c"sv), "");
    EXPECT_EQ(keys("b[^x]c", "ab\0c"sv), "");
    EXPECT_EQ(keys("b[^x]*c", "ab\0c"sv), "");
}

TEST(UtRegexp, ANulIsAnEndButBehindItIsNoStart)
{
    EXPECT_EQ(keys("b$", "ab\0cd"sv), "1..2");
    EXPECT_EQ(keys("$", "ab\0cd"sv), "2..2");
    EXPECT_EQ(keys("^c", "ab\0cd"sv), "");
    EXPECT_EQ(keys("(^c)", "ab\0cd"sv), "");
    EXPECT_EQ(keys("x*$", "ab\0cd"sv), "2..2");
}

TEST(UtRegexp, NoSetAndNoRepeatTakesTheTerminator)
{
    for (const std::string pattern : {"[a]", "[^a]", "."}) {
        EXPECT_EQ(keys(pattern, "") + keys(pattern, "\0"sv) + keys("b" + pattern, "b"), "") << pattern;
        EXPECT_EQ(keys(pattern + "*", "") + " " + keys("b" + pattern + "*", "b"), "0..0 0..1") << pattern;
    }
}

// ---- depth and time

TEST(UtRegexp, AMillionRunsOfAGroupMatch)
{
    std::string text;
    for (int i = 0; i < 1'000'000; ++i) text += "ab";
    EXPECT_EQ(keys("(ab)*", text), "0..2000000 1999998..2000000");
    EXPECT_EQ(keys("(a|b)*c|(a)", text), "0..1 - 0..1");
    EXPECT_EQ(keys("((a)(b))+$", text), "0..2000000 1999998..2000000 1999998..1999999 1999999..2000000");
}

TEST(UtRegexp, TheWayBackFromTheDepthIsExact)
{
    std::string text;
    for (int i = 0; i < 100'000; ++i) text += "ab";
    EXPECT_EQ(keys("(ab)*abab(a*)", text), "0..200000 199994..199996 200000..200000");
    EXPECT_EQ(keys("(.)*[a]", text), "0..199999 199997..199998");
    EXPECT_EQ(keys("((.)*x)*y|.", text), "0..1");
}

TEST(UtRegexp, ALeadingRepeatIsNotTriedFromEachOfItsRuns)
{
    const std::string text(200'000, 'a');  // quadratic time otherwise
    EXPECT_EQ(keys("a+b", text), "");
    EXPECT_EQ(keys("([a-c]*)[b]", text), "");
    EXPECT_EQ(keys(".*[b]", text), "");
    EXPECT_EQ(keys("(((.+)))[b]c", text + "bd"), "");
    EXPECT_EQ(keys("a+[b]", text + "cab"), "200001..200003");
    EXPECT_EQ(keys("a*[bc]", text + "c"), "0..200001");
}

// ---- damaged programs

struct damage {
    const char* pattern;
    int at;     ///< byte of the program
    int value;  ///< put there
    const char* text;
    const char* number;  ///< of the report
};

class Damaged : public testing::TestWithParam<damage> {};

TEST_P(Damaged, PostsOnceAndDoesNotMatch)
{
    message_capture capture;
    open_regexp expression(GetParam().pattern);
    expression.set_byte(static_cast<std::size_t>(GetParam().at), GetParam().value);
    EXPECT_EQ(expression.match(GetParam().text, 0).num_keys(), 0);
    EXPECT_THAT(capture.posts(), ElementsAre(post{"framework", GetParam().number, "", ""}));
}

// The program of "a" is 156, branch 0 8, exactly 0 5 a 0, end 0 0; others have an operand more.
INSTANTIATE_TEST_SUITE_P(Pointers, Damaged,
                         testing::Values(damage{"a", 6, 0, "aaa", "1415"},       // leads nowhere
                                         damage{"a", 5, 255, "aaa", "1415"},     // leads outside
                                         damage{"a", 6, 7, "aaa", "1415"},       // into the last bytes
                                         damage{"a", 4, 12, "aaa", "1415"},      // no opcode
                                         damage{"a", 4, 20, "aaa", "1415"},      // no group
                                         damage{"a", 4, 40, "aaa", "1415"},      // no group
                                         damage{"a", 4, 60, "aaa", "1415"},      // no group
                                         damage{"a", 4, 255, "aaa", "1415"},     // no opcode
                                         damage{"a", 9, 7, "aaa", "1415"},       // no end
                                         damage{"[ab]", 4, 7, "aaa", "1415"},    // back before the start
                                         damage{"(a)+", 22, 99, "aaa", "1415"},  // back before the start
                                         damage{"(a)+", 10, 9, "aaa", "1415"},   // round without end
                                         damage{"a*", 6, 0, "b", "1415"},
                                         damage{".b|a*", 1, 77, "xx", "1415"}));
INSTANTIATE_TEST_SUITE_P(Repeats, Damaged,
                         testing::Values(damage{"ab*", 12, 6, "aaa", "1406"},
                                         damage{"ab+", 12, 9, "aaa", "1406"},
                                         damage{"[a]*", 7, 0, "aaa", "1406"},
                                         damage{".+", 7, 10, "aaa", "1406"},
                                         damage{"b.+", 12, 21, "abb", "1406"}));

TEST(UtRegexp, AProgramThatLacksItsEndIsDamaged)
{
    for (const auto& [pattern, length] :
         {std::pair{"a", 8U}, std::pair{"a", 4U}, std::pair{"a", 1U}, std::pair{"[ab]", 9U},
          std::pair{"b[ab]*", 17U}, std::pair{"ba*", 16U}, std::pair{"b.*", 12U}, std::pair{"b.*", 14U}}) {
        message_capture capture;
        open_regexp expression(std::string_view{pattern});
        expression.program_ = expression.program_.left(length);
        EXPECT_EQ(expression.match("abab", 0).num_keys(), 0) << pattern;
        EXPECT_THAT(capture.posts(), ElementsAre(post{"framework", "1415", "", ""})) << pattern << length;
    }
}

TEST(UtRegexp, DamageThatNoWalkReachesIsNotReported)
{
    message_capture capture;
    open_regexp expression("ab|c");
    expression.set_byte(13, 99);  // the literal of the second alternative
    EXPECT_EQ(shown(expression.match("ab", 0)), "0..2");
    EXPECT_TRUE(capture.posts().empty());
}

TEST(UtRegexp, OnTheLegacyRouteTheDamageIsAWarning)
{
    message_capture capture;
    capture.use_legacy_flow();
    open_regexp pointers("a");
    pointers.set_byte(6, 0);
    open_regexp operand("a*");
    operand.set_byte(7, k_nothing);
    EXPECT_EQ(stderr_of([&] { pointers.match("aa", 0); }),
              "WARNING - UT_REGEXP: Regular Expression corrupted pointers\n");
    EXPECT_EQ(stderr_of([&] { operand.match("aa", 0); }),
              "WARNING - UT_REGEXP: Regular Expression internal foulup\n");
}

TEST(UtRegexp, WithoutItsMagicByteOrAnyProgramItSilentlyMatchesNothing)
{
    message_capture capture;
    open_regexp expression("a");
    expression.set_byte(0, 155);
    EXPECT_EQ(expression.match("a", 0).num_keys(), 0);
    expression.set_byte(0, 156);
    EXPECT_EQ(expression.match("a", 0).num_keys(), 1);
    expression.ok_ = 0;
    EXPECT_EQ(expression.match("a", 0).num_keys(), 0);
    expression.ok_ = 1;
    expression.program_ = "";
    EXPECT_EQ(expression.match("a", 0).num_keys(), 0);
    EXPECT_TRUE(capture.posts().empty());
}

// ---- through the string

TEST(UtRegexp, AStringMatchesACompiledExpressionOrAPattern)
{
    const UT_STROBJ text("xaab");
    EXPECT_EQ(shown(text.match_reg_exp(UT_REGEXP("(a+)b"), 0)), "1..4 1..3");
    EXPECT_EQ(shown(text.match_reg_exp(UT_STROBJ("(a+)b"), 2)), "2..4 2..3");
    EXPECT_EQ(shown(text.match_reg_exp("(a+)b", 0)), "1..4 1..3");
    message_capture capture;
    EXPECT_EQ(text.match_reg_exp("(", 0).num_keys(), 0);
    EXPECT_TRUE(capture.posts().empty());
}

std::string got(const char* pattern, const char* text, int k)
{
    return text_of(UT_STROBJ(text).get_key(UT_STROBJ(text).match_reg_exp(pattern, 0), k));
}

std::string replaced(const char* pattern, const char* text, int k)
{
    return text_of(UT_STROBJ(text).replace_key(UT_STROBJ(text).match_reg_exp(pattern, 0), k, "<>"));
}

TEST(UtRegexp, KeysAreGotAndReplacedInTheText)
{
    EXPECT_EQ(got("(a+)(b)", "xaaby", 1), "aa");
    EXPECT_EQ(got("(a+)(b)", "xaaby", 3), "");
    EXPECT_EQ(got("(a+)(b)", "xaaby", -1), "");
    EXPECT_EQ(replaced("(a+)(b)", "xaaby", 0), "x<>y");
    EXPECT_EQ(replaced("(a+)(b)", "xaaby", 2), "xaa<>y");
    EXPECT_EQ(replaced("(a+)(b)", "xaaby", 3), "xaaby");
    EXPECT_EQ(replaced("(a+)(b)", "xaaby", -1), "xaaby");
}

TEST(UtRegexp, AKeyThatIsEmptyAtTheEndOrUnsetIsReplacedAtTheEnd)
{
    EXPECT_EQ(got("a(b*)", "xa", 1), "");
    EXPECT_EQ(replaced("a(b*)", "xa", 1), "xa<>");
    EXPECT_EQ(got("(a)|(b)", "xbx", 1), "");
    EXPECT_EQ(replaced("(a)|(b)", "xbx", 1), "xbx<>");
}

TEST(UtRegexp, KeysOfAnotherTextAreNotNoticed)
{
    const UT_STRKEYS others = UT_STROBJ("01234xy").match_reg_exp("xy", 0);
    EXPECT_EQ(text_of(UT_STROBJ("abcd").get_key(others, 0)), "ab");
    EXPECT_EQ(text_of(UT_STROBJ("abcd").replace_key(others, 0, "<>")), "cd<>");
}

// ---- threads

TEST(UtRegexp, ThreadsMatchWithExpressionsOfTheirOwn)
{
    const auto work = [] {
        const open_regexp expression("([a-z]+)([0-9]*)");
        const UT_STROBJ text = bytes("...abc123");
        for (int i = 0; i < 1'000; ++i) ASSERT_EQ(shown(expression.match(text, 0)), "3..9 3..6 6..9");
    };
    std::thread one(work);
    std::thread two(work);
    one.join();
    two.join();
}

// ---- against a model

class pattern_maker {
public:
    explicit pattern_maker(unsigned seed) : random_(seed) {}

    unsigned below(unsigned n) { return std::uniform_int_distribution<unsigned>(0, n - 1)(random_); }

    std::string letters(std::string_view from, unsigned most)
    {
        std::string result;
        for (unsigned n = below(most + 1); n != 0; --n)
            result += from[below(static_cast<unsigned>(from.size()))];
        return result;
    }

    /// A pattern that compiles more often than not.
    std::string expression(int depth)
    {
        std::string result = row(depth);
        while (below(4) == 0) result += "|" + row(depth);
        return result;
    }

private:
    std::string row(int depth)
    {
        std::string result;
        for (unsigned n = below(4); n != 0; --n) {
            result += atom(depth);
            if (below(2) == 0) result += "*+?"[below(3)];
        }
        return result;
    }

    std::string atom(int depth)
    {
        switch (below(depth > 0 ? 12 : 8)) {
        case 0: return ".";
        case 1: return below(2) == 0 ? "^" : "$";
        case 2: return "[ab]";
        case 3: return "[^a]";
        case 4: return "[b-c]";
        case 5: return "ab";
        case 6:
        case 7: return {"abc"[below(3)]};
        default: return "(" + expression(depth - 1) + ")";
        }
    }

    std::mt19937 random_;
};

/// Compares the library with the model; true if there was something to match.
bool agrees(const std::string& pattern, const std::string& text, std::size_t start)
{
    const open_regexp expression(pattern);
    const regexp_model::syntax tree(pattern);
    EXPECT_EQ(text_of(expression.error()), tree.error()) << testing::PrintToString(pattern);
    if (!expression.ok() || !tree.error().empty()) return false;
    regexp_model::search search(tree, text);
    const std::vector<regexp_model::key> expected = search.keys(start);
    if (search.gave_up()) return false;
    const UT_STRKEYS found = expression.match(bytes(text), start);
    std::vector<regexp_model::key> actual;
    actual.reserve(static_cast<std::size_t>(found.num_keys()));
    for (int k = 0; k < found.num_keys(); ++k) actual.push_back({found.key_start(k), found.key_end(k)});
    EXPECT_TRUE(actual == expected) << testing::PrintToString(pattern) << " on "
                                    << testing::PrintToString(text) << " from " << start << ": "
                                    << shown(found);
    return found.num_keys() != 0;
}

TEST(UtRegexp, AnyDamageEndsTheMatchWithAtMostOneReport)
{
    pattern_maker make(5'150);
    message_capture capture;
    std::size_t reports = 0;
    for (int i = 0; i < 20'000; ++i) {
        open_regexp expression(make.expression(2));
        if (!expression.ok()) continue;
        const auto size = static_cast<unsigned>(expression.program_.length());
        expression.set_byte(1 + make.below(size - 1),
                            static_cast<int>(make.below(make.below(2) == 0 ? 60 : 256)));
        if (make.below(4) == 0) expression.program_ = expression.program_.left(1 + make.below(size));
        capture.clear();
        expression.match(bytes(make.letters("aabbc", 8)), 0);
        ASSERT_LE(capture.posts().size(), 1U);
        reports += capture.posts().size();
    }
    EXPECT_GT(reports, 1'000U);
}

TEST(UtRegexp, AgreesWithAModelOnThousandsOfExpressions)
{
    pattern_maker make(20'031);
    int matches = 0;
    for (int i = 0; i < 30'000 && !HasFailure(); ++i) {
        const std::string pattern = make.expression(3);
        for (int j = 0; j < 3; ++j) {
            const std::string text = make.letters("aaabbbccc\0"sv, 12);
            matches += agrees(pattern, text, make.below(8) == 0 ? make.below(14) : 0);
        }
    }
    EXPECT_GT(matches, 20'000);
}

TEST(UtRegexp, AgreesWithAModelOnAnyMixtureOfCharacters)
{
    pattern_maker make(7'411);
    int matches = 0;
    for (int i = 0; i < 30'000 && !HasFailure(); ++i)
        matches += agrees(make.letters("ab-]c()|*+?.[]^$\\\0"sv, 12), make.letters("abc-]\0"sv, 8), 0);
    EXPECT_GT(matches, 1'000);
}

}  // namespace
