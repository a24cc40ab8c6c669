// SuspendThread and TerminateThread against the other calls of the layer: waits that a
// suspended or terminated thread leaves, locks it must not keep, and the answers when a
// thread cannot be stopped.
#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

#ifndef _WIN32
#  include <signal.h>
#  include <sys/resource.h>
#endif

#include "RunningUnderWine.h"
#include "ThreadsTestSupport.h"

using namespace ThreadsTest;

namespace {

// Runs the body on a thread of its own. A body still running after the limit has hung, and
// holds whatever it holds for good: the program says so and ends, as no later test could run.
void WithinSeconds(int seconds, const char* what, const std::function<void()>& body)
{
    std::mutex lock;
    std::condition_variable finished;
    bool done = false;
    std::thread runner([&] {
        body();
        std::lock_guard<std::mutex> hold(lock);
        done = true;
        finished.notify_all();
    });
    std::unique_lock<std::mutex> hold(lock);
    if (!finished.wait_for(hold, std::chrono::seconds(seconds), [&] { return done; })) {
        std::fprintf(stderr, "%s: still running after %d s, a hang\n", what, seconds);
        std::fflush(stderr);
        std::_Exit(1);
    }
    hold.unlock();
    runner.join();
}

// A thread that counts until told to stop.
struct TCounter {
    LONG volatile count = 0;
    LONG volatile stop = 0;

    bool Moves()
    {
        LONG before = Read(count);
        return Eventually([&] { return Read(count) != before; });
    }
    bool Stands()
    {
        LONG before = Read(count);
        Sleep(30);
        return Read(count) == before;
    }
};

// The thread has started its wait, as far as another thread can tell.
void LetItWait(LONG volatile& flag)
{
    Eventually([&] { return Read(flag) != 0; });
    Sleep(5);
}

}

TEST(SuspendTerminate, SuspendedWaiterIsInNoWaitAndTerminationKeepsTheWaitList)
{
    WithinSeconds(120, "suspended waiter", [] {
        int lost = 0;
        for (int round = 0; round < 100; ++round) {
            HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
            LONG volatile waiting = 0;
            auto wait = [&]() -> unsigned {
                InterlockedIncrement(&waiting);
                return WaitForSingleObject(event, INFINITE);
            };
            HANDLE suspended = StartThread(wait);
            HANDLE other = StartThread(wait);
            Eventually([&] { return Read(waiting) == 2; });
            LetItWait(waiting);
            ASSERT_EQ(0u, SuspendThread(suspended));
            SetEvent(event);
            SetEvent(event);
            ASSERT_TRUE(TerminateThread(suspended, 99));
            EXPECT_EQ(WAIT_OBJECT_0, JoinThread(other));
            EXPECT_EQ(99u, JoinThread(suspended));
            // Nobody waits now: a set must stay for the next taker.
            SetEvent(event);
            lost += WaitForSingleObject(event, 0) != WAIT_OBJECT_0;
            CloseHandle(event);
        }
        EXPECT_EQ(0, lost) << "lost sets in 100 rounds";
    });
}

#ifndef _WIN32
// Windows stops a thread wherever it is, inside its loader and heap locks too; the POSIX
// layer promises more: a thread never stops while it holds a lock of the layer.
TEST(SuspendTerminate, PosixOnlyNoThreadStopsInsideALockOfTheLayer)
{
    struct TContext {
        HMODULE strings;
        DWORD slot;
    } context = {LoadLibraryA(TARN_TEST_STRINGS), TlsAlloc()};
    ASSERT_NE(nullptr, context.strings);
    struct TCall {
        const char* name;
        void (*call)(const TContext&);
    };
    static const TCall calls[] = {
        {"LoadStringA", [](const TContext& c) {
             char text[64];
             LoadStringA(c.strings, 18012, text, sizeof text);
         }},
        {"GetCurrentDirectoryA", [](const TContext&) {
             char text[MAX_PATH];
             GetCurrentDirectoryA(MAX_PATH, text);
         }},
        {"ConvertWindowsToPosixName", [](const TContext&) {
             char text[MAX_PATH];
             ConvertWindowsToPosixName("C:\\tmp\\x", text, MAX_PATH);
         }},
        {"ConvertPosixToWindowsName", [](const TContext&) {
             char text[MAX_PATH];
             ConvertPosixToWindowsName("/tmp/x", text, MAX_PATH);
         }},
        {"CreateEventA, SetEvent, CloseHandle", [](const TContext&) {
             HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
             SetEvent(event);
             WaitForSingleObject(event, 0);
             CloseHandle(event);
         }},
        {"PostMessageA, PeekMessageA", [](const TContext&) {
             MSG msg;
             PostMessageA(nullptr, WM_USER, 0, 0);
             PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE);
         }},
        {"TlsSetValue", [](const TContext& c) { TlsSetValue(c.slot, const_cast<DWORD*>(&c.slot)); }},
    };
    for (const TCall& call : calls) {
        WithinSeconds(60, call.name, [&] {
            LONG volatile stop = 0;
            HANDLE worker = StartThread([&]() -> unsigned {
                while (!Read(stop))
                    call.call(context);
                return 0;
            });
            for (int round = 0; round < 10000; ++round) {
                ASSERT_EQ(0u, SuspendThread(worker)) << call.name;
                call.call(context);
                ASSERT_EQ(1u, ResumeThread(worker)) << call.name;
            }
            InterlockedExchange(&stop, 1);
            EXPECT_EQ(0u, JoinThread(worker)) << call.name;
        });
    }
    FreeLibrary(context.strings);
    TlsFree(context.slot);
}
#endif

TEST(SuspendTerminate, TerminatedThreadActsNoMoreOnceItsHandleIsSignalled)
{
    WithinSeconds(120, "terminated thread", [] {
        int acted = 0;
        for (int round = 0; round < 300; ++round) {
            HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
            LONG volatile running = 0;
            HANDLE thread = StartThread([&]() -> unsigned {
                for (;;) {
                    SetEvent(event);
                    InterlockedExchange(&running, 1);
                }
            });
            Eventually([&] { return Read(running) != 0; });
            ASSERT_TRUE(TerminateThread(thread, 7));
            ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 10000));
            ResetEvent(event);
            Sleep(1);
            acted += WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
            EXPECT_EQ(7u, JoinThread(thread));
            CloseHandle(event);
        }
        EXPECT_EQ(0, acted) << "terminated threads that set the event later, in 300 rounds";
    });
}

TEST(SuspendTerminate, SuspendedThreadTakesNothingUntilResumed)
{
    WithinSeconds(60, "suspended thread takes nothing", [] {
        // An event set while the waiter is suspended stays for others; on resume the thread
        // waits again and takes what is there.
        HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        LONG volatile waiting = 0;
        HANDLE thread = StartThread([&]() -> unsigned {
            InterlockedExchange(&waiting, 1);
            return WaitForSingleObject(event, INFINITE);
        });
        LetItWait(waiting);
        EXPECT_EQ(0u, SuspendThread(thread));
        SetEvent(event);
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, 0)) << "taken by the suspended thread";
        SetEvent(event);
        EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(thread, 30));
        EXPECT_EQ(1u, ResumeThread(thread));
        EXPECT_EQ(WAIT_OBJECT_0, JoinThread(thread));
        EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(event, 0));
        CloseHandle(event);

        // Posted messages stay in the queue of a suspended GetMessageA: the queue fills at
        // the limit of 10000, and the first message is what the thread gets on resume.
        unsigned id = 0;
        waiting = 0;
        thread = StartThread([&]() -> unsigned {
            MSG msg;
            PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);
            InterlockedExchange(&waiting, 1);
            return GetMessageA(&msg, nullptr, 0, 0) > 0 ? msg.message : 0;
        }, 0, &id);
        LetItWait(waiting);
        EXPECT_EQ(0u, SuspendThread(thread));
        // The first message has time to be taken, were the thread still waiting for it.
        int posted = PostThreadMessageA(id, WM_USER, 0, 0) ? 1 : 0;
        Sleep(30);
        while (posted < 10001 && PostThreadMessageA(id, WM_USER + posted % 100, 0, 0))
            ++posted;
        // Wine sets no limit to a queue.
        if (!RunningUnderWine()) {
            EXPECT_EQ(10000, posted);
            EXPECT_EQ(DWORD(ERROR_NOT_ENOUGH_QUOTA), GetLastError());
        }
        EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(thread, 30));
        EXPECT_EQ(1u, ResumeThread(thread));
        EXPECT_EQ(unsigned(WM_USER), JoinThread(thread));
    });
}

TEST(SuspendTerminate, ThreadStopsItselfUntilAnotherResumesIt)
{
    WithinSeconds(60, "a thread stops itself", [] {
        LONG volatile after = 0;
        HANDLE thread = StartThread([&]() -> unsigned {
            DWORD previous = SuspendThread(GetCurrentThread());
            InterlockedExchange(&after, 1);
            return previous;
        });
        EXPECT_TRUE(Eventually([&] {
            DWORD count = SuspendThread(thread);
            ResumeThread(thread);
            return count == 1;
        }));
        EXPECT_EQ(0, Read(after));
        EXPECT_EQ(1u, ResumeThread(thread));
        EXPECT_EQ(0u, JoinThread(thread));
        EXPECT_EQ(1, Read(after));

        // Termination of itself does not return, also in a thread the layer did not start.
        thread = StartThread([&]() -> unsigned {
            TerminateThread(GetCurrentThread(), 9);
            InterlockedExchange(&after, 2);
            return 1;
        });
        EXPECT_EQ(9u, JoinThread(thread));
        std::thread([&] {
            TerminateThread(GetCurrentThread(), 9);
            InterlockedExchange(&after, 3);
        }).detach();
        Sleep(30);
        EXPECT_EQ(1, Read(after));
    });
}

// Two threads stop each other at the same moment: every call comes back. Terminating, at
// least one ends, and a thread whose call returned saw the other end with its code.
// Suspending, each stays stopped until resumed, and at least one call succeeds.
TEST(SuspendTerminate, ThreadsThatStopEachOtherAllComeBack)
{
    WithinSeconds(120, "threads that stop each other", [] {
        for (int round = 0; round < 40; ++round) {
            const bool terminate = round % 2 == 0;
            HANDLE go = CreateEventA(nullptr, TRUE, FALSE, nullptr);
            HANDLE threads[2] = {};
            LONG volatile ready = 0, results[2] = {-2, -2};
            for (int i = 0; i < 2; ++i) {
                threads[i] = StartThread([&, i]() -> unsigned {
                    InterlockedIncrement(&ready);
                    WaitForSingleObject(go, INFINITE);
                    HANDLE other = threads[1 - i];
                    InterlockedExchange(&results[i], terminate ? LONG(TerminateThread(other, 10 + i))
                                                               : LONG(SuspendThread(other)));
                    return 20 + i;
                }, CREATE_SUSPENDED);
            }
            ResumeThread(threads[0]);
            ResumeThread(threads[1]);
            Eventually([&] { return Read(ready) == 2; });
            SetEvent(go);
            // A thread stopped by the other comes back when resumed, and answers then.
            EXPECT_TRUE(Eventually([&] {
                for (HANDLE thread : threads)
                    ResumeThread(thread);
                return WaitForMultipleObjects(2, threads, TRUE, 0) == WAIT_OBJECT_0;
            })) << "round " << round;
            DWORD codes[2] = {};
            for (int i = 0; i < 2; ++i)
                GetExitCodeThread(threads[i], &codes[i]);
            if (terminate) {
                EXPECT_TRUE(codes[0] == 11 || codes[1] == 10) << "round " << round;
                for (int i = 0; i < 2; ++i) {
                    if (codes[i] == DWORD(20 + i))
                        EXPECT_EQ(DWORD(10 + i), codes[1 - i]) << "round " << round;
                    else
                        EXPECT_EQ(-2, Read(results[i])) << "round " << round;
                }
            } else {
                // A thread that came late may find the other ended already.
                EXPECT_EQ(20u, codes[0]);
                EXPECT_EQ(21u, codes[1]);
                EXPECT_TRUE(Read(results[0]) == 0 || Read(results[1]) == 0) << "round " << round;
                for (LONG volatile& result : results)
                    EXPECT_TRUE(Read(result) == 0 || Read(result) == -1) << "round " << round;
            }
            CloseHandle(threads[0]);
            CloseHandle(threads[1]);
            CloseHandle(go);
        }
    });
}

#ifndef _WIN32
// The signal that stops a thread outside the layer cannot be queued: both calls fail and the
// thread runs on as if they had not been made.
TEST(SuspendTerminate, PosixOnlyAFullSignalQueueFailsTheCallsAndLeavesTheThreadRunning)
{
    WithinSeconds(60, "full signal queue", [] {
        TCounter counter;
        HANDLE thread = StartThread([&]() -> unsigned {
            while (!Read(counter.stop))
                InterlockedIncrement(&counter.count);
            return 0;
        });
        ASSERT_TRUE(counter.Moves());
        rlimit saved;
        ASSERT_EQ(0, getrlimit(RLIMIT_SIGPENDING, &saved));
        rlimit none = saved;
        none.rlim_cur = 0;
        ASSERT_EQ(0, setrlimit(RLIMIT_SIGPENDING, &none));
        DWORD suspended = SuspendThread(thread);
        DWORD suspendError = GetLastError();
        BOOL terminated = TerminateThread(thread, 5);
        DWORD terminateError = GetLastError();
        setrlimit(RLIMIT_SIGPENDING, &saved);

        EXPECT_EQ(DWORD(-1), suspended);
        EXPECT_EQ(DWORD(ERROR_NOT_ENOUGH_QUOTA), suspendError);
        EXPECT_FALSE(terminated);
        EXPECT_EQ(DWORD(ERROR_NOT_ENOUGH_QUOTA), terminateError);
        EXPECT_TRUE(counter.Moves());
        EXPECT_EQ(0u, ResumeThread(thread)) << "the failed call left no count";
        EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(thread, 0));
        InterlockedExchange(&counter.stop, 1);
        EXPECT_EQ(0u, JoinThread(thread));
    });
}

// Outside the layer a thread that blocks every signal cannot be stopped: both calls fail at
// once with ERROR_SIGNAL_PENDING and leave it running, and once it unblocks them it can be.
// Inside a wait of the layer it stops whatever its signal mask.
TEST(SuspendTerminate, PosixOnlyAThreadThatBlocksSignalsStopsInsideTheLayerOrTheCallsFail)
{
    WithinSeconds(60, "blocked signals", [] {
        TCounter counter;
        LONG volatile unblock = 0;
        HANDLE thread = StartThread([&]() -> unsigned {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_BLOCK, &all, nullptr);
            while (!Read(unblock))
                InterlockedIncrement(&counter.count);
            pthread_sigmask(SIG_UNBLOCK, &all, nullptr);
            for (;;)
                InterlockedIncrement(&counter.count);
        });
        ASSERT_TRUE(counter.Moves());
        LARGE_INTEGER start;
        QueryPerformanceCounter(&start);
        EXPECT_EQ(DWORD(-1), SuspendThread(thread));
        EXPECT_EQ(DWORD(ERROR_SIGNAL_PENDING), GetLastError());
        EXPECT_FALSE(TerminateThread(thread, 5));
        EXPECT_EQ(DWORD(ERROR_SIGNAL_PENDING), GetLastError());
        EXPECT_LT(MillisecondsSince(start), 2000.0);
        EXPECT_TRUE(counter.Moves());
        EXPECT_EQ(WAIT_TIMEOUT, WaitForSingleObject(thread, 0));
        EXPECT_EQ(0u, ResumeThread(thread));

        // The signals left pending arrive and change nothing; now the calls work.
        InterlockedExchange(&unblock, 1);
        EXPECT_TRUE(counter.Moves());
        EXPECT_EQ(0u, SuspendThread(thread));
        EXPECT_TRUE(counter.Stands());
        EXPECT_EQ(1u, ResumeThread(thread));
        EXPECT_TRUE(counter.Moves());
        EXPECT_TRUE(TerminateThread(thread, 6));
        EXPECT_EQ(6u, JoinThread(thread));

        HANDLE event = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        LONG volatile waiting = 0;
        thread = StartThread([&]() -> unsigned {
            sigset_t all;
            sigfillset(&all);
            pthread_sigmask(SIG_BLOCK, &all, nullptr);
            InterlockedExchange(&waiting, 1);
            return WaitForSingleObject(event, INFINITE);
        });
        LetItWait(waiting);
        EXPECT_EQ(0u, SuspendThread(thread));
        SetEvent(event);
        EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, 0));
        EXPECT_TRUE(TerminateThread(thread, 8));
        EXPECT_EQ(8u, JoinThread(thread));
        CloseHandle(event);
    });
}
#endif
