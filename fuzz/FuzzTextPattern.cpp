// TTextPattern and the search functions on arbitrary patterns and texts. The first byte holds
// the case mode and changes to the operator table (bit 2 takes the next two bytes as a
// position and its character); the rest splits at the first zero byte into a pattern and a
// text. Every report must lie within the text, and for patterns without captures every match
// of one pass must be what an attempt at each position finds, also on a long text made of
// pieces of the text, on which the pass caches many steps. Both texts are cut where the
// pattern would make the searches on them slow.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "patterns/SearchFunctions.h"
#include "patterns/TextPattern.h"
#include "text/TextString.h"

namespace {

// Long enough to reach every limit of the compiler.
constexpr size_t kMaxPattern = 600;
// The text at most, before the cut that kVisitsPerSearch asks for.
constexpr size_t kMaxText = 400;
// Long enough for the pass's cache of steps to fill up and start again.
constexpr size_t kLongText = 2500;

// A search may try each position of its text, and an attempt of the simulation may go on to
// the text's end, so n bytes cost up to n * n / 2 times the visits of one position. Both
// texts are cut to keep each search below this many visits, which holds every input far
// below the fuzzer's time limit under the sanitizers.
constexpr double kVisitsPerSearch = 4e6;

// Whether a node takes a character; row 6 of the named classes, the word boundary, only
// tests the position.
bool Consumes(const TPatternNode& node)
{
    return node.kind == NodeChar || node.kind == NodeAny || node.kind == NodeClass ||
           (node.kind == NodeNamedClass && node.data != 6);
}

// What one position of a search on the simulation can cost: each node once, and for each
// node that consumes a character, the nodes reached from its successor without one, which
// the pass over all matches may go through once for each thread. 0 for the backtracking
// matcher, whose searches are bounded by a number of steps, and for nothing compiled.
double VisitsPerPosition(const TTextPattern& pattern)
{
    if (!pattern.IsValid() || pattern.GetNodes()[0].data != 101)
        return 0;
    const TPatternNode* nodes = pattern.GetNodes();
    const int numNodes = pattern.GetNumNodes();
    double visits = numNodes;
    std::vector<int> seen(static_cast<size_t>(numNodes), -1);
    std::vector<int32_t> stack;
    for (int i = 1; i < numNodes; ++i) {
        if (!Consumes(nodes[i]))
            continue;
        stack.assign(1, nodes[i].next1);
        while (!stack.empty()) {
            const int32_t k = stack.back();
            stack.pop_back();
            if (seen[static_cast<size_t>(k)] == i)
                continue;
            seen[static_cast<size_t>(k)] = i;
            ++visits;
            if (k != 0 && !Consumes(nodes[k])) {
                stack.push_back(nodes[k].next1);
                stack.push_back(nodes[k].next2);
            }
        }
    }
    return visits;
}

// The pattern of FindWithDosWildcards: each '*' becomes ".*" and each '?' ".?", with only
// those three operators, not case sensitive.
std::string DosPattern(const std::string& wildcard)
{
    std::string result;
    for (const char c : wildcard) {
        if (c == '*' || c == '?')
            result += '.';
        result += c;
    }
    return result;
}

// The length up to wanted at which a search costs at most kVisitsPerSearch.
size_t BoundedLength(size_t wanted, double visitsPerPosition)
{
    if (visitsPerPosition <= 0)
        return wanted;
    return std::min(wanted, static_cast<size_t>(std::sqrt(2 * kVisitsPerSearch / visitsPerPosition)));
}

void Check(bool condition)
{
    if (!condition)
        std::abort();
}

struct Reports {
    long length;
    std::vector<long> starts, ends;
};

int OnMatch(int captureIndex, long start, long end, const char* text, void* userData)
{
    Reports& reports = *static_cast<Reports*>(userData);
    Check(captureIndex >= 0 && captureIndex <= 127);
    Check(start >= 0 && start <= reports.length && end >= start - 1 && end < reports.length);
    Check(text != nullptr);
    reports.starts.push_back(start);
    reports.ends.push_back(end);
    return 0;
}

// Pieces of text, chosen by a generator seeded from the input, up to wanted bytes.
std::string LongText(const std::string& text, size_t wanted, const uint8_t* data, size_t size)
{
    uint32_t seed = 2166136261u;
    for (size_t i = 0; i < size; ++i)
        seed = (seed ^ data[i]) * 16777619u;
    std::string result;
    while (!text.empty() && result.size() < wanted) {
        seed = seed * 1664525u + 1013904223u;
        const size_t at = (seed >> 8) % text.size();
        result.append(text, at, 1 + (seed >> 20) % 16);
    }
    result.resize(std::min(result.size(), wanted));
    return result;
}

// Every match of one pass from start against the first match from each position on.
void CheckAllMatches(const TTextPattern& pattern, const std::string& text, long start)
{
    const long length = static_cast<long>(text.size());
    Reports all{length, {}, {}};
    pattern.Find(nullptr, text.c_str(), start, eMatchAll, OnMatch, &all);
    size_t k = 0;
    for (long at = start; at < length;) {
        long foundAt = -2;
        const long found = pattern.Find(&foundAt, text.c_str(), at, eMatchForward, nullptr, nullptr);
        if (found < 0)
            break;
        Check(foundAt >= at && found <= length - foundAt);
        if (found > 0) {
            Check(k < all.starts.size() && all.starts[k] == foundAt && all.ends[k] == foundAt + found - 1);
            ++k;
        }
        at = foundAt + (found > 0 ? found : 1);
    }
    Check(k == all.starts.size());
}

void CheckResult(long result, long foundAt, long start, long length)
{
    Check(result >= -1);
    if (result < 0)
        Check(foundAt == start);
    else
        Check(foundAt >= 0 && foundAt + result <= length);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const uint8_t options = data[0];
    size_t used = 1;
    TTextPattern pattern;
    if (options & 2)
        pattern.SetDosMode();
    if (options & 4 && size >= 3) {
        pattern.SetSpecialChar(data[1] % 17, static_cast<char>(data[2]));
        used = 3;
    }
    if (options & 8)
        pattern.SetNoSpecialChar();
    const char* rest = reinterpret_cast<const char*>(data + used);
    const size_t restSize = size - used;
    const size_t patternSize = strnlen(rest, restSize);
    if (patternSize > kMaxPattern)
        return 0;
    const std::string patternText(rest, patternSize);
    const int caseSensitive = options & 1;
    pattern.Set(patternText.c_str(), caseSensitive);

    // The searches compile the pattern in two more forms: the dearest of the three bounds
    // the texts.
    TTextPattern plain(patternText.c_str(), caseSensitive);
    TTextPattern wildcard;
    wildcard.SetDosMode();
    wildcard.Set(DosPattern(patternText).c_str(), 0);
    const double visitsPerPosition =
        std::max({VisitsPerPosition(pattern), VisitsPerPosition(plain), VisitsPerPosition(wildcard)});

    std::string text;
    if (patternSize < restSize)
        text.assign(rest + patternSize + 1, strnlen(rest + patternSize + 1, restSize - patternSize - 1));
    text.resize(std::min(text.size(), BoundedLength(kMaxText, visitsPerPosition)));
    const long length = static_cast<long>(text.size());
    const long start = length ? static_cast<long>(options >> 4) % (length + 1) : 0;
    for (int mode = eMatchForward; mode <= eMatchAll + 1; ++mode) {
        Reports reports{length, {}, {}};
        long foundAt = -2;
        const long result =
            pattern.Find(&foundAt, text.c_str(), start, static_cast<EMatchMode>(mode), OnMatch, &reports);
        CheckResult(result, foundAt, start, length);
        if (mode > eMatchAll)
            Check(result == -1);
    }

    // Without captures, the pass over all matches against an attempt at each position.
    if (pattern.IsValid() && pattern.GetNodes()[0].data == 101) {
        Reports all{length, {}, {}};
        pattern.Find(nullptr, text.c_str(), start, eMatchAll, OnMatch, &all);
        size_t k = 0;
        for (long at = start; at < length;) {
            const long found = pattern.Find(nullptr, text.c_str(), at, eMatchHere, nullptr, nullptr);
            Check(found <= length - at);
            if (found > 0) {
                Check(k < all.starts.size() && all.starts[k] == at && all.ends[k] == at + found - 1);
                ++k;
            }
            at += found > 0 ? found : 1;
        }
        Check(k == all.starts.size());
        CheckAllMatches(pattern, LongText(text, BoundedLength(kLongText, visitsPerPosition), data, size), start);
    }

    // The result first: an argument that reads foundAt would see it before or after the call.
    long foundAt = -2;
    const long found = FindPattern(text.c_str(), patternText.c_str(), caseSensitive, &foundAt);
    CheckResult(found, foundAt, 0, length);
    foundAt = -2;
    const long foundByWildcard = FindWithDosWildcards(text.c_str(), patternText.c_str(), &foundAt);
    CheckResult(foundByWildcard, foundAt, 0, length);
    String target(text.c_str());
    const int count = ReplaceAll(target, patternText.c_str(), "<>", caseSensitive);
    Check(count >= 0);
    if (count == 0)
        Check(target == text.c_str());
    else
        Check(target.length() <= text.size() + 2 * static_cast<unsigned long>(count));
    return 0;
}
