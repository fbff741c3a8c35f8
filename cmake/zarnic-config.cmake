# find_package(zarnic COMPONENTS ...) gives the targets zarnic::error, zarnic::opt, zarnic::sys and
# zarnic::conf. All of them come together; a component that is none of them counts as not found.

include("${CMAKE_CURRENT_LIST_DIR}/zarnic-targets.cmake")

foreach(component IN LISTS zarnic_FIND_COMPONENTS)
    if(TARGET zarnic::${component})
        set(zarnic_${component}_FOUND TRUE)
    elseif(zarnic_FIND_REQUIRED_${component})
        set(zarnic_FOUND FALSE)
        set(zarnic_NOT_FOUND_MESSAGE "zarnic has no component ${component}")
    endif()
endforeach()
