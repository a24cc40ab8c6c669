// Posted messages: per-thread queues, thread messages, and message target windows.
#pragma once

#include "CommonTarnExport.h"
#include "WinTypes.h"

extern "C" {

// A thread gets its queue at its first PeekMessageA or GetMessageA (or when it makes a
// message target). Posting to a thread without one fails with ERROR_INVALID_THREAD_ID, and
// to a queue that holds 10000 messages with ERROR_NOT_ENOUGH_QUOTA, as on Windows.
COMMONTARN_API BOOL PostThreadMessageA(DWORD idThread, UINT Msg, WPARAM wParam, LPARAM lParam);

// Posts to the thread that made the window; a null window posts to the calling thread.
COMMONTARN_API BOOL PostMessageA(HWND hWnd, UINT Msg, WPARAM wParam, LPARAM lParam);

// The oldest message that matches: hWnd null takes any message of the thread, (HWND)-1
// only thread messages, a window only that window's. A range of 0 to 0 takes every
// message number; WM_QUIT is taken whatever the range.
COMMONTARN_API BOOL PeekMessageA(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax,
    UINT wRemoveMsg);
// Waits for a matching message and removes it: 0 for WM_QUIT, -1 for an invalid window,
// otherwise nonzero.
COMMONTARN_API BOOL GetMessageA(LPMSG lpMsg, HWND hWnd, UINT wMsgFilterMin, UINT wMsgFilterMax);

// POSIX only: a window that is nothing but a message target, bound to the calling thread,
// whose queue it makes if needed. Windows code makes a message-only window instead
// (CreateWindowExA with HWND_MESSAGE as parent). Null when no window can be made.
COMMONTARN_API HWND CreateMessageTargetWindow(void);

// Only the thread that made the window may destroy it (ERROR_ACCESS_DENIED otherwise);
// the windows of a thread go when it ends. Messages already posted to it stay queued.
COMMONTARN_API BOOL DestroyWindow(HWND hWnd);

}
