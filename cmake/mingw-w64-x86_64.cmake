# Cross toolchain for 64-bit Windows with Debian's mingw-w64 (the POSIX
# thread model, for std::thread and std::mutex). The dependencies are looked
# for in LXFX_WINDOWS_PREFIX, where scripts/build-windows-deps.sh puts them.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(LXFX_WINDOWS_PREFIX "" CACHE PATH "Folder with the cross-built dependencies")
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${LXFX_WINDOWS_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Programs run under Wine, in a Wine prefix of the build's own, quietly.
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/env WINEPREFIX=${CMAKE_BINARY_DIR}/wine WINEDEBUG=-all
    /usr/lib/wine/wine64)
# The Win64 stack is 16-byte aligned, and GCC may spill 256-bit registers of
# the AVX kernels with aligned moves into it (GCC bug 54412): the assembler
# turns every aligned vector move into an unaligned one, which costs nothing
# on aligned data.
set(CMAKE_C_FLAGS_INIT "-Wa,-muse-unaligned-vector-move")
set(CMAKE_CXX_FLAGS_INIT "-Wa,-muse-unaligned-vector-move")
