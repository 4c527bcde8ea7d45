# Cross-builds for 32-bit Windows with MinGW-w64:
#
#     script/windows-dependencies && cmake --preset windows && cmake --build build/windows
#
# Libraries are looked for in build/windows-dependencies alone, never among those of the building machine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)

# The compiler whose threads are those of <thread>, shared by all of a program's libraries.
set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)

# Floating point is computed as on 64-bit systems, so that the same numbers come out. The system and other
# compilers align the stack to 4 bytes where they call us; our functions need 16.
set(CMAKE_C_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse -mstackrealign")

set(qbaseWindowsDependencies ${CMAKE_CURRENT_LIST_DIR}/../build/windows-dependencies)
set(CMAKE_FIND_ROOT_PATH /usr/i686-w64-mingw32 ${qbaseWindowsDependencies})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(utf8cpp_DIR ${qbaseWindowsDependencies}/lib/noarch/cmake/utf8cpp)
