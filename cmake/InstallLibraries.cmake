# What a tool needs that links the libraries: headers, archives, and what CMake and pkg-config look
# for.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# In another project the libraries are the component `zarnic`, which is left out unless it is asked
# for. What that project exports may stand on them.
set(development COMPONENT development)
if(NOT PROJECT_IS_TOP_LEVEL)
    set(development COMPONENT zarnic EXCLUDE_FROM_ALL)
endif()

# The libraries, for CMake: find_package(zarnic COMPONENTS sys), target zarnic::sys.
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zarnic")
install(TARGETS zarnic_error zarnic_opt zarnic_sys zarnic_conf EXPORT zarnic
    ARCHIVE ${development}
    FILE_SET HEADERS ${development})
install(EXPORT zarnic NAMESPACE zarnic:: FILE zarnic-targets.cmake
    DESTINATION "${package_dir}" ${development})
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zarnic-config-version.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES cmake/zarnic-config.cmake "${PROJECT_BINARY_DIR}/zarnic-config-version.cmake"
    DESTINATION "${package_dir}" ${development})

# The compiler's own form in the archives fits one release of one compiler; any other stops at it.
if(AVMANAGER_LTO)
    install(CODE "
        set(folder \"${CMAKE_INSTALL_LIBDIR}\")
        cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
        file(GLOB archives \"\$ENV{DESTDIR}\${folder}/libzarnic-*.a\")
        execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND \"${CMAKE_STRIP}\"
            --enable-deterministic-archives --preserve-dates --wildcard --strip-symbol=__gnu_lto_*
            --remove-section=.gnu.lto_* --remove-section=.gnu.debuglto_* \${archives})"
        ${development})
endif()

# And for everybody else: pkg-config zarnic-sys. In a package (DESTDIR), and where systems keep what
# is theirs, the paths are plain, and pkg-config leaves out those that are searched without it. In
# any other tree they begin at the file's own folder, so that the tree may be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX OUTPUT_VARIABLE UP
    BASE_DIRECTORY "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig")
file(RELATIVE_PATH LIBDIR "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_LIBDIR}")
file(RELATIVE_PATH INCLUDEDIR "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
install(CODE "
    set(PREFIX \"\\\${pcfiledir}/${UP}\")
    if(NOT \"\$ENV{DESTDIR}\" STREQUAL \"\" OR CMAKE_INSTALL_PREFIX MATCHES \"^/usr(/local)?/?\$\")
        set(PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    endif()
    set(folder \"${CMAKE_INSTALL_LIBDIR}/pkgconfig\")
    cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
    # A build may be installed to two places at once.
    string(RANDOM LENGTH 16 unique)
    set(unique \"${PROJECT_BINARY_DIR}/\${unique}\")"
    ${development})
set(PREFIX "@PREFIX@") # as known when it is installed
function(avmanager_pkg_config LIBRARY DESCRIPTION REQUIRES)
    set(file "${PROJECT_BINARY_DIR}/zarnic-${LIBRARY}.pc.in")
    configure_file(cmake/zarnic.pc.in "${file}" @ONLY)
    install(CODE "
        configure_file(\"${file}\" \"\${unique}/zarnic-${LIBRARY}.pc\" @ONLY)
        file(INSTALL \"\${unique}/zarnic-${LIBRARY}.pc\" DESTINATION \"\${folder}\")"
        ${development})
endfunction()
avmanager_pkg_config(error "Errors of the panel's tools (C++20)" "")
avmanager_pkg_config(opt "Command-line options of the panel's tools (C++20)" zarnic-error)
avmanager_pkg_config(sys "Child programs without a shell (C++20)" zarnic-error)
avmanager_pkg_config(conf "The panel's configuration and diagnostics (C++11)" "")
install(CODE "file(REMOVE_RECURSE \"\${unique}\")" ${development})
