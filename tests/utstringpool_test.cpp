// tests/utstringpool_test.cpp
#include "utstringpool.h"

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "collection_faults.h"
#include "message_capture.h"
#include "msgman.h"
#include "temp_directory.h"

namespace {

/// Its inherited operations are used on entries.
struct open_pool : utStringHashPool {
    using utStringHashPool::bucket_size;
    using utStringHashPool::HashValue;
    using utStringHashPool::table_size;
    using utStringHashPool::utStringHashPool;

    unsigned hash_of(std::string text)
    {
        utStringHashPoolEle key;
        key.text = text.data();
        return HashValue(&key);
    }
    void drop_all()
    {
        while (Size() > 0) delFun()(remove());
    }
};

TEST(UtStringHashPool, HasItsNameAndNoOrder)
{
    utStringHashPool pool;
    EXPECT_STREQ(pool.className(), "utStringHashPool");
    EXPECT_EQ(stdout_of([&] { pool.first(); }),
              "unsupported AIM 'first' is called from class utStringHashPool\n");
}

TEST(UtStringHashPool, EqualTextsHaveOnePointer)
{
    open_pool pool(100);
    std::string text = "net";
    const char* const one = pool.getReference(text.c_str());
    EXPECT_NE(one, text.c_str());
    text = "pin";
    EXPECT_EQ(pool.getReference("net"), one);
    EXPECT_STREQ(one, "net");
    EXPECT_NE(pool.getReference("Net"), one);
    EXPECT_EQ(pool.Size(), 2);
    const utStringHashPoolEle* const entry = pool.getReferenceElement("net");
    EXPECT_EQ(entry->text, one);
    EXPECT_EQ(entry->refCount, 3);
    pool.drop_all();
}

TEST(UtStringHashPool, TheEntryGoesWithItsLastReference)
{
    utStringHashPool pool;
    const char* const text = pool.getReference("x");
    pool.getReference("x");
    EXPECT_EQ(stdout_of([&] { pool.delReference("x"); }), "");
    EXPECT_STREQ(text, "x");
    EXPECT_EQ(pool.Size(), 1);
    EXPECT_EQ(stdout_of([&] { pool.delReference(text); }), "");
    EXPECT_EQ(pool.Size(), 0);
    EXPECT_EQ(stdout_of([&] { pool.delReference("x"); }),
              "user specified string 'x' does not exist in string pool\n");
}

TEST(UtStringHashPool, ATextWithoutAReferenceIsReported)
{
    open_pool pool;
    utStringHashPoolEle* const entry = pool.getReferenceElement("100%s");
    for (const int count : {0, -1}) {
        entry->refCount = count;
        EXPECT_EQ(stdout_of([&] { pool.delReference("100%s"); }),
                  "user specified string '100%s' has no reference\n");
        EXPECT_EQ(entry->refCount, count);
    }
    EXPECT_EQ(pool.Size(), 1);
    pool.drop_all();
}

TEST(UtStringHashPool, ReportsAreTextInBothFlowsAndSwallowedWithoutAManager)
{
    utStringHashPool pool;
    message_capture capture;
    const std::string text = "user specified string 'y' does not exist in string pool\n";
    EXPECT_EQ(stdout_of([&] { pool.delReference("y"); }), text);
    capture.use_legacy_flow();
    EXPECT_EQ(stdout_of([&] { pool.delReference("y"); }), text);
    EXPECT_TRUE(capture.posts().empty());
    UT_MSGMAN* const manager = std::exchange(ut_msgman, nullptr);
    EXPECT_EQ(stdout_of([&] {
                  pool.delReference("y");
                  pool.statistic(nullptr);
              }),
              "");
    ut_msgman = manager;
}

TEST(UtStringHashPool, NullIsNoString)
{
    utStringHashPool pool;
    EXPECT_EQ(pool.getReference(nullptr), nullptr);
    EXPECT_EQ(pool.getReferenceElement(nullptr), nullptr);
    EXPECT_EQ(stdout_of([&] { pool.delReference(nullptr); }), "");
    EXPECT_EQ(pool.Size(), 0);
}

TEST(UtStringHashPool, HashesSignedCharactersBy997)
{
    open_pool pool;
    EXPECT_EQ(pool.hash_of(""), 0U);
    EXPECT_EQ(pool.hash_of("a"), 97U);
    EXPECT_EQ(pool.hash_of("ab"), 97U * 997 + 98);
    EXPECT_EQ(pool.hash_of("\xff"), 0xFFFFFFFFU);
    EXPECT_EQ(pool.hash_of("a\x80"), 97U * 997 - 128);
    EXPECT_EQ(pool.hash_of("abcde"),
              static_cast<unsigned>((((97ULL * 997 + 98) * 997 + 99) * 997 + 100) * 997 + 101));
}

TEST(UtStringHashPool, ACountThatHasReachedTheGreatestNumberStays)
{
    open_pool pool;
    utStringHashPoolEle* const entry = pool.getReferenceElement("common");
    entry->refCount = std::numeric_limits<std::int32_t>::max() - 1;
    pool.getReference("common");
    pool.getReference("common");
    EXPECT_EQ(entry->refCount, 2147483647);
    pool.delReference("common");
    EXPECT_EQ(entry->refCount, 2147483647);
    pool.drop_all();
}

TEST(UtStringHashPool, KeepsUpToTenBlocksOfEntries)
{
    std::vector<utStringHashPoolEle*> entries;
    for (int i = 0; i < 30; ++i) entries.push_back(new utStringHashPoolEle);
    for (utStringHashPoolEle* entry : entries) delete entry;
    allocation_faults counter(LONG_MAX);
    for (int i = 0; i < 10; ++i) entries[static_cast<std::size_t>(i)] = new utStringHashPoolEle;
    const long for_ten = counter.counted();
    utStringHashPoolEle* const further = new utStringHashPoolEle;
    const long for_eleven = counter.counted();
    for (std::size_t i = 0; i < 10; ++i) delete entries[i];
    delete further;
    EXPECT_EQ(for_ten, 0);
    EXPECT_EQ(for_eleven, 1);
}

TEST(UtStringHashPool, TheStatisticCountsBucketsAndReferences)
{
    const temp_directory directory;
    const std::string path = directory / "statistic";
    open_pool pool;
    pool.getReference("b");  // 98 mod 16 is 2
    pool.getReference("c");
    pool.getReference("c");
    for (const char* text : {"d", "t", "T", "4", "$", "\x14"}) pool.getReference(text);  // all in bucket 4
    pool.getReferenceElement("t")->refCount = -3;
    pool.getReferenceElement("T")->refCount = 0;
    const std::string expected =
        "Number of Bucket: 16; [0:1:2:3:4:5:6]=[13:2:0:0:0:0:1]\n"
        " String: b Reference Count: 1\n"
        " String: c Reference Count: 2\n"
        " String: d Reference Count: 1\n"
        " String: t Reference Count: -3\n"
        " String: T Reference Count: 0\n"
        " String: 4 Reference Count: 1\n"
        " String: $ Reference Count: 1\n"
        " String: \x14 Reference Count: 1\n"
        "Total number of string elements: 8\n"
        " Total Reference: 4; Neg Ref: 1; Zero Ref: 1 element; One Ref: 5 element;\n";
    EXPECT_EQ(stdout_of([&] { pool.statistic(path.c_str()); }), expected);
    EXPECT_EQ(file_bytes(path), expected);
    pool.delReference("b");
    const std::string again = stdout_of([&] { pool.statistic(path.c_str()); });
    EXPECT_EQ(file_bytes(path), again);  // not appended
    EXPECT_EQ(again.substr(0, again.find('\n')), "Number of Bucket: 16; [0:1:2:3:4:5:6]=[14:1:0:0:0:0:1]");
    EXPECT_EQ(stdout_of([&] { pool.statistic((directory / "no/such").c_str()); }), again);
    pool.drop_all();
}

TEST(UtStringHashPool, TheStatisticOfAnEmptyPool)
{
    utStringHashPool pool;
    EXPECT_EQ(stdout_of([&] { pool.statistic(nullptr); }),
              "Number of Bucket: 16; [0:1:2:3:4:5:6]=[16:0:0:0:0:0:0]\n"
              "Total number of string elements: 0\n"
              " Total Reference: 0; Neg Ref: 0; Zero Ref: 0 element; One Ref: 0 element;\n");
}

TEST(UtStringHashPool, EntriesWithoutATextDoNoHarm)
{
    open_pool pool;
    pool.insert(new utStringHashPoolEle);
    pool.insert(nullptr);  // equals it
    EXPECT_EQ(pool.Size(), 1);
    EXPECT_EQ(pool.getReferenceElement("")->refCount, 1);
    EXPECT_EQ(pool.getReference(""), nullptr);
    pool.drop_all();
    pool.insert(nullptr);
    EXPECT_NE(stdout_of([&] { pool.statistic(nullptr); }).find("Zero Ref: 1 element"), std::string::npos);
    pool.drop_all();
}

TEST(UtStringHashPool, WithoutADelFunNothingIsReleased)
{
    utStringHashPool pool;
    const auto release = pool.delFun();
    pool.setDelFun(nullptr);
    utStringHashPoolEle* const entry = pool.getReferenceElement("kept");
    pool.delReference("kept");
    EXPECT_EQ(pool.Size(), 0);
    EXPECT_STREQ(entry->text, "kept");
    release(entry);
}

TEST(UtStringHashPool, TheGlobalPoolHasSixtyFourBucketsAtFirst)
{
    utStringHashPool* const pool = utStringHashPool::getGlobalPool();
    EXPECT_EQ(utStringHashPool::globalPool(), pool);
    EXPECT_EQ(stdout_of([&] { pool->statistic(nullptr); }).substr(0, 22), "Number of Bucket: 64; ");
}

TEST(NewRefString, GivesOnePointerUntilTheLastReferenceIsDropped)
{
    const char* const text = newRefString("x");
    EXPECT_EQ(utStringHashPool::newRefString("x"), text);
    EXPECT_EQ(utStringHashPool::getGlobalPool()->Size(), 1);
    delRefString("x");
    EXPECT_STREQ(text, "x");
    utStringHashPool::delRefString(text);
    EXPECT_EQ(stdout_of([&] { delRefString("x"); }),
              "user specified string 'x' does not exist in string pool\n");
    EXPECT_EQ(newRefString(nullptr), nullptr);
    delRefString(nullptr);
}

TEST(UtStringHashPool, AgreesWithItsModel)
{
    std::mt19937 random(6);
    open_pool pool;
    std::map<std::string, int> model;
    std::map<std::string, const char*> given;
    for (int operation = 0; operation < 100'000; ++operation) {
        const std::string text = "net_" + std::to_string(random() % 3'000);
        const bool known = model.count(text) > 0;
        if (random() % 20 < (operation / 20'000 % 2 == 0 ? 12U : 8U)) {
            const char* const pointer = pool.getReference(text.c_str());
            ASSERT_EQ(pointer, text);
            ASSERT_EQ(known ? given[text] : pointer, pointer);
            given[text] = pointer;
            ++model[text];
        } else if (known) {
            pool.delReference(text.c_str());
            if (--model[text] == 0) model.erase(text);
        }
        ASSERT_EQ(pool.Size(), static_cast<int>(model.size()));
    }
    const std::string shown = stdout_of([&] { pool.statistic(nullptr); });
    std::istringstream lines(shown);
    std::map<std::string, int> counted;
    int buckets_and_totals = 0;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t count = line.find(" Reference Count: ");
        if (count == std::string::npos)
            ++buckets_and_totals;
        else
            counted[line.substr(9, count - 9)] = std::stoi(line.substr(count + 18));
    }
    EXPECT_EQ(counted, model);
    EXPECT_EQ(buckets_and_totals, 3);
    EXPECT_GT(pool.table_size(), 64);
    pool.drop_all();
}

TEST(UtStringHashPool, SurvivesTheFailureOfEveryAllocation)
{
    no_kept_elements elements_from_heap;
    for (long n = 0;; ++n) {
        elements_from_heap.take_more();
        open_pool pool;
        std::vector<utStringHashPoolEle*> entries_from_heap;
        for (int i = 0; i < 10; ++i) entries_from_heap.push_back(new utStringHashPoolEle);
        bool hit = false, consistent = true;
        {
            allocation_faults faults(n, 1);
            for (int i = 0; i < 200;) {
                const int before = pool.Size();
                const char text[] = {'s', static_cast<char>('0' + i / 64), static_cast<char>('0' + i % 64),
                                     '\0'};
                try {
                    pool.getReference(text);
                    ++i;
                } catch (const std::bad_alloc&) {
                    consistent = consistent && pool.Size() == before;
                }
            }
            hit = faults.hit();
        }
        EXPECT_TRUE(consistent) << n;
        EXPECT_EQ(pool.Size(), 200);
        pool.drop_all();
        for (utStringHashPoolEle* entry : entries_from_heap) delete entry;
        if (!hit) break;
    }
}

}  // namespace
