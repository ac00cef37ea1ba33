// fuzz/basutifile_fuzz.cpp: the bytes as a hostile indexed file, read as the model reads it; then the same
// bytes as a script of what is put into a file, whose bytes must be the model's, and which must read back.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "../tests/support/indexed_model.h"
#include "basutifile.h"
#include "basutstream.h"
#include "fuzz_check.h"
#include "memory_file.h"

namespace {

using indexed_model::entry;

constexpr const char* k_name = "indexed file in memory";
constexpr std::size_t k_most_read = 64;     ///< segments of one file
constexpr std::size_t k_most = 2'000;       ///< entries of a file worth the time
constexpr std::int32_t k_longest = 10'000;  ///< bytes of one segment

class lenient_file final : public UT_IFILE {
public:
    void version_mismatch(unsigned char) override {}
    void revision_mismatch(unsigned char) override {}
    void openerror() override {}
};

std::string bytes_of_segment(UT_STREAM& stream, std::int32_t size)
{
    std::string bytes(static_cast<std::size_t>(std::clamp(size, 0, k_longest)), '?');
    bytes.resize(static_cast<std::size_t>(
        stream.read(reinterpret_cast<unsigned char*>(bytes.data()), static_cast<int>(bytes.size()))));
    return bytes;
}

void compare(UT_IFILE& file, const indexed_model::file& expected, bool cache)
{
    FUZZ_CHECK(file.getrealnumsegs() == static_cast<long>(expected.entries.size()));
    FUZZ_CHECK(file.getdataversion() == expected.data_version);
    FUZZ_CHECK(file.getdatarevision() == expected.data_revision);
    UT_IFILESEGINFO info;
    for (std::size_t i = 0; i < std::min(expected.entries.size(), k_most_read); ++i) {
        entry each = expected.entries[i];
        FUZZ_CHECK(file.getnextseginfo(info, 1) != 0);
        FUZZ_CHECK(info.getname() == each.name && info.getsize() == each.size);
        FUZZ_CHECK(info.gettype() == each.type && info.getdata() == each.data);
        UT_STREAM* const stream = file.getdataseg(each.name.c_str(), each.type, &info);
        FUZZ_CHECK(stream != nullptr);
        each.size = std::clamp(each.size, 0, k_longest);
        FUZZ_CHECK(bytes_of_segment(*stream, each.size) == expected.content(each));
        if (!cache || i % 2 == 0) FUZZ_CHECK(file.enddataseg() != 0);
    }
}

void read(std::string_view bytes, bool cache)
{
    const bool is_signed = !bytes.empty() && bytes[0] >= 'Z' && bytes[0] <= '\\';
    if (is_signed) return;  // the other forms have targets of their own
    const std::optional<indexed_model::file> expected = indexed_model::file::read(bytes);
    if (expected && expected->entries.size() > k_most) return;
    memory_file::hold(std::string(bytes));
    lenient_file file;
    file.setfilecache(cache);
    FUZZ_CHECK((file.load(k_name) != 0) == expected.has_value());
    if (expected) compare(file, *expected, cache);
    FUZZ_CHECK(file.unload() != 0);
}

/// Each step is a name, type, data, and how many of the next bytes are the content.
void write(std::span<const std::uint8_t> script, bool cache)
{
    const auto next = [&script] {
        const unsigned byte = script.empty() ? 0 : script.front();
        script = script.subspan(script.empty() ? 0 : 1);
        return byte;
    };
    memory_file::hold("");
    lenient_file file;
    file.setfilecache(cache);
    FUZZ_CHECK(file.create(k_name) != 0);
    const auto data_version = static_cast<unsigned char>(next());
    const auto data_revision = static_cast<unsigned char>(next());
    file.setdataversion(data_version);
    file.setdatarevision(data_revision);
    indexed_model::writer expected;
    while (!script.empty()) {
        const std::string name(next() % 4, static_cast<char>('a' + next() % 3));
        const auto type = static_cast<std::int32_t>(next() << 24 | next());
        const auto data = static_cast<std::int32_t>(next() << 24 | next());
        const auto length = std::min<std::size_t>(next() * next(), 5'000);
        std::string content(length, static_cast<char>(next()));
        UT_STREAM* const stream = file.putdataseg(name.c_str(), type, data);
        FUZZ_CHECK(stream != nullptr);
        FUZZ_CHECK(stream->write(reinterpret_cast<unsigned char*>(content.data()),
                                 static_cast<int>(length)) == static_cast<int>(length));
        FUZZ_CHECK(file.enddataseg() != 0);
        expected.put(name, type, data, content);
    }
    FUZZ_CHECK(file.unload() != 0);
    FUZZ_CHECK(memory_file::content == expected.finished(data_version, data_revision));
    read(std::string(memory_file::content), !cache);
}

}  // namespace

/// A byte for the cache, and the file or script.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    memory_file::use();
    const bool cache = data[0] % 2 == 0;
    read({reinterpret_cast<const char*>(data) + 1, size - 1}, cache);
    if (size < 4'000) write({data + 1, size - 1}, cache);
    ketriope::platform::use_operations(nullptr);
    return 0;
}
