# What `cmake --install` puts where. Two components, so that a host gets the program alone:
# `program`, and `development` for whoever links the libraries.

include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS avmanager RUNTIME DESTINATION "${CMAKE_INSTALL_SBINDIR}" COMPONENT program)
install(FILES manual/avmanager.8 DESTINATION "${CMAKE_INSTALL_MANDIR}/man8" COMPONENT program)
install(FILES manual/zrc.conf.5 DESTINATION "${CMAKE_INSTALL_MANDIR}/man5" COMPONENT program)
install(FILES completions/avmanager.bash RENAME avmanager COMPONENT program
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
install(FILES completions/_avmanager COMPONENT program
    DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
install(FILES CHANGELOG.md LICENSE TYPE DOC COMPONENT program)
install(DIRECTORY docs/ TYPE DOC COMPONENT program
    FILES_MATCHING PATTERN "*.md" PATTERN "*.svg"
    PATTERN site EXCLUDE)

# The libraries, for CMake: find_package(zarnic COMPONENTS sys), target zarnic::sys.
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zarnic")
install(TARGETS zarnic_error zarnic_opt zarnic_sys zarnic_conf EXPORT zarnic
    ARCHIVE COMPONENT development
    FILE_SET HEADERS COMPONENT development)
install(EXPORT zarnic NAMESPACE zarnic:: FILE zarnic-targets.cmake
    DESTINATION "${package_dir}" COMPONENT development)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zarnic-config-version.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES cmake/zarnic-config.cmake "${PROJECT_BINARY_DIR}/zarnic-config-version.cmake"
    DESTINATION "${package_dir}" COMPONENT development)

install(DIRECTORY examples/ DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT development
    FILES_MATCHING PATTERN "*.cpp" PATTERN "*.expected" PATTERN CMakeLists.txt
    PATTERN server EXCLUDE)

# The compiler's own form in the archives fits one release of one compiler; any other stops at it.
if(AVMANAGER_LTO)
    install(CODE "
        set(folder \"${CMAKE_INSTALL_LIBDIR}\")
        cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY \"\${CMAKE_INSTALL_PREFIX}\")
        file(GLOB archives \"\$ENV{DESTDIR}\${folder}/libzarnic-*.a\")
        execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND \"${CMAKE_STRIP}\"
            --enable-deterministic-archives --preserve-dates --wildcard --strip-symbol=__gnu_lto_*
            --remove-section=.gnu.lto_* --remove-section=.gnu.debuglto_* \${archives})"
        COMPONENT development)
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
    endif()"
    COMPONENT development)
set(PREFIX "@PREFIX@") # as known when it is installed
function(avmanager_pkg_config LIBRARY DESCRIPTION REQUIRES)
    set(file "${PROJECT_BINARY_DIR}/zarnic-${LIBRARY}.pc")
    configure_file(cmake/zarnic.pc.in "${file}.in" @ONLY)
    install(CODE "configure_file(\"${file}.in\" \"${file}\" @ONLY)" COMPONENT development)
    install(FILES "${file}"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)
endfunction()
avmanager_pkg_config(error "Errors of the panel's tools (C++20)" "")
avmanager_pkg_config(opt "Command-line options of the panel's tools (C++20)" zarnic-error)
avmanager_pkg_config(sys "Child programs without a shell (C++20)" zarnic-error)
avmanager_pkg_config(conf "The panel's configuration and diagnostics (C++11)" "")
