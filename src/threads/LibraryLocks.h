// The library's process-wide locks that the load list builds: for the library's own use,
// not exported.
#pragma once

class TCriticalSection;

// Guards the file selector's shared state.
TCriticalSection& GetSelectorLock();
// Guards the mapped file table.
TCriticalSection& GetMappedFileLock();
