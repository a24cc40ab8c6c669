#include <gtest/gtest.h>

#include <atomic>

#include "ThreadsTestHelpers.h"
#include "threads/Thread.h"
#include "threads/ThreadEvent.h"

using ThreadsSuite::Eventually;

namespace {

// Waits for go, notes its id and priority, takes one message if it has a queue, and answers 7.
class TGatedThread : public TThread {
public:
    explicit TGatedThread(const char* name = nullptr) : TThread(name) {}
    TThreadEvent go, ready;
    std::atomic<unsigned long> ranOn{0};
    std::atomic<long> priority{99};
    std::atomic<bool> finished{false};
    MSG got{};
    bool makeQueue = false;
    DWORD linger = 0;  // milliseconds between go and the end

protected:
    unsigned long MainLoop() override
    {
        priority = GetThreadPriority(GetCurrentThread());
        ranOn = GetCurrentThreadId();
        go.WaitForIt(0xFFFFFFFF);
        if (makeQueue) {
            PeekMessageA(&got, nullptr, 0, 0, PM_NOREMOVE);
            ready.SetTrue();
            GetMessageA(&got, nullptr, 0, 0);
        }
        Sleep(linger);
        finished = true;
        return 7;
    }
};

// Counts until told to stop, giving up its time slice each round.
class TCountingThread : public TThread {
public:
    std::atomic<long> count{0};
    std::atomic<bool> stop{false};

protected:
    unsigned long MainLoop() override
    {
        for (; !stop; GiveUpTimeSlice())
            ++count;
        return 0;
    }
};

// Destroys itself; the events outlive it, as its destructor is not the derived one.
class TSelfDestroying : public TThread {
public:
    TThreadEvent *go, *ready;

protected:
    unsigned long MainLoop() override
    {
        MSG msg;
        PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);
        ready->SetTrue();
        go->WaitForIt(0xFFFFFFFF);
        return 0;
    }
};

}  // namespace

TEST(Thread, SetUpWithoutRunning)
{
    {
        TThread own("own");
        EXPECT_EQ(0, own.IsTerminated());
        EXPECT_EQ(1, own.IsAutoDeathActive());
        own.WaitForEnd();
        own.WaitForEnd();
        // The suspend count moves even when the platform call fails (there is no thread),
        // and goes below zero when Resume outnumbers Suspend.
        EXPECT_EQ(-1, own.Suspend());
        EXPECT_EQ(1, own.IsSuspended());
        own.Resume();
        EXPECT_EQ(-1, own.Resume());
        EXPECT_EQ(0, own.IsSuspended());
        own.Suspend();
        EXPECT_EQ(0, own.IsSuspended());
        own.SetExitCode(-5);
        TThread view(own), assigned;
        assigned = own;
        for (TThread* copy : {&view, &assigned}) {
            EXPECT_EQ(-5, copy->GetExitCode());
            copy->Suspend();
            EXPECT_EQ(1, copy->IsSuspended()) << "the copy took the count";
        }
        EXPECT_EQ(0, own.IsSuspended());
    }  // destroyed without Run: returns at once

    TThread named(nullptr, 42, "named");
    EXPECT_EQ(1, named.WasSarted()) << "even for a null handle";
    EXPECT_EQ(1, named.IsTerminated());
    EXPECT_EQ(0, named.IsAutoDeathActive());
    named.SetAutoDeathMode(1);
    named.Init(nullptr, 43);
    EXPECT_EQ(0, named.WasSarted());
    EXPECT_EQ(0, named.IsAutoDeathActive());
    EXPECT_EQ(43u, named.GetThreadId());

    TThread self;
    self.InitAsCurrentThread("main");
    EXPECT_EQ(GetCurrentThreadId(), self.GetThreadId());
    EXPECT_EQ(0, self.IsAutoDeathActive());
    EXPECT_EQ(0, self.IsTerminated()) << "the pseudo-handle polls as running";
    self.SetPriority(THREAD_PRIORITY_NORMAL);
    EXPECT_EQ(THREAD_PRIORITY_NORMAL, self.GetPriority());
    // A thread handle is not a process handle: no class, and nothing is set.
    SetLastError(0);
    self.SetPriorityClass(0x20);
    EXPECT_EQ(0u, self.GetPriorityClass());
    EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), GetLastError());
}

TEST(Thread, RunMessagesEndAndReap)
{
    TGatedThread worker("worker");
    worker.makeQueue = true;
    worker.Run(&worker, 0, 0);
    ASSERT_EQ(1, worker.WasSarted());
    ASSERT_TRUE(Eventually([&] { return worker.ranOn.load() != 0; }));
    EXPECT_EQ(worker.ranOn.load(), worker.GetThreadId());
    EXPECT_EQ(long(THREAD_PRIORITY_NORMAL), worker.priority.load()) << "priority 0 makes no call";
    EXPECT_EQ(0, worker.IsTerminated());

    // PostThreadMessageA goes to the thread's id; it fails until the thread has a queue.
    EXPECT_EQ(0, worker.PostThreadMessageA(WM_USER + 1, 5, -6));
    worker.go.SetTrue();
    ASSERT_EQ(1, worker.ready.WaitForIt(5000));
    EXPECT_NE(0, worker.PostThreadMessageA(WM_USER + 2, 11, -22));

    // Ended but not reaped: the handle polls true and holds MainLoop's result, which is
    // not the stored exit code.
    ASSERT_TRUE(Eventually([&] { return worker.IsTerminated() == 1; }));
    EXPECT_TRUE(worker.got.message == WM_USER + 2 && worker.got.wParam == 11 && worker.got.lParam == -22);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(worker.GetThreadHandle(), &code));
    EXPECT_EQ(7u, code);
    EXPECT_EQ(0, worker.GetExitCode());
    worker.WaitForEnd();
    EXPECT_EQ(nullptr, worker.GetThreadHandle());
    EXPECT_EQ(1, worker.IsTerminated());

    // A priority is applied after the start; a stack size is accepted. The destructor of an
    // object with auto-death waits for its thread, which runs the MainLoop of a separate
    // target: a derived object would be gone, its MainLoop with it, before the base
    // destructor could wait.
    TGatedThread lowered;
    lowered.SetAutoDeathMode(0);
    lowered.linger = 100;
    {
        TThread recorder;
        recorder.Run(&lowered, THREAD_PRIORITY_BELOW_NORMAL, 256 * 1024);
        EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, recorder.GetPriority());
        lowered.go.SetTrue();
    }
    EXPECT_TRUE(lowered.finished.load());
}

TEST(Thread, SuspendTerminateAndSelfDestruction)
{
    // Suspend and Resume answer the platform's previous count.
    TCountingThread counter;
    counter.Run(&counter, 0, 0);
    ASSERT_TRUE(Eventually([&] { return counter.count.load() > 0; }));
    EXPECT_EQ(0, counter.Suspend());
    EXPECT_EQ(1, counter.Suspend());
    EXPECT_EQ(1, counter.IsSuspended());
    EXPECT_EQ(2, counter.Resume());
    EXPECT_EQ(1, counter.Resume());
    EXPECT_EQ(0, counter.IsSuspended());

    // Terminate ends the thread where it stands and lets go of the handle.
    counter.Terminate(3);
    EXPECT_EQ(nullptr, counter.GetThreadHandle());
    EXPECT_EQ(1, counter.IsTerminated());
    const long stopped = counter.count.load();
    Sleep(50);
    EXPECT_EQ(stopped, counter.count.load());

    // A self-destroying thread deletes its object once MainLoop returns; its queue goes
    // with it when it ends.
    TThreadEvent go, ready;
    TSelfDestroying* self = new TSelfDestroying;
    self->go = &go;
    self->ready = &ready;
    self->SetAsAutoDestructible();
    EXPECT_EQ(1, self->IsSelfDestructible());
    self->Run(self, 0, 0);
    ASSERT_EQ(1, ready.WaitForIt(5000));
    const unsigned long id = self->GetThreadId();
    go.SetTrue();
    EXPECT_TRUE(Eventually([&] { return PostThreadMessageA(id, WM_NULL, 0, 0) == 0; }));
}
