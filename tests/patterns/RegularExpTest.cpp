#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <new>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "patterns/RegularExp.h"
#include "text/TextString.h"

namespace {

// Index and length of the first match of pattern in text from start; the length is 99 when
// the call leaves it alone.
typedef std::pair<long, unsigned int> Hit;
const Hit kNone{-1, 0};

Hit Search(const char* pattern, const String& text, unsigned int start = 0)
{
    Hit h{0, 99};
    h.first = text.Find(TRegularExp(pattern), start, &h.second);
    return h;
}

// The matching rules as a direct recursion, the oracle of the random comparison below: an
// element is an anchor, or the characters it takes with its closure.
struct TElement {
    char anchor;  // '^', '$' or 0
    std::string takes;
    char closure;  // 0, '*', '+', '?'
};

long ReferenceMatch(const std::vector<TElement>& p, size_t i, const std::string& t, size_t at)
{
    if (i == p.size())
        return static_cast<long>(at);
    const TElement& e = p[i];
    const auto takes = [&](size_t k) { return k < t.size() && e.takes.find(t[k]) != std::string::npos; };
    if (e.anchor)
        return (e.anchor == '^' ? at == 0 : at == t.size() || t[at] == '\n') ? ReferenceMatch(p, i + 1, t, at) : -1;
    if (e.closure == 0)
        return takes(at) ? ReferenceMatch(p, i + 1, t, at + 1) : -1;
    if (e.closure == '?')
        return ReferenceMatch(p, i + 1, t, takes(at) ? at + 1 : at);
    size_t high = at;
    while (takes(high))
        ++high;
    const size_t low = e.closure == '+' ? at + 1 : at;
    if (i + 1 == p.size())
        return high < low ? -1 : static_cast<long>(high);
    for (size_t q = high + 1; q-- > low;)
        if (long r = ReferenceMatch(p, i + 1, t, q); r >= 0)
            return r;
    return -1;
}

Hit ReferenceFind(const std::vector<TElement>& p, const std::string& t)
{
    if (t.empty())
        return std::all_of(p.begin(), p.end(), [](const TElement& e) { return e.anchor != 0; }) ? Hit{0, 1} : kNone;
    for (size_t at = 0; at < t.size(); ++at)
        if (long end = ReferenceMatch(p, 0, t, at); end >= 0)
            return {static_cast<long>(at), at == 0 && end == 0 ? 1u : static_cast<unsigned int>(end - at)};
    return kNone;
}

}  // namespace

TEST(RegularExp, Statuses)
{
    // 127 bytes of compiled form fit beside the terminator, 128 do not; a closure adds one
    // byte, a class 17; a line feed ends the pattern.
    const std::string a127(127, 'a'), a126(126, 'a');
    const std::pair<std::string, TRegularExp::Status> cases[] = {
        {"", TRegularExp::StatusIllegal}, {"*a", TRegularExp::StatusIllegal}, {"+a", TRegularExp::StatusIllegal},
        {"?a", TRegularExp::StatusIllegal}, {"\nab", TRegularExp::StatusIllegal}, {"^*", TRegularExp::StatusTooLong},
        {"^+", TRegularExp::StatusTooLong}, {"a**", TRegularExp::StatusTooLong}, {"a+?", TRegularExp::StatusTooLong},
        {"a?*", TRegularExp::StatusTooLong}, {"[ab]*+", TRegularExp::StatusTooLong}, {"a", TRegularExp::StatusOk},
        {"^", TRegularExp::StatusOk}, {"$", TRegularExp::StatusOk}, {"^$", TRegularExp::StatusOk},
        {"a$*", TRegularExp::StatusOk}, {"a\n**", TRegularExp::StatusOk}, {"[abc", TRegularExp::StatusOk},
        {"\\", TRegularExp::StatusOk}, {"a\\x", TRegularExp::StatusOk}, {"\\*", TRegularExp::StatusOk},
        {"[]", TRegularExp::StatusOk}, {a127, TRegularExp::StatusOk}, {a127 + "a", TRegularExp::StatusTooLong},
        {a127 + "\nbbb", TRegularExp::StatusOk}, {a126 + "*", TRegularExp::StatusOk},
        {a126 + "*b", TRegularExp::StatusTooLong}, {std::string(110, 'a') + "[xy]", TRegularExp::StatusOk},
        {std::string(111, 'a') + "[xy]", TRegularExp::StatusTooLong},
    };
    for (const auto& [pattern, status] : cases)
        EXPECT_EQ(status, TRegularExp(pattern.c_str()).GetStatus()) << pattern;
    EXPECT_EQ(TRegularExp(nullptr).GetStatus(), TRegularExp::StatusIllegal);  // as an empty one
    EXPECT_EQ(Search((a126 + "*b").c_str(), "b"), kNone);                     // a bad pattern finds nothing
    EXPECT_EQ(Search((a126 + "+").c_str(), (a127 + "aa").c_str()), Hit(0, 129));
}

TEST(RegularExp, Matching)
{
    const struct {
        const char* pattern;
        std::string text;
        unsigned int start;
        Hit expected;
    } cases[] = {
        // Closures: `?` never gives back, `*` and `+` step back.
        {"a?ab", "ab", 0, kNone}, {"a*b", "aaab", 0, {0, 4}}, {"a*ab", "aaab", 0, {0, 4}}, {"a+", "baa", 0, {1, 2}},
        {"xa+a", "xa xaa", 0, {3, 3}}, {"a.*b", "a1b2b\nb", 0, {0, 5}},
        // An empty match has length 1 at the start of the search and 0 further on.
        {"b*", "aab", 0, {0, 1}}, {"b*", "aab", 1, {1, 1}}, {"a*", "aab", 0, {0, 2}}, {"$", "ab\ncd", 0, {2, 0}},
        // Anchors: `^` is the start of the search, `$` a line feed or the end.
        {"c$", "abc", 0, {2, 1}}, {"$", "abc", 0, kNone}, {"ab$", "ab\ncd", 0, {0, 2}}, {"a$\nzz", "ba", 0, {1, 1}},
        {"^abc", "xyzabc", 3, {3, 3}}, {"^abc", "xyzabc", 0, kNone}, {"^", "abc", 0, {0, 1}}, {"a$b", "xa$b", 0, {1, 3}},
        {"a^b", "a^b", 0, {0, 3}},
        // An empty text matches `^`, `$` and `^$` only; a start behind the end finds nothing.
        {"$", "", 0, {0, 1}}, {"^", "", 0, {0, 1}}, {"^$", "abc", 3, {3, 1}}, {"a*", "", 0, kNone}, {"a", "abc", 4, kNone},
        // `.` is no line feed, a negated class may be one.
        {".", "\nx", 0, {1, 1}}, {"[^a]", "\nx", 0, {0, 1}}, {"[^]", "\n", 0, {0, 1}}, {"[]", "a]", 0, kNone},
        // Classes: raw range ends, a reversed range without its lower end, no closing `]`.
        {"[a-c]+", "xabcd", 0, {1, 3}}, {"[c-a]+", "abcd", 0, {1, 2}}, {"[abc", "xcb[", 0, {1, 1}},
        {"[-a]+", "x-a", 0, {1, 2}}, {"[a-", "x-", 0, {1, 1}}, {"[a-]x]+", "^_`ax]b", 0, {0, 5}},
        {"[\\]]", "a]", 0, {1, 1}}, {"[\\n-p]+", "no\np", 0, {1, 3}},
        // Escapes, either case; a pattern ending in a backslash has a literal one.
        {"\\N\\n", "a\n\nb", 0, {1, 2}}, {"\\b\\S\\T\\F\\r", "ab \t\f\r", 0, {1, 5}},
        {"\\x41\\x4g\\X7e", "zA\x04g~", 0, {1, 4}}, {"a\\", "xa\\", 0, {1, 2}}, {"[a\\", "\\", 0, {0, 1}},
        // A zero byte or one at or above 128 in a pattern matches nothing; text bytes at or above
        // 128 meet a class by their low seven bits and never a literal.
        {"a\\x", "a", 0, kNone}, {"\\xAA*b", "\xAA\xAA" "b", 0, {2, 1}}, {"\xDB", "\xDB", 0, kNone},
        {"a", "\xE1" "a", 0, {1, 1}}, {"[a]..[\\x7f]", "\xE1\xFF\x80\xFF", 0, {0, 4}}, {"[^a]", "\xE1\xE2", 0, {1, 1}},
        // The text ends at its first zero byte.
        {"c", std::string("ab\0cd", 5), 0, kNone}, {"c", std::string("ab\0cd", 5), 3, {3, 1}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(Search(c.pattern, String(c.text.data(), 0, 0, c.text.size()), c.start), c.expected)
            << "pattern '" << c.pattern << "' start " << c.start;
}

TEST(RegularExp, CopiesAndStringOverloads)
{
    const String text("one tree three");
    TRegularExp* source = new TRegularExp("t[a-z]+e");
    const TRegularExp copy(*source);
    delete source;  // the copy owns a buffer of its own
    unsigned int length = 99;
    EXPECT_TRUE(copy.GetStatus() == TRegularExp::StatusOk && text.Find(copy, 0u, &length) == 4 && length == 4);
    EXPECT_TRUE(text.Find(copy) == 4 && text.Find(copy, 5ul) == 9 && copy.Find(text, nullptr, 10) == -1);
    EXPECT_EQ(text.Find(copy, static_cast<unsigned long>(-1)), -1);
    EXPECT_EQ(text.Find(copy, static_cast<unsigned long>(UINT_MAX) + 1), sizeof(long) > 4 ? -1 : 4) << "no wrap to 0";
    for (const char* bad : {"*", "a**"}) {
        const TRegularExp badSource(bad), badCopy(badSource);
        length = 99;
        EXPECT_TRUE(badCopy.GetStatus() == badSource.GetStatus() && text.Find(badCopy, 0u, &length) == -1 && !length);
    }
}

#if !defined(_WIN32)
// The non-throwing operator new of this program, which fails on request; a shared library
// on Linux binds to it. Windows DLLs keep their own, so the test is for Linux only.
namespace {
thread_local bool failNothrowNew = false;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    if (failNothrowNew)
        return nullptr;
    try {
        return ::operator new(size);
    } catch (...) {
        return nullptr;
    }
}

TEST(RegularExp, NoBuffer)
{
    const TRegularExp ok("ab");
    failNothrowNew = true;
    const TRegularExp none("ab"), illegal("*ab"), copy(ok);  // the pattern is judged before the buffer
    failNothrowNew = false;
    const TRegularExp copyOfNone(none);
    for (const TRegularExp* re : {&none, &copy, &copyOfNone}) {
        unsigned int length = 99;
        EXPECT_TRUE(re->GetStatus() == TRegularExp::StatusNoBuffer && re->Find("ab", &length, 0) == -1 && !length);
    }
    EXPECT_EQ(illegal.GetStatus(), TRegularExp::StatusIllegal);
    EXPECT_EQ(TRegularExp(illegal).GetStatus(), TRegularExp::StatusIllegal);
}
#endif

// Random patterns of literals, `.`, classes, anchors and closures against the rules as a
// direct recursion, on short texts of few letters where stepping back matters.
TEST(RegularExp, AgreesWithReferenceMatcher)
{
    std::mt19937 random(20240611);
    const char* const atoms[][2] = {{"a", "a"}, {"b", "b"}, {".", "abc"}, {"[ab]", "ab"}, {"[^a]", "bc\n"}, {"\\n", "\n"}};
    const char closures[] = {0, 0, '*', '+', '?'};
    for (int round = 0; round < 20000; ++round) {
        std::string source, text;
        std::vector<TElement> parsed;
        if (random() % 4 == 0)
            source += '^', parsed.push_back({'^', "", 0});
        for (int n = 1 + static_cast<int>(random() % 5); n > 0; --n) {
            const auto& atom = atoms[random() % 6];
            parsed.push_back({0, atom[1], closures[random() % 5]});
            source += atom[0] + std::string(parsed.back().closure ? 1 : 0, parsed.back().closure);
        }
        if (random() % 4 == 0)
            source += '$', parsed.push_back({'$', "", 0});
        for (int n = static_cast<int>(random() % 10); n > 0; --n)
            text += "aab\nc"[random() % 5];
        const unsigned int start = static_cast<unsigned int>(random() % (text.size() + 1));
        const Hit expected = ReferenceFind(parsed, text.substr(start));
        ASSERT_EQ(Search(source.c_str(), text.c_str(), start),
                  expected.first < 0 ? kNone : Hit(expected.first + static_cast<long>(start), expected.second))
            << "pattern '" << source << "' text '" << text << "' start " << start;
    }
}

// Nested closures over long runs would take time of a high power of the text length, and
// hang the suite, if every step-back were tried anew; the recursion stays as deep as the
// closures are many.
TEST(RegularExp, LongTextsStayLinear)
{
    const String text((std::string(1 << 18, 'a') + "\nab").c_str());
    std::string closures63;
    for (int i = 0; i < 63; ++i)
        closures63 += i < 62 ? "a*" : "a*c";
    for (const char* pattern : {"a*a*a*a*c", ".*.*.*.*x", closures63.c_str(), "^.*.*b"})
        EXPECT_EQ(Search(pattern, text), kNone) << pattern;
    EXPECT_EQ(Search("[a-z]+b", text), Hit((1 << 18) + 1, 2));
    EXPECT_EQ(Search("a+a+a+\\n", text), Hit(0, (1 << 18) + 1));
}
