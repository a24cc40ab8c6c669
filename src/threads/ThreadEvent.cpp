// TThreadEvent over the platform's events, and the waits for several of them.
#include "threads/ThreadEvent.h"

#include <cstdint>

#include "TarnPlatform.h"

TThreadEvent::TThreadEvent(int initialState, int autoReset)
    : handle(CreateEventA(nullptr, autoReset == 0, initialState, nullptr))
{
}

TThreadEvent::~TThreadEvent()
{
    if (handle)
        CloseHandle(handle);
}

TThreadEvent& TThreadEvent::operator=(const TThreadEvent& source)
{
    handle = source.handle;
    return *this;
}

int TThreadEvent::IsTrue() const
{
    return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0 ? 1 : 0;
}

int TThreadEvent::IsFalse() const
{
    return WaitForSingleObject(handle, 0) == WAIT_OBJECT_0 ? 0 : 1;
}

int TThreadEvent::WaitForIt(unsigned long timeoutMs) const
{
    return WaitForSingleObject(handle, static_cast<DWORD>(timeoutMs)) == WAIT_OBJECT_0 ? 1 : 0;
}

void TThreadEvent::SetTrue()
{
    SetEvent(handle);
}

void TThreadEvent::SetFalse()
{
    ResetEvent(handle);
}

void TThreadEvent::Pulse()
{
    PulseEvent(handle);
}

namespace {

// The wait list of one call: the events that are there, in argument order.
class TWaitList {
public:
    explicit TWaitList(const TThreadEvent& first) { handles[count++] = first.GetHandle(); }

    // A further argument may be a null reference, meaning that the event is not there. The
    // address goes through a volatile, so that the compiler cannot take it for non-null.
    void Add(const TThreadEvent& event)
    {
        const TThreadEvent* volatile address = &event;
        const TThreadEvent* present = address;
        if (present)
            handles[count++] = present->GetHandle();
    }

    // The platform's answer, with the time-out as -1. The failure answer is 0xFFFFFFFF,
    // -1 as a 32-bit number, which it stays where long is wider.
    long Wait(bool waitAll, unsigned long timeoutMs) const
    {
        const DWORD answer = WaitForMultipleObjectsEx(count, handles, waitAll ? TRUE : FALSE,
            static_cast<DWORD>(timeoutMs), FALSE);
        if (answer == WAIT_TIMEOUT)
            return -1;
        return static_cast<int32_t>(answer);
    }

private:
    HANDLE handles[5];
    DWORD count = 0;
};

}  // namespace

long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, unsigned long timeoutMs)
{
    TWaitList list(e1);
    list.Add(e2);
    return list.Wait(true, timeoutMs);
}

long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, unsigned long timeoutMs)
{
    TWaitList list(e1);
    list.Add(e2);
    list.Add(e3);
    return list.Wait(true, timeoutMs);
}

long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, const TThreadEvent& e4,
    unsigned long timeoutMs)
{
    TWaitList list(e1);
    list.Add(e2);
    list.Add(e3);
    list.Add(e4);
    return list.Wait(true, timeoutMs);
}

long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, const TThreadEvent& e4,
    const TThreadEvent& e5, unsigned long timeoutMs)
{
    TWaitList list(e1);
    list.Add(e2);
    list.Add(e3);
    list.Add(e4);
    list.Add(e5);
    return list.Wait(true, timeoutMs);
}

long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, unsigned long timeoutMs)
{
    TWaitList list(e1);
    list.Add(e2);
    return list.Wait(false, timeoutMs);
}

long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, unsigned long timeoutMs)
{
    TWaitList list(e1);
    list.Add(e2);
    list.Add(e3);
    return list.Wait(false, timeoutMs);
}

long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, const TThreadEvent& e4,
    unsigned long timeoutMs)
{
    TWaitList list(e1);
    list.Add(e2);
    list.Add(e3);
    list.Add(e4);
    return list.Wait(false, timeoutMs);
}

long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, const TThreadEvent& e4,
    const TThreadEvent& e5, unsigned long timeoutMs)
{
    TWaitList list(e1);
    list.Add(e2);
    list.Add(e3);
    list.Add(e4);
    list.Add(e5);
    return list.Wait(false, timeoutMs);
}
