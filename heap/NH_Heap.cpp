// NH_Heap over the system allocator: each block is one malloc'd piece with its header in front.
#include "NH_Heap.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

// State shared by a heap object and its blocks. It lives in malloc'd memory, not in memory
// from operator new, so that a replaced global operator new may itself use a heap.
struct NH_HeapCore {
    // Live blocks, plus one while the heap object holds the core.
    std::atomic<size_t> refs;
    // Sum of the capacities of the live blocks.
    std::atomic<size_t> bytes;
    // Allocations left until an injected failure; 0 when disarmed.
    std::atomic<size_t> failIn;
    char name[64];
};

// Ensures that the default heap's vptr and core_ are set at compile time, so it serves
// static constructors of any library whatever their order.
#if defined(__clang__)
#define NH_CONSTINIT __attribute__((require_constant_initialization))
#elif defined(__GNUC__) && __GNUC__ >= 10
#define NH_CONSTINIT __constinit
#else
#define NH_CONSTINIT
#endif

// Holds the default heap without ever destroying it: blocks may be freed and allocated
// during the static destruction of other libraries.
union NH_DefaultHeapHolder {
    NH_Heap heap;
    constexpr NH_DefaultHeapHolder() : heap(NH_Heap::DefaultTag{}) {}
    ~NH_DefaultHeapHolder() {}
};

// Members that serve a heap whose storage is still zero-filled, before its constructor has
// set the vptr: UBSan's dynamic type check would reject their calls on this.
#if defined(__clang__) || defined(__GNUC__)
#define NH_BEFORE_CONSTRUCTION __attribute__((no_sanitize("vptr")))
#else
#define NH_BEFORE_CONSTRUCTION
#endif

namespace {

NH_CONSTINIT NH_DefaultHeapHolder _defaultHeapHolder;

constexpr size_t kHeaderSize = sizeof(NH_BlockHeader);
// The largest request that malloc could ever satisfy together with the header.
constexpr size_t kMaxBlockSize = static_cast<size_t>(PTRDIFF_MAX) - kHeaderSize;

static_assert(kHeaderSize % alignof(std::max_align_t) == 0,
              "the header must keep the caller's bytes at malloc's alignment");

void CopyName(NH_HeapCore* core, const char* name)
{
    size_t length = name ? std::strlen(name) : 0;
    length = std::min(length, sizeof core->name - 1);
    if (length)
        std::memcpy(core->name, name, length);
    core->name[length] = '\0';
}

// Counts one allocation against an armed countdown; true for the one that has to fail.
bool InjectedFailure(std::atomic<size_t>& failIn)
{
    size_t left = failIn.load(std::memory_order_relaxed);
    while (left != 0) {
        if (failIn.compare_exchange_weak(left, left - 1, std::memory_order_relaxed))
            return left == 1;
    }
    return false;
}

// The countdown of FailCoreAllocation, for all heaps.
std::atomic<size_t> _coreFailIn{0};

NH_HeapCore* NewCore(const char* name)
{
    void* memory = InjectedFailure(_coreFailIn) ? nullptr : std::malloc(sizeof(NH_HeapCore));
    if (!memory)
        return nullptr;
    NH_HeapCore* core = new (memory) NH_HeapCore;
    core->refs.store(1, std::memory_order_relaxed);
    core->bytes.store(0, std::memory_order_relaxed);
    core->failIn.store(0, std::memory_order_relaxed);
    CopyName(core, name);
    return core;
}

void ReleaseCore(NH_HeapCore* core)
{
    if (core->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        core->~NH_HeapCore();
        std::free(core);
    }
}

// Cores made for heaps used before their constructor ran, by heap address. The constructor
// cannot trust core_ itself: a heap on the stack or in new'd memory starts with garbage there,
// only one in zero-filled static storage starts with null or an early core. Early use is rare
// (static heaps during static construction), so a few slots do; a core that finds no slot still
// serves its blocks, but the constructor then starts the heap with a core of its own.
struct TEarlyCore {
    std::atomic<NH_HeapCore*> core;  // claims the slot
    std::atomic<const NH_Heap*> heap;
};
TEarlyCore _earlyCores[32];

void RegisterEarlyCore(const NH_Heap* heap, NH_HeapCore* core)
{
    for (TEarlyCore& slot : _earlyCores) {
        NH_HeapCore* expected = nullptr;
        if (slot.core.compare_exchange_strong(expected, core, std::memory_order_relaxed)) {
            slot.heap.store(heap, std::memory_order_release);
            return;
        }
    }
}

NH_HeapCore* TakeEarlyCore(const NH_Heap* heap)
{
    for (TEarlyCore& slot : _earlyCores) {
        if (slot.heap.load(std::memory_order_acquire) == heap) {
            NH_HeapCore* core = slot.core.load(std::memory_order_relaxed);
            slot.heap.store(nullptr, std::memory_order_relaxed);
            slot.core.store(nullptr, std::memory_order_release);
            return core;
        }
    }
    return nullptr;
}

// What operator new does on exhaustion: one call of the handler, or std::bad_alloc.
void CallNewHandler()
{
    std::new_handler handler = std::get_new_handler();
    if (!handler)
        throw std::bad_alloc();
    handler();
}

// A request that no retry can satisfy: the handler may still throw its own exception, but
// if it returns there is nothing to retry.
[[noreturn]] void FailForGood()
{
    CallNewHandler();
    throw std::bad_alloc();
}

// A new block of the core, null when memory is exhausted. size is at most kMaxBlockSize.
void* NewBlock(NH_HeapCore* core, size_t size, bool zeroFill)
{
    if (InjectedFailure(core->failIn))
        return nullptr;
    void* memory = zeroFill ? std::calloc(1, kHeaderSize + size) : std::malloc(kHeaderSize + size);
    if (!memory)
        return nullptr;
    NH_BlockHeader* header = static_cast<NH_BlockHeader*>(memory);
    header->core = core;
    header->size = size;
    header->capacity = size;
    header->reserved = 0;
    core->refs.fetch_add(1, std::memory_order_relaxed);
    core->bytes.fetch_add(size, std::memory_order_relaxed);
    return header + 1;
}

// Resizes an existing block, accounted to its own core; never null.
void* ResizeBlock(NH_BlockHeader* header, size_t newSize, int flag)
{
    NH_HeapCore* core = header->core;
    size_t capacity = header->capacity;
    if (newSize > capacity) {
        if (newSize > kMaxBlockSize)
            FailForGood();
        // Spare room lets the inline path take the next small growths without a copy.
        size_t wanted = std::max(newSize, std::min(capacity + capacity / 2, kMaxBlockSize));
        for (;;) {
            if (!InjectedFailure(core->failIn)) {
                void* memory = std::realloc(header, kHeaderSize + wanted);
                if (!memory && wanted > newSize) {
                    wanted = newSize;
                    memory = std::realloc(header, kHeaderSize + wanted);
                }
                if (memory) {
                    header = static_cast<NH_BlockHeader*>(memory);
                    break;
                }
            }
            // The block is untouched here, so a throwing handler leaves it to the caller.
            CallNewHandler();
        }
        header->capacity = wanted;
        core->bytes.fetch_add(wanted - capacity, std::memory_order_relaxed);
    } else if (newSize < capacity / 2) {
        // Give the unused memory back; if the system cannot, the block simply stays larger.
        if (void* memory = std::realloc(header, kHeaderSize + newSize)) {
            header = static_cast<NH_BlockHeader*>(memory);
            header->capacity = newSize;
            core->bytes.fetch_sub(capacity - newSize, std::memory_order_relaxed);
        }
    }
    if ((flag & NH_Heap::eZeroFill) && newSize > header->size)
        std::memset(reinterpret_cast<char*>(header + 1) + header->size, 0, newSize - header->size);
    header->size = newSize;
    return header + 1;
}

}  // namespace

// A heap used before this ran keeps the core, and so the blocks, it got then.
NH_Heap::NH_Heap(long, const char* name)
{
    NH_HeapCore* core = TakeEarlyCore(this);
    while (!core && !(core = NewCore("")))
        CallNewHandler();
    CopyName(core, name);
    core_.store(core, std::memory_order_release);
}

NH_Heap::~NH_Heap()
{
    if (NH_HeapCore* core = core_.exchange(nullptr, std::memory_order_acq_rel))
        ReleaseCore(core);
}

NH_Heap& NH_Heap::Default()
{
    return _defaultHeapHolder.heap;
}

// The heap's core, made on first use; null only if memory for it is exhausted.
NH_BEFORE_CONSTRUCTION NH_HeapCore* NH_Heap::Core()
{
    NH_HeapCore* core = core_.load(std::memory_order_acquire);
    if (core)
        return core;
    bool isDefault = this == &_defaultHeapHolder.heap;
    NH_HeapCore* fresh = NewCore(isDefault ? "Default" : "");
    if (!fresh)
        return nullptr;
    if (core_.compare_exchange_strong(core, fresh, std::memory_order_acq_rel,
                                      std::memory_order_acquire)) {
        // Only the default heap is never constructed; any other heap gets here before its
        // constructor, which has to find this core.
        if (!isDefault)
            RegisterEarlyCore(this, fresh);
        return fresh;
    }
    // Another thread attached a core first.
    ReleaseCore(fresh);
    return core;
}

NH_BEFORE_CONSTRUCTION void* NH_Heap::Alloc(unsigned long size, int flag)
{
    if (size > kMaxBlockSize)
        FailForGood();
    for (;;) {
        if (NH_HeapCore* core = Core()) {
            if (void* block = NewBlock(core, size, flag & eZeroFill))
                return block;
        }
        CallNewHandler();
    }
}

NH_BEFORE_CONSTRUCTION void* NH_Heap::AllocMem(unsigned long size)
{
    if (size > kMaxBlockSize)
        return nullptr;
    NH_HeapCore* core = Core();
    return core ? NewBlock(core, size, false) : nullptr;
}

NH_BEFORE_CONSTRUCTION void* NH_Heap::ReallocSlow(void* block, unsigned long newSize, int flag)
{
    if (!block)
        return Alloc(newSize, flag);
    return ResizeBlock(static_cast<NH_BlockHeader*>(block) - 1, newSize, flag);
}

NH_BEFORE_CONSTRUCTION void* NH_Heap::ExpandBy(void* block, unsigned long extraBytes, int flag)
{
    if (!block)
        return Alloc(extraBytes, flag);
    NH_BlockHeader* header = static_cast<NH_BlockHeader*>(block) - 1;
    size_t newSize = header->size + extraBytes;
    if (newSize < header->size)
        FailForGood();
    return ResizeBlock(header, newSize, flag);
}

void NH_Heap::FreeMem(void* block)
{
    if (!block)
        return;
    NH_BlockHeader* header = static_cast<NH_BlockHeader*>(block) - 1;
    NH_HeapCore* core = header->core;
    size_t capacity = header->capacity;
    std::free(header);
    core->bytes.fetch_sub(capacity, std::memory_order_relaxed);
    ReleaseCore(core);
}

void NH_Heap::ExecuteStandardNewHandler()
{
    CallNewHandler();
}

NH_BEFORE_CONSTRUCTION const char* NH_Heap::GetName() const
{
    if (NH_HeapCore* core = core_.load(std::memory_order_acquire))
        return core->name;
    return this == &_defaultHeapHolder.heap ? "Default" : "";
}

NH_BEFORE_CONSTRUCTION unsigned long NH_Heap::GetBlocksInUse() const
{
    NH_HeapCore* core = core_.load(std::memory_order_acquire);
    return core ? static_cast<unsigned long>(core->refs.load(std::memory_order_relaxed) - 1) : 0;
}

NH_BEFORE_CONSTRUCTION unsigned long NH_Heap::GetBytesInUse() const
{
    NH_HeapCore* core = core_.load(std::memory_order_acquire);
    return core ? static_cast<unsigned long>(core->bytes.load(std::memory_order_relaxed)) : 0;
}

NH_BEFORE_CONSTRUCTION int NH_Heap::Owns(const void* block) const
{
    if (!block)
        return 0;
    const NH_BlockHeader* header = static_cast<const NH_BlockHeader*>(block) - 1;
    return header->core == core_.load(std::memory_order_acquire);
}

unsigned long NH_Heap::GetBlockSize(const void* block)
{
    return block ? static_cast<unsigned long>((static_cast<const NH_BlockHeader*>(block) - 1)->size)
                 : 0;
}

NH_BEFORE_CONSTRUCTION void NH_Heap::FailAllocation(unsigned long n)
{
    NH_HeapCore* core;
    while (!(core = Core()))
        CallNewHandler();
    core->failIn.store(n, std::memory_order_relaxed);
}

void NH_Heap::FailCoreAllocation(unsigned long n)
{
    _coreFailIn.store(n, std::memory_order_relaxed);
}
