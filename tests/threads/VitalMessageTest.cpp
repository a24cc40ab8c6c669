#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <thread>
#include <vector>

#include "ThreadsTestHelpers.h"
#include "threads/ThreadEvent.h"
#include "threads/VitalMessage.h"

using ThreadsSuite::SecondsSince;

namespace {

// A message that knows when it is destroyed and can be cloned.
class TCountedMessage : public TVitalInterThreadMessage {
public:
    explicit TCountedMessage(int id, int* destroyed = nullptr) : destroyed(destroyed) { messageId = id; }
    ~TCountedMessage() override
    {
        if (destroyed)
            ++*destroyed;
    }
    CollectionElement* CreateClone(const void*) const override { return new TCountedMessage(messageId + 100); }
    int* destroyed;
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

// A thread with a message queue that notes when each WM_VITAL_MESSAGE arrives, and calls
// the handler on it, until it gets WM_QUIT. With a delay, it makes its queue only that many
// seconds after its start.
class TWakeUpReceiver {
public:
    explicit TWakeUpReceiver(double queueDelay = 0, std::function<void()> handler = nullptr)
        : thread([this, queueDelay, handler] {
              id = GetCurrentThreadId();
              while (SecondsSince(created) < queueDelay)
                  Sleep(10);
              MSG msg;
              PeekMessageA(&msg, nullptr, 0, 0, PM_NOREMOVE);
              hasQueue = true;
              while (GetMessageA(&msg, nullptr, 0, 0) > 0) {
                  if (msg.message == WM_VITAL_MESSAGE && msg.wParam == 0 && msg.lParam == 0)
                      arrivals.push_back(SecondsSince(created));
                  if (handler)
                      handler();
              }
          })
    {
        EXPECT_TRUE(ThreadsSuite::Eventually([&] { return id != 0 && (queueDelay > 0 || hasQueue); }));
    }
    // Stops the thread after the messages posted so far; the arrivals are then readable.
    const std::vector<double>& Stop()
    {
        EXPECT_TRUE(ThreadsSuite::Eventually([&] { return hasQueue.load(); }));
        PostThreadMessageA(id, WM_QUIT, 0, 0);
        thread.join();
        return arrivals;
    }

    const std::chrono::steady_clock::time_point created = std::chrono::steady_clock::now();
    std::atomic<DWORD> id{0};
    std::atomic<bool> hasQueue{false};

private:
    std::vector<double> arrivals;
    std::thread thread;
};

// Waits through the agent for an event that another thread sets after the given seconds;
// answers how long the wait took.
double WaitFor(TVitalInterThreadMessageAgent& agent, unsigned long threadId, double seconds)
{
    TThreadEvent done;
    std::thread setter([&] {
        Sleep(static_cast<DWORD>(seconds * 1000));
        done.SetTrue();
    });
    const auto start = std::chrono::steady_clock::now();
    agent.Wait(threadId, done);
    const double waited = SecondsSince(start);
    setter.join();
    return waited;
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
    EXPECT_EQ(1, agent.ExistMessages());

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
    EXPECT_EQ(&first, agent.DetachOldestMessage());
    EXPECT_EQ(1, agent.ExistMessages());
    EXPECT_EQ(&second, agent.DetachOldestMessage());
    EXPECT_EQ(0, agent.ExistMessages());
}

// The four wake-up cases run side by side, so the test takes about 2.5 seconds.
TEST(VitalMessages, WakeUpsOncePerSecondUntilDone)
{
    TVitalInterThreadMessageAgent agent;

    // Set after 2.5 s: two wake-ups, at about 1 s and 2 s.
    TWakeUpReceiver receiver;
    double waited = 0;
    std::thread sender([&] { waited = WaitFor(agent, receiver.id, 2.5); });

    // No queue yet at 1 s: that wake-up is lost, the one at 2 s arrives.
    TWakeUpReceiver late(1.5);
    std::thread lateSender([&] { WaitFor(agent, late.id, 2.5); });

    // Towards a thread that does not exist the loop keeps going until the event is true.
    double nobodyWaited = 0;
    std::thread nobody([&] { nobodyWaited = WaitFor(agent, 0x7FFFFFF0, 1.3); });

    // Already true: returns at once, posts nothing.
    TWakeUpReceiver idle;
    TThreadEvent already(1, 0);
    const auto start = std::chrono::steady_clock::now();
    agent.Wait(idle.id, already);
    EXPECT_LT(SecondsSince(start), 0.5);

    sender.join();
    lateSender.join();
    nobody.join();
    EXPECT_GE(waited, 2.4);
    EXPECT_GE(nobodyWaited, 1.2);

    const std::vector<double>& arrivals = receiver.Stop();
    ASSERT_EQ(2u, arrivals.size());
    EXPECT_GT(arrivals[0], 0.9);
    EXPECT_LT(arrivals[0], 1.8);
    EXPECT_GT(arrivals[1], 1.9);
    EXPECT_LT(arrivals[1], 2.5);
    const std::vector<double>& lateArrivals = late.Stop();
    ASSERT_EQ(1u, lateArrivals.size());
    EXPECT_GT(lateArrivals[0], 1.9);
    EXPECT_TRUE(idle.Stop().empty());
}

// Producers post batches, wake the consumer themselves and wait through the agent until the
// batch is handled. Every message arrives once, in the order its sender posted it.
TEST(VitalMessages, ProducersAndAConsumer)
{
    const int producers = 3, perProducer = 600;
    TVitalInterThreadMessageAgent agent;
    TThreadEvent done[producers] = {TThreadEvent(0, 1), TThreadEvent(0, 1), TThreadEvent(0, 1)};
    std::vector<int> next(producers, 0);
    int wrong = 0;
    TWakeUpReceiver consumer(0, [&] {
        while (TVitalInterThreadMessage* message = agent.DetachOldestMessage()) {
            wrong += message->param1 != next[message->messageId]++;
            if (message->param2)
                done[message->messageId].SetTrue();
            delete message;
        }
    });
    std::vector<std::thread> senders;
    for (int p = 0; p < producers; ++p) {
        senders.emplace_back([&, p] {
            for (int sequence = 0; sequence < perProducer;) {
                const int batch = 1 + (sequence * 7 + p) % 13;
                for (int i = 0; i < batch && sequence < perProducer; ++i, ++sequence) {
                    TVitalInterThreadMessage* message = new TVitalInterThreadMessage;
                    message->messageId = p;
                    message->param1 = sequence;
                    message->param2 = i + 1 == batch || sequence + 1 == perProducer;
                    agent.Post(message);
                }
                PostThreadMessageA(consumer.id, WM_VITAL_MESSAGE, 0, 0);
                agent.Wait(consumer.id, done[p]);
            }
        });
    }
    for (std::thread& sender : senders)
        sender.join();
    consumer.Stop();
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(std::vector<int>(producers, perProducer), next);
    EXPECT_EQ(0, agent.ExistMessages());
}
