// Objects behind handles, the handle table, waitable objects and per-thread records: what
// the sync, thread and message files share inside the library. Not part of the interface.
#pragma once

#include <pthread.h>

#include <atomic>
#include <string>

#include "WinTypes.h"

namespace TarnPosix {

// Anything a handle stands for. Counted: the handle table holds one reference, and so
// does every call that is using the object, so CloseHandle during a wait is harmless.
class AHandleObject {
public:
    enum EKind { eEvent, eThread, eWindow, eFile };

    explicit AHandleObject(EKind kind) : kind(kind) {}
    virtual ~AHandleObject() = default;
    AHandleObject(const AHandleObject&) = delete;
    AHandleObject& operator=(const AHandleObject&) = delete;

    EKind Kind() const { return kind; }
    bool IsWaitable() const { return kind == eEvent || kind == eThread; }

    void AddReference() { references.fetch_add(1, std::memory_order_relaxed); }
    void Release()
    {
        if (references.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }

private:
    const EKind kind;
    std::atomic<long> references{1};
};

// A counted reference that releases itself.
template <class T>
class TObjectRef {
public:
    TObjectRef() = default;
    explicit TObjectRef(T* adopted) : object(adopted) {}
    TObjectRef(const TObjectRef&) = delete;
    TObjectRef& operator=(const TObjectRef&) = delete;
    ~TObjectRef() { Reset(); }

    void Reset(T* adopted = nullptr)
    {
        if (object)
            object->Release();
        object = adopted;
    }
    T* Get() const { return object; }
    T* operator->() const { return object; }
    explicit operator bool() const { return object != nullptr; }

private:
    T* object = nullptr;
};

// Enters the object in the table, taking over the caller's reference. Answers null with
// ERROR_NO_SYSTEM_RESOURCES when the table is full; the reference is then released.
HANDLE InsertHandle(AHandleObject* object);

// A new reference to the object of a handle, or null with ERROR_INVALID_HANDLE.
AHandleObject* ReferenceHandle(HANDLE handle);

// Takes the handle out of the table if it names an object of that kind, and releases
// the table's reference; false with ERROR_INVALID_HANDLE otherwise.
bool RemoveHandle(HANDLE handle, AHandleObject::EKind kind);

// The value of GetCurrentThread().
inline HANDLE CurrentThreadPseudoHandle()
{
    return reinterpret_cast<HANDLE>(LONG_PTR(-2));
}

class TWaiter;
class TThreadObject;

// One mutex guards the state of every waitable object, the waiters, and the message
// queues; each thread sleeps on the wake condition of its own record.
extern pthread_mutex_t _syncLock;

// Marks the calling thread as being inside the platform layer: a SuspendThread or
// TerminateThread that reaches it meanwhile takes effect when the outermost region ends,
// so that no thread stops while it holds a lock of the layer.
class TSuspensionRegion {
public:
    TSuspensionRegion();
    ~TSuspensionRegion();
    TSuspensionRegion(const TSuspensionRegion&) = delete;
    TSuspensionRegion& operator=(const TSuspensionRegion&) = delete;

private:
    TThreadObject* self;
};

// Holds _syncLock inside a suspension region.
class TSyncLock {
public:
    TSyncLock() { pthread_mutex_lock(&_syncLock); }
    ~TSyncLock() { pthread_mutex_unlock(&_syncLock); }
    TSyncLock(const TSyncLock&) = delete;
    TSyncLock& operator=(const TSyncLock&) = delete;

private:
    TSuspensionRegion region;
};

// An object that threads can wait for. Its fields are guarded by _syncLock.
class AWaitableObject : public AHandleObject {
public:
    using AHandleObject::AHandleObject;

    // What a satisfied wait takes: an automatic-reset event falls back to non-signalled.
    virtual void Acquire() {}

    bool signalled = false;
    struct TWaitBlock* firstBlock = nullptr;
    struct TWaitBlock* lastBlock = nullptr;
};

// One object of one wait, linked into the object's list of waiters in arrival order.
struct TWaitBlock {
    TWaiter* waiter;
    AWaitableObject* object;
    TWaitBlock* previous;
    TWaitBlock* next;
};

// Releases, in arrival order, the waiters that the object's signalled state now satisfies.
// Called with _syncLock held after the object became signalled.
void ReleaseWaiters(AWaitableObject* object);

// Ends the wait of a thread that is being terminated. Called with _syncLock held.
void AbandonWait(TWaiter* waiter);

struct TMessageQueue;

// A thread: waitable, signalled when it ends. Threads made by _beginthreadex have one from
// the start; any other thread gets one when it first needs it (a wait, a message queue,
// its pseudo-handle), which lives until the thread ends and is reachable only by it.
class TThreadObject : public AWaitableObject {
public:
    explicit TThreadObject(bool ownThread);
    ~TThreadObject() override;

    // Blocks the calling thread, which is this one, while it is suspended or terminated.
    void ParkWhileSuspended();

    const bool ownThread;
    pthread_t thread{};
    std::atomic<DWORD> id{0};
    std::atomic<int> priority{THREAD_PRIORITY_NORMAL};
    int baseNice = 0;

    // Under _syncLock.
    pthread_cond_t wake;
    TWaiter* activeWait = nullptr;
    DWORD exitCode = STILL_ACTIVE;
    TMessageQueue* queue = nullptr;

    // Suspension. The suspend count, and the bits below, share one word: the signal
    // handler leaves only by a compare-exchange that fails if the count rose meanwhile, so
    // a suspender that sees eParked needs no new signal. Changed under suspendLock, but
    // for the handler's eParked bit.
    enum : uint32_t { eCountMask = 0xFF, eParked = 0x100, eTerminated = 0x200 };
    std::atomic<uint32_t> suspendState{0};
    long SuspendCount() const { return long(suspendState.load() & eCountMask); }
    bool Terminated() const { return (suspendState.load() & eTerminated) != 0; }

    pthread_mutex_t suspendLock;
    pthread_cond_t resumed;
    bool started = false;
    bool exited = false;
    std::atomic<int> regionDepth{0};
    std::atomic<bool> deferred{false};
    // Counts the answers to suspend signals; the suspender waits on it as a futex.
    std::atomic<uint32_t> acknowledged{0};

    // The thread's body and what it answers; owned by the thread itself.
    unsigned (*start)(void*) = nullptr;
    void* argument = nullptr;
    unsigned returnCode = 0;
};

// The record of the calling thread, made on first use; null only if it cannot be made.
TThreadObject* CurrentThreadObject();
// The record of the calling thread if it has one already.
TThreadObject* CurrentThreadObjectIfAny();

// A new reference to the thread of a handle, the pseudo-handle included, or null with
// ERROR_INVALID_HANDLE.
TThreadObject* ReferenceThread(HANDLE handle);

// Message queue bookkeeping at a thread's end, with _syncLock held: the queue goes, and
// the windows bound to the thread are destroyed.
void DiscardMessageQueue(TThreadObject* thread);

// Milliseconds from now on the monotonic clock, for pthread_cond_timedwait.
struct timespec DeadlineAfter(DWORD milliseconds);

// The host's name of a Windows name, made full as ConvertWindowsToPosixName does; the error
// of that call, or ERROR_SUCCESS. May throw std::bad_alloc.
DWORD PosixNameOf(LPCSTR windowsName, std::string& posix);

// Why a host name is missing: ERROR_FILE_NOT_FOUND, or ERROR_PATH_NOT_FOUND when a directory
// on the way is missing.
DWORD MissingNameError(const std::string& posix);

}
