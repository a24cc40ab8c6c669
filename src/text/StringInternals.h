// Internals shared by the String sources and the library frame; not part of the interface.
#pragma once

#include "text/TextString.h"

// Count of the pinned empty buffers: never taken up or down.
const uint32_t kSharedForEver = 0xFFFFFFFFu;

// The longest text, the same on every target: length, terminator and rounding fit in 31 bits.
const unsigned long kMaxStringLength = 0x7FFFFFF0ul;

inline void AddReference(StringRef* r)
{
    if (r->refCount != kSharedForEver)
        ++r->refCount;
}

// A new buffer on _stringHeap with count 1 holding length bytes of s (or uninitialised
// bytes when s is null) and a terminator; answers its text.
char* NewStringBuffer(const char* s, unsigned long length);

// Reports a text too long for a 32-bit length as a failed allocation.
[[noreturn]] void RaiseStringTooLong();

// Build and release the pinned empty buffers; called by the load and unload lists.
void BuildSharedEmptyBuffers();
void ReleaseSharedEmptyBuffers();
