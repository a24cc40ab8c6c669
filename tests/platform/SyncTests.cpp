#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

#include "ThreadsTestSupport.h"

using namespace ThreadsTest;

// A critical section is recursive for its owner, and counts its entries; thread-local slots
// start empty on every thread and when allocated again.
TEST(Sync, CriticalSectionsAndThreadLocalSlots)
{
    CRITICAL_SECTION section;
    InitializeCriticalSection(&section);
    EnterCriticalSection(&section);
    EXPECT_TRUE(TryEnterCriticalSection(&section));
    auto otherEnters = [&] {
        return JoinThread(StartThread([&]() -> unsigned {
            const bool entered = TryEnterCriticalSection(&section);
            if (entered)
                LeaveCriticalSection(&section);
            return entered;
        }));
    };
    EXPECT_EQ(0u, otherEnters());
    LeaveCriticalSection(&section);
    EXPECT_EQ(0u, otherEnters()) << "one Leave of two Enters keeps the lock";
    LeaveCriticalSection(&section);
    EXPECT_EQ(1u, otherEnters());
    long counter = 0;
    std::vector<HANDLE> handles;
    for (int t = 0; t < 4; ++t) {
        handles.push_back(StartThread([&]() -> unsigned {
            for (int i = 0; i < 20000; ++i) {
                EnterCriticalSection(&section);
                EnterCriticalSection(&section);
                const long seen = counter;
                LeaveCriticalSection(&section);  // the outer entry still holds
                counter = seen + 1;
                LeaveCriticalSection(&section);
            }
            return 0;
        }));
    }
    for (HANDLE h : handles)
        EXPECT_EQ(0u, JoinThread(h));
    EXPECT_EQ(80000, counter);
    DeleteCriticalSection(&section);

    DWORD slot = TlsAlloc();
    SetLastError(ERROR_ACCESS_DENIED);
    EXPECT_EQ(nullptr, TlsGetValue(slot));
    EXPECT_EQ(DWORD(ERROR_SUCCESS), GetLastError()) << "success clears the last error";
    int mine = 0;
    EXPECT_TRUE(TlsSetValue(slot, &mine));
    EXPECT_EQ(1u, JoinThread(StartThread([&]() -> unsigned {
        const bool startsEmpty = TlsGetValue(slot) == nullptr;
        TlsSetValue(slot, &counter);
        return startsEmpty && TlsGetValue(slot) == &counter;
    })));
    EXPECT_EQ(&mine, TlsGetValue(slot));
    EXPECT_TRUE(TlsFree(slot));
    EXPECT_FALSE(TlsFree(slot));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
    slot = TlsAlloc();
    EXPECT_EQ(nullptr, TlsGetValue(slot));
    EXPECT_TRUE(TlsFree(slot));
    EXPECT_FALSE(TlsSetValue(100000, &mine));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
}

TEST(Sync, ManualAndAutomaticResetEvents)
{
    HANDLE manual = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    HANDLE automatic = CreateEventA(nullptr, FALSE, TRUE, nullptr);
    ASSERT_TRUE(manual && automatic);
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(manual, 0));
    EXPECT_TRUE(SetEvent(manual));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(manual, 0));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(manual, 0)) << "a manual event stays set";
    EXPECT_TRUE(ResetEvent(manual));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(manual, 0));

    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(automatic, 0)) << "initial state";
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(automatic, 0)) << "a wait takes it";
    SetEvent(automatic);
    SetEvent(automatic);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(automatic, 0));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(automatic, 0)) << "sets do not count up";

    // A pulse without waiters leaves nothing behind; with waiters it releases all of a
    // manual event's, and one of an automatic event's.
    for (HANDLE event : {manual, automatic}) {
        EXPECT_TRUE(PulseEvent(event));
        EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(event, 0));
        const int waiters = 3;
        LONG volatile released = 0;
        std::vector<HANDLE> threads;
        for (int i = 0; i < waiters; ++i) {
            threads.push_back(StartThread([&]() -> unsigned {
                const DWORD result = WaitForSingleObject(event, 10000);
                InterlockedIncrement(&released);
                return result;
            }));
        }
        Sleep(200);
        for (int pulse = 1; pulse <= (event == manual ? 1 : waiters); ++pulse) {
            PulseEvent(event);
            const int expected = event == manual ? waiters : pulse;
            EXPECT_TRUE(Eventually([&] { return Read(released) >= expected; }));
            Sleep(50);
            EXPECT_EQ(expected, Read(released));
        }
        for (HANDLE thread : threads)
            EXPECT_EQ(WAIT_OBJECT_0, JoinThread(thread));
        EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(event, 0));
    }
    CloseHandle(manual);
    CloseHandle(automatic);
}

TEST(Sync, WaitsForAnyAndForAll)
{
    HANDLE events[4];
    for (HANDLE& event : events)
        event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    // Any: the lowest signalled object, and only that one is taken.
    SetEvent(events[2]);
    SetEvent(events[3]);
    EXPECT_EQ(WAIT_OBJECT_0 + 2, WaitForMultipleObjects(4, events, FALSE, 0));
    EXPECT_EQ(WAIT_OBJECT_0 + 3, WaitForMultipleObjects(4, events, FALSE, 0));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(4, events, FALSE, 0));

    // All: automatic events are taken only together; while one thread waits for both, the
    // one set event stays free for another wait.
    SetEvent(events[0]);
    EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, events, TRUE, 0));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(events[0], 0)) << "a failed wait took nothing";
    HANDLE all = StartThread([&]() -> unsigned { return WaitForMultipleObjects(2, events, TRUE, 10000); });
    Sleep(50);
    SetEvent(events[0]);
    Sleep(50);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(events[0], 1000));
    SetEvent(events[1]);
    Sleep(50);
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(all, 0));
    SetEvent(events[0]);
    EXPECT_EQ(WAIT_OBJECT_0, JoinThread(all));
    EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, events, FALSE, 0)) << "both were taken";

    // Time-outs wait about as long as asked.
    LARGE_INTEGER start;
    QueryPerformanceCounter(&start);
    EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(events[0], 100));
    EXPECT_GE(MillisecondsSince(start), 80.0);
    QueryPerformanceCounter(&start);
    EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjectsEx(3, events, TRUE, 60, FALSE));
    EXPECT_GE(MillisecondsSince(start), 40.0);
    EXPECT_LT(MillisecondsSince(start), 5000.0);

    // Failures: null and closed handles, an object that is not an event, bad counts.
    HANDLE closed = CreateEventA(nullptr, TRUE, TRUE, nullptr);
    EXPECT_TRUE(CloseHandle(closed));
    for (HANDLE bad : {HANDLE(nullptr), closed}) {
        EXPECT_EQ(WAIT_FAILED, WaitForSingleObject(bad, 0));
        EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), GetLastError());
        EXPECT_FALSE(CloseHandle(bad));
        EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), GetLastError());
    }
    HANDLE withBad[2] = {events[0], closed};
    EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(2, withBad, FALSE, 0));
    EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), GetLastError());
    EXPECT_FALSE(SetEvent(GetCurrentThread())) << "not an event";
    EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), GetLastError());
    std::vector<HANDLE> many(MAXIMUM_WAIT_OBJECTS + 1, events[0]);
    for (DWORD count : {DWORD(0), DWORD(many.size())}) {
        EXPECT_EQ(WAIT_FAILED, WaitForMultipleObjects(count, many.data(), FALSE, 0));
        EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
    }
    for (HANDLE event : events)
        CloseHandle(event);
}

// Rounds in which four threads set each of 16 automatic events once, in random order; waits
// for any must see each event exactly once per round and nothing more.
TEST(Sync, WaitsSeeEverySetOfOtherThreads)
{
    HANDLE events[16];
    for (HANDLE& event : events)
        event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    std::mt19937 random(7);
    std::vector<int> plan(16);
    for (int round = 0; round < 150; ++round) {
        std::iota(plan.begin(), plan.end(), 0);
        std::shuffle(plan.begin(), plan.end(), random);
        HANDLE setters[4];
        for (int s = 0; s < 4; ++s)
            setters[s] = StartThread([&, s]() -> unsigned {
                for (int i = s; i < 16; i += 4) {
                    if (i % 3 == 0)
                        Sleep(0);
                    SetEvent(events[plan[i]]);
                }
                return 0;
            });
        bool seen[16] = {};
        for (int i = 0; i < 16; ++i) {
            const DWORD result = WaitForMultipleObjects(16, events, FALSE, 5000);
            ASSERT_LT(result, DWORD(WAIT_OBJECT_0 + 16)) << "round " << round;
            ASSERT_FALSE(seen[result - WAIT_OBJECT_0]) << "round " << round;
            seen[result - WAIT_OBJECT_0] = true;
        }
        for (HANDLE setter : setters)
            EXPECT_EQ(0u, JoinThread(setter));
        ASSERT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(16, events, FALSE, 0));
    }
    for (HANDLE event : events)
        CloseHandle(event);
}
