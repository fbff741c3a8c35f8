# What `cmake --install` puts where. Two components, so that a host gets the program alone:
# `program`, and `development` for whoever links the libraries.

include(GNUInstallDirs)

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

install(DIRECTORY examples/ DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT development
    FILES_MATCHING PATTERN "*.cpp" PATTERN "*.expected" PATTERN CMakeLists.txt
    PATTERN clamd EXCLUDE PATTERN server EXCLUDE)
