// A randomized stress test of the thread layer: workers run random sequences of calls of the
// layer while a controller suspends, resumes and terminates them at random, checking after
// every step what must hold. It runs TARN_STRESS_SECONDS seconds (3 by default) and prints
// its seed; TARN_STRESS_SEED replays the same choices.
//
// POSIX only: Windows stops a thread wherever it is, inside its heap and loader locks too,
// so suspending and terminating threads at random there ends in a deadlock; the promise that
// a thread never stops inside a lock is this layer's own.
#ifndef _WIN32

#include "TarnPlatform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <thread>
#include <vector>

namespace {

const int _workers = 4;
const int _sharedEvents = 4;  // the first half automatic-reset, the rest manual-reset
const UINT _workerMessage = WM_USER;
const UINT _nudge = WM_USER + 1;

uint64_t NextRandom(uint64_t& state)
{
    state ^= state >> 12;
    state ^= state << 25;
    state ^= state >> 27;
    return state * 2685821657736338717ull;
}

uint64_t FromEnvironment(const char* name, uint64_t fallback)
{
    const char* text = std::getenv(name);
    return text && *text ? std::strtoull(text, nullptr, 0) : fallback;
}

struct TWorker;

// What workers and controller share. Workers allocate nothing, so that a worker stopped
// outside the layer never holds a lock of the allocator that the controller needs.
struct TStress {
    HMODULE strings = nullptr;
    HANDLE shared[_sharedEvents] = {};
    // Per slot: the handle of its worker, and its thread id and generation as one word.
    std::atomic<HANDLE> threads[_workers] = {};
    std::atomic<uint64_t> identities[_workers] = {};
    TWorker* workers[_workers] = {};
};

struct TWorker {
    TStress* stress = nullptr;
    int slot = 0;
    uint32_t generation = 0;
    uint64_t random = 0;
    HANDLE own = nullptr;   // an automatic-reset event that only this worker waits on
    HANDLE mark = nullptr;  // a manual-reset event this worker sets now and then
    std::atomic<uint64_t> progress{0};
    std::atomic<bool> stop{false};
    std::atomic<bool> stopped{false};
    HANDLE drain = nullptr;
    // Messages: to each slot the next number and that slot's generation; from each slot the
    // number expected and the sender's generation.
    uint32_t sent[_workers] = {};
    uint32_t sentTo[_workers] = {};
    uint32_t expected[_workers] = {};
    uint32_t expectedFrom[_workers] = {};
    std::atomic<int> failures{0};
    std::atomic<const char*> failure{nullptr};

    void Fail(const char* what)
    {
        if (failures.fetch_add(1) == 0)
            failure.store(what);
    }
    uint32_t Random(uint32_t below) { return uint32_t(NextRandom(random) % below); }

    void Receive(const MSG& msg)
    {
        if (msg.message != _workerMessage)
            return;
        int from = int(msg.wParam & 0xFF);
        uint32_t generation = uint32_t(msg.wParam >> 8);
        if (from >= _workers) {
            Fail("message from no slot");
            return;
        }
        if (expectedFrom[from] != generation) {
            expectedFrom[from] = generation;
            expected[from] = 0;
        }
        if (uint32_t(msg.lParam) != expected[from]++)
            Fail("a message was lost, repeated or out of order");
    }

    void Step()
    {
        HANDLE event = stress->shared[Random(_sharedEvents)];
        DWORD timeout = Random(3) == 0 ? 0 : Random(6);
        switch (Random(16)) {
        case 0:
            if (WaitForSingleObject(event, timeout) == WAIT_FAILED)
                Fail("wait for a shared event failed");
            break;
        case 1: {
            HANDLE other = stress->threads[Random(_workers)].load();
            HANDLE handles[4] = {event, own, stress->shared[Random(_sharedEvents)], other};
            DWORD count = 2 + Random(other ? 3 : 2);
            BOOL all = Random(2) && handles[2] != event && count < 4;
            DWORD result = WaitForMultipleObjects(count, handles, all, timeout);
            if (result == WAIT_FAILED && GetLastError() != ERROR_INVALID_PARAMETER)
                Fail("wait for several objects failed");
            break;
        }
        case 2:
            SetEvent(event);
            break;
        case 3:
            ResetEvent(event);
            break;
        case 4:
            PulseEvent(event);
            break;
        case 5:
            if (WaitForSingleObject(own, timeout) == WAIT_FAILED)
                Fail("wait for its own event failed");
            break;
        case 6:
        case 7: {
            int to = int(Random(_workers));
            uint64_t identity = stress->identities[to].load();
            uint32_t generation = uint32_t(identity);
            if (sentTo[to] != generation) {
                sentTo[to] = generation;
                sent[to] = 0;
            }
            if (PostThreadMessageA(DWORD(identity >> 32), _workerMessage,
                    WPARAM(slot) | (WPARAM(this->generation) << 8), LPARAM(sent[to])))
                ++sent[to];
            break;
        }
        case 8: {
            MSG msg;
            while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE))
                Receive(msg);
            break;
        }
        case 9: {
            // The controller nudges every worker often, so this wait ends.
            MSG msg;
            if (GetMessageA(&msg, nullptr, 0, 0) <= 0)
                Fail("GetMessageA failed");
            Receive(msg);
            break;
        }
        case 10: {
            char text[64];
            if (LoadStringA(stress->strings, 18012, text, sizeof text) != 17)
                Fail("LoadStringA");
            break;
        }
        case 11: {
            char text[MAX_PATH];
            if (!GetCurrentDirectoryA(MAX_PATH, text))
                Fail("GetCurrentDirectoryA");
            break;
        }
        case 12: {
            char text[MAX_PATH];
            if (!ConvertWindowsToPosixName("C:\\tmp\\x", text, MAX_PATH)
                || !ConvertPosixToWindowsName("/tmp/x", text, MAX_PATH))
                Fail("name conversion");
            break;
        }
        case 13:
            Sleep(Random(2));
            break;
        case 14: {
            HANDLE fresh = CreateEventA(nullptr, FALSE, TRUE, nullptr);
            if (!fresh || WaitForSingleObject(fresh, 0) != WAIT_OBJECT_0 || !CloseHandle(fresh))
                Fail("a fresh event");
            break;
        }
        default:
            SetEvent(mark);
            break;
        }
    }
};

unsigned __stdcall WorkerMain(void* argument)
{
    TWorker& worker = *static_cast<TWorker*>(argument);
    MSG msg;
    PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);
    while (!worker.stop.load()) {
        worker.Step();
        worker.progress.fetch_add(1);
    }
    // Everybody stops posting before the queues are drained.
    worker.stopped.store(true);
    WaitForSingleObject(worker.drain, INFINITE);
    while (PeekMessageA(&msg, nullptr, 0, 0, PM_REMOVE))
        worker.Receive(msg);
    return 0;
}

// A terminated worker and what it had done when its handle was signalled.
struct TDead {
    TWorker* worker;
    HANDLE thread;
    uint64_t progress;
};

class TController {
public:
    TController(uint64_t seed, double seconds) : random(seed), seed(seed), seconds(seconds) {}

    void Run()
    {
        stress.strings = LoadLibraryA(TARN_TEST_STRINGS);
        ASSERT_NE(nullptr, stress.strings);
        for (int i = 0; i < _sharedEvents; ++i)
            stress.shared[i] = CreateEventA(nullptr, i >= _sharedEvents / 2, FALSE, nullptr);
        drain = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        for (int slot = 0; slot < _workers; ++slot)
            Start(slot);

        const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        // A terminated worker stays stopped on its stack until the process ends: a long run
        // goes on suspending and resuming only.
        const size_t terminationLimit = std::min<size_t>(20 + size_t(seconds * 10), 400);
        while (std::chrono::steady_clock::now() < end && !HasFailure()) {
            ++steps;
            int slot = int(Next(_workers));
            uint32_t choice = Next(100);
            if (choice < 35)
                Suspend(slot);
            else if (choice < 70)
                Resume(slot);
            else if (choice < 73 && dead.size() < terminationLimit)
                Terminate(slot);
            else if (choice < 80)
                Probe();
            else
                Sleep(Next(2));
            Nudge(int(Next(_workers)));
        }
        Finish();
        std::printf("ThreadLayerStress: %llu steps, %zu terminations, seed %llu\n",
            (unsigned long long)steps, dead.size(), (unsigned long long)seed);
    }

    std::atomic<uint64_t> steps{0};

private:
    uint32_t Next(uint32_t below) { return uint32_t(NextRandom(random) % below); }
    bool HasFailure() const { return ::testing::Test::HasFailure(); }

    void Start(int slot)
    {
        TWorker* worker = new TWorker;
        worker->stress = &stress;
        worker->slot = slot;
        worker->generation = ++generations;
        worker->random = seed ^ (uint64_t(worker->generation) * 0x9E3779B97F4A7C15ull) ^ 1;
        worker->own = CreateEventA(nullptr, FALSE, FALSE, nullptr);
        worker->mark = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        worker->drain = drain;
        unsigned id = 0;
        HANDLE thread = reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, WorkerMain, worker, 0, &id));
        ASSERT_NE(nullptr, thread);
        stress.workers[slot] = worker;
        stress.threads[slot].store(thread);
        stress.identities[slot].store((uint64_t(id) << 32) | worker->generation);
        suspended[slot] = 0;
        all.push_back(worker);
    }

    void Suspend(int slot)
    {
        if (suspended[slot] >= 3)
            return;
        DWORD previous = SuspendThread(stress.threads[slot].load());
        ASSERT_EQ(DWORD(suspended[slot]), previous) << Where("SuspendThread", slot) << ", error " << GetLastError();
        if (suspended[slot]++ == 0)
            frozen[slot] = stress.workers[slot]->progress.load();
    }

    void Resume(int slot)
    {
        if (suspended[slot] == 0)
            return;
        ASSERT_EQ(frozen[slot], stress.workers[slot]->progress.load())
            << Where("a suspended worker went on", slot);
        DWORD previous = ResumeThread(stress.threads[slot].load());
        ASSERT_EQ(DWORD(suspended[slot]), previous) << Where("ResumeThread", slot);
        --suspended[slot];
    }

    void Terminate(int slot)
    {
        HANDLE thread = stress.threads[slot].load();
        ASSERT_TRUE(TerminateThread(thread, 1000 + slot)) << Where("TerminateThread", slot) << ", error " << GetLastError();
        ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 10000)) << Where("terminated handle", slot);
        DWORD code = 0;
        EXPECT_TRUE(GetExitCodeThread(thread, &code));
        EXPECT_EQ(DWORD(1000 + slot), code) << Where("exit code", slot);
        TWorker* worker = stress.workers[slot];
        ResetEvent(worker->mark);
        dead.push_back({worker, thread, worker->progress.load()});
        Start(slot);
    }

    // With every worker suspended nobody waits: a set of any automatic-reset event must stay
    // for the next taker, and terminated workers must not have moved.
    void Probe()
    {
        int added[_workers] = {};
        for (int slot = 0; slot < _workers; ++slot) {
            if (suspended[slot] == 0) {
                Suspend(slot);
                added[slot] = 1;
            }
        }
        std::vector<HANDLE> events(stress.shared, stress.shared + _sharedEvents);
        for (TWorker* worker : all)
            events.push_back(worker->own);
        for (HANDLE event : events) {
            SetEvent(event);
            ASSERT_EQ(WAIT_OBJECT_0, WaitForSingleObject(event, 0)) << Where("a set was lost", -1);
        }
        CheckDead();
        for (int slot = 0; slot < _workers; ++slot) {
            if (added[slot])
                Resume(slot);
        }
    }

    void CheckDead()
    {
        for (const TDead& gone : dead) {
            ASSERT_EQ(gone.progress, gone.worker->progress.load()) << Where("a terminated worker went on", gone.worker->slot);
            ASSERT_EQ(WAIT_TIMEOUT, WaitForSingleObject(gone.worker->mark, 0)) << Where("a terminated worker acted", gone.worker->slot);
        }
    }

    void Nudge(int slot)
    {
        PostThreadMessageA(DWORD(stress.identities[slot].load() >> 32), _nudge, 0, 0);
    }

    void Finish()
    {
        for (int slot = 0; slot < _workers; ++slot) {
            while (suspended[slot] > 0)
                Resume(slot);
            stress.workers[slot]->stop.store(true);
        }
        for (int slot = 0; slot < _workers; ++slot) {
            for (int i = 0; i < 10000 && !stress.workers[slot]->stopped.load(); ++i) {
                Nudge(slot);
                Sleep(1);
            }
        }
        SetEvent(drain);
        for (int slot = 0; slot < _workers; ++slot) {
            HANDLE thread = stress.threads[slot].load();
            EXPECT_EQ(WAIT_OBJECT_0, WaitForSingleObject(thread, 10000)) << Where("end", slot);
            DWORD code = 1;
            GetExitCodeThread(thread, &code);
            EXPECT_EQ(0u, code) << Where("exit code", slot);
            EXPECT_TRUE(CloseHandle(thread));
        }
        // Between workers that lived to the end every message arrived once.
        for (int from = 0; from < _workers; ++from) {
            for (int to = 0; to < _workers; ++to) {
                const TWorker& sender = *stress.workers[from];
                const TWorker& receiver = *stress.workers[to];
                uint32_t sent = sender.sentTo[to] == receiver.generation ? sender.sent[to] : 0;
                uint32_t received = receiver.expectedFrom[from] == sender.generation ? receiver.expected[from] : 0;
                EXPECT_EQ(sent, received) << Where("messages", from) << " to " << to;
            }
        }
        CheckDead();
        for (TWorker* worker : all) {
            EXPECT_EQ(0, worker->failures.load())
                << Where(worker->failure.load() ? worker->failure.load() : "", worker->slot);
            EXPECT_TRUE(CloseHandle(worker->own));
            EXPECT_TRUE(CloseHandle(worker->mark));
        }
        for (const TDead& gone : dead)
            EXPECT_TRUE(CloseHandle(gone.thread));
        for (HANDLE event : stress.shared)
            EXPECT_TRUE(CloseHandle(event));
        EXPECT_TRUE(CloseHandle(drain));
        EXPECT_TRUE(FreeLibrary(stress.strings));
        // The stacks of terminated workers stay, and may point at their records for good.
        static std::vector<TDead>* kept = new std::vector<TDead>;
        kept->insert(kept->end(), dead.begin(), dead.end());
        for (int slot = 0; slot < _workers; ++slot)
            delete stress.workers[slot];
    }

    std::string Where(const char* what, int slot) const
    {
        char text[160];
        std::snprintf(text, sizeof text, "%s, worker %d, step %llu, seed %llu", what, slot,
            (unsigned long long)steps.load(), (unsigned long long)seed);
        return text;
    }

    uint64_t random;
    const uint64_t seed;
    const double seconds;
    TStress stress;
    HANDLE drain = nullptr;
    uint32_t generations = 0;
    int suspended[_workers] = {};
    uint64_t frozen[_workers] = {};
    std::vector<TWorker*> all;
    std::vector<TDead> dead;
};

}

TEST(ThreadLayerStress, RandomCallsWhileThreadsAreSuspendedResumedAndTerminated)
{
    uint64_t seed = FromEnvironment("TARN_STRESS_SEED",
        uint64_t(std::chrono::steady_clock::now().time_since_epoch().count()) | 1);
    double seconds = double(FromEnvironment("TARN_STRESS_SECONDS", 3));
    std::printf("ThreadLayerStress: seed %llu, %g s (TARN_STRESS_SEED replays it)\n",
        (unsigned long long)seed, seconds);
    std::fflush(stdout);
    TController controller(seed, seconds);

    // A step that does not come back is a hang: say where, and end the program.
    std::atomic<bool> done{false};
    std::thread watchdog([&] {
        uint64_t last = ~uint64_t(0);
        for (int quiet = 0; !done.load(); std::this_thread::sleep_for(std::chrono::milliseconds(100))) {
            uint64_t now = controller.steps.load();
            quiet = now == last ? quiet + 1 : 0;
            last = now;
            if (quiet >= 600) {
                std::fprintf(stderr, "ThreadLayerStress: hang at step %llu, seed %llu\n",
                    (unsigned long long)now, (unsigned long long)seed);
                std::fflush(stderr);
                std::abort();
            }
        }
    });
    controller.Run();
    done.store(true);
    watchdog.join();
}

#endif
