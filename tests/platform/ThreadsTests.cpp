#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#ifndef _WIN32
#  include <sys/resource.h>
#endif

#include "ThreadsTestSupport.h"

using namespace ThreadsTest;

namespace {

DWORD ExitCodeOf(HANDLE thread)
{
    DWORD code = 0xDEADBEEF;
    EXPECT_TRUE(GetExitCodeThread(thread, &code));
    return code;
}

unsigned __stdcall SetFlag(void* flag)
{
    *static_cast<LONG volatile*>(flag) = 1;
    return 5;
}

HANDLE StartSuspended(LONG volatile* flag, unsigned* id = nullptr)
{
    return reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, SetFlag, const_cast<LONG*>(flag), CREATE_SUSPENDED, id));
}

}  // namespace

TEST(Threads, HandleIsSignalledAtTheEndWithTheExitCode)
{
    HANDLE go = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    DWORD idInside = 0;
    unsigned id = 0;
    HANDLE thread = StartThread([&]() -> unsigned {
        idInside = GetCurrentThreadId();
        WaitForSingleObject(go, INFINITE);
        return 42;
    }, 0, &id);
    ASSERT_TRUE(thread);
    EXPECT_EQ(DWORD(STILL_ACTIVE), ExitCodeOf(thread));

    // Events and threads mix in one wait, and an ended thread stays signalled.
    HANDLE never = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    HANDLE mixed[2] = {never, thread}, both[2] = {go, thread};
    EXPECT_EQ(WAIT_TIMEOUT, WaitForMultipleObjects(2, mixed, FALSE, 50));
    SetEvent(go);
    EXPECT_EQ(WAIT_OBJECT_0 + 1, WaitForMultipleObjects(2, mixed, FALSE, 5000));
    EXPECT_EQ(WAIT_OBJECT_0, WaitForMultipleObjects(2, both, TRUE, 0));
    EXPECT_EQ(42u, ExitCodeOf(thread));
    EXPECT_EQ(DWORD(id), idInside);
    EXPECT_TRUE(CloseHandle(thread));
    EXPECT_FALSE(GetExitCodeThread(thread, &idInside));
    EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), GetLastError());

    // _endthreadex ends the thread at once with its code.
    LONG volatile after = 0;
    EXPECT_EQ(7u, JoinThread(StartThread([&]() -> unsigned {
        _endthreadex(7);
        after = 1;
        return 8;
    })));
    EXPECT_EQ(0, after);
    CloseHandle(never);
    CloseHandle(go);

    // The pseudo-handle stands for the calling thread, also on threads the layer did not start.
    EXPECT_EQ(HANDLE(LONG_PTR(-2)), GetCurrentThread());
    auto check = [] {
        DWORD code = 0;
        return WaitForSingleObject(GetCurrentThread(), 0) == WAIT_TIMEOUT &&
               GetExitCodeThread(GetCurrentThread(), &code) && code == STILL_ACTIVE &&
               GetThreadPriority(GetCurrentThread()) == THREAD_PRIORITY_NORMAL;
    };
    EXPECT_EQ(1u, JoinThread(StartThread([&]() -> unsigned { return check(); })));
    bool fromOther = false;
    std::thread([&] { fromOther = check(); }).join();
    EXPECT_TRUE(fromOther);
}

TEST(Threads, SuspendResumeAndTerminate)
{
    // Created suspended, a thread runs only after its last resume; the answers are the
    // counts before each call.
    LONG volatile ran = 0;
    unsigned id = 0;
    HANDLE thread = StartSuspended(&ran, &id);
    ASSERT_TRUE(thread && id);
    Sleep(50);
    EXPECT_EQ(0, Read(ran));
    EXPECT_EQ(1u, SuspendThread(thread));
    EXPECT_EQ(2u, ResumeThread(thread));
    EXPECT_EQ(1u, ResumeThread(thread));
    EXPECT_EQ(5u, JoinThread(thread));
    HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
    for (HANDLE bad : {HANDLE(nullptr), event}) {
        EXPECT_EQ(DWORD(-1), SuspendThread(bad));
        EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), GetLastError());
        EXPECT_EQ(DWORD(-1), ResumeThread(bad));
    }

    // A running thread stops until its last resume.
    LONG volatile counter = 0;
    thread = StartThread([&]() -> unsigned {
        while (WaitForSingleObject(event, 0) == WAIT_TIMEOUT)
            InterlockedIncrement(&counter);
        return 0;
    });
    ASSERT_TRUE(Eventually([&] { return Read(counter) > 0; }));
    EXPECT_EQ(0u, SuspendThread(thread));
    EXPECT_EQ(1u, SuspendThread(thread));
    Sleep(20);
    const LONG stopped = Read(counter);
    Sleep(100);
    EXPECT_EQ(stopped, Read(counter));
    EXPECT_EQ(2u, ResumeThread(thread));
    Sleep(50);
    EXPECT_EQ(stopped, Read(counter)) << "still suspended once";
    EXPECT_EQ(1u, ResumeThread(thread));
    EXPECT_TRUE(Eventually([&] { return Read(counter) > stopped; }));
    EXPECT_EQ(0u, ResumeThread(thread)) << "not suspended";
    SetEvent(event);
    EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 5000));
    EXPECT_EQ(DWORD(-1), SuspendThread(thread)) << "an ended thread";
    CloseHandle(thread);

    // Terminate stops a thread where it stands, with no clean-up.
    struct TGuard {
        LONG volatile* destroyed;
        ~TGuard() { *destroyed = 1; }
    };
    ResetEvent(event);
    LONG volatile destroyed = 0;
    counter = 0;
    thread = StartThread([&]() -> unsigned {
        TGuard guard{&destroyed};
        while (WaitForSingleObject(event, 0) == WAIT_TIMEOUT)
            InterlockedIncrement(&counter);
        return 1;
    });
    ASSERT_TRUE(Eventually([&] { return Read(counter) > 0; }));
    EXPECT_TRUE(TerminateThread(thread, 77));
    EXPECT_EQ(77u, JoinThread(thread));
    const LONG terminated = Read(counter);
    Sleep(100);
    EXPECT_EQ(terminated, Read(counter));
    EXPECT_EQ(0, Read(destroyed)) << "no clean-up runs";
    CloseHandle(event);
}

TEST(Threads, PrioritiesAreKeptAndChecked)
{
    LONG volatile ran = 0;
    HANDLE thread = StartSuspended(&ran);
    EXPECT_EQ(THREAD_PRIORITY_NORMAL, GetThreadPriority(thread));
    for (int priority : {THREAD_PRIORITY_IDLE, THREAD_PRIORITY_BELOW_NORMAL, THREAD_PRIORITY_TIME_CRITICAL}) {
        EXPECT_TRUE(SetThreadPriority(thread, priority));
        EXPECT_EQ(priority, GetThreadPriority(thread));
    }
    for (int invalid : {5, -3, 16, -16}) {
        EXPECT_FALSE(SetThreadPriority(thread, invalid)) << invalid;
        EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), GetLastError());
    }
    EXPECT_EQ(THREAD_PRIORITY_TIME_CRITICAL, GetThreadPriority(thread)) << "kept after a failure";
    EXPECT_EQ(THREAD_PRIORITY_ERROR_RETURN, GetThreadPriority(nullptr));
    EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), GetLastError());
    ResumeThread(thread);
    EXPECT_EQ(5u, JoinThread(thread));

#ifndef _WIN32
    // On POSIX a lower priority raises the thread's nice value.
    HANDLE go = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    thread = StartThread([&]() -> unsigned {
        WaitForSingleObject(go, INFINITE);
        return unsigned(getpriority(PRIO_PROCESS, id_t(GetCurrentThreadId())));
    });
    const int base = getpriority(PRIO_PROCESS, id_t(GetCurrentThreadId()));
    EXPECT_TRUE(SetThreadPriority(thread, THREAD_PRIORITY_LOWEST));
    SetEvent(go);
    EXPECT_EQ(unsigned(std::min(base + 4, 19)), JoinThread(thread));
    CloseHandle(go);
#endif
}
