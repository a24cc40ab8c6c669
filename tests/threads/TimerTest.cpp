#include <gtest/gtest.h>

#include "TarnPlatform.h"
#include "threads/Timer.h"

namespace {

// Reaches the tick arithmetic and the counter choice of a timer.
class TTimerProbe : public TTimer {
public:
    explicit TTimerProbe(Units units = eMilliseconds, int startNow = 0) : TTimer(units, startNow) {}
    using TTimer::GetElapsedTime;
    using TTimer::UpdateAccumulatedTime;
    using TTimer::accumulated;
    using TTimer::highResolution;
    using TTimer::running;
    using TTimer::startTick;
    using TTimer::unitsPerTick;
};

}  // namespace

TEST(Timer, WordByWordArithmetic)
{
    TTimerProbe probe;
    probe.unitsPerTick = 1.0;

    // 64-bit differences borrow from the high word; both words count as unsigned.
    probe.highResolution = 1;
    EXPECT_EQ(2.0, probe.GetElapsedTime({0xFFFFFFFFu, 1}, {1, 2}));
    EXPECT_EQ(4294967296.0 * 3 + 0x80000000u, probe.GetElapsedTime({0, 0}, {0x80000000u, 3}));
    EXPECT_EQ(4294967296.0 * 0x80000000u, probe.GetElapsedTime({0, 0}, {0, 0x80000000u}));

    // The low-resolution counter wraps after 2^32 ms: the low words' unsigned difference
    // measures a period across the wrap, and the high words do not count.
    probe.highResolution = 0;
    EXPECT_EQ(512.0, probe.GetElapsedTime({0xFFFFFF00u, 0}, {0x100, 0}));
    EXPECT_EQ(16.0, probe.GetElapsedTime({0xFFFFFFF8u, 9}, {8, 2}));
    probe.accumulated = {0xFFFFFFF0u, 5};
    EXPECT_EQ(double(0xFFFFFFF0u), probe.GetElapsedTime()) << "paused: reads accumulated";

    // Adding a running period: with the counter, the carry goes into the high word; with
    // timeGetTime, the low word wraps and the high word stays.
    TTimerProbe high;
    high.highResolution = 1;
    high.Start();
    TTimer::Int64 total = {0xFFFFFFFFu, 4};
    Sleep(2);
    high.UpdateAccumulatedTime(total);
    EXPECT_EQ(5u, total.high);
    TTimerProbe low;
    low.highResolution = 0;
    low.Start();  // startTick is now timeGetTime()
    low.startTick.low -= 20;
    total = {0xFFFFFFF0u, 4};
    low.UpdateAccumulatedTime(total);
    EXPECT_EQ(4u, total.high);
    EXPECT_GE(total.low, 4u);
    EXPECT_LT(total.low, 1000u);
}

TEST(Timer, UnitsPausesAndTruncation)
{
    const TTimerProbe seconds(TTimer::eSeconds), millis, micros(TTimer::eMicroseconds), other(TTimer::Units(7));
    EXPECT_DOUBLE_EQ(1000.0, millis.unitsPerTick / seconds.unitsPerTick);
    EXPECT_DOUBLE_EQ(1000.0, micros.unitsPerTick / millis.unitsPerTick);
    EXPECT_EQ(seconds.unitsPerTick, other.unitsPerTick) << "any other unit counts as seconds";

    // Not started: reads 0. Running 10 ms, paused 100 ms, running 10 ms: about 20 ms. Neither
    // a second Pause nor a second Resume changes anything.
    TTimer timer(TTimer::eMilliseconds, 0);
    Sleep(20);
    EXPECT_EQ(0.0, timer.GetElapsedTime());
    timer.Resume();
    Sleep(10);
    timer.Pause();
    timer.Pause();
    const double afterFirst = timer;
    Sleep(100);
    EXPECT_EQ(afterFirst, timer.GetElapsedTime());
    timer.Resume();
    Sleep(10);
    timer.Resume();
    const double both = timer;
    EXPECT_GE(both, 18.0);
    EXPECT_LT(both, 90.0);
    EXPECT_GE(float(timer), both) << "a running timer grows between reads";
    timer.Start();
    EXPECT_LT(timer.GetElapsedTime(), 10.0) << "Start begins again from 0";

    // Reading leaves the accumulated ticks alone; (unsigned long) truncates.
    TTimerProbe probe;
    probe.highResolution = 1;
    probe.unitsPerTick = 0.95;
    probe.accumulated = {2, 0};
    EXPECT_EQ(1ul, static_cast<unsigned long>(probe));
    probe.Resume();
    EXPECT_GE(double(probe), 1.9);
    EXPECT_EQ(2u, probe.accumulated.low);
}

TEST(Timer, TracerSlots)
{
    TimeTracer tracer(TTimer::eMilliseconds, 2);
    const char* label = "unset";
    EXPECT_EQ(0.0, tracer.GetTime(0, 0, &label));
    EXPECT_EQ(nullptr, label);
    Sleep(5);
    tracer.Store("first");
    tracer.Pause();
    Sleep(20);
    tracer.Store("second");  // marks are not affected by Pause
    tracer.Store("third");
    EXPECT_EQ(2, tracer.GetNumSlot());
    const double first = tracer.GetTime(0, 0, &label);
    EXPECT_STREQ("first", label);
    EXPECT_EQ(first, tracer.GetTime(0, 1, nullptr)) << "slot 0 measures from the start either way";
    EXPECT_GE(first, 4.0);
    const double step = tracer.GetTime(1, 0, &label);
    EXPECT_STREQ("second", label);
    EXPECT_GE(step, 18.0);
    EXPECT_NEAR(first + step, tracer.GetTime(1, 1, nullptr), 0.001);
    EXPECT_EQ(0.0, tracer.GetTime(2, 0, &label));
    EXPECT_EQ(nullptr, label);

    // Copies own their marks: each lives on after the other is gone.
    TimeTracer* original = new TimeTracer(tracer);
    TimeTracer assigned(TTimer::eSeconds, 1);
    assigned = *original;
    delete original;
    EXPECT_EQ(step, assigned.GetTime(1, 0, &label));
    EXPECT_STREQ("second", label);
    TimeTracer none(TTimer::eMilliseconds, 0);
    none.Store("nothing");
    EXPECT_EQ(0, none.GetNumSlot());
}
