// Export macro of the NewHeapTarn library.
#pragma once

#if defined(_WIN32)
#  if defined(NEWHEAPTARN_BUILDING)
#    define NEWHEAPTARN_API __declspec(dllexport)
#  else
#    define NEWHEAPTARN_API __declspec(dllimport)
#  endif
#else
#  define NEWHEAPTARN_API __attribute__((visibility("default")))
#endif
