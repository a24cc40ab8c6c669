#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <thread>
#include <vector>

TEST(WinInterlocked, ResultsOfOneThread)
{
    LONG volatile value = 5;
    EXPECT_EQ(6, InterlockedIncrement(&value));
    EXPECT_EQ(5, InterlockedDecrement(&value));
    EXPECT_EQ(5, InterlockedExchange(&value, -7));
    EXPECT_EQ(-7, InterlockedExchangeAdd(&value, 10));
    EXPECT_EQ(3, InterlockedExchangeAdd(&value, -4));
    // A compare-exchange answers the value it found, whether it stored or not.
    EXPECT_EQ(-1, InterlockedCompareExchange(&value, 42, 0));
    EXPECT_EQ(-1, InterlockedCompareExchange(&value, 42, -1));
    EXPECT_EQ(42, LONG(value));
    // 32-bit wrap-around.
    value = INT32_MAX;
    EXPECT_EQ(LONG(INT32_MIN), InterlockedIncrement(&value));
    EXPECT_EQ(LONG(INT32_MAX), InterlockedDecrement(&value));
}

// Every increment answers a value of its own, and a compare-exchange loop loses nothing.
TEST(WinInterlocked, ManyThreadsAtOnce)
{
    const int threads = 8, rounds = 20000;
    LONG volatile counter = 0, sum = 0, casCounter = 0;
    std::vector<std::vector<LONG>> seen(threads);
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t) {
        pool.emplace_back([&, t] {
            for (int i = 0; i < rounds; ++i) {
                seen[t].push_back(InterlockedIncrement(&counter));
                InterlockedExchangeAdd(&sum, 3);
                InterlockedDecrement(&sum);
                for (LONG expected = 0, found; (found = InterlockedCompareExchange(&casCounter, expected + 1, expected)) != expected;)
                    expected = found;
            }
        });
    }
    for (std::thread& t : pool)
        t.join();
    EXPECT_EQ(2 * threads * rounds, LONG(sum));
    EXPECT_EQ(threads * rounds, LONG(casCounter));
    std::vector<LONG> all;
    for (const std::vector<LONG>& part : seen)
        all.insert(all.end(), part.begin(), part.end());
    std::sort(all.begin(), all.end());
    for (size_t i = 0; i < all.size(); ++i)
        ASSERT_EQ(LONG(i + 1), all[i]);
    EXPECT_EQ(size_t(threads * rounds), all.size());
}
