// What the file calls report of a file from its POSIX status: attributes and FILETIMEs.
// Shared by the calls on handles, on names and the directory searches; not part of the
// interface.
#pragma once

#include <fcntl.h>
#include <stdint.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>

#include <string>

#include "WinFiles.h"

namespace TarnPosix {

// Hidden is a leading dot in the last part of a name; "." and ".." are not hidden.
inline bool HiddenName(const char* last)
{
    return last[0] == '.' && strcmp(last, ".") != 0 && strcmp(last, "..") != 0;
}

inline bool HiddenName(const std::string& posix)
{
    const size_t slash = posix.find_last_of('/');
    return HiddenName(posix.c_str() + (slash == std::string::npos ? 0 : slash + 1));
}

// Read-only is "no write permission bit".
inline bool ReadOnlyMode(mode_t mode)
{
    return (mode & 0222) == 0;
}

// A FILETIME of a POSIX time; times before 1601 become 0.
inline FILETIME FileTimeOf(const timespec& time)
{
    const int64_t epochDifference = 11644473600LL;
    int64_t ticks = (int64_t(time.tv_sec) + epochDifference) * 10000000LL + time.tv_nsec / 100;
    if (ticks < 0)
        ticks = 0;
    FILETIME result;
    result.dwLowDateTime = DWORD(uint64_t(ticks));
    result.dwHighDateTime = DWORD(uint64_t(ticks) >> 32);
    return result;
}

inline FILETIME FileTimeOf(const struct statx_timestamp& stamp)
{
    timespec time;
    time.tv_sec = time_t(stamp.tv_sec);
    time.tv_nsec = long(stamp.tv_nsec);
    return FileTimeOf(time);
}

// Creation, last access and last write. Without a birth time, the earlier of the change and
// modification times stands in for the creation.
inline void FileTimesOf(const struct statx& info, FILETIME* creation, FILETIME* access, FILETIME* write)
{
    *access = FileTimeOf(info.stx_atime);
    *write = FileTimeOf(info.stx_mtime);
    const struct statx_timestamp& changed =
        info.stx_ctime.tv_sec < info.stx_mtime.tv_sec ? info.stx_ctime : info.stx_mtime;
    *creation = FileTimeOf((info.stx_mask & STATX_BTIME) ? info.stx_btime : changed);
}

inline DWORD AttributesOf(const struct stat& info, bool hidden)
{
    DWORD attributes = 0;
    if (S_ISDIR(info.st_mode))
        attributes |= FILE_ATTRIBUTE_DIRECTORY;
    else if (ReadOnlyMode(info.st_mode))
        attributes |= FILE_ATTRIBUTE_READONLY;
    if (hidden)
        attributes |= FILE_ATTRIBUTE_HIDDEN;
    return attributes ? attributes : FILE_ATTRIBUTE_NORMAL;
}

}
