#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <new>
#include <random>
#include <string>
#include <vector>

#include "patterns/RegularExp.h"
#include "text/TextString.h"

namespace {

// Index and length of the first match of pattern in text from start; the length is 99 when
// the call leaves it alone.
struct Hit {
    long index;
    unsigned int length;
    bool operator==(const Hit& o) const { return index == o.index && length == o.length; }
};

std::ostream& operator<<(std::ostream& os, const Hit& h)
{
    return os << "(" << h.index << ", " << h.length << ")";
}

Hit Search(const char* pattern, const String& text, unsigned int start = 0)
{
    TRegularExp re(pattern);
    Hit h{0, 99};
    h.index = text.Find(re, start, &h.length);
    return h;
}

const Hit kNone{-1, 0};

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
    if (e.anchor) {
        const bool holds = e.anchor == '^' ? at == 0 : at == t.size() || t[at] == '\n';
        return holds ? ReferenceMatch(p, i + 1, t, at) : -1;
    }
    if (e.closure == 0)
        return takes(at) ? ReferenceMatch(p, i + 1, t, at + 1) : -1;
    if (e.closure == '?')
        return ReferenceMatch(p, i + 1, t, takes(at) ? at + 1 : at);
    size_t high = at;
    while (takes(high))
        ++high;
    const size_t low = e.closure == '+' ? at + 1 : at;
    if (high < low)
        return -1;
    if (i + 1 == p.size())
        return static_cast<long>(high);
    for (size_t q = high + 1; q-- > low;)
        if (long r = ReferenceMatch(p, i + 1, t, q); r >= 0)
            return r;
    return -1;
}

Hit ReferenceFind(const std::vector<TElement>& p, const std::string& t)
{
    if (t.empty()) {
        bool anchorsOnly = true;
        for (const TElement& e : p)
            anchorsOnly = anchorsOnly && e.anchor;
        return anchorsOnly ? Hit{0, 1} : kNone;
    }
    for (size_t at = 0; at < t.size(); ++at)
        if (long end = ReferenceMatch(p, 0, t, at); end >= 0)
            return {static_cast<long>(at), at == 0 && end == 0 ? 1u : static_cast<unsigned int>(end - at)};
    return kNone;
}

}  // namespace

TEST(RegularExp, Statuses)
{
    for (const char* illegal : {"", "*a", "+a", "?a", "\nab"})
        EXPECT_EQ(TRegularExp(illegal).GetStatus(), TRegularExp::StatusIllegal) << illegal;
    EXPECT_EQ(TRegularExp(nullptr).GetStatus(), TRegularExp::StatusIllegal);  // as an empty one
    for (const char* tooLong : {"^*", "^+", "a**", "a+?", "a?*", "[ab]*+"})
        EXPECT_EQ(TRegularExp(tooLong).GetStatus(), TRegularExp::StatusTooLong) << tooLong;
    for (const char* ok : {"a", "^", "$", "^$", "a$*", "a\n**", "[abc", "\\", "a\\x", "\\*", "[]"})
        EXPECT_EQ(TRegularExp(ok).GetStatus(), TRegularExp::StatusOk) << ok;

    // 127 bytes of compiled form fit beside the terminator, 128 do not; a closure adds one
    // byte, a class 17.
    const std::string a127(127, 'a'), a126(126, 'a');
    EXPECT_EQ(TRegularExp(a127.c_str()).GetStatus(), TRegularExp::StatusOk);
    EXPECT_EQ(TRegularExp((a127 + "a").c_str()).GetStatus(), TRegularExp::StatusTooLong);
    EXPECT_EQ(TRegularExp((a127 + "\nbbb").c_str()).GetStatus(), TRegularExp::StatusOk);
    EXPECT_EQ(TRegularExp((a126 + "*").c_str()).GetStatus(), TRegularExp::StatusOk);
    EXPECT_EQ(TRegularExp((a126 + "*b").c_str()).GetStatus(), TRegularExp::StatusTooLong);
    EXPECT_EQ(TRegularExp((std::string(110, 'a') + "[xy]").c_str()).GetStatus(), TRegularExp::StatusOk);
    EXPECT_EQ(TRegularExp((std::string(111, 'a') + "[xy]").c_str()).GetStatus(), TRegularExp::StatusTooLong);
    EXPECT_EQ(Search((a126 + "*b").c_str(), "b"), kNone);  // a bad pattern finds nothing
    EXPECT_EQ(Search((a126 + "+").c_str(), (a127 + "aa").c_str()), (Hit{0, 129}));
}

TEST(RegularExp, Matching)
{
    struct Case {
        const char* pattern;
        std::string text;
        unsigned int start;
        Hit expected;
    };
    const Case cases[] = {
        // Closures: `?` never gives back, `*` and `+` step back.
        {"a?ab", "ab", 0, kNone},
        {"a*b", "aaab", 0, {0, 4}},
        {"a*ab", "aaab", 0, {0, 4}},
        {"a+", "baa", 0, {1, 2}},
        {"xa+a", "xa xaa", 0, {3, 3}},
        {"a.*b", "a1b2b\nb", 0, {0, 5}},
        // An empty match has length 1 at the start of the search and 0 further on.
        {"b*", "aab", 0, {0, 1}},
        {"b*", "aab", 1, {1, 1}},
        {"a*", "aab", 0, {0, 2}},
        {"$", "ab\ncd", 0, {2, 0}},
        // Anchors: `^` is the start of the search, `$` a line feed or the end.
        {"c$", "abc", 0, {2, 1}},
        {"$", "abc", 0, kNone},
        {"ab$", "ab\ncd", 0, {0, 2}},
        {"a$\nzz", "ba", 0, {1, 1}},
        {"^abc", "xyzabc", 3, {3, 3}},
        {"^abc", "xyzabc", 0, kNone},
        {"^", "abc", 0, {0, 1}},
        {"a$b", "xa$b", 0, {1, 3}},
        {"a^b", "a^b", 0, {0, 3}},
        // An empty text matches `^`, `$` and `^$` only; a start behind the end finds nothing.
        {"$", "", 0, {0, 1}},
        {"^", "", 0, {0, 1}},
        {"^$", "abc", 3, {3, 1}},
        {"a*", "", 0, kNone},
        {"a", "abc", 4, kNone},
        // `.` is no line feed, a negated class may be one.
        {".", "\nx", 0, {1, 1}},
        {"[^a]", "\nx", 0, {0, 1}},
        {"[^]", "\n", 0, {0, 1}},
        {"[]", "a]", 0, kNone},
        // Classes: raw range ends, a reversed range without its lower end, no closing `]`.
        {"[a-c]+", "xabcd", 0, {1, 3}},
        {"[c-a]+", "abcd", 0, {1, 2}},
        {"[abc", "xcb[", 0, {1, 1}},
        {"[-a]+", "x-a", 0, {1, 2}},
        {"[a-", "x-", 0, {1, 1}},
        {"[a-]x]+", "^_`ax]b", 0, {0, 5}},
        {"[\\]]", "a]", 0, {1, 1}},
        {"[\\n-p]+", "no\np", 0, {1, 3}},
        // Escapes, either case; a pattern ending in a backslash has a literal one.
        {"\\N\\n", "a\n\nb", 0, {1, 2}},
        {"\\b\\S\\T\\F\\r", "ab \t\f\r", 0, {1, 5}},
        {"\\x41\\x4g\\X7e", "zA\x04g~", 0, {1, 4}},
        {"a\\", "xa\\", 0, {1, 2}},
        {"[a\\", "\\", 0, {0, 1}},
        // A zero byte or one at or above 128 in a pattern matches nothing.
        {"a\\x", "a", 0, kNone},
        {"\\xAA*b", "\xAA\xAA" "b", 0, {2, 1}},
        {"\xDB", "\xDB", 0, kNone},
        // Text bytes at or above 128: a class by the low seven bits, never a literal.
        {"a", "\xE1" "a", 0, {1, 1}},
        {"[a]..[\\x7f]", "\xE1\xFF\x80\xFF", 0, {0, 4}},
        {"[^a]", "\xE1\xE2", 0, {1, 1}},
        // The text ends at its first zero byte.
        {"c", std::string("ab\0cd", 5), 0, kNone},
        {"c", std::string("ab\0cd", 5), 3, {3, 1}},
    };
    for (const Case& c : cases)
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
    EXPECT_EQ(copy.GetStatus(), TRegularExp::StatusOk);
    EXPECT_EQ(text.Find(copy, 0u, &length), 4);
    EXPECT_EQ(length, 4u);
    EXPECT_EQ(text.Find(copy), 4);
    EXPECT_EQ(text.Find(copy, 5ul), 9);
    EXPECT_EQ(copy.Find(text, nullptr, 10), -1);
    EXPECT_EQ(text.Find(copy, static_cast<unsigned long>(-1)), -1);
    if (sizeof(unsigned long) > sizeof(unsigned int)) {  // must not wrap to a start of 0
        EXPECT_EQ(text.Find(copy, static_cast<unsigned long>(UINT_MAX) + 1), -1);
    }

    for (const char* bad : {"*", "a**"}) {
        const TRegularExp badSource(bad);
        const TRegularExp badCopy(badSource);
        EXPECT_EQ(badCopy.GetStatus(), badSource.GetStatus());
        length = 99;
        EXPECT_EQ(text.Find(badCopy, 0u, &length), -1);
        EXPECT_EQ(length, 0u);
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
    const TRegularExp none("ab");
    const TRegularExp illegal("*ab");  // the pattern is judged before the buffer
    const TRegularExp copy(ok);
    failNothrowNew = false;
    EXPECT_EQ(none.GetStatus(), TRegularExp::StatusNoBuffer);
    EXPECT_EQ(illegal.GetStatus(), TRegularExp::StatusIllegal);
    EXPECT_EQ(copy.GetStatus(), TRegularExp::StatusNoBuffer);
    unsigned int length = 99;
    EXPECT_EQ(none.Find("ab", &length, 0), -1);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(String("ab").Find(copy), -1);
    // A copy of an object without a buffer has none either, and the same status.
    const TRegularExp copyOfNone(none);
    EXPECT_EQ(copyOfNone.GetStatus(), TRegularExp::StatusNoBuffer);
    EXPECT_EQ(TRegularExp(illegal).GetStatus(), TRegularExp::StatusIllegal);
}
#endif

// Random patterns of literals, `.`, classes, anchors and closures against the rules as a
// direct recursion, on short texts of few letters where stepping back matters.
TEST(RegularExp, AgreesWithReferenceMatcher)
{
    std::mt19937 random(20240611);
    const char* const atoms[][2] = {{"a", "a"}, {"b", "b"}, {".", "abc"}, {"[ab]", "ab"}, {"[^a]", "bc\n"},
                                    {"\\n", "\n"}};
    const char closures[] = {0, 0, '*', '+', '?'};
    for (int round = 0; round < 20000; ++round) {
        std::string source;
        std::vector<TElement> parsed;
        if (random() % 4 == 0) {
            source += '^';
            parsed.push_back({'^', "", 0});
        }
        for (int n = 1 + static_cast<int>(random() % 5); n > 0; --n) {
            const auto& atom = atoms[random() % 6];
            parsed.push_back({0, atom[1], closures[random() % 5]});
            source += atom[0];
            if (parsed.back().closure)
                source += parsed.back().closure;
        }
        if (random() % 4 == 0) {
            source += '$';
            parsed.push_back({'$', "", 0});
        }
        std::string text;
        for (int n = static_cast<int>(random() % 10); n > 0; --n)
            text += "aab\nc"[random() % 5];
        const unsigned int start = static_cast<unsigned int>(random() % (text.size() + 1));
        const Hit expected = ReferenceFind(parsed, text.substr(start));
        ASSERT_EQ(Search(source.c_str(), text.c_str(), start),
                  (expected.index < 0 ? kNone : Hit{expected.index + static_cast<long>(start), expected.length}))
            << "pattern '" << source << "' text '" << text << "' start " << start;
    }
}

// Nested closures over long runs would take time of a high power of the text length if
// every step-back were tried anew; the recursion stays as deep as the closures are many.
TEST(RegularExp, LongTextsStayLinear)
{
    const std::string run(1 << 18, 'a');
    const String text((run + "\nab").c_str());
    std::string closures63;
    for (int i = 0; i < 63; ++i)
        closures63 += "a*";
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Search("a*a*a*a*c", text), kNone);
    EXPECT_EQ(Search(".*.*.*.*x", text), kNone);
    EXPECT_EQ(Search((closures63 + "c").c_str(), text), kNone);
    EXPECT_EQ(Search("[a-z]+b", text), (Hit{(1 << 18) + 1, 2}));
    EXPECT_EQ(Search("a+a+a+\\n", text), (Hit{0, (1 << 18) + 1}));
    EXPECT_EQ(Search("^.*.*b", text), kNone);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}
