// fuzz/basutbitstream_fuzz.cpp: a bit stream and its model get the same calls, and must stay alike.
#include <cstddef>
#include <cstdint>

#include "../tests/support/bitstream_model.h"
#include "fuzz_check.h"

namespace {

constexpr std::size_t k_call = 7;            // bytes: which, four of the value, two of the count
constexpr std::size_t k_most_calls = 1'000;  // their effort grows with what is written
constexpr int k_most_bits = 3'000;           // of one call

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    UT_BITSTREAM stream;
    bitstream_model model;
    for (std::size_t call = 0; size >= k_call && call < k_most_calls;
         ++call, data += k_call, size -= k_call) {
        std::uint32_t value = 0;
        for (std::size_t i = 1; i < 5; ++i) value = value << 8U | data[i];
        const int count = (data[5] * 256 + data[6]) % k_most_bits - 5;
        FUZZ_CHECK(same_step(stream, model, data[0], value, count));
    }
    FUZZ_CHECK(same(stream, model));
    return 0;
}
