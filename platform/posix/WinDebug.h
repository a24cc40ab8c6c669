// Debug output: with no debugger to receive it, the text goes to standard error.
#pragma once

#include "CommonTarnExport.h"
#include "WinTypes.h"

// Tells code that can observe it that OutputDebugStringA writes to standard error here.
#define TARN_DEBUG_OUTPUT_TO_STDERR 1

extern "C" {

// Writes the text as it is, with no line end of its own; null writes nothing.
COMMONTARN_API void OutputDebugStringA(LPCSTR lpOutputString);

}
