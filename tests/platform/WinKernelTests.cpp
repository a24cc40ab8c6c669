#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#ifndef _WIN32
#  include <errno.h>
#  include <sys/wait.h>
#  include <unistd.h>
#endif

#include "ThreadsTestSupport.h"

// Starting and joining a thread are system calls that may change the caller's last error
// (TlsGetValue clears it when it succeeds), so each thread sets its value once both are
// running and reads it back before its next call; the two meet on a plain atomic.
TEST(WinKernel, LastErrorBelongsToEachThread)
{
    std::atomic<int> stage{0};
    DWORD other[3] = {12345, 0, 0}, main[2];  // at start, after set, after main's set
    std::thread thread([&] {
        other[0] = GetLastError();
        SetLastError(ERROR_FILE_EXISTS);
        other[1] = GetLastError();
        for (stage = 1; stage.load() != 2;) {
        }
        other[2] = GetLastError();
    });
    SetLastError(ERROR_ACCESS_DENIED);
    while (stage.load() != 1) {
    }
    main[0] = GetLastError();
    SetLastError(0xE0001234u);
    stage = 2;
    main[1] = GetLastError();
    thread.join();
    EXPECT_TRUE(other[0] == ERROR_SUCCESS && other[1] == ERROR_FILE_EXISTS && other[2] == ERROR_FILE_EXISTS);
    EXPECT_TRUE(main[0] == ERROR_ACCESS_DENIED && main[1] == 0xE0001234u) << main[0] << " " << main[1];
    SetLastError(ERROR_SUCCESS);
}

// A Linux process's first thread carries the process id; Windows draws thread and process
// ids from one pool, so they never coincide. GoogleTest runs the tests on the first thread.
// Ids of two threads alive at once differ, and stay what they were.
TEST(WinKernel, ThreadAndProcessIds)
{
    const DWORD mainId = GetCurrentThreadId();
#ifdef _WIN32
    EXPECT_NE(GetCurrentProcessId(), mainId);
#else
    EXPECT_EQ(GetCurrentProcessId(), mainId);
#endif
    std::atomic<int> arrived{0};
    DWORD first[2] = {}, second[2] = {};
    auto body = [&](int index) {
        first[index] = GetCurrentThreadId();
        for (++arrived; arrived.load() < 2;) {
        }
        second[index] = GetCurrentThreadId();
    };
    std::thread a(body, 0), b(body, 1);
    a.join();
    b.join();
    EXPECT_TRUE(first[0] != first[1] && first[0] != mainId && first[1] != mainId && first[0] != 0);
    EXPECT_TRUE(first[0] == second[0] && first[1] == second[1]);
    EXPECT_NE(GetCurrentProcessId(), first[0]);
    EXPECT_EQ(mainId, GetCurrentThreadId());

#ifndef _WIN32
    // A forked child runs on in the thread that forked, under its own id.
    pid_t child = fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        const DWORD id = GetCurrentThreadId();
        _exit(id != mainId && id == DWORD(getpid()) && GetCurrentProcessId() == id ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
#endif
}

TEST(WinKernel, SystemInfo)
{
    SYSTEM_INFO info;
    memset(&info, 0xCD, sizeof info);
    GetSystemInfo(&info);
    EXPECT_TRUE(info.dwPageSize >= 4096 && (info.dwPageSize & (info.dwPageSize - 1)) == 0) << info.dwPageSize;
    EXPECT_EQ(65536u, info.dwAllocationGranularity);
    EXPECT_TRUE(info.dwNumberOfProcessors >= 1 && info.dwNumberOfProcessors <= sizeof(DWORD_PTR) * 8);
    EXPECT_NE(DWORD_PTR(0), info.dwActiveProcessorMask);
    // The stack lies inside the application address range.
    EXPECT_TRUE(info.lpMinimumApplicationAddress < &info && &info < info.lpMaximumApplicationAddress);
#if defined(__x86_64__) || defined(_M_X64)
    EXPECT_TRUE(info.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64 &&
                (info.dwOemId & 0xFFFF) == PROCESSOR_ARCHITECTURE_AMD64);
#endif
}

TEST(WinKernel, ClocksFollowSleep)
{
    LARGE_INTEGER frequency, again, first, second;
    EXPECT_TRUE(QueryPerformanceFrequency(&frequency));
    EXPECT_GT(frequency.QuadPart, 0);
    QueryPerformanceFrequency(&again);
    EXPECT_EQ(frequency.QuadPart, again.QuadPart) << "fixed while the system runs";
    EXPECT_TRUE(QueryPerformanceCounter(&first));
    QueryPerformanceCounter(&second);
    EXPECT_GE(second.QuadPart, first.QuadPart);

    const DWORD mmStart = timeGetTime(), tickStart = GetTickCount();
    Sleep(50);
    const double elapsed = ThreadsTest::MillisecondsSince(first);
    EXPECT_GE(elapsed, 45.0);
    EXPECT_LT(elapsed, 5000.0);
    // The millisecond clocks may run a tick (up to 16 ms) behind.
    for (DWORD clockElapsed : {timeGetTime() - mmStart, GetTickCount() - tickStart}) {
        EXPECT_GE(clockElapsed, 30u);
        EXPECT_LT(clockElapsed, 5000u);
    }
    const DWORD apart = timeGetTime() - GetTickCount();
    EXPECT_TRUE(apart < 1000u || apart > 0u - 1000u) << "both count from the system's start";
}

#ifndef _WIN32
TEST(WinKernel, ErrnoMapsToWindowsCodes)
{
    const struct {
        int error;
        DWORD code;
    } codes[] = {
        {0, ERROR_SUCCESS}, {ENOENT, ERROR_FILE_NOT_FOUND}, {ENOTDIR, ERROR_PATH_NOT_FOUND},
        {EACCES, ERROR_ACCESS_DENIED}, {EPERM, ERROR_ACCESS_DENIED}, {EISDIR, ERROR_ACCESS_DENIED},
        {ENOSPC, ERROR_DISK_FULL}, {EDQUOT, ERROR_DISK_FULL}, {EEXIST, ERROR_FILE_EXISTS},
        {ENOMEM, ERROR_NOT_ENOUGH_MEMORY}, {EINVAL, ERROR_INVALID_PARAMETER}, {EBADF, ERROR_INVALID_HANDLE},
        {EMFILE, ERROR_TOO_MANY_OPEN_FILES},
    };
    for (const auto& c : codes)
        EXPECT_EQ(c.code, WinErrorFromErrno(c.error)) << c.error;
    EXPECT_NE(DWORD(ERROR_SUCCESS), WinErrorFromErrno(EPROTO));
}
#endif
