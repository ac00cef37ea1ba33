// tests/basutpak_test.cpp
#include "basutpak.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <fstream>
#include <new>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <zlib.h>

#include "allocation_faults.h"
#include "basutfile.h"
#include "message_capture.h"
#include "packed_codes.h"
#include "packed_tools.h"
#include "scoped_operations.h"
#include "stream_tools.h"

namespace {

using namespace std::string_literals;

// ---- golden files: made by tests/packed_reference.py, which shares nothing with the library

struct golden_file {
    std::string name;
    std::size_t block;
    std::size_t length;
    unsigned long checksum;
};
void PrintTo(const golden_file& file, std::ostream* out)
{
    *out << file.name;
}

const std::string k_golden = TEST_SOURCE_DIR "/golden/";
constexpr std::size_t k_head = 9;

std::vector<golden_file> golden_files()
{
    std::vector<golden_file> files;
    std::ifstream list(k_golden + "packed_contents.txt");
    golden_file file;
    while (list >> file.name >> file.block >> std::dec >> file.length >> std::hex >> file.checksum) {
        files.push_back(file);
        list >> std::dec;
    }
    return files;
}

unsigned long checksum(const std::string& content)
{
    return crc32(0, bytes_of(content), static_cast<unsigned>(content.size()));
}

class EachGoldenFile : public testing::TestWithParam<golden_file> {
protected:
    const std::string stored = file_bytes(k_golden + GetParam().name + ".packed");
};

TEST_P(EachGoldenFile, IsReadWhateverIsAskedForAtOnce)
{
    for (const std::size_t piece : std::vector<std::size_t>{1, 7, 256, 16'384, 1'000'000}) {
        const std::string content = unpacked(stored.substr(k_head), piece);
        EXPECT_EQ(content.size(), GetParam().length) << piece;
        EXPECT_EQ(checksum(content), GetParam().checksum) << piece;
    }
}

TEST_P(EachGoldenFile, IsWhatWePackToTheByte)
{
    const std::string content = unpacked(stored.substr(k_head));
    EXPECT_EQ(packed(content, GetParam().block), stored.substr(k_head));
}

TEST_P(EachGoldenFile, IsWhatAStreamReadsAndWrites)
{
    if (GetParam().block < 2048 || GetParam().block > 16'384) return;
    const temp_directory directory;
    const std::string path = directory / "packed";
    write_file(path, stored);
    UT_STREAM* in = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
    ASSERT_NE(in, nullptr);
    const std::string content = read_text(*in, static_cast<int>(GetParam().length) + 1);
    EXPECT_EQ(checksum(content), GetParam().checksum);
    EXPECT_TRUE(ut_file.close(in));
    {
        const descriptor file(path, k_to_write);
        UT_STREAM out(file, UT_ACCESS_WRITE | UT_ACCESS_PACKED, GetParam().block, nullptr);
        write_text(out, content);
        out.flush();
    }
    EXPECT_EQ(file_bytes(path), stored);
}

INSTANTIATE_TEST_SUITE_P(Golden, EachGoldenFile, testing::ValuesIn(golden_files()),
                         [](const auto& file) { return file.param.name; });

// ---- content

/// Shows what is kept for derived classes.
class open_packer : public UTPAK_DATA {
public:
    using UTPAK_DATA::findlongestmatch;
    using UTPAK_DATA::freebuckets;
    using UTPAK_DATA::gethash;
    using UTPAK_DATA::getnewbucket;
    using UTPAK_DATA::processed;
    using UTPAK_DATA::UTPAK_DATA;
    using UTPAK_DATA::window_end;
};

std::string random_content(std::mt19937& random)
{
    const std::size_t length = random() % (random() % 20 == 0 ? 3'000 : 60);
    const auto letters = static_cast<unsigned>(1 + random() % (random() % 2 == 0 ? 3 : 256));
    std::string content;
    while (content.size() < length) {
        if (!content.empty() && random() % 4 == 0) {
            const std::size_t from = random() % content.size();
            const std::size_t count = 1 + random() % 400;
            for (std::size_t i = 0; i < count; ++i) content += content[from + i];
        } else {
            content += static_cast<char>(random() % letters);
        }
    }
    return content;
}

TEST(UtpakData, TenThousandRandomContentsComeBack)
{
    std::mt19937 random(1);
    for (int i = 0; i < 10'000; ++i) {
        const std::string content = random_content(random);
        const std::size_t block = 1 + random() % (random() % 8 == 0 ? 40 : 5'000);
        const std::string stored = packed(content, block);
        ASSERT_EQ(unpacked(stored, 1 + random() % 700), content) << i;
    }
}

TEST(UtpakData, LongRunsShrinkToFourHundredSeventyEightBytes)
{
    EXPECT_EQ(packed(std::string(70'000, 'x')).size() + k_head, 478u);
}

TEST(UtpakData, WithoutAPakNothingIsWritten)
{
    EXPECT_EQ(packed(""), "");
}

TEST(UtpakData, ABlockOfNothingIsATableWithoutTokens)
{
    memory_device device;
    {
        UTPAK_DATA packer(&device, 0, 0);
        packer.pak(nullptr, 0);
        std::string text = "text";
        packer.pak(text.data(), 4);
        packer.pak(text.data(), -1);
        packer.pak(text.data(), 1);
    }
    EXPECT_EQ(unpacked(device.stored), "textt");
    memory_device alone;
    {
        UTPAK_DATA packer(&alone, 0, 0);
        packer.pak(nullptr, 0);
    }
    EXPECT_GT(alone.stored.size(), 30u);
    EXPECT_EQ(unpacked(alone.stored), "");
}

TEST(UtpakData, BytesBehindTheEndMarkAreNotLookedAt)
{
    EXPECT_EQ(unpacked(packed("content") + "and what follows"), "content");
}

TEST(UtpakData, ARequestOfNothingGetsNothingAndMovesNothing)
{
    memory_device device(packed("content"));
    UTPAK_DATA packer(&device, 0, 0);
    char out[8] = "???????";
    EXPECT_EQ(packer.unpak(out, 0), 0);
    EXPECT_EQ(packer.unpak(out, -5), 0);
    EXPECT_TRUE(device.reads.empty());
    EXPECT_EQ(packer.unpak(out, 7), 7);
    EXPECT_STREQ(out, "content");
    EXPECT_EQ(packer.unpak(out, 7), 0);
    EXPECT_EQ(packer.unpak(out, 7), 0);
}

TEST(UtpakData, WhatAMatchBringsTooMuchIsHandedOutWithoutInput)
{
    const std::string content = "ab" + std::string(400, 'x') + "end";
    memory_device device(packed(content));
    UTPAK_DATA packer(&device, 0, 0);
    std::string out(content.size(), '?');
    ASSERT_EQ(packer.unpak(out.data(), 5), 5);
    const long used = packer.get_curr_offset();
    ASSERT_EQ(packer.unpak(out.data() + 5, 300), 300);
    EXPECT_EQ(packer.get_curr_offset(), used);
    EXPECT_EQ(packer.unpak(out.data() + 305, 1'000), static_cast<long>(content.size()) - 305);
    EXPECT_EQ(out, content);
}

TEST(UtpakData, ANullTargetDropsTheContent)
{
    memory_device device(packed("to be dropped, to be kept"));
    UTPAK_DATA packer(&device, 0, 0);
    EXPECT_EQ(packer.unpak(nullptr, 15), 15);
    EXPECT_EQ(unpacked(packer, 100), "to be kept");
}

TEST(UtpakData, ReadsWithTheSameStepsHoweverMuchIsAskedForAtOnce)
{
    // Behind the same content the register and the buffer stand alike.
    const std::string stored = file_bytes(k_golden + "packed_mixed.packed").substr(k_head);
    memory_device one(stored);
    memory_device other(stored);
    UTPAK_DATA by_bytes(&one, 0, 0);
    UTPAK_DATA at_once(&other, 0, 0);
    std::string out(777, '\0');
    for (int i = 0; i < 50; ++i) {
        for (int k = 0; k < 777; ++k) by_bytes.unpak(out.data(), 1);
        at_once.unpak(out.data(), 777);
        ASSERT_EQ(by_bytes.get_curr_offset(), at_once.get_curr_offset()) << i;
    }
}

// ---- damage

TEST(UtpakData, AFileCutOffAnywhereGivesTheBeginningOfItsContent)
{
    message_capture capture;
    for (const char* name :
         {"packed_every_byte", "packed_unlike_pairs", "packed_alternating", "packed_text"}) {
        const std::string stored = file_bytes(k_golden + name + ".packed").substr(k_head);
        const std::string content = unpacked(stored);
        std::size_t before = 0;
        for (std::size_t length = 0; length < stored.size(); ++length) {
            const std::string part = unpacked(stored.substr(0, length));
            ASSERT_TRUE(content.starts_with(part)) << name << ' ' << length;
            ASSERT_GE(part.size(), before) << name << ' ' << length;
            before = part.size();
        }
        EXPECT_GT(before + 330, content.size()) << name;
    }
    EXPECT_TRUE(capture.posts().empty());
}

TEST(UtpakData, CountsItsBlocksInBothDirections)
{
    memory_device device;
    {
        UTPAK_DATA packer(&device, 0, 0);
        EXPECT_EQ(packer.get_block_count(), 0u);
        pack_into(packer, "content", 3);
        EXPECT_EQ(packer.get_block_count(), 3u);
    }
    UTPAK_DATA reader(&device, 0, 0);
    EXPECT_EQ(unpacked(reader, 100), "content");
    EXPECT_EQ(reader.get_block_count(), 3u);
}

TEST(UtpakData, ACutOffFileStaysAtItsEnd)
{
    const std::string stored = packed("some content");
    memory_device device(stored.substr(0, stored.size() / 2));
    UTPAK_DATA packer(&device, 0, 0);
    char out[100];
    for (int i = 0; i < 3; ++i) EXPECT_EQ(packer.unpak(out, 100), 0);
    EXPECT_TRUE(packer.is_end_of_pakio());
}

TEST(UtpakData, ATableCutShortIsNotUsed)
{
    // The second block's table has other weights; a byte of it in place would change the first tree.
    memory_device device;
    {
        UTPAK_DATA packer(&device, 0, 0);
        pack_into(packer, "aaab", 4);
        pack_into(packer, std::string("\xF0\xF1\xF2"), 3);
    }
    const std::string first = packed("aaab");
    for (std::size_t length = first.size() - 2; length < device.stored.size() - 3; ++length)
        EXPECT_EQ(unpacked(device.stored.substr(0, length)), "aaab") << length;
}

/// Reads up to `most` bytes of a damaged file; true where it ended with the report of a bogus offset.
bool ends_with_report(message_capture& capture, const std::string& stored, std::size_t most)
{
    capture.clear();
    memory_device device(stored);
    UTPAK_DATA packer(&device, 0, 0);
    std::string out(1'000, '\0');
    const int exit_value = capture.exit_value_of([&] {
        for (std::size_t done = 0; done < most; done += out.size())
            if (packer.unpak(out.data(), 1'000) < 1) break;
    });
    if (exit_value == -999) {
        EXPECT_TRUE(capture.posts().empty());
        return false;
    }
    EXPECT_EQ(exit_value, 1);
    EXPECT_EQ(capture.posts(), (std::vector<post>{{"framework", "1103", "", ""}}));
    EXPECT_EQ(packer.unpak(out.data(), 1'000), 0);
    return true;
}

TEST(UtpakData, AFileWithAnyByteChangedIsReadToAnEndOrReported)
{
    message_capture capture;
    int reported = 0;
    for (const char* name :
         {"packed_one_byte", "packed_every_byte", "packed_unlike_pairs", "packed_alternating"}) {
        const std::string stored = file_bytes(k_golden + name + ".packed").substr(k_head);
        for (std::size_t i = 0; i < stored.size(); ++i)
            for (const int change : {0xFF, 0x01, 0x10, 0x80}) {
                std::string damaged = stored;
                damaged[i] = static_cast<char>(damaged[i] ^ change);
                reported += ends_with_report(capture, damaged, stored.size() * 8 * 321);
            }
    }
    EXPECT_GT(reported, 0);
}

TEST(UtpakData, NoiseIsReadToAnEndOrReported)
{
    message_capture capture;
    std::mt19937 random(4);
    for (int i = 0; i < 3'000; ++i) {
        std::string noise(random() % 400, '\0');
        for (char& byte : noise) byte = static_cast<char>(random());
        ends_with_report(capture, noise, 400 * 8 * 321);
    }
}

TEST(UtpakData, AMatchInFrontOfTheContentIsMessage1103AndTheEndWith1)
{
    for (const char* name : {"packed_false_offset_0", "packed_false_offset_2", "packed_false_offset_32768"}) {
        const std::string stored = file_bytes(k_golden + name + ".packed").substr(k_head);
        message_capture capture;
        EXPECT_TRUE(ends_with_report(capture, stored, 1'000)) << name;
        // Far from the end of the input other code looks at the offset.
        EXPECT_TRUE(ends_with_report(capture, stored + std::string(100, '\0'), 1'000)) << name;
        capture.use_legacy_flow();
        memory_device device(stored);
        UTPAK_DATA packer(&device, 0, 0);
        char out[100];
        int exit_value = 0;
        const std::string shown =
            stderr_of([&] { exit_value = capture.exit_value_of([&] { packer.unpak(out, 100); }); });
        EXPECT_EQ(exit_value, 1) << name;
        EXPECT_NE(shown.find("Bogus offset reading packed data."), std::string::npos) << shown;
    }
}

// ---- what the device does not take, and memory that is not to be had

TEST(UtpakData, ADeviceThatIsFullAnywhereBreaksTheContract)
{
    const std::string content = file_bytes(k_golden + "packed_random.packed");
    const int size = static_cast<int>(packed(content).size());
    message_capture capture;
    for (int room = 0; room < size; room += room % 4096 < 4090 && room < size - 10 ? 511 : 1) {
        capture.clear();
        memory_device device;
        device.room = room;
        EXPECT_THROW(
            {
                UTPAK_DATA packer(&device, 0, 0);
                pack_into(packer, content, 16'384);
            },
            int)
            << room;
        ASSERT_FALSE(capture.posts().empty());
        EXPECT_EQ(capture.posts().front(),
                  (post{"common", "0000", "basutpakio", "Unable to write compressed data."}));
    }
}

TEST(UtpakData, AnEndMarkThatIsNotTakenBreaksTheContractAndLeavesNothingBehind)
{
    const std::string noise = file_bytes(k_golden + "packed_random.packed");
    bool is_full = false;
    for (std::size_t from = 0; from < 4'000 && !is_full; ++from) {
        message_capture capture;
        memory_device device;
        bool raised = false;
        try {
            UTPAK_DATA packer(&device, 0, 0);
            pack_into(packer, noise.substr(from, 3'910), 4'096);
            is_full = packer.get_curr_offset() == 4'095;  // so that the mark fills the buffer
            if (is_full) device.room = 0;
        } catch (int) {
            raised = true;
        }
        EXPECT_EQ(raised, is_full);
        if (!is_full) continue;
        EXPECT_EQ(device.writes.front(), 4'096);
        EXPECT_EQ(capture.posts().front(),
                  (post{"common", "0000", "basutpakio", "Unable to write compressed data."}));
    }
    EXPECT_TRUE(is_full);
}

TEST(UtpakData, AFailedBlockMayBeFollowedByOthers)
{
    message_capture capture;
    std::mt19937 random(8);
    memory_device device;
    open_packer packer(&device, 0, 0);
    for (int i = 0; i < 20; ++i) {
        std::string noise(16'384, '\0');
        for (char& byte : noise) byte = static_cast<char>(random());
        device.room = i < 10 ? 0 : INT_MAX;
        if (i < 10)
            EXPECT_THROW(pack_into(packer, noise, noise.size()), int);
        else
            pack_into(packer, noise, noise.size());
        EXPECT_LE(packer.window_end(), 32'768);
    }
}

TEST(UtpakData, AFailedAllocationLeavesNothingBehindAndTheObjectUsable)
{
    const std::string content = "content content content content " + std::string(500, 'c');
    const std::string stored = packed(content);
    std::string data = content;
    long failures = 0;
    for (;; ++failures) {
        memory_device device;
        device.stored.reserve(2 * stored.size());
        device.writes.reserve(10);
        const allocation_faults faults(failures, 1);
        try {
            UTPAK_DATA packer(&device, 0, 0);
            for (int tries = 0; tries < 2; ++tries) {
                try {
                    packer.pak(data.data(), static_cast<long>(data.size()));
                    break;
                } catch (const std::bad_alloc&) {
                }
            }
        } catch (const std::bad_alloc&) {
            continue;
        }
        if (!faults.hit()) break;
        if (device.stored != stored) {
            ADD_FAILURE() << failures;
            break;
        }
    }
    EXPECT_GT(failures, 8);

    for (failures = 0;; ++failures) {
        memory_device device(stored);
        device.reads.reserve(10);
        std::string out(content.size(), '\0');
        const allocation_faults faults(failures, 1);
        try {
            UTPAK_DATA packer(&device, 0, 0);
            long got = -1;
            while (got < 0) {
                try {
                    got = packer.unpak(out.data(), static_cast<long>(out.size()));
                } catch (const std::bad_alloc&) {
                }
            }
            if (out != content) {
                ADD_FAILURE() << failures;
                break;
            }
        } catch (const std::bad_alloc&) {
        }
        if (!faults.hit()) break;
    }
    EXPECT_GT(failures, 7);
}

// ---- versions

void expect_unknown(char pak, char huf, const char* module, const std::string& text)
{
    const auto work = [=] {
        memory_device device;
        UTPAK_DATA packer(&device, pak, huf);
    };
    message_capture capture;
    EXPECT_THROW(work(), int);
    EXPECT_EQ(capture.posts(), (std::vector<post>{{"common", "0000", module, text}}));
    capture.use_legacy_flow();
    int exit_value = 0;
    const std::string shown = unfolded(stderr_of([&] { exit_value = capture.exit_value_of(work); }));
    EXPECT_EQ(exit_value, 19);
    EXPECT_NE(shown.find(text), std::string::npos) << shown;
}

TEST(UtpakData, OnlyVersion1OfBothIsKnownAndThePackersIsLookedAtFirst)
{
    memory_device device;
    char pak = 0;
    char huf = 0;
    UTPAK_DATA(&device, 0, '1').getversion(pak, huf);
    EXPECT_EQ(std::string({pak, huf}), "11");
    expect_unknown('2', '1', "basutpak", "Unknown compression type.");
    expect_unknown('2', '2', "basutpak", "Unknown compression type.");
    expect_unknown('1', '2', "basuthuff", "Unknown Huffman compression type.");
    expect_unknown(0, '0', "basuthuff", "Unknown Huffman compression type.");
}

// ---- codes

TEST(PackedCodes, LengthsAndValuesHaveTheStatedCodes)
{
    using namespace ketriope;
    EXPECT_EQ(length_code(3), 0u);
    EXPECT_EQ(length_code(10), 7u);
    EXPECT_EQ(length_code(12), 8u);
    EXPECT_EQ(length_code(257), 27u);
    EXPECT_EQ(length_code(258), 28u);
    EXPECT_EQ(length_code(321), 28u);
    EXPECT_EQ(k_length_codes[28].base + 63, 321);
    EXPECT_EQ(value_class(32'767), 30u);
    EXPECT_EQ(k_value_classes[30].base + 8190, 32'767);
    EXPECT_EQ(value_class(32'768), 30u);
    for (ut_long value = 0; value <= 32'768; ++value)
        ASSERT_EQ(value_class(value), search_code(k_value_classes, value)) << value;
    for (std::size_t i = 0; i + 1 < k_length_codes.size(); ++i)
        EXPECT_EQ(k_length_codes[i].base + (1 << k_length_codes[i].bits),
                  k_length_codes[i + 1].base + (i == 27 ? 1 : 0));
}

// ---- what derived classes see

TEST(UtpakData, TheHashTakesThreeBytesAsUnsigned)
{
    memory_device device;
    open_packer packer(&device, 0, 0);
    EXPECT_EQ(packer.gethash(0), -1);
    pack_into(packer, "\x12\x34\x56\xFF\xFF\xFF"s, 6);
    EXPECT_EQ(packer.gethash(0), 0x1200 ^ 0x340 ^ 0x56);
    EXPECT_EQ(packer.gethash(3), 0xFF00 ^ 0xFF0 ^ 0xFF);
    EXPECT_EQ(packer.gethash(4), -1);
    EXPECT_EQ(packer.gethash(100), -1);
    EXPECT_EQ(packer.gethash(-1), -1);
}

TEST(UtpakData, FindsTheLongestMatchAmongWhatItWasGiven)
{
    memory_device device;
    open_packer packer(&device, 0, 0);
    long position = 7;
    long length = 7;
    EXPECT_FALSE(packer.findlongestmatch(0, position, length));
    EXPECT_EQ(position, -1);
    EXPECT_EQ(length, 0);
    //                 0         10        20
    pack_into(packer, "abcdeX abcY abcdeZ abcdefg", 100);
    const auto match_at = [&](long at) {
        const bool found = packer.findlongestmatch(at, position, length) != 0;
        EXPECT_EQ(found, length > 0);
        return std::pair(position, length);
    };
    EXPECT_EQ(match_at(19), (std::pair{19l, 7l}));  // the latest one is known already
    EXPECT_EQ(match_at(23), (std::pair{23l, 3l}));
    EXPECT_EQ(match_at(24), (std::pair{-1l, 0l}));   // fewer than three bytes are left
    EXPECT_EQ(match_at(100), (std::pair{-1l, 0l}));  // nothing is there
    EXPECT_EQ(match_at(-1), (std::pair{-1l, 0l}));
    EXPECT_EQ(packer.window_end(), 26);
    EXPECT_EQ(packer.processed(), 26);
}

TEST(UtpakData, TheWindowKeeps32768Bytes)
{
    memory_device device;
    open_packer packer(&device, 0, 0);
    const std::string noise = unpacked(file_bytes(k_golden + "packed_random.packed").substr(k_head));
    for (int i = 0; i < 40; ++i) {
        pack_into(packer, noise, noise.size());
        EXPECT_LE(packer.window_end(), 32'768);
        EXPECT_EQ(packer.processed(), packer.window_end());
    }
    EXPECT_EQ(packer.window_end(), 32'768);

    memory_device source(packed(noise + noise + noise + noise));
    open_packer reader(&source, 0, 0);
    std::string out(1'000, '\0');
    while (reader.unpak(out.data(), 1'000) > 0) {
        EXPECT_GE(reader.window_end(), reader.processed());  // what was not handed out stays
        EXPECT_LE(reader.processed(), 32'768);
    }
}

TEST(UtpakData, BucketsComeFromTheFreeListWhereItHasOne)
{
    memory_device device;
    open_packer packer(&device, 0, 0);
    UTPAK_BUCKET* const first = packer.getnewbucket(nullptr, 5);
    EXPECT_EQ(first->next, nullptr);
    EXPECT_EQ(first->position, 5);
    UTPAK_BUCKET* const second = packer.getnewbucket(first, 6);
    EXPECT_EQ(second->next, first);
    packer.freebuckets(nullptr);
    packer.freebuckets(second);
    EXPECT_EQ(packer.getnewbucket(nullptr, 7), second);
    EXPECT_EQ(second->next, nullptr);
    EXPECT_EQ(second->position, 7);
    EXPECT_EQ(packer.getnewbucket(second, 8), first);
    packer.freebuckets(first);
}

TEST(UtpakBucket, AChainOfAnyLengthEndsWithItsFirst)
{
    UTPAK_BUCKET* chain = nullptr;
    for (long i = 0; i < 1'000'000; ++i) chain = new UTPAK_BUCKET(chain, i);
    EXPECT_EQ(chain->position, 999'999);
    delete chain;
    const UTPAK_BUCKET empty;
    EXPECT_EQ(empty.next, nullptr);
    EXPECT_EQ(empty.position, 0);
}

// ---- through a stream

class packed_stream : public stream_file_test {
protected:
    static constexpr UT_ACCESS k_write = UT_ACCESS_WRITE | UT_ACCESS_PACKED;

    void store(const std::string& content) const
    {
        UT_STREAM* const out = ut_file.open(path.c_str(), k_write, 1);
        ASSERT_NE(out, nullptr);
        EXPECT_EQ(write_text(*out, content), static_cast<int>(content.size()));
        EXPECT_TRUE(ut_file.close(out));
    }
};
using UtpakStream = packed_stream;

TEST_F(UtpakStream, AnEmptyFileIsItsSignatureAndReadsAsEmpty)
{
    store("");
    EXPECT_EQ(file_bytes(path), "\x5A\x5A\xA5\xA5\xC3\xC3\x71"
                                "11");
    UT_STREAM* const in = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(read_text(*in, 10), "");
    EXPECT_TRUE(in->geteof());
    EXPECT_FALSE(in->is_cut_short());
    EXPECT_EQ(in->geterror(), 0);
    EXPECT_TRUE(ut_file.close(in));
}

TEST_F(UtpakStream, GoesToAnyPlaceAndPeeksOverTheBuffersEnd)
{
    const std::string content = varied_text(70'000);
    store(content);
    UT_STREAM* const in = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
    ASSERT_NE(in, nullptr);
    for (const long place : {60'000l, 1l, 16'384l, 16'383l, 69'999l, 0l, 40'000l}) {
        EXPECT_TRUE(in->setfoffset(place));
        EXPECT_EQ(in->getfoffset(), place);
        EXPECT_EQ(read_text(*in, 5'000), content.substr(static_cast<std::size_t>(place), 5'000));
    }
    EXPECT_TRUE(in->setfoffset(100));
    std::string seen(20'000, '?');
    EXPECT_EQ(in->peek(bytes_of(seen), 20'000), 20'000);
    EXPECT_EQ(seen, content.substr(100, 20'000));
    EXPECT_EQ(read_text(*in, 80'000), content.substr(100));
    EXPECT_TRUE(in->seekend());
    EXPECT_EQ(in->getfoffset(), 0);
    EXPECT_TRUE(in->setfoffset(80'000));
    EXPECT_EQ(read_text(*in, 1), "");
    EXPECT_TRUE(in->seekstart());
    EXPECT_EQ(read_text(*in, 80'000), content);
    EXPECT_TRUE(ut_file.close(in));
}

TEST_F(UtpakStream, ManySmallFlushesDoNotStopAReader)
{
    const std::string content = varied_text(3'000);
    UT_STREAM* const out = ut_file.open(path.c_str(), k_write, 1);
    ASSERT_NE(out, nullptr);
    for (std::size_t at = 0; at < content.size(); at += 30) {
        write_text(*out, content.substr(at, 30));
        out->flush();
    }
    EXPECT_TRUE(ut_file.close(out));
    UT_STREAM* const in = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(read_text(*in, 5'000), content);
    EXPECT_TRUE(ut_file.close(in));
}

TEST_F(UtpakStream, AFileOfAnUnknownVersionIsRefused)
{
    store("content");
    std::string bytes = file_bytes(path);
    for (const auto& [place, module] : {std::pair{7, "basuthuff"}, std::pair{8, "basutpak"}}) {
        std::string changed = bytes;
        changed[static_cast<std::size_t>(place)] = '2';
        write_file(path, changed);
        message_capture capture;
        UT_STREAM* const in = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
        ASSERT_NE(in, nullptr);
        EXPECT_THROW(read_text(*in, 1), int);
        EXPECT_EQ(capture.last().module, module);
        EXPECT_TRUE(ut_file.close(in));
    }
}

TEST_F(UtpakStream, AFileCutOffAnywhereGivesTheBeginningOfItsContent)
{
    const std::string content = "some text, and some text that comes again";
    store(content);
    const std::string bytes = file_bytes(path);
    for (std::size_t length = 9; length < bytes.size(); ++length) {
        write_file(path, bytes.substr(0, length));
        const message_capture capture;
        UT_STREAM* const in = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
        ASSERT_NE(in, nullptr);
        EXPECT_TRUE(content.starts_with(read_text(*in, 1'000))) << length;
        EXPECT_TRUE(in->geteof());
        EXPECT_EQ(in->geterror(), 0);
        EXPECT_EQ(in->is_cut_short() != 0, length > 9) << length;
        EXPECT_TRUE(in->setfoffset(5));
        EXPECT_TRUE(ut_file.close(in));
        EXPECT_TRUE(capture.posts().empty());
    }
}

std::int64_t room_on_disk = 0;  ///< bytes

std::int64_t write_to_full_disk(int fd, const void* from, std::size_t count)
{
    const auto part = std::min(static_cast<std::int64_t>(count), room_on_disk);
    room_on_disk -= part;
    if (part < static_cast<std::int64_t>(count)) errno = ENOSPC;
    return part > 0 ? ketriope::platform::native().write(fd, from, static_cast<std::size_t>(part)) : -1;
}

TEST_F(UtpakStream, AFullDiskIsReportedWhereverItIsFull)
{
    const std::string content = file_bytes(k_golden + "packed_random.packed");
    store(content);
    const auto size = static_cast<std::int64_t>(file_bytes(path).size());
    for (std::int64_t room = 0; room < size; room += room < 12 || size - room < 12 ? 1 : 509) {
        message_capture capture;
        scoped_operations system;
        system.table.write = write_to_full_disk;
        room_on_disk = room;
        UT_STREAM* const out = ut_file.open(path.c_str(), k_write, 1);
        ASSERT_NE(out, nullptr);
        int raised = 0;
        try {
            write_text(*out, content);
        } catch (int) {
            ++raised;
        }
        EXPECT_TRUE(raised == 0 || out->geterror() == ENOSPC) << room;
        try {
            ut_file.close(out);
        } catch (int) {
            ++raised;
        }
        EXPECT_GT(raised, 0) << room;
        EXPECT_EQ(capture.posts().front().text, "Unable to write compressed data.") << room;
    }
}

}  // namespace
