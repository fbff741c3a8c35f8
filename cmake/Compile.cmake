# How everything here is compiled and linked. Warnings become errors in the presets
# (CMAKE_COMPILE_WARNING_AS_ERROR), so that a newer compiler cannot break a plain build.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# What everything links: the warnings, and the instruments of the presets that look for mistakes.
add_library(avmanager_flags INTERFACE)
target_compile_options(avmanager_flags INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)

if(AVMANAGER_SANITIZE)
    target_compile_options(avmanager_flags INTERFACE -fsanitize=${AVMANAGER_SANITIZE}
        -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(avmanager_flags INTERFACE -fsanitize=${AVMANAGER_SANITIZE})
endif()

if(AVMANAGER_COVERAGE)
    # Only with its extensions does the compiler know exec, and writes a child's counters out before
    # the new program's image takes their place.
    set(CMAKE_CXX_EXTENSIONS ON)
    target_compile_options(avmanager_flags INTERFACE --coverage)
    target_link_options(avmanager_flags INTERFACE --coverage)
endif()

# A 32-bit processor has sizes and times of files of 32 bits, too, unless told otherwise. A file too
# large or too new for them has no status and would count as absent.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_compile_definitions(avmanager_flags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

# What is shipped links this. The C library's own checks are compiled in, at the level that is tested:
# a distribution's own would be defined twice. Sections, so that the linker can drop what nobody calls.
add_library(avmanager_shipped INTERFACE)
target_link_libraries(avmanager_shipped INTERFACE avmanager_flags)
target_compile_options(avmanager_shipped INTERFACE
    -fstack-protector-strong -ffunction-sections -fdata-sections
    "$<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
# The loader resolves everything before main and then makes it read-only. Options of the linker go
# through a library to the programs that link it, and those of another project have their own.
if(PROJECT_IS_TOP_LEVEL)
    target_link_options(avmanager_shipped INTERFACE
        -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()

# A library of one folder. What others may include lies below its `include`, written
# "zarnic/FOLDER/header.h"; its private headers lie beside its sources and are written from the
# root, so that a line of source tells which layer it reaches for.
function(avmanager_library name)
    add_library(${name} STATIC ${ARGN})
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
    target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:avmanager_shipped>)
    # Plain code beside the compiler's own form: the program is optimised at link time, and the
    # tests, many and small, are linked without that wait.
    if(AVMANAGER_LTO)
        set_target_properties(${name} PROPERTIES INTERPROCEDURAL_OPTIMIZATION ON)
        target_compile_options(${name} PRIVATE -ffat-lto-objects)
    endif()
    # clang-tidy spends most of its time on the headers of the C++ library. It reads them once for a
    # library whose sources are compiled as one. To its analyzer these sources are headers, which it
    # looks into only when told to.
    if(CMAKE_CXX_CLANG_TIDY AND PROJECT_IS_TOP_LEVEL)
        set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
        set_property(TARGET ${name} APPEND PROPERTY CXX_CLANG_TIDY
            --extra-arg=-Xclang --extra-arg=-analyzer-opt-analyze-headers)
    endif()
endfunction()

# A library that others link: zarnic_FOLDER here, zarnic::FOLDER to them, installed or not.
function(avmanager_public_library)
    get_filename_component(folder "${CMAKE_CURRENT_SOURCE_DIR}" NAME)
    set(sources ${ARGN})
    set(headers ${ARGN})
    list(FILTER sources EXCLUDE REGEX "^include/")
    list(FILTER headers INCLUDE REGEX "^include/")
    avmanager_library(zarnic_${folder} ${sources})
    add_library(zarnic::${folder} ALIAS zarnic_${folder})
    set_target_properties(zarnic_${folder} PROPERTIES
        EXPORT_NAME ${folder} OUTPUT_NAME zarnic-${folder})
    target_sources(zarnic_${folder} PUBLIC FILE_SET HEADERS BASE_DIRS include FILES ${headers})
endfunction()
