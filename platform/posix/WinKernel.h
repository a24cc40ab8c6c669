// Kernel calls: last error, time, process and thread ids, system information, Sleep.
#pragma once

#include "CommonTarnExport.h"
#include "WinTypes.h"

extern "C" {

// The calling thread's last error code; a new thread starts with ERROR_SUCCESS.
COMMONTARN_API DWORD GetLastError(void);
COMMONTARN_API void SetLastError(DWORD dwErrCode);

// Milliseconds since the system started, wrapping after about 49.7 days.
COMMONTARN_API DWORD GetTickCount(void);

COMMONTARN_API DWORD GetCurrentThreadId(void);
COMMONTARN_API DWORD GetCurrentProcessId(void);

COMMONTARN_API void GetSystemInfo(LPSYSTEM_INFO lpSystemInfo);

// Sleep(0) gives up the rest of the time slice; Sleep(INFINITE) never returns.
COMMONTARN_API void Sleep(DWORD dwMilliseconds);

}

// Windows error code for an errno value. ENOENT gives ERROR_FILE_NOT_FOUND: a caller that
// knows a directory on the way is missing turns that into ERROR_PATH_NOT_FOUND itself.
COMMONTARN_API DWORD WinErrorFromErrno(int err);
