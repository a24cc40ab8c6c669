#include <gtest/gtest.h>

#include <string>

#include "patterns/SearchFunctions.h"

namespace {

String Replaced(const char* text, const char* pattern, const char* replacement, int* count, int caseSensitive = 1)
{
    String target(text);
    *count = ReplaceAll(target, pattern, replacement, caseSensitive);
    return target;
}

}  // namespace

TEST(SearchFunctions, FindPatternAndDosWildcards)
{
    long at = -2;
    EXPECT_EQ(FindPattern("xxAbc", "a[b-c]+", 0, &at), 3);
    EXPECT_EQ(at, 2);
    EXPECT_EQ(FindPattern("xxAbc", "a[b-c]+", 1, &at), -1);
    EXPECT_EQ(at, 0);
    at = -2;
    EXPECT_EQ(FindPattern("abc", "[", 1, &at), -1);
    EXPECT_EQ(at, 0);
    EXPECT_EQ(FindPattern("abc", "b", 1, nullptr), 1);

    at = -2;
    EXPECT_EQ(FindWithDosWildcards("readme.txt", "*.TXT", &at), 10);
    EXPECT_EQ(at, 0);
    EXPECT_EQ(FindWithDosWildcards("abc", "a?c", &at), 3);
    EXPECT_EQ(FindWithDosWildcards("ac", "a?c", &at), 2);
    // '.' stays the any-character operator; the match is not anchored.
    EXPECT_EQ(FindWithDosWildcards("abc", "a.c", &at), 3);
    EXPECT_EQ(FindWithDosWildcards("xxbcd", "B?D", &at), 3);
    EXPECT_EQ(at, 2);
    // The other operators of the default table are characters in a wildcard.
    EXPECT_EQ(FindWithDosWildcards("f(1)[2]/x|y.c", "(1)[2]/x|*.C", &at), 12);
    EXPECT_EQ(at, 1);
    EXPECT_EQ(FindWithDosWildcards("abc", "", &at), -1);
    EXPECT_EQ(FindWithDosWildcards("abc", "b**?", &at), 2);
}

TEST(SearchFunctions, ReplaceAll)
{
    int count = -1;
    EXPECT_STREQ(Replaced("banana", "a", "bb", &count), "bbbnbbnbb");
    EXPECT_EQ(count, 3);
    EXPECT_STREQ(Replaced("abc", "x", "y", &count), "abc");
    EXPECT_EQ(count, 0);
    // Only the non-empty match of b* is replaced.
    EXPECT_STREQ(Replaced("abc", "b*", "<>", &count), "a<>c");
    EXPECT_EQ(count, 1);
    // The replacement is plain text and is not searched again.
    EXPECT_STREQ(Replaced("aXa", "a", "aa/1", &count), "aa/1Xaa/1");
    EXPECT_EQ(count, 2);
    EXPECT_STREQ(Replaced("ABab", "a", "-", &count, 0), "-B-b");
    EXPECT_EQ(count, 2);
    EXPECT_STREQ(Replaced("abc", "(", "y", &count), "abc");
    EXPECT_EQ(count, 0);
    EXPECT_STREQ(Replaced("", "a", "y", &count), "");
    EXPECT_STREQ(Replaced("aaa", "a+", "", &count), "");
    EXPECT_EQ(count, 1);

    // With captures the groups are replaced, each counting once.
    EXPECT_STREQ(Replaced("k=1, j=22", "/l={/d+}", "N", &count), "k=N, j=N");
    EXPECT_EQ(count, 2);
    EXPECT_STREQ(Replaced("ab", "{a}{b}", "_", &count), "__");
    EXPECT_EQ(count, 2);
    // Nested groups report the inner one first; the outer one then starts before what has
    // been copied and is ignored.
    EXPECT_STREQ(Replaced("xaby", "{a{b}}", "_", &count), "xa_y");
    EXPECT_EQ(count, 1);
    EXPECT_STREQ(Replaced("abcab", "{{a}b}c?", "_", &count), "_bc_b");
    EXPECT_EQ(count, 2);

    // A shared target is not changed behind its other holders.
    String target("aa");
    const String other(target);
    EXPECT_EQ(ReplaceAll(target, "a", "b", 1), 2);
    EXPECT_STREQ(target, "bb");
    EXPECT_STREQ(other, "aa");
}

TEST(SearchFunctions, CallbacksStoreInArrays)
{
    const TTextPattern numbers("/d+", 1);
    TArrayInPlace<String> strings;
    TArrayInPlace<MatchLocation> locations;
    const char* text = "a12b345c6";
    EXPECT_EQ(numbers.Find(nullptr, text, 0, eMatchAll, CB_OnMatchStoreInStringArray, &strings), 2);
    EXPECT_EQ(numbers.Find(nullptr, text, 0, eMatchAll, CB_OnMatchStoreInMatchLocationArray, &locations), 2);
    ASSERT_EQ(strings.GetCount(), 3);
    EXPECT_STREQ(strings[0], "12");
    EXPECT_STREQ(strings[1], "345");
    EXPECT_STREQ(strings[2], "6");
    ASSERT_EQ(locations.GetCount(), 3);
    EXPECT_EQ(locations[1].captureIndex, 0);
    EXPECT_EQ(locations[1].start, 4);
    EXPECT_EQ(locations[1].length, 3);

    // Capture numbers come through; an empty forward match stores an empty text.
    const TTextPattern pairs("{/l}={/d}", 1);
    EXPECT_EQ(pairs.Find(nullptr, "x=1 y=2", 0, eMatchAll, CB_OnMatchStoreInMatchLocationArray, &locations), 3);
    ASSERT_EQ(locations.GetCount(), 7);
    EXPECT_EQ(locations[6].captureIndex, 1);
    EXPECT_EQ(locations[6].start, 6);
    EXPECT_EQ(locations[6].length, 1);
    const TTextPattern none("q*", 1);
    EXPECT_EQ(none.Find(nullptr, "abc", 0, eMatchForward, CB_OnMatchStoreInStringArray, &strings), 0);
    ASSERT_EQ(strings.GetCount(), 4);
    EXPECT_STREQ(strings[3], "");
}

// File names against wildcards: '*' any run, '?' one character or none, '.' any one
// character, everything else literal and without regard to case; the match is not anchored.
TEST(SearchFunctions, DosWildcardsOnFileNames)
{
    struct Case {
        const char* name;
        const char* wildcard;
        long length;
        long at;
    };
    const Case cases[] = {
        {"readme.txt", "*.TXT", 10, 0},
        {"readme.txt.bak", "*.txt", 10, 0},
        {"report.doc", "*.txt", -1, 0},
        {"notes", "*", 5, 0},
        {"", "*", 0, 0},
        {"data1.csv", "data?.csv", 9, 0},
        {"data.csv", "data?.csv", 8, 0},
        {"data12.csv", "data?.csv", -1, 0},
        {"DATA1.CSV", "data?.csv", 9, 0},
        {"archive.tar.gz", "*.gz", 14, 0},
        {"C:\\dir\\file.txt", "file.*", 8, 7},
        {"my file(1).txt", "(1)", 3, 7},
        {"abc", "x*", -1, 0},
        {"a+b", "a+b", 3, 0},
        {"prefix_name.txt", "name", 4, 7},
        {"abc", "???", 3, 0},
        {"ab", "???", 2, 0},
        {"line1\nline2", "*2", 5, 6},
        {"a[b]c", "[b]", 3, 1},
        {"xzy", "x.y", 3, 0},
        {"Makefile", "make*", 8, 0},
        {"~$draft.doc", "~$*.doc", 11, 0},
        {"abc", "", -1, 0},
    };
    for (const Case& c : cases) {
        long at = -2;
        EXPECT_EQ(FindWithDosWildcards(c.name, c.wildcard, &at), c.length) << c.name << " / " << c.wildcard;
        EXPECT_EQ(at, c.at) << c.name << " / " << c.wildcard;
    }
}
