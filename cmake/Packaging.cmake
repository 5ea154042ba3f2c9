# Installation in the GNU layout, the CMake package KorAutoUpdate, the
# pkg-config file korautoupdate.pc, the man pages and the Debian package.
include(CMakePackageConfigHelpers)

set(KAU_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KorAutoUpdate)

# The consumer sees the public header and gets Qt Widgets with the library.
target_include_directories(korautoupdate INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(korautoupdate INTERFACE Qt6::Widgets)
set_target_properties(korautoupdate PROPERTIES EXPORT_NAME korautoupdate)
add_library(KorAutoUpdate::korautoupdate ALIAS korautoupdate)

# Installed programs find the library relative to themselves, so that any
# prefix works without LD_LIBRARY_PATH.
file(RELATIVE_PATH kau_lib_from_bin /p/${CMAKE_INSTALL_BINDIR} /p/${CMAKE_INSTALL_LIBDIR})
set(kau_programs KorAutoInstall)
if(TARGET korautoupdate_example)
  list(APPEND kau_programs korautoupdate_example)
endif()
set_target_properties(${kau_programs} PROPERTIES INSTALL_RPATH "$ORIGIN/${kau_lib_from_bin}")

install(TARGETS korautoupdate EXPORT KorAutoUpdateTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development)
install(FILES ${PROJECT_SOURCE_DIR}/include/korautoupdate.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)
install(TARGETS ${kau_programs} korautoupdate_cli
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Runtime)
install(TARGETS korautoupdate_html
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/korautoupdate COMPONENT Runtime)
install(FILES ${PROJECT_SOURCE_DIR}/man/korautoupdate.1 ${PROJECT_SOURCE_DIR}/man/KorAutoInstall.1
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Runtime)

install(EXPORT KorAutoUpdateTargets NAMESPACE KorAutoUpdate::
  DESTINATION ${KAU_CMAKE_PACKAGE_DIR} COMPONENT Development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/KorAutoUpdateConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KorAutoUpdateConfig.cmake INSTALL_DESTINATION ${KAU_CMAKE_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KorAutoUpdateConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KorAutoUpdateConfig.cmake
  ${PROJECT_BINARY_DIR}/KorAutoUpdateConfigVersion.cmake
  DESTINATION ${KAU_CMAKE_PACKAGE_DIR} COMPONENT Development)

# pkg-config: the prefix is found from the file's own place, so that any
# install prefix (and a moved tree) works.
file(RELATIVE_PATH KAU_PREFIX_FROM_PCDIR /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p)
configure_file(${CMAKE_CURRENT_LIST_DIR}/korautoupdate.pc.in
  ${PROJECT_BINARY_DIR}/korautoupdate.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/korautoupdate.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT Development)

# cpack -G DEB: one package with everything; dependencies from dpkg-shlibdeps,
# which finds the package's own library through the programs' $ORIGIN RPATH.
set(CPACK_PACKAGE_NAME korautoupdate)
set(CPACK_PACKAGE_VENDOR Korvane)
set(CPACK_PACKAGE_CONTACT "Korvane <support@korvane.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Software-update library for Qt desktop applications")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL OFF)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_STRIP_FILES ON) # the debug information stays in the build tree
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_GENERATOR DEB)
include(CPack)
