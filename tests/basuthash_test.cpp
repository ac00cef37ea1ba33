// tests/basuthash_test.cpp
#include "basuthash.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "hash_model.h"
#include "message_files.h"
#include "virtual_slots.h"

namespace {

using hash_model::item;
using hash_model::leaks_allowed;
using hash_model::open_table;
using testing::ElementsAre;
using testing::IsEmpty;

#if defined(TEST_KNOWS_SLOTS)
TEST(UtHash, ItsOperationsStandBehindThoseOfAStoreInTheirOrder)
{
    EXPECT_EQ(slot_of(&UT_HASH::s_add), 2U);
    EXPECT_EQ(slot_of(&UT_HASH::s_find), 3U);
    EXPECT_EQ(slot_of(&UT_HASH::s_remove), 4U);
    EXPECT_EQ(slot_of(&UT_HASH::hash_func), 5U);
    EXPECT_EQ(slot_of(&UT_HASH::comp_func), 6U);
    EXPECT_EQ(slot_of(&UT_HASH::del_func), 7U);
}
#endif

TEST(UtHash, HoldsItsFieldsInTheirOrder)
{
    struct fields {
        void* slots;
        std::uint32_t buckets;
        void* table;
        unsigned char owner;
        std::uint32_t count, used, find_calls, compare_calls;
    };
    static_assert(sizeof(UT_HASH) == sizeof(fields));
    open_table table(7, 5);
    item data{3};
    table.add(&data, nullptr);
    void* const place = static_cast<UT_HASH*>(&table);
    fields seen{};
    std::memcpy(&seen, place, sizeof seen);
    EXPECT_EQ(seen.buckets, 7U);
    EXPECT_NE(seen.table, nullptr);
    EXPECT_EQ(seen.owner, 5);
    EXPECT_EQ(seen.count, 1U);
    seen.used = 2;  // as nothing measures them, they are given values here
    seen.find_calls = 3;
    seen.compare_calls = 4;
    std::memcpy(place, &seen, sizeof seen);
    EXPECT_EQ(table.get_used(), 2U);
    EXPECT_EQ(table.get_unused(), 5U);
    EXPECT_EQ(table.get_nbr_find_calls(), 3U);
    EXPECT_EQ(table.get_nbr_cmp_calls(), 4U);
    EXPECT_EQ(table.get_stat(), 0.75);
}

TEST(UtHash, TheNewestOfEqualKeysIsFoundAndRemovedFirst)
{
    open_table table(7, 0);
    item key{3};
    item first{3};
    item second{3};
    table.add(&key, &first);
    table.add(&key, &second);
    EXPECT_EQ(table.get_count(), 2U);
    EXPECT_EQ(table.find(&key), &second);
    EXPECT_EQ(table.remove(&key), &second);
    EXPECT_EQ(table.find(&key), &first);
    EXPECT_EQ(table.remove(&key), &first);
    EXPECT_EQ(table.find(&key), nullptr);
    EXPECT_EQ(table.remove(&key), nullptr);
    EXPECT_EQ(table.get_count(), 0U);
}

TEST(UtHash, WithoutDataTheKeyIsTheData)
{
    open_table table(7, 0);
    item key{3};
    table.add(&key, nullptr);
    EXPECT_EQ(table.find(&key), &key);
}

TEST(UtHash, IsUsedThroughTheInterfaceOfAStore)
{
    open_table table(7, 0);
    UT_STORE& store = table;
    item key{3};
    item data{3};
    EXPECT_TRUE(store.s_add(&key, &data));
    EXPECT_EQ(store.s_find(&key), &data);
    EXPECT_EQ(store.s_remove(&key), &data);
    EXPECT_EQ(store.s_find(&key), nullptr);
    EXPECT_EQ(store.s_remove(&key), nullptr);
}

/// Takes the number of an item as its hash.
class plain_table : public open_table {
public:
    using open_table::open_table;
    std::uint32_t hash_func(const void* key) override { return static_cast<const item*>(key)->number; }
};

std::vector<std::uint32_t>& numbers_seen()
{
    static std::vector<std::uint32_t> numbers;
    return numbers;
}

void see(void* data)
{
    numbers_seen().push_back(static_cast<item*>(data)->number);
}

TEST(UtHash, ProcessGoesFromBucketToBucketWithTheNewestFirst)
{
    plain_table table(10, 0);
    std::array<item, 6> items{{{15}, {0xFFFFFFFF}, {2}, {5}, {22}, {12}}};  // 4294967295 goes to bucket 5
    for (item& data : items) table.add(&data, &data);
    numbers_seen().clear();
    table.process(see);
    EXPECT_THAT(numbers_seen(), ElementsAre(12, 22, 2, 5, 0xFFFFFFFF, 15));
    numbers_seen().clear();
    table.process(nullptr);
    EXPECT_THAT(numbers_seen(), IsEmpty());
    EXPECT_EQ(table.get_count(), 6U);
}

UT_HASH* emptied_by_itself = nullptr;

TEST(UtHash, WhatIsProcessedMayRemoveItself)
{
    plain_table table(2, 0);
    std::array<item, 5> items{{{1}, {2}, {3}, {4}, {5}}};
    for (item& data : items) table.add(&data, nullptr);
    emptied_by_itself = &table;
    table.process([](void* data) { emptied_by_itself->remove(data); });
    EXPECT_EQ(table.get_count(), 0U);
}

TEST(UtHash, FunctionsThatLieDoNoHarm)
{
    class lying_table : public open_table {
    public:
        using open_table::open_table;
        std::uint32_t hash_func(const void*) override { return static_cast<std::uint32_t>(random_()); }
        int comp_func(const void*, void*) override { return static_cast<int>(random_() % 3) - 1; }

    private:
        std::mt19937 random_{33};
    };
    lying_table table(5, 0);
    item data{1};
    std::uint32_t count = 0;
    for (int i = 0; i < 10'000; ++i) {
        table.add(&data, nullptr);
        if (table.remove(&data) == nullptr) ++count;
        table.find(&data);
    }
    EXPECT_EQ(table.get_count(), count);
}

TEST(UtHash, NullKeysAndDataGoToTheDerivedClassAsTheyAre)
{
    class null_table : public open_table {
    public:
        using open_table::open_table;
        std::uint32_t hash_func(const void* key) override { return key == nullptr ? 3 : 1; }
        int comp_func(const void* key, void* data) override { return key == data ? 0 : 1; }
    };
    null_table table(5, 0);
    table.add(nullptr, nullptr);
    EXPECT_EQ(table.get_count(), 1U);
    EXPECT_EQ(table.find(nullptr), nullptr);
    EXPECT_EQ(table.remove(nullptr), nullptr);  // null data, and the entry is gone
    EXPECT_EQ(table.get_count(), 0U);
}

TEST(UtHash, FlushOfAnOwnerReleasesTheDataAndKeepsTheCount)
{
    plain_table table(4, 1);
    std::array<item, 3> items{{{1}, {5}, {2}}};
    {
        const leaks_allowed entries;
        for (item& data : items) table.add(&data, nullptr);
    }
    table.flush();
    EXPECT_THAT(table.released, ElementsAre(&items[1], &items[0], &items[2]));
    EXPECT_EQ(table.get_count(), 3U);
    EXPECT_EQ(table.find(&items[0]), nullptr);
    table.flush();
    EXPECT_EQ(table.released.size(), 3U);
    table.add(&items[0], nullptr);
    EXPECT_EQ(table.get_count(), 4U);
    EXPECT_EQ(table.find(&items[0]), &items[0]);
}

TEST(UtHash, AFlushThatThrowsKeepsTheBucketItWasAt)
{
    class refusing_table : public plain_table {
    public:
        using plain_table::plain_table;
        void del_func(void* data) override
        {
            if (static_cast<item*>(data)->number == 5) throw 5;
            plain_table::del_func(data);
        }
    };
    refusing_table table(4, 1);
    std::array<item, 4> items{{{4}, {5}, {1}, {2}}};
    {
        const leaks_allowed entries;
        for (item& data : items) table.add(&data, nullptr);
    }
    EXPECT_THROW(table.flush(), int);
    EXPECT_THAT(table.released, ElementsAre(&items[0], &items[2]));
    EXPECT_EQ(table.find(&items[0]), nullptr);
    for (std::size_t i = 1; i < items.size(); ++i) EXPECT_EQ(table.find(&items[i]), &items[i]);
    EXPECT_EQ(table.get_count(), 4U);
}

TEST(UtHash, EmptyIsFlush)
{
    plain_table table(4, 1);
    item data{1};
    {
        const leaks_allowed entries;
        table.add(&data, nullptr);
    }
    table.empty();
    EXPECT_THAT(table.released, ElementsAre(&data));
    EXPECT_EQ(table.find(&data), nullptr);
    EXPECT_EQ(table.get_count(), 1U);
}

TEST(UtHash, FlushOfATableThatOwnsNothingLeavesAllInPlace)
{
    plain_table table(4, 0);
    item data{1};
    table.add(&data, nullptr);
    table.flush();
    table.empty();
    EXPECT_THAT(table.released, IsEmpty());
    EXPECT_EQ(table.find(&data), &data);
    EXPECT_EQ(table.get_count(), 1U);
}

TEST(UtHash, TheDestructorReleasesNoData)
{
    static int calls;
    calls = 0;
    class counting_table : public open_table {
    public:
        using open_table::open_table;
        void del_func(void*) override { ++calls; }
    };
    {
        counting_table table(4, 1);
        item data{1};
        table.add(&data, nullptr);
    }
    EXPECT_EQ(calls, 0);
}

TEST(UtHash, TheDefaultOfDelFuncDoesNothing)
{
    open_table table(1, 1);
    item data{1};
    table.UT_HASH::del_func(&data);
    EXPECT_EQ(data.number, 1U);
}

TEST(UtHash, StatisticsAreNeverMeasured)
{
    open_table table(13, 0);
    item data{1};
    table.add(&data, nullptr);
    table.find(&data);
    EXPECT_EQ(table.get_nbr_buckets(), 13U);
    EXPECT_EQ(table.get_count(), 1U);
    EXPECT_EQ(table.get_used(), 0U);
    EXPECT_EQ(table.get_unused(), 13U);
    EXPECT_EQ(table.get_nbr_find_calls(), 0U);
    EXPECT_EQ(table.get_nbr_cmp_calls(), 0U);
    EXPECT_TRUE(std::isnan(table.get_stat()));
}

TEST(UtHash, OnlyTheLow32BitsOfTheBucketCountAreRead)
{
    if constexpr (sizeof(unsigned long) > 4) {
        const open_table table((1UL << 32) + 5, 0);
        EXPECT_EQ(table.get_nbr_buckets(), 5U);
    }
}

TEST(UtHash, ACopySharesTheTable)
{
    open_table table(7, 1);
    item data{3};
    item later{4};
    table.add(&data, nullptr);
    // Never destroyed: the table is freed once. They hold what a test keeps account of, and no more.
    alignas(open_table) std::byte memory[2 * sizeof(open_table)];
    auto& copy = *new (memory) open_table(table);
    EXPECT_EQ(copy.get_count(), 1U);
    EXPECT_EQ(copy.get_nbr_buckets(), 7U);
    EXPECT_EQ(copy.find(&data), &data);
    table.add(&later, nullptr);
    EXPECT_EQ(copy.find(&later), &later);
    EXPECT_EQ(copy.get_count(), 1U);
    auto& assigned = *new (memory + sizeof(open_table)) open_table(copy);
    assigned = table;
    EXPECT_EQ(assigned.get_count(), 2U);
    EXPECT_EQ(assigned.remove(&later), &later);
    EXPECT_EQ(table.find(&later), nullptr);
}

// ---- failures

/// What the database keeps of the failure that `work` ends in.
struct refusal {
    bool thrown = false;
    int value = 0;
    std::string mid;
    std::vector<std::string> arguments;
};

template <class Work>
refusal refusal_of(message_files& files, Work work)
{
    refusal result;
    files.database().resetErrorStatus();
    try {
        work();
    } catch (int value) {
        result.thrown = true;
        result.value = value;
    }
    std::vector<std::string> navigation;
    files.database().findErrorStatus(result.mid, result.arguments, navigation);
    return result;
}

class UtHashFailure : public testing::TestWithParam<int> {
protected:
    UtHashFailure()
    {
        files.file("common", "100", {{"0000", "Error", "$$s $$d: $$s"}});
        files.restart();
        UT_MSGMAN::m_msgFlow = GetParam();
    }
    message_files files;
};
INSTANTIATE_TEST_SUITE_P(BothFlows, UtHashFailure, testing::Values(0, 1));

TEST_P(UtHashFailure, NoBucketIsKeptAsAnErrorStatusAndThrown)
{
    for (const unsigned long none : {0UL, sizeof(unsigned long) > 4 ? ~0xFFFFFFFFUL : 0UL}) {
        const refusal seen = refusal_of(files, [&] { const open_table table(none, 0); });
        EXPECT_TRUE(seen.thrown);
        EXPECT_EQ(seen.value, 1);
        EXPECT_EQ(seen.mid, "1000000");
        ASSERT_EQ(seen.arguments.size(), 3U);
        EXPECT_EQ(seen.arguments[0], "basuthash");
        EXPECT_GT(std::stoi(seen.arguments[1]), 0);
        EXPECT_EQ(seen.arguments[2], "invalid bucket count: 0");
    }
}

TEST_P(UtHashFailure, WithoutATextTheValueThrownIsZero)
{
    files.file("common", "100", {});
    files.restart();
    UT_MSGMAN::m_msgFlow = GetParam();
    const refusal seen = refusal_of(files, [] { const open_table table(0, 0); });
    EXPECT_TRUE(seen.thrown);
    EXPECT_EQ(seen.value, 0);
    EXPECT_EQ(seen.mid, "");
}

TEST_P(UtHashFailure, ExhaustedMemoryReportsTheSameWayAndLeavesTheTableAsItWas)
{
    item first{1};
    item second{1};
    for (long failing = 0;; ++failing) {
        std::uint32_t count = 0;
        void* found = nullptr;
        bool hit = false;
        const refusal seen = refusal_of(files, [&] {
            allocation_faults faults(failing, 1);
            open_table table(3, 0);
            const auto try_to_add = [&](item& data) {
                try {
                    table.add(&data, nullptr);
                } catch (int) {
                    count = table.get_count();
                    found = table.find(&first);
                    hit = faults.hit();
                    throw;
                }
            };
            try_to_add(first);
            try_to_add(second);
            hit = faults.hit();
        });
        if (failing == 3) {
            EXPECT_FALSE(hit);
            break;
        }
        EXPECT_TRUE(seen.thrown);
        EXPECT_EQ(seen.value, 1);
        EXPECT_EQ(seen.mid, "1000000");
        ASSERT_EQ(seen.arguments.size(), 3U);
        EXPECT_EQ(seen.arguments[0], "basuthash");
        EXPECT_EQ(seen.arguments[2], "system runs out of memory");
        EXPECT_EQ(count, failing == 2 ? 1U : 0U);
        EXPECT_EQ(found, failing == 2 ? &first : nullptr);
    }
}

// ---- beside the model

TEST(UtHash, AgreesWithAModelOverAHundredThousandSteps)
{
    using hash_model::operation;
    using hash_model::pair;
    std::mt19937 random(3'003);
    for (const bool owner : {false, true}) {
        pair both(61, owner, 300);
        for (int i = 0; i < 50'000; ++i) {
            auto what = static_cast<operation>(random() % hash_model::k_operations);
            if (what == operation::flush && random() % 50 != 0) what = operation::find;
            const char* const wrong = both.step(what, static_cast<std::uint32_t>(random() % 300));
            ASSERT_EQ(wrong, nullptr) << wrong << ", operation " << static_cast<int>(what) << ", step " << i;
        }
    }
}

}  // namespace
