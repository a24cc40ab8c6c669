// Threads against the standard library: an uncontended TCriticalSection against
// std::recursive_mutex, a ping-pong between two threads through two automatic-reset
// TThreadEvents against the same through std::condition_variable, and reading a TTimer
// against std::chrono::steady_clock::now().
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "BenchRatio.h"
#include "threads/CriticalSection.h"
#include "threads/ThreadEvent.h"
#include "threads/Timer.h"

namespace {

void BM_CriticalSectionEnterLeave(benchmark::State& state)
{
    TCriticalSection lock;
    for (auto _ : state) {
        lock.Enter();
        lock.Leave();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_CriticalSectionEnterLeave);

void BM_RecursiveMutexLockUnlock(benchmark::State& state)
{
    std::recursive_mutex lock;
    for (auto _ : state) {
        lock.lock();
        lock.unlock();
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_RecursiveMutexLockUnlock);

// One round trip: the main thread sets ping and waits for pong. Real time, as the CPU
// time of one thread says little about a hand-over between two.
void BM_EventPingPong(benchmark::State& state)
{
    TThreadEvent ping(0, 1), pong(0, 1);
    bool stop = false;
    std::thread partner([&] {
        for (;;) {
            ping.WaitForIt(0xFFFFFFFF);
            if (stop)
                break;
            pong.SetTrue();
        }
    });
    for (auto _ : state) {
        ping.SetTrue();
        pong.WaitForIt(0xFFFFFFFF);
    }
    stop = true;
    ping.SetTrue();
    partner.join();
}
BENCHMARK(BM_EventPingPong)->UseRealTime();

// The same hand-over with a flag per direction under one mutex and two condition variables.
void BM_ConditionVariablePingPong(benchmark::State& state)
{
    std::mutex mutex;
    std::condition_variable pingChanged, pongChanged;
    bool ping = false, pong = false, stop = false;
    std::thread partner([&] {
        std::unique_lock<std::mutex> hold(mutex);
        for (;;) {
            pingChanged.wait(hold, [&] { return ping; });
            ping = false;
            if (stop)
                break;
            pong = true;
            pongChanged.notify_one();
        }
    });
    for (auto _ : state) {
        {
            std::lock_guard<std::mutex> hold(mutex);
            ping = true;
        }
        pingChanged.notify_one();
        std::unique_lock<std::mutex> hold(mutex);
        pongChanged.wait(hold, [&] { return pong; });
        pong = false;
    }
    {
        std::lock_guard<std::mutex> hold(mutex);
        stop = true;
        ping = true;
    }
    pingChanged.notify_one();
    partner.join();
}
BENCHMARK(BM_ConditionVariablePingPong)->UseRealTime();

void BM_TimerGetElapsedTime(benchmark::State& state)
{
    TTimer timer(TTimer::eMicroseconds);
    for (auto _ : state)
        benchmark::DoNotOptimize(timer.GetElapsedTime());
}
BENCHMARK(BM_TimerGetElapsedTime);

void BM_SteadyClockNow(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(std::chrono::steady_clock::now());
}
BENCHMARK(BM_SteadyClockNow);

}  // namespace

int main(int argc, char** argv)
{
    return RunWithRatios(argc, argv,
        {{"TCriticalSection Enter/Leave, uncontended", "BM_CriticalSectionEnterLeave",
             "BM_RecursiveMutexLockUnlock", "within 1.2 times (ratio >= 0.83)"},
            {"event ping-pong between two threads", "BM_EventPingPong/real_time",
                "BM_ConditionVariablePingPong/real_time", "within 2 times (ratio >= 0.5)"},
            {"TTimer::GetElapsedTime", "BM_TimerGetElapsedTime", "BM_SteadyClockNow", "report"}});
}
