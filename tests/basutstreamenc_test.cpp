// tests/basutstreamenc_test.cpp: reading stretches of a file that are enciphered.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "basutblowfish.h"
#include "basutstream.h"
#include "fake_coder.h"
#include "stream_tools.h"

namespace {

constexpr const char* k_no_key = "Data key is not supplied, cannot enable data encryption.";
constexpr const char* k_no_writing =
    "Cannot write encrypted file, encryption control package has not been installed";

std::string enciphered(std::string text, std::string key)
{
    ketriope::blowfish_cbc(std::span(bytes_of(key), key.size()))
        .encrypt(std::span(bytes_of(text), text.size()));
    return text;
}

class UtStreamEnc : public stream_file_test {
protected:
    std::string key = "a key of some length";
};

TEST_F(UtStreamEnc, AStretchInTheMiddleIsDeciphered)
{
    const std::string secret = varied_text(40);
    read_back("clear text" + enciphered(secret, key) + "clear again", [&](UT_STREAM& stream) {
        stream.setup_enc_key(bytes_of(key), key.size());
        EXPECT_EQ(read_text(stream, 10), "clear text");
        stream.enc_begin();
        EXPECT_EQ(stream.getfoffset(), 10);
        EXPECT_EQ(read_text(stream, 7), secret.substr(0, 7));
        EXPECT_EQ(read_text(stream, 33), secret.substr(7));
        EXPECT_EQ(stream.getfoffset(), 50);
        stream.enc_end();
        EXPECT_EQ(stream.getfoffset(), 50);
        EXPECT_EQ(read_text(stream, 99), "clear again");
        EXPECT_TRUE(stream.geteof());
    });
}

TEST_F(UtStreamEnc, AStretchGoesOnOverManyBuffers)
{
    const std::string secret = varied_text(10'000);
    read_back(varied_text(3'001) + enciphered(secret, key) + "end", [&](UT_STREAM& stream) {
        stream.setup_enc_key(bytes_of(key), key.size());
        stream.skip(3'001);
        stream.enc_begin();
        EXPECT_TRUE(read_text(stream, 10'000) == secret);
        stream.enc_end();
        EXPECT_EQ(read_text(stream, 9), "end");
    });
}

TEST_F(UtStreamEnc, TheEndOfAStretchRoundsUpToAWholeGroup)
{
    const std::string secret = varied_text(24);
    for (const int taken : {0, 1, 7, 8, 9, 16}) {
        read_back(enciphered(secret, key) + "end", [&](UT_STREAM& stream) {
            stream.setup_enc_key(bytes_of(key), key.size());
            stream.enc_begin();
            read_text(stream, taken);
            stream.enc_end();
            EXPECT_EQ(stream.getfoffset(), (taken + 7) / 8 * 8) << taken;
        });
    }
}

TEST_F(UtStreamEnc, APartialGroupAtTheEndKeepsItsCount)
{
    const std::string secret = varied_text(16);
    read_back(enciphered(secret, key).substr(0, 13), [&](UT_STREAM& stream) {
        stream.setup_enc_key(bytes_of(key), key.size());
        stream.enc_begin();
        const std::string got = read_text(stream, 99);
        EXPECT_EQ(got.size(), 13u);
        EXPECT_EQ(got.substr(0, 8), secret.substr(0, 8));
    });
    // A buffer that the file fills up to its very last byte, less a few.
    read_back(enciphered(varied_text(2'048), key).substr(0, 2'045), [&](UT_STREAM& stream) {
        stream.setup_enc_key(bytes_of(key), key.size());
        stream.enc_begin();
        EXPECT_EQ(read_text(stream, 9'999).size(), 2'045u);
    });
}

TEST_F(UtStreamEnc, NumbersAndLinesAreReadFromDecipheredData)
{
    const std::string secret("\x01\x02\x03\x04line\r\n\0\0", 12);
    read_back(enciphered(secret + "....", key), [&](UT_STREAM& stream) {
        stream.setup_enc_key(bytes_of(key), key.size());
        stream.enc_begin();
        EXPECT_EQ(stream.readint(), 0x01020304);
        char line[9];
        EXPECT_EQ(stream.readline(line, 9), 5);
        EXPECT_STREQ(line, "line");
    });
}

TEST_F(UtStreamEnc, TheChainGoesOnUntilTheKeyIsSetAgain)
{
    const std::string secret = varied_text(16);
    read_back(enciphered(secret, key), [&](UT_STREAM& stream) {
        stream.setup_enc_key(bytes_of(key), key.size());
        stream.enc_begin();
        EXPECT_EQ(read_text(stream, 16), secret);
        EXPECT_TRUE(stream.setfoffset(0));
        const std::string again = read_text(stream, 16);
        EXPECT_NE(again.substr(0, 8), secret.substr(0, 8));
        EXPECT_EQ(again.substr(8), secret.substr(8));
        stream.enc_end();
        stream.seekstart();
        stream.setup_enc_key(bytes_of(key), key.size());
        stream.enc_begin();
        EXPECT_EQ(read_text(stream, 16), secret);
    });
}

TEST_F(UtStreamEnc, AFurtherStretchGoesOnWithTheChainOfTheLastLoad)
{
    const std::string first = enciphered(varied_text(16), key), secret = varied_text(24);
    const std::string second = enciphered(secret, key);
    read_back(first + "12345678" + second, [&](UT_STREAM& stream) {
        stream.setup_enc_key(bytes_of(key), key.size());
        stream.enc_begin();
        EXPECT_EQ(read_text(stream, 16), varied_text(16));
        stream.enc_end();
        EXPECT_EQ(read_text(stream, 8), "12345678");
        stream.enc_begin();
        std::string start = secret.substr(0, 8);  // which the last group loaded has been mixed into
        for (std::size_t i = 0; i < start.size(); ++i)
            start[i] = static_cast<char>(start[i] ^ second[16 + i]);
        EXPECT_EQ(read_text(stream, 24), start + secret.substr(8));
    });
}

TEST_F(UtStreamEnc, AKeyLengthOf0MeansEightBytesAndOver56Means56)
{
    const std::string long_key = varied_text(70);
    const std::pair<std::size_t, std::size_t> rows[] = {{0, 8}, {8, 8}, {1, 1}, {56, 56}, {57, 56}, {70, 56}};
    for (const auto& [given, used] : rows) {
        std::string whole = long_key;
        const std::string secret = varied_text(16);
        read_back(enciphered(secret, long_key.substr(0, used)), [&, length = given](UT_STREAM& stream) {
            stream.setup_enc_key(bytes_of(whole), length);
            stream.enc_begin();
            EXPECT_EQ(read_text(stream, 16), secret) << length;
        });
    }
}

TEST_F(UtStreamEnc, TheBufferMustHoldWholeGroups)
{
    write_file(path, "x");
    expect_contract("basutstream", "Cannot enable data encryption. IO buffer length should be multiple of 8.",
                    [&] {
                        const descriptor file(path, k_to_read);
                        UT_STREAM stream(file, UT_ACCESS_READ, 2'049, nullptr);
                        stream.setup_enc_key(bytes_of(key), key.size());
                    });
    const descriptor file(path, k_to_read);
    UT_STREAM stream(file, UT_ACCESS_READ, 2'049, nullptr);
    EXPECT_NO_THROW(stream.setup_enc_key(nullptr, 3));
}

TEST_F(UtStreamEnc, BeginAndEndNeedAKeyFirst)
{
    for (const UT_ACCESS access : {UT_ACCESS_READ, UT_ACCESS_WRITE}) {
        expect_contract("basutstream", k_no_key, [&] { UT_STREAM(access, 0, nullptr).enc_begin(); });
        expect_contract("basutstream", k_no_key, [&] { UT_STREAM(access, 0, nullptr).enc_end(); });
        expect_contract("basutstream", k_no_key, [&] {
            UT_STREAM stream(access, 0, nullptr);
            stream.setup_enc_key(nullptr, 8);  // counts as no call
            stream.enc_begin();
        });
    }
}

TEST_F(UtStreamEnc, BeginAndEndTakeTurns)
{
    write_file(path, varied_text(16));
    for (const UT_ACCESS access : {UT_ACCESS_READ, UT_ACCESS_WRITE})
        expect_contract("basutstream", "Unmatched call to enc_end().", [&] {
            UT_STREAM stream(access, 0, nullptr);
            stream.setup_enc_key(bytes_of(key), key.size());
            stream.enc_end();
        });
    expect_contract("basutstream", "Unmatched call to enc_begin().", [&] {
        const descriptor file(path, k_to_read);
        UT_STREAM stream(file, UT_ACCESS_READ, 0, nullptr);
        stream.setup_enc_key(bytes_of(key), key.size());
        stream.enc_begin();
        stream.enc_begin();
    });
}

TEST_F(UtStreamEnc, AWriteStreamDoesNotEncipher)
{
    expect_contract("basutstream", k_no_writing, [&] {
        const descriptor file(path, k_to_write);
        UT_STREAM stream(file, UT_ACCESS_WRITE, 0, nullptr);
        EXPECT_FALSE(stream.encpack_available());
        stream.setup_enc_key(bytes_of(key), key.size());
        write_text(stream, "clear");
        stream.enc_begin();
    });
}

TEST_F(UtStreamEnc, DestructionEndsAStretch)
{
    write_file(path, enciphered(varied_text(24), key));
    const descriptor file(path, k_to_read);
    {
        UT_STREAM stream(file, UT_ACCESS_READ, 0, nullptr);
        stream.setup_enc_key(bytes_of(key), key.size());
        stream.enc_begin();
        EXPECT_EQ(read_text(stream, 9).size(), 9u);
    }
    EXPECT_EQ(ketriope::platform::os().seek(file, 0, ketriope::platform::seek_from::here), 16);
}

TEST_F(UtStreamEnc, PeekBeyondTheBufferShowsTheFilesOwnBytes)
{
    const std::string secret = varied_text(4'096);
    const std::string filed = enciphered(secret, key);
    read_back(filed, [&](UT_STREAM& stream) {
        stream.setup_enc_key(bytes_of(key), key.size());
        stream.enc_begin();
        stream.skip(2'040);
        std::string seen(16, '?');
        EXPECT_EQ(stream.peek(bytes_of(seen), 16), 16);
        EXPECT_EQ(seen, secret.substr(2'040, 8) + filed.substr(2'048, 8));
        EXPECT_EQ(read_text(stream, 100), secret.substr(2'040, 100));
    });
}

TEST_F(UtStreamEnc, ACompressedStreamHasItsStretchInTheContent)
{
    fake_coders coders;
    const std::string secret = varied_text(5'000);
    const std::string content = "clear" + enciphered(secret, key) + "end";
    write_file(path, "1234567" + turned(content));
    const descriptor file(path, k_to_read);
    UT_STREAM stream(file, UT_ACCESS_READ | UT_ACCESS_GCB, 2'048, nullptr);
    stream.adjust_compress_gc_foffset();
    EXPECT_TRUE(stream.seekstart());
    stream.setup_enc_key(bytes_of(key), key.size());
    EXPECT_EQ(read_text(stream, 5), "clear");
    stream.enc_begin();
    EXPECT_TRUE(read_text(stream, 5'000) == secret);
    stream.enc_end();
    EXPECT_EQ(read_text(stream, 9), "end");
}

TEST_F(UtStreamEnc, AStretchOfAFileInEachStoredFormIsDeciphered)
{
    const std::string secret = varied_text(40'000);
    for (const UT_ACCESS form : {UT_ACCESS_PACKED, UT_ACCESS_GCA, UT_ACCESS_GCB}) {
        UT_STREAM* const out = ut_file.open(path.c_str(), UT_ACCESS_WRITE | form, 1);
        ASSERT_NE(out, nullptr);
        write_text(*out, "clear" + enciphered(secret, key) + "end");
        EXPECT_TRUE(ut_file.close(out));
        UT_STREAM* const in = ut_file.open(path.c_str(), UT_ACCESS_READ, 0);
        ASSERT_NE(in, nullptr);
        in->setup_enc_key(bytes_of(key), key.size());
        EXPECT_EQ(read_text(*in, 5), "clear");
        in->enc_begin();
        EXPECT_TRUE(read_text(*in, 40'000) == secret) << form;
        in->enc_end();
        EXPECT_EQ(in->getfoffset(), 40'005);
        EXPECT_EQ(read_text(*in, 9), "end");
        EXPECT_TRUE(ut_file.close(in));
    }
}

}  // namespace
