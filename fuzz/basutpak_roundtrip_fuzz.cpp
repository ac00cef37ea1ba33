// fuzz/basutpak_roundtrip_fuzz.cpp: what is packed comes back, however it is cut into blocks and requests; a
// file that is cut off gives the beginning of it.
#include <cstdint>
#include <string>

#include "fuzz_check.h"
#include "packed_memory.h"

namespace {

/// The input, with its stretches repeated as some of its bytes tell.
std::string content_of(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t k_most = 100'000;
    std::string content;
    for (std::size_t i = 0; i < size && content.size() < k_most; ++i) {
        if (data[i] < 0xF0 || i + 2 >= size || content.empty()) {
            content += static_cast<char>(data[i]);
            continue;
        }
        const std::size_t from = content.size() - 1 - data[i + 1] * std::size_t{131} % content.size();
        const std::size_t count = (data[i] - 0xEFu) * (data[i + 2] + 1u);
        for (std::size_t k = 0; k < count; ++k) content += content[from + k];
        i += 2;
    }
    return content;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 3) return 0;
    const std::size_t block = 1 + data[0] * std::size_t{data[1]};
    const std::size_t piece = 1 + data[1] * std::size_t{7};
    const std::string content = content_of(data + 3, size - 3);
    if (content.size() / block > 300) return 0;
    quiet_process process;
    const std::string stored = packed(content, block);
    constexpr std::size_t k_all = 1 << 20;
    FUZZ_CHECK(unpacked_quietly(stored, piece, k_all) == content);
    FUZZ_CHECK(packed(content, block) == stored);
    const std::string part = unpacked_quietly(stored.substr(0, stored.size() * data[2] / 256), piece, k_all);
    FUZZ_CHECK(content.starts_with(part));
    FUZZ_CHECK(process.reports == 0);
    return 0;
}
