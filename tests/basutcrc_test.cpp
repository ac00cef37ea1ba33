// tests/basutcrc_test.cpp
#include "basutcrc.h"

#include <cstdint>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

/// The sums bit by bit, as their polynomials say.
unsigned by_bits(const std::string& text, unsigned sum, unsigned polynomial)
{
    for (const char c : text) {
        sum ^= static_cast<unsigned char>(c);
        for (int bit = 0; bit < 8; ++bit) sum = (sum & 1) != 0 ? sum >> 1 ^ polynomial : sum >> 1;
    }
    return sum;
}

TEST(UtCrc, GivesThePublishedCheckValues)
{
    EXPECT_EQ(UT_CRC::crc8("123456789", 0), 0xA1);
    EXPECT_EQ(UT_CRC::crc16("123456789", 0), 0xBB3D);
    EXPECT_EQ(UT_CRC::crc16("123456789", 0xFFFF), 0x4B37);
}

TEST(UtCrc, ATextOfOneByteGivesTheEntryOfTheTable)
{
    EXPECT_EQ(UT_CRC::crc8("\x01", 0), 0x5E);
    EXPECT_EQ(UT_CRC::crc8("\x02", 0), 0xBC);
    EXPECT_EQ(UT_CRC::crc8("\x03", 0), 0xE2);
    EXPECT_EQ(UT_CRC::crc8("\x04", 0), 0x61);
    EXPECT_EQ(UT_CRC::crc8("\x05", 0), 0x3F);
    EXPECT_EQ(UT_CRC::crc16("\x01", 0), 0xC0C1);
    EXPECT_EQ(UT_CRC::crc16("\x02", 0), 0xC181);
    EXPECT_EQ(UT_CRC::crc16("\x03", 0), 0x0140);
}

TEST(UtCrc, AnEmptyTextAndNullGiveTheSeed)
{
    const char* const null = nullptr;
    for (const unsigned seed : {0u, 0x5Au, 0xA55Au, 0xFFFFu}) {
        const auto seed_8 = static_cast<unsigned char>(seed);
        const auto seed_16 = static_cast<unsigned short>(seed);
        EXPECT_EQ(UT_CRC::crc8("", seed_8), seed_8);
        EXPECT_EQ(UT_CRC::crc8(null, seed_8), seed_8);
        EXPECT_EQ(UT_CRC::crc8(UT_STROBJ(), seed_8), seed_8);
        EXPECT_EQ(UT_CRC::crc16("", seed_16), seed_16);
        EXPECT_EQ(UT_CRC::crc16(null, seed_16), seed_16);
        EXPECT_EQ(UT_CRC::crc16(UT_STROBJ(), seed_16), seed_16);
    }
}

TEST(UtCrc, BytesAbove127CountAsUnsignedOnes)
{
    // Independent values: 0x80 and 0xFF alone.
    EXPECT_EQ(UT_CRC::crc8("\x80", 0), by_bits("\x80", 0, 0x8C));
    EXPECT_EQ(UT_CRC::crc16("\x80", 0), 0xA001);
    EXPECT_EQ(UT_CRC::crc16("\xFF", 0), by_bits("\xFF", 0, 0xA001));
    EXPECT_EQ(UT_CRC::crc16("\xFF", 0xFFFF), 0x00FF);
}

TEST(UtCrc, TheStringFormsStopAtTheFirstNulToo)
{
    UT_STROBJ text("123456789");
    text += '\0';
    text += 'x';
    ASSERT_EQ(text.length(), 11u);
    EXPECT_EQ(UT_CRC::crc8(text, 0), 0xA1);
    EXPECT_EQ(UT_CRC::crc16(text, 0), 0xBB3D);
}

TEST(UtCrc, RandomTextsGiveWhatThePolynomialsSayWholeAndInPieces)
{
    std::mt19937 random(8);
    for (int round = 0; round < 10'000; ++round) {
        std::string text(random() % 100, '\0');
        for (char& c : text) c = static_cast<char>(1 + random() % 255);
        const auto seed = static_cast<unsigned short>(random());
        const auto seed_8 = static_cast<unsigned char>(seed);
        ASSERT_EQ(UT_CRC::crc8(text.c_str(), seed_8), by_bits(text, seed_8, 0x8C));
        ASSERT_EQ(UT_CRC::crc16(text.c_str(), seed), by_bits(text, seed, 0xA001));
        const std::size_t cut = random() % (text.size() + 1);
        ASSERT_EQ(UT_CRC::crc16(text.c_str() + cut, UT_CRC::crc16(text.substr(0, cut).c_str(), seed)),
                  UT_CRC::crc16(text.c_str(), seed));
    }
}

}  // namespace
