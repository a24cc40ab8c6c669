#include <gtest/gtest.h>

#include <atomic>

#include "ThreadsTestHelpers.h"
#include "threads/Thread.h"
#include "threads/ThreadEvent.h"

using ThreadsSuite::Eventually;

namespace {

// Waits for go, notes its id, and answers a fixed code.
class TGatedThread : public TThread {
public:
    explicit TGatedThread(const char* name = nullptr) : TThread(name) {}
    TThreadEvent go;
    std::atomic<unsigned long> ranOn{0};
    std::atomic<long> priority{99};

protected:
    unsigned long MainLoop() override
    {
        ranOn = GetCurrentThreadId();
        priority = GetThreadPriority(GetCurrentThread());
        go.WaitForIt(0xFFFFFFFF);
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
        while (!stop) {
            ++count;
            GiveUpTimeSlice();
        }
        return 0;
    }
};

// Destroys itself; tells the test when MainLoop has ended through a message queue.
class TSelfDestroying : public TThread {
public:
    TThreadEvent* go;
    TThreadEvent* ready;

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

bool CountStaysStill(const std::atomic<long>& count)
{
    const long before = count.load();
    Sleep(100);
    return count.load() == before;
}

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
        own.Suspend();
        EXPECT_EQ(1, own.IsSuspended());
        own.Resume();
        own.Resume();
        EXPECT_EQ(0, own.IsSuspended());
        own.Suspend();
        EXPECT_EQ(0, own.IsSuspended());
        own.SetExitCode(-5);
        TThread view(own);
        EXPECT_EQ(-5, view.GetExitCode());
        view.Suspend();
        EXPECT_EQ(1, view.IsSuspended()) << "the copy took the count";
        EXPECT_EQ(0, own.IsSuspended());
    }  // destroyed without Run: returns at once

    TThread named(nullptr, 42, "named");
    EXPECT_EQ(1, named.WasSarted()) << "even for a null handle";
    EXPECT_EQ(1, named.IsTerminated());
    named.SetAutoDeathMode(1);
    named.Init(nullptr, 43);
    EXPECT_EQ(0, named.WasSarted());
    EXPECT_EQ(0, named.IsAutoDeathActive());

    TThread self;
    self.InitAsCurrentThread("main");
    EXPECT_EQ(GetCurrentThreadId(), self.GetThreadId());
    EXPECT_EQ(0, self.IsAutoDeathActive());
    EXPECT_EQ(0, self.IsTerminated()) << "the pseudo-handle polls as running";

    // A thread handle is not a process handle: no class, and nothing is set.
    SetLastError(0);
    EXPECT_EQ(0u, self.GetPriorityClass());
    EXPECT_EQ(DWORD(ERROR_INVALID_HANDLE), GetLastError());
}

TEST(Thread, RunEndReapAndPriority)
{
    TGatedThread worker("worker");
    worker.Run(&worker, 0, 0);
    ASSERT_EQ(1, worker.WasSarted());
    EXPECT_NE(nullptr, worker.GetThreadHandle());
    ASSERT_TRUE(Eventually([&] { return worker.ranOn.load() != 0; }));
    EXPECT_EQ(worker.ranOn.load(), worker.GetThreadId());
    EXPECT_EQ(long(THREAD_PRIORITY_NORMAL), worker.priority.load()) << "priority 0 makes no call";
    EXPECT_EQ(0, worker.IsTerminated());

    // Ended but not reaped: the handle polls true and holds MainLoop's result, which is
    // not the stored exit code.
    worker.go.SetTrue();
    ASSERT_TRUE(Eventually([&] { return worker.IsTerminated() == 1; }));
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(worker.GetThreadHandle(), &code));
    EXPECT_EQ(7u, code);
    EXPECT_EQ(0, worker.GetExitCode());
    worker.WaitForEnd();
    EXPECT_EQ(nullptr, worker.GetThreadHandle());
    EXPECT_EQ(1, worker.IsTerminated());
    worker.WaitForEnd();

    // A priority is applied after the start; a stack size is accepted.
    TGatedThread lowered;
    lowered.Run(&lowered, THREAD_PRIORITY_BELOW_NORMAL, 256 * 1024);
    EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, lowered.GetPriority());
    lowered.go.SetTrue();
    lowered.WaitForEnd();

    // The destructor of an object with auto-death waits for its thread. The thread runs the
    // MainLoop of a separate target: a derived object would be gone, its MainLoop with it,
    // before the base destructor could wait.
    class TSlow : public TThread {
    public:
        std::atomic<bool> finished{false};

    protected:
        unsigned long MainLoop() override
        {
            Sleep(100);
            finished = true;
            return 0;
        }
    } slow;
    slow.SetAutoDeathMode(0);
    {
        TThread recorder;
        recorder.Run(&slow, 0, 0);
    }
    EXPECT_TRUE(slow.finished.load());
}

TEST(Thread, MessagesSuspensionAndTermination)
{
    // PostThreadMessageA goes to the thread's id; it fails until the thread has a queue.
    class TReceiver : public TThread {
    public:
        TThreadEvent go, ready;
        MSG got{};

    protected:
        unsigned long MainLoop() override
        {
            go.WaitForIt(0xFFFFFFFF);
            PeekMessageA(&got, nullptr, 0, 0, PM_NOREMOVE);
            ready.SetTrue();
            GetMessageA(&got, nullptr, 0, 0);
            return 0;
        }
    } receiver;
    receiver.Run(&receiver, 0, 0);
    EXPECT_EQ(0, receiver.PostThreadMessageA(WM_USER + 1, 5, -6));
    receiver.go.SetTrue();
    ASSERT_EQ(1, receiver.ready.WaitForIt(5000));
    EXPECT_NE(0, receiver.PostThreadMessageA(WM_USER + 2, 11, -22));
    receiver.WaitForEnd();
    EXPECT_EQ(UINT(WM_USER + 2), receiver.got.message);
    EXPECT_EQ(WPARAM(11), receiver.got.wParam);
    EXPECT_EQ(LPARAM(-22), receiver.got.lParam);

    // Suspend and Resume answer the platform's previous count.
    TCountingThread counter;
    counter.Run(&counter, 0, 0);
    ASSERT_TRUE(Eventually([&] { return counter.count.load() > 0; }));
    EXPECT_EQ(0, counter.Suspend());
    EXPECT_EQ(1, counter.Suspend());
    EXPECT_EQ(1, counter.IsSuspended());
    EXPECT_TRUE(CountStaysStill(counter.count));
    EXPECT_EQ(2, counter.Resume());
    EXPECT_TRUE(CountStaysStill(counter.count)) << "still suspended once";
    EXPECT_EQ(1, counter.Resume());
    EXPECT_EQ(0, counter.IsSuspended());
    const long resumedAt = counter.count.load();
    EXPECT_TRUE(Eventually([&] { return counter.count.load() > resumedAt; }));
    counter.stop = true;
    counter.WaitForEnd();

    // Terminate kills the thread where it stands and lets go of the handle.
    TCountingThread doomed;
    doomed.Run(&doomed, 0, 0);
    ASSERT_TRUE(Eventually([&] { return doomed.count.load() > 0; }));
    doomed.Terminate(3);
    EXPECT_EQ(nullptr, doomed.GetThreadHandle());
    EXPECT_EQ(1, doomed.IsTerminated());
    Sleep(50);
    EXPECT_TRUE(CountStaysStill(doomed.count));

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
