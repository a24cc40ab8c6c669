// Locks: TCriticalSection, a recursive mutual-exclusion lock over the platform's critical
// section; TMultithreadedObject, the mix-in that gives an object its own lock; and the
// scoped guards TAutoCriticalSection and TAutoLock.
#pragma once

#include "CommonTarnExport.h"

// The platform's CRITICAL_SECTION lives in opaque storage, so that this header does not
// bring in the system headers. 64 bytes with 8-byte alignment hold it on every target
// (40 bytes on 64-bit Windows, 24 on 32-bit Windows, 64 in our POSIX layer); the source
// file checks that at compile time.
class COMMONTARN_API TCriticalSection {
public:
    TCriticalSection();
    // A copy is a new, free lock: the source's state is not looked at.
    TCriticalSection(const TCriticalSection& source);
    ~TCriticalSection();
    // The target becomes a fresh, free lock; the target must not be held or waited on.
    // Self-assignment does nothing, so a held lock stays held.
    TCriticalSection& operator=(const TCriticalSection& source);

    // Recursive for the owning thread: it leaves as often as it entered.
    void Enter() const;
    void Leave() const;

private:
    void Init() const;

    alignas(8) mutable unsigned char storage[64];
};

// An object guarded by its own lock. Copies never share a lock with their source.
class COMMONTARN_API TMultithreadedObject {
public:
    TMultithreadedObject() = default;
    TMultithreadedObject(const TMultithreadedObject&) = default;
    TMultithreadedObject& operator=(const TMultithreadedObject&) = default;
    ~TMultithreadedObject() = default;

    void LockAccess() const { criticalSection.Enter(); }
    void UnlockAccess() const { criticalSection.Leave(); }

private:
    TCriticalSection criticalSection;
};

// Holds a lock for one scope. The pointer form accepts null and then does nothing, so code
// with an optional lock needs no test of its own.
class COMMONTARN_API TAutoCriticalSection {
public:
    explicit TAutoCriticalSection(const TCriticalSection* lock) : lock(lock)
    {
        if (lock)
            lock->Enter();
    }
    explicit TAutoCriticalSection(const TCriticalSection& lock) : lock(&lock) { lock.Enter(); }
    ~TAutoCriticalSection()
    {
        if (lock)
            lock->Leave();
    }
    // A copied guard would leave once too often.
    TAutoCriticalSection(const TAutoCriticalSection&) = delete;
    TAutoCriticalSection& operator=(const TAutoCriticalSection&) = delete;

private:
    const TCriticalSection* lock;
};

// Holds the lock of a guarded object for one scope.
class COMMONTARN_API TAutoLock {
public:
    explicit TAutoLock(const TMultithreadedObject& object) : object(&object) { object.LockAccess(); }
    ~TAutoLock() { object->UnlockAccess(); }
    TAutoLock(const TAutoLock&) = delete;
    TAutoLock& operator=(const TAutoLock&) = delete;

private:
    const TMultithreadedObject* object;
};
