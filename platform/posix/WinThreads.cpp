// Threads over pthreads: thread records, suspension by signal, termination, priorities.
//
// How a thread stops. SuspendThread and TerminateThread only ask, in the thread's
// suspendState; the thread stops itself, and only where it holds no lock of the layer:
//  - outside the layer, in the handler of the stop signal, wherever the signal finds it;
//  - at the end of its outermost call of the layer (TSuspensionRegion), when the call has
//    given back all it held;
//  - in a wait of the layer (WaitForMultipleObjectsEx, GetMessageA, and SuspendThread and
//    TerminateThread waiting for another thread), having let go of _syncLock.
// Nothing else in the layer blocks for long, so a thread inside the layer soon reaches one of
// these points; a thread may be parked in no lock of the layer.
// A suspended thread is in no wait list: it unlinks its wait blocks before it stops, so that
// what is signalled meanwhile stays for others, and on resume it tries again and links them
// anew, at the back, with the deadline it had. Wait blocks are linked and unlinked under
// _syncLock, by the waiting thread only, except that the thread which satisfies a wait unlinks
// it as it marks it done; a wait that is done is never unlinked again.
// The asking call returns once the thread has stopped (eParked) or will never run again
// (eGone). A terminated thread's end (exit code, signalled handle, queue and windows gone) is
// marked only after it has stopped: by the thread itself when it stops inside the layer, by
// its terminator when it stopped in the handler, where it may take no lock. It then stays
// stopped until the process ends, as its stack may hold anything; a thread terminated before
// it ran ends. A thread that cannot be stopped (outside the layer with the signal blocked, or
// the signal cannot be queued) is left as it was, and the call fails.
#include "WinThreads.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <linux/futex.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <new>

#include "WinKernel.h"
#include "WinObjects.h"

// Never seen by a caller: the thread that waited is being terminated itself.
#ifndef ERROR_OPERATION_ABORTED
#  define ERROR_OPERATION_ABORTED 995L
#endif

namespace TarnPosix {

namespace {

thread_local TThreadObject* _currentThread = nullptr;

// The record of a thread that this layer did not start, made on first use and ended
// with the thread.
struct TForeignThreadRecord {
    TThreadObject* object = nullptr;
    ~TForeignThreadRecord();
};

thread_local TForeignThreadRecord _foreignRecord;

// How long a thread that is asked to stop may take before the call gives up.
const long _stopLimitMs = 10000;

// A real-time signal from the top of the range, clear of the ones glibc takes at the bottom.
int StopSignal()
{
    return SIGRTMAX - 3;
}

uint32_t* FutexWord(std::atomic<uint32_t>& word)
{
    return reinterpret_cast<uint32_t*>(&word);
}

void WakeAll(uint32_t* word)
{
    syscall(SYS_futex, word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

// Sleeps while the word still holds the value, at most for the time given.
void WaitWhile(std::atomic<uint32_t>& word, uint32_t value, const timespec* limit = nullptr)
{
    syscall(SYS_futex, FutexWord(word), FUTEX_WAIT_PRIVATE, value, limit, nullptr, 0);
}

// Stops the calling thread for as long as it is suspended. False once it is being
// terminated: from then on it never runs code of its own again. Atomics and futex calls
// only, as the signal handler calls it too; `outside` tells where it stops.
bool StopWhileAsked(TThreadObject* self, bool outside)
{
    uint32_t state = self->suspendState.load();
    for (;;) {
        if (state & TThreadObject::eDying)
            return false;
        if (state & TThreadObject::eTerminated) {
            uint32_t dying = state | TThreadObject::eDying | (outside ? uint32_t(TThreadObject::eOutside) : 0u);
            if (self->suspendState.compare_exchange_weak(state, dying)) {
                WakeAll(FutexWord(self->suspendState));
                return false;
            }
            continue;
        }
        if ((state & TThreadObject::eCountMask) == 0) {
            if (!(state & TThreadObject::eParked))
                return true;
            if (self->suspendState.compare_exchange_weak(state, state & ~TThreadObject::eParked))
                return true;
            continue;
        }
        if (!(state & TThreadObject::eParked)) {
            if (!self->suspendState.compare_exchange_weak(state, state | TThreadObject::eParked))
                continue;
            state |= TThreadObject::eParked;
            WakeAll(FutexWord(self->suspendState));
        }
        WaitWhile(self->suspendState, state);
        state = self->suspendState.load();
    }
}

void BlockAllSignals()
{
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);
}

// Makes the thread's end visible: exit code, signalled handle, released waiters; its
// message queue and windows go. Once only.
void MarkEnded(TThreadObject* thread, DWORD exitCode)
{
    TSyncLock lock;
    if (thread->signalled)
        return;
    thread->exitCode = exitCode;
    thread->signalled = true;
    ReleaseWaiters(thread);
    DiscardMessageQueue(thread);
}

// The end of a terminated thread, which stays here for good. Inside the layer it marks its
// end and gives back its own reference; in the signal handler it only says it is gone, and
// its terminator does the rest. No signal reaches it here: a late stop signal would find
// its record gone.
[[noreturn]] void StopForGood(TThreadObject* self, bool outside)
{
    static uint32_t never = 0;
    BlockAllSignals();
    self->regionDepth.fetch_add(1);
    uint32_t* word = FutexWord(self->suspendState);
    if (!outside)
        MarkEnded(self, self->terminationCode);
    self->suspendState.fetch_or(TThreadObject::eGone);
    WakeAll(word);
    if (!outside)
        self->Release();
    for (;;)
        syscall(SYS_futex, &never, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
}

// Leaves the outermost region of the layer, stopping first while a stop is asked. False when
// the thread is being terminated; the region is then still held.
bool LeaveLayer(TThreadObject* self)
{
    for (;;) {
        if (self->StopRequested() && !StopWhileAsked(self, false))
            return false;
        self->regionDepth.fetch_sub(1);
        // A request made from here on finds the thread outside, and its signal stops it.
        if (!self->StopRequested())
            return true;
        self->regionDepth.fetch_add(1);
    }
}

// Stops the calling thread here, as at the end of a call, when it has been asked to.
void StopHere(TThreadObject* self)
{
    self->regionDepth.fetch_add(1);
    if (!LeaveLayer(self))
        StopForGood(self, false);
}

// Runs on the thread asked to stop, with every other signal blocked, so that no handler of
// the host runs while it is stopped. Inside the layer it returns at once: the thread stops
// at the end of its call or in its wait.
void OnStopSignal(int, siginfo_t* info, void*)
{
    if (info->si_code != SI_QUEUE || info->si_pid != getpid())
        return;
    int savedErrno = errno;
    TThreadObject* self = static_cast<TThreadObject*>(info->si_value.sival_ptr);
    if (self->regionDepth.load() == 0 && !StopWhileAsked(self, true))
        StopForGood(self, true);
    errno = savedErrno;
}

pthread_once_t _signalsInstalled = PTHREAD_ONCE_INIT;

// The stop signal itself stays open in its handler (a second one nests, and finds the thread
// stopped already), so that only the host's own mask can hold it back.
void InstallSignalHandlers()
{
    struct sigaction action = {};
    action.sa_sigaction = OnStopSignal;
    action.sa_flags = SA_SIGINFO | SA_RESTART | SA_NODEFER;
    sigfillset(&action.sa_mask);
    sigdelset(&action.sa_mask, StopSignal());
    sigaction(StopSignal(), &action, nullptr);
}

// Sends the stop signal, for a thread outside the layer. Called with the thread's
// suspendLock held, so that it has not ended. False when the signal cannot be queued.
bool SendStopSignal(TThreadObject* target)
{
    pthread_once(&_signalsInstalled, InstallSignalHandlers);
    sigval value;
    value.sival_ptr = target;
    return pthread_sigqueue(target->thread, StopSignal(), value) == 0;
}

// Wakes the thread in a wait of the layer, or where it is stopped, to see a new request.
void WakeToSee(TThreadObject* target)
{
    {
        TSyncLock lock;
        pthread_cond_broadcast(&target->wake);
    }
    WakeAll(FutexWord(target->suspendState));
}

uint64_t StatusMask(const char* status, const char* field)
{
    const char* found = strstr(status, field);
    return found ? strtoull(found + strlen(field), nullptr, 16) : 0;
}

// Whether the stop signal waits, blocked by the host, for a thread outside the layer: such
// a thread cannot stop before it unblocks the signal.
bool SignalHeldBack(TThreadObject* target)
{
    if (target->regionDepth.load() != 0)
        return false;
    char path[64];
    snprintf(path, sizeof path, "/proc/self/task/%u/status", unsigned(target->id.load()));
    int file = open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    char status[4096];
    ssize_t length = read(file, status, sizeof status - 1);
    close(file);
    if (length <= 0)
        return false;
    status[length] = 0;
    uint64_t bit = uint64_t(1) << (StopSignal() - 1);
    return (StatusMask(status, "\nSigPnd:") & bit) && (StatusMask(status, "\nSigBlk:") & bit);
}

long MillisecondsSince(const timespec& start)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return long(now.tv_sec - start.tv_sec) * 1000 + (now.tv_nsec - start.tv_nsec) / 1000000;
}

// Waits, inside a region and holding no lock, until the thread's state answers the request.
// The caller stops meanwhile if it is asked to. ERROR_SUCCESS, or why the thread did not
// answer: ERROR_SIGNAL_PENDING when it blocks the signal outside the layer (seen twice, 10 ms
// apart, as the C library blocks all signals for a moment in some of its calls),
// ERROR_TIMEOUT after _stopLimitMs, ERROR_OPERATION_ABORTED when the caller is terminated.
DWORD AwaitStop(TThreadObject* target, TThreadObject* caller, bool (*answered)(uint32_t))
{
    timespec start;
    clock_gettime(CLOCK_MONOTONIC, &start);
    long nextCheck = 10;
    int heldBack = 0;
    for (;;) {
        uint32_t state = target->suspendState.load();
        if (answered(state))
            return ERROR_SUCCESS;
        if (caller && caller->StopRequested() && !StopWhileAsked(caller, false))
            return ERROR_OPERATION_ABORTED;
        long waited = MillisecondsSince(start);
        if (waited >= _stopLimitMs)
            return ERROR_TIMEOUT;
        if (waited >= nextCheck) {
            nextCheck = waited + 10;
            heldBack = SignalHeldBack(target) ? heldBack + 1 : 0;
            if (heldBack == 2)
                return ERROR_SIGNAL_PENDING;
        }
        const timespec slice = {0, 2000000};
        WaitWhile(target->suspendState, state, &slice);
    }
}

bool SuspensionAnswered(uint32_t state)
{
    return (state & (TThreadObject::eParked | TThreadObject::eTerminated)) != 0
        || (state & TThreadObject::eCountMask) == 0;
}

bool TerminationAnswered(uint32_t state)
{
    return (state & TThreadObject::eGone) || !(state & TThreadObject::eTerminated);
}

// Takes one suspension away; answers the count before.
DWORD DropSuspension(TThreadObject* thread)
{
    pthread_mutex_lock(&thread->suspendLock);
    long previous = thread->SuspendCount();
    if (previous > 0 && (thread->suspendState.fetch_sub(1) & TThreadObject::eCountMask) == 1)
        WakeAll(FutexWord(thread->suspendState));
    pthread_mutex_unlock(&thread->suspendLock);
    return DWORD(previous);
}

enum ETermination { eEnded, eFailed, eAskAgain };

// After a termination was asked and awaited with that result: marks the end of a thread that
// stopped outside the layer, or takes the request back if the thread has not seen it.
ETermination FinishTermination(TThreadObject* thread, DWORD error)
{
    uint32_t state = thread->suspendState.load();
    for (;;) {
        if (state & TThreadObject::eGone) {
            if (state & TThreadObject::eOutside) {
                MarkEnded(thread, thread->terminationCode);
                // The reference of the thread itself, which it can no longer give back.
                if (!(thread->suspendState.fetch_or(TThreadObject::eReleased) & TThreadObject::eReleased))
                    thread->Release();
            }
            return eEnded;
        }
        // Another asker took the request back: ask again.
        if (!(state & TThreadObject::eTerminated) || error == ERROR_SUCCESS)
            return eAskAgain;
        if (state & TThreadObject::eDying) {
            // A thread dying inside the layer marks its own end; a caller that is terminated
            // itself must not wait for it, as that thread may be waiting for the caller.
            if (error == ERROR_OPERATION_ABORTED && !(state & TThreadObject::eOutside))
                return eEnded;
            WaitWhile(thread->suspendState, state);
            state = thread->suspendState.load();
            continue;
        }
        if (thread->suspendState.compare_exchange_weak(state, state & ~TThreadObject::eTerminated)) {
            WakeAll(FutexWord(thread->suspendState));
            SetLastError(error);
            return eFailed;
        }
    }
}

// The nice value of the calling thread.
int CurrentNice()
{
    errno = 0;
    int nice = getpriority(PRIO_PROCESS, id_t(GetCurrentThreadId()));
    return errno == 0 ? nice : 0;
}

bool ValidPriority(int priority)
{
    return priority == THREAD_PRIORITY_IDLE || priority == THREAD_PRIORITY_TIME_CRITICAL
        || (priority >= THREAD_PRIORITY_LOWEST && priority <= THREAD_PRIORITY_HIGHEST);
}

// Lower Windows priorities become higher nice values; nothing goes below the start value.
int NiceFor(int baseNice, int priority)
{
    int nice = baseNice;
    if (priority == THREAD_PRIORITY_IDLE)
        nice = 19;
    else if (priority == THREAD_PRIORITY_LOWEST)
        nice = baseNice + 4;
    else if (priority == THREAD_PRIORITY_BELOW_NORMAL)
        nice = baseNice + 2;
    return std::min(nice, 19);
}

// The end of a thread whose own code has returned, by return, _endthreadex, or the end of a
// thread this layer did not start. It stops first if asked, stays stopped if terminated.
void EndThread(TThreadObject* self, DWORD exitCode)
{
    for (bool ended = false; !ended;) {
        TSuspensionRegion region;
        pthread_mutex_lock(&self->suspendLock);
        ended = !self->StopRequested();
        // From here on nobody may ask it to stop.
        if (ended)
            self->exited = true;
        pthread_mutex_unlock(&self->suspendLock);
    }
    // A signal sent before may still be on its way; it must not find the record gone.
    BlockAllSignals();
    MarkEnded(self, exitCode);
    _currentThread = nullptr;
    self->Release();
}

TForeignThreadRecord::~TForeignThreadRecord()
{
    if (object)
        EndThread(object, 0);
    object = nullptr;
}

// The end of a thread of this layer on return from its function or on _endthreadex.
class TThreadEnd {
public:
    explicit TThreadEnd(TThreadObject* self) : self(self) {}
    ~TThreadEnd() { EndThread(self, self->returnCode); }
    TThreadEnd(const TThreadEnd&) = delete;
    TThreadEnd& operator=(const TThreadEnd&) = delete;

private:
    TThreadObject* self;
};

void* ThreadMain(void* argument)
{
    TThreadObject* self = static_cast<TThreadObject*>(argument);
    _currentThread = self;

    // The creating thread may have blocked the signal that stops threads.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, StopSignal());
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);

    self->regionDepth.fetch_add(1);
    pthread_mutex_lock(&self->suspendLock);
    self->thread = pthread_self();
    self->id.store(GetCurrentThreadId());
    self->baseNice = CurrentNice();
    self->running = true;
    pthread_cond_broadcast(&self->started);
    pthread_mutex_unlock(&self->suspendLock);
    // A thread created suspended stops here, before any code of its own; terminated here,
    // it ends, as it holds nothing.
    if (!LeaveLayer(self)) {
        BlockAllSignals();
        MarkEnded(self, self->terminationCode);
        pthread_mutex_lock(&self->suspendLock);
        self->exited = true;
        pthread_mutex_unlock(&self->suspendLock);
        _currentThread = nullptr;
        self->suspendState.fetch_or(TThreadObject::eGone);
        WakeAll(FutexWord(self->suspendState));
        self->Release();
        return nullptr;
    }
    TThreadEnd end(self);
    self->returnCode = self->start(self->argument);
    return nullptr;
}

}

TThreadObject::TThreadObject(bool ownThread) : AWaitableObject(eThread), ownThread(ownThread)
{
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&wake, &attributes);
    pthread_condattr_destroy(&attributes);
    pthread_cond_init(&started, nullptr);
    pthread_mutex_init(&suspendLock, nullptr);
}

TThreadObject::~TThreadObject()
{
    pthread_mutex_destroy(&suspendLock);
    pthread_cond_destroy(&started);
    pthread_cond_destroy(&wake);
}

TSuspensionRegion::TSuspensionRegion() : self(_currentThread)
{
    if (self)
        self->regionDepth.fetch_add(1);
}

TSuspensionRegion::~TSuspensionRegion()
{
    if (!self)
        return;
    if (self->regionDepth.load() > 1)
        self->regionDepth.fetch_sub(1);
    else if (!LeaveLayer(self))
        StopForGood(self, false);
}

bool StopInsideWait(TThreadObject* self)
{
    pthread_mutex_unlock(&_syncLock);
    bool resumed = StopWhileAsked(self, false);
    pthread_mutex_lock(&_syncLock);
    return resumed;
}

TThreadObject* CurrentThreadObjectIfAny()
{
    return _currentThread;
}

TThreadObject* CurrentThreadObject()
{
    if (_currentThread)
        return _currentThread;
    TThreadObject* object = new (std::nothrow) TThreadObject(false);
    if (!object)
        return nullptr;
    object->thread = pthread_self();
    object->id.store(GetCurrentThreadId());
    object->baseNice = CurrentNice();
    object->running = true;
    _foreignRecord.object = object;
    _currentThread = object;
    return object;
}

TThreadObject* ReferenceThread(HANDLE handle)
{
    if (handle == CurrentThreadPseudoHandle()) {
        TThreadObject* self = CurrentThreadObject();
        if (!self) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return nullptr;
        }
        self->AddReference();
        return self;
    }
    AHandleObject* object = ReferenceHandle(handle);
    if (object && object->Kind() != AHandleObject::eThread) {
        object->Release();
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return static_cast<TThreadObject*>(object);
}

}

using namespace TarnPosix;

extern "C" {

uintptr_t _beginthreadex(void*, unsigned stack_size, _beginthreadex_proc_type start_address,
    void* arglist, unsigned initflag, unsigned* thrdaddr)
{
    if (!start_address) {
        errno = EINVAL;
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    TSuspensionRegion region;
    TThreadObject* object = new (std::nothrow) TThreadObject(true);
    if (!object) {
        errno = EAGAIN;
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    object->start = start_address;
    object->argument = arglist;
    object->suspendState.store((initflag & CREATE_SUSPENDED) ? 1 : 0);
    // One reference for the table, one for the running thread.
    object->AddReference();
    HANDLE handle = InsertHandle(object);
    if (!handle) {
        object->Release();
        errno = EAGAIN;
        return 0;
    }

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (stack_size != 0) {
        size_t size = 0;
        pthread_attr_getstacksize(&attributes, &size);
        if ((initflag & STACK_SIZE_PARAM_IS_A_RESERVATION) || stack_size > size) {
            long page = sysconf(_SC_PAGESIZE);
            size_t pageSize = page > 0 ? size_t(page) : 4096;
            size = std::max<size_t>({stack_size, size_t(PTHREAD_STACK_MIN), size_t(65536)});
            size = (size + pageSize - 1) / pageSize * pageSize;
            pthread_attr_setstacksize(&attributes, size);
        }
    }
    pthread_t thread;
    int result = pthread_create(&thread, &attributes, ThreadMain, object);
    pthread_attr_destroy(&attributes);
    if (result != 0) {
        RemoveHandle(handle, AHandleObject::eThread);
        object->Release();
        errno = EAGAIN;
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }

    // The id is known once the thread runs; a suspended thread gets that far too.
    pthread_mutex_lock(&object->suspendLock);
    while (!object->running)
        pthread_cond_wait(&object->started, &object->suspendLock);
    pthread_mutex_unlock(&object->suspendLock);
    if (thrdaddr)
        *thrdaddr = object->id.load();
    return reinterpret_cast<uintptr_t>(handle);
}

void _endthreadex(unsigned retval)
{
    TThreadObject* self = CurrentThreadObjectIfAny();
    if (self && self->ownThread)
        self->returnCode = retval;
    pthread_exit(nullptr);
}

HANDLE GetCurrentThread(void)
{
    return CurrentThreadPseudoHandle();
}

BOOL GetExitCodeThread(HANDLE hThread, LPDWORD lpExitCode)
{
    TSuspensionRegion region;
    TObjectRef<TThreadObject> thread(ReferenceThread(hThread));
    if (!thread)
        return FALSE;
    TSyncLock lock;
    *lpExitCode = thread->exitCode;
    return TRUE;
}

DWORD SuspendThread(HANDLE hThread)
{
    TSuspensionRegion region;
    TObjectRef<TThreadObject> reference(ReferenceThread(hThread));
    if (!reference)
        return DWORD(-1);
    TThreadObject* thread = reference.Get();
    TThreadObject* caller = CurrentThreadObjectIfAny();
    bool self = thread == caller;
    pthread_mutex_lock(&thread->suspendLock);
    long previous = thread->SuspendCount();
    DWORD error = ERROR_SUCCESS;
    if (thread->exited || thread->Terminated())
        error = ERROR_ACCESS_DENIED;
    else if (previous >= MAXIMUM_SUSPEND_COUNT)
        error = ERROR_SIGNAL_REFCOUNT_EXCEEDED;
    if (error != ERROR_SUCCESS) {
        pthread_mutex_unlock(&thread->suspendLock);
        SetLastError(error);
        return DWORD(-1);
    }
    uint32_t state = thread->suspendState.fetch_add(1);
    bool sent = self || (state & TThreadObject::eParked) || SendStopSignal(thread);
    pthread_mutex_unlock(&thread->suspendLock);
    if (self) {
        reference.Reset();
        StopHere(thread);
        return DWORD(previous);
    }
    if (!sent) {
        error = ERROR_NOT_ENOUGH_QUOTA;
    } else {
        WakeToSee(thread);
        error = AwaitStop(thread, caller, SuspensionAnswered);
    }
    if (error != ERROR_SUCCESS) {
        DropSuspension(thread);
        SetLastError(error);
        return DWORD(-1);
    }
    return DWORD(previous);
}

DWORD ResumeThread(HANDLE hThread)
{
    TSuspensionRegion region;
    TObjectRef<TThreadObject> thread(ReferenceThread(hThread));
    if (!thread)
        return DWORD(-1);
    return DropSuspension(thread.Get());
}

BOOL TerminateThread(HANDLE hThread, DWORD dwExitCode)
{
    TSuspensionRegion region;
    TObjectRef<TThreadObject> reference(ReferenceThread(hThread));
    if (!reference)
        return FALSE;
    TThreadObject* thread = reference.Get();
    TThreadObject* caller = CurrentThreadObjectIfAny();
    bool self = thread == caller;
    for (;;) {
        pthread_mutex_lock(&thread->suspendLock);
        if (thread->exited) {
            pthread_mutex_unlock(&thread->suspendLock);
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        }
        // The first request sets the exit code; a later one waits for its outcome.
        uint32_t state = thread->suspendState.load();
        bool first = !(state & TThreadObject::eTerminated);
        if (first)
            thread->terminationCode = dwExitCode;
        if (first || self)
            state = thread->suspendState.fetch_or(
                self ? TThreadObject::eTerminated | TThreadObject::eDying : TThreadObject::eTerminated);
        bool sent = self || !first || (state & TThreadObject::eParked) || SendStopSignal(thread);
        pthread_mutex_unlock(&thread->suspendLock);
        if (self) {
            reference.Reset();
            StopForGood(thread, false);
        }
        DWORD error = ERROR_NOT_ENOUGH_QUOTA;
        if (sent) {
            WakeToSee(thread);
            error = AwaitStop(thread, caller, TerminationAnswered);
        }
        ETermination outcome = FinishTermination(thread, error);
        if (outcome != eAskAgain)
            return outcome == eEnded ? TRUE : FALSE;
    }
}

int GetThreadPriority(HANDLE hThread)
{
    TSuspensionRegion region;
    TObjectRef<TThreadObject> thread(ReferenceThread(hThread));
    if (!thread)
        return THREAD_PRIORITY_ERROR_RETURN;
    return thread->priority.load();
}

BOOL SetThreadPriority(HANDLE hThread, int nPriority)
{
    TSuspensionRegion region;
    TObjectRef<TThreadObject> thread(ReferenceThread(hThread));
    if (!thread)
        return FALSE;
    if (!ValidPriority(nPriority)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    pthread_mutex_lock(&thread->suspendLock);
    thread->priority.store(nPriority);
    // Once the thread has ended its id may name another thread.
    if (!thread->exited) {
        int saved = errno;
        setpriority(PRIO_PROCESS, id_t(thread->id.load()), NiceFor(thread->baseNice, nPriority));
        errno = saved;
    }
    pthread_mutex_unlock(&thread->suspendLock);
    return TRUE;
}

}
