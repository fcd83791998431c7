# The reference of the public headers, by scripts/reference. Component `reference` of the install.
find_program(OSTREL_DOXYGEN doxygen REQUIRED)

set(OSTREL_REFERENCE_DIR ${PROJECT_BINARY_DIR}/reference)
file(GLOB OSTREL_REFERENCE_SOURCES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/ostrel/*.h
     ${PROJECT_SOURCE_DIR}/docs/*.md ${PROJECT_SOURCE_DIR}/docs/doxygen/*)

add_custom_command(
  OUTPUT ${OSTREL_REFERENCE_DIR}/html/index.html
  COMMAND ${PROJECT_SOURCE_DIR}/scripts/reference ${OSTREL_REFERENCE_DIR}
  DEPENDS ${PROJECT_SOURCE_DIR}/CMakeLists.txt ${PROJECT_SOURCE_DIR}/scripts/reference
          ${OSTREL_REFERENCE_SOURCES}
  COMMENT "Building the reference"
  VERBATIM)
add_custom_target(ostrel_reference ALL DEPENDS ${OSTREL_REFERENCE_DIR}/html/index.html)

# The library's name, not the project's: others may call a package ostrel too.
set(OSTREL_HTML_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/libostrel)
install(
  DIRECTORY ${OSTREL_REFERENCE_DIR}/html
  DESTINATION ${OSTREL_HTML_DIR}
  COMPONENT reference)
install(
  DIRECTORY ${OSTREL_REFERENCE_DIR}/man/man3
  DESTINATION ${CMAKE_INSTALL_MANDIR}
  COMPONENT reference)
