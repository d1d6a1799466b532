# Build rules shared by all folders.

# Warnings and sanitizers, private to our own targets.
add_library(kx_build_flags INTERFACE)
target_compile_features(kx_build_flags INTERFACE cxx_std_17)
target_compile_options(kx_build_flags INTERFACE -Wall -Wextra -Wshadow -Wnon-virtual-dtor
                       -Woverloaded-virtual -Wformat=2 -Wimplicit-fallthrough -Wvla)
# What is shipped does not depend on the folder of the sources.
target_compile_options(kx_build_flags INTERFACE
                       $<$<CONFIG:Release>:-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=>)
if(RTC_TRANSCODER_WERROR)
  target_compile_options(kx_build_flags INTERFACE -Werror)
endif()
if(RTC_TRANSCODER_SANITIZERS)
  target_compile_options(kx_build_flags INTERFACE -fsanitize=${RTC_TRANSCODER_SANITIZERS}
                         -fno-sanitize-recover=all -fno-omit-frame-pointer
                         # GCC's instrumentation makes it see values unset, in <regex> for one.
                         $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(kx_build_flags INTERFACE -fsanitize=${RTC_TRANSCODER_SANITIZERS})
endif()
if(RTC_TRANSCODER_FUZZ_ENGINE)
  # The coverage that guides the engine; the engine itself is linked into the fuzz targets alone.
  target_compile_options(kx_build_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Settings of every target of this project.
function(kx_configure_target name)
  target_link_libraries(${name} PRIVATE kx_build_flags)
  set_target_properties(${name} PROPERTIES CXX_EXTENSIONS OFF POSITION_INDEPENDENT_CODE ON
                        CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# kx_list_public_headers(<property> <.h ...>)
# Appends the paths from the top of the tree to a global property: KX_PUBLIC_HEADERS of the library, or
# KX_<component>_HEADERS of a host library. They are installed and tested to compile alone.
function(kx_list_public_headers property)
  foreach(path IN LISTS ARGN)
    cmake_path(ABSOLUTE_PATH path NORMALIZE)
    cmake_path(RELATIVE_PATH path BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
    set_property(GLOBAL APPEND PROPERTY ${property} ${path})
  endforeach()
endfunction()

# kx_get_public_headers(<variable>)
# All of them, of the library and of the host libraries.
function(kx_get_public_headers variable)
  get_property(headers GLOBAL PROPERTY KX_PUBLIC_HEADERS)
  get_property(host_libraries GLOBAL PROPERTY KX_HOST_LIBRARIES)
  foreach(component IN LISTS host_libraries)
    get_property(host_headers GLOBAL PROPERTY KX_${component}_HEADERS)
    list(APPEND headers ${host_headers})
  endforeach()
  set(${variable} ${headers} PARENT_SCOPE)
endfunction()

# kx_add_module(<name> SOURCES <.cc ...> PUBLIC_HEADERS <.h ...> [PRIVATE_HEADERS <.h ...>])
# One object library of the shared library.
function(kx_add_module name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;PUBLIC_HEADERS;PRIVATE_HEADERS")
  add_library(${name} OBJECT ${ARG_SOURCES} ${ARG_PUBLIC_HEADERS} ${ARG_PRIVATE_HEADERS})
  kx_configure_target(${name})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC jsoncpp_lib Threads::Threads)
  set_property(GLOBAL APPEND PROPERTY KX_MODULES ${name})
  kx_list_public_headers(KX_PUBLIC_HEADERS ${ARG_PUBLIC_HEADERS})
endfunction()

# kx_add_house(<name> SOURCES <.cc ...> [LINKS <target ...>])
# One folder around the library, as a static library. Its twin <name>_internal has the same objects and
# is built on demand only: it and the houses that it links are on the library's static twin, as fuzzers
# need them.
function(kx_add_house name)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;LINKS")
  add_library(${name}_objects OBJECT ${ARG_SOURCES})
  kx_configure_target(${name}_objects)
  target_link_libraries(${name}_objects PRIVATE rtc_transcoder ${ARG_LINKS})
  foreach(twin IN ITEMS "" _internal)
    set(links rtc_transcoder${twin})
    foreach(link IN LISTS ARG_LINKS)
      if(TARGET ${link}_internal)
        string(APPEND link ${twin})
      endif()
      list(APPEND links ${link})
    endforeach()
    add_library(${name}${twin} STATIC $<TARGET_OBJECTS:${name}_objects>)
    set_target_properties(${name}${twin} PROPERTIES LINKER_LANGUAGE CXX)
    target_link_libraries(${name}${twin} PUBLIC ${links} PRIVATE kx_build_flags)
  endforeach()
  set_target_properties(${name}_internal PROPERTIES EXCLUDE_FROM_ALL ON)
endfunction()

# kx_add_host_library(<component> HOUSES <house ...> HEADERS <.h ...>)
# The shared library rtc_transcoder_<component>: these houses, with what they stand on, for hosts outside
# of the tree. They see the headers, which mark what is exported with KX_EXPORT. The tool and the tests
# are on the houses: they use more of them.
function(kx_add_host_library component)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "HOUSES;HEADERS")
  set(name rtc_transcoder_${component})
  set(map ${PROJECT_SOURCE_DIR}/cmake/host_library.map)
  kx_list_public_headers(KX_${component}_HEADERS ${ARG_HEADERS})
  set_property(GLOBAL APPEND PROPERTY KX_HOST_LIBRARIES ${component})
  add_library(${name} SHARED ${ARG_HEADERS})
  add_library(rtc_transcoder::${component} ALIAS ${name})
  kx_configure_target(${name})
  target_link_libraries(${name} PRIVATE ${ARG_HOUSES} PUBLIC rtc_transcoder)
  target_link_options(${name} PRIVATE -Wl,--version-script=${map})
  list(JOIN ARG_HOUSES , houses)
  set_target_properties(${name} PROPERTIES
                        EXPORT_NAME ${component} LINKER_LANGUAGE CXX
                        # Nothing here calls what is exported, so the linker is told to take it all.
                        LINK_LIBRARY_OVERRIDE "WHOLE_ARCHIVE,${houses}"
                        LINK_DEPENDS ${map}
                        VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()
