// TTimer and TimeTracer over the performance counter or timeGetTime.
#include "threads/Timer.h"

#include <new>

#include "TarnPlatform.h"

namespace {

// Chosen once per process: the performance counter if the platform has one, else
// timeGetTime at one tick a millisecond. A function-local static, so that two first timers
// on two threads compute it once, safely.
struct TCounterChoice {
    int highResolution;
    double unitsPerTick[3];  // by unit: seconds, milliseconds, microseconds
};

const TCounterChoice& CounterChoice()
{
    static const TCounterChoice choice = [] {
        LARGE_INTEGER frequency;
        if (!QueryPerformanceFrequency(&frequency))
            return TCounterChoice{0, {0.001, 1.0, 1000.0}};
        const double f =
            static_cast<double>(static_cast<uint32_t>(frequency.HighPart)) * 4294967296.0 + frequency.LowPart;
        return TCounterChoice{1, {1.0 / f, 1000.0 / f, 1000000.0 / f}};
    }();
    return choice;
}

// to - from, word by word, the borrow by hand.
TTimer::Int64 Difference(const TTimer::Int64& from, const TTimer::Int64& to)
{
    TTimer::Int64 result;
    result.low = to.low - from.low;
    const uint32_t borrow = to.low < from.low ? 1u : 0u;
    result.high = to.high - from.high - borrow;
    return result;
}

// total += amount, word by word, the carry by hand.
void AddTo(TTimer::Int64& total, const TTimer::Int64& amount)
{
    const uint32_t low = total.low + amount.low;
    const uint32_t carry = low < total.low ? 1u : 0u;
    total.low = low;
    total.high += amount.high + carry;
}

}  // namespace

TTimer::TTimer(Units units, int startNow)
{
    const TCounterChoice& choice = CounterChoice();
    highResolution = choice.highResolution;
    const int index = units == eMilliseconds ? 1 : units == eMicroseconds ? 2 : 0;
    unitsPerTick = choice.unitsPerTick[index];
    startTick = Int64{0, 0};
    Reset();
    if (startNow)
        Resume();
}

void TTimer::Start()
{
    Reset();
    Resume();
}

void TTimer::Reset()
{
    accumulated = Int64{0, 0};
    running = 0;
}

void TTimer::Resume()
{
    if (running)
        return;
    ReadCounter(startTick);
    running = 1;
}

void TTimer::Pause()
{
    if (!running)
        return;
    UpdateAccumulatedTime(accumulated);
    running = 0;
}

double TTimer::GetElapsedTime() const
{
    Int64 total = accumulated;
    if (running)
        UpdateAccumulatedTime(total);
    return GetElapsedTime(Int64{0, 0}, total);
}

double TTimer::GetElapsedTime(const Int64& from, const Int64& to) const
{
    if (highResolution) {
        const Int64 ticks = Difference(from, to);
        return (static_cast<double>(ticks.low) + static_cast<double>(ticks.high) * 4294967296.0) * unitsPerTick;
    }
    return static_cast<double>(static_cast<uint32_t>(to.low - from.low)) * unitsPerTick;
}

void TTimer::UpdateAccumulatedTime(Int64& total) const
{
    Int64 now = startTick;
    ReadCounter(now);
    if (highResolution)
        AddTo(total, Difference(startTick, now));
    else
        total.low += now.low - startTick.low;
}

void TTimer::ReadCounter(Int64& tick) const
{
    if (highResolution) {
        LARGE_INTEGER counter;
        QueryPerformanceCounter(&counter);
        tick.low = counter.LowPart;
        tick.high = static_cast<uint32_t>(counter.HighPart);
    } else {
        tick.low = timeGetTime();
    }
}

TimeTracer::TimeTracer(Units units, int numSlots)
    : TTimer(units, 1), slots(nullptr), lastSlot(-1), maxSlots(numSlots > 0 ? numSlots : 0)
{
    if (maxSlots > 0)
        slots = new (std::nothrow) Slot[static_cast<size_t>(maxSlots)]();
}

TimeTracer::TimeTracer(const TimeTracer& source) : TTimer(source), slots(nullptr), lastSlot(-1), maxSlots(0)
{
    CopySlots(source);
}

TimeTracer& TimeTracer::operator=(const TimeTracer& source)
{
    if (this != &source) {
        TTimer::operator=(source);
        delete[] slots;
        slots = nullptr;
        CopySlots(source);
    }
    return *this;
}

TimeTracer::~TimeTracer()
{
    delete[] slots;
}

void TimeTracer::CopySlots(const TimeTracer& source)
{
    maxSlots = source.maxSlots;
    lastSlot = -1;
    if (!source.slots || maxSlots <= 0)
        return;
    slots = new (std::nothrow) Slot[static_cast<size_t>(maxSlots)]();
    if (!slots)
        return;
    for (int32_t i = 0; i <= source.lastSlot; ++i)
        slots[i] = source.slots[i];
    lastSlot = source.lastSlot;
}

void TimeTracer::Store(const char* const label)
{
    if (!slots || lastSlot + 1 >= maxSlots)
        return;
    Slot& slot = slots[lastSlot + 1];
    slot.label = label;
    ReadCounter(slot.tick);
    ++lastSlot;
}

double TimeTracer::GetTime(int slot, int fromStart, const char** label) const
{
    if (slot < 0 || slot > lastSlot || !slots) {
        if (label)
            *label = nullptr;
        return 0.0;
    }
    if (label)
        *label = slots[slot].label;
    if (!fromStart && slot != 0)
        return GetElapsedTime(slots[slot - 1].tick, slots[slot].tick);
    return GetElapsedTime(startTick, slots[slot].tick);
}
