#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <cstdint>

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
