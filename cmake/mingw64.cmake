# Cross-compiles for 64-bit Windows with Debian's MinGW-w64 toolchain (POSIX thread model,
# so std::thread and std::mutex work); the test programs run under wine64.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(COMMONTARN_MINGW_TRIPLET x86_64-w64-mingw32)

include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/wine64-run.sh)
