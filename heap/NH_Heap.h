// NH_Heap: the allocator of the NewHeapTarn library.
//
// Every block carries a header that names the shared state ("core") of the heap it came
// from, so NH_Heap::FreeMem takes any block of any heap without being told the heap, also
// after the NH_Heap object itself was destroyed: the core lives until its last block is gone.
// A heap object may be used while its storage is still zero-filled, before its constructor
// ran (a static heap used by other static constructors); the constructor keeps what was
// allocated by then.
#pragma once

#include <atomic>
#include <cstddef>

#include "NewHeapTarnExport.h"

struct NH_HeapCore;

// The header in front of every block; the caller's bytes start right behind it. Four words
// keep the caller's bytes at the alignment malloc gives (16 or 32 bytes of header).
struct NH_BlockHeader {
    NH_HeapCore* core;  // the heap the block belongs to
    size_t size;        // bytes the caller asked for last
    size_t capacity;    // bytes usable behind the header, never below size
    size_t reserved;
};

class NEWHEAPTARN_API NH_Heap {
public:
    // Bit of the flag argument of Alloc, Realloc and ExpandBy: new bytes are zero-filled.
    enum { eZeroFill = 1 };

    // A private heap under that name. The first argument is kept for compatibility; it
    // selects nothing.
    NH_Heap(long options, const char* name);
    virtual ~NH_Heap();
    NH_Heap(const NH_Heap&) = delete;
    NH_Heap& operator=(const NH_Heap&) = delete;

    // The process-wide heap, usable at any time during the life of the process.
    static NH_Heap& Default();

    // Never null: when memory is exhausted the process's new handler is called, as operator
    // new does, and the request is retried; without a handler std::bad_alloc is thrown.
    void* Alloc(unsigned long size, int flag = 0);
    // Null when memory is exhausted; the new handler is not called.
    void* AllocMem(unsigned long size);
    // Contents survive up to the smaller size; the block may move; never null. A block that
    // grows gets spare capacity, so growing it again by small steps costs no copy.
    void* Realloc(void* block, unsigned long newSize, int flag = 0);
    // The block grows by extraBytes, contents kept; never null.
    void* ExpandBy(void* block, unsigned long extraBytes, int flag = 0);
    // Gives a block of any heap back to that heap; null does nothing.
    static void FreeMem(void* block);
    // Calls the process's new handler once, as operator new does on exhaustion; without a
    // handler it throws std::bad_alloc. If the handler returns, so does this call.
    void ExecuteStandardNewHandler();

    // Inspection, mainly for tests: the heap's name, its live blocks, and the bytes they hold
    // (their capacity, headers not counted).
    const char* GetName() const;
    unsigned long GetBlocksInUse() const;
    unsigned long GetBytesInUse() const;
    int Owns(const void* block) const;
    static unsigned long GetBlockSize(const void* block);

    // Makes the n-th allocation of this heap from now on fail once as if memory were
    // exhausted (1: the next one). 0 disarms. Allocations are Alloc, AllocMem, and the
    // Realloc and ExpandBy calls that need new memory.
    void FailAllocation(unsigned long n);
    // The same for the shared state that every heap allocates once, at its construction or at
    // its first use before that: the n-th such allocation from now on fails once.
    static void FailCoreAllocation(unsigned long n);

private:
    struct DefaultTag {};
    friend union NH_DefaultHeapHolder;
    constexpr explicit NH_Heap(DefaultTag) noexcept : core_(nullptr) {}

    NH_HeapCore* Core();
    void* ReallocSlow(void* block, unsigned long newSize, int flag);

    // Null until the first allocation or the constructor; never set in a member initializer,
    // so that a heap used before its constructor keeps its core.
    std::atomic<NH_HeapCore*> core_;
};

// Growing or shrinking within the block's capacity touches only its header: appending to a
// text one character at a time must not cost a call into the allocator each time.
inline void* NH_Heap::Realloc(void* block, unsigned long newSize, int flag)
{
    if (block && !(flag & eZeroFill)) {
        NH_BlockHeader* header = static_cast<NH_BlockHeader*>(block) - 1;
        if (newSize <= header->capacity && newSize >= header->capacity / 2) {
            header->size = newSize;
            return block;
        }
    }
    return ReallocSlow(block, newSize, flag);
}
