#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include "ThreadsTestSupport.h"

using namespace ThreadsTest;

TEST(Time, CountersFollowSleep)
{
    LARGE_INTEGER frequency, again;
    EXPECT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_GT(frequency.QuadPart, 0);
    QueryPerformanceFrequency(&again);
    EXPECT_EQ(frequency.QuadPart, again.QuadPart) << "fixed while the system runs";

    LARGE_INTEGER first, second;
    EXPECT_TRUE(QueryPerformanceCounter(&first));
    QueryPerformanceCounter(&second);
    EXPECT_GE(second.QuadPart, first.QuadPart);

    DWORD mmStart = timeGetTime();
    Sleep(50);
    double elapsed = MillisecondsSince(first);
    DWORD mmElapsed = timeGetTime() - mmStart;
    EXPECT_GE(elapsed, 45.0);
    EXPECT_LT(elapsed, 5000.0);
    // The millisecond clocks may run a tick behind.
    EXPECT_GE(mmElapsed, 30u);
    EXPECT_LT(mmElapsed, 5000u);
    DWORD apart = timeGetTime() - GetTickCount();
    EXPECT_TRUE(apart < 1000u || apart > 0u - 1000u) << "both count from the system's start";
}
