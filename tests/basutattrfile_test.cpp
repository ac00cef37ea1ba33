// tests/basutattrfile_test.cpp
#include "basutattrfile.h"

#include <cstdlib>
#include <new>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "allocation_faults.h"
#include "basutstr.h"
#include "message_capture.h"

namespace {

using ketriope::attribute;

attribute* pair_of(const char* name, const char* value)
{
    return new attribute{ut_strdup(name), ut_strdup(value)};
}

TEST(UtAttrFile, IsAListOfPairs)
{
    static_assert(std::is_base_of_v<UT_LIST, UT_ATTRFILE>);
    UT_ATTRFILE list;
    EXPECT_TRUE(list.append(pair_of("b", "2")));
    list.add("a", "1");
    EXPECT_EQ(list.count(), 2);
    EXPECT_STREQ(static_cast<attribute*>(list.getnext())->name, "b");
    EXPECT_STREQ(static_cast<attribute*>(list.getnext())->value, "1");
}

TEST(UtAttrFile, FindsByNameAndCase)
{
    UT_ATTRFILE list;
    list.add("name", "first");
    list.add("Name", "other case");
    list.add("name", "second");
    EXPECT_STREQ(list.value_of("name"), "first");
    EXPECT_STREQ(list.value_of("Name"), "other case");
    EXPECT_EQ(list.value_of("nam"), nullptr);
    EXPECT_EQ(list.value_of(nullptr), nullptr);
    char key[] = "Name";
    EXPECT_STREQ(static_cast<attribute*>(list.find(key))->value, "other case");
    EXPECT_STREQ(static_cast<attribute*>(list.getnext())->value, "second");  // the cursor moved there
    EXPECT_FALSE(list.finddata(list.find(key), nullptr));
}

TEST(UtAttrFile, PrintsNameAndValue)
{
    UT_ATTRFILE list;
    list.add("effort", "5");
    list.add("%s", "100%");
    list.add(nullptr, nullptr);
    EXPECT_EQ(stdout_of([&] { list.printlist(0); }), "effort = 5\n%s = 100%\n = \n");
}

TEST(UtAttrFile, OrdersByTheBytesOfTheNames)
{
    UT_ATTRFILE list;
    for (const char* name : {"b", "\xe4", "B", "a", ""}) list.add(name, "");
    list.sort();
    std::string names;
    while (void* const data = list.getnext())
        names += std::string("<") + static_cast<attribute*>(data)->name + ">";
    EXPECT_EQ(names, "<><B><a><b><\xe4>");
    attribute* const a = pair_of("a", "");
    attribute* const b = pair_of("b", "");
    EXPECT_LT(list.compdata(a, b), 0);
    EXPECT_GT(list.compdata(b, a), 0);
    EXPECT_EQ(list.compdata(a, a), 0);
    list.freedata(a);
    list.freedata(b);
    list.freedata(nullptr);
}

TEST(UtAttrFile, RemoveReleasesAnEntryAndTheDestructorTheRest)
{
    // What is not released shows under the address sanitizer.
    UT_ATTRFILE list;
    list.add("a", "1");
    list.add("b", "2");
    EXPECT_TRUE(list.remove(list.peeknext(), 1));
    EXPECT_EQ(list.count(), 1);
}

TEST(UtAttrFile, AFailedAllocationLeavesTheListAsItWas)
{
    for (long n = 0;; ++n) {
        UT_ATTRFILE list;
        list.add("first", "1");
        bool hit = false;
        {
            allocation_faults faults(n, 1);
            try {
                list.add("second", "2");
            } catch (const std::bad_alloc&) {
            }
            hit = faults.hit();
        }
        ASSERT_EQ(list.count(), hit ? 1 : 2) << n;
        if (!hit) break;
    }
}

}  // namespace
