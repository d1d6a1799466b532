# The target `documentation` makes the reference pages of the public headers and the guides, as one site.
# scripts/docs.sh builds it and checks its links.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  return()
endif()

set(KX_SITE ${PROJECT_BINARY_DIR}/site)
kx_get_public_headers(KX_SITE_INPUT)
list(APPEND KX_SITE_INPUT docs README.md CHANGELOG.md CONTRIBUTING.md)
list(JOIN KX_SITE_INPUT " " KX_SITE_INPUT)
configure_file(${PROJECT_SOURCE_DIR}/docs/site/Doxyfile.in ${KX_SITE}/Doxyfile @ONLY)
add_custom_target(documentation
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${KX_SITE}/html
  COMMAND Doxygen::doxygen ${KX_SITE}/Doxyfile
  COMMAND ${CMAKE_COMMAND} -E copy_directory docs/schema ${KX_SITE}/html/schema
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  VERBATIM)
