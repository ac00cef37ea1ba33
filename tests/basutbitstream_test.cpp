// tests/basutbitstream_test.cpp
#include "basutbitstream.h"

#include <array>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "bitstream_model.h"

namespace {

constexpr long k_buffer = 8 * 1024;  // bits of the first buffer

TEST(UtBitstream, HoldsItsFieldsInTheirOrder)
{
    struct fields {
        unsigned char* buffer;
        std::size_t capacity;
        unsigned char* read;
        std::int32_t read_bit;
        unsigned char* write;
        std::int32_t write_bit;
    };
    static_assert(sizeof(UT_BITSTREAM) == sizeof(fields));
    UT_BITSTREAM stream;
    stream.putubits(1, 11);
    stream.getubits(18);
    fields seen{};
    std::memcpy(&seen, static_cast<const void*>(&stream), sizeof seen);
    EXPECT_EQ(seen.buffer, stream.getdata());
    EXPECT_EQ(seen.capacity, 1'024U);
    EXPECT_EQ(seen.read, seen.buffer + 2);
    EXPECT_EQ(seen.read_bit, 2);
    EXPECT_EQ(seen.write, seen.buffer + 1);
    EXPECT_EQ(seen.write_bit, 3);
}

TEST(UtBitstream, StartsEmptyWithAZeroedBuffer)
{
    UT_BITSTREAM stream;
    EXPECT_EQ(stream.totalbits(), 0);
    EXPECT_EQ(stream.numremainingbits(), 0);
    EXPECT_FALSE(stream.anybitsleft());
    for (int i = 0; i < 1'024; ++i) ASSERT_EQ(stream.getdata()[i], 0);
}

TEST(UtBitstream, ReadsWhatWasWritten)
{
    UT_BITSTREAM stream;
    stream.putubits(0xABC, 12);
    EXPECT_EQ(stream.getubits(12), 0xABCU);
    stream.putubits(0xF, 4);
    EXPECT_EQ(stream.getbits(4), -1);
}

TEST(UtBitstream, FillsBytesFromTheLowestBitUp)
{
    UT_BITSTREAM stream;
    stream.putubits(0b101, 3);
    stream.putubits(0x1FF, 9);
    stream.putbit(0);
    stream.putbit(-1);
    EXPECT_EQ(stream.getdata()[0], 0b1111'1101);
    EXPECT_EQ(stream.getdata()[1], 0b0010'1111);
}

TEST(UtBitstream, ABitIsOneForEveryCharacterButNul)
{
    UT_BITSTREAM stream;
    for (const char c : {'\0', '\1', '\2', '\x80'}) stream.putbit(c);
    EXPECT_EQ(stream.getubits(4), 0b1110U);
}

TEST(UtBitstream, WritesAndReadsTypedNumbers)
{
    UT_BITSTREAM stream;
    stream.putbit(1);  // so that nothing is aligned
    stream.putbyte(-2);
    stream.putubyte(0xFE);
    stream.putshort(-3);
    stream.putushort(0xFFFD);
    stream.putlong(-4);
    stream.putulong(0xFFFFFFFC);
    EXPECT_EQ(stream.totalbits(), 1 + 2 * (8 + 16 + 32));
    EXPECT_EQ(stream.getbit(), 1);
    EXPECT_EQ(stream.getbyte(), -2);
    EXPECT_EQ(stream.getubyte(), 0xFE);
    EXPECT_EQ(stream.getshort(), -3);
    EXPECT_EQ(stream.getushort(), 0xFFFD);
    EXPECT_EQ(stream.getlong(), -4);
    EXPECT_EQ(stream.getulong(), 0xFFFFFFFCU);
    EXPECT_FALSE(stream.anybitsleft());
}

TEST(UtBitstream, ExtendsTheSignFromTheHighestBitRead)
{
    UT_BITSTREAM stream;
    stream.putbits(-1, 32);
    stream.putbits(-5, 5);
    stream.putbits(5, 5);
    stream.putbits(0x40000000, 31);
    stream.putubits(0x80000000, 33);
    EXPECT_EQ(stream.getbits(32), -1);
    EXPECT_EQ(stream.getbits(5), -5);
    EXPECT_EQ(stream.getbits(5), 5);
    EXPECT_EQ(stream.getbits(31), -0x40000000L);
    EXPECT_EQ(stream.getbits(33), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(stream.getbits(0), 0);
    EXPECT_EQ(stream.getbits(-7), 0);
    EXPECT_FALSE(stream.anybitsleft());
}

TEST(UtBitstream, LetsNoBitsOfAValueLeakThatWereNotAskedFor)
{
    UT_BITSTREAM stream;
    stream.putubits(~0UL, 3);
    EXPECT_EQ(stream.getdata()[0], 7);
    stream.putubits(0, 5);
    stream.putbits(-1, 0);
    stream.putbits(-1, -3);
    EXPECT_EQ(stream.totalbits(), 8);
    EXPECT_EQ(stream.getdata()[0], 7);
    EXPECT_EQ(stream.getdata()[1], 0);
}

TEST(UtBitstream, WritesZerosBehind32BitsOfANumber)
{
    UT_BITSTREAM stream;
    stream.putubits(~0UL, 70);
    stream.putbit(1);
    EXPECT_EQ(stream.totalbits(), 71);
    EXPECT_EQ(stream.getubits(40), 0xFFFFFFFFU);  // the low 32, and on by 40
    EXPECT_EQ(stream.getubits(31), 1U << 30U);
    EXPECT_EQ(stream.numremainingbits(), 0);
}

TEST(UtBitstream, HasRoomForExactlyItsCapacityAndThenGrows)
{
    UT_BITSTREAM stream;
    for (int i = 0; i < k_buffer; ++i) stream.putbit(1);
    EXPECT_EQ(stream.totalbits(), k_buffer);
    for (int i = 0; i < 3; ++i) stream.putbit(1);
    stream.putubits(0xFFFF, 16);
    EXPECT_EQ(stream.totalbits(), k_buffer + 19);
    for (int i = 0; i < k_buffer + 19; ++i) ASSERT_EQ(stream.getbit(), 1) << i;
    EXPECT_EQ(stream.getubits(32), 0U);
}

TEST(UtBitstream, ExtendsToMultiplesOf1024Bytes)
{
    const auto capacity = [](UT_BITSTREAM& stream) {
        std::size_t value = 0;
        std::memcpy(&value, reinterpret_cast<const char*>(&stream) + sizeof(void*), sizeof value);
        return value;
    };
    std::vector<unsigned char> block(5'000, 0xFF);
    UT_BITSTREAM stream(block.data(), 8L * 1'500);
    EXPECT_EQ(capacity(stream), 1'500U);
    stream.putbit(1);
    EXPECT_EQ(capacity(stream), 2'048U);
    stream.putblock(block.data(), 8 * 547 + 7);  // to the last bit
    EXPECT_EQ(capacity(stream), 2'048U);
    stream.putblock(block.data(), 8L * 5'000);
    EXPECT_EQ(capacity(stream), 7'168U);
}

TEST(UtBitstream, CopiesABlockAndMasksItsLastByte)
{
    const unsigned char block[] = {0xFF, 0xFF, 0xFF};
    UT_BITSTREAM stream(block, 11);
    EXPECT_NE(stream.getdata(), block);
    EXPECT_EQ(stream.getdata()[1], 7);
    EXPECT_EQ(stream.totalbits(), 11);
    EXPECT_EQ(stream.numremainingbits(), 11);
    stream.putubits(0, 2);
    stream.putubits(1, 1);
    EXPECT_EQ(stream.getubits(14), 0b10'0111'1111'1111U);
}

TEST(UtBitstream, WritesBehindABlockOfWholeBytes)
{
    const unsigned char block[] = {0x12, 0x34};
    UT_BITSTREAM stream(block, 16);
    stream.putubits(0x5, 4);
    EXPECT_EQ(stream.getubits(20), 0x53412U);
}

TEST(UtBitstream, NullAndNoBitsMakeAnEmptyStream)
{
    const unsigned char block[] = {0xFF};
    for (const long bits : {0L, -1L, static_cast<long>(std::numeric_limits<std::int32_t>::min())}) {
        UT_BITSTREAM stream(block, bits);
        EXPECT_EQ(stream.totalbits(), 0);
        ASSERT_NE(stream.getdata(), nullptr);
        EXPECT_EQ(stream.getdata()[0], 0);
        stream.putbyte(1);
        EXPECT_EQ(stream.getbyte(), 1);
    }
    UT_BITSTREAM stream(nullptr, 80);
    EXPECT_EQ(stream.totalbits(), 0);
}

TEST(UtBitstream, CutsANumberOfBitsTo32)
{
    if (sizeof(long) == 4) GTEST_SKIP();
    const unsigned char block[] = {0xFF};
    const long bits = static_cast<long>((1LL << 32) + 3);
    UT_BITSTREAM stream(block, bits);
    EXPECT_EQ(stream.totalbits(), 3);
    stream.putblock(block, bits);
    EXPECT_EQ(stream.totalbits(), 6);
    unsigned char out[] = {0xAA, 0xAA};
    stream.getblock(out, bits);
    EXPECT_EQ(out[0], 7);
    EXPECT_EQ(out[1], 0xAA);
    EXPECT_EQ(stream.numremainingbits(), 3);
}

TEST(UtBitstream, WritesAndReadsBlocks)
{
    const unsigned char block[] = {0x21, 0x43, 0x65};
    UT_BITSTREAM stream;
    stream.putubits(3, 2);
    stream.putblock(block, 20);
    stream.putblock(block, 0);
    stream.putblock(block, -9);
    stream.putblock(nullptr, 8);
    EXPECT_EQ(stream.totalbits(), 22);
    EXPECT_EQ(stream.getubits(2), 3U);
    unsigned char out[] = {9, 9, 9, 9};
    stream.getblock(out, 0);
    stream.getblock(out, -1);
    stream.getblock(nullptr, 8);
    EXPECT_EQ(out[0], 9);
    stream.getblock(out, 20);
    EXPECT_EQ(std::memcmp(out, "\x21\x43\x05\x09", 4), 0);
}

TEST(UtBitstream, WritesAPartOfItself)
{
    UT_BITSTREAM stream;
    for (int i = 0; i < 1'024; ++i) stream.putubyte(static_cast<unsigned char>(i * 7));
    stream.putblock(stream.getdata() + 1, 8L * 1'023);  // the buffer moves
    for (int i = 0; i < 1'024; ++i) stream.getubyte();
    for (int i = 1; i < 1'024; ++i) ASSERT_EQ(stream.getubyte(), i * 7 % 256);
}

TEST(UtBitstream, ReadsZerosPastTheWritePositionAndPastTheBuffer)
{
    const unsigned char block[] = {0xFF, 0xFF};
    UT_BITSTREAM stream(block, 10);
    EXPECT_EQ(stream.getubits(16), 0x3FFU);
    EXPECT_EQ(stream.numremainingbits(), -6);
    EXPECT_TRUE(stream.anybitsleft());
    unsigned char out[64];
    stream.getblock(out, 8 * 64);
    for (const unsigned char byte : out) EXPECT_EQ(byte, 0);
    EXPECT_EQ(stream.getubits(std::numeric_limits<int>::max()), 0U);
    EXPECT_EQ(stream.numremainingbits(), 10 - 16 - 512 - std::int64_t{std::numeric_limits<int>::max()});
    stream.flush();  // reading is ahead: nothing happens
    EXPECT_EQ(stream.totalbits(), 10);
}

TEST(UtBitstream, GoesBackToAState)
{
    UT_BITSTREAM stream;
    stream.putubits(0x12345, 20);
    stream.getubits(11);
    UT_BSTATE state;
    stream.getstate(state);
    EXPECT_EQ(state.byte, 1);
    EXPECT_EQ(state.bit, 3);
    const unsigned long rest = stream.getubits(9);
    stream.setstate(state);
    EXPECT_EQ(stream.numremainingbits(), 9);
    EXPECT_EQ(stream.getubits(9), rest);
}

TEST(UtBitstream, ReadsZerosFromAStateOutsideTheBuffer)
{
    UT_BITSTREAM stream;
    stream.putlong(-1);
    constexpr ut_int64 k_far = std::numeric_limits<ut_int64>::max();
    for (const ut_int64 byte : {ut_int64{-4}, ut_int64{1'024}, k_far / 8, k_far, -k_far - 1}) {
        const UT_BSTATE state{byte, 0};
        stream.setstate(state);
        EXPECT_EQ(stream.getubits(32), 0U) << byte;
    }
    stream.setstate({-1, 4});
    EXPECT_EQ(stream.getubits(8), 0xF0U);  // the last four of them are inside
    stream.setstate({0, 9});               // a bit of no byte
    EXPECT_EQ(stream.getubits(31), 0x7FFFFFFFU);
    EXPECT_FALSE(stream.anybitsleft());
}

TEST(UtBitstream, CountsTheRemainingBitsOfEveryState)
{
    UT_BITSTREAM stream;
    stream.putubits(0, 20);
    constexpr ut_int64 k_far = std::numeric_limits<ut_int64>::max();
    for (const ut_int64 byte : {k_far, -k_far - 1, k_far / 8 + 1}) {  // more bits than can be counted
        stream.setstate({byte, 7});
        EXPECT_TRUE(stream.anybitsleft());
        stream.numremainingbits();
        stream.flush();
        EXPECT_EQ(stream.totalbits(), 20);
        UT_BSTATE state;
        stream.getstate(state);
        EXPECT_EQ(state.byte, byte);
        EXPECT_EQ(state.bit, 7);
    }
    stream.setstate({-1, 7});
    EXPECT_EQ(stream.numremainingbits(), 21);
    stream.setstate({3, 1});
    EXPECT_EQ(stream.numremainingbits(), -5);
}

TEST(UtBitstream, FlushDropsTheBytesReadAndKeepsTheOneBegun)
{
    UT_BITSTREAM stream;
    for (unsigned char i = 1; i <= 10; ++i) stream.putubyte(i);
    stream.putubits(5, 3);
    stream.getubits(20);
    stream.flush();
    EXPECT_EQ(stream.totalbits(), 83 - 16);
    EXPECT_EQ(stream.numremainingbits(), 83 - 20);
    EXPECT_EQ(stream.getdata()[0], 3);
    EXPECT_EQ(stream.getubits(4), 0U);  // the upper half of 3
    EXPECT_EQ(stream.getubyte(), 4);
    for (int i = 9; i < 1'024; ++i) ASSERT_EQ(stream.getdata()[i], 0) << i;
}

TEST(UtBitstream, FlushDoesNothingWithinTheFirstByte)
{
    UT_BITSTREAM stream;
    stream.putushort(0xABCD);
    stream.getubits(7);
    stream.flush();
    EXPECT_EQ(stream.totalbits(), 16);
    EXPECT_EQ(stream.numremainingbits(), 9);
}

TEST(UtBitstream, FlushesAFullBuffer)
{
    UT_BITSTREAM stream;
    for (long i = 0; i < k_buffer; i += 8) stream.putubyte(0xFF);
    for (long i = 8; i < k_buffer; i += 8) stream.getubyte();
    stream.flush();
    EXPECT_EQ(stream.totalbits(), 8);
    EXPECT_EQ(stream.getubyte(), 0xFF);
    stream.flush();  // all is read: reading and writing are at the same byte
    EXPECT_EQ(stream.totalbits(), 0);
    EXPECT_EQ(stream.getdata()[0], 0);
    stream.putubits(5, 8);
    EXPECT_EQ(stream.getubyte(), 5);
}

TEST(UtBitstream, ACopySharesTheBuffer)
{
    UT_BITSTREAM stream;
    stream.putubyte(7);
    // On the heap, and never destroyed: the buffer belongs to the other one.
    alignas(UT_BITSTREAM) std::array<std::byte, sizeof(UT_BITSTREAM)> memory;
    auto* const copy = new (memory.data()) UT_BITSTREAM(stream);
    EXPECT_EQ(copy->getdata(), stream.getdata());
    EXPECT_EQ(copy->getubyte(), 7);
    EXPECT_EQ(stream.numremainingbits(), 8);
    *copy = stream;
    EXPECT_EQ(copy->numremainingbits(), 8);
}

TEST(UtBitstream, SurvivesEveryFailingAllocation)
{
    const std::vector<unsigned char> block(3'000, 0xFF);
    long n = 0;
    for (;; ++n) {
        bool hit = false;
        {
            allocation_faults faults(n, 1);
            try {
                UT_BITSTREAM stream;
                UT_BITSTREAM from_block(block.data(), 8L * 2'000);
                from_block.putbit(1);
                for (int i = 0; i < 600; ++i) stream.putulong(0xFFFFFFFF);
            } catch (const std::bad_alloc&) {
            }
            hit = faults.hit();
        }
        if (!hit) break;
    }
    EXPECT_EQ(n, 5);  // two buffers, and three extensions
}

TEST(UtBitstream, StaysAsItWasWhereItCannotGrow)
{
    UT_BITSTREAM stream;
    for (long i = 0; i < k_buffer; i += 32) stream.putulong(0xFFFFFFFF);
    bool thrown = false;
    {
        const allocation_faults faults(0);
        try {
            stream.putubits(5, 20);
        } catch (const std::bad_alloc&) {
            thrown = true;
        }
    }
    EXPECT_TRUE(thrown);
    EXPECT_EQ(stream.totalbits(), k_buffer);
    stream.putubits(5, 20);
    EXPECT_EQ(stream.totalbits(), k_buffer + 20);
    for (long i = 0; i < k_buffer; i += 32) ASSERT_EQ(stream.getulong(), 0xFFFFFFFF);
    EXPECT_EQ(stream.getubits(20), 5U);
}

TEST(UtBitstream, DoesWhatTheModelDoes)
{
    std::mt19937 random(20'041);
    for (int run = 0; run < 100; ++run) {
        UT_BITSTREAM stream;
        bitstream_model model;
        for (int step = 0; step < 1'000; ++step) {
            const auto operation = static_cast<unsigned int>(random());
            const auto value = static_cast<std::uint32_t>(random());
            const int count = static_cast<int>(random() % (step % 100 == 0 ? 20'000 : 50)) - 5;
            ASSERT_TRUE(same_step(stream, model, operation, value, count)) << run << ' ' << step;
            ASSERT_TRUE(step % 20 != 0 || same(stream, model)) << run << ' ' << step;
        }
        ASSERT_TRUE(same(stream, model));
    }
}

}  // namespace
