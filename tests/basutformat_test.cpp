// tests/basutformat_test.cpp: the printf engine, through the members of the counted string.
#include "basutformat.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <ios>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "message_capture.h"
#include "strobj_tools.h"

// The formats here are made up, some go without arguments, and many are not the compiler's.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

namespace {

using namespace std::string_literals;

/// The engine's text. Many formats here are not the compiler's, which must not see them come in.
template <class... Arguments>
[[gnu::noinline]] std::string made(const char* format, Arguments... arguments)
{
    UT_STROBJ text;
    text.str_format(format, arguments...);
    return text_of(text);
}

/// The runtime's text, with a decimal point.
template <class... Arguments>
std::string printed(const char* format, Arguments... arguments)
{
    const std::string locale = std::setlocale(LC_NUMERIC, nullptr);
    std::setlocale(LC_NUMERIC, "C");
    const int length = std::snprintf(nullptr, 0, format, arguments...);
    std::string text(static_cast<std::size_t>(length), '\0');
    std::snprintf(text.data(), text.size() + 1, format, arguments...);
    std::setlocale(LC_NUMERIC, locale.c_str());
    return text;
}

const std::vector<std::string> k_flags{"", "-", "+", " ", "#", "+-", "# ", "-#", "+ ", "--", "+#-  "};
const std::vector<std::string> k_widths{"", "0", "1", "5", "05", "12", "012", "0012"};
const std::vector<std::string> k_precisions{"", ".", ".0", ".1", ".3", ".03", ".9"};

/// Compares with the runtime: every mixture of flags, width and precision, then `end`.
template <class Value>
void compare_with_runtime(const std::string& end, const std::vector<Value>& values)
{
    for (const std::string& flags : k_flags)
        for (const std::string& width : k_widths)
            for (const std::string& precision : k_precisions)
                for (const Value value : values) {
                    const std::string format = "<%" + flags + width + precision + end + ">";
                    ASSERT_EQ(made(format.c_str(), value), printed(format.c_str(), value)) << format;
                }
}

TEST(Format, IntegersAreThoseOfTheRuntime)
{
    const std::vector<int> values{0, 1, -1, 7, 8, 42, -12345, INT_MAX, INT_MIN};
    for (const char* end : {"d", "i", "hd", "hi"}) compare_with_runtime(end, values);
    const std::vector<unsigned> naturals{0U, 1U, 8U, 255U, 65536U, 4294967295U};
    for (const char* end : {"o", "u", "x", "X", "ho", "hu", "hx", "hX"}) compare_with_runtime(end, naturals);
}

TEST(Format, LongIntegersAreWhole)
{
    const std::vector<long> values{0L, 5'000'000'000L, -5'000'000'000L, LONG_MAX, LONG_MIN};
    for (const char* end : {"ld", "li"}) compare_with_runtime(end, values);
    const std::vector<unsigned long> naturals{0UL, 5'000'000'000UL, ULONG_MAX};
    for (const char* end : {"lo", "lu", "lx", "lX"}) compare_with_runtime(end, naturals);
    EXPECT_EQ(made("%ld", 5'000'000'000L), "5000000000");
    EXPECT_EQ(made("%lx", -1L), "ffffffffffffffff");
}

TEST(Format, RealsAreThoseOfTheRuntime)
{
    const std::vector<double> values{
        0.0,        -0.0,      1.0,        -1.5,
        3.14159265, 1e10,      123456.789, 1e-10,
        1e300,      1.7e308,   5e-324,     0.1,
        2.5,        -INFINITY, INFINITY,   std::numeric_limits<double>::quiet_NaN()};
    for (const char* end : {"e", "E", "f", "g", "G"}) compare_with_runtime(end, values);
}

TEST(Format, RandomRealsAreThoseOfTheRuntime)
{
    std::mt19937_64 random(11);
    for (int round = 0; round < 3'000; ++round) {
        const double anything = std::bit_cast<double>(random());
        const double ordinary =
            std::ldexp(static_cast<double>(random() % 100'000), -static_cast<int>(random() % 24));
        const int precision = 1 + static_cast<int>(random() % 40);
        for (const char* format : {"%.*e", "%.*f", "%.*g", "%+030.*f"})
            for (const double value : {anything, ordinary, -ordinary})
                ASSERT_EQ(made(format, precision, value), printed(format, precision, value))
                    << format << ' ' << precision << ' ' << std::hexfloat << value;
    }
}

TEST(Format, RealsHaveADecimalPointAndOrdinaryWords)
{
    EXPECT_EQ(made("%f|%.2f|%5.1f|%-7.1f|%e|%g", 1.5, 1.5, 1.5, 1.5, 1.5, 1.5),
              "1.500000|1.50|  1.5|1.5    |1.500000e+00|1.5");
    EXPECT_EQ(made("%.0f", 2.5), "2");
    EXPECT_EQ(made("%f %F", 1.0), "1.000000 F");
}

TEST(Format, RealsIgnoreAModifier)
{
    EXPECT_EQ(made("%lf|%hf|%lg|%le", 1.5, 2.5, 3.5, 4.5), "1.500000|2.500000|3.5|4.500000e+00");
}

TEST(Format, LongRealsAreComplete)
{
    EXPECT_EQ(made("%f", 1e300), printed("%f", 1e300));
    EXPECT_EQ(made("%f", 1e300).size(), 308U);
    EXPECT_EQ(made("%.200f", 1e308), printed("%.200f", 1e308));
    EXPECT_EQ(made("%.2000f", 0.5).size(), 2002U);
    for (const int width : {127, 128, 129, 191, 192, 193, 255, 256, 257, 511, 512, 513, 600})
        EXPECT_EQ(made("%*.3f", width, 1.25),
                  std::string(static_cast<std::size_t>(width) - 5, ' ') + "1.250");
}

TEST(Format, PointersAreThoseOfTheRuntime)
{
    int object = 0;
    const std::vector<void*> values{&object, nullptr};
    for (const char* format : {"%p", "%20p", "%-20p|", "%hp", "%lp"})
        for (void* value : values) {
            std::string plain = format;
            plain.erase(
                std::remove_if(plain.begin(), plain.end(), [](char c) { return c == 'h' || c == 'l'; }),
                plain.end());
            EXPECT_EQ(made(format, value), printed(plain.c_str(), value)) << format;
        }
}

TEST(Format, StringsHonourWidthAndPrecision)
{
    EXPECT_EQ(made("%s", "abc"), "abc");
    EXPECT_EQ(made("%5.2s", "abc"), "   ab");
    EXPECT_EQ(made("%-5s|", "abc"), "abc  |");
    EXPECT_EQ(made("%2s", "abc"), "abc");
    EXPECT_EQ(made("%.9s", "abc"), "abc");
    EXPECT_EQ(made("%.0s|%.s|%3.s|", "abc", "abc", "abc"), "||   |");
    EXPECT_EQ(made("%05s", "abc"), "  abc");
    EXPECT_EQ(made("%ls|%hs", "abc", "abc"), "abc|abc");
    const char unterminated[] = {'a', 'b', 'c'};
    EXPECT_EQ(made("%.3s", static_cast<const char*>(unterminated)), "abc");
}

TEST(Format, ANullStringShowsAsAWord)
{
    EXPECT_EQ(made("%s", static_cast<const char*>(nullptr)), "NULL");
    EXPECT_EQ(made("%6s|%-6.2s|", static_cast<const char*>(nullptr), static_cast<const char*>(nullptr)),
              "  NULL|NU    |");
    EXPECT_EQ(made("%S", static_cast<const UT_STROBJ*>(nullptr)), "NULL");
}

TEST(Format, CountedStringsComeByPointerWithTheirNuls)
{
    UT_STROBJ object = string_of("ab\0cd"s);
    EXPECT_EQ(made("<%S>", &object), "<ab\0cd>"s);
    EXPECT_EQ(made("%7S|%-7S|%.3S", &object, &object, &object), "  ab\0cd|ab\0cd  |ab\0"s);
    EXPECT_EQ(made("%lS", &object), "ab\0cd"s);
    EXPECT_EQ(open_string(object).get_num_refs(), 2);  // it stays the caller's
}

TEST(Format, CharactersHaveAWidthOfAtLeastOne)
{
    EXPECT_EQ(made("%c", 'x'), "x");
    EXPECT_EQ(made("%-5c|", 'x'), "x    |");
    EXPECT_EQ(made("%5c", 'x'), "    x");
    EXPECT_EQ(made("%05c", 'x'), "    x");
    EXPECT_EQ(made("%0c%.0c", 'x', 'y'), "xy");
    EXPECT_EQ(made("%c", 0x141), "A");
    EXPECT_EQ(made("a%cb", 0), "a\0b"s);
    EXPECT_EQ(made("%lc%hc", 'x', 'y'), "xy");
}

TEST(Format, ASixtyFourBitModifierIsUnknown)
{
    EXPECT_EQ(made("%lld", 5), "ld");
    EXPECT_EQ(made("%llu %s", "next"), "lu next");
    EXPECT_EQ(made("%hhd", 5), "hd");
    EXPECT_EQ(made("%hld%lhd"), "ldhd");
}

TEST(Format, AnyOtherCharacterStandsForItself)
{
    EXPECT_EQ(made("100%% %d", 5), "100% 5");
    EXPECT_EQ(made("%5%|%-5%|"), "    %|%    |");
    for (const char c : "naAFzjLIDCqbt"s) {
        const std::string format = {'%', c, '%', '3', c};
        EXPECT_EQ(made(format.c_str()), c + "  "s + c) << c;
    }
    EXPECT_EQ(made("%5y"), "    y");
    EXPECT_EQ(made("%\xE4"), "\xE4");
}

TEST(Format, TheEndOfTheFormatInsideAConversionStoresANul)
{
    EXPECT_EQ(made("abc%"), "abc\0"s);
    EXPECT_EQ(made("%5"), "    \0"s);
    EXPECT_EQ(made("%-5"), "\0    "s);
    for (const char* format : {"%", "%h", "%l", "%.3", "%+", "%.", "%05.2l"})
        EXPECT_EQ(made(format).back(), '\0') << format;
    EXPECT_EQ(made("%h"), "\0"s);
}

TEST(Format, TheZeroIsADigitOfTheWidthAndNoFlag)
{
    EXPECT_EQ(made("%05d", 42), "00042");
    EXPECT_EQ(made("%+05ld", 42L), "+0042");
    EXPECT_EQ(made("% 05d", 42), " 0042");
    EXPECT_EQ(made("%+-5d|", 42), "+42  |");
    EXPECT_EQ(made("%-05d|", 42), "42   |");
    EXPECT_EQ(made("%0-5d", 42), "-5d");
    EXPECT_EQ(made("%5+d", 42), "    +d");
    EXPECT_EQ(made("%05.3d", 42), "  042");
    EXPECT_EQ(made("%08.2f", -1.5), "-0001.50");
    EXPECT_EQ(made("%#06x|%#x|%#o|%#.0x|%#.0o", 255U, 0U, 8U, 0U, 0U), "0x00ff|0|010||0");
}

TEST(Format, AStarTakesTheWidth)
{
    EXPECT_EQ(made("%*d|", 5, 42), "   42|");
    EXPECT_EQ(made("%*d|", -5, 42), "42   |");
    EXPECT_EQ(made("%-*d|", -5, 42), "42   |");
    EXPECT_EQ(made("%0*d", 5, 42), "00042");
    EXPECT_EQ(made("%00*d|", -5, 42), "42   |");
    EXPECT_EQ(made("%*s|%*s|", 5, "ab", -5, "ab"), "   ab|ab   |");
    EXPECT_EQ(made("%*c|%*c|", 3, 'x', -3, 'x'), "  x|x  |");
    EXPECT_EQ(made("%*%|", 3), "  %|");
    EXPECT_EQ(made("%*.1f|", -6, 1.5), "1.5   |");
}

TEST(Format, AStarTakesThePrecisionAndBelowOneThereIsNone)
{
    EXPECT_EQ(made("%.*f", 2, 1.5), "1.50");
    EXPECT_EQ(made("%.*f", 0, 1.5), "1.500000");
    EXPECT_EQ(made("%.*f", -3, 1.5), "1.500000");
    EXPECT_EQ(made("%.*s", 0, "abc"), "abc");
    EXPECT_EQ(made("%.*s", 2, "abc"), "ab");
    EXPECT_EQ(made("%.*d", 0, 0), "0");
    EXPECT_EQ(made("%.0d", 0), "");
    EXPECT_EQ(made("%*.*d|", 6, 3, 42), "   042|");
    EXPECT_EQ(made("%.0*d", 3, 42), "042");
    EXPECT_EQ(made("%06.*d", 0, 42), "000042");
}

TEST(Format, MixturesOfDigitsAndStarsDoNoHarm)
{
    EXPECT_EQ(made("%5*d|%s", 42, "next"), "   42|next");
    EXPECT_EQ(made("%*5d|%s", 5, 42, "next"), "   42|next");
    EXPECT_EQ(made("%**d|", 5, 42), "   42|");
}

TEST(Format, ShortModifiersCutTo16Bits)
{
    EXPECT_EQ(made("%hd", 70'000), "4464");
    EXPECT_EQ(made("%hd", 40'000), "-25536");
    EXPECT_EQ(made("%hu", -1), "65535");
    EXPECT_EQ(made("%hX", 0x12345), "2345");
}

TEST(Format, ArgumentsFollowOneAnother)
{
    EXPECT_EQ(made("%d%c%s %.1f %ld %p %u", 1, '-', "two", 3.0, 4L, static_cast<void*>(nullptr), 5U),
              "1-two 3.0 4 " + printed("%p", static_cast<void*>(nullptr)) + " 5");
    EXPECT_EQ(made("%d %d %d %d %d %d %d %d %d %d", 1, 2, 3, 4, 5, 6, 7, 8, 9, 10), "1 2 3 4 5 6 7 8 9 10");
    EXPECT_EQ(made("%g %g %g %g %g %g %g %g %g %g", 1., 2., 3., 4., 5., 6., 7., 8., 9., 10.),
              "1 2 3 4 5 6 7 8 9 10");
    EXPECT_EQ(made("no conversion"), "no conversion");
}

UT_STROBJ& format_by_list(UT_STROBJ& out, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    out.vstr_format(format, args);
    va_end(args);
    return out;
}

TEST(Format, AnArgumentListServesAsWell)
{
    UT_STROBJ text;
    EXPECT_EQ(&format_by_list(text, "%d %s", 5, "five"), &text);
    EXPECT_EQ(text, "5 five");
}

// The first value of the constructors.

/// A string made with a first value; the format is no literal.
template <class... Arguments>
std::string constructed(const char* format, Arguments... arguments)
{
    return text_of(UT_STROBJ(format, arguments...));
}

TEST(FirstValue, EveryTypeHasItsConstructor)
{
    int object = 0;
    EXPECT_EQ(constructed("%s", "abc"), "abc");
    EXPECT_EQ(constructed("%p", static_cast<void*>(&object)), printed("%p", static_cast<void*>(&object)));
    EXPECT_EQ(constructed("%c", 'x'), "x");
    EXPECT_EQ(constructed("%d", short{-5}), "-5");
    EXPECT_EQ(constructed("%u", static_cast<unsigned short>(65535)), "65535");
    EXPECT_EQ(constructed("%d", -5), "-5");
    EXPECT_EQ(constructed("%u", 4'294'967'295U), "4294967295");
    EXPECT_EQ(constructed("%ld", -5'000'000'000L), "-5000000000");
    EXPECT_EQ(constructed("%lu", ULONG_MAX), "18446744073709551615");
    EXPECT_EQ(constructed("%.2f", 1.5), "1.50");
    EXPECT_EQ(constructed("<%S>", string_of("a\0b"s)), "<a\0b>"s);
}

TEST(FirstValue, TheOthersComeFromTheList)
{
    EXPECT_EQ(constructed("%d %s %.1f %c", 1, "two", 3.0, '4'), "1 two 3.0 4");
    EXPECT_EQ(constructed("%s %d", "one", 2), "one 2");
    EXPECT_EQ(constructed("%S %d %s", UT_STROBJ("one"), 2, "three"), "one 2 three");
    EXPECT_EQ(constructed("%c%c", 'a', 'b'), "ab");
    EXPECT_EQ(constructed("%d %d", short{1}, 2), "1 2");
    EXPECT_EQ(constructed("%.1f %.1f %d", 1.0, 2.0, 3), "1.0 2.0 3");
}

TEST(FirstValue, AStarTakesItFirst)
{
    EXPECT_EQ(constructed("%*d|", 5, 42), "   42|");
    EXPECT_EQ(constructed("%.*f|", short{2}, 1.5), "1.50|");
    EXPECT_EQ(constructed("%-*.*s|", 5, 2, "abc"), "ab   |");
}

TEST(FirstValue, IntegersAreWidenedByTheirSign)
{
    EXPECT_EQ(constructed("%d", 'A'), "65");
    EXPECT_EQ(constructed("%ld", static_cast<short>(-1)), "-1");
    EXPECT_EQ(constructed("%ld", -1), "-1");
    EXPECT_EQ(constructed("%ld", 4'294'967'295U), "4294967295");
    EXPECT_EQ(constructed("%c", 0x141), "A");
    EXPECT_EQ(constructed("%hd", 70'000), "4464");
    EXPECT_EQ(constructed("%hx", 0x12345L), "2345");
}

TEST(FirstValue, StringsOfBothKindsServeBothConversions)
{
    EXPECT_EQ(constructed("%s", string_of("ab\0cd"s)), "ab");
    EXPECT_EQ(constructed("%.1s", string_of("ab\0cd"s)), "a");
    EXPECT_EQ(constructed("%S", "abc"), "abc");
    EXPECT_EQ(constructed("%.4S", string_of("ab\0cd"s)), "ab\0c"s);
    EXPECT_EQ(constructed("%s", static_cast<const char*>(nullptr)), "NULL");
}

TEST(FirstValue, AValueOfTheWrongKindTouchesNothing)
{
    EXPECT_EQ(constructed("<%s>", 12345), "<>");
    EXPECT_EQ(constructed("<%S>", 12345), "<>");
    EXPECT_EQ(constructed("<%s>", 1.5), "<>");
    EXPECT_EQ(constructed("%d", 1.5), "0");
    EXPECT_EQ(constructed("%d", "text"), "0");
    EXPECT_EQ(constructed("%.1f", 5), "0.0");
    EXPECT_EQ(constructed("%p", 5), printed("%p", static_cast<void*>(nullptr)));
    EXPECT_EQ(constructed("%p", "text").substr(0, 2), "0x");
    EXPECT_EQ(constructed("%*d", 1.5, 42), "42");
    EXPECT_EQ(constructed("%d %d", "text", 5), "0 5");
}

TEST(FirstValue, AnUnusedValueAndANullFormatAreLawful)
{
    EXPECT_EQ(constructed("plain", 5), "plain");
    EXPECT_EQ(constructed("", 5), "");
    EXPECT_EQ(constructed(static_cast<const char*>(nullptr), 5), "");
    EXPECT_EQ(constructed("%%", 5), "%");
}

TEST(FirstValue, ACountedValueIsReleasedAgain)
{
    const open_string value(UT_STROBJ("abc"));
    EXPECT_EQ(constructed("%S", UT_STROBJ(value)), "abc");
    EXPECT_EQ(value.get_num_refs(), 1);
}

// Blocks.

TEST(FormatBlock, HasTheEstimatedCapacity)
{
    const UT_STROBJ number("%d", 7);
    EXPECT_EQ(area_of(number), 32U);
    EXPECT_EQ(room_of(number), 31U);
    const UT_STROBJ several("ab%d cd%%", 7);
    EXPECT_EQ(area_of(several), 1U + 6 + 3 * 30);
    const UT_STROBJ plain("plain", 0);
    EXPECT_EQ(area_of(plain), 6U);
    EXPECT_EQ(ketriope::estimated_capacity(""), 1U);
}

TEST(FormatBlock, OfAnEmptyFormatIsExact)
{
    for (const char* format : {static_cast<const char*>(nullptr), ""}) {
        const UT_STROBJ text(format, 5);
        EXPECT_EQ(text.length(), 0U);
        EXPECT_EQ(area_of(text), 0U);
    }
}

TEST(FormatBlock, AFieldThatDoesNotFitMakesRoomForItselfAndTwentyMore)
{
    const std::string long_text(100, 'x');
    EXPECT_EQ(room_of(UT_STROBJ("%s", long_text.c_str())), 20U);
    EXPECT_EQ(room_of(UT_STROBJ("%S", UT_STROBJ(long_text.c_str()))), 20U);
    EXPECT_EQ(room_of(UT_STROBJ("%100d", 7)), 20U);
    EXPECT_EQ(room_of(UT_STROBJ("%100c", 'x')), 20U);
    EXPECT_EQ(room_of(UT_STROBJ("%100s", "")), 20U);
    const char* percent = "%100%";
    EXPECT_EQ(area_of(UT_STROBJ(percent, 0)), 120U);
    const std::string fits(32, 'x');
    EXPECT_EQ(room_of(UT_STROBJ("%s", fits.c_str())), 0U);
    EXPECT_EQ(area_of(UT_STROBJ("%s", (fits + 'x').c_str())), 33U + 20);
    EXPECT_EQ(area_of(UT_STROBJ("%s%s", long_text.c_str(), long_text.c_str())), 220U);
}

TEST(FormatBlock, AnOrdinaryCharacterThatDoesNotFitMakesRoomForTwenty)
{
    const std::string fills(33, 'x');
    const UT_STROBJ one("%s.", fills.c_str());
    EXPECT_EQ(area_of(one), 33U + 20);
    EXPECT_EQ(room_of(one), 19U);
    const std::string long_text(100, 'x');
    const std::string format = "%s" + std::string(45, '.');
    UT_STROBJ many;
    many.str_format(format.c_str(), long_text.c_str());
    EXPECT_EQ(area_of(many), 120U + 20 + 20);
    EXPECT_EQ(text_of(many), long_text + std::string(45, '.'));
}

TEST(FormatBlock, ABlockThatHoldsTheEstimateIsUsedAgain)
{
    UT_STROBJ text(32, 'x', 1);
    const char* end = end_of(text);
    text.str_format("%d", 7);
    EXPECT_EQ(text, "7");
    EXPECT_EQ(end_of(text), end);
    EXPECT_EQ(area_of(text), 32U);
    text.str_format("%s", "abc");
    EXPECT_EQ(end_of(text), end);
    EXPECT_EQ(text, "abc");
}

TEST(FormatBlock, ABlockThatIsTooSmallOrSharedIsReplaced)
{
    UT_STROBJ small(31, 'x', 1);
    small.str_format("%d", 7);
    EXPECT_EQ(area_of(small), 32U);
    UT_STROBJ shared(100, 'x', 1);
    const UT_STROBJ sharer(shared);
    shared.str_format("%d", 7);
    EXPECT_EQ(shared, "7");
    EXPECT_EQ(area_of(shared), 32U);
    EXPECT_EQ(sharer, std::string(100, 'x').c_str());
    EXPECT_EQ(room_of(sharer), 0U);
}

TEST(FormatBlock, ABlockInUseGrowsFromItsWholeArea)
{
    UT_STROBJ text(50, 'x', 1);
    const std::string long_text(60, 'y');
    text.str_format("%s", long_text.c_str());
    EXPECT_EQ(text, long_text.c_str());
    EXPECT_EQ(area_of(text), 80U);
}

TEST(FormatBlock, AnEmptyFormatNarrowsWithoutCopying)
{
    for (const char* format : {static_cast<const char*>(nullptr), ""}) {
        UT_STROBJ text("abc");
        const UT_STROBJ sharer(text);
        text.str_format(format);
        EXPECT_EQ(text, "");
        EXPECT_TRUE(share_text(text, sharer));
        EXPECT_EQ(sharer, "abc");
    }
}

TEST(FormatBlock, ArgumentsMayLieInTheStringThatIsRewritten)
{
    UT_STROBJ small("abc");
    small.str_format("%s!", small.getstring());
    EXPECT_EQ(small, "abc!");
    UT_STROBJ reused(100, 'x', 1);
    const char* end = end_of(reused);
    reused = "abc";
    const char* parts = "<%s|%s|%S>";
    reused.str_format(parts, reused.getstring(), reused.getstring() + 1, &reused);
    EXPECT_EQ(reused, "<abc|bc|abc>");
    EXPECT_EQ(end_of(reused), end);
    UT_STROBJ shared("abc");
    const UT_STROBJ sharer(shared);
    const char* twice = "%S%S";
    shared.str_format(twice, &shared, &sharer);
    EXPECT_EQ(shared, "abcabc");
    EXPECT_EQ(sharer, "abc");
}

TEST(FormatBlock, VeryLongTextsAreComplete)
{
    const std::string long_text(3'000'000, 'x');
    UT_STROBJ text;
    text.str_format("<%s|%s>", long_text.c_str(), "end");
    EXPECT_EQ(text_of(text), "<" + long_text + "|end>");
    text.str_format("%d", 1);
    EXPECT_EQ(text, "1");
}

// Failure.

/// Puts a formatter of reals in place that fails as it does for a field too long.
class failing_reals {
public:
    failing_reals() : table_(ketriope::platform::os())
    {
        table_.format_real = [](char*, std::size_t, const char*, double) { return -1; };
        ketriope::platform::use_operations(&table_);
    }

private:
    ketriope::platform::operations table_;
};

TEST(FormatFailure, AFieldTooLongForTheMemoryBreaksTheContractOnBothRoutes)
{
    message_capture capture;  // brings the platform's own functions back, too
    const failing_reals failing;
    UT_STROBJ text("before");
    EXPECT_THROW(text.str_format("%#f", 1.0), int);
    EXPECT_EQ(capture.last(), (post{"common", "0000", "basutstrobj", "system runs out of memory"}));
    EXPECT_EQ(text, "before");
    capture.use_legacy_flow();
    EXPECT_EQ(capture.exit_value_of([&] { text.str_format("%#f", 1.0); }), 19);
    EXPECT_EQ(text, "before");
}

TEST(FormatFailure, AWidthBeyondWhatTheRuntimePrintsIsReported)
{
    const message_capture capture;
    EXPECT_THROW(made("%#*f", INT_MIN, 1.0), int);
    EXPECT_EQ(capture.last().text, "system runs out of memory");
}

TEST(FormatFailure, NumbersBeyondAnIntAreCut)
{
    const char* value = "abc";
    EXPECT_EQ(made("%.99999999999999999999s", value), "abc");
    EXPECT_EQ(made("%.4294967297s", value), "abc");
}

}  // namespace
