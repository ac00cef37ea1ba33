// fuzz/basutdarray_fuzz.cpp: calls of an array in one block, each beside the model.
#include "basutdarray.h"

#include <cstddef>
#include <cstdint>

#include "../tests/support/array_model.h"
#include "fuzz_check.h"

/// A byte each for growth step and clearing; then the calls, whose numbers take a byte each.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    array_model::bytes_of_input input(data, size);
    const int step = 1 + static_cast<int>(input.next(9));
    const bool zero = input.next(2) == 1;
    UT_DARRAY_T<int> array(step, zero ? 1 : 0);
    array_model::in_one_block expected(step, zero);
    array_model::versus both(array, expected, [&](unsigned bound) { return input.next(bound); });
    while (!input.at_end()) FUZZ_CHECK(both.step().empty());
    return 0;
}
