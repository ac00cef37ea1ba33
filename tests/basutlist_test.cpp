// tests/basutlist_test.cpp
#include "basutlist.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "list_model.h"
#include "message_capture.h"
#include "virtual_slots.h"

namespace {

/// What the list has of its own, and nothing else.
class plain_list : public UT_LIST {
public:
    plain_list() = default;
    plain_list(const plain_list&) = default;
    plain_list& operator=(const plain_list&) = default;
    ~plain_list() override = default;
};

/// A list of numbered things that keeps a record of what is asked of it.
class thing_list : public UT_LIST {
public:
    thing_list() = default;
    thing_list(const thing_list&) = default;
    thing_list& operator=(const thing_list&) = default;
    ~thing_list() override { freelist(); }
    void freedata(void* data) override { freed.push_back(data); }
    unsigned char finddata(void* data, void* key) override
    {
        return *static_cast<int*>(data) == *static_cast<int*>(key);
    }
    int compdata(void* a, void* b) override
    {
        if (compares++ == fails_at) throw std::runtime_error("compdata");
        return *static_cast<int*>(a) - *static_cast<int*>(b);
    }

    std::vector<void*> freed;
    int compares = 0;
    int fails_at = -1;
};

using pointers = std::vector<void*>;

/// The elements in order, seen by the cursor.
pointers elements(UT_LIST& list)
{
    pointers seen;
    list.reset();
    while (void* data = list.getnext()) seen.push_back(data);
    return seen;
}

class UtList : public testing::Test {
protected:
    int things[8] = {0, 1, 2, 3, 4, 5, 6, 7};
    int *a = &things[1], *b = &things[2], *c = &things[3], *d = &things[4], *e = &things[5];
    plain_list list;
};

// ---- what programs were compiled against

TEST_F(UtList, HasFourFieldsBehindEachOtherTheTableOfSlotsFirst)
{
    EXPECT_EQ(sizeof(UT_LIST), 4 * sizeof(void*));
    EXPECT_EQ(sizeof(UT_LISTMEM), 2 * sizeof(void*));
    void* fields[4];
    std::memcpy(fields, static_cast<const void*>(&list), sizeof fields);
    EXPECT_TRUE(fields[1] == fields[2] && fields[2] == fields[3]);  // the node without data
    list.append(a);
    list.append(b);
    list.getnext();
    void* after[4];
    std::memcpy(after, static_cast<const void*>(&list), sizeof after);
    EXPECT_EQ(after[1], fields[1]);
    void* first_node[2];
    std::memcpy(first_node, after[3], sizeof first_node);
    EXPECT_EQ(first_node[0], after[2]);  // the first one's successor is the last
    EXPECT_EQ(first_node[1], a);
}

#if defined(TEST_KNOWS_SLOTS)
TEST_F(UtList, TheVirtualOperationsKeepTheirPlaces)
{
    EXPECT_EQ(slot_of(&UT_LIST::freedata), 2U);  // behind the destructor
    EXPECT_EQ(slot_of(&UT_LIST::printdata), 3U);
    EXPECT_EQ(slot_of(&UT_LIST::finddata), 4U);
    EXPECT_EQ(slot_of(&UT_LIST::compdata), 5U);
}
#endif

TEST_F(UtList, IsMadeByDerivedClassesAlone)
{
    EXPECT_FALSE(std::is_default_constructible_v<UT_LIST>);
    EXPECT_TRUE(std::has_virtual_destructor_v<UT_LIST>);
}

// ---- adding

TEST_F(UtList, AppendAndPushendPutDataLastAndPushFirst)
{
    EXPECT_TRUE(list.append(b));
    EXPECT_TRUE(list.pushend(c));
    EXPECT_TRUE(list.push(a));
    EXPECT_TRUE(list.append(d));
    EXPECT_EQ(elements(list), (pointers{a, b, c, d}));
    EXPECT_EQ(list.count(), 4);
}

TEST_F(UtList, PushIntoAnEmptyListIsAlsoTheLast)
{
    list.push(a);
    list.append(b);
    EXPECT_EQ(elements(list), (pointers{a, b}));
}

TEST_F(UtList, TakesNoNull)
{
    list.append(a);
    EXPECT_FALSE(list.append(nullptr));
    EXPECT_FALSE(list.pushend(nullptr));
    EXPECT_FALSE(list.push(nullptr));
    EXPECT_FALSE(list.insert(nullptr));
    EXPECT_FALSE(list.insert(nullptr, b));
    EXPECT_FALSE(list.insert(a, nullptr));
    EXPECT_FALSE(list.mergesort(nullptr));
    EXPECT_FALSE(list.remove(nullptr, 0));
    EXPECT_EQ(elements(list), pointers{a});
}

TEST_F(UtList, InsertPutsDataFirstWhileTheCursorIsFresh)
{
    list.append(b);
    EXPECT_TRUE(list.insert(a));
    EXPECT_EQ(elements(list), (pointers{a, b}));
}

TEST_F(UtList, InsertPutsDataBehindTheCursorAndKeepsTheEnd)
{
    list.append(a);
    list.getnext();
    EXPECT_TRUE(list.insert(b));
    EXPECT_EQ(list.peeknext(), b);
    list.append(c);
    EXPECT_EQ(elements(list), (pointers{a, b, c}));
}

TEST_F(UtList, InsertBehindDataSearchesFromTheStart)
{
    list.append(a);
    list.append(b);
    EXPECT_TRUE(list.insert(b, d));
    EXPECT_TRUE(list.insert(b, c));
    EXPECT_TRUE(list.insert(d, e));
    EXPECT_FALSE(list.insert(&things[7], a));
    EXPECT_EQ(elements(list), (pointers{a, b, c, d, e}));
    list.append(a);
    EXPECT_EQ(list.count(), 6);
}

TEST_F(UtList, InsertBehindDataTriesTheCursorBeforeAnEarlierNode)
{
    for (int* each : {a, b, a}) list.append(each);
    for (int i = 0; i < 3; ++i) list.getnext();
    EXPECT_TRUE(list.insert(a, c));
    EXPECT_EQ(elements(list), (pointers{a, b, a, c}));
    EXPECT_TRUE(list.insert(a, d));  // the cursor is at the end now: the first one is taken
    EXPECT_EQ(elements(list), (pointers{a, d, b, a, c}));
}

// ---- taking out

TEST_F(UtList, PopTakesTheFirst)
{
    EXPECT_EQ(list.pop(), nullptr);
    list.append(a);
    list.append(b);
    EXPECT_EQ(list.pop(), a);
    EXPECT_EQ(list.pop(), b);
    EXPECT_EQ(list.pop(), nullptr);
    EXPECT_TRUE(list.append(c));  // the end is sound again
    EXPECT_EQ(elements(list), pointers{c});
}

TEST_F(UtList, PopendTakesTheLast)
{
    EXPECT_EQ(list.popend(), nullptr);
    for (int* each : {a, b, c}) list.append(each);
    EXPECT_EQ(list.popend(), c);
    list.append(d);
    EXPECT_EQ(elements(list), (pointers{a, b, d}));
    for (int i = 0; i < 3; ++i) list.popend();
    EXPECT_EQ(list.popend(), nullptr);
    list.append(e);
    EXPECT_EQ(elements(list), pointers{e});
}

TEST_F(UtList, RemoveTakesTheFirstHolder)
{
    for (int* each : {a, b, a, c}) list.append(each);
    EXPECT_TRUE(list.remove(a, 0));
    EXPECT_EQ(elements(list), (pointers{b, a, c}));
    EXPECT_FALSE(list.remove(d, 0));
    EXPECT_TRUE(list.remove(c, 0));
    EXPECT_TRUE(list.append(d));
    EXPECT_EQ(elements(list), (pointers{b, a, d}));
}

TEST_F(UtList, RemoveHandsTheDataOverOnlyWhenAsked)
{
    thing_list own;
    own.append(a);
    own.append(b);
    EXPECT_TRUE(own.remove(a, 0));
    EXPECT_TRUE(own.freed.empty());
    EXPECT_TRUE(own.remove(b, 1));
    EXPECT_EQ(own.freed, pointers{b});
    EXPECT_FALSE(own.remove(b, 1));
    own.append(c);
    EXPECT_EQ(own.pop(), c);
    own.append(c);
    EXPECT_EQ(own.popend(), c);
    EXPECT_EQ(own.freed, pointers{b});
}

TEST_F(UtList, RemoveWithoutDataTakesTheFirstHolderOfTheCursorsData)
{
    for (int* each : {a, b, a, c}) list.append(each);
    for (int i = 0; i < 3; ++i) list.getnext();
    EXPECT_TRUE(list.remove(0));  // the cursor is on the second a, and the first one goes
    EXPECT_EQ(list.peeknext(), c);
    EXPECT_EQ(elements(list), (pointers{b, a, c}));
}

TEST_F(UtList, RemoveWithoutDataNeedsACursor)
{
    list.append(a);
    EXPECT_FALSE(list.remove(1));  // it is before the first
    list.getnext();
    list.getnext();
    EXPECT_FALSE(list.remove(1));  // it is nowhere
    EXPECT_EQ(list.count(), 1);
}

TEST_F(UtList, AScanThatRemovesWhatItGotPassesOneOver)
{
    for (int* each : {a, b, c, d}) list.append(each);
    EXPECT_EQ(list.getnext(), a);
    EXPECT_TRUE(list.remove(0));
    EXPECT_EQ(list.peeknext(), c);  // the cursor is on b
    EXPECT_EQ(list.getnext(), c);
}

TEST_F(UtList, TheCursorIsNowhereOnceItsLastNodeIsGone)
{
    const auto at_the_last = [&] {
        list.freelist();
        list.append(a);
        list.append(b);
        list.getnext();
        list.getnext();
    };
    const auto expect_nowhere = [&](const char* by) {
        EXPECT_EQ(list.peeknext(), nullptr) << by;
        EXPECT_EQ(list.getnext(), nullptr) << by;
        EXPECT_FALSE(list.insert(c)) << by;
        EXPECT_FALSE(list.remove(0)) << by;
        EXPECT_TRUE(list.insert(a, d)) << by;  // goes straight to the search
        EXPECT_EQ(elements(list), (pointers{a, d})) << by;
    };
    at_the_last();
    list.popend();
    expect_nowhere("popend");
    at_the_last();
    list.remove(b, 0);
    expect_nowhere("remove");
    at_the_last();
    list.remove(0);
    expect_nowhere("remove without data");
    at_the_last();
    list.pop();
    EXPECT_EQ(list.pop(), b);
    list.push(a);
    expect_nowhere("pop");
}

TEST_F(UtList, TheCursorGoesOnToTheSuccessor)
{
    for (int* each : {a, b, c}) list.append(each);
    list.getnext();
    EXPECT_EQ(list.pop(), a);
    EXPECT_EQ(list.peeknext(), c);  // from b
    EXPECT_TRUE(list.insert(d));
    EXPECT_EQ(elements(list), (pointers{b, d, c}));
}

TEST_F(UtList, FreelistHandsOverEverythingInOrderAndStartsAnew)
{
    thing_list own;
    for (int* each : {a, b, a}) own.append(each);
    own.getnext();
    own.freelist();
    EXPECT_EQ(own.freed, (pointers{a, b, a}));
    EXPECT_EQ(own.count(), 0);
    EXPECT_TRUE(own.insert(c));
    own.append(d);
    EXPECT_EQ(elements(own), (pointers{c, d}));
}

TEST_F(UtList, FreelistHasEmptiedTheListBeforeItHandsOver)
{
    struct curious final : UT_LIST {
        ~curious() override = default;
        void freedata(void*) override
        {
            counts.push_back(count());
            cursor_is_sound &= peeknext() == nullptr;
        }
        std::vector<int> counts;
        bool cursor_is_sound = true;
    } own;
    for (int* each : {a, b, c}) own.append(each);
    own.getnext();
    own.freelist();
    EXPECT_EQ(own.counts, (std::vector{0, 0, 0}));
    EXPECT_TRUE(own.cursor_is_sound);
}

TEST_F(UtList, FreelistKeepsWhatItHasNotHandedOverWhenFreedataThrows)
{
    struct failing final : UT_LIST {
        ~failing() override = default;
        void freedata(void* data) override
        {
            if (data == bad) throw std::runtime_error("freedata");
        }
        void* bad = nullptr;
    } own;
    for (int* each : {a, b, c, d}) own.append(each);
    own.bad = b;
    EXPECT_THROW(own.freelist(), std::runtime_error);
    EXPECT_EQ(own.peeknext(), c);
    own.append(e);
    EXPECT_EQ(elements(own), (pointers{c, d, e}));
    own.freelist();
    EXPECT_EQ(own.count(), 0);
}

TEST_F(UtList, TheBaseDestructorReachesNoDerivedFreedata)
{
    static int freed;
    struct forgetful final : UT_LIST {
        ~forgetful() override = default;
        void freedata(void*) override { ++freed; }
    };
    freed = 0;
    {
        forgetful own;
        own.append(a);
    }
    EXPECT_EQ(freed, 0);
}

// ---- the cursor

TEST_F(UtList, GetnextGivesNullAtTheEndUntilReset)
{
    list.append(a);
    EXPECT_EQ(list.peeknext(), a);
    EXPECT_EQ(list.getnext(), a);
    EXPECT_EQ(list.peeknext(), nullptr);
    EXPECT_EQ(list.getnext(), nullptr);
    EXPECT_EQ(list.getnext(), nullptr);
    list.append(b);
    EXPECT_EQ(list.peeknext(), nullptr);
    EXPECT_FALSE(list.insert(c));
    list.reset();
    EXPECT_EQ(list.getnext(), a);
    EXPECT_EQ(list.getnext(), b);
}

TEST_F(UtList, FindMovesTheCursorOnAHitOnly)
{
    for (int* each : {a, b, c}) list.append(each);
    list.getnext();
    EXPECT_EQ(list.find(d), nullptr);
    EXPECT_EQ(list.find(nullptr), nullptr);
    EXPECT_EQ(list.peeknext(), b);
    EXPECT_EQ(list.find(c), c);
    EXPECT_EQ(list.getnext(), nullptr);
    EXPECT_EQ(list.find(a), a);
    EXPECT_EQ(list.peeknext(), b);
}

TEST_F(UtList, FindAsksTheDerivedClass)
{
    thing_list own;
    int twos[3] = {2, 2, 2};
    for (int& each : twos) own.append(&each);
    int key = 2;
    EXPECT_EQ(own.find(&key), &twos[0]);
    key = 3;
    EXPECT_EQ(own.find(&key), nullptr);
}

// ---- order

TEST_F(UtList, AddressesAreComparedAsUnsignedNumbers)
{
    const auto at = [](std::uintptr_t address) { return reinterpret_cast<void*>(address); };
    EXPECT_EQ(list.compdata(at(UINTPTR_MAX), at(1)), 1);
    EXPECT_EQ(list.compdata(at(1), at(UINTPTR_MAX)), -1);
    EXPECT_EQ(list.compdata(at(7), at(7)), 0);
    EXPECT_TRUE(list.finddata(at(7), at(7)));
    EXPECT_FALSE(list.finddata(at(7), at(8)));
}

TEST_F(UtList, MergesortPutsEqualsBehindEachOther)
{
    thing_list own;
    int more[3] = {2, 1, 2};
    EXPECT_TRUE(own.mergesort(c));
    EXPECT_TRUE(own.mergesort(b));
    EXPECT_TRUE(own.mergesort(a));
    for (int& each : more) EXPECT_TRUE(own.mergesort(&each));
    EXPECT_EQ(elements(own), (pointers{a, &more[1], b, &more[0], &more[2], c}));
    own.append(d);
    EXPECT_EQ(own.count(), 7);
}

TEST_F(UtList, MergesortLooksAtTheLastAloneForDataThatIsNotBelowIt)
{
    thing_list own;
    for (int* each : {e, a, b}) own.append(each);
    own.mergesort(c);  // out of order, yet not below b
    EXPECT_EQ(own.compares, 1);
    EXPECT_EQ(elements(own), (pointers{e, a, b, c}));
    own.mergesort(a);
    EXPECT_EQ(elements(own), (pointers{a, e, a, b, c}));
}

TEST_F(UtList, MergesortSurvivesAnOrderThatContradictsItself)
{
    struct fickle final : UT_LIST {
        ~fickle() override = default;
        int compdata(void*, void*) override { return calls++ == 0 ? 1 : -1; }
        int calls = 0;
    } own;
    own.append(a);
    own.append(b);
    EXPECT_TRUE(own.mergesort(c));
    own.append(d);
    EXPECT_EQ(elements(own), (pointers{a, b, c, d}));
}

TEST_F(UtList, SortIsStableAndPutsTheCursorBeforeTheFirst)
{
    thing_list own;
    int more[2] = {3, 1};
    for (int* each : {c, a, &more[0], e, &more[1], b}) own.append(each);
    own.getnext();
    own.sort();
    EXPECT_EQ(own.getnext(), a);
    EXPECT_EQ(elements(own), (pointers{a, &more[1], b, c, &more[0], e}));
    own.append(d);
    EXPECT_EQ(own.count(), 7);
}

TEST_F(UtList, SortOfAListInOrderComparesEachElementOnce)
{
    thing_list own;
    for (int& each : things) own.append(&each);
    own.sort();
    EXPECT_EQ(own.compares, 7);
    plain_list nothing;
    nothing.sort();
    EXPECT_TRUE(nothing.append(a));
    EXPECT_EQ(nothing.getnext(), a);
}

TEST_F(UtList, SortLosesNothingWhenTheComparisonThrows)
{
    for (int fails_at = 0;; ++fails_at) {
        thing_list own;
        for (int* each : {d, b, e, a, c}) own.append(each);
        own.fails_at = fails_at;
        if (fails_at > 20) {
            EXPECT_NO_THROW(own.sort());
            break;
        }
        try {
            own.sort();
        } catch (const std::runtime_error&) {
        }
        EXPECT_EQ(own.count(), 5);
        own.append(&things[7]);
        own.fails_at = -1;
        own.sort();
        EXPECT_EQ(elements(own), (pointers{a, b, c, d, e, &things[7]}));
    }
}

// ---- printing

TEST_F(UtList, PrintsAddressesInHexadecimal)
{
    list.append(reinterpret_cast<void*>(std::uintptr_t{0xab}));
    list.append(reinterpret_cast<void*>(std::uintptr_t{0x10}));
    EXPECT_EQ(stdout_of([&] { list.printlist(0); }), "ab \n10 \n");
    EXPECT_EQ(stdout_of([&] { list.printlist(1); }), "0 \nab \n1 \n10 \n");
    EXPECT_EQ(stdout_of([&] { list.printdata(reinterpret_cast<void*>(UINTPTR_MAX)); }),
              "ffffffffffffffff \n");
}

// ---- copies, memory

TEST_F(UtList, ACopySharesTheNodes)
{
    list.append(a);
    list.append(b);
    list.getnext();
    auto* const copy = new (std::malloc(sizeof(plain_list))) plain_list(list);
    EXPECT_EQ(copy->getnext(), b);
    EXPECT_EQ(list.getnext(), b);  // each has its own cursor
    copy->append(c);
    EXPECT_EQ(list.count(), 3);
    plain_list* const assigned = new (std::malloc(sizeof(plain_list))) plain_list;
    assigned->~plain_list();
    new (assigned) plain_list(list);
    *assigned = *copy;
    EXPECT_EQ(elements(*assigned), (pointers{a, b, c}));
    std::free(static_cast<void*>(copy));  // only one of the three is destroyed
    std::free(static_cast<void*>(assigned));
}

TEST_F(UtList, IsAsItWasWhenMemoryIsExhausted)
{
    using adding = unsigned char (*)(UT_LIST&, void*);
    const adding ways[] = {
        [](UT_LIST& l, void* x) { return l.append(x); },
        [](UT_LIST& l, void* x) { return l.push(x); },
        [](UT_LIST& l, void* x) { return l.insert(x); },
        [](UT_LIST& l, void* x) { return l.insert(l.peeknext(), x); },
        [](UT_LIST& l, void* x) { return l.mergesort(x); },
    };
    list.append(c);
    list.append(e);
    for (const adding way : ways) {
        bool failed = false;
        {
            const allocation_faults faults(0);
            try {
                way(list, d);
            } catch (const std::bad_alloc&) {
                failed = true;
            }
        }
        EXPECT_TRUE(failed);
        EXPECT_EQ(list.peeknext(), c);
        EXPECT_EQ(list.count(), 2);
    }
    bool failed = false;
    {
        const allocation_faults faults(0);
        try {
            const plain_list none;
        } catch (const std::bad_alloc&) {
            failed = true;
        }
    }
    EXPECT_TRUE(failed);
}

TEST_F(UtList, WhatTakesAndSortsAsksForNoMemory)
{
    for (int* each : {c, a, e, b}) list.append(each);
    const allocation_faults faults(0);
    list.sort();
    list.find(a);
    list.remove(0);
    list.pop();
    list.popend();
    list.freelist();
    EXPECT_FALSE(faults.hit());
}

// ---- random calls beside the model

TEST_F(UtList, AgreesWithItsModelOverAHundredThousandCalls)
{
    std::mt19937 random(32'001);
    list_model::list_pair pair;
    for (int i = 0; i < 100'000; ++i) {
        const auto operation = static_cast<unsigned char>(random());
        const auto argument = static_cast<unsigned char>(random());
        ASSERT_EQ(pair.step(operation, argument), "") << "call " << i;
        if (i % 1'000 == 0) {
            ASSERT_EQ(pair.compare(), "") << "call " << i;
        }
    }
    EXPECT_EQ(pair.compare(), "");
}

}  // namespace
