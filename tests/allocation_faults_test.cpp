// allocation_faults_test.cpp: the faults that other tests inject do happen.
#include "allocation_faults.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

namespace {

TEST(AllocationFaults, TheChosenMallocFails)
{
    allocation_faults faults(1, 1);
    void* const first = std::malloc(8);
    void* const second = std::malloc(8);
    void* const third = std::malloc(8);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_NE(third, nullptr);
    EXPECT_EQ(faults.counted(), 3);
    EXPECT_TRUE(faults.hit());
    std::free(first);
    std::free(third);
}

TEST(AllocationFaults, AFailedReallocLeavesTheBlock)
{
    char* block = static_cast<char*>(std::malloc(2));
    block[0] = 'x';
    {
        allocation_faults faults(0);
        void* const moved = std::realloc(block, 64);
        EXPECT_EQ(moved, nullptr);
        if (moved != nullptr) block = static_cast<char*>(moved);
    }
    EXPECT_EQ(block[0], 'x');
    std::free(block);
}

TEST(AllocationFaults, AFailedNewCallsTheHandlerAndTriesAgain)
{
    static int calls;
    calls = 0;
    const std::new_handler before = std::set_new_handler([] { ++calls; });
    {
        allocation_faults faults(0, 2);
        int* const volatile number = new int(3);  // a compiler may leave out what nobody can see
        EXPECT_EQ(*number, 3);
        delete number;
    }
    std::set_new_handler(before);
    EXPECT_EQ(calls, 2);
}

TEST(AllocationFaults, AFailedNewThrowsWithoutAHandler)
{
    const std::new_handler before = std::set_new_handler(nullptr);
    {
        allocation_faults faults(0);
        EXPECT_THROW(::operator delete(::operator new(8)),
                     std::bad_alloc);  // not an expression that may be elided
        EXPECT_EQ(::operator new(8, std::nothrow), nullptr);
    }
    std::set_new_handler(before);
}

}  // namespace
