// tests/utarray_test.cpp
#include "utarray.h"

#include <climits>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "collection_model.h"

namespace {

using collection_model::element;
using collection_model::walked;

/// The elements numbered 1 to `count`.
std::unique_ptr<utArray> numbered(int count, int capacity = 16)
{
    auto array = std::make_unique<utArray>(capacity);
    for (int i = 1; i <= count; ++i) array->insert(element(static_cast<std::uintptr_t>(i)));
    return array;
}

std::vector<void*> elements(std::initializer_list<std::uintptr_t> numbers)
{
    std::vector<void*> all;
    for (const std::uintptr_t number : numbers) all.push_back(element(number));
    return all;
}

/// Opens the protected interface.
struct open_array : utArray {
    using utArray::Buffer;
    using utArray::BufferSize;
    using utArray::Find;
    using utArray::Shift;
    using utArray::utArray;
};

TEST(UtArray, HasItsNameAndStartsEmptyWithSixteenNullPlaces)
{
    open_array array;
    EXPECT_STREQ(array.className(), "utArray");
    EXPECT_EQ(array.Size(), 0);
    ASSERT_EQ(array.BufferSize(), 16);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(array.Buffer()[i], nullptr);
    EXPECT_EQ(array.first(), nullptr);
    EXPECT_EQ(array.last(), nullptr);
    EXPECT_EQ(array.find(0), nullptr);
    EXPECT_EQ(array.remove(), nullptr);
    EXPECT_EQ(array.Size(), 0);
    EXPECT_EQ(open_array(-3).BufferSize(), 0);
}

TEST(UtArray, NewPlacesAreNullWhateverTheMemoryHeld)
{
    numbered(32);
    open_array array;
    for (int i = 0; i < 16; ++i) EXPECT_EQ(array.Buffer()[i], nullptr) << i;
}

TEST(UtArray, AddsItsFieldsToThoseOfACollection)
{
    open_array array(3);
    for (std::uintptr_t i = 1; i <= 4; ++i) array.insert(element(i));
    const auto seen = collection_model::fields_of<collection_model::array_fields>(array);
    EXPECT_EQ(seen.size, 4);
    EXPECT_EQ(seen.capacity, 3);
    EXPECT_EQ(seen.buffer, array.Buffer());
    ASSERT_NE(seen.next, nullptr);
    const auto further = collection_model::fields_of<collection_model::array_fields>(*seen.next);
    EXPECT_EQ(further.capacity, 16);
    EXPECT_EQ(further.buffer[0], element(4));
    EXPECT_EQ(further.next, nullptr);
}

TEST(UtArray, TheSeventeenthElementGoesToAFurtherSegment)
{
    open_array array(16);
    for (std::uintptr_t i = 1; i <= 16; ++i) EXPECT_EQ(array.insert(element(i)), static_cast<int>(i));
    EXPECT_EQ(array.insert(element(17)), 17);
    EXPECT_EQ(array.find(16), element(17));
    EXPECT_EQ(array.BufferSize(), 16);
    EXPECT_EQ(array.first(), element(1));
    EXPECT_EQ(array.last(), element(17));
    EXPECT_EQ(array.find(17), nullptr);
    EXPECT_EQ(array.find(-1), nullptr);
}

TEST(UtArray, ASearchGivesTheFirstElementOfTheSegmentOfTheMatch)
{
    const auto array = numbered(60, 20);
    EXPECT_EQ(array->find(element(1)), element(1));
    EXPECT_EQ(array->find(element(20)), element(1));
    EXPECT_EQ(array->find(element(21)), element(21));
    EXPECT_EQ(array->find(element(36)), element(21));
    EXPECT_EQ(array->find(element(37)), element(37));
    EXPECT_EQ(array->find(element(61)), nullptr);
    EXPECT_TRUE(array->contains(element(60)));
    EXPECT_FALSE(array->contains(element(61)));
    array->replace(nullptr, 0);
    EXPECT_EQ(array->find(element(2)), nullptr);
    EXPECT_FALSE(array->contains(element(2)));
}

TEST(UtArray, RemovalMovesTheFollowersDownAcrossSegments)
{
    open_array array(2);
    for (std::uintptr_t i = 1; i <= 20; ++i) array.insert(element(i));
    EXPECT_EQ(array.remove(element(1)), element(1));
    ASSERT_EQ(array.Size(), 19);
    for (int i = 0; i < 19; ++i) EXPECT_EQ(array.find(i), element(static_cast<std::uintptr_t>(i) + 2));
    while (array.Size() > 1) array.remove(element(static_cast<std::uintptr_t>(21 - array.Size())));
    EXPECT_EQ(array.find(0), element(20));
    array.remove(element(20));
    EXPECT_EQ(array.Buffer()[0], nullptr);
    EXPECT_EQ(array.Buffer()[1], nullptr);
}

TEST(UtArray, RemovalOfAMissingElementReturnsTheArgumentAndLeavesTheSize)
{
    const auto array = numbered(3);
    EXPECT_EQ(array->remove(element(9)), element(9));
    EXPECT_EQ(array->Size(), 3);
    EXPECT_EQ(array->remove(nullptr), nullptr);  // the places behind the last element are null, too
    EXPECT_EQ(array->Size(), 3);
}

TEST(UtArray, RemovesTheFirstOfEqualElementsOnly)
{
    utArray array;
    for (const std::uintptr_t number : {8U, 4U, 5U, 4U}) array.insert(element(number));
    array.remove(element(4));
    EXPECT_EQ(walked(array), elements({8, 5, 4}));
    array.setCompFun(collection_model::compare_fours);
    EXPECT_EQ(array.remove(element(6)), element(6));
    EXPECT_EQ(walked(array), elements({8, 4}));
    EXPECT_EQ(array.find(element(7)), element(8));
    EXPECT_EQ(array.find(element(12)), nullptr);
}

TEST(UtArray, RemovalWithoutAnArgumentTakesTheLastElement)
{
    open_array array(1);
    array.insert(element(1));
    array.insert(element(2));
    EXPECT_EQ(array.remove(), element(2));
    EXPECT_EQ(array.remove(), element(1));
    EXPECT_EQ(array.Buffer()[0], nullptr);
    EXPECT_EQ(array.remove(), nullptr);
    EXPECT_EQ(array.Size(), 0);
}

TEST(UtArray, ReplacesByIndex)
{
    const auto array = numbered(18);
    EXPECT_EQ(array->replace(element(100), 17), element(18));
    EXPECT_EQ(array->find(17), element(100));
    EXPECT_EQ(array->replace(element(101), 18), nullptr);
    EXPECT_EQ(array->replace(element(101), -1), nullptr);
    EXPECT_EQ(array->Size(), 18);
    EXPECT_FALSE(array->contains(element(101)));
}

TEST(UtArray, SegmentsStayForTheNextElements)
{
    const auto array = numbered(100);
    array->clear();
    EXPECT_EQ(array->Size(), 0);
    allocation_faults faults(0);
    for (std::uintptr_t i = 1; i <= 100; ++i) array->insert(element(i));
    EXPECT_FALSE(faults.hit());
}

TEST(UtArray, ResizingFillsThePlacesItAddsAndKeepsIndexes)
{
    open_array array(2);
    array.insert(element(1));
    array.resize(4, element(7));
    EXPECT_EQ(array.BufferSize(), 4);
    EXPECT_EQ(array.Size(), 1);
    EXPECT_EQ((std::vector<void*>(array.Buffer(), array.Buffer() + 4)),
              (std::vector<void*>{element(1), nullptr, element(7), element(7)}));
    for (std::uintptr_t i = 2; i <= 30; ++i) array.insert(element(i));
    array.resize(25, element(7));
    EXPECT_EQ(array.BufferSize(), 25);
    EXPECT_EQ(array.Size(), 25);
    for (int i = 0; i < 25; ++i) EXPECT_EQ(array.find(i), element(static_cast<std::uintptr_t>(i) + 1));
    EXPECT_EQ(array.find(25), nullptr);
    EXPECT_EQ(array.find(element(25)), element(1));  // one segment now
    array.insert(element(26));
    EXPECT_EQ(array.find(25), element(26));
    array.resize(-1, nullptr);
    EXPECT_EQ(array.Size(), 26);
    array.resize(0, nullptr);
    EXPECT_EQ(array.Size(), 0);
    EXPECT_EQ(array.insert(element(1)), 1);
    EXPECT_EQ(array.find(0), element(1));
}

TEST(UtArray, ARemovalLeavesItsLastPlaceNullAndThoseBehindItAlone)
{
    open_array array(2);
    array.insert(element(1));
    array.insert(element(2));
    array.resize(4, element(7));
    array.remove(element(1));
    EXPECT_EQ((std::vector<void*>(array.Buffer(), array.Buffer() + 4)),
              (std::vector<void*>{element(2), nullptr, element(7), element(7)}));
    EXPECT_EQ(array.remove(), element(2));
    EXPECT_EQ(array.Buffer()[0], nullptr);
}

TEST(UtArray, DerivedClassesSearchAndShiftByIndex)
{
    open_array array(2);
    for (std::uintptr_t i = 1; i <= 5; ++i) array.insert(element(i));
    EXPECT_EQ(array.Find(element(4)), 3);
    EXPECT_EQ(array.Find(element(9)), -1);
    array.Shift(1);
    EXPECT_EQ(walked(array), elements({1, 3, 4, 5, 0}));
    array.Shift(-1);
    array.Shift(5);
    EXPECT_EQ(walked(array), elements({1, 3, 4, 5, 0}));
}

TEST(UtArray, ASizeCountedByOthersLeadsNowhere)
{
    open_array array(2);
    for (int i = 0; i < 40; ++i) array.IncSize();
    EXPECT_EQ(array.last(), nullptr);
    EXPECT_EQ(array.replace(element(1), 30), nullptr);
    EXPECT_EQ(array.Find(element(1)), -1);
    EXPECT_EQ(array.remove(), nullptr);
    EXPECT_EQ(array.insert(element(5)), 40);
    EXPECT_EQ(array.last(), element(5));
}

TEST(UtArray, ACopySharesTheStorage)
{
    const auto array = numbered(20);
    const collection_model::shared_copy<utArray> copy(*array);
    EXPECT_EQ(copy->Size(), 20);
    array->replace(element(77), 0);
    array->replace(element(78), 19);
    EXPECT_EQ(copy->find(0), element(77));
    EXPECT_EQ(copy->find(19), element(78));
}

TEST(UtArray, AgreesWithItsModel)
{
    for (const auto& functions : collection_model::all_functions()) {
        const int operations = functions.compare == nullptr ? 100'000 : 20'000;
        collection_model::random_choices choices(1, operations);
        utArray array(24);
        functions.set(array);
        collection_model::array_model model(functions, 24);
        EXPECT_EQ(collection_model::array_disagreement(array, model, choices, 1'000, 64), "");
    }
}

TEST(UtArray, SurvivesTheFailureOfEveryAllocation)
{
    for (long n = 0;; ++n) {
        const auto array = numbered(40);
        bool hit = false;
        int failures = 0;
        {
            allocation_faults faults(n, 1);
            const auto attempt = [&](auto operation) {
                try {
                    operation();
                } catch (const std::bad_alloc&) {
                    ++failures;
                }
            };
            for (std::uintptr_t i = 41; i <= 90; ++i) {
                const int before = array->Size();
                attempt([&] { array->insert(element(i)); });
                if (array->Size() == before) array->insert(element(i));
            }
            attempt([&] { array->resize(95, nullptr); });
            attempt([&] { delete array->newGen(); });
            attempt([] { const utArray other(100); });
            hit = faults.hit();
        }
        EXPECT_EQ(failures, hit ? 1 : 0);
        ASSERT_EQ(array->Size(), 90);
        for (int i = 0; i < 90; ++i) ASSERT_EQ(array->find(i), element(static_cast<std::uintptr_t>(i) + 1));
        if (!hit) break;
    }
}

TEST(UtArrayGen, GivesEachElementOnceAndThenNull)
{
    const auto array = numbered(18);
    array->replace(nullptr, 3);
    utArrayGen generator(array.get());
    EXPECT_STREQ(generator.className(), "utArrayGen");
    for (int i = 0; i < 18; ++i) EXPECT_EQ(generator.next(), array->find(i));
    EXPECT_EQ(generator.next(), nullptr);
    EXPECT_EQ(generator.next(), nullptr);
    EXPECT_EQ(utArrayGen().next(), nullptr);
    EXPECT_EQ(utArrayGen(nullptr).next(), nullptr);
}

TEST(UtArrayGen, AReleasedBlockIsTheNextOneHandedOut)
{
    auto* const first = new utArrayGen;
    delete first;
    const allocation_faults counter(LONG_MAX);
    const std::unique_ptr<utArrayGen> second(new utArrayGen);
    EXPECT_EQ(counter.counted(), 0);
    EXPECT_EQ(second.get(), first);
}

}  // namespace
