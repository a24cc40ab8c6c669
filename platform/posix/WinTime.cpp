// The performance counter and timeGetTime over the POSIX clocks.
#include "WinTime.h"

#include <time.h>

#include "WinKernel.h"

extern "C" {

BOOL QueryPerformanceCounter(LARGE_INTEGER* lpPerformanceCount)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    lpPerformanceCount->QuadPart = LONGLONG(now.tv_sec) * 1000000000 + now.tv_nsec;
    return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* lpFrequency)
{
    lpFrequency->QuadPart = 1000000000;
    return TRUE;
}

DWORD timeGetTime(void)
{
    return GetTickCount();
}

}
