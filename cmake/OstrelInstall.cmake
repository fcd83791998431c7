# The install: library, headers, CMake package, pkg-config file. All of it can be moved as a whole.
include(CMakePackageConfigHelpers)

set(OSTREL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ostrel)

install(TARGETS ostrel EXPORT ostrelTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(
  DIRECTORY include/ostrel
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING
  PATTERN "*.h")
install(
  EXPORT ostrelTargets
  NAMESPACE ostrel::
  DESTINATION ${OSTREL_CMAKE_DIR})

configure_package_config_file(
  cmake/ostrelConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/ostrelConfig.cmake
  INSTALL_DESTINATION ${OSTREL_CMAKE_DIR})
write_basic_package_version_file(
  ${CMAKE_CURRENT_BINARY_DIR}/ostrelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ostrelConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/ostrelConfigVersion.cmake
        DESTINATION ${OSTREL_CMAKE_DIR})

# From the directory of the .pc file to the prefix, so that a moved install still finds itself.
file(RELATIVE_PATH OSTREL_PC_TO_PREFIX
     ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" OSTREL_PC_TO_PREFIX "${OSTREL_PC_TO_PREFIX}")
configure_file(cmake/ostrel.pc.in ${CMAKE_CURRENT_BINARY_DIR}/ostrel.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/ostrel.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
