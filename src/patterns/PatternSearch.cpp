// TTextPattern::Find: one attempt, or a search on the engine that the compiled pattern
// names, with a filter of the characters that can start a match.
#include <cctype>
#include <climits>
#include <cstring>

#include "patterns/PatternSearch.h"

using namespace TarnPattern;

namespace {

struct TIdentityFold {
    unsigned char map[256];
    constexpr TIdentityFold() : map()
    {
        for (int i = 0; i < 256; ++i)
            map[i] = static_cast<unsigned char>(i);
    }
};
constexpr TIdentityFold _identityFold;

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

}  // namespace

long TTextPattern::Find(char const* text, long start, MatchCallback callback, void* userData) const
{
    if (!valid || !nodes || !text || start < 0)
        return -1;
    TFindSetup setup(nodes, text, caseSensitive, callback, userData);
    if (nodes[0].data == kEngineBacktrack)
        return SearchByBacktracking(setup.context, nullptr, start, eMatchHere, 0, nullptr);
    return SearchBySimulation(setup.context, nullptr, start, eMatchHere, 0, nullptr);
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
