// tests/basutfileencode_test.cpp
#include "basutfileencode.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <numeric>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "basutfile.h"
#include "full_disk.h"
#include "message_capture.h"
#include "scoped_environment.h"
#include "scoped_operations.h"
#include "stream_tools.h"
#include "temp_directory.h"

namespace {

using namespace std::string_literals;

const std::string k_magic("\x06\x1e\x43\x00\x09", 5);
const std::string k_golden = std::string(TEST_SOURCE_DIR) + "/golden/";

std::string every_byte()
{
    std::string bytes(256, '\0');
    std::iota(bytes.begin(), bytes.end(), '\0');
    return bytes;
}

/// What the transform must give, from its description: the high byte of a multiple of the position.
std::string scrambled(std::string part)
{
    std::uint32_t sum = 0;
    for (char& byte : part) {
        sum += 2'654'435'761u;
        byte = static_cast<char>(static_cast<unsigned char>(byte) ^ (sum >> 24));
    }
    return part;
}

using members = std::vector<std::pair<std::string, std::string>>;

std::string pack_of(const members& all, bool scramble)
{
    const auto part = [scramble](const std::string& bytes) { return scramble ? scrambled(bytes) : bytes; };
    std::string content, catalog;
    std::size_t end = 0;
    for (const auto& [name, bytes] : all) {
        end += bytes.size();
        content += part(bytes);
        catalog += name + '\n' + std::to_string(end) + '\n';
    }
    return (scramble ? k_magic : "") + part(std::to_string(end) + '\n') + content + part(catalog);
}

/// All of the content from the read position on.
std::string rest_of(const UT_FILEENCODE& file)
{
    std::string bytes;
    long count = 0;
    do {
        bytes.resize(4 * bytes.size() + 1'000);
        count = file.peek(bytes.data(), static_cast<long>(bytes.size()));
    } while (count == static_cast<long>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

std::vector<std::string> lines_of(UT_FILEENCODE& file, long n = 100)
{
    std::vector<std::string> lines;
    std::string line(static_cast<std::size_t>(n), '?');
    while (file.geteof() == 0) {
        const long length = file.readline(line.data(), n);
        lines.emplace_back(line.c_str());
        EXPECT_EQ(lines.back().size(), static_cast<std::size_t>(length));
    }
    return lines;
}

/// A fresh file each time: a file system may take the cutting of an old one as a reason to wait for the disk.
void write_anew(const std::string& path, std::string_view bytes)
{
    std::filesystem::remove(path);
    write_file(path, bytes);
}

class FileEncode : public testing::Test {
protected:
    std::string path(std::string_view name) const { return directory / name; }
    /// An object with this content.
    std::unique_ptr<UT_FILEENCODE> of(const std::string& bytes)
    {
        write_file(path("content"), bytes);
        auto file = std::make_unique<UT_FILEENCODE>(nullptr, 0);
        EXPECT_TRUE(file->load(path("content").c_str(), 1));
        return file;
    }
    /// Whether the member was found in a pack of these bytes, and its content.
    std::pair<bool, std::string> member(const std::string& pack, const char* name)
    {
        write_anew(path("pack"), pack);
        UT_FILEENCODE file(path("pack").c_str(), 0);
        const bool found = file.load(name, 0) != 0;
        return {found, rest_of(file)};
    }

    temp_directory directory;
    const members k_members{
        {"alpha.dat", "hello\r\nworld\n"}, {"empty.dat", ""}, {"bytes.bin", every_byte()}};
};

// ---- reading the content

TEST_F(FileEncode, PeekCopiesWhatIsThereAndStays)
{
    const auto file = of("abcdef");
    std::array<char, 8> out{};
    EXPECT_EQ(file->peek(out.data(), 4), 4);
    EXPECT_STREQ(out.data(), "abcd");
    EXPECT_EQ(file->peek(out.data(), 100), 6);
    EXPECT_EQ(file->peek(out.data(), 0), 0);
    EXPECT_EQ(file->peek(out.data(), -1), 0);
    EXPECT_EQ(file->getfoffset(), 0);
    EXPECT_EQ(file->geteof(), 0);
    file->setfoffset(4);
    out.fill('?');
    EXPECT_EQ(file->peek(out.data(), 100), 2);  // what is left, not the size
    EXPECT_EQ(std::string(out.data(), 3), "ef?");
    file->setfoffset(6);
    EXPECT_EQ(file->peek(out.data(), 100), 0);
}

TEST_F(FileEncode, ReadlineStripsTheLineEndAndTheLastLineSetsTheEndFlag)
{
    const auto file = of("one\r\ntwo\n\n\rthree\r\n\r\nlast");
    EXPECT_EQ(lines_of(*file), (std::vector<std::string>{"one", "two", "", "\rthree", "", "last"}));
    EXPECT_EQ(file->getfoffset(), 24);
    char out[4] = "?";
    EXPECT_EQ(file->readline(out, 4), 0);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(lines_of(*of("one\ntwo\n")), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(lines_of(*of("")), std::vector<std::string>());
    EXPECT_EQ(lines_of(*of("\n")), std::vector<std::string>{""});
}

TEST_F(FileEncode, ReadlineCutsALongLineAndTheRestIsTheNextOne)
{
    EXPECT_EQ(lines_of(*of("abcdefg\nhi\n"), 4), (std::vector<std::string>{"abc", "def", "g", "hi"}));
    EXPECT_EQ(lines_of(*of("abc\n"), 5), std::vector<std::string>{"abc"});
    EXPECT_EQ(lines_of(*of("abc\n"), 4), (std::vector<std::string>{"abc", ""}));
    const auto file = of("abc");
    char out = '?';
    EXPECT_EQ(file->readline(&out, 0), 0);
    EXPECT_EQ(out, '?');
    EXPECT_EQ(file->readline(&out, 1), 0);
    EXPECT_EQ(out, '\0');
    EXPECT_EQ(file->getfoffset(), 0);
}

TEST_F(FileEncode, ANulWithinALineShortensTheResult)
{
    const auto file = of("ab\0cd\nef"s);
    char out[10];
    EXPECT_EQ(file->readline(out, 10), 2);
    EXPECT_EQ(file->getfoffset(), 6);
}

TEST_F(FileEncode, ReadkeyStoresTheTerminatorAndCountsIt)
{
    const auto file = of("ab;cd,\0ef\ngh"s);
    std::array<char, 10> out{};
    const auto read = [&](long n, ketriope::stream_key key) {
        out.fill('?');
        const long count = file->readkey(out.data(), n, key);
        return std::string(out.data(), static_cast<std::size_t>(count));
    };
    EXPECT_EQ(read(10, ";,"), "ab;");
    EXPECT_EQ(read(10, ";,"), "cd,");
    EXPECT_EQ(read(10, ""), "\0"s);
    EXPECT_EQ(read(2, "\n"), "ef");  // no room for a NUL, and none counted
    EXPECT_EQ(read(10, "\n"), "\n");
    EXPECT_EQ(file->geteof(), 0);
    EXPECT_EQ(read(10, "\n"), "gh\0"s);  // the content ended first
    EXPECT_EQ(file->geteof(), 1);
    EXPECT_EQ(read(10, "\n"), "");
    file->setfoffset(10);
    EXPECT_EQ(read(2, "\n"), "gh");
    file->setfoffset(10);
    EXPECT_EQ(read(0, "\n"), "");
    EXPECT_EQ(read(-5, "\n"), "");
}

TEST_F(FileEncode, SetfoffsetMovesWithinTheContentAlone)
{
    const auto file = of("abcdef");
    EXPECT_EQ(file->setfoffset(6), 1);
    EXPECT_EQ(file->geteof(), 1);
    EXPECT_EQ(file->setfoffset(3), 1);
    EXPECT_EQ(file->geteof(), 0);
    for (const long outside : {-1L, 7L, 0xffff'ffffL, 1L << 32}) {
        EXPECT_EQ(file->setfoffset(outside), 0) << outside;
        EXPECT_EQ(file->getfoffset(), 3);
    }
    EXPECT_EQ(rest_of(*file), "def");
}

TEST_F(FileEncode, WritelineAppendsTheTextAndALineFeed)
{
    UT_FILEENCODE file(nullptr, 0);
    EXPECT_EQ(file.geteof(), 0);
    EXPECT_EQ(file.writeline("one"), 4);
    EXPECT_EQ(file.writeline(""), 1);
    EXPECT_EQ(file.writeline(nullptr), 0);
    EXPECT_EQ(rest_of(file), "one\n\n");
    EXPECT_EQ(lines_of(file), (std::vector<std::string>{"one", ""}));
    EXPECT_EQ(file.writeline("two"), 4);
    EXPECT_EQ(file.geteof(), 0);
    EXPECT_EQ(rest_of(file), "two\n");
}

// ---- single files

TEST_F(FileEncode, DumpWritesTheContentAsItIsOrScrambledBehindTheMagic)
{
    const auto file = of(every_byte());
    EXPECT_EQ(file->dump(path("plain").c_str(), 0), 1);
    EXPECT_EQ(file_bytes(path("plain")), every_byte());
    EXPECT_EQ(file->dump(path("scrambled").c_str(), 1), 1);
    EXPECT_EQ(file_bytes(path("scrambled")), file_bytes(k_golden + "single_scrambled.dat"));
    EXPECT_EQ(file_bytes(path("scrambled")), k_magic + scrambled(every_byte()));
    EXPECT_EQ(rest_of(*file), every_byte());  // in memory it stays plain
}

TEST_F(FileEncode, DumpOverwritesALongerFile)
{
    write_file(path("out"), std::string(5'000, 'x'));
    UT_FILEENCODE file(nullptr, 0);
    file.writeline("short");
    EXPECT_EQ(file.dump(path("out").c_str(), 0), 1);
    EXPECT_EQ(file_bytes(path("out")), "short\n");
}

TEST_F(FileEncode, ADirectLoadTakesTheWholeFileAndNoCatalog)
{
    UT_FILEENCODE file(nullptr, 0);
    EXPECT_EQ(file.load((k_golden + "single_scrambled.dat").c_str(), 1), 1);
    EXPECT_EQ(rest_of(file), every_byte());
    EXPECT_EQ(file.getpackfile(), nullptr);
    EXPECT_EQ(file.load((k_golden + "pack.etc").c_str(), 1), 1);
    EXPECT_EQ(rest_of(file), file_bytes(k_golden + "pack.etc"));
    write_file(path("magic"), k_magic);
    EXPECT_EQ(file.load(path("magic").c_str(), 1), 1);
    EXPECT_EQ(rest_of(file), "");
    EXPECT_EQ(file.geteof(), 1);
}

TEST_F(FileEncode, ALoadReplacesTheContentAndGoesToItsStart)
{
    const auto file = of("first\nsecond\n");
    lines_of(*file);
    write_file(path("other"), "other");
    EXPECT_EQ(file->load(path("other").c_str(), 1), 1);
    EXPECT_EQ(file->getfoffset(), 0);
    EXPECT_EQ(file->geteof(), 0);
    EXPECT_EQ(rest_of(*file), "other");
    EXPECT_EQ(file->load(path("none").c_str(), 1), 0);
    EXPECT_EQ(rest_of(*file), "");
}

TEST_F(FileEncode, WhatCannotBeOpenedGivesFalse)
{
    UT_FILEENCODE file(nullptr, 1);
    EXPECT_EQ(file.load(nullptr, 1), 0);
    EXPECT_EQ(file.load(nullptr, 0), 0);
    EXPECT_EQ(file.getpackfile(), nullptr);
    EXPECT_EQ(file.dump(nullptr, 0), 0);
    EXPECT_EQ(file.catalog(nullptr, path("pack").c_str()), 0);
    EXPECT_EQ(file.catalog(path("none").c_str(), path("pack").c_str()), 0);
    EXPECT_FALSE(std::filesystem::exists(path("pack")));
    ut_file.clearerror();
    EXPECT_EQ(file.dump(path("no/such/directory").c_str(), 0), 0);
    EXPECT_EQ(ut_file.geterror(), ENOENT);
    write_file(path("from"), "x");
    EXPECT_EQ(file.catalog(path("from").c_str(), nullptr), 0);
    EXPECT_EQ(file.catalog(path("from").c_str(), path("no/such/pack").c_str()), 0);
    EXPECT_EQ(rest_of(file), "");
    ut_file.clearerror();
}

// ---- packs

TEST_F(FileEncode, MembersOfTheGoldenPacksAreFoundByTheLastComponentOfAName)
{
    for (const char* pack : {"pack.etc", "pack_scrambled.etc"}) {
        const std::string bytes = file_bytes(k_golden + pack);
        EXPECT_EQ(bytes, pack_of(k_members, bytes.starts_with(k_magic)));
        for (const auto& [name, content] : k_members) {
            EXPECT_EQ(member(bytes, name.c_str()), std::pair(true, content)) << name;
            EXPECT_EQ(member(bytes, ("some/where/" + name).c_str()), std::pair(true, content)) << name;
        }
        for (const char* none : {"alpha", "alpha.da", "ALPHA.DAT", "", "12", "alpha.dat/"})
            EXPECT_EQ(member(bytes, none), std::pair(false, ""s)) << none;
    }
}

TEST_F(FileEncode, CatalogPutsSingleFilesTogetherIntoTheGoldenPack)
{
    for (const bool scramble : {false, true}) {
        UT_FILEENCODE file(nullptr, 1);
        for (const auto& [name, content] : k_members) {
            write_file(path(name), scramble ? k_magic + scrambled(content) : content);
            EXPECT_EQ(file.catalog(path(name).c_str(), path("pack").c_str()), 1);
        }
        EXPECT_EQ(file_bytes(path("pack")),
                  file_bytes(k_golden + (scramble ? "pack_scrambled.etc" : "pack.etc")));
        // dump writes the same members again
        EXPECT_EQ(file.dump(path("again").c_str(), scramble), 1);
        EXPECT_EQ(file_bytes(path("again")), file_bytes(path("pack")));
    }
}

TEST_F(FileEncode, ThePackIsScrambledIfTheLastFileAddedIs)
{
    UT_FILEENCODE file(nullptr, 1);
    write_file(path("a"), k_magic + scrambled("first"));
    write_file(path("b"), "second");
    EXPECT_EQ(file.catalog(path("a").c_str(), path("pack").c_str()), 1);
    EXPECT_EQ(file_bytes(path("pack")), pack_of({{"a", "first"}}, true));
    EXPECT_EQ(file.catalog(path("b").c_str(), path("pack").c_str()), 1);
    EXPECT_EQ(file_bytes(path("pack")), pack_of({{"a", "first"}, {"b", "second"}}, false));
}

TEST_F(FileEncode, DumpMakesAMemberOfTheContentWhenACatalogIsToBeCreated)
{
    for (const bool scramble : {false, true}) {
        UT_FILEENCODE file("some/where/own.dat", 1);
        file.createcatalog();
        file.writeline("a line");
        EXPECT_EQ(file.dump(path("pack").c_str(), scramble), 1);
        EXPECT_EQ(file_bytes(path("pack")), pack_of({{"own.dat", "a line\n"}}, scramble));
        // A second dump writes the same; what came meanwhile makes the member longer.
        EXPECT_EQ(file.dump(path("pack").c_str(), scramble), 1);
        EXPECT_EQ(file_bytes(path("pack")), pack_of({{"own.dat", "a line\n"}}, scramble));
        file.writeline("more");
        EXPECT_EQ(file.dump(path("pack").c_str(), scramble), 1);
        EXPECT_EQ(file_bytes(path("pack")), pack_of({{"own.dat", "a line\nmore\n"}}, scramble));
        write_file(path("added"), "added");
        EXPECT_EQ(file.catalog(path("added").c_str(), path("pack").c_str()), 1);
        EXPECT_EQ(file_bytes(path("pack")),
                  pack_of({{"own.dat", "a line\nmore\n"}, {"added", "added"}}, false));
    }
}

TEST_F(FileEncode, WithoutACatalogToBeCreatedOnlyTheOffsetStandsInFront)
{
    UT_FILEENCODE file("own.dat", 1);
    file.writeline("a line");
    EXPECT_EQ(file.dump(path("pack").c_str(), 0), 1);
    EXPECT_EQ(file_bytes(path("pack")), "7\na line\n");
    EXPECT_EQ(file.dump(path("pack").c_str(), 1), 1);
    EXPECT_EQ(file_bytes(path("pack")), k_magic + scrambled("7\n") + scrambled("a line\n"));
    UT_FILEENCODE single("own.dat", 0);  // no catalog mode
    single.createcatalog();
    single.writeline("a line");
    EXPECT_EQ(single.dump(path("single").c_str(), 0), 1);
    EXPECT_EQ(file_bytes(path("single")), "a line\n");
    // It did not become a member either: the next one begins with it.
    write_file(path("added"), "added");
    EXPECT_EQ(single.catalog(path("added").c_str(), path("pack").c_str()), 1);
    EXPECT_EQ(file_bytes(path("pack")), pack_of({{"added", "a line\nadded"}}, false));
}

TEST_F(FileEncode, ALoadEndsTheCreationOfACatalogAndForgetsTheMembers)
{
    write_file(path("a"), "first");
    UT_FILEENCODE file("own.dat", 1);
    file.catalog(path("a").c_str(), path("pack").c_str());
    file.createcatalog();
    EXPECT_EQ(file.load(path("a").c_str(), 1), 1);
    EXPECT_EQ(file.dump(path("out").c_str(), 0), 1);
    EXPECT_EQ(file_bytes(path("out")), "5\nfirst");
}

TEST_F(FileEncode, ThePackIsBesideTheFileWhereNoneIsNamed)
{
    write_file(path("zeodata.etc"), pack_of({{"a", "in the pack"}}, true));
    UT_FILEENCODE file(nullptr, 0);
    EXPECT_EQ(file.getpackfile(), nullptr);
    EXPECT_EQ(file.load(path("a").c_str(), 1), 1);
    EXPECT_EQ(rest_of(file), "in the pack");
    EXPECT_EQ(file.getpackfile(), path("zeodata.etc"));
    EXPECT_EQ(file.load("/elsewhere/a", 0), 1);  // it stays the pack
    write_file(path("a"), "alone");
    EXPECT_EQ(file.load(path("a").c_str(), 1), 1);
    EXPECT_EQ(rest_of(file), "alone");
    EXPECT_EQ(file.load(path("a").c_str(), 0), 1);
    EXPECT_EQ(rest_of(file), "in the pack");
}

TEST_F(FileEncode, ANameWithoutDirectoryMeansThePackInTheWorkingDirectory)
{
    const std::filesystem::path before = std::filesystem::current_path();
    write_file(path("zeodata.etc"), pack_of({{"a", "here"}}, false));
    std::filesystem::current_path(directory.path());
    UT_FILEENCODE file(nullptr, 0);
    EXPECT_EQ(file.load("a", 0), 1);
    EXPECT_EQ(rest_of(file), "here");
    std::filesystem::current_path(before);
}

TEST_F(FileEncode, TheNameOfThePackHasAtMost259Bytes)
{
    std::string deep = directory.path();
    while (deep.size() + 60 < 247) deep += "/" + std::string(50, 'd');
    deep += "/" + std::string(246 - deep.size(), 'e');
    std::filesystem::create_directories(deep + "e");
    ASSERT_EQ((deep + "/zeodata.etc").size(), 259u);
    for (const bool too_long : {false, true}) {
        const std::string place = too_long ? deep + 'e' : deep;
        std::filesystem::create_directories(place);
        write_file(place + "/zeodata.etc", pack_of({{"a", "found"}}, false));
        UT_FILEENCODE file(nullptr, 0);
        EXPECT_EQ(file.load((place + "/a").c_str(), 0), !too_long);
        EXPECT_EQ(file.getpackfile() == nullptr, too_long);
    }
}

TEST_F(FileEncode, ANullNameIsNoMember)
{
    // Not that of an empty name, which a pack may have, either.
    EXPECT_EQ(member(pack_of({{"", "nameless"}, {"a", "named"}}, false), nullptr), std::pair(false, ""s));
    EXPECT_EQ(member(pack_of({{"", "nameless"}}, false), ""), std::pair(true, "nameless"s));
}

TEST_F(FileEncode, OfTwoMembersOfOneNameTheFirstIsFound)
{
    EXPECT_EQ(member(pack_of({{"a", "first"}, {"a", "second"}}, false), "a"), std::pair(true, "first"s));
}

TEST_F(FileEncode, ACompressedPackIsReadAsWell)
{
    for (const char* algorithm : {"GCA", "GCB"}) {
        const scoped_environment mandatory("QVS_COMP_MAND", "yes");
        const scoped_environment chosen("QVS_COMP_ALG", algorithm);
        const message_capture capture;
        UT_FILEENCODE file(nullptr, 1);
        const std::string large(100'000, 'l');
        write_file(path("a"), "first");
        write_file(path("b"), large);
        write_file(path("c"), "third");
        for (const char* name : {"a", "b", "c"})
            EXPECT_EQ(file.catalog(path(name).c_str(), path("pack").c_str()), 1);
        EXPECT_LT(file_bytes(path("pack")).size(), 10'000u);
        UT_FILEENCODE reader(path("pack").c_str(), 0);
        EXPECT_EQ(reader.load("b", 0), 1);
        EXPECT_EQ(rest_of(reader), large);
        EXPECT_EQ(reader.load("c", 0), 1);
        EXPECT_EQ(rest_of(reader), "third");
    }
}

// ---- bad input

TEST_F(FileEncode, ForgedOffsetsGiveFalse)
{
    const char* const k_bad[] = {
        "",                                // nothing
        "\n",                              // no number
        "5",                               // a line that does not end
        "x5\nhelloa\n5\n",                 // no number in front
        " 5\nhelloa\n5\n",                 // numbers are digits alone
        "+5\nhelloa\n5\n",                 //
        "-5\nhelloa\n5\n",                 //
        "5x\nhelloa\n5\n",                 //
        "5xhelloa\n5\n",                   //
        "14\nhelloa\n5\n",                 // a catalog outside the file
        "99999\nhelloa\n5\n",              //
        "2147483647\nhelloa\n5\n",         //
        "2147483648\nhelloa\n5\n",         //
        "9999999999\nhelloa\n5\n",         //
        "99999999999999999\nhelloa\n5\n",  //
        "5\nhelloa\n6\n",                  // a member that reaches into the catalog
        "5\nhelloa\n99999999999\n",        //
        "5\nhelloa\n-1\n",                 //
        "5\nhelloa\n-0\n",                 //
        "5\nhelloa\n\n",                   //
        "5\nhelloa\nfive\n",               //
        "5\nhelloa\n5x\n",                 //
        "5\nhelloa\n",                     // no end offset
        "5\nhelloa\n5",                    // an end offset that may be cut
        "5\nhellob\n4\na\n3\n",            // an end in front of the start
        "5\nhellob\n7\na\n3\n",            // trouble before the member
    };
    for (const char* bytes : k_bad) EXPECT_EQ(member(bytes, "a"), std::pair(false, ""s)) << bytes;
    EXPECT_EQ(member("5\nhelloa\n5\n", "a"), std::pair(true, "hello"s));
    EXPECT_EQ(member("0000000005\nhelloa\n05\n", "a"), std::pair(true, "hello"s));
    EXPECT_EQ(member("5\nhelloa\n3\nb\n99\n", "a"), std::pair(true, "hel"s));
}

TEST_F(FileEncode, APackCutAnywhereGivesTheWholeMemberOrNone)
{
    for (const char* golden : {"pack.etc", "pack_scrambled.etc"}) {
        const std::string whole = file_bytes(k_golden + golden);
        for (std::size_t length = 0; length < whole.size(); ++length) {
            for (const auto& [name, content] : k_members) {
                const auto [found, bytes] = member(whole.substr(0, length), name.c_str());
                EXPECT_EQ(bytes, found ? content : "") << golden << ' ' << length;
            }
            EXPECT_FALSE(member(whole.substr(0, length), "bytes.bin").first) << golden << ' ' << length;
        }
    }
}

TEST_F(FileEncode, AnyByteMayBeDifferent)
{
    for (const char* golden : {"pack.etc", "pack_scrambled.etc"}) {
        const std::string whole = file_bytes(k_golden + golden);
        for (std::size_t at = 0; at < whole.size(); ++at) {
            for (const int flip : {0x01, 0x80, 0xff}) {
                std::string bytes = whole;
                bytes[at] = static_cast<char>(bytes[at] ^ flip);
                for (const auto& [name, content] : k_members) {
                    const auto [found, read] = member(bytes, name.c_str());
                    EXPECT_LE(read.size(), found ? whole.size() : 0) << golden << ' ' << at;
                }
                UT_FILEENCODE single(nullptr, 0);
                EXPECT_EQ(single.load(path("pack").c_str(), 1), 1);
            }
        }
    }
}

TEST_F(FileEncode, AFullDiskGivesFalseAtEachWrite)
{
    full_disk disk;
    UT_FILEENCODE file("own.dat", 1);
    file.createcatalog();
    file.writeline(std::string(10'000, 'x').c_str());
    write_file(path("from"), "x");
    for (int allowed = 0; allowed < 5; ++allowed) {
        for (const bool encode : {false, true}) {
            ut_file.clearerror();
            disk.allow(allowed);
            EXPECT_EQ(file.dump(path("pack").c_str(), encode), allowed >= 3) << allowed;
            EXPECT_EQ(ut_file.geterror(), allowed >= 3 ? 0 : ENOSPC) << allowed;
            EXPECT_EQ(rest_of(file).size(), 10'001u);
        }
    }
    disk.allow(2);
    EXPECT_EQ(file.catalog(path("from").c_str(), path("pack").c_str()), 0);
    disk.allow(0);
    UT_FILEENCODE whole_buffer(nullptr, 0);
    whole_buffer.writeline(std::string(4'095, 'x').c_str());
    EXPECT_EQ(whole_buffer.dump(path("single").c_str(), 0), 0);  // the last byte taken fills the buffer
    ut_file.clearerror();
}

TEST_F(FileEncode, AFailedReadGivesFalse)
{
    write_file(path("a"), std::string(10'000, 'x'));
    write_file(path("pack"), pack_of({{"a", std::string(10'000, 'x')}}, false));
    static int reads_left = 0;
    scoped_operations system;
    system.table.read = [](int descriptor, void* out, std::size_t count) -> std::int64_t {
        if (reads_left-- > 0) return ketriope::platform::native().read(descriptor, out, count);
        errno = EIO;
        return -1;
    };
    int worked = 0;
    for (int allowed = 0; allowed < 40; ++allowed) {
        for (const bool direct : {false, true}) {
            UT_FILEENCODE file(path("pack").c_str(), 0);
            reads_left = allowed;
            const bool found = file.load(path("a").c_str(), direct) != 0;
            EXPECT_EQ(rest_of(file).size(), found ? 10'000u : 0u) << allowed;
            worked += found;
        }
    }
    EXPECT_GT(worked, 0);
    ut_file.clearerror();
}

TEST_F(FileEncode, EveryFailedAllocationIsSurvived)
{
    write_file(path("a"), "hello");
    const std::string pack = path("pack"), single = path("a");
    for (long n = 0;; ++n) {
        const message_capture capture;
        bool hit = false;
        {
            allocation_faults faults(n, 1);
            try {
                UT_FILEENCODE file(pack.c_str(), 1);
                file.createcatalog();
                file.writeline("line");
                file.dump(pack.c_str(), 1);
                file.catalog(single.c_str(), pack.c_str());
                file.load("a", 0);
                file.load(single.c_str(), 1);
            } catch (const std::bad_alloc&) {
            } catch (int) {  // the arrays report it
            }
            hit = faults.hit();
        }
        if (!hit) break;
    }
    EXPECT_EQ(free_slots(single), 30);
}

// ---- round trips

TEST_F(FileEncode, TenThousandRandomContentsComeBack)
{
    std::mt19937 random(46);
    for (int round = 0; round < 10'000; ++round) {
        std::string content(random() % 200, '\0');
        for (char& byte : content) byte = static_cast<char>(random());
        if (content.starts_with(k_magic)) continue;
        const std::string in = path("in"), out = path("out");
        write_anew(in, content);
        UT_FILEENCODE file(out.c_str(), 1);
        ASSERT_EQ(file.catalog(in.c_str(), out.c_str()), 1);
        ASSERT_EQ(file.dump(out.c_str(), round % 2 != 0), 1);
        ASSERT_EQ(file.load("in", 0), 1);
        ASSERT_EQ(rest_of(file), content) << "round " << round;
    }
}

TEST_F(FileEncode, RandomPacksOfManyMembersComeBack)
{
    std::mt19937 random(64);
    for (int round = 0; round < 30; ++round) {
        UT_FILEENCODE file(path("pack").c_str(), 1);
        members all;
        for (std::size_t i = 0; i < 20; ++i) {
            std::string content(random() % 20'000, '\0');
            for (char& byte : content) byte = static_cast<char>(random());
            all.emplace_back("member" + std::to_string(i), content);
            write_anew(path(all.back().first), content);
            ASSERT_EQ(file.catalog(path(all.back().first).c_str(), path("pack").c_str()), 1);
        }
        ASSERT_EQ(file.dump(path("pack").c_str(), round % 2 != 0), 1);
        ASSERT_EQ(file_bytes(path("pack")), pack_of(all, round % 2 != 0));
        for (const auto& [name, content] : all) {
            ASSERT_EQ(file.load(name.c_str(), 0), 1);
            ASSERT_EQ(rest_of(file), content);
        }
    }
}

TEST_F(FileEncode, ACopySharesTheContent)
{
    // One of the two is never destroyed.
    alignas(UT_FILEENCODE) std::byte memory[sizeof(UT_FILEENCODE)];
    const auto file = of("shared");
    auto* const copy = new (memory) UT_FILEENCODE(*file);
    EXPECT_EQ(rest_of(*copy), "shared");
    copy->setfoffset(3);
    EXPECT_EQ(file->getfoffset(), 0);
    *copy = *file;
    EXPECT_EQ(copy->getfoffset(), 0);
}

}  // namespace
