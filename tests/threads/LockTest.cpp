#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "ThreadsTestHelpers.h"
#include "threads/CriticalSection.h"

using ThreadsSuite::TContender;

namespace {

struct TGuarded : TMultithreadedObject {
    long value = 0;
};

}  // namespace

TEST(Locks, RecursionCopiesAndAssignment)
{
    const TCriticalSection lock;  // taken through a const object
    lock.Enter();
    lock.Enter();
    {
        TContender other(lock);
        EXPECT_FALSE(other.AcquiredWithin(30));
        lock.Leave();
        EXPECT_FALSE(other.AcquiredWithin(30)) << "entered twice, left once";

        // A copy of a held lock is a free lock; self-assignment leaves a held lock held.
        TCriticalSection copy(lock);
        EXPECT_TRUE(TContender(copy).AcquiredWithin(5000));
        TCriticalSection& same = copy;
        copy.Enter();
        copy = same;
        {
            TContender blocked(copy);
            EXPECT_FALSE(blocked.AcquiredWithin(30));
            copy.Leave();
            EXPECT_TRUE(blocked.AcquiredWithin(5000));
        }
        // Assignment from a held source gives a fresh, free target.
        TCriticalSection target;
        target = lock;
        EXPECT_TRUE(TContender(target).AcquiredWithin(5000));

        lock.Leave();
        EXPECT_TRUE(other.AcquiredWithin(5000));
    }

    // A null pointer guard neither enters nor leaves; the reference forms do both.
    { TAutoCriticalSection none(static_cast<const TCriticalSection*>(nullptr)); }
    {
        auto held = std::make_unique<TAutoCriticalSection>(&lock);
        TContender other(lock);
        EXPECT_FALSE(other.AcquiredWithin(30));
        held.reset();
        EXPECT_TRUE(other.AcquiredWithin(5000));
    }

    // A guarded object copied or assigned while held has a free lock of its own.
    TGuarded guarded;
    auto holding = std::make_unique<TAutoLock>(guarded);
    {
        TContender other(guarded);
        EXPECT_FALSE(other.AcquiredWithin(30));
        TGuarded copied(guarded);
        EXPECT_TRUE(TContender(copied).AcquiredWithin(5000));
        TGuarded assigned;
        assigned = guarded;
        EXPECT_TRUE(TContender(assigned).AcquiredWithin(5000));
        holding.reset();
        EXPECT_TRUE(other.AcquiredWithin(5000));
    }
}

TEST(Locks, ManyThreadsOnOneCounter)
{
    TCriticalSection lock;
    TGuarded guarded;
    long counter = 0;
    const int threads = 8;
    const int rounds = 20000;
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&, t] {
            for (int i = 0; i < rounds; ++i) {
                if ((i + t) % 3 == 0) {
                    // Recursive entry: the inner leave must not release the outer hold.
                    TAutoCriticalSection outer(lock);
                    long seen = counter;
                    { TAutoCriticalSection inner(&lock); }
                    counter = seen + 1;
                } else {
                    lock.Enter();
                    ++counter;
                    lock.Leave();
                }
                TAutoLock hold(guarded);
                ++guarded.value;
            }
        });
    }
    for (std::thread& worker : workers)
        worker.join();
    EXPECT_EQ(long(threads) * rounds, counter);
    EXPECT_EQ(long(threads) * rounds, guarded.value);
}
