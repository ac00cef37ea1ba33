// tests/basutsmallmem_test.cpp
#include "basutsmallmem.h"

#include <cstring>
#include <memory>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "basutstrobj.h"
#include "message_capture.h"
#include "pool_model.h"

namespace {

using pool_model::access;
using shape = access::small_shape;

constexpr int k_size = 250;  ///< of which a bucket has four
constexpr unsigned char k_tracked = 1;

std::vector<void*> take(UT_SM_INT_SMALLMEM& pool, int count)
{
    std::vector<void*> taken;
    for (int i = 0; i < count; ++i) taken.push_back(pool.getmem());
    return taken;
}

void give(UT_SM_INT_SMALLMEM& pool, const std::vector<void*>& elements)
{
    for (void* const element : elements) pool.relmem(element);
}

std::ptrdiff_t distance(const void* from, const void* to)
{
    return static_cast<const char*>(to) - static_cast<const char*>(from);
}

/// What a process says that ends with -1, as it must where a size is too large.
template <class Work>
std::string refusal_of(Work work)
{
    int end = 0;
    message_capture capture;
    std::string text = stdout_of([&] { end = capture.exit_value_of(work); });
    EXPECT_EQ(end, -1);
    return text;
}

/// The fields as those who look at them know them.
struct stated_pool {
    std::uint16_t element_size, per_bucket, next;
    std::uint32_t table_capacity, bucket_count;
    void*** buckets;
    std::uint16_t released;
    std::uint32_t chunk_count;
    void** release_bucket;
    void** chunks;
};

TEST(UtSmallmem, FieldsStandWhereTheyAreLookedFor)
{
    const UT_SM_INT_SMALLMEM pool(16, k_tracked);
    const std::vector<std::size_t> offsets = {
        offsetof(stated_pool, element_size),   offsetof(stated_pool, per_bucket),
        offsetof(stated_pool, next),           offsetof(stated_pool, table_capacity),
        offsetof(stated_pool, bucket_count),   offsetof(stated_pool, buckets),
        offsetof(stated_pool, released),       offsetof(stated_pool, chunk_count),
        offsetof(stated_pool, release_bucket), offsetof(stated_pool, chunks)};
    std::vector<std::size_t> found;
    for (const void* const field : access::fields(pool))
        found.push_back(static_cast<std::size_t>(distance(&pool, field)));
    EXPECT_EQ(found, offsets);
    EXPECT_EQ(sizeof pool, sizeof(stated_pool));
}

TEST(UtSmallmem, FieldsOfTheFacesStandInTheirOrder)
{
    const UT_SM_SMALLMEM face(16, 0);
    EXPECT_EQ(access::fields(face),
              (std::vector<const void*>{&face, reinterpret_cast<void* const*>(&face) + 1}));
    EXPECT_EQ(sizeof face, 2 * sizeof(void*));
    EXPECT_EQ(sizeof(UT_SM_MNGR), 36 * sizeof(void*));
}

TEST(UtSmallmem, SizesAreRoundedUpAndDivideThousandBytes)
{
    struct row {
        int asked;
        unsigned size, per_bucket;
    };
    for (const auto& [asked, size, per_bucket] : {row{6, 8, 125},
                                                  {250, 252, 4},
                                                  {1, 4, 250},
                                                  {4, 4, 250},
                                                  {24, 24, 42},
                                                  {140, 140, 8},
                                                  {999, 1000, 1},
                                                  {1000, 1000, 1},
                                                  {1001, 1004, 1},
                                                  {65532, 65532, 1},
                                                  {0, 4, 250},
                                                  {-7, 4, 250}}) {
        const UT_SM_INT_SMALLMEM pool(asked, k_tracked);
        EXPECT_EQ(access::element_size(pool), size) << asked;
        EXPECT_EQ(access::per_bucket(pool), per_bucket) << asked;
    }
}

TEST(UtSmallmem, BeginsWithOneBucketOfOneChunk)
{
    const UT_SM_INT_SMALLMEM pool(k_size, k_tracked);
    EXPECT_EQ(access::shape(pool),
              (shape{.next = 0, .capacity = 10, .buckets = 1, .released = 0, .chunks = 1}));
}

TEST(UtSmallmem, ElementsOfAChunkComeInOrderAndTheLastOneFillsTheBucketAgain)
{
    UT_SM_INT_SMALLMEM pool(k_size, k_tracked);
    const auto first = take(pool, 3);
    EXPECT_EQ(access::shape(pool), (shape{3, 10, 1, 0, 1}));
    EXPECT_EQ(distance(first[0], first[1]), 252);
    EXPECT_EQ(distance(first[1], first[2]), 252);
    EXPECT_EQ(distance(first[2], pool.getmem()), 252);
    EXPECT_EQ(access::shape(pool), (shape{0, 10, 1, 0, 2}));
    const auto second = take(pool, 2);
    EXPECT_EQ(distance(second[0], second[1]), 252);
}

TEST(UtSmallmem, WhatCameBackLastGoesOutFirst)
{
    UT_SM_INT_SMALLMEM pool(k_size, k_tracked);
    const auto taken = take(pool, 3);
    pool.relmem(taken[1]);
    EXPECT_EQ(pool.getmem(), taken[1]);
    pool.relmem(taken[0]);
    pool.relmem(taken[2]);
    EXPECT_EQ(pool.getmem(), taken[2]);
    EXPECT_EQ(pool.getmem(), taken[0]);
}

TEST(UtSmallmem, AFullReleaseBucketJoinsTheTableAtOnce)
{
    UT_SM_INT_SMALLMEM pool(k_size, k_tracked);
    const auto taken = take(pool, 5);  // four, and the first of the second chunk
    give(pool, {taken[2], taken[0], taken[3]});
    EXPECT_EQ(access::shape(pool), (shape{1, 10, 1, 3, 2}));
    pool.relmem(taken[1]);
    EXPECT_EQ(access::shape(pool), (shape{1, 10, 2, 0, 2}));
    // The first bucket goes on, and behind it the joined one from its oldest entry on.
    EXPECT_EQ(distance(taken[4], pool.getmem()), 252);
    EXPECT_EQ(distance(taken[4], pool.getmem()), 2 * 252);
    EXPECT_EQ(distance(taken[4], pool.getmem()), 3 * 252);
    EXPECT_EQ(access::shape(pool), (shape{0, 10, 1, 0, 2}));
    EXPECT_EQ(take(pool, 4), (std::vector<void*>{taken[2], taken[0], taken[3], taken[1]}));
    EXPECT_EQ(access::shape(pool), (shape{0, 10, 1, 0, 3}));
}

TEST(UtSmallmem, TheLastBucketReplacesTheFirst)
{
    UT_SM_INT_SMALLMEM pool(k_size, k_tracked);
    const auto taken = take(pool, 15);
    give(pool, {taken.begin(), taken.begin() + 12});  // three full buckets
    EXPECT_EQ(access::shape(pool), (shape{3, 10, 4, 0, 4}));
    pool.getmem();
    EXPECT_EQ(access::shape(pool), (shape{0, 10, 3, 0, 4}));
    EXPECT_EQ(take(pool, 4), std::vector(taken.begin() + 8, taken.begin() + 12));
    EXPECT_EQ(take(pool, 4), std::vector(taken.begin() + 4, taken.begin() + 8));
    EXPECT_EQ(take(pool, 4), std::vector(taken.begin(), taken.begin() + 4));
}

TEST(UtSmallmem, TheTableGrowsByOneBucketAtATime)
{
    UT_SM_INT_SMALLMEM pool(k_size, k_tracked);
    const auto taken = take(pool, 200);
    give(pool, {taken.begin(), taken.begin() + 36});
    EXPECT_EQ(access::shape(pool), (shape{0, 10, 10, 0, 51}));
    for (int more = 1; more <= 30; ++more) {
        give(pool, {taken.begin() + 32 + 4 * more, taken.begin() + 36 + 4 * more});
        const auto count = static_cast<std::size_t>(10 + more);
        ASSERT_EQ(access::shape(pool), (shape{0, count, count, 0, 51}));
    }
    take(pool, 40);
    EXPECT_EQ(access::shape(pool).capacity, 40U);
}

TEST(UtSmallmem, ABucketOfOneElementIsFullWithTheFirstThatComesBack)
{
    UT_SM_INT_SMALLMEM pool(2000, k_tracked);
    void* const first = pool.getmem();
    EXPECT_EQ(access::shape(pool), (shape{0, 10, 1, 0, 2}));
    pool.relmem(first);
    EXPECT_EQ(access::shape(pool), (shape{0, 10, 2, 0, 2}));
    EXPECT_NE(pool.getmem(), first);
    EXPECT_EQ(pool.getmem(), first);
}

TEST(UtSmallmem, NullIsIgnored)
{
    UT_SM_INT_SMALLMEM pool(16, k_tracked);
    pool.relmem(nullptr);
    EXPECT_EQ(access::shape(pool).released, 0U);
}

TEST(UtSmallmem, AnElementOfAnotherPoolIsHandedOutAsOneOfItsOwn)
{
    UT_SM_INT_SMALLMEM larger(24, k_tracked);
    UT_SM_INT_SMALLMEM smaller(16, k_tracked);
    void* const element = larger.getmem();
    const shape before = access::shape(larger);
    smaller.relmem(element);
    EXPECT_EQ(smaller.getmem(), element);
    std::memset(element, 'x', 16);
    EXPECT_EQ(access::shape(larger), before);
}

TEST(UtSmallmem, ChunksThatAreNotTrackedOutliveThePool)
{
    std::vector<void*> taken;
    {
        UT_SM_INT_SMALLMEM pool(1000, 0);
        taken = take(pool, 3);
        pool.relmem(taken[0]);
        taken.push_back(pool.getmem());  // the chunk that was left; a chunk has one element here
    }
    std::set<void*> chunks(taken.begin(), taken.end());
    for (void* const each : chunks) {
        std::memset(each, 'x', 1000);
        ::operator delete(each);
    }
    EXPECT_EQ(chunks.size(), 4U);
}

TEST(UtSmallmem, AnElementTooLargeForAPoolEndsTheProcess)
{
    EXPECT_EQ(refusal_of([] { const UT_SM_INT_SMALLMEM pool(65533, k_tracked); }),
              "SMALLMEM: elementsize (65533) too large.\n");
    EXPECT_EQ(refusal_of([] { const UT_SM_INT_SMALLMEM pool(INT_MAX, 0); }),
              "SMALLMEM: elementsize (2147483647) too large.\n");
}

// ---- faces and shared pools

TEST(UtSmallmem, AFaceTakesSizesUpTo140)
{
    for (const unsigned char own : std::vector<unsigned char>{0, 1}) {
        UT_SM_SMALLMEM face(140, own);
        std::memset(face.getmem(), 'x', 140);
        EXPECT_EQ(refusal_of([&] { const UT_SM_SMALLMEM refused(141, own); }),
                  "SMALLMEM: elementsize (141) too large.\n");
    }
}

TEST(UtSmallmem, AFaceForwardsToItsPool)
{
    UT_SM_SMALLMEM face(20, 1);
    void* const element = face.getmem();
    EXPECT_EQ(access::shape(*access::pool_of(face)).next, 1U);
    face.relmem(element);
    EXPECT_EQ(access::shape(*access::pool_of(face)).released, 1U);
    EXPECT_EQ(face.getmem(), element);
}

TEST(UtSmallmem, OnlyAPoolOfOnesOwnKeepsARecordOfItsChunks)
{
    const UT_SM_SMALLMEM shared(100, 0);
    const UT_SM_SMALLMEM own(100, 1);
    EXPECT_FALSE(access::tracks(*access::pool_of(shared)));
    EXPECT_TRUE(access::tracks(*access::pool_of(own)));
    const UT_SM_INT_SMALLMEM any_flag(100, 2);
    EXPECT_TRUE(access::tracks(any_flag));
}

TEST(UtSmallmem, SizesOfAClassShareAPool)
{
    UT_SM_SMALLMEM thirteen(13, 0);
    UT_SM_SMALLMEM sixteen(16, 0);
    const UT_SM_SMALLMEM seventeen(17, 0);
    const UT_SM_SMALLMEM alone(16, 1);
    EXPECT_EQ(access::pool_of(thirteen), access::pool_of(sixteen));
    EXPECT_NE(access::pool_of(sixteen), access::pool_of(seventeen));
    EXPECT_NE(access::pool_of(sixteen), access::pool_of(alone));
    EXPECT_EQ(access::element_size(*access::pool_of(thirteen)), 16U);
    void* const element = thirteen.getmem();
    sixteen.relmem(element);
    EXPECT_EQ(thirteen.getmem(), element);
    thirteen.relmem(element);
}

TEST(UtSmallmem, ASharedPoolOutlivesItsFaces)
{
    void* element = nullptr;
    {
        UT_SM_SMALLMEM face(60, 0);
        element = face.getmem();
        face.relmem(element);
    }
    UT_SM_SMALLMEM face(60, 0);
    EXPECT_EQ(face.getmem(), element);
    face.relmem(element);
}

TEST(UtSmallmem, TheManagerMakesAPoolForEachClass)
{
    UT_SM_MNGR& manager = *sm_memmngr;
    for (int size = 1; size <= 140; ++size) {
        UT_SM_INT_SMALLMEM* const pool = manager.getmemhandler(size);
        EXPECT_EQ(access::element_size(*pool), (size + 3) / 4 * 4);
        EXPECT_EQ(access::table(manager)[(size + 3) / 4], pool);
        EXPECT_EQ(manager.getmemhandler(size), pool);
    }
    EXPECT_EQ(access::table(manager)[0], nullptr);
    EXPECT_EQ(manager.getmemhandler(0), manager.getmemhandler(1));
    EXPECT_EQ(manager.getmemhandler(-5), manager.getmemhandler(4));
    EXPECT_EQ(refusal_of([&] { manager.getmemhandler(141); }), "SMALLMEM: elementsize (141) too large.\n");
}

TEST(UtSmallmem, TheStringsHaveASharedPool)
{
    EXPECT_EQ(access::pool_of(ut_stringmem), sm_memmngr->getmemhandler(sizeof(UT_STROBJ)));
    void* const element = ut_stringmem.getmem();
    EXPECT_NE(element, nullptr);
    ut_stringmem.relmem(element);
}

// ---- allocations that fail

/// Lets each allocation of `work` on a prepared pool fail once; gives their number. The pool must be as it
/// was after a failure, and `work` must succeed when it is done again.
template <class Prepare, class Work>
int failures_of(Prepare prepare, Work work)
{
    for (int n = 0;; ++n) {
        UT_SM_INT_SMALLMEM pool(k_size, k_tracked);
        const std::vector<void*> taken = prepare(pool);
        const shape before = access::shape(pool);
        bool failed = false;
        {
            const allocation_faults faults(n, 1);
            try {
                work(pool, taken);
            } catch (const std::bad_alloc&) {
                failed = true;
            }
        }
        if (!failed) return n;
        EXPECT_EQ(access::shape(pool), before);
        work(pool, taken);
        EXPECT_NE(access::shape(pool), before);
    }
}

TEST(UtSmallmem, AFailedRefillLeavesThePoolAsItWas)
{
    const auto get_last = [](UT_SM_INT_SMALLMEM& pool, const auto& taken) {
        void* const element = pool.getmem();
        if (distance(taken.back(), element) != 252) throw std::logic_error("another element than the next");
    };
    EXPECT_EQ(failures_of([](auto& pool) { return take(pool, 3); }, get_last), 1);
    EXPECT_EQ(failures_of([](auto& pool) { return take(pool, 4 * 10 - 1); }, get_last), 2);  // and the list
}

TEST(UtSmallmem, AFailedReleaseLeavesThePoolAsItWas)
{
    const auto give_last = [](UT_SM_INT_SMALLMEM& pool, const auto& taken) { pool.relmem(taken.back()); };
    const auto give_but_last = [](UT_SM_INT_SMALLMEM& pool, int count) {
        std::vector<void*> taken = take(pool, count);
        give(pool, {taken.begin(), taken.end() - 1});
        return taken;
    };
    EXPECT_EQ(failures_of([&](auto& pool) { return give_but_last(pool, 4); }, give_last), 1);
    EXPECT_EQ(failures_of([&](auto& pool) { return give_but_last(pool, 64); }, give_last),
              2);  // and the table
}

TEST(UtSmallmem, AFailedConstructionLeavesNothingBehind)
{
    int failures = 0;
    for (bool failed = true; failed; ++failures) {
        failed = false;
        const allocation_faults faults(failures, 1);
        try {
            const UT_SM_SMALLMEM face(24, 1);
        } catch (const std::bad_alloc&) {
            failed = true;
        }
    }
    EXPECT_EQ(failures - 1, 6);  // the pool, table, two buckets, list of chunks, and a chunk
}

TEST(UtSmallmem, AFailedSharedPoolIsMadeTheNextTime)
{
    UT_SM_MNGR manager;
    const auto make = [&](int failing) {
        const allocation_faults faults(failing, 1);
        try {
            manager.getmemhandler(128);
        } catch (const std::bad_alloc&) {
        }
    };
    int failures = 0;
    for (make(0); access::table(manager)[32] == nullptr; make(failures)) ++failures;
    EXPECT_EQ(failures, 5);  // the pool, table, two buckets, and a chunk
    const std::unique_ptr<UT_SM_INT_SMALLMEM> pool(access::table(manager)[32]);
    ::operator delete(pool->getmem());  // a shared pool keeps no record of its chunks
}

// ---- many operations, against the model

class UtSmallmemAtRandom : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(, UtSmallmemAtRandom, testing::Values(24, 250, 1, 2000));

TEST_P(UtSmallmemAtRandom, HandsOutWhatTheModelSays)
{
    const auto size = static_cast<std::size_t>(GetParam());
    std::mt19937 random(7);
    UT_SM_INT_SMALLMEM pool(GetParam(), k_tracked);
    pool_model::pair<pool_model::small_model> both(pool, size);
    for (int i = 0; i < 100'000; ++i) {
        const bool growing = i / 5'000 % 2 == 0;  // the count in use goes up and down
        if (both.in_use() == 0 || random() % 5 < (growing ? 3U : 2U))
            ASSERT_TRUE(both.get()) << i;
        else
            ASSERT_TRUE(both.release(random() % both.in_use())) << i;
        ASSERT_TRUE(both.same_shape()) << i;
    }
    while (both.in_use() > 0) ASSERT_TRUE(both.release(both.in_use() - 1));
    EXPECT_TRUE(both.same_shape());
}

}  // namespace
