#include <CommonTarn.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "StringTestSupport.h"

namespace {

typedef std::vector<std::string> Texts;

Texts Explode(const char* text, const char* separators, int trim)
{
    TList<StringItem<TListElement>> list;
    ExplodeString(list, text, separators, trim);
    Texts items;
    for (StringItem<TListElement>* item = list.GetFirst(); item; item = list.GetNext(item))
        items.push_back(item->c_str());
    return items;
}

// Four guard bytes on both sides of the n bytes a bounded copy may use.
struct Guarded {
    explicit Guarded(size_t n) : bytes(n + 8, '#'), size(n) {}
    char* Data() { return &bytes[4]; }
    bool Intact() const { return bytes.compare(0, 4, "####") == 0 && bytes.compare(size + 4, 4, "####") == 0; }
    std::string bytes;
    size_t size;
};

}

TEST(TextHelpers, ExplodeString)
{
    NoLeak noLeak;
    EXPECT_EQ(Texts({"a", "b"}), Explode("a,,b", ",", 0));
    EXPECT_EQ(Texts({"a", "b"}), Explode(",,a,b,,", ",", 0));
    EXPECT_EQ(Texts({"a", "b", "c"}), Explode("a; b;c", "; ", 0));
    EXPECT_EQ(Texts({"x", "y"}), Explode("x,   , y ,", ",", 1));
    EXPECT_EQ(Texts({"x", "   ", " y "}), Explode("x,   , y ,", ",", 0));
    // Zero-separated texts end at two zero bytes; what follows is not read.
    EXPECT_EQ(Texts({"a", "b b", " c"}), Explode("a\0b b\0 c\0\0d", "", 0));
    EXPECT_EQ(Texts({"a", "b b", "c"}), Explode("a\0b b\0 c\0\0d", "", 1));
    EXPECT_TRUE(Explode("", ",", 0).empty());
    EXPECT_TRUE(Explode(",,,", ",", 0).empty());
    EXPECT_TRUE(Explode("\0\0", "", 0).empty());

    TList<StringItem<TListElement>> list;
    ExplodeString(list, "q", ",", 0);
    ExplodeString(list, "", ",", 0);
    EXPECT_EQ(nullptr, list.GetFirst());
    ExplodeString(list, "shared", ",", 0);
    EXPECT_EQ(1u, RefOf(*list.GetFirst())->refCount);  // the item holds the piece's buffer
    EXPECT_TRUE(_stringHeap->Owns(list.GetFirst()));
}

TEST(TextHelpers, IntArraysAndText)
{
    const unsigned long blocks = NH_Heap::Default().GetBlocksInUse();
    int count = -1;
    int* values = StringToIntArray("12, 34;x5", &count);
    ASSERT_EQ(3, count);
    EXPECT_EQ(std::vector<int>({12, 34, 5}), std::vector<int>(values, values + 3));
    NH_Heap::FreeMem(values);
    values = StringToIntArray("-7", &count);
    ASSERT_EQ(1, count);
    EXPECT_EQ(7, values[0]);
    NH_Heap::FreeMem(values);
    count = -1;
    EXPECT_EQ(nullptr, StringToIntArray("no digits", &count));
    EXPECT_EQ(0, count);

    // Enough numbers to grow the buffer many times; values beyond int saturate as atoi does,
    // also for a run longer than 99 digits, which stays one number.
    std::string many;
    for (int i = 0; i < 100; ++i)
        many += std::to_string(i * 1000) + " ";
    many += "99999999999 " + std::string(150, '9') + " 1";
    values = StringToIntArray(many.c_str(), &count);
    ASSERT_EQ(103, count);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(i * 1000, values[i]);
    EXPECT_EQ(std::vector<int>({2147483647, 2147483647, 1}), std::vector<int>(values + 100, values + 103));
    NH_Heap::FreeMem(values);
    EXPECT_EQ(blocks, NH_Heap::Default().GetBlocksInUse());

    NoLeak noLeak;
    const int list[] = {1, 2, 3};
    EXPECT_STREQ("1,2,3", IntArrayToString(list, 3, ',').c_str());
    EXPECT_STREQ("1", IntArrayToString(list, 1, ',').c_str());
    EXPECT_STREQ("", IntArrayToString(list, -1, ',').c_str());
    const int extremes[] = {-2147483647 - 1, 0, 2147483647};
    EXPECT_STREQ("-2147483648;0;2147483647", IntArrayToString(extremes, 3, ';').c_str());
}

TEST(TextHelpers, BoundedCopiesStayInTheirBuffers)
{
    Guarded g(4);
    EXPECT_EQ(g.Data(), strcpy_n(g.Data(), "abcdef", 4));
    EXPECT_STREQ("abc", g.Data());
    strcpy_n(g.Data(), "abcdef", 1);
    EXPECT_STREQ("", g.Data());
    CopyMax(g.Data(), "abcdef", 4);
    EXPECT_STREQ("abc", g.Data());
    CopyMax(g.Data(), "a", 4);
    EXPECT_STREQ("a", g.Data());
    CopyMax(g.Data(), "abcdef", 1);
    EXPECT_STREQ("", g.Data());
    std::memset(g.Data(), 'z', 4);
    strcpy_n(g.Data(), "abcdef", 0);
    CopyMax(g.Data(), "abcdef", 0);
    EXPECT_EQ(0, std::memcmp(g.Data(), "zzzz", 4));

    const char source[6] = {'a', 'b', 'c', 'd', 'e', 'f'};  // no terminator
    MakeString(g.Data(), 4, source, 6);
    EXPECT_STREQ("abc", g.Data());
    MakeString(g.Data(), 4, source, 2);
    EXPECT_STREQ("ab", g.Data());
    MakeString(g.Data(), 4, "a\0b", 3);
    EXPECT_EQ(0, std::memcmp(g.Data(), "a\0b\0", 4));
    EXPECT_TRUE(g.Intact());

    Guarded sizes(kFileSizeBufferSize);
    GetStringFileSize(4294967295ul, sizes.Data());
    EXPECT_STREQ("4294.9 MB", sizes.Data());
    GetStringFileSize(static_cast<unsigned long>(-1), sizes.Data());  // 64-bit long: still bounded
    Guarded date(10);
    GetDateString((18 << 9) | (3 << 5) | 5, date.Data(), 10);  // one byte short
    EXPECT_STREQ("", date.Data());
    EXPECT_TRUE(sizes.Intact() && date.Intact());
}

TEST(TextHelpers, CountingAndTrimmedViews)
{
    EXPECT_EQ(2u, FindNumOccurences("aa", "aaaa", -1));
    EXPECT_EQ(1u, FindNumOccurences("aa", "aaaa", 3));
    EXPECT_EQ(0u, FindNumOccurences("aa", "aaaa", 1));
    EXPECT_EQ(0u, FindNumOccurences("", "aaaa", -1));
    EXPECT_EQ(1u, FindNumOccurences("ab", "xabyab", 5));
    EXPECT_EQ(3u, FindNumOccurences("a", "a\0a\0a", 5));
    EXPECT_EQ(3, CountChar("a,b,,c", ','));
    EXPECT_EQ(0, CountChar("abc", 0));

    int length = -1;
    const char* text = "  ab  ";
    const struct {
        int mode;
        int offset;
        int length;
    } cases[] = {{3, 2, 2}, {1, 2, 4}, {2, 0, 4}, {0, 0, 6}};
    for (const auto& c : cases) {
        EXPECT_EQ(text + c.offset, FindTrimmedSubString(text, &length, " ", c.mode)) << c.mode;
        EXPECT_EQ(c.length, length) << c.mode;
    }
    FindTrimmedSubString("    ", &length, " ", 3);
    EXPECT_EQ(0, length);
    // The counted form reads only textLength characters and needs no terminator.
    const char counted[] = {'\t', 'x', 'y', ' ', '\t', 'Q'};
    EXPECT_EQ(counted + 1, FindTrimmedSubString(counted, 5, &length, " \t", 3));
    EXPECT_EQ(2, length);
    FindTrimmedSubString(counted, 1, &length, " \t", 3);
    EXPECT_EQ(0, length);

    // Only the last 16 bytes reach the hash, on every target; bytes above 127 count signed.
    EXPECT_EQ(0ul, GetHashValue(String()));
    EXPECT_EQ(GetHashValue(String("xxxx0123456789abcdef")), GetHashValue(String("yy0123456789abcdef")));
    EXPECT_NE(GetHashValue(String("0123456789abcdef")), GetHashValue(String("1123456789abcdef")));
    EXPECT_EQ(0xFFFFFFFFul, GetHashValue(String("\xFF")));
    EXPECT_EQ((((0x61ul << 2) ^ 0) << 2) ^ 0x62ul, GetHashValue(String("a\0b", 0, 0, 3)));
}

TEST(TextHelpers, ReplacingAndReversing)
{
    NoLeak noLeak;
    char text[] = "aabb";
    EXPECT_EQ(4u, ReplaceChars(text, "ab", 'x'));
    EXPECT_STREQ("xxxx", text);
    char again[] = "ab";
    EXPECT_EQ(3u, ReplaceChars(again, "ab", 'b'));  // the new b is counted again
    EXPECT_EQ(0u, ReplaceChars(again, "", 'x'));

    String original("a.b.c");
    String copy(original);
    EXPECT_EQ(2u, ReplaceChar(copy, '.', '/'));
    EXPECT_STREQ("a/b/c", copy.c_str());
    String other(original);
    EXPECT_EQ(5u, ReplaceChars(other, "abc.", '-'));
    EXPECT_STREQ("-----", other.c_str());
    String reversed(original);
    Inverse(reversed);
    EXPECT_STREQ("c.b.a", reversed.c_str());
    EXPECT_STREQ("a.b.c", original.c_str());  // every change went to a private copy
    String withZero("x\0x", 0, 0, 3);
    EXPECT_EQ(1u, ReplaceChar(withZero, 0, 'y'));  // over the whole length
    EXPECT_STREQ("xyx", withZero.c_str());
    String empty;
    const unsigned long blocks = StringBlocks();
    EXPECT_EQ(0u, ReplaceChars(empty, "ab", 'x') + ReplaceChar(empty, 'a', 'x'));
    EXPECT_EQ(blocks, StringBlocks());

    char odd[] = "abc", even[] = "abcd", one[] = "a";
    Inverse(odd);
    Inverse(even);
    Inverse(one);
    EXPECT_STREQ("cba", odd);
    EXPECT_STREQ("dcba", even);
    EXPECT_STREQ("a", one);

    String padded(" \t x y \t ");
    String start(padded), end(padded);
    EXPECT_EQ(3u, Trim(padded));
    EXPECT_EQ(6u, TrimStart(start));
    EXPECT_STREQ("x y \t ", start.c_str());
    EXPECT_EQ(6u, TrimEnd(end));
    EXPECT_STREQ(" \t x y", end.c_str());
}

TEST(TextHelpers, SizesAndDates)
{
    NoLeak noLeak;
    const struct {
        unsigned long size;
        const char* text;
    } sizes[] = {{999, "999 B"},       {1000, "1 kB"},       {1999, "1 kB"},
                 {999999, "999 kB"},   {1000000, "1.0 MB"}, {1999999, "1.9 MB"}};
    for (const auto& s : sizes)
        EXPECT_STREQ(s.text, GetStringFileSize(s.size).c_str());

    const struct {
        double size;
        const char* text;
    } bytes[] = {{1023, "1023.00 B"},        {1024, "1.00 KB"},           {1536, "1.50 KB"},
                 {1048576, "1.00 MB"},      {1048575.999, "1024.00 KB"}, {2147483648.0, "2.00 GB"},
                 {-5, "-5.00 B"},           {1e21, "931322574615.48 GB"}};
    for (const auto& b : bytes)
        EXPECT_STREQ(b.text, ByteSizeToString(b.size).c_str());

    EXPECT_STREQ("05/03/1998", GetDateString((18 << 9) | (3 << 5) | 5).c_str());
    EXPECT_STREQ("31/12/2107", GetDateString((127 << 9) | (12 << 5) | 31).c_str());
    EXPECT_STREQ("29/02/2000", GetDateString((20 << 9) | (2 << 5) | 29).c_str());
    EXPECT_STREQ("", GetDateString(0).c_str());
    EXPECT_STREQ("", GetDateString((21 << 9) | (4 << 5) | 31).c_str());
}
