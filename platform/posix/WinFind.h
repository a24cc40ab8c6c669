// Directory searches: FindFirstFileA, FindNextFileA and FindClose, with Windows' pattern
// match, its "." and ".." entries and its error codes.
#pragma once

#include "CommonTarnExport.h"
#include "WinNames.h"
#include "WinTypes.h"

#ifndef ERROR_NO_MORE_FILES
#  define ERROR_NO_MORE_FILES 18L
#endif

typedef struct _WIN32_FIND_DATAA {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    CHAR cFileName[MAX_PATH];
    CHAR cAlternateFileName[14];
} WIN32_FIND_DATAA, *PWIN32_FIND_DATAA, *LPWIN32_FIND_DATAA;

extern "C" {

// Opens a search for the entries of a directory whose names fit the last part of lpFileName,
// and gives the first. The last part is a pattern when it holds * or ?, matched as Windows
// matches (see MatchWindowsPattern), and then a directory other than a drive's root gives
// "." and ".." first where they fit; otherwise it is one name, found without regard to case.
// The data is filled as GetFileAttributesA and GetFileInformationByHandle report the entry,
// symbolic links followed; no short names are kept. Failures: ERROR_FILE_NOT_FOUND (nothing
// fits, or the name ends in a separator), ERROR_PATH_NOT_FOUND (the directory is missing, or
// the name is null or empty), ERROR_DIRECTORY (the directory is a file),
// ERROR_FILENAME_EXCED_RANGE (a name of MAX_PATH characters or more), ERROR_INVALID_NAME
// (wildcards before the last part, characters Windows forbids), ERROR_ACCESS_DENIED,
// ERROR_INVALID_PARAMETER (no place for the data).
COMMONTARN_API HANDLE FindFirstFileA(LPCSTR lpFileName, LPWIN32_FIND_DATAA lpFindFileData);
// The next entry, or FALSE with ERROR_NO_MORE_FILES. Entries that vanish during the search
// are passed over.
COMMONTARN_API BOOL FindNextFileA(HANDLE hFindFile, LPWIN32_FIND_DATAA lpFindFileData);
// Ends a search; ERROR_INVALID_HANDLE for anything but an open search. CloseHandle does not
// end searches, as on Windows.
COMMONTARN_API BOOL FindClose(HANDLE hFindFile);

}

// Windows' match of a search pattern against a name, without regard to case: ? takes one
// character but never a dot, and at a dot or the end of the name it takes nothing; * takes
// any run of characters, but one in front of a dot cannot take the name's last dot; a dot in
// front of * or ? or at the end of the pattern also fits the end of the name. So *.* fits
// every name, *. the names without an extension, a?c abc but not ac. Trailing spaces of the
// pattern do not count. A pattern of MAX_PATH characters or more fits nothing.
COMMONTARN_API int MatchWindowsPattern(const char* pattern, const char* name);
