# Cross-compiles for 32-bit Windows with mingw-w64. The posix thread model is
# required: the win32 model of GCC 12 has no std::thread or std::mutex.
#   cmake -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-i686.cmake ...
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(WEXO_MINGW_TRIPLE i686-w64-mingw32)

set(CMAKE_C_COMPILER ${WEXO_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${WEXO_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${WEXO_MINGW_TRIPLE}-windres)
set(CMAKE_AR ${WEXO_MINGW_TRIPLE}-ar CACHE FILEPATH "")
set(CMAKE_RANLIB ${WEXO_MINGW_TRIPLE}-ranlib CACHE FILEPATH "")
set(CMAKE_OBJDUMP ${WEXO_MINGW_TRIPLE}-objdump CACHE FILEPATH "")

# The cross-built c-ares and protobuf live in one prefix. Entries of
# CMAKE_PREFIX_PATH would be re-rooted below the sysroot in ONLY mode and
# missed, so the prefix is a find root instead. WEXO_WIN32_PREFIX overrides it.
if(NOT WEXO_WIN32_PREFIX)
  get_filename_component(WEXO_WIN32_PREFIX "${CMAKE_CURRENT_LIST_DIR}/../.deps/win32" ABSOLUTE)
endif()
set(CMAKE_FIND_ROOT_PATH /usr/${WEXO_MINGW_TRIPLE} ${WEXO_WIN32_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# No runtime DLLs beside ours: libgcc, libstdc++ and winpthreads are linked in.
# The same flags are repeated on the targets, since *_INIT flags are lost as
# soon as someone passes CMAKE_*_LINKER_FLAGS on the command line.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static -static-libgcc -static-libstdc++")
