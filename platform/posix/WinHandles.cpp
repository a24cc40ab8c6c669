// The handle table: small handle values, as Windows gives, that fit in 32 bits.
#include "WinHandles.h"

#include <deque>
#include <new>
#include <vector>

#include "WinKernel.h"
#include "WinObjects.h"

namespace TarnPosix {

pthread_mutex_t _syncLock = PTHREAD_MUTEX_INITIALIZER;

namespace {

// Windows allows about 16 million handles per process; values are multiples of 4.
const size_t _maxHandles = size_t(1) << 24;

struct THandleTable {
    std::vector<AHandleObject*> slots;
    // Freed slots are reused oldest first, so a stale handle rarely names a new object.
    std::deque<size_t> freeSlots;
};

// Taken inside a suspension region, like every lock of the layer: a thread stopped while
// holding it would stop the thread that wants to resume it.
pthread_mutex_t _tableLock = PTHREAD_MUTEX_INITIALIZER;

// Never destroyed: threads may close handles while the process exits.
THandleTable& Table()
{
    static THandleTable* table = new THandleTable;
    return *table;
}

bool SlotOf(HANDLE handle, size_t* slot)
{
    uintptr_t value = reinterpret_cast<uintptr_t>(handle);
    if (value == 0 || value % 4 != 0 || value / 4 > Table().slots.size())
        return false;
    *slot = value / 4 - 1;
    return Table().slots[*slot] != nullptr;
}

}

HANDLE InsertHandle(AHandleObject* object)
{
    THandleTable& table = Table();
    size_t slot = 0;
    bool inserted = false;
    TSuspensionRegion region;
    pthread_mutex_lock(&_tableLock);
    try {
        if (!table.freeSlots.empty()) {
            slot = table.freeSlots.front();
            table.freeSlots.pop_front();
            table.slots[slot] = object;
            inserted = true;
        } else if (table.slots.size() < _maxHandles) {
            table.slots.push_back(object);
            slot = table.slots.size() - 1;
            inserted = true;
        }
    } catch (const std::bad_alloc&) {
    }
    pthread_mutex_unlock(&_tableLock);
    if (!inserted) {
        object->Release();
        SetLastError(ERROR_NO_SYSTEM_RESOURCES);
        return nullptr;
    }
    return reinterpret_cast<HANDLE>((slot + 1) * 4);
}

AHandleObject* ReferenceHandle(HANDLE handle)
{
    AHandleObject* object = nullptr;
    size_t slot;
    TSuspensionRegion region;
    pthread_mutex_lock(&_tableLock);
    if (SlotOf(handle, &slot)) {
        object = Table().slots[slot];
        object->AddReference();
    }
    pthread_mutex_unlock(&_tableLock);
    if (!object)
        SetLastError(ERROR_INVALID_HANDLE);
    return object;
}

bool RemoveHandle(HANDLE handle, AHandleObject::EKind kind)
{
    AHandleObject* object = nullptr;
    size_t slot;
    TSuspensionRegion region;
    pthread_mutex_lock(&_tableLock);
    if (SlotOf(handle, &slot) && Table().slots[slot]->Kind() == kind) {
        object = Table().slots[slot];
        Table().slots[slot] = nullptr;
        try {
            Table().freeSlots.push_back(slot);
        } catch (const std::bad_alloc&) {
            // The slot is lost for reuse, nothing else.
        }
    }
    pthread_mutex_unlock(&_tableLock);
    if (!object) {
        SetLastError(ERROR_INVALID_HANDLE);
        return false;
    }
    object->Release();
    return true;
}

timespec DeadlineAfter(DWORD milliseconds)
{
    timespec deadline;
    clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += time_t(milliseconds / 1000);
    deadline.tv_nsec += long(milliseconds % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    return deadline;
}

bool DeadlinePassed(const timespec& deadline)
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec > deadline.tv_sec
        || (now.tv_sec == deadline.tv_sec && now.tv_nsec >= deadline.tv_nsec);
}

}

using namespace TarnPosix;

extern "C" {

BOOL CloseHandle(HANDLE hObject)
{
    TSuspensionRegion region;
    if (hObject == CurrentThreadPseudoHandle())
        return TRUE;
    AHandleObject* object = ReferenceHandle(hObject);
    if (!object)
        return FALSE;
    AHandleObject::EKind kind = object->Kind();
    object->Release();
    // Window handles belong to DestroyWindow.
    if (kind == AHandleObject::eWindow) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    return RemoveHandle(hObject, kind) ? TRUE : FALSE;
}

}
