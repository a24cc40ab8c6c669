// The buffered multimedia file calls (mmio) over the file calls of WinFiles.h.
#pragma once

#include <stdio.h>

#include "CommonTarnExport.h"
#include "WinTypes.h"

struct HMMIO__ {
    int unused;
};
typedef struct HMMIO__* HMMIO;
typedef UINT MMRESULT;
typedef DWORD FOURCC;
typedef char* HPSTR;
typedef HANDLE HTASK;
typedef LRESULT(CALLBACK MMIOPROC)(LPSTR lpmmioinfo, UINT uMsg, LPARAM lParam1, LPARAM lParam2);
typedef MMIOPROC* LPMMIOPROC;

// Open flags: access, sharing, creation and buffering.
#define MMIO_READ 0x00000000
#define MMIO_WRITE 0x00000001
#define MMIO_READWRITE 0x00000002
#define MMIO_RWMODE 0x00000003
#define MMIO_COMPAT 0x00000000
#define MMIO_EXCLUSIVE 0x00000010
#define MMIO_DENYWRITE 0x00000020
#define MMIO_DENYREAD 0x00000030
#define MMIO_DENYNONE 0x00000040
#define MMIO_SHAREMODE 0x00000070
#define MMIO_CREATE 0x00001000
#define MMIO_ALLOCBUF 0x00010000

// mmioFlush: empty the buffer after writing it.
#define MMIO_EMPTYBUF 0x0010

// The buffer that MMIO_ALLOCBUF gives when no size is asked for.
#define MMIO_DEFAULTBUFFER 8192

// Results.
#define MMSYSERR_NOERROR 0
#define MMSYSERR_INVALHANDLE 5
#define MMSYSERR_INVALFLAG 10
#define MMSYSERR_INVALPARAM 11
#define MMIOERR_BASE 256
#define MMIOERR_FILENOTFOUND (MMIOERR_BASE + 1)
#define MMIOERR_OUTOFMEMORY (MMIOERR_BASE + 2)
#define MMIOERR_CANNOTOPEN (MMIOERR_BASE + 3)
#define MMIOERR_CANNOTCLOSE (MMIOERR_BASE + 4)
#define MMIOERR_CANNOTREAD (MMIOERR_BASE + 5)
#define MMIOERR_CANNOTWRITE (MMIOERR_BASE + 6)
#define MMIOERR_CANNOTSEEK (MMIOERR_BASE + 7)
#define MMIOERR_CANNOTEXPAND (MMIOERR_BASE + 8)
#define MMIOERR_CHUNKNOTFOUND (MMIOERR_BASE + 9)
#define MMIOERR_UNBUFFERED (MMIOERR_BASE + 10)
#define MMIOERR_PATHNOTFOUND (MMIOERR_BASE + 11)
#define MMIOERR_ACCESSDENIED (MMIOERR_BASE + 12)
#define MMIOERR_SHARINGVIOLATION (MMIOERR_BASE + 13)
#define MMIOERR_NETWORKERROR (MMIOERR_BASE + 14)
#define MMIOERR_TOOMANYOPENFILES (MMIOERR_BASE + 15)
#define MMIOERR_INVALIDFILE (MMIOERR_BASE + 16)

// Packed, as mmsystem.h declares it.
#pragma pack(push, 1)
typedef struct _MMIOINFO {
    DWORD dwFlags;
    FOURCC fccIOProc;
    LPMMIOPROC pIOProc;
    UINT wErrorRet;
    HTASK htask;
    LONG cchBuffer;
    HPSTR pchBuffer;
    HPSTR pchNext;
    HPSTR pchEndRead;
    HPSTR pchEndWrite;
    LONG lBufOffset;
    LONG lDiskOffset;
    DWORD adwInfo[3];
    DWORD dwReserved1;
    DWORD dwReserved2;
    HMMIO hmmio;
} MMIOINFO, *PMMIOINFO, *LPMMIOINFO;
#pragma pack(pop)

extern "C" {

// Opens a file of the disk by its Windows name, with the sharing of CreateFileA: MMIO_COMPAT
// and MMIO_DENYNONE share everything, MMIO_DENYWRITE reading, MMIO_DENYREAD writing, and
// MMIO_EXCLUSIVE nothing. MMIO_CREATE makes the file or empties it. With MMIO_ALLOCBUF the
// handle gets a buffer of pmmioinfo->cchBuffer bytes (MMIO_DEFAULTBUFFER when 0 or no record
// is given); a caller's own buffer in pmmioinfo->pchBuffer is used as it stands. Only the
// disk's own I/O procedure is there: a record naming another one fails. Null on failure, with
// the reason in pmmioinfo->wErrorRet when a record is given and the file error as the last
// error.
COMMONTARN_API HMMIO mmioOpenA(LPSTR pszFileName, LPMMIOINFO pmmioinfo, DWORD fdwOpen);

// Bytes read, 0 at the end of the file, -1 on failure.
COMMONTARN_API LONG mmioRead(HMMIO hmmio, HPSTR pch, LONG cch);
// Bytes written (fewer when the disk fills), -1 on failure.
COMMONTARN_API LONG mmioWrite(HMMIO hmmio, const char* pch, LONG cch);
// The new position: lOffset from the start (SEEK_SET), from the current position (SEEK_CUR),
// or back from the end (SEEK_END: as Windows, a positive offset moves toward the start). -1
// on failure, a position before the start included. The end counts the bytes still in the
// buffer.
COMMONTARN_API LONG mmioSeek(HMMIO hmmio, LONG lOffset, int iOrigin);
// Writes what the buffer holds; MMIO_EMPTYBUF also empties it, so the next read goes to the
// file. MMIOERR_CANNOTWRITE when the write fails.
COMMONTARN_API MMRESULT mmioFlush(HMMIO hmmio, UINT fuFlush);
// Flushes, closes and frees the handle, also when the flush fails, which it then answers
// with MMIOERR_CANNOTWRITE.
COMMONTARN_API MMRESULT mmioClose(HMMIO hmmio, UINT fuClose);

}
