# Cross-compiles for 32-bit Windows with Debian's MinGW-w64 toolchain (POSIX thread model).
# This build is compiled and linked only; nothing runs it.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(COMMONTARN_MINGW_TRIPLET i686-w64-mingw32)

include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
