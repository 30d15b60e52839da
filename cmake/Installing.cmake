# The installed package: `find_package(contactmgr)` gives contactmgr::contactmgr, and with the
# component `static` contactmgr::contactmgr_static too.
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/contactmgr")
install(TARGETS contactmgr EXPORT contactmgr-shared
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/contactmgr")
install(TARGETS contactmgr_static EXPORT contactmgr-static
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/contactmgr")
install(EXPORT contactmgr-shared NAMESPACE contactmgr:: DESTINATION "${package_dir}")
install(EXPORT contactmgr-static NAMESPACE contactmgr:: DESTINATION "${package_dir}")

write_basic_package_version_file(contactmgr-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES
    "${PROJECT_SOURCE_DIR}/cmake/contactmgr-config.cmake"
    "${PROJECT_BINARY_DIR}/contactmgr-config-version.cmake"
    DESTINATION "${package_dir}")

if(CONTACTMGR_BUILD_TOOLS)
    install(TARGETS contactmgr_tool RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()
