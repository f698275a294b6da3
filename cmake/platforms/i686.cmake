# 32-bit pointers. x86-64 runs its programs.
set(PLATFORM_PROCESSOR i686)
set(PLATFORM_TRIPLET i686-linux-gnu)
if(NOT CMAKE_HOST_SYSTEM_PROCESSOR STREQUAL x86_64)
    set(PLATFORM_QEMU qemu-i386)
endif()
include(${CMAKE_CURRENT_LIST_DIR}/Toolchain.cmake)
