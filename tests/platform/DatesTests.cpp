#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

namespace {

uint64_t Ticks(const FILETIME& t)
{
    return (uint64_t(t.dwHighDateTime) << 32) | t.dwLowDateTime;
}

FILETIME FromTicks(uint64_t ticks)
{
    FILETIME t;
    t.dwLowDateTime = DWORD(ticks);
    t.dwHighDateTime = DWORD(ticks >> 32);
    return t;
}

WORD DosDate(int year, int month, int day)
{
    return WORD(((year - 1980) << 9) | (month << 5) | day);
}

SYSTEMTIME Date(int year, int month, int day)
{
    SYSTEMTIME st = {};
    st.wYear = WORD(year);
    st.wMonth = WORD(month);
    st.wDay = WORD(day);
    return st;
}

std::string Format(const SYSTEMTIME& date, const char* picture)
{
    char buffer[100];
    const int written = GetDateFormatA(0, 0, &date, picture, buffer, sizeof buffer);
    EXPECT_EQ(int(std::strlen(buffer)) + 1, written) << picture;
    return written ? std::string(buffer) : std::string("<failed>");
}

}

TEST(WinDates, DosDateTimeGivesFileTimeWithoutTimeZone)
{
    FILETIME ft;
    ASSERT_TRUE(DosDateTimeToFileTime(DosDate(1998, 3, 5), 0, &ft));
    EXPECT_EQ(0x01BD47C9A3E60000ull, Ticks(ft));
    // 23:59:58, the last time a DOS word holds (seconds are counted in pairs).
    ASSERT_TRUE(DosDateTimeToFileTime(DosDate(1998, 3, 5), WORD((23 << 11) | (59 << 5) | 29), &ft));
    EXPECT_EQ(0x01BD4892CD1E9300ull, Ticks(ft));

    SYSTEMTIME st;
    ASSERT_TRUE(FileTimeToSystemTime(&ft, &st));
    EXPECT_TRUE(st.wYear == 1998 && st.wMonth == 3 && st.wDay == 5 && st.wHour == 23 && st.wMinute == 59 &&
                st.wSecond == 58 && st.wMilliseconds == 0);
    EXPECT_EQ(4, st.wDayOfWeek);  // Thursday
}

// Every valid DOS date, 1980 to 2107: the system time gives the packed fields back, the day
// of the week turns by one, and consecutive dates lie exactly one day apart.
TEST(WinDates, EveryDosDateRoundTripsThroughSystemTime)
{
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const uint64_t kDay = 864000000000ull;
    uint64_t previous = 0;
    int previousWeekday = -1, checked = 0;
    for (int year = 1980; year <= 2107; ++year) {
        const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
        for (int month = 1; month <= 12; ++month) {
            const int days = kDays[month - 1] + (month == 2 && leap ? 1 : 0);
            for (int day = 1; day <= 31; ++day) {
                FILETIME ft;
                const BOOL ok = DosDateTimeToFileTime(DosDate(year, month, day), 0, &ft);
                if (day > days) {
                    // Wine takes 29 February of every year; only later days are checked.
                    if (month != 2 || day != 29) {
                        EXPECT_FALSE(ok) << year << "-" << month << "-" << day;
                    }
                    continue;
                }
                ASSERT_TRUE(ok) << year << "-" << month << "-" << day;
                SYSTEMTIME st;
                ASSERT_TRUE(FileTimeToSystemTime(&ft, &st));
                ASSERT_EQ(year, st.wYear);
                ASSERT_EQ(month, st.wMonth);
                ASSERT_EQ(day, st.wDay);
                ASSERT_EQ(0, st.wHour);
                if (previousWeekday >= 0) {
                    ASSERT_EQ(previous + kDay, Ticks(ft)) << year << "-" << month << "-" << day;
                    ASSERT_EQ((previousWeekday + 1) % 7, st.wDayOfWeek);
                }
                previous = Ticks(ft);
                previousWeekday = st.wDayOfWeek;
                ++checked;
            }
        }
    }
    EXPECT_EQ(46751, checked);  // 128 years, 31 of them leap years (not 2100)
    // 1980-01-01 was a Tuesday.
    SYSTEMTIME first;
    FILETIME ft;
    ASSERT_TRUE(DosDateTimeToFileTime(DosDate(1980, 1, 1), 0, &ft));
    ASSERT_TRUE(FileTimeToSystemTime(&ft, &first));
    EXPECT_EQ(2, first.wDayOfWeek);
}

TEST(WinDates, InvalidDosFieldsFail)
{
    FILETIME ft;
    EXPECT_FALSE(DosDateTimeToFileTime(0, 0, &ft));                                // day and month 0
    EXPECT_FALSE(DosDateTimeToFileTime(WORD((18 << 9) | (13 << 5) | 1), 0, &ft));  // month 13
    EXPECT_FALSE(DosDateTimeToFileTime(DosDate(1998, 3, 5), WORD(24 << 11), &ft));
    EXPECT_FALSE(DosDateTimeToFileTime(DosDate(1998, 3, 5), WORD(60 << 5), &ft));
    EXPECT_FALSE(DosDateTimeToFileTime(DosDate(1998, 3, 5), WORD(30), &ft));  // 60 seconds
    EXPECT_TRUE(DosDateTimeToFileTime(DosDate(1998, 3, 5), WORD(29), &ft));   // 58 seconds
}

TEST(WinDates, FileTimeToSystemTimeLimits)
{
    SYSTEMTIME st;
    FILETIME ft = FromTicks(0);
    ASSERT_TRUE(FileTimeToSystemTime(&ft, &st));
    EXPECT_TRUE(st.wYear == 1601 && st.wMonth == 1 && st.wDay == 1);
    EXPECT_EQ(1, st.wDayOfWeek);  // Monday

    ft = FromTicks(12345678ull);  // milliseconds truncate
    ASSERT_TRUE(FileTimeToSystemTime(&ft, &st));
    EXPECT_EQ(1, st.wSecond);
    EXPECT_EQ(234, st.wMilliseconds);

    ft = FromTicks(0x8000000000000000ull);
    SetLastError(0);
    EXPECT_FALSE(FileTimeToSystemTime(&ft, &st));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
}

TEST(WinDates, DateFormatPictures)
{
    const SYSTEMTIME march5 = Date(1998, 3, 5);
    EXPECT_EQ("05/03/1998", Format(march5, "dd/MM/yyyy"));
    EXPECT_EQ("5/3/98", Format(march5, "d/M/yy"));
    EXPECT_EQ("1998-03-05", Format(march5, "yyyy-MM-dd"));
    // Quoted text stands as written, two quotes make one, and other characters pass through.
    EXPECT_EQ("day 5 of 3", Format(march5, "'day' d 'of' M"));
    EXPECT_EQ("it's 1998", Format(march5, "'it''s' yyyy"));
}

TEST(WinDates, DateFormatSizesAndFailures)
{
    const SYSTEMTIME march5 = Date(1998, 3, 5);
    char buffer[16];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(11, GetDateFormatA(0, 0, &march5, "dd/MM/yyyy", buffer, 11));
    EXPECT_STREQ("05/03/1998", buffer);
    EXPECT_EQ(11, GetDateFormatA(0, 0, &march5, "dd/MM/yyyy", nullptr, 0));

    SetLastError(0);
    EXPECT_EQ(0, GetDateFormatA(0, 0, &march5, "dd/MM/yyyy", buffer, 10));
    EXPECT_EQ(DWORD(ERROR_INSUFFICIENT_BUFFER), GetLastError());

    SetLastError(0);
    EXPECT_EQ(0, GetDateFormatA(0, DATE_SHORTDATE, &march5, "dd/MM/yyyy", buffer, sizeof buffer));
    EXPECT_EQ(DWORD(ERROR_INVALID_FLAGS), GetLastError());

    const SYSTEMTIME badMonth = Date(1998, 13, 5);
    const SYSTEMTIME badDay = Date(1999, 4, 31);
    SetLastError(0);
    EXPECT_EQ(0, GetDateFormatA(0, 0, &badMonth, "dd/MM/yyyy", buffer, sizeof buffer));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
    SetLastError(0);
    EXPECT_EQ(0, GetDateFormatA(0, 0, &badDay, "dd/MM/yyyy", buffer, sizeof buffer));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());

    EXPECT_EQ(5, GetDateFormatA(0, 0, nullptr, "yyyy", buffer, sizeof buffer));  // today
}
