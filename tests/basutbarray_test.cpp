// tests/basutbarray_test.cpp
#include "basutbarray.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "array_model.h"
#include "array_tools.h"
#include "virtual_slots.h"

namespace {

using numbers = std::vector<int>;
using pair = std::pair<long, long>;

/// Blocks of `int` with the caller's table.
struct int_blocks {
    explicit int_blocks(int per_block = 4, unsigned char zeromem = 0)
        : array(reinterpret_cast<void***>(&table), sizeof(int), per_block, zeromem)
    {
    }
    int_blocks(const int_blocks&) = delete;
    int_blocks& operator=(const int_blocks&) = delete;

    void append(int value) { *static_cast<int*>(array.getaddr(array.getnumelements())) = value; }
    numbers contents()
    {
        numbers result;
        for (long i = 0; i < array.getnumelements(); ++i)
            result.push_back(*static_cast<int*>(array.getaddr(i)));
        return result;
    }
    /// Count and capacity.
    pair counters() const { return {array.getnumelements(), array.getelemsallocated()}; }

    int** table = nullptr;  ///< the variable
    UT_BARRAY array;
};

int by_value(const void* a, const void* b)
{
    const int x = *static_cast<const int*>(a);
    const int y = *static_cast<const int*>(b);
    return (x > y) - (x < y);
}

// ---- what programs were compiled against

#if defined(TEST_KNOWS_SLOTS)
TEST(UtBarray, HasTheSlotsOfTheBaseAndNoMore)
{
    EXPECT_EQ(slot_of(&UT_BARRAY::intgetindex), 8U);
    EXPECT_EQ(slot_of(&UT_BARRAY::getaddr), 12U);
    struct derived : UT_BARRAY {
        using UT_BARRAY::UT_BARRAY;
        virtual void added() {}
    };
    EXPECT_EQ(slot_of(&derived::added), 13U);
}

TEST(UtBarray, AddsItsFieldsInTheirOrder)
{
    struct fields {
        void* variable;
        std::int32_t blocks;
        std::int32_t bytes_per_block;
        std::int32_t elements_per_block;
    };
    static_assert(sizeof(UT_BARRAY) == sizeof(UT_BASE_ARRAY) + sizeof(fields));
    int_blocks made(5);
    (void)made.array.getaddr(7);
    fields seen{};
    std::memcpy(&seen, reinterpret_cast<const char*>(&made.array) + sizeof(UT_BASE_ARRAY), sizeof seen);
    EXPECT_EQ(seen.variable, static_cast<void*>(&made.table));
    EXPECT_EQ(seen.blocks, 2);
    EXPECT_EQ(seen.bytes_per_block, 20);
    EXPECT_EQ(seen.elements_per_block, 5);
}
#endif

// ---- construction and destruction

TEST(UtBarray, StartsEmptyWithOneBlock)
{
    const int_blocks made(6, 1);
    EXPECT_EQ(made.counters(), pair(0, 6));
    ASSERT_NE(made.table, nullptr);
    EXPECT_EQ(numbers(made.table[0], made.table[0] + 6), numbers(6, 0));
}

TEST(UtBarray, WithoutANumberABlockTakesWhatFits4096Bytes)
{
    const auto per_block = [](int element_size, int asked) {
        void** table = nullptr;
        return UT_BARRAY(&table, element_size, asked, 0).getelemsallocated();
    };
    EXPECT_EQ(per_block(3, 0), 1365);
    EXPECT_EQ(per_block(8, -2), 512);
    EXPECT_EQ(per_block(4096, 0), 1);
    EXPECT_EQ(per_block(5000, 0), 1);
    EXPECT_EQ(per_block(0, 0), 4096);
    EXPECT_EQ(per_block(-1, 7), 7);
}

TEST(UtBarray, ClearsTheVariableAtItsEnd)
{
    void** table = nullptr;
    {
        UT_BARRAY array(&table, 4, 2, 0);
        (void)array.getaddr(9);
        EXPECT_NE(table, nullptr);
    }
    EXPECT_EQ(table, nullptr);
}

TEST(UtBarray, ABlockThatCannotBeHadAtFirstIsReported)
{
    for (const long failing : {0L, 1L}) {
        void* somewhere = nullptr;
        void** table = &somewhere;
        expect_broken("basutbarray", "Memory allocation failed.", [&table, failing] {
            const allocation_faults faults(failing, 1);
            const UT_BARRAY array(&table, 4, 2, 0);
            EXPECT_EQ(array.getelemsallocated(), 0);
        });
        EXPECT_EQ(table, nullptr);
    }
}

TEST(UtBarray, AnArrayThatGotNoBlockGetsOneLater)
{
    message_capture capture;
    capture.use_legacy_flow();
    surviving_manager surviving;
    std::optional<allocation_faults> faults(std::in_place, 0, 1);
    int_blocks made(4);
    faults.reset();
    EXPECT_EQ(made.table, nullptr);
    EXPECT_EQ(made.array.intgetindex(&made), -1);
    made.append(5);
    EXPECT_EQ(made.counters(), pair(1, 4));
    EXPECT_EQ(made.contents(), numbers{5});
}

TEST(UtBarray, ABlockOfTooManyBytesCannotBeHad)
{
    void** table = nullptr;
    expect_broken("basutbarray", "Memory allocation failed.",
                  [&] { const UT_BARRAY array(&table, 1 << 16, 1 << 16, 0); });
}

TEST(UtBarray, ACopySharesStorageAndVariable)
{
    alignas(int_blocks) static std::byte memory[sizeof(int_blocks)];  // one of the two must not be destroyed
    auto* const source = new (memory) int_blocks(2);
    source->append(1);
    {
        UT_BARRAY copy(source->array);
        EXPECT_EQ(copy.getaddr(0), source->array.getaddr(0));
        (void)copy.getaddr(11);
        EXPECT_EQ(copy.getaddr(10), source->table[5]);
    }
    EXPECT_EQ(source->table, nullptr);
}

// ---- getaddr

TEST(UtBarray, AddsWholeBlocks)
{
    int_blocks made(4);
    EXPECT_EQ(made.array.getaddr(3), made.table[0] + 3);
    EXPECT_EQ(made.counters(), pair(4, 4));
    const void* place = made.array.getaddr(4);  // the first one behind the block
    EXPECT_EQ(place, made.table[1]);
    EXPECT_EQ(made.counters(), pair(5, 8));
    place = made.array.getaddr(17);
    EXPECT_EQ(place, made.table[4] + 1);
    EXPECT_EQ(made.counters(), pair(18, 20));
    EXPECT_EQ(made.array.getaddr(2), made.table[0] + 2);
    EXPECT_EQ(made.counters(), pair(18, 20));
}

TEST(UtBarray, ElementsNeverMove)
{
    int_blocks made(3);
    std::vector<void*> places;
    for (long i = 0; i < 500; ++i) places.push_back(made.array.getaddr(i));
    for (std::size_t i = 0; i < places.size(); ++i)
        EXPECT_EQ(made.array.getaddr(static_cast<long>(i)), places[i]);
}

TEST(UtBarray, ANegativeIndexBreaksTheContract)
{
    int_blocks made;
    made.append(1);
    for (const long index : {-1L, LONG_MIN})
        expect_broken("basutbarray", "Bad expand index.",
                      [&] { EXPECT_EQ(made.array.getaddr(index), nullptr); });
    EXPECT_EQ(made.counters(), pair(1, 4));
}

TEST(UtBarray, WithoutMemoryReportsAndStaysAsItWas)
{
    int_blocks made(2);
    made.append(1);
    for (const long failing : {0L, 1L, 2L, 3L}) {  // the table, or one of three blocks
        expect_broken("basutbarray", "Memory allocation failed.", [&made, failing] {
            const allocation_faults faults(failing, 1);
            EXPECT_EQ(made.array.getaddr(7), nullptr);
        });
        EXPECT_EQ(made.counters(), pair(1, 2));
        EXPECT_EQ(made.contents(), numbers{1});
    }
    made.array.a_resetnum(8);
    EXPECT_EQ(made.counters(), pair(8, 8));
}

TEST(UtBarray, MoreElementsThanACountHoldsAreNotAskedFor)
{
    int_blocks made(4);
    for (const long index : {long{INT_MAX}, 1L << 40, LONG_MAX})
        expect_broken("basutbarray", "Memory allocation failed.", [&] { (void)made.array.getaddr(index); });
    EXPECT_EQ(made.counters(), pair(0, 4));
    int_blocks single(1);  // as many blocks as elements
    single.append(7);
    for (const long index : {long{INT_MAX}, LONG_MAX})
        expect_broken("basutbarray", "Memory allocation failed.", [&] { (void)single.array.getaddr(index); });
    expect_broken("basutbarray", "Memory allocation failed.", [&] { single.array.a_resetnum(LONG_MAX); });
    EXPECT_EQ(single.contents(), numbers{7});
}

TEST(UtBarray, ACountStoredFromOutsideLeadsNowhere)
{
    int_blocks made(4, 1);
    made.array.resetnumelements(100);
    EXPECT_EQ(*static_cast<int*>(made.array.getaddr(50)), 0);
    EXPECT_EQ(made.counters(), pair(100, 52));
    EXPECT_EQ(made.array.intgetindex(&made), -1);
    int key = 1;
    EXPECT_EQ(made.array.a_bsearch(&key, by_value), -1);
}

// ---- clearing

TEST(UtBarray, ClearsABlockWhenItIsMadeAndNeverAgain)
{
    int_blocks made(2, 1);
    for (const int value : {1, 2, 3}) made.append(value);
    made.array.a_resetnum(0);
    EXPECT_EQ(made.counters(), pair(0, 4));
    made.array.a_resetnum(4);
    EXPECT_EQ(made.contents(), (numbers{1, 2, 3, 0}));
    made.array.setzeromem(0);
    made.array.empty();
    made.array.a_resetnum(-1);
    EXPECT_EQ(made.counters(), pair(0, 4));
}

// ---- the operations of the base

TEST(UtBarray, OpeningAtTheCountDoesNothing)
{
    int_blocks made(2);
    for (const int value : {1, 2, 3}) made.append(value);
    made.array.a_shift(3, 1);
    EXPECT_EQ(made.contents(), (numbers{1, 2, 3}));
    made.array.a_shift(1, 1);
    EXPECT_EQ(made.contents(), (numbers{1, 2, 2, 3}));
    made.array.a_shift(4, -1);
    made.array.a_shift(1, -1);
    EXPECT_EQ(made.contents(), (numbers{2, 2}));
    EXPECT_EQ(made.counters(), pair(2, 4));
}

TEST(UtBarray, WithoutMemoryNoGapIsOpened)
{
    int_blocks made(2);
    for (const int value : {1, 2}) made.append(value);
    expect_broken("basutbarray", "Memory allocation failed.", [&] {
        const allocation_faults faults(0, 1);
        made.array.a_shift(0, 1);
    });
    EXPECT_EQ(made.contents(), (numbers{1, 2}));
}

TEST(UtBarray, SortsAndInsertsAcrossItsBlocks)
{
    int_blocks made(2);
    for (const int value : {5, 1, 4, 2, 3}) made.append(value);
    made.array.a_sort(by_value, 0, -1);
    EXPECT_EQ(made.contents(), (numbers{1, 2, 3, 4, 5}));
    const int last = 9;
    EXPECT_EQ(made.array.a_sortadd(&last, by_value), 5);
    EXPECT_EQ(made.array.a_sortadd(made.array.getaddr(0), by_value), 0);
    EXPECT_EQ(made.contents(), (numbers{1, 1, 2, 3, 4, 5, 9}));
    expect_broken("basutbarray", "Bad expand index.", [&] { made.array.a_sort(by_value, -1, 2); });
    expect_broken("basutbarray", "Bad expand index.", [&] { made.array.qsort(-1, 2, by_value); });
    made.array.a_sort(by_value, 6, 8);
    EXPECT_EQ(made.array.getnumelements(), 9);
}

TEST(UtBarray, ACopyOfTheElementsIsAsLongAsTheCount)
{
    int_blocks made(2);
    EXPECT_EQ(made.array.a_makearray(), nullptr);
    for (const int value : {1, 2, 3}) made.append(value);
    const std::unique_ptr<void, void (*)(void*)> copy(made.array.a_makearray(), std::free);
    EXPECT_EQ(std::memcmp(copy.get(), numbers{1, 2, 3}.data(), 3 * sizeof(int)), 0);
    const allocation_faults faults(0, 1);
    EXPECT_EQ(made.array.a_makearray(), nullptr);
}

TEST(UtBarray, TurnsAddressesIntoIndexes)
{
    int_blocks made(4);
    (void)made.array.getaddr(9);
    for (long i = 0; i < 10; ++i) EXPECT_EQ(made.array.intgetindex(made.array.getaddr(i)), i);
    EXPECT_EQ(made.array.intgetindex(made.table[2] + 3),
              11);  // behind the count, in a block that has elements
    EXPECT_EQ(made.array.intgetindex(reinterpret_cast<char*>(made.table[1]) + 7), 5);
    EXPECT_EQ(made.array.intgetindex(&made), -1);
    EXPECT_EQ(made.array.intgetindex(nullptr), -1);
    int* const last = made.table[2];
    made.array.a_resetnum(8);
    EXPECT_EQ(made.array.intgetindex(last), -1);  // no element of that block is counted any more
    made.array.a_resetnum(0);
    EXPECT_EQ(made.array.intgetindex(made.table[0]), -1);
}

TEST(UtBarray, TurnsAddressesOfOddElementsIntoIndexes)
{
    char** table = nullptr;
    UT_BARRAY array(reinterpret_cast<void***>(&table), 3, 2, 0);
    const void* const place = array.getaddr(3);
    EXPECT_EQ(place, table[1] + 3);
    for (long i = 0; i < 4; ++i)
        for (const int byte : {0, 1, 2}) EXPECT_EQ(array.intgetindex(table[i / 2] + i % 2 * 3 + byte), i);
    array.a_resetnum(2);
    EXPECT_EQ(array.intgetindex(table[0] + 6), -1);  // just behind the block
    EXPECT_EQ(array.intgetindex(table[0] - 1), -1);
}

// ---- the pointers of a name store

TEST(BarrayUtNameElementPtr, HoldsPointers)
{
    BARRAY_UT_NAME_ELEMENT_PTR elements(2, 1);
    EXPECT_EQ(elements.getelemsallocated(), 2);
    int things[3];
    for (int& thing : things) elements.append(reinterpret_cast<UT_NAME_ELEMENT*>(&thing));
    EXPECT_EQ(elements.size(), 3);
    EXPECT_EQ(std::as_const(elements)[2], reinterpret_cast<UT_NAME_ELEMENT*>(&things[2]));
    elements[2] = nullptr;
    EXPECT_EQ(elements[2], nullptr);
    elements.setallocationsize(7);  // says nothing about blocks
    EXPECT_EQ(elements[1], reinterpret_cast<UT_NAME_ELEMENT*>(&things[1]));
    EXPECT_EQ(BARRAY_UT_NAME_ELEMENT_PTR().getelemsallocated(), 4096 / static_cast<long>(sizeof(void*)));
}

TEST(BarrayUtNameElementPtr, ARefusedAppendStoresNothing)
{
    BARRAY_UT_NAME_ELEMENT_PTR elements(1);
    elements.append(nullptr);
    expect_broken("basutbarray", "Memory allocation failed.", [&] {
        const allocation_faults faults(0, 1);
        elements.append(nullptr);
    });
    EXPECT_EQ(elements.size(), 1);
}

// ---- beside the model

TEST(UtBarray, DoesWhatItsModelDoes)
{
    std::mt19937 random(30);
    int_blocks made(3);
    array_model::in_many_blocks expected(3, false);
    array_model::versus both(made.array, expected,
                             [&](unsigned bound) { return static_cast<unsigned>(random() % bound); });
    for (int i = 0; i < 100'000; ++i) ASSERT_EQ(both.step(), "") << "call " << i;
}

TEST(UtBarray, EveryAllocationMayFail)
{
    message_capture capture;
    bool hit = true;
    for (long n = 0; hit; ++n) {
        long count = 0;
        {
            const allocation_faults faults(n, 1);
            try {
                int_blocks made(2, 1);
                for (int i = 0; i < 9; ++i) {
                    made.append(i);
                    ++count;
                }
                std::free(made.array.a_makearray());
            } catch (int) {
            }
            hit = faults.hit();
        }
        EXPECT_EQ(count, n < 10 ? n / 2 * 2 : 9) << n;  // table and block of each two elements
    }
}

}  // namespace
