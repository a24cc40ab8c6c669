// The Windows interface as the library calls it: the system headers on Windows, and on
// other systems our declarations of the same names, implemented in posix/.
#pragma once

#if defined(_WIN32)
#  ifndef WIN32_LEAN_AND_MEAN
#    define WIN32_LEAN_AND_MEAN
#  endif
#  ifndef NOMINMAX
#    define NOMINMAX
#  endif
#  include <windows.h>
#  include <process.h>
#  include <mmsystem.h>
#  include <stdlib.h>
#  include <string.h>
#else
#  include <stdlib.h>
#  include <string.h>
#  include "posix/WinTypes.h"
#  include "posix/WinKernel.h"
#  include "posix/WinInterlocked.h"
#  include "posix/WinRuntime.h"
#  include "posix/WinDates.h"
#  include "posix/WinHandles.h"
#  include "posix/WinSync.h"
#  include "posix/WinThreads.h"
#  include "posix/WinMessages.h"
#  include "posix/WinTime.h"
#  include "posix/WinModules.h"
#  include "posix/WinDebug.h"
#  include "posix/WinNames.h"
#  include "posix/WinFiles.h"
#  include "posix/WinMmio.h"
#endif

#include "TarnNames.h"
