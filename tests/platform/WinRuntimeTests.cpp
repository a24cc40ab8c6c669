#include "RunningUnderWine.h"
#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

TEST(WinRuntime, CaseBlindCompare)
{
    EXPECT_EQ(0, _stricmp("Hello World", "hELLO wORLD"));
    EXPECT_EQ(0, _stricmp("", ""));
    EXPECT_LT(_stricmp("abc", "ABCD"), 0);
    EXPECT_GT(_stricmp("ABCD", "abc"), 0);
    EXPECT_LT(_stricmp("Apple", "banana"), 0);
    EXPECT_GT(_stricmp("b", "A"), 0);

    // Characters between 'Z' and 'a' sort below every letter, because letters are
    // compared in lower case.
    EXPECT_LT(_stricmp("_", "a"), 0);
    EXPECT_LT(_stricmp("_", "A"), 0);
    EXPECT_GT(_stricmp("A", "_"), 0);
    EXPECT_LT(_stricmp("abc_", "ABCD"), 0);
    EXPECT_LT(_stricmp("[", "B"), 0);
    EXPECT_GT(_stricmp("{", "Z"), 0);

    // Bytes above 127 compare as unsigned and keep their case, as msvcrt.dll does on
    // Windows. Wine 8's msvcrt compares them as signed char in the "C" locale; later Wine
    // returns the unsigned difference. When the Wine line fails, Wine answers as Windows
    // does and the line goes.
    if (RunningUnderWine())
        EXPECT_LT(_stricmp("\xE9", "z"), 0) << "Wine's signed comparison";
    else
        EXPECT_GT(_stricmp("\xE9", "z"), 0);
    EXPECT_NE(0, _stricmp("\xC9", "\xE9"));

    EXPECT_EQ(0, _strnicmp("abcX", "ABCy", 3));
    EXPECT_LT(_strnicmp("abcX", "ABCy", 4), 0);
    EXPECT_EQ(0, _strnicmp("abc", "xyz", 0));
    EXPECT_EQ(0, _strnicmp("ab", "AB", 100));
    EXPECT_LT(_strnicmp("ab", "ABc", 100), 0);
    EXPECT_GT(_strnicmp("abc", "AB", 3), 0);
    EXPECT_LT(_strnicmp("ab_", "ABa", 3), 0);
    EXPECT_GT(_strnicmp("ABa", "ab_", 3), 0);
}

TEST(WinRuntime, CaseConversionInPlace)
{
    char text[] = "Hello, World_[]{} 09 \xE9";
    EXPECT_EQ(text, _strupr(text));
    EXPECT_STREQ("HELLO, WORLD_[]{} 09 \xE9", text);
    EXPECT_EQ(text, _strlwr(text));
    EXPECT_STREQ("hello, world_[]{} 09 \xE9", text);

    char empty[] = "";
    EXPECT_EQ(empty, _strupr(empty));
    EXPECT_STREQ("", empty);
}

TEST(WinRuntime, IntegerTexts)
{
    char buffer[80];
    EXPECT_EQ(buffer, _itoa(0, buffer, 10));
    EXPECT_STREQ("0", buffer);
    EXPECT_STREQ("12345", _itoa(12345, buffer, 10));
    EXPECT_STREQ("-1", _itoa(-1, buffer, 10));
    EXPECT_STREQ("ffffffff", _itoa(-1, buffer, 16));
    EXPECT_STREQ("37777777766", _itoa(-10, buffer, 8));
    EXPECT_STREQ("11111111111111111111111100000001", _itoa(-255, buffer, 2));
    EXPECT_STREQ("-2147483648", _itoa(INT_MIN, buffer, 10));
    EXPECT_STREQ("80000000", _itoa(INT_MIN, buffer, 16));
    EXPECT_STREQ("2147483647", _itoa(INT_MAX, buffer, 10));
    EXPECT_STREQ(std::string(31, '1').c_str(), _itoa(INT_MAX, buffer, 2));
    EXPECT_STREQ("7fffffff", _itoa(INT_MAX, buffer, 16));
    EXPECT_STREQ("z", _itoa(35, buffer, 36));
    EXPECT_STREQ("73", _itoa(255, buffer, 36));
    EXPECT_STREQ("zik0zj", _itoa(INT_MAX, buffer, 36));
    EXPECT_STREQ("ff", _itoa(255, buffer, 16));

    // long is 32 bits on Windows and 64 on Linux; the texts follow its width.
    const bool wide = sizeof(long) == 8;
    EXPECT_EQ(buffer, _ltoa(-344115L, buffer, 10));
    EXPECT_STREQ("-344115", buffer);
    EXPECT_STREQ(wide ? "-9223372036854775808" : "-2147483648", _ltoa(LONG_MIN, buffer, 10));
    EXPECT_STREQ(wide ? "9223372036854775807" : "2147483647", _ltoa(LONG_MAX, buffer, 10));
    EXPECT_STREQ(wide ? "8000000000000000" : "80000000", _ltoa(LONG_MIN, buffer, 16));
    EXPECT_STREQ(std::string(2 * sizeof(long), 'f').c_str(), _ltoa(-1L, buffer, 16));
    EXPECT_STREQ(wide ? "fffffffffffabfcd" : "fffabfcd", _ltoa(-344115L, buffer, 16));
    EXPECT_STREQ("-100", _ltoa(-100L, buffer, 10));

    EXPECT_EQ(buffer, _ultoa(0ul, buffer, 2));
    EXPECT_STREQ("0", buffer);
    EXPECT_STREQ("499602d2", _ultoa(1234567890ul, buffer, 16));
    EXPECT_STREQ(wide ? "18446744073709551615" : "4294967295", _ultoa(ULONG_MAX, buffer, 10));
    EXPECT_STREQ(std::string(8 * sizeof(long), '1').c_str(), _ultoa(ULONG_MAX, buffer, 2));
    EXPECT_STREQ(wide ? "3w5e11264sgsf" : "1z141z3", _ultoa(ULONG_MAX, buffer, 36));
}
