#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "patterns/SearchFunctions.h"

TEST(SearchFunctions, FindPattern)
{
    long at = -2;
    EXPECT_TRUE(FindPattern("xxAbc", "a[b-c]+", 0, &at) == 3 && at == 2);
    EXPECT_TRUE(FindPattern("xxAbc", "a[b-c]+", 1, &at) == -1 && at == 0);
    at = -2;
    EXPECT_TRUE(FindPattern("abc", "[", 1, &at) == -1 && at == 0);
    EXPECT_EQ(FindPattern("abc", "b", 1, nullptr), 1);
}

// File names against wildcards: '*' any run, '?' one character or none, '.' any one
// character, everything else literal and without regard to case; the match is not anchored.
TEST(SearchFunctions, DosWildcards)
{
    const struct {
        const char *name, *wildcard;
        long length, at;
    } cases[] = {
        {"readme.txt", "*.TXT", 10, 0}, {"readme.txt.bak", "*.txt", 10, 0}, {"report.doc", "*.txt", -1, 0},
        {"notes", "*", 5, 0}, {"", "*", 0, 0}, {"data1.csv", "data?.csv", 9, 0}, {"data.csv", "data?.csv", 8, 0},
        {"data12.csv", "data?.csv", -1, 0}, {"DATA1.CSV", "data?.csv", 9, 0}, {"archive.tar.gz", "*.gz", 14, 0},
        {"C:\\dir\\file.txt", "file.*", 8, 7}, {"my file(1).txt", "(1)", 3, 7}, {"abc", "x*", -1, 0},
        {"a+b", "a+b", 3, 0}, {"prefix_name.txt", "name", 4, 7}, {"abc", "???", 3, 0}, {"ab", "???", 2, 0},
        {"line1\nline2", "*2", 5, 6}, {"a[b]c", "[b]", 3, 1}, {"xzy", "x.y", 3, 0}, {"Makefile", "make*", 8, 0},
        {"~$draft.doc", "~$*.doc", 11, 0}, {"abc", "", -1, 0}, {"abc", "a?c", 3, 0}, {"ac", "a?c", 2, 0},
        {"xxbcd", "B?D", 3, 2}, {"f(1)[2]/x|y.c", "(1)[2]/x|*.C", 12, 1}, {"abc", "b**?", 2, 1},
    };
    for (const auto& c : cases) {
        long at = -2;
        EXPECT_EQ(FindWithDosWildcards(c.name, c.wildcard, &at), c.length) << c.name << " / " << c.wildcard;
        EXPECT_EQ(at, c.at) << c.name << " / " << c.wildcard;
    }
}

TEST(SearchFunctions, ReplaceAll)
{
    const struct {
        const char *text, *pattern, *replacement;
        int caseSensitive;
        const char* expected;
        int count;
    } cases[] = {
        {"banana", "a", "bb", 1, "bbbnbbnbb", 3}, {"abc", "x", "y", 1, "abc", 0},
        {"abc", "b*", "<>", 1, "a<>c", 1},          // only the non-empty match
        {"aXa", "a", "aa/1", 1, "aa/1Xaa/1", 2},    // plain text, not searched again
        {"ABab", "a", "-", 0, "-B-b", 2}, {"abc", "(", "y", 1, "abc", 0}, {"", "a", "y", 1, "", 0},
        {"aaa", "a+", "", 1, "", 1},
        // With captures the groups are replaced, each counting once; nested groups report the
        // inner one first, and the outer one then starts before what has been copied.
        {"k=1, j=22", "/l={/d+}", "N", 1, "k=N, j=N", 2}, {"ab", "{a}{b}", "_", 1, "__", 2},
        {"xaby", "{a{b}}", "_", 1, "xa_y", 1}, {"abcab", "{{a}b}c?", "_", 1, "_bc_b", 2},
    };
    for (const auto& c : cases) {
        String target(c.text);
        const String other(target);  // a shared target is not changed behind its other holders
        EXPECT_EQ(c.count, ReplaceAll(target, c.pattern, c.replacement, c.caseSensitive)) << c.text << " " << c.pattern;
        EXPECT_STREQ(c.expected, target) << c.text << " " << c.pattern;
        EXPECT_STREQ(c.text, other);
    }
}

TEST(SearchFunctions, CallbacksStoreInArrays)
{
    const TTextPattern numbers("/d+", 1), pairs("{/l}={/d}", 1), none("q*", 1);
    TArrayInPlace<String> strings;
    TArrayInPlace<MatchLocation> locations;
    EXPECT_EQ(numbers.Find(nullptr, "a12b345c6", 0, eMatchAll, CB_OnMatchStoreInStringArray, &strings), 2);
    EXPECT_EQ(numbers.Find(nullptr, "a12b345c6", 0, eMatchAll, CB_OnMatchStoreInMatchLocationArray, &locations), 2);
    // Capture numbers come through; an empty forward match stores an empty text.
    EXPECT_EQ(pairs.Find(nullptr, "x=1 y=2", 0, eMatchAll, CB_OnMatchStoreInMatchLocationArray, &locations), 3);
    EXPECT_EQ(none.Find(nullptr, "abc", 0, eMatchForward, CB_OnMatchStoreInStringArray, &strings), 0);
    ASSERT_TRUE(strings.GetCount() == 4 && locations.GetCount() == 7);
    EXPECT_STREQ("12 345 6 ", String(strings[0] + " " + strings[1] + " " + strings[2] + " " + strings[3]).c_str());
    const std::pair<int, MatchLocation> expected[] = {{1, {0, 4, 3}}, {5, {0, 4, 1}}, {6, {1, 6, 1}}};
    for (const auto& [i, location] : expected)
        EXPECT_TRUE(locations[i].captureIndex == location.captureIndex && locations[i].start == location.start &&
                    locations[i].length == location.length)
            << i;
}
