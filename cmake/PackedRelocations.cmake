# Every pointer of a static-pie is relocated at start. Written as a bit map instead of a table, their
# list takes 45 KB less of the file. The C library must know this form, and nothing would tell at
# link time that it does not: hence a program that runs.

include(CheckSourceRuns)

function(avmanager_pack_relocations target)
    set(CMAKE_REQUIRED_LINK_OPTIONS -static-pie -Wl,-z,pack-relative-relocs)
    set(CMAKE_REQUIRED_QUIET ON)
    check_source_runs(CXX [[
        int target = 7;
        int* volatile pointer = &target;
        int main() { return *pointer == 7 ? 0 : 1; }
    ]] AVMANAGER_PACKED_RELOCATIONS)
    if(AVMANAGER_PACKED_RELOCATIONS)
        target_link_options(${target} PRIVATE -Wl,-z,pack-relative-relocs)
    endif()
endfunction()
