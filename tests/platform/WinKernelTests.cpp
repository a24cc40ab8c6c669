#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#ifndef _WIN32
#  include <errno.h>
#  include <sys/wait.h>
#  include <unistd.h>
#endif

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

TEST(WinKernel, TickCountFollowsSleep)
{
    DWORD before = GetTickCount();
    Sleep(50);
    DWORD elapsed = GetTickCount() - before;
    // The Windows tick has a resolution of up to 16 ms; a busy machine may oversleep.
    EXPECT_GE(elapsed, 30u);
    EXPECT_LT(elapsed, 5000u);
}

TEST(WinKernel, ThreadIdsAreDistinctAndStable)
{
    DWORD mainId = GetCurrentThreadId();
    EXPECT_NE(0u, mainId);
    EXPECT_EQ(mainId, GetCurrentThreadId());

    // Both threads stay alive until each has taken its id, so the system cannot reuse one.
    std::mutex lock;
    std::condition_variable changed;
    int arrived = 0;
    DWORD first[2] = {}, second[2] = {};
    auto body = [&](int index) {
        first[index] = GetCurrentThreadId();
        std::unique_lock<std::mutex> guard(lock);
        ++arrived;
        changed.notify_all();
        changed.wait(guard, [&] { return arrived == 2; });
        second[index] = GetCurrentThreadId();
    };
    std::thread a(body, 0), b(body, 1);
    a.join();
    b.join();

    EXPECT_NE(0u, first[0]);
    EXPECT_NE(0u, first[1]);
    EXPECT_NE(first[0], first[1]);
    EXPECT_NE(mainId, first[0]);
    EXPECT_NE(mainId, first[1]);
    EXPECT_EQ(first[0], second[0]);
    EXPECT_EQ(first[1], second[1]);
    EXPECT_EQ(mainId, GetCurrentThreadId());
    EXPECT_NE(0u, GetCurrentProcessId());
}

// A Linux process's first thread carries the process id; Windows draws thread and process
// ids from one pool, so they never coincide. GoogleTest runs the tests on the first thread.
TEST(WinKernel, FirstThreadIdIsTheProcessIdOnLinuxOnly)
{
#ifdef _WIN32
    EXPECT_NE(GetCurrentProcessId(), GetCurrentThreadId());
#else
    EXPECT_EQ(GetCurrentProcessId(), GetCurrentThreadId());
#endif
    DWORD otherId = 0;
    std::thread([&] { otherId = GetCurrentThreadId(); }).join();
    EXPECT_NE(GetCurrentProcessId(), otherId);
}

#ifndef _WIN32
// A forked child runs on in the thread that forked, under its own id.
TEST(WinKernel, ThreadIdInForkedChildIsTheChildsOwn)
{
    DWORD parentId = GetCurrentThreadId();
    pid_t child = fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        DWORD id = GetCurrentThreadId();
        bool ok = id != parentId && id == DWORD(getpid()) && GetCurrentProcessId() == id;
        _exit(ok ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(0, WEXITSTATUS(status));
    EXPECT_EQ(parentId, GetCurrentThreadId());
}
#endif

TEST(WinKernel, SystemInfo)
{
    SYSTEM_INFO info;
    memset(&info, 0xCD, sizeof info);
    GetSystemInfo(&info);

    EXPECT_GE(info.dwPageSize, 4096u);
    EXPECT_EQ(0u, info.dwPageSize & (info.dwPageSize - 1));
    EXPECT_EQ(65536u, info.dwAllocationGranularity);
    EXPECT_EQ(0u, info.dwAllocationGranularity % info.dwPageSize);
    EXPECT_GE(info.dwNumberOfProcessors, 1u);
    EXPECT_LE(info.dwNumberOfProcessors, sizeof(DWORD_PTR) * 8);
    EXPECT_NE(DWORD_PTR(0), info.dwActiveProcessorMask);

    // Stack and code of this program lie inside the application address range.
    int local = 0;
    uintptr_t low = reinterpret_cast<uintptr_t>(info.lpMinimumApplicationAddress);
    uintptr_t high = reinterpret_cast<uintptr_t>(info.lpMaximumApplicationAddress);
    EXPECT_LT(low, high);
    EXPECT_GE(reinterpret_cast<uintptr_t>(&local), low);
    EXPECT_LE(reinterpret_cast<uintptr_t>(&local), high);
    EXPECT_GE(reinterpret_cast<uintptr_t>(&info), low);

#if defined(__x86_64__) || defined(_M_X64)
    EXPECT_EQ(PROCESSOR_ARCHITECTURE_AMD64, info.wProcessorArchitecture);
    EXPECT_EQ(DWORD(PROCESSOR_ARCHITECTURE_AMD64), info.dwOemId & 0xFFFF);
#endif
}

#ifndef _WIN32
TEST(WinKernel, ErrnoMapsToWindowsCodes)
{
    EXPECT_EQ(DWORD(ERROR_SUCCESS), WinErrorFromErrno(0));
    EXPECT_EQ(DWORD(ERROR_FILE_NOT_FOUND), WinErrorFromErrno(ENOENT));
    EXPECT_EQ(DWORD(ERROR_PATH_NOT_FOUND), WinErrorFromErrno(ENOTDIR));
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), WinErrorFromErrno(EACCES));
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), WinErrorFromErrno(EPERM));
    EXPECT_EQ(DWORD(ERROR_ACCESS_DENIED), WinErrorFromErrno(EISDIR));
    EXPECT_EQ(DWORD(ERROR_DISK_FULL), WinErrorFromErrno(ENOSPC));
    EXPECT_EQ(DWORD(ERROR_DISK_FULL), WinErrorFromErrno(EDQUOT));
    EXPECT_EQ(DWORD(ERROR_FILE_EXISTS), WinErrorFromErrno(EEXIST));
    EXPECT_EQ(DWORD(ERROR_NOT_ENOUGH_MEMORY), WinErrorFromErrno(ENOMEM));
    EXPECT_EQ(DWORD(ERROR_INVALID_PARAMETER), WinErrorFromErrno(EINVAL));
    EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), WinErrorFromErrno(EBADF));
    EXPECT_EQ(DWORD(ERROR_TOO_MANY_OPEN_FILES), WinErrorFromErrno(EMFILE));
    EXPECT_NE(DWORD(ERROR_SUCCESS), WinErrorFromErrno(EPROTO));
}
#endif
