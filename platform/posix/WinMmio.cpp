// The mmio calls over the file calls: a file handle, a position, and a buffer of the handle's
// own that holds a window of the file and the bytes written into it until they are flushed.
#include "WinMmio.h"

#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <new>

#include "WinFiles.h"
#include "WinHandles.h"
#include "WinKernel.h"

namespace {

const DWORD _knownFlags = MMIO_RWMODE | MMIO_SHAREMODE | MMIO_CREATE | MMIO_ALLOCBUF;
const FOURCC _dosProcedure = FOURCC('D') | FOURCC('O') << 8 | FOURCC('S') << 16 | FOURCC(' ') << 24;

// Positions are 64 bits inside, 32 at the interface.
struct TMmioFile : HMMIO__ {
    HANDLE file = INVALID_HANDLE_VALUE;
    bool canRead = false;
    bool canWrite = false;

    // The window: buffer[0, valid) holds the file's bytes from windowOffset on, and
    // buffer[dirtyBegin, dirtyEnd) must still be written. The position is windowOffset + next,
    // with next <= valid. Unbuffered files keep an empty window at the position.
    char* buffer = nullptr;
    bool ownBuffer = false;
    int64_t capacity = 0;
    int64_t windowOffset = 0;
    int64_t next = 0;
    int64_t valid = 0;
    int64_t dirtyBegin = 0;
    int64_t dirtyEnd = 0;

    int64_t Position() const { return windowOffset + next; }

    // Bytes read at an offset, or -1.
    int64_t ReadAt(int64_t offset, char* bytes, int64_t count);
    // Bytes written at an offset; fewer than count when the write failed.
    int64_t WriteAt(int64_t offset, const char* bytes, int64_t count);
    // Writes the dirty bytes; false if they could not all be written, which leaves them dirty.
    bool Flush();
    // An empty window at the offset; the dirty bytes must have been written.
    void MoveWindow(int64_t offset);
    // Brings the next bytes of the file into the free part of the window; how many came.
    int64_t Fill();

    LONG Read(char* bytes, LONG count);
    LONG Write(const char* bytes, LONG count);
    LONG Seek(LONG offset, int origin);
};

OVERLAPPED At(int64_t offset)
{
    OVERLAPPED at;
    memset(&at, 0, sizeof at);
    at.Offset = DWORD(uint64_t(offset));
    at.OffsetHigh = DWORD(uint64_t(offset) >> 32);
    return at;
}

int64_t TMmioFile::ReadAt(int64_t offset, char* bytes, int64_t count)
{
    OVERLAPPED at = At(offset);
    DWORD done = 0;
    if (!ReadFile(file, bytes, DWORD(count), &done, &at))
        return GetLastError() == ERROR_HANDLE_EOF ? 0 : -1;
    return done;
}

int64_t TMmioFile::WriteAt(int64_t offset, const char* bytes, int64_t count)
{
    OVERLAPPED at = At(offset);
    DWORD done = 0;
    WriteFile(file, bytes, DWORD(count), &done, &at);
    return done;
}

bool TMmioFile::Flush()
{
    if (dirtyEnd <= dirtyBegin)
        return true;
    const int64_t count = dirtyEnd - dirtyBegin;
    const int64_t written = WriteAt(windowOffset + dirtyBegin, buffer + dirtyBegin, count);
    dirtyBegin += written;
    if (written < count)
        return false;
    dirtyBegin = dirtyEnd = 0;
    return true;
}

void TMmioFile::MoveWindow(int64_t offset)
{
    windowOffset = offset;
    next = valid = dirtyBegin = dirtyEnd = 0;
}

int64_t TMmioFile::Fill()
{
    const int64_t got = ReadAt(windowOffset + valid, buffer + valid, capacity - valid);
    if (got > 0)
        valid += got;
    return got;
}

LONG TMmioFile::Read(char* bytes, LONG count)
{
    if (!canRead || count < 0)
        return -1;
    int64_t total = 0;
    while (total < count) {
        const int64_t rest = count - total;
        if (next < valid) {
            const int64_t piece = std::min(valid - next, rest);
            memcpy(bytes + total, buffer + next, size_t(piece));
            next += piece;
            total += piece;
            continue;
        }
        if (buffer && valid < capacity) {
            const int64_t got = Fill();
            if (got < 0)
                return total ? LONG(total) : -1;
            if (got == 0)
                break;
            continue;
        }
        // The window is used up: the rest comes through a new one, or straight into the
        // caller's memory when it would fill whole windows anyway.
        const int64_t position = Position();
        if (!Flush())
            return total ? LONG(total) : -1;
        if (buffer && rest < capacity) {
            MoveWindow(position);
            continue;
        }
        const int64_t got = ReadAt(position, bytes + total, rest);
        if (got < 0)
            return total ? LONG(total) : -1;
        MoveWindow(position + got);
        total += got;
        break;
    }
    return LONG(total);
}

LONG TMmioFile::Write(const char* bytes, LONG count)
{
    if (!canWrite || count < 0)
        return -1;
    int64_t total = 0;
    while (total < count) {
        const int64_t rest = count - total;
        if (buffer && next < capacity) {
            const int64_t piece = std::min(capacity - next, rest);
            memcpy(buffer + next, bytes + total, size_t(piece));
            if (dirtyEnd <= dirtyBegin) {
                dirtyBegin = next;
                dirtyEnd = next + piece;
            } else {
                dirtyBegin = std::min(dirtyBegin, next);
                dirtyEnd = std::max(dirtyEnd, next + piece);
            }
            next += piece;
            valid = std::max(valid, next);
            total += piece;
            continue;
        }
        const int64_t position = Position();
        if (!Flush())
            break;
        if (buffer && rest < capacity) {
            MoveWindow(position);
            continue;
        }
        const int64_t written = WriteAt(position, bytes + total, rest);
        MoveWindow(position + written);
        total += written;
        break;
    }
    return LONG(total);
}

LONG TMmioFile::Seek(LONG offset, int origin)
{
    int64_t base;
    if (origin == SEEK_SET)
        base = 0;
    else if (origin == SEEK_CUR)
        base = Position();
    else if (origin == SEEK_END) {
        DWORD high = 0;
        SetLastError(ERROR_SUCCESS);
        const DWORD low = GetFileSize(file, &high);
        if (low == INVALID_FILE_SIZE && GetLastError() != ERROR_SUCCESS)
            return -1;
        base = std::max(int64_t(uint64_t(high) << 32 | low), windowOffset + valid);
    } else
        return -1;
    // From the end, Windows counts the offset back toward the start.
    const int64_t target = origin == SEEK_END ? base - offset : base + offset;
    if (target < 0 || target > 0x7FFFFFFF)
        return -1;
    if (buffer && target >= windowOffset && target <= windowOffset + valid)
        next = target - windowOffset;
    else {
        if (!Flush())
            return -1;
        MoveWindow(target);
    }
    return LONG(target);
}

TMmioFile* FileOf(HMMIO hmmio)
{
    return static_cast<TMmioFile*>(hmmio);
}

UINT OpenError(DWORD error)
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
        return MMIOERR_FILENOTFOUND;
    case ERROR_PATH_NOT_FOUND:
        return MMIOERR_PATHNOTFOUND;
    case ERROR_ACCESS_DENIED:
        return MMIOERR_ACCESSDENIED;
    case ERROR_SHARING_VIOLATION:
        return MMIOERR_SHARINGVIOLATION;
    case ERROR_TOO_MANY_OPEN_FILES:
        return MMIOERR_TOOMANYOPENFILES;
    case ERROR_NOT_ENOUGH_MEMORY:
        return MMIOERR_OUTOFMEMORY;
    default:
        return MMIOERR_CANNOTOPEN;
    }
}

HMMIO Refuse(LPMMIOINFO info, UINT reason, DWORD error)
{
    if (info)
        info->wErrorRet = reason;
    SetLastError(error);
    return nullptr;
}

}

extern "C" {

HMMIO mmioOpenA(LPSTR pszFileName, LPMMIOINFO pmmioinfo, DWORD fdwOpen)
{
    if (pmmioinfo && (pmmioinfo->pIOProc || (pmmioinfo->fccIOProc && pmmioinfo->fccIOProc != _dosProcedure)))
        return Refuse(pmmioinfo, MMSYSERR_INVALPARAM, ERROR_INVALID_PARAMETER);
    const DWORD mode = fdwOpen & MMIO_RWMODE;
    const DWORD sharing = fdwOpen & MMIO_SHAREMODE;
    if ((fdwOpen & ~_knownFlags) || mode == MMIO_RWMODE || sharing > MMIO_DENYNONE)
        return Refuse(pmmioinfo, MMSYSERR_INVALFLAG, ERROR_INVALID_PARAMETER);

    DWORD access = GENERIC_READ;
    if (mode == MMIO_WRITE)
        access = GENERIC_WRITE;
    else if (mode == MMIO_READWRITE)
        access = GENERIC_READ | GENERIC_WRITE;
    DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
    if (sharing == MMIO_EXCLUSIVE)
        share = 0;
    else if (sharing == MMIO_DENYWRITE)
        share = FILE_SHARE_READ;
    else if (sharing == MMIO_DENYREAD)
        share = FILE_SHARE_WRITE;

    const bool ownBuffer = (fdwOpen & MMIO_ALLOCBUF) && !(pmmioinfo && pmmioinfo->pchBuffer);
    const bool callerBuffer = pmmioinfo && pmmioinfo->pchBuffer && pmmioinfo->cchBuffer > 0;
    const int64_t capacity = pmmioinfo && pmmioinfo->cchBuffer > 0 ? pmmioinfo->cchBuffer : MMIO_DEFAULTBUFFER;

    TMmioFile* object = new (std::nothrow) TMmioFile;
    char* buffer = ownBuffer ? static_cast<char*>(malloc(size_t(capacity))) : nullptr;
    if (!object || (ownBuffer && !buffer)) {
        delete object;
        free(buffer);
        return Refuse(pmmioinfo, MMIOERR_OUTOFMEMORY, ERROR_NOT_ENOUGH_MEMORY);
    }
    const HANDLE file = CreateFileA(pszFileName, access, share, nullptr,
        (fdwOpen & MMIO_CREATE) ? CREATE_ALWAYS : OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        const DWORD error = GetLastError();
        delete object;
        free(buffer);
        return Refuse(pmmioinfo, OpenError(error), error);
    }
    object->file = file;
    object->canRead = mode != MMIO_WRITE;
    object->canWrite = mode != MMIO_READ;
    if (ownBuffer || callerBuffer) {
        object->buffer = ownBuffer ? buffer : pmmioinfo->pchBuffer;
        object->ownBuffer = ownBuffer;
        object->capacity = capacity;
    }
    if (pmmioinfo) {
        pmmioinfo->wErrorRet = MMSYSERR_NOERROR;
        pmmioinfo->hmmio = object;
    }
    return object;
}

LONG mmioRead(HMMIO hmmio, HPSTR pch, LONG cch)
{
    return hmmio ? FileOf(hmmio)->Read(pch, cch) : -1;
}

LONG mmioWrite(HMMIO hmmio, const char* pch, LONG cch)
{
    return hmmio ? FileOf(hmmio)->Write(pch, cch) : -1;
}

LONG mmioSeek(HMMIO hmmio, LONG lOffset, int iOrigin)
{
    return hmmio ? FileOf(hmmio)->Seek(lOffset, iOrigin) : -1;
}

MMRESULT mmioFlush(HMMIO hmmio, UINT fuFlush)
{
    if (!hmmio)
        return MMSYSERR_INVALHANDLE;
    TMmioFile* file = FileOf(hmmio);
    if (!file->Flush())
        return MMIOERR_CANNOTWRITE;
    if (fuFlush & MMIO_EMPTYBUF)
        file->MoveWindow(file->Position());
    return MMSYSERR_NOERROR;
}

MMRESULT mmioClose(HMMIO hmmio, UINT fuClose)
{
    (void)fuClose;
    if (!hmmio)
        return MMSYSERR_INVALHANDLE;
    TMmioFile* file = FileOf(hmmio);
    const bool flushed = file->Flush();
    CloseHandle(file->file);
    if (file->ownBuffer)
        free(file->buffer);
    delete file;
    return flushed ? MMSYSERR_NOERROR : MMIOERR_CANNOTWRITE;
}

}
