// tests/basutblowfish_test.cpp
#include "basutblowfish.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"

namespace {

using ketriope::blowfish;
using ketriope::blowfish_cbc;
using bytes = std::vector<unsigned char>;

bytes from_hex(std::string_view digits)
{
    bytes result;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        result.push_back(
            static_cast<unsigned char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
    return result;
}

std::string to_hex(const bytes& data)
{
    constexpr char k_digits[] = "0123456789ABCDEF";
    std::string result;
    for (const unsigned char byte : data) {
        result += k_digits[byte >> 4];
        result += k_digits[byte & 15];
    }
    return result;
}

blowfish::block block_of(bytes& data)
{
    return std::span(data).first<blowfish::k_block>();
}

bytes file_bytes(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// The published values of the cipher: keys of 8 bytes.
struct known {
    const char* key;
    const char* clear;
    const char* cipher;
};
constexpr known k_known[] = {
    {"0000000000000000", "0000000000000000", "4EF997456198DD78"},
    {"FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A"},
    {"3000000000000000", "1000000000000001", "7D856F9A613063F2"},
    {"1111111111111111", "1111111111111111", "2466DD878B963C9D"},
    {"0123456789ABCDEF", "1111111111111111", "61F9C3802281B096"},
    {"1111111111111111", "0123456789ABCDEF", "7D0CC630AFDA1EC7"},
    {"FEDCBA9876543210", "0123456789ABCDEF", "0ACEAB0FC6A0A28D"},
    {"7CA110454A1A6E57", "01A1D6D039776742", "59C68245EB05282B"},
    {"0131D9619DC1376E", "5CD54CA83DEF57DA", "B1B8CC0B250F09A0"},
    {"07A1133E4A0B2686", "0248D43806F67172", "1730E5778BEA1DA4"},
    {"3849674C2602319E", "51454B582DDF440A", "A25E7856CF2651EB"},
    {"04B915BA43FEB5B6", "42FD443059577FA2", "353882B109CE8F1A"},
    {"0113B970FD34F2CE", "059B5E0851CF143A", "48F4D0884C379918"},
    {"0170F175468FB5E6", "0756D8E0774761D2", "432193B78951FC98"},
    {"43297FAD38E373FE", "762514B829BF486A", "13F04154D69D1AE5"},
    {"07A7137045DA2A16", "3BDD119049372802", "2EEDDA93FFD39C79"},
    {"04689104C2FD3B2F", "26955F6835AF609A", "D887E0393C2DA6E3"},
    {"37D06BB516CB7546", "164D5E404F275232", "5F99D04F5B163969"},
    {"1F08260D1AC2465E", "6B056E18759F5CCA", "4A057A3B24D3977B"},
    {"584023641ABA6176", "004BD6EF09176062", "452031C1E4FADA8E"},
    {"025816164629B007", "480D39006EE762F2", "7555AE39F59B87BD"},
    {"49793EBC79B3258F", "437540C8698F3CFA", "53C55F9CB49FC019"},
    {"4FB05E1515AB73A7", "072D43A077075292", "7A8E7BFA937E89A3"},
    {"49E95D6D4CA229BF", "02FE55778117F12A", "CF9C5D7A4986ADB5"},
    {"018310DC409B26D6", "1D9D5C5018F728C2", "D1ABB290658BC778"},
    {"1C587F1C13924FEF", "305532286D6F295A", "55CB3774D13EF201"},
    {"0101010101010101", "0123456789ABCDEF", "FA34EC4847B268B2"},
    {"1F1F1F1F0E0E0E0E", "0123456789ABCDEF", "A790795108EA3CAE"},
    {"E0FEE0FEF1FEF1FE", "0123456789ABCDEF", "C39E072D9FAC631D"},
    {"0000000000000000", "FFFFFFFFFFFFFFFF", "014933E0CDAFF6E4"},
    {"FFFFFFFFFFFFFFFF", "0000000000000000", "F21E9A77B71C49BC"},
    {"0123456789ABCDEF", "0000000000000000", "245946885754369A"},
    {"FEDCBA9876543210", "FFFFFFFFFFFFFFFF", "6B5C5A9C5D9E0A5A"},
};

TEST(Blowfish, AgreesWithThePublishedValues)
{
    for (const known& row : k_known) {
        const blowfish cipher(from_hex(row.key));
        bytes data = from_hex(row.clear);
        cipher.encrypt(block_of(data));
        EXPECT_EQ(to_hex(data), row.cipher) << "key " << row.key;
        cipher.decrypt(block_of(data));
        EXPECT_EQ(to_hex(data), row.clear) << "key " << row.key;
    }
}

TEST(Blowfish, AgreesWithThePublishedValuesForKeysOfEveryLength)
{
    const bytes longest = from_hex("F0E1D2C3B4A5968778695A4B3C2D1E0F0011223344556677");
    constexpr const char* k_cipher[] = {
        "F9AD597C49DB005E", "E91D21C1D961A6D6", "E9C2B70A1BC65CF3", "BE1E639408640F05", "B39E44481BDB1E6E",
        "9457AA83B1928C0D", "8BB77032F960629D", "E87A244E2CC85E82", "15750E7A4F4EC577", "122BA70B3AB64AE0",
        "3A833C9AFFC537F6", "9409DA87A90F6BF2", "884F80625060B8B4", "1F85031C19E11968", "79D9373A714CA34F",
        "93142887EE3BE15C", "03429E838CE2D14B", "A4299E27469FF67B", "AFD5AED1C1BC96A8", "10851C0E3858DA9F",
        "E6F51ED79B9DB21F", "64A6E14AFD36B46F", "80C7D7D45A5479AD", "05044B62FA52D080"};
    for (std::size_t length = 1; length <= longest.size(); ++length) {
        bytes data = from_hex("FEDCBA9876543210");
        blowfish(std::span(longest).first(length)).encrypt(block_of(data));
        EXPECT_EQ(to_hex(data), k_cipher[length - 1]) << "key of " << length;
    }
}

TEST(Blowfish, OnlyTheFirst56BytesOfAKeyCount)
{
    bytes key(60);
    for (std::size_t i = 0; i < key.size(); ++i) key[i] = static_cast<unsigned char>(i * 7);
    bytes with_all(8), with_56(8), with_55(8);
    blowfish(key).encrypt(block_of(with_all));
    blowfish(std::span(key).first(56)).encrypt(block_of(with_56));
    blowfish(std::span(key).first(55)).encrypt(block_of(with_55));
    EXPECT_EQ(with_all, with_56);
    EXPECT_NE(with_all, with_55);
}

TEST(BlowfishCbc, AgreesWithThePublishedChain)
{
    const bytes key = from_hex("0123456789ABCDEFF0E1D2C3B4A59687");
    const bytes start = from_hex("FEDCBA9876543210");
    constexpr std::string_view k_text("7654321 Now is the time for \0\0\0\0", 32);
    bytes data(k_text.begin(), k_text.end());
    // A start value other than zero is the same as that value in the first block.
    for (std::size_t i = 0; i < start.size(); ++i) data[i] ^= start[i];
    blowfish_cbc(key).encrypt(data);
    EXPECT_EQ(to_hex(data), "6B77B4D63006DEE605B156E27403979358DEB9E7154616D959F1652BD5FF92CC");
}

TEST(BlowfishCbc, TheChainGoesOnFromCallToCall)
{
    const bytes key = from_hex("0011223344556677");
    bytes whole(64, 'x');
    bytes pieces = whole;
    blowfish_cbc(key).encrypt(whole);
    blowfish_cbc in_pieces(key);
    in_pieces.encrypt(std::span(pieces).first(24));
    in_pieces.encrypt(std::span(pieces).subspan(24));
    EXPECT_EQ(pieces, whole);
    EXPECT_NE(to_hex(whole).substr(0, 16), to_hex(whole).substr(16, 16));

    blowfish_cbc back(key);
    back.decrypt(std::span(pieces).first(8));
    back.decrypt(std::span(pieces).subspan(8));
    EXPECT_EQ(pieces, bytes(64, 'x'));
}

TEST(BlowfishCbc, LeavesAPartialBlockAlone)
{
    bytes data(13, 'a');
    blowfish_cbc cipher(from_hex("01"));
    cipher.encrypt(data);
    EXPECT_EQ(std::string(data.begin() + 8, data.end()), "aaaaa");
    EXPECT_NE(std::string(data.begin(), data.begin() + 8), "aaaaaaaa");
}

TEST(BlowfishCbc, AgreesWithTheSystemsOwnTool)
{
    const std::string tool = "/usr/bin/openssl";
    if (!std::filesystem::exists(tool)) GTEST_SKIP() << "there is no " << tool;
    const std::filesystem::path directory = std::filesystem::path(std::getenv("TEMP")) / "basutblowfish_test";
    std::filesystem::create_directories(directory);
    const std::string clear = directory / "clear";
    const std::string enciphered = directory / "enciphered";
    std::mt19937 random(7);
    bytes data(8 * 1'000);
    for (unsigned char& byte : data) byte = static_cast<unsigned char>(random());
    std::ofstream(clear, std::ios::binary)
        .write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));

    const std::string key = "00112233445566778899AABBCCDDEEFF";
    const child_result run =
        run_child(tool, {"enc", "-bf-cbc", "-nopad", "-provider", "legacy", "-provider", "default", "-K", key,
                         "-iv", "0000000000000000", "-in", clear, "-out", enciphered});
    const bytes expected = file_bytes(enciphered);
    std::filesystem::remove_all(directory);
    if (run.exit_status != 0) GTEST_SKIP() << tool << " does not know the cipher: " << run.err;
    blowfish_cbc(from_hex(key)).encrypt(data);
    EXPECT_TRUE(data == expected);
}

TEST(Blowfish, TheTablesAreWhatTheScriptComputes)
{
    const std::string python = "/usr/bin/python3";
    if (!std::filesystem::exists(python)) GTEST_SKIP() << "there is no " << python;
    const std::filesystem::path top = std::filesystem::path(TEST_SOURCE_DIR).parent_path();
    const child_result run = run_child(python, {top / "scripts/make_blowfish_tables.py"});
    ASSERT_EQ(run.exit_status, 0) << run.err;
    const bytes committed = file_bytes(top / "base/utilities/basutil/basutblowfish_tables.inc");
    EXPECT_TRUE(run.out == std::string(committed.begin(), committed.end()));
}

}  // namespace
