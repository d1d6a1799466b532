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
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/schema DESTINATION ${CMAKE_INSTALL_DATADIR}/kxrtc
          COMPONENT tool FILES_MATCHING PATTERN *.json)
  get_target_property(manual_folder kxrtc_manual_pages MANUAL_FOLDER)
  install(DIRECTORY ${manual_folder}/ DESTINATION ${CMAKE_INSTALL_DATADIR} COMPONENT tool)
endif()

include(${PROJECT_SOURCE_DIR}/packaging/debian.cmake)
