# mingw-w64-x86_64.cmake: cross-compiles for 64-bit Windows with Debian's mingw-w64 (posix
# threads). Libraries are looked for only in mingw's own root and in the prefix where
# scripts/build-windows.sh builds the dependencies from Debian's sources (ORV_WINDOWS_DEPS). The
# runtime (libgcc, libstdc++, winpthread) is linked statically, so that the output folder runs on
# a Windows machine as it stands. Tests run through wine (scripts/wine-run.sh).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ORV_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${ORV_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ORV_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${ORV_MINGW_PREFIX}-windres)

set(ORV_WINDOWS_DEPS "" CACHE PATH "Where the Windows builds of the dependencies are installed")
set(CMAKE_FIND_ROOT_PATH /usr/${ORV_MINGW_PREFIX} ${ORV_WINDOWS_DEPS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# A DLL exports its own functions only, not those of the runtime and the libraries linked into it.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -Wl,--exclude-libs,ALL")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static -Wl,--exclude-libs,ALL")

# Test programs run through wine, in a prefix of the build's own.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run.sh)
