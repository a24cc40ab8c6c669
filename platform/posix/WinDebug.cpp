// OutputDebugStringA over standard error.
#include "WinDebug.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

void OutputDebugStringA(LPCSTR lpOutputString)
{
    if (!lpOutputString)
        return;
    // One write per piece and no stdio buffer, so texts of several threads do not
    // interleave within a short line and nothing waits for a flush.
    const char* p = lpOutputString;
    size_t left = std::strlen(p);
    while (left > 0) {
        const ssize_t n = ::write(STDERR_FILENO, p, left);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        p += n;
        left -= static_cast<size_t>(n);
    }
}
