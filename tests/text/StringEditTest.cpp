#include <cstring>
#include <random>
#include <string>
#include <utility>

#include "StringTestSupport.h"

// Each edit runs on a text that another String shares: that holder keeps the old text, and
// an edit that changes nothing leaves the buffer shared.
TEST(StringEdit, EditsOfASharedText)
{
    NoLeak noLeak;
    const struct {
        std::string start;
        void (*edit)(String&);
        std::string expected;
    } cases[] = {
        {"abc", [](String& s) { s.Insert(1, "xyz", 2); }, "axybc"},
        {"abc", [](String& s) { s.Insert(1, s); }, "aabcbc"},
        {"abc", [](String& s) { s.Insert(0, String("123"), 2); }, "12abc"},
        {"abc", [](String& s) { s.Prepend(s); }, "abcabc"},
        {"abc", [](String& s) { s.Prepend('<', 2).Append('>', 1).Append("!").Append(String("?")); }, "<<abc>!?"},
        {"abc", [](String& s) { s += '\0'; }, std::string("abc\0", 4)},
        {"", [](String& s) { s.InsertMemory(0, "a\0b", 3); }, std::string("a\0b", 3)},
        {"abc", [](String& s) { s.Append('x', 0).Insert(1, "", kEnd).Remove(3, 1).Remove(0, 0).KeepLeft(3).KeepRight(3); }, "abc"},
        {"abc", [](String& s) { s.TrimRight().RemoveAll('z').Insert(1, s, 0).Insert(0, 'c', 0).Trim("x", 3); }, "abc"},
        {"abc", [](String& s) { s.KeepRight(0); }, ""},
        {"0123456789", [](String& s) { s.KeepMid(2, 3); }, "234"}, {"abc", [](String& s) { s.RemoveRight(1); }, "ab"},
        {"abc", [](String& s) { s.RemoveRight(3); }, ""}, {"banana", [](String& s) { s.RemoveAll('a'); }, "bnn"},
        {std::string("a\0b\0c", 5), [](String& s) { s.RemoveAll('\0'); }, "abc"},
        {"abc", [](String& s) { s.Replace(1, 1, s); }, "aabcc"},
        {"abc", [](String& s) { s.Replace(0, 2, String("Z")); }, "Zc"},
        {"hELLO wORLD", [](String& s) { s.MakeCapital(); }, "Hello world"},
        {"hELLO wORLD", [](String& s) { s.MakeUpper(); }, "HELLO WORLD"},
        {"hELLO wORLD", [](String& s) { s.MakeLower(); }, "hello world"},
        {"", [](String& s) { s.MakeUpper(), s.MakeLower(), s.MakeCapital(); }, ""},
        {"abcd", [](String& s) { s.Reverse(); }, "dcba"},
        {std::string("a\0b", 3), [](String& s) { s.Reverse(); }, std::string("b\0a", 3)},
        {" \t inner text\t \t", [](String& s) { s.Trim(); }, "inner text"}, {"     ", [](String& s) { s.Trim(); }, ""},
        {"\n  x  ", [](String& s) { s.TrimLeft(); }, "\n  x  "}, {"\n  x  ", [](String& s) { s.TrimRight(); }, "\n  x"},
        {"xxhixx", [](String& s) { s.Trim("x", 1); }, "hixx"}, {"xxhixx", [](String& s) { s.Trim("x", 2); }, "xxhi"},
    };
    for (const auto& c : cases) {
        String s(c.start.data(), 0, 0, c.start.size()), other(s);
        c.edit(s);
        EXPECT_EQ(c.expected, Text(s)) << c.start;
        EXPECT_EQ(c.start, Text(other)) << c.start;
        EXPECT_EQ(c.expected == c.start, s.c_str() == other.c_str()) << c.start;
        EXPECT_LT(s.length(), RefOf(s)->bufferSize) << c.start;
    }
    EXPECT_STREQ("", String().c_str());

    // Inserts grow to exactly the new length plus one; removals keep the size, and emptying
    // by RemoveRight gives the buffer up.
    String g("abc");
    g += "defgh";
    EXPECT_EQ(9u, RefOf(g)->bufferSize);
    g += 'i';
    EXPECT_EQ(10u, RefOf(g)->bufferSize);
    g.Remove(1, kEnd).KeepRight(0);
    EXPECT_EQ(10u, RefOf(g)->bufferSize);
    const unsigned long blocks = StringBlocks();
    g = "abc";
    g.RemoveRight(3);
    EXPECT_EQ(blocks - 1, StringBlocks());

    // Bytes from the String's own unshared buffer are copied before the buffer moves.
    String own("0123456789");
    own.Insert(10, own.c_str() + 2, 5);
    own.Replace(0, 1, own.c_str() + 14);
    EXPECT_EQ("612345678923456", Text(own));
}

TEST(StringEdit, Searches)
{
    const String hello("hello"), abc("abc"), zeros("a\0a\0a", 0, 0, 5);
    const char *text = "Hello World", *abcABC = "abcABC";
    const std::pair<long, long> cases[] = {
        {hello.FindFirst('L', 0), 2}, {hello.FindFirst('L', 1), -1}, {hello.FindLast('L', 0), 3},
        {hello.FindLast('l', 1), 3}, {String("aaa").FindLast("aa", 1), 1}, {String("aaa").FindLast("AA", 0), 1},
        {hello.FindFirst("LLO", 0), 2}, {hello.FindFirst("LLO", 1), -1}, {hello.FindFirst("", 1), 0},
        {hello.FindFirst("", 0), 0}, {hello.Contains("", 1), 1}, {hello.Contains("", 0), 1},
        {hello.Contains(String("ELL"), 0), 1}, {hello.Contains('z', 0), 0}, {hello.FindLast(String("l")), 3},
        // An empty needle matches last at the end, and the search ends.
        {hello.FindLast("", 1), 5}, {hello.FindLast("", 0), 5},
        {hello.FindOneOf("le"), 1}, {hello.FindOneOf("xyz"), -1}, {abc.FindFirstNotOf("ab", 0), 2},
        {abc.FindFirstNotOf("bc", 1), -1}, {abc.FindFirstNotOf("a", 3), -1}, {abc.FindFirstNotOf("a", kEnd), -1},
        {String("ab  ").FindLastNotOf(" "), 1}, {String("    ").FindLastNotOf(" "), -1},
        {String().FindLastNotOf(" "), -1},
        {stristr(text, "WORLD") - text, 6}, {stristr(text, "") - text, 0}, {stristr("", "a") == nullptr, 1},
        {stristr("Hell", "hello") == nullptr, 1}, {strristr(abcABC, "b") - abcABC, 4},
        {strristr(abcABC, "ABC") - abcABC, 3}, {strristr(abcABC, "x") == nullptr, 1},
        {String().GetLastChar(), 0}, {abc.GetLastChar(), 'c'}, {abc.GetFirstChar(), 'a'},
        {static_cast<long>(zeros.GetNumberOf('a')), 3}, {static_cast<long>(zeros.GetNumberOf('\0')), 2},
        {zeros.FindLast('a'), 0},  // searches stop at the first zero byte
    };
    for (size_t i = 0; i < sizeof cases / sizeof *cases; ++i)
        EXPECT_EQ(cases[i].second, cases[i].first) << "case " << i;
}

// Random edits applied to a String and to a std::string model must agree, a shared copy taken
// before each edit must keep the old text, and the heap must hold exactly the live buffers.
TEST(StringEdit, RandomEditsAgreeWithAModel)
{
    NoLeak noLeak;
    std::mt19937 random(20261122);
    auto pick = [&](unsigned long n) { return static_cast<unsigned long>(random() % n); };
    const char* pieces[] = {"", "a", "xyz", "Hello", "\t ", "0123456789abcdef"};
    String s;
    std::string model;
    for (int step = 0; step < 20000; ++step) {
        const String before(s);
        const std::string modelBefore = model;
        const unsigned long pos = pick(model.size() + 3), n = pick(6) == 0 ? kEnd : pick(8);
        const char* piece = pieces[pick(6)];
        const size_t at = std::min<size_t>(pos, model.size()), pieceLength = std::strlen(piece);
        const char c = static_cast<char>('A' + pick(26));
        switch (pick(10)) {
        case 0:
            s.Insert(pos, piece, n);
            model.insert(at, piece, std::min<size_t>(n, pieceLength));
            break;
        case 1:
            s.Insert(pos, c, n % 4);
            model.insert(at, n % 4, c);
            break;
        case 2:
            s.Remove(pos, n);
            model.erase(at, n);
            break;
        case 3:
            s.KeepLeft(n);
            model.resize(std::min<size_t>(n, model.size()));
            break;
        case 4:
            s.KeepRight(n);
            model.erase(0, model.size() - std::min<size_t>(n, model.size()));
            break;
        case 5:
            s.Replace(pos, n, piece);
            model.erase(at, n).insert(at, piece);
            break;
        case 6:
            s += piece;
            model += piece;
            break;
        case 7:
            n % 2 ? s.Prepend(piece) : s.Prepend(String(piece));
            model.insert(0, piece);
            break;
        case 8:
            s.Trim(" \t0", 3);
            model.erase(0, std::min(model.size(), model.find_first_not_of(" \t0")));
            model.erase(model.find_last_not_of(" \t0") + 1);
            break;
        default:
            if (model.size() > 200)
                s.Clear(), model.clear();
        }
        ASSERT_EQ(model, Text(s)) << "step " << step;
        ASSERT_EQ(0, s.c_str()[s.length()]);
        ASSERT_LT(s.length(), RefOf(s)->bufferSize);
        ASSERT_EQ(modelBefore, Text(before)) << "a shared buffer was written";
    }
}
