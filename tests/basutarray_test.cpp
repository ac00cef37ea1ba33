// tests/basutarray_test.cpp: what all arrays share, seen on a storage that is neither block nor blocks.
#include "basutarray.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "array_tools.h"
#include "basutdarray.h"
#include "virtual_slots.h"

namespace {

using testing::ElementsAre;
using testing::Pair;

/// An array of the tests, whose elements lie in a deque.
class deque_array : public UT_BASE_ARRAY {
public:
    explicit deque_array(int element_size = sizeof(int)) : UT_BASE_ARRAY(element_size, 1, 0) {}

    void* getaddr(long index) override
    {
        if (index < 0 || index > k_most) return nullptr;
        while (static_cast<long>(elements_.size()) <= index) elements_.emplace_back(element_bytes());
        num_elements_ = std::max(num_elements_, static_cast<std::int32_t>(index + 1));
        return elements_[static_cast<std::size_t>(index)].data();
    }
    long intgetindex(void* element) override
    {
        const auto found = std::find_if(elements_.begin(), elements_.end(),
                                        [&](const auto& each) { return each.data() == element; });
        return found == elements_.end() ? -1 : static_cast<long>(found - elements_.begin());
    }

    bool test(long index) const { return testaddr(index); }

    /// Where a field lies in the object.
    std::vector<std::size_t> offsets() const
    {
        const auto offset = [this](const auto& field) {
            return static_cast<std::size_t>(
                reinterpret_cast<const char*>(&field) -
                reinterpret_cast<const char*>(static_cast<const UT_BASE_ARRAY*>(this)));
        };
        return {offset(zeromem_), offset(element_size_), offset(elements_allocated_), offset(num_elements_),
                offset(allocation_size_)};
    }
    int element_size() const { return element_size_; }

private:
    static constexpr long k_most = 100'000;
    std::deque<std::vector<std::byte>> elements_;
};

using numbers = std::vector<int>;
using calls = std::vector<std::pair<int, int>>;

int& at(deque_array& array, long index)
{
    return *static_cast<int*>(array.getaddr(index));
}

void fill(deque_array& array, const numbers& values)
{
    array.empty();
    for (const int value : values) at(array, array.getnumelements()) = value;
}

numbers contents(deque_array& array)
{
    numbers result;
    for (long i = 0; i < array.getnumelements(); ++i) result.push_back(at(array, i));
    return result;
}

calls& compared()
{
    static calls list;
    return list;
}

/// Compares by tens: 10 and 17 are equal.
int by_tens(const void* a, const void* b)
{
    const int x = *static_cast<const int*>(a);
    const int y = *static_cast<const int*>(b);
    compared().emplace_back(x, y);
    return x / 10 - y / 10;
}

calls compared_by(const std::function<void()>& work)
{
    compared().clear();
    work();
    return std::exchange(compared(), {});
}

// ---- what programs were compiled against

#if defined(TEST_KNOWS_SLOTS)
TEST(UtBaseArray, HasItsOperationsInTheirSlots)
{
    EXPECT_EQ(slot_of(&UT_BASE_ARRAY::clearmem), 0U);
    EXPECT_EQ(slot_of(&UT_BASE_ARRAY::qsort), 1U);
    EXPECT_EQ(slot_of(&UT_BASE_ARRAY::a_shift), 2U);
    EXPECT_EQ(slot_of(&UT_BASE_ARRAY::a_sort), 3U);
    EXPECT_EQ(slot_of(&UT_BASE_ARRAY::a_sortadd), 4U);
    EXPECT_EQ(slot_of(&UT_BASE_ARRAY::a_sortuadd), 5U);
    EXPECT_EQ(slot_of(&UT_BASE_ARRAY::a_bsearch), 6U);
    EXPECT_EQ(slot_of(&UT_BASE_ARRAY::a_resetnum), 7U);
    EXPECT_EQ(slot_of(&UT_BASE_ARRAY::intgetindex), 8U);
    EXPECT_EQ(slot_of(&UT_BASE_ARRAY::a_makearray), 9U);
    EXPECT_EQ(slot_of(&deque_array::getaddr), 12U);  // behind the destructor, which takes two
}
#endif

TEST(UtBaseArray, HoldsItsFieldsInTheirOrder)
{
    const std::size_t first = sizeof(void*);
    EXPECT_THAT(deque_array().offsets(), ElementsAre(first, first + 4, first + 8, first + 12, first + 16));
}

TEST(UtBaseArray, AssignmentCopiesItsFields)
{
    deque_array array(3);
    deque_array assigned(5);
    array.resetelemsallocated(17);
    array.resetnumelements(9);
    static_cast<UT_BASE_ARRAY&>(assigned) = array;
    EXPECT_EQ(assigned.getelemsallocated(), 17);
    EXPECT_EQ(assigned.getnumelements(), 9);
    EXPECT_EQ(assigned.element_size(), 3);
}

TEST(UtBaseArray, AnElementSizeBelowOneCountsAsOne)
{
    EXPECT_EQ(deque_array(0).element_size(), 1);
    EXPECT_EQ(deque_array(-7).element_size(), 1);
    EXPECT_EQ(deque_array(3).element_size(), 3);
}

/// A private function of the class, which an explicit instantiation may name.
using exchange_function = void (*)(void*, void*, int);
exchange_function private_swap();
template <exchange_function Function>
struct opened {
    friend exchange_function private_swap() { return Function; }
};
template struct opened<&UT_BASE_ARRAY::swap>;

TEST(UtBaseArray, ExchangesBytes)
{
    for (int size = -1; size <= 20; ++size) {
        std::string a = "abcdefghijklmnopqrstuvwxyz";
        std::string b = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
        const auto bytes = static_cast<std::size_t>(std::max(size, 0));
        const std::string expected = b.substr(0, bytes) + a.substr(bytes);
        private_swap()(a.data(), b.data(), size);
        EXPECT_EQ(a, expected);
        private_swap()(a.data(), a.data(), size);
        EXPECT_EQ(a, expected);
    }
}

// ---- counters

TEST(UtBaseArray, ResetCountersAreStoredAndNothingElse)
{
    deque_array array;
    fill(array, {1, 2, 3});
    array.resetnumelements(2);
    array.resetelemsallocated(17);
    EXPECT_EQ(array.getnumelements(), 2);
    EXPECT_EQ(array.getelemsallocated(), 17);
    array.resetnumelements(3);
    EXPECT_EQ(contents(array), (numbers{1, 2, 3}));
}

TEST(UtBaseArray, ALowerCountIsStoredAndAHigherOneExpands)
{
    deque_array array;
    fill(array, {1, 2, 3});
    array.setnumelements(1);
    EXPECT_EQ(array.getnumelements(), 1);
    array.setnumelements(5);
    EXPECT_EQ(contents(array), (numbers{1, 2, 3, 0, 0}));
    array.a_resetnum(-3);
    EXPECT_EQ(array.getnumelements(), 0);
    array.a_resetnum(2);
    array.empty();
    EXPECT_EQ(array.getnumelements(), 0);
}

TEST(UtBaseArray, ACountThatCannotBeReachedLeavesTheOneThereIs)
{
    deque_array array;
    fill(array, {1});
    array.a_resetnum(1'000'000);
    EXPECT_EQ(array.getnumelements(), 1);
}

TEST(UtBaseArray, ClearsMemoryOnlyWhenToldTo)
{
    deque_array array;
    std::array<unsigned char, 4> bytes{1, 2, 3, 4};
    array.clearmem(bytes.data(), 3);
    EXPECT_THAT(bytes, ElementsAre(1, 2, 3, 4));
    array.setzeromem(1);
    array.clearmem(bytes.data(), 3);
    EXPECT_THAT(bytes, ElementsAre(0, 0, 0, 4));
    array.clearmem(nullptr, 0);
    array.setzeromem(0);
    array.clearmem(bytes.data(), 4);
    EXPECT_EQ(bytes[3], 4);
}

TEST(UtBaseArray, TheBoundsCheckReportsWhatIsOutside)
{
    deque_array array;
    fill(array, {1, 2});
    EXPECT_TRUE(array.test(0));
    EXPECT_TRUE(array.test(1));
    for (const long outside : {-1L, 2L, 5'000'000'000L})
        expect_broken("basutarray", "Element out of range. Use expand.",
                      [&] { EXPECT_FALSE(array.test(outside)); });
}

// ---- shifting

TEST(UtBaseArray, AGapIsADuplicate)
{
    deque_array array;
    fill(array, {1, 2, 3});
    array.setzeromem(1);
    array.a_shift(1, 1);
    EXPECT_EQ(contents(array), (numbers{1, 2, 2, 3}));
    array.a_shift(0, 7);
    EXPECT_EQ(contents(array), (numbers{1, 1, 2, 2, 3}));
}

TEST(UtBaseArray, ClosingDeletesTheElementInFront)
{
    deque_array array;
    fill(array, {1, 2, 3, 4});
    array.a_shift(2, -1);
    EXPECT_EQ(contents(array), (numbers{1, 3, 4}));
    array.a_shift(3, 0);  // the last one
    EXPECT_EQ(contents(array), (numbers{1, 3}));
}

TEST(UtBaseArray, AShiftElsewhereDoesNothing)
{
    deque_array array;
    fill(array, {1, 2});
    for (const long index : {-1L, 2L, 3L}) array.a_shift(index, 1);  // not at the count, either
    for (const long index : {-1L, 0L, 3L}) array.a_shift(index, -1);
    EXPECT_EQ(contents(array), (numbers{1, 2}));
}

// ---- sorting

TEST(UtBaseArray, SortsWithTheComparisonsAndExchangesOfItsPartition)
{
    deque_array array;
    fill(array, {20, 10, 21, 11});
    EXPECT_EQ(compared_by([&] { array.qsort(0, 3, by_tens); }),
              (calls{{20, 10}, {21, 10}, {11, 10}, {20, 21}}));
    EXPECT_EQ(contents(array), (numbers{11, 10, 20, 21}));
}

TEST(UtBaseArray, SortsTheRightPartFirstWhereBothAreEquallyLong)
{
    deque_array array;
    fill(array, {10, 20, 30, 40, 50});
    EXPECT_EQ(compared_by([&] { array.qsort(0, 4, by_tens); }),
              (calls{{20, 30}, {10, 30}, {40, 30}, {50, 30}, {50, 40}, {20, 10}}));
    EXPECT_EQ(contents(array), (numbers{10, 20, 30, 40, 50}));
}

TEST(UtBaseArray, LeavesARangeOfEqualKeysAfterOnePartition)
{
    deque_array array;
    fill(array, {10, 11, 12, 13});
    EXPECT_EQ(compared_by([&] { array.qsort(0, 3, by_tens); }).size(), 3U);
    EXPECT_EQ(contents(array), (numbers{13, 10, 12, 11}));
}

TEST(UtBaseArray, ChecksASortByComparingNeighbours)
{
    deque_array array;
    fill(array, {10, 20});
    EXPECT_EQ(compared_by([&] { array.a_sort(by_tens, 0, -1); }), (calls{{20, 10}, {10, 20}}));
    EXPECT_EQ(contents(array), (numbers{10, 20}));
}

TEST(UtBaseArray, SortsARangeOnly)
{
    deque_array array;
    fill(array, {50, 40, 30, 20, 10});
    array.a_sort(by_tens, 1, 3);
    EXPECT_EQ(contents(array), (numbers{50, 20, 30, 40, 10}));
    array.a_sort(by_tens, 3, 3);
    array.a_sort(by_tens, 4, 2);
    array.a_sort(by_tens, 0, -2);
    EXPECT_EQ(contents(array), (numbers{50, 20, 30, 40, 10}));
}

TEST(UtBaseArray, SortingAnEmptyArrayDoesNothing)
{
    deque_array array;
    EXPECT_EQ(compared_by([&] {
                  array.a_sort(by_tens, 0, -1);
                  array.a_sort(by_tens, 0, 5);
                  array.a_sort(by_tens, -4, 5);
              }),
              calls{});
    EXPECT_EQ(array.getnumelements(), 0);
}

TEST(UtBaseArray, SortingPastTheCountExpands)
{
    deque_array array;
    fill(array, {20, 10});
    array.a_sort(by_tens, 0, 3);
    EXPECT_EQ(contents(array), (numbers{0, 0, 10, 20}));
    array.empty();
    array.qsort(0, 1, by_tens);
    EXPECT_EQ(array.getnumelements(), 2);
}

TEST(UtBaseArray, RangesWithoutAddressesAreNotSorted)
{
    deque_array array;
    fill(array, {20, 10});
    array.a_sort(by_tens, -1, 1);
    array.qsort(-1, 1, by_tens);
    array.a_sort(by_tens, 0, 1'000'000);
    array.qsort(0, 1'000'000, by_tens);
    EXPECT_EQ(array.getnumelements(), 2);
}

TEST(UtBaseArray, WithoutAComparisonNothingIsSortedFoundOrInserted)
{
    deque_array array;
    fill(array, {20, 10});
    int key = 10;
    unsigned char inserted = 7;
    array.a_sort(nullptr, 0, -1);
    array.qsort(0, 1, nullptr);
    EXPECT_EQ(array.a_bsearch(&key, nullptr), -1);
    EXPECT_EQ(array.a_sortadd(&key, nullptr), -1);
    EXPECT_EQ(array.a_sortuadd(nullptr, by_tens, &inserted), -1);
    EXPECT_EQ(inserted, 0);
    EXPECT_EQ(array.a_sortadd(nullptr, by_tens), -1);
    EXPECT_EQ(contents(array), (numbers{20, 10}));
}

TEST(UtBaseArray, AComparisonThatContradictsItselfIsReported)
{
    deque_array array;
    fill(array, {1, 2, 3});
    const auto always_above = [](const void*, const void*) { return 1; };
    expect_broken("basutarray", "Sort produced an unsorted list.",
                  [&] { array.a_sort(always_above, 0, -1); });
    EXPECT_EQ(array.getnumelements(), 3);
}

TEST(UtBaseArray, RandomComparisonsDoNoHarm)
{
    static std::mt19937 random(2);
    const auto any = [](const void*, const void*) { return static_cast<int>(random() % 3) - 1; };
    deque_array array;
    numbers values(200);
    std::iota(values.begin(), values.end(), 0);
    fill(array, values);
    message_capture capture;
    for (int i = 0; i < 50; ++i) {
        array.qsort(0, 199, any);
        (void)array.a_bsearch(&values[7], any);
    }
    numbers left = contents(array);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, values);
}

/// Elements of `size` bytes whose first tells what the others are.
std::vector<unsigned char> element(std::size_t size, unsigned char key)
{
    std::vector<unsigned char> bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(key + i);
    return bytes;
}

int by_first_byte(const void* a, const void* b)
{
    return *static_cast<const unsigned char*>(a) - *static_cast<const unsigned char*>(b);
}

TEST(UtBaseArray, SortsElementsOfEverySize)
{
    for (int size = 1; size <= 80; ++size) {
        deque_array array(size);
        const auto bytes = static_cast<std::size_t>(size);
        for (int i = 0; i < 100; ++i)
            std::memcpy(array.getaddr(i), element(bytes, static_cast<unsigned char>(i * 37 % 101)).data(),
                        bytes);
        array.a_sort(by_first_byte, 0, -1);
        for (int i = 0; i < 100; ++i) {
            const auto key = *static_cast<const unsigned char*>(array.getaddr(i));
            EXPECT_EQ(std::memcmp(array.getaddr(i), element(bytes, key).data(), bytes), 0) << size;
        }
    }
}

// ---- searching and sorted insertion

TEST(UtBaseArray, SearchesWithTheKeyInFrontAndGoesToTheFirstEqual)
{
    deque_array array;
    fill(array, {10, 20, 21, 22, 30});
    int key = 25;
    long index = -2;
    EXPECT_EQ(compared_by([&] { index = array.a_bsearch(&key, by_tens); }),
              (calls{{25, 21}, {25, 20}, {25, 10}}));
    EXPECT_EQ(index, 1);
    key = 5;
    EXPECT_EQ(compared_by([&] { index = array.a_bsearch(&key, by_tens); }), (calls{{5, 21}, {5, 10}}));
    EXPECT_EQ(index, -1);
    EXPECT_EQ(array.getnumelements(), 5);
}

TEST(UtBaseArray, FindsNothingInAnEmptyArray)
{
    deque_array array;
    const int key = 1;
    EXPECT_EQ(compared_by([&] { EXPECT_EQ(array.a_bsearch(&key, by_tens), -1); }), calls{});
}

TEST(UtBaseArray, InsertsInFrontOfEquals)
{
    deque_array array;
    fill(array, {10, 20, 21, 30});
    int key = 25;
    EXPECT_EQ(compared_by([&] { EXPECT_EQ(array.a_sortadd(&key, by_tens), 1); }),
              (calls{{25, 20}, {25, 10}, {25, 20}}));  // the last one at the place where it goes in
    EXPECT_EQ(contents(array), (numbers{10, 25, 20, 21, 30}));
}

TEST(UtBaseArray, InsertsWhereNoEqualIs)
{
    deque_array array;
    for (const int key : {30, 10, 20, 40}) {
        EXPECT_EQ(array.a_bsearch(&key, by_tens), -1);
        const long index = array.a_sortadd(&key, by_tens);
        EXPECT_EQ(at(array, index), key);
    }
    EXPECT_EQ(contents(array), (numbers{10, 20, 30, 40}));
}

TEST(UtBaseArray, InsertsUniqueElements)
{
    deque_array array;
    fill(array, {10, 20, 21, 30});
    int key = 25;
    unsigned char inserted = 7;
    EXPECT_EQ(array.a_sortuadd(&key, by_tens, &inserted), 1);
    EXPECT_EQ(inserted, 0);
    EXPECT_EQ(contents(array), (numbers{10, 20, 21, 30}));
    key = 15;
    EXPECT_EQ(array.a_sortuadd(&key, by_tens, &inserted), 0);
    EXPECT_EQ(inserted, 0);
    key = 40;
    EXPECT_EQ(array.a_sortuadd(&key, by_tens, &inserted), 4);
    EXPECT_EQ(inserted, 1);
    key = 5;
    EXPECT_EQ(array.a_sortuadd(&key, by_tens, nullptr), 0);
    EXPECT_EQ(contents(array), (numbers{5, 10, 20, 21, 30, 40}));
}

TEST(UtBaseArray, AComparisonThatThrowsLeavesNoInsertionBehind)
{
    deque_array array;
    fill(array, {10, 20, 30});
    const int key = 15;
    const auto throws = [](const void*, const void*) -> int { throw 5; };
    EXPECT_THROW(array.a_sortadd(&key, throws), int);
    EXPECT_THROW(array.a_sortuadd(&key, throws, nullptr), int);
    const int absent = 50;
    EXPECT_EQ(array.a_bsearch(&absent, by_tens), -1);
    EXPECT_EQ(array.getnumelements(), 3);
}

/// An array that a comparison works on while another one is being searched.
deque_array* inner = nullptr;

int compares_with_a_table(const void* a, const void* b)
{
    const int key = *static_cast<const int*>(b);
    const int absent = 999;
    EXPECT_EQ(inner->a_bsearch(&absent, by_tens), -1);
    unsigned char inserted = 7;
    EXPECT_GE(inner->a_sortuadd(&key, by_tens, &inserted), 0);
    EXPECT_LE(inserted, 1);
    return by_tens(a, b);
}

TEST(UtBaseArray, AComparisonMaySearchAndInsertElsewhere)
{
    deque_array array;
    deque_array table;
    inner = &table;
    fill(array, {10, 20, 30});
    unsigned char inserted = 7;
    int key = 25;
    EXPECT_EQ(array.a_sortuadd(&key, compares_with_a_table, &inserted), 1);
    EXPECT_EQ(inserted, 0);
    key = 40;
    EXPECT_EQ(array.a_sortadd(&key, compares_with_a_table), 3);
    EXPECT_EQ(array.a_bsearch(&key, compares_with_a_table), 3);
    EXPECT_EQ(contents(array), (numbers{10, 20, 30, 40}));
    EXPECT_EQ(contents(table), (numbers{10, 20, 30, 40}));
}

TEST(UtBaseArray, SortedInsertionGoesThroughTheVirtualSearch)
{
    struct counting : deque_array {
        long a_bsearch(const void* key, compare_function cmp) override
        {
            ++searches;
            return deque_array::a_bsearch(key, cmp);
        }
        int searches = 0;
    } array;
    const int key = 1;
    EXPECT_EQ(array.a_sortadd(&key, by_tens), 0);
    EXPECT_EQ(array.a_sortuadd(&key, by_tens, nullptr), 0);
    EXPECT_EQ(array.searches, 2);
    EXPECT_EQ(array.getnumelements(), 1);
}

TEST(UtBaseArray, EachSearchOfASortedInsertionInserts)
{
    struct twice : deque_array {
        long a_bsearch(const void* key, compare_function cmp) override
        {
            deque_array::a_bsearch(key, cmp);
            return deque_array::a_bsearch(key, cmp);
        }
    } array;
    const int key = 1;
    EXPECT_EQ(array.a_sortadd(&key, by_tens), 0);
    EXPECT_EQ(contents(array), (numbers{1, 1}));
}

TEST(UtBaseArray, ASortedInsertionIsNoBusinessOfOtherThreads)
{
    static const int key = 1;
    struct interrupted : deque_array {
        long a_bsearch(const void* wanted, compare_function cmp) override
        {
            std::thread([&] { found = other.a_bsearch(&key, by_tens); }).join();
            return deque_array::a_bsearch(wanted, cmp);
        }
        deque_array other;
        long found = 7;
    } array;
    EXPECT_EQ(array.a_sortadd(&key, by_tens), 0);
    EXPECT_EQ(array.found, -1);
    EXPECT_EQ(array.other.getnumelements(), 0);
}

TEST(UtBaseArray, ThreadsInsertIntoTheirOwnArraysAtOnce)
{
    const auto compare = [](const void* a, const void* b) {
        return *static_cast<const int*>(a) - *static_cast<const int*>(b);
    };
    const auto insert = [compare](bool unique, long& count) {
        deque_array array;
        for (int i = 0; i < 2000; ++i) {
            const int key = i * 7 % 100;
            if (unique)
                array.a_sortuadd(&key, compare, nullptr);
            else if (array.a_bsearch(&key, compare) < 0)
                array.a_sortadd(&key, compare);
        }
        count = array.getnumelements();
    };
    long counts[2] = {0, 0};
    std::thread other(insert, true, std::ref(counts[0]));
    insert(false, counts[1]);
    other.join();
    EXPECT_THAT(counts, ElementsAre(100, 100));
}

TEST(UtBaseArray, ALargeElementIsInsertedFromWithinTheArray)
{
    constexpr std::size_t size = 1000;
    deque_array array(size);
    for (const unsigned key : {3U, 5U, 7U})
        std::memcpy(array.getaddr(array.getnumelements()),
                    element(size, static_cast<unsigned char>(key)).data(), size);
    EXPECT_EQ(array.a_sortadd(array.getaddr(2), by_first_byte), 2);
    EXPECT_EQ(array.a_sortadd(array.getaddr(0), by_first_byte), 0);
    for (const auto& [index, key] : {std::pair(0, 3), {1, 3}, {2, 5}, {3, 7}, {4, 7}})
        EXPECT_EQ(
            std::memcmp(array.getaddr(index), element(size, static_cast<unsigned char>(key)).data(), size),
            0);
}

TEST(UtBaseArray, WithoutMemoryForALargeKeyNothingIsInserted)
{
    deque_array array(1000);
    const auto key = element(1000, 1);
    expect_broken("basutarray", "Memory allocation failed.", [&] {
        const allocation_faults faults(0, 1);
        array.a_sortadd(key.data(), by_first_byte);
    });
    EXPECT_EQ(array.getnumelements(), 0);
}

// ---- a copy of the elements

TEST(UtBaseArray, MakesABlockOfItsElements)
{
    deque_array array;
    EXPECT_EQ(array.a_makearray(), nullptr);
    fill(array, {1, 2, 3});
    array.setnumelements(2);
    const std::unique_ptr<void, void (*)(void*)> made(array.a_makearray(), std::free);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(std::memcmp(made.get(), numbers{1, 2}.data(), 2 * sizeof(int)), 0);
}

TEST(UtBaseArray, WithoutMemoryThereIsNoBlockOfItsElements)
{
    deque_array array;
    fill(array, {1, 2, 3});
    const allocation_faults faults(0, 1);
    EXPECT_EQ(array.a_makearray(), nullptr);
}

}  // namespace
