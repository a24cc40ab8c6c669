// Critical sections, thread-local storage, events and waits over POSIX threads.
#include "WinSync.h"

#include <errno.h>

#include <atomic>
#include <new>

#include "WinKernel.h"
#include "WinObjects.h"

namespace TarnPosix {

// The state of one call of WaitForMultipleObjectsEx while it is blocked.
class TWaiter {
public:
    TThreadObject* thread = nullptr;
    DWORD count = 0;
    bool waitAll = false;
    AWaitableObject* objects[MAXIMUM_WAIT_OBJECTS];
    TWaitBlock blocks[MAXIMUM_WAIT_OBJECTS];
    bool done = false;
    DWORD result = WAIT_TIMEOUT;
};

namespace {

class TEvent : public AWaitableObject {
public:
    TEvent(bool manualReset, bool initialState) : AWaitableObject(eEvent), manualReset(manualReset)
    {
        signalled = initialState;
    }
    void Acquire() override
    {
        if (!manualReset)
            signalled = false;
    }

    const bool manualReset;
};

TEvent* ReferenceEvent(HANDLE handle)
{
    AHandleObject* object = ReferenceHandle(handle);
    if (object && object->Kind() != AHandleObject::eEvent) {
        object->Release();
        SetLastError(ERROR_INVALID_HANDLE);
        return nullptr;
    }
    return static_cast<TEvent*>(object);
}

// Satisfies the wait if it can be satisfied now, taking what it takes. Under _syncLock.
bool TryAcquire(TWaiter& waiter)
{
    if (waiter.waitAll) {
        for (DWORD i = 0; i < waiter.count; ++i) {
            if (!waiter.objects[i]->signalled)
                return false;
        }
        for (DWORD i = 0; i < waiter.count; ++i)
            waiter.objects[i]->Acquire();
        waiter.result = WAIT_OBJECT_0;
        return true;
    }
    for (DWORD i = 0; i < waiter.count; ++i) {
        if (waiter.objects[i]->signalled) {
            waiter.objects[i]->Acquire();
            waiter.result = WAIT_OBJECT_0 + i;
            return true;
        }
    }
    return false;
}

void Link(TWaiter& waiter)
{
    for (DWORD i = 0; i < waiter.count; ++i) {
        AWaitableObject* object = waiter.objects[i];
        TWaitBlock& block = waiter.blocks[i];
        block.waiter = &waiter;
        block.object = object;
        block.previous = object->lastBlock;
        block.next = nullptr;
        if (object->lastBlock)
            object->lastBlock->next = &block;
        else
            object->firstBlock = &block;
        object->lastBlock = &block;
    }
}

void Unlink(TWaiter& waiter)
{
    for (DWORD i = 0; i < waiter.count; ++i) {
        TWaitBlock& block = waiter.blocks[i];
        AWaitableObject* object = block.object;
        if (block.previous)
            block.previous->next = block.next;
        else
            object->firstBlock = block.next;
        if (block.next)
            block.next->previous = block.previous;
        else
            object->lastBlock = block.previous;
    }
}

void Finish(TWaiter& waiter)
{
    Unlink(waiter);
    waiter.done = true;
    pthread_cond_signal(&waiter.thread->wake);
}

pthread_mutex_t* MutexOf(LPCRITICAL_SECTION section)
{
    return reinterpret_cast<pthread_mutex_t*>(section->Opaque.Storage);
}

static_assert(sizeof(pthread_mutex_t) <= sizeof(CRITICAL_SECTION().Opaque.Storage),
    "CRITICAL_SECTION must hold a pthread mutex");
static_assert(alignof(pthread_mutex_t) <= alignof(CRITICAL_SECTION),
    "CRITICAL_SECTION must be aligned for a pthread mutex");

// Windows has 1088 slots of thread-local storage per process.
const DWORD _tlsSlots = 1088;

struct TTlsSlot {
    std::atomic<bool> used;
    pthread_key_t key;
};

TTlsSlot _tls[_tlsSlots];
pthread_mutex_t _tlsLock = PTHREAD_MUTEX_INITIALIZER;

bool TlsSlotInUse(DWORD index)
{
    return index < _tlsSlots && _tls[index].used.load(std::memory_order_acquire);
}

}

void ReleaseWaiters(AWaitableObject* object)
{
    // After each release the list has changed, so the walk starts again from the oldest
    // waiter; the ones passed over before still cannot be satisfied.
    TWaitBlock* block = object->firstBlock;
    while (block && object->signalled) {
        TWaiter& waiter = *block->waiter;
        if (TryAcquire(waiter)) {
            Finish(waiter);
            block = object->firstBlock;
        } else {
            block = block->next;
        }
    }
}

}

using namespace TarnPosix;

extern "C" {

void InitializeCriticalSection(LPCRITICAL_SECTION lpCriticalSection)
{
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(new (lpCriticalSection->Opaque.Storage) pthread_mutex_t, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

BOOL TryEnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection)
{
    return pthread_mutex_trylock(MutexOf(lpCriticalSection)) == 0 ? TRUE : FALSE;
}

void DeleteCriticalSection(LPCRITICAL_SECTION lpCriticalSection)
{
    pthread_mutex_destroy(MutexOf(lpCriticalSection));
}

DWORD TlsAlloc(void)
{
    TSuspensionRegion region;
    DWORD found = TLS_OUT_OF_INDEXES;
    DWORD error = ERROR_NO_MORE_ITEMS;
    pthread_mutex_lock(&_tlsLock);
    for (DWORD index = 0; index < _tlsSlots; ++index) {
        if (_tls[index].used.load(std::memory_order_relaxed))
            continue;
        // A new key reads null in every thread, also where an earlier key of the same
        // number held a value.
        int result = pthread_key_create(&_tls[index].key, nullptr);
        if (result != 0) {
            error = result == EAGAIN ? ERROR_NO_MORE_ITEMS : ERROR_NOT_ENOUGH_MEMORY;
            break;
        }
        _tls[index].used.store(true, std::memory_order_release);
        found = index;
        break;
    }
    pthread_mutex_unlock(&_tlsLock);
    if (found == TLS_OUT_OF_INDEXES)
        SetLastError(error);
    return found;
}

LPVOID TlsGetValue(DWORD dwTlsIndex)
{
    if (!TlsSlotInUse(dwTlsIndex)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    SetLastError(ERROR_SUCCESS);
    return pthread_getspecific(_tls[dwTlsIndex].key);
}

BOOL TlsSetValue(DWORD dwTlsIndex, LPVOID lpTlsValue)
{
    TSuspensionRegion region;
    if (!TlsSlotInUse(dwTlsIndex)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (pthread_setspecific(_tls[dwTlsIndex].key, lpTlsValue) != 0) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    return TRUE;
}

BOOL TlsFree(DWORD dwTlsIndex)
{
    TSuspensionRegion region;
    BOOL freed = FALSE;
    pthread_mutex_lock(&_tlsLock);
    if (TlsSlotInUse(dwTlsIndex)) {
        pthread_key_delete(_tls[dwTlsIndex].key);
        _tls[dwTlsIndex].used.store(false, std::memory_order_release);
        freed = TRUE;
    }
    pthread_mutex_unlock(&_tlsLock);
    if (!freed)
        SetLastError(ERROR_INVALID_PARAMETER);
    return freed;
}

HANDLE CreateEventA(LPSECURITY_ATTRIBUTES, BOOL bManualReset, BOOL bInitialState, LPCSTR lpName)
{
    TSuspensionRegion region;
    if (lpName) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    TEvent* event = new (std::nothrow) TEvent(bManualReset != FALSE, bInitialState != FALSE);
    if (!event) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return InsertHandle(event);
}

BOOL SetEvent(HANDLE hEvent)
{
    TSuspensionRegion region;
    TObjectRef<TEvent> event(ReferenceEvent(hEvent));
    if (!event)
        return FALSE;
    TSyncLock lock;
    event->signalled = true;
    ReleaseWaiters(event.Get());
    return TRUE;
}

BOOL ResetEvent(HANDLE hEvent)
{
    TSuspensionRegion region;
    TObjectRef<TEvent> event(ReferenceEvent(hEvent));
    if (!event)
        return FALSE;
    TSyncLock lock;
    event->signalled = false;
    return TRUE;
}

BOOL PulseEvent(HANDLE hEvent)
{
    TSuspensionRegion region;
    TObjectRef<TEvent> event(ReferenceEvent(hEvent));
    if (!event)
        return FALSE;
    TSyncLock lock;
    event->signalled = true;
    ReleaseWaiters(event.Get());
    event->signalled = false;
    return TRUE;
}

DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds)
{
    return WaitForMultipleObjectsEx(1, &hHandle, FALSE, dwMilliseconds, FALSE);
}

DWORD WaitForSingleObjectEx(HANDLE hHandle, DWORD dwMilliseconds, BOOL bAlertable)
{
    return WaitForMultipleObjectsEx(1, &hHandle, FALSE, dwMilliseconds, bAlertable);
}

DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE* lpHandles, BOOL bWaitAll,
    DWORD dwMilliseconds)
{
    return WaitForMultipleObjectsEx(nCount, lpHandles, bWaitAll, dwMilliseconds, FALSE);
}

DWORD WaitForMultipleObjectsEx(DWORD nCount, const HANDLE* lpHandles, BOOL bWaitAll,
    DWORD dwMilliseconds, BOOL)
{
    TSuspensionRegion region;
    if (nCount == 0 || nCount > MAXIMUM_WAIT_OBJECTS) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    TObjectRef<AWaitableObject> references[MAXIMUM_WAIT_OBJECTS];
    TWaiter waiter;
    waiter.count = nCount;
    waiter.waitAll = bWaitAll != FALSE;
    for (DWORD i = 0; i < nCount; ++i) {
        AHandleObject* object = lpHandles[i] == CurrentThreadPseudoHandle()
            ? ReferenceThread(lpHandles[i]) : ReferenceHandle(lpHandles[i]);
        if (!object)
            return WAIT_FAILED;
        if (!object->IsWaitable()) {
            object->Release();
            SetLastError(ERROR_INVALID_HANDLE);
            return WAIT_FAILED;
        }
        references[i].Reset(static_cast<AWaitableObject*>(object));
        waiter.objects[i] = references[i].Get();
    }
    // Waiting for all of several copies of one object is refused, as on Windows.
    if (waiter.waitAll) {
        for (DWORD i = 1; i < nCount; ++i) {
            for (DWORD j = 0; j < i; ++j) {
                if (waiter.objects[i] == waiter.objects[j]) {
                    SetLastError(ERROR_INVALID_PARAMETER);
                    return WAIT_FAILED;
                }
            }
        }
    }
    if (dwMilliseconds != 0) {
        waiter.thread = CurrentThreadObject();
        if (!waiter.thread) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return WAIT_FAILED;
        }
    }

    TSyncLock lock;
    if (TryAcquire(waiter))
        return waiter.result;
    if (dwMilliseconds == 0)
        return WAIT_TIMEOUT;
    TThreadObject* self = waiter.thread;
    timespec deadline = DeadlineAfter(dwMilliseconds == INFINITE ? 0 : dwMilliseconds);
    Link(waiter);
    for (;;) {
        if (waiter.done)
            return waiter.result;
        if (self->StopRequested()) {
            // A stopped thread is in no wait: what is signalled meanwhile stays for others.
            Unlink(waiter);
            if (!StopInsideWait(self)) {
                SetLastError(ERROR_INVALID_HANDLE);
                return WAIT_FAILED;
            }
            if (TryAcquire(waiter))
                return waiter.result;
            if (dwMilliseconds != INFINITE && DeadlinePassed(deadline))
                return WAIT_TIMEOUT;
            Link(waiter);
            continue;
        }
        if (dwMilliseconds == INFINITE) {
            pthread_cond_wait(&self->wake, &_syncLock);
        } else if (pthread_cond_timedwait(&self->wake, &_syncLock, &deadline) == ETIMEDOUT
            && !waiter.done) {
            Unlink(waiter);
            return WAIT_TIMEOUT;
        }
    }
}

}
