// tests/version_file_test.cpp
#include "version_file.h"

#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "basutstream.h"
#include "temp_directory.h"

using ketriope::version_numbers;

namespace {

constexpr const char* k_none = "(none)";

std::string told(const version_numbers& numbers)
{
    return numbers.major.value_or(k_none) + '|' + numbers.minor.value_or(k_none) + '|' +
           numbers.build.value_or(k_none) + '|' + numbers.patch.value_or(k_none);
}

std::string by_pieces(std::string_view content)
{
    const temp_directory place;
    write_file(place / "file", content);
    const int descriptor = ::open((place / "file").c_str(), O_RDONLY | O_CLOEXEC);
    UT_STREAM stream(descriptor, UT_ACCESS_READ, 4096, nullptr);
    const version_numbers numbers = ketriope::read_version_pieces(stream);
    ::close(descriptor);
    return told(numbers);
}

std::string by_lines(std::string_view content)
{
    return told(ketriope::read_version_lines(content));
}

struct row {
    std::string content;
    std::string numbers;
};

const row k_both[] = {
    {"", "(none)|(none)|(none)|(none)"},
    {"\n\n\r\n", "(none)|(none)|(none)|(none)"},
    {"MajorVersion=3\nMinorVersion=11\nBuildNumber=0\nPatchNumber=p\n", "3|11|0|p"},
    {"PatchNumber=p\r\nBuildNumber=0\r\nMinorVersion=11\r\nMajorVersion=3", "3|11|0|p"},
    {"\n\n[Version]\n\nMajorVersion=3\n", "3|(none)|(none)|(none)"},
    // the first one of a key
    {"MajorVersion=1\nMajorVersion=2\n", "1|(none)|(none)|(none)"},
    {"MajorVersion=\nMajorVersion=2\n", "|(none)|(none)|(none)"},
    {"MinorVersion=\n", "(none)||(none)|(none)"},
    // anywhere in the line, and with `=` behind it
    {"xMajorVersion=7\n", "7|(none)|(none)|(none)"},
    {"MajorVersion = 7\nMajorVersion=8\n", "8|(none)|(none)|(none)"},
    {"majorversion=7\n", "(none)|(none)|(none)|(none)"},
    {"MajorVersion=MinorVersion=7\n", "MinorVersion=7|7|(none)|(none)"},
    {"MajorVersion= 7 \t\n", " 7 \t|(none)|(none)|(none)"},
    // a carriage return belongs to the line end only in front of a line feed
    {"MajorVersion=7\r", "7\r|(none)|(none)|(none)"},
    {"MajorVersion=7\r\r\nMinorVersion=1\r2\n", "7\r|1\r2|(none)|(none)"},
    // a text ends at a NUL
    {std::string("MajorVersion=7\0x\nMinor\0Version=1\nBuildNumber=2", 46), "7|(none)|2|(none)"},
};

TEST(VersionFile, TheTwoRulesAgree)
{
    for (const row& file : k_both) {
        EXPECT_EQ(by_pieces(file.content), file.numbers) << file.content;
        EXPECT_EQ(by_lines(file.content), file.numbers) << file.content;
    }
}

TEST(VersionFile, BuildAndPatchWithoutAValueCountOnlyByLines)
{
    const std::string content = "BuildNumber=\nBuildNumber=5\nPatchNumber=\r\nPatchNumber=6\n";
    EXPECT_EQ(by_pieces(content), "(none)|(none)|5|6");
    EXPECT_EQ(by_lines(content), "(none)|(none)||");
}

TEST(VersionFile, ByPiecesOnlyTheFirstPlaceOfAKeyCounts)
{
    const std::string content = "MajorVersion MajorVersion=7\n";
    EXPECT_EQ(by_pieces(content), "(none)|(none)|(none)|(none)");
    EXPECT_EQ(by_lines(content), "7|(none)|(none)|(none)");
}

TEST(VersionFile, ByPiecesALongLineFallsApart)
{
    const std::string key = "MajorVersion=";
    const std::string value(300, '7');
    EXPECT_EQ(by_pieces(key + value + "\n"), std::string(255 - key.size(), '7') + "|(none)|(none)|(none)");
    EXPECT_EQ(by_lines(key + value + "\n"), value + "|(none)|(none)|(none)");
    // the end of the first piece cuts the key, or comes right behind it
    const auto behind = [&](std::size_t blanks) { return std::string(blanks, ' ') + key + "7\n"; };
    EXPECT_EQ(by_pieces(behind(255 - key.size() + 1)), "(none)|(none)|(none)|(none)");
    EXPECT_EQ(by_pieces(behind(255 - key.size())), "|(none)|(none)|(none)");
    EXPECT_EQ(by_pieces(behind(255)), "7|(none)|(none)|(none)");
    EXPECT_EQ(by_lines(behind(255 - key.size() + 1)), "7|(none)|(none)|(none)");
    // ... or the two characters of the line end
    EXPECT_EQ(by_pieces(key + std::string(254 - key.size(), '7') + "\r\n"),
              std::string(254 - key.size(), '7') + "\r|(none)|(none)|(none)");
}

TEST(VersionFile, ByPiecesReadingStopsAtTheFourthKey)
{
    const temp_directory place;
    const std::string keys = "MajorVersion=1\nMinorVersion=2\nBuildNumber=3\nPatchNumber=4\n";
    write_file(place / "file", keys + "rest");
    const int descriptor = ::open((place / "file").c_str(), O_RDONLY | O_CLOEXEC);
    UT_STREAM stream(descriptor, UT_ACCESS_READ, 4096, nullptr);
    EXPECT_EQ(told(ketriope::read_version_pieces(stream)), "1|2|3|4");
    EXPECT_EQ(stream.getfoffset(), static_cast<long>(keys.size()));
    ::close(descriptor);
}

TEST(VersionFile, LiesInTheDataOfItsRoot)
{
    EXPECT_EQ(ketriope::version_file_below("/a;b"), "/a;b/data/orvsys.ini");
    EXPECT_EQ(ketriope::version_file_below(""), "/data/orvsys.ini");
}

}  // namespace
