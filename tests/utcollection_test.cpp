// tests/utcollection_test.cpp
#include "utcollection.h"

#include <cstdint>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "collection_model.h"
#include "message_capture.h"
#include "virtual_slots.h"

namespace {

using collection_model::element;

/// No more than what must be there.
class bare : public utCollection {
public:
    int insert(void*) override { return 0; }
    void* remove(void*) override { return nullptr; }
    void* remove() override { return nullptr; }
    void* find(int) override { return nullptr; }
    void* find(void*) override { return nullptr; }
    void* replace(void*, int) override { return nullptr; }
    utColGen* newGen() override { return nullptr; }
};

/// Writes down how it is emptied and searched.
class probe : public bare {
public:
    using utCollection::Compare;
    using utCollection::HashValue;

    void* remove(void*) override { return called("remove(data)", nullptr); }
    void* remove() override
    {
        DecSize();
        return called("remove()", nullptr);
    }
    void* find(int) override { return called("find(index)", nullptr); }
    void* find(void* data) override { return called("find(data)", data); }

    std::vector<std::string> calls;

private:
    void* called(const char* operation, void* result)
    {
        calls.emplace_back(operation);
        return result;
    }
};

/// Gives as many elements as it is told, and tells how many of its kind there are.
class counted_gen : public utColGen {
public:
    explicit counted_gen(std::uintptr_t left) : left_(left) { ++living; }
    counted_gen(const counted_gen&) = delete;
    counted_gen& operator=(const counted_gen&) = delete;
    ~counted_gen() override { --living; }
    void* next() override { return element(left_ > 0 ? left_-- : 0); }

    static int living;

private:
    std::uintptr_t left_;
};
int counted_gen::living = 0;

class counted_collection : public bare {
public:
    explicit counted_collection(std::uintptr_t size) : size_(size) {}
    utColGen* newGen() override { return new counted_gen(size_); }

private:
    std::uintptr_t size_;
};

TEST(UtCollection, StartsEmptyAndWithoutFunctions)
{
    const bare collection;
    EXPECT_EQ(collection.Size(), 0);
    EXPECT_EQ(collection.delFun(), nullptr);
    EXPECT_EQ(collection.hashFun(), nullptr);
    EXPECT_EQ(collection.compFun(), nullptr);
}

TEST(UtCollection, HoldsItsFieldsInTheirOrder)
{
    bare collection;
    collection.IncSize();
    collection.setDelFun([](void*) {});
    collection.setHashFun([](void*) { return 1U; });
    collection.setCompFun([](void*, void*) { return 1; });
    const auto seen = collection_model::fields_of<collection_model::collection_fields>(collection);
    EXPECT_EQ(seen.size, 1);
    EXPECT_EQ(seen.del, collection.delFun());
    EXPECT_EQ(seen.hash, collection.hashFun());
    EXPECT_EQ(seen.compare, collection.compFun());
}

TEST(UtCollection, ACollectionWithoutAnOrderSaysSo)
{
    bare collection;
    void* ends[] = {element(1), element(1)};
    EXPECT_STREQ(collection.className(), "utCollection");
    EXPECT_EQ(stdout_of([&] { ends[0] = collection.first(); }),
              "unsupported AIM 'first' is called from class utCollection\n");
    EXPECT_EQ(stdout_of([&] { ends[1] = collection.last(); }),
              "unsupported AIM 'last' is called from class utCollection\n");
    EXPECT_EQ(ends[0], nullptr);
    EXPECT_EQ(ends[1], nullptr);
}

TEST(UtCollection, TheSizeStaysBetweenNothingAndTheGreatestNumber)
{
    struct full : bare {
        full() { _size = std::numeric_limits<std::int32_t>::max() - 1; }
    };
    bare empty;
    EXPECT_EQ(empty.DecSize(), 0);
    EXPECT_EQ(empty.IncSize(), 1);
    EXPECT_EQ(empty.IncSize(), 2);
    EXPECT_EQ(empty.DecSize(), 1);
    full crowded;
    EXPECT_EQ(crowded.IncSize(), 2147483647);
    EXPECT_EQ(crowded.IncSize(), 2147483647);
    EXPECT_EQ(crowded.Size(), 2147483647);
}

TEST(UtCollection, ClearingRemovesUntilNothingIsLeft)
{
    probe collection;
    collection.IncSize();
    collection.IncSize();
    collection.clear();
    EXPECT_EQ(collection.calls, (std::vector<std::string>{"remove()", "remove()"}));
}

TEST(UtCollection, ContainsWhatIsFoundByData)
{
    probe collection;
    EXPECT_TRUE(collection.contains(element(3)));
    EXPECT_FALSE(collection.contains(nullptr));
    EXPECT_EQ(collection.calls, (std::vector<std::string>{"find(data)", "find(data)"}));
}

TEST(UtCollection, ComparesAddressesAsUnsignedNumbersWithoutAFunction)
{
    probe collection;
    EXPECT_EQ(collection.Compare(element(1), element(2)), -1);
    EXPECT_EQ(collection.Compare(element(2), element(2)), 0);
    EXPECT_EQ(collection.Compare(element(UINTPTR_MAX), element(1)), 1);
    collection.setCompFun([](void* a, void*) { return a == element(1) ? 42 : -42; });
    EXPECT_EQ(collection.Compare(element(1), element(2)), 42);
    EXPECT_EQ(collection.Compare(element(3), element(2)), -42);
    EXPECT_NE(collection.compFun(), nullptr);
}

TEST(UtCollection, HashesToTheLow28BitsWithoutAFunction)
{
    probe collection;
    EXPECT_EQ(collection.HashValue(element(0x12345678)), 0x2345678U);
    EXPECT_EQ(collection.HashValue(element(UINTPTR_MAX)), 0xFFFFFFFU);
    collection.setHashFun([](void*) { return 0xFEDCBA98U; });
    EXPECT_EQ(collection.HashValue(nullptr), 0xFEDCBA98U);
}

TEST(UtCollection, ACopyHasTheSameFields)
{
    bare collection;
    collection.IncSize();
    collection.setDelFun([](void*) {});
    bare copy = collection;
    EXPECT_EQ(copy.Size(), 1);
    EXPECT_EQ(copy.delFun(), collection.delFun());
    bare assigned;
    assigned = collection;
    EXPECT_EQ(assigned.Size(), 1);
}

#if defined(TEST_KNOWS_SLOTS)
TEST(UtCollection, ItsSlotsStandInTheirOrder)
{
    using by_index = void* (utCollection::*)(int);
    using by_data = void* (utCollection::*)(void*);
    using first_one = void* (utCollection::*)();
    EXPECT_EQ(slot_of(&utCollection::className), 2U);  // behind the two of the destructor
    EXPECT_EQ(slot_of(&utCollection::first), 3U);
    EXPECT_EQ(slot_of(&utCollection::last), 4U);
    EXPECT_EQ(slot_of(&utCollection::insert), 5U);
    EXPECT_EQ(slot_of<by_data>(&utCollection::remove), 6U);
    EXPECT_EQ(slot_of<first_one>(&utCollection::remove), 7U);
    EXPECT_EQ(slot_of<by_index>(&utCollection::find), 8U);
    EXPECT_EQ(slot_of<by_data>(&utCollection::find), 9U);
    EXPECT_EQ(slot_of(&utCollection::replace), 10U);
    EXPECT_EQ(slot_of(&utCollection::newGen), 11U);
    EXPECT_EQ(slot_of(&utColGen::className), 2U);
    EXPECT_EQ(slot_of(&utColGen::next), 3U);
    EXPECT_STREQ(counted_gen(0).className(), "utColGen");
}
#endif

TEST(UtGenerator, WalksACollectionAndEndsItsGenerator)
{
    counted_collection two(2);
    {
        utGenerator generator(two);
        EXPECT_STREQ(generator.className(), "utGenerator");
        EXPECT_EQ(generator.next(), element(2));
        EXPECT_EQ(generator.next(), element(1));
        EXPECT_EQ(generator.next(), nullptr);
        EXPECT_EQ(counted_gen::living, 1);
    }
    EXPECT_EQ(counted_gen::living, 0);
}

TEST(UtGenerator, HasNothingWithoutACollection)
{
    utGenerator generator;
    EXPECT_EQ(generator.next(), nullptr);
    bare nothing;
    generator.initGen(nothing);
    EXPECT_EQ(generator.next(), nullptr);
}

TEST(UtGenerator, BeginsAnewWithAnotherCollection)
{
    counted_collection three(3), five(5);
    utGenerator generator(three);
    generator.initGen(five);
    EXPECT_EQ(counted_gen::living, 1);
    EXPECT_EQ(generator.next(), element(5));
}

TEST(UtGenerator, IsEmptyAfterACollectionThatCouldGiveNone)
{
    class refusing : public bare {
    public:
        utColGen* newGen() override { throw std::bad_alloc(); }
    };
    counted_collection three(3);
    refusing other;
    utGenerator generator(three);
    EXPECT_THROW(generator.initGen(other), std::bad_alloc);
    EXPECT_EQ(counted_gen::living, 0);
    EXPECT_EQ(generator.next(), nullptr);
}

TEST(UtGenerator, ACopySharesTheGenerator)
{
    counted_collection nine(9);
    utGenerator generator(nine);
    const collection_model::shared_copy<utGenerator> copy(generator);
    EXPECT_EQ(generator.next(), element(9));
    EXPECT_EQ(copy->next(), element(8));
    EXPECT_EQ(generator.next(), element(7));
}

TEST(UtGenerator, IsReturnedByValue)
{
    counted_collection one(1);
    const auto made = [&] { return utGenerator(one); };
    utGenerator generator = made();
    EXPECT_EQ(generator.next(), element(1));
    EXPECT_EQ(counted_gen::living, 1);
}

}  // namespace
