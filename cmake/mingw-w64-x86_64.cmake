# Debian's MinGW-w64 cross compiler for 64-bit Windows, with the POSIX thread model: only with this
# model does its standard library have std::thread and std::mutex.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(target x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER ${target}-g++-posix)
set(CMAKE_C_COMPILER ${target}-gcc-posix)
set(CMAKE_RC_COMPILER ${target}-windres)

# Libraries and headers come from the target's folders, programs from this machine.
get_filename_component(project ${CMAKE_CURRENT_LIST_DIR} DIRECTORY)
set(CMAKE_FIND_ROOT_PATH /usr/${target} ${project}/build/windows-dependencies/target)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Besides a program only Windows' own libraries are needed. The compiler's runtime, the thread
# library and zlib, which would otherwise be a DLL, are linked into it.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static")
set(ZLIB_LIBRARY /usr/${target}/lib/libz.a CACHE FILEPATH "zlib, static")
