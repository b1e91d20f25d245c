# SPDX-License-Identifier: Apache-2.0
# cmake --install: the library, its headers, a pkg-config file and a CMake package, so a firmware
# build finds it either way (pkg-config --libs libDiagnosticPanel, or find_package); and the
# diagpanel(1) man page when Docs.cmake makes it.
include(CMakePackageConfigHelpers)

install(TARGETS DiagnosticPanel EXPORT DiagnosticPanelTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/diagpanel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

install(EXPORT DiagnosticPanelTargets NAMESPACE DiagnosticPanel::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/DiagnosticPanel)
configure_package_config_file(cmake/DiagnosticPanelConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/DiagnosticPanelConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/DiagnosticPanel)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/DiagnosticPanelConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/DiagnosticPanelConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/DiagnosticPanelConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/DiagnosticPanel)

# Relocatable: the prefix is found from the .pc file's own place, so `cmake --install --prefix`
# and staging into a firmware image both work.
file(RELATIVE_PATH DIAGPANEL_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" DIAGPANEL_PC_TO_PREFIX "${DIAGPANEL_PC_TO_PREFIX}")
configure_file(cmake/libDiagnosticPanel.pc.in ${CMAKE_CURRENT_BINARY_DIR}/libDiagnosticPanel.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/libDiagnosticPanel.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# OPTIONAL: a build of only some targets (the library, a test) still installs.
if(DIAGPANEL_MAN_PAGE)
  install(FILES ${DIAGPANEL_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 OPTIONAL)
endif()
