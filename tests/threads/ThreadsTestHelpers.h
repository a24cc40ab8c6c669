// Helpers of the threads suite: a thread that takes a lock on request, time since a start,
// and polling with a generous limit.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

#include "TarnPlatform.h"
#include "threads/CriticalSection.h"

namespace ThreadsSuite {

inline double SecondsSince(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Polls until the condition holds or about five seconds have passed.
template <class Condition>
bool Eventually(Condition condition)
{
    const auto start = std::chrono::steady_clock::now();
    while (SecondsSince(start) < 5.0) {
        if (condition())
            return true;
        Sleep(1);
    }
    return condition();
}

// Another thread that enters the lock, notes it, and leaves; joined at destruction.
class TContender {
public:
    explicit TContender(const TCriticalSection& lock)
        : thread([this, &lock] {
              TAutoCriticalSection hold(lock);
              acquired = true;
          })
    {
    }
    explicit TContender(const TMultithreadedObject& object)
        : thread([this, &object] {
              TAutoLock hold(object);
              acquired = true;
          })
    {
    }
    ~TContender() { thread.join(); }
    // False only if the lock was still held after a while.
    bool AcquiredWithin(int ms) const
    {
        for (int i = 0; i < ms && !acquired; ++i)
            Sleep(1);
        return acquired;
    }

private:
    std::atomic<bool> acquired{false};
    std::thread thread;
};

}  // namespace ThreadsSuite
