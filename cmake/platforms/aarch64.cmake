# The NEON search for start codes.
set(PLATFORM_PROCESSOR aarch64)
set(PLATFORM_TRIPLET aarch64-linux-gnu)
set(PLATFORM_QEMU qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/Toolchain.cmake)
