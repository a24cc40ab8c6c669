// The searches of TTextPattern over one engine (one attempt, forward, backward and all
// matches), and the entry points of the engines. Each engine's source instantiates Search
// with its engine, so that the attempts of a search are calls within one source. Not part
// of the interface.
#pragma once

#include "patterns/PatternInternals.h"

namespace TarnPattern {

// The searches over one engine: one attempt at start, which reports no whole match and
// leaves foundAt alone, and the forward, backward and all-matches searches. Positions whose
// character cannot start a match are skipped when that cannot change the answer: always for
// all matches (only matches of length above 0 count), and for the other two when the
// pattern cannot match the empty text.
template <class Engine>
long Search(TMatchContext& m, Engine& engine, long* foundAt, long start, EMatchMode mode, long length,
            const bool* first)
{
    if (mode == eMatchHere)
        return engine.Attempt(start);
    const char* text = m.text;
    const bool reportWhole = m.nodes[0].data == kEngineSimulate;
    auto skip = [&](long position) { return first && !first[static_cast<unsigned char>(text[position])]; };

    // One attempt of a forward or backward search: true when the search is over, with its
    // answer in result (-1 when the matcher gave up).
    long result = -1;
    auto over = [&](long position) {
        if (skip(position))
            return false;
        result = engine.Attempt(position);
        if (result >= 0) {
            *foundAt = position;
            if (reportWhole)
                ReportWhole(m, position, result);
            return true;
        }
        return m.gaveUp;
    };
    if (mode == eMatchForward) {
        // The terminator's position is tried only when the search starts there.
        for (long position = start; position == start || position < length; ++position)
            if (over(position))
                return result;
        return -1;
    }
    if (mode == eMatchBackward) {
        for (long position = start - 1; position >= 0; --position)
            if (over(position))
                return result;
        return -1;
    }
    // All matches: empty matches count as none and move on by one, like failures.
    long found = -1;
    long position = start;
    do {
        if (first) {
            while (position < length && skip(position))
                ++position;
            if (position >= length)
                break;
        }
        const long result = engine.Attempt(position);
        if (result > 0) {
            if (found < 0) {
                found = result;
                *foundAt = position;
            }
            if (reportWhole)
                ReportWhole(m, position, result);
            position += result;
        } else {
            if (m.gaveUp)
                break;
            ++position;
        }
    } while (position < length);
    return found;
}

// Search on a new Engine of the context. The entry points of the engines below are made of
// it, each in a frame of its own, so that the stack holds one engine's state at a time.
template <class Engine>
long SearchOnNew(TMatchContext& m, long* foundAt, long start, EMatchMode mode, long length, const bool* first)
{
    Engine engine(m);
    return Search(m, engine, foundAt, start, mode, length, first);
}

long SearchBySimulation(TMatchContext& m, long* foundAt, long start, EMatchMode mode, long length, const bool* first);
long SearchByBacktracking(TMatchContext& m, long* foundAt, long start, EMatchMode mode, long length,
                          const bool* first);
// The pass over all matches of a pattern without captures.
long FindAllBySimulation(TMatchContext& m, long* foundAt, long start, long length, const bool* first);

}  // namespace TarnPattern

// Keeps an engine's entry point out of its caller, also where the compiler sees both.
#if defined(__GNUC__)
#define COMMONTARN_NOINLINE __attribute__((noinline))
#else
#define COMMONTARN_NOINLINE
#endif
