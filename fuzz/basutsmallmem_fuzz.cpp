// fuzz/basutsmallmem_fuzz.cpp: any sequence of calls of an allocator of small objects, against its model.
#include <cstdint>
#include <span>

#include "../tests/support/pool_model.h"
#include "fuzz_check.h"

namespace {

/// A call is a byte: an odd one gives back, and the rest of it says which of the elements in use.
template <class Model>
void run(typename Model::pool_type& pool, std::size_t size, std::span<const std::uint8_t> calls)
{
    pool_model::pair<Model> both(pool, size);
    for (const std::uint8_t call : calls) {
        if (call % 2 == 0 || both.in_use() == 0)
            FUZZ_CHECK(both.get());
        else
            FUZZ_CHECK(both.release(call / 2 % both.in_use()));
        FUZZ_CHECK(both.same_shape());
    }
    while (both.in_use() > 0) FUZZ_CHECK(both.release(0));
    FUZZ_CHECK(both.same_shape());
}

}  // namespace

/// Which allocator, the element size, the elements of a block; then the calls. Sizes of the pool are taken
/// four times, so that a bucket may have few elements.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 3) return 0;
    const std::span calls(data + 3, size - 3);
    if (data[0] % 2 == 0) {
        pool_model::fastmem pool(data[1], data[2]);
        run<pool_model::fast_model>(pool, data[1], calls);
    } else {
        const int element_size = 4 * data[1];
        UT_SM_INT_SMALLMEM pool(element_size, 1);
        run<pool_model::small_model>(pool, static_cast<std::size_t>(element_size), calls);
    }
    return 0;
}
