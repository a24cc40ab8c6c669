// TThreadEvent, a boolean event over the platform's event, and WaitForAll and WaitForAny,
// which wait for two to five events at once.
#pragma once

#include "CommonTarnExport.h"

class COMMONTARN_API TThreadEvent {
public:
    // An unnamed event, manual-reset unless autoReset is set; an automatic-reset event falls
    // back to false as it releases one waiter. A failed creation leaves the handle 0, and
    // every wait on it fails. Explicit, so that a number never turns into a new event where
    // an event argument was meant.
    explicit TThreadEvent(int initialState = 0, int autoReset = 0);
    // Closes the handle unless it is 0.
    ~TThreadEvent();
    // Copies the handle value only: both objects are then the same event, and the target's
    // previous handle is not closed. Each destructor closes what it holds, so the caller
    // lets only one of the joined objects be destroyed (the others live on, for instance
    // on the heap, never deleted).
    TThreadEvent& operator=(const TThreadEvent& source);
    // Not copy-constructible: a copy made in passing (an argument by value) would close the
    // event when it goes.
    TThreadEvent(const TThreadEvent&) = delete;

    void* GetHandle() const { return handle; }
    operator void*() const { return handle; }

    // Polls with a zero time-out. A poll is a wait: on a true automatic-reset event it
    // consumes the state.
    int IsTrue() const;
    int IsFalse() const;
    // 1 if the event became true within the time, 0 on time-out or failure; 0xFFFFFFFF
    // waits without limit.
    int WaitForIt(unsigned long timeoutMs) const;

    void SetTrue();
    void SetFalse();
    // Releases the waiters that can be released now and leaves the event false.
    void Pulse();

private:
    void* handle;
};

// Each waits on the events that are there, in argument order: the first must exist, and a
// further argument that is a null reference is left out. Time-outs are in milliseconds,
// 0xFFFFFFFF meaning no limit. WaitForAll answers 0 once all are true together; WaitForAny
// the wait-list position of a true event, the lowest when several are. Both answer -1 on
// time-out and on failure alike.
COMMONTARN_API long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, unsigned long timeoutMs);
COMMONTARN_API long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3,
    unsigned long timeoutMs);
COMMONTARN_API long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3,
    const TThreadEvent& e4, unsigned long timeoutMs);
COMMONTARN_API long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3,
    const TThreadEvent& e4, const TThreadEvent& e5, unsigned long timeoutMs);

COMMONTARN_API long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, unsigned long timeoutMs);
COMMONTARN_API long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3,
    unsigned long timeoutMs);
COMMONTARN_API long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3,
    const TThreadEvent& e4, unsigned long timeoutMs);
COMMONTARN_API long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3,
    const TThreadEvent& e4, const TThreadEvent& e5, unsigned long timeoutMs);
