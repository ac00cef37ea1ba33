// fuzz/foundry_fuzz.cpp: a version file, whatever is in it, is read by both rules to the same numbers
// where they are meant to agree, and the first of each key wins.
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <sys/mman.h>
#include <unistd.h>

#include "basutstream.h"
#include "fuzz_check.h"
#include "version_file.h"

using ketriope::version_numbers;

namespace {

constexpr std::array<std::string_view, 4> k_names{"MajorVersion", "MinorVersion", "BuildNumber",
                                                  "PatchNumber"};
constexpr std::string_view k_all_keys = "MajorVersion=1\nMinorVersion=2\nBuildNumber=3\nPatchNumber=4\n";

using values = std::array<std::optional<std::string>, 4>;

values told(const version_numbers& numbers)
{
    return {numbers.major, numbers.minor, numbers.build, numbers.patch};
}

values by_lines(const std::string& content)
{
    return told(ketriope::read_version_lines(content));
}

values by_pieces(const std::string& content)
{
    const int descriptor = ::memfd_create("version", MFD_CLOEXEC);
    FUZZ_CHECK(::write(descriptor, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
    ::lseek(descriptor, 0, SEEK_SET);
    UT_STREAM stream(descriptor, UT_ACCESS_READ, 4096, nullptr);
    const version_numbers numbers = ketriope::read_version_pieces(stream);
    ::close(descriptor);
    return told(numbers);
}

/// True for the files that an installer writes: short lines, and a value behind every key.
bool is_plain(std::string_view content)
{
    for (const std::string_view name : k_names) {
        for (std::size_t at = 0; (at = content.find(name, at)) != content.npos; ++at) {
            const std::string_view rest = content.substr(at + name.size());
            if (rest.size() < 2 || rest[0] != '=') return false;
            if (rest[1] == '\n' || rest[1] == '\r' || rest[1] == '\0') return false;
        }
    }
    while (!content.empty()) {
        const std::size_t length = content.substr(0, 255).find('\n');
        if (length == content.npos && content.size() > 254) return false;
        content.remove_prefix(length == content.npos ? content.size() : length + 1);
    }
    return true;
}

void check_values(const values& found)
{
    for (const auto& value : found)
        FUZZ_CHECK(!value || value->find_first_of(std::string_view("\n\0", 2)) == value->npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string content = std::string(reinterpret_cast<const char*>(data), size) + '\n';
    const std::string keys(k_all_keys);
    const values all{"1", "2", "3", "4"};
    for (const auto& read : {by_lines, by_pieces}) {
        const values found = read(content);
        check_values(found);
        FUZZ_CHECK(read(keys + content) == all);
        const values more = read(content + keys);
        for (std::size_t key = 0; key < all.size(); ++key)
            FUZZ_CHECK(more[key] == (found[key] ? found[key] : all[key]));
    }
    for (const auto& value : by_pieces(content)) FUZZ_CHECK(!value || value->size() < 255);
    if (is_plain(content)) FUZZ_CHECK(by_pieces(content) == by_lines(content));
    return 0;
}
