#include "patterns/TextPattern.h"

#include <cctype>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace {

const char _defaultSpecialChars[] = "|*+()[]-^/.?^${}~";

// Roles of the positions of the operator table.
enum ETablePosition {
    eAlternation = 0,
    eStar = 1,
    ePlus = 2,
    eGroupOpen = 3,
    eGroupClose = 4,
    eClassOpen = 5,
    eClassClose = 6,
    eRange = 7,
    eNegation = 8,
    eEscape = 9,
    eAnyChar = 10,
    eOptional = 11,
    eLineStart = 12,
    eLineEnd = 13,
    eCaptureOpen = 14,
    eCaptureClose = 15,
    eNotMarker = 16,
};

constexpr int32_t kEngineBacktrack = 100;
constexpr int32_t kEngineSimulate = 101;
constexpr int32_t kGrowth = 30;
// Groups, capture groups and not markers nest at most this deep; deeper is a syntax error,
// which keeps the compiler's recursion small.
constexpr int kMaxNesting = 100;
// The capture depth stack has 32 bytes and leaves index 0 unused; capture numbers are
// signed bytes. A pattern beyond either limit is a syntax error.
constexpr int kMaxCaptureDepth = 31;
constexpr int kMaxCaptures = 128;

// Letters of the named classes, in the order of their rows.
const char kNamedClassLetters[] = "wWdDSsblL";
constexpr int32_t kWordBoundaryRow = 6;

inline bool IsWordChar(unsigned char c)
{
    return c != 0 && (isalnum(c) || c == '_');
}

inline bool IsBlank(unsigned char c)
{
    return c == 9 || c == 32 || c == 10 || c == 255;
}

// 0: one character matched, 1: zero-width success, 2: failure. The raw text, never folded.
int TestNamedClass(int32_t row, const char* text, long index)
{
    const unsigned char c = static_cast<unsigned char>(text[index]);
    bool hit;
    switch (row) {
    case 0: hit = IsWordChar(c); break;
    case 1: hit = c != 0 && !IsWordChar(c); break;
    case 2: hit = c != 0 && isdigit(c); break;
    case 3: hit = c != 0 && !isdigit(c); break;
    case 4: hit = c != 0 && !IsBlank(c); break;
    case 5: hit = IsBlank(c); break;
    case kWordBoundaryRow: {
        const bool left = index > 0 && IsWordChar(static_cast<unsigned char>(text[index - 1]));
        return left != IsWordChar(c) ? 1 : 2;
    }
    case 7: hit = c != 0 && isalpha(c); break;
    case 8: hit = c != 0 && !isalpha(c); break;
    default: hit = false; break;
    }
    return hit ? 0 : 2;
}

// The class whose header is nodes[header], on the folded character; c is the raw one.
bool ClassAccepts(const TPatternNode* nodes, int32_t header, int32_t folded, unsigned char c)
{
    bool hit = false;
    for (const TPatternNode* entry = nodes + header + 1; entry->kind != NodeBranch; ++entry) {
        if (entry->kind == NodeClassRange ? entry->data <= folded && folded <= entry->next1
                                          : entry->kind == NodeClassChar && entry->data == folded) {
            hit = true;
            break;
        }
    }
    return c != 0 && hit != (nodes[header].next2 != 0);
}

inline bool IsOctalDigit(char c)
{
    return c >= '0' && c <= '7';
}

inline bool IsDecimalDigit(char c)
{
    return c >= '0' && c <= '9';
}

inline int HexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

// The recursive descent compiler. Every function answers a node index, or -1 for any
// failure, which unwinds to Compile.
class TPatternCompiler {
public:
    TPatternCompiler(const char* text, const char* table, int caseSensitive)
        : p(text), table(table), caseSensitive(caseSensitive != 0)
    {
    }
    ~TPatternCompiler() { free(nodes); }

    // The compiled array, now the caller's, or null.
    TPatternNode* Compile()
    {
        nodes = static_cast<TPatternNode*>(malloc(kGrowth * sizeof(TPatternNode)));
        if (!nodes)
            return nullptr;
        capacity = kGrowth;
        next = 1;
        nodes[0] = {kEngineSimulate, NodeBranch, 0, 0};
        const int32_t start = Expression();
        if (start < 0)
            return nullptr;
        const int32_t final = Take();
        if (final < 0)
            return nullptr;
        SetNode(final, 0, NodeBranch, 0, 0);
        nodes[0].next1 = start;
        nodes[0].next2 = final + 1;
        return std::exchange(nodes, nullptr);
    }

private:
    // The terminator is never an operator, whatever the table holds.
    bool Is(int position) const { return *p != 0 && *p == table[position]; }
    bool AtEnd() const { return *p == 0; }
    int32_t Fold(char c) const
    {
        return static_cast<signed char>(caseSensitive ? c : tolower(static_cast<unsigned char>(c)));
    }

    int32_t Take()
    {
        if (next >= TTextPattern::kMaxNodes)
            return -1;
        if (next >= capacity - 1) {
            void* grown = realloc(nodes, static_cast<size_t>(capacity + kGrowth) * sizeof(TPatternNode));
            if (!grown)
                return -1;
            nodes = static_cast<TPatternNode*>(grown);
            capacity += kGrowth;
        }
        nodes[next] = {0, 0, 0, 0};
        return next++;
    }
    void SetNode(int32_t i, int32_t data, int32_t kind, int32_t next1, int32_t next2)
    {
        nodes[i] = {data, kind, next1, next2};
    }
    // A node with both links on the node behind it.
    int32_t Leaf(int32_t data, int32_t kind)
    {
        const int32_t i = Take();
        if (i >= 0)
            SetNode(i, data, kind, i + 1, i + 1);
        return i;
    }
    void Relink(int32_t i, int32_t from, int32_t to)
    {
        if (nodes[i].next1 == from)
            nodes[i].next1 = to;
        if (nodes[i].next2 == from)
            nodes[i].next2 = to;
    }

    int32_t Expression()
    {
        const int32_t before = next - 1;
        const int32_t term = Term();
        if (term < 0 || !Is(eAlternation))
            return term;
        const int32_t branch = Take();
        if (branch < 0)
            return -1;
        ++p;
        const int32_t rest = Expression();
        if (rest < 0)
            return -1;
        Relink(before, term, branch);
        Relink(branch - 1, branch, next);
        SetNode(branch, 0, NodeBranch, term, rest);
        const int32_t join = Take();
        if (join < 0)
            return -1;
        SetNode(join, 0, NodeBranch, join + 1, join + 1);
        return branch;
    }

    // Factors up to an alternation, a group's end or the end of the pattern.
    int32_t Term()
    {
        const int32_t entry = Factor();
        if (entry < 0)
            return -1;
        while (StartsFurtherFactor())
            if (Factor() < 0)
                return -1;
        if (!(AtEnd() || Is(eAlternation) || Is(eGroupClose) || Is(eCaptureClose)))
            return -1;
        return entry;
    }
    bool StartsFurtherFactor() const
    {
        if (Is(eGroupOpen) || Is(eClassOpen) || Is(eCaptureOpen) || Is(eNotMarker))
            return true;
        return !(AtEnd() || Is(eAlternation) || Is(eGroupClose) || Is(eStar) || Is(eClassClose) ||
                 Is(eCaptureClose) || Is(ePlus));
    }

    int32_t Factor()
    {
        const int32_t first = next;
        int32_t entry;
        if (Is(eGroupOpen)) {
            if (++nesting > kMaxNesting)
                return -1;
            ++p;
            entry = Expression();
            if (entry < 0 || !Is(eGroupClose))
                return -1;
            ++p;
            --nesting;
        } else if (Is(eCaptureOpen)) {
            if (++nesting > kMaxNesting || captureDepth >= kMaxCaptureDepth || numCaptures >= kMaxCaptures)
                return -1;
            nodes[0].data = kEngineBacktrack;
            entry = Take();
            if (entry < 0)
                return -1;
            SetNode(entry, numCaptures, NodeCaptureOpen, entry + 1, entry + 1);
            captureStack[++captureDepth] = static_cast<unsigned char>(numCaptures++);
            ++p;
            if (Expression() < 0 || !Is(eCaptureClose))
                return -1;
            ++p;
            if (Leaf(captureStack[captureDepth--], NodeCaptureClose) < 0)
                return -1;
            --nesting;
        } else if (Is(eAnyChar)) {
            ++p;
            entry = Leaf(1, NodeAny);
        } else if (Is(eNotMarker)) {
            // The operand takes the closure behind it; the marker takes none of its own.
            if (++nesting > kMaxNesting)
                return -1;
            ++p;
            const int32_t open = Take();
            if (open < 0)
                return -1;
            const int32_t operand = Factor();
            if (operand < 0)
                return -1;
            SetNode(open, 1, NodeNotOpen, operand, next);
            if (Leaf(1, NodeNotClose) < 0)
                return -1;
            --nesting;
            return open;
        } else if (Is(eLineStart)) {
            ++p;
            entry = Leaf(1, NodeLineStart);
        } else if (Is(eLineEnd)) {
            ++p;
            entry = Leaf(1, NodeLineEnd);
        } else if (Is(eClassOpen)) {
            entry = Class();
        } else if (Is(eEscape)) {
            entry = Escape();
        } else if (AtEnd() || Is(eAlternation) || Is(eGroupClose) || Is(eStar) || Is(eClassClose) ||
                   Is(eCaptureClose) || Is(ePlus)) {
            return -1;
        } else {
            entry = Leaf(Fold(*p++), NodeChar);
        }
        if (entry < 0)
            return -1;
        return Closure(first, entry);
    }

    // At most one closure operator behind a factor whose nodes start at first.
    int32_t Closure(int32_t first, int32_t entry)
    {
        const bool star = Is(eStar);
        if (star || Is(eOptional)) {
            ++p;
            const int32_t loop = Take();
            if (loop < 0)
                return -1;
            SetNode(loop, 0, NodeBranch, loop + 1, entry);
            // The node in front of the factor links to the factor's entry. That is its first
            // node, unless the factor is a group that opens with an alternation or a closure;
            // following the entry keeps the loop reachable in that case too.
            Relink(first - 1, entry, loop);
            if (!star) {
                Relink(loop - 1, loop, loop + 1);
                if (Leaf(0, NodeBranch) < 0)
                    return -1;
            }
            return loop;
        }
        if (Is(ePlus)) {
            ++p;
            const int32_t loop = Take();
            if (loop < 0)
                return -1;
            SetNode(loop, 0, NodeBranch, loop + 1, entry);
        }
        return entry;
    }

    // The escape character and what follows it. A pattern that ends within an escape, and a
    // numeric escape without all of its digits, are syntax errors; the digits are tested one
    // by one, so nothing behind a terminator is read.
    int32_t Escape()
    {
        ++p;
        const char c = *p;
        if (c == 0)
            return -1;
        if (const char* letter = strchr(kNamedClassLetters, c)) {
            ++p;
            return Leaf(static_cast<int32_t>(letter - kNamedClassLetters), NodeNamedClass);
        }
        int value;
        switch (c) {
        case 'e': value = 27; ++p; break;
        case 'n': value = 10; ++p; break;
        case 't': value = 9; ++p; break;
        case 'o':
            if (!IsOctalDigit(p[1]) || !IsOctalDigit(p[2]) || !IsOctalDigit(p[3]))
                return -1;
            value = ((p[1] - '0') * 8 + (p[2] - '0')) * 8 + (p[3] - '0');
            p += 4;
            break;
        case 'x':
            if (HexValue(p[1]) < 0 || HexValue(p[2]) < 0)
                return -1;
            value = HexValue(p[1]) * 16 + HexValue(p[2]);
            p += 3;
            break;
        default:
            if (!IsDecimalDigit(c))
                return Leaf(Fold(*p++), NodeChar);
            if (!IsDecimalDigit(p[1]) || !IsDecimalDigit(p[2]))
                return -1;
            value = ((c - '0') * 10 + (p[1] - '0')) * 10 + (p[2] - '0');
            if (value > 255)
                return -1;
            p += 3;
            break;
        }
        // Numeric values are stored as they are, never folded.
        return Leaf(static_cast<signed char>(value & 0xFF), NodeChar);
    }

    // One character of a class, plain or escaped; false at the end of the pattern or a line
    // feed, both of which may not come before the class's end.
    bool ClassCharacter(int32_t* value, bool foldEscaped)
    {
        char c = *p;
        bool escaped = false;
        if (Is(eEscape)) {
            c = *++p;
            escaped = true;
        }
        if (c == 0 || c == '\n')
            return false;
        ++p;
        if (escaped && (c == 'e' || c == 'n' || c == 't'))
            *value = c == 'e' ? 27 : c == 'n' ? 10 : 9;
        else
            *value = escaped && !foldEscaped ? static_cast<signed char>(c) : Fold(c);
        return true;
    }

    int32_t Class()
    {
        ++p;
        const int32_t header = Take();
        if (header < 0)
            return -1;
        SetNode(header, 0, NodeClass, 0, 0);
        if (Is(eNegation)) {
            nodes[header].next2 = 1;
            ++p;
        }
        if (Is(eRange))
            return -1;
        // The entry that a range operator may turn into a range: only a single character.
        // A range operator behind a range, or behind a line start or end entry, is a syntax
        // error.
        int32_t single = -1;
        while (!Is(eClassClose)) {
            if (Is(eRange)) {
                ++p;
                int32_t high;
                if (single < 0 || Is(eClassClose) || !ClassCharacter(&high, false))
                    return -1;
                nodes[single].kind = NodeClassRange;
                nodes[single].next1 = high;
                single = -1;
                continue;
            }
            const int32_t entry = Take();
            if (entry < 0)
                return -1;
            single = -1;
            if (Is(eEscape) || !(Is(eLineStart) || Is(eLineEnd))) {
                int32_t value;
                if (!ClassCharacter(&value, true))
                    return -1;
                SetNode(entry, value, NodeClassChar, 0, 0);
                single = entry;
            } else {
                // Line start and end entries, which the class test passes over.
                SetNode(entry, 1, Is(eLineStart) ? NodeLineStart : NodeLineEnd, 0, 0);
                ++p;
            }
        }
        ++p;
        const int32_t join = Leaf(0, NodeBranch);
        if (join < 0)
            return -1;
        nodes[header].next1 = join;
        return header;
    }

    const char* p;
    const char* table;
    bool caseSensitive;
    TPatternNode* nodes = nullptr;
    int32_t next = 0;
    int32_t capacity = 0;
    int nesting = 0;
    int captureDepth = 0;
    int numCaptures = 0;
    unsigned char captureStack[kMaxCaptureDepth + 1] = {};
};

// ---- Matching -------------------------------------------------------------------------

struct TIdentityFold {
    unsigned char map[256];
    constexpr TIdentityFold() : map()
    {
        for (int i = 0; i < 256; ++i)
            map[i] = static_cast<unsigned char>(i);
    }
};
constexpr TIdentityFold _identityFold;

// Backtracking limits. A search gives up, with no match from that attempt on, when an
// attempt would hold more choice points or capture records than these, or when the search
// has used up its steps: kBaseSteps, and kStepsPerAttempt more for each attempt. That bounds
// the time of any search by the length of its text, and the stack at about 130 kilobytes.
constexpr int32_t kMaxChoices = 4096;
constexpr int32_t kMaxCaptureRecords = 4096;
constexpr long long kBaseSteps = 1LL << 22;
constexpr long long kStepsPerAttempt = 256;

struct TMatchContext {
    const TPatternNode* nodes;
    const char* text;
    const unsigned char* fold;
    MatchCallback callback;
    void* userData;
    long long stepsLeft;
    bool gaveUp;
};

// The marks behind a list that holds each node at most once: a node is in the list when its
// mark equals the list's generation, so the test for duplicates costs one comparison.
struct TNodeMarks {
    int32_t count;
    uint32_t generation;
    uint32_t mark[TTextPattern::kMaxNodes];

    void Init()
    {
        count = 0;
        generation = 1;
        memset(mark, 0, sizeof mark);
    }
    void Clear()
    {
        count = 0;
        if (++generation == 0) {
            memset(mark, 0, sizeof mark);
            generation = 1;
        }
    }
    bool Claim(int32_t node)
    {
        if (mark[node] == generation)
            return false;
        mark[node] = generation;
        return true;
    }
};

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

// The whole match, for patterns without captures.
void ReportWhole(const TMatchContext& m, long at, long length)
{
    if (m.callback)
        m.callback(0, at, at + length - 1, m.text, m.userData);
}

// Whether a node of a pattern without captures consumes a character.
inline bool Consumes(const TPatternNode& node)
{
    return node.kind == NodeChar || node.kind == NodeAny || node.kind == NodeClass ||
           (node.kind == NodeNamedClass && node.data != kWordBoundaryRow);
}

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
    // number, no thread starts or reaches the final node, and the rest is the next state. Other entries are the
    // index of a step, or 0 when the step is not made yet.
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
    void Clear()
    {
        numStates = 0;
        numSteps = 1;  // step 0 stands for a step not made yet
        nodesUsed = 0;
        sourcesUsed = 0;
        memset(hashSlots, 0xFF, sizeof hashSlots);
        Intern(nullptr, 0);
    }

    int32_t Count(int32_t state) const { return states[state].count; }
    int32_t NumRuns(int32_t state) const { return states[state].numRuns; }
    const int32_t* Sequence(int32_t state) const { return sequences + states[state].begin; }
    uint16_t RowEntry(int32_t state, unsigned char c) const { return rows[state][c]; }
    const TStep& Step(uint16_t index) const { return steps[index]; }
    const int16_t* Sources(const TStep& step) const { return sources + step.sourceBegin; }

    // The state of sequence[0..count), made if new; -1 when there is no room.
    int32_t Intern(const int32_t* sequence, int32_t count)
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

    // Records the step from state on c to next, whose runs come from runSources; a step of
    // the same state with the same outcome is shared. False when there is no room.
    bool AddStep(int32_t state, unsigned char c, int32_t next, const int32_t* runSources, int32_t finalSource)
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

private:
    static constexpr uint32_t kHashSlots = 2 * kMaxStates;

    struct TState {
        int32_t begin;
        int32_t count;
        int32_t numRuns;
        uint32_t hash;
    };

    static bool SameSources(const int16_t* recorded, const int32_t* runSources, int32_t count)
    {
        for (int32_t i = 0; i < count; ++i)
            if (recorded[i] != runSources[i])
                return false;
        return true;
    }

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

// Marks the bytes that can be the first character of a non-empty match, with every zero-width
// test taken as passed; answers whether the final node is reachable without a character, so
// that an empty match may be possible.
bool FindFirstCharacters(const TPatternNode* nodes, const unsigned char* fold, bool first[256])
{
    const bool backtracking = nodes[0].data == kEngineBacktrack;
    memset(first, 0, 256 * sizeof(bool));
    bool seen[TTextPattern::kMaxNodes] = {};
    int32_t stack[TTextPattern::kMaxNodes];
    int32_t top = 0;
    bool canBeEmpty = false;
    auto push = [&](int32_t node) {
        if (!seen[node]) {
            seen[node] = true;
            stack[top++] = node;
        }
    };
    push(nodes[0].next1);
    while (top > 0) {
        const int32_t index = stack[--top];
        if (index == 0) {
            canBeEmpty = true;
            continue;
        }
        const TPatternNode& node = nodes[index];
        switch (node.kind) {
        case NodeBranch:
            push(node.next1);
            push(node.next2);
            break;
        case NodeLineStart:
        case NodeLineEnd:
            push(node.next1);
            break;
        case NodeCaptureOpen:
        case NodeCaptureClose:
        case NodeNotOpen:
        case NodeNotClose:
            if (backtracking)
                push(node.next1);
            break;
        case NodeNamedClass:
            if (node.data == kWordBoundaryRow) {
                push(node.next1);
                break;
            }
            for (int b = 1; b < 256; ++b) {
                const char one[2] = {static_cast<char>(b), 0};
                first[b] = first[b] || TestNamedClass(node.data, one, 0) == 0;
            }
            break;
        case NodeChar:
            for (int b = 1; b < 256; ++b)
                first[b] = first[b] || static_cast<signed char>(fold[b]) == node.data;
            break;
        case NodeAny:
            for (int b = 1; b < 256; ++b)
                first[b] = first[b] || b != '\n';
            break;
        case NodeClass:
            for (int b = 1; b < 256; ++b)
                first[b] = first[b] ||
                           ClassAccepts(nodes, index, static_cast<signed char>(fold[b]), static_cast<unsigned char>(b));
            break;
        default:
            break;
        }
    }
    return canBeEmpty;
}

// Below this many positions to try, finding the first characters costs more than it saves.
constexpr long kMinPositionsForFilter = 32;

// The forward, backward and all-matches searches over one engine. Positions whose character
// cannot start a match are skipped when that cannot change the answer: always for all
// matches (only matches of length above 0 count), and for the other two when the pattern
// cannot match the empty text.
template <class Engine>
long Search(TMatchContext& m, Engine& engine, long* foundAt, long start, EMatchMode mode, long length,
            const bool* first)
{
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

// Sets up the context of one public or private Find.
struct TFindSetup {
    TMatchContext context;
    unsigned char foldMap[256];

    TFindSetup(const TPatternNode* nodes, const char* text, int caseSensitive, MatchCallback callback,
               void* userData)
        : context{nodes, text, _identityFold.map, callback, userData, kBaseSteps, false}
    {
        if (!caseSensitive) {
            for (int i = 0; i < 256; ++i)
                foldMap[i] = static_cast<unsigned char>(tolower(i));
            context.fold = foldMap;
        }
    }
};

// The searches of the public Find, each with its engine in a frame of its own, so that the
// stack holds one engine's state at a time whatever the compiler makes of the frames.
#if defined(__GNUC__)
#define COMMONTARN_NOINLINE __attribute__((noinline))
#else
#define COMMONTARN_NOINLINE
#endif

COMMONTARN_NOINLINE long SearchByBacktracking(TMatchContext& m, long* foundAt, long start, EMatchMode mode,
                                              long length, const bool* first)
{
    TBacktracker engine(m);
    return Search(m, engine, foundAt, start, mode, length, first);
}

COMMONTARN_NOINLINE long SearchBySimulation(TMatchContext& m, long* foundAt, long start, EMatchMode mode,
                                            long length, const bool* first)
{
    TSimulator engine(m);
    return Search(m, engine, foundAt, start, mode, length, first);
}

COMMONTARN_NOINLINE long FindAllBySimulation(TMatchContext& m, long* foundAt, long start, long length,
                                             const bool* first)
{
    TAllMatchesSimulator engine(m, first, length);
    return engine.Run(start, foundAt);
}

#undef COMMONTARN_NOINLINE

}  // namespace

TTextPattern::TTextPattern() : nodes(nullptr), caseSensitive(1), valid(0)
{
    memcpy(specialChars, _defaultSpecialChars, kNumSpecialChars);
}

TTextPattern::TTextPattern(char const* text, int caseSensitive) : TTextPattern()
{
    Set(text, caseSensitive);
}

TTextPattern::~TTextPattern()
{
    free(nodes);
}

int TTextPattern::Set(char const* text, int caseSensitive)
{
    this->caseSensitive = caseSensitive;
    free(nodes);
    nodes = nullptr;
    valid = text ? Parse(text) : 0;
    return valid;
}

int TTextPattern::Parse(char const* text)
{
    nodes = TPatternCompiler(text, specialChars, caseSensitive).Compile();
    return nodes != nullptr;
}

void TTextPattern::SetNoSpecialChar()
{
    memset(specialChars, 1, kNumSpecialChars);
}

void TTextPattern::SetSpecialChar(int position, char c)
{
    if (position >= 0 && position < kNumSpecialChars)
        specialChars[position] = c;
}

void TTextPattern::SetDosMode()
{
    SetNoSpecialChar();
    specialChars[eAnyChar] = '.';
    specialChars[eStar] = '*';
    specialChars[eOptional] = '?';
}

long TTextPattern::Find(char const* text, long start, MatchCallback callback, void* userData) const
{
    if (!valid || !nodes || !text || start < 0)
        return -1;
    TFindSetup setup(nodes, text, caseSensitive, callback, userData);
    if (nodes[0].data == kEngineBacktrack) {
        TBacktracker engine(setup.context);
        return engine.Attempt(start);
    }
    TSimulator engine(setup.context);
    return engine.Attempt(start);
}

long TTextPattern::Find(long* foundAt, char const* text, long start, EMatchMode mode, MatchCallback callback,
                        void* userData) const
{
    long unused;
    if (!foundAt)
        foundAt = &unused;
    *foundAt = start;
    // A negative start, like a bad mode, finds nothing.
    if (!valid || !nodes || !text || start < 0 || mode < eMatchForward || mode > eMatchAll)
        return -1;
    if (mode == eMatchHere)
        return Find(text, start, callback, userData);
    const size_t measured = strlen(text);
    const long length = measured > static_cast<size_t>(LONG_MAX) ? LONG_MAX : static_cast<long>(measured);
    // A start beyond the text is answered as no match.
    if (start > length)
        return -1;
    TFindSetup setup(nodes, text, caseSensitive, callback, userData);
    bool firstCharacters[256];
    const bool* first = nullptr;
    if ((mode == eMatchBackward ? start : length - start) >= kMinPositionsForFilter &&
        (!FindFirstCharacters(nodes, setup.context.fold, firstCharacters) || mode == eMatchAll))
        first = firstCharacters;
    if (nodes[0].data == kEngineBacktrack)
        return SearchByBacktracking(setup.context, foundAt, start, mode, length, first);
    if (mode == eMatchAll)
        return FindAllBySimulation(setup.context, foundAt, start, length, first);
    return SearchBySimulation(setup.context, foundAt, start, mode, length, first);
}
