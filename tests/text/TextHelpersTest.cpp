#include <cstring>
#include <string>
#include <utility>

#include "StringTestSupport.h"

namespace {

// The pieces, each behind a bar.
std::string Explode(const char* text, const char* separators, int trim)
{
    TList<StringItem<TListElement>> list;
    ExplodeString(list, text, separators, trim);
    std::string pieces;
    for (StringItem<TListElement>* item = list.GetFirst(); item; item = list.GetNext(item))
        pieces += std::string("|") + item->c_str();
    return pieces;
}

// The numbers, each behind a space; the caller gets the block and its count.
std::string Numbers(const char* text)
{
    int count = -1;
    int* values = StringToIntArray(text, &count);
    std::string numbers = values ? "" : "null " + std::to_string(count);
    for (int i = 0; values && i < count; ++i)
        numbers += " " + std::to_string(values[i]);
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
    const unsigned long blocks = NH_Heap::Default().GetBlocksInUse();
    std::string many, manyExpected;
    for (int i = 0; i < 100; ++i)
        many += std::to_string(i * 1000) + " ", manyExpected += " " + std::to_string(i * 1000);
    // Zero-separated texts end at two zero bytes; a run of digits is one number, whatever its
    // length, and numbers beyond int saturate as atoi does.
    const std::pair<std::string, std::string> cases[] = {
        {Explode("a,,b", ",", 0), "|a|b"}, {Explode(",,a,b,,", ",", 0), "|a|b"}, {Explode("a; b;c", "; ", 0), "|a|b|c"},
        {Explode("x,   , y ,", ",", 1), "|x|y"}, {Explode("x,   , y ,", ",", 0), "|x|   | y "},
        {Explode("a\0b b\0 c\0\0d", "", 0), "|a|b b| c"}, {Explode("a\0b b\0 c\0\0d", "", 1), "|a|b b|c"},
        {Explode("", ",", 0), ""}, {Explode(",,,", ",", 0), ""}, {Explode("\0\0", "", 0), ""},
        {Numbers("12, 34;x5"), " 12 34 5"}, {Numbers("-7"), " 7"}, {Numbers("no digits"), "null 0"},
        {Numbers((many + "99999999999 " + std::string(150, '9') + " 1").c_str()), manyExpected + " 2147483647 2147483647 1"},
    };
    for (const auto& [got, expected] : cases)
        EXPECT_EQ(expected, got);
    EXPECT_EQ(blocks, NH_Heap::Default().GetBlocksInUse());
    TList<StringItem<TListElement>> list;
    ExplodeString(list, "q", ",", 0);
    ExplodeString(list, "", ",", 0);
    EXPECT_EQ(nullptr, list.GetFirst()) << "the list is emptied first";
    ExplodeString(list, "shared", ",", 0);
    EXPECT_TRUE(RefOf(*list.GetFirst())->refCount == 1 && _stringHeap->Owns(list.GetFirst()));

    const int values[] = {1, 2, 3}, extremes[] = {-2147483647 - 1, 0, 2147483647};
    EXPECT_EQ("1,2,3|1||-2147483648;0;2147483647", Text(IntArrayToString(values, 3, ',') + "|" + IntArrayToString(values, 1, ',') +
                                                        "|" + IntArrayToString(values, -1, ',') + "|" +
                                                        IntArrayToString(extremes, 3, ';')));
}

TEST(TextHelpers, BoundedCopiesStayInTheirBuffers)
{
    Guarded g(4), sizes(kFileSizeBufferSize), date(10);
    EXPECT_EQ(g.Data(), strcpy_n(g.Data(), "abcdef", 4));
    EXPECT_STREQ("abc", g.Data());
    const std::pair<void (*)(char*), const char*> copies[] = {
        {[](char* d) { strcpy_n(d, "abcdef", 1); }, ""}, {[](char* d) { CopyMax(d, "abcdef", 4); }, "abc"},
        {[](char* d) { CopyMax(d, "a", 4); }, "a"}, {[](char* d) { CopyMax(d, "abcdef", 1); }, ""},
        {[](char* d) { MakeString(d, 4, "abcdef", 6); }, "abc"}, {[](char* d) { MakeString(d, 4, "abcdef", 2); }, "ab"},
        {[](char* d) { std::memset(d, 'z', 3), strcpy_n(d, "abcdef", 0), CopyMax(d, "abcdef", 0); }, "zzz"},
    };
    for (const auto& [copy, expected] : copies) {
        copy(g.Data());
        EXPECT_STREQ(expected, g.Data());
    }
    MakeString(g.Data(), 4, "a\0b", 3);  // a zero byte is copied like any other
    EXPECT_EQ(0, std::memcmp(g.Data(), "a\0b\0", 4));
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
        {FindNumOccurences("aa", "aaaa", -1), 2}, {FindNumOccurences("aa", "aaaa", 3), 1}, {FindNumOccurences("aa", "aaaa", 1), 0},
        {FindNumOccurences("", "aaaa", -1), 0}, {FindNumOccurences("ab", "xabyab", 5), 1}, {FindNumOccurences("a", "a\0a\0a", 5), 3},
        {CountChar("a,b,,c", ','), 3}, {CountChar("abc", 0), 0}};
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
        EXPECT_TRUE(start == v.text + v.offset && length == v.length) << v.text << " " << v.mode;
    }
    // Only the last 16 bytes reach the hash, on every target; bytes above 127 count signed.
    EXPECT_TRUE(GetHashValue(String()) == 0 && GetHashValue(String("\xFF")) == 0xFFFFFFFFul);
    EXPECT_EQ(GetHashValue(String("xxxx0123456789abcdef")), GetHashValue(String("yy0123456789abcdef")));
    EXPECT_NE(GetHashValue(String("0123456789abcdef")), GetHashValue(String("1123456789abcdef")));
    EXPECT_EQ((((0x61ul << 2) ^ 0) << 2) ^ 0x62ul, GetHashValue(String("a\0b", 0, 0, 3)));
}

TEST(TextHelpers, ReplacingReversingSizesAndDates)
{
    NoLeak noLeak;
    char text[] = "aabb", again[] = "ab", odd[] = "abc", even[] = "abcd", one[] = "a";
    EXPECT_TRUE(ReplaceChars(text, "ab", 'x') == 4 && !std::strcmp(text, "xxxx"));
    EXPECT_TRUE(ReplaceChars(again, "ab", 'b') == 3 && ReplaceChars(again, "", 'x') == 0);  // the new b counts again
    Inverse(odd), Inverse(even), Inverse(one);
    EXPECT_EQ("cba dcba a", std::string(odd) + " " + even + " " + one);
    // Every change to a String goes to a private copy; an empty one is not unshared.
    const String original("a.b.c");
    String copy(original), other(original), reversed(original), withZero("x\0x", 0, 0, 3), empty;
    EXPECT_TRUE(ReplaceChar(copy, '.', '/') == 2 && ReplaceChars(other, "abc.", '-') == 5);
    EXPECT_EQ(1u, ReplaceChar(withZero, 0, 'y'));  // over the whole length
    Inverse(reversed);
    EXPECT_EQ("a/b/c ----- c.b.a xyx a.b.c", Text(copy + " " + other + " " + reversed + " " + withZero + " " + original));
    const unsigned long blocks = StringBlocks();
    EXPECT_TRUE(ReplaceChars(empty, "ab", 'x') + ReplaceChar(empty, 'a', 'x') == 0 && blocks == StringBlocks());
    String padded(" \t x y \t "), start(padded), end(padded);
    EXPECT_TRUE(Trim(padded) == 3 && TrimStart(start) == 6 && TrimEnd(end) == 6);
    EXPECT_EQ("x y|x y \t | \t x y", Text(padded + "|" + start + "|" + end));

    const std::pair<String, const char*> cases[] = {
        {GetStringFileSize(999), "999 B"}, {GetStringFileSize(1000), "1 kB"}, {GetStringFileSize(1999), "1 kB"},
        {GetStringFileSize(999999), "999 kB"}, {GetStringFileSize(1000000), "1.0 MB"}, {GetStringFileSize(1999999), "1.9 MB"},
        {ByteSizeToString(1023), "1023.00 B"}, {ByteSizeToString(1024), "1.00 KB"}, {ByteSizeToString(1536), "1.50 KB"},
        {ByteSizeToString(1048576), "1.00 MB"}, {ByteSizeToString(1048575.999), "1024.00 KB"},
        {ByteSizeToString(2147483648.0), "2.00 GB"}, {ByteSizeToString(-5), "-5.00 B"},
        {ByteSizeToString(1e21), "931322574615.48 GB"}, {GetDateString((18 << 9) | (3 << 5) | 5), "05/03/1998"},
        {GetDateString((127 << 9) | (12 << 5) | 31), "31/12/2107"}, {GetDateString((20 << 9) | (2 << 5) | 29), "29/02/2000"},
        {GetDateString(0), ""}, {GetDateString((21 << 9) | (4 << 5) | 31), ""},
    };
    for (const auto& [got, expected] : cases)
        EXPECT_EQ(expected, Text(got));
}
