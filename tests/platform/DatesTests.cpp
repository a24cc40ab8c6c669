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

WORD DosDate(int year, int month, int day)
{
    return WORD(((year - 1980) << 9) | (month << 5) | day);
}

SYSTEMTIME Date(int year, int month, int day)
{
    SYSTEMTIME st = {};
    st.wYear = WORD(year), st.wMonth = WORD(month), st.wDay = WORD(day);
    return st;
}

}  // namespace

// Every valid DOS date, 1980 to 2107: the system time gives the packed fields back, the day
// of the week turns by one, and consecutive dates lie exactly one day apart.
TEST(WinDates, DosDatesThroughFileTimeAndSystemTime)
{
    static const int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    uint64_t previous = 0;
    int previousWeekday = 1, checked = 0;  // 1979-12-31 was a Monday
    FILETIME ft;
    SYSTEMTIME st;
    for (int year = 1980; year <= 2107; ++year) {
        const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
        for (int month = 1; month <= 12; ++month) {
            const int days = kDays[month - 1] + (month == 2 && leap ? 1 : 0);
            for (int day = 1; day <= 31; ++day) {
                const BOOL ok = DosDateTimeToFileTime(DosDate(year, month, day), 0, &ft);
                if (day > days) {
                    // Wine takes 29 February of every year; only later days are checked.
                    EXPECT_TRUE(!ok || (month == 2 && day == 29)) << year << "-" << month << "-" << day;
                    continue;
                }
                ASSERT_TRUE(ok && FileTimeToSystemTime(&ft, &st)) << year << "-" << month << "-" << day;
                ASSERT_TRUE(st.wYear == year && st.wMonth == month && st.wDay == day && st.wHour == 0);
                ASSERT_EQ((previousWeekday + 1) % 7, st.wDayOfWeek);
                ASSERT_TRUE(checked++ == 0 || previous + 864000000000ull == Ticks(ft)) << year << "-" << month << "-" << day;
                previous = Ticks(ft);
                previousWeekday = st.wDayOfWeek;
            }
        }
    }
    EXPECT_EQ(46751, checked);  // 128 years, 31 of them leap years (not 2100)

    // No time zone; 23:59:58 is the last time a DOS word holds (seconds are counted in pairs).
    ASSERT_TRUE(DosDateTimeToFileTime(DosDate(1998, 3, 5), 0, &ft));
    EXPECT_EQ(0x01BD47C9A3E60000ull, Ticks(ft));
    ASSERT_TRUE(DosDateTimeToFileTime(DosDate(1998, 3, 5), WORD((23 << 11) | (59 << 5) | 29), &ft));
    EXPECT_EQ(0x01BD4892CD1E9300ull, Ticks(ft));
    ASSERT_TRUE(FileTimeToSystemTime(&ft, &st));
    EXPECT_TRUE(st.wHour == 23 && st.wMinute == 59 && st.wSecond == 58 && st.wMilliseconds == 0);
    // Day and month 0, month 13, hour 24, minute 60, second 60.
    for (WORD date : {WORD(0), WORD((18 << 9) | (13 << 5) | 1)})
        EXPECT_FALSE(DosDateTimeToFileTime(date, 0, &ft)) << date;
    for (WORD time : {WORD(24 << 11), WORD(60 << 5), WORD(30)})
        EXPECT_FALSE(DosDateTimeToFileTime(DosDate(1998, 3, 5), time, &ft)) << time;

    // The start of FILETIME, a Monday; milliseconds truncate; the top bit is refused.
    ft = {0, 0};
    ASSERT_TRUE(FileTimeToSystemTime(&ft, &st));
    EXPECT_TRUE(st.wYear == 1601 && st.wMonth == 1 && st.wDay == 1 && st.wDayOfWeek == 1);
    ft = {12345678, 0};
    ASSERT_TRUE(FileTimeToSystemTime(&ft, &st));
    EXPECT_TRUE(st.wSecond == 1 && st.wMilliseconds == 234);
    ft = {0, 0x80000000u};
    SetLastError(0);
    EXPECT_FALSE(FileTimeToSystemTime(&ft, &st));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
}

TEST(WinDates, DateFormatPicturesSizesAndFailures)
{
    // The names of days and months at both ends of their tables: Sunday in January, Saturday
    // in December.
    const struct {
        SYSTEMTIME date;
        const char* picture;
        const char* text;
    } pictures[] = {
        {Date(1998, 3, 5), "dd/MM/yyyy", "05/03/1998"},
        {Date(1998, 3, 5), "d/M/yy", "5/3/98"},
        {Date(2005, 1, 9), "yyyy-MM-dd", "2005-01-09"},
        {Date(1998, 3, 5), "'day' d 'of' M", "day 5 of 3"},  // quoted text as written
        {Date(1998, 3, 5), "'it''s' yyyy", "it's 1998"},     // two quotes make one
        {Date(2006, 1, 1), "ddd dddd MMM MMMM", "Sun Sunday Jan January"},
        {Date(2006, 12, 30), "ddd dddd MMM MMMM", "Sat Saturday Dec December"},
        {Date(1998, 3, 5), "ddd, MMM d", "Thu, Mar 5"},
    };
    char buffer[100];
    for (const auto& p : pictures) {
        const int written = GetDateFormatA(0, 0, &p.date, p.picture, buffer, sizeof buffer);
        EXPECT_EQ(std::string(p.text), written ? buffer : "<failed>") << p.picture;
        EXPECT_EQ(int(std::strlen(p.text)) + 1, written) << p.picture;
    }

    // The size with the terminator, also when only asked; a buffer short by one fails.
    const SYSTEMTIME march5 = Date(1998, 3, 5);
    EXPECT_EQ(11, GetDateFormatA(0, 0, &march5, "dd/MM/yyyy", nullptr, 0));
    EXPECT_EQ(11, GetDateFormatA(0, 0, &march5, "dd/MM/yyyy", buffer, 11));
    const struct {
        DWORD flags;
        SYSTEMTIME date;
        int size;
        DWORD error;
    } failures[] = {
        {0, march5, 10, ERROR_INSUFFICIENT_BUFFER},
        {DATE_SHORTDATE, march5, 16, ERROR_INVALID_FLAGS},  // flags beside a picture
        {0, Date(1998, 13, 5), 16, ERROR_INVALID_PARAMETER},
        {0, Date(1999, 4, 31), 16, ERROR_INVALID_PARAMETER},
    };
    for (const auto& f : failures) {
        SetLastError(0);
        EXPECT_EQ(0, GetDateFormatA(0, f.flags, &f.date, "dd/MM/yyyy", buffer, f.size));
        EXPECT_EQ(f.error, GetLastError());
    }
    EXPECT_EQ(5, GetDateFormatA(0, 0, nullptr, "yyyy", buffer, sizeof buffer));  // today
}
