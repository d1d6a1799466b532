# Debian packages: cpack in the build folder. docs/packages.md says what is in each.
set(package_files ${PROJECT_BINARY_DIR}/packaging)

# describe_package(<component> <package> <section> <synopsis> <paragraph>)
# Debian wants the description, and what goes below share/doc, in every package.
macro(describe_package component package section synopsis paragraph)
  string(TOUPPER ${component} key)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${key}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${key}_DESCRIPTION "${synopsis}\n${paragraph}")
  set(package ${package})  # For the template.
  configure_file(${PROJECT_SOURCE_DIR}/packaging/changelog.in ${package_files}/${package}/changelog @ONLY)
  execute_process(COMMAND gzip -9 --no-name --force ${package_files}/${package}/changelog
                  COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${package_files}/${package}/changelog.gz ${PROJECT_SOURCE_DIR}/packaging/copyright
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
  if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/lintian_overrides/${component})
    install(FILES ${PROJECT_SOURCE_DIR}/packaging/lintian_overrides/${component}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package}
            COMPONENT ${component})
  endif()
endmacro()

# describe_library(<target> <component> <dev component> <package> <synopsis> <paragraph>)
# Two packages: the library with its version in the name, and what a host compiles against.
macro(describe_library target component dev_component package synopsis paragraph)
  set(runtime ${package}${PROJECT_VERSION_MAJOR})
  describe_package(${component} ${runtime} libs ${synopsis} ${paragraph})
  set(CPACK_DEBIAN_${key}_PACKAGE_SHLIBDEPS ON)
  # Before version 1 a minor release may change the interface, so a user needs this very version.
  file(CONFIGURE OUTPUT ${package_files}/${runtime}/shlibs @ONLY
       CONTENT "lib${target} ${PROJECT_VERSION_MAJOR} ${runtime} (= ${PROJECT_VERSION})\n")
  set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA ${package_files}/${runtime}/shlibs
      ${PROJECT_SOURCE_DIR}/packaging/triggers)
  describe_package(${dev_component} ${package}-dev libdevel "${synopsis} (development files)"
    "${paragraph}\n.\nThis package has the headers, and the files for CMake and pkg-config.")
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS "${runtime} (= ${PROJECT_VERSION})")
endmacro()

set(CPACK_GENERATOR DEB)
set(RTC_TRANSCODER_PACKAGE_CONTACT "rtc_transcoder developers <rtc-transcoder@example.org>"
    CACHE STRING "Who answers for the Debian packages")
set(CPACK_PACKAGE_CONTACT "${RTC_TRANSCODER_PACKAGE_CONTACT}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL "")
# Where the libraries lie that one package of ours needs of another.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/rtc_transcoder/api)

describe_library(rtc_transcoder library dev librtc-transcoder
  "replays the speaker record of a conference"
  "The library records the active speaker of a conference from media that is
already encoded, and turns such a record into samples for an MP4 writer. It
encodes and decodes nothing.")
string(APPEND CPACK_DEBIAN_DEV_PACKAGE_DEPENDS ", libjsoncpp-dev")

set(mp4_writer_synopsis "MP4 writer for rtc_transcoder")
set(mp4_writer_paragraph "The MP4 writer of a host that transcodes speaker records with
rtc_transcoder. It stands on FFmpeg's libraries, which Debian builds under
the GPL.")
set(speaker_timeline_synopsis "who speaks, beside a record of rtc_transcoder")
set(speaker_timeline_paragraph "Writes and reads the names of the people of a conference, and
who was heard and seen when, in a file beside its speaker record.")
foreach(component IN LISTS host_libraries)
  string(REPLACE _ - package librtc-transcoder-${component})
  describe_library(rtc_transcoder_${component} ${component} ${component}_dev ${package}
                   ${${component}_synopsis} ${${component}_paragraph})
  string(APPEND CPACK_DEBIAN_${key}_PACKAGE_DEPENDS ", librtc-transcoder-dev (= ${PROJECT_VERSION})")
  string(TOUPPER ${component} key)
  set(CPACK_DEBIAN_${key}_PACKAGE_DEPENDS
      "librtc-transcoder${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
endforeach()

if(TARGET kxrtc)
  describe_package(tool kxrtc video "looks into, mends and converts speaker records"
    "A speaker record is what a conferencing client writes while it records:
H.264, AAC, an index and a description. This tool checks such records,
repairs them, makes MP4 files and reports of them, and packs them for
support.")
  set(CPACK_DEBIAN_TOOL_PACKAGE_SHLIBDEPS ON)
  # The engines of kxrtc-batch. The rest of the tool does without them.
  set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS "parallel")
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS
      "librtc-transcoder${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
endif()
include(CPack)
