# What `cmake --install` puts where. Components, so that a host gets what it needs alone: `program`,
# `development` for whoever links the libraries, and `collection` for the host that Ansible runs on.

include(GNUInstallDirs)

install(TARGETS avmanager RUNTIME DESTINATION "${CMAKE_INSTALL_SBINDIR}" COMPONENT program)
install(FILES manual/avmanager.8 DESTINATION "${CMAKE_INSTALL_MANDIR}/man8" COMPONENT program)
install(FILES manual/zrc.conf.5 DESTINATION "${CMAKE_INSTALL_MANDIR}/man5" COMPONENT program)
install(FILES completions/avmanager.bash RENAME avmanager COMPONENT program
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
install(FILES completions/_avmanager COMPONENT program
    DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
install(FILES CHANGELOG.md LICENSE docs/messages.md docs/operations.md docs/security.md
    TYPE DOC COMPONENT program)
install(PROGRAMS examples/check-aveserver examples/panel-start COMPONENT program
    DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples")
install(FILES examples/60-avmanager.conf COMPONENT program
    DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples")

install(DIRECTORY examples/ DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples" COMPONENT development
    FILES_MATCHING PATTERN "*.cpp" PATTERN "*.expected" PATTERN CMakeLists.txt
    PATTERN clamd EXCLUDE PATTERN server EXCLUDE)

# Left out unless it is asked for.
set(collection COMPONENT collection EXCLUDE_FROM_ALL)
install(DIRECTORY fleet/ ${collection}
    DESTINATION "${CMAKE_INSTALL_DATADIR}/ansible/collections/ansible_collections/zarnic/avmanager"
    FILES_MATCHING PATTERN "*.cfg" PATTERN "*.md" PATTERN "*.py" PATTERN "*.yml"
    PATTERN tests EXCLUDE PATTERN __pycache__ EXCLUDE)
install(FILES docs/fleet.md TYPE DOC ${collection})
