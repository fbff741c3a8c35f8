# Every pointer of a static-pie is relocated at start. Written as a bit map instead of a table, their
# list takes 45 KB less of the file. The linker must know this form, and so must the C library: at
# start its own code reads the list, and nothing is said at link time if it would pass over the map.
# GNU's reads it since 2.36.

include(CheckSourceCompiles)

function(avmanager_pack_relocations target)
    # Of an option after -z that it does not know, the linker only warns; what must be fatal comes first.
    set(CMAKE_REQUIRED_LINK_OPTIONS -static-pie -Wl,--fatal-warnings -Wl,-z,pack-relative-relocs)
    set(CMAKE_REQUIRED_QUIET ON)
    check_source_compiles(CXX [[
        #include <cstdlib>
        #if !defined __GLIBC__ || !__GLIBC_PREREQ(2, 36)
        #error "the C library may not read them"
        #endif
        int main() {}
    ]] AVMANAGER_PACKED_RELOCATIONS)
    if(AVMANAGER_PACKED_RELOCATIONS)
        target_link_options(${target} PRIVATE -Wl,-z,pack-relative-relocs)
    endif()
endfunction()
