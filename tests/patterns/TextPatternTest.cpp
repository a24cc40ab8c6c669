#include <gtest/gtest.h>

#include <atomic>
#include <random>
// GCC 12 warns of an uninitialised std::function inside std::regex when it builds with
// sanitizers at -O1; the warning is attributed to the header.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <regex>
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "patterns/TextPattern.h"

namespace {

using Report = std::tuple<int, long, long>;
using Reports = std::vector<Report>;

int Collect(int capture, long start, long end, const char*, void* reports)
{
    return static_cast<Reports*>(reports)->emplace_back(capture, start, end), 0;
}

// Length of the match exactly at start, or -1.
long Here(const char* pattern, const char* text, long start = 0, int caseSensitive = 1)
{
    return TTextPattern(pattern, caseSensitive).Find(nullptr, text, start, eMatchHere, nullptr, nullptr);
}

// A search's length, where it was found and what the callback was told.
struct Found {
    long length, at;
    Reports reports;
    bool operator==(const Found& o) const { return length == o.length && at == o.at && reports == o.reports; }
};

Found Search(const TTextPattern& p, const char* text, long start, EMatchMode mode)
{
    Found f{0, -2, {}};
    return f.length = p.Find(&f.at, text, start, mode, Collect, &f.reports), f;
}

Found Search(const char* pattern, const char* text, long start, EMatchMode mode)
{
    return Search(TTextPattern(pattern, 1), text, start, mode);
}

// All matches from start by an attempt at each position, as the pass over all matches gives them.
Reports Attempts(const TTextPattern& p, const std::string& text, long start)
{
    Reports expected;
    for (long at = start; at < static_cast<long>(text.size());) {
        const long length = p.Find(nullptr, text.c_str(), at, eMatchHere, nullptr, nullptr);
        if (length > 0)
            expected.emplace_back(0, at, at + length - 1);
        at += length > 0 ? length : 1;
    }
    return expected;
}

}  // namespace

// Found by argument-dependent lookup, so at the node's own (global) scope.
static bool operator==(const TPatternNode& a, const TPatternNode& b)
{
    return a.data == b.data && a.kind == b.kind && a.next1 == b.next1 && a.next2 == b.next2;
}

TEST(TextPattern, WorkedExamplesCompileNodeForNode)
{
    // A capture group selects the backtracking engine; a class lays out header, entries, join.
    const std::pair<const char*, std::vector<TPatternNode>> cases[] = {
        {"a*b", {{101, 1, 2, 5}, {97, 3, 2, 2}, {0, 1, 3, 1}, {98, 3, 4, 4}, {0, 1, 0, 0}}},
        {"a|bc", {{101, 1, 2, 7}, {97, 3, 5, 5}, {0, 1, 1, 3}, {98, 3, 4, 4}, {99, 3, 5, 5}, {0, 1, 6, 6}, {0, 1, 0, 0}}},
        {"{[^a-cX]}",
         {{100, 1, 1, 8}, {0, 71, 2, 2}, {0, 5, 5, 1}, {97, 50, 99, 0}, {120, 51, 0, 0}, {0, 1, 6, 6}, {0, 72, 7, 7},
          {0, 1, 0, 0}}},
    };
    for (const auto& [pattern, nodes] : cases) {
        TTextPattern p(pattern, pattern[0] != '{');
        EXPECT_EQ(nodes, std::vector<TPatternNode>(p.GetNodes(), p.GetNodes() + p.GetNumNodes())) << pattern;
    }
}

TEST(TextPattern, SyntaxErrorsLeaveNothingCompiled)
{
    for (const char* bad : {"", "()", "a|", "|a", "*a", "a**", "a+*", "a?*", "a]", "{ab)", "(ab}", "(ab", "[^-a]", "[-a]",
                            "[a", "[a\nb]", "[a-]", "[a-", "[a/", "a/", "/o12", "/o8", "/x4", "/xg1", "/25", "/2a",
                            "/256", "[a-c-e]", "[a^-z]", "+", "a|*"}) {
        TTextPattern p("abc", 1);
        EXPECT_TRUE(p.Set(bad, 1) == 0 && p.GetNodes() == nullptr) << bad;
        EXPECT_EQ(Search(p, "a-b", 1, eMatchForward), (Found{-1, 1, {}})) << bad;
    }
    EXPECT_EQ(TTextPattern().Find(nullptr, "", 0, eMatchHere, nullptr, nullptr), -1);
    EXPECT_EQ(TTextPattern().Set(nullptr, 1), 0);
}

// The length of the match at a position, for each rule of the language.
TEST(TextPattern, LanguageEdgeCases)
{
    const struct {
        const char *pattern, *text;
        long start;
        int caseSensitive;
        long length;
    } cases[] = {
        // Longest match without captures, the right alternative first with them.
        {"ab|abc", "abc", 0, 1, 3}, {"abc|ab", "abc", 0, 1, 3}, {"{ab|abc}", "abc", 0, 1, 3}, {"{abc|ab}", "abc", 0, 1, 2},
        {"a*?", "aa?", 0, 1, 3}, {"a*?", "aa", 0, 1, -1}, {"?a", "?a", 0, 1, 2}, {"a??", "?", 0, 1, 1},
        // Behind another factor a loop over a group that opens with an alternation stays optional.
        {"x(a|b)*", "x", 0, 1, 1}, {"x(a*b)*", "xc", 0, 1, 1}, {"x(a|b)?c", "xc", 0, 1, 2}, {"x(a|b)*", "xabba", 0, 1, 5},
        {"ab)cd", "abcd", 0, 1, 2}, {"[a/-z]", "-", 0, 1, 1}, {"[a/-z]", "z", 0, 1, 1}, {"[a/-z]", "b", 0, 1, -1},
        {"[]", "a", 0, 1, -1}, {"[^]", "\n", 0, 1, 1}, {"[^]", "", 0, 1, -1},
        // A ^ or $ inside a class adds nothing; escaped, they are characters.
        {"[a^$]", "^", 0, 1, -1}, {"[a/^/$]", "$", 0, 1, 1}, {"[/n]", "\n", 0, 1, 1},
        // The high bound of a range is not folded when escaped.
        {"[a-/Z]", "b", 0, 0, -1}, {"[A-Z]", "q", 0, 0, 1},
        {"abc$", "abc", 0, 1, 3}, {"abc$", "abc\nx", 0, 1, 3}, {"abc$", "abcd", 0, 1, -1}, {"^$", "", 0, 1, 0},
        {"^b", "a\nb", 2, 1, 1}, {"^b", "ab", 1, 1, -1}, {".", "\n", 0, 1, -1}, {"[^a]", "\n", 0, 1, 1},
        {"a.c", "a\xff" "c", 0, 1, 3},
        // Numeric escapes are stored unfolded, so they cannot match a folded text.
        {"/065", "A", 0, 0, -1}, {"/065", "a", 0, 0, -1}, {"/065", "A", 0, 1, 1}, {"/o777", "\xff", 0, 1, 1},
        {"/x41/o102/e/n/t//", "AB\x1b\n\t/", 0, 1, 6}, {"/000", "", 0, 1, -1}, {"/\\/(", "\\(", 0, 1, 2},
        {"AbC", "aBc", 0, 0, 3}, {"AbC", "aBc", 0, 1, -1}, {"[^a]", "A", 0, 0, -1},
        // Named classes test the raw text whatever the case mode; high bytes are neither letters
        // nor digits; no class matches the end of the text; an unnamed letter is itself.
        {"/b", "abc", 0, 1, 0}, {"/b", "abc", 3, 1, 0}, {"/b", "abc", 1, 1, -1}, {"/b_", " _", 0, 1, -1},
        {"/w/W/d/D/s/S/l/L", "_ 5x\xff" "ab-", 0, 1, 8}, {"/s/s/s/s", "\t \n\xff", 0, 1, 4},
        {"/w|/d|/l|/s", "\xe9", 0, 1, -1}, {"/W/D/S/L", "\xe9\xe9\xe9\xe9", 0, 1, 4}, {"/W|/D|/S|/L|/w|/d|/l|/s", "", 0, 1, -1},
        {"/d+/q", "12q", 0, 0, 3}, {"/L", "Q", 0, 0, -1},
        // Loops whose body can match nothing end.
        {"{(a*)*}", "aaab", 0, 1, 3}, {"{(a*)*}", "b", 0, 1, 0}, {"{(a|b*)+}c", "abbc", 0, 1, 4}, {"{(^|$)*}", "", 0, 1, 0},
        {"{(a?)+}b", "b", 0, 1, 1},
        // The not marker: plain links for backtracking, the end of a path in the simulation.
        {"{x}~a", "xa", 0, 1, 2}, {"x~a", "xa", 0, 1, -1}, {"x~a|xb", "xb", 0, 1, 2}, {"~a*b", "ab", 0, 1, -1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.length, Here(c.pattern, c.text, c.start, c.caseSensitive)) << c.pattern << " on " << c.text;
}

TEST(TextPattern, SearchModesAndReports)
{
    const std::string longText = std::string(200, 'x') + "needle" + std::string(100, 'y') + "Needle";
    const struct {
        const char *pattern, *text;
        long start;
        int mode;
        Found expected;
    } cases[] = {
        {"a*", "bbb", 0, eMatchForward, {0, 0, {{0, 0, -1}}}}, {"a*", "bbb", 0, eMatchAll, {-1, 0, {}}},
        {"/d+", "a12b345", 0, eMatchAll, {2, 1, {{0, 1, 2}, {0, 4, 6}}}}, {"/d+", "a12b345", 5, eMatchAll, {2, 5, {{0, 5, 6}}}},
        {"b", "abcb", 0, eMatchBackward, {-1, 0, {}}}, {"b", "abcb", 3, eMatchBackward, {1, 1, {{0, 1, 1}}}},
        // The terminator's position is tried forward only when the search starts there.
        {"$", "ab", 1, eMatchForward, {-1, 1, {}}}, {"$", "ab", 2, eMatchForward, {0, 2, {{0, 2, 1}}}},
        {"b+", "abb", 1, eMatchHere, {2, 1, {}}}, {"b+", "abb", 0, eMatchHere, {-1, 0, {}}},
        // A bad mode, a negative start and a start beyond the text find nothing.
        {"a", "a", 0, 4, {-1, 0, {}}}, {"a", "a", -1, eMatchForward, {-1, -1, {}}}, {"a", "a", -1, eMatchHere, {-1, -1, {}}},
        {"a", "a", 5, eMatchAll, {-1, 5, {}}}, {"a", "a", 5, eMatchBackward, {-1, 5, {}}},
        // Captures report the groups from within the matcher, inner before outer, once per
        // pass of a loop, empty groups never, failed attempts nothing.
        {"{a}{b}", "ab", 0, eMatchForward, {2, 0, {{0, 0, 0}, {1, 1, 1}}}},
        {"x{a{b}c}", "xabc", 0, eMatchHere, {4, 0, {{1, 2, 2}, {0, 1, 3}}}},
        {"{a}*{b*}", "aaa", 0, eMatchHere, {3, 0, {{0, 0, 0}, {0, 1, 1}, {0, 2, 2}}}},
        {"{a*}", "bab", 0, eMatchAll, {1, 1, {{0, 1, 1}}}}, {"{a}c", "abac", 0, eMatchForward, {2, 2, {{0, 2, 2}}}},
        // Long texts skip impossible first characters; the results are those of short texts.
        {"[nN]eedle|haystack", longText.c_str(), 0, eMatchAll, {6, 200, {{0, 200, 205}, {0, 306, 311}}}},
        {"ne+dle", longText.c_str(), 312, eMatchBackward, {6, 200, {{0, 200, 205}}}},
        {"y*", longText.c_str(), 0, eMatchForward, {0, 0, {{0, 0, -1}}}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.expected, Search(c.pattern, c.text, c.start, static_cast<EMatchMode>(c.mode)))
            << c.pattern << " on " << c.text << " from " << c.start << " mode " << c.mode;
    EXPECT_EQ(Search("{y}y", longText.c_str(), 0, eMatchAll).reports.size(), 50u);
}

TEST(TextPattern, OperatorTable)
{
    TTextPattern p, q;
    auto here = [](const TTextPattern& t, const char* text) { return t.Find(nullptr, text, 0, eMatchHere, nullptr, nullptr); };
    p.SetNoSpecialChar();
    EXPECT_TRUE(p.Set("a.(b)*|[c", 1) && here(p, "a.(b)*|[c") == 9);
    // DOS mode keeps '.', '*' and '?'; without an escape character '/' is a character.
    p.SetDosMode();
    EXPECT_TRUE(p.Set("(a.*b?)", 0) && here(p, "(AxxB)") == 6 && here(p, "(Axx)") == 5);
    EXPECT_TRUE(p.Set("a/*", 1) && here(p, "a///") == 4);
    // Changes take effect at the next Set; a position outside the table is ignored.
    EXPECT_EQ(q.Set("a#b", 1), 1);
    q.SetSpecialChar(0, '#');
    q.SetSpecialChar(17, '*');
    q.SetSpecialChar(-1, '*');
    EXPECT_EQ(here(q, "b"), -1);
    EXPECT_TRUE(q.Set("a#b", 1) && here(q, "b") == 1 && q.Set("a|b", 1) && here(q, "a|b") == 3);
    q.SetSpecialChar(9, '\\');
    EXPECT_TRUE(q.Set("\\d/", 1) && here(q, "7/") == 2);
    // The terminator is never an operator, whatever the table says.
    for (int position = 0; position < 17; ++position) {
        TTextPattern r;
        r.SetSpecialChar(position, 0);
        EXPECT_TRUE(r.Set("ab", 1) && here(r, "ab") == 2) << position;
    }
}

TEST(TextPattern, LimitsGiveDefinedAnswers)
{
    // At most kMaxNodes nodes: header, characters, final node.
    TTextPattern p;
    EXPECT_EQ(p.Set(std::string(TTextPattern::kMaxNodes - 2, 'a').c_str(), 1), 1);
    EXPECT_EQ(p.GetNumNodes(), TTextPattern::kMaxNodes);
    EXPECT_EQ(p.Set(std::string(TTextPattern::kMaxNodes - 1, 'a').c_str(), 1), 0);
    // Every state active at once still fits the lists; with all matches, more closures than the
    // pass keeps are found by walking.
    std::string optional, optionalA;
    for (int i = 0; i < 300; ++i)
        optional += ".?", optionalA += i < 200 ? "a?" : "";
    EXPECT_EQ(Here(optional.c_str(), std::string(400, 'q').c_str()), 300);
    const Found all = Search((optionalA + "b").c_str(), (std::string(300, 'a') + "b").c_str(), 0, eMatchAll);
    EXPECT_TRUE(all.length == 201 && all.at == 100);

    // Capture nesting up to 31, capture numbers up to 127, nesting of brackets up to 100.
    auto nested = [](char open, char close, int depth) { return std::string(depth, open) + "a" + std::string(depth, close); };
    const std::pair<std::string, int> sets[] = {
        {nested('{', '}', 31), 1}, {nested('{', '}', 32), 0}, {nested('(', ')', 100), 1}, {nested('(', ')', 101), 0},
        {nested('(', ')', 100000), 0}, {std::string(100000, '~') + "a", 0}};
    for (const auto& [pattern, valid] : sets)
        EXPECT_EQ(valid, p.Set(pattern.c_str(), 1)) << pattern.size();
    EXPECT_EQ(Here(nested('{', '}', 31).c_str(), "a"), 1);
    std::string groups;
    for (int i = 0; i < 128; ++i)
        groups += "{a}";
    EXPECT_EQ(p.Set((groups + "{a}").c_str(), 1), 0);
    EXPECT_EQ(p.Set(groups.c_str(), 1), 1);
    Found f = Search(p, std::string(128, 'a').c_str(), 0, eMatchHere);
    EXPECT_TRUE(f.length == 128 && f.reports.size() == 128u && f.reports.back() == Report(127, 127, 127));

    // Backtracking gives up beyond 4096 open choice points, and when a search has used its
    // steps; the simulation has no such limit.
    const std::string hard = std::string(40, 'a') + "cb";
    EXPECT_EQ(Here("{a*}", std::string(4000, 'a').c_str()), 4000);
    EXPECT_EQ(Search("{a*}", std::string(5000, 'a').c_str(), 0, eMatchForward), (Found{-1, 0, {}}));
    EXPECT_EQ(Search("{(a|a)*}b", hard.c_str(), 0, eMatchForward).length, -1);
    EXPECT_EQ(Search("(a|a)*b", hard.c_str(), 0, eMatchForward).at, 41);
    EXPECT_EQ(Here("a*", std::string(5000, 'a').c_str()), 5000);
}

TEST(TextPattern, SeveralThreadsFindOnOneObject)
{
    const TTextPattern p("[a-z]+ing|{", 1), q("[a-z]+ing|/d+", 1);
    std::string text;
    for (int i = 0; i < 200; ++i)
        text += "sing 12 walking x ";
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 20; ++i)
                wrong += Search(q, text.c_str(), 0, eMatchAll).reports.size() != 600 ||
                         p.Find(nullptr, "a", 0, eMatchAll, nullptr, nullptr) != -1;
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(wrong, 0);
}

namespace {

// A random pattern of the language that TTextPattern shares with ECMAScript, in ECMAScript's
// syntax too, and with its alternatives reversed: the backtracking matcher tries the right
// one first, ECMAScript the left one. std::regex backtracks exponentially over nested loops,
// so a group gets a closure only when nothing in it loops.
struct Pattern {
    std::string ours, reversed;
    bool loops;
};

Pattern RandomExpression(std::mt19937& random, int depth)
{
    static const char* const atoms[] = {"a", "b", "c", "a", "b", ".", "[ab]", "[^a]", "[a-b]", "[^bc]"};
    static const char* const closures[] = {"", "", "", "*", "+", "?"};
    Pattern p{"", "", false};
    for (int a = 0, alternatives = random() % 4 ? 1 : 2 + random() % 2; a < alternatives; ++a) {
        Pattern term{"", "", false};
        for (int f = 1 + random() % 3; f > 0; --f) {
            Pattern factor{atoms[random() % 10], "", false};
            factor.reversed = factor.ours;
            if (depth < 2 && random() % 5 == 0) {
                const Pattern inner = RandomExpression(random, depth + 1);
                factor = {"(" + inner.ours + ")", "(" + inner.reversed + ")", inner.loops};
            }
            const std::string closure = factor.loops ? "" : closures[random() % 6];
            term = {term.ours + factor.ours + closure, term.reversed + factor.reversed + closure,
                    term.loops || factor.loops || !closure.empty()};
        }
        p = {p.ours + (a ? "|" : "") + term.ours, term.reversed + (a ? "|" : "") + p.reversed, p.loops || term.loops};
    }
    return p;
}

}  // namespace

// Lengths of the match from each position: the simulation's longest match against the longest
// prefix that std::regex matches whole, and the backtracking matcher's first match against
// ECMAScript's, whose depth-first order is the same once the alternatives are reversed.
TEST(TextPattern, AgreesWithStdRegex)
{
    std::mt19937 random(20261123);
    for (int round = 0; round < 1500; ++round) {
        const Pattern pattern = RandomExpression(random, 0);
        std::string text;
        for (int n = static_cast<int>(random() % 9); n > 0; --n)
            text += "abc\n"[random() % 4];
        const std::regex longest(pattern.ours, std::regex::ECMAScript), first(pattern.reversed, std::regex::ECMAScript);
        const TTextPattern simulation(pattern.ours.c_str(), 1), backtracking(("{" + pattern.ours + "}").c_str(), 1);
        ASSERT_TRUE(simulation.IsValid() && backtracking.IsValid()) << pattern.ours;
        for (long start = 0; start <= static_cast<long>(text.size()); ++start) {
            long expected = static_cast<long>(text.size()) - start;
            while (expected >= 0 && !std::regex_match(text.begin() + start, text.begin() + start + expected, longest))
                --expected;
            EXPECT_EQ(simulation.Find(nullptr, text.c_str(), start, eMatchHere, nullptr, nullptr), expected)
                << pattern.ours << " on '" << text << "' at " << start;
            std::smatch match;
            expected = std::regex_search(text.cbegin() + start, text.cend(), match, first, std::regex_constants::match_continuous)
                           ? static_cast<long>(match.length(0))
                           : -1;
            const Found found = Search(backtracking, text.c_str(), start, eMatchHere);
            EXPECT_EQ(found.length, expected) << "{" << pattern.ours << "} on '" << text << "' at " << start;
            EXPECT_TRUE(expected <= 0 || found.reports.back() == Report(0, start, start + expected - 1));
        }
    }
}

// Every match in one pass against an attempt at each position in turn: on short texts with
// patterns with line and word tests (which the pass treats apart) and without; then on long
// texts with many sets of active nodes, some so fast that caching the steps does not pay,
// others so slow that the cache fills up and starts again, and on a pattern with more
// alternatives than the pass starts through its table of first steps.
TEST(TextPattern, AllMatchesAgreeWithAttemptsAtEachPosition)
{
    static const char* const pieces[] = {"a", "b", "ab", ".", "[a-b]", "[^b]", "/w", "/s", "/b", "^", "$", "(a|bb)",
                                         "(a|b|)", "a*", "b+", "[ab]?", "(ab)*", "A"};
    std::mt19937 random(4242);
    for (int round = 0; round < 1500; ++round) {
        std::string pattern, text;
        for (int n = 1 + static_cast<int>(random() % 4); n > 0; --n)
            pattern += pieces[random() % 18], pattern += random() % 5 ? "" : "|";
        pattern += pattern.back() == '|' ? "a" : "";
        for (int n = static_cast<int>(random() % 70); n > 0; --n)
            text += "aab \nB"[random() % 6];
        const TTextPattern p(pattern.c_str(), static_cast<int>(random() % 2));
        const long start = static_cast<long>(random() % (text.size() + 1));
        const Reports expected = Attempts(p, text, start);
        const Found f = Search(p, text.c_str(), start, eMatchAll);
        EXPECT_EQ(f.reports, expected) << pattern << " on '" << text << "' from " << start;
        EXPECT_EQ(f.length, expected.empty() ? -1 : std::get<2>(expected[0]) - std::get<1>(expected[0]) + 1);
        EXPECT_EQ(f.at, expected.empty() ? start : std::get<1>(expected[0]));
    }

    std::string manyAlternatives = "x(";
    for (int i = 0; i < 70; ++i) {
        manyAlternatives += i ? "|" : "";
        for (int n = 1 + static_cast<int>(random() % 4); n > 0; --n)
            manyAlternatives += "ab"[random() % 2];
    }
    manyAlternatives += ")";
    const std::string patterns[] = {"[ab]*a[ab][ab][ab][ab][ab][ab][ab][ab]", "(a|b)*a(a|b)(a|b)(a|b)(a|b)b+",
                                    "(aa|b)*a(ab|ba|b)(a|bb)?(b|ab)a", manyAlternatives.substr(1), manyAlternatives,
                                    "[a-b]+x?b"};
    for (const std::string& pattern : patterns)
        for (int caseSensitive = 0; caseSensitive < 2; ++caseSensitive)
            for (const bool dense : {true, false}) {
                const TTextPattern p(pattern.c_str(), caseSensitive);
                std::string text;
                while (text.size() < (dense ? 3000u : 40000u)) {
                    for (int n = dense ? 50 : 1 + static_cast<int>(random() % 12); n > 0; --n)
                        text += random() % 16 == 0 ? 'x' : "abAB"[random() % (caseSensitive ? 2 : 4)];
                    if (!dense)
                        text.append(20 + random() % 100, " c\n"[random() % 3]);
                }
                const Reports expected = Attempts(p, text, 0);
                EXPECT_FALSE(expected.empty());
                EXPECT_EQ(Search(p, text.c_str(), 0, eMatchAll).reports, expected) << pattern << " " << dense;
            }
}
