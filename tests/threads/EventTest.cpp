#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>
#include <random>
#include <thread>
#include <vector>

#include "ThreadsTestHelpers.h"
#include "threads/ThreadEvent.h"

using ThreadsSuite::SecondsSince;

namespace {

// What a caller passes for an event that is not there. Binding a reference to null is
// what the interface asks of its callers, so the sanitizer's check is off for this one.
#if defined(__GNUC__) || defined(__clang__)
__attribute__((noinline, no_sanitize_undefined))
#endif
const TThreadEvent& NoEvent()
{
    const TThreadEvent* volatile none = nullptr;
    return *none;
}

}  // namespace

TEST(Events, ResetModesPollsAndJoinedObjects)
{
    TThreadEvent manual;
    EXPECT_EQ(1, manual.IsFalse());
    manual.SetTrue();
    EXPECT_EQ(1, manual.IsTrue());
    EXPECT_EQ(0, manual.IsFalse()) << "a manual-reset event stays true";
    manual.SetFalse();
    EXPECT_EQ(0, manual.WaitForIt(20));

    // autoReset 1 with initialState 1: the first poll consumes the state.
    TThreadEvent automatic(1, 1);
    EXPECT_EQ(1, automatic.IsTrue());
    EXPECT_EQ(0, automatic.IsTrue());
    automatic.SetTrue();
    EXPECT_EQ(0, automatic.IsFalse());
    EXPECT_EQ(1, automatic.IsFalse());

    // Pulse with nobody waiting leaves the event false.
    manual.Pulse();
    EXPECT_EQ(0, manual.IsTrue());

    // Assignment joins two objects on one event; only one of them may close it, so the
    // other lives in storage that is never destroyed.
    alignas(TThreadEvent) static unsigned char storage[sizeof(TThreadEvent)];
    TThreadEvent* joined = ::new (static_cast<void*>(storage)) TThreadEvent(1, 0);
    *joined = automatic;
    EXPECT_EQ(automatic.GetHandle(), static_cast<void*>(*joined));
    joined->SetTrue();
    EXPECT_EQ(1, automatic.IsTrue());
    EXPECT_EQ(0, joined->IsTrue());
}

TEST(Events, WaitListsAndResults)
{
    TThreadEvent a, b, c, d, e;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(-1, WaitForAny(a, b, 0));
    EXPECT_EQ(-1, WaitForAll(a, b, c, d, e, 0));
    EXPECT_LT(SecondsSince(start), 1.0) << "a zero time-out answers at once";

    b.SetTrue();
    EXPECT_EQ(1, WaitForAny(a, b, 0));
    a.SetTrue();
    EXPECT_EQ(0, WaitForAny(a, b, 0)) << "the lowest position wins";
    EXPECT_EQ(-1, WaitForAll(a, b, c, 0));
    EXPECT_EQ(0, WaitForAll(a, b, NoEvent(), 0)) << "a null reference is left out";
    EXPECT_EQ(0, WaitForAll(a, NoEvent(), b, NoEvent(), NoEvent(), 0));

    // Positions count in the wait list, where missing events take no place.
    a.SetFalse();
    b.SetFalse();
    e.SetTrue();
    EXPECT_EQ(4, WaitForAny(a, b, c, d, e, 0));
    EXPECT_EQ(2, WaitForAny(a, NoEvent(), c, NoEvent(), e, 0));
    EXPECT_EQ(3, WaitForAny(a, b, c, e, 0));

    // A time-out waits about as long as asked.
    const auto waited = std::chrono::steady_clock::now();
    EXPECT_EQ(-1, WaitForAll(a, e, 50));
    EXPECT_GE(SecondsSince(waited), 0.04);

    // A failing wait (a closed handle) answers -1 too, also where long is wider than the
    // platform's answer. The dead object is never destroyed, so nothing closes it again.
    alignas(TThreadEvent) static unsigned char storage[sizeof(TThreadEvent)];
    const TThreadEvent* dead = ::new (static_cast<void*>(storage)) TThreadEvent(1, 0);
    CloseHandle(dead->GetHandle());
    EXPECT_EQ(-1, WaitForAny(e, *dead, 0));
    EXPECT_EQ(-1, WaitForAll(e, *dead, 0xFFFFFFFF));
    EXPECT_EQ(0, dead->IsTrue());
    EXPECT_EQ(1, dead->IsFalse());
    EXPECT_EQ(0, dead->WaitForIt(0xFFFFFFFF));
}

// Other threads set events in random order; every answer must agree with what was set.
TEST(Events, WaitsAgainstEventsSetByOtherThreads)
{
    std::mt19937 random(20240611);
    const int rounds = 150;
    for (int autoReset = 0; autoReset <= 1; ++autoReset) {
        TThreadEvent events[5] = {TThreadEvent(0, autoReset), TThreadEvent(0, autoReset), TThreadEvent(0, autoReset),
            TThreadEvent(0, autoReset), TThreadEvent(0, autoReset)};
        for (int round = 0; round < rounds; ++round) {
            // A random non-empty subset, set in random order by two threads.
            std::vector<int> chosen;
            for (int i = 0; i < 5; ++i)
                if (random() % 2)
                    chosen.push_back(i);
            if (chosen.empty())
                chosen.push_back(int(random() % 5));
            std::shuffle(chosen.begin(), chosen.end(), random);
            std::atomic<int> setCount{0};
            auto setter = [&](size_t from) {
                for (size_t i = from; i < chosen.size(); i += 2) {
                    if (i % 3 == 0)
                        std::this_thread::yield();
                    ++setCount;
                    events[chosen[i]].SetTrue();
                }
            };
            const bool all = round % 2 == 1;
            if (all)
                chosen = {0, 1, 2, 3, 4};
            std::thread first(setter, 0), second(setter, 1);
            const long answer = all
                ? WaitForAll(events[0], events[1], events[2], events[3], events[4], 10000)
                : WaitForAny(events[0], events[1], events[2], events[3], events[4], 10000);
            if (all) {
                EXPECT_EQ(0, answer);
                EXPECT_EQ(5, setCount.load()) << "WaitForAll answered before the last event was set";
            } else {
                ASSERT_GE(answer, 0);
                EXPECT_NE(chosen.end(), std::find(chosen.begin(), chosen.end(), int(answer)))
                    << "answered an event that nobody set";
            }
            first.join();
            second.join();

            // What is still true: manual events all that were set, automatic ones all but
            // what the wait took, drained lowest first.
            std::vector<int> expected = chosen;
            if (autoReset)
                expected.erase(all ? expected.begin() : std::find(expected.begin(), expected.end(), int(answer)),
                    all ? expected.end() : std::find(expected.begin(), expected.end(), int(answer)) + 1);
            std::sort(expected.begin(), expected.end());
            std::vector<int> found;
            for (int i = 0; i < 5; ++i)
                if (events[i].IsTrue())
                    found.push_back(i);
            EXPECT_EQ(expected, found) << "round " << round;
            for (TThreadEvent& event : events)
                event.SetFalse();
        }
    }
}
