// tests/basutdes_test.cpp
#include "basutdes.h"

#include <array>
#include <climits>
#include <cstddef>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include "message_capture.h"

namespace {

std::string from_hex(std::string_view digits)
{
    std::string result;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        result += static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16));
    return result;
}

std::string to_hex(std::string_view data)
{
    constexpr std::string_view k_digits = "0123456789ABCDEF";
    std::string result;
    for (const char byte : data) {
        result += k_digits[static_cast<unsigned char>(byte) >> 4];
        result += k_digits[static_cast<unsigned char>(byte) & 15];
    }
    return result;
}

std::string encoded(std::string data, const std::string& key)
{
    utdes_encode(data.data(), static_cast<int>(data.size()), key.c_str());
    return data;
}

std::string decoded(std::string data, const std::string& key)
{
    utdes_decode(data.data(), static_cast<int>(data.size()), key.c_str());
    return data;
}

std::string xored(std::string data, std::string_view with)
{
    for (std::size_t i = 0; i < with.size(); ++i) data[i] = static_cast<char>(data[i] ^ with[i]);
    return data;
}

/// The published values of the cipher.
struct known {
    const char* key;
    const char* clear;
    const char* cipher;
};

void expect_known(const known& row)
{
    const std::string key = from_hex(row.key);
    EXPECT_EQ(to_hex(encoded(from_hex(row.clear), key)), row.cipher) << "key " << row.key;
    EXPECT_EQ(to_hex(decoded(from_hex(row.cipher), key)), row.clear) << "key " << row.key;
}

TEST(Des, AgreesWithThePublishedTestOfTheSubstitutions)
{
    constexpr known k_rows[] = {
        {"7CA110454A1A6E57", "01A1D6D039776742", "690F5B0D9A26939B"},
        {"0131D9619DC1376E", "5CD54CA83DEF57DA", "7A389D10354BD271"},
        {"07A1133E4A0B2686", "0248D43806F67172", "868EBB51CAB4599A"},
        {"3849674C2602319E", "51454B582DDF440A", "7178876E01F19B2A"},
        {"04B915BA43FEB5B6", "42FD443059577FA2", "AF37FB421F8C4095"},
        {"0113B970FD34F2CE", "059B5E0851CF143A", "86A560F10EC6D85B"},
        {"0170F175468FB5E6", "0756D8E0774761D2", "0CD3DA020021DC09"},
        {"43297FAD38E373FE", "762514B829BF486A", "EA676B2CB7DB2B7A"},
        {"07A7137045DA2A16", "3BDD119049372802", "DFD64A815CAF1A0F"},
        {"04689104C2FD3B2F", "26955F6835AF609A", "5C513C9C4886C088"},
        {"37D06BB516CB7546", "164D5E404F275232", "0A2AEEAE3FF4AB77"},
        {"1F08260D1AC2465E", "6B056E18759F5CCA", "EF1BF03E5DFA575A"},
        {"584023641ABA6176", "004BD6EF09176062", "88BF0DB6D70DEE56"},
        {"025816164629B007", "480D39006EE762F2", "A1F9915541020B56"},
        {"49793EBC79B3258F", "437540C8698F3CFA", "6FBF1CAFCFFD0556"},
        {"4FB05E1515AB73A7", "072D43A077075292", "2F22E49BAB7CA1AC"},
        {"49E95D6D4CA229BF", "02FE55778117F12A", "5A6B612CC26CCE4A"},
        {"018310DC409B26D6", "1D9D5C5018F728C2", "5F4C038ED12B2E41"},
        {"1C587F1C13924FEF", "305532286D6F295A", "63FAC0D034D9F793"},
    };
    for (const known& row : k_rows) expect_known(row);
}

TEST(Des, AgreesWithThePublishedTestOfThePermutations)
{
    constexpr known k_rows[] = {
        // one bit of the text
        {"0101010101010101", "8000000000000000", "95F8A5E5DD31D900"},
        {"0101010101010101", "4000000000000000", "DD7F121CA5015619"},
        {"0101010101010101", "2000000000000000", "2E8653104F3834EA"},
        {"0101010101010101", "1000000000000000", "4BD388FF6CD81D4F"},
        {"0101010101010101", "0800000000000000", "20B9E767B2FB1456"},
        {"0101010101010101", "0400000000000000", "55579380D77138EF"},
        {"0101010101010101", "0200000000000000", "6CC5DEFAAF04512F"},
        {"0101010101010101", "0100000000000000", "0D9F279BA5D87260"},
        // one bit of the key
        {"8001010101010101", "0000000000000000", "95A8D72813DAA94D"},
        {"4001010101010101", "0000000000000000", "0EEC1487DD8C26D5"},
        {"2001010101010101", "0000000000000000", "7AD16FFB79C45926"},
        {"1001010101010101", "0000000000000000", "D3746294CA6A6CF3"},
        {"0801010101010101", "0000000000000000", "809F5F873C1FD761"},
        {"0401010101010101", "0000000000000000", "C02FAFFEC989D1FC"},
        {"0201010101010101", "0000000000000000", "4615AA1D33E72F10"},
    };
    for (const known& row : k_rows) expect_known(row);
}

TEST(Des, AgreesWithThePublishedChain)
{
    const std::string key = from_hex("0123456789ABCDEF");
    const std::string text = "Now is the time for all ";
    // A start value other than zero is the same as that value in the first block.
    const std::string start = from_hex("1234567890ABCDEF");
    EXPECT_EQ(to_hex(encoded(xored(text, start), key)), "E5C7CDDE872BF27C43E934008C389C0F683788499A7C05F6");
    // One block alone is the plain cipher.
    EXPECT_EQ(to_hex(encoded("Now is t", key)), "3FA40E8A984D4815");
    EXPECT_EQ(to_hex(encoded("he time ", key)), "6A271787AB8883F9");
    EXPECT_EQ(to_hex(encoded("for all ", key)), "893D51EC4B563B53");
}

TEST(Des, TheParityOfTheKeyAndWhatFollowsItsEighthByteDoNotCount)
{
    const std::string clear = from_hex("0123456789ABCDE7");
    const std::string cipher = encoded(clear, from_hex("133457799BBCDFF1"));
    EXPECT_EQ(encoded(clear, from_hex("123556789ABDDEF0")), cipher);
    EXPECT_EQ(encoded(clear, from_hex("133457799BBCDFF100FF")), cipher);
    EXPECT_NE(encoded(clear, from_hex("113457799BBCDFF1")), cipher);
}

TEST(Des, EachCallBeginsAChainOfItsOwn)
{
    const std::string key = "8 bytes.";
    const std::string twice = encoded("the same"
                                      "the same",
                                      key);
    EXPECT_EQ(twice.substr(0, 8), encoded("the same", key));
    EXPECT_NE(twice.substr(8), twice.substr(0, 8));
    EXPECT_EQ(decoded(twice, key), "the same"
                                   "the same");
}

/// The same by another library: three passes under one key are one pass.
std::string by_peer(const std::string& data, const std::string& key, bool encrypt)
{
    const std::string keys = key + key + key;
    constexpr std::array<unsigned char, 8> k_start{};
    const auto bytes = [](const std::string& text) {
        return reinterpret_cast<const unsigned char*>(text.data());
    };
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                                  EVP_CIPHER_CTX_free);
    std::string result(data.size(), '\0');
    int length = 0;
    EXPECT_EQ(EVP_CipherInit_ex(context.get(), EVP_des_ede3_cbc(), nullptr, bytes(keys), k_start.data(),
                                encrypt ? 1 : 0),
              1);
    EVP_CIPHER_CTX_set_padding(context.get(), 0);
    EXPECT_EQ(EVP_CipherUpdate(context.get(), reinterpret_cast<unsigned char*>(result.data()), &length,
                               bytes(data), static_cast<int>(data.size())),
              1);
    EXPECT_EQ(static_cast<std::size_t>(length), data.size());
    return result;
}

TEST(Des, AgreesWithAnotherLibraryOnRandomKeysAndTexts)
{
    std::mt19937 random(46);
    const auto random_text = [&random](std::size_t length) {
        std::string text(length, '\0');
        for (char& byte : text) byte = static_cast<char>(random());
        return text;
    };
    for (int round = 0; round < 10'000; ++round) {
        const std::string key = random_text(8);
        const std::string text = random_text(8 * (1 + random() % 16));
        ASSERT_EQ(to_hex(encoded(text, key)), to_hex(by_peer(text, key, true))) << "round " << round;
        ASSERT_EQ(to_hex(decoded(text, key)), to_hex(by_peer(text, key, false))) << "round " << round;
        ASSERT_EQ(decoded(encoded(text, key), key), text) << "round " << round;
    }
}

void expect_bad_call(void (*function)(char*, int, const char*), const char* text)
{
    struct call {
        char* data;
        int length;
        const char* key;
    };
    const char key[] = "the key.";
    std::string data(24, 'd');
    const call k_bad[] = {
        {nullptr, 8, key},     {data.data(), 8, nullptr}, {data.data(), 0, key},  {data.data(), -8, key},
        {data.data(), 7, key}, {data.data(), 9, key},     {data.data(), 23, key}, {data.data(), INT_MIN, key},
    };
    for (const call& bad : k_bad) {
        const auto make = [&] { function(bad.data, bad.length, bad.key); };
        message_capture capture;
        EXPECT_THROW(make(), int) << bad.length;
        EXPECT_EQ(capture.last(), (post{"common", "0000", "basutdes", text}));
        capture.use_legacy_flow();
        stderr_of([&] { EXPECT_EQ(capture.exit_value_of(make), 19) << bad.length; });
        EXPECT_EQ(data, std::string(24, 'd'));
    }
}

TEST(Des, ABadCallBreaksTheContractOnBothRoutesAndLeavesTheData)
{
    expect_bad_call(utdes_encode, "Invalid parameters passed to encode.");
    expect_bad_call(utdes_decode, "Invalid parameters passed to decode.");
}

}  // namespace
