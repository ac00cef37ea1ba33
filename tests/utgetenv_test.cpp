// tests/utgetenv_test.cpp
#include "utgetenv.h"

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "basutstr.h"
#include "scoped_environment.h"

namespace {

constexpr const char* k_name = "KETRIOPE_TEST_VALUE";

TEST(UtGetenv, GivesTheValueOrNull)
{
    const scoped_environment set(k_name, "7");
    EXPECT_STREQ(ut_getenv(k_name), "7");
    const scoped_environment empty(k_name, "");
    EXPECT_STREQ(ut_getenv(k_name), "");
    const scoped_environment unset(k_name, nullptr);
    EXPECT_EQ(ut_getenv(k_name), nullptr);
    EXPECT_EQ(ut_getenv(""), nullptr);
    EXPECT_EQ(ut_getenv(nullptr), nullptr);
}

TEST(UtGetenv, TakesAMaskedName)
{
    const scoped_environment set(k_name, "7");
    std::string masked = k_name;
    ut_strencode(masked.data());
    EXPECT_NE(masked, k_name);
    EXPECT_STREQ(ut_getenv(masked.c_str()), "7");
}

TEST(UtGetenv, ManyThreadsMayAskAtATime)
{
    const scoped_environment set(k_name, "7");
    std::vector<std::thread> threads;
    for (int t = 0; t < 16; ++t)
        threads.emplace_back([] {
            for (int i = 0; i < 500; ++i) ASSERT_STREQ(ut_getenv(k_name), "7");
        });
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
