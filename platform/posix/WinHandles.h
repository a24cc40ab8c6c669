// The handle table's one closing call, for every kind of handle.
#pragma once

#include "CommonTarnExport.h"
#include "WinTypes.h"

extern "C" {

// Ends a handle of any kind but a window. The object itself lives on while a call still
// uses it: a thread goes on running, a wait in progress goes on waiting. Closing the
// pseudo-handle of the current thread does nothing and succeeds.
COMMONTARN_API BOOL CloseHandle(HANDLE hObject);

}
