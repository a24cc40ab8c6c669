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

TEST(WinKernel, LastErrorBelongsToEachThread)
{
    // Starting and joining a thread are system calls that may change the caller's last
    // error (TlsGetValue clears it when it succeeds), so each thread sets its value once both
    // are running and reads it back before its next call; the two meet on a plain atomic.
    std::atomic<int> stage{0};
    DWORD seenAtStart = 12345, seenAfterSet = 0, seenAfterMainSet = 0;
    std::thread other([&] {
        seenAtStart = GetLastError();
        SetLastError(ERROR_FILE_EXISTS);
        seenAfterSet = GetLastError();
        stage.store(1);
        while (stage.load() != 2) {
        }
        seenAfterMainSet = GetLastError();
    });
    SetLastError(ERROR_ACCESS_DENIED);
    while (stage.load() != 1) {
    }
    const DWORD mainAfterOtherSet = GetLastError();
    SetLastError(0xE0001234u);
    stage.store(2);
    const DWORD mainLarge = GetLastError();
    other.join();

    EXPECT_EQ(DWORD(ERROR_SUCCESS), seenAtStart);
    EXPECT_EQ(DWORD(ERROR_FILE_EXISTS), seenAfterSet);
    EXPECT_EQ(DWORD(ERROR_FILE_EXISTS), seenAfterMainSet);
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), mainAfterOtherSet);
    EXPECT_EQ(0xE0001234u, mainLarge);
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
    EXPECT_GE(info.dwPageSize, 4096u);
    EXPECT_EQ(0u, info.dwPageSize & (info.dwPageSize - 1));
    EXPECT_EQ(65536u, info.dwAllocationGranularity);
    EXPECT_GE(info.dwNumberOfProcessors, 1u);
    EXPECT_LE(info.dwNumberOfProcessors, sizeof(DWORD_PTR) * 8);
    EXPECT_NE(DWORD_PTR(0), info.dwActiveProcessorMask);

    // Stack and code of this program lie inside the application address range.
    int local = 0;
    const uintptr_t low = reinterpret_cast<uintptr_t>(info.lpMinimumApplicationAddress);
    const uintptr_t high = reinterpret_cast<uintptr_t>(info.lpMaximumApplicationAddress);
    EXPECT_LT(low, reinterpret_cast<uintptr_t>(&local));
    EXPECT_GT(high, reinterpret_cast<uintptr_t>(&local));
#if defined(__x86_64__) || defined(_M_X64)
    EXPECT_EQ(PROCESSOR_ARCHITECTURE_AMD64, info.wProcessorArchitecture);
    EXPECT_EQ(DWORD(PROCESSOR_ARCHITECTURE_AMD64), info.dwOemId & 0xFFFF);
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
