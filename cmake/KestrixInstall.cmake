# Installs the libraries, their public headers, the program and its documents, the CMake package and the pkg-config
# file, and packs all of it into a Debian package.
include(CMakePackageConfigHelpers)

foreach(header entry/kestrix.h stack/stack_util.h util/export.h util/file_util.h util/sha256_util.h util/string_util.h)
  cmake_path(GET header PARENT_PATH room)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kestrix/${room})
endforeach()
if(TARGET kestrix_program)
  install(TARGETS kestrix_program)
  install(FILES docs/checks.md docs/editors.md docs/fleet.md docs/live.md docs/rules.md
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/kestrix)  # the first is what findings link to
endif()

# The static library is a part of its own: only its callers need the libraries that it is built on.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Kestrix)
install(TARGETS kestrix EXPORT KestrixTargets)
install(TARGETS kestrix_static EXPORT KestrixStaticTargets)
foreach(part "" Static)
  install(EXPORT Kestrix${part}Targets NAMESPACE Kestrix:: DESTINATION ${package_dir})
endforeach()
configure_package_config_file(cmake/KestrixConfig.cmake.in ${PROJECT_BINARY_DIR}/KestrixConfig.cmake
  INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KestrixConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KestrixConfig.cmake ${PROJECT_BINARY_DIR}/KestrixConfigVersion.cmake
              cmake/FindAndroidLibs.cmake
        DESTINATION ${package_dir})

set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkgconfig_dir}
  OUTPUT_VARIABLE prefix_from_pkgconfig)
cmake_path(GET Android_log_LIBRARY PARENT_PATH android_dir)
configure_file(cmake/kestrix.pc.in ${PROJECT_BINARY_DIR}/kestrix.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kestrix.pc DESTINATION ${pkgconfig_dir})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kestrix)
set(CPACK_PACKAGE_CONTACT "Kestrix maintainers")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "libjsoncpp-dev, libssl-dev, android-liblog-dev, android-libbase-dev")  # static library
include(CPack)
