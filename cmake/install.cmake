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

# The writer is a component of the package: its targets are a file of their own.
if(TARGET rtc_transcoder_mp4_writer)
  set_target_properties(rtc_transcoder_mp4_writer PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS rtc_transcoder_mp4_writer EXPORT rtc_transcoder_mp4_writer_targets
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT mp4_writer
                  NAMELINK_COMPONENT mp4_writer_dev)
  install_headers(KX_MP4_WRITER_HEADERS mp4_writer_dev)
  install(EXPORT rtc_transcoder_mp4_writer_targets NAMESPACE rtc_transcoder::
          DESTINATION ${package_folder} COMPONENT mp4_writer_dev)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/rtc_transcoder_mp4_writer.pc.in
                 rtc_transcoder_mp4_writer.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/rtc_transcoder_mp4_writer.pc
          DESTINATION ${pkgconfig_folder} COMPONENT mp4_writer_dev)
endif()

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
if(TARGET rtc_transcoder_mp4_writer)
  list(APPEND CPACK_COMPONENTS_ALL mp4_writer mp4_writer_dev)
  set(CPACK_DEBIAN_MP4_WRITER_PACKAGE_NAME librtc-transcoder-mp4-writer${PROJECT_VERSION_MAJOR})
  set(CPACK_DEBIAN_MP4_WRITER_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_MP4_WRITER_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_MP4_WRITER_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_MP4_WRITER_PACKAGE_DEPENDS
      "${CPACK_DEBIAN_LIBRARY_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  set(CPACK_COMPONENT_MP4_WRITER_DESCRIPTION
      "MP4 writer for the rtc_transcoder library, on FFmpeg, which Debian builds under the GPL")
  set(CPACK_DEBIAN_MP4_WRITER_DEV_PACKAGE_NAME librtc-transcoder-mp4-writer-dev)
  set(CPACK_DEBIAN_MP4_WRITER_DEV_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_MP4_WRITER_DEV_PACKAGE_DEPENDS
      "${CPACK_DEBIAN_MP4_WRITER_PACKAGE_NAME} (= ${PROJECT_VERSION})"
      "${CPACK_DEBIAN_DEV_PACKAGE_NAME} (= ${PROJECT_VERSION})")
  list(JOIN CPACK_DEBIAN_MP4_WRITER_DEV_PACKAGE_DEPENDS ", " CPACK_DEBIAN_MP4_WRITER_DEV_PACKAGE_DEPENDS)
  set(CPACK_COMPONENT_MP4_WRITER_DEV_DESCRIPTION
      "Headers and package files of the rtc_transcoder library's MP4 writer")
endif()
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
