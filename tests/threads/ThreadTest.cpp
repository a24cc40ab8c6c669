#include <gtest/gtest.h>

#include <atomic>
#include <functional>

#include "ThreadsTestHelpers.h"
#include "threads/Thread.h"
#include "threads/ThreadEvent.h"

using ThreadsSuite::Eventually;

namespace {

// Runs a body as its MainLoop.
class TBodyThread : public TThread {
public:
    explicit TBodyThread(std::function<unsigned long()> body) : body(std::move(body)) {}

protected:
    unsigned long MainLoop() override { return body(); }
    std::function<unsigned long()> body;
};

// Destroys itself when MainLoop returns. Only ~TThread runs then, so it holds nothing that
// needs a destructor of its own.
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
    }  // destroyed without Run: returns at once

    TThread named(nullptr, 42, "named");
    EXPECT_EQ(1, named.WasSarted()) << "even for a null handle";
    EXPECT_EQ(1, named.IsTerminated());
    EXPECT_EQ(0, named.IsAutoDeathActive());
    named.SetAutoDeathMode(1);
    named.Init(nullptr, 43);
    EXPECT_TRUE(named.WasSarted() == 0 && named.IsAutoDeathActive() == 0 && named.GetThreadId() == 43u);

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
    TThreadEvent go, ready;
    std::atomic<unsigned long> ranOn{0};
    std::atomic<long> priority{99};
    MSG got{};
    TBodyThread worker([&]() -> unsigned long {
        priority = GetThreadPriority(GetCurrentThread());
        ranOn = GetCurrentThreadId();
        go.WaitForIt(0xFFFFFFFF);
        PeekMessageA(&got, nullptr, 0, 0, PM_NOREMOVE);
        ready.SetTrue();
        GetMessageA(&got, nullptr, 0, 0);
        return 7;
    });
    worker.Run(&worker, 0, 0);
    ASSERT_EQ(1, worker.WasSarted());
    ASSERT_TRUE(Eventually([&] { return ranOn.load() != 0; }));
    EXPECT_EQ(ranOn.load(), worker.GetThreadId());
    EXPECT_EQ(long(THREAD_PRIORITY_NORMAL), priority.load()) << "priority 0 makes no call";
    EXPECT_EQ(0, worker.IsTerminated());

    // PostThreadMessageA goes to the thread's id; it fails until the thread has a queue.
    EXPECT_EQ(0, worker.PostThreadMessageA(WM_USER + 1, 5, -6));
    go.SetTrue();
    ASSERT_EQ(1, ready.WaitForIt(5000));
    EXPECT_NE(0, worker.PostThreadMessageA(WM_USER + 2, 11, -22));

    // Ended but not reaped: the handle polls true and holds MainLoop's result, which is
    // not the stored exit code.
    ASSERT_TRUE(Eventually([&] { return worker.IsTerminated() == 1; }));
    EXPECT_TRUE(got.message == WM_USER + 2 && got.wParam == 11 && got.lParam == -22);
    DWORD code = 0;
    EXPECT_TRUE(GetExitCodeThread(worker.GetThreadHandle(), &code));
    EXPECT_TRUE(code == 7 && worker.GetExitCode() == 0);
    worker.WaitForEnd();
    EXPECT_EQ(nullptr, worker.GetThreadHandle());
    EXPECT_EQ(1, worker.IsTerminated());

    // A priority is applied after the start; a stack size is accepted. The destructor of an
    // object with auto-death waits for its thread, which runs the MainLoop of a separate
    // target: a derived object would be gone, its MainLoop with it, before the base
    // destructor could wait.
    std::atomic<bool> finished{false};
    TBodyThread slow([&]() -> unsigned long {
        Sleep(100);
        finished = true;
        return 0;
    });
    slow.SetAutoDeathMode(0);
    {
        TThread recorder;
        recorder.Run(&slow, THREAD_PRIORITY_BELOW_NORMAL, 256 * 1024);
        EXPECT_EQ(THREAD_PRIORITY_BELOW_NORMAL, recorder.GetPriority());
    }
    EXPECT_TRUE(finished.load());
}

TEST(Thread, SuspendTerminateAndSelfDestruction)
{
    // Suspend and Resume answer the platform's previous count; Terminate ends the thread
    // where it stands and lets go of the handle.
    std::atomic<long> count{0};
    TBodyThread counter([&]() -> unsigned long {
        for (;; TThread::GiveUpTimeSlice())
            ++count;
    });
    counter.Run(&counter, 0, 0);
    ASSERT_TRUE(Eventually([&] { return count.load() > 0; }));
    EXPECT_EQ(0, counter.Suspend());
    EXPECT_EQ(1, counter.Suspend());
    EXPECT_EQ(1, counter.IsSuspended());
    EXPECT_EQ(2, counter.Resume());
    EXPECT_EQ(1, counter.Resume());
    EXPECT_EQ(0, counter.IsSuspended());
    counter.Terminate(3);
    EXPECT_EQ(nullptr, counter.GetThreadHandle());
    EXPECT_EQ(1, counter.IsTerminated());
    const long stopped = count.load();
    Sleep(50);
    EXPECT_EQ(stopped, count.load());

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
