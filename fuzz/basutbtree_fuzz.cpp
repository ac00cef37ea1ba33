// fuzz/basutbtree_fuzz.cpp: operations on a tree beside the model that measures its heights.
#include <cstdint>
#include <span>

#include "../tests/support/tree_model.h"
#include "fuzz_check.h"

/// A byte whose lowest bit makes the tree an owner; then an operation and a key in turn, a byte each.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) return 0;
    const std::span steps(data + 1, size - 1);
    tree_model::pair both(data[0] % 2 != 0, 256);
    for (std::size_t i = 0; i + 1 < steps.size(); i += 2) {
        const auto what = static_cast<tree_model::operation>(steps[i] % tree_model::k_operations);
        FUZZ_CHECK(both.step(what, steps[i + 1]) == nullptr);
    }
    return 0;
}
