// tests/basutstreamtext_test.cpp: pieces that end with a terminator, and formatted text.
#include <algorithm>
#include <climits>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "basutstream.h"
#include "stream_tools.h"

namespace {

using namespace std::string_literals;
using ketriope::stream_key;

constexpr int k_least_buffer = 2048;

class UtStreamText : public stream_file_test {};

/// What a reader stored in `n` bytes, and what it returned; bytes it did not touch are '?'.
struct stored {
    int count;
    std::string bytes;
    bool operator==(const stored&) const = default;
};
std::ostream& operator<<(std::ostream& out, const stored& shown)
{
    return out << shown.count << ' ' << testing::PrintToString(shown.bytes);
}
template <class Read>
stored result_of(int n, Read read)
{
    std::string bytes(static_cast<std::size_t>(std::max(n, 0)) + 1, '?');
    const int count = read(bytes.data());
    EXPECT_EQ(bytes.back(), '?') << "written behind the caller's memory";
    bytes.pop_back();
    return {count, bytes};
}
stored line_of(UT_STREAM& stream, int n)
{
    return result_of(n, [&](char* out) { return stream.readline(out, n); });
}
stored token_of(UT_STREAM& stream, int n)
{
    return result_of(n, [&](char* out) { return stream.readtoken(out, n); });
}
stored string_of(UT_STREAM& stream, int n)
{
    return result_of(n, [&](char* out) { return stream.readstring(out, n); });
}
stored key_of(UT_STREAM& stream, int n, const stream_key& key)
{
    return result_of(n, [&](char* out) { return stream.readkey(out, n, key); });
}
stored peeked_key_of(UT_STREAM& stream, int n, const stream_key& key)
{
    return result_of(n, [&](char* out) { return stream.peekkey(out, n, key); });
}

// ---- keys

TEST(StreamKey, IsTheFirstByteAndTheRestUpToANul)
{
    const auto bytes = [](const stream_key& key) { return std::string(key.first(), key.count()); };
    EXPECT_EQ(bytes(""), "\0"s);
    EXPECT_EQ(bytes("\n"), "\n");
    EXPECT_EQ(bytes("\0\t\n\r "), "\0\t\n\r "s);
    EXPECT_EQ(bytes("ab\0c"), "ab");
    const char exact[3] = {'a', 'b', 'c'};
    EXPECT_EQ(bytes(exact), "abc");
    const char one[1] = {'x'};
    EXPECT_EQ(bytes(one), "x");
    char variable[8] = "\0;";
    EXPECT_EQ(bytes(variable), "\0;"s);

    const char* pointer = "\n";
    EXPECT_EQ(bytes(pointer), "\n");
    pointer = "\0\0";
    EXPECT_EQ(bytes(pointer), "\0"s);
    pointer = "\0ab";
    EXPECT_EQ(bytes(pointer), "\0ab"s);
    char* changeable = variable;
    EXPECT_EQ(bytes(changeable), "\0;"s);
}

TEST_F(UtStreamText, ReadkeyStoresAndCountsTheTerminator)
{
    read_back("ab,cd;e\0f,"s, [](UT_STREAM& stream) {
        EXPECT_EQ(key_of(stream, 5, ","), (stored{3, "ab,??"}));
        EXPECT_EQ(key_of(stream, 5, ",;"), (stored{3, "cd;??"}));
        EXPECT_EQ(key_of(stream, 5, ""), (stored{2, "e\0???"s}));
        EXPECT_EQ(key_of(stream, 2, ","), (stored{2, "f,"}));
        EXPECT_FALSE(stream.geteof());
        EXPECT_EQ(key_of(stream, 2, ","), (stored{0, "??"}));
        EXPECT_TRUE(stream.geteof());
    });
}

TEST_F(UtStreamText, ReadkeyDoesNotStopAtANulThatIsNoTerminator)
{
    read_back("a\0b\n"s, [](UT_STREAM& stream) {
        EXPECT_EQ(key_of(stream, 9, "\n"), (stored{4, "a\0b\n?????"s}));
    });
    read_back("ab\0"s, [](UT_STREAM& stream) {
        EXPECT_EQ(key_of(stream, 9, "\0b"), (stored{2, "ab???????"}));
    });
}

TEST_F(UtStreamText, ReadkeyStopsAtNBytes)
{
    read_back("abcdef", [](UT_STREAM& stream) {
        EXPECT_EQ(key_of(stream, 4, "\n"), (stored{4, "abcd"}));
        EXPECT_EQ(key_of(stream, 0, "\n"), (stored{0, ""}));
        EXPECT_EQ(key_of(stream, -1, "\n"), (stored{0, ""}));
        EXPECT_EQ(key_of(stream, 2, "\n"), (stored{2, "ef"}));
        EXPECT_FALSE(stream.geteof());
    });
}

TEST_F(UtStreamText, ReadkeyCountsOneMoreAtTheEndForItsNul)
{
    read_back("abc", [](UT_STREAM& stream) {
        EXPECT_EQ(key_of(stream, 9, "\n"), (stored{4, "abc\0?????"s}));
        EXPECT_TRUE(stream.geteof());
        EXPECT_EQ(key_of(stream, 9, "\n"), (stored{0, "?????????"}));
    });
    read_back("abc", [](UT_STREAM& stream) { EXPECT_EQ(key_of(stream, 4, "\n"), (stored{4, "abc\0"s})); });
}

TEST_F(UtStreamText, PiecesOfEveryLengthCrossTheBorder)
{
    for (const int length : {1, 2046, 2047, 2048, 2049, 4095, 4096, 4097}) {
        const std::string piece = varied_text(static_cast<std::size_t>(length)) + '\n';
        const std::string again = piece + piece + "rest";
        for (const char* key : {"\n", "\n\t", "\0\n"}) {
            read_back(again, [&](UT_STREAM& stream) {
                for (int i = 0; i < 2; ++i) {
                    const stored got = key_of(stream, 5'000, key);
                    EXPECT_EQ(got.count, length + 1);
                    EXPECT_TRUE(got.bytes.substr(0, piece.size()) == piece);
                }
                EXPECT_EQ(key_of(stream, 9, key), (stored{5, "rest\0????"s}));
            });
        }
    }
}

TEST_F(UtStreamText, ReadkeyTakesUnsignedBytesToo)
{
    read_back("ab\xff"
              "c",
              [](UT_STREAM& stream) {
                  unsigned char out[4] = {};
                  EXPECT_EQ(stream.peekkey(out, 4, "\xff"), 3);
                  EXPECT_EQ(stream.readkey(out, 4, "\xff"), 3);
                  EXPECT_EQ(out[2], 0xff);
              });
}

TEST_F(UtStreamText, PeekkeyTellsWhatReadkeyWouldStore)
{
    read_back("ab,cd", [](UT_STREAM& stream) {
        EXPECT_EQ(peeked_key_of(stream, 9, ",").count, 3);
        EXPECT_EQ(peeked_key_of(stream, 9, ",").bytes.substr(0, 3), "ab,");
        EXPECT_EQ(peeked_key_of(stream, 2, ",").count, 3);
        EXPECT_EQ(peeked_key_of(stream, 3, ",").count, 3);
        EXPECT_EQ(peeked_key_of(stream, 9, ";").count, 10);
        EXPECT_EQ(peeked_key_of(stream, 0, ",").count, 0);
        EXPECT_EQ(peeked_key_of(stream, -1, ",").count, 0);
        EXPECT_EQ(read_text(stream, 5), "ab,cd");
        EXPECT_EQ(peeked_key_of(stream, 4, ",").count, 5);
        EXPECT_FALSE(stream.geteof());
        EXPECT_EQ(read_text(stream, 1), "");
        EXPECT_EQ(peeked_key_of(stream, 4, ",").count, 0);
    });
    written([](UT_STREAM& stream) {
        write_text(stream, "ab,cd");
        EXPECT_EQ(peeked_key_of(stream, 4, ",").count, 0);
    });
}

TEST_F(UtStreamText, PeekkeyLooksBeyondTheBuffer)
{
    const std::string text = varied_text(2'046) + "ab,cd";
    read_back(text, [&](UT_STREAM& stream) {
        stream.skip(2'046);
        const stored seen = peeked_key_of(stream, 4, ",");
        EXPECT_EQ(seen.count, 3);
        EXPECT_EQ(seen.bytes.substr(0, 3), "ab,");
        EXPECT_EQ(key_of(stream, 3, ","), (stored{3, "ab,"}));
        EXPECT_EQ(key_of(stream, 3, ","), (stored{3, "cd\0"s}));
    });
}

// ---- lines

TEST_F(UtStreamText, ReadlineTakesTheLineEndOff)
{
    for (const std::string end : {"\r\n", "\n", ""})
        read_back("abc" + end, [](UT_STREAM& stream) {
            const stored line = line_of(stream, 10);
            EXPECT_EQ(line.count, 4);
            EXPECT_EQ(line.bytes.substr(0, 4), "abc\0"s);
            EXPECT_EQ(line_of(stream, 10).count, 0);
        });
}

TEST_F(UtStreamText, ReadlineOfLessThanTwoBytesStoresNothing)
{
    read_back("abc\n", [](UT_STREAM& stream) {
        EXPECT_EQ(line_of(stream, 1), (stored{0, "?"}));
        EXPECT_EQ(line_of(stream, 0), (stored{0, ""}));
        EXPECT_EQ(line_of(stream, -4), (stored{0, ""}));
        EXPECT_EQ(line_of(stream, 2), (stored{1, "a\0"s}));
    });
}

TEST_F(UtStreamText, ReadlineAlwaysEndsTheCallersMemory)
{
    read_back("", [](UT_STREAM& stream) { EXPECT_EQ(line_of(stream, 5), (stored{0, "????\0"s})); });
}

TEST_F(UtStreamText, ALineThatIsTooLongGoesOnInTheNextOne)
{
    read_back("abcdefg\nh\n", [](UT_STREAM& stream) {
        EXPECT_EQ(line_of(stream, 5), (stored{4, "abcd\0"s}));
        EXPECT_EQ(line_of(stream, 5), (stored{4, "efg\0\0"s}));
        EXPECT_EQ(line_of(stream, 5), (stored{2, "h\0??\0"s}));
    });
    read_back("abcd\nx", [](UT_STREAM& stream) {
        EXPECT_EQ(line_of(stream, 5), (stored{4, "abcd\0"s}));
        EXPECT_EQ(line_of(stream, 5), (stored{1, "\0???\0"s}));
        EXPECT_EQ(line_of(stream, 5), (stored{2, "x\0??\0"s}));
    });
}

TEST_F(UtStreamText, AtTheEndOfTheFileACarriageReturnStays)
{
    read_back("ab\r", [](UT_STREAM& stream) { EXPECT_EQ(line_of(stream, 6), (stored{4, "ab\r\0?\0"s})); });
}

TEST_F(UtStreamText, OnlyTheCarriageReturnInFrontOfTheLineFeedGoes)
{
    read_back("a\r\r\n\r\n\nb\rc\n", [](UT_STREAM& stream) {
        EXPECT_STREQ(line_of(stream, 9).bytes.c_str(), "a\r");
        EXPECT_EQ(line_of(stream, 9).count, 1);
        EXPECT_EQ(line_of(stream, 9), (stored{1, "\0???????\0"s}));
        EXPECT_STREQ(line_of(stream, 9).bytes.c_str(), "b\rc");
    });
}

TEST_F(UtStreamText, ANulWithinALineShortensTheResult)
{
    read_back("ab\0cd\nef\n"s, [](UT_STREAM& stream) {
        EXPECT_EQ(line_of(stream, 9), (stored{3, "ab\0cd\0??\0"s}));
        EXPECT_EQ(line_of(stream, 9).count, 3);
        EXPECT_EQ(line_of(stream, 9).count, 0);
    });
}

TEST_F(UtStreamText, LinesOfEveryLengthAroundTheBorders)
{
    std::string all;
    const std::vector<int> lengths{0, 1, 2046, 2047, 2048, 2049, 0, 4095, 4096, 4097, 3};
    for (const std::string end : {"\n", "\r\n"}) {
        for (const int length : lengths) all += varied_text(static_cast<std::size_t>(length)) + end;
        read_back(all, [&](UT_STREAM& stream) {
            for (const int length : lengths) {
                const stored line = line_of(stream, 5'000);
                EXPECT_EQ(line.count, length + 1);
                EXPECT_EQ(std::string(line.bytes.c_str()), varied_text(static_cast<std::size_t>(length)));
            }
            EXPECT_EQ(line_of(stream, 5'000).count, 0);
        });
        all.clear();
    }
}

TEST_F(UtStreamText, ALineTouchesNothingBehindItsEnd)
{
    for (std::size_t length = 0; length < 140; ++length) {
        const std::string text = varied_text(length);
        read_back(text + '\n' + std::string(200, 'x'), [&](UT_STREAM& stream) {
            const stored line = line_of(stream, 300);
            EXPECT_EQ(line, (stored{static_cast<int>(length) + 1,
                                    text + '\0' + std::string(298 - length, '?') + '\0'}));
            EXPECT_EQ(read_text(stream, 1), "x");
        });
    }
}

TEST_F(UtStreamText, ANulIsSeenAtEveryPlaceOfALine)
{
    for (std::size_t at = 0; at < 100; ++at) {
        std::string text = varied_text(100);
        text[at] = '\0';
        read_back(text + "\r\n" + std::string(200, 'x'), [&](UT_STREAM& stream) {
            const stored line = line_of(stream, 300);
            EXPECT_EQ(line.count, static_cast<int>(at) + 1);
            EXPECT_EQ(line.bytes.substr(0, 101), text + '\0');
            EXPECT_EQ(read_text(stream, 1), "x");
        });
    }
}

TEST_F(UtStreamText, ALineOfEveryLengthAgainstMemoryOfEverySize)
{
    for (int length = 25; length < 40; ++length) {
        const std::string text = varied_text(static_cast<std::size_t>(length));
        for (int n = 25; n < 42; ++n) {
            read_back(text + '\n' + std::string(200, 'x'), [&](UT_STREAM& stream) {
                const int stored_bytes = std::min(length, n - 1);
                const stored line = line_of(stream, n);
                EXPECT_EQ(line.count, length < n - 1 ? length + 1 : n - 1) << length << ' ' << n;
                EXPECT_EQ(std::string(line.bytes.c_str()),
                          text.substr(0, static_cast<std::size_t>(stored_bytes)));
            });
        }
    }
}

// ---- strings

TEST_F(UtStreamText, ReadstringReadsThroughTheNul)
{
    read_back("abc\0\0de"s, [](UT_STREAM& stream) {
        EXPECT_EQ(string_of(stream, 9), (stored{3, "abc\0?????"s}));
        EXPECT_EQ(string_of(stream, 9), (stored{0, "\0????????"s}));
        EXPECT_EQ(string_of(stream, 9), (stored{2, "de\0??????"s}));
        EXPECT_EQ(string_of(stream, 9), (stored{0, "\0????????"s}));
    });
}

TEST_F(UtStreamText, ReadstringPutsTheNulOverTheLastOfNBytes)
{
    read_back("abcdef\0"s, [](UT_STREAM& stream) {
        EXPECT_EQ(string_of(stream, 4), (stored{3, "abc\0"s}));
        EXPECT_EQ(string_of(stream, 0), (stored{0, ""}));
        EXPECT_EQ(string_of(stream, 4), (stored{2, "ef\0?"s}));
    });
}

TEST_F(UtStreamText, WrittenStringsComeBack)
{
    const std::string longest = varied_text(5'000);
    read_back(written([&](UT_STREAM& stream) {
                  EXPECT_EQ(stream.writestring("abc"), 4);
                  EXPECT_EQ(stream.writestring(""), 1);
                  EXPECT_EQ(stream.writestring("a\nb"), 4);
                  EXPECT_EQ(stream.writestring(longest.c_str()), 5'001);
                  EXPECT_EQ(stream.writestring(nullptr), 0);
              }),
              [&](UT_STREAM& stream) {
                  EXPECT_STREQ(string_of(stream, 9).bytes.c_str(), "abc");
                  EXPECT_EQ(string_of(stream, 9).count, 0);
                  EXPECT_STREQ(string_of(stream, 9).bytes.c_str(), "a\nb");
                  EXPECT_TRUE(string_of(stream, 6'000).bytes.c_str() == longest);
              });
}

// ---- words

TEST_F(UtStreamText, ReadtokenSkipsWhiteSpaceAndTakesOneTerminator)
{
    read_back(" \t\v\f\r\n one two\tthree\nfour\r\n\nfive\0six"s, [](UT_STREAM& stream) {
        for (const char* word : {"one", "two", "three", "four", "five", "six"}) {
            const stored token = token_of(stream, 20);
            EXPECT_EQ(token.count, static_cast<int>(std::strlen(word)));
            EXPECT_STREQ(token.bytes.c_str(), word);
        }
        EXPECT_TRUE(stream.geteof());
        EXPECT_EQ(token_of(stream, 3), (stored{0, "\0??"s}));
    });
}

TEST_F(UtStreamText, TheLineFeedBehindACarriageReturnGoesWithTheWord)
{
    for (const int before : {0, 2'043, 2'044, 2'045}) {
        read_back(varied_text(static_cast<std::size_t>(before)) + " ab\r\ncd", [&](UT_STREAM& stream) {
            stream.skip(before);
            EXPECT_EQ(token_of(stream, 9).count, 2);
            EXPECT_EQ(stream.getfoffset(), before + 5);
            EXPECT_FALSE(stream.geteof());
            EXPECT_EQ(read_text(stream, 9), "cd");
        });
    }
    read_back("ab\r", [](UT_STREAM& stream) {
        EXPECT_EQ(token_of(stream, 9).count, 2);
        EXPECT_EQ(stream.getfoffset(), 3);
        EXPECT_FALSE(stream.geteof());
    });
    read_back("ab\rc", [](UT_STREAM& stream) {
        EXPECT_EQ(token_of(stream, 9).count, 2);
        EXPECT_EQ(read_text(stream, 9), "c");
    });
}

TEST_F(UtStreamText, VerticalTabAndFormFeedDoNotEndAWord)
{
    read_back("\va\vb\fc d",
              [](UT_STREAM& stream) { EXPECT_STREQ(token_of(stream, 9).bytes.c_str(), "a\vb\fc"); });
}

TEST_F(UtStreamText, AWordThatFillsTheMemoryLosesItsLastByte)
{
    read_back("abcdefgh", [](UT_STREAM& stream) {
        EXPECT_EQ(token_of(stream, 4), (stored{3, "abc\0"s}));
        EXPECT_EQ(token_of(stream, 4), (stored{3, "efg\0"s}));
        EXPECT_EQ(token_of(stream, 1), (stored{0, "\0"s}));
    });
    read_back("x", [](UT_STREAM& stream) {
        EXPECT_EQ(token_of(stream, 0), (stored{0, ""}));
        EXPECT_EQ(token_of(stream, -1), (stored{0, ""}));
        EXPECT_EQ(token_of(stream, 1), (stored{0, "\0"s}));
    });
}

TEST_F(UtStreamText, WordsAreOnlyWhiteSpaceAtTheEnd)
{
    read_back("a  \n\t", [](UT_STREAM& stream) {
        EXPECT_EQ(token_of(stream, 5).count, 1);
        EXPECT_FALSE(stream.geteof());
        EXPECT_EQ(token_of(stream, 5), (stored{0, "\0????"s}));
        EXPECT_TRUE(stream.geteof());
    });
    read_back("", [](UT_STREAM& stream) { EXPECT_EQ(token_of(stream, 2), (stored{0, "\0?"s})); });
    read_back("\0x"s, [](UT_STREAM& stream) {
        EXPECT_EQ(token_of(stream, 5).count, 0);
        EXPECT_FALSE(stream.geteof());
        EXPECT_EQ(token_of(stream, 5).count, 1);
    });
}

TEST_F(UtStreamText, BytesAbove127AreNoWhiteSpace)
{
    read_back("\xa0\x85 \xff", [](UT_STREAM& stream) {
        EXPECT_STREQ(token_of(stream, 5).bytes.c_str(), "\xa0\x85");
        EXPECT_STREQ(token_of(stream, 5).bytes.c_str(), "\xff");
    });
}

TEST_F(UtStreamText, WordsOfEveryLengthAroundTheBorders)
{
    std::string all;
    const std::vector<int> lengths{1, 2046, 2047, 2048, 2049, 4095, 4096, 4097, 3};
    for (const int length : lengths) all += "  " + varied_text(static_cast<std::size_t>(length)) + "\r\n";
    read_back(all, [&](UT_STREAM& stream) {
        for (const int length : lengths) {
            const stored token = token_of(stream, 5'000);
            EXPECT_EQ(token.count, length);
            EXPECT_EQ(std::string(token.bytes.c_str()), varied_text(static_cast<std::size_t>(length)));
        }
        EXPECT_EQ(token_of(stream, 5'000).count, 0);
    });
}

// ---- writers

TEST_F(UtStreamText, WritelineAddsCarriageReturnAndLineFeedAndExpandsNothing)
{
    EXPECT_EQ(written([](UT_STREAM& stream) {
                  EXPECT_EQ(stream.writeline("abc"), 5);
                  EXPECT_EQ(stream.writeline(""), 2);
                  EXPECT_EQ(stream.writeline("a\nb 100%n"), 11);
                  EXPECT_EQ(stream.writeline(nullptr), 0);
              }),
              "abc\r\n\r\na\nb 100%n\r\n");
}

TEST_F(UtStreamText, WritetokenPutsABlankInPlaceOfTheNulForAWhile)
{
    char word[] = "abc";
    char empty[] = "";
    EXPECT_EQ(written([&](UT_STREAM& stream) {
                  EXPECT_EQ(stream.writetoken(word), 4);
                  EXPECT_EQ(stream.writetoken(empty), 1);
                  EXPECT_EQ(stream.writetoken(word), 4);
                  EXPECT_EQ(stream.writetoken(nullptr), 0);
              }),
              "abc  abc ");
    EXPECT_STREQ(word, "abc");
    EXPECT_STREQ(empty, "");
}

TEST_F(UtStreamText, EveryTypeHasItsFormat)
{
    EXPECT_EQ(written([](UT_STREAM& stream) {
                  stream << 'c' << static_cast<unsigned char>('u') << ' ' << static_cast<short>(-32768) << ' '
                         << static_cast<unsigned short>(65535) << ' ' << INT_MIN << ' ' << UINT_MAX << ' '
                         << -2'147'483'648L << ' ' << 4'294'967'295ul << ' '
                         << reinterpret_cast<void*>(0x7fff12345678abcd) << ' ' << static_cast<void*>(nullptr)
                         << ' ' << ut_uint64{18'446'744'073'709'551'615u} << ' ' << ut_uint64{0} << " text";
              }),
              "cu -32768 65535 -2147483648 4294967295 -2147483648 4294967295 5678abcd 0 "
              "18446744073709551615 0 text");
    if constexpr (sizeof(long) > 4) {
        EXPECT_EQ(written([](UT_STREAM& stream) { stream << LONG_MIN << ' ' << ULONG_MAX; }),
                  "-9223372036854775808 18446744073709551615");
    }
}

TEST_F(UtStreamText, EveryLineFeedGoesOutBehindACarriageReturn)
{
    const auto text = [this](const char* given) {
        return written([&](UT_STREAM& stream) { stream << given; });
    };
    EXPECT_EQ(text("\n"), "\r\n");
    EXPECT_EQ(text("a\nb\n\nc"), "a\r\nb\r\n\r\nc");
    EXPECT_EQ(text("\r\n"), "\r\r\n");
    EXPECT_EQ(text(""), "");
    EXPECT_EQ(text("100% %n %s"), "100% %n %s");
    EXPECT_EQ(text(nullptr), "");
    EXPECT_EQ(written([](UT_STREAM& stream) { stream << '\n'
                                                     << static_cast<unsigned char>('\n'); }),
              "\r\n\r\n");
    EXPECT_EQ(
        written([](UT_STREAM& stream) { stream << 'a' << '\0' << static_cast<unsigned char>(0) << 'b'; }),
        "ab");
    EXPECT_EQ(written([](UT_STREAM& stream) { stream << '\xff' << static_cast<unsigned char>(0x80); }),
              "\xff\x80");
}

TEST_F(UtStreamText, LongTextWithLineFeedsCrossesTheBorder)
{
    for (std::size_t length = 2'044; length < 2'050; ++length) {
        const std::string text = varied_text(length) + '\n' + varied_text(length);
        EXPECT_TRUE(written([&](UT_STREAM& stream) { stream << text.c_str(); }) ==
                    varied_text(length) + "\r\n" + varied_text(length));
    }
}

bool was_called = false;
std::ostream& tell_of_the_call(std::ostream& out)
{
    was_called = true;
    return out;
}

TEST_F(UtStreamText, AManipulatorEndsTheLineAndFlushesAndIsNotCalled)
{
    const descriptor file(path, k_to_write);
    UT_STREAM stream(file, UT_ACCESS_WRITE, k_least_buffer, nullptr);
    stream << "a" << std::endl;
    EXPECT_EQ(file_bytes(path), "a\r\n");
    stream << "b" << tell_of_the_call;
    EXPECT_EQ(file_bytes(path), "a\r\nb\r\n");
    EXPECT_FALSE(was_called);
}

}  // namespace
