# The installed package: `find_package(contactmgr)` gives contactmgr::contactmgr, and with the
# component `static` contactmgr::contactmgr_static too.

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/contactmgr")
install(TARGETS contactmgr EXPORT contactmgr-shared
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/contactmgr")
install(TARGETS contactmgr_static EXPORT contactmgr-static
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/contactmgr")
install(EXPORT contactmgr-shared NAMESPACE contactmgr:: DESTINATION "${package_dir}")
install(EXPORT contactmgr-static NAMESPACE contactmgr:: DESTINATION "${package_dir}")

configure_file("${PROJECT_SOURCE_DIR}/cmake/contactmgr-config-version.cmake.in"
    contactmgr-config-version.cmake @ONLY)
install(FILES
    "${PROJECT_SOURCE_DIR}/cmake/contactmgr-config.cmake"
    "${PROJECT_BINARY_DIR}/contactmgr-config-version.cmake"
    DESTINATION "${package_dir}")

# The prefix is known at the installation alone, which may be given another one.
install(CODE "
    set(CMAKE_INSTALL_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
    set(CMAKE_INSTALL_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
    set(PROJECT_DESCRIPTION \"${PROJECT_DESCRIPTION}\")
    set(PROJECT_VERSION \"${PROJECT_VERSION}\")
    configure_file(\"${PROJECT_SOURCE_DIR}/cmake/contactmgr.pc.in\"
        \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig/contactmgr.pc\"
        @ONLY)")

install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(FILES "${PROJECT_SOURCE_DIR}/man/libcontactmgr.3"
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man3")

if(CONTACTMGR_BUILD_TOOLS)
    install(TARGETS contactmgr_tool RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
    install(FILES "${PROJECT_SOURCE_DIR}/man/contactmgr-json.5"
        DESTINATION "${CMAKE_INSTALL_MANDIR}/man5")
    file(GLOB command_pages CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/man/*.1")
    # A page for several commands is found under the name of each.
    foreach(link show:list query:list new:set edit:set delete:set duplicates:merge export:import
            watch:changes poll:changes)
        string(REPLACE ":" ";" names ${link})
        list(GET names 0 command)
        list(GET names 1 page)
        file(WRITE "${PROJECT_BINARY_DIR}/man/contactmgr-${command}.1"
            ".so man1/contactmgr-${page}.1\n")
        list(APPEND command_pages "${PROJECT_BINARY_DIR}/man/contactmgr-${command}.1")
    endforeach()
    install(FILES ${command_pages} DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
    install(FILES "${PROJECT_SOURCE_DIR}/completion/contactmgr.bash" RENAME contactmgr
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
    install(FILES "${PROJECT_SOURCE_DIR}/completion/_contactmgr"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
endif()
