// tests/uthashtable_test.cpp
#include "uthashtable.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "collection_faults.h"
#include "collection_model.h"
#include "message_capture.h"

namespace {

using collection_model::element;
using collection_model::walked;

/// Opens the protected interface.
template <class Table>
struct opened : Table {
    using Table::bucket_size;
    using Table::Insert;
    using Table::Rehash;
    using Table::RehashBucket;
    using Table::Table;
    using Table::table_size;
};
using open_table = opened<utHashTable>;

void fill(utCollection& table, std::initializer_list<std::uintptr_t> numbers)
{
    for (const std::uintptr_t number : numbers) table.insert(element(number));
}

std::vector<void*> elements(std::initializer_list<std::uintptr_t> numbers)
{
    std::vector<void*> all;
    for (const std::uintptr_t number : numbers) all.push_back(element(number));
    return all;
}

/// The elements from `first` to `last`.
void fill_range(utCollection& table, std::uintptr_t first, std::uintptr_t last)
{
    for (std::uintptr_t number = first; number <= last; ++number) table.insert(element(number));
}

TEST(UtHashTable, EachKindHasItsName)
{
    EXPECT_STREQ(utHashTable().className(), "utHashTable");
    EXPECT_STREQ(utLinkedHashTable().className(), "utLinkedHashTable");
    EXPECT_STREQ(utHashTableGen().className(), "utHashTableGen");
}

TEST(UtHashTable, HasBucketsForTheElementsItExpects)
{
    EXPECT_EQ(open_table().table_size(), 16);
    const auto buckets_for = [](int expected) { return open_table(expected).table_size(); };
    EXPECT_EQ(buckets_for(-2147483647 - 1), 16);
    EXPECT_EQ(buckets_for(0), 16);
    EXPECT_EQ(buckets_for(528), 16);
    EXPECT_EQ(buckets_for(529), 32);
    EXPECT_EQ(buckets_for(1008), 32);
    EXPECT_EQ(buckets_for(1009), 64);
    EXPECT_EQ(buckets_for(1200), 64);
    EXPECT_EQ(buckets_for(16777200), 524288);
    EXPECT_EQ(buckets_for(16777216), 1048576);
    EXPECT_EQ(buckets_for(2147483647), 1048576);
}

TEST(UtHashTable, AddsItsFieldsToThoseOfACollection)
{
    utLinkedHashTable table(529);
    fill_range(table, 1, 300);
    for (std::uintptr_t i = 0; i < 8; ++i)
        table.insert(element(i * 1'024));  // past 224, and one bucket crowded
    const auto seen = collection_model::fields_of<collection_model::linked_table_fields>(table);
    EXPECT_EQ(seen.size, 308);
    EXPECT_EQ(seen.initial_size, 32);
    EXPECT_EQ(seen.buckets.capacity, 64);
    EXPECT_EQ(seen.buckets.next, nullptr);
    EXPECT_EQ(seen.order.size, 308);
    EXPECT_EQ(seen.order.head->data, element(1));
    EXPECT_EQ(seen.order.tail->data, element(7 * 1'024));
    const utHashTable small;
    EXPECT_EQ(collection_model::fields_of<collection_model::table_fields>(small).initial_size, 16);
}

TEST(UtHashTable, HasNoFirstAndNoLast)
{
    utHashTable table;
    table.insert(element(1));
    void* ends[] = {element(1), element(1)};
    EXPECT_EQ(stdout_of([&] { ends[0] = table.first(); }),
              "unsupported AIM 'first' is called from class utHashTable\n");
    EXPECT_EQ(stdout_of([&] { ends[1] = table.last(); }),
              "unsupported AIM 'last' is called from class utHashTable\n");
    EXPECT_EQ(ends[0], nullptr);
    EXPECT_EQ(ends[1], nullptr);
    utLinkedHashTable linked;
    EXPECT_EQ(stdout_of([&] { linked.first(); }),
              "unsupported AIM 'first' is called from class utLinkedHashTable\n");
}

TEST(UtHashTable, HoldsNoDuplicates)
{
    utHashTable table;
    EXPECT_EQ(table.insert(element(5)), 1);
    EXPECT_EQ(table.insert(element(21)), 2);
    EXPECT_EQ(table.insert(element(5)), 2);
    EXPECT_EQ(table.insert(nullptr), 3);
    EXPECT_EQ(table.insert(nullptr), 3);
    EXPECT_EQ(walked(table), elements({0, 5, 21}));
}

TEST(UtHashTable, TheElementsOfABucketStandInTheOrderOfTheirArrival)
{
    utHashTable table;
    fill(table, {33, 2, 17, 1, 16});
    EXPECT_EQ(walked(table), elements({16, 33, 17, 1, 2}));
    EXPECT_EQ(table.find(0), element(16));
    EXPECT_EQ(table.find(3), element(1));
    EXPECT_EQ(table.find(5), nullptr);
    EXPECT_EQ(table.find(-1), nullptr);
    EXPECT_EQ(table.remove(), element(16));
    EXPECT_EQ(table.remove(), element(33));
    EXPECT_EQ(table.Size(), 3);
}

TEST(UtHashTable, WithoutAFunctionTheLow28BitsAreTheHash)
{
    open_table table;
    fill(table, {0x10000000, 0x20000003, 0x3000000F, 0xFFFFFFFF0000000B});
    EXPECT_EQ(table.bucket_size(0), 1);
    EXPECT_EQ(table.bucket_size(3), 1);
    EXPECT_EQ(table.bucket_size(15), 1);
    EXPECT_EQ(table.bucket_size(11), 1);
    EXPECT_EQ(table.bucket_size(1), 0);
    EXPECT_EQ(table.bucket_size(-1), 0);
    EXPECT_EQ(table.bucket_size(16), 0);
}

TEST(UtHashTable, PointersThatDifferInEitherHalfOnlyAreTwoElements)
{
    utHashTable table;
    const std::vector<void*> four = elements({0x100000005, 0x200000005, 0x110000005, 0x210000005});
    for (void* const each : four) {
        EXPECT_EQ(table.find(each), nullptr);
        table.insert(each);
    }
    EXPECT_EQ(walked(table), four);  // all in bucket 5
    for (void* const each : four) EXPECT_EQ(table.remove(each), each);
    EXPECT_EQ(table.Size(), 0);
}

TEST(UtHashTable, FindsAndTakesOutTheStoredElement)
{
    utHashTable table;
    table.setHashFun(collection_model::hash_fours);
    table.setCompFun(collection_model::compare_fours);
    table.insert(element(8));
    EXPECT_EQ(table.insert(element(9)), 1);
    EXPECT_EQ(table.find(element(10)), element(8));
    EXPECT_EQ(table.find(element(12)), nullptr);
    EXPECT_EQ(table.remove(element(12)), nullptr);
    EXPECT_EQ(table.remove(element(11)), element(8));
    EXPECT_EQ(table.remove(element(11)), nullptr);
    EXPECT_EQ(table.Size(), 0);
    EXPECT_EQ(table.remove(), nullptr);
}

TEST(UtHashTable, DoublesWhenTheTableAndTheBucketAreCrowded)
{
    open_table table;
    fill_range(table, 0, 111);  // seven in each of 16 buckets
    EXPECT_EQ(table.table_size(), 16);
    table.insert(element(112));  // the eighth of bucket 0, and the 113th of all
    EXPECT_EQ(table.table_size(), 32);
    EXPECT_EQ(table.bucket_size(0), 4);  // 0, 32, 64, 96
    EXPECT_EQ(table.bucket_size(16), 4);
    EXPECT_EQ(table.bucket_size(1), 7);  // not rehashed yet
    EXPECT_EQ(table.bucket_size(17), 0);
}

TEST(UtHashTable, DoublesOnlyForABucketOfMoreThanSeven)
{
    open_table table;
    for (std::uintptr_t i = 0; i < 112; ++i) table.insert(element(i * 16));  // all in bucket 0
    EXPECT_EQ(table.table_size(), 16);
    for (std::uintptr_t i = 0; i < 7; ++i) table.insert(element(1 + i * 16));
    EXPECT_EQ(table.table_size(), 16);
    table.insert(element(1 + 7 * 16));
    EXPECT_EQ(table.table_size(), 32);
    table.insert(element(1 + 8 * 16));  // above seven times 16, not above seven times 32
    EXPECT_EQ(table.table_size(), 32);
}

TEST(UtHashTable, FindsEveryElementBehindADoubling)
{
    utHashTable table;
    for (std::uintptr_t i = 0; i < 5'000; ++i) {
        table.insert(element(i * 7));
        for (std::uintptr_t j = i % 100; j <= i; j += 100)
            ASSERT_EQ(table.find(element(j * 7)), element(j * 7));
    }
    EXPECT_EQ(table.find(element(3)), nullptr);
    for (std::uintptr_t i = 0; i < 5'000; ++i) ASSERT_EQ(table.remove(element(i * 7)), element(i * 7));
    EXPECT_EQ(table.Size(), 0);
}

TEST(UtHashTable, AnInsertionRehashesTheBucketOnItsPathAndFindingMovesNothing)
{
    open_table table;
    fill_range(table, 0, 112);
    ASSERT_EQ(table.table_size(), 32);
    EXPECT_EQ(table.find(element(17)), element(17));
    EXPECT_EQ(table.remove(element(33)), element(33));
    EXPECT_EQ(table.bucket_size(1), 6);
    table.insert(element(32 * 100 + 17));  // belongs in 17, and leads past 1
    EXPECT_EQ(table.bucket_size(1), 3);    // 1, 65, 97
    EXPECT_EQ(table.bucket_size(17), 4);
    const std::vector<void*> all = walked(table);
    // The new element is there first, and then come those of the older bucket: 17, 49, 81.
    const auto newcomer = std::find(all.begin(), all.end(), element(32 * 100 + 17));
    ASSERT_LE(4, all.end() - newcomer);
    EXPECT_EQ(std::vector<void*>(newcomer, newcomer + 4), elements({3217, 17, 49, 81}));
}

TEST(UtHashTable, DerivedClassesRehashWhatTheyLike)
{
    open_table table;
    fill_range(table, 0, 112);
    table.RehashBucket(5);
    EXPECT_EQ(table.bucket_size(5), 4);   // 5, 37, 69, 101
    EXPECT_EQ(table.bucket_size(21), 3);  // 21, 53, 85
    table.Rehash(22);                     // from below 22, that is 6
    EXPECT_EQ(table.bucket_size(6), 4);
    table.Rehash(7);  // nothing is below
    EXPECT_EQ(table.bucket_size(7), 7);
    for (const int outside : {-1, 32, 2147483647}) {
        table.Rehash(outside);
        table.RehashBucket(outside);
    }
    table.RehashBucket(31);                          // never made
    open_table().RehashBucket(3);                    // nor any below it
    EXPECT_EQ(table.Insert(element(1'000)), 4 + 1);  // 1000 mod 32 is 8: 8, 40, 72, 104
    for (std::uintptr_t i = 0; i <= 112; ++i) EXPECT_EQ(table.find(element(i)), element(i));
    EXPECT_EQ(table.find(element(1'000)), element(1'000));
    EXPECT_EQ(table.Size(), 113);  // Insert leaves counting to its caller
}

TEST(UtHashTable, ReplacesByIndexWhereTheHashSays)
{
    utHashTable table;
    fill(table, {1, 2, 3});
    EXPECT_EQ(table.replace(element(7), 0), element(1));
    EXPECT_EQ(walked(table), elements({2, 3, 7}));
    EXPECT_EQ(table.replace(element(7), 0), nullptr);  // the table has it
    EXPECT_EQ(table.replace(element(2), 0), element(2));
    EXPECT_EQ(table.replace(element(9), 3), nullptr);
    EXPECT_EQ(table.replace(element(9), -1), nullptr);
    EXPECT_EQ(walked(table), elements({2, 3, 7}));
    utHashTable fours;
    fours.setHashFun(collection_model::hash_fours);
    fours.setCompFun(collection_model::compare_fours);
    fours.insert(element(8));
    EXPECT_EQ(fours.replace(element(9), 0), element(8));
    EXPECT_EQ(fours.find(0), element(9));
}

TEST(UtHashTable, ClearingEndsWhateverWasCounted)
{
    utHashTable table;
    utLinkedHashTable linked;
    for (utCollection* each : {static_cast<utCollection*>(&table), static_cast<utCollection*>(&linked)}) {
        each->insert(element(1));
        each->IncSize();
        each->clear();
        EXPECT_EQ(each->Size(), 0);
        EXPECT_EQ(each->find(element(1)), nullptr);
    }
}

TEST(UtHashTable, ClearingEmptiesItAndKeepsItsBuckets)
{
    open_table table;
    fill_range(table, 0, 999);
    const int buckets = table.table_size();
    table.clear();
    EXPECT_EQ(table.Size(), 0);
    EXPECT_EQ(table.table_size(), buckets);
    EXPECT_EQ(walked(table), elements({}));
    fill(table, {3});
    EXPECT_EQ(table.remove(), element(3));
}

int released = 0;

TEST(UtHashTable, ReleasesNoElement)
{
    released = 0;
    {
        utHashTable table;
        table.setDelFun([](void*) { ++released; });
        fill_range(table, 0, 999);
        table.remove(element(5));
        table.remove();
        table.insert(element(5));
        fill_range(table, 0, 10);
        EXPECT_NE(table.delFun(), nullptr);
    }
    utLinkedHashTable linked;
    linked.setDelFun([](void*) { ++released; });
    fill_range(linked, 0, 99);
    linked.clear();
    EXPECT_EQ(released, 0);
}

TEST(UtHashTable, ACopySharesTheBuckets)
{
    utHashTable table;
    fill(table, {1, 2});
    const collection_model::shared_copy<utHashTable> copy(table);
    table.insert(element(17));
    EXPECT_EQ(copy->find(element(17)), element(17));
    EXPECT_EQ(copy->Size(), 2);
}

TEST(UtHashTable, AgreesWithItsModel)
{
    for (const auto& functions : collection_model::all_functions()) {
        const int operations = functions.compare == nullptr ? 100'000 : 20'000;
        collection_model::random_choices choices(3, operations);
        utHashTable table;
        functions.set(table);
        collection_model::table_model model(functions);
        EXPECT_EQ(collection_model::disagreement(table, model, choices, 6'000, 256), "");
    }
}

TEST(UtHashTable, AgreesWithItsModelFromALargerSizeOn)
{
    collection_model::random_choices choices(4, 100'000);
    open_table table(1'200);
    collection_model::table_model model({}, 64);
    EXPECT_EQ(collection_model::disagreement(table, model, choices, 20'000, 512), "");
    EXPECT_EQ(static_cast<std::size_t>(table.table_size()), model.buckets());
    EXPECT_GT(model.buckets(), 256U);
}

TEST(UtLinkedHashTable, IsWalkedInTheOrderOfInsertion)
{
    utLinkedHashTable table;
    fill(table, {40, 7, 23, 7, 100});
    EXPECT_EQ(walked(table), elements({40, 7, 23, 100}));
    EXPECT_EQ(table.find(1), element(7));
    EXPECT_EQ(table.find(element(23)), element(23));
    EXPECT_EQ(table.remove(element(7)), element(7));
    EXPECT_EQ(table.remove(element(7)), nullptr);
    EXPECT_EQ(table.insert(element(7)), 4);
    EXPECT_EQ(walked(table), elements({40, 23, 100, 7}));
    EXPECT_EQ(table.remove(), element(40));
    EXPECT_EQ(table.find(element(40)), nullptr);
    EXPECT_EQ(table.replace(element(1), 1), element(100));
    EXPECT_EQ(walked(table), elements({23, 1, 7}));
    EXPECT_EQ(table.replace(element(7), 0), nullptr);
    EXPECT_EQ(table.replace(element(9), 3), nullptr);
    table.clear();
    EXPECT_EQ(table.Size(), 0);
    EXPECT_EQ(table.remove(), nullptr);
    EXPECT_EQ(utLinkedHashTable(529).Size(), 0);
}

TEST(UtLinkedHashTable, AgreesWithItsModel)
{
    for (const auto& functions : collection_model::all_functions()) {
        const int operations = functions.compare == nullptr ? 100'000 : 20'000;
        collection_model::random_choices choices(5, operations);
        utLinkedHashTable table;
        functions.set(table);
        collection_model::linked_table_model model(functions);
        EXPECT_EQ(collection_model::disagreement(table, model, choices, 2'000, 256), "");
    }
}

/// Fills tables, letting one allocation fail in each, until none is left; true if that failed an insertion.
template <class Table>
void expect_survival()
{
    constexpr std::uintptr_t k_elements = 300;
    no_kept_elements elements_from_heap;
    for (long n = 0;; ++n) {
        elements_from_heap.take_more();
        std::unique_ptr<Table> table;
        bool hit = false, consistent = true;
        {
            allocation_faults faults(n, 1);
            while (table == nullptr) {
                try {
                    table = std::make_unique<Table>();
                } catch (const std::bad_alloc&) {
                }
            }
            for (std::uintptr_t i = 0; i < k_elements;) {
                const int before = table->Size();
                try {
                    table->insert(element(i * 3));
                    ++i;
                } catch (const std::bad_alloc&) {
                    consistent = consistent && table->Size() == before;
                }
                if (faults.hit() != hit) {  // it was now: all that was there is there
                    hit = true;
                    for (std::uintptr_t j = 0; j < i; ++j)
                        consistent = consistent && table->find(element(j * 3)) == element(j * 3);
                }
            }
        }
        EXPECT_TRUE(consistent) << n;
        ASSERT_EQ(table->Size(), static_cast<int>(k_elements));
        std::vector<void*> all = walked(*table);
        std::sort(all.begin(), all.end());
        for (std::uintptr_t i = 0; i < k_elements; ++i) {
            ASSERT_EQ(all[i], element(i * 3)) << n;
            ASSERT_EQ(table->find(element(i * 3)), element(i * 3)) << n;
            ASSERT_EQ(table->find(element(i * 3 + 1)), nullptr) << n;
        }
        for (std::uintptr_t i = 0; i < k_elements; ++i)
            ASSERT_EQ(table->remove(element(i * 3)), element(i * 3)) << n;
        if (!hit) break;
    }
}

TEST(UtHashTable, SurvivesTheFailureOfEveryAllocation)
{
    expect_survival<utHashTable>();
}

TEST(UtLinkedHashTable, SurvivesTheFailureOfEveryAllocation)
{
    expect_survival<utLinkedHashTable>();
}

/// A bucket that a failed rehash left half emptied is rehashed after the table has doubled once more.
TEST(UtHashTable, WhatAFailedRehashHasMovedIsFoundBehindTheNextDoubling)
{
    open_table table;
    for (std::uintptr_t k = 0; k < 10; ++k) table.insert(element(17 + 32 * k));  // all in bucket 1
    for (std::uintptr_t i = 0; table.table_size() == 16; ++i) table.insert(element(32 * i));
    bool hit = false;
    {
        const allocation_faults faults(1, 1);  // bucket 17 is made, and cannot grow while bucket 1 is moved
        table.insert(element(369));
        hit = faults.hit();
    }
    EXPECT_TRUE(hit);
    EXPECT_EQ(table.bucket_size(17), 8);
    EXPECT_EQ(table.bucket_size(1), 3);
    for (std::uintptr_t i = 1'000; table.table_size() == 32; ++i) table.insert(element(64 * i));
    table.insert(element(64 * 100 + 1));  // moves what is left in bucket 1
    EXPECT_EQ(table.bucket_size(1), 1);
    EXPECT_EQ(table.find(element(369)), element(369));
    for (std::uintptr_t k = 0; k < 10; ++k)
        EXPECT_EQ(table.find(element(17 + 32 * k)), element(17 + 32 * k)) << k;
}

/// Fills tables of a random spread, in which one insertion of two meets an allocation that fails.
template <class Table>
void expect_all_found_where_memory_is_short()
{
    std::mt19937 random(36);
    for (int round = 0; round < 40; ++round) {
        Table table;
        std::set<std::uintptr_t> held;
        const std::uintptr_t spread = 1U << random() % 7;
        while (held.size() < 1'000) {
            const std::uintptr_t number = random() % 4'000 * spread + random() % 16 / 15;
            const int before = table.Size();
            bool refused = false;
            {
                const allocation_faults faults(static_cast<long>(random() % 4), 1);
                try {
                    table.insert(element(number));
                } catch (const std::bad_alloc&) {
                    refused = true;
                }
            }
            if (!refused) held.insert(number);
            ASSERT_EQ(table.Size(), refused ? before : static_cast<int>(held.size()));
            if (held.size() % 50 != 0) continue;
            for (const std::uintptr_t each : held) ASSERT_EQ(table.find(element(each)), element(each));
        }
        for (const std::uintptr_t each : held) ASSERT_EQ(table.remove(element(each)), element(each));
        ASSERT_EQ(table.remove(), nullptr);
    }
}

TEST(UtHashTable, FindsAllThatItHoldsWhereMemoryIsShort)
{
    expect_all_found_where_memory_is_short<utHashTable>();
    expect_all_found_where_memory_is_short<utLinkedHashTable>();
}

/// Functions that contradict themselves: what they lose stays lost, and does no harm.
int never_equal(void*, void*)
{
    return 1;
}
int sometimes_equal(void*, void*)
{
    static unsigned calls = 0;
    return ++calls % 3 == 0 ? 0 : 1;
}
unsigned ever_another_hash(void*)
{
    static unsigned calls = 0;
    return ++calls * 2654435761U;
}

template <class Table>
void expect_no_harm()
{
    for (const auto compare : {never_equal, sometimes_equal}) {
        for (const auto hash :
             {utCollection::hash_function{}, utCollection::hash_function{ever_another_hash}}) {
            Table table;
            table.setCompFun(compare);
            table.setHashFun(hash);
            for (std::uintptr_t i = 0; i < 2'000; ++i) {
                table.insert(element(i));
                if (i % 3 == 0) table.remove(element(i / 2));
                if (i % 5 == 0) table.replace(element(i), static_cast<int>(i / 3));
            }
            table.clear();
            EXPECT_EQ(table.Size(), 0);
        }
    }
}

TEST(UtHashTable, FunctionsThatContradictThemselvesDoNoHarm)
{
    expect_no_harm<utHashTable>();
    expect_no_harm<utLinkedHashTable>();
}

TEST(UtHashTableGen, GivesEachElementOnceAndThenNull)
{
    utHashTable table;
    fill(table, {15, 0, 31, 4});
    utHashTableGen generator(&table);
    EXPECT_EQ(generator.next(), nullptr);  // the element that is null
    EXPECT_EQ(generator.next(), element(4));
    EXPECT_EQ(generator.next(), element(15));
    EXPECT_EQ(generator.next(), element(31));
    EXPECT_EQ(generator.next(), nullptr);
    EXPECT_EQ(generator.next(), nullptr);
    EXPECT_EQ(utHashTableGen().next(), nullptr);
    EXPECT_EQ(utHashTableGen(nullptr).next(), nullptr);
}

TEST(UtHashTableGen, AReleasedBlockIsTheNextOneHandedOut)
{
    auto* const first = new utHashTableGen;
    delete first;
    const allocation_faults counter(LONG_MAX);
    const std::unique_ptr<utHashTableGen> second(new utHashTableGen);
    EXPECT_EQ(counter.counted(), 0);
    EXPECT_EQ(second.get(), first);
}

template <class Table>
void expect_removal_on_the_way()
{
    Table table;
    fill_range(table, 1, 200);
    const std::vector<void*> all = walked(table);
    std::vector<void*> given;
    utGenerator generator(table);
    while (void* const each = generator.next()) {
        given.push_back(each);
        if (given.size() % 3 != 0) table.remove(each);
    }
    EXPECT_EQ(given, all);
    EXPECT_EQ(table.Size(), 66);
}

TEST(UtHashTableGen, TheElementJustGivenMayBeTakenOut)
{
    expect_removal_on_the_way<utHashTable>();
    expect_removal_on_the_way<utLinkedHashTable>();
}

}  // namespace
