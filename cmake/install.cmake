# What a host installs: the library, its headers and package files; likewise the reference MP4 writer;
# and the command-line tool.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/rtc_transcoder)
install(TARGETS rtc_transcoder EXPORT rtc_transcoder_targets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT dev)

# install_headers(<property> <component>)
# The headers of that list (kx_list_public_headers), under the paths by which they include each other.
function(install_headers property component)
  get_property(headers GLOBAL PROPERTY ${property})
  foreach(header IN LISTS headers)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES ${PROJECT_SOURCE_DIR}/${header}
            DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder} COMPONENT ${component})
  endforeach()
endfunction()
install_headers(KX_PUBLIC_HEADERS dev)

install(EXPORT rtc_transcoder_targets NAMESPACE rtc_transcoder:: DESTINATION ${package_folder}
        COMPONENT dev)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/rtc_transcoder-config.cmake.in rtc_transcoder-config.cmake
  INSTALL_DESTINATION ${package_folder}
  NO_SET_AND_CHECK_MACRO)
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

# Each host library is a component of the package: its targets are a file of their own.
set(mp4_writer_description "The reference MP4 writer of rtc_transcoder, on FFmpeg's libraries")
set(speaker_timeline_description "Writes and reads who speaks, beside a record of rtc_transcoder")
get_property(host_libraries GLOBAL PROPERTY KX_HOST_LIBRARIES)
foreach(component IN LISTS host_libraries)
  set(name rtc_transcoder_${component})
  set(description ${${component}_description})
  set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${name} EXPORT ${name}_targets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT ${component}
                  NAMELINK_COMPONENT ${component}_dev)
  install_headers(KX_${component}_HEADERS ${component}_dev)
  install(EXPORT ${name}_targets NAMESPACE rtc_transcoder:: DESTINATION ${package_folder}
          COMPONENT ${component}_dev)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/host_library.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc
          DESTINATION ${pkgconfig_folder} COMPONENT ${component}_dev)
endforeach()

if(TARGET kxrtc)
  install(TARGETS kxrtc DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  install(TARGETS kxrtc_media LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/kxrtc COMPONENT tool)
endif()

# Debian packages: cpack in the build folder.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "The rtc_transcoder developers")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL library dev)
# Where the libraries lie that one package of ours needs of another.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/rtc_transcoder/api)
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
set(CPACK_COMPONENT_MP4_WRITER_DESCRIPTION
    "MP4 writer for the rtc_transcoder library, on FFmpeg, which Debian builds under the GPL")
set(CPACK_COMPONENT_SPEAKER_TIMELINE_DESCRIPTION
    "Writes and reads who speaks in a conference, beside its speaker record")
foreach(component IN LISTS host_libraries)
  string(TOUPPER ${component} key)
  string(REPLACE _ - package librtc-transcoder-${component})
  list(APPEND CPACK_COMPONENTS_ALL ${component} ${component}_dev)
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${package}${PROJECT_VERSION_MAJOR})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_${key}_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_${key}_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS
      "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_${key}_DEV_PACKAGE_NAME ${package}-dev)
  set(CPACK_DEBIAN_${key}_DEV_PACKAGE_SECTION libdevel)
  string(CONCAT CPACK_DEBIAN_${key}_DEV_PACKAGE_DEPENDS
         "${package}${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION}), "
         "${CPACK_DEBIAN_DEV_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  set(CPACK_COMPONENT_${key}_DEV_DESCRIPTION
      "Headers and package files: ${CPACK_COMPONENT_${key}_DESCRIPTION}")
endforeach()
if(TARGET kxrtc)
  list(APPEND CPACK_COMPONENTS_ALL tool)
  set(CPACK_DEBIAN_TOOL_PACKAGE_NAME kxrtc)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION video)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS
      "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  set(CPACK_COMPONENT_TOOL_DESCRIPTION "Command-line tool for speaker records")
endif()
include(CPack)
