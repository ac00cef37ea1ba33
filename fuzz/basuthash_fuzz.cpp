// fuzz/basuthash_fuzz.cpp: operations on a hash table beside chains of standard containers.
#include <cstdint>
#include <span>

#include "../tests/support/hash_model.h"
#include "fuzz_check.h"

/// A byte whose lowest bit makes the table an owner, and whose others are the number of buckets, less one;
/// then an operation and a key in turn, a byte each.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    const std::span steps(data + 1, size - 1);
    hash_model::pair both(data[0] / 2U + 1U, data[0] % 2 != 0, 256);
    for (std::size_t i = 0; i + 1 < steps.size(); i += 2) {
        const auto what = static_cast<hash_model::operation>(steps[i] % hash_model::k_operations);
        FUZZ_CHECK(both.step(what, steps[i + 1]) == nullptr);
    }
    return 0;
}
