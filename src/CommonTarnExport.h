// Export macro of the CommonTarn library: dllexport/dllimport on Windows, default
// visibility on other systems, where everything unmarked stays hidden.
#pragma once

#if defined(_WIN32)
#  if defined(COMMONTARN_BUILDING)
#    define COMMONTARN_API __declspec(dllexport)
#  else
#    define COMMONTARN_API __declspec(dllimport)
#  endif
#else
#  define COMMONTARN_API __attribute__((visibility("default")))
#endif
