# WebAssembly, for the libraries that need the standard library only: clang with Debian's wasi-libc. libc++ is built
# without exceptions there, so a want of memory ends the program.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_FLAGS_INIT -fno-exceptions)
set(CMAKE_EXECUTABLE_SUFFIX .wasm)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
