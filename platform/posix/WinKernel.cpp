// Kernel calls over POSIX: last error, time, ids, system information, Sleep.
#include "WinKernel.h"

#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <string.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#if defined(__i386__) || defined(__x86_64__)
#  include <cpuid.h>
#endif

namespace {

thread_local DWORD _lastError = ERROR_SUCCESS;

// The kernel thread id, cached per thread. The thread that calls fork() continues in the
// child under a new id, so the child forgets its cached value.
thread_local DWORD _threadId = 0;

void ForgetThreadId()
{
    _threadId = 0;
}

// Family, model and stepping as Windows reports them in wProcessorLevel and
// wProcessorRevision.
void FillProcessorModel(SYSTEM_INFO* info)
{
#if defined(__i386__) || defined(__x86_64__)
    unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
    if (!__get_cpuid(1, &eax, &ebx, &ecx, &edx))
        return;
    unsigned family = (eax >> 8) & 0xF;
    unsigned model = (eax >> 4) & 0xF;
    unsigned stepping = eax & 0xF;
    if (family == 0xF)
        family += (eax >> 20) & 0xFF;
    if (family == 0x6 || family >= 0xF)
        model |= ((eax >> 16) & 0xF) << 4;
    info->wProcessorLevel = WORD(family);
    info->wProcessorRevision = WORD((model << 8) | stepping);
#else
    (void)info;
#endif
}

}

extern "C" {

DWORD GetLastError(void)
{
    return _lastError;
}

void SetLastError(DWORD dwErrCode)
{
    _lastError = dwErrCode;
}

DWORD GetTickCount(void)
{
    // Windows counts the time spent suspended too, as CLOCK_BOOTTIME does.
    timespec now;
#ifdef CLOCK_BOOTTIME
    clock_gettime(CLOCK_BOOTTIME, &now);
#else
    clock_gettime(CLOCK_MONOTONIC, &now);
#endif
    uint64_t ms = uint64_t(now.tv_sec) * 1000u + uint64_t(now.tv_nsec) / 1000000u;
    return DWORD(ms);
}

DWORD GetCurrentThreadId(void)
{
    if (_threadId == 0) {
        static const int registered = pthread_atfork(nullptr, nullptr, ForgetThreadId);
        (void)registered;
        _threadId = DWORD(syscall(SYS_gettid));
    }
    return _threadId;
}

DWORD GetCurrentProcessId(void)
{
    return DWORD(getpid());
}

void GetSystemInfo(LPSYSTEM_INFO lpSystemInfo)
{
    SYSTEM_INFO* info = lpSystemInfo;
    memset(info, 0, sizeof *info);

#if defined(__x86_64__)
    info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_AMD64;
    info->dwProcessorType = PROCESSOR_AMD_X8664;
#elif defined(__i386__)
    info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_INTEL;
    info->dwProcessorType = PROCESSOR_INTEL_PENTIUM;
#elif defined(__aarch64__)
    info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_ARM64;
#elif defined(__arm__)
    info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_ARM;
#else
    info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_UNKNOWN;
#endif
    FillProcessorModel(info);

    long pageSize = sysconf(_SC_PAGESIZE);
    info->dwPageSize = pageSize > 0 ? DWORD(pageSize) : 4096;
    // Windows places every reservation on a 64 KiB boundary.
    info->dwAllocationGranularity = 65536;

    // The lowest address a mapping may take (Linux's default vm.mmap_min_addr, and the
    // Windows value) and the last byte below the top guard page of the user address space.
    info->lpMinimumApplicationAddress = reinterpret_cast<LPVOID>(uintptr_t(0x10000));
#if UINTPTR_MAX > 0xFFFFFFFFu
    info->lpMaximumApplicationAddress = reinterpret_cast<LPVOID>(uintptr_t(0x7FFFFFFFEFFFull));
#else
    info->lpMaximumApplicationAddress = reinterpret_cast<LPVOID>(uintptr_t(0xBFFFFFFFu));
#endif

    // Windows reports the processors of one group, as many as the mask has bits.
    long processors = sysconf(_SC_NPROCESSORS_ONLN);
    const long maskBits = long(sizeof(DWORD_PTR) * 8);
    if (processors < 1)
        processors = 1;
    if (processors > maskBits)
        processors = maskBits;
    info->dwNumberOfProcessors = DWORD(processors);
    info->dwActiveProcessorMask = processors == maskBits
        ? ~DWORD_PTR(0) : (DWORD_PTR(1) << processors) - 1;
}

void Sleep(DWORD dwMilliseconds)
{
    if (dwMilliseconds == 0) {
        sched_yield();
        return;
    }
    if (dwMilliseconds == INFINITE) {
        for (;;)
            pause();
    }
    // An absolute deadline keeps the total right when signals interrupt the wait.
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += time_t(dwMilliseconds / 1000);
    deadline.tv_nsec += long(dwMilliseconds % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr) == EINTR) {
    }
}

}

DWORD WinErrorFromErrno(int err)
{
    switch (err) {
    case 0:
        return ERROR_SUCCESS;
    case ENOENT:
        return ERROR_FILE_NOT_FOUND;
    case ENOTDIR:
        return ERROR_PATH_NOT_FOUND;
    case EACCES:
    case EPERM:
    case EISDIR:
        return ERROR_ACCESS_DENIED;
    case EROFS:
        return ERROR_WRITE_PROTECT;
    case ENOSPC:
#ifdef EDQUOT
    case EDQUOT:
#endif
        return ERROR_DISK_FULL;
    case EEXIST:
        return ERROR_FILE_EXISTS;
    case ENOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case EINVAL:
        return ERROR_INVALID_PARAMETER;
    case EBADF:
        return ERROR_INVALID_HANDLE;
    case EMFILE:
    case ENFILE:
        return ERROR_TOO_MANY_OPEN_FILES;
    case ETXTBSY:
        return ERROR_SHARING_VIOLATION;
    case EBUSY:
        return ERROR_BUSY;
    case EXDEV:
        return ERROR_NOT_SAME_DEVICE;
    case ENOTEMPTY:
        return ERROR_DIR_NOT_EMPTY;
    case ENAMETOOLONG:
        return ERROR_FILENAME_EXCED_RANGE;
    case EFBIG:
        // A file at its size limit has, to a writer, run out of space, as on a full disk.
        return ERROR_DISK_FULL;
    case ELOOP:
        return ERROR_CANT_RESOLVE_FILENAME;
    case EIO:
        return ERROR_IO_DEVICE;
    case ENOSYS:
    case EOPNOTSUPP:
#if ENOTSUP != EOPNOTSUPP
    case ENOTSUP:
#endif
        return ERROR_NOT_SUPPORTED;
    default:
        return ERROR_GEN_FAILURE;
    }
}
