// tests/basutstream_test.cpp: bytes, numbers, positions and the descriptor. Text is tested in
// basutstreamtext_test.cpp, enciphered data in basutstreamenc_test.cpp, the stored forms in
// basutstreamform_test.cpp.
#include "basutstream.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "basutfile.h"
#include "scoped_operations.h"
#include "stream_tools.h"

namespace {

static_assert(std::is_base_of_v<UT_IO_DEVICE, UT_STREAM>);
static_assert(!std::is_nothrow_destructible_v<UT_STREAM>);

constexpr std::size_t k_least_buffer = 2048;

class UtStream : public stream_file_test {};

// ---- construction

TEST_F(UtStream, StartsAtTheBeginningWithoutErrorAndWithoutFile)
{
    const UT_STREAM stream(UT_ACCESS_WRITE, 5'000, nullptr);
    EXPECT_EQ(stream.getfid(), -1);
    EXPECT_EQ(stream.getaccess(), UT_ACCESS_WRITE);
    EXPECT_EQ(stream.get_gc_access(), 0);
    EXPECT_FALSE(stream.geteof());
    EXPECT_EQ(stream.geterror(), 0);
    EXPECT_EQ(stream.stackPos(), 0);
    EXPECT_EQ(stream.getfoffset(), 0);
    EXPECT_FALSE(stream.is_access_compressed());
    EXPECT_FALSE(stream.is_compressed());
    EXPECT_FALSE(stream.encpack_available());
    EXPECT_EQ(UT_STREAM(17, UT_ACCESS_READ, 1, nullptr).getfid(), 17);
}

TEST_F(UtStream, TheBufferHas2048BytesAtLeast)
{
    for (const auto& [asked, got] :
         {std::pair{0, 2048}, {1, 2048}, {2047, 2048}, {2048, 2048}, {2049, 2049}}) {
        const UT_STREAM stream(UT_ACCESS_READ, static_cast<std::size_t>(asked), nullptr);
        EXPECT_EQ(dumped(stream)["Length of the transparent buffer"], got) << asked;
    }
}

TEST_F(UtStream, AnOwnerOf1IsTheGlobalManager)
{
    // The stream's end is the end of its entry in the manager's table, so that the descriptor is closed.
    auto* const global = reinterpret_cast<UT_FILEMANAGER*>(std::uintptr_t{1});
    int number = -1;
    {
        UT_STREAM stream(UT_ACCESS_WRITE, 100, global);
        ASSERT_EQ(ut_file.open(path.c_str(), &stream, 1), &stream);
        number = stream.getfid();
        EXPECT_NE(::fcntl(number, F_GETFD), -1);
    }
    EXPECT_EQ(::fcntl(number, F_GETFD), -1);
    {
        const UT_STREAM never_opened(UT_ACCESS_WRITE, 100, global);
    }
}

TEST_F(UtStream, PushAndPopCount)
{
    UT_STREAM stream(UT_ACCESS_WRITE, 100, nullptr);
    stream.push();
    stream.push();
    EXPECT_EQ(stream.stackPos(), 2);
    stream.pop();
    EXPECT_EQ(stream.stackPos(), 1);
    write_text(stream, "taken all the same");
    EXPECT_EQ(stream.getfoffset(), 18);
}

TEST_F(UtStream, ACopySharesTheBuffer)
{
    read_back("abcdef", [&](UT_STREAM& stream) {
        EXPECT_EQ(read_text(stream, 2), "ab");
        // Only one of the two may be destroyed, so the copies stand in storage without an end.
        alignas(UT_STREAM) std::byte storage[2][sizeof(UT_STREAM)];
        auto* const copy = new (storage[0]) UT_STREAM(stream);
        EXPECT_EQ(copy->getfid(), stream.getfid());
        EXPECT_EQ(read_text(*copy, 9), "cdef");
        EXPECT_EQ(read_text(stream, 2), "cd");
        auto* const assigned = new (storage[1]) UT_STREAM(*copy);
        *assigned = stream;
        EXPECT_EQ(assigned->getfoffset(), 4);
        EXPECT_FALSE(assigned->geteof());
        EXPECT_EQ(read_text(*assigned, 2), "ef");
    });
}

// ---- bytes

TEST_F(UtStream, BytesComeBackInTheirOrderAroundEveryBorder)
{
    for (const std::size_t size : {0u, 1u, 7u, 2047u, 2048u, 2049u, 4095u, 4096u, 4097u, 10'000u}) {
        const std::string bytes = varied_text(size);
        EXPECT_TRUE(written([&](UT_STREAM& stream) {
                        EXPECT_EQ(write_text(stream, bytes), static_cast<int>(size));
                        EXPECT_EQ(stream.getfoffset(), static_cast<long>(size));
                    }) == bytes)
            << size;
        read_back(bytes, [&](UT_STREAM& stream) {
            EXPECT_TRUE(read_text(stream, static_cast<int>(size)) == bytes) << size;
            EXPECT_EQ(stream.getfoffset(), static_cast<long>(size));
            EXPECT_EQ(stream.geterror(), 0);
        });
    }
}

TEST_F(UtStream, ReadsInPiecesOfEverySize)
{
    const std::string bytes = varied_text(5'000);
    for (const int piece : {1, 3, 64, 2047, 2048, 2049, 4999}) {
        read_back(bytes, [&](UT_STREAM& stream) {
            std::string all;
            while (stream.geteof() == 0) all += read_text(stream, piece);
            EXPECT_TRUE(all == bytes) << piece;
        });
    }
}

TEST_F(UtStream, ReversedBytesAreReversedAsAWholeAcrossTheBorder)
{
    const std::string text = varied_text(5'000);
    const std::string reversed(text.rbegin(), text.rend());
    EXPECT_TRUE(written([&](UT_STREAM& stream) {
                    write_text(stream, "head");
                    EXPECT_EQ(stream.swrite(bytes_of(text), 5'000), 5'000);
                }) == "head" + reversed);
    read_back("head" + reversed, [&](UT_STREAM& stream) {
        EXPECT_EQ(read_text(stream, 4), "head");
        std::string back(5'000, '\0');
        EXPECT_EQ(stream.sread(bytes_of(back), 5'000), 5'000);
        EXPECT_TRUE(back == text);
    });
}

TEST_F(UtStream, AShortReversedReadFillsTheEndOfTheMemory)
{
    read_back("ab", [](UT_STREAM& stream) {
        std::string memory = "-----";
        EXPECT_EQ(stream.sread(bytes_of(memory), 5), 2);
        EXPECT_EQ(memory, "---ba");
        EXPECT_TRUE(stream.geteof());
    });
}

TEST_F(UtStream, NothingGoesOutBeforeTheBufferFillsOrIsFlushed)
{
    const descriptor file(path, k_to_write);
    UT_STREAM stream(file, UT_ACCESS_WRITE, k_least_buffer, nullptr);
    write_text(stream, varied_text(2047));
    EXPECT_EQ(file_bytes(path).size(), 0u);
    EXPECT_TRUE(stream.flush());
    EXPECT_EQ(file_bytes(path).size(), 2047u);
    write_text(stream, varied_text(2050));
    EXPECT_EQ(file_bytes(path).size(), 2047u + 2048u);
    EXPECT_EQ(stream.getfoffset(), 2047 + 2050);
    EXPECT_TRUE(stream.flush());
    EXPECT_EQ(file_bytes(path), varied_text(2047) + varied_text(2050));
    EXPECT_TRUE(stream.flush());
    EXPECT_EQ(file_bytes(path).size(), 4097u);
}

TEST_F(UtStream, AWriteOfNothingOnAFullBufferWritesNothing)
{
    EXPECT_EQ(written([](UT_STREAM& stream) {
                  write_text(stream, varied_text(2048));
                  EXPECT_EQ(stream.write(nullptr, 0), 0);
                  EXPECT_EQ(stream.write(nullptr, -5), 0);
                  EXPECT_EQ(stream.swrite(nullptr, 0), 0);
              }),
              varied_text(2048));
}

TEST_F(UtStream, TheEndIsNoticedByTheReadThatBringsNothing)
{
    for (const std::size_t size : {5u, 2048u}) {
        read_back(varied_text(size), [&](UT_STREAM& stream) {
            EXPECT_EQ(read_text(stream, static_cast<int>(size)).size(), size);
            EXPECT_FALSE(stream.geteof());
            EXPECT_EQ(read_text(stream, 1), "");
            EXPECT_TRUE(stream.geteof());
            EXPECT_EQ(read_text(stream, 1), "");
        });
    }
    read_back("12345", [](UT_STREAM& stream) {
        EXPECT_EQ(read_text(stream, 6), "12345");
        EXPECT_TRUE(stream.geteof());
    });
    read_back("", [](UT_STREAM& stream) {
        EXPECT_EQ(stream.read(nullptr, 0), 0);
        EXPECT_TRUE(stream.geteof());
    });
}

TEST_F(UtStream, FlushOfAReadStreamDeliversTheBufferAgain)
{
    read_back("abcdef", [](UT_STREAM& stream) {
        EXPECT_EQ(read_text(stream, 4), "abcd");
        EXPECT_TRUE(stream.flush());
        EXPECT_EQ(stream.getfoffset(), 0);
        EXPECT_EQ(read_text(stream, 9), "abcdef");
    });
}

TEST_F(UtStream, WithoutADescriptorBytesAreDropped)
{
    UT_STREAM stream(UT_ACCESS_WRITE, k_least_buffer, nullptr);
    EXPECT_EQ(write_text(stream, varied_text(5'000)), 5'000);
    EXPECT_TRUE(stream.flush());
    EXPECT_EQ(stream.getfoffset(), 0);
    EXPECT_EQ(stream.geterror(), 0);
    UT_STREAM reader(UT_ACCESS_READ, k_least_buffer, nullptr);
    EXPECT_EQ(read_text(reader, 3), "");
    EXPECT_TRUE(reader.geteof());
    UT_STREAM peeker(UT_ACCESS_READ, k_least_buffer, nullptr);
    char c = 0;
    EXPECT_EQ(peeker.peekkey(&c, 1, "\n"), 2);
    EXPECT_FALSE(peeker.geteof());
}

TEST_F(UtStream, SkipMovesOverBordersAndCountsWhatThereWas)
{
    const std::string bytes = varied_text(5'000);
    read_back(bytes, [&](UT_STREAM& stream) {
        EXPECT_EQ(stream.skip(0), 0);
        EXPECT_EQ(stream.skip(-3), 0);
        EXPECT_EQ(stream.skip(2'500), 2'500);
        EXPECT_EQ(stream.getfoffset(), 2'500);
        EXPECT_EQ(read_text(stream, 3), bytes.substr(2'500, 3));
        EXPECT_EQ(stream.skip(2'497), 2'497);
        EXPECT_FALSE(stream.geteof());
        EXPECT_EQ(stream.skip(1), 0);
        EXPECT_TRUE(stream.geteof());
        EXPECT_EQ(stream.skip(1), 0);
    });
    EXPECT_EQ(written([](UT_STREAM& stream) {
                  write_text(stream, "abc");
                  EXPECT_EQ(stream.skip(1), 0);
                  write_text(stream, "def");
              }),
              "abcdef");
}

// ---- looking ahead

TEST_F(UtStream, PeekDoesNotMoveOn)
{
    const std::string bytes = varied_text(5'000);
    read_back(bytes, [&](UT_STREAM& stream) {
        for (const int before : {0, 10, 2'035, 3, 2'952}) {
            stream.skip(before);
            const long at = stream.getfoffset();
            for (const int count : {1, 20, 2'100, 6'000}) {
                std::string seen(static_cast<std::size_t>(count), '?');
                const auto got = static_cast<std::size_t>(stream.peek(bytes_of(seen), count));
                EXPECT_EQ(seen.substr(0, got), bytes.substr(static_cast<std::size_t>(at), seen.size()));
                EXPECT_EQ(stream.getfoffset(), at);
                EXPECT_FALSE(stream.geteof());
            }
        }
        EXPECT_EQ(stream.getfoffset(), 5'000);
        unsigned char byte = 0;
        EXPECT_EQ(stream.peek(&byte, 1), 0);
        EXPECT_FALSE(stream.geteof());
        EXPECT_EQ(stream.read(&byte, 1), 0);
    });
}

TEST_F(UtStream, PeekGivesNothingForNothingAtTheEndAndOnAWriteStream)
{
    unsigned char bytes[4] = {'?', '?', '?', '?'};
    read_back("abc", [&](UT_STREAM& stream) {
        EXPECT_EQ(stream.peek(bytes, 0), 0);
        EXPECT_EQ(stream.peek(bytes, -1), 0);
        EXPECT_EQ(stream.speek(nullptr, -1), 0);
        read_text(stream, 9);
        EXPECT_EQ(stream.peek(bytes, 2), 0);
    });
    written([&](UT_STREAM& stream) {
        write_text(stream, "abc");
        EXPECT_EQ(stream.peek(bytes, 2), 0);
        EXPECT_EQ(stream.speek(bytes, 2), 0);
    });
    EXPECT_EQ(bytes[0], '?');
}

TEST_F(UtStream, ReversedPeekStoresFromTheLastPositionOn)
{
    read_back(varied_text(2'046) + "abcd", [](UT_STREAM& stream) {
        stream.skip(2'046);
        std::string memory = "----";
        EXPECT_EQ(stream.speek(bytes_of(memory), 3), 3);
        EXPECT_EQ(memory, "cba-");
        memory = "------";
        EXPECT_EQ(stream.speek(bytes_of(memory), 6), 4);
        EXPECT_EQ(memory, "--dcba");
        EXPECT_EQ(stream.speek(bytes_of(memory), 0), 0);
        EXPECT_EQ(read_text(stream, 9), "abcd");
    });
}

TEST_F(UtStream, BehindAShortLoadNothingIsFetchedThoughTheFileHasGrown)
{
    read_back("0123456789", [&](UT_STREAM& stream) {
        EXPECT_EQ(read_text(stream, 3), "012");
        const descriptor more(path, ketriope::platform::open_write);
        ASSERT_EQ(ketriope::platform::os().seek(more, 0, ketriope::platform::seek_from::end), 10);
        ASSERT_EQ(ketriope::platform::os().write(more, "grown", 5), 5);
        std::string seen(20, '?');
        EXPECT_EQ(stream.peek(bytes_of(seen), 20), 7);
        EXPECT_EQ(seen.substr(0, 8), "3456789?");
        EXPECT_EQ(read_text(stream, 20), "3456789");
        EXPECT_EQ(read_text(stream, 20), "");
        EXPECT_TRUE(stream.setfoffset(8));  // which looks anew
        EXPECT_EQ(read_text(stream, 20), "89grown");
    });
}

// ---- numbers

/// The bytes of a number in the file, which both forms of writing must agree on.
class UtStreamNumbers : public UtStream {
protected:
    template <class Number>
    std::string filed(Number number, int (UT_STREAM::*by_name)(Number))
    {
        int counts[2] = {};
        const std::string both = written([&](UT_STREAM& stream) {
            counts[0] = stream.write(number);
            counts[1] = (stream.*by_name)(number);
        });
        const std::string one = both.substr(0, both.size() / 2);
        EXPECT_EQ(both, one + one);
        EXPECT_EQ(counts[0], static_cast<int>(one.size()));
        EXPECT_EQ(counts[1], counts[0]);
        return one;
    }
};

TEST_F(UtStreamNumbers, AreFiledMostSignificantByteFirst)
{
    EXPECT_EQ(filed('A', &UT_STREAM::writechar), "A");
    EXPECT_EQ(filed<unsigned char>(0xfe, &UT_STREAM::writebyte), "\xfe");
    EXPECT_EQ(filed<short>(-2, &UT_STREAM::writeshort), "\xff\xfe");
    EXPECT_EQ(filed<unsigned short>(0xfedc, &UT_STREAM::writeushort), "\xfe\xdc");
    EXPECT_EQ(filed(0x01020304, &UT_STREAM::writeint), "\x01\x02\x03\x04");
    EXPECT_EQ(filed(-2, &UT_STREAM::writeint), "\xff\xff\xff\xfe");
    EXPECT_EQ(filed(0xfedcba98u, &UT_STREAM::writeuint), "\xfe\xdc\xba\x98");
    EXPECT_EQ(filed(-3L, &UT_STREAM::writelong), "\xff\xff\xff\xfd");
    EXPECT_EQ(filed(0xfedcba98ul, &UT_STREAM::writeulong), "\xfe\xdc\xba\x98");
    EXPECT_EQ(filed(ut_uint64{0x0123456789abcdef}, &UT_STREAM::writeulonglong),
              "\x01\x23\x45\x67\x89\xab\xcd\xef");
    EXPECT_EQ(filed(1.1f, &UT_STREAM::writefloat), "\x3f\x8c\xcc\xcd");
    EXPECT_EQ(filed(-0.1, &UT_STREAM::writedouble), "\xbf\xb9\x99\x99\x99\x99\x99\x9a");
}

TEST_F(UtStreamNumbers, ThePlainRecordsAreFiledAsTheirMembers)
{
    EXPECT_EQ(written([](UT_STREAM& stream) {
                  EXPECT_EQ(stream.write(UT_POINT{1, -1}), 8);
              }),
              std::string_view("\0\0\0\x01\xff\xff\xff\xff", 8));
    EXPECT_EQ(written([](UT_STREAM& stream) {
                  EXPECT_EQ(stream.write(UT_EXTREMA{1, 2, 3, 4}), 16);
              }),
              std::string_view("\0\0\0\x01\0\0\0\x03\0\0\0\x02\0\0\0\x04", 16));
}

TEST_F(UtStream, ALongLosesItsUpperHalfInTheFile)
{
    if constexpr (sizeof(long) > 4) {
        EXPECT_EQ(written([](UT_STREAM& stream) {
                      stream.write(static_cast<long>(0x1122334455667788));
                      stream.write(static_cast<unsigned long>(0x1122334455667788));
                  }),
                  "\x55\x66\x77\x88\x55\x66\x77\x88");
    }
}

/// Reads one number by both forms, each from the bytes of `filed`.
template <class Number>
void expect_number(UT_STREAM& stream, Number expected, Number (UT_STREAM::*by_value)())
{
    Number value{};
    const long at = stream.getfoffset();
    const int count = stream.read(value);
    EXPECT_EQ(value, expected);
    EXPECT_EQ(stream.getfoffset(), at + count);
    stream.setfoffset(at);
    EXPECT_EQ((stream.*by_value)(), expected);
    EXPECT_EQ(stream.getfoffset(), at + count);
}

/// One of each, with the two ends of each range.
void write_numbers(UT_STREAM& stream)
{
    stream.write('x');
    stream.write(static_cast<unsigned char>(0xf0));
    stream.write(std::numeric_limits<short>::min());
    stream.write(std::numeric_limits<unsigned short>::max());
    stream.write(std::numeric_limits<int>::min());
    stream.write(std::numeric_limits<unsigned>::max());
    stream.write(-2'147'483'648L);
    stream.write(4'294'967'295ul);
    stream.write(std::numeric_limits<ut_uint64>::max() - 1);
    stream.write(-0.1f);
    stream.write(1e300);
}

void expect_numbers(UT_STREAM& stream)
{
    expect_number(stream, 'x', &UT_STREAM::readchar);
    expect_number<unsigned char>(stream, 0xf0, &UT_STREAM::readbyte);
    expect_number(stream, std::numeric_limits<short>::min(), &UT_STREAM::readshort);
    expect_number(stream, std::numeric_limits<unsigned short>::max(), &UT_STREAM::readushort);
    expect_number(stream, std::numeric_limits<int>::min(), &UT_STREAM::readint);
    expect_number(stream, std::numeric_limits<unsigned>::max(), &UT_STREAM::readuint);
    expect_number(stream, -2'147'483'648L, &UT_STREAM::readlong);
    expect_number(stream, 4'294'967'295ul, &UT_STREAM::readulong);
    expect_number(stream, std::numeric_limits<ut_uint64>::max() - 1, &UT_STREAM::readulonglong);
    expect_number(stream, -0.1f, &UT_STREAM::readfloat);
    expect_number(stream, 1e300, &UT_STREAM::readdouble);
}

TEST_F(UtStream, EveryNumberComesBackByBothFormsAtEveryPlaceOfTheBuffer)
{
    for (std::size_t before = k_least_buffer - 45; before <= k_least_buffer + 1; ++before) {
        SCOPED_TRACE(before);
        const std::string bytes = written([&](UT_STREAM& stream) {
            write_text(stream, varied_text(before));
            write_numbers(stream);
        });
        EXPECT_EQ(bytes.size(), before + 42);
        read_back(bytes, [&](UT_STREAM& stream) {
            EXPECT_EQ(stream.skip(static_cast<long>(before)), static_cast<long>(before));
            expect_numbers(stream);
            EXPECT_FALSE(stream.geteof());
        });
    }
}

TEST_F(UtStream, PointsAndExtremaComeBack)
{
    read_back(std::string("\0\0\0\x01\xff\xff\xff\xff\0\0\0\x01\0\0\0\x03\0\0\0\x02\0\0\0\x04", 24),
              [](UT_STREAM& stream) {
                  UT_POINT point{7, 7};
                  EXPECT_EQ(stream.read(point), 8);
                  EXPECT_EQ(point.x, 1);
                  EXPECT_EQ(point.y, -1);
                  UT_EXTREMA extrema{7, 7, 7, 7};
                  EXPECT_EQ(stream.read(extrema), 16);
                  EXPECT_EQ(extrema.xmin, 1);
                  EXPECT_EQ(extrema.xmax, 2);
                  EXPECT_EQ(extrema.ymin, 3);
                  EXPECT_EQ(extrema.ymax, 4);
                  EXPECT_EQ(stream.read(point), 0);
                  EXPECT_EQ(point.x, 1);
              });
}

TEST_F(UtStream, ANumberThatTheFileCutsOffHasItsMostSignificantBytes)
{
    read_back("\x11\x22", [](UT_STREAM& stream) { EXPECT_EQ(stream.readint(), 0x11220000); });
    read_back("\x11\x22", [](UT_STREAM& stream) {
        int value = 0x77777777;
        EXPECT_EQ(stream.read(value), 2);
        EXPECT_EQ(value, 0x11227777);
        EXPECT_TRUE(stream.geteof());
        EXPECT_EQ(stream.read(value), 0);
        EXPECT_EQ(value, 0x11227777);
        EXPECT_EQ(stream.readint(), 0);
        EXPECT_EQ(stream.readdouble(), 0.0);
    });
    read_back("\xf1\x22", [](UT_STREAM& stream) {
        long value = -1;
        EXPECT_EQ(stream.read(value), 2);
        EXPECT_EQ(value, static_cast<std::int32_t>(0xf1220000));
        EXPECT_EQ(stream.read(value), 0);
        EXPECT_EQ(value, static_cast<std::int32_t>(0xf1220000));
    });
    read_back("\xf1\x22", [](UT_STREAM& stream) {
        unsigned long value = ~0ul;
        EXPECT_EQ(stream.read(value), 2);
        EXPECT_EQ(value, 0xf1220000ul);
    });
    read_back("\xf1\x22", [](UT_STREAM& stream) { EXPECT_EQ(stream.readulong(), 0xf1220000ul); });
}

// ---- position

TEST_F(UtStream, ThePositionOfAReaderIsThatOfTheNextByte)
{
    const std::string bytes = varied_text(5'000);
    read_back(bytes, [&](UT_STREAM& stream) {
        EXPECT_EQ(stream.getfoffset(), 0);
        for (const long at : {100L, 0L, 4'999L, 2'048L, 2'047L}) {
            EXPECT_TRUE(stream.setfoffset(at));
            EXPECT_EQ(stream.getfoffset(), at);
            EXPECT_EQ(read_text(stream, 2), bytes.substr(static_cast<std::size_t>(at), 2));
        }
        EXPECT_TRUE(stream.seekstart());
        EXPECT_EQ(read_text(stream, 2), bytes.substr(0, 2));
        EXPECT_TRUE(stream.seekend());
        EXPECT_EQ(stream.getfoffset(), 5'000);
        EXPECT_EQ(read_text(stream, 1), "");
    });
}

TEST_F(UtStream, ASeekClearsTheMarksOfTheEnd)
{
    read_back("abc", [](UT_STREAM& stream) {
        read_text(stream, 9);
        EXPECT_TRUE(stream.geteof());
        EXPECT_TRUE(stream.setfoffset(1));
        EXPECT_FALSE(stream.geteof());
        EXPECT_EQ(read_text(stream, 9), "bc");
    });
}

TEST_F(UtStream, ASeekBeyondTheEndKeepsThePositionAsked)
{
    read_back("abc", [](UT_STREAM& stream) {
        EXPECT_TRUE(stream.setfoffset(100));
        EXPECT_EQ(stream.getfoffset(), 100);
        EXPECT_TRUE(stream.geteof());
        EXPECT_EQ(read_text(stream, 1), "");
    });
}

TEST_F(UtStream, AllOnesMeanTheEndButTheNumberIsKeptAsAsked)
{
    read_back("abc", [](open_stream& stream) {
        for (const long position : {-1L, 0xffffffffL}) {
            EXPECT_TRUE(stream.setfoffset(position));
            EXPECT_EQ(stream.getfoffset(), position);
            EXPECT_EQ(stream.get_rawoffset(), 3);
        }
        EXPECT_TRUE(stream.seekend());
        EXPECT_EQ(stream.getfoffset(), 3);
    });
}

TEST_F(UtStream, AWriterFlushesBeforeItSeeks)
{
    EXPECT_EQ(written([](UT_STREAM& stream) {
                  write_text(stream, "abcdef");
                  EXPECT_TRUE(stream.setfoffset(2));
                  EXPECT_EQ(stream.getfoffset(), 2);
                  write_text(stream, "XY");
                  EXPECT_EQ(stream.getfoffset(), 4);
                  EXPECT_TRUE(stream.seekend());
                  EXPECT_EQ(stream.getfoffset(), 6);
                  write_text(stream, "gh");
                  EXPECT_TRUE(stream.seekstart());
                  write_text(stream, "A");
              }),
              "AbXYefgh");
}

TEST_F(UtStream, PositionsBeyond4GiBAreReached)
{
    constexpr long k_far = 5L << 30;
    const descriptor file(path, k_to_write);
    UT_STREAM out(file, UT_ACCESS_WRITE, k_least_buffer, nullptr);
    EXPECT_TRUE(out.setfoffset(k_far));
    out.write(0x01020304);
    EXPECT_TRUE(out.flush());
    EXPECT_EQ(out.getfoffset(), k_far + 4);
    const descriptor again(path, k_to_read);
    UT_STREAM in(again, UT_ACCESS_READ, k_least_buffer, nullptr);
    EXPECT_TRUE(in.setfoffset(k_far - 1));
    EXPECT_EQ(in.readbyte(), 0);
    EXPECT_EQ(in.readint(), 0x01020304);
    EXPECT_EQ(in.getfoffset(), k_far + 4);
}

TEST_F(UtStream, ASeekThatTheDescriptorRefusesGivesFalse)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const descriptor out(ends[1]);
    const descriptor in(ends[0]);
    UT_STREAM stream(in, UT_ACCESS_READ, k_least_buffer, nullptr);
    EXPECT_FALSE(stream.setfoffset(0));
    EXPECT_EQ(stream.geterror(), ESPIPE);
    stream.clearerror();
    EXPECT_EQ(stream.geterror(), 0);
    EXPECT_FALSE(stream.seekend());
    EXPECT_EQ(stream.geterror(), ESPIPE);
    read_back("abc", [](UT_STREAM& file) {
        EXPECT_FALSE(file.setfoffset(-5));
        EXPECT_EQ(file.geterror(), EINVAL);
    });
    UT_STREAM none(UT_ACCESS_READ, k_least_buffer, nullptr);
    EXPECT_FALSE(none.setfoffset(0));
    EXPECT_EQ(none.geterror(), EBADF);
}

TEST_F(UtStream, APipeIsReadToItsEnd)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    descriptor out(ends[1]);
    const descriptor in(ends[0]);
    ASSERT_EQ(::write(out, "abc", 3), 3);
    out.close();
    UT_STREAM stream(in, UT_ACCESS_READ, k_least_buffer, nullptr);
    EXPECT_EQ(read_text(stream, 9), "abc");
    EXPECT_TRUE(stream.geteof());
    EXPECT_EQ(stream.geterror(), 0);
}

// ---- failing descriptors

TEST_F(UtStream, AFullDiskShowsInTheResultAndTheError)
{
    const descriptor full("/dev/full", ketriope::platform::open_write);
    UT_STREAM stream(full, UT_ACCESS_WRITE, k_least_buffer, nullptr);
    EXPECT_EQ(write_text(stream, "abc"), 3);
    EXPECT_EQ(stream.geterror(), 0);
    EXPECT_FALSE(stream.flush());
    EXPECT_EQ(stream.geterror(), ENOSPC);
    EXPECT_EQ(stream.getfoffset(), 0);
    EXPECT_TRUE(stream.flush());
    stream.clearerror();
    EXPECT_EQ(write_text(stream, varied_text(10'000)), 2'048);
    EXPECT_EQ(stream.geterror(), ENOSPC);
}

TEST_F(UtStream, AClosedOrForeignDescriptorShowsInTheError)
{
    descriptor file(path, k_to_write);
    UT_STREAM out(file, UT_ACCESS_WRITE, k_least_buffer, nullptr);
    UT_STREAM in_of_a_writer(file, UT_ACCESS_READ, k_least_buffer, nullptr);
    EXPECT_EQ(read_text(in_of_a_writer, 4), "");
    EXPECT_EQ(in_of_a_writer.geterror(), EBADF);
    EXPECT_TRUE(in_of_a_writer.geteof());
    UT_STREAM in(file, UT_ACCESS_READ, k_least_buffer, nullptr);
    file.close();
    write_text(out, "abc");
    EXPECT_FALSE(out.flush());
    EXPECT_EQ(out.geterror(), EBADF);
    EXPECT_EQ(read_text(in, 4), "");
    EXPECT_EQ(in.geterror(), EBADF);
    EXPECT_EQ(in.readint(), 0);

    write_file(path, "kept");
    const descriptor to_read(path, k_to_read);
    UT_STREAM out_of_a_reader(to_read, UT_ACCESS_WRITE, k_least_buffer, nullptr);
    out_of_a_reader.write(1);
    EXPECT_FALSE(out_of_a_reader.flush());
    EXPECT_EQ(out_of_a_reader.geterror(), EBADF);
    EXPECT_EQ(file_bytes(path), "kept");
}

TEST_F(UtStream, PartialResultsOfTheSystemAreNotTheEnd)
{
    read_back(varied_text(5'000), [](UT_STREAM& stream) {
        scoped_operations system;
        system.table.read = [](int fd, void* out, std::size_t count) {
            return ketriope::platform::native().read(fd, out, std::min<std::size_t>(count, 7));
        };
        EXPECT_TRUE(read_text(stream, 9'999) == varied_text(5'000));
    });
}

TEST_F(UtStream, AReadThatFailsHalfWayDeliversWhatCameBefore)
{
    read_back(varied_text(5'000), [](UT_STREAM& stream) {
        scoped_operations system;
        system.table.read = [](int fd, void* out, std::size_t count) -> std::int64_t {
            if (count > 1'000) return ketriope::platform::native().read(fd, out, count - 1'000);
            errno = EIO;
            return -1;
        };
        EXPECT_EQ(read_text(stream, 9'999), varied_text(1'048));
        EXPECT_EQ(stream.geterror(), EIO);
        EXPECT_TRUE(stream.geteof());
    });
}

TEST_F(UtStream, AWriteThatIsCutShortAdvancesByWhatWasWritten)
{
    const descriptor file(path, k_to_write);
    UT_STREAM stream(file, UT_ACCESS_WRITE, k_least_buffer, nullptr);
    write_text(stream, varied_text(100));
    {
        scoped_operations system;
        system.table.write = [](int fd, const void* from, std::size_t) {
            const std::int64_t count = ketriope::platform::native().write(fd, from, 30);
            errno = ENOSPC;
            return count;
        };
        EXPECT_FALSE(stream.flush());
    }
    EXPECT_EQ(stream.geterror(), ENOSPC);
    EXPECT_EQ(stream.getfoffset(), 30);
    EXPECT_EQ(file_bytes(path), varied_text(30));
}

// ---- ends

TEST_F(UtStream, CloseKeepsTheBufferAndDestructionAloneLosesIt)
{
    UT_STREAM* stream = ut_file.open(path.c_str(), UT_ACCESS_WRITE, 1);
    ASSERT_NE(stream, nullptr);
    write_text(*stream, "kept");
    const int closed = stream->getfid();
    EXPECT_TRUE(ut_file.close(stream));
    EXPECT_EQ(file_bytes(path), "kept");
    EXPECT_EQ(::fcntl(closed, F_GETFD), -1);

    stream = ut_file.open(path.c_str(), UT_ACCESS_WRITE, 1);
    ASSERT_NE(stream, nullptr);
    write_text(*stream, "lost");
    const int left = stream->getfid();
    delete stream;
    EXPECT_EQ(file_bytes(path), "");
    EXPECT_EQ(::fcntl(left, F_GETFD), -1);
    EXPECT_FALSE(ut_file.close(stream));
}

TEST_F(UtStream, AStreamOnItsOwnLeavesTheDescriptorOpen)
{
    const descriptor file(path, k_to_write);
    {
        const UT_STREAM stream(file, UT_ACCESS_WRITE, k_least_buffer, nullptr);
    }
    EXPECT_NE(::fcntl(file, F_GETFD), -1);
}

TEST_F(UtStream, ACallersStreamStartsAgainAfterItsClose)
{
    UT_STREAM stream(UT_ACCESS_READ, 3'000, nullptr);
    stream.push();
    for (const char* text : {"first", "second"}) {
        write_file(path, text);
        ASSERT_EQ(ut_file.open(path.c_str(), &stream, 0), &stream);
        EXPECT_EQ(read_text(stream, 99), text);
        EXPECT_TRUE(stream.geteof());
        EXPECT_FALSE(stream.setfoffset(-5));
        EXPECT_TRUE(ut_file.close(&stream));
        EXPECT_EQ(stream.getfid(), -1);
        EXPECT_EQ(stream.geterror(), 0);
        EXPECT_EQ(stream.stackPos(), 0);
        EXPECT_EQ(stream.getfoffset(), 0);
        EXPECT_FALSE(stream.geteof());
        EXPECT_EQ(stream.getaccess(), UT_ACCESS_READ);
        EXPECT_EQ(dumped(stream)["Length of the transparent buffer"], 3'000);
    }
}

TEST_F(UtStream, DumpPrintsTenLines)
{
    write_file(path, varied_text(2'500));
    descriptor file(path, k_to_read);
    UT_STREAM stream(file, UT_ACCESS_READ, k_least_buffer, nullptr);
    EXPECT_EQ(stream.skip(2'058), 2'058);
    stream.adjust_compress_gc_foffset();
    std::string number = std::to_string(static_cast<int>(file));
    EXPECT_EQ(stdout_of([&] { stream.dump(); }), "File descriptor:                            " + number +
                                                     "  \n"
                                                     "Current file byte offset:                   2500  \n"
                                                     "Access is:                                  1 \n"
                                                     "EOF was reached:                            0  \n"
                                                     "EOF was reached on last buffer load:        1  \n"
                                                     "Byte offset of the tranparent buffer:       10  \n"
                                                     "Byte offset of the last byte in the buffer: 452  \n"
                                                     "Length of the transparent buffer:           2048  \n"
                                                     "Error status code:                          0  \n"
                                                     "Start offset:                               7  \n");
    file.close();
    EXPECT_FALSE(stream.setfoffset(0));
    stream.skip(9'999);
    stream.adjust_compress_foffset();
    const auto after = dumped(stream);
    EXPECT_EQ(after.at("EOF was reached"), 1);
    EXPECT_EQ(after.at("Error status code"), EBADF);
    EXPECT_EQ(after.at("Start offset"), 9);
}

}  // namespace
