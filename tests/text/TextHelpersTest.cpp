#include <cstring>
#include <string>
#include <utility>
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

std::vector<int> Numbers(const char* text)
{
    int count = -1;
    int* values = StringToIntArray(text, &count);
    std::vector<int> numbers(values, values + (values ? count : 0));
    EXPECT_EQ(count, static_cast<int>(numbers.size()));
    NH_Heap::FreeMem(values);
    return numbers;
}

// Four guard bytes on both sides of the n bytes a bounded copy may use.
struct Guarded {
    explicit Guarded(size_t n) : bytes(n + 8, '#'), size(n) {}
    char* Data() { return &bytes[4]; }
    bool Intact() const { return bytes.compare(0, 4, "####") == 0 && bytes.compare(size + 4, 4, "####") == 0; }
    std::string bytes;
    size_t size;
};

}  // namespace

TEST(TextHelpers, ExplodeStringAndIntArrays)
{
    NoLeak noLeak;
    const std::pair<Texts, Texts> pieces[] = {
        {Explode("a,,b", ",", 0), {"a", "b"}}, {Explode(",,a,b,,", ",", 0), {"a", "b"}},
        {Explode("a; b;c", "; ", 0), {"a", "b", "c"}}, {Explode("x,   , y ,", ",", 1), {"x", "y"}},
        {Explode("x,   , y ,", ",", 0), {"x", "   ", " y "}},
        // Zero-separated texts end at two zero bytes; what follows is not read.
        {Explode("a\0b b\0 c\0\0d", "", 0), {"a", "b b", " c"}}, {Explode("a\0b b\0 c\0\0d", "", 1), {"a", "b b", "c"}},
        {Explode("", ",", 0), {}}, {Explode(",,,", ",", 0), {}}, {Explode("\0\0", "", 0), {}},
    };
    for (const auto& [got, expected] : pieces)
        EXPECT_EQ(expected, got);
    TList<StringItem<TListElement>> list;
    ExplodeString(list, "q", ",", 0);
    ExplodeString(list, "", ",", 0);
    EXPECT_EQ(nullptr, list.GetFirst()) << "the list is emptied first";
    ExplodeString(list, "shared", ",", 0);
    EXPECT_EQ(1u, RefOf(*list.GetFirst())->refCount);  // the item holds the piece's buffer
    EXPECT_TRUE(_stringHeap->Owns(list.GetFirst()));

    // Runs of digits, anything else separates; values beyond int saturate as atoi does, also
    // for a run longer than 99 digits, which stays one number.
    const unsigned long blocks = NH_Heap::Default().GetBlocksInUse();
    EXPECT_EQ(std::vector<int>({12, 34, 5}), Numbers("12, 34;x5"));
    EXPECT_EQ(std::vector<int>({7}), Numbers("-7"));
    EXPECT_EQ(std::vector<int>(), Numbers("no digits"));
    std::string many;
    std::vector<int> expected;
    for (int i = 0; i < 100; ++i)
        many += std::to_string(i * 1000) + " ", expected.push_back(i * 1000);
    many += "99999999999 " + std::string(150, '9') + " 1";
    expected.insert(expected.end(), {2147483647, 2147483647, 1});
    EXPECT_EQ(expected, Numbers(many.c_str()));
    EXPECT_EQ(blocks, NH_Heap::Default().GetBlocksInUse());

    const int values[] = {1, 2, 3}, extremes[] = {-2147483647 - 1, 0, 2147483647};
    EXPECT_EQ("1,2,3", Text(IntArrayToString(values, 3, ',')));
    EXPECT_EQ("1", Text(IntArrayToString(values, 1, ',')));
    EXPECT_EQ("", Text(IntArrayToString(values, -1, ',')));
    EXPECT_EQ("-2147483648;0;2147483647", Text(IntArrayToString(extremes, 3, ';')));
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

    Guarded sizes(kFileSizeBufferSize), date(10);
    GetStringFileSize(4294967295ul, sizes.Data());
    EXPECT_STREQ("4294.9 MB", sizes.Data());
    GetStringFileSize(static_cast<unsigned long>(-1), sizes.Data());  // 64-bit long: still bounded
    GetDateString((18 << 9) | (3 << 5) | 5, date.Data(), 10);        // one byte short
    EXPECT_STREQ("", date.Data());
    EXPECT_TRUE(g.Intact() && sizes.Intact() && date.Intact());
}

TEST(TextHelpers, CountingTrimmedViewsAndHash)
{
    const std::pair<long, long> counts[] = {
        {FindNumOccurences("aa", "aaaa", -1), 2}, {FindNumOccurences("aa", "aaaa", 3), 1},
        {FindNumOccurences("aa", "aaaa", 1), 0}, {FindNumOccurences("", "aaaa", -1), 0},
        {FindNumOccurences("ab", "xabyab", 5), 1}, {FindNumOccurences("a", "a\0a\0a", 5), 3},
        {CountChar("a,b,,c", ','), 3}, {CountChar("abc", 0), 0},
    };
    for (const auto& [got, expected] : counts)
        EXPECT_EQ(expected, got);

    // (text, counted length or -1, mode, offset, length); the counted form needs no terminator.
    const char counted[] = {'\t', 'x', 'y', ' ', '\t', 'Q'};
    const struct {
        const char* text;
        int textLength, mode, offset, length;
    } views[] = {{"  ab  ", -1, 3, 2, 2}, {"  ab  ", -1, 1, 2, 4}, {"  ab  ", -1, 2, 0, 4}, {"  ab  ", -1, 0, 0, 6},
                 {"    ", -1, 3, 4, 0},   {counted, 5, 3, 1, 2},    {counted, 1, 3, 1, 0}};
    for (const auto& v : views) {
        int length = -1;
        const char* start = v.textLength < 0 ? FindTrimmedSubString(v.text, &length, " \t", v.mode)
                                             : FindTrimmedSubString(v.text, v.textLength, &length, " \t", v.mode);
        EXPECT_EQ(v.text + v.offset, start) << v.text << " " << v.mode;
        EXPECT_EQ(v.length, length) << v.text << " " << v.mode;
    }

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
    char text[] = "aabb", again[] = "ab", odd[] = "abc", even[] = "abcd", one[] = "a";
    EXPECT_EQ(4u, ReplaceChars(text, "ab", 'x'));
    EXPECT_STREQ("xxxx", text);
    EXPECT_EQ(3u, ReplaceChars(again, "ab", 'b'));  // the new b is counted again
    EXPECT_EQ(0u, ReplaceChars(again, "", 'x'));
    Inverse(odd), Inverse(even), Inverse(one);
    EXPECT_EQ("cba dcba a", std::string(odd) + " " + even + " " + one);

    // Every change to a String goes to a private copy.
    const String original("a.b.c");
    String copy(original), other(original), reversed(original), withZero("x\0x", 0, 0, 3), empty;
    EXPECT_EQ(2u, ReplaceChar(copy, '.', '/'));
    EXPECT_EQ(5u, ReplaceChars(other, "abc.", '-'));
    Inverse(reversed);
    EXPECT_EQ(1u, ReplaceChar(withZero, 0, 'y'));  // over the whole length
    EXPECT_EQ("a/b/c ----- c.b.a xyx a.b.c", Text(copy + " " + other + " " + reversed + " " + withZero + " " + original));
    const unsigned long blocks = StringBlocks();
    EXPECT_EQ(0u, ReplaceChars(empty, "ab", 'x') + ReplaceChar(empty, 'a', 'x'));
    EXPECT_EQ(blocks, StringBlocks());

    String padded(" \t x y \t "), start(padded), end(padded);
    EXPECT_EQ(3u, Trim(padded));
    EXPECT_EQ(6u, TrimStart(start));
    EXPECT_EQ(6u, TrimEnd(end));
    EXPECT_EQ("x y|x y \t | \t x y", Text(padded + "|" + start + "|" + end));
}

TEST(TextHelpers, SizesAndDates)
{
    NoLeak noLeak;
    const std::pair<String, const char*> cases[] = {
        {GetStringFileSize(999), "999 B"}, {GetStringFileSize(1000), "1 kB"}, {GetStringFileSize(1999), "1 kB"},
        {GetStringFileSize(999999), "999 kB"}, {GetStringFileSize(1000000), "1.0 MB"},
        {GetStringFileSize(1999999), "1.9 MB"},
        {ByteSizeToString(1023), "1023.00 B"}, {ByteSizeToString(1024), "1.00 KB"},
        {ByteSizeToString(1536), "1.50 KB"}, {ByteSizeToString(1048576), "1.00 MB"},
        {ByteSizeToString(1048575.999), "1024.00 KB"}, {ByteSizeToString(2147483648.0), "2.00 GB"},
        {ByteSizeToString(-5), "-5.00 B"}, {ByteSizeToString(1e21), "931322574615.48 GB"},
        {GetDateString((18 << 9) | (3 << 5) | 5), "05/03/1998"}, {GetDateString((127 << 9) | (12 << 5) | 31), "31/12/2107"},
        {GetDateString((20 << 9) | (2 << 5) | 29), "29/02/2000"}, {GetDateString(0), ""},
        {GetDateString((21 << 9) | (4 << 5) | 31), ""},
    };
    for (const auto& [got, expected] : cases)
        EXPECT_EQ(expected, Text(got));
}
