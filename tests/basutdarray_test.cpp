// tests/basutdarray_test.cpp
#include "basutdarray.h"

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
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "array_model.h"
#include "array_tools.h"
#include "child_process.h"
#include "virtual_slots.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using numbers = std::vector<int>;

/// An array of `int` with its caller's variable.
struct int_array {
    explicit int_array(int step = 1, unsigned char zeromem = 0)
        : array(reinterpret_cast<void**>(&first), sizeof(int), step, zeromem)
    {
    }
    int_array(const numbers& values, int step) : int_array(step)
    {
        for (const int value : values) append(value);
    }
    int_array(const int_array&) = delete;
    int_array& operator=(const int_array&) = delete;

    void append(int value) { *static_cast<int*>(array.getaddr(array.getnumelements())) = value; }
    numbers contents() const { return {first, first + array.getnumelements()}; }
    /// Count and capacity.
    std::pair<long, long> counters() const { return {array.getnumelements(), array.getelemsallocated()}; }

    int* first = &nowhere;  ///< the variable
    UT_DARRAY array;
    static inline int nowhere = 0;
};

using pair = std::pair<long, long>;

int by_value(const void* a, const void* b)
{
    const int x = *static_cast<const int*>(a);
    const int y = *static_cast<const int*>(b);
    return (x > y) - (x < y);
}

// ---- what programs were compiled against

#if defined(TEST_KNOWS_SLOTS)
TEST(UtDarray, HasTheSlotsOfTheBaseAndNoMore)
{
    EXPECT_EQ(slot_of(&UT_DARRAY::a_shift), 2U);
    EXPECT_EQ(slot_of(&UT_DARRAY::a_resetnum), 7U);
    EXPECT_EQ(slot_of(&UT_DARRAY::intgetindex), 8U);
    EXPECT_EQ(slot_of(&UT_DARRAY::a_makearray), 9U);
    EXPECT_EQ(slot_of(&UT_DARRAY::getaddr), 12U);
    struct derived : UT_DARRAY {
        using UT_DARRAY::UT_DARRAY;
        virtual void added() {}
    };
    EXPECT_EQ(slot_of(&derived::added), 13U);
}

TEST(UtDarray, AddsTheVariableToTheFieldsOfTheBase)
{
    EXPECT_EQ(sizeof(UT_BASE_ARRAY), 4 * sizeof(void*));
    EXPECT_EQ(sizeof(UT_DARRAY), sizeof(UT_BASE_ARRAY) + sizeof(void*));
    EXPECT_EQ(sizeof(DARRAY_LONG), sizeof(UT_DARRAY) + sizeof(void*));
    int_array made;
    void* variable = nullptr;
    std::memcpy(&variable, reinterpret_cast<const char*>(&made.array) + sizeof(UT_BASE_ARRAY),
                sizeof variable);
    EXPECT_EQ(variable, static_cast<void*>(&made.first));
}
#endif

TEST(UtDarray, TheTypedFormsHaveTheirElements)
{
    EXPECT_TRUE((std::is_same_v<DARRAY_LONG::value_type, std::int32_t>));
    EXPECT_TRUE((std::is_same_v<DARRAY_NAME::value_type, char*>));
    EXPECT_TRUE((std::is_same_v<DARRAY_BYTE::value_type, unsigned char>));
    EXPECT_TRUE((std::is_same_v<DARRAY_UT_LIN_VALUE::value_type, double>));
    EXPECT_TRUE((std::is_same_v<DARRAY_UT_PTRPTR::value_type, void**>));
    EXPECT_TRUE((std::is_same_v<DARRAY_UT_CMDOPS::value_type, std::int32_t>));
    EXPECT_TRUE((std::is_base_of_v<UT_DARRAY, DARRAY_UT_CMDOPS>));
}

// ---- construction and destruction

TEST(UtDarray, StartsEmptyWithRoomForOneStep)
{
    const int_array made(4);
    EXPECT_EQ(made.counters(), pair(0, 4));
    EXPECT_NE(made.first, nullptr);
    EXPECT_NE(made.first, &int_array::nowhere);
}

TEST(UtDarray, ClearsItsFirstBlock)
{
    int_array made(5, 1);
    EXPECT_EQ(numbers(made.first, made.first + 5), numbers(5, 0));
}

TEST(UtDarray, ClearsTheVariableAtItsEnd)
{
    void* variable = &variable;
    {
        UT_DARRAY array(&variable, 4, 1, 0);
        EXPECT_NE(variable, nullptr);
    }
    EXPECT_EQ(variable, nullptr);
}

TEST(UtDarray, AcceptsAVariableThatWasClearedBeforeItsEnd)
{
    void* variable = nullptr;
    UT_DARRAY array(&variable, 4, 1, 0);
    std::free(std::exchange(variable, nullptr));
}

TEST(UtDarray, AnElementSizeBelowOneCountsAsOne)
{
    unsigned char* variable = nullptr;
    UT_DARRAY array(reinterpret_cast<void**>(&variable), -3, 2, 0);
    EXPECT_EQ(array.getaddr(1), variable + 1);
}

TEST(UtDarray, ABlockThatCannotBeHadAtFirstIsReported)
{
    void* variable = &variable;
    expect_broken("basutdarray", "Memory allocation failed.", [&] {
        variable = &variable;
        const allocation_faults faults(0, 1);
        const UT_DARRAY array(&variable, 4, 1, 1);
        EXPECT_EQ(array.getelemsallocated(), 0);
    });
    EXPECT_EQ(variable, nullptr);
}

TEST(UtDarray, AnArrayThatGotNoBlockGetsOneLater)
{
    message_capture capture;
    capture.use_legacy_flow();
    surviving_manager surviving;
    std::optional<allocation_faults> faults(std::in_place, 0, 1);
    int_array made(4, 1);
    faults.reset();
    EXPECT_EQ(made.first, nullptr);
    EXPECT_EQ(made.array.a_makearray(), nullptr);
    made.append(5);
    EXPECT_EQ(made.counters(), pair(1, 4));
    EXPECT_EQ(numbers(made.first, made.first + 4), (numbers{5, 0, 0, 0}));
}

TEST(UtDarray, TheDefaultStepComesFromTheEnvironmentOfTheLoad)
{
    const auto capacities = [](const char* value) {
        const child_result seen = run_child(child_program("basutdarray_child"), {"4", "1024", "1", "0"},
                                            {{"DARRAY_DEFAULT_ELE_CNT", value}});
        EXPECT_EQ(seen.exit_status, 0) << seen.err;
        return seen.out;
    };
    const std::string by_size = "512 16 2048 2048 512\n";
    EXPECT_EQ(capacities(nullptr), "1 1 1 1 1\n");
    EXPECT_EQ(capacities("12"), "12 12 12 12 12\n");
    EXPECT_EQ(capacities(" +9x"), "9 9 9 9 9\n");
    for (const char* const none : {"0", "-5", "many", ""}) EXPECT_EQ(capacities(none), by_size) << none;
}

TEST(UtDarray, ACopySharesStorageAndVariable)
{
    alignas(int_array) static std::byte memory[sizeof(int_array)];  // one of the two must not be destroyed
    auto* const source = new (memory) int_array({1, 2}, 4);
    {
        UT_DARRAY copy(source->array);
        EXPECT_EQ(copy.getaddr(0), source->first);
        EXPECT_EQ(copy.getnumelements(), 2);
        (void)copy.getaddr(100);
        EXPECT_EQ(copy.getaddr(0), source->first);
        EXPECT_EQ(source->first[1], 2);
    }
    EXPECT_EQ(source->first, nullptr);
}

// ---- getaddr

TEST(UtDarray, TheFirstElementNeedsNoReallocation)
{
    int_array made;
    const int* const block = made.first;
    const allocation_faults counting(LONG_MAX);
    EXPECT_EQ(made.array.getaddr(0), block);
    EXPECT_EQ(counting.counted(), 0);
    EXPECT_EQ(made.counters(), pair(1, 1));
}

TEST(UtDarray, AddressingWithinTheCapacityRaisesTheCountAndMovesNothing)
{
    int_array made(8);
    int* const block = made.first;
    EXPECT_EQ(made.array.getaddr(5), block + 5);
    EXPECT_EQ(made.array.getaddr(2), block + 2);
    EXPECT_EQ(made.counters(), pair(6, 8));
}

TEST(UtDarray, GrowsToTheNextStepOrTwiceTheCapacity)
{
    const auto capacity = [](int step, long first, long index) {
        int_array made(step);
        (void)made.array.getaddr(first);
        (void)made.array.getaddr(index);
        return made.counters();
    };
    EXPECT_EQ(capacity(4, 0, 9), pair(10, 12));
    EXPECT_EQ(capacity(1, 3, 4), pair(5, 8));
    EXPECT_EQ(capacity(4, 0, 4), pair(5, 8));
    EXPECT_EQ(capacity(4, 0, 8), pair(9, 12));  // at least one spare place
    EXPECT_EQ(capacity(1, 0, 1), pair(2, 2));
    EXPECT_EQ(capacity(10, 0, 99), pair(100, 100));
}

TEST(UtDarray, AStepBelowOneCountsAsOne)
{
    for (const int step : {0, -4}) {
        int_array made(4);
        made.array.setallocationsize(step);
        (void)made.array.getaddr(9);
        EXPECT_EQ(made.counters(), pair(10, 10));
        made.array.a_resetnum(3);
        EXPECT_EQ(made.counters(), pair(3, 3));
    }
}

TEST(UtDarray, ANegativeIndexBreaksTheContract)
{
    int_array made({1, 2}, 4);
    for (const long index : {-1L, LONG_MIN})
        expect_broken("basutdarray", "Bad index.", [&] { EXPECT_EQ(made.array.getaddr(index), nullptr); });
    EXPECT_EQ(made.contents(), (numbers{1, 2}));
}

TEST(UtDarray, ClearsWhatGrowsWhereToldTo)
{
    int_array made(4, 1);
    made.append(7);
    (void)made.array.getaddr(9);
    EXPECT_EQ(numbers(made.first, made.first + 12), (numbers{7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(UtDarray, WithoutMemoryTriesEverSmallerBlocks)
{
    for (const auto& [failing, capacity] : {pair(1, 12), pair(2, 10), pair(3, 9)}) {
        int_array made(8, 1);
        for (int i = 0; i < 8; ++i) made.append(i);
        const allocation_faults faults(0, failing);
        *static_cast<int*>(made.array.getaddr(8)) = 8;
        EXPECT_EQ(faults.counted(), failing + 1);
        EXPECT_EQ(made.counters(), pair(9, capacity));
        EXPECT_EQ(made.contents(), (numbers{0, 1, 2, 3, 4, 5, 6, 7, 8}));
        for (long i = 9; i < capacity; ++i) EXPECT_EQ(made.first[i], 0);
    }
}

TEST(UtDarray, WithoutAnyMemoryReportsAndStaysAsItWas)
{
    struct {
        int capacity;
        long index;
        int tries;  ///< a smaller block that does not hold the index is not tried
    } const cases[] = {{8, 8, 4}, {8, 10, 2}, {8, 12, 1}, {8, 20, 1},
                       {6, 6, 3}, {2, 2, 2},  {1, 1, 1},  {1, INT_MAX - 1L, 1}};
    for (const auto& [capacity, index, tries] : cases) {
        int_array made(capacity);
        for (int i = 0; i < capacity; ++i) made.append(i);
        const numbers before = made.contents();
        const int* const block = made.first;
        expect_broken("basutdarray", "Memory allocation failed.", [&made, i = index, n = tries] {
            const allocation_faults faults(0, n);
            EXPECT_EQ(made.array.getaddr(i), nullptr);
        });
        EXPECT_EQ(made.first, block);
        EXPECT_EQ(made.contents(), before);
        EXPECT_EQ(made.array.getelemsallocated(), capacity);
        if (tries == 1) continue;
        const allocation_faults faults(0, tries - 1);
        EXPECT_NE(made.array.getaddr(index), nullptr);
    }
}

TEST(UtDarray, MoreElementsThanACountHoldsAreNotAskedFor)
{
    int_array made(numbers{1}, 4);
    for (const long index : {INT_MAX + 1L, 1L << 40, LONG_MAX}) {
        expect_broken("basutdarray", "Memory allocation failed.", [&] { (void)made.array.getaddr(index); });
        expect_broken("basutdarray", "Memory allocation failed.", [&] { made.array.a_resetnum(index); });
    }
    EXPECT_EQ(made.counters(), pair(1, 4));
    void* variable = nullptr;
    UT_DARRAY bytes(&variable, 1, 4, 0);  // the index fits, the step above it does not
    expect_broken("basutdarray", "Memory allocation failed.", [&] { (void)bytes.getaddr(INT_MAX - 1L); });
    EXPECT_EQ(bytes.getelemsallocated(), 4);
}

// ---- a_resetnum and resizebuffer

TEST(UtDarray, AHigherCountExpands)
{
    int_array made(4, 1);
    made.array.setnumelements(6);
    EXPECT_EQ(made.counters(), pair(6, 8));
    EXPECT_EQ(made.contents(), numbers(6, 0));
}

TEST(UtDarray, ALowerCountGivesBackWholeSteps)
{
    const auto counters = [](int step, long count, long lower) {
        int_array made(step);
        made.array.a_resetnum(count);
        made.array.a_resetnum(lower);
        return made.counters();
    };
    EXPECT_EQ(counters(4, 20, 9), pair(9, 12));
    EXPECT_EQ(counters(4, 20, 8), pair(8, 8));
    EXPECT_EQ(counters(4, 20, 17), pair(17, 20));  // less than a step is spare
    EXPECT_EQ(counters(4, 20, 0), pair(0, 4));
    EXPECT_EQ(counters(4, 20, -3), pair(0, 4));
    EXPECT_EQ(counters(4, 4, 0), pair(0, 4));  // the capacity is the step
    EXPECT_EQ(counters(1, 5, 4), pair(4, 4));
}

TEST(UtDarray, TheNewStepGovernsShrinking)
{
    int_array made(4);
    made.array.a_resetnum(8);
    made.array.setallocationsize(8);
    made.array.a_resetnum(0);  // the capacity happens to be the step
    EXPECT_EQ(made.counters(), pair(0, 8));
    made.array.setallocationsize(3);
    made.array.a_resetnum(5);
    made.array.a_resetnum(4);
    EXPECT_EQ(made.counters(), pair(4, 6));
    made.array.setallocationsize(100);  // above the capacity
    made.array.a_resetnum(1);
    EXPECT_EQ(made.counters(), pair(1, 6));
}

TEST(UtDarray, ClearsWhatALowerCountGivesUp)
{
    int_array made({1, 2, 3, 4, 5, 6}, 8);
    made.array.setzeromem(1);
    made.array.a_resetnum(2);  // the block stays
    EXPECT_EQ(numbers(made.first, made.first + 6), (numbers{1, 2, 0, 0, 0, 0}));
    made.array.setallocationsize(3);
    made.array.a_resetnum(8);
    std::fill(made.first, made.first + 8, 9);
    made.array.a_resetnum(7);
    made.first[7] = 9;  // behind the count
    made.array.a_resetnum(4);
    EXPECT_EQ(made.counters(), pair(4, 6));  // shorter now, and clear up to its end
    EXPECT_EQ(numbers(made.first, made.first + 6), (numbers{9, 9, 9, 9, 0, 0}));
}

TEST(UtDarray, AShorterBlockIsClearedPastTheOldCountToo)
{
    int_array made(2);
    made.array.a_resetnum(8);
    std::fill(made.first, made.first + 8, 9);
    made.array.resetnumelements(4);
    made.array.setzeromem(1);
    made.array.a_resetnum(3);
    EXPECT_EQ(made.counters(), pair(3, 4));
    EXPECT_EQ(numbers(made.first, made.first + 4), (numbers{9, 9, 9, 0}));
    made.array.setallocationsize(5);
    made.array.a_resetnum(10);
    std::fill(made.first, made.first + 10, 9);
    made.array.resetnumelements(2);
    made.array.setallocationsize(4);
    made.array.a_resetnum(1);
    EXPECT_EQ(made.counters(), pair(1, 4));
    EXPECT_EQ(numbers(made.first, made.first + 4), (numbers{9, 0, 0, 0}));
}

TEST(UtDarray, WithoutClearingOldValuesShowAgain)
{
    int_array made({1, 2, 3}, 8);
    made.array.a_resetnum(1);
    made.array.a_resetnum(3);
    EXPECT_EQ(made.contents(), (numbers{1, 2, 3}));
    made.array.a_resetnum(1);
    made.array.setzeromem(1);
    made.array.a_resetnum(3);  // nothing is cleared between count and capacity
    EXPECT_EQ(made.contents(), (numbers{1, 2, 3}));
}

TEST(UtDarray, ABlockThatCannotShrinkStays)
{
    int_array made({1, 2, 3, 4, 5, 6, 7, 8}, 1);
    made.array.setzeromem(1);
    const allocation_faults faults(0, 1);
    made.array.a_resetnum(2);
    EXPECT_TRUE(faults.hit());
    EXPECT_EQ(made.counters(), pair(2, 8));
    EXPECT_EQ(numbers(made.first, made.first + 8), (numbers{1, 2, 0, 0, 0, 0, 0, 0}));
}

TEST(UtDarray, TheBufferIsResizedAndTheCountKept)
{
    int_array made({1, 2, 3}, 1);
    EXPECT_EQ(made.array.resizebuffer(10), 1);
    EXPECT_EQ(made.counters(), pair(3, 10));
    EXPECT_EQ(made.array.resizebuffer(3), 1);
    EXPECT_EQ(made.counters(), pair(3, 10));  // the count is 3 already
    EXPECT_EQ(made.array.resizebuffer(2), 1);
    EXPECT_EQ(made.counters(), pair(3, 2));
    EXPECT_EQ(made.first[1], 2);
}

/// Ten elements of which a resizebuffer has left four.
struct shortened : int_array {
    explicit shortened(unsigned char zeromem = 1) : int_array({9, 8, 7, 6, 5, 4, 3, 2, 1, 1}, 4)
    {
        array.setzeromem(zeromem);
        array.resizebuffer(4);
        EXPECT_EQ(counters(), pair(10, 4));
    }
};

TEST(UtDarray, AddressingALostElementGrowsAndKeepsTheCount)
{
    shortened made;
    for (const auto& [index, capacity] : {pair(3, 4), pair(6, 8), pair(9, 16)}) {
        const void* const place = made.array.getaddr(index);
        EXPECT_EQ(place, made.first + index);
        EXPECT_EQ(made.counters(), pair(10, capacity));
    }
    EXPECT_EQ(made.contents(), (numbers{9, 8, 7, 6, 0, 0, 0, 0, 0, 0}));
}

TEST(UtDarray, ShiftingSortingAndCopyingBringLostElementsBackFirst)
{
    shortened opened;
    opened.array.a_shift(0, 1);
    EXPECT_EQ(opened.contents(), (numbers{9, 9, 8, 7, 6, 0, 0, 0, 0, 0, 0}));
    shortened at_count;
    at_count.array.a_shift(10, 1);
    EXPECT_EQ(at_count.counters(), pair(11, 12));
    shortened closed;
    closed.array.a_shift(1, -1);
    EXPECT_EQ(closed.contents(), (numbers{8, 7, 6, 0, 0, 0, 0, 0, 0}));
    shortened sorted;
    sorted.array.qsort(0, 3, by_value);
    EXPECT_EQ(sorted.contents(), (numbers{6, 7, 8, 9, 0, 0, 0, 0, 0, 0}));
    shortened copied;
    const std::unique_ptr<void, void (*)(void*)> made(copied.array.a_makearray(), std::free);
    EXPECT_EQ(copied.counters(), pair(10, 12));
    EXPECT_EQ(static_cast<const int*>(made.get())[11], 0);
}

TEST(UtDarray, SearchingBringsLostElementsBackWhereItLooks)
{
    int_array made({1, 2, 3, 4, 5, 6, 7, 8}, 1);
    made.array.setzeromem(1);
    made.array.resizebuffer(2);
    // The probes are 3, which grows to four elements and is 0, 5 (to eight, 0), 6 and 7.
    EXPECT_EQ(made.array.a_sortadd(made.first + 1, by_value), 8);
    EXPECT_EQ(made.contents(), (numbers{1, 2, 0, 0, 0, 0, 0, 0, 2}));
}

TEST(UtDarray, WithoutMemoryLostElementsStayLost)
{
    shortened made;
    message_capture capture;
    capture.use_legacy_flow();
    class : public UT_MSGMAN {
    public:
        void fatal(const char*, const char*, const char*, short, const char*, int, long) override
        {
            ++reports;
        }
        int reports = 0;
    } surviving;
    UT_MSGMAN* const before = std::exchange(ut_msgman, &surviving);
    const auto without_memory = [&](const auto& work) {
        surviving.reports = 0;
        const allocation_faults faults(0);
        work();
        return surviving.reports > 0;
    };
    int key = 1;
    EXPECT_TRUE(without_memory([&] { made.array.a_shift(0, 1); }));
    EXPECT_TRUE(without_memory([&] { made.array.a_shift(1, -1); }));
    EXPECT_TRUE(without_memory([&] { made.array.qsort(0, 9, by_value); }));
    EXPECT_TRUE(without_memory([&] { made.array.a_sort(by_value, 0, -1); }));
    EXPECT_TRUE(without_memory([&] { EXPECT_EQ(made.array.a_makearray(), nullptr); }));
    EXPECT_TRUE(without_memory([&] { EXPECT_EQ(made.array.a_bsearch(&key, by_value), -1); }));
    EXPECT_TRUE(without_memory([&] { EXPECT_EQ(made.array.a_sortadd(&key, by_value), -1); }));
    EXPECT_TRUE(without_memory([&] { EXPECT_EQ(made.array.a_sortuadd(&key, by_value, nullptr), -1); }));
    ut_msgman = before;
    EXPECT_EQ(made.counters(), pair(10, 4));
    EXPECT_EQ(numbers(made.first, made.first + 4), (numbers{9, 8, 7, 6}));
}

// ---- a_shift

TEST(UtDarray, OpensAndClosesGapsInOneMove)
{
    int_array made({1, 2, 3}, 4);
    made.array.setzeromem(1);
    made.array.a_shift(1, 1);
    EXPECT_EQ(made.contents(), (numbers{1, 2, 2, 3}));  // the gap is a duplicate
    made.array.a_shift(0, 1);
    EXPECT_EQ(made.counters(), pair(5, 8));
    made.array.a_shift(5, 1);
    EXPECT_EQ(made.contents(), (numbers{1, 1, 2, 2, 3, 0}));
    made.array.a_shift(1, -1);
    EXPECT_EQ(made.contents(), (numbers{1, 2, 2, 3, 0}));
    made.array.a_shift(5, 0);
    EXPECT_EQ(made.contents(), (numbers{1, 2, 2, 3}));
    for (const long index : {-1L, 0L, 5L, LONG_MAX}) made.array.a_shift(index, -1);
    for (const long index : {-1L, 5L, LONG_MIN}) made.array.a_shift(index, 1);
    EXPECT_EQ(made.contents(), (numbers{1, 2, 2, 3}));
}

TEST(UtDarray, ShiftsAndIndexesElementsOfOddSizes)
{
    char* first = nullptr;
    UT_DARRAY array(reinterpret_cast<void**>(&first), 3, 2, 0);
    for (const char* const each : {"abc", "def", "ghi"})
        std::memcpy(array.getaddr(array.getnumelements()), each, 3);
    array.a_shift(1, 1);
    EXPECT_EQ(std::string(first, 12), "abcdefdefghi");
    array.a_shift(1, -1);
    EXPECT_EQ(std::string(first, 9), "defdefghi");
    EXPECT_EQ(array.intgetindex(first + 6), 2);
    for (const int between : {1, 2, 4, 8}) EXPECT_EQ(array.intgetindex(first + between), -1);
}

TEST(UtDarray, OpeningAnEmptyArrayAtItsCountExpandsIt)
{
    int_array made(2, 1);
    made.array.a_shift(0, -1);
    EXPECT_EQ(made.counters(), pair(0, 2));
    made.array.a_shift(0, 1);
    EXPECT_EQ(made.contents(), numbers{0});
}

TEST(UtDarray, DeletingMayShrinkTheBlock)
{
    int_array made(1);
    for (const int value : {1, 2, 3, 4, 5}) made.append(value);
    EXPECT_EQ(made.counters(), pair(5, 8));
    made.array.a_shift(5, -1);
    EXPECT_EQ(made.counters(), pair(4, 4));
}

TEST(UtDarray, WithoutMemoryNoGapIsOpened)
{
    int_array made({1, 2}, 2);
    expect_broken("basutdarray", "Memory allocation failed.", [&] {
        const allocation_faults faults(0, 2);
        made.array.a_shift(1, 1);
    });
    EXPECT_EQ(made.contents(), (numbers{1, 2}));
}

// ---- sorting and searching

TEST(UtDarray, SortsAsTheBaseDoes)
{
    int_array made({3, 1, 2}, 4);
    made.array.a_sort(by_value, 0, -1);
    EXPECT_EQ(made.contents(), (numbers{1, 2, 3}));
    expect_broken("basutdarray", "Bad index.", [&] { made.array.a_sort(by_value, -1, 2); });
    expect_broken("basutdarray", "Bad index.", [&] { made.array.qsort(-5, 1, by_value); });
    EXPECT_EQ(made.counters(), pair(3, 4));
    made.array.qsort(0, 2, nullptr);
    int_array empty;
    empty.array.a_sort(by_value, 0, -1);
    EXPECT_EQ(empty.counters(), pair(0, 1));
}

TEST(UtDarray, SortingPastTheCountGrowsOnce)
{
    int_array made(1, 1);
    for (const int value : {3, 1, 2}) made.append(value);
    made.array.a_sort(by_value, 0, 8);
    EXPECT_EQ(made.counters(), pair(9, 9));
    EXPECT_EQ(made.contents(), (numbers{0, 0, 0, 0, 0, 0, 1, 2, 3}));
}

TEST(UtDarray, SortsElementsOfEverySize)
{
    for (int size = 1; size <= 80; ++size) {
        const auto bytes = static_cast<std::size_t>(size);
        unsigned char* first = nullptr;
        UT_DARRAY array(reinterpret_cast<void**>(&first), size, 0, 0);
        for (int i = 0; i < 100; ++i) std::memset(array.getaddr(i), i * 37 % 101, bytes);
        array.a_sort([](const void* a, const void* b) {
            return *static_cast<const unsigned char*>(a) - *static_cast<const unsigned char*>(b);
        });
        for (std::size_t i = 0; i < 100 * bytes; ++i) {
            EXPECT_EQ(first[i], first[i / bytes * bytes]) << size;
            EXPECT_LE(first[i < bytes ? 0 : i - bytes], first[i]) << size;
        }
    }
}

/// The array that a comparison changes.
UT_DARRAY* changed = nullptr;

TEST(UtDarray, AComparisonMayChangeTheArray)
{
    message_capture capture;
    static std::mt19937 random(3);
    const auto changes = [](const void*, const void*) {
        if (random() % 4 == 0) changed->a_resetnum(static_cast<long>(random() % 100));
        return static_cast<int>(random() % 3) - 1;
    };
    for (int i = 0; i < 200; ++i) {
        int_array made(1 + i % 7, 1);
        changed = &made.array;
        made.array.a_resetnum(50);
        const int key = 1;
        made.array.qsort(0, 49, changes);
        (void)made.array.a_bsearch(&key, changes);
        (void)made.array.a_sortadd(&key, changes);
        EXPECT_LE(made.array.getnumelements(), made.array.getelemsallocated());
    }
}

TEST(UtDarray, AKeyMayBeAnElementOfTheArray)
{
    int_array made({1, 3, 5}, 3);  // full: the insertion moves the block
    EXPECT_EQ(made.array.a_sortadd(made.first + 2, by_value), 2);
    EXPECT_EQ(made.array.a_sortadd(made.first, by_value), 0);
    EXPECT_EQ(made.contents(), (numbers{1, 1, 3, 5, 5}));
}

// ---- addresses and copies

TEST(UtDarray, TurnsAddressesIntoIndexes)
{
    int_array made({1, 2, 3}, 4);
    auto* const bytes = reinterpret_cast<char*>(made.first);
    EXPECT_EQ(made.array.intgetindex(made.first), 0);
    EXPECT_EQ(made.array.intgetindex(made.first + 2), 2);
    EXPECT_EQ(made.array.intgetindex(bytes + 5), -1);
    const auto far = [&](std::int64_t distance) {
        return reinterpret_cast<void*>(reinterpret_cast<std::uintptr_t>(bytes) +
                                       static_cast<std::uintptr_t>(distance));
    };
    for (const int in_front : {-4, -8, -400}) EXPECT_EQ(made.array.intgetindex(far(in_front)), -1);
    EXPECT_EQ(made.array.intgetindex(far(400)), 100);  // neither count nor block is looked at
    EXPECT_EQ(made.array.intgetindex(nullptr), -1);
}

TEST(UtDarray, ACopyOfTheElementsIsAsLongAsTheCapacity)
{
    int_array made({1, 2, 3, 4}, 8);
    made.array.a_resetnum(2);
    const std::unique_ptr<void, void (*)(void*)> copy(made.array.a_makearray(), std::free);
    EXPECT_EQ(std::memcmp(copy.get(), numbers{1, 2, 3, 4}.data(), 4 * sizeof(int)), 0);
    made.array.empty();
    EXPECT_EQ(made.array.a_makearray(), nullptr);
    made.append(1);
    const allocation_faults faults(0, 1);
    EXPECT_EQ(made.array.a_makearray(), nullptr);
}

// ---- the typed form

TEST(UtDarrayT, AppendsIndexesAndLoops)
{
    DARRAY_LONG array;
    EXPECT_TRUE(array.is_empty());
    for (int i = 0; i < 100; ++i) array.append(i);
    EXPECT_EQ(array.size(), 100);
    EXPECT_EQ(array.getelemsallocated(), 128);
    EXPECT_EQ(array[99], 99);
    array[99] = -1;
    int sum = 0;
    for (int& value : array) sum += value;
    EXPECT_EQ(sum, 98 * 99 / 2 - 1);
    const DARRAY_LONG& constant = array;
    EXPECT_EQ(constant[1] + constant.at(2), 3);
    EXPECT_EQ(constant.end() - constant.begin(), 100);
    array.empty();
    EXPECT_TRUE(array.is_empty());
}

TEST(UtDarrayT, AppendsItsOwnElementWhereItGrows)
{
    UT_DARRAY_T<int> array(2);
    array.append(5);
    array.append(6);
    array.append(array[0]);
    EXPECT_THAT(array, ElementsAre(5, 6, 5));
}

TEST(UtDarrayT, AnAppendBelowTheCapacityAllocatesNothingAndOneThatFailsStoresNothing)
{
    UT_DARRAY_T<int> array(2);
    array.append(1);
    {
        const allocation_faults counting(LONG_MAX);
        array.append(2);
        EXPECT_EQ(counting.counted(), 0);
    }
    expect_broken("basutdarray", "Memory allocation failed.", [&] {
        const allocation_faults faults(0, 2);
        array.append(3);
    });
    EXPECT_THAT(array, ElementsAre(1, 2));
}

TEST(UtDarrayT, ChecksAccessByAt)
{
    UT_DARRAY_T<int> array(2);
    array.append(1);
    array.at(0) = 4;
    EXPECT_EQ(array[0], 4);
    for (const long index : {-1L, 1L})
        expect_broken("basutarray", "Element out of range. Use expand.",
                      [&] { EXPECT_EQ(array.at(index), 0); });
    array.expand(3) = 9;
    EXPECT_EQ(array.size(), 4);
    EXPECT_EQ(array.at(3), 9);
    expect_broken("basutdarray", "Bad index.", [&] { array.expand(-1) = 3; });
    expect_broken("basutarray", "Element out of range. Use expand.",
                  [&] { EXPECT_EQ(array.at(-1), 0); });  // not what was stored there before
}

TEST(UtDarrayT, InsertsAndRemoves)
{
    UT_DARRAY_T<int> array;
    array.insert(0, 3);
    array.insert(0, 1);
    array.insert(1, array[0]);
    array.insert(3, 4);
    EXPECT_THAT(array, ElementsAre(1, 1, 3, 4));
    array.remove(1);
    array.remove(2);
    EXPECT_THAT(array, ElementsAre(1, 3));
    array.insert(0, array[1]);  // its place holds another element by the time it is stored
    EXPECT_THAT(array, ElementsAre(3, 1, 3));
    array.remove(0);
    for (const long index : {-1L, 3L})
        expect_broken("basutarray", "Element out of range. Use expand.", [&] { array.insert(index, 7); });
    for (const long index : {-1L, 2L})
        expect_broken("basutarray", "Element out of range. Use expand.", [&] { array.remove(index); });
    expect_broken("basutdarray", "Memory allocation failed.", [&] {
        const allocation_faults faults(0, 2);
        array.insert(0, 7);
    });
    EXPECT_THAT(array, ElementsAre(1, 3));
}

int by_last_digit(int a, int b)
{
    return a % 10 - b % 10;
}

TEST(UtDarrayT, SortsAndSearchesByItsElements)
{
    UT_DARRAY_T<int> array;
    for (const int value : {31, 12, 23}) array.append(value);
    array.sort();
    EXPECT_THAT(array, ElementsAre(12, 23, 31));
    EXPECT_EQ(array.find(23), 1);
    EXPECT_EQ(array.find(24), -1);
    array.sort<by_last_digit>();
    EXPECT_THAT(array, ElementsAre(31, 12, 23));
    EXPECT_EQ(array.find<by_last_digit>(42), 1);
    EXPECT_EQ(array.sort_add<by_last_digit>(1), 0);
    bool inserted = true;
    EXPECT_EQ(array.sort_add_unique<by_last_digit>(3, &inserted), 3);
    EXPECT_FALSE(inserted);
    EXPECT_EQ(array.sort_add_unique<by_last_digit>(4, &inserted), 4);
    EXPECT_TRUE(inserted);
    EXPECT_EQ(array.sort_add_unique<by_last_digit>(4), 4);
    EXPECT_THAT(array, ElementsAre(1, 31, 12, 23, 4));
}

TEST(UtDarrayT, SortsNamesByTheirText)
{
    char first[] = "alu";
    char second[] = "core";
    char third[] = "core";
    DARRAY_NAME names;
    for (char* const name : {second, first}) names.append(name);
    names.sort<std::strcmp>();
    EXPECT_THAT(names, ElementsAre(first, second));
    EXPECT_EQ(names.find<std::strcmp>(third), 1);
}

TEST(UtDarrayT, SortsRealNumbersThatHaveNoOrderWithoutHarm)
{
    DARRAY_UT_LIN_VALUE values(4, 1);
    for (const double value : {2.5, -1.0, 0.5}) values.append(value);
    values.sort();
    EXPECT_THAT(values, ElementsAre(-1.0, 0.5, 2.5));
}

TEST(UtDarrayT, LoopsOverAllElementsOfAShortenedBuffer)
{
    UT_DARRAY_T<int> array(2, 1);
    for (int i = 1; i <= 6; ++i) array.append(i);
    array.resizebuffer(2);
    EXPECT_EQ(array.getelemsallocated(), 2);
    EXPECT_THAT(std::as_const(array), ElementsAre(1, 2, 0, 0, 0, 0));
    array.resizebuffer(2);
    const int* const first = array.begin();
    EXPECT_GE(array.getelemsallocated(), 6);  // before the loop knows where it starts
    EXPECT_EQ(array.end() - first, 6);
    array.resizebuffer(2);
    EXPECT_EQ(array.at(5), 0);
    array.resizebuffer(2);
    array.append(7);
    EXPECT_EQ(array[6], 7);
}

TEST(UtDarrayT, ACopyIsAnotherNameForTheStorage)
{
    using typed = UT_DARRAY_T<int>;
    alignas(typed) static std::byte memory[sizeof(typed)];  // one of the two must not be destroyed
    auto* const source = new (memory) typed(4);
    source->append(1);
    {
        typed copy(*source);
        copy = *source;
        EXPECT_EQ(copy.begin(), source->begin());
        EXPECT_EQ(copy.size(), 1);
    }
    EXPECT_EQ(source->begin(), nullptr);
}

TEST(UtDarrayT, ATableOfOpCodesHasItsStrings)
{
    DARRAY_UT_CMDOPS table(8);
    EXPECT_EQ(table.getelemsallocated(), 8);
    char word[] = "word";
    table.append(13);
    table.append(static_cast<ut_long>(table.strings().size()));
    table.strings().append(word);
    EXPECT_THAT(table, ElementsAre(13, 0));
    EXPECT_EQ(std::as_const(table).strings()[table[1]], word);
}

// ---- beside the model

TEST(UtDarray, DoesWhatItsModelDoes)
{
    std::mt19937 random(20);
    int_array made(3);
    array_model::in_one_block expected(3, false);
    array_model::versus both(made.array, expected,
                             [&](unsigned bound) { return static_cast<unsigned>(random() % bound); });
    for (int i = 0; i < 100'000; ++i) ASSERT_EQ(both.step(), "") << "call " << i;
}

TEST(UtDarray, EveryAllocationMayFail)
{
    numbers seen;
    seen.reserve(10);
    const auto work = [&seen] {
        int_array made(1, 1);
        for (int i = 0; i < 40; ++i) made.append(i);
        made.array.a_shift(3, 1);
        const int key = 7;
        (void)made.array.a_sortadd(&key, by_value);
        std::free(made.array.a_makearray());
        made.array.a_resetnum(5);
        seen.assign(made.first, made.first + made.array.getnumelements());
    };
    message_capture capture;
    bool hit = true;
    for (long n = 0; hit; ++n) {
        seen.clear();
        bool refused = false;
        {
            const allocation_faults faults(n, 1);
            try {
                work();
            } catch (int) {  // the first block, or the second of which there is no smaller one
                refused = true;
            }
            hit = faults.hit();
        }
        EXPECT_EQ(seen, refused ? numbers{} : (numbers{0, 1, 2, 3, 3})) << n;
        EXPECT_EQ(refused, n < 2) << n;
    }
}

}  // namespace
