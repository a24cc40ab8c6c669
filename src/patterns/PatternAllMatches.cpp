// The pass over all matches of TTextPattern for patterns without captures: every match in one
// walk of the text, with the steps of whole thread lists kept in a TStepCache.
#include <cstdint>
#include <cstring>
#include <utility>

#include "patterns/PatternSearch.h"
#include "patterns/PatternStepCache.h"

namespace TarnPattern {

namespace {

// Whether a node of a pattern without captures consumes a character.
inline bool Consumes(const TPatternNode& node)
{
    return node.kind == NodeChar || node.kind == NodeAny || node.kind == NodeClass ||
           (node.kind == NodeNamedClass && node.data != kWordBoundaryRow);
}

// All matches of a pattern without captures in one pass over the text. It yields what trying
// each position in turn yields: the leftmost start with a match of length above 0, and from
// there the longest match. Threads carry their start; where two reach the same node, the one
// that started first keeps it, as the other has the same future and can only lose to it. So
// each node is at most once in a list, and the pass costs the text's length times the active
// nodes instead of that for every start position.
//
// When no empty transition of the pattern tests the position (no line start or end, no word
// boundary), what a node reaches without a character is the same everywhere: those closures
// are then computed once, as are the first steps from the start node for each byte, and the
// steps of whole lists are kept in a TStepCache, so that most bytes cost one table lookup.
class TAllMatchesSimulator {
public:
    TAllMatchesSimulator(TMatchContext& context, const bool* first, long length)
        : m(context), first(first), length(length)
    {
        lists[0].Init();
        lists[1].Init();
        const int32_t numNodes = m.nodes[0].next2;
        memset(acceptBuilt, 0, static_cast<size_t>(numNodes));
        fixedClosures = true;
        for (int32_t i = 1; i < numNodes && fixedClosures; ++i) {
            const TPatternNode& node = m.nodes[i];
            fixedClosures = node.kind != NodeLineStart && node.kind != NodeLineEnd &&
                            !(node.kind == NodeNamedClass && node.data == kWordBoundaryRow);
        }
        if (fixedClosures) {
            memset(closureBegin, 0xFF, sizeof(int32_t) * static_cast<size_t>(numNodes));
            BuildStartSteps();
            cache.Clear();
            useCache = true;
        }
    }

    long Run(long start, long* foundAt)
    {
        passStart = start;
        long found = -1;
        long position = start;
        while (position < length) {
            const long end = NextMatch(position);
            if (bestStart < 0)
                break;
            if (found < 0) {
                found = end - bestStart;
                *foundAt = bestStart;
            }
            ReportWhole(m, bestStart, end - bestStart);
            position = end;
        }
        return found;
    }

private:
    static constexpr int32_t kClosureSpace = 8192;
    // Making a step costs a few walks over the lists: the step cache is given up for the rest
    // of the pass once it has made more than kStepAllowance steps and one per kBytesPerStep
    // bytes of text, as it then hardly uses its steps again (or keeps filling up).
    static constexpr long kStepAllowance = 256;
    static constexpr long kBytesPerStep = 8;
    static constexpr int32_t kNoClosure = -1;
    static constexpr int32_t kClosureTooLarge = -2;

    // The threads of one position, each node at most once, with the position where each
    // thread started.
    struct TThreadList : TNodeMarks {
        int32_t nodes[TTextPattern::kMaxNodes];
        long starts[TTextPattern::kMaxNodes];

        void Append(int32_t node, long start)
        {
            nodes[count] = node;
            starts[count++] = start;
        }
    };

    // The leftmost match of length above 0 from position on; answers its end and leaves its
    // start in bestStart, which stays -1 when there is none.
    long NextMatch(long position)
    {
        const char* text = m.text;
        const TPatternNode* nodes = m.nodes;
        TThreadList* current = &lists[0];
        TThreadList* following = &lists[1];
        current->Clear();
        bestStart = -1;
        bestEnd = -1;
        if (useCache && CachedSteps(position))
            return bestEnd;
        // Without the cache, or when it was given up: current holds the threads at position.
        for (;; ++position) {
            following->Clear();
            const bool inject = bestStart < 0 && position < length;
            if (inject && current->count == 0 && first) {
                while (position < length && !first[static_cast<unsigned char>(text[position])])
                    ++position;
                if (position >= length)
                    return -1;
                // The marks were made for the position before the skip.
                current->Clear();
            }
            if (inject && !startSteps)
                AddThread(*current, nodes[0].next1, position, position);
            if (current->count == 0 && !inject)
                return bestEnd;
            const unsigned char c = static_cast<unsigned char>(text[position]);
            for (int32_t k = 0; k < current->count; ++k) {
                const long threadStart = current->starts[k];
                if (bestStart >= 0 && threadStart > bestStart)
                    break;  // the list is in order of start
                const int32_t index = current->nodes[k];
                if (Accepts(index, c))
                    AddThread(*following, nodes[index].next1, threadStart, position + 1);
            }
            // A thread that starts here comes last, as it has the latest start. It adds
            // nothing when earlier threads already hold all of the start node's consuming nodes.
            if (inject && startSteps && !HoldsStartNodes(*current)) {
                for (uint64_t steps = startSteps[c]; steps; steps &= steps - 1)
                    AddThread(*following, startTargets[CountTrailingZeros(steps)], position, position + 1);
            }
            std::swap(current, following);
        }
    }

    // NextMatch through the step cache, from an empty list at position. Answers true when the
    // match is settled (bestStart and bestEnd are then NextMatch's answer); false when the cache
    // was given up, with position moved on and lists[0] holding the threads there.
    //
    // Unlike the walk over the list, these steps do not drop the threads that start behind
    // bestStart once there is a match, and go on starting threads: such threads come last in
    // every list, claim only what the earlier ones leave, and can never improve the match, so
    // the answer is the same, and the match is settled once no thread starts at or before it.
    bool CachedSteps(long& position)
    {
        const char* text = m.text;
        long* runStarts = cacheStarts[0];
        long* nextRunStarts = cacheStarts[1];
        int32_t state = TStepCache::kEmptyState;
        for (;; ++position) {
            if (position >= length)
                return true;  // at the end no thread goes on
            if (state == TStepCache::kEmptyState) {
                if (bestStart >= 0)
                    return true;
                if (first) {
                    while (position < length && !first[static_cast<unsigned char>(text[position])])
                        ++position;
                    if (position >= length)
                        return true;
                }
            } else if (bestStart >= 0 && runStarts[0] > bestStart) {
                return true;  // the runs are in order of start
            }
            const unsigned char c = static_cast<unsigned char>(text[position]);
            uint16_t entry = cache.RowEntry(state, c);
            if (entry == 0) {
                const int32_t count = cache.Count(state);
                entry = MakeStep(state, c, position);
                if (entry == 0) {
                    // lists[0] begins with the state's sequence.
                    Materialize(lists[0].nodes, count, runStarts);
                    return false;
                }
            }
            if (entry & TStepCache::kPlainStep) {
                state = entry & ~TStepCache::kPlainStep;
                continue;
            }
            const TStepCache::TStep& step = cache.Step(entry);
            runStarts[cache.NumRuns(state)] = position;  // the run of threads that start here
            if (step.finalSource >= 0) {
                const long threadStart = runStarts[step.finalSource];
                if (bestStart < 0 || threadStart <= bestStart) {
                    bestStart = threadStart;
                    bestEnd = position + 1;
                }
            }
            if (step.sourceBegin != TStepCache::kKeepsStarts) {
                const int16_t* source = cache.Sources(step);
                for (int32_t i = 0; i < step.numRuns; ++i)
                    nextRunStarts[i] = runStarts[source[i]];
                std::swap(runStarts, nextRunStarts);
            }
            state = step.next;
        }
    }

    // The step from state on c, made by one step of the walk over the lists, with each
    // thread's start standing for its run. When the cache is full it is emptied and state
    // renumbered. When the cache is given up the answer is 0. Either way lists[0] then
    // begins with state's sequence.
    uint16_t MakeStep(int32_t& state, unsigned char c, long position)
    {
        TThreadList& from = lists[0];
        TThreadList& to = lists[1];
        const int32_t count = cache.Count(state);
        const int32_t* sequence = cache.Sequence(state);
        if (++stepsMade > kStepAllowance + (position - passStart) / kBytesPerStep) {
            useCache = false;
            for (int32_t k = 0; k < count; ++k)
                from.nodes[k] = sequence[k];
            return 0;
        }
        long numRuns = 0;
        from.Clear();
        for (int32_t k = 0; k < count; ++k) {
            numRuns += (sequence[k] & TStepCache::kRunHead) != 0;
            from.Claim(sequence[k] & TStepCache::kNodeMask);
            from.Append(sequence[k] & TStepCache::kNodeMask, numRuns - 1);
        }
        to.Clear();
        // Threads started here form the run numRuns. ReachFinal sees each thread at a position
        // above its start, as in the walk, and keeps the first that reaches the final node.
        const long savedStart = bestStart;
        const long savedEnd = bestEnd;
        bestStart = -1;
        if (!startSteps)
            AddThread(from, m.nodes[0].next1, numRuns, numRuns);
        for (int32_t k = 0; k < from.count; ++k)
            if (Accepts(from.nodes[k], c))
                AddThread(to, m.nodes[from.nodes[k]].next1, from.starts[k], numRuns + 1);
        if (startSteps && !HoldsStartNodes(from)) {
            for (uint64_t steps = startSteps[c]; steps; steps &= steps - 1)
                AddThread(to, startTargets[CountTrailingZeros(steps)], numRuns, numRuns + 1);
        }
        const int32_t finalSource = static_cast<int32_t>(bestStart);
        bestStart = savedStart;
        bestEnd = savedEnd;

        // Both lists in the form of a sequence; the runs of to come from these runs of from.
        int32_t numSources = 0;
        for (int32_t k = 0; k < to.count; ++k)
            if (k == 0 || to.starts[k] != to.starts[k - 1]) {
                to.nodes[k] |= TStepCache::kRunHead;
                runSources[numSources++] = static_cast<int32_t>(to.starts[k]);
            }
        for (int32_t k = 0; k < count; ++k)
            from.nodes[k] = sequence[k];

        const int32_t next = cache.Intern(to.nodes, to.count);
        if (next >= 0 && cache.AddStep(state, c, next, runSources, finalSource))
            return cache.RowEntry(state, c);
        // The cache is full: it starts again with the two states and the step.
        cache.Clear();
        state = cache.Intern(from.nodes, count);
        const int32_t renumbered = cache.Intern(to.nodes, to.count);
        if (state < 0 || renumbered < 0 || !cache.AddStep(state, c, renumbered, runSources, finalSource)) {
            useCache = false;  // cannot happen, by the sizes of the cache
            return 0;
        }
        return cache.RowEntry(state, c);
    }

    // lists[0] becomes the threads of a state's sequence[0..count), whose runs start at
    // runStarts; sequence may be the list's own nodes.
    void Materialize(const int32_t* sequence, int32_t count, const long* runStarts)
    {
        TThreadList& list = lists[0];
        list.Clear();
        int32_t run = -1;
        for (int32_t k = 0; k < count; ++k) {
            run += (sequence[k] & TStepCache::kRunHead) != 0;
            const int32_t node = sequence[k] & TStepCache::kNodeMask;
            list.Claim(node);
            list.Append(node, runStarts[run]);
        }
    }

    bool HoldsStartNodes(const TThreadList& list) const
    {
        for (int32_t i = 0; i < numStartNodes; ++i)
            if (list.mark[startNodes[i]] != list.generation)
                return false;
        return true;
    }

    void ReachFinal(long threadStart, long position)
    {
        if (position > threadStart && (bestStart < 0 || threadStart <= bestStart)) {
            bestStart = threadStart;
            bestEnd = position;
        }
    }

    // Whether the consuming node index takes the byte c, through a table of 256 bits that
    // is made at the node's first test.
    bool Accepts(int32_t index, unsigned char c)
    {
        uint32_t* bits = acceptBits[index];
        if (!acceptBuilt[index]) {
            acceptBuilt[index] = true;
            memset(bits, 0, 8 * sizeof(uint32_t));
            const TPatternNode& node = m.nodes[index];
            for (int b = 1; b < 256; ++b) {
                const char one[2] = {static_cast<char>(b), 0};
                const int32_t folded = static_cast<signed char>(m.fold[b]);
                bool accepted;
                switch (node.kind) {
                case NodeChar: accepted = folded == node.data; break;
                case NodeAny: accepted = b != '\n'; break;
                case NodeClass: accepted = ClassAccepts(m.nodes, index, folded, static_cast<unsigned char>(b)); break;
                default: accepted = TestNamedClass(node.data, one, 0) == 0; break;
                }
                if (accepted)
                    bits[b >> 5] |= uint32_t(1) << (b & 31);
            }
        }
        return (bits[c >> 5] >> (c & 31)) & 1;
    }

    // Adds the nodes that consume a character and are reachable from node at position
    // without one; reaching the final node records a match.
    inline void AddThread(TThreadList& list, int32_t node, long threadStart, long position)
    {
        if (fixedClosures) {
            const int32_t begin = closureBegin[node] >= 0 ? closureBegin[node] : Closure(node);
            if (begin >= 0) {
                for (const int32_t* entry = closureSpace + begin; *entry >= 0; ++entry) {
                    if (!list.Claim(*entry))
                        continue;
                    if (*entry == 0)
                        ReachFinal(threadStart, position);
                    else
                        list.Append(*entry, threadStart);
                }
                return;
            }
        }
        AddThreadByWalk(list, node, threadStart, position);
    }

    void AddThreadByWalk(TThreadList& list, int32_t node, long threadStart, long position)
    {
        const TPatternNode* nodes = m.nodes;
        const char* text = m.text;
        int32_t top = 0;
        auto follow = [&](int32_t next) {
            if (list.Claim(next))
                stack[top++] = next;
        };
        follow(node);
        while (top > 0) {
            const int32_t index = stack[--top];
            if (index == 0) {
                ReachFinal(threadStart, position);
                continue;
            }
            const TPatternNode& n = nodes[index];
            if (Consumes(n)) {
                list.Append(index, threadStart);
                continue;
            }
            switch (n.kind) {
            case NodeBranch:
                follow(n.next2);
                follow(n.next1);
                break;
            case NodeLineStart:
                if (position == 0 || text[position - 1] == '\n')
                    follow(n.next1);
                break;
            case NodeLineEnd:
                if (text[position] == 0 || text[position] == '\n')
                    follow(n.next1);
                break;
            case NodeNamedClass:
                if (TestNamedClass(n.data, text, position) == 1)
                    follow(n.next1);
                break;
            default:  // the not marker ends a path here
                break;
            }
        }
    }

    // Where the closure of node starts in closureSpace, a list of the consuming nodes and
    // the final node (0) ended by -1; computed on first use, or -1 when the space is full.
#if defined(__GNUC__)
    __attribute__((noinline))
#endif
    int32_t Closure(int32_t node)
    {
        int32_t& begin = closureBegin[node];
        if (begin != kNoClosure)
            return begin;
        begin = kClosureTooLarge;
        if (closureUsed >= kClosureSpace)
            return kClosureTooLarge;
        const int32_t numNodes = m.nodes[0].next2;
        bool seen[TTextPattern::kMaxNodes];
        memset(seen, 0, static_cast<size_t>(numNodes));
        int32_t top = 0;
        int32_t end = closureUsed;
        seen[node] = true;
        stack[top++] = node;
        while (top > 0) {
            const int32_t index = stack[--top];
            const TPatternNode& n = m.nodes[index];
            if (index == 0 || Consumes(n)) {
                if (end >= kClosureSpace - 1)  // room for this entry and the end mark
                    return kClosureTooLarge;
                closureSpace[end++] = index;
            } else if (n.kind == NodeBranch) {
                for (const int32_t next : {n.next2, n.next1})
                    if (!seen[next]) {
                        seen[next] = true;
                        stack[top++] = next;
                    }
            }
        }
        closureSpace[end++] = -1;
        begin = closureUsed;
        closureUsed = end;
        return begin;
    }

    // For each byte, which of the start node's consuming nodes take it; when there are more
    // than 64 such nodes, threads start through AddThread instead.
    void BuildStartSteps()
    {
        const int32_t begin = Closure(m.nodes[0].next1);
        if (begin < 0)
            return;
        int32_t count = 0;
        memset(startStepTable, 0, sizeof startStepTable);
        for (const int32_t* entry = closureSpace + begin; *entry >= 0; ++entry) {
            if (*entry == 0)
                continue;  // an empty match counts for nothing here
            if (count == 64)
                return;
            for (int b = 1; b < 256; ++b)
                if (Accepts(*entry, static_cast<unsigned char>(b)))
                    startStepTable[b] |= uint64_t(1) << count;
            startNodes[count] = *entry;
            startTargets[count++] = m.nodes[*entry].next1;
        }
        numStartNodes = count;
        startSteps = startStepTable;
    }

    static int CountTrailingZeros(uint64_t v)
    {
        int n = 0;
        while (!(v & 1)) {
            v >>= 1;
            ++n;
        }
        return n;
    }

    TMatchContext& m;
    const bool* first;
    long length;
    long bestStart = -1;
    long bestEnd = -1;
    bool fixedClosures = false;
    const uint64_t* startSteps = nullptr;
    int32_t closureUsed = 0;
    int32_t stack[TTextPattern::kMaxNodes];
    TThreadList lists[2];
    int32_t closureBegin[TTextPattern::kMaxNodes];
    int32_t closureSpace[kClosureSpace];
    uint64_t startStepTable[256];
    int32_t startTargets[64];
    int32_t startNodes[64];
    int32_t numStartNodes = 0;
    bool acceptBuilt[TTextPattern::kMaxNodes];
    uint32_t acceptBits[TTextPattern::kMaxNodes][8];
    bool useCache = false;
    long passStart = 0;
    long stepsMade = 0;
    TStepCache cache;
    // The starts of the runs of the cached list, and one more for threads that start at the
    // byte; the sources of the runs of a step being made.
    long cacheStarts[2][TTextPattern::kMaxNodes + 1];
    int32_t runSources[TTextPattern::kMaxNodes];
};

}  // namespace

COMMONTARN_NOINLINE long FindAllBySimulation(TMatchContext& m, long* foundAt, long start, long length,
                                             const bool* first)
{
    TAllMatchesSimulator engine(m, first, length);
    return engine.Run(start, foundAt);
}

}  // namespace TarnPattern
