// tests/basutpakio_test.cpp
#include "basutpakio.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "memory_device.h"
#include "message_capture.h"
#include "stream_tools.h"

namespace {

using namespace std::string_literals;

/// Shows what is kept for derived classes.
class open_pakio : public UT_PAKIO {
public:
    using UT_PAKIO::find_marker_bit;
    using UT_PAKIO::have_enough_bits;
    using UT_PAKIO::load_next_buffer;
    using UT_PAKIO::load_register;
    using UT_PAKIO::register_;
    using UT_PAKIO::state_;
    using UT_PAKIO::unload_next_buffer;
    using UT_PAKIO::UT_PAKIO;
};

/// A text of 0 and 1 as bytes, the first bit of each byte lowest, the last byte filled up with zeros.
std::string as_bytes(const std::string& bits)
{
    std::string bytes((bits.size() + 7) / 8, '\0');
    for (std::size_t i = 0; i < bits.size(); ++i)
        if (bits[i] == '1') bytes[i / 8] = static_cast<char>(bytes[i / 8] | 1 << i % 8);
    return bytes;
}

std::string random_bytes(std::size_t count)
{
    std::mt19937 random(1);
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

unsigned bit_of(const std::string& bytes, std::size_t place)
{
    return place / 8 < bytes.size() ? static_cast<unsigned char>(bytes[place / 8]) >> place % 8 & 1u : 0u;
}

// ---- reading

TEST(UtPakio, GivesTheBitsOfEachByteFromTheLowestUp)
{
    memory_device device("\xA6\x01"s);
    UT_PAKIO bits(&device);
    for (const int expected : {0, 1, 1, 0, 0, 1, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0})
        EXPECT_EQ(bits.getbit(), expected);
    EXPECT_FALSE(bits.is_end_of_pakio());
    EXPECT_EQ(bits.getbit(), 0);
    EXPECT_TRUE(bits.is_end_of_pakio());
    EXPECT_EQ(bits.getbit(), 0);
}

TEST(UtPakio, GivesNumbersWithTheirLowestBitFirstForEveryWidthAndBuffer)
{
    for (const std::size_t size : {1u, 2u, 3u, 4u, 5u, 4095u, 4096u, 4097u, 4098u, 4099u, 12'300u}) {
        const std::string stored = random_bytes(size);
        memory_device device(stored);
        UT_PAKIO bits(&device);
        std::mt19937 random(2);
        for (std::size_t place = 0; place < size * 8;) {
            const auto wanted = static_cast<unsigned>(random() % 33);
            std::uint64_t expected = 0;
            for (unsigned i = 0; i < wanted; ++i) expected |= std::uint64_t{bit_of(stored, place + i)} << i;
            ASSERT_EQ(bits.getbits(wanted), expected) << size << ' ' << place << ' ' << wanted;
            place += wanted;
            ASSERT_EQ(bits.is_end_of_pakio(), place > size * 8) << size << ' ' << place;
        }
    }
}

TEST(UtPakio, ANumberOfNoBitsTakesNothing)
{
    memory_device device("\xFF"s);
    UT_PAKIO bits(&device);
    EXPECT_EQ(bits.getbits(0), 0u);
    EXPECT_TRUE(device.reads.empty());
    EXPECT_EQ(bits.getbits(3), 7u);
    EXPECT_EQ(bits.getbits(0), 0u);
    EXPECT_EQ(bits.getbits(5), 31u);
    EXPECT_EQ(bits.getbits(0), 0u);
    EXPECT_FALSE(bits.is_end_of_pakio());
}

TEST(UtPakio, ANumberOverTheEndIsWhatThereIsOfIt)
{
    memory_device device("\xFF\x7F"s);
    UT_PAKIO bits(&device);
    EXPECT_EQ(bits.getbits(4), 15u);
    EXPECT_EQ(bits.getbits(32), 0x7FFu);
    EXPECT_TRUE(bits.is_end_of_pakio());
    EXPECT_EQ(bits.getbits(9), 0u);
}

TEST(UtPakio, MoreThan32BitsAre32)
{
    memory_device device("\x01\x02\x03\x84\xFF\xFF\xFF\xFF\xFF"s);
    UT_PAKIO bits(&device);
    EXPECT_EQ(bits.getbits(40), 0x84030201u);
    EXPECT_EQ(bits.getbits(8), 0xFFu);
}

TEST(UtPakio, AsksTheDeviceForWholeBuffers)
{
    memory_device device(random_bytes(4100));
    open_pakio bits(&device);
    EXPECT_EQ(bits.state_, 0);
    bits.getbit();
    EXPECT_EQ(bits.state_, 1);
    for (int i = 1; i < 4096 * 8; ++i) bits.getbit();
    EXPECT_EQ(device.reads, (std::vector<int>{4096}));
    bits.getbit();
    EXPECT_EQ(device.reads, (std::vector<int>{4096, 4096}));
    EXPECT_EQ(bits.state_, 2);
    for (int i = 1; i < 4 * 8; ++i) bits.getbit();
    EXPECT_EQ(bits.state_, 2);
    bits.getbit();
    EXPECT_EQ(bits.state_, 3);
}

TEST(UtPakio, TheOffsetOfAReaderCountsWhatIsInTheRegister)
{
    memory_device device(random_bytes(4100));
    UT_PAKIO bits(&device);
    EXPECT_EQ(bits.get_curr_offset(), 0);
    bits.getbit();
    EXPECT_EQ(bits.get_curr_offset(), 3);
    bits.getbits(23);
    EXPECT_EQ(bits.get_curr_offset(), 3);
    bits.getbit();
    EXPECT_EQ(bits.get_curr_offset(), 6);
    for (int i = 0; i < 1364; ++i) bits.getbits(24);
    EXPECT_EQ(bits.get_curr_offset(), 4096);  // three at a time, and the one that was left by itself
    bits.getbits(7);
    EXPECT_EQ(bits.get_curr_offset(), 4096);
    bits.getbits(24);
    EXPECT_EQ(bits.get_curr_offset(), 4099);
    bits.getbits(8);
    EXPECT_EQ(bits.get_curr_offset(), 4100);
    EXPECT_FALSE(bits.is_end_of_pakio());
}

TEST(UtPakio, TheMarkerTellsHowManyBitsAreAtHand)
{
    memory_device device("\x01\x02\x03\x04\x05"s);
    open_pakio bits(&device);
    EXPECT_EQ(bits.find_marker_bit(), 0u);
    EXPECT_EQ(bits.have_enough_bits(1), 0u);
    bits.load_register();
    EXPECT_EQ(bits.register_, 0x1030201u);
    EXPECT_EQ(bits.find_marker_bit(), 24u);
    EXPECT_EQ(bits.have_enough_bits(24), 24u);
    EXPECT_EQ(bits.have_enough_bits(25), 24u);
    EXPECT_EQ(bits.have_enough_bits(32), 24u);
    EXPECT_EQ(bits.have_enough_bits(64), 24u);
    EXPECT_EQ(bits.have_enough_bits(0), 0u);
    bits.load_register();
    EXPECT_EQ(bits.register_, 0x10504u);
    EXPECT_EQ(bits.find_marker_bit(), 16u);
    bits.load_register();
    EXPECT_EQ(bits.register_, 0u);
    EXPECT_TRUE(bits.is_end_of_pakio());
    for (unsigned place = 0; place < 32; ++place) {
        bits.register_ = 1u << place;
        EXPECT_EQ(bits.find_marker_bit(), place);
        bits.register_ |= bits.register_ >> 1;
        EXPECT_EQ(bits.find_marker_bit(), place);
    }
}

TEST(UtPakio, ASingleByteIsAtHandAlone)
{
    memory_device device("\x80"s);
    open_pakio bits(&device);
    bits.load_register();
    EXPECT_EQ(bits.register_, 0x180u);
    bits.load_next_buffer();
    EXPECT_EQ(bits.state_, 3);
}

/// Claims to have read a count of bytes that cannot be.
class lying_device : public memory_device {
public:
    explicit lying_device(int claimed) : claimed_(claimed) {}
    int get_rawdata(unsigned char*, int) override { return claimed_; }

private:
    int claimed_;
};

TEST(UtPakio, ACountThatCannotBeIsNoneOrAWholeBuffer)
{
    lying_device negative(-1);
    UT_PAKIO none(&negative);
    EXPECT_EQ(none.getbits(8), 0u);
    EXPECT_TRUE(none.is_end_of_pakio());
    lying_device beyond(5'000);
    UT_PAKIO whole(&beyond);
    for (int i = 0; i < 4'096; ++i) EXPECT_EQ(whole.getbits(8), 0u);
    EXPECT_EQ(whole.get_curr_offset(), 4'096);
    EXPECT_FALSE(whole.is_end_of_pakio());
}

TEST(UtPakio, AReaderWritesNothingAtItsEnd)
{
    memory_device device("\x80"s);
    {
        UT_PAKIO bits(&device);
        bits.getbit();
    }
    {
        UT_PAKIO bits(&device);
        bits.getbits(32);
    }
    EXPECT_TRUE(device.writes.empty());
}

// ---- writing

TEST(UtPakio, FillsEachByteFromTheLowestBitUpAndTheLastOneWithZeros)
{
    memory_device device;
    {
        UT_PAKIO bits(&device);
        for (const int bit : {0, 1, 2, 0, 0, 255, 0, 1, 1}) bits.putbit(static_cast<unsigned char>(bit));
        EXPECT_EQ(device.stored, "");
    }
    EXPECT_EQ(device.stored, "\xA6\x01"s);
    EXPECT_EQ(device.writes, (std::vector<int>{2}));
}

TEST(UtPakio, WholeBytesAreFollowedByNothing)
{
    memory_device device;
    {
        UT_PAKIO bits(&device);
        bits.putbits(0x1234, 16);
    }
    EXPECT_EQ(device.stored, "\x34\x12"s);
}

TEST(UtPakio, NothingPutIsNothingWritten)
{
    memory_device device;
    {
        UT_PAKIO bits(&device);
        bits.putbits(~0ul, 0);
        bits.flush();
    }
    EXPECT_TRUE(device.writes.empty());
}

TEST(UtPakio, NumbersOfEveryWidthAreTheirBitsInTurn)
{
    std::mt19937 random(3);
    memory_device device;
    std::string expected;
    {
        UT_PAKIO bits(&device);
        for (int i = 0; i < 10'000; ++i) {
            const auto width = static_cast<unsigned>(random() % 33);
            const std::uint32_t value = static_cast<std::uint32_t>(random());
            bits.putbits(value, width);
            for (unsigned bit = 0; bit < width; ++bit) expected += (value >> bit & 1) != 0 ? '1' : '0';
        }
    }
    EXPECT_EQ(device.stored, as_bytes(expected));
    ASSERT_GT(device.writes.size(), 2u);
    for (std::size_t i = 0; i + 1 < device.writes.size(); ++i) EXPECT_EQ(device.writes[i], 4096);
}

TEST(UtPakio, BitsAboveTheWidthAndAbove32AreNotWritten)
{
    memory_device device;
    {
        UT_PAKIO bits(&device);
        bits.putbits(0xFFFF, 3);
        bits.putbits(0, 5);
        bits.putbits(~0ul, 40);
    }
    EXPECT_EQ(device.stored, "\x07\xFF\xFF\xFF\xFF\x00"s);
}

TEST(UtPakio, AFullBufferGoesOutAtOnce)
{
    memory_device device;
    {
        open_pakio bits(&device);
        for (int i = 0; i < 4095; ++i) bits.putbits(0x55, 8);
        bits.putbits(0x7F, 7);
        EXPECT_TRUE(device.writes.empty());
        EXPECT_EQ(bits.get_curr_offset(), 4095);
        EXPECT_EQ(bits.state_, 0);
        bits.putbit(1);
        EXPECT_EQ(device.writes, (std::vector<int>{4096}));
        EXPECT_EQ(bits.state_, 4);
        EXPECT_EQ(bits.get_curr_offset(), 4096);
        bits.putbit(1);
        EXPECT_EQ(bits.get_curr_offset(), 4096);  // without the byte in progress
    }
    EXPECT_EQ(device.stored, std::string(4095, '\x55') + "\xFF\x01"s);
}

TEST(UtPakio, AFlushWithinAByteGoesOnAtTheSamePlaceOfANewOne)
{
    memory_device device;
    {
        UT_PAKIO bits(&device);
        bits.putbits(7, 3);
        bits.flush();
        EXPECT_EQ(device.stored, "\x07"s);
        EXPECT_EQ(bits.get_curr_offset(), 1);
        bits.putbits(3, 2);
    }
    EXPECT_EQ(device.stored, "\x07\x18"s);
}

TEST(UtPakio, WhatTheDeviceDoesNotTakeBreaksTheContractWith19)
{
    const auto work = [] {
        memory_device device;
        device.room = 1;
        UT_PAKIO bits(&device);
        bits.putbits(0xFFFF, 16);
        bits.flush();
    };
    message_capture capture;
    EXPECT_THROW(work(), int);
    EXPECT_EQ(capture.last(), (post{"common", "0000", "basutpakio", "Unable to write compressed data."}));
    EXPECT_EQ(capture.posts().size(), 1u);
    capture.use_legacy_flow();
    int exit_value = 0;
    const std::string shown = unfolded(stderr_of([&] { exit_value = capture.exit_value_of(work); }));
    EXPECT_EQ(exit_value, 19);
    EXPECT_NE(shown.find("Unable to write compressed data."), std::string::npos) << shown;
}

TEST(UtPakio, WhatWasNotTakenIsLostAndTheRestGoesOn)
{
    message_capture capture;
    memory_device device;
    {
        UT_PAKIO bits(&device);
        bits.putbits(0x1234, 16);
        device.room = 0;
        EXPECT_THROW(bits.flush(), int);
        device.room = 100;
        EXPECT_EQ(bits.get_curr_offset(), 2);
        bits.putbits(0x56, 8);
    }
    EXPECT_EQ(device.stored, "\x56"s);
}

TEST(UtPakio, ItsEndMayRaiseButNotBesideAnotherException)
{
    message_capture capture;
    memory_device device;
    device.room = 0;
    std::optional<UT_PAKIO> bits(&device);
    EXPECT_THROW(
        {
            UT_PAKIO ending(&device);
            ending.putbit(1);
        },
        int);
    EXPECT_EQ(capture.posts().size(), 1u);
    EXPECT_THROW(
        {
            UT_PAKIO ending(&device);
            ending.putbit(1);
            throw std::string("the first");
        },
        std::string);
    EXPECT_EQ(capture.posts().size(), 2u);
}

}  // namespace
