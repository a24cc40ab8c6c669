#include <gtest/gtest.h>

#include <new>

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

// Polls are waits with no time; assignment joins two objects on one event. Only one of them
// may close it, so the other lives in storage that is never destroyed.
TEST(Events, PollsWaitsAndJoinedObjects)
{
    TThreadEvent manual, automatic(1, 1);
    EXPECT_TRUE(manual.IsFalse() == 1 && manual.IsTrue() == 0 && manual.WaitForIt(20) == 0);
    manual.SetTrue();
    EXPECT_TRUE(manual.IsTrue() == 1 && manual.IsFalse() == 0 && manual.WaitForIt(0) == 1);
    manual.SetFalse();
    manual.Pulse();
    EXPECT_EQ(0, manual.IsTrue()) << "a pulse with nobody waiting leaves it false";
    EXPECT_EQ(1, automatic.IsTrue()) << "the first poll consumes the initial state";
    EXPECT_EQ(0, automatic.IsTrue());

    alignas(TThreadEvent) static unsigned char storage[sizeof(TThreadEvent)];
    TThreadEvent* joined = ::new (static_cast<void*>(storage)) TThreadEvent(1, 0);
    *joined = automatic;
    EXPECT_EQ(automatic.GetHandle(), static_cast<void*>(*joined));
    joined->SetTrue();
    EXPECT_EQ(1, automatic.WaitForIt(0xFFFFFFFF));
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
    EXPECT_EQ(-1, WaitForAll(a, b, c, d, 0));

    // Positions count in the wait list, where missing events take no place.
    a.SetFalse();
    b.SetFalse();
    e.SetTrue();
    EXPECT_EQ(4, WaitForAny(a, b, c, d, e, 0));
    EXPECT_EQ(2, WaitForAny(a, NoEvent(), c, NoEvent(), e, 0));
    EXPECT_EQ(3, WaitForAny(a, b, c, e, 0));
    EXPECT_EQ(-1, WaitForAny(a, b, c, 0));
    EXPECT_EQ(-1, WaitForAny(a, b, c, d, 0));

    // A time-out waits about as long as asked, with the other thread's set counted.
    const auto waited = std::chrono::steady_clock::now();
    EXPECT_EQ(-1, WaitForAll(a, e, 50));
    EXPECT_GE(SecondsSince(waited), 0.04);
    std::thread setter([&] {
        Sleep(20);
        a.SetTrue();
    });
    EXPECT_EQ(0, WaitForAll(a, e, 10000));
    setter.join();

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
