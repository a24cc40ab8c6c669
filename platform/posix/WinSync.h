// Critical sections, thread-local storage, events and the waits for waitable objects.
#pragma once

#include <pthread.h>

#include "CommonTarnExport.h"
#include "WinTypes.h"

extern "C" {

// A recursive lock: the owning thread may enter again, and leaves as often as it entered.
COMMONTARN_API void InitializeCriticalSection(LPCRITICAL_SECTION lpCriticalSection);
// Entering and leaving are the hot path of every lock, so they go straight to the mutex.
inline void EnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection)
{
    pthread_mutex_lock(reinterpret_cast<pthread_mutex_t*>(lpCriticalSection->Opaque.Storage));
}
// Nonzero if the lock was free or is already held by the calling thread, which then owns
// it once more; zero at once if another thread holds it.
COMMONTARN_API BOOL TryEnterCriticalSection(LPCRITICAL_SECTION lpCriticalSection);
inline void LeaveCriticalSection(LPCRITICAL_SECTION lpCriticalSection)
{
    pthread_mutex_unlock(reinterpret_cast<pthread_mutex_t*>(lpCriticalSection->Opaque.Storage));
}
COMMONTARN_API void DeleteCriticalSection(LPCRITICAL_SECTION lpCriticalSection);

// Slots of thread-local storage; a new slot reads 0 in every thread. TlsGetValue sets
// the last error to ERROR_SUCCESS when it succeeds, so that a stored 0 can be told from
// a failure (ERROR_INVALID_PARAMETER for a slot that is not allocated).
COMMONTARN_API DWORD TlsAlloc(void);
COMMONTARN_API LPVOID TlsGetValue(DWORD dwTlsIndex);
COMMONTARN_API BOOL TlsSetValue(DWORD dwTlsIndex, LPVOID lpTlsValue);
COMMONTARN_API BOOL TlsFree(DWORD dwTlsIndex);

// Events. Named events are not supported: a name gives null with ERROR_NOT_SUPPORTED.
COMMONTARN_API HANDLE CreateEventA(LPSECURITY_ATTRIBUTES lpEventAttributes, BOOL bManualReset,
    BOOL bInitialState, LPCSTR lpName);
COMMONTARN_API BOOL SetEvent(HANDLE hEvent);
COMMONTARN_API BOOL ResetEvent(HANDLE hEvent);
// Releases the waiters that can be released now (all of them for a manual-reset event,
// one for an automatic-reset event) and leaves the event non-signalled.
COMMONTARN_API BOOL PulseEvent(HANDLE hEvent);

// Waits for events and threads, mixed. Waiting for any answers WAIT_OBJECT_0 plus the
// lowest index of a signalled object and takes only that one; waiting for all takes the
// automatic-reset events only at a moment when every object is signalled. Alertable
// waits are accepted; no asynchronous procedure call ever ends them.
COMMONTARN_API DWORD WaitForSingleObject(HANDLE hHandle, DWORD dwMilliseconds);
COMMONTARN_API DWORD WaitForSingleObjectEx(HANDLE hHandle, DWORD dwMilliseconds, BOOL bAlertable);
COMMONTARN_API DWORD WaitForMultipleObjects(DWORD nCount, const HANDLE* lpHandles, BOOL bWaitAll,
    DWORD dwMilliseconds);
COMMONTARN_API DWORD WaitForMultipleObjectsEx(DWORD nCount, const HANDLE* lpHandles,
    BOOL bWaitAll, DWORD dwMilliseconds, BOOL bAlertable);

}
