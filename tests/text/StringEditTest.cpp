#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "StringTestSupport.h"

namespace {
const unsigned long kEnd = static_cast<unsigned long>(-1);
}

TEST(StringEdit, InsertClampsAndGrowsExactly)
{
    NoLeak noLeak;
    String s("abc");
    s.Insert(100, "x");
    EXPECT_STREQ("abcx", s.c_str());
    String t("abc");
    t.Insert(1, "xyz", 2);
    EXPECT_STREQ("axybc", t.c_str());
    String self("abc");
    self.Insert(1, self);
    EXPECT_STREQ("aabcbc", self.c_str());
    String partial("abc");
    partial.Insert(0, String("123"), 2);
    EXPECT_STREQ("12abc", partial.c_str());

    String g("abc");
    EXPECT_EQ(8u, RefOf(g)->bufferSize);
    g += "defgh";
    EXPECT_EQ(9u, RefOf(g)->bufferSize) << "inserts grow to exactly the new length plus one";
    g += 'i';
    EXPECT_EQ(10u, RefOf(g)->bufferSize);
    g += '\0';
    EXPECT_EQ(10u, g.length()) << "a zero character is inserted like any other";
    g.Prepend('<', 2).Append('>', 1);
    EXPECT_EQ(13u, g.length());
    EXPECT_EQ(0, std::memcmp("<<abcdefghi\0>", g.c_str(), 14));

    String bytes;
    bytes.InsertMemory(0, "a\0b", 3);
    EXPECT_EQ(3u, bytes.length());
    // Bytes from the String's own buffer are copied before the buffer moves.
    String own("0123456789");
    own.Insert(10, own.c_str() + 2, 5);
    EXPECT_STREQ("012345678923456", own.c_str());
    own.Replace(0, 1, own.c_str() + 14);
    EXPECT_STREQ("612345678923456", own.c_str());
}

TEST(StringEdit, EditsThatChangeNothingKeepTheBufferShared)
{
    NoLeak noLeak;
    String a("abc");
    String b(a);
    const unsigned long blocks = StringBlocks();
    b.Append('x', 0);
    b.Insert(1, "", kEnd);
    b.Remove(3, 1);
    b.Remove(0, 0);
    b.KeepLeft(3);
    b.KeepRight(3);
    b.TrimRight();
    b.RemoveAll('z');
    b.Reverse();  // changes the text, so it unshares
    EXPECT_STREQ("abc", a.c_str());
    EXPECT_STREQ("cba", b.c_str());
    EXPECT_EQ(blocks + 1, StringBlocks());

    String c(a);
    c.Remove(1, 1);
    EXPECT_STREQ("ac", c.c_str());
    EXPECT_STREQ("abc", a.c_str());
    EXPECT_EQ(1u, RefOf(a)->refCount);
}

TEST(StringEdit, RemoveKeepAndReplace)
{
    NoLeak noLeak;
    String s("abc");
    s.Remove(1, kEnd);
    EXPECT_STREQ("a", s.c_str());
    EXPECT_EQ(8u, RefOf(s)->bufferSize);

    String k("abc");
    k.KeepLeft(3);
    EXPECT_STREQ("abc", k.c_str());
    String shared(k);
    shared.KeepRight(0);
    EXPECT_STREQ("", shared.c_str());
    EXPECT_EQ(8u, RefOf(shared)->bufferSize);
    EXPECT_EQ(1u, RefOf(shared)->refCount) << "emptied in a private buffer";
    EXPECT_STREQ("abc", k.c_str());

    String mid("0123456789");
    mid.KeepMid(2, 3);
    EXPECT_STREQ("234", mid.c_str());

    const unsigned long blocks = StringBlocks();
    String r("abc");
    r.RemoveRight(3);
    EXPECT_STREQ("", r.c_str());
    EXPECT_EQ(blocks, StringBlocks()) << "RemoveRight of everything gives the buffer up";
    String r2("abc");
    r2.RemoveRight(1);
    EXPECT_STREQ("ab", r2.c_str());

    String banana("banana");
    String other(banana);
    other.RemoveAll('a');
    EXPECT_STREQ("bnn", other.c_str());
    EXPECT_STREQ("banana", banana.c_str());
    String zeros("a\0b\0c", 0, 0, 5);
    zeros.RemoveAll('\0');
    EXPECT_STREQ("abc", zeros.c_str());
    EXPECT_EQ(3u, zeros.length());

    String rep("abc");
    rep.Replace(1, 1, "XY");
    EXPECT_STREQ("aXYc", rep.c_str());
    String rep2("abc");
    rep2.Replace(9, 1, "X");
    EXPECT_STREQ("abcX", rep2.c_str());
    String rep3("abc");
    rep3.Replace(1, 1, rep3);
    EXPECT_STREQ("aabcc", rep3.c_str());
}

TEST(StringEdit, CaseOrderAndTrim)
{
    NoLeak noLeak;
    String cap("hELLO wORLD");
    String capCopy(cap);
    cap.MakeCapital();
    EXPECT_STREQ("Hello world", cap.c_str());
    EXPECT_STREQ("hELLO wORLD", capCopy.c_str());
    capCopy.MakeUpper();
    EXPECT_STREQ("HELLO WORLD", capCopy.c_str());
    capCopy.MakeLower();
    EXPECT_STREQ("hello world", capCopy.c_str());
    String empty;
    empty.MakeUpper();
    empty.MakeCapital();
    EXPECT_STREQ("", String().c_str());

    String rev("abcd");
    rev.Reverse();
    EXPECT_STREQ("dcba", rev.c_str());
    String revBytes("a\0b", 0, 0, 3);
    revBytes.Reverse();
    EXPECT_EQ(0, std::memcmp("b\0a", revBytes.c_str(), 4)) << "Reverse works by length";

    String t(" \t inner text\t \t");
    t.Trim();
    EXPECT_STREQ("inner text", t.c_str());
    EXPECT_EQ(10u, t.length());
    String spaces("     ");
    spaces.Trim();
    EXPECT_STREQ("", spaces.c_str());
    EXPECT_EQ(0u, spaces.length());
    String lineEnd("\n  x  ");
    lineEnd.TrimLeft();
    EXPECT_STREQ("\n  x  ", lineEnd.c_str());
    lineEnd.TrimRight();
    EXPECT_STREQ("\n  x", lineEnd.c_str());
    String custom("xxhixx");
    custom.Trim("x", 1);
    EXPECT_STREQ("hixx", custom.c_str());
    custom.Trim("x", 2);
    EXPECT_STREQ("hi", custom.c_str());
}

TEST(StringEdit, ReadingCharacters)
{
    EXPECT_EQ(0, String().GetLastChar());
    EXPECT_EQ('c', String("abc").GetLastChar());
    EXPECT_EQ('a', String("abc").GetFirstChar());
    const String bytes("a\0a\0a", 0, 0, 5);
    EXPECT_EQ(3u, bytes.GetNumberOf('a'));
    EXPECT_EQ(2u, bytes.GetNumberOf('\0'));
    EXPECT_EQ(0, bytes.FindLast('a')) << "searches stop at the first zero byte";
}

TEST(StringEdit, Searches)
{
    const String hello("hello");
    EXPECT_EQ(2, hello.FindFirst('L', 0));
    EXPECT_EQ(-1, hello.FindFirst('L', 1));
    EXPECT_EQ(3, hello.FindLast('L', 0));
    EXPECT_EQ(3, hello.FindLast('l', 1));
    EXPECT_EQ(1, String("aaa").FindLast("aa", 1));
    EXPECT_EQ(1, String("aaa").FindLast("AA", 0));
    EXPECT_EQ(2, hello.FindFirst("LLO", 0));
    EXPECT_EQ(-1, hello.FindFirst("LLO", 1));
    EXPECT_EQ(0, hello.FindFirst("", 1));
    EXPECT_EQ(0, hello.FindFirst("", 0));
    EXPECT_TRUE(hello.Contains("", 1));
    EXPECT_TRUE(hello.Contains("", 0));
    EXPECT_TRUE(hello.Contains(String("ELL"), 0));
    EXPECT_FALSE(hello.Contains('z', 0));
    // An empty needle matches last at the end, and the search ends.
    EXPECT_EQ(5, hello.FindLast("", 1));
    EXPECT_EQ(5, hello.FindLast("", 0));

    EXPECT_EQ(1, hello.FindOneOf("le"));
    EXPECT_EQ(-1, hello.FindOneOf("xyz"));
    const String abc("abc");
    EXPECT_EQ(2, abc.FindFirstNotOf("ab", 0));
    EXPECT_EQ(-1, abc.FindFirstNotOf("bc", 1));
    EXPECT_EQ(-1, abc.FindFirstNotOf("a", 3));
    EXPECT_EQ(-1, abc.FindFirstNotOf("a", kEnd));
    EXPECT_EQ(1, String("ab  ").FindLastNotOf(" "));
    EXPECT_EQ(-1, String("    ").FindLastNotOf(" "));
    EXPECT_EQ(-1, String().FindLastNotOf(" "));

    const char* text = "Hello World";
    EXPECT_EQ(text + 6, stristr(text, "WORLD"));
    EXPECT_EQ(text, stristr(text, ""));
    EXPECT_EQ(nullptr, stristr("", "a"));
    EXPECT_EQ(nullptr, stristr("Hell", "hello"));
    const char* abcABC = "abcABC";
    EXPECT_EQ(abcABC + 4, strristr(abcABC, "b"));
    EXPECT_EQ(abcABC + 3, strristr(abcABC, "ABC"));
    EXPECT_EQ(nullptr, strristr(abcABC, "x"));
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
        const unsigned long pos = pick(model.size() + 3);
        const unsigned long n = pick(6) == 0 ? kEnd : pick(8);
        const char* piece = pieces[pick(6)];
        const unsigned long at = pos < model.size() ? pos : model.size();
        switch (pick(9)) {
        case 0:
            s.Insert(pos, piece, n);
            model.insert(at, piece, std::min<size_t>(n, std::strlen(piece)));
            break;
        case 1: {
            const char c = static_cast<char>('A' + pick(26));
            s.Insert(pos, c, n % 4);
            model.insert(at, n % 4, c);
            break;
        }
        case 2:
            if (pos < model.size())
                model.erase(pos, n);
            s.Remove(pos, n);
            break;
        case 3:
            if (n <= model.size())
                model.resize(n);
            s.KeepLeft(n);
            break;
        case 4:
            if (n < model.size())
                model.erase(0, model.size() - n);
            s.KeepRight(n);
            break;
        case 5:
            s.Replace(pos, n, piece);
            if (pos < model.size())
                model.erase(pos, n);
            model.insert(std::min<size_t>(pos, model.size()), piece);
            break;
        case 6:
            s += piece;
            model += piece;
            break;
        case 7:
            s.Trim(" \t0", 3);
            model.erase(0, model.find_first_not_of(" \t0") == std::string::npos ? model.size()
                                                                                : model.find_first_not_of(" \t0"));
            model.erase(model.find_last_not_of(" \t0") + 1);
            break;
        default:
            if (model.size() > 200) {
                s.Clear();
                model.clear();
            }
            break;
        }
        ASSERT_EQ(model.size(), s.length()) << "step " << step;
        ASSERT_EQ(0, std::memcmp(model.c_str(), s.c_str(), model.size() + 1)) << "step " << step;
        ASSERT_LT(s.length(), RefOf(s)->bufferSize);
        ASSERT_EQ(modelBefore, std::string(before.c_str(), before.length())) << "a shared buffer was written";
    }
}
