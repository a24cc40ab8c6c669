// The set-of-states engine of TTextPattern, for patterns without captures: one attempt at a
// position, which yields the longest match from there, and the searches over it.
#include <utility>

#include "patterns/PatternSearch.h"

namespace TarnPattern {

namespace {

// A list of states of the simulation.
struct TStateList : TNodeMarks {
    int32_t entries[TTextPattern::kMaxNodes];

    void Add(int32_t node)
    {
        if (Claim(node))
            entries[count++] = node;
    }
};

// The set-of-states simulation. The lists never hold a node twice; the walk reaches the same
// states at each position as one that allows repeats, so the longest match is the same, and
// as a compiled pattern has at most kMaxNodes nodes the lists cannot run out.
class TSimulator {
public:
    explicit TSimulator(TMatchContext& context) : m(context)
    {
        lists[0].Init();
        lists[1].Init();
    }

    long Attempt(long start)
    {
        const TPatternNode* nodes = m.nodes;
        const char* text = m.text;
        TStateList* current = &lists[0];
        TStateList* following = &lists[1];
        current->Clear();
        following->Clear();
        current->Add(nodes[0].next1);
        long best = -1;
        for (long position = start;; ++position) {
            const unsigned char c = static_cast<unsigned char>(text[position]);
            const int32_t folded = static_cast<signed char>(m.fold[c]);
            for (int32_t k = 0; k < current->count; ++k) {
                const int32_t index = current->entries[k];
                if (index == 0) {
                    best = position - start;
                    continue;
                }
                const TPatternNode& node = nodes[index];
                switch (node.kind) {
                case NodeBranch:
                    current->Add(node.next2);
                    if (node.next1 != node.next2)
                        current->Add(node.next1);
                    break;
                case NodeChar:
                    if (c != 0 && folded == node.data)
                        following->Add(node.next1);
                    break;
                case NodeAny:
                    if (c != 0 && c != '\n')
                        following->Add(node.next1);
                    break;
                case NodeClass:
                    if (ClassAccepts(nodes, index, folded, c))
                        following->Add(node.next1);
                    break;
                case NodeNamedClass: {
                    const int result = TestNamedClass(node.data, text, position);
                    if (result == 1)
                        current->Add(node.next1);
                    else if (result == 0)
                        following->Add(node.next1);
                    break;
                }
                case NodeLineStart:
                    if (position == 0 || text[position - 1] == '\n')
                        current->Add(node.next1);
                    break;
                case NodeLineEnd:
                    if (c == 0 || c == '\n')
                        current->Add(node.next1);
                    break;
                default:  // the not marker ends a path here
                    break;
                }
            }
            if (following->count == 0)
                return best;
            std::swap(current, following);
            following->Clear();
        }
    }

private:
    TMatchContext& m;
    TStateList lists[2];
};

}  // namespace

COMMONTARN_NOINLINE long SearchBySimulation(TMatchContext& m, long* foundAt, long start, EMatchMode mode,
                                            long length, const bool* first)
{
    return SearchOnNew<TSimulator>(m, foundAt, start, mode, length, first);
}

}  // namespace TarnPattern
