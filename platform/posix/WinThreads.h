// Threads: creation through the run-time's _beginthreadex, waitable thread handles, exit
// codes, suspension, termination and priorities.
#pragma once

#include <stdint.h>

#include "CommonTarnExport.h"
#include "WinTypes.h"

#ifndef ERROR_SIGNAL_PENDING
#  define ERROR_SIGNAL_PENDING 162L
#endif
#ifndef ERROR_TIMEOUT
#  define ERROR_TIMEOUT 1460L
#endif

extern "C" {

typedef unsigned(__stdcall* _beginthreadex_proc_type)(void*);

// Starts a thread that runs start_address(arglist) and answers its handle, or 0 with errno
// set (EINVAL for a null function, EAGAIN when no thread can be made). CREATE_SUSPENDED
// holds the thread before its first instruction until ResumeThread. The thread id, the
// one GetCurrentThreadId answers on that thread, goes to *thrdaddr when it is not null.
// A stack_size below the default only counts with STACK_SIZE_PARAM_IS_A_RESERVATION,
// as the reservation on Windows is never smaller than the default.
COMMONTARN_API uintptr_t _beginthreadex(void* security, unsigned stack_size,
    _beginthreadex_proc_type start_address, void* arglist, unsigned initflag,
    unsigned* thrdaddr);

// Ends the calling thread with that exit code. Unlike on Windows, the destructors of the
// objects on the thread's stack run, as the thread is ended by pthread_exit.
COMMONTARN_API void _endthreadex(unsigned retval);

// The pseudo-handle that stands for the calling thread wherever a thread handle is taken.
COMMONTARN_API HANDLE GetCurrentThread(void);

// STILL_ACTIVE while the thread runs, then what its function returned, what it gave to
// _endthreadex, or the code of TerminateThread.
COMMONTARN_API BOOL GetExitCodeThread(HANDLE hThread, LPDWORD lpExitCode);

// Both answer the previous suspend count, or (DWORD)-1 on failure. SuspendThread returns
// once the thread has stopped; a thread inside a call of this layer stops at the end of the
// call or in a wait, which it leaves meanwhile, so it never stops holding a lock of the layer
// and takes nothing that is signalled or posted while it is suspended. A thread that has ended
// cannot be suspended (ERROR_ACCESS_DENIED). Outside the layer a thread is stopped by a
// signal; when that cannot be done the call fails and leaves the thread running: with
// ERROR_NOT_ENOUGH_QUOTA when the signal cannot be queued (RLIMIT_SIGPENDING), with
// ERROR_SIGNAL_PENDING at once when the thread blocks the signal, and with ERROR_TIMEOUT
// when the thread has not stopped within 10 seconds.
COMMONTARN_API DWORD SuspendThread(HANDLE hThread);
COMMONTARN_API DWORD ResumeThread(HANDLE hThread);

// Ends a thread where it stands: it runs none of its code again, no destructor and no
// clean-up. The thread stops as for SuspendThread, and its handle is signalled with
// dwExitCode once it has, before the call returns; where SuspendThread would fail, this call
// fails with the same errors and the thread runs on. POSIX cannot take a thread away without running its clean-up, so the
// thread is stopped for good instead: it keeps its stack and whatever locks of its own it
// held until the process ends, as a terminated thread keeps its locks on Windows. A thread
// that was created suspended and never ran ends completely. On the calling thread the call
// does not return.
COMMONTARN_API BOOL TerminateThread(HANDLE hThread, DWORD dwExitCode);

// The Windows priority values (THREAD_PRIORITY_IDLE to THREAD_PRIORITY_TIME_CRITICAL);
// others fail with ERROR_INVALID_PARAMETER. The value is kept and reported as given. The
// system applies what an unprivileged process may: priorities below normal raise the
// thread's nice value; normal and above leave the nice value the thread started with, and
// going back up from a lowered priority only works with the privilege to lower nice values.
COMMONTARN_API int GetThreadPriority(HANDLE hThread);
COMMONTARN_API BOOL SetThreadPriority(HANDLE hThread, int nPriority);

}
