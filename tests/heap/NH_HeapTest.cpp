#include "NH_Heap.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstdint>
#include <cstring>
#include <new>
#include <thread>
#include <vector>

namespace {

// Calls on a heap whose storage is still zero-filled have no vptr to check, by design.
#if defined(__clang__) || defined(__GNUC__)
#define NO_VPTR_CHECK __attribute__((no_sanitize("vptr")))
#else
#define NO_VPTR_CHECK
#endif
NO_VPTR_CHECK void* AllocUnconstructed(NH_Heap* heap, unsigned long size, bool mem = false)
{
    return mem ? heap->AllocMem(size) : heap->Alloc(size);
}
NO_VPTR_CHECK unsigned long BlocksUnconstructed(NH_Heap* heap) { return heap->GetBlocksInUse(); }

unsigned char* Bytes(void* block) { return static_cast<unsigned char*>(block); }

int handlerCalls = 0;
struct HandlerError {};

// Installs a new handler for one scope and puts the previous one back: none, one that
// counts its calls and returns, or one that throws.
struct HandlerScope {
    std::new_handler previous;
    explicit HandlerScope(std::new_handler h) : previous(std::set_new_handler(h)) { handlerCalls = 0; }
    ~HandlerScope() { std::set_new_handler(previous); }
};
void CountingHandler() { ++handlerCalls; }
void ThrowingHandler() { throw HandlerError(); }

}  // namespace

// Counters follow the blocks and capacities of their own heap, whichever heap is asked; blocks
// outlive their heap object; a heap used before its constructor keeps what it gave out.
TEST(NH_Heap, BlocksBelongToTheirHeap)
{
    NH_Heap& def = NH_Heap::Default();
    EXPECT_STREQ("Default", def.GetName());
    const unsigned long defBlocks = def.GetBlocksInUse(), defBytes = def.GetBytesInUse();
    NH_Heap* heap = new NH_Heap(1, "Counters");
    EXPECT_STREQ("Counters", heap->GetName());
    void* a = heap->Alloc(100);
    void* b = heap->AllocMem(50);
    EXPECT_TRUE(heap->GetBlocksInUse() == 2 && heap->GetBytesInUse() == 150);
    EXPECT_TRUE(heap->Owns(a) && !def.Owns(a));
    a = heap->Realloc(a, 101);  // spare room: capacity 150
    EXPECT_TRUE(NH_Heap::GetBlockSize(a) == 101 && heap->GetBytesInUse() == 200);
    a = heap->Realloc(a, 10);  // below half: memory goes back
    EXPECT_EQ(60u, heap->GetBytesInUse());
    a = heap->ExpandBy(a, 5);
    EXPECT_TRUE(NH_Heap::GetBlockSize(a) == 15 && heap->GetBytesInUse() == 65);
    std::memset(b, 'b', 50);
    b = def.Realloc(b, 500);  // accounted to the block's heap, not to the one asked
    EXPECT_TRUE(heap->Owns(b) && heap->GetBytesInUse() == 515);
    EXPECT_TRUE(def.GetBlocksInUse() == defBlocks && def.GetBytesInUse() == defBytes);
    NH_Heap::FreeMem(a);
    NH_Heap::FreeMem(nullptr);
    EXPECT_TRUE(heap->GetBlocksInUse() == 1 && heap->GetBytesInUse() == 500);
    delete heap;  // ASan reports a use of a freed core, LSan a core never freed
    b = def.Realloc(b, 1000);
    EXPECT_EQ('b', Bytes(b)[49]);
    NH_Heap::FreeMem(b);

    alignas(NH_Heap) unsigned char storage[sizeof(NH_Heap)] = {};
    void* early = AllocUnconstructed(reinterpret_cast<NH_Heap*>(storage), 24);
    heap = new (storage) NH_Heap(1, "Late");
    EXPECT_TRUE(heap->GetBlocksInUse() == 1 && heap->Owns(early));
    EXPECT_STREQ("Late", heap->GetName());
    heap->~NH_Heap();
    NH_Heap::FreeMem(early);
}

TEST(NH_Heap, ReallocKeepsContentsAndAmortisesGrowth)
{
    NH_Heap heap(1, "Realloc");
    // Growth by one byte at a time reaches the allocator a logarithmic number of times.
    unsigned char* text = nullptr;
    int moves = 0;
    for (unsigned long size = 1; size <= 100000; ++size) {
        unsigned char* next = Bytes(heap.Realloc(text, size));
        moves += next != text;
        text = next;
        text[size - 1] = static_cast<unsigned char>(size);
    }
    EXPECT_LE(moves, 40);
    text = Bytes(heap.Realloc(heap.Realloc(text, 1000), 300000));
    for (unsigned long i = 0; i < 1000; ++i)
        ASSERT_EQ(static_cast<unsigned char>(i + 1), text[i]) << i;
    NH_Heap::FreeMem(text);

    // eZeroFill clears what lies between the old and the new size, also within the capacity.
    NH_Heap::FreeMem(std::memset(heap.Alloc(4096), 0xAB, 4096));  // dirty memory to reuse
    unsigned char* q = Bytes(heap.Alloc(4096, NH_Heap::eZeroFill));
    EXPECT_EQ(0, q[0] | q[2048] | q[4095]);
    q = Bytes(heap.Realloc(q, 150));  // capacity 150
    std::memset(q, 0xCD, 150);
    q = Bytes(heap.Realloc(q, 80));
    q = Bytes(heap.ExpandBy(q, 30, NH_Heap::eZeroFill));
    q = Bytes(heap.Realloc(heap.Realloc(q, 90), 150, NH_Heap::eZeroFill));
    q = Bytes(heap.Realloc(q, 5000, NH_Heap::eZeroFill));
    for (int i = 0; i < 5000; ++i)
        ASSERT_EQ(i < 80 ? 0xCD : 0, q[i]) << i;
    NH_Heap::FreeMem(q);
}

TEST(NH_Heap, FailuresBehaveLikeOperatorNew)
{
    NH_Heap heap(1, "Failing");
    char* a = static_cast<char*>(heap.Alloc(10));
    std::memcpy(a, "contents!", 10);
    {
        HandlerScope scope(nullptr);
        heap.FailAllocation(2);
        void* b = heap.Alloc(10);
        EXPECT_THROW(heap.Alloc(10), std::bad_alloc);
        NH_Heap::FreeMem(heap.Alloc(10));  // fails once only
        heap.FailAllocation(1);
        EXPECT_EQ(nullptr, heap.AllocMem(10));
        heap.FailAllocation(1);
        EXPECT_THROW(heap.Realloc(a, 1000), std::bad_alloc);
        heap.FailAllocation(1);
        heap.FailAllocation(0);
        NH_Heap::FreeMem(heap.Alloc(10));
        NH_Heap::FreeMem(b);
        EXPECT_THROW(heap.ExecuteStandardNewHandler(), std::bad_alloc);
        NH_Heap::FailCoreAllocation(1);
        EXPECT_THROW(NH_Heap(1, "Never"), std::bad_alloc);
    }
    {
        HandlerScope scope(CountingHandler);
        heap.FailAllocation(1);
        void* c = heap.Alloc(10);
        heap.FailAllocation(1);
        c = heap.ExpandBy(c, 100);
        EXPECT_TRUE(handlerCalls == 2 && NH_Heap::GetBlockSize(c) == 110);
        NH_Heap::FreeMem(c);

        // No memory for a heap's shared state: the constructor retries after the handler, and a
        // heap used before its constructor answers as any exhausted allocation does.
        NH_Heap::FailCoreAllocation(1);
        NH_Heap retried(1, "Retried");
        EXPECT_EQ(3, handlerCalls);
        EXPECT_STREQ("Retried", retried.GetName());
        alignas(NH_Heap) unsigned char storage[sizeof(NH_Heap)] = {};
        NH_Heap* early = reinterpret_cast<NH_Heap*>(storage);
        NH_Heap::FailCoreAllocation(1);
        EXPECT_EQ(nullptr, AllocUnconstructed(early, 8, true));
        NH_Heap::FailCoreAllocation(1);
        void* d = AllocUnconstructed(early, 8);
        EXPECT_EQ(4, handlerCalls);
        NH_Heap* built = new (storage) NH_Heap(1, "Early");
        EXPECT_TRUE(built->Owns(d));
        NH_Heap::FreeMem(d);
        built->~NH_Heap();
    }
    {
        HandlerScope scope(ThrowingHandler);
        heap.FailAllocation(1);
        EXPECT_THROW(heap.Alloc(10), HandlerError);
        heap.FailAllocation(1);
        EXPECT_THROW(heap.Realloc(a, 5000), HandlerError);
        heap.FailAllocation(1);
        EXPECT_THROW(heap.ExpandBy(a, 5000), HandlerError);
    }
    EXPECT_STREQ("contents!", a);
    EXPECT_EQ(10u, heap.GetBytesInUse());
    NH_Heap::FreeMem(a);

    // A size that no retry can satisfy gives a handler that returns one call, then fails.
    if (ULONG_MAX > static_cast<unsigned long long>(PTRDIFF_MAX)) {
        EXPECT_EQ(nullptr, heap.AllocMem(ULONG_MAX));
        {
            HandlerScope none(nullptr);
            EXPECT_THROW(heap.Alloc(ULONG_MAX), std::bad_alloc);
        }
        HandlerScope scope(CountingHandler);
        void* d = heap.Alloc(10);
        EXPECT_THROW(heap.Alloc(ULONG_MAX), std::bad_alloc);
        EXPECT_THROW(heap.Realloc(d, ULONG_MAX), std::bad_alloc);
        EXPECT_THROW(heap.ExpandBy(d, ULONG_MAX - 5), std::bad_alloc);
        EXPECT_EQ(3, handlerCalls);
        NH_Heap::FreeMem(d);
    }
    EXPECT_EQ(0u, heap.GetBlocksInUse());
}

// Threads share one heap and free each other's blocks; threads racing to make the core of a
// heap not yet constructed end up sharing one.
TEST(NH_Heap, Threads)
{
    NH_Heap heap(1, "Threads");
    const int kThreads = 4;
    std::atomic<void*> mailbox[16] = {};
    std::atomic<int> corrupt{0};
    std::vector<std::thread> threads;
    for (int id = 0; id < kThreads; ++id)
        threads.emplace_back([&, id] {
            unsigned seed = static_cast<unsigned>(id) + 1;
            for (int round = 0; round < 20000; ++round) {
                seed = seed * 1103515245u + 12345u;
                const unsigned long size = 1 + (seed >> 16) % 300;
                void* p = heap.ExpandBy(heap.Realloc(heap.Alloc(size), size * 2), 3);
                std::memset(p, static_cast<unsigned char>(size), size * 2 + 3);
                if (void* other = mailbox[(seed >> 8) % 16].exchange(p)) {
                    const unsigned long s = (NH_Heap::GetBlockSize(other) - 3) / 2;
                    corrupt += Bytes(other)[2 * s + 2] != static_cast<unsigned char>(s);
                    NH_Heap::FreeMem(other);
                }
            }
        });
    for (std::thread& t : threads)
        t.join();
    for (std::atomic<void*>& slot : mailbox)
        NH_Heap::FreeMem(slot.exchange(nullptr));
    EXPECT_EQ(0, corrupt.load());
    EXPECT_TRUE(heap.GetBlocksInUse() == 0 && heap.GetBytesInUse() == 0);

    for (int attempt = 0; attempt < 20; ++attempt) {
        alignas(NH_Heap) unsigned char storage[sizeof(NH_Heap)] = {};
        NH_Heap* early = reinterpret_cast<NH_Heap*>(storage);
        std::atomic<int> ready{0};
        void* blocks[kThreads] = {};
        threads.clear();
        for (int i = 0; i < kThreads; ++i)
            threads.emplace_back([&, i] {
                for (++ready; ready.load() < kThreads;) {
                }
                blocks[i] = AllocUnconstructed(early, 16);
            });
        for (std::thread& t : threads)
            t.join();
        ASSERT_EQ(static_cast<unsigned long>(kThreads), BlocksUnconstructed(early));
        NH_Heap* built = new (storage) NH_Heap(1, "Raced");
        for (void* block : blocks)
            NH_Heap::FreeMem(block);
        EXPECT_EQ(0u, built->GetBlocksInUse());
        built->~NH_Heap();
    }
}
