// The load list of the library's process-wide objects and its reverse unload.
#include "frame/Frame.h"
#include "frame/FrameEntry.h"
#include "frame/FrameObject.h"

#include "NH_Heap.h"
#include "TarnPlatform.h"
#include "errors/Exception.h"
#include "errors/ExceptionInternals.h"
#include "numeric/Randomizer.h"
#include "text/MessageTexts.h"
#include "text/StringInternals.h"
#include "text/TextString.h"
#include "threads/CriticalSection.h"
#include "threads/LibraryLocks.h"

NH_Heap* _stringHeap = nullptr;
uint32_t _loaderThreadId = 0;
uint32_t _postHandle = 0;
uint32_t _systemPageSize = 0;
uint32_t _allocationGranularity = 0;

namespace {

FrameObject<NH_Heap> stringHeapObject;
FrameObject<TRandomizer> uniqueKeyRandomizer;
FrameObject<String> emptyWhy;
FrameObject<AException> exceptionPrototype;
FrameObject<TCriticalSection> selectorLock;
FrameObject<TCriticalSection> mappedFileLock;

struct FrameStep {
    void (*load)();
    void (*unload)();  // null: nothing to undo
};

// The string heap comes up ahead of everything and goes last, after every block that the
// other steps made has gone back to it.
const FrameStep loadList[] = {
    {[] {
         stringHeapObject.Build(1, "StringHeap");
         _stringHeap = &stringHeapObject.Get();
     },
     [] { stringHeapObject.Destroy(); }},
    {[] { uniqueKeyRandomizer.Build(0); }, nullptr},
    {InitExceptionHandler, nullptr},
    {[] { _loaderThreadId = GetCurrentThreadId(); }, nullptr},
    // The empty buffer of String() is built first, then the empty text of exceptions on it.
    {[] { BuildSharedEmptyBuffers(); }, [] { ReleaseSharedEmptyBuffers(); }},
    {[] { emptyWhy.Build(); }, [] { emptyWhy.Destroy(); }},
    {[] { exceptionPrototype.Build(emptyWhy.Get()); }, [] { exceptionPrototype.Destroy(); }},
    // Building a lock initialises its critical section; destroying it deletes that.
    {[] { selectorLock.Build(); }, [] { selectorLock.Destroy(); }},
    {[] { mappedFileLock.Build(); }, [] { mappedFileLock.Destroy(); }},
    {[] {
         SYSTEM_INFO info;
         GetSystemInfo(&info);
         _systemPageSize = info.dwPageSize;
         _allocationGranularity = info.dwAllocationGranularity;
     },
     nullptr},
    // The message catalogue's cache, its lock and its reusable search key.
    {BuildMessageCacheLock, DestroyMessageCacheLock},
    {BuildMessageCache, DestroyMessageCache},
    {BuildMessageProbe, DestroyMessageProbe},
};

const int kStepCount = sizeof loadList / sizeof loadList[0];

// Unload actions in the order their steps ended.
void (*unloadActions[kStepCount])();
int loadedSteps = 0;
int pendingUnloads = 0;

}  // namespace

void FrameLoad()
{
    if (loadedSteps != 0)
        return;
    for (const FrameStep& step : loadList) {
        step.load();
        ++loadedSteps;
        if (step.unload)
            unloadActions[pendingUnloads++] = step.unload;
    }
}

void FrameUnload()
{
    while (pendingUnloads > 0)
        unloadActions[--pendingUnloads]();
}

TRandomizer& GetUniqueKeyRandomizer()
{
    return uniqueKeyRandomizer.Get();
}

const AException& GetExceptionPrototype()
{
    return exceptionPrototype.Get();
}

const String& GetEmptyWhy()
{
    return emptyWhy.Get();
}

TCriticalSection& GetSelectorLock()
{
    return selectorLock.Get();
}

TCriticalSection& GetMappedFileLock()
{
    return mappedFileLock.Get();
}

int GetFrameLoadedSteps()
{
    return loadedSteps;
}

int GetFramePendingUnloads()
{
    return pendingUnloads;
}
