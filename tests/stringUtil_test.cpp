// tests/stringUtil_test.cpp
#include "stringUtil.h"

#include <array>
#include <clocale>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"
#include "message_capture.h"
#include "msgman.h"
#include "scoped_environment.h"

namespace {

using pieces = std::vector<std::string>;

// ---- pieces and ends of text

TEST(Split, GivesThePiecesBetweenDelimiters)
{
    EXPECT_EQ(split("a,b", ','), (pieces{"a", "b"}));
    EXPECT_EQ(split("a,,b", ','), (pieces{"a", "", "b"}));
    EXPECT_EQ(split(",a", ','), (pieces{"", "a"}));
    EXPECT_EQ(split("ab", ','), (pieces{"ab"}));
}

TEST(Split, HasNoPieceBehindAFinalDelimiterAndNoneInAnEmptyText)
{
    EXPECT_EQ(split("a,b,", ','), (pieces{"a", "b"}));
    EXPECT_EQ(split(",", ','), (pieces{""}));
    EXPECT_EQ(split("a,,", ','), (pieces{"a", ""}));
    EXPECT_EQ(split("", ','), pieces{});
}

TEST(Split, ANulIsAnOrdinaryCharacter)
{
    const std::string text("a\0b,c", 5);
    EXPECT_EQ(split(text, ','), (pieces{std::string("a\0b", 3), "c"}));
    EXPECT_EQ(split(text, '\0'), (pieces{"a", "b,c"}));
}

TEST(Split, TakesATextAsDelimiter)
{
    EXPECT_EQ(split("a,b,", ","), (pieces{"a", "b"}));
    EXPECT_EQ(split("a::b:c::", "::"), (pieces{"a", "b:c"}));
    EXPECT_EQ(split("a:::b", "::"), (pieces{"a", ":b"}));
    EXPECT_EQ(split("::::", "::"), (pieces{"", ""}));
    EXPECT_EQ(split("", "::"), pieces{});
    EXPECT_EQ(split("a,b", ""), (pieces{"a,b"}));
    EXPECT_EQ(split("", ""), pieces{});
}

TEST(Split, AppendsToTheVectorOfTheCaller)
{
    pieces out{"first"};
    EXPECT_EQ(&split("a,b", ',', out), &out);
    EXPECT_EQ(out, (pieces{"first", "a", "b"}));
    EXPECT_EQ(&split("c--d", "--", out), &out);
    EXPECT_EQ(out, (pieces{"first", "a", "b", "c", "d"}));
}

TEST(Split, TheTextMayBeAnElementOfTheVector)
{
    pieces out{"a,b,c,d,e,f"};
    out.shrink_to_fit();
    split(out[0], ',', out);
    EXPECT_EQ(out, (pieces{"a,b,c,d,e,f", "a", "b", "c", "d", "e", "f"}));
}

struct trim_case {
    std::string text;
    std::string wanted;
};

TEST(Trim, RemovesWhiteSpaceFromBothEndsInBothForms)
{
    for (const trim_case& each : std::vector<trim_case>{{" a b ", "a b"},
                                                        {"\t\n\v\f\r a \r\f\v\n\t", "a"},
                                                        {"a", "a"},
                                                        {"", ""},
                                                        {" \n ", ""},
                                                        {"a\vb", "a\vb"},
                                                        {"\x01 a \x7f", "\x01 a \x7f"},
                                                        {"a\nb", "b"},
                                                        {"a\r\n  b c \n", "b c"},
                                                        {"a\n\n", "a"},
                                                        {"a \n b \r c", "c"}}) {
        EXPECT_EQ(trim(each.text), each.wanted) << each.text;
        std::string place = each.text;
        EXPECT_EQ(trim(place.data()), place.data());
        EXPECT_STREQ(place.c_str(), each.wanted.c_str()) << each.text;
    }
    EXPECT_EQ(trim(static_cast<char*>(nullptr)), nullptr);
}

TEST(Trim, TakesTextOfAnyLengthAndNuls)
{
    const std::string longest(1'000'000, 'x');
    EXPECT_EQ(trim("  " + longest + "  "), longest);
    EXPECT_EQ(trim(std::string(" a\0b ", 5)), std::string("a\0b", 3));
}

TEST(PadZeroes, PadsToTheWidthAndNeverCuts)
{
    const auto padded = [](std::string text, int width) {
        padZeroes(text, width);
        return text;
    };
    EXPECT_EQ(padded("123", 5), "00123");
    EXPECT_EQ(padded("123", 3), "123");
    EXPECT_EQ(padded("123", 2), "123");
    EXPECT_EQ(padded("123", 0), "123");
    EXPECT_EQ(padded("123", -4), "123");
    EXPECT_EQ(padded("", 2), "00");
}

TEST(ReplaceString, ReplacesEachOccurrenceAndGoesOnBehindIt)
{
    EXPECT_EQ(replaceString("a.b.c", ".", "::"), "a::b::c");
    EXPECT_EQ(replaceString("aaa", "a", "aa"), "aaaaaa");
    EXPECT_EQ(replaceString("aaa", "aa", "b"), "ba");
    EXPECT_EQ(replaceString("abab", "ab", ""), "");
    EXPECT_EQ(replaceString("abc", "x", "y"), "abc");
    EXPECT_EQ(replaceString("abc", "", "y"), "abc");
    EXPECT_EQ(replaceString("", "a", "y"), "");
}

// ---- comparison

TEST(ICompare, IgnoresTheCaseOfAsciiLetters)
{
    EXPECT_TRUE(icompare("AbC1", "aBc1"));
    EXPECT_TRUE(icompare("", ""));
    EXPECT_FALSE(icompare("abc", "abd"));
    EXPECT_FALSE(icompare("abc", "ab"));
    EXPECT_FALSE(icompare("ab", "abc"));
    EXPECT_FALSE(icompare("\xc4", "\xe4"));
    EXPECT_TRUE(icompare_pred('a', 'A'));
    EXPECT_FALSE(icompare_pred('[', '{'));
    EXPECT_TRUE(icompare_pred(0xFF, 0xFF));
}

TEST(CompareLen, OrdersByLengthAlone)
{
    EXPECT_TRUE(compareLen("b", "aa"));
    EXPECT_FALSE(compareLen("aa", "b"));
    EXPECT_FALSE(compareLen("a", "b"));
    EXPECT_TRUE(longestToShortest("aa", "b"));
    EXPECT_FALSE(longestToShortest("b", "aa"));
    EXPECT_FALSE(longestToShortest("a", "b"));
}

// ---- values as text

TEST(BoolToString, IsInUpperCase)
{
    EXPECT_EQ(boolToString(true), "TRUE");
    EXPECT_EQ(boolToString(false), "FALSE");
}

TEST(StringFormat, CutsToTheSizeAndAlwaysTerminates)
{
    std::array<char, 8> buffer{};
    buffer.fill('#');
    stringFormat(buffer.data(), 6, "%s-%d", "abc", 1234);
    EXPECT_STREQ(buffer.data(), "abc-1");
    EXPECT_EQ(buffer[6], '#');
    stringFormat(buffer.data(), 8, "%s", "ab");
    EXPECT_STREQ(buffer.data(), "ab");
    stringFormat(buffer.data(), 1, "%s", "xyz");
    EXPECT_STREQ(buffer.data(), "");
    buffer[0] = 'k';
    stringFormat(buffer.data(), 0, "%s", "xyz");
    EXPECT_EQ(buffer[0], 'k');
}

TEST(StringFormat, HasTheConversionsOfTheRuntime)
{
    std::array<char, 64> buffer{};
    stringFormat(buffer.data(), buffer.size(), "%lld %5.2f %s", 5'000'000'000LL, 1.5, "100%n");
    EXPECT_STREQ(buffer.data(), "5000000000  1.50 100%n");
}

TEST(StringFormat, IsTheSameInALocaleWithADecimalComma)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) GTEST_SKIP() << "no such locale here";
    std::array<char, 16> buffer{};
    stringFormat(buffer.data(), buffer.size(), "%.1f", 1.5);
    EXPECT_STREQ(buffer.data(), "1.5");
    EXPECT_EQ(stdout_of([] { LogMessage("%.1f", 1.5); }), "1.5");
    std::setlocale(LC_ALL, before.c_str());
}

std::string binary_of(std::string hex)
{
    std::string binary = "old";
    HexToBinary(hex, binary);
    return binary;
}

TEST(HexToBinary, AppendsFourDigitsForEach)
{
    EXPECT_EQ(binary_of("a 1"), "10100001");
    EXPECT_EQ(binary_of("0123456789abcdef"),
              "0000000100100011010001010110011110001001101010111100110111101111");
    EXPECT_EQ(binary_of("  "), "");
    EXPECT_EQ(binary_of(""), "");
}

std::string hex_of(std::string binary, bool flag = false)
{
    std::string hex = "old";
    BinaryToHex(binary, hex, flag);
    return hex;
}

TEST(BinaryToHex, TurnsEachGroupOfFourIntoADigit)
{
    EXPECT_EQ(hex_of("10100001"), "a1");
    EXPECT_EQ(hex_of("10100001", true), "a1");
    EXPECT_EQ(hex_of("0000000100100011010001010110011110001001101010111100110111101111"), "0123456789abcdef");
    EXPECT_EQ(hex_of(""), "");
}

// What the two report is told once in a process, so a process of its own shows it.

constexpr const char* k_sentence =
    "Internal error thrown. May jeopardize correctness of functionality or cause "
    "termination of program. Please file bug report.";

/// `text` with its folded lines joined again.
std::string unfolded(std::string text)
{
    for (std::size_t at; (at = text.find("\n        ")) != std::string::npos;) {
        const std::size_t end = text.find_first_not_of(' ', at + 1);
        text.replace(at, end - at, " ");
    }
    return text;
}

std::size_t occurrences(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) ++count;
    return count;
}

child_result string_child(const std::string& scenario, child_environment changes = {})
{
    changes.insert(changes.end(), {{"QVS_M_MSGFLOW", "0"}, {"QVS_MSG_WIDTH", nullptr}});
    child_result result = run_child(child_program("stringUtil_child"), {scenario}, changes);
    result.err = unfolded(result.err);
    EXPECT_EQ(result.exit_status, 0);
    return result;
}

TEST(HexToBinary, StopsAtAnythingElseAndReportsIt)
{
    const child_result result = string_child("hex", {{"QVS_SHOW_INTERNAL_ERROR", ""}});
    EXPECT_EQ(result.out, "A -> \n"
                          "1 aG2 -> 00011010\n"
                          "1\t2 -> 0001\n");
    EXPECT_EQ(occurrences(result.err, k_sentence), 1U);
    EXPECT_EQ(occurrences(result.err,
                          "ERROR - Warning! HexToBinary [ic1bsbitfile.c]. Unknown hex character to "
                          "convert to binary (just lowercase for now).\n"),
              1U);
    EXPECT_EQ(occurrences(result.err, "INTERNAL CODE : STRING_UTIL:stringUtil:"), 1U);
}

TEST(BinaryToHex, ReportsABadLengthAndBadGroups)
{
    const child_result result = string_child("binary", {{"QVS_SHOW_INTERNAL_ERROR", "1"}});
    EXPECT_EQ(result.out, "10100 -> \n"
                          "10100x111111 -> af\n"
                          " -> \n");
    EXPECT_EQ(occurrences(result.err, k_sentence), 2U);  // two sites, each with a line of its own
    EXPECT_EQ(
        occurrences(result.err, "ERROR - Warning! BinaryToHex. Binary string not divisible by 4 - 10100\n"),
        1U);
    EXPECT_EQ(occurrences(result.err, "ERROR - Warning! BinaryToHex. Unknown set of binary string.\n"), 1U);
}

TEST(BinaryToHex, ALongTextIsCutInTheReport)
{
    const child_result result = string_child("long_binary", {{"QVS_INTERNAL_ERROR_DUMP_TERMINAL", ""}});
    const std::string begin = "Warning! BinaryToHex. Binary string not divisible by 4 - ";
    EXPECT_EQ(result.out, begin + std::string(254 - begin.size(), '1') + "\n" + "254\n");
}

// ---- LogMessage

TEST(LogMessage, GoesToStandardOutput)
{
    EXPECT_EQ(stdout_of([] { LogMessage("%s %d %lld\n", "100%n", 7, 5'000'000'000LL); }),
              "100%n 7 5000000000\n");
    EXPECT_EQ(stdout_of([] { LogMessage("100%%"); }), "100%");
    const std::string longest(100'000, 'x');
    EXPECT_EQ(stdout_of([&] { LogMessage("%s", longest.c_str()); }), longest);
}

TEST(LogMessage, IsNotPrintedWithinTheGraphicalSurroundings)
{
    EXPECT_FALSE(VS_GLOBAL::VISUALSTUDIO);
    VS_GLOBAL::VISUALSTUDIO = true;
    const std::string longest(100'000, 'x');
    const std::string out = stdout_of([&] {
        LogMessage("%s", longest.c_str());
        LogMessage("%s", "short");
    });
    VS_GLOBAL::VISUALSTUDIO = false;
    EXPECT_EQ(out, "");
}

// ---- internalError

TEST(InternalErrorMsg, HasRoomFor255Characters)
{
    stringFormat(internalErrorMsg, 256, "%s", std::string(300, 'x').c_str());
    EXPECT_EQ(std::string(internalErrorMsg), std::string(255, 'x'));
}

/// The switches of `internalError` unset, and its reports captured.
class InternalError : public testing::Test {
protected:
    InternalError() { capture.use_legacy_flow(); }

    scoped_environment show{"QVS_SHOW_INTERNAL_ERROR", nullptr};
    scoped_environment dump{"QVS_INTERNAL_ERROR_DUMP_TERMINAL", nullptr};
    message_capture capture;
};

TEST_F(InternalError, ShowsAFixedSentenceAndTheSiteButNotTheMessage)
{
    const std::string err = unfolded(stderr_of([] { internalError("secret", "MOD", "first.c", 12, 1); }));
    EXPECT_EQ(err.find(std::string("ERROR - ") + k_sentence + "\nINTERNAL CODE : MOD:first.c:12:1.0"), 0U)
        << err;
    EXPECT_EQ(err.find("secret"), std::string::npos);
}

TEST_F(InternalError, ReportsASiteOnce)
{
    const auto reports = [](const char* file, int line) {
        return occurrences(unfolded(stderr_of([=] { internalError("x", "M", file, line, 1); })), k_sentence);
    };
    EXPECT_EQ(reports("once.c", 1), 1U);
    EXPECT_EQ(reports("once.c", 1), 0U);
    EXPECT_EQ(reports("once.c", 2), 1U);
    EXPECT_EQ(reports("once.c", -1), 1U);
    EXPECT_EQ(reports("twice.c", 1), 1U);
    EXPECT_EQ(reports("once.c1", 1), 1U);
    EXPECT_EQ(reports("once.c", 11), 0U);  // the same name and line when read together
}

TEST_F(InternalError, ALineIsShownAsAShortAndTellsSitesApartAsAnInt)
{
    EXPECT_NE(
        unfolded(stderr_of([] { internalError("x", "M", "long.c", 65'537, 1); })).find("M:long.c:1:1.0"),
        std::string::npos);
    EXPECT_NE(unfolded(stderr_of([] { internalError("x", "M", "long.c", 1, 1); })).find("M:long.c:1:1.0"),
              std::string::npos);
}

TEST_F(InternalError, ShowsTheMessageAsAnErrorInFrontIfAsked)
{
    const scoped_environment shown("QVS_SHOW_INTERNAL_ERROR", "");
    const std::string err = unfolded(stderr_of([] {
        internalError("100% %n %s", "M", "shown.c", 1, 1);
        internalError("again", "M", "shown.c", 1, 1);
    }));
    EXPECT_EQ(err.find(std::string("ERROR - 100% %n %s\nERROR - ") + k_sentence), 0U) << err;
    EXPECT_EQ(err.find("again"), std::string::npos);
}

TEST_F(InternalError, DumpsTheMessageAtEachCallIfAsked)
{
    const scoped_environment dumped("QVS_INTERNAL_ERROR_DUMP_TERMINAL", "");
    std::string out;
    const std::string err = unfolded(stderr_of([&] {
        out = stdout_of([] {
            internalError("100% %n %s", "M", "dumped.c", 1, 1);
            internalError("again", "M", "dumped.c", 1, 1);
            internalError(nullptr, "M", "dumped.c", 1, 1);
        });
    }));
    EXPECT_EQ(out, "100% %n %s\nagain\n\n");
    EXPECT_EQ(occurrences(err, k_sentence), 1U);
}

TEST_F(InternalError, ANullFileNameIsAnEmptyOne)
{
    EXPECT_NE(stderr_of([] { internalError("x", "M", nullptr, 7, 1); }).find("INTERNAL CODE : M::7:1.0"),
              std::string::npos);
}

TEST_F(InternalError, ANullMessageIsAnEmptyOne)
{
    const scoped_environment shown("QVS_SHOW_INTERNAL_ERROR", "");
    const std::string err = unfolded(stderr_of([] { internalError(nullptr, "M", "null.c", 1, 1); }));
    EXPECT_EQ(err.find(std::string("ERROR - \nERROR - ") + k_sentence), 0U) << err;
}

/// A database that does `on_post` with each line that it gets.
class listening_database final : public ketriope::message_database {
public:
    explicit listening_database(void (*on_post)())
        : on_post_(on_post), before_(ketriope::install_database(this))
    {
    }
    ~listening_database() { ketriope::install_database(before_); }
    listening_database(const listening_database&) = delete;
    listening_database& operator=(const listening_database&) = delete;
    int posts() const { return posts_; }

    void post_contract(const char*, int, const char*) override {}
    void post_numbered(const char*, const char*, ut_va_list) override {}
    void post_text(const char*, const char*) override {}
    void post_finished(int, const char*) override
    {
        ++posts_;
        on_post_();
    }
    void show_types(int, bool) override {}

private:
    void (*on_post_)();
    ketriope::message_database* before_;
    int posts_ = 0;
};

TEST(InternalErrorAndTheDatabase, ReturnsThoughTheDatabaseThrows)
{
    const scoped_environment dumped("QVS_INTERNAL_ERROR_DUMP_TERMINAL", "");
    const message_capture capture;
    const listening_database refusing([] { throw -1; });
    EXPECT_EQ(stdout_of([] { internalError("x", "M", "refused.c", 1, 1); }), "x\n");
    EXPECT_EQ(refusing.posts(), 1);
    EXPECT_EQ(stdout_of([] { internalError("x", "M", "refused.c", 1, 1); }), "x\n");
    EXPECT_EQ(refusing.posts(), 1);
}

TEST(InternalErrorAndTheDatabase, AListenerWhoComesBackIsNotToldAgain)
{
    const scoped_environment show("QVS_SHOW_INTERNAL_ERROR", nullptr);
    const message_capture capture;
    const listening_database nagging([] { internalError("x", "M", "again.c", 1, 1); });
    internalError("x", "M", "again.c", 1, 1);
    EXPECT_EQ(nagging.posts(), 2);  // the sentence and the site
}

TEST(InternalErrorAndTheDatabase, GetsTheSentenceAndTheSite)
{
    const scoped_environment show("QVS_SHOW_INTERNAL_ERROR", nullptr);
    message_capture capture;
    internalError("x", "M", "posted.c", 3, 1);
    ASSERT_EQ(capture.posts().size(), 2U);
    EXPECT_NE(capture.posts()[0].text.find(k_sentence), std::string::npos);
    EXPECT_NE(capture.posts()[1].text.find("M:posted.c:3:1.0"), std::string::npos);
}

TEST(InternalErrorInAProcess, ReportsOnceAndDumpsTwice)
{
    const child_result result = string_child("internal_error", {{"QVS_INTERNAL_ERROR_DUMP_TERMINAL", "1"}});
    EXPECT_EQ(result.out, "x\nx\n");
    EXPECT_EQ(occurrences(result.err, k_sentence), 1U);
    EXPECT_EQ(string_child("internal_error").out, "");
}

}  // namespace
