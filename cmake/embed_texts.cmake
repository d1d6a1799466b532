# Writes a C++ source that holds text files as string constants.
# usage: cmake -DOUTPUT=<.cc> -DHEADER=<header to include> -DNAMESPACE=<name>
#              "-DTEXTS=<constant>=<file>[|<file>...];..." -P embed_texts.cmake
set(source "// Made by cmake/embed_texts.cmake.\n#include \"${HEADER}\"\n\nnamespace ${NAMESPACE} {\n")
foreach(entry IN LISTS TEXTS)
  string(REGEX MATCH "^([^=]+)=(.*)$" matched "${entry}")
  set(constant ${CMAKE_MATCH_1})
  string(REPLACE "|" ";" files "${CMAKE_MATCH_2}")
  set(text "")
  foreach(file IN LISTS files)
    file(READ "${file}" part)
    string(APPEND text "${part}")
  endforeach()
  string(APPEND source "\nextern const char ${constant}[] = R\"embedded(${text})embedded\";\n")
endforeach()
string(APPEND source "\n}  // namespace ${NAMESPACE}\n")
file(WRITE "${OUTPUT}" "${source}")
