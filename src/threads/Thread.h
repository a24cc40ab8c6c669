// TThread: a thread object whose virtual MainLoop is the thread's body. An object either
// starts a thread of its own (Run) or names an existing one (the handle constructor, Init,
// InitAsCurrentThread). Nothing here throws; the platform's answers come back as they are.
#pragma once

#include <atomic>
#include <cstdint>

#include "CommonTarnExport.h"

class TThreadStarter;

class COMMONTARN_API TThread {
public:
    // An object that will start its own thread: it waits for that thread's end when it is
    // destroyed (auto-death on).
    explicit TThread(const char* name = nullptr);
    // An object that names an existing thread; it counts as started even for a null handle.
    TThread(void* handle, unsigned long id, const char* name);
    // A bit-for-bit copy: a second view of the same thread, with the same handle value. Only
    // one of the views may close it (keep auto-death on in at most one).
    TThread(const TThread& source);
    TThread& operator=(const TThread& source);
    // With auto-death on, WaitForEnd(). Not virtual: a thread that destroys itself runs no
    // derived destructor. The wait comes after the derived parts are gone, so a derived class
    // whose MainLoop may still run calls WaitForEnd in its own destructor.
    ~TThread();

    // Starts a thread that runs target->MainLoop() and records it in this object; a
    // non-zero priority is applied once the thread runs. The ordinary call passes this.
    void Run(TThread* target, long priority, long stackSize);
    // Re-binds the object to an existing thread; auto-death goes off.
    void Init(void* handle, unsigned long id);
    // Binds the object to the calling thread through the platform's pseudo-handle;
    // auto-death goes off, as a thread cannot wait for its own end.
    void InitAsCurrentThread(const char* name);

    // Waits without limit for the thread's end, then closes the handle and forgets it. Does
    // nothing when there is no handle. Never on an object that stands for the caller.
    void WaitForEnd();
    // 0 for an object that never started a thread; 1 once the thread has ended or the
    // handle is gone.
    int IsTerminated() const;
    int WasSarted() const { return started; }
    // Kills the thread where it stands: no destructor, no auto-destruction. The object then
    // lets go of the handle, which it closes.
    void Terminate(unsigned long exitCode);

    // The object's own count moves first, atomically, whatever the platform answers; both
    // answer the platform's previous suspend count, or -1 on failure.
    long Suspend();
    long Resume();
    int IsSuspended() const { return suspendCount.load() > 0; }

    long GetPriority() const;
    void SetPriority(long priority);
    // The platform's priority class calls take a process, not a thread. These answer as the
    // platform answers a thread handle there: no class (0) with ERROR_INVALID_HANDLE, and
    // setting changes nothing, so that a thread object never reaches the priority of the
    // whole process.
    unsigned long GetPriorityClass() const;
    void SetPriorityClass(unsigned long priorityClass);

    // Posts to the thread's id; the platform's answer as it comes.
    int PostThreadMessageA(unsigned int message, long wParam, long lParam);

    void* GetThreadHandle() const { return threadHandle; }
    unsigned long GetThreadId() const { return threadId; }
    // The pointer is stored, the text is not copied.
    void SetName(const char* newName) { name = newName; }
    void SetAutoDeathMode(int on) { autoDeath = on; }
    int IsAutoDeathActive() const { return autoDeath; }
    // The thread destroys its object, which must come from new, once MainLoop returns. There
    // is no way back, and nobody else may touch the object after Run has returned.
    void SetAsAutoDestructible() { autoDestructible = 1; }
    int IsSelfDestructible() const { return autoDestructible; }
    // A plain stored value; the thread's own exit code is what MainLoop returns.
    void SetExitCode(long code) { exitCode = static_cast<int32_t>(code); }
    long GetExitCode() const { return exitCode; }

    static void GiveUpTimeSlice();

protected:
    // The thread's body; its result becomes the thread's exit code. The base returns 0.
    virtual unsigned long MainLoop();

private:
    friend class TThreadStarter;
    static unsigned long Starter(void* argument);

    const char* name;
    uint32_t threadId;
    void* threadHandle;
    std::atomic<int32_t> suspendCount;
    int autoDeath;
    int started;
    int autoDestructible;
    int32_t exitCode;
};
