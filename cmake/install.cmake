include(GNUInstallDirs)

install(TARGETS rtc_transcoder)
get_property(public_headers GLOBAL PROPERTY KX_PUBLIC_HEADERS)
foreach(header IN LISTS public_headers)
  cmake_path(GET header PARENT_PATH folder)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()
