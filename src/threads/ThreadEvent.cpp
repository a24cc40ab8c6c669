// TThreadEvent over the platform's events, and the waits for several of them.
#include "threads/ThreadEvent.h"

#include <cstdint>
#include <initializer_list>

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

// The handles of one call's wait list, in argument order. An event after the first may be
// a null reference, meaning that it is not there; its address goes through a volatile, so
// that the compiler cannot take it for non-null.
long WaitOn(bool waitAll, unsigned long timeoutMs, std::initializer_list<const TThreadEvent*> events)
{
    HANDLE handles[5];
    DWORD count = 0;
    for (const TThreadEvent* const& event : events) {
        const TThreadEvent* volatile address = event;
        const TThreadEvent* present = address;
        if (present && count < 5)
            handles[count++] = present->GetHandle();
    }
    // The platform's answer, with the time-out as -1. The failure answer is 0xFFFFFFFF,
    // -1 as a 32-bit number, which it stays where long is wider.
    const DWORD answer =
        WaitForMultipleObjectsEx(count, handles, waitAll ? TRUE : FALSE, static_cast<DWORD>(timeoutMs), FALSE);
    if (answer == WAIT_TIMEOUT)
        return -1;
    return static_cast<int32_t>(answer);
}

}  // namespace

long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, unsigned long timeoutMs)
{
    return WaitOn(true, timeoutMs, {&e1, &e2});
}

long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, unsigned long timeoutMs)
{
    return WaitOn(true, timeoutMs, {&e1, &e2, &e3});
}

long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, const TThreadEvent& e4,
    unsigned long timeoutMs)
{
    return WaitOn(true, timeoutMs, {&e1, &e2, &e3, &e4});
}

long WaitForAll(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, const TThreadEvent& e4,
    const TThreadEvent& e5, unsigned long timeoutMs)
{
    return WaitOn(true, timeoutMs, {&e1, &e2, &e3, &e4, &e5});
}

long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, unsigned long timeoutMs)
{
    return WaitOn(false, timeoutMs, {&e1, &e2});
}

long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, unsigned long timeoutMs)
{
    return WaitOn(false, timeoutMs, {&e1, &e2, &e3});
}

long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, const TThreadEvent& e4,
    unsigned long timeoutMs)
{
    return WaitOn(false, timeoutMs, {&e1, &e2, &e3, &e4});
}

long WaitForAny(const TThreadEvent& e1, const TThreadEvent& e2, const TThreadEvent& e3, const TThreadEvent& e4,
    const TThreadEvent& e5, unsigned long timeoutMs)
{
    return WaitOn(false, timeoutMs, {&e1, &e2, &e3, &e4, &e5});
}
