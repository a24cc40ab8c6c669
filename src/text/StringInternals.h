// Internals shared by the String sources and the library frame; not part of the interface.
#pragma once

#include "text/TextString.h"

// A new buffer on _stringHeap with count 1 holding length bytes of s (or uninitialised
// bytes when s is null) and a terminator; answers its text.
char* NewStringBuffer(const char* s, unsigned long length);

// Reports a text too long for a 32-bit length as a failed allocation.
[[noreturn]] void RaiseStringTooLong();

// Build and release the pinned empty buffers; called by the load and unload lists.
void BuildSharedEmptyBuffers();
void ReleaseSharedEmptyBuffers();
