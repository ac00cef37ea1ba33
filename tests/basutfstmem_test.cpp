// tests/basutfstmem_test.cpp
#include "basutfstmem.h"

#include <climits>
#include <random>
#include <type_traits>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "message_capture.h"
#include "msgman.h"
#include "pool_model.h"

namespace {

using pool_model::access;
using pool_model::fastmem;
using blocks =
    std::vector<std::pair<std::size_t, std::size_t>>;  ///< elements in use and free, from the front

constexpr const char* k_nothing_allocated = "Unable to free as memory was not allocated.";

blocks blocks_of(const UT_FASTMEM& pool)
{
    return access::shape(pool).blocks;
}

std::vector<void*> take(UT_FASTMEM& pool, int count)
{
    std::vector<void*> taken;
    for (int i = 0; i < count; ++i) taken.push_back(pool.getnewptr());
    return taken;
}

std::ptrdiff_t distance(const void* from, const void* to)
{
    return static_cast<const char*>(to) - static_cast<const char*>(from);
}

TEST(UtFastmem, FieldsStandInTheirOrder)
{
    const UT_FASTMEM pool(16, 4);
    const auto fields = access::fields(pool);
    EXPECT_TRUE(std::ranges::is_sorted(fields));
    EXPECT_EQ(fields.front(), &pool);
    EXPECT_EQ(sizeof(UT_FASTMEM), sizeof(void*) + 4 * sizeof(std::int32_t));
    EXPECT_EQ(offsetof(UT_FM_BLOCK_HEAD, next), 0U);
    EXPECT_EQ(offsetof(UT_FM_BLOCK_HEAD, free), sizeof(void*));
    EXPECT_EQ(offsetof(UT_FM_BLOCK_HEAD, data), 2 * sizeof(void*));
    EXPECT_EQ(offsetof(UT_FM_BLOCK_HEAD, used), 3 * sizeof(void*));
}

TEST(UtFastmem, ElementSizesAreRoundedUpToMultiplesOf4)
{
    for (const auto& [asked, expected] : std::vector<std::pair<unsigned long, std::uint32_t>>{
             {10, 12}, {12, 12}, {13, 16}, {8, 8}, {1, 4}, {0, 0}, {0xFFFFFFFC, 0xFFFFFFFC}})
        EXPECT_EQ(access::element_size(UT_FASTMEM(asked, 1)), expected) << asked;
}

TEST(UtFastmem, ElementsLieTheirSizeApartButNeverBelow8)
{
    for (const auto& [asked, expected] : std::vector<std::pair<unsigned long, std::ptrdiff_t>>{
             {10, 12}, {12, 12}, {24, 24}, {8, 8}, {5, 8}, {4, 8}, {0, 8}}) {
        fastmem pool(asked, 3);
        const auto taken = take(pool, 3);
        EXPECT_EQ(distance(taken[0], taken[1]), expected) << asked;
        EXPECT_EQ(distance(taken[1], taken[2]), expected) << asked;
        EXPECT_EQ(access::block_bytes(pool), 3 * expected) << asked;
    }
}

TEST(UtFastmem, ACountOf0IsOneElementInABlock)
{
    fastmem pool(16, 0);
    take(pool, 2);
    EXPECT_EQ(blocks_of(pool), (blocks{{1, 0}, {1, 0}}));
}

TEST(UtFastmem, ACountPastThe32BitsOfABlockIsCut)
{
    EXPECT_EQ(access::per_block(UT_FASTMEM(8, ULONG_MAX)), 0xFFFFFFFFU / 8);
    EXPECT_EQ(access::per_block(UT_FASTMEM(1U << 31U, 2)), 1U);
    EXPECT_EQ(access::per_block(UT_FASTMEM(0xFFFFFFFC, 5)), 1U);
}

TEST(UtFastmem, HasNoBlockBeforeTheFirstElement)
{
    fastmem pool(16, 4);
    EXPECT_EQ(blocks_of(pool), blocks{});
    pool.getnewptr();
    EXPECT_EQ(blocks_of(pool), (blocks{{1, 3}}));
}

TEST(UtFastmem, AFreedElementIsTheNextOneOut)
{
    fastmem pool(16, 4);
    const auto taken = take(pool, 3);
    pool.free(taken[0]);
    pool.free(taken[2]);
    EXPECT_EQ(pool.getnewptr(), taken[2]);
    EXPECT_EQ(pool.getnewptr(), taken[0]);
}

TEST(UtFastmem, TheOnlyBlockStaysAndIsUsedAgain)
{
    fastmem pool(16, 2);
    const auto taken = take(pool, 2);
    pool.free(taken[0]);
    pool.free(taken[1]);
    EXPECT_EQ(blocks_of(pool), (blocks{{0, 2}}));
    EXPECT_EQ(pool.getnewptr(), taken[1]);
}

TEST(UtFastmem, AnEmptyBlockInFrontOfAnotherIsReleased)
{
    fastmem pool(16, 2);
    const auto taken = take(pool, 3);
    EXPECT_EQ(blocks_of(pool), (blocks{{1, 1}, {2, 0}}));
    pool.free(taken[2]);
    EXPECT_EQ(blocks_of(pool), (blocks{{2, 0}}));
}

TEST(UtFastmem, ABlockThatGetsAnElementBackMovesToTheFront)
{
    fastmem pool(16, 2);
    const auto taken = take(pool, 6);  // blocks: 4 5, 2 3, 0 1
    pool.free(taken[0]);
    EXPECT_EQ(blocks_of(pool), (blocks{{1, 1}, {2, 0}, {2, 0}}));
    EXPECT_EQ(pool.getnewptr(), taken[0]);
    pool.free(taken[2]);  // now: 2 3, 0 1, 4 5
    pool.free(taken[3]);
    EXPECT_EQ(blocks_of(pool), (blocks{{2, 0}, {2, 0}}));
    pool.free(taken[4]);
    pool.free(taken[1]);
    EXPECT_EQ(blocks_of(pool), (blocks{{1, 1}, {1, 1}}));
    EXPECT_EQ(pool.getnewptr(), taken[1]);
}

TEST(UtFastmem, TheFirstBlockWithRoomMovesToTheFront)
{
    fastmem pool(16, 2);
    const auto taken = take(pool, 6);
    pool.free(taken[0]);
    pool.free(taken[2]);
    pool.free(taken[4]);  // blocks: 4 5, 2 3, 0 1, each with one free
    EXPECT_EQ(pool.getnewptr(), taken[4]);
    EXPECT_EQ(pool.getnewptr(), taken[2]);
    EXPECT_EQ(pool.getnewptr(), taken[0]);
    EXPECT_EQ(blocks_of(pool), (blocks{{2, 0}, {2, 0}, {2, 0}}));
}

TEST(UtFastmem, AnAddressOfNoBlockIsIgnored)
{
    fastmem pool(16, 2);
    fastmem other(16, 2);
    const auto taken = take(pool, 3);
    void* const foreign = other.getnewptr();
    const blocks before = blocks_of(pool);
    for (void* const address : {foreign, static_cast<void*>(nullptr), static_cast<void*>(&pool),
                                static_cast<void*>(static_cast<char*>(taken[0]) + 32)})
        pool.free(address);
    EXPECT_EQ(blocks_of(pool), before);
    EXPECT_EQ(blocks_of(other), (blocks{{1, 1}}));
}

TEST(UtFastmem, FreeBeforeTheFirstElementBreaksTheContractOnBothRoutes)
{
    UT_FASTMEM pool(16, 2);
    int element = 0;
    message_capture capture;
    EXPECT_THROW(pool.free(&element), int);
    EXPECT_EQ(capture.last(), (post{"common", "0000", "basutfstmem", k_nothing_allocated}));
    capture.use_legacy_flow();
    int end = 0;
    const std::string told = stderr_of([&] { end = capture.exit_value_of([&] { pool.free(&element); }); });
    EXPECT_EQ(end, 19);
    EXPECT_EQ(told.substr(0, told.find('\n')), std::string("ERROR - ") + k_nothing_allocated);
    EXPECT_EQ(blocks_of(pool), blocks{});
}

TEST(UtFastmem, FreeBeforeTheFirstElementDoesNothingWhereTheReportReturns)
{
    struct survivor : UT_MSGMAN {
        void fatal(const char*, const char*, const char*, short, const char*, int, long) override {}
    } manager;
    UT_FASTMEM pool(16, 2);
    int element = 7;
    {
        message_capture capture;
        capture.use_legacy_flow();
        UT_MSGMAN* const before = std::exchange(ut_msgman, &manager);
        pool.free(&element);
        ut_msgman = before;
    }
    EXPECT_EQ(element, 7);
    EXPECT_EQ(blocks_of(pool), blocks{});
}

TEST(UtFastmem, ElementsOutliveTheAllocator)
{
    static_assert(std::is_trivially_destructible_v<UT_FASTMEM>);
}

TEST(UtFastmem, VerifiesNothingAndKeepsItsLevels)
{
    UT_FASTMEM pool(16, 2);
    pool.set_debug_level(3);
    UT_FASTMEM::set_global_debug(5);
    EXPECT_EQ(pool.fastmem_verify(), 0);
    EXPECT_EQ(access::debug_level(pool), 3);
    EXPECT_EQ(access::global_debug(), 5);
    UT_FASTMEM::set_global_debug(0);
    EXPECT_EQ(access::global_debug(), 0);
}

TEST(UtFastmemDeathTest, AbortIsARealFault)
{
    EXPECT_DEATH(access::fault(), "");
}

TEST(UtFastmem, AFailedAllocationLeavesTheAllocatorAsItWas)
{
    int failures = 0;
    for (long n = 0;; ++n, ++failures) {
        fastmem pool(16, 2);
        take(pool, 2);
        const blocks before = blocks_of(pool);
        bool failed = false;
        bool hit = false;
        {
            allocation_faults faults(n, 1);
            try {
                pool.getnewptr();
            } catch (const std::bad_alloc&) {
                failed = true;
            }
            hit = faults.hit();
        }
        EXPECT_EQ(failed, hit);
        if (!hit) break;
        EXPECT_EQ(blocks_of(pool), before);
        pool.getnewptr();
        EXPECT_EQ(blocks_of(pool), (blocks{{1, 1}, {2, 0}}));
    }
    EXPECT_EQ(failures, 2);  // the head of a block, and its memory
}

#if !defined(__SANITIZE_ADDRESS__) &&                                                                        \
    !defined(__SANITIZE_THREAD__)  // they end a process that asks for so much
TEST(UtFastmem, AnElementThat32BitsCannotTellIsMoreThanThereIs)
{
    for (const unsigned long size : {0xFFFFFFFDUL, 0x1'0000'0000UL, 0x1'0000'0010UL, ULONG_MAX}) {
        fastmem pool(size, 1);
        EXPECT_THROW(pool.getnewptr(), std::bad_alloc) << size;
        EXPECT_EQ(blocks_of(pool), blocks{});
    }
}
#endif

// ---- many operations, against the model

class UtFastmemAtRandom : public testing::TestWithParam<std::pair<unsigned long, unsigned long>> {};
INSTANTIATE_TEST_SUITE_P(, UtFastmemAtRandom,
                         testing::Values(std::pair{24, 50}, std::pair{4, 7}, std::pair{10, 1}));

TEST_P(UtFastmemAtRandom, HandsOutWhatTheModelSays)
{
    const auto [size, per_block] = GetParam();
    std::mt19937 random(5);
    fastmem pool(size, per_block);
    pool_model::pair<pool_model::fast_model> both(pool, size);
    for (int i = 0; i < 100'000; ++i) {
        const bool growing = i / 2'000 % 2 == 0;  // the count in use goes up and down
        if (both.in_use() == 0 || random() % 5 < (growing ? 3U : 2U))
            ASSERT_TRUE(both.get()) << i;
        else
            ASSERT_TRUE(both.release(random() % both.in_use())) << i;
        if (i % 16 == 0) {
            ASSERT_TRUE(both.same_shape()) << i;
        }
    }
    while (both.in_use() > 0) ASSERT_TRUE(both.release(both.in_use() - 1));
    EXPECT_TRUE(both.same_shape());
    EXPECT_EQ(blocks_of(pool).size(), 1U);
}

}  // namespace
