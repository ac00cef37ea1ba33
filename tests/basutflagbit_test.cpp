// tests/basutflagbit_test.cpp
#include "basutflagbit.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"

namespace {

static_assert(sizeof(UT_FLAGBIT8) == 1 && sizeof(UT_FLAGBIT16) == 2);

template <class Flags>
class UtFlagbit : public testing::Test {
protected:
    static constexpr unsigned int k_flags = 8 * sizeof(Flags);

    static unsigned int value_of(const Flags& flags)
    {
        unsigned int value = 0;
        for (unsigned int flag = 0; flag < k_flags; ++flag)
            value |= (flags.isFlagSet(flag) ? 1U : 0U) << flag;
        return value;
    }
};
using sets = testing::Types<UT_FLAGBIT8, UT_FLAGBIT16>;
TYPED_TEST_SUITE(UtFlagbit, sets);

TYPED_TEST(UtFlagbit, StartsClear)
{
    EXPECT_EQ(this->value_of(TypeParam()), 0U);
}

TYPED_TEST(UtFlagbit, SetsAndClearsEachFlagAlone)
{
    for (unsigned int flag = 0; flag < this->k_flags; ++flag) {
        TypeParam flags;
        flags.setFlag(flag);
        EXPECT_EQ(this->value_of(flags), 1U << flag);
        flags.setFlag(flag ^ 1U);
        flags.setFlag(flag);  // which it is already
        for (int i = 0; i < 2; ++i) {
            flags.clearFlag(flag);
            EXPECT_EQ(this->value_of(flags), 1U << (flag ^ 1U));
        }
        flags.clearAllFlags();
        EXPECT_EQ(this->value_of(flags), 0U);
    }
}

TYPED_TEST(UtFlagbit, NumbersPastTheLastFlagHaveNoEffect)
{
    TypeParam flags;
    flags.setFlag(3);
    for (const unsigned int flag : {this->k_flags, this->k_flags + 3, 32U + 3, ~0U}) {
        flags.setFlag(flag);
        EXPECT_FALSE(flags.isFlagSet(flag));
        flags.clearFlag(flag);
        EXPECT_EQ(this->value_of(flags), 8U);
    }
}

TYPED_TEST(UtFlagbit, CopiesItsFlags)
{
    TypeParam flags;
    flags.setFlag(0);
    flags.setFlag(this->k_flags - 1);
    TypeParam copy;
    copy.setFlag(2);
    copy = flags;
    EXPECT_EQ(this->value_of(copy), 1U | 1U << (this->k_flags - 1));
    copy.clearAllFlags();
    EXPECT_TRUE(flags.isFlagSet(0));
}

TEST(UtFlagbit8, ShowsItsFlagsInItsByte)
{
    UT_FLAGBIT8 flags;
    flags.setFlag(1);
    flags.setFlag(7);
    EXPECT_EQ(*reinterpret_cast<const unsigned char*>(&flags), 0x82);
}

TEST(UtFlagbit, OneModuleReadsTheSetsOfAnother)
{
    const child_result result = run_child(child_program("flagbit_child"));
    EXPECT_EQ(result.exit_status, 0) << result.err;
    EXPECT_EQ(result.out, "10000001\n1000000000000001\n");
}

TEST(UtFlagbit16, MayBeMadeInSeveralThreadsAtOnce)
{
    std::vector<std::thread> threads;
    std::vector<UT_FLAGBIT16> made(4);
    for (UT_FLAGBIT16& flags : made)
        threads.emplace_back([&flags] {
            UT_FLAGBIT16 own;
            own.setFlag(15);
            flags = own;
        });
    for (std::thread& thread : threads) thread.join();
    for (const UT_FLAGBIT16& flags : made) EXPECT_TRUE(flags.isFlagSet(15));
}

}  // namespace
