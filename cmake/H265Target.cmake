# What every target of the project has in common, in one interface target linked PRIVATE.

add_library(H265BuildFlags INTERFACE)
target_compile_features(H265BuildFlags INTERFACE cxx_std_20)
target_compile_options(H265BuildFlags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(H265PS_WARNINGS_AS_ERRORS)
    target_compile_options(H265BuildFlags INTERFACE -Werror)
endif()
if(H265PS_SANITIZE)
    target_compile_options(H265BuildFlags INTERFACE
        -fsanitize=${H265PS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(H265BuildFlags INTERFACE -fsanitize=${H265PS_SANITIZE})
endif()
if(H265PS_COVERAGE)
    target_compile_options(H265BuildFlags INTERFACE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(H265BuildFlags INTERFACE -fprofile-instr-generate)
endif()

set(H265PS_LIBRARIES "" CACHE INTERNAL "libraries to install")

# h265_add_library(NAME SOURCES ... PUBLIC_HEADERS ... [LINK ...])
# A static library with the name H265ParameterSets::NAME inside and outside the project.
function(h265_add_library NAME)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;PUBLIC_HEADERS;LINK")
    add_library(${NAME} STATIC ${ARG_SOURCES})
    add_library(H265ParameterSets::${NAME} ALIAS ${NAME})
    target_sources(${NAME} PUBLIC FILE_SET HEADERS FILES ${ARG_PUBLIC_HEADERS})
    target_compile_features(${NAME} PUBLIC cxx_std_20)
    target_link_libraries(${NAME} PUBLIC ${ARG_LINK} PRIVATE $<BUILD_INTERFACE:H265BuildFlags>)
    set_target_properties(${NAME} PROPERTIES CXX_EXTENSIONS OFF VERIFY_INTERFACE_HEADER_SETS ON
        POSITION_INDEPENDENT_CODE ON)
    set(H265PS_LIBRARIES ${H265PS_LIBRARIES} ${NAME} CACHE INTERNAL "libraries to install")
endfunction()
