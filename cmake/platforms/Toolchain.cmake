# For another platform than this machine's: Debian's cross compiler, and qemu-user unless this machine runs
# the platform's programs itself. Included by the files beside it, one for each platform.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${PLATFORM_PROCESSOR})
set(CMAKE_C_COMPILER ${PLATFORM_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${PLATFORM_TRIPLET}-g++)

# Nothing of the platform is looked for at run time.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)

# What find_package gives here is this machine's: fmt and GoogleTest come from the files beside this one.
list(PREPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR})

if(PLATFORM_QEMU)
    find_program(PLATFORM_EMULATOR ${PLATFORM_QEMU} REQUIRED)
    mark_as_advanced(PLATFORM_EMULATOR)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${PLATFORM_EMULATOR})
endif()
