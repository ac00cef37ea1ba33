// tests/basutio_test.cpp
#include "basutio.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "fake_coder.h"
#include "stream_tools.h"

namespace {

static_assert(UT_ACCESS_READ == 1 && UT_ACCESS_WRITE == 2 && UT_ACCESS_APPEND == 4 && UT_ACCESS_PACKED == 8 &&
              UT_ACCESS_GCA == 16 && UT_ACCESS_GCB == 32);
static_assert(UT_IO_PAK == 0 && UT_IO_GCA == 1 && UT_IO_GCB == 2 && UT_IO_RAW == 3);
static_assert((UT_ACCESS_WRITE | UT_ACCESS_APPEND) == 6);
static_assert(!std::is_nothrow_destructible_v<UT_IO_DEVICE>);

/// Keeps its stored bytes in memory.
class memory_device : public UT_IO_DEVICE {
public:
    int get_rawdata(unsigned char* out, int count) override
    {
        const std::size_t got = std::min(static_cast<std::size_t>(count), stored.size() - at);
        std::copy_n(bytes_of(stored) + at, got, out);
        at += got;
        return static_cast<int>(got);
    }
    int set_rawdata(unsigned char* from, int count) override
    {
        if (count > 0) versions_at_first_byte = {get_pak_version(), get_huf_version()};
        stored.append(reinterpret_cast<char*>(from), static_cast<std::size_t>(count));
        return count;
    }
    long set_rawoffset(long position) override
    {
        asked_offset = position;
        if (refuses) return -1;
        at = static_cast<std::size_t>(std::max(position, 0L));
        return position;
    }
    long get_rawoffset() override { return static_cast<long>(at) + 1000; }

    std::string stored;
    std::size_t at = 0;
    long asked_offset = -7;
    bool refuses = false;
    ketriope::coder_versions versions_at_first_byte;
};
using test_device = opened<memory_device>;

std::string get_text(test_device& device, std::size_t count)
{
    std::string text(count, '\0');
    text.resize(static_cast<std::size_t>(device.get_data(bytes_of(text), count)));
    return text;
}

TEST(UtIoDevice, StartsRawWithoutPositionAndVersions)
{
    test_device device;
    EXPECT_EQ(device.get_io_mode(), UT_IO_RAW);
    EXPECT_FALSE(device.is_compressed());
    EXPECT_EQ(device.get_pak_version(), 0);
    EXPECT_EQ(device.get_huf_version(), 0);
    EXPECT_EQ(device.get_offset(), 1000);
}

TEST(UtIoDevice, IsCompressedInEveryModeBelowRaw)
{
    test_device device;
    for (const auto mode : {UT_IO_PAK, UT_IO_GCA, UT_IO_GCB}) {
        device.set_io_mode(mode);
        EXPECT_TRUE(device.is_compressed()) << mode;
    }
    device.set_io_mode(UT_IO_RAW);
    EXPECT_FALSE(device.is_compressed());
}

TEST(UtIoDevice, RawModeGoesStraightToTheRawOperations)
{
    fake_coders coders;
    test_device device;
    std::string text = "content";
    EXPECT_EQ(device.set_data(bytes_of(text), text.size()), 7);
    EXPECT_EQ(device.stored, "content");
    EXPECT_EQ(device.set_offset(3), 3);
    EXPECT_EQ(get_text(device, 100), "tent");
    EXPECT_EQ(device.get_offset(), 1007);
    EXPECT_TRUE(coders.made.empty());
}

TEST(UtIoDevice, RawModeHandsOnTheMarkOfTheEnd)
{
    test_device device;
    device.set_offset(-1);
    EXPECT_EQ(device.asked_offset, -1);
    device.refuses = true;
    EXPECT_EQ(device.set_offset(5), -1);
}

class EachCompressor : public testing::TestWithParam<UT_IO_DEVICE_MODE> {
protected:
    EachCompressor() { device.set_io_mode(GetParam()); }
    void TearDown() override { device.destroy_me(); }

    fake_coders coders;
    const std::unique_ptr<test_device> owned = std::make_unique<test_device>();
    test_device& device = *owned;
};
INSTANTIATE_TEST_SUITE_P(Modes, EachCompressor, testing::Values(UT_IO_PAK, UT_IO_GCA, UT_IO_GCB));

TEST_P(EachCompressor, IsMadeAtTheFirstTransferAndCountsTheContent)
{
    device.stored = turned("abcdefgh");
    EXPECT_TRUE(coders.made.empty());
    EXPECT_EQ(get_text(device, 3), "abc");
    EXPECT_EQ(get_text(device, 100), "defgh");
    EXPECT_EQ(coders.made, std::vector{GetParam()});
    EXPECT_EQ(device.get_offset(), 8);
    EXPECT_EQ(get_text(device, 100), "");
    EXPECT_EQ(device.get_offset(), 8);
}

TEST_P(EachCompressor, TakesAllThatIsWrittenAndCountsIt)
{
    std::string text = "0123456789";
    EXPECT_EQ(device.set_data(bytes_of(text), 10), 10);
    EXPECT_EQ(device.set_data(bytes_of(text), 4), 4);
    EXPECT_EQ(device.get_offset(), 14);
    EXPECT_EQ(coders.made.size(), 1u);
    device.destroy_me();
    EXPECT_EQ(device.stored, turned("01234567890123") + '.');
    EXPECT_EQ(coders.finished, 1);
    EXPECT_TRUE(coders.living.empty());
    device.destroy_me();
    EXPECT_EQ(coders.finished, 1);
}

TEST_P(EachCompressor, ASeekIsARewindAndAReplayInSmallPieces)
{
    device.stored = turned(varied_text(1'000));
    get_text(device, 900);
    coders.reads.clear();
    EXPECT_EQ(device.set_offset(600), 600);
    EXPECT_EQ(device.asked_offset, 0);
    EXPECT_EQ(coders.reads, (std::vector<std::size_t>{256, 256, 88}));
    EXPECT_EQ(coders.made.size(), 2u);
    EXPECT_EQ(coders.finished, 1);
    EXPECT_EQ(device.get_offset(), 600);
    EXPECT_EQ(get_text(device, 5), varied_text(1'000).substr(600, 5));
}

TEST_P(EachCompressor, ASeekBeyondTheEndStopsThere)
{
    device.stored = turned("abc");
    EXPECT_EQ(device.set_offset(1'000'000), 3);
    EXPECT_EQ(coders.reads.size(), 2u);
}

TEST_P(EachCompressor, APositionBelow1IsTheStart)
{
    device.stored = turned("abc");
    for (const long position : {0L, -1L, -2L, 0xffffffffL}) {
        get_text(device, 2);
        EXPECT_EQ(device.set_offset(position), 0) << position;
        EXPECT_EQ(device.get_offset(), 0);
    }
    EXPECT_EQ(get_text(device, 9), "abc");
}

TEST_P(EachCompressor, ARewindThatFailsBreaksTheContract)
{
    device.refuses = true;
    expect_contract("basutio", "Unable to set raw offset for compressed file.",
                    [this] { device.set_offset(1); });
}

TEST_P(EachCompressor, WithoutACoderNothingIsDeliveredAndNothingTaken)
{
    ketriope::install_coders(nullptr);
    device.stored = "abc";
    EXPECT_EQ(get_text(device, 9), "");
    std::string text = "x";
    EXPECT_EQ(device.set_data(bytes_of(text), 1), 0);
    EXPECT_EQ(device.stored, "abc");
    EXPECT_EQ(device.get_offset(), 0);
    EXPECT_EQ(device.set_offset(2), 0);
}

TEST(UtIoDevice, APackerTellsItsVersionsBeforeTheFirstByteGoesOut)
{
    fake_coders coders;
    coders.versions = {'p', 'h'};
    test_device device;
    device.set_io_mode(UT_IO_PAK);
    std::string text = "x";
    device.set_data(bytes_of(text), 1);
    EXPECT_EQ(device.versions_at_first_byte.pak, 'p');
    EXPECT_EQ(device.versions_at_first_byte.huf, 'h');
    EXPECT_EQ(device.get_pak_version(), 'p');
    EXPECT_EQ(device.get_huf_version(), 'h');
    device.destroy_me();
}

TEST(UtIoDevice, AnUnpackerIsGivenTheStoredVersionsAndLeavesThem)
{
    const temp_directory directory;
    write_file(directory / "v", "hp");
    const descriptor file(directory / "v", k_to_read);
    fake_coders coders;
    test_device device;
    device.set_io_mode(UT_IO_PAK);
    EXPECT_TRUE(device.read_version(file));
    get_text(device, 1);
    ASSERT_EQ(coders.asked.size(), 1u);
    EXPECT_EQ(coders.asked[0].pak, 'p');
    EXPECT_EQ(coders.asked[0].huf, 'h');
    EXPECT_EQ(device.get_pak_version(), 'p');
    device.destroy_me();
}

TEST(UtIoDevice, VersionsAreFiledHuffmanFirstAndAMissingOneIsOne)
{
    const temp_directory directory;
    const std::string path = directory / "v";
    test_device device;
    EXPECT_TRUE(device.write_version(descriptor(path, k_to_write)));
    EXPECT_EQ(file_bytes(path), "11");
    write_file(path, "hp");
    EXPECT_TRUE(device.read_version(descriptor(path, k_to_read)));
    EXPECT_EQ(device.get_huf_version(), 'h');
    EXPECT_EQ(device.get_pak_version(), 'p');
    EXPECT_TRUE(device.write_version(descriptor(path, k_to_write)));
    EXPECT_EQ(file_bytes(path), "hp");
}

TEST(UtIoDevice, AVersionThatCannotBeTransferredGivesFalse)
{
    const temp_directory directory;
    test_device device;
    for (const char* bytes : {"", "h"}) {
        write_file(directory / "v", bytes);
        EXPECT_FALSE(device.read_version(descriptor(directory / "v", k_to_read))) << bytes;
    }
    EXPECT_FALSE(device.read_version(-1));
    EXPECT_FALSE(device.write_version(-1));
    EXPECT_FALSE(device.write_version(descriptor(directory / "v", k_to_read)));
    EXPECT_FALSE(device.write_version(descriptor("/dev/full", ketriope::platform::open_write)));
}

TEST(UtIoDevice, DestructionWithAPackerInHandBreaksTheContract)
{
    expect_contract("basutio", "pak has not been delete.", [] {
        fake_coders coders;  // frees what the device leaves
        test_device device;
        device.set_io_mode(UT_IO_PAK);
        get_text(device, 1);
    });
}

TEST(UtIoDevice, DestructionDoesNotThrowWhileAnotherExceptionIsOnItsWay)
{
    const message_capture capture;
    fake_coders coders;
    const auto work = [] {
        test_device device;
        device.set_io_mode(UT_IO_PAK);
        get_text(device, 1);
        throw std::string("mine");
    };
    EXPECT_THROW(work(), std::string);
    EXPECT_EQ(capture.last(), (post{"common", "0000", "basutio", "pak has not been delete."}));
}

TEST(UtIoDevice, APackerThatRaisesAtItsEndIsLetGoOf)
{
    fake_coders coders;
    coders.finish_raises = true;
    test_device device;
    device.set_io_mode(UT_IO_PAK);
    get_text(device, 1);
    EXPECT_THROW(device.destroy_me(), int);
    EXPECT_TRUE(coders.living.empty());
    EXPECT_NO_THROW(device.destroy_me());
}

TEST(UtIoDevice, ACopySharesTheCoderAndThePosition)
{
    fake_coders coders;
    test_device device;
    device.stored = turned("abcdef");
    device.set_io_mode(UT_IO_GCB);
    get_text(device, 2);
    const test_device copy = device;
    EXPECT_EQ(copy.get_io_mode(), UT_IO_GCB);
    EXPECT_EQ(test_device(copy).get_offset(), 2);
    EXPECT_EQ(coders.made.size(), 1u);
    device.destroy_me();
}

}  // namespace
