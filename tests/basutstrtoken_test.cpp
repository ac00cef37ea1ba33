// tests/basutstrtoken_test.cpp
#include "basutstr.h"

#include <csignal>
#include <cstdlib>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"

namespace {

// ---- ut_strgettoken

struct taken {
    std::string token;
    char result;
    std::string rest;
    bool operator==(const taken&) const = default;
};

std::ostream& operator<<(std::ostream& out, const taken& shown)
{
    return out << '"' << shown.token << "\" " << static_cast<int>(shown.result) << " \"" << shown.rest << '"';
}

/// Takes one token off `line`, into a buffer of just the size that is asked for.
taken take(const std::string& line, const char* delimiters, int quoted = 0)
{
    const auto rest = std::make_unique<char[]>(line.size() + 1);
    line.copy(rest.get(), line.size());
    const auto token = std::make_unique<char[]>(line.size() + 1);
    const char result = ut_strgettoken(rest.get(), token.get(), delimiters, quoted);
    return {token.get(), result, rest.get()};
}

TEST(UtStrGetToken, TakesTheTokenAndItsDelimiterOffTheLine)
{
    EXPECT_EQ(take("ab cd", " "), (taken{"ab", ' ', "cd"}));
    EXPECT_EQ(take("ab,cd;ef", ",;"), (taken{"ab", ',', "cd;ef"}));
    EXPECT_EQ(take("ab  cd", " "), (taken{"ab", ' ', " cd"}));
    EXPECT_EQ(take("a\xff"
                   "b",
                   "\xff"),
              (taken{"a", '\xff', "b"}));
}

TEST(UtStrGetToken, OneTellsOfATokenAtTheEndAndZeroOfNone)
{
    EXPECT_EQ(take("ab", " "), (taken{"ab", 1, ""}));
    EXPECT_EQ(take("ab", ""), (taken{"ab", 1, ""}));
    EXPECT_EQ(take("", " "), (taken{"", 0, ""}));
    EXPECT_EQ(take(" \t\x80 ", " "), (taken{"", 0, ""}));
}

TEST(UtStrGetToken, SkipsWhatIsNotVisibleInFront)
{
    EXPECT_EQ(take(" \t\xe4\x7f"
                   "ab cd",
                   " "),
              (taken{"ab", ' ', "cd"}));
    EXPECT_EQ(take("\t\tab", "\t"), (taken{"ab", 1, ""}));
}

TEST(UtStrGetToken, ATokenMayBeEmptyInFrontOfAVisibleDelimiter)
{
    EXPECT_EQ(take(",a", ","), (taken{"", ',', "a"}));
    EXPECT_EQ(take(" ,a", ", "), (taken{"", ',', "a"}));
}

TEST(UtStrGetToken, AQuotedTokenGoesToTheNextQuote)
{
    EXPECT_EQ(take("\"b c\" d", " ", 1), (taken{"b c", '"', " d"}));
    EXPECT_EQ(take("  \"b c\"d", " ", 1), (taken{"b c", '"', "d"}));
    EXPECT_EQ(take("\"\" d", " ", 1), (taken{"", '"', " d"}));
    EXPECT_EQ(take("\"b\\\"c\"", " ", 1), (taken{"b\\", '"', "c\""}));  // no escape
}

TEST(UtStrGetToken, AnUnterminatedQuoteGoesToTheEnd)
{
    EXPECT_EQ(take("\"b c", " ", 1), (taken{"b c", 1, ""}));
    EXPECT_EQ(take("\"", " ", 1), (taken{"", 0, ""}));
}

TEST(UtStrGetToken, OnlyTheFirstCharacterStartsAQuotedToken)
{
    EXPECT_EQ(take("a\"b c\"", " ", 1), (taken{"a\"b", ' ', "c\""}));
    EXPECT_EQ(take("\"b c\"", " ", 0), (taken{"\"b", ' ', "c\""}));
    EXPECT_EQ(take("'b c'", " ", 1), (taken{"'b", ' ', "c'"}));
}

TEST(UtStrGetToken, ANullArgumentClearsTheTokenAndGivesZero)
{
    char line[] = "ab cd";
    char token[] = "old";
    EXPECT_EQ(ut_strgettoken(nullptr, token, " ", 0), 0);
    EXPECT_STREQ(token, "");
    token[0] = 'x';
    EXPECT_EQ(ut_strgettoken(line, token, nullptr, 0), 0);
    EXPECT_STREQ(token, "");
    EXPECT_EQ(ut_strgettoken(line, nullptr, " ", 0), 0);
    EXPECT_STREQ(line, "ab cd");
}

TEST(UtStrGetToken, TakesALineApart)
{
    std::string line = "set  width 12";
    std::string token(line.size() + 1, '\0');
    std::vector<std::string> tokens;
    while (ut_strgettoken(line.data(), token.data(), " ", 0) != 0) tokens.emplace_back(token.c_str());
    EXPECT_EQ(tokens, (std::vector<std::string>{"set", "width", "12"}));
}

// ---- ut_strsplit

using tokens = std::vector<std::string>;

/// The tokens by both forms, which must agree.
tokens split_by(const char* text, char delim1, char delim2)
{
    int count = -1;
    std::vector<char*> listed;
    const bool any = ut_strsplit(text, count, listed, delim1, delim2);
    EXPECT_EQ(any, count > 0);
    EXPECT_EQ(static_cast<std::size_t>(count), listed.size());

    int array_count = -1;
    std::vector<char*> array(listed.size() + 1, nullptr);
    EXPECT_EQ(ut_strsplit(text, array_count, array.data(), delim1, delim2), any);
    EXPECT_EQ(array_count, count);
    EXPECT_EQ(array.back(), nullptr);

    tokens result;
    for (std::size_t i = 0; i < listed.size(); ++i) {
        EXPECT_STREQ(array[i], listed[i]);
        result.emplace_back(listed[i]);
        std::free(listed[i]);
        std::free(array[i]);
    }
    return result;
}

tokens split_words(const char* text)
{
    return split_by(text, ' ', ' ');
}

TEST(UtStrSplit, CutsAtEitherDelimiterAndSkipsEmptyTokens)
{
    EXPECT_EQ(split_words("a  b"), (tokens{"a", "b"}));
    EXPECT_EQ(split_words("  a b  "), (tokens{"a", "b"}));
    EXPECT_EQ(split_by("a,b;c,;d", ',', ';'), (tokens{"a", "b", "c", "d"}));
    EXPECT_EQ(split_by("a b", ',', '\0'), (tokens{"a b"}));
    EXPECT_EQ(split_words("a\tb"), (tokens{"a\tb"}));
}

TEST(UtStrSplit, AnEmptyTextHasNoToken)
{
    EXPECT_EQ(split_words(""), tokens{});
    EXPECT_EQ(split_words("   "), tokens{});
    EXPECT_EQ(split_words("'"), tokens{});
}

TEST(UtStrSplit, QuotesHideDelimitersAndAreDropped)
{
    EXPECT_EQ(split_words("\"a b\""), (tokens{"a b"}));
    EXPECT_EQ(split_words("'a b' c"), (tokens{"a b", "c"}));
    EXPECT_EQ(split_words("x\"a b\"y z"), (tokens{"xa by", "z"}));
    EXPECT_EQ(split_words("\"a\"\"b\""), (tokens{"ab"}));
}

TEST(UtStrSplit, TheTwoQuotesHaveStatesOfTheirOwn)
{
    EXPECT_EQ(split_words("\"it's a\" b"), (tokens{"its a b"}));  // the apostrophe is still open
    EXPECT_EQ(split_words("\"it's a\" b' c"), (tokens{"its a b", "c"}));
    EXPECT_EQ(split_words("\"a 'b\" c' d"), (tokens{"a b c", "d"}));
}

TEST(UtStrSplit, ABackslashMakesAQuoteOrdinary)
{
    EXPECT_EQ(split_words("a\\\"b c"), (tokens{"a\\\"b", "c"}));
    EXPECT_EQ(split_words("\\'a b"), (tokens{"\\'a", "b"}));
    EXPECT_EQ(split_words("\\\\\"a b"), (tokens{"\\\\\"a", "b"}));  // whatever stands before it
    EXPECT_EQ(split_words("\"a\\\" b\" c"), (tokens{"a\\\" b", "c"}));
    EXPECT_EQ(split_words("a\\ b"), (tokens{"a\\", "b"}));
}

TEST(UtStrSplit, AnEmptyPairOfQuotesIsATokenOfOneBlank)
{
    EXPECT_EQ(split_words("\"\""), (tokens{" "}));
    EXPECT_EQ(split_words("''"), (tokens{" "}));
    EXPECT_EQ(split_words("a \"\" b"), (tokens{"a", " ", "b"}));
    EXPECT_EQ(split_words("a\"\""), (tokens{"a"}));
    EXPECT_EQ(split_words("\"\"a"), (tokens{" a"}));
    EXPECT_EQ(split_words("\"\"\"\""), (tokens{" "}));
    EXPECT_EQ(split_words("\"''\""), (tokens{" "}));
    EXPECT_EQ(split_words("\"'\"'"), tokens{});  // no quote closes directly behind its own opening
}

TEST(UtStrSplit, AnOpenQuoteRunsToTheEnd)
{
    EXPECT_EQ(split_words("a \"b c"), (tokens{"a", "b c"}));
}

TEST(UtStrSplit, AQuoteIsNeverADelimiter)
{
    EXPECT_EQ(split_by("a'b c'd", '\'', ' '), (tokens{"ab cd"}));
    EXPECT_EQ(split_by("a\\'b c", '\'', ' '), (tokens{"a\\'b", "c"}));
}

TEST(UtStrSplit, ANullTextOrNullPlaceHasNoToken)
{
    int count = -1;
    std::vector<char*> out;
    EXPECT_FALSE(ut_strsplit(nullptr, count, out, ' ', ' '));
    EXPECT_EQ(count, 0);
    count = -1;
    EXPECT_FALSE(ut_strsplit("a b", count, static_cast<char**>(nullptr), ' ', ' '));
    EXPECT_EQ(count, 0);
    count = -1;
    char* array[1] = {};
    EXPECT_FALSE(ut_strsplit(nullptr, count, array, ' ', ' '));
    EXPECT_EQ(count, 0);
}

TEST(UtStrSplit, TheVectorFormAppendsAndCountsItsOwnTokens)
{
    std::vector<char*> out;
    int count = 0;
    EXPECT_TRUE(ut_strsplit("a b", count, out, ' ', ' '));
    EXPECT_TRUE(ut_strsplit("c", count, out, ' ', ' '));
    EXPECT_EQ(count, 1);
    ASSERT_EQ(out.size(), 3U);
    EXPECT_STREQ(out[2], "c");
    EXPECT_FALSE(ut_strsplit("", count, out, ' ', ' '));
    EXPECT_EQ(out.size(), 3U);
    for (char* token : out) std::free(token);
}

TEST(UtStrSplit, ATokenOf999CharactersFits)
{
    const std::string longest(999, 'x');
    EXPECT_EQ(split_words((longest + " " + longest).c_str()), (tokens{longest, longest}));
}

TEST(UtStrSplit, ATokenOf1000CharactersAbortsTheProcess)
{
    const child_result good = run_child(child_program("stringUtil_child"), {"split", "999"});
    EXPECT_EQ(good.exit_status, 0);
    EXPECT_EQ(good.out, "1\n");
    const child_result bad = run_child(child_program("stringUtil_child"), {"split", "1000"});
    EXPECT_EQ(bad.signal, SIGABRT);
    EXPECT_EQ(bad.out, "");
    EXPECT_EQ(bad.err, "");
}

}  // namespace
