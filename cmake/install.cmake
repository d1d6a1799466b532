# What a host installs: the library, its headers and package files, and the command-line tool.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/rtc_transcoder)
install(TARGETS rtc_transcoder EXPORT rtc_transcoder_targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev)
get_property(public_headers GLOBAL PROPERTY KX_PUBLIC_HEADERS)
foreach(header IN LISTS public_headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${PROJECT_SOURCE_DIR}/${header}
          DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder} COMPONENT dev)
endforeach()

install(EXPORT rtc_transcoder_targets NAMESPACE rtc_transcoder:: DESTINATION ${package_folder}
        COMPONENT dev)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/rtc_transcoder-config.cmake.in rtc_transcoder-config.cmake
  INSTALL_DESTINATION ${package_folder}
  NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# Before version 1 a minor release may change the interface.
write_basic_package_version_file(rtc_transcoder-config-version.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES
          ${CMAKE_CURRENT_BINARY_DIR}/rtc_transcoder-config.cmake
          ${CMAKE_CURRENT_BINARY_DIR}/rtc_transcoder-config-version.cmake
        DESTINATION ${package_folder} COMPONENT dev)

# The path back to the prefix keeps the file right wherever the tree is moved to.
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
           BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pkgconfig_folder} OUTPUT_VARIABLE up_to_prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/rtc_transcoder.pc.in rtc_transcoder.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/rtc_transcoder.pc DESTINATION ${pkgconfig_folder}
        COMPONENT dev)

if(TARGET kxrtc)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR
             BASE_DIRECTORY ${CMAKE_INSTALL_FULL_BINDIR} OUTPUT_VARIABLE bin_to_lib)
  set_target_properties(kxrtc PROPERTIES INSTALL_RPATH "$ORIGIN/${bin_to_lib}")
  install(TARGETS kxrtc DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
endif()

# Debian packages: cpack in the build folder.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The rtc_transcoder developers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library dev)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME librtc-transcoder${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION
    "Turns the speaker record of a conference into samples for an MP4 writer")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME librtc-transcoder-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION}), libjsoncpp-dev")
set(CPACK_COMPONENT_DEV_DESCRIPTION "Headers and package files of the rtc_transcoder library")
if(TARGET kxrtc)
  list(APPEND CPACK_COMPONENTS_ALL tool)
  set(CPACK_DEBIAN_TOOL_PACKAGE_NAME kxrtc)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION video)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS
      "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/rtc_transcoder/api)
  set(CPACK_COMPONENT_TOOL_DESCRIPTION "Command-line tool for speaker records")
endif()
include(CPack)
