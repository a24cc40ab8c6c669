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
NO_VPTR_CHECK void* AllocUnconstructed(NH_Heap* heap, unsigned long size) { return heap->Alloc(size); }
NO_VPTR_CHECK void* AllocMemUnconstructed(NH_Heap* heap, unsigned long size) { return heap->AllocMem(size); }
NO_VPTR_CHECK unsigned long BlocksUnconstructed(NH_Heap* heap) { return heap->GetBlocksInUse(); }

unsigned char* Bytes(void* block) { return static_cast<unsigned char*>(block); }

int handlerCalls = 0;
void CountingHandler() { ++handlerCalls; }
struct HandlerError {};
void ThrowingHandler() { throw HandlerError(); }

// Installs a new handler for one scope and puts the previous one back.
struct HandlerScope {
    std::new_handler previous;
    explicit HandlerScope(std::new_handler h) : previous(std::set_new_handler(h)) { handlerCalls = 0; }
    ~HandlerScope() { std::set_new_handler(previous); }
};

TEST(NH_Heap, CountersFollowBlocksAndCapacityOfTheirOwnHeap)
{
    NH_Heap& def = NH_Heap::Default();
    EXPECT_STREQ("Default", def.GetName());
    unsigned long defBlocks = def.GetBlocksInUse(), defBytes = def.GetBytesInUse();

    NH_Heap heap(1, "Counters");
    EXPECT_STREQ("Counters", heap.GetName());
    void* a = heap.Alloc(100);
    void* b = heap.AllocMem(50);
    EXPECT_EQ(2u, heap.GetBlocksInUse());
    EXPECT_EQ(150u, heap.GetBytesInUse());
    EXPECT_TRUE(heap.Owns(a) && !def.Owns(a));
    a = heap.Realloc(a, 101);  // spare room: capacity 150
    EXPECT_EQ(101u, NH_Heap::GetBlockSize(a));
    EXPECT_EQ(200u, heap.GetBytesInUse());
    a = heap.Realloc(a, 10);  // below half: memory goes back
    EXPECT_EQ(60u, heap.GetBytesInUse());
    a = heap.ExpandBy(a, 5);
    EXPECT_EQ(15u, NH_Heap::GetBlockSize(a));
    EXPECT_EQ(65u, heap.GetBytesInUse());
    b = def.Realloc(b, 500);  // accounted to the block's heap, not to the one asked
    EXPECT_TRUE(heap.Owns(b));
    EXPECT_EQ(515u, heap.GetBytesInUse());
    EXPECT_EQ(defBlocks, def.GetBlocksInUse());
    EXPECT_EQ(defBytes, def.GetBytesInUse());
    NH_Heap::FreeMem(a);
    NH_Heap::FreeMem(b);
    NH_Heap::FreeMem(nullptr);
    EXPECT_EQ(0u, heap.GetBlocksInUse());
    EXPECT_EQ(0u, heap.GetBytesInUse());
}

// ASan reports a use of a freed core, LSan a core never freed.
TEST(NH_Heap, BlocksOutliveTheirHeapObject)
{
    NH_Heap* heap = new NH_Heap(1, "Doomed");
    void* a = heap->Alloc(32);
    void* b = heap->Alloc(64);
    std::memset(b, 'b', 64);
    delete heap;
    b = NH_Heap::Default().Realloc(b, 1000);
    EXPECT_EQ('b', Bytes(b)[63]);
    NH_Heap::FreeMem(a);
    NH_Heap::FreeMem(b);
}

TEST(NH_Heap, UseBeforeConstructionIsKeptByTheConstructor)
{
    alignas(NH_Heap) unsigned char storage[sizeof(NH_Heap)] = {};
    void* early = AllocUnconstructed(reinterpret_cast<NH_Heap*>(storage), 24);
    NH_Heap* heap = new (storage) NH_Heap(1, "Late");
    EXPECT_EQ(1u, heap->GetBlocksInUse());
    EXPECT_TRUE(heap->Owns(early));
    EXPECT_STREQ("Late", heap->GetName());
    heap->~NH_Heap();
    NH_Heap::FreeMem(early);
}

TEST(NH_Heap, ReallocKeepsContentsAndAmortisesGrowth)
{
    NH_Heap heap(1, "Realloc");
    // Growth by one byte at a time reaches the allocator a logarithmic number of times.
    const unsigned long n = 100000;
    unsigned char* text = nullptr;
    int moves = 0;
    for (unsigned long size = 1; size <= n; ++size) {
        unsigned char* next = Bytes(heap.Realloc(text, size));
        moves += next != text;
        text = next;
        text[size - 1] = static_cast<unsigned char>(size);
    }
    EXPECT_LE(moves, 40);
    text = Bytes(heap.Realloc(text, 1000));
    EXPECT_EQ(1000u, heap.GetBytesInUse());
    text = Bytes(heap.Realloc(text, 300000));
    for (unsigned long i = 0; i < 1000; ++i)
        ASSERT_EQ(static_cast<unsigned char>(i + 1), text[i]) << i;
    NH_Heap::FreeMem(text);

    // eZeroFill clears what lies between the old and the new size, also within the capacity.
    void* dirty = heap.Alloc(4096);
    std::memset(dirty, 0xAB, 4096);
    NH_Heap::FreeMem(dirty);
    unsigned char* q = Bytes(heap.Alloc(4096, NH_Heap::eZeroFill));
    EXPECT_EQ(0, q[0] | q[2048] | q[4095]);
    q = Bytes(heap.Realloc(q, 150));  // capacity 150
    std::memset(q, 0xCD, 150);
    q = Bytes(heap.Realloc(q, 80));
    q = Bytes(heap.ExpandBy(q, 30, NH_Heap::eZeroFill));
    q = Bytes(heap.Realloc(q, 90));
    q = Bytes(heap.Realloc(q, 150, NH_Heap::eZeroFill));
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
        EXPECT_EQ(2, handlerCalls);
        EXPECT_EQ(110u, NH_Heap::GetBlockSize(c));
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
        EXPECT_EQ(nullptr, AllocMemUnconstructed(early, 8));
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

TEST(NH_Heap, ThreadsShareOneHeapAndFreeEachOthersBlocks)
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
                unsigned long size = 1 + (seed >> 16) % 300;
                void* p = heap.ExpandBy(heap.Realloc(heap.Alloc(size), size * 2), 3);
                std::memset(p, static_cast<unsigned char>(size), size * 2 + 3);
                if (void* other = mailbox[(seed >> 8) % 16].exchange(p)) {
                    unsigned long s = (NH_Heap::GetBlockSize(other) - 3) / 2;
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
    EXPECT_EQ(0u, heap.GetBlocksInUse());
    EXPECT_EQ(0u, heap.GetBytesInUse());

    // Threads racing to make the core of a heap not yet constructed end up sharing one.
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

}  // namespace
