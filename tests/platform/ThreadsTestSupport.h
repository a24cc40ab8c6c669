// Starting test threads through _beginthreadex, and waiting for conditions with a limit.
#pragma once

#include "TarnPlatform.h"

#include <functional>
#include <memory>

namespace ThreadsTest {

inline unsigned __stdcall RunBody(void* argument)
{
    std::unique_ptr<std::function<unsigned()>> body(static_cast<std::function<unsigned()>*>(argument));
    return (*body)();
}

// The body's result becomes the thread's exit code.
inline HANDLE StartThread(std::function<unsigned()> body, unsigned flags = 0, unsigned* id = nullptr)
{
    auto* owned = new std::function<unsigned()>(std::move(body));
    uintptr_t handle = _beginthreadex(nullptr, 0, RunBody, owned, flags, id);
    if (!handle)
        delete owned;
    return reinterpret_cast<HANDLE>(handle);
}

// Waits up to ten seconds for the thread's end, closes its handle and answers its exit
// code, or 0xFFFFFFFF if it did not end.
inline DWORD JoinThread(HANDLE thread)
{
    DWORD code = 0xFFFFFFFF;
    if (WaitForSingleObject(thread, 10000) == WAIT_OBJECT_0)
        GetExitCodeThread(thread, &code);
    CloseHandle(thread);
    return code;
}

// Reads a value that other threads change with interlocked operations.
inline LONG Read(LONG volatile& value)
{
    return InterlockedExchangeAdd(&value, 0);
}

// Polls until the condition holds or about five seconds have passed.
template <class Condition>
bool Eventually(Condition condition)
{
    for (DWORD start = GetTickCount(); GetTickCount() - start < 5000;) {
        if (condition())
            return true;
        Sleep(1);
    }
    return condition();
}

// Milliseconds since an earlier reading of the performance counter.
inline double MillisecondsSince(const LARGE_INTEGER& start)
{
    LARGE_INTEGER now, frequency;
    QueryPerformanceCounter(&now);
    QueryPerformanceFrequency(&frequency);
    return double(now.QuadPart - start.QuadPart) * 1000.0 / double(frequency.QuadPart);
}

}
