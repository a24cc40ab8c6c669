// The library frame: the process-wide objects built at load in one fixed order and
// destroyed at unload in exactly the reverse order. The host makes no set-up call.
#pragma once

#include <cstdint>

#include "CommonTarnExport.h"

class NH_Heap;
class TRandomizer;

// The heap of all string buffers, String objects and text list items. A host may point it
// at another heap at its start, before it starts threads; blocks already made keep theirs.
extern COMMONTARN_API NH_Heap* _stringHeap;

// The thread that loaded the library, and what GetSystemInfo reported at load.
extern COMMONTARN_API uint32_t _loaderThreadId;
extern COMMONTARN_API uint32_t _systemPageSize;
extern COMMONTARN_API uint32_t _allocationGranularity;

// Source of the numbers in unique key names, seeded from the clock at load.
COMMONTARN_API TRandomizer& GetUniqueKeyRandomizer();

// How many steps of the load list have run, and how many unload actions are pending.
COMMONTARN_API int GetFrameLoadedSteps();
COMMONTARN_API int GetFramePendingUnloads();
