# Big-endian numbers.
set(PLATFORM_PROCESSOR s390x)
set(PLATFORM_TRIPLET s390x-linux-gnu)
set(PLATFORM_QEMU qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/Toolchain.cmake)
