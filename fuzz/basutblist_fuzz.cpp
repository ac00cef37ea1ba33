// fuzz/basutblist_fuzz.cpp: any sequence of calls of a bag and its iterators, against their model.
#include <cstdint>
#include <span>

#include "../tests/support/list_model.h"
#include "fuzz_check.h"

namespace {

template <class Bag, class Iterator>
void run(std::uint8_t slots, std::span<const std::uint8_t> calls)
{
    list_model::bag_pair<Bag, Iterator> pair(slots);
    for (; calls.size() >= 2; calls = calls.subspan(2)) FUZZ_CHECK(pair.step(calls[0], calls[1]).empty());
    FUZZ_CHECK(pair.compare().empty());
}

}  // namespace

/// Which form, the slots of a block, and then two bytes a call: which one, and its arguments.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) return 0;
    const std::span calls(data + 2, size - 2);
    if (data[0] % 2 == 0)
        run<UT_BLIST, UT_BLIST_ITER>(data[1], calls);
    else
        run<UT_BLISTS, UT_BLISTS_ITER>(data[1], calls);
    return 0;
}
