// tests/basutsmallmutex_test.cpp
#include "basutsmallmutex.h"

#include <mutex>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

using ketriope::small_mutex;

namespace {

bool another_thread_gets(small_mutex& mutex)
{
    bool got = false;
    std::thread([&] {
        got = mutex.try_lock();
        if (got) mutex.unlock();
    }).join();
    return got;
}

TEST(SmallMutex, IsEightBytes)
{
    EXPECT_EQ(sizeof(small_mutex), 8U);
}

TEST(SmallMutex, IsFreeAgainAfterAsManyUnlocksAsLocks)
{
    small_mutex mutex;
    mutex.lock();
    EXPECT_TRUE(mutex.try_lock());
    mutex.lock();
    mutex.unlock();
    mutex.unlock();
    EXPECT_FALSE(another_thread_gets(mutex));
    mutex.unlock();
    EXPECT_TRUE(another_thread_gets(mutex));
}

TEST(SmallMutex, LetsOneThreadInAtATime)
{
    constexpr int k_threads = 8;
    constexpr int k_rounds = 5'000;
    small_mutex mutex;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < k_threads; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < k_rounds; ++round) {
                const std::lock_guard outer(mutex);
                const std::lock_guard inner(mutex);
                ++counter;
            }
        });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(counter, long{k_threads} * k_rounds);
}

}  // namespace
