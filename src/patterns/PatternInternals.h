// Internals of TTextPattern shared by its compiler, its two engines and its searches: the
// table positions, the engine codes and limits of the compiled form, the class tests, and
// the context of one search. Not part of the interface.
#pragma once

#include <cctype>
#include <cstdint>
#include <cstring>

#include "patterns/TextPattern.h"

namespace TarnPattern {

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
// Capture groups nest at most this deep (the compiler's depth stack has 32 bytes and leaves
// index 0 unused); deeper is a syntax error.
constexpr int kMaxCaptureDepth = 31;
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
inline int TestNamedClass(int32_t row, const char* text, long index)
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
inline bool ClassAccepts(const TPatternNode* nodes, int32_t header, int32_t folded, unsigned char c)
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

// The whole match, for patterns without captures.
inline void ReportWhole(const TMatchContext& m, long at, long length)
{
    if (m.callback)
        m.callback(0, at, at + length - 1, m.text, m.userData);
}

// The compiled array of text, taken from malloc, or null for any failure.
TPatternNode* CompilePattern(const char* text, const char* table, int caseSensitive);

}  // namespace TarnPattern
