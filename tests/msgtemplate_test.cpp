#include "msgtemplate.h"

#include <climits>
#include <cstdarg>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using texts = std::vector<std::string>;

texts expanded_behind(const char* words, std::size_t skip, va_list list)
{
    texts out;
    ketriope::expand_arguments(words, list, skip, out);
    return out;
}

/// The arguments of a template as text.
texts expanded(const char* words, ...)
{
    va_list list;
    va_start(list, words);
    texts out = expanded_behind(words, 0, list);
    va_end(list);
    return out;
}

texts expanded_after_first(const char* words, ...)
{
    va_list list;
    va_start(list, words);
    texts out = expanded_behind(words, 1, list);
    va_end(list);
    return out;
}

std::string composed(std::string_view words, const texts& arguments)
{
    std::string out;
    ketriope::compose_text(words, arguments, out);
    return out;
}

std::string repeated(std::string_view what, int times)
{
    std::string out;
    for (int i = 0; i < times; ++i) out += what;
    return out;
}

// ---- expansion

TEST(MsgTemplateExpansion, EachConversionReadsItsOwnType)
{
    EXPECT_EQ(expanded("$$s", "abc"), texts{"abc"});
    EXPECT_EQ(expanded("$$d", -7), texts{"-7"});
    EXPECT_EQ(expanded("$$i", INT_MIN), texts{"-2147483648"});
    EXPECT_EQ(expanded("$$u", 4294967295U), texts{"4294967295"});
    EXPECT_EQ(expanded("$$x", 0xBEEFU), texts{"beef"});
    EXPECT_EQ(expanded("$$X", 0xBEEFU), texts{"BEEF"});
    EXPECT_EQ(expanded("$$c", 'q'), texts{"q"});
    EXPECT_EQ(expanded("$$f", 2.5), texts{"2.500000"});
}

TEST(MsgTemplateExpansion, LongConversionsReadALong)
{
    EXPECT_EQ(expanded("$$ld", -5'000'000'000L), texts{"-5000000000"});
    EXPECT_EQ(expanded("$$li", 5'000'000'000L), texts{"5000000000"});
    EXPECT_EQ(expanded("$$lu", 18'446'744'073'709'551'615UL), texts{"18446744073709551615"});
    EXPECT_EQ(expanded("$$lx", 0x1FFFFFFFFL), texts{"1ffffffff"});
    EXPECT_EQ(expanded("$$lX", 0x1FFFFFFFFL), texts{"1FFFFFFFF"});
    EXPECT_EQ(expanded("$$lo", 0100L), texts{"100"});
}

TEST(MsgTemplateExpansion, LBeforeAnythingElseIsALongDecimalAndTakesOnlyTheL)
{
    EXPECT_EQ(expanded("$$l bytes, $$s", 5'000'000'000L, "x"), (texts{"5000000000", "x"}));
    EXPECT_EQ(expanded("$$l", 12L), texts{"12"});
    EXPECT_EQ(expanded("$$lz$$d", 12L, 3), (texts{"12", "3"}));
    EXPECT_EQ(expanded("$$ll", 12L), texts{"12"});
}

TEST(MsgTemplateExpansion, FlagsWidthAndPrecisionGoToTheFormatter)
{
    EXPECT_EQ(expanded("$$5d|$$-5d|$$05d", 42, 42, 42), (texts{"   42", "42   ", "00042"}));
    EXPECT_EQ(expanded("$$.2f $$8.3f", 3.14159, 3.14159), (texts{"3.14", "   3.142"}));
    EXPECT_EQ(expanded("$$.2s $$6s $$-6s", "abcdef", "ab", "ab"), (texts{"ab", "    ab", "ab    "}));
    EXPECT_EQ(expanded("$$8lx", 255L), texts{"      ff"});
    EXPECT_EQ(expanded("$$.5d", 42), texts{"00042"});
}

TEST(MsgTemplateExpansion, AWideFieldOfAShortTextIsMadeWhole)
{
    EXPECT_EQ(expanded("$$250s", "x"), texts{std::string(249, ' ') + "x"});
    EXPECT_EQ(expanded("$$1000d", 7), texts{std::string(999, ' ') + "7"});
    EXPECT_EQ(expanded("$$.300f", 0.5), texts{"0.5" + std::string(299, '0')});
}

TEST(MsgTemplateExpansion, FromTwoHundredCharactersOnTheFormatOfATextIsIgnored)
{
    const std::string longest_formatted(199, 'a');
    const std::string whole(200, 'a');
    EXPECT_EQ(expanded("$$.3s", longest_formatted.c_str()), texts{"aaa"});
    EXPECT_EQ(expanded("$$.3s", whole.c_str()), texts{whole});
    EXPECT_EQ(expanded("$$300s", whole.c_str()), texts{whole});
}

TEST(MsgTemplateExpansion, ANullTextIsEmptyEvenWithAWidth)
{
    const char* const null = nullptr;
    EXPECT_EQ(expanded("$$s $$5s $$d", null, null, 1), (texts{"", "", "1"}));
}

TEST(MsgTemplateExpansion, AnUnknownLetterAddsNoArgumentAndReadsNothing)
{
    EXPECT_EQ(expanded("$$e $$d", 7), texts{"7"});
    EXPECT_EQ(expanded("$$5.2g$$s", "a"), texts{"a"});
    EXPECT_EQ(expanded("$$% $$d", 7), texts{"7"});
}

TEST(MsgTemplateExpansion, AMarkAtTheEndHasNoFormat)
{
    EXPECT_EQ(expanded("$$"), texts{});
    EXPECT_EQ(expanded("a $$d $$", 1), texts{"1"});
    EXPECT_EQ(expanded("$$-5.3"), texts{});
    EXPECT_EQ(expanded("$"), texts{});
    EXPECT_EQ(expanded(""), texts{});
}

TEST(MsgTemplateExpansion, ThreeDollarsAreAMarkAndADollar)
{
    EXPECT_EQ(expanded("$$$s $$s", "a"), texts{"a"});
    EXPECT_EQ(expanded("$$$$s", "a"), texts{"a"});
}

TEST(MsgTemplateExpansion, FlagsThatNoFormatterKnowsAreLeftOut)
{
    EXPECT_EQ(expanded("$$5-d $$1.2.3d $$.-4d", 42, 43, 44), (texts{"42", "43", "44"}));
}

TEST(MsgTemplateExpansion, AWidthOfManyDigitsIsBounded)
{
    EXPECT_EQ(expanded("$$2000000000d", 7).front().size(), 99'999U);
    EXPECT_EQ(expanded("$$999999999999999999999s", "x").front().size(), 99'999U);
}

TEST(MsgTemplateExpansion, ACharacterOfZeroEndsItsText)
{
    EXPECT_EQ(expanded("$$c$$3c", 0, 0), (texts{"", "  "}));
}

TEST(MsgTemplateExpansion, TheFirstPlaceCanBeTakenAlready)
{
    EXPECT_EQ(expanded_after_first("$$s at $$d", 7), texts{"7"});
    EXPECT_EQ(expanded_after_first("$$s"), texts{});
    EXPECT_EQ(expanded_after_first("$$e $$d", 7), texts{"7"});
}

TEST(MsgTemplateExpansion, OnlyTheFirst128PlacesAreLookedAt)
{
    const std::string most = repeated("$$e", 127);
    EXPECT_EQ(expanded((most + "$$d").c_str(), 5), texts{"5"});
    EXPECT_EQ(expanded((most + "$$d$$d").c_str(), 5, 6), texts{"5"});
    EXPECT_EQ(expanded((most + "$$e$$d").c_str(), 5), texts{});
}

template <std::size_t... Numbers>
texts expanded_with(const std::string& words, std::index_sequence<Numbers...>)
{
    return expanded(words.c_str(), static_cast<int>(Numbers)...);
}

TEST(MsgTemplateExpansion, TwoHundredPlacesGive128Arguments)
{
    const std::string words = repeated("$$d,", 200);
    const texts made = expanded_with(words, std::make_index_sequence<200>());
    ASSERT_EQ(made.size(), 128U);
    EXPECT_EQ(made.back(), "127");
    EXPECT_EQ(composed(words, texts(128, "1")), repeated("1,", 128) + repeated(",", 72));
}

// ---- composition

TEST(MsgTemplateComposition, TheKthMarkTakesTheKthArgumentAsItStands)
{
    EXPECT_EQ(composed("Cannot open $$s at $$d", {"a", "7"}), "Cannot open a at 7");
    EXPECT_EQ(composed("$$8d|$$-8.3f|", {"1", "2"}), "1|2|");
    EXPECT_EQ(composed("$$s$$s", {"%s", "$$s"}), "%s$$s");
    EXPECT_EQ(composed("no place", {"a"}), "no place");
}

TEST(MsgTemplateComposition, AMissingArgumentIsEmptyAndASurplusOneIsNotShown)
{
    EXPECT_EQ(composed("<$$s><$$s>", {"a"}), "<a><>");
    EXPECT_EQ(composed("<$$s>", {"a", "b"}), "<a>");
    EXPECT_EQ(composed("", {"a"}), "");
}

TEST(MsgTemplateComposition, EscapesBecomeLineFeedAndTab)
{
    EXPECT_EQ(composed(R"(a\nb\tc)", {}), "a\nb\tc");
    EXPECT_EQ(composed(R"(a\qb\)", {}), R"(a\qb\)");
    EXPECT_EQ(composed(R"(\\n)", {}), "\\\n");
    EXPECT_EQ(composed(R"(\\\t\\)", {}), "\\\\\t\\\\");
    EXPECT_EQ(composed(R"($$s\n)", {R"(\n)"}), "\\n\n");
}

TEST(MsgTemplateComposition, OfTheLongPairsOnlyLuAndLdArePassedOverWhole)
{
    EXPECT_EQ(composed("$$ld,$$lu", {"1", "2"}), "1,2");
    EXPECT_EQ(composed("$$lx,$$lX,$$lo,$$li", {"ff", "FF", "7", "1"}), "ffx,FFX,7o,1i");
    EXPECT_EQ(composed("$$l bytes", {"1"}), "1 bytes");
}

TEST(MsgTemplateComposition, EveryPlainConversionIsPassedOver)
{
    for (const char letter : std::string("Xcdfisux"))
        EXPECT_EQ(composed(std::string("[$$") + letter + "]", {"v"}), "[v]") << letter;
}

TEST(MsgTemplateComposition, AnUnknownLetterStaysAndItsMarkTakesTheNextArgument)
{
    EXPECT_EQ(composed("$$e and $$d", {"7"}), "7e and ");
}

TEST(MsgTemplateComposition, AMarkAtTheEndTakesItsArgument)
{
    EXPECT_EQ(composed("a$$", {"b"}), "ab");
    EXPECT_EQ(composed("a$$-5", {"b"}), "ab");
    EXPECT_EQ(composed("a$", {"b"}), "a$");
    EXPECT_EQ(composed("a$$$", {"b"}), "ab$");
}

TEST(MsgTemplateComposition, TheTemplateEndsAfter2024Characters)
{
    EXPECT_EQ(composed(std::string(2'100, 'x'), {}), std::string(2'024, 'x'));
    // Counted behind the escapes: each pair is one character.
    EXPECT_EQ(composed(repeated("\\n", 2'100), {}), std::string(2'024, '\n'));
    // The mark that the end cuts through is text.
    EXPECT_EQ(composed(std::string(2'023, 'x') + "$$s", {"a"}), std::string(2'023, 'x') + "$");
    EXPECT_EQ(composed(std::string(2'022, 'x') + "$$s", {"a"}), std::string(2'022, 'x') + "a");
}

TEST(MsgTemplateComposition, ArgumentsAreNotLimited)
{
    const std::string large(100'000, 'y');
    EXPECT_EQ(composed("$$s$$s", {large, large}), large + large);
}

TEST(MsgTemplateComposition, ElevenHundredMarksAreCutWithTheTemplate)
{
    // 2,024 characters hold 1,012 marks; the 1,013 pieces fit the table of 1,024.
    EXPECT_EQ(composed(repeated("$$", 1'100), texts(1'100, "v")), std::string(1'012, 'v'));
}

TEST(MsgTemplateComposition, BytesBeyondAsciiStayAsTheyAre)
{
    EXPECT_EQ(composed("\xC3\x28 $$s \xFF", {"\xFE"}), "\xC3\x28 \xFE \xFF");
}

}  // namespace
