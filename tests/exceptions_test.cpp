// tests/exceptions_test.cpp
#include "exceptions.h"

#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "child_process.h"

namespace {

static_assert(sizeof(UT_EXCEPTION) == sizeof(UT_EXCEPTION_EXIT) &&
              sizeof(UT_EXCEPTION) == sizeof(UT_EXCEPTION_CONTINUE));
static_assert(!std::is_polymorphic_v<UT_EXCEPTION>);
static_assert(!std::is_base_of_v<UT_EXCEPTION, UT_EXCEPTION_EXIT>);

TEST(UtException, StartsWithoutStrings)
{
    const UT_EXCEPTION fault;
    EXPECT_EQ(fault.getErrorCode(), 0);
    EXPECT_EQ(fault.getFileName(), nullptr);
    EXPECT_EQ(fault.getFileLine(), -1);
    EXPECT_EQ(fault.getMessage(), nullptr);
}

template <class T>
class EachException : public testing::Test {
};
using exception_classes = testing::Types<UT_EXCEPTION, UT_EXCEPTION_EXIT, UT_EXCEPTION_CONTINUE>;
TYPED_TEST_SUITE(EachException, exception_classes);

// The strings are never released, as copies of an exception share them; so each test keeps its own reachable.
template <class T>
T& kept(T fault)
{
    static std::vector<T>& all = *new std::vector<T>;
    all.reserve(100);
    return all.emplace_back(fault);
}

TYPED_TEST(EachException, KeepsCopiesOfItsStrings)
{
    std::string file = "f.c";
    TypeParam& fault = kept(TypeParam(7, file.c_str(), 3, "m"));
    file = "xxx";
    EXPECT_EQ(fault.getErrorCode(), 7);
    EXPECT_STREQ(fault.getFileName(), "f.c");
    EXPECT_EQ(fault.getFileLine(), 3);
    EXPECT_STREQ(fault.getMessage(), "m");
    const TypeParam copy = fault;
    EXPECT_EQ(copy.getMessage(), fault.getMessage());
}

TYPED_TEST(EachException, NullStaysNullAndANegativeLineIsMinus1)
{
    TypeParam fault(1, nullptr, -7, nullptr);
    EXPECT_EQ(fault.getFileName(), nullptr);
    EXPECT_EQ(fault.getFileLine(), -1);
    EXPECT_EQ(fault.getMessage(), nullptr);
    fault.setMessage(nullptr, 0, nullptr);
    EXPECT_EQ(fault.getFileLine(), 0);
    fault.setErrorCode(4);
    EXPECT_EQ(fault.getErrorCode(), 4);
}

TYPED_TEST(EachException, IsCaughtByItsOwnTypeAlone)
{
    bool caught = false;
    try {
        throw TypeParam(1, nullptr, 0, nullptr);
    } catch (const TypeParam&) {
        caught = true;
    }
    EXPECT_TRUE(caught);
}

std::string dumped(const char* what, const char* location)
{
    return run_child(child_program("exceptions_child"), {what}, {{"QVS_REPORT_EXCEPTION_LOCATION", location}})
        .out;
}

TEST(UtExceptionProcess, ReportsTheMessage)
{
    EXPECT_EQ(dumped("both", nullptr), "!!!EXCEPTION!!! - m %n\n");
    EXPECT_EQ(dumped("message", nullptr), "!!!EXCEPTION!!! - m %n\n");
    EXPECT_EQ(dumped("file", nullptr), "");
    EXPECT_EQ(dumped("neither", nullptr), "");
}

TEST(UtExceptionProcess, ReportsTheLocationWhereAsked)
{
    EXPECT_EQ(dumped("both", ""), "!!!EXCEPTION!!! - Exception happened at f.c:3\n\tm %n\n");
    EXPECT_EQ(dumped("message", "1"), "\tm %n\n");
    EXPECT_EQ(dumped("file", "1"), "!!!EXCEPTION!!! - Exception happened at f.c:3\n");
    EXPECT_EQ(dumped("neither", "1"), "");
}

TEST(UtExceptionProcess, TheSwitchIsReadOncePerProcess)
{
    EXPECT_EQ(dumped("switch later", nullptr), "!!!EXCEPTION!!! - m %n\n!!!EXCEPTION!!! - m %n\n");
}

}  // namespace
