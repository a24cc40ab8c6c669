// Date conversions: DOS date and time words, FILETIME, SYSTEMTIME, and date texts.
#pragma once

#include "CommonTarnExport.h"
#include "WinTypes.h"

extern "C" {

// Packs no time zone: the DOS fields are taken as they stand. Fails with
// ERROR_INVALID_PARAMETER when a field is out of range (day 0, month 13, 31 April, hour 24).
COMMONTARN_API BOOL DosDateTimeToFileTime(WORD wFatDate, WORD wFatTime, LPFILETIME lpFileTime);

// Fills every field, the day of the week (Sunday 0) included. Fails with
// ERROR_INVALID_PARAMETER for times at or above 2^63.
COMMONTARN_API BOOL FileTimeToSystemTime(const FILETIME* lpFileTime, LPSYSTEMTIME lpSystemTime);

// Formats a date by a picture (d, dd, ddd, dddd, M, MM, MMM, MMMM, y, yy, yyyy, g, gg, text in
// single quotes) with the English names of the United States, whatever the locale; with a
// null picture, dwFlags picks the short (M/d/yyyy) or long date. A null lpDate formats
// today's local date. Answers the characters written with the terminator; with cchDate 0,
// the size needed. Fails with 0 and ERROR_INSUFFICIENT_BUFFER when the text does not fit,
// ERROR_INVALID_FLAGS for flags beside a picture, ERROR_INVALID_PARAMETER for a bad date.
COMMONTARN_API int GetDateFormatA(LCID Locale, DWORD dwFlags, const SYSTEMTIME* lpDate, LPCSTR lpFormat,
                                  LPSTR lpDateStr, int cchDate);

}
