# What is installed, and where: header, library, pkg-config file and CMake package, all found from where they lie, so
# that an installed tree can be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(cmake_package ${CMAKE_INSTALL_LIBDIR}/cmake/qxpixlib)

install(FILES include/qxpixlib.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS qxpixlib EXPORT qxpixlib)
install(EXPORT qxpixlib NAMESPACE qxpixlib:: FILE qxpixlib-config.cmake DESTINATION ${cmake_package})
write_basic_package_version_file(qxpixlib-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qxpixlib-config-version.cmake DESTINATION ${cmake_package})

if(WIN32)
  install(FILES ${def_file} ${PROJECT_BINARY_DIR}/qxpixlib.lib DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(FILES README.md LICENSE CHANGELOG.md DESTINATION .)
else()
  set(pc_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
  file(RELATIVE_PATH up_from_pc /${pc_folder} /)
  string(REGEX REPLACE "/$" "" up_from_pc ${up_from_pc})
  configure_file(packaging/qxpixlib.pc.in qxpixlib.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/qxpixlib.pc DESTINATION ${pc_folder})
endif()

set(CPACK_PACKAGE_NAME qxpixlib)
set(CPACK_PACKAGE_FILE_NAME qxpixlib-${PROJECT_VERSION}-win32)
set(CPACK_GENERATOR ZIP)
include(CPack)
