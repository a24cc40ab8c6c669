// Message queues of threads, and windows that are message targets bound to a thread.
#include "WinMessages.h"

#include <deque>
#include <new>
#include <unordered_map>
#include <vector>

#include "WinKernel.h"
#include "WinObjects.h"

namespace TarnPosix {

// A window that is only a message target of its thread.
class TWindow : public AHandleObject {
public:
    explicit TWindow(TThreadObject* owner) : AHandleObject(eWindow), owner(owner)
    {
        owner->AddReference();
    }
    ~TWindow() override { owner->Release(); }

    TThreadObject* const owner;
    // Under _syncLock.
    HWND handle = nullptr;
    bool alive = true;
};

struct TMessageQueue {
    std::deque<MSG> messages;
    std::vector<TWindow*> windows;
};

namespace {

// The limit of posted messages in one queue on Windows.
const size_t _queueLimit = 10000;

// Threads with a queue, by thread id. Under _syncLock; never destroyed, as threads may
// end while the process exits.
std::unordered_map<DWORD, TThreadObject*>& Queues()
{
    static auto* queues = new std::unordered_map<DWORD, TThreadObject*>;
    return *queues;
}

// Under _syncLock.
bool EnsureQueue(TThreadObject* thread)
{
    if (thread->queue)
        return true;
    try {
        TMessageQueue* queue = new TMessageQueue;
        try {
            Queues()[thread->id.load()] = thread;
        } catch (const std::bad_alloc&) {
            delete queue;
            throw;
        }
        thread->queue = queue;
        return true;
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return false;
    }
}

// Under _syncLock.
BOOL Enqueue(TThreadObject* thread, HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    TMessageQueue* queue = thread->queue;
    if (queue->messages.size() >= _queueLimit) {
        SetLastError(ERROR_NOT_ENOUGH_QUOTA);
        return FALSE;
    }
    MSG msg = {};
    msg.hwnd = window;
    msg.message = message;
    msg.wParam = wParam;
    msg.lParam = lParam;
    msg.time = GetTickCount();
    try {
        queue->messages.push_back(msg);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    pthread_cond_signal(&thread->wake);
    return TRUE;
}

TWindow* ReferenceWindow(HWND hWnd)
{
    AHandleObject* object = ReferenceHandle(hWnd);
    if (!object || object->Kind() != AHandleObject::eWindow) {
        if (object)
            object->Release();
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return nullptr;
    }
    return static_cast<TWindow*>(object);
}

HWND ThreadMessagesOnly()
{
    return reinterpret_cast<HWND>(LONG_PTR(-1));
}

bool Matches(const MSG& msg, HWND hWnd, UINT filterMin, UINT filterMax)
{
    if (hWnd == ThreadMessagesOnly()) {
        if (msg.hwnd)
            return false;
    } else if (hWnd && msg.hwnd != hWnd) {
        return false;
    }
    if ((filterMin == 0 && filterMax == 0) || msg.message == WM_QUIT)
        return true;
    return msg.message >= filterMin && msg.message <= filterMax;
}

// Copies out the oldest matching message, and removes it if asked. Under _syncLock.
bool TakeMessage(TMessageQueue* queue, LPMSG lpMsg, HWND hWnd, UINT filterMin, UINT filterMax,
    bool remove)
{
    for (auto it = queue->messages.begin(); it != queue->messages.end(); ++it) {
        if (Matches(*it, hWnd, filterMin, filterMax)) {
            *lpMsg = *it;
            if (remove)
                queue->messages.erase(it);
            return true;
        }
    }
    return false;
}

// The filter window of PeekMessageA and GetMessageA, checked; false for a bad window.
bool CheckFilterWindow(HWND hWnd)
{
    if (!hWnd || hWnd == ThreadMessagesOnly())
        return true;
    TWindow* window = ReferenceWindow(hWnd);
    if (!window)
        return false;
    window->Release();
    return true;
}

}

void DiscardMessageQueue(TThreadObject* thread)
{
    TMessageQueue* queue = thread->queue;
    if (!queue)
        return;
    Queues().erase(thread->id.load());
    thread->queue = nullptr;
    for (TWindow* window : queue->windows) {
        window->alive = false;
        RemoveHandle(window->handle, AHandleObject::eWindow);
    }
    // Messages still queued are dropped, with whatever their parameters point to.
    delete queue;
}

}

using namespace TarnPosix;

extern "C" {

BOOL PostThreadMessageA(DWORD idThread, UINT Msg, WPARAM wParam, LPARAM lParam)
{
    TSuspensionRegion region;
    TSyncLock lock;
    auto found = Queues().find(idThread);
    if (found == Queues().end()) {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return FALSE;
    }
    return Enqueue(found->second, nullptr, Msg, wParam, lParam);
}

BOOL PostMessageA(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam)
{
    TSuspensionRegion region;
    if (!hWnd) {
        TThreadObject* self = CurrentThreadObject();
        if (!self) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return FALSE;
        }
        TSyncLock lock;
        if (!EnsureQueue(self))
            return FALSE;
        return Enqueue(self, nullptr, Msg, wParam, lParam);
    }
    TObjectRef<TWindow> window(ReferenceWindow(hWnd));
    if (!window)
        return FALSE;
    TSyncLock lock;
    if (!window->alive || !window->owner->queue) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return FALSE;
    }
    return Enqueue(window->owner, hWnd, Msg, wParam, lParam);
}

BOOL PeekMessageA(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax, UINT wRemoveMsg)
{
    TSuspensionRegion region;
    TThreadObject* self = CurrentThreadObject();
    if (!self) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return FALSE;
    }
    if (!CheckFilterWindow(hWnd))
        return FALSE;
    TSyncLock lock;
    if (!EnsureQueue(self))
        return FALSE;
    return TakeMessage(self->queue, lpMsg, hWnd, wMsgFilterMin, wMsgFilterMax,
               (wRemoveMsg & PM_REMOVE) != 0)
        ? TRUE : FALSE;
}

BOOL GetMessageA(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax)
{
    TSuspensionRegion region;
    TThreadObject* self = CurrentThreadObject();
    if (!self) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return -1;
    }
    if (!CheckFilterWindow(hWnd))
        return -1;
    TSyncLock lock;
    if (!EnsureQueue(self))
        return -1;
    for (;;) {
        // A suspended thread takes nothing; a terminated one never comes back for it. The
        // request is looked at again after each stop, as another may have come meanwhile.
        if (self->StopRequested()) {
            if (!StopInsideWait(self))
                return -1;
            continue;
        }
        if (TakeMessage(self->queue, lpMsg, hWnd, wMsgFilterMin, wMsgFilterMax, true))
            return lpMsg->message == WM_QUIT ? 0 : 1;
        pthread_cond_wait(&self->wake, &_syncLock);
    }
}

HWND CreateMessageTargetWindow(void)
{
    TSuspensionRegion region;
    TThreadObject* self = CurrentThreadObject();
    TWindow* window = self ? new (std::nothrow) TWindow(self) : nullptr;
    if (!window) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    window->AddReference();
    TObjectRef<TWindow> reference(window);
    HWND handle = static_cast<HWND>(InsertHandle(window));
    if (!handle)
        return nullptr;
    TSyncLock lock;
    window->handle = handle;
    try {
        if (EnsureQueue(self)) {
            self->queue->windows.push_back(window);
            return handle;
        }
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    window->alive = false;
    RemoveHandle(handle, AHandleObject::eWindow);
    return nullptr;
}

BOOL DestroyWindow(HWND hWnd)
{
    TSuspensionRegion region;
    TObjectRef<TWindow> window(ReferenceWindow(hWnd));
    if (!window)
        return FALSE;
    if (window->owner != CurrentThreadObjectIfAny()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return FALSE;
    }
    TSyncLock lock;
    if (!window->alive) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return FALSE;
    }
    window->alive = false;
    if (TMessageQueue* queue = window->owner->queue) {
        auto& windows = queue->windows;
        for (auto it = windows.begin(); it != windows.end(); ++it) {
            if (*it == window.Get()) {
                windows.erase(it);
                break;
            }
        }
    }
    RemoveHandle(hWnd, AHandleObject::eWindow);
    return TRUE;
}

}
