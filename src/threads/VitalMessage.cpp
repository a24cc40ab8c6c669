// The vital message queue and its wake-up loop.
#include "threads/VitalMessage.h"

#include "TarnPlatform.h"
#include "threads/ThreadEvent.h"

TVitalInterThreadMessage::~TVitalInterThreadMessage() = default;

TVitalInterThreadMessageAgent::TVitalInterThreadMessageAgent() : messages(0) {}

TVitalInterThreadMessageAgent::TVitalInterThreadMessageAgent(const TVitalInterThreadMessageAgent& source)
    : messages(0)
{
    TAutoCriticalSection guard(source.lock);
    messages = source.messages;
}

TVitalInterThreadMessageAgent& TVitalInterThreadMessageAgent::operator=(const TVitalInterThreadMessageAgent& source)
{
    if (this != &source) {
        lock = source.lock;
        TAutoCriticalSection guard(source.lock);
        messages = source.messages;
    }
    return *this;
}

TVitalInterThreadMessageAgent::~TVitalInterThreadMessageAgent() = default;

void TVitalInterThreadMessageAgent::Post(TVitalInterThreadMessage* message)
{
    TAutoCriticalSection guard(lock);
    messages.Append(message);
}

TVitalInterThreadMessage* TVitalInterThreadMessageAgent::DetachOldestMessage()
{
    TAutoCriticalSection guard(lock);
    return static_cast<TVitalInterThreadMessage*>(messages.DetachFirst());
}

// The count is read under the lock: a plain read racing a Post would be a data race.
// The lock is held for that one read only, so a receiver is never held up by it.
int TVitalInterThreadMessageAgent::ExistMessages() const
{
    TAutoCriticalSection guard(lock);
    return messages.GetCount() != 0 ? 1 : 0;
}

void TVitalInterThreadMessageAgent::Wait(unsigned long threadId, TThreadEvent& doneEvent)
{
    while (WaitForSingleObject(doneEvent.GetHandle(), 1000) != WAIT_OBJECT_0)
        PostThreadMessageA(static_cast<DWORD>(threadId), WM_VITAL_MESSAGE, 0, 0);
}
