// Calls beyond the Windows interface, the same on every target: a drive letter for a host
// directory, and the conversions between the host's form of a name and the Windows form.
#pragma once

#include "TarnPlatform.h"

#include "CommonTarnExport.h"

extern "C" {

// Makes drive letter `drive` (either case) name `directory`, a directory of the host; a null
// directory takes the mapping away again (C: then returns to "/"). On POSIX the table belongs
// to the process, C: names "/" until mapped otherwise, and a directory is kept under its real
// name, symbolic links resolved. FALSE with ERROR_INVALID_PARAMETER for a drive that is no
// letter, ERROR_PATH_NOT_FOUND or ERROR_DIRECTORY for a directory that is missing or a file.
// On Windows drive letters belong to the system: FALSE with ERROR_NOT_SUPPORTED.
COMMONTARN_API BOOL MapDriveToDirectory(CHAR drive, LPCSTR directory);

// The full Windows form of a host name: on POSIX an absolute name takes the drive whose
// directory holds it (the longest directory wins, then the lowest letter), a relative one is
// taken from the current directory first; "." and ".." are resolved as text. On Windows the
// slashes become backslashes and the name is made full as GetFullPathNameA does.
// Answers as GetFullPathNameA: the length without the terminator when it fits in size
// characters, else the size needed with the terminator and the buffer untouched; 0 on failure
// with ERROR_INVALID_PARAMETER (null name), ERROR_INVALID_NAME (empty name; on POSIX a part
// with a backslash or a colon, which a Windows name cannot hold) or ERROR_PATH_NOT_FOUND
// (no drive holds the name).
COMMONTARN_API DWORD ConvertPosixToWindowsName(LPCSTR posixName, LPSTR buffer, DWORD size);

// The host's form of a Windows name, made full first as Windows does: "/" and "\" both
// separate, "X:name" is relative to the current directory of that drive when it is the
// current one and to its root otherwise, "\name" is on the current drive, trailing points
// and spaces leave the last part, ".." never climbs above a drive's root. On Windows the
// result keeps the drive and has forward slashes. Answers as ConvertPosixToWindowsName;
// ERROR_INVALID_NAME also for the characters < > " | or a colon past the drive, and
// ERROR_PATH_NOT_FOUND for a drive without a directory or a network name.
COMMONTARN_API DWORD ConvertWindowsToPosixName(LPCSTR windowsName, LPSTR buffer, DWORD size);

}
