// The performance counter and the multimedia timer.
#pragma once

#include "CommonTarnExport.h"
#include "WinTypes.h"

extern "C" {

// A monotonic counter in ticks of QueryPerformanceFrequency (nanoseconds here); both
// always succeed, as on every Windows since XP.
COMMONTARN_API BOOL QueryPerformanceCounter(LARGE_INTEGER* lpPerformanceCount);
COMMONTARN_API BOOL QueryPerformanceFrequency(LARGE_INTEGER* lpFrequency);

// Milliseconds since the system started, on the clock of GetTickCount; wraps after about
// 49.7 days.
COMMONTARN_API DWORD timeGetTime(void);

}
