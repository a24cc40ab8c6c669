// Names in Windows form over POSIX: the current directory, the executable's name and the
// comparison of names. Drives come from a table (see TarnNames.h): C: is "/" by default.
#pragma once

#include "CommonTarnExport.h"
#include "WinTypes.h"

#ifndef MAX_PATH
#  define MAX_PATH 260
#endif
#ifndef ERROR_INVALID_NAME
#  define ERROR_INVALID_NAME 123L
#endif
#ifndef ERROR_DIRECTORY
#  define ERROR_DIRECTORY 267L
#endif

extern "C" {

// The current directory in Windows form ("C:\home\me", a root as "C:\"). Fits: copies it
// with a terminator and answers its length. Does not fit in nBufferLength characters: answers
// the size needed with the terminator and leaves the buffer alone. 0 on failure: the error of
// the system, ERROR_PATH_NOT_FOUND for a directory that no drive holds, and
// ERROR_FILENAME_EXCED_RANGE for one longer than MAX_PATH - 2 characters, which Windows
// cannot have.
COMMONTARN_API DWORD GetCurrentDirectoryA(DWORD nBufferLength, LPSTR lpBuffer);

// Makes a name in Windows form the current directory (see ConvertWindowsToPosixName for how
// it is read). FALSE with ERROR_INVALID_NAME (empty, wildcards, characters Windows forbids),
// ERROR_FILENAME_EXCED_RANGE (full name longer than MAX_PATH - 2), ERROR_FILE_NOT_FOUND (the
// directory is missing), ERROR_PATH_NOT_FOUND (a directory on the way is missing, or no drive),
// ERROR_DIRECTORY (a file), ERROR_ACCESS_DENIED.
COMMONTARN_API BOOL SetCurrentDirectoryA(LPCSTR lpPathName);

// The executable's full name in Windows form for module 0; other modules have no file here
// and fail with ERROR_MOD_NOT_FOUND. Fits in nSize characters: answers the length. Else as
// Windows since Vista: nSize - 1 characters and a terminator, answer nSize, and
// ERROR_INSUFFICIENT_BUFFER; nSize 0 writes nothing and answers 0.
COMMONTARN_API DWORD GetModuleFileNameA(HMODULE hModule, LPSTR lpFilename, DWORD nSize);

// Compares as Windows' word sort does for ASCII, without regard to case: control characters,
// the apostrophe and the hyphen count only when the texts are otherwise equal; then come the
// white space, the punctuation in the order ! " # $ % & ( ) * , . / : ; ? @ [ \ ] ^ _ ` { | } ~
// and + < = >, the digits and the letters. Bytes above 127 follow the letters by value.
// -1, 0 or 1; a null text is below every other one.
COMMONTARN_API int lstrcmpiA(LPCSTR lpString1, LPCSTR lpString2);

}
