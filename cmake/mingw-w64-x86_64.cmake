# Cross-build of qnsnwsm.dll for 64-bit Windows with Debian's mingw-w64.
#
# The posix threading flavour is named explicitly: with GCC 12 only it provides std::thread and std::mutex,
# and the unsuffixed compiler names switch to the win32 flavour when both are installed.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(QN_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${QN_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${QN_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${QN_MINGW_PREFIX}-windres)
set(CMAKE_AR ${QN_MINGW_PREFIX}-ar CACHE FILEPATH "Archiver")
set(CMAKE_RANLIB ${QN_MINGW_PREFIX}-ranlib CACHE FILEPATH "Archive indexer")

set(CMAKE_FIND_ROOT_PATH /usr/${QN_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Windows 7 is the oldest target: its SDK declarations are the ones the module needs.
add_compile_definitions(_WIN32_WINNT=0x0601 WINVER=0x0601)

# Test programs run through Wine (ctest and add_test use it).
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
