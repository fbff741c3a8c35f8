# What a static program does before main, made short. docs/performance.md has the measurements.

include(CheckSourceRuns)

# Every pointer of a static-pie is relocated at start. Written as a bit map instead of a table, the
# list shrinks from 80 KiB to under 1. The C library must know this form, and nothing would tell at
# link time that it does not: hence a program that runs.
function(avmanager_check_packed_relocations)
    set(CMAKE_REQUIRED_LINK_OPTIONS -static-pie -Wl,-z,pack-relative-relocs)
    set(CMAKE_REQUIRED_QUIET ON)
    check_source_runs(CXX [[
        int target = 7;
        int* volatile pointer = &target;
        int main() { return *pointer == 7 ? 0 : 1; }
    ]] AVMANAGER_PACKED_RELOCATIONS)
endfunction()

function(avmanager_start_fast target)
    avmanager_check_packed_relocations()
    if(AVMANAGER_PACKED_RELOCATIONS)
        target_link_options(${target} PRIVATE -Wl,-z,pack-relative-relocs)
    endif()
endfunction()
