# How everything here is compiled and linked. Warnings become errors in the presets
# (CMAKE_COMPILE_WARNING_AS_ERROR), so that a newer compiler cannot break a plain build.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)

if(AVMANAGER_SANITIZE)
    add_compile_options(-fsanitize=${AVMANAGER_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${AVMANAGER_SANITIZE})
endif()

if(AVMANAGER_COVERAGE)
    # Only with its extensions does the compiler know exec, and writes a child's counters out before
    # the new program's image takes their place.
    set(CMAKE_CXX_EXTENSIONS ON)
    add_compile_options(--coverage)
    add_link_options(--coverage)
endif()

# A 32-bit processor has sizes and times of files of 32 bits, too, unless told otherwise. A file too
# large or too new for them has no status and would count as absent.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    add_compile_definitions(_FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()

# The loader resolves everything before main and then makes it read-only, and the C library's
# own checks are compiled in. Sections, so that the linker can drop what nobody calls.
add_compile_options(-fstack-protector-strong -ffunction-sections -fdata-sections)
# A distribution's own level of the checks would be defined twice.
add_compile_options("$<$<CONFIG:Release>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

# A library of one folder. What others may include lies below its `include`, written
# "zarnic/FOLDER/header.h"; its private headers lie beside its sources and are written from the
# root, so that a line of source tells which layer it reaches for.
function(avmanager_library name)
    add_library(${name} STATIC ${ARGN})
    target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
    # Plain code beside the compiler's own form: the program is optimised at link time, and the
    # tests, many and small, are linked without that wait.
    if(AVMANAGER_LTO)
        target_compile_options(${name} PRIVATE -flto=auto -ffat-lto-objects)
    endif()
    # The headers of the C++ library, read anew for each source, take clang-tidy most of its time.
    # Read as one, the sources are included, and unless told otherwise its analyzer passes over
    # what is.
    if(CMAKE_CXX_CLANG_TIDY AND PROJECT_IS_TOP_LEVEL)
        set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
        set_property(TARGET ${name} APPEND PROPERTY CXX_CLANG_TIDY
            --extra-arg=-Xclang --extra-arg=-analyzer-opt-analyze-headers)
    endif()
endfunction()

# A library that others link: zarnic_FOLDER here, zarnic::FOLDER to them, installed or not.
function(avmanager_public_library)
    get_filename_component(folder "${CMAKE_CURRENT_SOURCE_DIR}" NAME)
    avmanager_library(zarnic_${folder} ${ARGN})
    add_library(zarnic::${folder} ALIAS zarnic_${folder})
    set_target_properties(zarnic_${folder} PROPERTIES
        EXPORT_NAME ${folder} OUTPUT_NAME zarnic-${folder})
    file(GLOB headers CONFIGURE_DEPENDS include/zarnic/${folder}/*.h)
    target_sources(zarnic_${folder} PUBLIC FILE_SET HEADERS BASE_DIRS include FILES ${headers})
endfunction()
