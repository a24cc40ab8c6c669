// The compiler of TTextPattern: a recursive descent from a pattern text and an operator table
// to the array of automaton nodes that both engines run.
#include <cstdlib>
#include <cstring>
#include <utility>

#include "patterns/PatternInternals.h"

namespace TarnPattern {

namespace {

constexpr int32_t kGrowth = 30;
// Groups, capture groups and not markers nest at most this deep; deeper is a syntax error,
// which keeps the compiler's recursion small.
constexpr int kMaxNesting = 100;
// Capture numbers are signed bytes; more groups are a syntax error.
constexpr int kMaxCaptures = 128;

// Letters of the named classes, in the order of their rows.
const char kNamedClassLetters[] = "wWdDSsblL";

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

}  // namespace

TPatternNode* CompilePattern(const char* text, const char* table, int caseSensitive)
{
    return TPatternCompiler(text, table, caseSensitive).Compile();
}

}  // namespace TarnPattern
