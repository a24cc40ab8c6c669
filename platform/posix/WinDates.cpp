// Date conversions with the Windows semantics: DOS words, FILETIME, SYSTEMTIME, date pictures.
#include "WinDates.h"

#include <stdint.h>
#include <stdio.h>
#include <time.h>

#include <string>

#include "WinKernel.h"

namespace {

const uint64_t kTicksPerSecond = 10000000;
const uint64_t kTicksPerDay = 86400 * kTicksPerSecond;
// Days from 0000-03-01 of the proleptic Gregorian calendar to 1601-01-01.
const int64_t kDaysTo1601 = 584694;

bool IsLeapYear(int year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysInMonth(int year, int month)
{
    static const unsigned char days[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && IsLeapYear(year) ? 29 : days[month - 1];
}

// Days since 1601-01-01 of a valid date, counted from March so that the leap day falls last.
int64_t DaysFrom1601(int year, int month, int day)
{
    const int64_t y = month <= 2 ? year - 1 : year;
    const int64_t era = y / 400;
    const int64_t yearOfEra = y - era * 400;
    const int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - kDaysTo1601;
}

// The inverse of DaysFrom1601 for days at or above 0.
void CivilFromDays(int64_t days, int& year, int& month, int& day)
{
    const int64_t z = days + kDaysTo1601;
    const int64_t era = z / 146097;
    const int64_t dayOfEra = z - era * 146097;
    const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t mp = (5 * dayOfYear + 2) / 153;
    day = static_cast<int>(dayOfYear - (153 * mp + 2) / 5 + 1);
    month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    year = static_cast<int>(era * 400 + yearOfEra + (month <= 2 ? 1 : 0));
}

// 1601-01-01 was a Monday; Sunday is 0.
int DayOfWeek(int64_t days)
{
    return static_cast<int>((days + 1) % 7);
}

bool IsValidDate(int year, int month, int day)
{
    return year >= 1601 && year <= 30827 && month >= 1 && month <= 12 && day >= 1 &&
           day <= DaysInMonth(year, month);
}

const char* const kDayNames[7] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
const char* const kDayAbbreviations[7] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
const char* const kMonthNames[12] = {"January", "February", "March",     "April",   "May",      "June",
                                     "July",    "August",   "September", "October", "November", "December"};
const char* const kMonthAbbreviations[12] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                             "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

void AppendNumber(std::string& out, int value, bool twoDigits)
{
    char digits[16];
    snprintf(digits, sizeof digits, twoDigits ? "%02d" : "%d", value);
    out += digits;
}

// Expands a date picture; the date is valid.
void FormatDate(const char* picture, int year, int month, int day, int dayOfWeek, std::string& out)
{
    for (const char* p = picture; *p;) {
        const char c = *p;
        if (c == '\'') {
            // Quoted text, where two quotes in a row stand for one; an open quote runs to the end.
            ++p;
            while (*p) {
                if (*p == '\'') {
                    if (p[1] != '\'')
                        break;
                    ++p;
                }
                out += *p++;
            }
            if (*p)
                ++p;
            continue;
        }
        if (c != 'd' && c != 'M' && c != 'y' && c != 'g') {
            out += c;
            ++p;
            continue;
        }
        int count = 0;
        while (p[count] == c)
            ++count;
        p += count;
        switch (c) {
        case 'd':
            if (count <= 2)
                AppendNumber(out, day, count == 2);
            else
                out += count == 3 ? kDayAbbreviations[dayOfWeek] : kDayNames[dayOfWeek];
            break;
        case 'M':
            if (count <= 2)
                AppendNumber(out, month, count == 2);
            else
                out += count == 3 ? kMonthAbbreviations[month - 1] : kMonthNames[month - 1];
            break;
        case 'y':
            if (count <= 2)
                AppendNumber(out, year % 100, count == 2);
            else
                AppendNumber(out, year, false);
            break;
        default:
            out += "A.D.";
            break;
        }
    }
}

}

extern "C" {

BOOL DosDateTimeToFileTime(WORD wFatDate, WORD wFatTime, LPFILETIME lpFileTime)
{
    const int year = 1980 + (wFatDate >> 9);
    const int month = (wFatDate >> 5) & 0x0F;
    const int day = wFatDate & 0x1F;
    const int hour = wFatTime >> 11;
    const int minute = (wFatTime >> 5) & 0x3F;
    const int second = (wFatTime & 0x1F) * 2;
    if (!IsValidDate(year, month, day) || hour > 23 || minute > 59 || second > 59) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const uint64_t ticks = static_cast<uint64_t>(DaysFrom1601(year, month, day)) * kTicksPerDay +
                           static_cast<uint64_t>(hour * 3600 + minute * 60 + second) * kTicksPerSecond;
    lpFileTime->dwLowDateTime = static_cast<DWORD>(ticks);
    lpFileTime->dwHighDateTime = static_cast<DWORD>(ticks >> 32);
    return TRUE;
}

BOOL FileTimeToSystemTime(const FILETIME* lpFileTime, LPSYSTEMTIME lpSystemTime)
{
    const uint64_t ticks = (static_cast<uint64_t>(lpFileTime->dwHighDateTime) << 32) | lpFileTime->dwLowDateTime;
    if (ticks >> 63) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    const int64_t days = static_cast<int64_t>(ticks / kTicksPerDay);
    const uint64_t inDay = ticks % kTicksPerDay;
    const uint64_t seconds = inDay / kTicksPerSecond;
    int year, month, day;
    CivilFromDays(days, year, month, day);
    lpSystemTime->wYear = static_cast<WORD>(year);
    lpSystemTime->wMonth = static_cast<WORD>(month);
    lpSystemTime->wDayOfWeek = static_cast<WORD>(DayOfWeek(days));
    lpSystemTime->wDay = static_cast<WORD>(day);
    lpSystemTime->wHour = static_cast<WORD>(seconds / 3600);
    lpSystemTime->wMinute = static_cast<WORD>(seconds / 60 % 60);
    lpSystemTime->wSecond = static_cast<WORD>(seconds % 60);
    lpSystemTime->wMilliseconds = static_cast<WORD>(inDay % kTicksPerSecond / 10000);
    return TRUE;
}

int GetDateFormatA(LCID, DWORD dwFlags, const SYSTEMTIME* lpDate, LPCSTR lpFormat, LPSTR lpDateStr, int cchDate)
{
    const DWORD kNoUserOverride = 0x80000000u;
    if (cchDate < 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    if (lpFormat ? dwFlags != 0
                 : (dwFlags & ~(DATE_SHORTDATE | DATE_LONGDATE | kNoUserOverride)) != 0 ||
                       (dwFlags & (DATE_SHORTDATE | DATE_LONGDATE)) == (DATE_SHORTDATE | DATE_LONGDATE)) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    int year, month, day;
    if (lpDate) {
        year = lpDate->wYear;
        month = lpDate->wMonth;
        day = lpDate->wDay;
        if (!IsValidDate(year, month, day)) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return 0;
        }
    } else {
        const time_t now = time(nullptr);
        struct tm local;
        localtime_r(&now, &local);
        year = local.tm_year + 1900;
        month = local.tm_mon + 1;
        day = local.tm_mday;
    }
    const char* picture = lpFormat ? lpFormat : (dwFlags & DATE_LONGDATE) ? "dddd, MMMM d, yyyy" : "M/d/yyyy";
    std::string text;
    FormatDate(picture, year, month, day, DayOfWeek(DaysFrom1601(year, month, day)), text);
    const int needed = static_cast<int>(text.size()) + 1;
    if (cchDate == 0)
        return needed;
    if (!lpDateStr || cchDate < needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return 0;
    }
    text.copy(lpDateStr, text.size());
    lpDateStr[text.size()] = '\0';
    return needed;
}

}
