// TStepCache: interning of states by their sequence of nodes, and steps shared between the
// bytes of one state that have the same outcome.
#include "patterns/PatternStepCache.h"

#include <cstring>

namespace TarnPattern {

void TStepCache::Clear()
{
    numStates = 0;
    numSteps = 1;  // step 0 stands for a step not made yet
    nodesUsed = 0;
    sourcesUsed = 0;
    memset(hashSlots, 0xFF, sizeof hashSlots);
    Intern(nullptr, 0);
}

int32_t TStepCache::Intern(const int32_t* sequence, int32_t count)
{
    uint32_t hash = 2166136261u;
    for (int32_t i = 0; i < count; ++i)
        hash = (hash ^ static_cast<uint32_t>(sequence[i])) * 16777619u;
    uint32_t slot = hash % kHashSlots;
    for (; hashSlots[slot] >= 0; slot = (slot + 1) % kHashSlots) {
        const TState& s = states[hashSlots[slot]];
        if (s.hash == hash && s.count == count &&
            (count == 0 ||
             memcmp(sequences + s.begin, sequence, sizeof(int32_t) * static_cast<size_t>(count)) == 0))
            return hashSlots[slot];
    }
    if (numStates == kMaxStates || count > kNodeSpace - nodesUsed)
        return -1;
    int32_t numRuns = 0;
    for (int32_t i = 0; i < count; ++i)
        numRuns += (sequence[i] & kRunHead) != 0;
    if (count > 0)
        memcpy(sequences + nodesUsed, sequence, sizeof(int32_t) * static_cast<size_t>(count));
    states[numStates] = {nodesUsed, count, numRuns, hash};
    nodesUsed += count;
    memset(rows[numStates], 0, sizeof rows[numStates]);
    hashSlots[slot] = static_cast<int16_t>(numStates);
    return numStates++;
}

bool TStepCache::AddStep(int32_t state, unsigned char c, int32_t next, const int32_t* runSources, int32_t finalSource)
{
    const int32_t numRuns = states[next].numRuns;
    bool keeps = true;
    for (int32_t i = 0; i < numRuns && keeps; ++i)
        keeps = runSources[i] == i;
    // A run that keeps its number but starts at the byte takes its start in the step.
    if (keeps && finalSource < 0 && numRuns <= states[state].numRuns) {
        rows[state][c] = static_cast<uint16_t>(kPlainStep | next);
        return true;
    }
    for (int b = 0; b < 256; ++b) {
        const uint16_t index = rows[state][b];
        if (index && !(index & kPlainStep) && steps[index].next == next && steps[index].finalSource == finalSource &&
            (steps[index].sourceBegin == kKeepsStarts) == keeps &&
            (keeps || SameSources(sources + steps[index].sourceBegin, runSources, numRuns))) {
            rows[state][c] = index;
            return true;
        }
    }
    if (numSteps == kMaxSteps || (!keeps && numRuns > kSourceSpace - sourcesUsed))
        return false;
    TStep& step = steps[numSteps];
    step = {static_cast<int16_t>(next), static_cast<int16_t>(finalSource), static_cast<int16_t>(numRuns),
            kKeepsStarts};
    if (!keeps) {
        step.sourceBegin = static_cast<uint16_t>(sourcesUsed);
        for (int32_t i = 0; i < numRuns; ++i)
            sources[sourcesUsed++] = static_cast<int16_t>(runSources[i]);
    }
    rows[state][c] = static_cast<uint16_t>(numSteps++);
    return true;
}

bool TStepCache::SameSources(const int16_t* recorded, const int32_t* runSources, int32_t count)
{
    for (int32_t i = 0; i < count; ++i)
        if (recorded[i] != runSources[i])
            return false;
    return true;
}

}  // namespace TarnPattern
