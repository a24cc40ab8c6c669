// Threads over pthreads: thread records, suspension by signal, termination, priorities.
#include "WinThreads.h"

#include <errno.h>
#include <limits.h>
#include <signal.h>
#include <linux/futex.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <new>

#include "WinKernel.h"
#include "WinObjects.h"

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

// A real-time signal from the top of the range, clear of the ones glibc takes at the bottom.
int SuspendSignal()
{
    return SIGRTMAX - 3;
}

uint32_t* FutexWord(std::atomic<uint32_t>& word)
{
    return reinterpret_cast<uint32_t*>(&word);
}

void WakeAll(std::atomic<uint32_t>& word)
{
    syscall(SYS_futex, FutexWord(word), FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

// Sleeps while the word still holds the value.
void WaitWhile(std::atomic<uint32_t>& word, uint32_t value)
{
    syscall(SYS_futex, FutexWord(word), FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
}

// Runs on the thread being suspended, with every other signal blocked. Inside the layer
// the suspension waits for the end of the call (TSuspensionRegion); elsewhere the thread
// sleeps here on its suspend state until the count is 0 again. Only system calls and
// atomics: a sanitizer that defers signals must find nothing pending while this runs.
void OnSuspendSignal(int, siginfo_t* info, void*)
{
    if (info->si_code != SI_QUEUE || info->si_pid != getpid())
        return;
    int savedErrno = errno;
    TThreadObject* self = static_cast<TThreadObject*>(info->si_value.sival_ptr);
    bool inRegion = self->regionDepth.load() > 0;
    if (inRegion)
        self->deferred.store(true);
    else
        self->suspendState.fetch_or(TThreadObject::eParked);
    self->acknowledged.fetch_add(1);
    WakeAll(self->acknowledged);
    if (!inRegion) {
        for (;;) {
            uint32_t state = self->suspendState.load();
            if ((state & (TThreadObject::eCountMask | TThreadObject::eTerminated)) == 0) {
                if (self->suspendState.compare_exchange_weak(state, state & ~TThreadObject::eParked))
                    break;
                continue;
            }
            WaitWhile(self->suspendState, state);
        }
    }
    errno = savedErrno;
}

pthread_once_t _signalsInstalled = PTHREAD_ONCE_INIT;

void InstallSignalHandlers()
{
    struct sigaction action = {};
    action.sa_sigaction = OnSuspendSignal;
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    sigfillset(&action.sa_mask);
    sigaction(SuspendSignal(), &action, nullptr);
}

// Asks another thread to stop; answers the count of answers before the request, for
// WaitForAnswer. Called with the target's suspendLock held, so that the thread has not
// ended; the answer is awaited after it is released, as a thread blocked on that lock
// may only take the signal once it has the lock.
uint32_t SendSuspendSignal(TThreadObject* target)
{
    pthread_once(&_signalsInstalled, InstallSignalHandlers);
    sigval value;
    value.sival_ptr = target;
    uint32_t answered = target->acknowledged.load();
    if (pthread_sigqueue(target->thread, SuspendSignal(), value) != 0)
        target->acknowledged.fetch_add(1);
    return answered;
}

// Returns once the thread has either stopped, or noted that it must stop at the end of its
// current call, or ended. When several threads suspend and resume one thread at once, the
// answer may be to an earlier request and the stop follow a moment later; Windows does not
// wait for the stop at all.
void WaitForAnswer(TThreadObject* target, uint32_t answered)
{
    while (target->acknowledged.load() == answered)
        WaitWhile(target->acknowledged, answered);
}

// A thread that ends counts as having answered: a signal still on its way is lost with it.
void AnswerAtEnd(TThreadObject* self)
{
    self->acknowledged.fetch_add(1);
    WakeAll(self->acknowledged);
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

// Makes the thread's end visible: exit code, signalled handle, released waiters; its
// message queue and windows go. Also used by TerminateThread on another thread.
void MarkEnded(TThreadObject* thread, DWORD exitCode)
{
    TSyncLock lock;
    if (thread->signalled)
        return;
    thread->exitCode = exitCode;
    thread->signalled = true;
    ReleaseWaiters(thread);
    if (thread->activeWait) {
        AbandonWait(thread->activeWait);
        thread->activeWait = nullptr;
    }
    pthread_cond_broadcast(&thread->wake);
    DiscardMessageQueue(thread);
}

TForeignThreadRecord::~TForeignThreadRecord()
{
    if (!object)
        return;
    pthread_mutex_lock(&object->suspendLock);
    object->exited = true;
    pthread_mutex_unlock(&object->suspendLock);
    MarkEnded(object, 0);
    _currentThread = nullptr;
    object->Release();
    object = nullptr;
}

// Finishes a thread of this layer, on return from its function or on _endthreadex. A
// thread that is suspended at that moment stops first; a terminated one stops for good.
class TThreadEnd {
public:
    explicit TThreadEnd(TThreadObject* self) : self(self) {}
    ~TThreadEnd()
    {
        for (;;) {
            self->regionDepth.fetch_add(1);
            pthread_mutex_lock(&self->suspendLock);
            bool canEnd = self->SuspendCount() == 0 && !self->Terminated();
            if (canEnd)
                self->exited = true;
            pthread_mutex_unlock(&self->suspendLock);
            self->regionDepth.fetch_sub(1);
            if (canEnd)
                break;
            self->ParkWhileSuspended();
        }
        AnswerAtEnd(self);
        MarkEnded(self, self->returnCode);
        _currentThread = nullptr;
        self->Release();
    }
    TThreadEnd(const TThreadEnd&) = delete;
    TThreadEnd& operator=(const TThreadEnd&) = delete;

private:
    TThreadObject* self;
};

void* ThreadMain(void* argument)
{
    TThreadObject* self = static_cast<TThreadObject*>(argument);
    _currentThread = self;

    // The creating thread may have blocked the signal that suspension needs.
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SuspendSignal());
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);

    bool run;
    {
        TSuspensionRegion region;
        pthread_mutex_lock(&self->suspendLock);
        self->thread = pthread_self();
        self->id.store(GetCurrentThreadId());
        self->baseNice = CurrentNice();
        self->started = true;
        pthread_cond_broadcast(&self->resumed);
        // A thread created suspended waits here, before any of its own code.
        while (self->SuspendCount() > 0 && !self->Terminated())
            pthread_cond_wait(&self->resumed, &self->suspendLock);
        run = !self->Terminated();
        if (!run)
            self->exited = true;
        self->deferred.store(false);
        pthread_mutex_unlock(&self->suspendLock);
    }
    if (!run) {
        // Terminated before it ran: TerminateThread has made the end visible.
        AnswerAtEnd(self);
        _currentThread = nullptr;
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
    pthread_cond_init(&resumed, nullptr);
    pthread_mutex_init(&suspendLock, nullptr);
}

TThreadObject::~TThreadObject()
{
    pthread_mutex_destroy(&suspendLock);
    pthread_cond_destroy(&resumed);
    pthread_cond_destroy(&wake);
}

void TThreadObject::ParkWhileSuspended()
{
    regionDepth.fetch_add(1);
    pthread_mutex_lock(&suspendLock);
    while (SuspendCount() > 0 || Terminated())
        pthread_cond_wait(&resumed, &suspendLock);
    // A signal that came while the thread waited here asked for what has just been done.
    deferred.store(false);
    pthread_mutex_unlock(&suspendLock);
    regionDepth.fetch_sub(1);
}

TSuspensionRegion::TSuspensionRegion() : self(_currentThread)
{
    if (self)
        self->regionDepth.fetch_add(1);
}

TSuspensionRegion::~TSuspensionRegion()
{
    if (self && self->regionDepth.fetch_sub(1) == 1 && self->deferred.exchange(false))
        self->ParkWhileSuspended();
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
    object->started = true;
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
    {
        TSuspensionRegion region;
        pthread_mutex_lock(&object->suspendLock);
        while (!object->started)
            pthread_cond_wait(&object->resumed, &object->suspendLock);
        pthread_mutex_unlock(&object->suspendLock);
    }
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
    TObjectRef<TThreadObject> thread(ReferenceThread(hThread));
    if (!thread)
        return FALSE;
    TSyncLock lock;
    *lpExitCode = thread->exitCode;
    return TRUE;
}

DWORD SuspendThread(HANDLE hThread)
{
    TObjectRef<TThreadObject> reference(ReferenceThread(hThread));
    if (!reference)
        return DWORD(-1);
    TThreadObject* thread = reference.Get();
    bool self = thread == CurrentThreadObjectIfAny();
    long previous;
    {
        TSuspensionRegion region;
        pthread_mutex_lock(&thread->suspendLock);
        previous = thread->SuspendCount();
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
        // A thread still in the handler sees the new count when it tries to leave.
        uint32_t state = thread->suspendState.fetch_add(1);
        bool signalled = previous == 0 && !self && !(state & TThreadObject::eParked);
        uint32_t answered = signalled ? SendSuspendSignal(thread) : 0;
        pthread_mutex_unlock(&thread->suspendLock);
        if (signalled)
            WaitForAnswer(thread, answered);
    }
    if (self)
        thread->ParkWhileSuspended();
    return DWORD(previous);
}

DWORD ResumeThread(HANDLE hThread)
{
    TObjectRef<TThreadObject> thread(ReferenceThread(hThread));
    if (!thread)
        return DWORD(-1);
    TSuspensionRegion region;
    pthread_mutex_lock(&thread->suspendLock);
    long previous = thread->SuspendCount();
    if (previous > 0) {
        uint32_t state = thread->suspendState.fetch_sub(1);
        if (previous == 1) {
            pthread_cond_broadcast(&thread->resumed);
            if (state & TThreadObject::eParked)
                WakeAll(thread->suspendState);
        }
    }
    pthread_mutex_unlock(&thread->suspendLock);
    return DWORD(previous);
}

BOOL TerminateThread(HANDLE hThread, DWORD dwExitCode)
{
    TObjectRef<TThreadObject> reference(ReferenceThread(hThread));
    if (!reference)
        return FALSE;
    TThreadObject* thread = reference.Get();
    bool self = thread == CurrentThreadObjectIfAny();
    {
        TSuspensionRegion region;
        pthread_mutex_lock(&thread->suspendLock);
        if (thread->exited) {
            pthread_mutex_unlock(&thread->suspendLock);
            SetLastError(ERROR_ACCESS_DENIED);
            return FALSE;
        }
        if (thread->Terminated()) {
            pthread_mutex_unlock(&thread->suspendLock);
            return TRUE;
        }
        // A suspended thread is stopped already and now stays so; a running one is
        // stopped now.
        uint32_t state = thread->suspendState.fetch_or(TThreadObject::eTerminated);
        bool signalled = !self && (state & TThreadObject::eCountMask) == 0
            && !(state & TThreadObject::eParked);
        uint32_t answered = signalled ? SendSuspendSignal(thread) : 0;
        pthread_cond_broadcast(&thread->resumed);
        pthread_mutex_unlock(&thread->suspendLock);
        if (signalled)
            WaitForAnswer(thread, answered);
    }
    MarkEnded(thread, dwExitCode);
    if (self) {
        reference.Reset();
        thread->ParkWhileSuspended();
    }
    return TRUE;
}

int GetThreadPriority(HANDLE hThread)
{
    TObjectRef<TThreadObject> thread(ReferenceThread(hThread));
    if (!thread)
        return THREAD_PRIORITY_ERROR_RETURN;
    return thread->priority.load();
}

BOOL SetThreadPriority(HANDLE hThread, int nPriority)
{
    TObjectRef<TThreadObject> thread(ReferenceThread(hThread));
    if (!thread)
        return FALSE;
    if (!ValidPriority(nPriority)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    TSuspensionRegion region;
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
