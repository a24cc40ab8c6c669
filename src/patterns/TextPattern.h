// TTextPattern: a pattern language with a per-object operator table, compiled into an array
// of automaton nodes and matched against zero-terminated texts. Patterns without capture
// groups run on a set-of-states simulation (longest match, no allocation, no backtracking);
// patterns with capture groups run on a backtracking matcher that reports the groups.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"

// A fixed underlying type, so that any int is a valid value: modes beyond these find nothing.
enum EMatchMode : int {
    eMatchForward = 0,   // first match at start or later
    eMatchBackward = 1,  // first match at start - 1 or earlier, going down
    eMatchHere = 2,      // only at start
    eMatchAll = 3,       // every match from start to the end of the text
};

// end is the index of the last character of the match, included. The result is ignored.
typedef int (*MatchCallback)(int captureIndex, long start, long end, char const* text, void* userData);

// Kinds of compiled nodes.
enum EPatternNodeKind : int32_t {
    NodeBranch = 1,  // empty transition; next1 == next2 is a plain link, next1 == 0 the final node
    NodeAny = 2,
    NodeChar = 3,
    NodeNamedClass = 4,
    NodeClass = 5,  // class header: next1 the join node, next2 1 if negated; entries follow
    NodeLineStart = 6,
    NodeLineEnd = 7,
    NodeClassRange = 50,  // data low bound, next1 high bound
    NodeClassChar = 51,
    NodeCaptureOpen = 71,
    NodeCaptureClose = 72,
    NodeNotOpen = 81,
    NodeNotClose = 82,
};

// One compiled node: four signed 32-bit words. Node 0 is the header: next1 the start node,
// next2 the number of nodes, data 101 for the simulation or 100 for backtracking.
struct TPatternNode {
    int32_t data;
    int32_t kind;
    int32_t next1;
    int32_t next2;
};

class COMMONTARN_API TTextPattern {
public:
    // A pattern that would need more nodes than this does not compile; the simulation's
    // lists hold each node at most once, so they can then never run out.
    // Enumerators rather than static members, which an imported class cannot share.
    enum : int { kMaxNodes = 1000, kNumSpecialChars = 17 };

    TTextPattern();
    TTextPattern(char const* text, int caseSensitive);
    ~TTextPattern();
    TTextPattern(const TTextPattern&) = delete;
    TTextPattern& operator=(const TTextPattern&) = delete;

    // Compiles; 1 on success, 0 on any failure, after which nothing is compiled.
    int Set(char const* text, int caseSensitive);
    // All operators off: every table position becomes the byte 1.
    void SetNoSpecialChar();
    // Table position 0 to 16; other positions are ignored. Read at the next Set.
    void SetSpecialChar(int position, char c);
    // Only '.', '*' and '?' stay operators.
    void SetDosMode();

    // The match length (0 for an empty match) or -1; *foundAt gets the match's index, or
    // start when there is none. foundAt and callback may be null.
    long Find(long* foundAt, char const* text, long start, EMatchMode mode, MatchCallback callback,
              void* userData) const;

    int IsValid() const { return valid; }
    int IsCaseSensitive() const { return caseSensitive; }
    // The compiled array, read only, and its number of nodes (0 when nothing is compiled).
    const TPatternNode* GetNodes() const { return nodes; }
    int GetNumNodes() const { return nodes ? nodes[0].next2 : 0; }

private:
    // One attempt exactly at start on the engine the header names; the match length or -1.
    long Find(char const* text, long start, MatchCallback callback, void* userData) const;
    int Parse(char const* text);

    TPatternNode* nodes;
    char specialChars[kNumSpecialChars];
    int caseSensitive;
    int valid;
};
