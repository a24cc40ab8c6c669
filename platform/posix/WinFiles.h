// Files by handle and by name: CreateFileA and its companions, with Windows' share modes,
// locks, attributes and error codes.
#pragma once

#include "CommonTarnExport.h"
#include "WinTypes.h"

typedef LONG* PLONG;

#define INVALID_HANDLE_VALUE ((HANDLE)(LONG_PTR)-1)
#define INVALID_SET_FILE_POINTER ((DWORD)-1)
#define INVALID_FILE_SIZE ((DWORD)0xFFFFFFFF)
#define INVALID_FILE_ATTRIBUTES ((DWORD)-1)

// Desired access.
#define GENERIC_READ 0x80000000
#define GENERIC_WRITE 0x40000000

// Share modes.
#define FILE_SHARE_READ 0x00000001
#define FILE_SHARE_WRITE 0x00000002
#define FILE_SHARE_DELETE 0x00000004

// Creation dispositions.
#define CREATE_NEW 1
#define CREATE_ALWAYS 2
#define OPEN_EXISTING 3
#define OPEN_ALWAYS 4
#define TRUNCATE_EXISTING 5

// Attributes.
#define FILE_ATTRIBUTE_READONLY 0x00000001
#define FILE_ATTRIBUTE_HIDDEN 0x00000002
#define FILE_ATTRIBUTE_SYSTEM 0x00000004
#define FILE_ATTRIBUTE_DIRECTORY 0x00000010
#define FILE_ATTRIBUTE_ARCHIVE 0x00000020
#define FILE_ATTRIBUTE_NORMAL 0x00000080
#define FILE_ATTRIBUTE_TEMPORARY 0x00000100

// Flags of CreateFileA.
#define FILE_FLAG_WRITE_THROUGH 0x80000000
#define FILE_FLAG_OVERLAPPED 0x40000000
#define FILE_FLAG_NO_BUFFERING 0x20000000
#define FILE_FLAG_RANDOM_ACCESS 0x10000000
#define FILE_FLAG_SEQUENTIAL_SCAN 0x08000000
#define FILE_FLAG_DELETE_ON_CLOSE 0x04000000

// Move methods of SetFilePointer.
#define FILE_BEGIN 0
#define FILE_CURRENT 1
#define FILE_END 2

// Error codes of the file calls beyond those of WinTypes.h, with the values of winerror.h.
#ifndef ERROR_LOCK_VIOLATION
#  define ERROR_LOCK_VIOLATION 33L
#endif
#ifndef ERROR_HANDLE_EOF
#  define ERROR_HANDLE_EOF 38L
#endif
#ifndef ERROR_INVALID_NAME
#  define ERROR_INVALID_NAME 123L
#endif
#ifndef ERROR_NEGATIVE_SEEK
#  define ERROR_NEGATIVE_SEEK 131L
#endif
#ifndef ERROR_NOT_LOCKED
#  define ERROR_NOT_LOCKED 158L
#endif
#ifndef ERROR_ALREADY_EXISTS
#  define ERROR_ALREADY_EXISTS 183L
#endif
#ifndef ERROR_DIRECTORY
#  define ERROR_DIRECTORY 267L
#endif
#ifndef ERROR_IO_INCOMPLETE
#  define ERROR_IO_INCOMPLETE 996L
#endif
#ifndef ERROR_IO_PENDING
#  define ERROR_IO_PENDING 997L
#endif

typedef struct _OVERLAPPED {
    ULONG_PTR Internal;
    ULONG_PTR InternalHigh;
    union {
        struct {
            DWORD Offset;
            DWORD OffsetHigh;
        };
        PVOID Pointer;
    };
    HANDLE hEvent;
} OVERLAPPED, *LPOVERLAPPED;

typedef struct _BY_HANDLE_FILE_INFORMATION {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD dwVolumeSerialNumber;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD nNumberOfLinks;
    DWORD nFileIndexHigh;
    DWORD nFileIndexLow;
} BY_HANDLE_FILE_INFORMATION, *PBY_HANDLE_FILE_INFORMATION, *LPBY_HANDLE_FILE_INFORMATION;

extern "C" {

// Opens or creates a file by its Windows name. Access is GENERIC_READ, GENERIC_WRITE, both,
// or 0 to query times and attributes only. Share modes hold between all handles of the file,
// in this process and in others: an open that the handles already there do not allow, or
// that would deny them what they have, fails with ERROR_SHARING_VIOLATION; an open with
// access 0 meets no conflict. (Two processes that open in conflict at the same moment may
// both fail.) Failures: ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND (a directory on the way
// is missing, or an empty name), ERROR_FILE_EXISTS (CREATE_NEW), ERROR_ACCESS_DENIED (a
// directory, a read-only file opened for writing, replaced or to be deleted, a file whose
// deletion is pending, no permission),
// ERROR_INVALID_NAME (wildcards, a file name ending in a separator),
// ERROR_FILENAME_EXCED_RANGE (MAX_PATH characters or more), ERROR_INVALID_PARAMETER (a
// disposition that is no such, an access beyond GENERIC_READ and GENERIC_WRITE).
// CREATE_ALWAYS and OPEN_ALWAYS on an existing file succeed and set ERROR_ALREADY_EXISTS;
// other successes set ERROR_SUCCESS. FILE_ATTRIBUTE_READONLY makes a new or replaced file
// read-only; hidden is only a leading dot in the name here, and the other attributes are
// not kept. A dot file may be replaced without FILE_ATTRIBUTE_HIDDEN, which Windows would
// refuse for a hidden file: on Linux dot files are everyday files. FILE_FLAG_DELETE_ON_CLOSE gives delete access, and the name goes at the last
// close of the file's handles in this process; device names are never deleted.
// FILE_FLAG_NO_BUFFERING: direct I/O where the file system has it; either way reads and
// writes must have offsets, counts and buffer addresses that are multiples of 512, or fail
// with ERROR_INVALID_PARAMETER. FILE_FLAG_WRITE_THROUGH: each write reaches the disk before
// it returns. FILE_FLAG_RANDOM_ACCESS and FILE_FLAG_SEQUENTIAL_SCAN advise the system.
// FILE_FLAG_OVERLAPPED: reads and writes take their offset from the OVERLAPPED record and
// leave the file pointer alone. The template handle is ignored.
COMMONTARN_API HANDLE CreateFileA(LPCSTR lpFileName, DWORD dwDesiredAccess, DWORD dwShareMode,
    LPSECURITY_ATTRIBUTES lpSecurityAttributes, DWORD dwCreationDisposition,
    DWORD dwFlagsAndAttributes, HANDLE hTemplateFile);

// Reads at the file pointer, or with an OVERLAPPED record at its offset. A read at or past
// the end succeeds with 0 bytes, or fails with ERROR_HANDLE_EOF when a record is given. A
// range that another handle of this process has locked fails with ERROR_LOCK_VIOLATION;
// ranges locked in other processes are not looked for here, which would cost a system call
// per read (LockFile itself sees them). Calls with a record are done when they return: the
// record holds the status and count for GetOverlappedResult, and its event (if any) is set,
// after a failure too, where Windows would leave a waiter waiting.
COMMONTARN_API BOOL ReadFile(HANDLE hFile, LPVOID lpBuffer, DWORD nNumberOfBytesToRead,
    LPDWORD lpNumberOfBytesRead, LPOVERLAPPED lpOverlapped);
// Writes all bytes or fails: ERROR_DISK_FULL for a full disk or a file over the size
// limit, ERROR_LOCK_VIOLATION as for ReadFile. A handle without the access to read or
// write fails with ERROR_ACCESS_DENIED, an overlapped handle without a record with
// ERROR_INVALID_PARAMETER.
COMMONTARN_API BOOL WriteFile(HANDLE hFile, LPCVOID lpBuffer, DWORD nNumberOfBytesToWrite,
    LPDWORD lpNumberOfBytesWritten, LPOVERLAPPED lpOverlapped);
// The byte count of a finished overlapped call, and its error.
COMMONTARN_API BOOL GetOverlappedResult(HANDLE hFile, LPOVERLAPPED lpOverlapped,
    LPDWORD lpNumberOfBytesTransferred, BOOL bWait);

// Moves the file pointer by a signed 32-bit distance, or by a 64-bit one whose high half is
// *lpDistanceToMoveHigh; answers the low half of the new position and puts the high half in
// *lpDistanceToMoveHigh. INVALID_SET_FILE_POINTER on failure, without moving: ERROR_NEGATIVE_SEEK
// for a position before the start, ERROR_INVALID_PARAMETER for one beyond 32 bits without a
// high half. A position past the end is allowed. A success whose low half is all ones sets
// the last error to ERROR_SUCCESS, so that a caller can tell it from a failure.
COMMONTARN_API DWORD SetFilePointer(HANDLE hFile, LONG lDistanceToMove, PLONG lpDistanceToMoveHigh,
    DWORD dwMoveMethod);
// Cuts or extends the file at the file pointer; a longer file gets its space at once, or
// ERROR_DISK_FULL. Needs write access.
COMMONTARN_API BOOL SetEndOfFile(HANDLE hFile);
// The low half of the size, the high half in *lpFileSizeHigh when given; INVALID_FILE_SIZE
// with a last error other than ERROR_SUCCESS on failure.
COMMONTARN_API DWORD GetFileSize(HANDLE hFile, LPDWORD lpFileSizeHigh);
// Needs write access (else ERROR_ACCESS_DENIED); devices have nothing to flush.
COMMONTARN_API BOOL FlushFileBuffers(HANDLE hFile);

// Byte-range locks as Windows has them: exclusive, held by a handle, not by the process. A
// range that overlaps one locked by any handle, in this process or another, fails with
// ERROR_LOCK_VIOLATION, even for the same handle; UnlockFile needs exactly a range that the
// handle locked, else ERROR_NOT_LOCKED. Locks go with the handle's close. Other processes see
// only ranges below 2^63 - 2^16.
COMMONTARN_API BOOL LockFile(HANDLE hFile, DWORD dwFileOffsetLow, DWORD dwFileOffsetHigh,
    DWORD nNumberOfBytesToLockLow, DWORD nNumberOfBytesToLockHigh);
COMMONTARN_API BOOL UnlockFile(HANDLE hFile, DWORD dwFileOffsetLow, DWORD dwFileOffsetHigh,
    DWORD nNumberOfBytesToUnlockLow, DWORD nNumberOfBytesToUnlockHigh);

// Attributes, times (creation is the birth time where the file system keeps one, else the
// earlier of the change and modification times), the size, the link count, a volume serial
// made of the device number and an index made of the inode number.
COMMONTARN_API BOOL GetFileInformationByHandle(HANDLE hFile,
    LPBY_HANDLE_FILE_INFORMATION lpFileInformation);

// Attributes by name: FILE_ATTRIBUTE_DIRECTORY, FILE_ATTRIBUTE_READONLY (no write permission
// bit), FILE_ATTRIBUTE_HIDDEN (a name with a leading dot), FILE_ATTRIBUTE_NORMAL when none of
// these is set. INVALID_FILE_ATTRIBUTES on failure.
COMMONTARN_API DWORD GetFileAttributesA(LPCSTR lpFileName);
// FILE_ATTRIBUTE_READONLY clears every write permission bit; without it the owner may write
// again. The other attributes cannot be kept here and are ignored.
COMMONTARN_API BOOL SetFileAttributesA(LPCSTR lpFileName, DWORD dwFileAttributes);

// Fails with ERROR_ACCESS_DENIED for a read-only file, a directory, a device or a file whose
// deletion is pending. A file that handles still hold open goes unless one of them, in any
// process, does not share FILE_SHARE_DELETE (ERROR_SHARING_VIOLATION). A symbolic link goes
// itself, not what it names.
COMMONTARN_API BOOL DeleteFileA(LPCSTR lpFileName);
// ERROR_ALREADY_EXISTS when the name is taken, ERROR_PATH_NOT_FOUND when its parent is
// missing.
COMMONTARN_API BOOL CreateDirectoryA(LPCSTR lpPathName, LPSECURITY_ATTRIBUTES lpSecurityAttributes);
// ERROR_DIR_NOT_EMPTY for a directory that holds names, ERROR_DIRECTORY for a file.
COMMONTARN_API BOOL RemoveDirectoryA(LPCSTR lpPathName);

}
