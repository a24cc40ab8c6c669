// The process-wide out-of-memory handler, and the debug output formatter.
#include <cstdarg>
#include <cstdio>
#include <new>

#include "TarnPlatform.h"
#include "errors/Exception.h"

namespace {

// Set while this thread builds its out-of-memory report.
thread_local bool reportingOutOfMemory = false;

// Never returns. Building the report allocates its text from the string heap; if that heap
// is the one that has run out, the handler is entered again from inside the report, and
// that inner call only fails its allocation: the text object then stays null and the
// report goes out without its text instead of recursing without end.
void OutOfMemoryHandler()
{
    if (reportingOutOfMemory)
        throw std::bad_alloc();
    reportingOutOfMemory = true;
    try {
        TExceptionThrower(0).SetAndThrow("Out of memory");
    } catch (...) {
        reportingOutOfMemory = false;
        throw;
    }
    reportingOutOfMemory = false;  // not reached: throw mode always throws
}

}  // namespace

// One handler for every allocation that reports exhaustion through the new handler:
// operator new, and NH_Heap's Alloc, Realloc and ExpandBy.
//
// Not installed, because standard C++17 has no equivalent:
// - an unexpected handler that rethrows: dynamic exception specifications and
//   std::set_unexpected are gone; the only specification left is noexcept, and an
//   exception that leaves a noexcept function ends the process through std::terminate with
//   no way to pass it on.
// - new mode 1 (a failing malloc calling the new handler) is a switch of the Microsoft run
//   time that acts on its own handler, not on std::set_new_handler; malloc keeps returning
//   null on both targets, and the library checks its results.
void InitExceptionHandler()
{
    std::set_new_handler(OutOfMemoryHandler);
}

void SendDebugString(const char* format, ...)
{
    // The text is cut where needed so that it, the line end and the terminator fit.
    char buffer[1000];
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(buffer, sizeof buffer - 1, format, args);
    va_end(args);
    if (n < 0)
        n = 0;
    if (n > static_cast<int>(sizeof buffer) - 2)
        n = static_cast<int>(sizeof buffer) - 2;
    buffer[n] = '\n';
    buffer[n + 1] = 0;
    OutputDebugStringA(buffer);
}
