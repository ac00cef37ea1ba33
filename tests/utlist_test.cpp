// tests/utlist_test.cpp
#include "utlist.h"

#include <climits>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "collection_faults.h"
#include "collection_model.h"
#include "utarray.h"

namespace {

using collection_model::element;
using collection_model::walked;

void fill(utCollection& list, std::initializer_list<std::uintptr_t> numbers)
{
    for (const std::uintptr_t number : numbers) list.insert(element(number));
}

std::vector<void*> elements(std::initializer_list<std::uintptr_t> numbers)
{
    std::vector<void*> all;
    for (const std::uintptr_t number : numbers) all.push_back(element(number));
    return all;
}

TEST(UtList, EachKindHasItsName)
{
    EXPECT_STREQ(utList().className(), "utList");
    EXPECT_STREQ(utQueue().className(), "utQueue");
    EXPECT_STREQ(utStack().className(), "utStack");
    EXPECT_STREQ(utListGen().className(), "utListGen");
}

TEST(UtList, StartsEmpty)
{
    utList list;
    EXPECT_EQ(list.Size(), 0);
    EXPECT_EQ(list.first(), nullptr);
    EXPECT_EQ(list.last(), nullptr);
    EXPECT_EQ(list.remove(), nullptr);
    EXPECT_EQ(list.remove(element(1)), nullptr);
    EXPECT_EQ(list.find(0), nullptr);
    EXPECT_EQ(list.find(element(1)), nullptr);
    EXPECT_EQ(list.Size(), 0);
}

TEST(UtList, AddsItsFieldsToThoseOfACollection)
{
    utQueue queue;
    fill(queue, {1, 2});
    const auto seen = collection_model::fields_of<collection_model::list_fields>(queue);
    EXPECT_EQ(seen.size, 2);
    EXPECT_EQ(seen.head->data, element(1));
    EXPECT_EQ(seen.head->next, seen.tail);
    EXPECT_EQ(seen.tail->data, element(2));
    const Element node(element(3), nullptr);
    const std::less<const void*> before;
    EXPECT_TRUE(before(&node, &node.next));  // the table of slots stands first
    EXPECT_TRUE(before(&node.next, &node.data));
    EXPECT_EQ(sizeof(Element), 3 * sizeof(void*));
}

TEST(UtList, InsertsInAscendingOrderOfUnsignedAddresses)
{
    utList list;
    fill(list, {5, 3, UINTPTR_MAX, 4, 9});
    EXPECT_EQ(walked(list), elements({3, 4, 5, 9, UINTPTR_MAX}));
    EXPECT_EQ(list.first(), element(3));
    EXPECT_EQ(list.last(), element(UINTPTR_MAX));
}

TEST(UtList, AnEqualElementLeavesTheListAsItIs)
{
    utList list;
    EXPECT_EQ(list.insert(element(5)), 1);
    EXPECT_EQ(list.insert(element(7)), 2);
    EXPECT_EQ(list.insert(element(5)), 2);
    EXPECT_EQ(list.insert(element(7)), 2);
    EXPECT_EQ(list.Size(), 2);
}

TEST(UtList, OrdersAndComparesByItsFunction)
{
    utList list;
    list.setCompFun(collection_model::compare_backwards);
    fill(list, {5, 3, 9});
    EXPECT_EQ(walked(list), elements({9, 5, 3}));
    utList fours;
    fours.setCompFun(collection_model::compare_fours);
    fill(fours, {9, 4, 6, 8});
    EXPECT_EQ(walked(fours), elements({4, 9}));
    EXPECT_EQ(fours.find(element(11)), element(9));
    EXPECT_EQ(fours.remove(element(10)), element(9));
    EXPECT_EQ(fours.remove(element(10)), nullptr);
}

TEST(UtList, RemovalTakesTheHead)
{
    utList list;
    fill(list, {2, 1, 3});
    EXPECT_EQ(list.remove(), element(1));
    EXPECT_EQ(list.remove(), element(2));
    EXPECT_EQ(list.remove(), element(3));
    EXPECT_EQ(list.remove(), nullptr);
}

TEST(UtList, RemovalOfAnElementKeepsBothEnds)
{
    utList list;
    fill(list, {1, 2, 3, 4});
    EXPECT_EQ(list.remove(element(4)), element(4));
    EXPECT_EQ(list.last(), element(3));
    EXPECT_EQ(list.remove(element(1)), element(1));
    EXPECT_EQ(list.first(), element(2));
    EXPECT_EQ(list.remove(element(1)), nullptr);
    EXPECT_EQ(list.Size(), 2);
    list.remove(element(2));
    list.remove(element(3));
    EXPECT_EQ(list.first(), nullptr);
    EXPECT_EQ(list.last(), nullptr);
    list.insert(element(8));
    EXPECT_EQ(list.last(), element(8));
}

TEST(UtList, FindsAndReplacesByIndex)
{
    utList list;
    fill(list, {1, 2, 3});
    EXPECT_EQ(list.find(2), element(3));
    EXPECT_EQ(list.find(3), nullptr);
    EXPECT_EQ(list.find(-1), nullptr);
    EXPECT_EQ(list.replace(element(9), 1), element(2));
    EXPECT_EQ(list.replace(element(9), 3), nullptr);
    EXPECT_EQ(list.replace(element(9), -1), nullptr);
    EXPECT_EQ(walked(list), elements({1, 9, 3}));
}

TEST(UtQueue, TheFirstInIsTheFirstOut)
{
    utQueue queue;
    EXPECT_EQ(queue.insert(element(2)), 1);
    EXPECT_EQ(queue.insert(element(1)), 2);
    EXPECT_EQ(queue.insert(element(2)), 3);
    EXPECT_EQ(queue.first(), element(2));
    EXPECT_EQ(queue.remove(), element(2));
    EXPECT_EQ(queue.remove(), element(1));
    EXPECT_EQ(queue.remove(), element(2));
    EXPECT_EQ(queue.remove(), nullptr);
}

TEST(UtStack, TheLastInIsTheFirstOut)
{
    utStack stack;
    EXPECT_EQ(stack.insert(element(1)), 1);
    EXPECT_EQ(stack.insert(element(2)), 2);
    EXPECT_EQ(stack.first(), element(2));
    EXPECT_EQ(stack.last(), element(1));
    EXPECT_EQ(stack.remove(), element(2));
    EXPECT_EQ(stack.remove(), element(1));
    EXPECT_EQ(stack.remove(), nullptr);
}

TEST(UtList, ClearingEmptiesIt)
{
    utStack stack;
    fill(stack, {1, 2, 3});
    stack.IncSize();  // whatever was counted
    stack.clear();
    EXPECT_EQ(stack.Size(), 0);
    EXPECT_EQ(stack.first(), nullptr);
}

TEST(UtList, ACopySharesTheNodes)
{
    utQueue queue;
    fill(queue, {1, 2});
    const collection_model::shared_copy<utQueue> copy(queue), assigned{utQueue()};
    queue.replace(element(9), 1);
    EXPECT_EQ(copy->find(1), element(9));
    *assigned.operator->() = queue;
    EXPECT_EQ(assigned->first(), element(1));
    EXPECT_EQ(assigned->Size(), 2);
}

template <class List, class Model>
void expect_agreement()
{
    for (const auto& functions : collection_model::all_functions()) {
        const int operations = functions.compare == nullptr ? 100'000 : 20'000;
        collection_model::random_choices choices(2, operations);
        List list;
        functions.set(list);
        Model model(functions);
        EXPECT_EQ(collection_model::disagreement(list, model, choices, 300, 64), "");
    }
}

TEST(UtList, AgreesWithItsModel)
{
    expect_agreement<utList, collection_model::ordered_model>();
}

TEST(UtQueue, AgreesWithItsModel)
{
    expect_agreement<utQueue, collection_model::queue_model>();
}

TEST(UtStack, AgreesWithItsModel)
{
    expect_agreement<utStack, collection_model::stack_model>();
}

TEST(UtList, SurvivesTheFailureOfEveryAllocation)
{
    const no_kept_elements from_heap_only;
    utList list;
    utQueue queue;
    utStack stack;
    for (utCollection* each : {static_cast<utCollection*>(&list), static_cast<utCollection*>(&queue),
                               static_cast<utCollection*>(&stack)}) {
        fill(*each, {5, 6});
        const std::vector<void*> before = walked(*each);
        bool refused = false;
        {
            allocation_faults faults(0);
            try {
                each->insert(element(4));
            } catch (const std::bad_alloc&) {
                refused = true;
            }
        }
        EXPECT_TRUE(refused);
        EXPECT_EQ(each->Size(), 2);
        EXPECT_EQ(walked(*each), before);
    }
}

TEST(UtListGen, WalksFromTheHead)
{
    utQueue queue;
    fill(queue, {3, 0, 1});
    utListGen generator(&queue);
    EXPECT_EQ(generator.next(), element(3));
    EXPECT_EQ(generator.next(), nullptr);
    EXPECT_EQ(generator.next(), element(1));
    EXPECT_EQ(generator.next(), nullptr);
    EXPECT_EQ(generator.next(), nullptr);
    generator.init(&queue);
    EXPECT_EQ(generator.next(), element(3));
}

TEST(UtListGen, TheElementJustGivenMayBeTakenOut)
{
    utQueue queue;
    fill(queue, {1, 2, 3, 4});
    utListGen generator(&queue);
    while (void* const each = generator.next()) queue.remove(each);
    EXPECT_EQ(queue.Size(), 0);
}

TEST(UtListGen, HasNoElementsWithoutAList)
{
    EXPECT_EQ(utListGen().next(), nullptr);
    EXPECT_EQ(utListGen(nullptr).next(), nullptr);
    utArray array;
    array.insert(element(1));
    utListGen generator;
    generator.init(&array);
    EXPECT_EQ(generator.next(), nullptr);
    generator.init(nullptr);
    EXPECT_EQ(generator.next(), nullptr);
}

template <class Class>
void expect_reuse()
{
    auto* const first = new Class;
    auto* const second = new Class;
    delete first;
    delete second;
    const allocation_faults counter(LONG_MAX);
    const std::unique_ptr<Class> third(new Class), fourth(new Class);
    EXPECT_EQ(counter.counted(), 0);
    EXPECT_EQ(third.get(), second);
    EXPECT_EQ(fourth.get(), first);
}

TEST(Element, AReleasedBlockIsTheNextOneHandedOut)
{
    expect_reuse<Element>();
    expect_reuse<utListGen>();
}

TEST(Element, ADerivedNodeTakesNoBlockOfTheList)
{
    struct wide : Element {
        char more[100] = {};
    };
    auto* const narrow = new Element;
    delete narrow;
    Element* const derived = new wide;
    delete derived;  // the virtual destructor tells the size
    const std::unique_ptr<Element> again(new Element);
    EXPECT_EQ(again.get(), narrow);
}

TEST(Element, HoldsADatumAndItsFollower)
{
    Element last(element(2));
    const Element first(element(1), &last);
    EXPECT_EQ(first.data, element(1));
    EXPECT_EQ(first.next, &last);
    EXPECT_EQ(last.next, nullptr);
    EXPECT_EQ(Element().data, nullptr);
}

}  // namespace
