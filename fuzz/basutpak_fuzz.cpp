// fuzz/basutpak_fuzz.cpp: any bytes are content up to an end, or one report; and they are the same content
// however much is asked for at once.
#include <cstdint>
#include <string>

#include "fuzz_check.h"
#include "packed_memory.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1) return 0;
    constexpr std::size_t k_most = 1 << 16;
    const std::size_t piece = 1 + data[0] * std::size_t{3};
    const std::string stored(reinterpret_cast<const char*>(data) + 1, size - 1);
    quiet_process process;
    const std::string content = unpacked_quietly(stored, piece, k_most);
    FUZZ_CHECK(process.reports <= 1);
    FUZZ_CHECK(content.size() <= stored.size() * 8 * 321);
    if (process.reports != 0 || content.size() >= k_most)
        return 0;  // what a report cuts off depends on the piece
    FUZZ_CHECK(unpacked_quietly(stored, k_most, k_most) == content);
    return 0;
}
