// tests/basutstreamform_test.cpp: the stored forms of a stream's file: signatures, the start of the
// payload, what a seek means under a compressor, and the ends of compressed streams.
#include <cerrno>
#include <cstring>
#include <exception>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "basutfile.h"
#include "basutstream.h"
#include "fake_coder.h"
#include "stream_tools.h"

namespace {

constexpr UT_ACCESS k_read_packed = UT_ACCESS_READ | UT_ACCESS_PACKED;
constexpr UT_ACCESS k_write_packed = UT_ACCESS_WRITE | UT_ACCESS_PACKED;
constexpr std::string_view k_packed_head = "\x5a\x5a\xa5\xa5\xc3\xc3\x71\x31\x31";
constexpr std::string_view k_gca_head = "\x5b\x5b\xa6\xa6\xc4\xc4\x72";
constexpr std::string_view k_gcb_head = "\x5c\x5c\xa7\xa7\xc5\xc5\x73";
constexpr const char* k_no_signature = "UT_STREAM: File mode miss match.  No signature.";
constexpr const char* k_no_start = "UT_STREAM: Invalid start offset.";
constexpr const char* k_no_seek = "UT_STREAM: Inavlid seek request.";

UT_ACCESS mask(int bits)
{
    return static_cast<UT_ACCESS>(bits);
}

int write_raw(UT_STREAM& stream, std::string text)
{
    return stream.set_rawdata(bytes_of(text), static_cast<int>(text.size()));
}

class UtStreamForm : public testing::Test {
protected:
    const temp_directory directory;
    const std::string path = directory / "bytes";
    fake_coders coders;
};

TEST_F(UtStreamForm, TheModeFollowsTheMaskLowestBitFirst)
{
    const auto mode_of = [](int bits) { return open_stream(mask(bits), 0, nullptr).get_io_mode(); };
    EXPECT_EQ(mode_of(1), UT_IO_RAW);
    EXPECT_EQ(mode_of(6), UT_IO_RAW);
    EXPECT_EQ(mode_of(9), UT_IO_PAK);
    EXPECT_EQ(mode_of(17), UT_IO_GCA);
    EXPECT_EQ(mode_of(33), UT_IO_GCB);
    EXPECT_EQ(mode_of(49), UT_IO_GCA);
    EXPECT_EQ(mode_of(57), UT_IO_PAK);
    for (const int bits : {1, 2, 6})
        EXPECT_FALSE(UT_STREAM(mask(bits), 0, nullptr).is_access_compressed()) << bits;
    for (const int bits : {8, 16, 32, 56, 9, 18})
        EXPECT_TRUE(UT_STREAM(mask(bits), 0, nullptr).is_access_compressed()) << bits;
}

// ---- signatures

TEST_F(UtStreamForm, TheFirstRawWriteOfAPackedStreamPutsTheSignatureInFront)
{
    const descriptor file(path, k_to_write);
    UT_STREAM stream(file, k_write_packed, 0, nullptr);
    EXPECT_EQ(write_raw(stream, "abc"), 3);
    EXPECT_EQ(write_raw(stream, "def"), 3);
    EXPECT_EQ(file_bytes(path), std::string(k_packed_head) + "abcdef");
    EXPECT_EQ(dumped(stream)["Start offset"], 9);
    EXPECT_EQ(stream.get_rawoffset(), 6);
}

TEST_F(UtStreamForm, TheGeneralAccessChoosesTheOtherTwoSignatures)
{
    const std::pair<int, std::string_view> rows[] = {{16, k_gca_head}, {18, k_gca_head}, {32, k_gcb_head},
                                                     {34, k_gcb_head}, {48, k_gca_head}, {8, ""},
                                                     {0, ""}};
    for (const auto& [bits, head] : rows) {
        const descriptor file(path, k_to_write);
        UT_STREAM stream(file, UT_ACCESS_WRITE, 0, nullptr);
        stream.set_gc_access(mask(bits));
        EXPECT_EQ(stream.get_gc_access(), bits);
        EXPECT_EQ(write_raw(stream, "abc"), 3);
        EXPECT_EQ(file_bytes(path), std::string(head) + "abc") << bits;
        EXPECT_EQ(dumped(stream)["Start offset"], static_cast<long>(head.size())) << bits;
    }
}

TEST_F(UtStreamForm, ThePackedBitGoesBeforeTheGeneralAccess)
{
    const descriptor file(path, k_to_write);
    UT_STREAM stream(file, k_write_packed, 0, nullptr);
    stream.set_gc_access(UT_ACCESS_GCA);
    write_raw(stream, "abc");
    EXPECT_EQ(file_bytes(path), std::string(k_packed_head) + "abc");
}

TEST_F(UtStreamForm, BehindTheStartOfTheFileEveryWriteReportsAndGoesOnWithoutSignature)
{
    for (const int packed : {0, 1}) {
        message_capture capture;
        const descriptor file(path, k_to_write);
        ASSERT_EQ(::write(file, "xy", 2), 2);
        UT_STREAM stream(file, packed != 0 ? k_write_packed : UT_ACCESS_WRITE, 0, nullptr);
        if (packed == 0) stream.set_gc_access(UT_ACCESS_GCB);
        EXPECT_EQ(write_raw(stream, "abc"), 3);
        EXPECT_EQ(write_raw(stream, "def"), 3);
        EXPECT_EQ(file_bytes(path), "xyabcdef");
        EXPECT_EQ(reports_of(capture, k_no_signature), 2);
        EXPECT_EQ(dumped(stream)["Start offset"], 0);
        capture.use_legacy_flow();
        EXPECT_NE(stderr_of([&] { write_raw(stream, "g"); }).find(k_no_signature), std::string::npos);
    }
}

TEST_F(UtStreamForm, ASignatureThatCannotBeWrittenEndsTheCall)
{
    const descriptor full("/dev/full", ketriope::platform::open_write);
    for (const int packed : {0, 1}) {
        UT_STREAM stream(full, packed != 0 ? k_write_packed : UT_ACCESS_WRITE, 0, nullptr);
        if (packed == 0) stream.set_gc_access(UT_ACCESS_GCA);
        EXPECT_EQ(write_raw(stream, "abc"), 0);
        EXPECT_EQ(stream.geterror(), ENOSPC);
        EXPECT_EQ(stream.set_rawdata(nullptr, 0), -1);
        EXPECT_EQ(dumped(stream)["Start offset"], 0);
    }
    UT_STREAM none(k_write_packed, 0, nullptr);
    EXPECT_EQ(write_raw(none, "abc"), 0);
    EXPECT_EQ(none.geterror(), EBADF);
    EXPECT_EQ(none.set_rawdata(nullptr, 0), -1);
}

TEST_F(UtStreamForm, APlainStreamWritesNothingForNothing)
{
    const descriptor file(path, k_to_write);
    UT_STREAM stream(file, UT_ACCESS_WRITE, 0, nullptr);
    EXPECT_EQ(stream.set_rawdata(nullptr, 0), 0);
    EXPECT_EQ(file_bytes(path), "");
}

// ---- raw positions

TEST_F(UtStreamForm, TheRawOffsetOfAPlainFileIsThatOfTheDescriptor)
{
    write_file(path, varied_text(100));
    const descriptor file(path, k_to_read);
    UT_STREAM stream(file, UT_ACCESS_READ, 0, nullptr);
    stream.adjust_compress_foffset();  // without meaning here
    EXPECT_EQ(stream.set_rawoffset(30), 30);
    EXPECT_EQ(stream.get_rawoffset(), 30);
    EXPECT_EQ(stream.set_rawoffset(-1), 100);
    EXPECT_EQ(stream.set_rawoffset(0xffffffffL), 100);
    EXPECT_EQ(stream.set_rawoffset(-2), -1);
    EXPECT_EQ(stream.geterror(), EINVAL);
    EXPECT_EQ(UT_STREAM(UT_ACCESS_READ, 0, nullptr).get_rawoffset(), -1);
}

TEST_F(UtStreamForm, TheRawOffsetOfACompressedFileCountsFromThePayload)
{
    message_capture capture;
    write_file(path, varied_text(100));
    const descriptor file(path, k_to_read);
    UT_STREAM stream(file, k_read_packed, 0, nullptr);
    stream.adjust_compress_foffset();
    EXPECT_EQ(stream.set_rawoffset(0), 0);
    EXPECT_EQ(::lseek(file, 0, SEEK_CUR), 9);
    EXPECT_EQ(stream.get_rawoffset(), 0);
    ASSERT_EQ(::lseek(file, 20, SEEK_SET), 20);
    EXPECT_EQ(stream.get_rawoffset(), 11);
    ASSERT_EQ(::lseek(file, 0, SEEK_SET), 0);
    EXPECT_EQ(stream.get_rawoffset(), 0);
    EXPECT_TRUE(capture.posts().empty());

    EXPECT_EQ(stream.set_rawoffset(-1), -1);
    EXPECT_EQ(::lseek(file, 0, SEEK_CUR), 100);
    EXPECT_EQ(stream.set_rawoffset(0xffffffffL), -1);
    EXPECT_TRUE(capture.posts().empty());
    EXPECT_EQ(stream.set_rawoffset(5), 0);
    EXPECT_EQ(reports_of(capture, k_no_seek), 1);
    EXPECT_EQ(::lseek(file, 0, SEEK_CUR), 100);
}

TEST_F(UtStreamForm, ARewindWithoutAStartOffsetReportsAndGoesToTheStart)
{
    message_capture capture;
    write_file(path, "abc");
    const descriptor file(path, k_to_read);
    UT_STREAM stream(file, mask(17), 0, nullptr);
    ASSERT_EQ(::lseek(file, 2, SEEK_SET), 2);
    EXPECT_EQ(stream.set_rawoffset(0), 0);
    EXPECT_EQ(::lseek(file, 0, SEEK_CUR), 0);
    EXPECT_EQ(reports_of(capture, k_no_start), 1);
    UT_STREAM none(k_read_packed, 0, nullptr);
    EXPECT_EQ(none.set_rawoffset(0), -1);
    EXPECT_EQ(none.geterror(), EBADF);
}

// ---- compressed streams through the file manager

TEST_F(UtStreamForm, APackedFileIsWrittenAndReadBack)
{
    const std::string text = varied_text(20'000);
    UT_STREAM* out = ut_file.open(path.c_str(), k_write_packed, 1);
    ASSERT_NE(out, nullptr);
    EXPECT_EQ(write_text(*out, text), 20'000);
    EXPECT_EQ(out->getfoffset(), 20'000);
    EXPECT_EQ(coders.writes, std::vector<std::size_t>{16'384});
    EXPECT_TRUE(ut_file.close(out));
    EXPECT_EQ(coders.writes, (std::vector<std::size_t>{16'384, 3'616}));
    EXPECT_TRUE(file_bytes(path) == std::string(k_packed_head) + turned(text) + '.');

    UT_STREAM* in = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(in->getaccess(), k_read_packed);
    EXPECT_TRUE(in->is_compressed());
    EXPECT_TRUE(read_text(*in, 20'000) == text);
    EXPECT_TRUE(ut_file.close(in));
    EXPECT_EQ(coders.finished, 2);
    EXPECT_TRUE(coders.living.empty());
}

class EachForm : public UtStreamForm, public testing::WithParamInterface<int> {
protected:
    /// A file of this form with `text` in it, open for reading.
    UT_STREAM& reader(const std::string& text)
    {
        const std::string_view head = GetParam() == 8    ? k_packed_head
                                      : GetParam() == 16 ? k_gca_head
                                                         : k_gcb_head;
        write_file(path, std::string(head) + turned(text));
        stream_ = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
        return *stream_;
    }
    void TearDown() override { ut_file.close(stream_); }

private:
    UT_STREAM* stream_ = nullptr;
};
INSTANTIATE_TEST_SUITE_P(Forms, EachForm, testing::Values(8, 16, 32));

TEST_P(EachForm, IsKnownByItsSignature)
{
    UT_STREAM& stream = reader("abc");
    EXPECT_EQ(stream.getaccess(), 1 | GetParam());
    EXPECT_EQ(dumped(stream)["Length of the transparent buffer"], 16'384);
    EXPECT_EQ(dumped(stream)["Start offset"], GetParam() == 8 ? 9 : 7);
    EXPECT_EQ(read_text(stream, 9), "abc");
}

TEST_P(EachForm, SeeksBothWays)
{
    const std::string text = varied_text(40'000);
    UT_STREAM& stream = reader(text);
    for (const long at : {30'000L, 5L, 0L, 39'999L, 16'384L}) {
        EXPECT_TRUE(stream.setfoffset(at));
        EXPECT_EQ(stream.getfoffset(), at);
        EXPECT_EQ(read_text(stream, 1), text.substr(static_cast<std::size_t>(at), 1));
    }
    EXPECT_TRUE(stream.seekend());
    EXPECT_EQ(stream.getfoffset(), 0);
    EXPECT_EQ(read_text(stream, 3), text.substr(0, 3));
    EXPECT_TRUE(stream.setfoffset(50'000));
    EXPECT_EQ(stream.getfoffset(), 50'000);
    EXPECT_TRUE(stream.geteof());
    EXPECT_TRUE(stream.setfoffset(-1));
    EXPECT_EQ(stream.getfoffset(), -1);
}

TEST_P(EachForm, PeekAcrossTheBorderLeavesTheDeviceWhereItWas)
{
    const std::string text = varied_text(40'000);
    UT_STREAM& stream = reader(text);
    stream.skip(16'380);
    std::string seen(10, '?');
    EXPECT_EQ(stream.peek(bytes_of(seen), 10), 10);
    EXPECT_EQ(seen, text.substr(16'380, 10));
    EXPECT_EQ(stream.getfoffset(), 16'380);
    EXPECT_TRUE(read_text(stream, 30'000) == text.substr(16'380));
}

TEST_P(EachForm, ATokenAtTheBorderCostsNoReplay)
{
    UT_STREAM& stream = reader(varied_text(16'383) + "\r\nnext");
    std::vector<char> token(20'000);
    EXPECT_EQ(stream.readtoken(token.data(), 20'000), 16'383);
    EXPECT_EQ(stream.readtoken(token.data(), 20'000), 4);
    EXPECT_STREQ(token.data(), "next");
    EXPECT_EQ(coders.made.size(), 1u);
}

TEST_P(EachForm, DestructionWithoutCloseEndsTheCoder)
{
    UT_STREAM* const stream = &reader("abc");
    read_text(*stream, 1);
    EXPECT_EQ(coders.living.size(), 1u);
    delete stream;
    EXPECT_TRUE(coders.living.empty());
    EXPECT_EQ(coders.finished, 1);
}

TEST_P(EachForm, WithoutACoderTheStreamIsEmptyAndSaysWhy)
{
    ketriope::install_coders(nullptr);
    UT_STREAM& stream = reader("abc");
    EXPECT_EQ(read_text(stream, 3), "");
    EXPECT_TRUE(stream.geteof());
    EXPECT_EQ(stream.geterror(), ENOTSUP);
    EXPECT_TRUE(stream.setfoffset(2));
    EXPECT_EQ(stream.getfoffset(), 2);

    const descriptor file(directory / "other", k_to_write);
    UT_STREAM out(file, mask(2 | GetParam()), 0, nullptr);
    EXPECT_EQ(write_text(out, "abc"), 3);
    EXPECT_FALSE(out.flush());
    EXPECT_EQ(out.geterror(), ENOTSUP);
    EXPECT_EQ(out.getfoffset(), 0);
    EXPECT_EQ(file_bytes(directory / "other"), "");
}

TEST_F(UtStreamForm, APeekOfAWholeBlockDoesNotRunOverTheCallersMemory)
{
    coders.whole_blocks = true;
    for (const int bits : {17, 33}) {
        const descriptor file(path, k_to_write);
        UT_STREAM stream(file, mask(bits), 16'384, nullptr);
        stream.adjust_compress_gc_foffset();
        std::string seen(20'000 + 16'384, '?');  // the last bytes keep watch
        EXPECT_EQ(stream.peek(bytes_of(seen), 20'000), 20'000);
        EXPECT_EQ(seen.substr(0, 20'000), std::string(20'000, 'B'));
        EXPECT_EQ(seen.substr(20'000), std::string(16'384, '?'));
    }
}

TEST_F(UtStreamForm, ALoadOfAWholeBlockFitsAndIsDeliveredWhole)
{
    coders.whole_blocks = true;
    const descriptor file(path, k_to_write);
    UT_STREAM stream(file, mask(17), 16'384, nullptr);
    EXPECT_EQ(read_text(stream, 32'768), std::string(32'768, 'B'));
    EXPECT_FALSE(stream.geteof());
    EXPECT_EQ(stream.getfoffset(), 32'768);
}

TEST_F(UtStreamForm, APackedFileOfNothingIsItsSignature)
{
    UT_STREAM* out = ut_file.open(path.c_str(), k_write_packed, 1);
    ASSERT_NE(out, nullptr);
    EXPECT_TRUE(ut_file.close(out));
    EXPECT_EQ(file_bytes(path), k_packed_head);
    EXPECT_TRUE(coders.made.empty());
    UT_STREAM* in = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
    ASSERT_NE(in, nullptr);
    EXPECT_EQ(in->getaccess(), k_read_packed);
    EXPECT_EQ(read_text(*in, 1), "");
    EXPECT_TRUE(ut_file.close(in));

    delete ut_file.open(path.c_str(), k_write_packed, 1);
    EXPECT_EQ(file_bytes(path), k_packed_head);

    for (const int bits : {18, 34}) {
        out = ut_file.open(path.c_str(), mask(bits), 1);
        ASSERT_NE(out, nullptr);
        EXPECT_TRUE(ut_file.close(out));
        EXPECT_EQ(file_bytes(path), "") << bits;
    }
    // An empty file may be read as whatever is asked, and nothing is put into it.
    in = ut_file.open(path.c_str(), k_read_packed, 0);
    ASSERT_NE(in, nullptr);
    EXPECT_TRUE(ut_file.close(in));
    EXPECT_EQ(file_bytes(path), "");
}

TEST_F(UtStreamForm, APackedStreamOfNothingBehindTheStartOfItsFileLeavesItAlone)
{
    const message_capture capture;
    const descriptor file(path, k_to_write);
    ASSERT_EQ(::write(file, "xy", 2), 2);
    {
        const UT_STREAM stream(file, k_write_packed, 0, nullptr);
    }
    EXPECT_EQ(file_bytes(path), "xy");
    EXPECT_TRUE(capture.posts().empty());
}

TEST_F(UtStreamForm, ASeekOfAPackedWriterEndsTheCoderBehindTheMovedDescriptor)
{
    const descriptor file(path, k_to_write);
    open_stream stream(file, k_write_packed, 0, nullptr);
    write_text(stream, "abcdef");
    EXPECT_TRUE(stream.setfoffset(0));
    EXPECT_EQ(stream.getfoffset(), 0);
    EXPECT_EQ(file_bytes(path), std::string(k_packed_head) + '.' + turned("bcdef"));
    stream.destroy_me();
}

TEST_F(UtStreamForm, ACallersStreamKeepsTheFormItMet)
{
    message_capture capture;
    write_file(path, std::string(k_gca_head) + turned("abc"));
    UT_STREAM stream(UT_ACCESS_READ, 100, nullptr);
    ASSERT_EQ(ut_file.open(path.c_str(), &stream, 0), &stream);
    EXPECT_EQ(read_text(stream, 9), "abc");
    EXPECT_TRUE(ut_file.close(&stream));
    EXPECT_EQ(stream.getaccess(), 17);
    EXPECT_TRUE(stream.is_compressed());
    EXPECT_EQ(dumped(stream)["Start offset"], 0);
    write_file(path, "plain");
    EXPECT_EQ(ut_file.open(path.c_str(), &stream, 0), nullptr);
    EXPECT_EQ(reports_of(capture, "Illegal mixing of file modes"), 1);
}

TEST_F(UtStreamForm, ACallersPackedStreamGetsRoomForItsNewBuffer)
{
    const std::string text = varied_text(40'000);
    write_file(path, std::string(k_packed_head) + turned(text));
    UT_STREAM stream(k_read_packed, 100, nullptr);
    ASSERT_EQ(ut_file.open(path.c_str(), &stream, 0), &stream);
    EXPECT_EQ(dumped(stream)["Length of the transparent buffer"], 16'384);
    EXPECT_TRUE(stream.seekstart());  // over the version bytes
    EXPECT_TRUE(read_text(stream, 40'000) == text);
    EXPECT_EQ(coders.reads[0], 16'384u);
    EXPECT_TRUE(ut_file.close(&stream));
}

TEST_F(UtStreamForm, WhatTheBufferHoldsSurvivesTheOpening)
{
    UT_STREAM stream(k_write_packed, 65'536, nullptr);
    write_text(stream, varied_text(40'000));
    ASSERT_EQ(ut_file.open(path.c_str(), &stream, 1), &stream);
    write_text(stream, "+");
    EXPECT_TRUE(ut_file.close(&stream));
    EXPECT_TRUE(file_bytes(path) == std::string(k_packed_head) + turned(varied_text(40'000) + '+') + '.');
}

// ---- ends that raise

TEST_F(UtStreamForm, AnEndThatRaisesIsCaughtByTheCallerAndTheRestIsDone)
{
    UT_STREAM* const stream = ut_file.open(path.c_str(), k_write_packed, 1);
    ASSERT_NE(stream, nullptr);
    const int number = stream->getfid();
    write_text(*stream, "abc");
    stream->flush();
    coders.finish_raises = true;
    EXPECT_THROW(delete stream, int);
    EXPECT_TRUE(coders.living.empty());
    EXPECT_EQ(::fcntl(number, F_GETFD), -1);
    EXPECT_FALSE(ut_file.close(stream));
}

TEST_F(UtStreamForm, AnEndDoesNotRaiseWhileAnotherExceptionIsOnItsWay)
{
    coders.finish_raises = true;
    const auto work = [this] {
        const descriptor file(path, k_to_write);
        UT_STREAM stream(file, k_write_packed, 0, nullptr);
        write_text(stream, "abc");
        stream.flush();
        throw std::string("mine");
    };
    EXPECT_THROW(work(), std::string);
    EXPECT_TRUE(coders.living.empty());
}

TEST_F(UtStreamForm, ABufferThatTheCoderRefusesByAThrowIsDropped)
{
    const descriptor file(path, k_to_write);
    open_stream stream(file, k_write_packed, 0, nullptr);
    write_text(stream, "abc");
    coders.write_raises = true;
    EXPECT_THROW(stream.flush(), int);
    EXPECT_TRUE(stream.flush());
    coders.write_raises = false;
    stream.destroy_me();
}

// ---- the compressors themselves

/// One file in a stored form and the same content in a plain one, read by the same calls.
class twin_readers {
public:
    twin_readers(const std::string& directory, const std::string& content, UT_ACCESS form)
        : plain_(written(directory + "/plain", content, UT_ACCESS{})),
          stored_(written(directory + "/stored", content, form))
    {
    }
    twin_readers(const twin_readers&) = delete;
    twin_readers& operator=(const twin_readers&) = delete;
    ~twin_readers()
    {
        ut_file.close(plain_);
        ut_file.close(stored_);
    }

    void expect_same(std::size_t operation, int n)
    {
        EXPECT_EQ(outcome(*stored_, operation, n), outcome(*plain_, operation, n)) << operation << ' ' << n;
        EXPECT_EQ(stored_->geteof(), plain_->geteof()) << operation << ' ' << n;
        if (plain_->geteof() == 0) {  // behind the end it is another
            EXPECT_EQ(stored_->getfoffset(), plain_->getfoffset()) << operation;
        }
        EXPECT_EQ(stored_->geterror(), 0);
    }

private:
    static UT_STREAM* written(const std::string& path, const std::string& content, UT_ACCESS form)
    {
        UT_STREAM* const out = ut_file.open(path.c_str(), UT_ACCESS_WRITE | form, 1);
        write_text(*out, content);
        EXPECT_TRUE(ut_file.close(out));
        return ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
    }
    /// What a call returns and stores.
    static std::pair<long, std::string> outcome(UT_STREAM& stream, std::size_t operation, int n)
    {
        std::string out(static_cast<std::size_t>(n) + 1, '?');
        switch (operation % 9) {
        case 0: return {stream.read(bytes_of(out), n), out};
        case 1: return {stream.sread(bytes_of(out), n), out};
        case 2: return {stream.peek(bytes_of(out), n), out};
        case 3: return {stream.speek(bytes_of(out), n), out};
        case 4: return {stream.skip(n), out};
        case 5: return {stream.readline(out.data(), n), out};
        case 6: return {stream.readtoken(out.data(), n), out};
        case 7: return {stream.readint(), out};
        default: return {stream.setfoffset(3 * n), out};
        }
    }

    UT_STREAM* plain_;
    UT_STREAM* stored_;
};

TEST(UtStreamForms, TheCallerSeesTheSameBytesInEachForm)
{
    const temp_directory directory;
    std::mt19937 random(41);
    for (const std::size_t size : {0u, 1u, 16'383u, 16'384u, 16'385u, 32'768u, 50'000u}) {
        std::string content;
        while (content.size() < size)
            content += random() % 9 == 0 ? "\r\n" : varied_text(random() % 99) + ' ';
        content.resize(size);
        for (const UT_ACCESS form : {UT_ACCESS_PACKED, UT_ACCESS_GCA, UT_ACCESS_GCB}) {
            twin_readers readers(directory.path(), content, form);
            for (int round = 0; round < 60; ++round)
                readers.expect_same(random(), static_cast<int>(random() % (round % 4 == 0 ? 16'384 : 300)));
        }
    }
}

TEST(UtStreamForms, ACutIsNoticedByTheReadThatMeetsTheEnd)
{
    const temp_directory directory;
    const std::string path = directory / "cut";
    const auto is_cut = [&](const std::string& bytes) {
        write_file(path, bytes);
        UT_STREAM* const in = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
        EXPECT_FALSE(in->is_cut_short());
        read_text(*in, 50'000);
        const bool result = in->is_cut_short() != 0;
        ut_file.close(in);
        return result;
    };
    for (const UT_ACCESS form : {UT_ACCESS_PACKED, UT_ACCESS_GCA, UT_ACCESS_GCB}) {
        UT_STREAM* const out = ut_file.open(path.c_str(), UT_ACCESS_WRITE | form, 1);
        write_text(*out, varied_text(20'000));
        ut_file.close(out);
        const std::string whole = file_bytes(path);
        EXPECT_FALSE(is_cut(whole)) << form;
        EXPECT_TRUE(is_cut(whole.substr(0, whole.size() - 10))) << form;
        EXPECT_TRUE(is_cut(whole.substr(0, 30))) << form;
    }
    EXPECT_FALSE(is_cut(std::string(k_packed_head)));  // an empty file is whole
    EXPECT_FALSE(is_cut("plain"));
}

TEST(UtStreamForms, APeekBehindTheBufferOfABlockFileBringsOneBlockAtMost)
{
    const temp_directory directory;
    const std::string path = directory / "blocks", content = varied_text(50'000);
    for (const UT_ACCESS form : {UT_ACCESS_GCA, UT_ACCESS_GCB}) {
        UT_STREAM* const out = ut_file.open(path.c_str(), UT_ACCESS_WRITE | form, 1);
        write_text(*out, content);
        ut_file.close(out);
        UT_STREAM* const in = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
        EXPECT_EQ(read_text(*in, 384), content.substr(0, 384));
        std::string seen(40'000, '?');
        EXPECT_EQ(in->peek(bytes_of(seen), 40'000), 16'000 + 16'384);
        EXPECT_EQ(seen.substr(0, 32'384), content.substr(384, 32'384));
        EXPECT_TRUE(read_text(*in, 50'000) == content.substr(384));
        ut_file.close(in);
    }
}

}  // namespace
