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

int Collect(int captureIndex, long start, long end, const char*, void* reports)
{
    static_cast<std::vector<Report>*>(reports)->emplace_back(captureIndex, start, end);
    return 0;
}

// Length of the match exactly at start, or -1.
long Here(const char* pattern, const char* text, long start = 0, int caseSensitive = 1)
{
    TTextPattern p(pattern, caseSensitive);
    return p.Find(nullptr, text, start, eMatchHere, nullptr, nullptr);
}

struct Found {
    long length;
    long at;
    std::vector<Report> reports;
};

Found Search(const TTextPattern& p, const char* text, long start, EMatchMode mode)
{
    Found f{0, -2, {}};
    f.length = p.Find(&f.at, text, start, mode, Collect, &f.reports);
    return f;
}

Found Search(const char* pattern, const char* text, long start, EMatchMode mode, int caseSensitive = 1)
{
    TTextPattern p(pattern, caseSensitive);
    return Search(p, text, start, mode);
}

std::vector<TPatternNode> Nodes(const TTextPattern& p)
{
    return std::vector<TPatternNode>(p.GetNodes(), p.GetNodes() + p.GetNumNodes());
}

}  // namespace

// Found by argument-dependent lookup, so at the node's own (global) scope.
static bool operator==(const TPatternNode& a, const TPatternNode& b)
{
    return a.data == b.data && a.kind == b.kind && a.next1 == b.next1 && a.next2 == b.next2;
}

TEST(TextPattern, WorkedExamplesCompileNodeForNode)
{
    TTextPattern star("a*b", 1);
    const std::vector<TPatternNode> starNodes = {
        {101, 1, 2, 5}, {97, 3, 2, 2}, {0, 1, 3, 1}, {98, 3, 4, 4}, {0, 1, 0, 0}};
    EXPECT_EQ(Nodes(star), starNodes);

    TTextPattern alternation("a|bc", 1);
    const std::vector<TPatternNode> alternationNodes = {{101, 1, 2, 7}, {97, 3, 5, 5}, {0, 1, 1, 3}, {98, 3, 4, 4},
                                                        {99, 3, 5, 5},  {0, 1, 6, 6},  {0, 1, 0, 0}};
    EXPECT_EQ(Nodes(alternation), alternationNodes);

    // A capture group selects the backtracking engine; a class lays out header, entries, join.
    TTextPattern capture("{[^a-cx]}", 0);
    const std::vector<TPatternNode> captureNodes = {{100, 1, 1, 8}, {0, 71, 2, 2}, {0, 5, 5, 1}, {97, 50, 99, 0},
                                                    {120, 51, 0, 0}, {0, 1, 6, 6}, {0, 72, 7, 7}, {0, 1, 0, 0}};
    EXPECT_EQ(Nodes(capture), captureNodes);

    // Behind another factor, a loop over a group that opens with an alternation stays
    // optional: x(a|b)* matches a lone x.
    EXPECT_EQ(Here("x(a|b)*", "x"), 1);
    EXPECT_EQ(Here("x(a*b)*", "xc"), 1);
    EXPECT_EQ(Here("x(a|b)?c", "xc"), 2);
    EXPECT_EQ(Here("x(a|b)*", "xabba"), 5);
}

TEST(TextPattern, SyntaxErrorsLeaveNothingCompiled)
{
    for (const char* bad : {"", "()", "a|", "|a", "*a", "a**", "a+*", "a?*", "a]", "{ab)", "(ab}", "(ab", "[^-a]",
                            "[-a]", "[a", "[a\nb]", "[a-]", "[a-", "[a/", "a/", "/o12", "/o8", "/x4", "/xg1", "/25",
                            "/2a", "/256", "[a-c-e]", "[a^-z]", "+", "a|*"}) {
        TTextPattern p;
        EXPECT_EQ(p.Set(bad, 1), 0) << bad;
        EXPECT_EQ(p.GetNodes(), nullptr) << bad;
        long at = -7;
        EXPECT_EQ(p.Find(&at, "a-b", 1, eMatchForward, nullptr, nullptr), -1) << bad;
        EXPECT_EQ(at, 1) << bad;
    }
    // A failed Set also drops what was compiled before; a default object is not valid.
    TTextPattern p("abc", 1);
    EXPECT_EQ(p.IsValid(), 1);
    EXPECT_EQ(p.Set("(", 1), 0);
    EXPECT_EQ(p.Find(nullptr, "abc", 0, eMatchHere, nullptr, nullptr), -1);
    EXPECT_EQ(TTextPattern().Find(nullptr, "", 0, eMatchHere, nullptr, nullptr), -1);
    EXPECT_EQ(p.Set(nullptr, 1), 0);
}

TEST(TextPattern, LanguageEdgeCases)
{
    // Longest match without captures, right alternative first with them.
    EXPECT_EQ(Here("ab|abc", "abc"), 3);
    EXPECT_EQ(Here("abc|ab", "abc"), 3);
    EXPECT_EQ(Here("{ab|abc}", "abc"), 3);
    EXPECT_EQ(Here("{abc|ab}", "abc"), 2);

    EXPECT_EQ(Here("a*?", "aa?"), 3);
    EXPECT_EQ(Here("a*?", "aa"), -1);
    EXPECT_EQ(Here("?a", "?a"), 2);
    EXPECT_EQ(Here("a??", "?"), 1);

    // A stray closing bracket ends the pattern at the top level.
    Found f = Search("ab)cd", "xabcd", 0, eMatchForward);
    EXPECT_EQ(f.length, 2);
    EXPECT_EQ(f.at, 1);

    EXPECT_EQ(Here("[a/-z]", "-"), 1);
    EXPECT_EQ(Here("[a/-z]", "z"), 1);
    EXPECT_EQ(Here("[a/-z]", "b"), -1);
    EXPECT_EQ(Here("[]", "a"), -1);
    EXPECT_EQ(Here("[^]", "\n"), 1);
    EXPECT_EQ(Here("[^]", ""), -1);
    // A ^ or $ inside a class adds nothing; escaped, they are characters.
    EXPECT_EQ(Here("[a^$]", "^"), -1);
    EXPECT_EQ(Here("[a/^/$]", "$"), 1);
    // Escapes within a class: e, n, t; the high bound of a range is not folded when escaped.
    EXPECT_EQ(Here("[/n]", "\n"), 1);
    EXPECT_EQ(Here("[a-/Z]", "b", 0, 0), -1);
    EXPECT_EQ(Here("[A-Z]", "q", 0, 0), 1);

    EXPECT_EQ(Here("abc$", "abc"), 3);
    EXPECT_EQ(Here("abc$", "abc\nx"), 3);
    EXPECT_EQ(Here("abc$", "abcd"), -1);
    f = Search("^$", "", 0, eMatchForward);
    EXPECT_EQ(f.length, 0);
    EXPECT_EQ(f.at, 0);
    EXPECT_EQ(Here("^b", "a\nb", 2), 1);
    EXPECT_EQ(Here("^b", "ab", 1), -1);

    EXPECT_EQ(Here(".", "\n"), -1);
    EXPECT_EQ(Here("[^a]", "\n"), 1);
    EXPECT_EQ(Here("a.c", "a\xff" "c"), 3);

    // Numeric escapes are stored unfolded, so they cannot match a folded text.
    EXPECT_EQ(Here("/065", "A", 0, 0), -1);
    EXPECT_EQ(Here("/065", "a", 0, 0), -1);
    EXPECT_EQ(Here("/065", "A"), 1);
    EXPECT_EQ(Here("/x41/o102/e/n/t//", "AB\x1b\n\t/"), 6);
    EXPECT_EQ(Here("/o777", "\xff"), 1);
    EXPECT_EQ(Here("/000", ""), -1);
    EXPECT_EQ(Here("/\\/(", "\\("), 2);
    EXPECT_EQ(Here("AbC", "aBc", 0, 0), 3);
    EXPECT_EQ(Here("AbC", "aBc"), -1);
    EXPECT_EQ(Here("[^a]", "A", 0, 0), -1);

    // The file name check: a drive, then backslash parts of allowed characters.
    const char* fileName = "[a-z]:(/\\[^<>:\"//|\\]+)+";
    EXPECT_EQ(Here(fileName, "C:\\dir\\name.txt", 0, 0), 15);
    EXPECT_EQ(Here(fileName, "c:\\dir\\", 0, 0), 6);
    EXPECT_EQ(Here(fileName, "c:", 0, 0), -1);
    EXPECT_EQ(Here(fileName, "c:\\a|b", 0, 0), 4);
    EXPECT_EQ(Here(fileName, "c:\\a/b", 0, 0), 4);
}

TEST(TextPattern, NamedClasses)
{
    EXPECT_EQ(Here("/b", "abc", 0), 0);
    EXPECT_EQ(Here("/b", "abc", 3), 0);
    EXPECT_EQ(Here("/b", "abc", 1), -1);
    EXPECT_EQ(Here("/b_", " _"), -1);
    EXPECT_EQ(Here("/w/W/d/D/s/S/l/L", "_ 5x\xff" "ab-"), 8);
    EXPECT_EQ(Here("/s/s/s/s", "\t \n\xff"), 4);
    // High bytes are neither letters nor digits, and no class matches the end of the text.
    for (const char* test : {"/w", "/d", "/l", "/s", "/W", "/D", "/S", "/L"}) {
        EXPECT_EQ(Here(test, ""), -1) << test;
        EXPECT_EQ(Here(test, "\xe9"), test[1] == 'w' || test[1] == 'd' || test[1] == 'l' || test[1] == 's' ? -1 : 1)
            << test;
    }
    // Named classes test the raw text whatever the case mode; a letter after the escape
    // that names no class is that letter.
    EXPECT_EQ(Here("/d+/q", "12q", 0, 0), 3);
    EXPECT_EQ(Here("/L", "Q", 0, 0), -1);
}

TEST(TextPattern, SearchModes)
{
    Found f = Search("a*", "bbb", 0, eMatchForward);
    EXPECT_EQ(f.length, 0);
    EXPECT_EQ(f.at, 0);
    EXPECT_EQ(f.reports, (std::vector<Report>{{0, 0, -1}}));
    f = Search("a*", "bbb", 0, eMatchAll);
    EXPECT_EQ(f.length, -1);
    EXPECT_EQ(f.at, 0);
    EXPECT_TRUE(f.reports.empty());

    f = Search("/d+", "a12b345", 0, eMatchAll);
    EXPECT_EQ(f.length, 2);
    EXPECT_EQ(f.at, 1);
    EXPECT_EQ(f.reports, (std::vector<Report>{{0, 1, 2}, {0, 4, 6}}));
    f = Search("/d+", "a12b345", 5, eMatchAll);
    EXPECT_EQ(f.reports, (std::vector<Report>{{0, 5, 6}}));

    f = Search("b", "abcb", 0, eMatchBackward);
    EXPECT_EQ(f.length, -1);
    EXPECT_EQ(f.at, 0);
    f = Search("b", "abcb", 3, eMatchBackward);
    EXPECT_EQ(f.length, 1);
    EXPECT_EQ(f.at, 1);
    EXPECT_EQ(f.reports, (std::vector<Report>{{0, 1, 1}}));

    // The terminator's position is tried forward only when the search starts there.
    EXPECT_EQ(Search("$", "ab", 1, eMatchForward).length, -1);
    f = Search("$", "ab", 2, eMatchForward);
    EXPECT_EQ(f.length, 0);
    EXPECT_EQ(f.at, 2);

    f = Search("b+", "abb", 1, eMatchHere);
    EXPECT_EQ(f.length, 2);
    EXPECT_TRUE(f.reports.empty());
    f = Search("b+", "abb", 0, eMatchHere);
    EXPECT_EQ(f.length, -1);
    EXPECT_EQ(f.at, 0);

    // A bad mode, a negative start and a start beyond the text find nothing.
    EXPECT_EQ(Search("a", "a", 0, static_cast<EMatchMode>(4)).length, -1);
    EXPECT_EQ(Search("a", "a", -1, eMatchForward).length, -1);
    EXPECT_EQ(Search("a", "a", -1, eMatchHere).length, -1);
    f = Search("a", "a", 5, eMatchAll);
    EXPECT_EQ(f.length, -1);
    EXPECT_EQ(f.at, 5);
    EXPECT_EQ(Search("a", "a", 5, eMatchBackward).length, -1);

    // Long texts take the path that skips impossible first characters; results must agree
    // with those of short texts.
    std::string text(200, 'x');
    text += "needle";
    text += std::string(100, 'y');
    text += "Needle";
    f = Search("needle|haystack", text.c_str(), 0, eMatchAll, 0);
    EXPECT_EQ(f.reports, (std::vector<Report>{{0, 200, 205}, {0, 306, 311}}));
    f = Search("ne+dle", text.c_str(), static_cast<long>(text.size()), eMatchBackward);
    EXPECT_EQ(f.at, 200);
    f = Search("y*", text.c_str(), 0, eMatchForward);
    EXPECT_EQ(f.length, 0);
    EXPECT_EQ(f.at, 0);
    f = Search("{y}y", text.c_str(), 0, eMatchAll);
    EXPECT_EQ(f.reports.size(), 50u);
}

TEST(TextPattern, CapturesAreReportedFromTheMatcher)
{
    Found f = Search("{a}{b}", "ab", 0, eMatchForward);
    EXPECT_EQ(f.reports, (std::vector<Report>{{0, 0, 0}, {1, 1, 1}}));
    // Inner before outer, once per pass of a loop, empty groups never.
    f = Search("x{a{b}c}", "xabc", 0, eMatchHere);
    EXPECT_EQ(f.length, 4);
    EXPECT_EQ(f.reports, (std::vector<Report>{{1, 2, 2}, {0, 1, 3}}));
    f = Search("{a}*{b*}", "aaa", 0, eMatchHere);
    EXPECT_EQ(f.reports, (std::vector<Report>{{0, 0, 0}, {0, 1, 1}, {0, 2, 2}}));
    f = Search("{a*}", "bab", 0, eMatchAll);
    EXPECT_EQ(f.length, 1);
    EXPECT_EQ(f.at, 1);
    EXPECT_EQ(f.reports, (std::vector<Report>{{0, 1, 1}}));
    // Failed attempts report nothing.
    f = Search("{a}c", "abac", 0, eMatchForward);
    EXPECT_EQ(f.at, 2);
    EXPECT_EQ(f.reports, (std::vector<Report>{{0, 2, 2}}));

    // Loops whose body can match nothing end.
    EXPECT_EQ(Here("{(a*)*}", "aaab"), 3);
    EXPECT_EQ(Here("{(a*)*}", "b"), 0);
    EXPECT_EQ(Here("{(a|b*)+}c", "abbc"), 4);
    EXPECT_EQ(Here("{(^|$)*}", ""), 0);
    EXPECT_EQ(Here("{(a?)+}b", "b"), 1);

    // The not marker: its nodes are plain links for backtracking and end a path in the
    // simulation.
    EXPECT_EQ(Here("{x}~a", "xa"), 2);
    EXPECT_EQ(Here("x~a", "xa"), -1);
    EXPECT_EQ(Here("x~a|xb", "xb"), 2);
    EXPECT_EQ(Here("~a*b", "ab"), -1);
}

TEST(TextPattern, OperatorTable)
{
    TTextPattern p;
    p.SetNoSpecialChar();
    EXPECT_EQ(p.Set("a.(b)*|[c", 1), 1);
    EXPECT_EQ(p.Find(nullptr, "a.(b)*|[c", 0, eMatchHere, nullptr, nullptr), 9);

    p.SetDosMode();
    EXPECT_EQ(p.Set("(a.*b?)", 0), 1);
    EXPECT_EQ(p.Find(nullptr, "(AxxB)", 0, eMatchHere, nullptr, nullptr), 6);
    EXPECT_EQ(p.Find(nullptr, "(Axx)", 0, eMatchHere, nullptr, nullptr), 5);
    EXPECT_EQ(p.Set("a/*", 1), 1);  // no escape character: '/' is a character
    EXPECT_EQ(p.Find(nullptr, "a///", 0, eMatchHere, nullptr, nullptr), 4);

    // Changes take effect at the next Set; a position outside the table is ignored.
    TTextPattern q;
    EXPECT_EQ(q.Set("a#b", 1), 1);
    q.SetSpecialChar(0, '#');
    q.SetSpecialChar(17, '*');
    q.SetSpecialChar(-1, '*');
    EXPECT_EQ(q.Find(nullptr, "b", 0, eMatchHere, nullptr, nullptr), -1);
    EXPECT_EQ(q.Set("a#b", 1), 1);
    EXPECT_EQ(q.Find(nullptr, "b", 0, eMatchHere, nullptr, nullptr), 1);
    EXPECT_EQ(q.Set("a|b", 1), 1);
    EXPECT_EQ(q.Find(nullptr, "a|b", 0, eMatchHere, nullptr, nullptr), 3);
    q.SetSpecialChar(9, '\\');
    EXPECT_EQ(q.Set("\\d/", 1), 1);
    EXPECT_EQ(q.Find(nullptr, "7/", 0, eMatchHere, nullptr, nullptr), 2);

    // The terminator is never an operator, whatever the table says.
    for (int position = 0; position < 17; ++position) {
        TTextPattern r;
        r.SetSpecialChar(position, 0);
        EXPECT_EQ(r.Set("ab", 1), 1) << position;
        EXPECT_EQ(r.Find(nullptr, "ab", 0, eMatchHere, nullptr, nullptr), 2) << position;
    }
}

TEST(TextPattern, LimitsGiveDefinedAnswers)
{
    // At most kMaxNodes nodes: header, characters, final node.
    TTextPattern p;
    EXPECT_EQ(p.Set(std::string(TTextPattern::kMaxNodes - 2, 'a').c_str(), 1), 1);
    EXPECT_EQ(p.GetNumNodes(), TTextPattern::kMaxNodes);
    EXPECT_EQ(p.Set(std::string(TTextPattern::kMaxNodes - 1, 'a').c_str(), 1), 0);
    // Every state active at once still fits the lists.
    std::string optional;
    for (int i = 0; i < 300; ++i)
        optional += ".?";
    EXPECT_EQ(Here(optional.c_str(), std::string(400, 'q').c_str()), 300);
    // All matches: more closures than the pass keeps, the rest found by walking.
    std::string optionalA;
    for (int i = 0; i < 200; ++i)
        optionalA += "a?";
    Found all = Search((optionalA + "b").c_str(), (std::string(300, 'a') + "b").c_str(), 0, eMatchAll);
    EXPECT_EQ(all.length, 201);
    EXPECT_EQ(all.at, 100);

    // Capture nesting up to 31, capture numbers up to 127, nesting of brackets up to 100.
    auto nested = [](const char* open, const char* close, int depth) {
        std::string s;
        for (int i = 0; i < depth; ++i)
            s += open;
        s += "a";
        for (int i = 0; i < depth; ++i)
            s += close;
        return s;
    };
    EXPECT_EQ(p.Set(nested("{", "}", 31).c_str(), 1), 1);
    EXPECT_EQ(p.Find(nullptr, "a", 0, eMatchHere, nullptr, nullptr), 1);
    EXPECT_EQ(p.Set(nested("{", "}", 32).c_str(), 1), 0);
    EXPECT_EQ(p.Set(nested("(", ")", 100).c_str(), 1), 1);
    EXPECT_EQ(p.Set(nested("(", ")", 101).c_str(), 1), 0);
    EXPECT_EQ(p.Set(nested("(", ")", 100000).c_str(), 1), 0);
    EXPECT_EQ(p.Set((std::string(100000, '~') + "a").c_str(), 1), 0);
    std::string groups;
    for (int i = 0; i < 128; ++i)
        groups += "{a}";
    EXPECT_EQ(p.Set(groups.c_str(), 1), 1);
    std::vector<Report> reports;
    EXPECT_EQ(p.Find(nullptr, std::string(128, 'a').c_str(), 0, eMatchHere, Collect, &reports), 128);
    ASSERT_EQ(reports.size(), 128u);
    EXPECT_EQ(reports.back(), Report(127, 127, 127));
    EXPECT_EQ(p.Set((groups + "{a}").c_str(), 1), 0);

    // Backtracking gives up beyond 4096 open choice points...
    const std::string many(5000, 'a');
    EXPECT_EQ(Here("{a*}", std::string(4000, 'a').c_str()), 4000);
    Found f = Search("{a*}", many.c_str(), 0, eMatchForward);
    EXPECT_EQ(f.length, -1);
    EXPECT_TRUE(f.reports.empty());
    // ...and when a search has used its steps; the simulation has no such limit.
    const std::string hard = std::string(40, 'a') + "cb";
    f = Search("{(a|a)*}b", hard.c_str(), 0, eMatchForward);
    EXPECT_EQ(f.length, -1);
    EXPECT_EQ(Search("(a|a)*b", hard.c_str(), 0, eMatchForward).at, 41);
    EXPECT_EQ(Here("a*", many.c_str()), 5000);
}

TEST(TextPattern, SeveralThreadsFindOnOneObject)
{
    const TTextPattern p("[a-z]+ing|{", 1);
    const TTextPattern q("[a-z]+ing|/d+", 1);
    std::string text;
    for (int i = 0; i < 200; ++i)
        text += "sing 12 walking x ";
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            for (int i = 0; i < 20; ++i) {
                std::vector<Report> reports;
                q.Find(nullptr, text.c_str(), 0, eMatchAll, Collect, &reports);
                wrong += reports.size() != 600 || p.Find(nullptr, "a", 0, eMatchAll, nullptr, nullptr) != -1;
            }
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(wrong, 0);
}

namespace {

// Random patterns of the language that TTextPattern shares with ECMAScript. Alternatives
// come out in both orders: the backtracking matcher tries the right one first, ECMAScript
// the left one.
struct RandomPattern {
    std::mt19937& random;
    std::string ours, ecma, ecmaReversed;
    bool loops;

    void Expression(int depth)
    {
        const int alternatives = random() % 4 == 0 ? 2 + static_cast<int>(random() % 2) : 1;
        std::vector<RandomPattern> parts;
        for (int i = 0; i < alternatives; ++i) {
            parts.push_back(RandomPattern{random, {}, {}, {}, false});
            parts.back().Term(depth);
        }
        for (int i = 0; i < alternatives; ++i) {
            const char* bar = i ? "|" : "";
            ours += bar + parts[i].ours;
            ecma += bar + parts[i].ecma;
            ecmaReversed += bar + parts[alternatives - 1 - i].ecmaReversed;
            loops = loops || parts[i].loops;
        }
    }
    void Term(int depth)
    {
        const int factors = 1 + static_cast<int>(random() % 3);
        for (int i = 0; i < factors; ++i)
            Factor(depth);
    }
    void Factor(int depth)
    {
        static const char* const atoms[] = {"a", "b", "c", "a", "b", ".", "[ab]", "[^a]", "[a-b]", "[^bc]"};
        // std::regex backtracks exponentially over nested loops: a loop over a group only
        // when nothing in the group loops.
        bool loops = false;
        if (depth < 2 && random() % 5 == 0) {
            RandomPattern inner{random, {}, {}, {}, false};
            inner.Expression(depth + 1);
            Append("(" + inner.ours + ")", "(" + inner.ecma + ")", "(" + inner.ecmaReversed + ")");
            loops = inner.loops;
        } else {
            const std::string atom = atoms[random() % (sizeof atoms / sizeof *atoms)];
            Append(atom, atom, atom);
        }
        static const char* const closures[] = {"", "", "", "*", "+", "?"};
        const std::string closure = loops ? "" : closures[random() % 6];
        Append(closure, closure, closure);
        this->loops = this->loops || loops || !closure.empty();
    }
    void Append(const std::string& a, const std::string& b, const std::string& c)
    {
        ours += a;
        ecma += b;
        ecmaReversed += c;
    }
};

std::string RandomText(std::mt19937& random)
{
    std::string text;
    for (int n = static_cast<int>(random() % 9); n > 0; --n)
        text += "abc\n"[random() % 4];
    return text;
}

}  // namespace

// Lengths of the match from each position: the simulation's longest match against the longest
// prefix that std::regex matches whole, and the backtracking matcher's first match against
// ECMAScript's, whose depth-first order is the same once the alternatives are reversed.
TEST(TextPattern, AgreesWithStdRegex)
{
    std::mt19937 random(20261123);
    for (int round = 0; round < 1500; ++round) {
        RandomPattern pattern{random, {}, {}, {}, false};
        pattern.Expression(0);
        const std::string text = RandomText(random);
        const std::regex longest(pattern.ecma, std::regex::ECMAScript);
        const std::regex first(pattern.ecmaReversed, std::regex::ECMAScript);
        TTextPattern simulation(pattern.ours.c_str(), 1);
        TTextPattern backtracking(("{" + pattern.ours + "}").c_str(), 1);
        ASSERT_TRUE(simulation.IsValid() && backtracking.IsValid()) << pattern.ours;
        for (long start = 0; start <= static_cast<long>(text.size()); ++start) {
            long expected = -1;
            for (long length = static_cast<long>(text.size()) - start; length >= 0 && expected < 0; --length)
                if (std::regex_match(text.begin() + start, text.begin() + start + length, longest))
                    expected = length;
            EXPECT_EQ(simulation.Find(nullptr, text.c_str(), start, eMatchHere, nullptr, nullptr), expected)
                << "pattern " << pattern.ours << " text '" << text << "' at " << start;

            std::smatch match;
            const long firstExpected = std::regex_search(text.begin() + start, text.end(), match, first,
                                                         std::regex_constants::match_continuous)
                                           ? static_cast<long>(match.length(0))
                                           : -1;
            std::vector<Report> reports;
            EXPECT_EQ(backtracking.Find(nullptr, text.c_str(), start, eMatchHere, Collect, &reports), firstExpected)
                << "pattern {" << pattern.ours << "} text '" << text << "' at " << start;
            if (firstExpected > 0) {
                EXPECT_EQ(reports.back(), Report(0, start, start + firstExpected - 1));
            }
        }
    }
}

// Every match in one pass against an attempt at each position in turn, on patterns with line
// and word tests (which the pass treats apart) and without, over texts long enough to skip
// impossible first characters.
TEST(TextPattern, AllMatchesAgreeWithAttemptsAtEachPosition)
{
    static const char* const pieces[] = {"a", "b", "ab", ".", "[a-b]", "[^b]", "/w", "/s", "/b", "^", "$",
                                         "(a|bb)", "(a|b|)", "a*", "b+", "[ab]?", "(ab)*", "A"};
    std::mt19937 random(4242);
    for (int round = 0; round < 1500; ++round) {
        std::string pattern;
        for (int n = 1 + static_cast<int>(random() % 4); n > 0; --n) {
            pattern += pieces[random() % (sizeof pieces / sizeof *pieces)];
            if (random() % 5 == 0)
                pattern += "|";
        }
        if (pattern.back() == '|')
            pattern += "a";
        std::string text;
        for (int n = static_cast<int>(random() % 70); n > 0; --n)
            text += "aab \nB"[random() % 6];
        const int caseSensitive = static_cast<int>(random() % 2);
        TTextPattern p(pattern.c_str(), caseSensitive);
        if (!p.IsValid())
            continue;
        const long start = text.empty() ? 0 : static_cast<long>(random() % (text.size() + 1));
        std::vector<Report> expected;
        for (long at = start; at < static_cast<long>(text.size());) {
            const long length = p.Find(nullptr, text.c_str(), at, eMatchHere, nullptr, nullptr);
            if (length > 0)
                expected.emplace_back(0, at, at + length - 1);
            at += length > 0 ? length : 1;
        }
        Found f = Search(p, text.c_str(), start, eMatchAll);
        EXPECT_EQ(f.reports, expected) << "pattern " << pattern << " text '" << text << "' from " << start;
        EXPECT_EQ(f.length, expected.empty() ? -1 : std::get<2>(expected[0]) - std::get<1>(expected[0]) + 1);
        EXPECT_EQ(f.at, expected.empty() ? start : std::get<1>(expected[0]));
    }
}

// The pass over all matches against an attempt at each position on long texts and patterns
// with many sets of active nodes: some texts run into new sets so fast that caching the steps
// does not pay, others so slowly that the cache fills up and starts again, several times.
// One pattern has more alternatives than the pass starts through its table of first steps.
TEST(TextPattern, AllMatchesAgreeOnLongTextsWithManyStates)
{
    std::mt19937 random(777);
    std::string manyAlternatives = "x(";
    for (int i = 0; i < 70; ++i) {
        manyAlternatives += i ? "|" : "";
        for (int n = 1 + static_cast<int>(random() % 4); n > 0; --n)
            manyAlternatives += "ab"[random() % 2];
    }
    manyAlternatives += ")";
    const std::string patterns[] = {"[ab]*a[ab][ab][ab][ab][ab][ab][ab][ab]", "(a|b)*a(a|b)(a|b)(a|b)(a|b)b+",
                                    "(aa|b)*a(ab|ba|b)(a|bb)?(b|ab)a", manyAlternatives.substr(1),
                                    manyAlternatives, "[a-b]+x?b"};
    for (const std::string& pattern : patterns) {
        for (int caseSensitive = 0; caseSensitive < 2; ++caseSensitive) {
            TTextPattern p(pattern.c_str(), caseSensitive);
            ASSERT_TRUE(p.IsValid()) << pattern;
            for (const bool dense : {true, false}) {
                std::string text;
                while (text.size() < (dense ? 3000u : 40000u)) {
                    for (int n = dense ? 50 : 1 + static_cast<int>(random() % 12); n > 0; --n)
                        text += random() % 16 == 0 ? 'x' : "abAB"[random() % (caseSensitive ? 2 : 4)];
                    if (!dense)
                        text.append(20 + random() % 100, " c\n"[random() % 3]);
                }
                std::vector<Report> expected;
                for (long at = 0; at < static_cast<long>(text.size());) {
                    const long length = p.Find(nullptr, text.c_str(), at, eMatchHere, nullptr, nullptr);
                    if (length > 0)
                        expected.emplace_back(0, at, at + length - 1);
                    at += length > 0 ? length : 1;
                }
                Found f = Search(p, text.c_str(), 0, eMatchAll);
                EXPECT_EQ(f.reports, expected) << "pattern " << pattern << (dense ? " dense" : " sparse");
                EXPECT_FALSE(expected.empty());
            }
        }
    }
}
