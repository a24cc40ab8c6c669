// Helpers of the threads suite: time since a start, and polling with a generous limit.
#pragma once

#include <atomic>
#include <chrono>
#include <thread>

#include "TarnPlatform.h"

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

}  // namespace ThreadsSuite
