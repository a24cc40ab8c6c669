// TThread over _beginthreadex and the platform's thread calls.
#include "threads/Thread.h"

#include <new>

#include "TarnPlatform.h"

namespace {

// What _beginthreadex answers when it could not start a thread, besides 0.
void* const kFailedStart = reinterpret_cast<void*>(static_cast<intptr_t>(-1));

bool IsThreadHandle(void* handle)
{
    return handle != nullptr && handle != kFailedStart;
}

}  // namespace

// The entry that _beginthreadex calls, with the run-time's calling convention.
class TThreadStarter {
public:
    static unsigned __stdcall Enter(void* argument) { return static_cast<unsigned>(TThread::Starter(argument)); }
};

TThread::TThread(const char* name)
    : name(name), threadId(0), threadHandle(nullptr), suspendCount(0), autoDeath(1), started(0),
      autoDestructible(0), exitCode(0)
{
}

TThread::TThread(void* handle, unsigned long id, const char* name)
    : name(name), threadId(static_cast<uint32_t>(id)), threadHandle(handle), suspendCount(0), autoDeath(0),
      started(1), autoDestructible(0), exitCode(0)
{
}

TThread::TThread(const TThread& source)
    : name(source.name), threadId(source.threadId), threadHandle(source.threadHandle),
      suspendCount(source.suspendCount.load()), autoDeath(source.autoDeath), started(source.started),
      autoDestructible(source.autoDestructible), exitCode(source.exitCode)
{
}

TThread& TThread::operator=(const TThread& source)
{
    name = source.name;
    threadId = source.threadId;
    threadHandle = source.threadHandle;
    suspendCount.store(source.suspendCount.load());
    autoDeath = source.autoDeath;
    started = source.started;
    autoDestructible = source.autoDestructible;
    exitCode = source.exitCode;
    return *this;
}

TThread::~TThread()
{
    if (autoDeath)
        WaitForEnd();
}

void TThread::Run(TThread* target, long priority, long stackSize)
{
    unsigned id = 0;
    const uintptr_t handle = _beginthreadex(nullptr, static_cast<unsigned>(stackSize), &TThreadStarter::Enter,
        target, 0, &id);
    threadId = id;
    threadHandle = reinterpret_cast<void*>(handle);
    started = IsThreadHandle(threadHandle) ? 1 : 0;
    if (started && priority != 0)
        SetThreadPriority(threadHandle, static_cast<int>(priority));
}

void TThread::Init(void* handle, unsigned long id)
{
    threadHandle = handle;
    threadId = static_cast<uint32_t>(id);
    autoDeath = 0;
    started = handle != nullptr ? 1 : 0;
}

void TThread::InitAsCurrentThread(const char* newName)
{
    name = newName;
    threadId = GetCurrentThreadId();
    threadHandle = GetCurrentThread();
    autoDeath = 0;
    started = 1;
}

unsigned long TThread::MainLoop()
{
    return 0;
}

unsigned long TThread::Starter(void* argument)
{
    TThread* thread = static_cast<TThread*>(argument);
    const unsigned long result = thread->MainLoop();
    if (!thread->autoDestructible)
        return result;
    // The thread ends its object's life itself: the destructor must not wait for the thread
    // that runs it, and nobody else will close the handle.
    thread->autoDeath = 0;
    if (IsThreadHandle(thread->threadHandle))
        CloseHandle(thread->threadHandle);
    thread->threadHandle = nullptr;
    thread->TThread::~TThread();
    ::operator delete(static_cast<void*>(thread));
    return result;
}

void TThread::WaitForEnd()
{
    // A handle of -1 comes from a failed start; on Windows it would name the whole process.
    if (!threadHandle)
        return;
    if (threadHandle != kFailedStart) {
        WaitForSingleObject(threadHandle, INFINITE);
        CloseHandle(threadHandle);
    }
    threadHandle = nullptr;
}

int TThread::IsTerminated() const
{
    if (!started)
        return 0;
    if (!threadHandle)
        return 1;
    return WaitForSingleObject(threadHandle, 0) == WAIT_OBJECT_0 ? 1 : 0;
}

void TThread::Terminate(unsigned long code)
{
    if (threadHandle) {
        TerminateThread(threadHandle, static_cast<DWORD>(code));
        if (IsThreadHandle(threadHandle))
            CloseHandle(threadHandle);
    }
    threadHandle = nullptr;
}

long TThread::Suspend()
{
    suspendCount.fetch_add(1);
    return static_cast<int32_t>(SuspendThread(threadHandle));
}

long TThread::Resume()
{
    suspendCount.fetch_sub(1);
    return static_cast<int32_t>(ResumeThread(threadHandle));
}

long TThread::GetPriority() const
{
    return GetThreadPriority(threadHandle);
}

void TThread::SetPriority(long priority)
{
    SetThreadPriority(threadHandle, static_cast<int>(priority));
}

unsigned long TThread::GetPriorityClass() const
{
    SetLastError(ERROR_INVALID_HANDLE);
    return 0;
}

void TThread::SetPriorityClass(unsigned long)
{
    SetLastError(ERROR_INVALID_HANDLE);
}

int TThread::PostThreadMessageA(unsigned int message, long wParam, long lParam)
{
    return ::PostThreadMessageA(threadId, message, static_cast<WPARAM>(wParam), static_cast<LPARAM>(lParam));
}

void TThread::GiveUpTimeSlice()
{
    Sleep(0);
}
