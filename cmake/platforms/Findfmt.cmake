# The target fmt::fmt-header-only out of the headers alone. fmt's own package is for one size of pointers.
find_path(FMT_HEADERS fmt/core.h REQUIRED)
mark_as_advanced(FMT_HEADERS)
if(NOT TARGET fmt::fmt-header-only)
    add_library(fmt::fmt-header-only INTERFACE IMPORTED)
    target_compile_definitions(fmt::fmt-header-only INTERFACE FMT_HEADER_ONLY=1)
    target_include_directories(fmt::fmt-header-only INTERFACE ${FMT_HEADERS})
endif()
set(fmt_FOUND TRUE)
