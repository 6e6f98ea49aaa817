# Cross build for Windows with mingw-w64's POSIX-thread variant.
# -DQUERN_MINGW_ARCH=i686 (the appliance's 32-bit host, default) or x86_64.
set(QUERN_MINGW_ARCH i686 CACHE STRING "mingw-w64 target: i686 or x86_64")
set(arch ${QUERN_MINGW_ARCH})
# try_compile projects read this file again and need the choice too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QUERN_MINGW_ARCH)
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR ${arch})
set(CMAKE_C_COMPILER ${arch}-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER ${arch}-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER ${arch}-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${arch}-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# zlib linked statically so that quern.dll stands alone.
set(ZLIB_USE_STATIC_LIBS ON)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
