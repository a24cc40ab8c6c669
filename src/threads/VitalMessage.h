// Vital messages between threads: the content travels in a TVitalInterThreadMessage through
// the locked queue of a TVitalInterThreadMessageAgent, and only a content-free wake-up,
// WM_VITAL_MESSAGE, goes through the platform, again every second until the receiver sets
// the sender's event.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"
#include "collections/DoubleList.h"
#include "threads/CriticalSection.h"

class TThreadEvent;

// The wake-up, posted with both parameters 0; two above WM_POSTED_EXCEPTION.
constexpr unsigned int WM_VITAL_MESSAGE = 0x83ED;

// A message of the queue. The library fills the fields at construction and never looks at
// them again; their meaning is agreed between sender and receiver, and a derived class may
// carry more.
class COMMONTARN_API TVitalInterThreadMessage : public TListElement {
public:
    TVitalInterThreadMessage() : messageId(-1), param1(0), param2(0), param3(0) {}
    // Copies take the fields and the list links as they are: a copy is a queue member only
    // once Post has linked it anew, and a queued message is never assigned to.
    TVitalInterThreadMessage(const TVitalInterThreadMessage&) = default;
    TVitalInterThreadMessage& operator=(const TVitalInterThreadMessage&) = default;
    // Does not detach: a message is deleted only once it has left its queue.
    ~TVitalInterThreadMessage() override;

    int32_t messageId;  // -1: not set
    int32_t param1;
    int32_t param2;
    int32_t param3;
};

// A locked first-in first-out queue of messages, oldest at the head. The agent links the
// messages but never owns them: nothing it does deletes one, also not its destructor.
class COMMONTARN_API TVitalInterThreadMessageAgent {
public:
    TVitalInterThreadMessageAgent();
    // A fresh lock; the queue is copied through CreateClone, under the source's lock. A
    // message whose CreateClone gives nothing (the base version) is left out of the copy.
    TVitalInterThreadMessageAgent(const TVitalInterThreadMessageAgent& source);
    // The lock becomes a fresh one (the target must not be in use), then the queue is
    // copied as above. The messages the target held are let go, not deleted.
    TVitalInterThreadMessageAgent& operator=(const TVitalInterThreadMessageAgent& source);
    ~TVitalInterThreadMessageAgent();

    // Appends at the tail under the lock. Sends no wake-up.
    void Post(TVitalInterThreadMessage* message);
    // The oldest message, now the caller's; null when the queue is empty.
    TVitalInterThreadMessage* DetachOldestMessage();
    // 1 if messages are queued. The answer can be out of date when it arrives.
    int ExistMessages() const;

    // Waits for doneEvent; while it stays false, posts WM_VITAL_MESSAGE to threadId once a
    // second, the first one second after the call, whether the posts succeed or not. No
    // overall limit. Neither reads nor locks the agent, and pumps no messages of the
    // caller's: the receiver must never wait on itself.
    void Wait(unsigned long threadId, TThreadEvent& doneEvent);

private:
    TCriticalSection lock;
    TDoubleList messages;
};
