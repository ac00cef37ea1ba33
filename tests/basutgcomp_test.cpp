// tests/basutgcomp_test.cpp
#include "basutgcomp.h"

#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include <bzlib.h>
#include <gtest/gtest.h>
#include <zlib.h>

#include "basutfile.h"
#include "scoped_operations.h"
#include "stream_tools.h"

namespace {

constexpr std::size_t k_signature = 7;
constexpr std::size_t k_block = 16'384;  ///< content in a block of a stream that the file manager made

static_assert(!std::is_copy_constructible_v<UT_GCOMP>);
static_assert(std::is_base_of_v<UT_GCOMPALG, UT_GCA> && std::is_base_of_v<UT_GCOMPALG, UT_GCB>);
static_assert(sizeof(UT_GCA) == sizeof(void*) && sizeof(UT_GCB) == sizeof(void*), "no state of their own");

std::string signature_of(int bit)
{
    return bit == UT_ACCESS_GCA ? "\x5B\x5B\xA6\xA6\xC4\xC4\x72" : "\x5C\x5C\xA7\xA7\xC5\xC5\x73";
}

// The peers: the two libraries, called by the test itself.

std::string deflated(std::string_view content)
{
    uLongf size = compressBound(content.size());
    std::string bytes(size, '\0');
    EXPECT_EQ(compress(bytes_of(bytes), &size, bytes_of(content), content.size()), Z_OK);
    bytes.resize(size);
    return bytes;
}

std::string burrowed(std::string_view content)
{
    auto size = static_cast<unsigned int>(content.size() + content.size() / 100 + 601);
    std::string bytes(size, '\0');
    std::string copy(content);
    EXPECT_EQ(BZ2_bzBuffToBuffCompress(bytes.data(), &size, copy.data(),
                                       static_cast<unsigned int>(copy.size()), 6, 0, 30),
              BZ_OK);
    bytes.resize(size);
    return bytes;
}

std::optional<std::string> expanded(int bit, std::string block)
{
    std::string content(65'536, '\0');
    if (bit == UT_ACCESS_GCA) {
        uLongf size = content.size();
        if (uncompress(bytes_of(content), &size, bytes_of(block), block.size()) != Z_OK) return std::nullopt;
        content.resize(size);
        return content;
    }
    auto size = static_cast<unsigned int>(content.size());
    const int result = BZ2_bzBuffToBuffDecompress(content.data(), &size, block.data(),
                                                  static_cast<unsigned int>(block.size()), 0, 0);
    if (result != BZ_OK) return std::nullopt;
    content.resize(size);
    return content;
}

std::string count_bytes(std::int64_t count)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(count >> shift);
    return bytes;
}

/// A file of these pieces of content, each a block.
std::string file_of(int bit, const std::vector<std::string>& pieces)
{
    std::string bytes = signature_of(bit);
    for (const std::string& piece : pieces) {
        const std::string block = bit == UT_ACCESS_GCA ? deflated(piece) : burrowed(piece);
        bytes += count_bytes(static_cast<std::int64_t>(block.size())) + block;
    }
    return bytes;
}

/// The content of each block of a file, or nothing where a block is no block.
std::vector<std::string> pieces_of(int bit, const std::string& file)
{
    EXPECT_EQ(file.substr(0, k_signature), signature_of(bit));
    std::vector<std::string> pieces;
    for (std::size_t at = k_signature; at < file.size();) {
        std::size_t size = 0;
        for (int i = 0; i < 4; ++i) size = size << 8 | static_cast<unsigned char>(file.at(at++));
        const std::optional<std::string> piece = expanded(bit, file.substr(at, size));
        EXPECT_TRUE(piece.has_value());
        pieces.push_back(piece.value_or("?"));
        at += size;
    }
    return pieces;
}

std::string random_bytes(std::mt19937& random, std::size_t size)
{
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

class EachGeneralForm : public testing::TestWithParam<int> {
protected:
    int bit() const { return GetParam(); }
    UT_ACCESS to_read() const { return UT_ACCESS_READ | static_cast<UT_ACCESS>(bit()); }
    UT_ACCESS to_write() const { return UT_ACCESS_WRITE | static_cast<UT_ACCESS>(bit()); }

    /// What a stream of the file manager writes to a file.
    void write_content(std::string_view content)
    {
        UT_STREAM* const stream = ut_file.open(path.c_str(), to_write(), 1);
        ASSERT_NE(stream, nullptr);
        EXPECT_EQ(write_text(*stream, content), static_cast<int>(content.size()));
        EXPECT_TRUE(ut_file.close(stream));
    }
    UT_STREAM& reader(const std::string& bytes)
    {
        close_reader();
        write_file(path, bytes);
        opened_ = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
        EXPECT_NE(opened_, nullptr);
        return *opened_;
    }
    std::string content_of(const std::string& bytes, int most = 200'000)
    {
        return read_text(reader(bytes), most);
    }
    void close_reader()
    {
        if (opened_ != nullptr) ut_file.close(opened_);
        opened_ = nullptr;
    }
    void TearDown() override { close_reader(); }

    const temp_directory directory;
    const std::string path = directory / "blocks";

private:
    UT_STREAM* opened_ = nullptr;
};
INSTANTIATE_TEST_SUITE_P(Forms, EachGeneralForm, testing::Values(UT_ACCESS_GCA, UT_ACCESS_GCB),
                         [](const auto& form) { return form.param == UT_ACCESS_GCA ? "Gca" : "Gcb"; });

// ---- what is written

TEST_P(EachGeneralForm, WritesTheSignatureAndBlocksOf16384Bytes)
{
    const std::string content = varied_text(40'000);
    write_content(content);
    const std::vector<std::string> pieces = pieces_of(bit(), file_bytes(path));
    EXPECT_EQ(pieces, (std::vector{content.substr(0, k_block), content.substr(k_block, k_block),
                                   content.substr(2 * k_block)}));
}

TEST_P(EachGeneralForm, BlocksAreMadeByTheLibrariesAtTheirStatedSettings)
{
    write_content("some text, some text, some text");
    const std::string block = file_bytes(path).substr(k_signature + 4);
    if (bit() == UT_ACCESS_GCA)
        EXPECT_EQ(block.substr(0, 2), "\x78\x9C");  // a window of 32 KiB, the default level
    else
        EXPECT_EQ(block.substr(0, 4), "BZh6");
}

TEST_P(EachGeneralForm, AFileWithoutContentHasNoByte)
{
    write_content("");
    EXPECT_EQ(file_bytes(path), "");
}

TEST_P(EachGeneralForm, AFlushEndsABlock)
{
    UT_STREAM* const stream = ut_file.open(path.c_str(), to_write(), 1);
    write_text(*stream, "first");
    EXPECT_TRUE(stream->flush());
    write_text(*stream, "second");
    ut_file.close(stream);
    EXPECT_EQ(pieces_of(bit(), file_bytes(path)), (std::vector<std::string>{"first", "second"}));
}

TEST_P(EachGeneralForm, WithBothBitsTheFirstWins)
{
    UT_STREAM* const stream = ut_file.open(path.c_str(), to_write() | UT_ACCESS_GCA | UT_ACCESS_GCB, 1);
    write_text(*stream, "content");
    ut_file.close(stream);
    EXPECT_EQ(pieces_of(UT_ACCESS_GCA, file_bytes(path)), std::vector<std::string>{"content"});
}

TEST_P(EachGeneralForm, IncompressibleContentFitsIntoItsBlocks)
{
    std::mt19937 random(7);
    const std::string content = random_bytes(random, 3 * k_block);
    write_content(content);
    EXPECT_EQ(content_of(file_bytes(path)), content);
}

TEST_P(EachGeneralForm, ContentThatDoesNotFitIntoABlockIsLostAndToldOf)
{
    std::mt19937 random(8);
    const std::string content = random_bytes(random, 65'536);
    const descriptor file(path, k_to_write);
    open_stream stream(file, to_write(), content.size() + 1, nullptr);
    EXPECT_EQ(write_text(stream, content), 65'536);
    EXPECT_FALSE(stream.flush());
    EXPECT_EQ(stream.geterror(), EFBIG);
    stream.clearerror();
    write_text(stream, "after it");
    EXPECT_TRUE(stream.flush());
    EXPECT_EQ(stream.geterror(), 0);
}

TEST_P(EachGeneralForm, ALargeBufferWritesLargeBlocks)
{
    const std::string content(30'000, 'x');
    {
        const descriptor file(path, k_to_write);
        UT_STREAM stream(file, to_write(), 32'768, nullptr);
        write_text(stream, content);
        stream.flush();
    }
    EXPECT_EQ(pieces_of(bit(), file_bytes(path)), std::vector{content});
    EXPECT_EQ(content_of(file_bytes(path)), content);
}

// ---- what is read

TEST_P(EachGeneralForm, ReadsWhatThePeerWrote)
{
    const std::string content = varied_text(3 * k_block + 77);
    const std::string bytes =
        file_of(bit(), {content.substr(0, k_block), content.substr(k_block, k_block),
                        content.substr(2 * k_block, k_block), content.substr(3 * k_block)});
    UT_STREAM& stream = reader(bytes);
    EXPECT_EQ(stream.getaccess(), UT_ACCESS_READ | bit());
    EXPECT_EQ(read_text(stream, 100'000), content);
    EXPECT_TRUE(stream.geteof());
    EXPECT_EQ(stream.geterror(), 0);
}

TEST_P(EachGeneralForm, ReadsBlocksOf32768Bytes)
{
    const std::string content = varied_text(65'536);
    const std::string bytes = file_of(bit(), {content.substr(0, 32'768), content.substr(32'768)});
    EXPECT_EQ(content_of(bytes), content);
}

TEST_P(EachGeneralForm, RoundTripsOfRandomContents)
{
    std::mt19937 random(20'260'101);
    for (int round = 0; round < 10'000; ++round) {
        const std::size_t size = round % 1'000 == 0 ? random() % 60'000 : random() % 300;
        std::string content = random_bytes(random, size);
        if (round % 2 == 0)
            for (char& byte : content) byte = static_cast<char>('a' + (byte & 3));
        write_content(content);
        ASSERT_EQ(content_of(file_bytes(path)), content) << round;
    }
}

TEST_P(EachGeneralForm, ASequentialReadEndsBehindAShortBlock)
{
    // A block shorter than the buffer looks like the last load. Programs rely on the end that they see.
    const std::string bytes = file_of(bit(), {"first", "second"});
    UT_STREAM& stream = reader(bytes);
    EXPECT_EQ(read_text(stream, 100), "first");
    EXPECT_TRUE(stream.geteof());
}

TEST_P(EachGeneralForm, OnceStagedAllBlocksAreDelivered)
{
    const std::string bytes = file_of(bit(), {"first", "second", "third"});
    UT_STREAM& sought = reader(bytes);
    EXPECT_TRUE(sought.setfoffset(3));
    EXPECT_EQ(read_text(sought, 100), "stsecondthird");

    UT_STREAM& peeked = reader(bytes);
    EXPECT_EQ(read_text(peeked, 1), "f");
    EXPECT_TRUE(peeked.setfoffset(0)) << "a fresh compressor reads whole blocks again";
    EXPECT_EQ(read_text(peeked, 100), "first");
}

TEST_P(EachGeneralForm, APeekOverTheBuffersEndStages)
{
    const std::string first = varied_text(k_block);
    UT_STREAM& stream = reader(file_of(bit(), {first, "second", "third"}));
    EXPECT_EQ(read_text(stream, 16'380), first.substr(0, 16'380));
    std::string ahead(10, '\0');
    EXPECT_EQ(stream.peek(bytes_of(ahead), 10), 10);
    EXPECT_EQ(ahead, first.substr(16'380) + "second");
    EXPECT_EQ(read_text(stream, 100), first.substr(16'380) + "secondthird") << "no short block is the end";
}

TEST(UtGcomp, ABlockOfAllTheCompressedBytesThatFitIsRead)
{
    const temp_directory directory;
    std::mt19937 random(12);
    const std::string content = random_bytes(random, 32'768 - 11);  // stored, with a head and a check sum
    std::string block(32'768, '\0');
    uLongf size = block.size();
    ASSERT_EQ(compress2(bytes_of(block), &size, bytes_of(content), content.size(), 0), Z_OK);
    ASSERT_EQ(size, 32'768u);
    write_file(directory / "block", count_bytes(32'768) + block);
    const descriptor file(directory / "block", k_to_read);
    UT_GCOMP blocks(UT_ACCESS_READ | UT_ACCESS_GCA, file);
    std::string out(32'768, '\0');
    EXPECT_EQ(blocks.read(bytes_of(out), 32'768), 32'757);
    EXPECT_EQ(out.substr(0, 32'757), content);
}

TEST_P(EachGeneralForm, CountsItsBlocksAndTellsOfOneCutShort)
{
    const std::string bytes = file_of(bit(), {"first", "second"}).substr(k_signature);
    for (const std::size_t missing : {std::size_t{0}, std::size_t{1}, bytes.size() - 1}) {
        write_file(path, bytes.substr(0, bytes.size() - missing));
        const descriptor file(path, k_to_read);
        UT_GCOMP blocks(to_read(), file);
        std::string out(100, '\0');
        blocks.read(bytes_of(out), 100);
        EXPECT_EQ(blocks.get_block_count(), missing == 0 ? 2u : missing == 1 ? 1u : 0u);
        EXPECT_EQ(blocks.is_cut_short() != 0, missing != 0) << missing;
    }
}

TEST_P(EachGeneralForm, SeeksToAnyPlace)
{
    const std::string content = varied_text(50'000);
    write_content(content);
    UT_STREAM& stream = reader(file_bytes(path));
    for (const long place : {49'999L, 0L, 16'383L, 16'384L, 40'000L, 1L}) {
        EXPECT_TRUE(stream.setfoffset(place));
        EXPECT_EQ(read_text(stream, 40), content.substr(static_cast<std::size_t>(place), 40)) << place;
    }
}

TEST_P(EachGeneralForm, PeeksOverTheEndOfTheBuffer)
{
    const std::string content = varied_text(40'000);
    write_content(content);
    UT_STREAM& stream = reader(file_bytes(path));
    EXPECT_EQ(read_text(stream, 16'380), content.substr(0, 16'380));
    std::string ahead(100, '\0');
    EXPECT_EQ(stream.peek(bytes_of(ahead), 100), 100);
    EXPECT_EQ(ahead, content.substr(16'380, 100));
    EXPECT_EQ(read_text(stream, 100'000), content.substr(16'380));
}

// ---- the object itself

TEST_P(EachGeneralForm, TheObjectDeliversWholeBlocksUntilALessIsAsked)
{
    const std::vector<std::string> pieces{"first", std::string(20'000, 'x'), "third", "fourth", "fifth"};
    write_file(path, file_of(bit(), pieces).substr(k_signature));
    const descriptor file(path, k_to_read);
    UT_GCOMP blocks(to_read(), file);
    std::string out(32'768, '\0');
    EXPECT_EQ(blocks.read(bytes_of(out), 16'384), 5);
    EXPECT_EQ(out.substr(0, 5), "first");
    EXPECT_EQ(blocks.read(bytes_of(out), -1), 20'000);
    EXPECT_EQ(out.substr(0, 20'000), pieces[1]);
    EXPECT_EQ(blocks.read(bytes_of(out), 16'383), 16) << "staged: over the borders of blocks";
    EXPECT_EQ(out.substr(0, 16), "thirdfourthfifth");
    EXPECT_EQ(blocks.read(bytes_of(out), 16'384), 0);
    EXPECT_EQ(blocks.read(bytes_of(out), 10), 0);
}

TEST_P(EachGeneralForm, StagingIsForGood)
{
    write_file(path, file_of(bit(), {"first", "second", "third"}).substr(k_signature));
    const descriptor file(path, k_to_read);
    UT_GCOMP blocks(to_read(), file);
    std::string out(32'768, '\0');
    EXPECT_EQ(blocks.read(bytes_of(out), 2), 2);
    EXPECT_EQ(blocks.read(bytes_of(out), 0), 0);
    EXPECT_EQ(blocks.read(bytes_of(out), 30'000), 14);
    EXPECT_EQ(out.substr(0, 14), "rstsecondthird");
}

TEST_P(EachGeneralForm, TheDestructorWritesOutAndLeavesTheDescriptorOpen)
{
    const descriptor file(path, k_to_write);
    std::string content = "content";
    {
        UT_GCOMP blocks(to_write(), file);
        EXPECT_EQ(blocks.write(bytes_of(content), 7), 7);
        EXPECT_EQ(blocks.write(bytes_of(content), 0), 0);
        EXPECT_EQ(file_bytes(path), "");
    }
    EXPECT_EQ(pieces_of(bit(), file_bytes(path)), std::vector<std::string>{"content"});
    EXPECT_EQ(ketriope::platform::os().write(file, "!", 1), 1);
}

TEST_P(EachGeneralForm, WithoutTheSignatureWhereTheFileDoesNotStandAtItsStart)
{
    message_capture capture;
    const descriptor file(path, k_to_write);
    ketriope::platform::os().write(file, "head", 4);
    std::string content = "content";
    {
        UT_GCOMP blocks(to_write(), file);
        blocks.write(bytes_of(content), 7);
        stderr_of([&] { blocks.flush(); });
    }
    EXPECT_EQ(pieces_of(bit(), signature_of(bit()) + file_bytes(path).substr(4)),
              std::vector<std::string>{"content"});
}

TEST(UtGcomp, WithoutAnAlgorithmNothingIsProduced)
{
    const temp_directory directory;
    const std::string path = directory / "file";
    write_file(path, count_bytes(3) + "abc");
    const descriptor file(path, k_to_read);
    UT_GCOMP blocks(UT_ACCESS_READ, file);
    std::string out(32'768, '?');
    EXPECT_EQ(blocks.read(bytes_of(out), 20'000), 0);

    UT_GCOMPALG none;
    unsigned int produced = 7;
    none.compress(bytes_of(out), 5, bytes_of(out), produced);
    none.decompress(bytes_of(out), 5, bytes_of(out), produced);
    EXPECT_EQ(produced, 7u) << "they touch nothing";
    EXPECT_EQ(out, std::string(32'768, '?'));
}

TEST(UtGcomp, AModeChosenByHandHasRoomForAWholeBlock)
{
    const temp_directory directory;
    const std::string path = directory / "file";
    const std::string content(32'768, 'x');
    write_file(path, file_of(UT_ACCESS_GCA, {content}));
    for (const std::size_t length : {std::size_t{16'384}, std::size_t{20'000}, std::size_t{32'767}}) {
        const descriptor file(path, k_to_read);
        open_stream stream(file, UT_ACCESS_READ, length, nullptr);
        std::string head(7, '\0');
        ketriope::platform::os().read(file, head.data(), 7);
        stream.set_io_mode(UT_IO_GCA);
        EXPECT_EQ(read_text(stream, 40'000), content);
    }
}

// ---- bad files and full disks

TEST_P(EachGeneralForm, AFileCutAnywhereGivesItsWholeBlocks)
{
    const std::vector<std::string> pieces{varied_text(300), std::string(k_block, 'y'), varied_text(100)};
    const std::string bytes = file_of(bit(), pieces);
    const std::string all = pieces[0] + pieces[1] + pieces[2];
    for (std::size_t size = k_signature; size <= bytes.size(); ++size) {
        UT_STREAM& stream = reader(bytes.substr(0, size));
        stream.setfoffset(1);  // staged, so that short blocks do not end the reading
        const std::string got = read_text(stream, 100'000);
        ASSERT_EQ(got, all.substr(1, got.size())) << size;
        ASSERT_TRUE(got.size() + 1 == all.size() || got.empty() || got.size() + 1 == pieces[0].size() ||
                    got.size() + 1 == pieces[0].size() + pieces[1].size())
            << size << ' ' << got.size();
    }
}

TEST_P(EachGeneralForm, AFileWithAnyByteTurnedIsReadWithinBounds)
{
    const std::string bytes = file_of(bit(), {varied_text(200), varied_text(300)});
    for (std::size_t at = k_signature; at < bytes.size(); ++at) {
        for (const unsigned turn : {0xFFu, 0x80u, 0x01u}) {
            std::string damaged = bytes;
            damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ turn);
            UT_STREAM& stream = reader(damaged);
            ASSERT_LE(read_text(stream, 100'000).size(), 2u * 32'768) << at;
            stream.setfoffset(1);
            ASSERT_LE(read_text(stream, 100'000).size(), 2u * 32'768) << at;
        }
    }
}

TEST_P(EachGeneralForm, AForgedCountIsTheEnd)
{
    for (const std::int64_t count :
         {std::int64_t{-1}, std::int64_t{32'769}, std::int64_t{0x7FFFFFFF}, std::int64_t{-0x80000000LL}}) {
        const std::string bytes =
            file_of(bit(), {"first"}) + count_bytes(count) + file_of(bit(), {"never"}).substr(k_signature);
        UT_STREAM& stream = reader(bytes);
        stream.setfoffset(1);
        EXPECT_EQ(read_text(stream, 1'000), "irst") << count;
    }
}

TEST_P(EachGeneralForm, ABlockThatExpandsBeyondItsLimitIsEmpty)
{
    const std::string bytes = file_of(bit(), {"first", std::string(5'000'000, '\0'), "third"});
    UT_STREAM& stream = reader(bytes);
    stream.setfoffset(1);
    EXPECT_EQ(read_text(stream, 6'000'000), "irstthird");
}

TEST_P(EachGeneralForm, AFullDiskShowsInTheStreamAndInTheManager)
{
    static std::int64_t room;
    for (room = 0; room < 12'000; room += 500) {
        UT_STREAM* const stream = ut_file.open(path.c_str(), to_write(), 1);
        std::mt19937 random(3);
        const std::string content = random_bytes(random, 12'000);
        ut_file.clearerror();
        {
            scoped_operations operations;
            static auto* real_write = operations.table.write;
            operations.table.write = [](int fd, const void* from, std::size_t count) -> std::int64_t {
                const std::size_t taken = std::min(count, static_cast<std::size_t>(room));
                room -= static_cast<std::int64_t>(taken);
                if (taken == count) return real_write(fd, from, count);
                errno = ENOSPC;
                return taken == 0 ? -1 : real_write(fd, from, taken);
            };
            const std::int64_t before = room;
            write_text(*stream, content);
            ut_file.close(stream);
            EXPECT_EQ(ut_file.geterror(), ENOSPC) << before;
            room = before;
        }
    }
}

}  // namespace
