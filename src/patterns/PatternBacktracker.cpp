// The backtracking engine of TTextPattern, for patterns with captures: one attempt at a
// position, which reports the groups of the first path that succeeds, and the searches over it.
#include "patterns/PatternSearch.h"

namespace TarnPattern {

namespace {

struct TChoice {
    long position;
    int32_t node;
    int32_t numRecords;
};

struct TCaptureRecord {
    long position;
    int32_t number;
    int32_t close;
};

// The backtracking matcher, with its choice points and capture records on an explicit stack
// instead of the call stack: the same depth-first order (second way first), the records of
// the path that succeeds reported in the order they were made.
class TBacktracker {
public:
    explicit TBacktracker(TMatchContext& context) : m(context) {}

    long Attempt(long start)
    {
        if (m.gaveUp)
            return -1;
        m.stepsLeft += kStepsPerAttempt;
        const TPatternNode* nodes = m.nodes;
        const char* text = m.text;
        int32_t numChoices = 0;
        int32_t numRecords = 0;
        long position = start;
        int32_t index = nodes[0].next1;
        for (;;) {
            if (--m.stepsLeft < 0)
                return GiveUp();
            const TPatternNode& node = nodes[index];
            const unsigned char c = static_cast<unsigned char>(text[position]);
            bool ok = true;
            switch (node.kind) {
            case NodeBranch:
                if (node.next1 == 0) {
                    Report(numRecords);
                    return position - start;
                }
                if (node.next1 != node.next2) {
                    if (ReentersEmptyLoop(numChoices, index, position)) {
                        ok = false;
                        break;
                    }
                    if (numChoices == kMaxChoices)
                        return GiveUp();
                    choices[numChoices++] = {position, index, numRecords};
                    index = node.next2;
                    continue;
                }
                break;
            case NodeChar:
                ok = c != 0 && static_cast<signed char>(m.fold[c]) == node.data;
                position += ok;
                break;
            case NodeAny:
                ok = c != 0 && c != '\n';
                position += ok;
                break;
            case NodeClass:
                ok = ClassAccepts(nodes, index, static_cast<signed char>(m.fold[c]), c);
                position += ok;
                break;
            case NodeNamedClass: {
                const int result = TestNamedClass(node.data, text, position);
                ok = result != 2;
                position += result == 0;
                break;
            }
            case NodeLineStart:
                ok = position == 0 || text[position - 1] == '\n';
                break;
            case NodeLineEnd:
                ok = c == 0 || c == '\n';
                break;
            case NodeCaptureOpen:
            case NodeCaptureClose:
                if (numRecords == kMaxCaptureRecords)
                    return GiveUp();
                records[numRecords++] = {node.kind == NodeCaptureOpen ? position : position - 1, node.data,
                                         node.kind == NodeCaptureClose};
                break;
            default:  // the not marker's nodes are plain links here
                break;
            }
            if (ok) {
                index = node.next1;
                continue;
            }
            if (numChoices == 0)
                return -1;
            const TChoice& choice = choices[--numChoices];
            position = choice.position;
            numRecords = choice.numRecords;
            index = nodes[choice.node].next1;
        }
    }

private:
    long GiveUp()
    {
        m.gaveUp = true;
        return -1;
    }

    // A loop whose body matched nothing comes back to a branch that this path already passed
    // at the same position; that path is cut, so {(a*)*} ends. Positions never go down along
    // a path, so the choices at this position are the top ones.
    bool ReentersEmptyLoop(int32_t numChoices, int32_t node, long position) const
    {
        for (int32_t k = numChoices - 1; k >= 0 && choices[k].position == position; --k)
            if (choices[k].node == node)
                return true;
        return false;
    }

    // Pairs each close record with the open record on top of a stack of open groups; empty
    // groups are not reported.
    void Report(int32_t numRecords) const
    {
        if (!m.callback)
            return;
        int32_t open[kMaxCaptureDepth + 1];
        int depth = 0;
        for (int32_t k = 0; k < numRecords; ++k) {
            const TCaptureRecord& record = records[k];
            if (!record.close) {
                if (depth <= kMaxCaptureDepth)
                    open[depth++] = k;
            } else if (depth > 0) {
                const TCaptureRecord& opened = records[open[--depth]];
                if (record.position >= opened.position)
                    m.callback(record.number, opened.position, record.position, m.text, m.userData);
            }
        }
    }

    TMatchContext& m;
    TChoice choices[kMaxChoices];
    TCaptureRecord records[kMaxCaptureRecords];
};

}  // namespace

COMMONTARN_NOINLINE long SearchByBacktracking(TMatchContext& m, long* foundAt, long start, EMatchMode mode,
                                              long length, const bool* first)
{
    return SearchOnNew<TBacktracker>(m, foundAt, start, mode, length, first);
}

}  // namespace TarnPattern
