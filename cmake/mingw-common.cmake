# What both MinGW-w64 toolchain files share; COMMONTARN_MINGW_TRIPLET names the target.
set(CMAKE_C_COMPILER ${COMMONTARN_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${COMMONTARN_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${COMMONTARN_MINGW_TRIPLET}-windres)

# Libraries and headers of the target (zlib) come from the MinGW sysroot only; programs
# that the build runs come from the host.
set(CMAKE_FIND_ROOT_PATH /usr/${COMMONTARN_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
