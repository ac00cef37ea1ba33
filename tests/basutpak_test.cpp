// tests/basutpak_test.cpp
#include "basutpak.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <zlib.h>

#include "allocation_faults.h"
#include "basutfile.h"
#include "match_finder.h"
#include "message_capture.h"
#include "packed_codes.h"
#include "packed_tools.h"
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

}  // namespace
