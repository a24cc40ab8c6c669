#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "ThreadsTestHelpers.h"
#include "threads/CriticalSection.h"

namespace {

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

struct TGuarded : TMultithreadedObject {
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

        // A copy of a held lock, or a target assigned from one, is a free lock; self-assignment
        // leaves a held lock held.
        TCriticalSection copy(lock), target;
        target = lock;
        EXPECT_TRUE(TContender(copy).AcquiredWithin(5000));
        EXPECT_TRUE(TContender(target).AcquiredWithin(5000));
        TCriticalSection& same = copy;
        copy.Enter();
        copy = same;
        {
            TContender blocked(copy);
            EXPECT_FALSE(blocked.AcquiredWithin(30));
            copy.Leave();
            EXPECT_TRUE(blocked.AcquiredWithin(5000));
        }
        lock.Leave();
        EXPECT_TRUE(other.AcquiredWithin(5000));
    }

    // A null pointer guard neither enters nor leaves; the pointer form does both.
    { TAutoCriticalSection none(static_cast<const TCriticalSection*>(nullptr)); }
    auto held = std::make_unique<TAutoCriticalSection>(&lock);
    {
        TContender other(lock);
        EXPECT_FALSE(other.AcquiredWithin(30));
        held.reset();
        EXPECT_TRUE(other.AcquiredWithin(5000));
    }

    // A guarded object copied or assigned while held has a free lock of its own.
    TGuarded guarded;
    auto holding = std::make_unique<TAutoLock>(guarded);
    TContender other(guarded);
    EXPECT_FALSE(other.AcquiredWithin(30));
    TGuarded copied(guarded), assigned;
    assigned = guarded;
    EXPECT_TRUE(TContender(copied).AcquiredWithin(5000));
    EXPECT_TRUE(TContender(assigned).AcquiredWithin(5000));
    holding.reset();
    EXPECT_TRUE(other.AcquiredWithin(5000));
}
