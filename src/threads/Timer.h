// TTimer, a stopwatch with pause and resume on the performance counter (or on timeGetTime
// where there is none, chosen once per process), and TimeTracer, a stopwatch that stores
// labelled marks in a fixed number of slots.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"

class COMMONTARN_API TTimer {
public:
    // The unit of every answer; any value other than 1 and 2 counts as seconds.
    enum Units { eSeconds = 0, eMilliseconds = 1, eMicroseconds = 2 };

    // A 64-bit tick count as two words, low word first. All arithmetic on it goes word by
    // word, with the borrow and the carry by hand.
    struct Int64 {
        uint32_t low;
        uint32_t high;
    };

    explicit TTimer(Units units = eMilliseconds, int startNow = 1);
    TTimer(const TTimer&) = default;
    TTimer& operator=(const TTimer&) = default;

    // From 0 again, running; also when it was running.
    void Start();
    // Running from here; nothing if it runs already (the calls do not nest).
    void Resume();
    // Adds the running period to the accumulated time; nothing if it is paused already.
    void Pause();
    // The time in the timer's unit; the timer itself is not changed.
    double GetElapsedTime() const;

    operator double() const { return GetElapsedTime(); }
    operator float() const { return static_cast<float>(GetElapsedTime()); }
    // Truncated: 1.9 units read as 1.
    operator unsigned long() const { return static_cast<unsigned long>(GetElapsedTime()); }

protected:
    // Paused, with nothing accumulated.
    void Reset();
    // The ticks from `from` to `to` in the timer's unit. With the performance counter the
    // difference is of 64 bits; with timeGetTime only the low words count, modulo 2^32, so
    // that a period across the counter's wrap still measures right.
    double GetElapsedTime(const Int64& from, const Int64& to) const;
    // Adds the ticks since startTick to total, which with timeGetTime means to its low word
    // only, without carry. startTick stays: this is not a restart.
    void UpdateAccumulatedTime(Int64& total) const;
    // The counter now; with timeGetTime only the low word is written.
    void ReadCounter(Int64& tick) const;

    int highResolution;
    int running;
    double unitsPerTick;
    Int64 startTick;
    Int64 accumulated;
};

class COMMONTARN_API TimeTracer : public TTimer {
public:
    // A running timer and numSlots empty slots (none for a count below 1).
    explicit TimeTracer(Units units = eMilliseconds, int numSlots = 50);
    // Each copy gets an array of its own with the same marks, so each destructor releases
    // only its own.
    TimeTracer(const TimeTracer& source);
    TimeTracer& operator=(const TimeTracer& source);
    virtual ~TimeTracer();

    // Marks the counter now under label, which is stored, not copied; nothing once every
    // slot is taken. Not affected by Pause.
    void Store(const char* const label);
    int GetNumSlot() const { return lastSlot + 1; }
    // The time of a mark: from the mark before it, or with fromStart (and always for slot 0)
    // from the timer's last Resume. A slot that holds no mark, negative ones included,
    // gives 0.0 and a null label. label may be null.
    double GetTime(int slot, int fromStart, const char** label) const;

private:
    struct Slot {
        const char* label;
        Int64 tick;
    };

    // Copies the marks of source into a new array of source's capacity.
    void CopySlots(const TimeTracer& source);

    Slot* slots;
    int32_t lastSlot;
    int32_t maxSlots;
};
