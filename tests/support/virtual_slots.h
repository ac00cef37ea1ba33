// tests/support/virtual_slots.h: which place a virtual operation has in the table of its class.
#pragma once

#if defined(__x86_64__) && !defined(_WIN32)
#define TEST_KNOWS_SLOTS 1
#include <cstddef>
#include <cstring>

/// The place of a virtual operation in the table, in words. A destructor takes two places.
template <class Operation>
std::size_t slot_of(Operation operation)
{
    std::size_t words[2];
    static_assert(sizeof operation == sizeof words);
    std::memcpy(words, &operation, sizeof words);
    return words[0] / sizeof(void*);
}
#endif
