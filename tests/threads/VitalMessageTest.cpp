#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "ThreadsTestHelpers.h"
#include "threads/ThreadEvent.h"
#include "threads/VitalMessage.h"

using ThreadsSuite::Eventually;
using ThreadsSuite::SecondsSince;

namespace {

// A message that counts its destructions and can be cloned.
class TCountedMessage : public TVitalInterThreadMessage {
public:
    TCountedMessage(int id, int* destroyed) : destroyed(destroyed) { messageId = id; }
    ~TCountedMessage() override { ++*destroyed; }
    CollectionElement* CreateClone(const void*) const override { return new TCountedMessage(messageId + 100, &clones); }
    int* destroyed;
    static inline int clones = 0;
};

std::vector<int> Drain(TVitalInterThreadMessageAgent& agent)
{
    std::vector<int> ids;
    while (TVitalInterThreadMessage* message = agent.DetachOldestMessage()) {
        ids.push_back(message->messageId);
        delete message;
    }
    return ids;
}

}  // namespace

TEST(VitalMessages, QueueOrderOwnershipAndCopies)
{
    const TVitalInterThreadMessage fresh;
    EXPECT_EQ(-1, fresh.messageId);
    EXPECT_EQ(0, fresh.param1 | fresh.param2 | fresh.param3);

    TVitalInterThreadMessageAgent agent;
    EXPECT_EQ(nullptr, agent.DetachOldestMessage());
    EXPECT_EQ(0, agent.ExistMessages());
    int destroyed = 0;
    TCountedMessage first(1, &destroyed), second(2, &destroyed);
    agent.Post(&first);
    agent.Post(&second);

    // Copies clone what can be cloned; base messages give no clone and are left out.
    TVitalInterThreadMessage plain;
    {
        TVitalInterThreadMessageAgent copy(agent), withPlain, assigned;
        EXPECT_EQ((std::vector<int>{101, 102}), Drain(copy));
        withPlain.Post(&plain);
        assigned = withPlain;
        EXPECT_EQ(0, assigned.ExistMessages());
        EXPECT_EQ(&plain, withPlain.DetachOldestMessage());
        assigned = agent;
        EXPECT_EQ((std::vector<int>{101, 102}), Drain(assigned));

        // An agent destroyed with messages queued leaves them allocated and untouched.
        TVitalInterThreadMessageAgent doomed;
        doomed.Post(&plain);
    }
    EXPECT_EQ(-1, plain.messageId);
    EXPECT_EQ(0, destroyed);
    for (TVitalInterThreadMessage* expected : {&first, &second}) {
        EXPECT_EQ(1, agent.ExistMessages());
        EXPECT_EQ(expected, agent.DetachOldestMessage());
    }
    EXPECT_EQ(0, agent.ExistMessages());

    // Messages posted from several threads at once arrive once each, in each sender's order.
    std::vector<std::thread> senders;
    for (int s = 0; s < 3; ++s)
        senders.emplace_back([&agent, s] {
            for (int i = 0; i < 2000; ++i) {
                TVitalInterThreadMessage* message = new TVitalInterThreadMessage;
                message->messageId = s, message->param1 = i;
                agent.Post(message);
            }
        });
    int next[3] = {0, 0, 0}, wrong = 0;
    for (int received = 0; received < 6000;) {
        while (TVitalInterThreadMessage* message = agent.DetachOldestMessage()) {
            wrong += message->param1 != next[message->messageId]++;
            ++received;
            delete message;
        }
    }
    for (std::thread& sender : senders)
        sender.join();
    EXPECT_EQ(0, wrong);
}

// Wake-ups go out once a second until the event is true, whether a post succeeds or not.
// The four cases run side by side, so the test takes about 2.5 seconds.
TEST(VitalMessages, WakeUpsOncePerSecondUntilDone)
{
    struct TCase {
        double queueDelay, setAfter;  // seconds from the start
        std::atomic<DWORD> id{0};
        std::vector<double> arrivals;
        double waited = 0;
        std::thread receiver, sender;
    } cases[4];
    const double plan[4][2] = {
        {0, 2.5},    // two wake-ups, at about 1 s and 2 s
        {1.5, 2.5},  // no queue yet at 1 s: that wake-up is lost, the one at 2 s arrives
        {-1, 1.3},   // a thread that does not exist: the loop goes on until the event is true
        {0, 0},      // already true: returns at once, posts nothing
    };
    TVitalInterThreadMessageAgent agent;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 4; ++i) {
        TCase& c = cases[i];
        c.queueDelay = plan[i][0], c.setAfter = plan[i][1];
        c.id = c.queueDelay < 0 ? 0x7FFFFFF0 : 0;
        if (c.queueDelay >= 0)
            c.receiver = std::thread([&c, start] {
                c.id = GetCurrentThreadId();
                while (SecondsSince(start) < c.queueDelay)
                    Sleep(10);
                MSG msg;
                PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);
                while (GetMessageA(&msg, nullptr, 0, 0) > 0)
                    if (msg.message == WM_VITAL_MESSAGE && msg.wParam == 0 && msg.lParam == 0)
                        c.arrivals.push_back(SecondsSince(start));
            });
        c.sender = std::thread([&c, &agent, start] {
            TThreadEvent done(c.setAfter == 0, 0);
            std::thread setter([&] {
                Sleep(static_cast<DWORD>(c.setAfter * 1000));
                done.SetTrue();
            });
            while (c.id == 0)  // until the receiver has started
                Sleep(1);
            agent.Wait(c.id, done);
            c.waited = SecondsSince(start);
            setter.join();
        });
    }
    for (TCase& c : cases) {
        c.sender.join();
        if (c.receiver.joinable()) {
            PostThreadMessageA(c.id, WM_QUIT, 0, 0);
            c.receiver.join();
        }
    }
    EXPECT_TRUE(cases[0].waited >= 2.4 && cases[2].waited >= 1.2);
    EXPECT_LT(cases[3].waited, 0.5);
    ASSERT_EQ(2u, cases[0].arrivals.size());
    EXPECT_TRUE(cases[0].arrivals[0] > 0.9 && cases[0].arrivals[0] < 1.8) << cases[0].arrivals[0];
    EXPECT_TRUE(cases[0].arrivals[1] > 1.9 && cases[0].arrivals[1] < 2.5) << cases[0].arrivals[1];
    ASSERT_EQ(1u, cases[1].arrivals.size());
    EXPECT_GT(cases[1].arrivals[0], 1.9);
    EXPECT_TRUE(cases[3].arrivals.empty());
}
