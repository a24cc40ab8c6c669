#include "RunningUnderWine.h"
#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

TEST(WinRuntime, CaseBlindCompareAndConversion)
{
    // Letters are compared in lower case, so the characters between 'Z' and 'a' sort below
    // every letter.
    const struct {
        const char *a, *b;
        size_t n;  // for _strnicmp
        int sign;
    } pairs[] = {
        {"Hello World", "hELLO wORLD", 100, 0}, {"", "", 100, 0}, {"abc", "ABCD", 100, -1}, {"Apple", "banana", 100, -1},
        {"_", "a", 100, -1}, {"_", "A", 100, -1}, {"abc_", "ABCD", 100, -1}, {"[", "B", 100, -1}, {"{", "Z", 100, 1},
        {"\xC9", "\xE9", 100, -1}, {"abcX", "ABCy", 3, 0}, {"abcX", "ABCy", 4, -1}, {"abc", "xyz", 0, 0},
        {"ab_", "ABa", 3, -1},
    };
    for (const auto& p : pairs) {
        for (int swap = 0; swap <= 1; ++swap) {
            const char *a = swap ? p.b : p.a, *b = swap ? p.a : p.b;
            const int sign = swap ? -p.sign : p.sign;
            const int n = _strnicmp(a, b, p.n), full = _stricmp(a, b);
            EXPECT_EQ(sign, (n > 0) - (n < 0)) << a << " " << b;
            EXPECT_TRUE(p.n != 100 || sign == (full > 0) - (full < 0)) << a << " " << b;
        }
    }
    // Bytes above 127 compare as unsigned and keep their case, as msvcrt.dll does on
    // Windows. Wine 8's msvcrt compares them as signed char in the "C" locale; later Wine
    // returns the unsigned difference. When the Wine line fails, Wine answers as Windows
    // does and the line goes.
    if (RunningUnderWine())
        EXPECT_LT(_stricmp("\xE9", "z"), 0) << "Wine's signed comparison";
    else
        EXPECT_GT(_stricmp("\xE9", "z"), 0);

    char text[] = "Hello, World_[]{} 09 \xE9";
    EXPECT_EQ(text, _strupr(text));
    EXPECT_STREQ("HELLO, WORLD_[]{} 09 \xE9", text);
    EXPECT_EQ(text, _strlwr(text));
    EXPECT_STREQ("hello, world_[]{} 09 \xE9", text);
}

TEST(WinRuntime, IntegerTexts)
{
    char buffer[80];
    EXPECT_EQ(buffer, _itoa(0, buffer, 10));
    EXPECT_STREQ("0", buffer);
    const struct {
        int value, radix;
        const char* text;
    } ints[] = {
        {12345, 10, "12345"}, {-1, 10, "-1"}, {-1, 16, "ffffffff"}, {-10, 8, "37777777766"},
        {-255, 2, "11111111111111111111111100000001"}, {INT_MIN, 10, "-2147483648"}, {INT_MIN, 16, "80000000"},
        {INT_MAX, 10, "2147483647"}, {INT_MAX, 36, "zik0zj"}, {35, 36, "z"}, {255, 16, "ff"},
    };
    for (const auto& i : ints)
        EXPECT_STREQ(i.text, _itoa(i.value, buffer, i.radix)) << i.value << " " << i.radix;

    // long is 32 bits on Windows and 64 on Linux; the texts follow its width.
    const bool wide = sizeof(long) == 8;
    EXPECT_EQ(buffer, _ltoa(-344115L, buffer, 10));
    EXPECT_STREQ("-344115", buffer);
    EXPECT_STREQ(wide ? "-9223372036854775808" : "-2147483648", _ltoa(LONG_MIN, buffer, 10));
    EXPECT_STREQ(wide ? "8000000000000000" : "80000000", _ltoa(LONG_MIN, buffer, 16));
    EXPECT_STREQ(wide ? "fffffffffffabfcd" : "fffabfcd", _ltoa(-344115L, buffer, 16));
    EXPECT_EQ(buffer, _ultoa(0ul, buffer, 2));
    EXPECT_STREQ("0", buffer);
    EXPECT_STREQ("499602d2", _ultoa(1234567890ul, buffer, 16));
    EXPECT_STREQ(wide ? "18446744073709551615" : "4294967295", _ultoa(ULONG_MAX, buffer, 10));
    EXPECT_STREQ(std::string(8 * sizeof(long), '1').c_str(), _ultoa(ULONG_MAX, buffer, 2));
    EXPECT_STREQ(wide ? "3w5e11264sgsf" : "1z141z3", _ultoa(ULONG_MAX, buffer, 36));
}
