// fuzz/basutlist_fuzz.cpp: any sequence of calls of a list, against its model.
#include <cstdint>
#include <span>

#include "../tests/support/list_model.h"
#include "fuzz_check.h"

/// Two bytes a call: which one, and its arguments.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    list_model::list_pair pair;
    for (std::span calls(data, size); calls.size() >= 2; calls = calls.subspan(2))
        FUZZ_CHECK(pair.step(calls[0], calls[1]).empty());
    FUZZ_CHECK(pair.compare().empty());
    return 0;
}
