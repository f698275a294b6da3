# What every target of the project has in common, in one interface target linked PRIVATE.

add_library(h265ps_BuildFlags INTERFACE)
add_library(H265ParameterSets::BuildFlags ALIAS h265ps_BuildFlags)
target_compile_features(h265ps_BuildFlags INTERFACE cxx_std_20)
target_compile_options(h265ps_BuildFlags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
# g++ 12 takes "a" + text, and comparing bytes in order, for work on half the address space when it optimises (-O3).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(h265ps_BuildFlags INTERFACE
        -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow -Wno-stringop-overread)
endif()
# Files of more than 2 GiB where pointers have 32 bits.
target_compile_definitions(h265ps_BuildFlags INTERFACE _FILE_OFFSET_BITS=64)
if(H265PS_WARNINGS_AS_ERRORS)
    target_compile_options(h265ps_BuildFlags INTERFACE -Werror)
endif()
if(H265PS_SANITIZE)
    target_compile_options(h265ps_BuildFlags INTERFACE
        -fsanitize=${H265PS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(h265ps_BuildFlags INTERFACE -fsanitize=${H265PS_SANITIZE})
endif()
if(H265PS_COVERAGE)
    target_compile_options(h265ps_BuildFlags INTERFACE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(h265ps_BuildFlags INTERFACE -fprofile-instr-generate)
endif()

# The marks of what a shared library exports: a header alone.
add_library(h265ps_Export INTERFACE)
add_library(H265ParameterSets::Export ALIAS h265ps_Export)
target_sources(h265ps_Export INTERFACE FILE_SET HEADERS
    BASE_DIRS ${PROJECT_SOURCE_DIR}/src/Export FILES ${PROJECT_SOURCE_DIR}/src/Export/H265psExport.h)
set_target_properties(h265ps_Export PROPERTIES EXPORT_NAME Export)

set(H265PS_LIBRARIES "" CACHE INTERNAL "libraries to install")
set(H265PS_INTERFACES "" CACHE INTERNAL "interfaces to install")

# h265_words_apart(RESULT NAME): StreamHost becomes stream-host.
function(h265_words_apart RESULT NAME)
    string(REGEX REPLACE "([a-z0-9])([A-Z])" "\\1-\\2" WORDS "${NAME}")
    string(TOLOWER "${WORDS}" WORDS)
    set(${RESULT} ${WORDS} PARENT_SCOPE)
endfunction()

# h265_compile_together(TARGET): all files as one source, which takes much less time. Each file still stands alone, as
# the preset clang shows; where two files give one name of their own to two things, the compiler tells.
function(h265_compile_together TARGET)
    if(NOT H265PS_FILES_APART)
        set_target_properties(${TARGET} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
        # What is inside a class of one of the files may be its own: the class is too.
        target_compile_options(${TARGET} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    endif()
endfunction()

# h265_add_library(NAME SOURCES ... PUBLIC_HEADERS ... [LINK ...] [OUTPUT_NAME ...] [PRECOMPILE ...] [TOGETHER])
# A library (static, or shared with BUILD_SHARED_LIBS) with the name H265ParameterSets::NAME inside and
# outside the project. The real target is h265ps_NAME, so that it clashes with no target of a parent
# project, and the file is libh265ps-NAME, with NAME in lower case and its words apart (or OUTPUT_NAME).
function(h265_add_library NAME)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "TOGETHER" "OUTPUT_NAME" "SOURCES;PUBLIC_HEADERS;LINK;PRECOMPILE")
    if(NOT ARG_OUTPUT_NAME)
        h265_words_apart(ARG_OUTPUT_NAME ${NAME})
    endif()
    set(TARGET h265ps_${NAME})
    add_library(${TARGET} ${ARG_SOURCES})
    add_library(H265ParameterSets::${NAME} ALIAS ${TARGET})
    target_sources(${TARGET} PUBLIC FILE_SET HEADERS FILES ${ARG_PUBLIC_HEADERS})
    target_compile_features(${TARGET} PUBLIC cxx_std_20)
    target_link_libraries(${TARGET} PUBLIC h265ps_Export ${ARG_LINK} PRIVATE $<BUILD_INTERFACE:h265ps_BuildFlags>)
    if(ARG_PRECOMPILE)
        target_precompile_headers(${TARGET} PRIVATE ${ARG_PRECOMPILE})
    endif()
    if(ARG_TOGETHER)
        h265_compile_together(${TARGET})
    endif()
    set_target_properties(${TARGET} PROPERTIES CXX_EXTENSIONS OFF VERIFY_INTERFACE_HEADER_SETS ON
        POSITION_INDEPENDENT_CODE ON EXPORT_NAME ${NAME} OUTPUT_NAME h265ps-${ARG_OUTPUT_NAME}
        VERSION ${H265ParameterSets_VERSION}
        SOVERSION ${H265ParameterSets_VERSION_MAJOR}.${H265ParameterSets_VERSION_MINOR})
    if(BUILD_SHARED_LIBS) # hidden functions of a static library get other registers from g++: 1 % more instructions
        set_target_properties(${TARGET} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    endif()
    set(H265PS_LIBRARIES ${H265PS_LIBRARIES} ${TARGET} CACHE INTERNAL "libraries to install")
endfunction()

# h265_add_interface(NAME LINK ...): a name for several libraries, inside and outside the project too.
function(h265_add_interface NAME)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "LINK")
    add_library(h265ps_${NAME} INTERFACE)
    add_library(H265ParameterSets::${NAME} ALIAS h265ps_${NAME})
    target_link_libraries(h265ps_${NAME} INTERFACE ${ARG_LINK})
    h265_words_apart(WORDS ${NAME}) # the pkg-config file
    set_target_properties(h265ps_${NAME} PROPERTIES EXPORT_NAME ${NAME} OUTPUT_NAME h265ps-${WORDS})
    set(H265PS_INTERFACES ${H265PS_INTERFACES} h265ps_${NAME} CACHE INTERNAL "interfaces to install")
endfunction()
