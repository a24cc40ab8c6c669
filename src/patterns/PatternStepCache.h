// TStepCache: the bounded cache of steps of the pass over all matches of TTextPattern
// (PatternAllMatches.cpp). Not part of the interface.
#pragma once

#include <cstdint>

#include "patterns/TextPattern.h"

namespace TarnPattern {

// A bounded cache of the steps of the pass over all matches, for patterns whose closures are
// fixed. A thread list is held as runs of threads with the same start; a state is its
// sequence of nodes, each marked when it begins a run. What such a list becomes on a byte
// depends on the state alone, as each new thread takes the start of the one it comes from:
// a step from a state on a byte gives the next state, for each of its runs the run of the old
// list it comes from (the old list's number of runs for threads that start at this byte),
// and the run whose thread reaches the final node first.
class TStepCache {
public:
    static constexpr int32_t kMaxStates = 64;
    static constexpr int32_t kMaxSteps = 2048;
    static constexpr int32_t kNodeSpace = 4096;
    static constexpr int32_t kSourceSpace = 8192;
    static constexpr int32_t kEmptyState = 0;
    // In a state's sequence: the node, and this bit on the first node of each run.
    static constexpr int32_t kRunHead = 1 << 16;
    static constexpr int32_t kNodeMask = kRunHead - 1;
    // A step's sourceBegin when each run keeps the start of the run of the same number.
    static constexpr uint16_t kKeepsStarts = UINT16_MAX;
    // A row entry with this bit is a plain step: each run comes from the run of the same
    // number, no thread starts or reaches the final node, and the rest is the next state.
    // Other entries are the index of a step, or 0 when the step is not made yet.
    static constexpr uint16_t kPlainStep = 0x8000;
    // An empty cache holds the empty state, any other state, and a step to any state.
    static_assert(kNodeSpace >= 2 * TTextPattern::kMaxNodes && kSourceSpace >= TTextPattern::kMaxNodes,
                  "an empty cache must take any state and step");
    static_assert(TTextPattern::kMaxNodes < kRunHead && kSourceSpace < kKeepsStarts && kMaxSteps <= kPlainStep &&
                      kMaxStates <= kPlainStep,
                  "fields of 16 bits");

    struct TStep {
        int16_t next;
        int16_t finalSource;  // -1 when no thread reaches the final node
        int16_t numRuns;      // of next
        uint16_t sourceBegin;
    };

    // Leaves only the empty state.
    void Clear();

    int32_t Count(int32_t state) const { return states[state].count; }
    int32_t NumRuns(int32_t state) const { return states[state].numRuns; }
    const int32_t* Sequence(int32_t state) const { return sequences + states[state].begin; }
    uint16_t RowEntry(int32_t state, unsigned char c) const { return rows[state][c]; }
    const TStep& Step(uint16_t index) const { return steps[index]; }
    const int16_t* Sources(const TStep& step) const { return sources + step.sourceBegin; }

    // The state of sequence[0..count), made if new; -1 when there is no room.
    int32_t Intern(const int32_t* sequence, int32_t count);

    // Records the step from state on c to next, whose runs come from runSources; a step of
    // the same state with the same outcome is shared. False when there is no room.
    bool AddStep(int32_t state, unsigned char c, int32_t next, const int32_t* runSources, int32_t finalSource);

private:
    static constexpr uint32_t kHashSlots = 2 * kMaxStates;

    struct TState {
        int32_t begin;
        int32_t count;
        int32_t numRuns;
        uint32_t hash;
    };

    static bool SameSources(const int16_t* recorded, const int32_t* runSources, int32_t count);

    int32_t numStates;
    int32_t numSteps;
    int32_t nodesUsed;
    int32_t sourcesUsed;
    int16_t hashSlots[kHashSlots];
    TState states[kMaxStates];
    uint16_t rows[kMaxStates][256];  // the step of each byte, see kPlainStep
    TStep steps[kMaxSteps];
    int32_t sequences[kNodeSpace];
    int16_t sources[kSourceSpace];
};

}  // namespace TarnPattern
