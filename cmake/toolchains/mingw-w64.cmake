# Cross build for 64-bit Windows with Debian's mingw-w64 compilers, run under Wine.
#
# The posix thread-model compilers are required: the win32 model of GCC 12 has no std::mutex,
# std::shared_mutex or std::thread. TLVUTL_WINDOWS_DEPS names the prefix of the static
# libxml2, libxslt and GoogleTest that scripts/windows-deps.sh builds; by default the one in
# the build folder.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(TLVUTL_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${TLVUTL_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TLVUTL_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${TLVUTL_MINGW_TRIPLE}-windres)

if(NOT TLVUTL_WINDOWS_DEPS)
  set(TLVUTL_WINDOWS_DEPS "${CMAKE_BINARY_DIR}/deps/prefix")
endif()
set(TLVUTL_WINDOWS_DEPS "${TLVUTL_WINDOWS_DEPS}" CACHE PATH
    "Prefix of the static libxml2, libxslt and GoogleTest built for Windows")

set(CMAKE_FIND_ROOT_PATH /usr/${TLVUTL_MINGW_TRIPLE} ${TLVUTL_WINDOWS_DEPS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Executables and the library link the C++ and threads runtimes in, so they need no DLL but
# the system's and the library's own to start under Wine or on a bare Windows.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)

# Debian keeps the loader out of PATH unless the "wine" wrapper package is installed.
find_program(TLVUTL_WINE NAMES wine64 wine PATHS /usr/lib/wine)
if(TLVUTL_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${TLVUTL_WINE})
endif()

# pkg-config must not hand the host's libraries to the cross build.
set(ENV{PKG_CONFIG_LIBDIR} "${TLVUTL_WINDOWS_DEPS}/lib/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "")
