# cmake --install: the program for all users, in the folders of GNUInstallDirs. The prefix can be given at that time.
install(TARGETS Pellora pelloractl pellora-browser-host pellora-preview pellora-unpack
        RUNTIME DESTINATION ${PELLORA_INSTALL_PROGRAM})
install(DIRECTORY ${PELLORA_FOLDER}/ DESTINATION ${PELLORA_INSTALL_DATA}/languages
        FILES_MATCHING PATTERN "*.txt" PATTERN browser EXCLUDE)
install(DIRECTORY ${PELLORA_FOLDER}/browser DESTINATION ${PELLORA_INSTALL_DATA})

set(shared ${PROJECT_SOURCE_DIR}/assets/desktop)
install(FILES ${shared}/org.pelloraproject.pellora.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${shared}/org.pelloraproject.pellora.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(DIRECTORY ${shared}/hicolor DESTINATION ${CMAKE_INSTALL_DATADIR}/icons)
install(FILES ${shared}/completions/pelloractl.bash RENAME pelloractl
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES ${shared}/completions/pellora.bash RENAME pellora
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES ${shared}/completions/pelloractl.fish ${shared}/completions/pellora.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
install(FILES docs/man/pellora.1 docs/man/pelloractl.1 docs/man/pellora-browser-host.1 docs/man/pellora-preview.1
              docs/man/pellora-unpack.1
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)

# What names the prefix or lies outside of it is written when the prefix is known.
install(CODE "set(PELLORA_PROGRAM \"${PELLORA_INSTALL_PROGRAM}\")
set(PELLORA_DATA \"${PELLORA_INSTALL_DATA}\")
set(PELLORA_BIN \"${CMAKE_INSTALL_BINDIR}\")
set(PELLORA_SHARE \"${CMAKE_INSTALL_DATADIR}\")
set(PELLORA_ETC \"${CMAKE_INSTALL_SYSCONFDIR}\")
set(PELLORA_TEMPLATES \"${shared}\")")
install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/InstallForPrefix.cmake)
