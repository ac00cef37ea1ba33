// tests/basutstrobjio_test.cpp: how a counted string goes to a stream and comes back.
#include <cstdint>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "basutstream.h"
#include "basutstrobj.h"
#include "stream_tools.h"
#include "strobj_tools.h"

namespace {

using namespace std::string_literals;

class UtStrobjIo : public stream_file_test {};

/// A stream whose device fails.
class failing_stream {
public:
    failing_stream()
        : full_(::open("/dev/full", O_RDWR | O_CLOEXEC)), stream(full_, UT_ACCESS_WRITE, 2048, nullptr)
    {
    }

private:
    const descriptor full_;

public:
    UT_STREAM stream;
};

TEST_F(UtStrobjIo, WritesALengthOfFourBytesAndAllCharacters)
{
    EXPECT_EQ(written([](UT_STREAM& stream) { EXPECT_TRUE(UT_STROBJ("abc").write_strobj(stream)); }),
              "\0\0\0\3abc"s);
    EXPECT_EQ(written([](UT_STREAM& stream) { EXPECT_TRUE(string_of("a\0b"s).write_strobj(stream)); }),
              "\0\0\0\3a\0b"s);
    EXPECT_EQ(written([](UT_STREAM& stream) { EXPECT_TRUE(UT_STROBJ().write_strobj(stream)); }), "\0\0\0\0"s);
    const std::string long_text(70'000, 'x');
    EXPECT_EQ(written([&](UT_STREAM& stream) { UT_STROBJ(long_text.c_str()).write_strobj(stream); }),
              "\0\1\x11\x70"s + long_text);
}

TEST_F(UtStrobjIo, ReadsWhatItWrote)
{
    const std::string long_text(70'000, 'x');
    const auto bytes = written([&](UT_STREAM& stream) {
        string_of("a\0b"s).write_strobj(stream);
        UT_STROBJ().write_strobj(stream);
        UT_STROBJ(long_text.c_str()).write_strobj(stream);
    });
    read_back(bytes, [&](UT_STREAM& stream) {
        UT_STROBJ text("old");
        EXPECT_TRUE(text.read_strobj(stream));
        EXPECT_EQ(text_of(text), "a\0b"s);
        EXPECT_TRUE(text.read_strobj(stream));
        EXPECT_EQ(text, "");
        EXPECT_TRUE(text.read_strobj(stream));
        EXPECT_EQ(text_of(text), long_text);
        EXPECT_TRUE(text.read_strobj(stream));  // the end of the file
        EXPECT_EQ(text, "");
    });
}

TEST_F(UtStrobjIo, ReadsIntoABlockThatHasTheRoom)
{
    read_back("abcdefgh", [](UT_STREAM& stream) {
        UT_STROBJ text("123456");
        const char* end = end_of(text);
        EXPECT_TRUE(text.read_nbytes(stream, 4));
        EXPECT_EQ(text, "abcd");
        EXPECT_EQ(end_of(text), end);
        EXPECT_EQ(room_of(text), 2U);
        EXPECT_TRUE(text.read_nbytes(stream, 0));
        EXPECT_EQ(text, "");
        EXPECT_EQ(end_of(text), end);
    });
}

TEST_F(UtStrobjIo, ReadsIntoAnExactBlockWhenTheOldOneIsTooSmallOrShared)
{
    read_back("abcdefgh", [](UT_STREAM& stream) {
        UT_STROBJ text("123");
        EXPECT_TRUE(text.read_nbytes(stream, 4));
        EXPECT_EQ(text, "abcd");
        EXPECT_EQ(room_of(text), 0U);
        const UT_STROBJ sharer(text);
        EXPECT_TRUE(text.read_nbytes(stream, 2));
        EXPECT_EQ(text, "ef");
        EXPECT_EQ(sharer, "abcd");
        EXPECT_EQ(room_of(text), 0U);
    });
}

TEST_F(UtStrobjIo, CharactersThatTheFileLacksAreNul)
{
    for (const char* old : {"", "a text that is long enough"})
        read_back("ab", [&](UT_STREAM& stream) {
            UT_STROBJ text(old);
            EXPECT_TRUE(text.read_nbytes(stream, 5));
            EXPECT_EQ(text_of(text), "ab\0\0\0"s);
            EXPECT_EQ(text.getstring()[5], '\0');
        });
    read_back("\0\0\0\x9"
              "abc"s,
              [](UT_STREAM& stream) {
                  UT_STROBJ text;
                  EXPECT_TRUE(text.read_strobj(stream));
                  EXPECT_EQ(text_of(text), "abc\0\0\0\0\0\0"s);
              });
}

TEST_F(UtStrobjIo, AForgedLengthGivesTheEmptyString)
{
    for (const std::string& length : {"\xFF\xFF\xFF\xFF"s, "\x7F\xFF\xFF\xFF"s, "\x80\0\0\0"s, "\x04\0\0\1"s})
        read_back(length + "abc", [](UT_STREAM& stream) {
            UT_STROBJ text("old");
            EXPECT_FALSE(text.read_strobj(stream));
            EXPECT_EQ(text_of(text), "");
            EXPECT_STREQ(text.getstring(), "");
            EXPECT_EQ(stream.geterror(), 0);
        });
    read_back("abc", [](UT_STREAM& stream) {
        UT_STROBJ text("old");
        EXPECT_FALSE(text.read_nbytes(stream, ~ut_uint64{0}));
        EXPECT_EQ(text_of(text), "");
    });
}

TEST_F(UtStrobjIo, ALongTextThatIsThereIsRead)
{
    std::string bytes(70'000'000, 'x');  // past what is believed without proof
    bytes.front() = '<';
    bytes.back() = '>';
    read_back(bytes, [&](UT_STREAM& stream) {
        UT_STROBJ text;
        EXPECT_TRUE(text.read_nbytes(stream, bytes.size()));
        EXPECT_TRUE(text_of(text) == bytes);
        EXPECT_EQ(room_of(text), 0U);
    });
}

TEST_F(UtStrobjIo, ALengthCutOffByTheEndOfTheFileIsZero)
{
    read_back("\0\0\1"s, [](UT_STREAM& stream) {
        UT_STROBJ text("old");
        EXPECT_TRUE(text.read_strobj(stream));
        EXPECT_EQ(text_of(text), "");
    });
}

// Lines.

std::string line_of(UT_STREAM& stream, char delim = '\n')
{
    UT_STROBJ line("old text");
    EXPECT_TRUE(line.read_line(stream, delim));
    return text_of(line);
}

TEST_F(UtStrobjIo, ReadsLinesWithoutTheirDelimiter)
{
    read_back("one\n\ntwo\r\nlast", [](UT_STREAM& stream) {
        EXPECT_EQ(line_of(stream), "one");
        EXPECT_EQ(line_of(stream), "");
        EXPECT_EQ(line_of(stream), "two\r");
        EXPECT_FALSE(stream.geteof());
        EXPECT_EQ(line_of(stream), "last");  // without the NUL that the stream puts behind it
        EXPECT_TRUE(stream.geteof());
        EXPECT_EQ(line_of(stream), "");
    });
}

TEST_F(UtStrobjIo, JoinsThePiecesOfALongLine)
{
    for (const std::size_t length : {253U, 254U, 255U, 256U, 509U, 510U, 511U, 10'000U}) {
        const std::string line(length, 'x');
        read_back(line + "\nnext\n", [&](UT_STREAM& stream) {
            EXPECT_EQ(line_of(stream), line);
            EXPECT_EQ(line_of(stream), "next");
        });
        read_back(line, [&](UT_STREAM& stream) {
            EXPECT_EQ(line_of(stream), line);
            EXPECT_EQ(line_of(stream), "");
        });
    }
}

TEST_F(UtStrobjIo, KeepsNulsOfALine)
{
    read_back("a\0b\0\nc\0"s, [](UT_STREAM& stream) {
        EXPECT_EQ(line_of(stream), "a\0b\0"s);
        EXPECT_EQ(line_of(stream), "c\0"s);
    });
    const std::string full(254, 'x');
    read_back(full + "\0y\n"s, [&](UT_STREAM& stream) { EXPECT_EQ(line_of(stream), full + "\0y"s); });
    read_back(full + "\0"s, [&](UT_STREAM& stream) { EXPECT_EQ(line_of(stream), full + "\0"s); });
}

TEST_F(UtStrobjIo, AnyDelimiterWorksANulToo)
{
    read_back("one;two"s, [](UT_STREAM& stream) {
        EXPECT_EQ(line_of(stream, ';'), "one");
        EXPECT_EQ(line_of(stream, ';'), "two");
    });
    read_back("one\0two\0last"s, [](UT_STREAM& stream) {
        EXPECT_EQ(line_of(stream, '\0'), "one");
        EXPECT_EQ(line_of(stream, '\0'), "two");
        EXPECT_EQ(line_of(stream, '\0'), "last");
    });
    read_back("a\xFF"
              "b"s,
              [](UT_STREAM& stream) { EXPECT_EQ(line_of(stream, '\xFF'), "a"); });
}

TEST_F(UtStrobjIo, ALineIsReadIntoTheRoomOfItsString)
{
    read_back("abc\nlonger than before\n", [](UT_STREAM& stream) {
        UT_STROBJ line("123456");
        const char* end = end_of(line);
        line.read_line(stream, '\n');
        EXPECT_EQ(line, "abc");
        EXPECT_EQ(end_of(line), end);
        line.read_line(stream, '\n');
        EXPECT_EQ(line, "longer than before");
        EXPECT_EQ(room_of(line), 0U);
    });
}

// One byte.

TEST_F(UtStrobjIo, WriteCharsWritesOneByteAtMost)
{
    const auto bytes = [&](const UT_STROBJ& text, bool with_terminator) {
        return written([&](UT_STREAM& stream) { EXPECT_TRUE(text.write_chars(stream, with_terminator)); });
    };
    EXPECT_EQ(bytes(UT_STROBJ("abc"), false), "a");
    EXPECT_EQ(bytes(UT_STROBJ("abc"), true), "a");
    EXPECT_EQ(bytes(UT_STROBJ(), true), "\0"s);
    EXPECT_EQ(bytes(UT_STROBJ(), false), "");
}

// Failure.

TEST_F(UtStrobjIo, AStreamInErrorGivesFalse)
{
    const UT_STROBJ text(3'000, 'x', 1);  // more than the buffer holds
    failing_stream full;
    EXPECT_FALSE(text.write_strobj(full.stream));
    EXPECT_NE(full.stream.geterror(), 0);
    EXPECT_FALSE(text.write_chars(full.stream, false));
    full.stream.clearerror();
    EXPECT_TRUE(text.write_chars(full.stream, false));
}

TEST_F(UtStrobjIo, AReadThatFailsGivesFalse)
{
    const descriptor file(path, k_to_write);  // not to be read from
    UT_STREAM stream(file, UT_ACCESS_READ, 2048, nullptr);
    UT_STROBJ text("old");
    EXPECT_FALSE(text.read_line(stream, '\n'));
    EXPECT_EQ(text, "");
    EXPECT_FALSE(text.read_strobj(stream));
    EXPECT_EQ(text, "");
    EXPECT_FALSE(text.read_nbytes(stream, 2));
}

}  // namespace
